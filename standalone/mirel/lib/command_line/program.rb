# frozen_string_literal: true

require 'command_line/compare_command'
require 'command_line/console'
require 'command_line/convert_command'
require 'command_line/failure'
require 'command_line/info_command'
require 'command_line/reduce_command'
require 'command_line/snapshot_command'
require 'command_line/view_command'
require 'zu/mirel/version'

module CommandLine
  # The program as a whole: chooses the command, turns everything that goes wrong into one line and a status.
  class Program
    COMMANDS = [ReduceCommand, ConvertCommand, InfoCommand, CompareCommand, ViewCommand, SnapshotCommand].freeze

    HELP = <<~TEXT
      usage: mirel COMMAND [options]

      Reduces the number of faces of polygon models.

      commands:
      %<commands>s
      options:
          -h, --help       this text; `mirel COMMAND --help` tells the options of a command
              --version    the version

      examples:
          mirel reduce model.obj --faces 5000 -o small.obj
          mirel info model.stl
          mirel compare model.obj small.obj
          mirel view model.obj
          mirel snapshot model.obj -o model.png

      The exit status is 0 when the command has done its work, else 1.
    TEXT

    # @param arguments [Array<String>]
    def initialize(arguments)
      # File names are bytes; whatever the locale says, they are shown as UTF-8 and never judged.
      @arguments = arguments.map { |argument| argument.dup.force_encoding(Encoding::UTF_8) }
      @console = Console.new
    end

    # @return [Integer] the exit status
    def run
      answer || run_command(@arguments.shift)
    rescue Failure, OptionParser::ParseError => e
      fail_with(e.message)
    rescue Interrupt, SignalException => e
      interrupted(e)
    rescue Errno::EPIPE
      1
    rescue NoMemoryError
      fail_with('not enough memory')
    rescue StandardError => e
      # A fault of the program's own: still one line, unless the developer asks for more.
      raise if ENV['MIREL_DEBUG']

      fail_with("internal error: #{e.message[/\A[^\n]{0,200}/]} (#{e.class})")
    end

    private

    def answer
      case @arguments.first
      when nil then fail_with('which command? See mirel --help')
      when '-h', '--help', 'help' then succeed_with(format(HELP, commands: command_lines))
      when '--version' then succeed_with("mirel #{Zu::Mirel::VERSION}\n")
      end
    end

    def run_command(name)
      command = COMMANDS.find { |candidate| candidate::NAME == name }
      raise Failure, "no such command or option: #{name}. See mirel --help" unless command

      command.new(@console).run(@arguments)
      0
    end

    def command_lines
      COMMANDS.map { |command| "    #{command::NAME.ljust(12)} #{command::SUMMARY}\n" }.join
    end

    def succeed_with(text)
      @console.print(text)
      0
    end

    def fail_with(message)
      @console.complain("mirel: #{message}")
      1
    end

    def interrupted(signal)
      @console.complain('mirel: interrupted')
      128 + signal.signo
    end
  end
end
