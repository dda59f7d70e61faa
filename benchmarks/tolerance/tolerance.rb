# frozen_string_literal: true

# Builds within a tolerance beside other simplifiers: faces left, proven distance, time.
#
#   ruby benchmarks/tolerance/tolerance.rb BUILD_DIR [options] [MODEL...]
#
#   --tolerances LIST   percent of the diagonal (default: 0.01,0.05,0.2,1,5)
#   --large LIST        the same for meshes of more than a million faces (default: 0.01,0.2,1)
#   --peers LIST        some simplifiers, by the beginnings of their names; "none" for none
#   --seconds S         repeat a build until it has worked for S seconds (default: 0)
#   --known FILE        distances of the peers' results from earlier results; they are not run again
#   --out FILE          the results as JSON (default: BUILD_DIR/peers/tolerance.json)
#
# BUILD_DIR is a build with -DMIREL_BENCHMARKS=ON; the meshes are those of benchmarks/peers, in BUILD_DIR/peers once that
# was run. For each simplifier the fewest faces are sought, by bisection, at which its result is no farther from the
# original than ours, by proven distances. Simplifiers too slow for that are left out: see LIMITS.

require 'fileutils'
require 'json'
require 'optparse'

$LOAD_PATH.unshift(__dir__, File.expand_path('../peers', __dir__))
require 'fewest_faces'
require 'machine'
require 'tolerance_tables'

options = { tolerances: '0.01,0.05,0.2,1,5', large: '0.01,0.2,1', peers: '', seconds: 0 }
parser = OptionParser.new
parser.on('--tolerances LIST') { |text| options[:tolerances] = text }
parser.on('--large LIST') { |text| options[:large] = text }
parser.on('--peers LIST') { |text| options[:peers] = text }
parser.on('--seconds S', Float) { |number| options[:seconds] = number }
parser.on('--known FILE') { |file| options[:known] = file }
parser.on('--out FILE') { |file| options[:out] = file }
build, *wanted = parser.parse(ARGV)
abort 'usage: ruby benchmarks/tolerance/tolerance.rb BUILD_DIR [options] [MODEL...]' unless build

programs = File.expand_path('bin', build)
folder = File.expand_path('peers', build)
meshes = Dir[File.join(folder, '*.mesh')].sort.to_h { |file| [File.basename(file, '.mesh'), file] }
abort "no meshes in #{folder}: run benchmarks/peers/peers.rb first" if meshes.empty?
unknown = wanted - meshes.keys
abort "no such mesh: #{unknown.join(', ')}; there are #{meshes.keys.join(', ')}" unless unknown.empty?
meshes = meshes.slice(*wanted) unless wanted.empty?

starts = options[:peers].downcase.split(',')
peers = FewestFaces::PROGRAMS.keys.select { |name| starts.empty? || name.downcase.start_with?(*starts) }
absent = peers.reject { |name| File.exist?(File.join(programs, FewestFaces::PROGRAMS[name])) }
known = options[:known] ? JSON.parse(File.read(options[:known]))['distances'] : {}
fewest = FewestFaces.new(programs, folder, known)

load_before = Machine.load
$stdout.sync = true
out = options[:out] || File.join(folder, 'tolerance.json')
rows = []
meshes.each do |model, input|
  large = File.binread(input, 4, 4).unpack1('L') > 1_000_000
  free = fewest.build(input, 0, options[:seconds])['seconds']
  options[large ? :large : :tolerances].split(',').map(&:to_f).each do |percent|
    row = { 'model' => model, 'percent' => percent }.merge(fewest.build(input, percent / 100, options[:seconds]))
    row['factor'] = row['seconds'] / free
    row['peers'] = (peers - absent).to_h { |name| [name, fewest.faces(name, model, input, row)] }.compact
    rows << row
    puts ToleranceTables.row(row).join('  ')
  end
  report = { 'machine' => Machine.facts(File.expand_path(build)), 'load_before' => load_before,
             'load_after' => Machine.load, 'absent' => absent, 'rows' => rows, 'distances' => fewest.distances }
  File.write(out, ToleranceTables.json(report))
end
puts '', ToleranceTables.table(rows), '', ToleranceTables.means(rows), '', out
