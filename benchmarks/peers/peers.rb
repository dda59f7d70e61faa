# frozen_string_literal: true

# Compares the engine with other simplifiers on the same indexed meshes: time, memory, error.
#
#   ruby benchmarks/peers/peers.rb BUILD_DIR [options] [MODEL...]
#
#   --targets LIST   shares of the faces (default: 0.5,0.1,0.01)
#   --large LIST     the same for meshes of more than a million faces (default: as --targets)
#   --peers LIST     some simplifiers, by the beginnings of their names (default: all)
#   --seconds S      repeat a run until it has worked for S seconds in all (default: 0.5)
#   --runs N         at most so often (default: 7)
#   --samples N      points on each surface when errors are measured (default: 500000)
#   --reuse FILE     take error figures from earlier results wherever a simplifier's result is the same
#   --keep FILE      take the rows of what is not run from earlier results, without the times of a busy machine
#   --out FILE       the results as JSON (default: BUILD_DIR/peers/results.json)
#
# BUILD_DIR is a build with -DMIREL_BENCHMARKS=ON; scripts/setup --bench installs the peers. A MODEL is a file, or the
# name of a mesh of the set; without any: the sample models of MIREL_SHARED (default: the folder `shared` beside the
# checkout), the lighthouse, and the generated meshes. Errors do not depend on the machine's load; times do: they are
# medians of processor time. Tables are printed as Markdown.

require 'fileutils'
require 'json'
require 'optparse'

root = File.expand_path('../..', __dir__)
options = { targets: '0.5,0.1,0.01', peers: '', seconds: 0.5, runs: 7, samples: 500_000 }
parser = OptionParser.new
parser.on('--targets LIST') { |text| options[:targets] = text }
parser.on('--large LIST') { |text| options[:large] = text }
parser.on('--peers LIST') { |text| options[:peers] = text }
parser.on('--seconds S', Float) { |number| options[:seconds] = number }
parser.on('--runs N', Integer) { |number| options[:runs] = number }
parser.on('--samples N', Integer) { |number| options[:samples] = number }
parser.on('--reuse FILE') { |file| options[:reuse] = file }
parser.on('--keep FILE') { |file| options[:keep] = file }
parser.on('--out FILE') { |file| options[:out] = file }
build, *wanted = parser.parse(ARGV)
abort 'usage: ruby benchmarks/peers/peers.rb BUILD_DIR [options] [MODEL...]' unless build
ENV['MIREL_BUILD'] = File.expand_path(build)
folder = File.join(ENV['MIREL_BUILD'], 'peers')
FileUtils.mkdir_p(folder)

$LOAD_PATH.unshift(File.join(root, 'standalone/host/lib'), __dir__)
require 'mirel'
require 'zu/mirel/surface'
require 'document'
require 'drivers'
require 'input_models'
require 'machine'
require 'tables'

$stdout.sync = true
shared = ENV.fetch('MIREL_SHARED', File.expand_path('../shared', root))
known = [*Dir[File.join(shared, 'models/*.{obj,ply}')].sort, File.join(root, 'examples/lighthouse/lighthouse.obj')]
warn "no sample models in #{shared}" if known.size == 1
files, names = wanted.partition { |word| File.exist?(word) }
programs = File.join(ENV['MIREL_BUILD'], 'bin')
models = InputModels.new(folder, File.join(programs, 'peer_make_model')).all(known + files)
unknown = names - models.keys
abort "no such model: #{unknown.join(', ')}; there are #{models.keys.join(', ')}" unless unknown.empty?
models = models.slice(*(files.map { |file| File.basename(file, '.*') } + names)) unless wanted.empty?

drivers = Drivers.new(programs, folder, **options.slice(:seconds, :runs, :samples))
drivers.reuse(JSON.parse(File.read(options[:reuse]))['rows']) if options[:reuse]
starts = options[:peers].downcase.split(',')
chosen = Drivers::NAMES.select { |name| starts.empty? || name.downcase.start_with?(*starts) }
present, absent = chosen.partition { |name| drivers.installed?(name) }

begun = Process.clock_gettime(Process::CLOCK_MONOTONIC)
load_before = Machine.load
console = $stdout.dup
$stdout.reopen(File::NULL) # what importers print
rows = models.flat_map do |model, make|
  input = make.call
  large = options[:large] && File.binread(input, 4, 4).unpack1('L') > 1_000_000
  options[large ? :large : :targets].split(',').map(&:to_f).flat_map do |share|
    present.map do |name|
      drivers.run(name, model, input, share).tap do |row|
        warn "#{Tables.run(row).join('  ')}"
      end
    end
  end
end
$stdout.reopen(console)
if options[:keep]
  earlier = JSON.parse(File.read(options[:keep]))
  kept = earlier['rows'].select { |row| models.key?(row['model']) }
  kept.each { |row| row['busy'] = true } if Document.busy?(earlier)
  run = rows.map { |row| row.values_at('model', 'peer', 'share') }
  rows += kept.reject { |row| run.include?(row.values_at('model', 'peer', 'share')) }
  order = [models.keys, Drivers::NAMES]
  rows.sort_by! { |row| [order[0].index(row['model']), -row['share'], order[1].index(row['peer'])] }
end

report = { 'machine' => Machine.facts(ENV['MIREL_BUILD']), 'load_before' => load_before, 'load_after' => Machine.load,
           'seconds' => (Process.clock_gettime(Process::CLOCK_MONOTONIC) - begun).round, 'absent' => absent,
           'rows' => rows }
out = options[:out] || File.join(folder, 'results.json')
# A line for each row: small to keep, and readable as a difference.
head = JSON.pretty_generate(report.except('rows')).delete_suffix("\n}")
File.write(out, "#{head},\n  \"rows\": [\n#{rows.map { |row| "    #{row.to_json}" }.join(",\n")}\n  ]\n}\n")
document = Document.new(report)
puts document.summary, '', document.runs, '', "#{report['seconds']} s; #{out}"
