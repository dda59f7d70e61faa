# frozen_string_literal: true

require_relative "sketchup_recorder"
require "conformance"
require_relative "export_stand_ins"

# What the tests of the model export build on: a depot with one mesh of one triangle, and a recording SketchUp C API.
class ExportTest < Conformance::Test
  def setup
    super
    empty_state
    @importer = Zu::Mirel::Importer.new
    importer.forget_exported
    make_meshes
  end

  # Meshes of one triangle each, and an empty log.
  def make_meshes(count = 1)
    make_depot
    count.times { importer.get_balancer_mesh({}) }
    Recorder.answer("getNumVertices", 3)
    Recorder.answer("getNumFaces", 1)
    Recorder.floats("getVertices", [0, 0, 0, 1.5, 0, 0, 0, 2.5, 0])
    Recorder.indices("getFaces", [0, 1, 2])
    start
  end

  # Clears the log, and numbers SketchUp's objects from 1 again.
  def start
    SketchupRecorder.reset
    Events.reset
    clear_log
  end

  def node(...) = Export.node(...)
  def child(...) = Export.child(...)

  def set(**settings)
    importer.export_settings = importer.export_settings.merge(settings)
  end

  # A material that can be exported under the name.
  def give(name, **description)
    importer.imported_materials[name] = Export.description(**description)
  end

  def export(root, recurse = true)
    importer.export_skp("out.skp", nil, root, recurse)
  end

  # A scene in which every call of the export is made: two materials, a group and a component that come twice.
  def whole_scene
    give("Red", texture: "red.png", width: 2, height: 3)
    give("Blue")
    set(soften_edges?: true, importing_external_file?: false, apply_materials_both_sides?: true)
    SketchupRecorder.add_edge(2)
    shared = node("Shared", mesh: 0, materials: ["Red"])
    group = node("Group", group: true, children: [child(shared)])
    node("root", mesh: 0, materials: ["Red", "Blue"], children: [child(shared), child(group), child(group)])
  end

  # The lines of the log that are calls of the SketchUp C API.
  def sketchup_log(lines = log) = lines.grep(/\ASU/)

  def teardown
    assert_equal 0, SketchupRecorder.strings, "strings are alive after an export"
  end

  def assert_fails(message, &block)
    error = assert_raises(RuntimeError, &block)
    assert_instance_of RuntimeError, error
    assert_equal message, error.message
  end
end
