# frozen_string_literal: true

require 'fileutils'
require 'tmpdir'
require 'zu/mirel/engine'
require 'zu/mirel/errors'
require 'zu/mirel/native'

module Zu
  module Mirel
    # Writes an importer's mesh to an OBJ file so that the file is complete or untouched.
    #
    # The native export tells of no write error, so it writes into a new folder beside the target, what it wrote is
    # counted and brought to the disk, and only then takes the target's name.
    class ObjOutput
      # What was written. bounds is a Geom::BoundingBox of the positions; positions_merged is how many of them the
      # file's six significant digits made equal to others.
      Result = Struct.new(:vertices, :normals, :uvs, :faces, :bytes, :bounds, :positions_merged, keyword_init: true)

      KINDS = { 'vertices' => :vertices, 'normals' => :normals, 'texture coordinates' => :uvs,
                'faces' => :faces }.freeze
      KIND_OF_LINE = { 'v ' => :vertices, 'vn' => :normals, 'vt' => :uvs, 'f ' => :faces }
                     .transform_keys { |start| start.getbyte(0) << 8 | start.getbyte(1) }.freeze
      private_constant :KINDS, :KIND_OF_LINE

      # @param importer [Importer] holding one mesh
      def initialize(importer)
        @importer = importer
      end

      # Finds out, before any work, what would keep the file from being written.
      # @param path [String]
      # @raise [ExportError]
      def self.check_target(path)
        target = File.symlink?(path) ? resolved(path) : path
        folder = File.dirname(target)
        fail_for(path, 'the folder does not exist') unless File.exist?(folder)
        fail_for(path, "#{folder} is not a folder") unless File.directory?(folder)
        fail_for(path, 'it is a directory') if File.directory?(target)
        fail_for(path, 'it is not a regular file') if File.exist?(target) && !File.file?(target)
        fail_for(path, 'permission denied') if File.exist?(target) && !File.writable?(target)
        fail_for(path, 'permission denied in its folder') unless File.writable?(folder)
        File.stat(target) # a name may be too long
        target
      rescue Errno::ENOENT
        target
      rescue SystemCallError => e
        fail_for(path, Errors.reason(e))
      end

      # @raise [ExportError]
      def self.fail_for(path, reason)
        raise ExportError, "#{path}: cannot be written: #{reason}"
      end

      # @param file [String] an OBJ file
      # @return [Hash] how many vertices, normals, uvs and faces are in it
      def self.counts_of(file)
        counts = KIND_OF_LINE.values.to_h { |kind| [kind, 0] }
        File.foreach(file, mode: 'rb') do |line|
          kind = KIND_OF_LINE[line.getbyte(0) << 8 | line.getbyte(1).to_i]
          counts[kind] += 1 if kind
        end
        counts
      end

      # Gives a file that is complete its place, with the rights of the one that it replaces.
      def self.put_in_place(file, target)
        File.chmod(File.stat(target).mode & 0o7777, file) if File.exist?(target)
        File.open(file, 'rb', &:fsync)
        File.rename(file, target)
        sync_folder(File.dirname(target))
      end

      # The file is in place by now; a file system that cannot do this is no failure.
      def self.sync_folder(folder)
        File.open(folder, &:fsync)
      rescue SystemCallError
        nil
      end
      private_class_method :sync_folder

      def self.resolved(path)
        File.exist?(path) ? File.realpath(path) : File.expand_path(File.readlink(path), File.dirname(path))
      end
      private_class_method :resolved

      # @raise [ExportError] where the scene does not fit into the file
      def check_scene
        count = @importer.placements.size
        return if count == 1

        raise ExportError, "#{@importer.path || 'the scene'}: has #{count} meshes, but an OBJ file is written from one"
      end

      # @param path [String]
      # @return [Result]
      # @raise [ExportError]
      def write(path)
        check_scene
        target = self.class.check_target(path)
        @folder = Dir.mktmpdir('.mirel-', File.dirname(target))
        file = File.join(@folder, File.basename(target))
        expected = export(file, path)
        result = inspect_file(file, path, expected)
        self.class.put_in_place(file, target)
        result
      rescue SystemCallError => e
        self.class.fail_for(path, Errors.reason(e))
      ensure
        FileUtils.remove_entry(@folder, true) if @folder
      end

      private

      # @return [Hash] the counts that the export announced
      def export(file, path)
        log = File.join(@folder, 'log')
        done = Native.redirect_stdout(log) { @importer.export_obj(file) }
        self.class.fail_for(path, 'the export failed') unless done

        announced = File.binread(log).scan(/^  writing (\d+) (vertices|normals|texture coordinates|faces)\.\.\. /)
        announced.to_h { |count, kind| [KINDS[kind], count.to_i] }.merge(faces: @importer.count_faces)
      end

      def inspect_file(file, path, expected)
        result = count(file, path)
        short = expected.any? { |kind, count| result[kind] != count } || !ends_with_newline?(file)
        self.class.fail_for(path, shortage_reason(file)) if short
        result
      end

      def count(file, path)
        result = Result.new(vertices: 0, normals: 0, uvs: 0, faces: 0, bytes: File.size(file))
        low = [Float::INFINITY] * 3
        high = [-Float::INFINITY] * 3
        hashes = []
        File.foreach(file, mode: 'rb') do |line|
          # By bytes: the file may have millions of lines.
          kind = KIND_OF_LINE[line.getbyte(0) << 8 | line.getbyte(1).to_i]
          next unless kind

          result[kind] += 1
          next if kind == :faces

          if kind == :vertices
            widen(low, high, line)
            hashes << line.hash
          end
          # Neither "nan" nor "inf" does without an n.
          self.class.fail_for(path, 'the result is not finite') if line.index('n', 3)
        end
        result.bounds = Geom::BoundingBox.new
        result.bounds.add(low, high) if result.vertices.positive?
        result.positions_merged = hashes.uniq.size == hashes.size ? 0 : positions_merged(file, result.vertices)
        result
      end

      # Exact, and dear in memory: for files in which two lines look alike.
      def positions_merged(file, vertices)
        lines = {}
        File.foreach(file, mode: 'rb') { |line| lines[line] = true if line.start_with?('v ') }
        positions = Engine.positions(0)
        distinct = positions ? positions.unpack('f*').each_slice(3).uniq.size : vertices
        [distinct - lines.size, 0].max
      end

      def widen(low, high, line)
        words = line.split
        3.times do |axis|
          value = words[axis + 1].to_f
          low[axis] = value if value < low[axis]
          high[axis] = value if value > high[axis]
        end
      end

      def ends_with_newline?(file)
        size = File.size(file)
        size.positive? && File.binread(file, 1, size - 1) == "\n"
      end

      # A file came out short without an error: writing on tells why.
      def shortage_reason(file)
        File.open(file, 'ab') do |stream|
          stream.write("\0" * (1 << 20))
          stream.fsync
        end
        'the file came out incomplete'
      rescue SystemCallError => e
        Errors.reason(e)
      end
    end
  end
end
