# frozen_string_literal: true

require_relative 'ui/timers'

# The host's user interface, as far as a program without windows has one.
module UI
  # @param message [String] printed to the standard error output, since nothing here can be clicked
  # @return [Integer] 1, as if OK had been chosen
  def self.messagebox(message, *_choices)
    warn(message)
    1
  end

  @timers = Timers.new

  class << self
    # The timers that wait. Nothing fires by itself: a program's event loop calls `UI.timers.run`.
    # @return [Timers]
    attr_reader :timers

    # @param seconds [Numeric] from now
    # @param repeat [Boolean] whether it fires again and again
    # @return [Integer] the timer's number
    def start_timer(seconds, repeat = false, &procedure)
      timers.start(seconds, repeat, &procedure)
    end

    # @param timer [Integer] one that has fired or does not exist is let pass
    # @return [nil]
    def stop_timer(timer)
      timers.stop(timer)
    end
  end
end
