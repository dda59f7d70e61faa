# frozen_string_literal: true

# What get_triangles costs beside the bare creation of its arrays and floats:
# ruby benchmarks/readback/get_triangles.rb BUILD_DIR
#
# Build with -DMIREL_BENCHMARKS=ON first. 100,000 triangles in four face sets, the garbage collector off while a
# sample runs, samples of both taken in turn, medians of 9. Prints JSON; the goal is a ratio of at most 1.3.
require "json"

module Sketchup; end
module UI; end
module Geom; end

Point = Struct.new(:x, :y, :z)

# A square of side x side cells of a hilly surface, as host polygon meshes in four strips.
class HostMesh
  attr_reader :polygons

  def initialize(side, rows)
    @side = side
    @polygons = rows.flat_map { |row| (0...side).flat_map { |column| split((row * (side + 1)) + column) } }
  end

  def count_polygons = @polygons.length
  def normal_at(_index) = Point.new(0.0, 0.0, 1.0)

  def point_at(index)
    row, column = index.divmod(@side + 1)
    Point.new((column * 0.1) + 0.03, (row * 0.1) + 0.07, Math.sin(column * 0.13) * Math.cos(row * 0.17))
  end

  private

  def split(corner)
    above = corner + @side + 1
    [[corner, corner + 1, above], [corner + 1, above + 1, above]]
  end
end

module Zu
  module Mirel
    class Importer
      attr_reader :triangles, :lines

      def clear_arrays
        @triangles = []
        @lines = []
        @mesh_points = []
      end

      def material_has_texture?(_key) = false
    end
  end
end

SAMPLES = 9
TRIANGLES = 100_000
SIDE = 250
TRANSFORM = [0.8, 0.6, 0.0, 0.0, -0.6, 0.8, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 10.0, 20.0, 30.0, 1.0].freeze

build = File.expand_path(ARGV.fetch(0) { abort "usage: ruby get_triangles.rb BUILD_DIR" })
suffix = RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"
require File.join(build, "lib", "mirel.#{suffix}")
require File.join(build, "benchmarks", "bare_arrays.#{suffix}")

def sample
  GC.start
  GC.disable
  start = Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID)
  yield
  Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID) - start
ensure
  GC.enable
end

def median(samples) = samples.sort[samples.size / 2]

importer = Zu::Mirel::Importer.new
importer.init_mesh_depot
strips = (0...200).each_slice(50).with_index.to_h { |rows, strip| [strip, [HostMesh.new(SIDE, rows)]] }
mesh = importer.get_balancer_mesh(strips)
raise "captured #{importer.count_faces} faces" unless importer.count_faces == TRIANGLES

importer.clear_arrays
importer.get_triangles(mesh, TRANSFORM)
coordinates = importer.triangles.flatten.pack("f*")
sizes = importer.triangles.map { |set| set.size / 3 }
expected = [importer.triangles, importer.lines]

times = { bare: [], get_triangles: [] }
(SAMPLES + 1).times do |round|
  triangles = []
  lines = []
  bare = sample { BareArrays.fill(triangles, lines, coordinates, sizes) }
  raise "the bare loop made other arrays" unless expected == [triangles, lines]

  triangles = lines = nil
  importer.clear_arrays
  readback = sample { importer.get_triangles(mesh, TRANSFORM) }
  raise "get_triangles made other arrays" unless expected == [importer.triangles, importer.lines]

  importer.clear_arrays
  next if round.zero?

  times[:bare] << bare
  times[:get_triangles] << readback
end

cpu = File.exist?("/proc/cpuinfo") ? File.read("/proc/cpuinfo")[/^model name\s*:\s*(.*)$/, 1] : nil
puts JSON.pretty_generate(
  triangles: TRIANGLES, samples: SAMPLES, clock: "CPU time of the process", ruby: RUBY_DESCRIPTION, cpu:,
  load: File.exist?("/proc/loadavg") ? File.read("/proc/loadavg").split.first(3) : nil,
  ratio: (median(times[:get_triangles]) / median(times[:bare])).round(3),
  **times.transform_values { |samples| { median_s: median(samples).round(5), samples_s: samples.map { |s| s.round(5) } } }
)
