# frozen_string_literal: true

require 'command_line/command'
require 'command_line/scene_options'

module CommandLine
  # mirel convert: reads a model and writes it in another format, with all of its faces.
  class ConvertCommand < Command
    include SceneOptions

    NAME = 'convert'
    SUMMARY = 'write a model in another format'

    def initialize(console)
      super
      @settings = {}
    end

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @input = one_input(parse(parser, arguments))
        raise Failure, 'where to? Name the output with -o OUTPUT' unless @output

        with_importer { |importer| convert(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel convert INPUT -o OUTPUT [options]'
        options.separator ''
        options.separator 'Reads a model (OBJ, PLY, FBX, STL, glTF, GLB, DAE, 3DS and others) and writes the whole scene'
        options.separator 'in the format of the extension of OUTPUT: names, groups, instances, materials and textures.'
        options.separator 'Polygons are cut into triangles. OUTPUT is replaced only by a complete result.'
        options.separator ''
        options.separator 'where to:'
        add_output_option(options)
        add_look_options(options)
        add_common_options(options)
        options.separator ''
        options.separator 'examples:'
        options.separator '    mirel convert model.dae -o model.glb'
        options.separator '    mirel convert scan.stl -o scan.obj --soften 40'
      end
    end

    def convert(importer)
      apply_settings(importer)
      check_files
      @phases.run('read', "read #{@input}") { importer.import(@input) }
      importer.check_usable
      output = Zu::Mirel::SceneOutput.new(importer)
      output.check_scene(@output)
      written = write_scene(output)
      report = { command: NAME, version: Zu::Mirel::VERSION, input: @input, output: @output,
                 faces_before: importer.faces_before, vertices_before: importer.points_before }
      report.update(after(importer, written), timing(importer))
      @json ? print_json(report) : print_text(report)
    end

    def print_text(report)
      return if @quiet

      memory = report[:peak_bytes] ? format(', %.0f MB', report[:peak_bytes] / 1e6) : ''
      console.say(format('%<output>s: %<faces>d faces (%<seconds>.1f s%<memory>s)',
                         output: @output, faces: report[:faces_after], seconds: report[:seconds], memory: memory))
    end
  end
end
