# frozen_string_literal: true

require "json"
require "open3"
require "timeout"

# The command line program, run in a process of its own.
module Program
  ROOT = File.expand_path("../../..", __dir__)
  BUILD = ENV.fetch("MIREL_BUILD")
  MAIN = ["ruby", File.join(ROOT, "standalone/mirel/bin/mirel")].freeze

  # status: the exit status, nil when a signal ended the process.
  Result = Struct.new(:out, :err, :status, :signal) do
    def success? = status == 0
    def json = JSON.parse(out)
    def err_lines = err.lines(chomp: true).reject(&:empty?)
  end

  module_function

  # words: what follows `mirel`. user: run as that user instead of the present one (needs root).
  def run(*words, user: nil, limit: 300, main: MAIN, environment: {})
    command = [*as(user), *main, *words.map(&:to_s)]
    Open3.popen3(environment, *command, pgroup: true, chdir: "/") do |input, out, err, waiter|
      input.close
      readers = [out, err].map { |stream| Thread.new { stream.read.force_encoding(Encoding::UTF_8).scrub } }
      unless waiter.join(limit)
        Process.kill(:KILL, -waiter.pid)
        raise "took more than #{limit} s: #{command.join(' ')}"
      end
      Result.new(*readers.map(&:value), waiter.value.exitstatus, waiter.value.termsig)
    end
  end

  def as(user) = user ? ["setpriv", "--reuid=#{user}", "--regid=nogroup", "--clear-groups"] : []

  # Whether another user can be taken on and then read the program.
  def other_user?
    Process.uid.zero? && system(*as("nobody"), "test", "-r", File.join(ROOT, "standalone/mirel/bin/mirel"),
                                "-a", "-r", File.join(BUILD, "lib"), out: File::NULL, err: File::NULL)
  end
end
