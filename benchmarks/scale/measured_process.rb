# frozen_string_literal: true

require "fiddle/import"
require "tempfile"

# Runs a command and says how long it took, how much processor time, and how much memory it held at its peak (of a
# command with children: the largest of them).
module MeasuredProcess
  Usage = Struct.new(:seconds, :cpu_seconds, :peak_bytes, :status, :out, :err)

  module LibC
    extend Fiddle::Importer
    dlload Fiddle::Handle::DEFAULT
    extern "int wait4(int, void*, int, void*)"
  end

  # Two struct timeval come before ru_maxrss in struct rusage; Linux counts it in KiB, macOS in bytes.
  MAXRSS_OFFSET = 4 * Fiddle::SIZEOF_LONG
  MAXRSS_UNIT = RUBY_PLATFORM.include?("darwin") ? 1 : 1024

  module_function

  def run(*words)
    streams = %w[out err].to_h { |name| [name.to_sym, Tempfile.new(name)] }
    start = Process.clock_gettime(Process::CLOCK_MONOTONIC)
    pid = Process.spawn(*words, in: File::NULL, **streams)
    status = "\0" * 4
    usage = "\0" * 256
    raise "wait4 failed" unless LibC.wait4(pid, status, 0, usage) == pid

    seconds = Process.clock_gettime(Process::CLOCK_MONOTONIC) - start
    texts = streams.values.map { |file| File.read(file.path) }
    times = usage[0, MAXRSS_OFFSET].unpack("l!4")
    cpu_seconds = times[0] + times[2] + (times[1] + times[3]) / 1e6
    peak_bytes = usage[MAXRSS_OFFSET, Fiddle::SIZEOF_LONG].unpack1("l!") * MAXRSS_UNIT
    Usage.new(seconds, cpu_seconds, peak_bytes, status.unpack1("l"), *texts)
  ensure
    streams&.each_value(&:close!)
  end
end
