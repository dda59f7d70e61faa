# frozen_string_literal: true

require "fiddle"
require "fileutils"
require "json"
require "minitest/autorun"
require "tmpdir"

# The stand-ins note nothing here: the libraries behind the seams are the real ones.
module Recorder
  def self.note(_line) = nil
end

require "export_stand_ins"

BUILD = ENV.fetch("MIREL_BUILD")
LIBRARY_SUFFIX = RUBY_PLATFORM.include?("darwin") ? "dylib" : "so"
MODEL = Fiddle::Handle.new(File.join(BUILD, "lib", "libsketchup.#{LIBRARY_SUFFIX}"), Fiddle::RTLD_LAZY | Fiddle::RTLD_GLOBAL)
require File.join(BUILD, "lib", "mirel.#{RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"}")

# export_skp with the real engine and the standalone model: what is written, and what stays alive.
class WholeExportTest < Minitest::Test
  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }
  OBJECTS = Fiddle::Function.new(MODEL["mirel_model_objects"], [Fiddle::TYPE_VOIDP], Fiddle::TYPE_VOID)
  KINDS = %i[models entities groups definitions instances materials textures geometry_inputs loop_inputs strings].freeze

  attr_reader :importer

  def setup
    @importer = Zu::Mirel::Importer.new
    importer.init_mesh_depot
    importer.get_balancer_mesh(host_meshes)
  end

  def teardown = importer.clear_balancer

  # Two materials of one triangle each, side by side.
  def host_meshes
    points = { 1 => [0, 0, 0], 2 => [10, 0, 0], 3 => [10, 10, 0], 4 => [0, 10, 0] }
    uvs = points.transform_values { |x, y, _| [x / 10.0, y / 10.0, 1] }
    { red: [Geom::PolygonMesh.new([[1, 2, 3]], points:, uvs:)], blue: [Geom::PolygonMesh.new([[1, 3, 4]], points:, uvs:)] }
  end

  def objects
    counts = "\0".b * 8 * KINDS.size
    OBJECTS.call(counts)
    KINDS.zip(counts.unpack("Q*")).to_h
  end

  def scene
    importer.forget_exported
    %w[Red Blue].each { |name| importer.imported_materials[name] = Export.description(color: [255, 0, 51, 255]) }
    importer.export_settings = importer.export_settings.merge(soften_edges?: true, smooth_angle: 0.5)
    tile = Export.node("Tile", mesh: 0, materials: %w[Red Blue])
    moved = Export::IDENTITY.dup.tap { |matrix| matrix[12] = 100 }
    group = Export.node("Group", group: true, children: [Export.child(tile, moved)])
    Export.node("root", children: [Export.child(tile), Export.child(group)])
  end

  def export(name)
    path = File.join(FOLDER, name)
    assert_equal true, importer.export_skp(path, nil, scene, true)
    path
  end

  def read_glb(path)
    JSON.parse(File.binread(path).then { |bytes| bytes[20, bytes[12, 4].unpack1("L<")] })
  end

  def test_a_scene_becomes_a_file
    scene = read_glb(export("scene.glb"))
    assert_equal %w[Group Model Tile Tile_2], scene["nodes"].map { |node| node["name"] }.sort
    assert_equal 1, scene["meshes"].size
    assert_equal %w[X_Blue X_Red], scene["materials"].map { |material| material["name"] }.sort
    assert_equal [0, 0], scene["nodes"].filter_map { |node| node["mesh"] }
    primitives = scene["meshes"].first["primitives"]
    assert_equal [3, 3], primitives.map { |primitive| scene["accessors"][primitive["indices"]]["count"] }
    assert(primitives.all? { |primitive| primitive["attributes"].key?("TEXCOORD_0") })
  end

  def test_every_format
    %w[glb gltf dae obj ply stl].each { |format| assert_path_exists export("scene.#{format}") }
  end

  def test_a_format_that_cannot_be_written_leaves_nothing
    export("scene.skp")
    refute_path_exists File.join(FOLDER, "scene.skp")
  end

  def test_nothing_stays_alive
    export("first.glb")
    before = objects
    20.times { export("again.glb") }
    assert_equal before, objects
  end

  def test_a_raise_abandons_exactly_one_model
    before = objects
    importer.define_singleton_method(:update_mesh_export_progress) { raise IOError, "stop" }
    3.times do
      assert_raises(IOError) { importer.export_skp(File.join(FOLDER, "none.glb"), nil, scene, true) }
    end
    left = objects.to_h { |kind, count| [kind, (count - before.fetch(kind)) / 3.0] }
    # The walk had come to the first definition, with its two materials and its geometry.
    assert_equal({ models: 1, entities: 2, groups: 0, definitions: 1, instances: 0, materials: 2, textures: 0,
                   geometry_inputs: 1, loop_inputs: 0, strings: 0 }, left)
    refute_path_exists File.join(FOLDER, "none.glb")
  end

  # Raised in turn at every call of a Ruby method that the export makes.
  def test_a_raise_from_each_callback_abandons_its_model_and_no_more
    path = File.join(FOLDER, "kept.glb")
    File.binwrite(path, "kept")
    root = scene
    Events.reset
    importer.export_skp(File.join(FOLDER, "counted.glb"), nil, root, true)
    events = Events.count
    assert_operator events, :>, 60
    before = objects
    events.times { |place| assert_equal "stop", raise_at(place, path) }
    left = objects.to_h { |kind, count| [kind, count - before.fetch(kind)] }
    assert_equal events, left[:models]
    # One collection for each model and at most one for each definition and group that was made.
    assert_operator left[:entities], :<=, events + left[:definitions] + left[:groups]
    assert_operator left[:geometry_inputs], :<=, events
    assert_equal [0, 0], left.values_at(:loop_inputs, :strings)
    assert_equal "kept", File.binread(path)
    assert_equal ["kept.glb"], Dir.children(FOLDER).grep(/kept/)
  ensure
    Events.reset
  end

  # The message of what came out of an export in which that event raises.
  def raise_at(place, path)
    root = scene
    Events.reset
    Events.hook = ->(index, _) { raise IOError, "stop" if index == place }
    importer.export_skp(path, nil, root, true)
    "returned"
  rescue IOError => error
    error.message
  end

  def test_a_missing_texture
    root = scene
    importer.imported_materials["Red"] = Export.description(texture: "no/such.png", width: 1, height: 1)
    error = assert_raises(RuntimeError) { importer.export_skp(File.join(FOLDER, "none.glb"), nil, root, true) }
    assert_equal "Failed to Create Texture from File", error.message
  end
end
