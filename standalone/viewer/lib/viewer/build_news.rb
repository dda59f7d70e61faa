# frozen_string_literal: true

module Viewer
  # Tells the open pages of a build's phases, as the display of the progress bar.
  class BuildNews
    # Native work holds Ruby's lock: so long the threads that write to the pages get a turn first.
    SECONDS_TO_WRITE = 0.03

    # @param events [Events]
    def initialize(events)
      @events = events
    end

    def message(text)
      @events.publish('build', text: text.scrub)
      sleep(SECONDS_TO_WRITE)
    end

    def task(name)
      message(name)
    end

    # Files that report shares are read in little time.
    def progress(_done, _total); end

    def clear; end
  end
end
