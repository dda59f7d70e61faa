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
      @folder = importer.path ? File.dirname(importer.path) : '.'
      @files = importer.materials.map { |material| material.texture && find(material.texture) }
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

    # A path may be relative to the model's folder, or to where that folder was named from.
    def find(path)
      candidates = [File.expand_path(path, @folder), File.expand_path(File.join(@folder, path).sub(%r{\A\./}, '')),
                    File.expand_path(cleaned(File.join(@folder, path)), @folder)]
      candidates.find do |file|
        TYPES.key?(File.extname(file).downcase) && File.file?(file) && File.size(file) <= LARGEST_BYTES
      end
    end

    def cleaned(path)
      Pathname.new(path).cleanpath.to_s
    end
  end
end
