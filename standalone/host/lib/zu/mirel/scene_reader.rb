# frozen_string_literal: true

require 'json'
require 'zu/mirel/material'
require 'zu/mirel/native'
require 'zu/mirel/read_library'
require 'zu/mirel/status_progress_bar'

module Zu
  module Mirel
    # Reads the formats that the native half has no importer for into polygon meshes per material.
    #
    # The file is parsed in a child process: the parsers of dozens of formats are not all proof against broken files,
    # and a child that dies takes nothing with it. It also gives back all of its memory before the reduction begins.
    class SceneReader
      # What a file holds.
      #   meshes           Hash of Material to Array of Geom::PolygonMesh
      #   source_points    points in the file
      #   source_polygons  polygons in the file, before they are cut into triangles
      #   reader_bytes     peak memory of the child process; nil where it cannot be told
      Scene = Struct.new(:meshes, :source_points, :source_polygons, :reader_bytes, keyword_init: true)

      # @param path [String]
      # @return [Scene]
      # @raise [ImportError] with a reason that does not name the file
      def self.read(path)
        new(path).read
      end

      def initialize(path)
        @path = path
      end

      def read
        @records, output = IO.pipe(binmode: true)
        STDOUT.flush # or the child would print what is pending once more
        child = fork { serve(output) }
        output.close
        scene = receive
        @records.close
        status = wait(child)
        child = nil
        raise ImportError, failure_of(status) unless scene && status.success?

        scene
      ensure
        stop(child) if child
        @records&.close
      end

      private

      # --- the child -------------------------------------------------------------------------------------------

      def serve(output)
        @records.close
        @output = output
        Native.die_with_parent
        %w[INT TERM].each { |signal| trap(signal, 'SYSTEM_DEFAULT') }
        Process.setrlimit(:CORE, 0)
        # What a parser prints is not ours to pass on.
        [STDOUT, STDERR].each { |stream| stream.reopen(File::NULL, 'w') }
        send_scene(ReadLibrary.new)
        exit!(0)
      rescue ImportError => e
        send_record(error: e.message)
        exit!(0)
      rescue Exception # rubocop:disable Lint/RescueException -- nothing of the parent's may run in the child
        exit!(1)
      end

      def send_scene(library)
        scene = library.read_file(@path) { |done| send_record(progress: done) }
        library.materials(scene).each { |material| send_record(material: material) }
        library.each_mesh(scene) { |header, arrays| send_record({ mesh: header }, arrays) }
        send_record(end: library.source_counts(scene).merge(reader_bytes: Native.peak_memory))
      end

      def send_record(record, arrays = [])
        @output.puts(record.merge(bytes: arrays.map { |array| array&.size }).to_json)
        arrays.compact.each { |array| @output.write(array.to_s(array.size)) }
        @output.flush
      end

      # --- the parent ------------------------------------------------------------------------------------------

      def receive
        @materials = []
        meshes = Hash.new { |hash, key| hash[key] = [] }
        while (line = @records.gets)
          record = JSON.parse(line, symbolize_names: true)
          raise ImportError, record[:error] if record[:error]
          return finish(meshes, record[:end]) if record[:end]

          accept(record, meshes)
        end
      rescue JSON::ParserError
        nil # the child died in the middle of a line
      end

      def accept(record, meshes)
        if record[:progress]
          StatusProgressBar.instance.progress = (record[:progress] * 100).round
        elsif record[:material]
          @materials << record[:material]
        elsif record[:mesh]
          mesh = receive_mesh(record[:bytes])
          meshes[record[:mesh][:material]] << mesh if mesh
        end
      end

      def receive_mesh(sizes)
        points, triangles, normals, uvs = sizes.map { |size| size && @records.read(size) }
        Geom::PolygonMesh.from_packed(points, triangles, normals, uvs)
      rescue ArgumentError, TypeError
        nil # cut short: the child died
      end

      def finish(meshes, counts)
        by_material = meshes.sort.to_h do |number, list|
          [material(@materials[number], list.any?(&:uvs_given?)), list]
        end
        Scene.new(meshes: by_material, **counts)
      end

      def material(record, uvs)
        color = record[:color] && Sketchup::Color.new(*record[:color].map { |value| (value.clamp(0, 1) * 255).round })
        texture = record[:texture] unless record[:texture].empty?
        Material.new(record[:name], color, texture, uvs: uvs)
      end

      def wait(child)
        Process.wait2(child).last
      end

      def stop(child)
        Process.kill(:KILL, child)
        Process.wait(child)
      rescue SystemCallError
        nil # it is gone already
      end

      def failure_of(status)
        return "its reader crashed (#{Signal.signame(status.termsig)}): the file is broken" if status.signaled?

        'its reader failed'
      end
    end
  end
end
