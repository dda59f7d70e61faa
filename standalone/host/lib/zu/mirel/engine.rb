# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/native'

module Zu
  module Mirel
    # What this project's own mesh library tells beyond its contract with the extension. Another library may stand in
    # its place, so every question has the answer nil for "not known".
    module Engine
      # How many of the edges left at the last step each rule forbids.
      LadderEnd = Struct.new(:tolerance, :locked_boundary, :foldover, :topology)

      class << self
        # @return [Integer, nil]
        def mesh_count
          call('mirel_engine_mesh_count', [], Fiddle::TYPE_INT, &method(:unsigned))
        end

        # @return [String, nil] nil where the file gives the mesh no name
        def mesh_name(mesh)
          text = call('mirel_engine_mesh_name', [mesh], Fiddle::TYPE_VOIDP, &method(:text))
          text unless text.nil? || text.empty?
        end

        # @return [Integer, nil] positions of the mesh at the current step
        def vertex_count(mesh)
          call('mirel_engine_vertex_count', [mesh], Fiddle::TYPE_INT, &method(:unsigned))
        end

        # @return [Integer, nil] faces of the mesh that have three different, finite corners
        def usable_face_count(mesh)
          call('mirel_engine_usable_face_count', [mesh], Fiddle::TYPE_INT, &method(:unsigned))
        end

        # @return [Geom::BoundingBox, nil] of the mesh at the current step; empty where it has no vertex
        def bounds(mesh)
          corners = "\0".b * (6 * Fiddle::SIZEOF_FLOAT)
          found = call('mirel_engine_bounds', [mesh, corners], Fiddle::TYPE_INT)
          return if found.nil?

          box = Geom::BoundingBox.new
          box.add(*corners.unpack('f6').each_slice(3)) unless found.zero?
          box
        end

        # @return [String, nil] x, y, z of each position of the mesh at the current step, as 32-bit floats
        def positions(mesh)
          triples('mirel_engine_positions', mesh)
        end

        # @return [String, nil] three 32-bit numbers of positions, from 0, for each face at the current step
        def faces(mesh)
          triples('mirel_engine_faces', mesh)
        end

        # @return [Boolean, nil] whether the mesh has UVs at the current step
        def uvs?(mesh)
          call('mirel_engine_corner_uvs', [mesh], Fiddle::TYPE_VOIDP) { |pointer| !pointer.null? }
        end

        # @param transformation [Geom::Transformation]
        # @return [Geom::BoundingBox, nil] of the mesh's usable faces at the current step, where it is put
        def placed_bounds(mesh, transformation)
          corners = "\0".b * (6 * Fiddle::SIZEOF_DOUBLE)
          found = call('mirel_engine_placed_bounds', [mesh, transformation.to_a.pack('d16'), corners], Fiddle::TYPE_INT)
          return if found.nil?

          box = Geom::BoundingBox.new
          box.add(*corners.unpack('d6').each_slice(3)) unless found.zero?
          box
        end

        # Measures it where it is not known, which may take longer than the hierarchy did.
        # @return [Float, nil] bound on the deviation at a step, in the units of the meshes
        def deviation_bound(step)
          value = call('mirel_engine_deviation_bound', [step], Fiddle::TYPE_DOUBLE)
          value if value&.finite?
        end

        # @return [Float, nil] the same, nil where it was neither recorded nor measured yet
        def known_deviation_bound(step)
          value = call('mirel_engine_known_deviation_bound', [step], Fiddle::TYPE_DOUBLE)
          value if value&.finite?
        end

        # For threads that measure while the model is moved on.
        # @return [Proc, nil] measures the bound of the step as it is now and returns it, or nil where there is no
        #   memory; may be called once, on any thread
        def deviation_measurement(step)
          handle = call('mirel_engine_measurement_begin', [step], Fiddle::TYPE_VOIDP)
          return if handle.nil? || handle.null?

          lambda do
            value = function('mirel_engine_measurement_run', [handle], Fiddle::TYPE_DOUBLE).call(handle)
            value if value.finite?
          ensure
            function('mirel_engine_measurement_end', [handle], Fiddle::TYPE_VOID).call(handle)
          end
        end

        # @return [Integer, nil] faces over all meshes at a step
        def face_count_at(step)
          call('mirel_engine_face_count_at', [step], Fiddle::TYPE_INT, &method(:unsigned))
        end

        # @param corners [Integer] three times the faces of the mesh at the current step
        # @return [String, nil] u, v of each corner as 32-bit floats; nil where the mesh has no UVs
        def corner_uvs(mesh, corners)
          corner_data('mirel_engine_corner_uvs', mesh, corners * 2 * Fiddle::SIZEOF_FLOAT)
        end

        # @param corners [Integer] three times the faces of the mesh at the current step
        # @return [String, nil] x, y, z of each corner's normal as 32-bit floats; nil where the mesh has none
        def corner_normals(mesh, corners)
          corner_data('mirel_engine_corner_normals', mesh, corners * 3 * Fiddle::SIZEOF_FLOAT)
        end

        # @param corners [Integer] three times the faces of the mesh at the current step
        # @return [String, nil] a byte for the edge from each corner to the next of its face: 1 boundary, 2 sharp,
        #   4 UV seam, added up
        def corner_edge_kinds(mesh, corners)
          corner_data('mirel_engine_corner_edge_kinds', mesh, corners)
        end

        # @return [LadderEnd, nil]
        def ladder_end
          counts = "\0".b * 16
          known = call('mirel_engine_ladder_end', [counts], Fiddle::TYPE_VOID) { true }
          LadderEnd.new(*counts.unpack('L4')) if known
        end

        # @return [String, nil] why the last load failed: one line with file and line number
        def load_error
          message = call('mirel_engine_load_error', [], Fiddle::TYPE_VOIDP, &method(:text))
          message unless message.nil? || message.empty?
        end

        private

        def corner_data(name, mesh, bytes)
          pointer = call(name, [mesh], Fiddle::TYPE_VOIDP)
          pointer[0, bytes] unless pointer.nil? || pointer.null?
        end

        def triples(name, mesh)
          count = [0].pack('L')
          pointer = call(name, [mesh, count], Fiddle::TYPE_VOIDP)
          return if pointer.nil?

          pointer.null? ? ''.b : pointer[0, 12 * count.unpack1('L')]
        end

        def call(name, arguments, result)
          function = function(name, arguments, result)
          return unless function

          value = function.call(*arguments)
          block_given? ? yield(value) : value
        end

        def function(name, arguments, result)
          @functions ||= {}
          @functions.fetch(name) do
            @functions[name] = find(name, arguments, result)
          end
        end

        def find(name, arguments, result)
          @library ||= Native.loaded('libbalancer')
          return unless @library

          types = arguments.map { |argument| argument.is_a?(Integer) ? -Fiddle::TYPE_INT : Fiddle::TYPE_VOIDP }
          Fiddle::Function.new(@library[name], types, result)
        rescue Fiddle::DLError
          nil
        end

        def unsigned(value)
          value & 0xffffffff
        end

        def text(pointer)
          pointer.null? ? nil : pointer.to_s.force_encoding(Encoding::UTF_8).scrub
        end
      end
    end
  end
end
