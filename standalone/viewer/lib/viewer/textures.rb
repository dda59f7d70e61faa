# frozen_string_literal: true

module Viewer
  # The textures of a model, by number: a request never names a file.
  class Textures
    # What the page shows: TGA it reads itself, the rest is the browser's.
    TYPES = { '.png' => 'image/png', '.jpg' => 'image/jpeg', '.jpeg' => 'image/jpeg', '.gif' => 'image/gif',
              '.bmp' => 'image/bmp', '.webp' => 'image/webp', '.tga' => 'image/x-tga' }.freeze
    LARGEST_BYTES = 256 << 20

    # @param importer [Zu::Mirel::Importer]
    def initialize(importer)
      @files = importer.materials.map { |material| shown(material.texture_file) }
    end

    # @param material [Integer]
    # @return [String, nil] the type; nil where the material has no texture that can be shown
    def type(material)
      file = @files[material]
      file && TYPES[File.extname(file).downcase]
    end

    # @return [Array(String, String), nil] type and content
    def [](material)
      file = @files[material] if material < @files.size
      file && [type(material), File.binread(file)]
    rescue SystemCallError
      nil
    end

    private

    def shown(file)
      file if file && TYPES.key?(File.extname(file).downcase) && File.file?(file) && File.size(file) <= LARGEST_BYTES
    end
  end
end
