# frozen_string_literal: true

module Viewer
  # Opens a page in the user's browser.
  module Browser
    OPENERS = (RUBY_PLATFORM.include?('darwin') ? %w[open] : %w[xdg-open sensible-browser x-www-browser]).freeze

    module_function

    # @return [Boolean] whether there was a program for it
    def open(address)
      return false unless RUBY_PLATFORM.include?('darwin') || ENV['DISPLAY'] || ENV['WAYLAND_DISPLAY'] || ENV['BROWSER']

      OPENERS.any? do |opener|
        Process.detach(Process.spawn(opener, address, in: File::NULL, out: File::NULL, err: File::NULL, pgroup: true))
      rescue SystemCallError
        false
      end
    end
  end
end
