# frozen_string_literal: true

require 'fiddle'
require 'rbconfig'

module Zu
  module Mirel
    # Finds and loads the libraries that the build makes.
    module Native
      ROOT = File.expand_path('../../../../..', __dir__)
      private_constant :ROOT

      class << self
        # @return [String] the folder of the native libraries
        def library_dir
          File.join(ENV.fetch('MIREL_BUILD') { File.join(ROOT, 'build') }, 'lib')
        end

        # Loads the extension once everything that it looks up exists.
        # @raise [LoadError] where the project has not been built
        def load
          make_global('libsketchup')
          require File.join(library_dir, "mirel.#{RbConfig::CONFIG['DLEXT']}")
        end

        # @param name [String] a library's name without suffix
        # @return [Fiddle::Handle, nil] nil where it has not been built
        def open(name)
          Fiddle::Handle.new(path(name), Fiddle::RTLD_LAZY)
        rescue Fiddle::DLError
          nil
        end

        # A library that the process has loaded already, whichever file the loader found for that name.
        # @return [Fiddle::Handle, nil]
        def loaded(name)
          no_load = RUBY_PLATFORM.include?('darwin') ? 0x10 : 0x4
          Fiddle::Handle.new("#{name}.#{shared_suffix}", Fiddle::RTLD_LAZY | no_load)
        rescue Fiddle::DLError
          nil
        end

        # @return [Integer, nil] the most memory, in bytes, that the process has held so far; nil where unknown
        def peak_memory
          kilobytes = File.read('/proc/self/status')[/^VmHWM:\s+(\d+) kB/, 1]
          Integer(kilobytes) * 1024 if kilobytes
        rescue SystemCallError
          nil
        end

        # Has the system end this process when the one that forked it is gone, where it can.
        def die_with_parent
          types = [Fiddle::TYPE_INT, Fiddle::TYPE_LONG]
          prctl = Fiddle::Function.new(Fiddle::Handle::DEFAULT['prctl'], types, Fiddle::TYPE_INT)
          prctl.call(1, Signal.list['KILL'])
        rescue Fiddle::DLError
          nil
        end

        # Runs the block with the process's standard output, that of C code too, going to a file.
        # @param path [String]
        # @return what the block returns
        def redirect_stdout(path)
          STDOUT.flush
          flush_c_streams
          saved = STDOUT.dup
          STDOUT.reopen(path, 'w')
          yield
        ensure
          flush_c_streams
          STDOUT.flush
          STDOUT.reopen(saved) if saved
          saved&.close
        end

        private

        def flush_c_streams
          @fflush ||= Fiddle::Function.new(Fiddle::Handle::DEFAULT['fflush'], [Fiddle::TYPE_VOIDP], Fiddle::TYPE_INT)
          @fflush.call(nil)
        end

        # The extension finds these functions in the process, as it would in the host.
        def make_global(name)
          return unless File.exist?(path(name))

          @global ||= {}
          @global[name] = Fiddle::Handle.new(path(name), Fiddle::RTLD_LAZY | Fiddle::RTLD_GLOBAL)
        end

        def path(name)
          File.join(library_dir, "#{name}.#{shared_suffix}")
        end

        def shared_suffix
          RUBY_PLATFORM.include?('darwin') ? 'dylib' : 'so'
        end
      end
    end
  end
end
