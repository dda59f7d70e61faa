# frozen_string_literal: true

require 'command_line/quantity'

module CommandLine
  # The options of commands that write a scene. The command has @settings, a Hash of settings by name.
  module SceneOptions
    private

    def add_output_option(options)
      options.on('-o', '--output OUTPUT', 'the file to write: .glb, .gltf, .dae, .obj, .ply or .stl',
                 '(no default)') { |text| @output = as_name(text) }
    end

    def add_look_options(options)
      options.separator ''
      options.separator 'how the result looks:'
      options.on('--soften ANGLE', 'shade faces as round that meet at no more than ANGLE, 0 to 180',
                 'degrees, and the others as edges (default: as the normals of the file',
                 'tell; where it has none, as --soften 30)') do |text|
        @settings[:smooth_angle] = Quantity.threshold(text, 180)
        @settings[:soften_edges] = true
      end
      options.on('--drop-textures', 'leave textures out (default: they are copied beside OUTPUT, or go',
                 'into it)') { @settings[:write_textures] = false }
      options.on('--one-sided', 'show fronts only, in formats that can tell') do
        @settings[:materials_both_sides] = false
      end
      options.on('--two-sided', 'show backs as fronts (default: unless the file shows fronts only)') do
        @settings[:materials_both_sides] = true
      end
    end

    # Finds out, before any work, what would keep the command from doing it.
    def check_files
      Zu::Mirel::Importer.check_readable(@input)
      Zu::Mirel::SceneOutput.check_target(@output)
    end

    def apply_settings(importer)
      @settings.each { |name, value| importer.public_send(:"#{name}=", value) }
    end

    # Writes the scene and tells what had to be left out.
    # @return [Zu::Mirel::SceneOutput::Result]
    def write_scene(output)
      written = @phases.run('write', "wrote #{@output}") { signals_raise { output.write(@output) } }
      written.remarks.each { |remark| console.say("mirel: #{@output}: #{remark}") } unless @quiet
      written
    end

    def after(importer, written)
      { faces_after: importer.count_faces, vertices_after: written.vertices, normals_after: written.normals,
        uvs_after: written.uvs, bounds_after: corners(written.bounds), bytes: written.bytes,
        side_files: written.side_files, remarks: written.remarks,
        positions_merged: written.positions_merged }
    end

    def timing(importer)
      { seconds: @phases.seconds.round(6), peak_bytes: @phases.peak_bytes, reader_peak_bytes: importer.reader_bytes,
        phases: @phases.to_a }
    end
  end
end
