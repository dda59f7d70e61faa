# frozen_string_literal: true

# Builds every form of the project and runs every suite; `./test` sets up and then comes here.
#
# Each suite reports what its own runner counted. A suite that cannot run, stops early or reports nothing counts
# as one failure, never as nothing. The last line of standard output is "N passed, N failed, N skipped".

require "etc"
require "fileutils"
require "open3"
require "optparse"
require "rexml/document"

ROOT = File.expand_path("..", __dir__)

# What a suite came to. Counts add up; `notes` say what a reader of the summary should know.
Counts = Struct.new(:passed, :failed, :skipped, :notes) do
  def self.zero = new(0, 0, 0, [])
  def self.passed = new(1, 0, 0, [])
  def self.failed(note) = new(0, 1, 0, [note])

  def +(other) = Counts.new(passed + other.passed, failed + other.failed, skipped + other.skipped, notes + other.notes)
  def to_s = "#{passed} passed, #{failed} failed, #{skipped} skipped"
end

# Runs a command in a process group of its own, shows its output while it runs and gives it back. Ends the group
# after `limit` seconds.
class Command
  attr_reader :output, :ended_by

  def self.run(*words, **options) = new(*words, **options).tap(&:run)

  # quiet: true shows the output only when the command fails, :always never.
  def initialize(*words, limit: 900, quiet: false, environment: {}, directory: ROOT)
    @words = words.map(&:to_s)
    @limit = limit
    @quiet = quiet
    @environment = environment
    @directory = directory
    @output = +""
  end

  def run
    line = @words.join(" ")
    puts "  $ #{line.size > 200 ? "#{line[0, 200]}…" : line}"
    Open3.popen2e(@environment, *@words, chdir: @directory, pgroup: true) do |input, output, waiter|
      input.close
      reader = Thread.new { read(output) }
      unless waiter.join(@limit)
        @ended_by = "took more than #{@limit} s"
        Process.kill(:KILL, -waiter.pid)
      end
      @status = waiter.value
      # A background child of the command may hold the pipe open.
      reader.join(5) || reader.kill
    end
    @ended_by ||= "was ended by signal #{@status.termsig}" if @status.signaled?
    @ended_by ||= "ended with status #{@status.exitstatus}" unless @status.success?
    print @output if @quiet == true && !success?
  rescue SystemCallError => e
    @ended_by = "could not start: #{e.message}"
  end

  def success? = @ended_by.nil?

  private

  def read(stream)
    while (text = stream.readpartial(65_536).force_encoding(Encoding::UTF_8).scrub)
      @output << text
      print text unless @quiet
    end
  rescue EOFError, IOError
    nil
  end
end

# One form of the build: a folder with the options it is configured with.
class Build
  attr_reader :folder

  def initialize(folder, **options)
    @folder = folder
    @options = options
  end

  # Configures and builds once; the second call gives the same answer.
  def result
    @result ||= build
  end

  def built? = result.success?

  private

  def build
    forget_moved_cache
    flags = @options.map { |name, value| "-D#{name}=#{value}" }
    configured = Command.run("cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", *flags, quiet: true)
    return configured unless configured.success?

    Command.run("cmake", "--build", folder, "--parallel", Etc.nprocessors, quiet: true)
  end

  # The cache of a checkout that was moved or copied names folders that are not there.
  def forget_moved_cache
    cache = File.join(folder, "CMakeCache.txt")
    return if !File.exist?(cache) || File.read(cache).include?("CMAKE_HOME_DIRECTORY:INTERNAL=#{ROOT}\n")

    FileUtils.rm_rf([cache, File.join(folder, "CMakeFiles")])
  end
end

