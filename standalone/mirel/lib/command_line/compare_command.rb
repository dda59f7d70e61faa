# frozen_string_literal: true

require 'command_line/command'
require 'command_line/quantity'

module CommandLine
  # mirel compare: measures how far two models are from each other.
  class CompareCommand < Command
    NAME = 'compare'
    SUMMARY = 'measure the distance between two models'

    # To which the maximum is bounded where a bound is asked for.
    ACCURACY = 0.01
    WORDS = %w[first second].freeze
    private_constant :ACCURACY, :WORDS

    def initialize(console)
      super
      @samples = 500_000
      @exact = false
    end

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @names = parse(parser, arguments)
        check_options
        with_importer { |importer| compare(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel compare FIRST SECOND [options]'
        options.separator ''
        options.separator 'Measures the distance between the surfaces of two models (in any format that mirel reads) in'
        options.separator 'both directions, with every mesh where the scene puts it. A model whose z axis points up is'
        options.separator 'turned to y up; where both files say their unit, SECOND is scaled to that of FIRST. Lengths'
        options.separator 'are in model units of FIRST, percentages of the diagonal of its bounding box.'
        add_measuring_options(options)
        add_heat_map_options(options)
        add_common_options(options)
        add_examples(options)
      end
    end

    def add_measuring_options(options)
      options.separator ''
      options.separator 'how to measure:'
      options.on('-n', '--samples N', 'points on each surface, spread by area, 1 or more',
                 '(default: 500000)') { |text| @samples = Quantity.count(text) }
      options.on('--exact', "bound the maximum to #{(ACCURACY * 100).round} % too; else it is the largest distance of",
                 'samples and vertices (default: off)') { @exact = true }
    end

    def add_heat_map_options(options)
      options.separator ''
      options.separator 'heat map:'
      options.on('--heatmap FILE', 'write a surface as PLY with the distance of each vertex from the other',
                 'one, as a colour and as a number (no default)') { |text| @heatmap = as_name(text) }
      options.on('--heatmap-of WHICH', "whose vertices: #{WORDS.join(' or ')} (default: first)") do |text|
        raise OptionParser::InvalidArgument, "#{text} (#{WORDS.join(' or ')})" unless WORDS.include?(text)

        @side = text
      end
      options.on('--heatmap-scale D', 'the distance with the hottest colour: above 0, model units, or a',
                 'percentage of the diagonal as 0.1% (default: the largest there is)') do |text|
        @scale = Quantity.length_or_share(text)
      end
    end

    def add_examples(options)
      options.separator ''
      options.separator 'examples:'
      options.separator '    mirel compare bunny.obj bunny-5000.obj'
      options.separator '    mirel compare scan.stl scan-small.obj --exact --json'
      options.separator '    mirel compare part.ply part-small.obj --heatmap part-error.ply --heatmap-scale 0.1%'
    end

    def check_options
      raise Failure, 'which files? Give two; see mirel compare --help' if @names.size < 2
      raise Failure, "two files, not #{@names.size}" if @names.size > 2
      raise Failure, '--heatmap-of and --heatmap-scale need --heatmap' if !@heatmap && (@side || @scale)
      return unless @heatmap && !File.extname(@heatmap).casecmp?('.ply')

      raise Failure, "#{@heatmap}: a heat map is a .ply file"
    end

    def side
      @side || WORDS.first
    end

    def compare(importer)
      require 'zu/mirel/replaced_file'
      require 'zu/mirel/surface'
      @names.each { |name| Zu::Mirel::Importer.check_readable(name) }
      Zu::Mirel::ObjOutput.check_target(@heatmap) if @heatmap
      surfaces = @names.map { |name| read(importer, name) }
      meshes = surfaces.zip(@names).map { |surface, name| naming(name) { library.mesh(surface) } }
      result = @phases.run('compare', 'compared') { measure(meshes) }
      report = report_of(surfaces, result)
      report[:heatmap] = heat_map(surfaces, meshes, result) if @heatmap
      report.update(seconds: @phases.seconds.round(6), peak_bytes: @phases.peak_bytes, phases: @phases.to_a)
      @json ? print_json(report) : print_text(result, report)
    end

    def library
      Zu::Mirel::CompareLibrary.instance
    end

    def read(importer, name)
      @phases.run('read', "read #{name}") do
        importer.import(name)
        naming(name) { Zu::Mirel::Surface.of(importer, frame: frame(importer), outward: true) }
      end
    ensure
      importer.close
    end

    # One frame for both files: y up, and the unit of the first where both say theirs.
    def frame(importer)
      length = importer.meters_per_unit if importer.unit_known?
      @meters_per_unit = length unless defined?(@meters_per_unit)
      scale = length && @meters_per_unit ? length / @meters_per_unit : 1.0
      scale == 1.0 ? importer.to_y_up : Geom::Transformation.scaling(scale) * importer.to_y_up
    end

    # What fails within the block is the fault of that file.
    def naming(name)
      yield
    rescue Zu::Mirel::Error => e
      raise Failure, "#{name}: #{e.message}"
    end

    def measure(meshes)
      library.compare(*meshes, samples: @samples, accuracy: @exact ? ACCURACY : nil)
    rescue Zu::Mirel::Error => e
      raise Failure, "#{@names.join(', ')}: #{e.message}"
    end

    def heat_map(surfaces, meshes, result)
      @phases.run('heatmap', "wrote #{@heatmap}") { write_heat_map(surfaces, meshes, result) }
    end

    def write_heat_map(surfaces, meshes, result)
      at, other = side == 'first' ? [0, 1] : [1, 0]
      distances = library.distances(meshes[other], surfaces[at].positions)
      largest = distances.unpack('e*').reject(&:nan?).max
      high = scale(result.diagonal) || (largest.positive? ? largest : result.diagonal)
      signals_raise do
        Zu::Mirel::ReplacedFile.write(@heatmap) { |file| library.write_ply(file, surfaces[at], distances, high) }
      end
      { file: @heatmap, of: side, vertices: surfaces[at].vertex_count, scale: high, largest: largest,
        bytes: File.size(@heatmap) }
    end

    def scale(diagonal)
      @scale && (@scale.value || (@scale.share * diagonal))
    end

    def report_of(surfaces, result)
      there = result.first_to_second
      back = result.second_to_first
      { command: NAME, version: Zu::Mirel::VERSION, first: surface_of(@names[0], surfaces[0], there),
        second: surface_of(@names[1], surfaces[1], back), diagonal: result.diagonal, samples: @samples,
        **figures(result, result.diagonal), first_to_second: direction(there, result.diagonal),
        second_to_first: direction(back, result.diagonal) }
    end

    def surface_of(name, surface, direction)
      { file: name, faces: surface.face_count, vertices: surface.vertex_count, area: direction.area }
    end

    def figures(values, diagonal)
      lengths = %i[rms mean max max_bound].flat_map do |name|
        value = values[name]
        [[name, value], [:"#{name}_relative", value && (value / diagonal)]]
      end
      lengths.to_h.merge(normal_degrees: values.normal_degrees)
    end

    def direction(values, diagonal)
      figures(values, diagonal).merge(worst_point: values.worst_point, nearest_point: values.nearest_point)
    end

    def print_text(result, report)
      return if @quiet

      console.print("#{[*heading(report), '', *table(result), '', worst_line(result)].join("\n").scrub}\n")
      return unless @heatmap

      console.say(format('%<file>s: %<vertices>d vertices of the %<of>s model, hottest at %<scale>.6g',
                         report[:heatmap]))
    end

    def heading(report)
      lines = %i[first second].map do |side|
        format('%<side>-8s%<file>s  (%<faces>d faces)', side: side, **report[side].slice(:file, :faces))
      end
      lines << format('%<samples>d samples on each; diagonal %<diagonal>.6g', report)
    end

    def table(result)
      columns = [result.first_to_second, result.second_to_first, result]
      rows = [['', 'first to second', 'second to first', 'both'],
              *lengths(result).map do |title, name|
                [title, *columns.map { |column| length(column[name], result.diagonal) }]
              end,
              ['normals', *columns.map { |column| angle(column.normal_degrees) }]]
      rows.map { |first, *rest| (first.ljust(10) + rest.map { |cell| cell.ljust(26) }.join).rstrip }
    end

    def lengths(result)
      rows = { 'RMS' => :rms, 'mean' => :mean, 'maximum' => :max }
      result.max_bound ? rows.merge('at most' => :max_bound) : rows
    end

    def length(value, diagonal)
      format('%<value>.6g (%<share>.4g %%)', value: value, share: 100 * value / diagonal)
    end

    def angle(degrees)
      degrees ? format('%.4g degrees', degrees) : 'not known'
    end

    def worst_line(result)
      forward = result.first_to_second.max >= result.second_to_first.max
      direction = forward ? result.first_to_second : result.second_to_first
      here, there = forward ? WORDS : WORDS.reverse
      format('worst     %<point>s of the %<here>s, nearest %<nearest>s of the %<there>s',
             point: point(direction.worst_point), here: here, nearest: point(direction.nearest_point), there: there)
    end

    def point(coordinates)
      "(#{coordinates.map { |value| format('%.6g', value) }.join(', ')})"
    end
  end
end
