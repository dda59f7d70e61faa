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
        names = [name, name.tr('\\', '/'), unescaped(name)].uniq
        names.concat(tails(names.last))
        folders = ['.'] if folders.empty?
        folders.product(names).each do |folder, candidate|
          file = File.expand_path(candidate, folder)
          return file if File.file?(file)
        end
        own = name.tr('\\', '/')
        beside(own, folders) || File.expand_path(own, folders.first)
      rescue ArgumentError
        name # no name for a file
      end

      # A folder that was moved as a whole still has the end of the path below it.
      def tails(path)
        parts = path.split('/').reject { |part| part.empty? || part == '..' }
        (1...parts.size).map { |from| parts.drop(from).join('/') }
      end
      private_class_method :tails

      # Names in glTF files are parts of a URI.
      def unescaped(name)
        name.b.gsub(/%\h\h/) { |code| code[1, 2].hex.chr }.force_encoding(Encoding::UTF_8)
      end
      private_class_method :unescaped

      # A path of another machine is of no use here; its last part is, in whatever case.
      def beside(name, folders)
        last = File.basename(name)
        folders.each do |folder|
          like = children(folder).select { |child| child.b.casecmp(last.b)&.zero? }
          found = like.find { |child| child == last } || like.first
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
