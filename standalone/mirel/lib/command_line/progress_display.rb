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

    # A phase whose length is not known: its name alone.
    def message(text)
      clear
      @title = text.sub(/[.:\s]+\z/, '')
      @stream.write("#{@title} ...")
    end

    # A counted task.
    def task(name)
      message(name)
    end

    def progress(done, total)
      return if @title.nil? || !total.positive?

      @bar ||= ProgressBar.create(output: @stream, total: total, title: @title, format: '%t |%B| %p%%',
                                  autofinish: false)
      @bar.total = total unless @bar.total == total
      @bar.progress = [done, total].min
    end

    # Takes bar and title off the terminal, so that other text may follow.
    def clear
      @bar = nil
      @title = nil
      @stream.write("\r\e[K")
      @stream.flush
    end
  end
end
