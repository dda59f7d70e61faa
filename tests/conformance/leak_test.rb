# frozen_string_literal: true

require "fiddle"
require "fileutils"
require "minitest/autorun"
require "tmpdir"

# The stand-ins note nothing here: the library behind the seam is the real one.
module Recorder
  def self.note(_line) = nil
end

require "stand_ins"
require_relative "../support/fbx_file"

BUILD = ENV.fetch("MIREL_BUILD")
SUFFIX = RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"
require File.join(BUILD, "lib", "mirel.#{SUFFIX}")

# Over many cycles of load, reduce and clear with the real engine, what stays alive is what is abandoned by design
# and nothing else. Ladders count until they are ended: the empty object that a stale handle may still call stays.
class LeakTest < Minitest::Test
  CYCLES = 100
  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }

  ENGINE = Fiddle.dlopen(File.join(BUILD, "lib", RUBY_PLATFORM.include?("darwin") ? "libbalancer.dylib" : "libbalancer.so"))
  LIVE_OBJECTS = Fiddle::Function.new(ENGINE["mirel_engine_live_objects"], [Fiddle::TYPE_VOIDP], Fiddle::TYPE_VOID)

  FBX = Fiddle.dlopen(File.join(BUILD, "lib", RUBY_PLATFORM.include?("darwin") ? "libfbxsdk.dylib" : "libfbxsdk.so"))
  LIVE_MANAGERS = Fiddle::Function.new(FBX["mirel_fbx_live_managers"], [], Fiddle::TYPE_INT)

  SIDE = 6

  attr_reader :importer

  def setup
    @importer = Zu::Mirel::Importer.new
  end

  def live_objects
    counts = "\0".b * 16
    LIVE_OBJECTS.call(counts)
    %i[sdks depots meshes ladders].zip(counts.unpack("L4")).to_h.merge(fbx_managers: LIVE_MANAGERS.call)
  end

  # What stays behind after all cycles of the block.
  def left_behind(cycles = CYCLES)
    before = live_objects
    cycles.times { yield }
    live_objects.to_h { |kind, count| [kind, count - before.fetch(kind)] }
  end

  NOTHING = { sdks: 0, depots: 0, meshes: 0, ladders: 0, fbx_managers: 0 }.freeze

  def grid_points = Array.new((SIDE + 1)**2) { |index| [index % (SIDE + 1), index / (SIDE + 1), Math.sin(index)] }

  def grid_triangles
    Array.new(SIDE * SIDE) do |cell|
      corner = cell / SIDE * (SIDE + 1) + cell % SIDE + 1
      above = corner + SIDE + 1
      [[corner, corner + 1, above], [corner + 1, above + 1, above]]
    end.flatten(1)
  end

  def host_meshes
    points = grid_points.each_with_index.to_h { |point, index| [index + 1, point] }
    { red: [Geom::PolygonMesh.new(grid_triangles, points:)] }
  end

  def obj_file
    path = File.join(FOLDER, "grid.obj")
    lines = grid_points.map { |point| "v #{point.join(" ")}" } + grid_triangles.map { |corners| "f #{corners.join(" ")}" }
    File.write(path, "#{lines.join("\n")}\n")
    path
  end

  def ply_file
    path = File.join(FOLDER, "grid.ply")
    header = "ply\nformat ascii 1.0\nelement vertex #{grid_points.size}\nproperty float x\nproperty float y\n" \
             "property float z\nelement face #{grid_triangles.size}\nproperty list uchar int vertex_indices\nend_header\n"
    lines = grid_points.map { |point| point.join(" ") } +
            grid_triangles.map { |corners| "3 #{corners.map { |corner| corner - 1 }.join(" ")}" }
    File.write(path, "#{header}#{lines.join("\n")}\n")
    path
  end

  def fbx_file
    path = File.join(FOLDER, "grid.fbx")
    file = FbxFile.new
    polygons = grid_triangles.map { |corners| corners.map { |corner| corner - 1 } }
    file.node("grid", mesh: file.mesh("grid", points: grid_points, polygons: polygons), materials: [file.material("red")])
    File.write(path, file.text)
    path
  end

  def reduce
    assert_equal true, importer.init_simplify
    assert_operator importer.get_hierachy_steps, :>, 0
    before = importer.count_faces
    assert_equal true, importer.go_to_faces(before / 2)
    assert_operator importer.count_faces, :<=, before / 2
    importer.make_lowest_resolution
    importer.make_highest_resolution
    assert_equal before, importer.count_faces
  end

  def test_capture_reduce_clear
    meshes = host_meshes
    left = left_behind do
      importer.init_mesh_depot
      importer.get_balancer_mesh(meshes)
      reduce
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  end

  def test_obj_reduce_clear
    path = obj_file
    left = left_behind do
      assert_equal 0, importer.import_obj(path)
      reduce
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  end

  # The depot that an OBJ import replaces stays alive until the SDK object is released.
  def test_obj_import_abandons_its_first_depot_until_the_clear
    path = obj_file
    left = left_behind(1) { importer.import_obj(path) }
    assert_equal NOTHING.merge(sdks: 1, depots: 2, meshes: 1), left
    assert_equal(NOTHING.merge(sdks: -1, depots: -2, meshes: -1), left_behind(1) { importer.clear_balancer })
  end

  def test_ply_reduce_clear
    path = ply_file
    left = left_behind do
      assert_equal true, importer.import_ply(path)
      reduce
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  end

  def test_fbx_reduce_clear
    path = fbx_file
    left = left_behind do
      importer.forget_imported
      assert_equal true, importer.import_fbx(path)
      reduce
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  end

  # An exception of a callback leaves the call's FBX objects behind, for good.
  def test_a_raise_in_an_fbx_import_abandons_exactly_its_manager
    path = fbx_file
    Events.reset
    left = left_behind do
      importer.forget_imported
      Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.add_mesh" }
      assert_raises(IOError) { importer.import_fbx(path) }
      Events.hook = nil
      importer.clear_balancer
    end
    assert_equal NOTHING.merge(fbx_managers: CYCLES), left
  ensure
    Events.hook = nil
  end

  def test_failed_imports
    cut = File.join(FOLDER, "cut.fbx")
    File.write(cut, File.read(fbx_file)[0, 600])
    left = left_behind do
      assert_equal false, importer.import_fbx(File.join(FOLDER, "missing.fbx"))
      importer.clear_balancer
      assert_equal false, importer.import_fbx(cut)
      importer.clear_balancer
      assert_equal false, importer.import_obj(File.join(FOLDER, "missing.obj"))
      importer.clear_balancer
      assert_equal false, importer.import_ply(File.join(FOLDER, "missing.ply"))
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  end

  # A repeated init_mesh_depot abandons an SDK object and a depot with its meshes, for good.
  def test_repeated_init_abandons_exactly_its_objects
    meshes = host_meshes
    left = left_behind do
      importer.init_mesh_depot
      importer.get_balancer_mesh(meshes)
      importer.init_mesh_depot
      importer.clear_balancer
    end
    assert_equal NOTHING.merge(sdks: CYCLES, depots: CYCLES, meshes: CYCLES), left
  end

  def test_a_raise_in_the_middle_leaves_nothing_after_the_clear
    meshes = host_meshes
    path = ply_file
    Events.reset
    left = left_behind do
      importer.init_mesh_depot
      Events.hook = ->(_, name) { raise IOError, "stop" if name == "mesh.uv_at" }
      assert_raises(IOError) { importer.get_balancer_mesh(meshes) }
      importer.clear_balancer
      Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.update" }
      assert_raises(IOError) { importer.import_ply(path) }
      Events.hook = nil
      importer.clear_balancer
    end
    assert_equal NOTHING, left
  ensure
    Events.hook = nil
  end

  def test_each_build_ends_the_ladder_before
    importer.init_mesh_depot
    importer.get_balancer_mesh(host_meshes)
    left = left_behind { importer.init_simplify }
    assert_equal NOTHING.merge(ladders: 1), left
  ensure
    importer.clear_balancer
  end
end
