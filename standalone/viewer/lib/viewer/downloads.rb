# frozen_string_literal: true

require 'tmpdir'
require 'zip'
require 'zu/mirel/scene_output'

module Viewer
  # The model as files that a browser can save: one as it is, several in a ZIP archive.
  class Downloads
    # name [String], content [String]
    File = Struct.new(:name, :content)

    # @return [Hash{String => String}] what each extension, without its dot, stands for
    def self.formats
      Zu::Mirel::SceneOutput.formats.transform_keys { |extension| extension.delete_prefix('.') }
    end

    # @param importer [Zu::Mirel::Importer]
    def initialize(importer)
      @importer = importer
    end

    # @param extension [String] one of .formats
    # @return [File]
    # @raise [Zu::Mirel::ExportError]
    def make(extension)
      Dir.mktmpdir('mirel-download') do |folder|
        name = "#{base_name}-#{@importer.count_faces}"
        Zu::Mirel::SceneOutput.write(@importer, ::File.join(folder, "#{name}.#{extension}"))
        pack(name, Dir.children(folder).sort, folder)
      end
    end

    private

    def pack(name, files, folder)
      contents = files.to_h { |file| [file, ::File.binread(::File.join(folder, file))] }
      return File.new(*contents.first) if contents.size == 1

      archive = Zip::OutputStream.write_buffer do |zip|
        contents.each do |file, content|
          zip.put_next_entry(file)
          zip.write(content)
        end
      end
      File.new("#{name}.zip", archive.string)
    end

    def base_name
      name = @importer.path ? ::File.basename(@importer.path, '.*') : @importer.root.name
      name = name.scrub('_').gsub(%r{[/\\\0]}, '_')
      name.empty? ? 'model' : name
    end
  end
end
