# frozen_string_literal: true

module Zu
  module Mirel
    # Finds the pictures that a file names, wherever its folder has come to lie.
    module TextureFinder
      module_function

      # @param name [String] as the file has it: relative or absolute, with slashes or backslashes
      # @param folders [Array<String>] where relative names begin, the likeliest first
      # @return [String] the file; where there is none, where it ought to be
      def find(name, folders)
        names = [name, name.tr('\\', '/')].uniq
        folders = ['.'] if folders.empty?
        folders.product(names).each do |folder, candidate|
          file = File.expand_path(candidate, folder)
          return file if File.file?(file)
        end
        beside(names.last, folders) || File.expand_path(names.last, folders.first)
      rescue ArgumentError
        name # no name for a file
      end

      # A path of another machine is of no use here; its last part is, in whatever case.
      def beside(name, folders)
        last = File.basename(name)
        folders.each do |folder|
          found = children(folder).find { |child| child.b.casecmp(last.b)&.zero? }
          return File.expand_path(found, folder) if found && File.file?(File.expand_path(found, folder))
        end
        nil
      end
      private_class_method :beside

      def children(folder)
        Dir.children(folder).map { |child| child.force_encoding(Encoding::UTF_8) }.sort
      rescue SystemCallError
        []
      end
      private_class_method :children
    end
  end
end
