# frozen_string_literal: true

require 'fileutils'
require 'tmpdir'
require 'zu/mirel/errors'
require 'zu/mirel/obj_output'

module Zu
  module Mirel
    # A file that is complete or untouched: it is written beside its place and takes its name at the end.
    module ReplacedFile
      module_function

      # @param path [String]
      # @yieldparam file [String] the path to write to, in a new folder beside the target
      # @return what the block returns
      # @raise [ExportError] with one line that names the file and the reason
      def write(path)
        target = ObjOutput.check_target(path)
        folder = Dir.mktmpdir('.mirel-', File.dirname(target))
        file = File.join(folder, File.basename(target))
        result = yield(file)
        ObjOutput.put_in_place(file, target)
        result
      rescue SystemCallError => e
        ObjOutput.fail_for(path, Errors.reason(e))
      ensure
        FileUtils.remove_entry(folder, true) if folder
      end
    end
  end
end
