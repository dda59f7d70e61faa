# frozen_string_literal: true

# What capture costs beside the bare Ruby calls that it makes: ruby benchmarks/capture/capture.rb BUILD_DIR
#
# Build with -DMIREL_BENCHMARKS=ON first. 100,000 triangles, the garbage collector off while a sample runs, samples
# of both taken in turn, medians of 9. Two kinds of host objects: the library's own Geom::PolygonMesh, which makes a
# point for each answer as the host does, and the cheapest that Ruby allows (one array look-up, plain readers), which
# hides nothing of what capture adds. "bare" is the method calls with the interpreter's conversion of their results to
# numbers, "calls" the method calls alone. Prints JSON; the goal is a ratio of at most 1.3 to "bare". A ratio of minima
# far from that of the medians says that the machine was not quiet.
require "json"
require "rbconfig"

build = File.expand_path(ARGV.fetch(0) { abort "usage: ruby capture.rb BUILD_DIR" })
ENV["MIREL_BUILD"] = build
require_relative "../../standalone/host/lib/mirel"
suffix = RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"
require File.join(build, "benchmarks", "bare_capture.#{suffix}")

Point = Struct.new(:x, :y, :z)

# A mesh of ready-made points.
class CheapMesh
  attr_reader :polygons

  def initialize(points, polygons)
    @points = [nil, *points] # indices are 1-based
    @normal = Point.new(0.0, 0.0, 1.0)
    @polygons = polygons
  end

  def count_polygons = @polygons.length
  def point_at(index) = @points[index]
  def normal_at(_index) = @normal
  def uv_at(index, _front) = @points[index]
end

# Answers for every material alike.
module Textured
  attr_accessor :textured

  def material_has_texture?(_key) = textured
end

TRIANGLES = 100_000
SAMPLES = 9

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

def measure(textured, meshes)
  importer = Zu::Mirel::Importer.new.extend(Textured)
  importer.textured = textured
  times = { calls: [], bare: [], capture: [] }
  (SAMPLES + 1).times do |round|
    importer.init_mesh_depot
    calls = sample { BareCapture.call_all(importer, meshes, false) }
    bare = sample { BareCapture.call_all(importer, meshes, true) }
    capture = sample { importer.get_balancer_mesh(meshes) }
    raise "captured #{importer.count_faces} faces" unless importer.count_faces == TRIANGLES

    importer.clear_balancer
    next if round.zero? # warms the method caches

    times[:calls] << calls
    times[:bare] << bare
    times[:capture] << capture
  end
  times.transform_values { |samples| { median_s: median(samples).round(5), samples_s: samples.map { |s| s.round(5) } } }
       .merge(ratio: (median(times[:capture]) / median(times[:bare])).round(3),
              ratio_to_calls: (median(times[:capture]) / median(times[:calls])).round(3),
              ratio_of_minima: (times[:capture].min / times[:bare].min).round(3))
end

# 224 x 224 cells have 100,352 triangles, of which the first 100,000 are taken.
SIDE = 224
POINTS = Array.new((SIDE + 1)**2) { |index| Point.new((index % (SIDE + 1)) * 0.1, index / (SIDE + 1) * 0.1, 0.5) }
POLYGONS = Array.new(SIDE * SIDE) do |cell|
  corner = cell / SIDE * (SIDE + 1) + cell % SIDE + 1
  above = corner + SIDE + 1
  [[corner, corner + 1, above], [corner + 1, above + 1, above]]
end.flatten(1).first(TRIANGLES)

def host_mesh
  mesh = Geom::PolygonMesh.new
  POINTS.each { |point| mesh.add_point(Geom::Point3d.new(point.x, point.y, point.z)) }
  POLYGONS.each { |polygon| mesh.add_polygon(*polygon) }
  mesh
end

def measure_both(mesh)
  { textured: measure(true, { material: [mesh] }), untextured: measure(false, { material: [mesh] }) }
end

cpu = File.exist?("/proc/cpuinfo") ? File.read("/proc/cpuinfo")[/^model name\s*:\s*(.*)$/, 1] : nil
puts JSON.pretty_generate(
  triangles: TRIANGLES, samples: SAMPLES, clock: "CPU time of the process", ruby: RUBY_DESCRIPTION, cpu:,
  load: File.exist?("/proc/loadavg") ? File.read("/proc/loadavg").split.first(3) : nil,
  host_objects: measure_both(host_mesh), cheapest_objects: measure_both(CheapMesh.new(POINTS, POLYGONS))
)
