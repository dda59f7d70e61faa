# frozen_string_literal: true

require 'fiddle'
require 'fileutils'
require 'tmpdir'
require 'zu/mirel/native'

module Viewer
  # A Chromium without a window, which draws a page.
  class Chromium
    COMMANDS = %w[chromium chromium-browser google-chrome google-chrome-stable].freeze
    MAC = ['/Applications/Google Chrome.app/Contents/MacOS/Google Chrome',
           '/Applications/Chromium.app/Contents/MacOS/Chromium'].freeze
    # Drawn by the processor: the same picture on every machine, with or without a graphics card.
    OPTIONS = %w[--headless=new --use-gl=angle --use-angle=swiftshader --enable-unsafe-swiftshader --ignore-gpu-blocklist
                 --hide-scrollbars --mute-audio --no-first-run --no-default-browser-check --disable-extensions
                 --disable-background-networking --disable-component-update --disable-sync --disable-dev-shm-usage
                 --blink-settings=preferredColorScheme=1 --force-color-profile=srgb].freeze
    SECONDS_TO_END = 3

    # @return [String, nil] the program; MIREL_CHROMIUM names one, and nothing else counts then
    def self.find
      named = ENV['MIREL_CHROMIUM']
      return (File.executable?(named) && File.file?(named) ? named : nil) if named

      folders = ENV.fetch('PATH', '').split(File::PATH_SEPARATOR)
      candidates = COMMANDS.product(folders).map { |name, folder| File.join(folder, name) } + MAC
      candidates.find { |file| File.file?(file) && File.executable?(file) }
    end

    # Opens the address, and closes the browser after the block.
    # @param program [String]
    # @param address [String]
    # @yieldparam browser [Chromium]
    # @return what the block returns
    def self.open(program, address)
      browser = new(program, address)
      yield browser
    ensure
      browser&.close
    end

    def initialize(program, address)
      @folder = Dir.mktmpdir('mirel-chromium')
      @log = File.join(@folder, 'log')
      words = [program, *OPTIONS, "--user-data-dir=#{File.join(@folder, 'profile')}"]
      # Its sandbox refuses to run as root, who has nothing to be kept from; the page is this program's own.
      words << '--no-sandbox' if Process.uid.zero?
      @pid = launch(words << address)
    rescue SystemCallError
      FileUtils.remove_entry(@folder, true) if @folder
      raise
    end

    # @return [Boolean] whether it is still there
    def running?
      return false if @ended

      @ended = !Process.waitpid(@pid, Process::WNOHANG).nil?
      !@ended
    end

    # @return [String, nil] the last line that it printed
    def last_words
      File.read(@log).scrub.lines.map(&:strip).reject(&:empty?).last&.slice(0, 200)
    rescue SystemCallError
      nil
    end

    def close
      signal(:TERM)
      deadline = now + SECONDS_TO_END
      sleep(0.02) while running? && now < deadline
      signal(:KILL)
      Process.waitpid(@pid) if running?
    rescue Errno::ECHILD
      nil
    ensure
      FileUtils.remove_entry(@folder, true)
    end

    private

    def launch(words)
      fork do
        Process.setpgid(0, 0)
        Zu::Mirel::Native.die_with_parent
        exec(*words, in: File::NULL, out: @log, err: @log, unsetenv_others: false)
      rescue SystemCallError => e
        File.write(@log, e.message)
        exit!(127)
      end
    end

    # It has helpers of its own, which are in its process group.
    def signal(name)
      Process.kill(name, -@pid)
    rescue Errno::ESRCH
      nil
    end

    def now
      Process.clock_gettime(Process::CLOCK_MONOTONIC)
    end
  end
end
