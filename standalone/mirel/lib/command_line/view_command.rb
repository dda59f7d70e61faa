# frozen_string_literal: true

require 'command_line/command'
require 'command_line/quantity'
require 'command_line/viewer_library'

module CommandLine
  # mirel view: shows a model in the browser, with everything that moves it.
  class ViewCommand < Command
    include ViewerLibrary

    NAME = 'view'
    SUMMARY = 'look at a model in the browser and reduce it there'

    # @param arguments [Array<String>] what follows the command's name
    # @raise [Failure]
    def run(arguments)
      catch(:answered) do
        @port = 0
        @open = true
        @input = one_input(parse(parser, arguments))
        with_importer { |importer| view(importer) }
      end
    end

    private

    def parser
      OptionParser.new do |options|
        options.banner = 'usage: mirel view INPUT [options]'
        options.separator ''
        options.separator 'Shows a model in the browser: a slider over all its resolutions, the original beside it, the'
        options.separator 'distance between the two, and the result to save. Runs until Ctrl-C. Only this machine can reach'
        options.separator 'the page, and only with the address that is printed.'
        options.separator ''
        options.on('-f', '--faces N', 'begin with no more than N faces (default: all)') do |text|
          @faces = Quantity.count(text)
        end
        options.on('--port P', 'where to listen: 1 to 65535 (default: any free port)') { |text| @port = Quantity.port(text) }
        options.on('--no-open', 'do not open the browser, only print the address (default: open it)') { @open = false }
        add_common_options(options)
        options.separator ''
        options.separator 'examples:'
        options.separator '    mirel view model.obj'
        options.separator '    mirel view scan.stl --port 8080 --no-open'
      end
    end

    def view(importer)
      load_viewer
      page = viewer_page
      Zu::Mirel::Importer.check_readable(@input)
      @phases.run('read', "read #{@input}") { importer.import(@input) }
      @phases.run('build', 'built the hierarchy') { importer.build_hierarchy }
      importer.go_to_faces(@faces) if @faces
      serving(importer, page, port: @port) do |server, host|
        announce(server.address)
        run_until_signal(host)
      end
    end

    def announce(address)
      if @json
        print_json(command: NAME, version: Zu::Mirel::VERSION, input: @input, address: address)
      else
        console.print("#{address}\n")
      end
      opened = @open && Viewer::Browser.open(address)
      return if @quiet

      console.say(opened ? 'The browser opens the page. Ctrl-C ends the viewer.' : 'Open this address. Ctrl-C ends the viewer.')
    end

    # A signal ends the wait at once, and native work when it comes back.
    def run_until_signal(host)
      signalled = Thread::Queue.new
      Thread.new { host.stop if signalled.pop }
      %w[INT TERM].each { |signal| trap(signal) { signalled << signal } }
      host.run
    ensure
      signals_end_the_process
    end
  end
end
