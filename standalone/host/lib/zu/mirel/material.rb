# frozen_string_literal: true

module Zu
  module Mirel
    # A material of the scene.
    class Material
      # @return [String] no other material of the scene has it
      attr_reader :name
      # @return [String] as the file has it
      attr_reader :source_name
      # @return [Sketchup::Color, nil]
      attr_reader :color
      # @return [String, nil] path of the texture as the file names it
      attr_reader :texture
      # @return [String, nil] where the texture is, or ought to be
      attr_reader :texture_file

      # @param uvs [Boolean] whether meshes of this material bring UVs that are worth keeping without a texture too
      # @param one_sided [Boolean] whether the file says that only fronts are to be seen
      def initialize(name, color = nil, texture = nil, uvs: false, texture_file: texture, one_sided: false,
                     source_name: name)
        @name = name
        @source_name = source_name
        @color = color
        @texture = texture
        @texture_file = texture_file
        @uvs = uvs
        @one_sided = one_sided
      end

      def one_sided?
        @one_sided
      end

      # Whether it says nothing of its look: it is what faces have without a material.
      def plain?
        color.nil? && texture.nil?
      end

      # Whether the UVs of its meshes mean something.
      def textured?
        @uvs || !texture.nil?
      end
    end
  end
end
