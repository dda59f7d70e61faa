# frozen_string_literal: true

# The host's user interface, as far as a terminal has one.
module UI
  # @param message [String] printed to the standard error output, since nothing here can be clicked
  # @return [Integer] 1, as if OK had been chosen
  def self.messagebox(message, *_choices)
    warn(message)
    1
  end

  # There are no timers in a terminal.
  # @return [nil]
  def self.stop_timer(_timer)
    nil
  end
end
