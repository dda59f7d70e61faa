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
      # @return [Surface] every mesh as often as the scene has it, at its place
      # @raise [Error] where the mesh library in use does not hand out its arrays
      def self.of(importer)
        new.tap { |surface| surface.add_entities(importer.root, IDENTITY) }
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

      # Adds what stands below a definition.
      def add_entities(definition, place)
        definition.entities.each do |instance|
          inner = place * instance.transformation
          mesh = instance.definition.balancer_mesh_index
          add_mesh(mesh, inner) if mesh
          add_entities(instance.definition, inner)
        end
      end

      private

      def add_mesh(mesh, place)
        points = Engine.positions(mesh)
        numbers = Engine.faces(mesh)
        raise Error, 'the mesh library in use does not hand out its triangles' unless points && numbers

        append(place == IDENTITY ? points : CompareLibrary.instance.place(points, place.to_a), numbers)
      end

      def append(points, numbers)
        first = vertex_count
        raise Error, 'the scene has more vertices than can be counted' if first + (points.bytesize / 12) > 0xffffffff

        @positions << points
        @faces << (first.zero? ? numbers : numbers.unpack('L*').map { |number| number + first }.pack('L*'))
      end
    end
  end
end
