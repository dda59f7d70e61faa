# frozen_string_literal: true

require 'rbconfig'
require 'stringio'
require 'zu/mirel/errors'
require 'zu/mirel/native'

module Zu
  module Mirel
    # What an FBX file says of the textures of its materials, channel by channel, as the native half prints it.
    module TextureDump
      # @param path [String]
      # @return [Array<Array(String, Array<String>)>] each material's name and lines
      # @raise [ImportError] with a reason that does not name the file
      def self.of(path)
        load_library
        dumps = []
        stdout = $stdout
        $stdout = StringIO.new
        MirelTextures.each(path) { |material| dumps << [material, $stdout = StringIO.new] }
        dumps.map { |material, output| [material, output.string.lines(chomp: true)] }
      rescue IOError => e
        raise ImportError, e.message
      ensure
        $stdout = stdout if stdout
      end

      def self.load_library
        require File.join(Native.library_dir, "mirel_textures.#{RbConfig::CONFIG['DLEXT']}")
      rescue LoadError
        raise ImportError, 'the part that tells of textures has not been built (mirel_textures)'
      end
      private_class_method :load_library
    end
  end
end