# What the runners print, turned into counts.
module Reports
  module_function

  MINITEST = /(\d+) runs, \d+ assertions, (\d+) failures, (\d+) errors, (\d+) skips/

  # A runner of several processes ends with the sums; otherwise each summary line counts.
  def minitest(command)
    sums = command.output.scan(/^\d+ files: #{MINITEST}/).last
    summaries = sums ? [sums] : command.output.scan(/^#{MINITEST}/)
    counts = summaries.sum(Counts.zero) do |summary|
      runs, failures, errors, skips = summary.map(&:to_i)
      Counts.new(runs - failures - errors - skips, failures + errors, skips, [])
    end
    finish(counts, command)
  end

  # Node's own runner, in TAP.
  def node(command)
    number = ->(name) { command.output[/^# #{name} (\d+)$/, 1].to_i }
    finish(Counts.new(number["pass"], number["fail"] + number["cancelled"], number["skipped"], []), command)
  end

  def ctest(command, report)
    return Counts.failed("ctest left no report") unless File.exist?(report)

    suite = REXML::Document.new(File.read(report)).root
    number = ->(name) { suite.attributes[name].to_i }
    skipped = number["skipped"] + number["disabled"]
    failed = number["failures"]
    finish(Counts.new(number["tests"] - failed - skipped, failed, skipped, []), command)
  end

  # A runner that stopped early, or counted nothing, has failed whatever it printed before.
  def finish(counts, command)
    if !command.success? && counts.failed.zero?
      counts += Counts.failed(command.ended_by)
    elsif command.success? && (counts.passed + counts.failed + counts.skipped).zero?
      counts += Counts.failed("ran no test")
    end
    counts
  end
end

# The suites, in the order in which they run.
class Suites
  NAMES = {
    "build" => "the Release build with the default compiler, without warnings",
    "format" => "clang-format on every C and C++ file",
    "unit" => "unit tests (ctest)",
    "conformance" => "the extension against recording libraries (tests/conformance)",
    "host" => "the Ruby library (tests/host)",
    "end_to_end" => "the command line program on real files (tests/end_to_end)",
    "browser" => "the viewer's page in Chromium (tests/browser)",
    "clang" => "the Release build with clang++ and -Werror, and its unit tests",
    "lint" => "clang-tidy with the checks of .clang-tidy",
    "sanitize" => "unit tests and the whole road under the address, leak and undefined-behaviour sanitizers",
    "fuzz" => "fuzz targets for the file readers"
  }.freeze

  # Names and lines, as reports of the sanitizers show them, without what only a debugger reads.
  FOR_TRACES = %w[C CXX].to_h { |language| [:"CMAKE_#{language}_FLAGS_RELWITHDEBINFO", "-O2 -gline-tables-only -DNDEBUG"] }

  def initialize(build_root:, fuzz_seconds:)
    # The default form lies where ./mirel looks for it.
    @release = Build.new(File.join(build_root, "build"), CMAKE_BUILD_TYPE: "Release", MIREL_TESTS: "ON")
    @clang = Build.new(File.join(build_root, "build-clang"), CMAKE_BUILD_TYPE: "Release", MIREL_TESTS: "ON",
                       MIREL_WERROR: "ON", CMAKE_C_COMPILER: "clang", CMAKE_CXX_COMPILER: "clang++")
    @sanitize = Build.new(File.join(build_root, "build-sanitize"), CMAKE_BUILD_TYPE: "RelWithDebInfo",
                          MIREL_TESTS: "ON", MIREL_SANITIZE: "address,undefined", CMAKE_C_COMPILER: "clang",
                          CMAKE_CXX_COMPILER: "clang++", **FOR_TRACES)
    @fuzz_folder = File.join(build_root, "build-fuzz")
    @fuzz_seconds = fuzz_seconds
  end

  def run(name)
    send(name)
  rescue StandardError => e
    Counts.failed("#{e.class}: #{e.message}")
  end

  private

  def build
    counts = compiled(@release)
    warnings = @release.result.output.lines.grep(/\bwarning:/)
    return counts if counts.failed.positive?

    print(*warnings)
    counts + (warnings.empty? ? Counts.passed : Counts.failed("#{warnings.size} warnings"))
  end

  def format
    files = sources
    return Counts.failed("no files") if files.empty?

    command = Command.run("clang-format", "--dry-run", "-Werror", *files, quiet: :always)
    bad = command.output.scan(/^(.+?):\d+:\d+: error:/).flatten.uniq
    return Counts.passed if command.success? && bad.empty?

    Counts.failed("clang-format would change #{bad.empty? ? command.ended_by : bad.join(' ')}")
  end

  def unit = ctest(@release)

  def conformance = ruby_suite("conformance")

  def host = ruby_suite("host")

  def end_to_end = page + ruby_suite("end_to_end")

  def browser
    counts = compiled(@release)
    return counts if counts.failed.positive?

    counts += page
    setup = Command.run(*%w[npm ci --prefix tests/browser --no-fund --no-audit], quiet: true)
    return counts + Counts.failed("playwright-core could not be fetched: #{setup.ended_by}") unless setup.success?
    return counts if counts.failed.positive?

    environment = { "MIREL_BUILD" => @release.folder }
    files = Dir.glob("tests/browser/*.test.mjs", base: ROOT).sort
    Reports.node(Command.run("node", "--test", "--test-concurrency=2", "--test-reporter=tap", *files,
                             environment: environment, limit: 1800))
  end

  def clang
    counts = compiled(@clang)
    counts.failed.positive? ? counts : counts + ctest(@clang)
  end

  def sanitize
    counts = ctest(@sanitize, "ASAN_OPTIONS" => "detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1",
                              "UBSAN_OPTIONS" => "print_stacktrace=1:halt_on_error=1")
    return counts unless @sanitize.built?

    counts + Reports.minitest(Command.run("ruby", "tests/sanitize/run.rb", @sanitize.folder))
  end

  def lint
    return Counts.failed("the clang++ build failed") unless @clang.built?

    files = sources.select { |file| file.end_with?(".cpp", ".c") && !file.start_with?("tests/", "benchmarks/") }
    queue = Queue.new
    files.each { |file| queue << file }
    bad = Queue.new
    workers = Array.new(Etc.nprocessors) do
      Thread.new do
        while (file = pop(queue))
          output, status = Open3.capture2e("clang-tidy", "--quiet", "-p", @clang.folder, file, chdir: ROOT)
          bad << [file, output] unless status.success?
        end
      end
    end
    workers.each(&:join)
    failures = Array.new(bad.size) { bad.pop }.sort
    failures.each { |file, output| puts "#{file}:", output }
    return Counts.failed("no files") if files.empty?

    return Counts.passed if failures.empty?

    Counts.failed("clang-tidy finds fault with #{failures.map(&:first).join(' ')}")
  end

  # Each target announces itself; one that ran to its end says how many runs that were.
  def fuzz
    command = Command.run("tests/fuzz/run.sh", @fuzz_seconds, @fuzz_folder, limit: 600 + 6 * @fuzz_seconds)
    targets = command.output.scan(/^fuzz_(\w+): \d+ s$/).size
    passed = command.output.scan(/^Done \d+ runs in \d+ second/).size
    Reports.finish(Counts.new(passed, targets - passed, 0, []), command)
  end

  # The C and C++ files that git knows or would know.
  def sources
    list, = Open3.capture2("git", "ls-files", "--cached", "--others", "--exclude-standard", "--", "*.cpp", "*.c", "*.h",
                           "*.mm", chdir: ROOT)
    files = list.lines(chomp: true)
    files = Dir.glob("{src,standalone,tests,benchmarks}/**/*.{cpp,c,h}", base: ROOT) if files.empty?
    files.select { |file| File.exist?(File.join(ROOT, file)) }.sort
  end

  def compiled(build)
    build.built? ? Counts.passed : Counts.failed("#{File.basename(build.folder)}: #{build.result.ended_by}")
  end

  def ctest(build, environment = {})
    counts = compiled(build)
    return counts if counts.failed.positive?

    report = File.join(build.folder, "ctest.xml")
    FileUtils.rm_f(report)
    command = Command.run("ctest", "--test-dir", build.folder, "--output-on-failure", "--no-tests=error", "-j",
                          Etc.nprocessors, "--timeout", 300, "--output-junit", report, quiet: :always,
                          environment: environment)
    # What passed is counted, what failed is shown.
    puts command.output.lines.grep_v(/^\s+Start\s|^\s*\d+\/\d+ Test .*Passed|^\s*$/)
    Reports.ctest(command, report)
  end

  def ruby_suite(name)
    counts = compiled(@release)
    return counts if counts.failed.positive?

    Reports.minitest(Command.run("ruby", "tests/#{name}/run.rb", @release.folder,
                                 environment: { "MIREL_BUILD" => @release.folder }))
  end

  # The page of `mirel view`, beside the Release build.
  def page
    command = Command.run("scripts/build-viewer", @release.folder, quiet: true)
    command.success? ? Counts.zero : Counts.failed("the viewer's page: #{command.ended_by}")
  end

  def pop(queue)
    queue.pop(true)
  rescue ThreadError
    nil
  end
end

build_root = ROOT
fuzz_seconds = 60
parser = OptionParser.new do |options|
  options.banner = "usage: ./test [options] [SUITE...]"
  options.separator ""
  options.separator "Builds every form of the project and runs the named suites, or all of them:"
  Suites::NAMES.each { |name, what| options.separator "    #{name.ljust(13)} #{what}" }
  options.separator ""
  options.on("--build-root DIR", "where the build folders go (default: the checkout)") do |folder|
    build_root = File.expand_path(folder)
  end
  options.on("--fuzz-seconds N", Integer, "seconds for each fuzz target (default: 60)") { |n| fuzz_seconds = n }
end
begin
  chosen = parser.parse(ARGV)
  unknown = chosen - Suites::NAMES.keys
  raise OptionParser::InvalidArgument, unknown.join(", ") unless unknown.empty?
rescue OptionParser::ParseError => e
  warn "test: #{e.message}", parser.banner
  exit 2
end
chosen = Suites::NAMES.keys & (chosen.empty? ? Suites::NAMES.keys : chosen)

# Unit tests run in their build folder: they are told where the models are, too.
ENV["MIREL_SHARED"] ||= File.expand_path("../shared", ROOT)

$stdout.sync = true
suites = Suites.new(build_root: build_root, fuzz_seconds: fuzz_seconds)
results = chosen.to_h do |name|
  puts "== #{name}: #{Suites::NAMES[name]}"
  start = Process.clock_gettime(Process::CLOCK_MONOTONIC)
  counts = suites.run(name)
  [name, [counts, Process.clock_gettime(Process::CLOCK_MONOTONIC) - start]]
end

puts "== summary"
results.each do |name, (counts, seconds)|
  puts Kernel.format("%-13s %s (%.0f s)", name, counts, seconds)
  counts.notes.each { |note| puts "              #{note}" }
end
total = results.values.sum(Counts.zero) { |counts, _| counts }
puts total
exit(total.failed.zero? ? 0 : 1)
