# frozen_string_literal: true

require 'geom'
require 'zu/mirel/compare_library'
require 'zu/mirel/engine'
require 'zu/mirel/errors'

module Zu
  module Mirel
    # All faces of a model as they stand in the scene, in arrays of their own: they outlive the importer's model.
    #
    #   positions  String of 32-bit floats, x, y, z each, model units
    #   faces      String of 32-bit numbers of positions, from 0, three each
    class Surface
      attr_reader :positions, :faces

      # @param importer [Importer] with a model, before or after a reduction
      # @param frame [Geom::Transformation] where the whole scene is put
      # @param outward [Boolean] turn the faces of a mesh where a mirroring place would have them face inwards; else
      #   corners stay in the order in which the mesh has them
      # @return [Surface] every mesh as often as the scene has it, at its place
      # @raise [Error] where the mesh library in use does not hand out its arrays
      def self.of(importer, frame: IDENTITY, outward: false)
        new.tap do |surface|
          importer.placements.each do |definition, inner|
            place = frame * inner
            surface.add(definition.balancer_mesh_index, place, turned: outward && place.determinant.negative?)
          end
        end
      end

      def initialize
        @positions = ''.b
        @faces = ''.b
      end

      # @return [Integer]
      def vertex_count
        positions.bytesize / 12
      end

      # @return [Integer]
      def face_count
        faces.bytesize / 12
      end

      # Adds a mesh.
      # @param mesh [Integer]
      # @param place [Geom::Transformation]
      # @param turned [Boolean] with its faces the other way round
      def add(mesh, place, turned: false)
        points = Engine.positions(mesh)
        numbers = Engine.faces(mesh)
        raise Error, 'the mesh library in use does not hand out its triangles' unless points && numbers

        numbers = numbers.unpack('L*').each_slice(3).flat_map { |a, b, c| [a, c, b] }.pack('L*') if turned
        append(place == IDENTITY ? points : CompareLibrary.instance.place(points, place.to_a), numbers)
      end

      private

      def append(points, numbers)
        first = vertex_count
        raise Error, 'the scene has more vertices than can be counted' if first + (points.bytesize / 12) > 0xffffffff

        @positions << points
        @faces << (first.zero? ? numbers : numbers.unpack('L*').map { |number| number + first }.pack('L*'))
      end
    end
  end
end
