# frozen_string_literal: true

require 'etc'
require 'open3'

# What a figure was measured on.
module Machine
  module_function

  def facts(build)
    cache = File.read(File.join(build, 'CMakeCache.txt'))
    compiler = cache[/^CMAKE_CXX_COMPILER:\w+=(.*)/, 1]
    type = cache[/^CMAKE_BUILD_TYPE:\w+=(.*)/, 1]
    { 'processor' => processor, 'processors' => Etc.nprocessors, 'memory_bytes' => memory,
      'system' => Etc.uname.values_at(:sysname, :release).join(' '), 'compiler' => first_line(compiler, '--version'),
      'flags' => [type, cache[/^CMAKE_CXX_FLAGS_#{type.upcase}:\w+=(.*)/, 1], cache[/^CMAKE_CXX_FLAGS:\w+=(.*)/, 1]]
                 .reject(&:empty?).join(' '),
      'commit' => first_line('git', '-C', File.expand_path('../..', __dir__), 'rev-parse', '--short', 'HEAD') }
  end

  def lines(facts, load_before, load_after)
    ["- processor: #{facts['processor']}, #{facts['processors']} cores; #{(facts['memory_bytes'] / 1e9).round} GB of " \
     "memory; #{facts['system']}", "- compiler: #{facts['compiler']}, #{facts['flags']}",
     "- commit #{facts['commit']}; load average #{load_before} before, #{load_after} after"]
  end

  def load = File.exist?('/proc/loadavg') ? File.read('/proc/loadavg')[/\S+/] : 'unknown'

  def processor
    return 'unknown' unless File.exist?('/proc/cpuinfo')

    File.read('/proc/cpuinfo')[/^model name\s*: (.*)/, 1] || 'unknown'
  end

  def memory
    File.exist?('/proc/meminfo') ? File.read('/proc/meminfo')[/^MemTotal:\s+(\d+)/, 1].to_i * 1024 : 0
  end

  def first_line(*command)
    Open3.capture2e(*command).first.lines.first.to_s.strip
  rescue SystemCallError
    'unknown'
  end
end
