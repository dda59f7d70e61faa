# frozen_string_literal: true

# Runs every conformance test: ruby tests/conformance/run.rb BUILD_DIR [NAME…]
#
# Each file runs in a process of its own, because the extension keeps one state per process, with the recording SDK
# ahead of the real one on the library path; as many run at a time as there are processors. Prints minitest's summary of each file and the sums; the exit status is
# 0 only when every file ran and none failed.
require "etc"
require "open3"
require "rbconfig"

build, *names = ARGV
abort "usage: ruby run.rb BUILD_DIR [NAME...]" unless build

folder = __dir__
build = File.expand_path(build)
recording = File.join(build, "tests", "conformance", "recording")
libraries = File.join(build, "lib")
path_variable = RUBY_PLATFORM.include?("darwin") ? "DYLD_LIBRARY_PATH" : "LD_LIBRARY_PATH"
# These use the library that is built beside the extension.
real_sdk = %w[fbx_models leak road whole_export]

files = Dir[File.join(folder, "*_test.rb")].sort
files.select! { |file| names.include?(File.basename(file, "_test.rb")) } unless names.empty?
abort "no such test" if files.empty?

# One file's output, its summary line (nil without one) and how it ended.
run_file = lambda do |name, file|
  environment = { "MIREL_BUILD" => build }
  folders = real_sdk.include?(name) ? [libraries] : [recording, libraries]
  environment["LD_PRELOAD"] = File.join(recording, "librecording_fbx.so") if name == "fbx_calls"
  environment[path_variable] = [*folders, *ENV[path_variable]].join(":")
  output, status = Open3.capture2e(environment, RbConfig.ruby, "-W", "-I", File.join(folder, "support"), file)
  [output, output[/^\d+ runs, .*$/], status]
end

sums = Hash.new(0)
failed = []
queue = Queue.new
files.each { |file| queue << file }
queue.close
printing = Mutex.new
workers = Array.new(Etc.nprocessors) do
  Thread.new do
    while (file = queue.pop)
      name = File.basename(file, "_test.rb")
      output, summary, status = run_file.call(name, file)
      printing.synchronize do
        failed << name unless status.success? && summary
        summary.to_s.scan(/(\d+) (\w+)/) { |count, what| sums[what] += count.to_i }
        puts "== #{name}: #{summary || "ended without a summary (#{status})"}"
        # A crash of the interpreter prints the whole memory map.
        puts output.lines.first(200) unless status.success? && summary && !summary.match?(/[1-9]\d* skips/)
      end
    end
  end
end
workers.each(&:join)

puts
puts "#{files.size} files: #{%w[runs assertions failures errors skips].map { |what| "#{sums[what]} #{what}" }.join(", ")}"
puts "failed: #{failed.sort.join(", ")}" unless failed.empty?
exit failed.empty? ? 0 : 1
