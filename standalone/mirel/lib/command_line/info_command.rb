# frozen_string_literal: true

require 'command_line/command'
require 'command_line/fbx_report'

module CommandLine
  # mirel info: tells what a file holds.
  class InfoCommand < Command
    NAME = 'info'
    SUMMARY = 'tell what a model file holds'

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @input = one_input(parse(parser, arguments))
        with_importer { |importer| inform(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel info INPUT [options]'
        options.separator ''
        options.separator 'Tells the faces, vertices, bounds, meshes and materials of a model (OBJ, PLY, FBX, STL,'
        options.separator 'glTF, GLB, DAE, 3DS, OFF and others). Faces are counted as triangles; lengths are in model units.'
        options.separator 'Of an FBX file it also tells the version, what wrote it, unit, axes and the tree of nodes.'
        options.separator ''
        options.separator 'what to tell:'
        options.on('--textures', 'of an FBX file only: every field of every texture, by material and',
                   'channel (default: off)') { @textures = true }
        add_common_options(options)
        options.separator ''
        options.separator 'examples:'
        options.separator '    mirel info model.obj'
        options.separator '    mirel info scan.stl --json'
        options.separator '    mirel info scene.fbx --textures'
      end
    end

    def inform(importer)
      @phases.run('read', "read #{@input}") { importer.import(@input, faces_required: false) }
      fbx = importer.fbx_facts
      raise Failure, "#{@input}: --textures tells of FBX files only" if @textures && !fbx

      importer.check_usable unless fbx
      report = report_of(importer)
      report.update(FbxReport.new(importer, textures: @textures).to_h) if fbx
      @json ? print_json(report) : print_text(report)
    end

    def report_of(importer)
      box = importer.bounds
      { command: NAME, version: Zu::Mirel::VERSION, input: @input, faces: importer.faces_before,
        vertices: importer.points_before, bounds: corners(box), diagonal: box&.diagonal,
        meshes: importer.definitions.map { |definition| mesh_of(definition) },
        materials: importer.materials.map { |material| material_of(material) },
        seconds: @phases.seconds.round(6), peak_bytes: @phases.peak_bytes, reader_peak_bytes: importer.reader_bytes }
    end

    def mesh_of(definition)
      { name: definition.name, vertices: Zu::Mirel::Engine.vertex_count(definition.balancer_mesh_index),
        materials: definition.materials.map { |material| material&.name } }
    end

    def material_of(material)
      { name: material.name, color: material.color&.to_a, texture: material.texture }
    end

    def print_text(report)
      return if @quiet

      lines = [report[:input]]
      lines += FbxReport.lines(report) if report[:fbx]
      lines += ["  faces      #{report[:faces]}", "  vertices   #{report[:vertices] || 'not known'}",
                bounds_line(report), "  meshes     #{report[:meshes].size}"]
      lines += report[:meshes].map { |mesh| "    #{mesh[:name]}" } if report[:meshes].size > 1
      lines << "  materials  #{report[:materials].size}"
      lines += report[:materials].map { |material| material_line(material) }
      lines += FbxReport.texture_lines(report) if report[:textures]
      console.print("#{lines.map(&:scrub).join("\n")}\n")
    end

    def bounds_line(report)
      return '  bounds     not known' unless report[:bounds]

      low, high = report[:bounds].map { |corner| corner.map { |value| format('%.6g', value) }.join(' ') }
      "  bounds     #{low}  to  #{high}  (diagonal #{format('%.6g', report[:diagonal])})"
    end

    def material_line(material)
      color = material[:color] && "color #{material[:color].join(' ')}"
      texture = material[:texture] && "texture #{material[:texture]}"
      "    #{[material[:name].empty? ? '(no name)' : material[:name], color, texture].compact.join(', ')}"
    end
  end
end
