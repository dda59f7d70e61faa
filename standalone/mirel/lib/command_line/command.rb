# frozen_string_literal: true

require 'json'
require 'optparse'
require 'command_line/failure'
require 'command_line/phases'
require 'command_line/progress_display'
require 'zu/mirel/errors'

module CommandLine
  # What the commands share: options, the loading of the library and of the input, the report.
  class Command
    # @param console [Console]
    def initialize(console)
      @console = console
      @json = false
      @quiet = false
      @verbose = false
    end

    private

    attr_reader :console

    # Adds the options that every command has.
    def add_common_options(parser)
      parser.separator ''
      parser.separator 'output:'
      parser.on('--json', 'print a report in JSON on the standard output (default: text)') { @json = true }
      parser.on('-q', '--quiet', 'print nothing but errors and what --json asks for (default: off)') { @quiet = true }
      parser.on('-v', '--verbose', 'show what the native code prints (default: off)') { @verbose = true }
      parser.on('-h', '--help', 'this text') { throw :answered, console.print(parser.help) }
    end

    # @return [Array<String>] what is left of the arguments
    def parse(parser, arguments)
      parser.require_exact = true if parser.respond_to?(:require_exact=)
      # As bytes: the parser does not take names that are no valid text.
      parser.parse(arguments.map(&:b)).map { |argument| as_name(argument) }
    end

    def as_name(argument)
      argument.dup.force_encoding(Encoding::UTF_8)
    end

    def one_input(rest)
      raise Failure, "which file? See mirel #{self.class::NAME} --help" if rest.empty?
      raise Failure, "one file at a time, not #{rest.join(', ')}" if rest.size > 1

      rest.first
    end

    # Loads the library, then runs the block with an importer. Native code may run for a long time without Ruby
    # getting a turn, so signals end the process at once, unless a block asks for a clean end.
    def with_importer
      console.silence_native(shown: @verbose)
      load_library
      console.display = ProgressDisplay.for(console.err) unless @quiet
      Zu::Mirel::StatusProgressBar.instance.display = console.display
      @phases = Phases.new(console, quiet: @quiet)
      signals_end_the_process
      yield Zu::Mirel::Importer.new
    rescue Zu::Mirel::Error => e
      raise Failure, e.message
    ensure
      console.display&.clear
    end

    def load_library
      require 'mirel'
    rescue LoadError => e
      raise Failure, "the native libraries are missing; build the project first (#{e.message.lines.first&.chomp})"
    end

    def signals_end_the_process
      %w[INT TERM].each { |signal| trap(signal, 'SYSTEM_DEFAULT') }
    end

    # Within the block a signal raises, so that what the block has begun is cleaned up.
    def signals_raise
      %w[INT TERM].each { |signal| trap(signal, 'DEFAULT') }
      yield
    ensure
      signals_end_the_process
    end

    def corners(box)
      [box.min, box.max].map { |corner| corner.to_a.map { |value| shortest(value) } } if box && !box.empty?
    end

    # The shortest decimal number that stands for the same 32-bit float.
    def shortest(value)
      (6..8).each do |digits|
        candidate = format("%.#{digits}g", value).to_f
        return candidate if [candidate].pack('e') == [value].pack('e')
      end
      value
    end

    def print_json(report)
      console.print("#{JSON.pretty_generate(valid(report))}\n")
    end

    # Names in files and of files are any bytes, and numbers may be none; JSON is text and has no such numbers.
    def valid(value)
      case value
      when String then value.scrub
      when Float then value.finite? ? value : nil
      when Array then value.map { |item| valid(item) }
      when Hash then value.transform_values { |item| valid(item) }
      else value
      end
    end
  end
end
