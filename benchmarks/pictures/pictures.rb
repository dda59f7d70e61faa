# frozen_string_literal: true

# Compares textured pictures of what simplifiers leave of a mesh with pictures of the mesh itself.
#
#   ruby benchmarks/pictures/pictures.rb BUILD_DIR [options] [MODEL...]
#
#   --targets LIST      shares of the faces (default: 0.1,0.01)
#   --simplifiers LIST  some of them, by the beginnings of their names (default: all)
#   --keep FILE         rows of what is not run come from earlier results
#   --images FOLDER     the pictures, as PPM: the mesh above, what is left of it below
#   --update            put the table into docs/benchmarks.md and the results beside this script
#
# BUILD_DIR is a build with -DMIREL_BENCHMARKS=ON; scripts/setup --bench installs the others. The set: spot of
# MIREL_SHARED (default: the folder `shared` beside the checkout), textured models of Debian's assimp-testmodels, and
# meshes that make_textured generates.

require 'fileutils'
require 'json'
require 'open3'
require 'optparse'
require_relative 'picture_table'

root = File.expand_path('../..', __dir__)
options = { targets: '0.1,0.01', simplifiers: '' }
parser = OptionParser.new
parser.on('--targets LIST') { |text| options[:targets] = text }
parser.on('--simplifiers LIST') { |text| options[:simplifiers] = text }
parser.on('--keep FILE') { |file| options[:keep] = JSON.parse(File.read(file))['rows'] }
parser.on('--images FOLDER') { |folder| options[:images] = File.expand_path(folder) }
parser.on('--update') { options[:update] = true }
build, *wanted = parser.parse(ARGV)
abort 'usage: ruby benchmarks/pictures/pictures.rb BUILD_DIR [options] [MODEL...]' unless build
PROGRAMS = File.join(File.expand_path(build), 'bin')
FOLDER = File.join(File.expand_path(build), 'pictures')
FileUtils.mkdir_p([FOLDER, *options[:images]])

BLENDER = ['blender', '-b', '--factory-startup', '--python'].freeze
SIMPLIFIERS = {
  'Mirel' => [File.join(PROGRAMS, 'reduce_textured'), 'mirel'],
  'meshoptimizer' => [File.join(PROGRAMS, 'reduce_textured'), 'meshoptimizer'],
  'Blender decimate' => [*BLENDER, File.join(__dir__, 'reduce_blender.py'), '--']
}.freeze

# The last line of JSON that a program prints.
def run(*words)
  output, errors, status = Open3.capture3(*words.map(&:to_s))
  line = output.lines.reverse.find { |text| text.start_with?('{') }
  raise "#{words.first}: #{errors.lines.last.to_s.strip}" unless status.success?

  line ? JSON.parse(line) : {}
end

def convert(name, file, *picture)
  mesh, textures = paths(name)
  return if File.exist?(mesh) && File.exist?(textures)

  if File.extname(file) != '.obj'
    obj = File.join(FOLDER, "#{name}.obj")
    run('assimp', 'export', file, obj)
    pictures = Dir[File.join(File.dirname(file), '*.{png,jpg,tga}')]
    FileUtils.cp(pictures, FOLDER)
    file = obj
  end
  run(*BLENDER, File.join(__dir__, 'convert_obj.py'), '--', file, mesh, textures, *picture)
end

def generate(name)
  mesh, textures = paths(name)
  run(File.join(PROGRAMS, 'make_textured'), name, mesh, textures) unless File.exist?(mesh)
end

def paths(name) = %w[mesh textures].map { |kind| File.join(FOLDER, "#{name}.#{kind}") }

shared = ENV.fetch('MIREL_SHARED', File.expand_path('../shared', root))
samples = '/usr/share/assimp/models'
files = { 'spot' => ["#{shared}/models/spot.obj", "#{shared}/models/spot_texture.png"],
          'duck' => ["#{samples}/Collada/duck.dae"], 'spider' => ["#{samples}/OBJ/spider.obj"],
          'truck' => ["#{samples}/glTF/CesiumMilkTruck/CesiumMilkTruck.gltf"] }
present, missing = files.partition { |_, (file, _)| File.exist?(file) }.map(&:to_h)
warn "not there: #{missing.keys.join(', ')}" unless missing.empty?
generated = `#{File.join(PROGRAMS, 'make_textured')} --list`.split - ['large']
models = present.keys + generated
models &= wanted unless wanted.empty?

starts = options[:simplifiers].downcase.split(',')
chosen = SIMPLIFIERS.select { |name, _| starts.empty? || name.downcase.start_with?(*starts) }
rows = models.flat_map do |model|
  present.key?(model) ? convert(model, *present[model]) : generate(model)
  mesh, textures = paths(model)
  faces = File.binread(mesh, 4, 4).unpack1('L')
  options[:targets].split(',').map(&:to_f).flat_map do |share|
    chosen.map do |name, command|
      result = File.join(FOLDER, 'result.mesh')
      target = [(faces * share).floor, 4].max
      version = run(*command, mesh, target, result)['version']
      image = options[:images] && File.join(options[:images], "#{model}.#{share}.#{name.tr(' ', '-')}.ppm")
      measured = run(File.join(PROGRAMS, 'compare_pictures'), mesh, textures, result, *image)
      row = { 'model' => model, 'simplifier' => name, 'version' => version, 'share' => share,
              'input_faces' => faces, 'target_faces' => target }.merge(measured)
      warn row.values.join('  ')
      row
    end
  end
end
kept = (options[:keep] || []).reject do |old|
  rows.any? { |row| row.values_at('model', 'simplifier', 'share') == old.values_at('model', 'simplifier', 'share') }
end
rows = (rows + kept).sort_by do |row|
  [row['input_faces'], row['model'], -row['share'], SIMPLIFIERS.keys.index(row['simplifier'])]
end
File.write(File.join(FOLDER, 'results.json'), JSON.pretty_generate('rows' => rows))
table = PictureTable.new(rows)
puts table.lines
if options[:update]
  docs = File.join(root, 'docs/benchmarks.md')
  File.write(docs, table.updated(File.read(docs)))
  FileUtils.cp(File.join(FOLDER, 'results.json'), File.join(__dir__, 'results.json'))
end
