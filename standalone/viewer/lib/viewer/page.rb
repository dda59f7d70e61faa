# frozen_string_literal: true

require 'zu/mirel/native'

module Viewer
  # The files that the page is made of. The set is read once, by name: no request reaches the file system.
  class Page
    TYPES = { '.html' => 'text/html; charset=utf-8', '.js' => 'text/javascript; charset=utf-8',
              '.css' => 'text/css; charset=utf-8', '.svg' => 'image/svg+xml' }.freeze

    # The page has not been built.
    class Missing < StandardError; end

    # @return [String] where the build puts the page
    def self.folder
      File.join(File.dirname(Zu::Mirel::Native.library_dir), 'share', 'viewer')
    end

    # @raise [Missing] with the reason in one line
    def initialize(folder = self.class.folder)
      @files = Dir.glob('*', base: folder).filter_map do |name|
        type = TYPES[File.extname(name)]
        [name, [type, File.binread(File.join(folder, name))]] if type
      end.to_h
      raise Missing, reason(folder) unless @files.key?('index.html')
    end

    # @return [Array(String, String), nil] type and content
    def [](name)
      @files[name]
    end

    private

    def reason(folder)
      log = File.join(folder, 'error.txt')
      told = File.file?(log) ? File.read(log).strip.tr("\n", ' ') : 'it has not been built'
      "the viewer's page is missing: #{told}; build it with scripts/build-viewer"
    end
  end
end
