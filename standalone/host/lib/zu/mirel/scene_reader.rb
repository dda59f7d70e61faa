# frozen_string_literal: true

require 'json'
require 'zu/mirel/material'
require 'zu/mirel/native'
require 'zu/mirel/read_library'
require 'zu/mirel/status_progress_bar'

module Zu
  module Mirel
    # Reads the formats that the native half has no importer for: nodes, and polygon meshes per shape and material.
    #
    # The file is parsed in a child process: the parsers of dozens of formats are not all proof against broken files,
    # and a child that dies takes nothing with it. It also gives back all of its memory before the reduction begins.
    class SceneReader
      # What a file holds.
      #   shapes           Array of Shape
      #   nodes            Array of Node: parents before their children, the root first
      #   textures         Array of EmbeddedTexture
      #   meters_per_unit  nil where the file does not say
      #   z_up             whether z points up, or else y
      #   source_points    points in the file
      #   source_polygons  polygons in the file, before they are cut into triangles
      #   reader_bytes     peak memory of the child process; nil where it cannot be told
      Scene = Struct.new(:shapes, :nodes, :textures, :meters_per_unit, :z_up, :source_points, :source_polygons,
                         :reader_bytes, keyword_init: true)

      # Meshes that stand together: a name, a Hash of Look to Array of Geom::PolygonMesh, and what their points are to
      # be multiplied by where a node shows them.
      Shape = Struct.new(:name, :meshes, :scale, keyword_init: true)
      # parent and shape are numbers, nil for none; transform leads to the parent.
      Node = Struct.new(:name, :parent, :shape, :transform, keyword_init: true)
      # A material as the file has it. texture is "*N" for the embedded texture of that number, nil for none.
      Look = Struct.new(:name, :color, :texture, :one_sided, :uvs, keyword_init: true)
      # An image file inside the file; content is nil where it is in no format of its own.
      EmbeddedTexture = Struct.new(:name, :extension, :content, keyword_init: true)

      # @param path [String]
      # @return [Scene]
      # @raise [ImportError] with a reason that does not name the file
      def self.read(path)
        new(path).read
      end

      # What is in a file, without the arrays: its triangles, and their bounds, where the scene puts them.
      Survey = Struct.new(:faces, :bounds)

      # @param path [String]
      # @return [Survey]
      # @raise [ImportError] with a reason that does not name the file
      def self.survey(path)
        new(path).survey
      end

      def initialize(path)
        @path = path
      end

      def read
        receive_from { send_scene(ReadLibrary.new) }
      end

      def survey
        receive_from { send_survey(ReadLibrary.new) }
      end

      private

      def receive_from(&sender)
        @records, output = IO.pipe(binmode: true)
        STDOUT.flush # or the child would print what is pending once more
        child = fork { serve(output, &sender) }
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

      # --- the child -------------------------------------------------------------------------------------------

      def serve(output)
        @records.close
        @output = output
        Native.die_with_parent
        %w[INT TERM].each { |signal| trap(signal, 'SYSTEM_DEFAULT') }
        Process.setrlimit(:CORE, 0)
        # What a parser prints is not ours to pass on.
        [STDOUT, STDERR].each { |stream| stream.reopen(File::NULL, 'w') }
        yield
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
        library.each_texture(scene) { |header, content| send_record({ texture: header }, [content]) }
        library.shapes(scene).each { |shape| send_record(shape: shape) }
        library.nodes(scene).each { |node| send_record(node: node) }
        library.each_mesh(scene) { |header, arrays| send_record({ mesh: header }, arrays) }
        send_record(end: library.source_counts(scene).merge(library.frame(scene), reader_bytes: Native.peak_memory))
      end

      def send_survey(library)
        scene = library.read_file(@path) { |_| nil }
        faces, bounds = library.survey(scene)
        send_record(survey: [faces, bounds])
      end

      def send_record(record, arrays = [])
        @output.puts(record.merge(bytes: arrays.map { |array| array&.size }).to_json)
        arrays.compact.each { |array| @output.write(array.to_s(array.size)) }
        @output.flush
      end

      # --- the parent ------------------------------------------------------------------------------------------

      def receive
        @looks = []
        @shapes = []
        @nodes = []
        @textures = []
        while (line = @records.gets)
          record = JSON.parse(line, symbolize_names: true)
          raise ImportError, record[:error] if record[:error]
          return finish(record[:end]) if record[:end]
          return finish_survey(*record[:survey]) if record[:survey]

          accept(record)
        end
      rescue JSON::ParserError
        nil # the child died in the middle of a line
      end

      def accept(record)
        kind, value = record.first
        case kind
        when :progress then StatusProgressBar.instance.progress = (value * 100).round
        when :material then @looks << look(value)
        when :texture then @textures << EmbeddedTexture.new(**value, content: receive_bytes(record[:bytes].first))
        when :shape
          @shapes << Shape.new(**value, meshes: Hash.new { |hash, key| hash[key] = [] }.compare_by_identity)
        when :node then @nodes << Node.new(**value, transform: Geom::Transformation.new(value[:transform]))
        when :mesh then accept_mesh(value, receive_mesh(record[:bytes]))
        end
      end

      def receive_bytes(size)
        size && @records.read(size)
      end

      def accept_mesh(header, mesh)
        return unless mesh

        look = @looks[header[:material]]
        look.uvs = true if mesh.uvs_given?
        @shapes[header[:shape]].meshes[look] << mesh
      end

      def receive_mesh(sizes)
        points, triangles, normals, uvs = sizes.map { |size| receive_bytes(size) }
        Geom::PolygonMesh.from_packed(points, triangles, normals, uvs)
      rescue ArgumentError, TypeError
        nil # cut short: the child died
      end

      def finish(counts)
        @shapes.each { |shape| shape.meshes.default_proc = nil }
        Scene.new(shapes: @shapes, nodes: @nodes, textures: @textures, **counts)
      end

      def finish_survey(faces, corners)
        box = Geom::BoundingBox.new
        box.add(*corners.each_slice(3)) if faces.positive?
        Survey.new(faces, box)
      end

      def look(record)
        color = record[:color] && Sketchup::Color.new(*record[:color].map { |value| (value.clamp(0, 1) * 255).round })
        texture = record[:texture] unless record[:texture].empty?
        Look.new(**record, color: color, texture: texture, uvs: false)
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
