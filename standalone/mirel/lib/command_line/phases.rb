# frozen_string_literal: true

module CommandLine
  # Times the phases of a command and notes the memory that the process has needed up to the end of each.
  class Phases
    # A phase as it stands in the report.
    Phase = Struct.new(:name, :seconds, :peak_bytes)

    # Quick phases are not worth a line where there is no terminal.
    LONG_SECONDS = 2.0
    private_constant :LONG_SECONDS

    # @param console [Console]
    def initialize(console, quiet:)
      @console = console
      @quiet = quiet
      @phases = []
      @started = now
    end

    # Runs the block as a phase.
    # @param name [String] for the report
    # @param doing [String] for the reader of the plain lines
    def run(name, doing)
      begun = now
      result = yield
      seconds = now - begun
      @phases << Phase.new(name, seconds, Zu::Mirel::Native.peak_memory)
      announce(doing, seconds)
      result
    end

    # @return [Float] since the beginning
    def seconds
      now - @started
    end

    # @return [Integer, nil]
    def peak_bytes
      @phases.map(&:peak_bytes).compact.max
    end

    # @return [Array<Hash>]
    def to_a
      @phases.map { |phase| { name: phase.name, seconds: phase.seconds.round(6), peak_bytes: phase.peak_bytes } }
    end

    private

    def announce(doing, seconds)
      return if @quiet || @console.display || seconds < LONG_SECONDS

      @console.say(format('%<doing>s: %<seconds>.1f s', doing: doing, seconds: seconds))
    end

    def now
      Process.clock_gettime(Process::CLOCK_MONOTONIC)
    end
  end
end
