# frozen_string_literal: true

# How time and memory of a whole run grow with the size of the mesh:
#
#   ruby benchmarks/scale/scale.rb BUILD_DIR [--repeats N] [--sizes 10000,100000,...] [--raw FILE.json]
#
# Makes rippled tori of each size, as OBJ (positions only; with UVs and normals at 10^6) and as binary STL (10^6, so
# through capture), runs `mirel reduce --ratio 0.01` on each in a process of its own, and prints a table of medians
# in Markdown with the machine it was measured on and its load. Raw samples go to the file given. Nothing is judged.

require "etc"
require "json"
require "optparse"
require "tmpdir"
require_relative "measured_process"
require_relative "meshes"

root = File.expand_path("../..", __dir__)
program = [RbConfig.ruby, File.join(root, "standalone/mirel/bin/mirel")]
build = File.expand_path(ARGV.shift || File.join(root, "build"))
repeats = 3
sizes = [10_000, 30_000, 100_000, 300_000, 1_000_000, 2_000_000]
raw = nil
OptionParser.new do |options|
  options.on("--repeats N", Integer) { |n| repeats = n }
  options.on("--sizes LIST", Array) { |list| sizes = list.map(&:to_i) }
  options.on("--raw FILE") { |file| raw = file }
end.parse!

first = ->(command) { `#{command} 2>/dev/null`.lines.first.to_s.strip }
processor = if File.exist?("/proc/cpuinfo")
              File.read("/proc/cpuinfo")[/^model name\s*:\s*(.*)$/, 1]
            else
              first["sysctl -n machdep.cpu.brand_string"]
            end
cache = File.read(File.join(build, "CMakeCache.txt"))
source = cache[/^CMAKE_HOME_DIRECTORY:[^=]*=(.*)$/, 1]
compiler = cache[/^CMAKE_CXX_COMPILER:[^=]*=(.*)$/, 1]
machine = { "processor" => "#{processor}, #{Etc.nprocessors} cores", "system" => first["uname -sr"],
            "compiler" => first["#{compiler} --version"], "build" => cache[/^CMAKE_BUILD_TYPE:[^=]*=(.*)$/, 1],
            "ruby" => RUBY_DESCRIPTION, "commit" => first["git -C #{source} rev-parse --short HEAD"] }

inputs = sizes.map { |size| ["OBJ", size, {}] }
if sizes.include?(1_000_000)
  inputs << ["OBJ, UVs and normals", 1_000_000, { attributes: true }] << ["STL", 1_000_000, {}]
end

load_average = -> { first["cat /proc/loadavg"].split.first(3).join(" ") }
machine["load before"] = load_average[]
samples = Dir.mktmpdir("mirel-scale") do |folder|
  inputs.map do |form, size, options|
    torus = RippledTorus.new(size)
    input = File.join(folder, "torus.#{form[/\w+/].downcase}")
    form == "STL" ? torus.write_stl(input) : torus.write_obj(input, **options)
    runs = Array.new(repeats) do
      usage = MeasuredProcess.run({ "MIREL_BUILD" => build }, *program, "reduce", input, "--ratio", "0.01", "--json",
                                  "--no-deviation", "--quiet", "-o", File.join(folder, "out.obj"))
      abort "#{form} #{size}: #{usage.err}" unless usage.status.zero?
      report = JSON.parse(usage.out)
      # Linux at times forgets the peak of a process that has ended; the process itself does not.
      peak_bytes = [usage.peak_bytes, report["peak_bytes"], report["reader_peak_bytes"]].compact.max
      { "seconds" => usage.seconds, "cpu_seconds" => usage.cpu_seconds, "peak_bytes" => peak_bytes,
        "report" => report }
    end
    warn "#{form} #{torus.face_count}: #{runs.map { |run| format('%.2f s', run['seconds']) }.join(', ')}"
    bytes = File.size(input)
    File.delete(input)
    { "form" => form, "faces" => torus.face_count, "file_bytes" => bytes, "runs" => runs }
  end
end

machine["load after"] = load_average[]
File.write(raw, JSON.pretty_generate("machine" => machine, "samples" => samples)) if raw

machine.each { |name, value| puts "- #{name}: #{value}" }
puts "", "Medians of #{repeats} runs; `mirel reduce --ratio 0.01`, whole process.", ""
phases = samples.flat_map { |sample| sample["runs"][0]["report"]["phases"].map { |phase| phase["name"] } }.uniq
header = ["input", "faces", "file MB", *phases.map { |name| "#{name} s" }, "total s", "CPU s", "CPU µs/face",
          "peak MB", "faces out"]
puts "| #{header.join(' | ')} |", "|---|#{'--:|' * (header.size - 1)}"
median = ->(values) { values.sort[values.size / 2] }
samples.each do |sample|
  runs = sample["runs"]
  seconds, cpu_seconds = %w[seconds cpu_seconds].map { |key| median[runs.map { |run| run[key] }] }
  columns = phases.map do |name|
    times = runs.map { |run| run["report"]["phases"].select { |p| p["name"] == name }.sum { |p| p["seconds"] } }
    format("%.2f", median[times])
  end
  megabytes = format("%.1f", sample["file_bytes"] / 1e6)
  puts "| #{[sample['form'], sample['faces'], megabytes, *columns, format('%.2f', seconds),
             format('%.2f', cpu_seconds), format('%.2f', cpu_seconds / sample['faces'] * 1e6),
             (median[runs.map { |run| run['peak_bytes'] }] / 1e6).round,
             runs[0]['report']['faces_after']].join(' | ')} |"
end
