# frozen_string_literal: true

require "export_test"
require "scenarios"

# Every method and callback while the garbage collector runs at every allocation.
class GcStressTest < Conformance::Test
  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }

  def stress
    GC.stress = true
    yield
  ensure
    GC.stress = false
  end

  Scenarios.all(FOLDER).each do |name, run|
    define_method("test_#{name.tr(" ", "_")}") do
      Scenarios.prepare(importer)
      run.call(importer)
      expected = log
      Scenarios.prepare(importer)
      stress { run.call(importer) }
      # The collector changes nothing of what is called, in which order, with which values.
      assert_equal expected, log
    end
  end

  def test_the_methods_without_callbacks
    Scenarios.prepare(importer)
    results = stress do
      [importer.make_lowest_resolution, importer.make_highest_resolution, importer.get_current_step,
       importer.get_hierachy_steps, importer.count_faces, importer.clear_balancer, importer.clear_balancer,
       importer.init_mesh_depot]
    end
    assert_equal [true, true, 0, 10, 2, true, true, true], results
  end

  def test_guard_lines
    empty_state
    results = stress do
      [importer.go_to_step(1), importer.count_faces, importer.init_simplify, importer.get_balancer_mesh({})]
    end
    assert_equal [false, 0, false, false], results
    assert_equal 4, log.grep(/Error: /).size
  end

  def test_export_of_a_mesh
    Scenarios.prepare(importer)
    Recorder.floats("getVertices", [0, 0, 0, 1, 0, 0, 0, 1, 0])
    Recorder.remap("getVertexRemap", [0, 1, 2])
    Recorder.indices("getFaces", [0, 1, 2])
    path = File.join(FOLDER, "out.obj")
    output = $stdout.dup
    $stdout.reopen(File::NULL)
    result = stress { importer.export_obj(path) }
    $stdout.reopen(output)
    assert_equal 0, result
    assert_equal 6, File.readlines(path).size
  end

  def test_failed_loads
    Scenarios.prepare(importer)
    Recorder.answer("load", -1)
    assert_equal false, stress { importer.import_obj("any.obj") }
    assert_equal false, stress { importer.import_ply("no/such/file.ply") }
  end

  def test_an_exception_that_crosses_native_frames
    Scenarios.prepare(importer)
    Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.update" }
    path = File.join(FOLDER, "one.ply")
    assert_raises(IOError) { stress { importer.import_ply(path) } }
  end
end

# The model export under the same stress.
class GcStressOfExportTest < ExportTest
  def test_export_of_a_scene
    export(whole_scene)
    expected = log
    importer.forget_exported
    start
    root = whole_scene
    GC.stress = true
    result = export(root)
    GC.stress = false
    assert_equal true, result
    assert_equal expected, log
  ensure
    GC.stress = false
  end

  def test_exceptions_that_cross_native_frames
    %w[importer.smooth_angle importer.material_exported description.height].each do |name|
      importer.forget_exported
      start
      root = whole_scene
      Events.hook = ->(_, event) { raise IOError, "stop" if event == name }
      GC.stress = true
      error = begin
        export(root)
      rescue IOError => raised
        raised
      end
      GC.stress = false
      Events.hook = nil
      assert_equal "stop", error.message
    end
  ensure
    GC.stress = false
  end

  def test_failures
    SketchupRecorder.fail_function("SUEntitiesFill")
    GC.stress = true
    error = begin
      export(node("root", mesh: 0))
    rescue RuntimeError => raised
      raised
    end
    GC.stress = false
    assert_equal "Failed to fill Entities with GeometryInputRef", error.message
  ensure
    GC.stress = false
  end
end
