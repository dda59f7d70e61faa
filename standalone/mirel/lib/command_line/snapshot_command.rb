# frozen_string_literal: true

require 'command_line/command'
require 'command_line/quantity'
require 'command_line/viewer_library'

module CommandLine
  # mirel snapshot: a picture of a model, drawn by the viewer's page in a browser without a window.
  class SnapshotCommand < Command
    include ViewerLibrary

    NAME = 'snapshot'
    SUMMARY = 'make a picture of a model, reduced or as it is'

    SMALLEST = 16
    LARGEST = 8192
    PNG = "\x89PNG\r\n\x1a\n".b
    SECONDS_TO_DRAW = 180
    SETUP = File.expand_path('../../../../scripts/setup', __dir__)

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @size = [1200, 800]
        @wishes = {}
        @input = one_input(parse(parser, arguments))
        check_options
        with_importer { |importer| snapshot(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel snapshot INPUT -o OUTPUT.png [options]'
        options.separator ''
        options.separator 'Makes a picture of a model without opening a window. It is drawn by Chromium, which the first use'
        options.separator 'installs where there is none. OUTPUT is replaced only by a complete picture.'
        options.separator ''
        options.on('-o', '--output OUTPUT', 'the file to write: .png (no default)') { |text| @output = as_name(text) }
        options.on('-f', '--faces N', 'reduce to no more than N faces (default: all)') { |text| @faces = Quantity.count(text) }
        options.on('--wireframe', 'draw the edges too (default: off)') { @wishes[:wireframe] = true }
        options.on('--compare', 'the original on the left, the result on the right (default: off)') { @wishes[:compare] = true }
        options.on('--heatmap', 'colour by the distance from the original (default: off)') { @wishes[:heat] = true }
        options.on('--size WxH', "pixels, #{SMALLEST} to #{LARGEST} each (default: 1200x800)") { |text| @size = size(text) }
        add_common_options(options)
        options.separator ''
        options.separator 'examples:'
        options.separator '    mirel snapshot model.obj -o model.png'
        options.separator '    mirel snapshot bunny.obj --faces 5000 --compare --wireframe -o bunny.png'
      end
    end

    def size(text)
      width, height = text.match(/\A(\d{1,5})x(\d{1,5})\z/)&.captures&.map(&:to_i)
      return [width, height] if width && [width, height].all? { |pixels| pixels.between?(SMALLEST, LARGEST) }

      raise OptionParser::InvalidArgument, "#{text} (WIDTHxHEIGHT, #{SMALLEST} to #{LARGEST} pixels each)"
    end

    def check_options
      raise Failure, 'where to? Name the output with -o OUTPUT.png' unless @output
      return if File.extname(@output).casecmp?('.png')

      raise Failure, "#{@output}: this format cannot be written; the only extension known is .png"
    end

    def snapshot(importer)
      load_viewer
      require 'zu/mirel/replaced_file'
      page = viewer_page
      Zu::Mirel::Importer.check_readable(@input)
      Zu::Mirel::ObjOutput.check_target(@output)
      program = chromium
      @phases.run('read', "read #{@input}") { importer.import(@input) }
      @phases.run('build', 'built the hierarchy') { importer.build_hierarchy }
      importer.go_to_faces(@faces) if @faces
      picture = @phases.run('draw', "drew #{@output}") { signals_raise { draw(importer, page, program) } }
      signals_raise { Zu::Mirel::ReplacedFile.write(@output) { |file| File.binwrite(file, picture) } }
      report(importer, picture)
    end

    # @return [String] the picture
    def draw(importer, page, program)
      pictures = Thread::Queue.new
      serving(importer, page, pictures: pictures) do |server, host|
        query = URI.encode_www_form({ snapshot: 1, width: @size[0], height: @size[1] }.merge(@wishes))
        Viewer::Chromium.open(program, "#{server.address}?#{query}") do |browser|
          waiter = Thread.new { wait_for_picture(pictures, browser).tap { host.stop } }
          host.run
          checked(*waiter.value)
        end
      end
    rescue SystemCallError => e
      raise Failure, "#{program}: #{Zu::Mirel::Errors.reason(e)}"
    end

    def wait_for_picture(pictures, browser)
      deadline = Process.clock_gettime(Process::CLOCK_MONOTONIC) + SECONDS_TO_DRAW
      while pictures.empty?
        return [:failure, "the browser ended early (#{browser.last_words || 'without a word'})"] unless browser.running?

        late = Process.clock_gettime(Process::CLOCK_MONOTONIC) > deadline
        return [:failure, "it took more than #{SECONDS_TO_DRAW} s"] if late

        sleep(0.02)
      end
      pictures.pop
    end

    def checked(kind, content)
      reason = content.dup.force_encoding(Encoding::UTF_8).scrub if kind == :failure
      reason ||= 'the browser sent something else' unless content.start_with?(PNG) && content.bytesize > 24
      reason ||= 'the picture has another size' unless content[16, 8].unpack('N2') == @size
      raise Failure, "#{@output}: no picture could be made: #{reason}" if reason

      content
    end

    def chromium
      Viewer::Chromium.find || install_chromium || raise(Failure, <<~TEXT.tr("\n", ' ').strip)
        mirel snapshot needs Chromium or Chrome, and there is none here; install it (Debian: apt install chromium),
        or name the program in MIREL_CHROMIUM
      TEXT
    end

    def install_chromium
      return if ENV['MIREL_CHROMIUM'] || !File.executable?(SETUP)

      console.say('Chromium is needed for pictures; installing it')
      system(SETUP, '--snapshot', out: File::NULL, err: @verbose ? $stderr : File::NULL)
      Viewer::Chromium.find
    end

    def report(importer, picture)
      faces = importer.count_faces
      if @json
        print_json(command: NAME, version: Zu::Mirel::VERSION, input: @input, output: @output, faces: faces,
                   width: @size[0], height: @size[1], bytes: picture.bytesize, seconds: @phases.seconds.round(6))
      elsif !@quiet
        console.say(format('%<output>s: %<faces>d faces, %<width>d x %<height>d pixels (%<seconds>.1f s)',
                           output: @output, faces: faces, width: @size[0], height: @size[1], seconds: @phases.seconds))
      end
    end
  end
end
