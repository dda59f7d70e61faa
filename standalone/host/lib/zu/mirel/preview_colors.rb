# frozen_string_literal: true

require 'sketchup'

module Zu
  module Mirel
    # The colours of the preview: one for each entry of @triangles, over all meshes and instances.
    class PreviewColors
      # Of triangles without a material, or with one that has a texture in place of a colour.
      DEFAULT = Sketchup::Color.new('white').freeze

      def initialize
        @colors = []
      end

      # Takes over the colours of one mesh's face sets.
      # @param materials [Array<Material, nil>] one per face set
      # @param count [Integer] entries that the mesh has added
      # @return [self]
      def add(materials, count)
        count.times { |set| @colors << (materials[set]&.color || DEFAULT) }
        self
      end

      # @return [Sketchup::Color]
      def at(index)
        @colors[index] || DEFAULT
      end

      # @return [Integer]
      def size
        @colors.size
      end
    end
  end
end
