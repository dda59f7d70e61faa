# frozen_string_literal: true

require 'command_line/command'
require 'command_line/quantity'
require 'command_line/scene_options'

module CommandLine
  # mirel reduce: reads a model, reduces it, writes the result.
  class ReduceCommand < Command
    include SceneOptions

    NAME = 'reduce'
    SUMMARY = 'reduce a model to fewer faces'

    def initialize(console)
      super
      @settings = {}
    end

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @input = one_input(parse(parser, arguments))
        check_options
        with_importer { |importer| reduce(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel reduce INPUT -o OUTPUT (--faces N | --ratio R | --tolerance D) [options]'
        options.separator ''
        options.separator 'Reads a model (OBJ, PLY, FBX, STL, glTF, GLB, DAE, 3DS and others), reduces the number of'
        options.separator 'its faces and writes the whole scene: names, groups, instances, materials and textures. The'
        options.separator 'extension of OUTPUT chooses the format. OUTPUT is replaced only by a complete result. Where'
        options.separator 'the count cannot be reached, the coarsest result is written and the reason is told.'
        add_target_options(options)
        add_keeping_options(options)
        add_joining_options(options)
        add_look_options(options)
        add_common_options(options)
        add_examples(options)
      end
    end

    def add_target_options(options)
      options.separator ''
      options.separator 'how far (at least one):'
      options.on('-f', '--faces N', 'no more than N faces, 1 or more (no default)') do |text|
        @faces = Quantity.count(text)
      end
      options.on('-r', '--ratio R', 'no more than this share of the faces: above 0 and up to 1,',
                 'or a percentage as 25% (no default)') { |text| @ratio = Quantity.ratio(text) }
      options.on('-t', '--tolerance D', 'stay within this distance of the original, both ways: above 0,',
                 'model units, or a percentage of the diagonal of the bounding box',
                 'as 0.1% (default: no bound)') { |text| @tolerance = Quantity.length_or_share(text) }
      add_output_option(options)
      options.on('--deviation', 'measure how far the result may be from the original, in either',
                 'direction (default: with --json; with --tolerance it is known)') { @deviation = true }
      options.on('--no-deviation', 'do not measure it: on a large model it takes longer than all else') do
        @deviation = false
      end
    end

    def add_keeping_options(options)
      options.separator ''
      options.separator 'what to keep:'
      options.on('--keep-uvs', 'keep texture coordinates (default)') { @settings[:maintain_uvs] = true }
      options.on('--drop-uvs', 'leave texture coordinates out') { @settings[:maintain_uvs] = false }
      options.on('--keep-normals', 'keep normals, also the facet normals of STL') do
        @settings[:maintain_normals] = true
      end
      options.on('--drop-normals', 'leave normals out (default: keep them where the file has',
                 'any other than facet normals)') { @settings[:maintain_normals] = false }
      options.on('--lock-boundaries', 'do not touch the boundaries of open surfaces (default: off)') do
        @settings[:lock_surface_boundaries] = true
      end
      options.on('--prevent-xy-foldovers', 'let no face turn over in the projection to the XY plane',
                 '(default: off)') { @settings[:prevent_xy_foldovers] = true }
      options.on('--prevent-uv-foldovers', 'let no face turn over in texture space (default: off)') do
        @settings[:prevent_uv_foldovers] = true
      end
    end

    def add_joining_options(options)
      options.separator ''
      options.separator 'joining before the reduction:'
      options.on('--join-vertices D', 'join vertices no further apart than D: 0 or more, model units',
                 '(default: 0, exact duplicates)') do |text|
        @settings[:join_vertices_threshold] = Quantity.threshold(text)
      end
      options.on('--join-normals A', 'join normals at one vertex that differ by no more than A:',
                 '0 to 180 degrees (default: 5)') do |text|
        @settings[:join_normals_threshold] = Quantity.threshold(text, 180)
      end
      options.on('--join-uvs D', 'join UVs at one vertex that differ by no more than D: 0 or more,',
                 '1 is the width of the texture (default: 0.0001)') do |text|
        @settings[:join_uvs_threshold] = Quantity.threshold(text)
      end
    end

    def add_examples(options)
      options.separator ''
      options.separator 'examples:'
      options.separator '    mirel reduce bunny.obj --faces 5000 -o bunny-5000.obj'
      options.separator '    mirel reduce scan.stl --ratio 10% --lock-boundaries -o scan-small.obj'
      options.separator '    mirel reduce part.ply --tolerance 0.05% --json -o part.obj > report.json'
    end

    def check_options
      raise Failure, 'where to? Name the output with -o OUTPUT' unless @output
      raise Failure, 'how far? Give --faces, --ratio or --tolerance' unless @faces || @ratio || @tolerance
      raise Failure, 'give --faces or --ratio, not both' if @faces && @ratio
    end

    def reduce(importer)
      apply_settings(importer)
      check_files
      @phases.run('read', "read #{@input}") { importer.import(@input) }
      output = Zu::Mirel::SceneOutput.new(importer)
      output.check_scene(@output)
      report = before(importer)
      @phases.run('build', 'built the hierarchy') { build(importer) }
      report.update(prepared(importer))
      @phases.run('reduce', 'reduced') { move(importer) }
      measure_deviation(importer)
      report.update(reached(importer))
      report.update(after(importer, write_scene(output)), timing(importer))
      print_report(report)
    end

    def build(importer)
      apply_tolerance(importer) if @tolerance
      importer.build_hierarchy
    end

    def apply_tolerance(importer)
      importer.error_tolerance = tolerance_of(importer)
    rescue ArgumentError
      raise Failure, "#{@input}: a tolerance of #{tolerance_of(importer)} is too small to be told from 0"
    end

    # Before the build: percentages are of the model as it came.
    def tolerance_of(importer)
      return @tolerance.value unless @tolerance.share

      box = importer.bounds
      raise Failure, "#{@input}: its bounds are not known; give --tolerance in model units" if box.nil? || box.empty?
      raise Failure, "#{@input}: all its points are one; give --tolerance in model units" if box.diagonal.zero?

      @tolerance.share * box.diagonal
    end

    def move(importer)
      @target = @faces || (@ratio && importer.faces_at(@ratio))
      @target ? importer.go_to_faces(@target) : importer.make_lowest_resolution
    end

    def before(importer)
      { command: NAME, version: Zu::Mirel::VERSION, input: @input, output: @output,
        faces_before: importer.faces_before, vertices_before: importer.points_before,
        bounds_before: corners(importer.bounds) }
    end

    def prepared(importer)
      { faces_prepared: importer.total_original_faces, vertices_prepared: importer.count_vertices }
    end

    def reached(importer)
      faces = importer.count_faces
      reached = @target.nil? || faces <= @target
      step = importer.get_current_step
      { faces_wanted: @target, tolerance: importer.error_tolerance, target_reached: reached,
        stopped_because: stopped_because(importer, reached),
        stop_reason: stop_reason(importer, reached),
        edges_held: Zu::Mirel::Engine.ladder_end.to_h, step: step, steps: importer.get_hierachy_steps,
        deviation_bound: importer.deviation_bound(measure: false) }
    end

    # Whoever wants a report wants it whole, unless told otherwise: on a large model this takes longer than all else.
    def measure_deviation(importer)
      return unless @deviation.nil? ? @json : @deviation
      return if importer.deviation_bound(measure: false)

      @phases.run('deviation', 'measured the deviation') { importer.deviation_bound }
    end

    def stop_reason(importer, reached)
      return 'target met' if reached && @target

      importer.rule_that_stopped || 'coarsest step'
    end

    def stopped_because(importer, reached)
      return 'the wanted number of faces is reached' if reached && @target

      importer.why_stopped || 'this is the coarsest step'
    end

    def print_report(report)
      return print_json(report) if @json
      return if @quiet

      console.say(summary(report))
      return if report[:target_reached]

      console.say("#{report[:faces_wanted]} faces could not be reached: #{report[:stopped_because]}")
    end

    def summary(report)
      memory = report[:peak_bytes] ? format(', %.0f MB', report[:peak_bytes] / 1e6) : ''
      deviation = report[:deviation_bound] ? format(', deviation at most %.6g', report[:deviation_bound]) : ''
      format('%<output>s: %<before>d -> %<after>d faces, %<vertices>d vertices%<deviation>s ' \
             '(%<seconds>.1f s%<memory>s)', output: @output, before: report[:faces_before], after: report[:faces_after],
             vertices: report[:vertices_after], deviation: deviation, seconds: report[:seconds], memory: memory)
    end
  end
end
