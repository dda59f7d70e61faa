# frozen_string_literal: true

module CommandLine
  # Where text goes: results to the standard output, everything else to the standard error output.
  #
  # Native code prints to the process's standard output whatever it likes; #silence_native sends that away, so that
  # results stay clean.
  class Console
    def initialize
      @out = $stdout
      @err = $stderr
      @display = nil
    end

    # @return [IO]
    attr_reader :err
    # @return [#clear, nil] what stands on the terminal's last line and must go before other text
    attr_accessor :display

    # From now on what native code prints is dropped, or shown on the standard error output.
    # @param shown [Boolean]
    def silence_native(shown: false)
      $stdout.flush
      @out = $stdout.dup
      STDOUT.reopen(shown ? $stderr : File.open(File::NULL, 'w'))
      STDOUT.sync = true if shown
    end

    # @param text [String] a result
    def print(text)
      display&.clear
      @out.write(text)
      @out.flush
    end

    # @param line [String]
    def say(line)
      display&.clear
      @err.puts(line)
    end

    # @param message [String] a failure: always one line
    def complain(message)
      say(message.dup.force_encoding(Encoding::UTF_8).scrub.gsub(/\s*\n\s*/, ' '))
    end
  end
end
