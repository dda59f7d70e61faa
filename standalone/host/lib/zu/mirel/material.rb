# frozen_string_literal: true

module Zu
  module Mirel
    # A material of the scene.
    class Material
      # @return [String]
      attr_reader :name
      # @return [Sketchup::Color, nil]
      attr_reader :color
      # @return [String, nil] path of the texture
      attr_reader :texture

      # @param uvs [Boolean] whether meshes of this material bring UVs that are worth keeping without a texture too
      def initialize(name, color = nil, texture = nil, uvs: false)
        @name = name
        @color = color
        @texture = texture
        @uvs = uvs
      end

      # Whether the UVs of its meshes mean something.
      def textured?
        @uvs || !texture.nil?
      end
    end
  end
end
