# frozen_string_literal: true

module UI
  # Timers for a program with an event loop of its own: they fire in #run, on the caller's thread, and never between.
  #
  # @example An event loop
  #   timers = UI.timers
  #   until done
  #     wait_for_input(timers.seconds_left)   # nil: nothing waits
  #     timers.run
  #   end
  class Timers
    Timer = Struct.new(:due, :period, :procedure)
    private_constant :Timer

    # @param clock [#call] seconds that only ever rise
    def initialize(clock = -> { Process.clock_gettime(Process::CLOCK_MONOTONIC) })
      @clock = clock
      @timers = {}
      @last_id = 0
    end

    # @param seconds [Numeric] from now; less than 0 counts as 0
    # @param repeat [Boolean]
    # @return [Integer]
    # @raise [ArgumentError] without a block
    def start(seconds, repeat = false, &procedure)
      raise ArgumentError, 'a timer needs a block' unless procedure

      period = [Float(seconds), 0.0].max
      @last_id += 1
      @timers[@last_id] = Timer.new(@clock.call + period, repeat ? period : nil, procedure)
      @last_id
    end

    # @return [nil]
    def stop(id)
      @timers.delete(id)
      nil
    end

    # Fires every timer that is due, the earliest first. One that is started meanwhile waits for the next run.
    # @return [Integer] how many have fired
    def run
      now = @clock.call
      due = @timers.select { |_, timer| timer.due <= now }.sort_by { |id, timer| [timer.due, id] }
      due.count { |id, timer| fire(id, timer, now) }
    end

    # @return [Float, nil] seconds until the next timer is due, 0 where one is; nil where none waits
    def seconds_left
      due = @timers.each_value.map(&:due).min
      due && [due - @clock.call, 0.0].max
    end

    private

    # A timer that fired before it may have stopped this one.
    def fire(id, timer, now)
      return false unless @timers[id].equal?(timer)

      timer.period ? timer.due = now + timer.period : @timers.delete(id)
      timer.procedure.call
      true
    end
  end
end
