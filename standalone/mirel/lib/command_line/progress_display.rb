# frozen_string_literal: true

module CommandLine
  # Shows phases and counted tasks as a bar on a terminal.
  class ProgressDisplay
    # @param stream [IO]
    # @return [ProgressDisplay, nil] nil where the stream is no terminal
    def self.for(stream)
      return unless stream.tty?

      require 'ruby-progressbar'
      new(stream)
    rescue LoadError
      nil # a bar is a comfort, not a need
    end

    def initialize(stream)
      @stream = stream
    end

    # A phase whose length is not known.
    def message(text)
      clear
      @title = text.sub(/[.:\s]+\z/, '')
      @bar = bar(nil)
    end

    # A counted task.
    def task(name)
      message(name)
    end

    def progress(done, total)
      return unless @bar && total.positive?

      @bar.total = total unless @bar.total == total
      @bar.progress = [done, total].min
    end

    # Takes the bar off the terminal, so that other text may follow.
    def clear
      @bar&.clear
      @bar&.stop
      @bar = nil
      # The bar's own clearing leaves the cursor behind blanks.
      @stream.write("\r\e[K")
    end

    private

    def bar(total)
      ProgressBar.create(output: @stream, total: total, title: @title, format: '%t |%B| %p%%',
                         unknown_progress_animation_steps: ['   '], autofinish: false)
    end
  end
end
