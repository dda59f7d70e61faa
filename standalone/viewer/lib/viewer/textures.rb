# frozen_string_literal: true

module Viewer
  # The textures of a model, by number: a request never names a file.
  class Textures
    # What browsers show.
    TYPES = { '.png' => 'image/png', '.jpg' => 'image/jpeg', '.jpeg' => 'image/jpeg', '.gif' => 'image/gif',
              '.bmp' => 'image/bmp', '.webp' => 'image/webp' }.freeze
    LARGEST_BYTES = 256 << 20

    # @param importer [Zu::Mirel::Importer]
    def initialize(importer)
      @files = importer.materials.map { |material| shown(material.texture_file) }
    end

    # @param material [Integer]
    # @return [Boolean] whether the material has a texture that can be shown
    def known?(material)
      !@files[material].nil?
    end

    # @return [Array(String, String), nil] type and content
    def [](material)
      file = @files[material] if material < @files.size
      file && [TYPES[File.extname(file).downcase], File.binread(file)]
    rescue SystemCallError
      nil
    end

    private

    def shown(file)
      file if file && TYPES.key?(File.extname(file).downcase) && File.file?(file) && File.size(file) <= LARGEST_BYTES
    end
  end
end
