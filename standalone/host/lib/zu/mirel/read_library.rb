# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/errors'
require 'zu/mirel/native'

module Zu
  module Mirel
    # The C interface of libmirelread, which reads other formats. One scene at a time.
    class ReadLibrary
      ERROR_BYTES = 1024
      # Numbers of shape and material, point_count, triangle_count; then the four arrays
      MESH_LAYOUT = 'L4J4'
      MATERIAL_LAYOUT = 'J2f4L2'
      SHAPE_LAYOUT = 'Jd'
      NODE_LAYOUT = 'JL2d16'
      TEXTURE_LAYOUT = 'J3Q'
      NONE = 0xffffffff
      private_constant :ERROR_BYTES, :MESH_LAYOUT, :MATERIAL_LAYOUT, :SHAPE_LAYOUT, :NODE_LAYOUT, :TEXTURE_LAYOUT, :NONE

      # @raise [ImportError] where the library has not been built
      def initialize
        @handle = Native.open('libmirelread')
        raise ImportError, 'no reader for this format has been built (libmirelread)' unless @handle
      end

      # @param path [String]
      # @yieldparam done [Float] 0 to 1
      # @return [Fiddle::Pointer] the scene
      # @raise [ImportError] with the reason
      def read_file(path, &progress)
        report = Fiddle::Closure::BlockCaller.new(Fiddle::TYPE_VOID, [Fiddle::TYPE_FLOAT], &progress)
        error = "\0".b * ERROR_BYTES
        types = [Fiddle::TYPE_VOIDP] * 3 + [Fiddle::TYPE_SIZE_T]
        scene = function('mirel_read_file', types, Fiddle::TYPE_VOIDP).call(path, report, error, ERROR_BYTES)
        return scene unless scene.null?

        reason = error[/\A[^\0]*/].force_encoding(Encoding::UTF_8).scrub.strip
        raise ImportError, 'its format is not known' if reason.include?('No suitable reader found')

        raise ImportError, reason.empty? ? 'it cannot be read' : reason
      end

      # @return [Array<Hash>] name, texture ("" without), color (nil without), one_sided
      def materials(scene)
        count(scene, 'material').times.map do |number|
          record = record(scene, 'material', number, MATERIAL_LAYOUT)
          name, texture = record.first(2).map { |address| text(address) }
          color = record[2, 4] unless record[6].zero? || record[2, 4].any? { |value| !value.finite? }
          { name: name, texture: texture, color: color, one_sided: record[7] == 1 }
        end
      end

      # @return [Array<Hash>] name, scale
      def shapes(scene)
        count(scene, 'shape').times.map do |number|
          name, scale = record(scene, 'shape', number, SHAPE_LAYOUT)
          { name: text(name), scale: scale }
        end
      end

      # @return [Array<Hash>] name, parent and shape (numbers; nil for none), transform (16 numbers, column by column)
      def nodes(scene)
        count(scene, 'node').times.map do |number|
          name, *numbers = record(scene, 'node', number, NODE_LAYOUT)
          parent, shape = numbers.shift(2).map { |other| other unless other == NONE }
          { name: text(name), parent: parent, shape: shape, transform: numbers }
        end
      end

      # @yieldparam header [Hash] name, extension
      # @yieldparam bytes [Fiddle::Pointer, nil]
      def each_texture(scene)
        count(scene, 'texture').times do |number|
          name, extension, address, size = record(scene, 'texture', number, TEXTURE_LAYOUT)
          yield({ name: text(name), extension: text(extension) }, size.zero? ? nil : array(address, size))
        end
      end

      # @return [Hash] meters_per_unit (nil where the file does not say), z_up
      def frame(scene)
        length = function('mirel_read_meters_per_unit', [Fiddle::TYPE_VOIDP], Fiddle::TYPE_DOUBLE).call(scene)
        z_up = function('mirel_read_is_z_up', [Fiddle::TYPE_VOIDP], Fiddle::TYPE_INT).call(scene)
        { meters_per_unit: length.positive? ? length : nil, z_up: z_up == 1 }
      end

      # @yieldparam header [Hash] numbers of shape and material
      # @yieldparam arrays [Array<Fiddle::Pointer, nil>] points, triangles, normals, UVs, as mirel_read.h lays them out
      def each_mesh(scene)
        count(scene, 'mesh').times do |number|
          shape, material, points, triangles, *addresses = record(scene, 'mesh', number, MESH_LAYOUT)
          position, normal, uv, triangle = addresses
          yield({ shape: shape, material: material },
                [array(position, points * 12), array(triangle, triangles * 12),
                 array(normal, points * 12), array(uv, points * 8)])
        end
      end

      # @return [Array(Integer, Array<Float>)] triangles; lowest x, y, z and highest x, y, z of their points
      def survey(scene)
        bounds = "\0".b * 48
        types = [Fiddle::TYPE_VOIDP, Fiddle::TYPE_VOIDP]
        faces = function('mirel_read_survey', types, -Fiddle::TYPE_LONG_LONG).call(scene, bounds)
        [faces, bounds.unpack('d6')]
      end

      # @return [Hash] source_points, source_polygons
      def source_counts(scene)
        %i[source_points source_polygons].to_h do |name|
          [name, function("mirel_read_#{name}", [Fiddle::TYPE_VOIDP], -Fiddle::TYPE_LONG_LONG).call(scene)]
        end
      end

      private

      def count(scene, kind)
        function("mirel_read_#{kind}_count", [Fiddle::TYPE_VOIDP], -Fiddle::TYPE_INT).call(scene)
      end

      def record(scene, kind, number, layout)
        buffer = "\0".b * 160
        types = [Fiddle::TYPE_VOIDP, -Fiddle::TYPE_INT, Fiddle::TYPE_VOIDP]
        function("mirel_read_#{kind}", types, Fiddle::TYPE_VOID).call(scene, number, buffer)
        buffer.unpack(layout)
      end

      def text(address)
        Fiddle::Pointer.new(address).to_s.force_encoding(Encoding::UTF_8).scrub
      end

      def array(address, bytes)
        Fiddle::Pointer.new(address, bytes) unless address.zero?
      end

      def function(name, arguments, result)
        Fiddle::Function.new(@handle[name], arguments, result)
      end
    end
  end
end
