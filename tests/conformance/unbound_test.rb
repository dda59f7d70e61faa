# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"

# What no Ruby method reaches: slots, the current mesh, preview references, the boundary between Ruby and C++.
class UnboundTest < Conformance::Test
  SLOTS = {
    "IMaterial" => { getColor: 1, getTexturePath: 10, getName: 12, isDefault: 13, getTextureBasePath: 14 },
    "IMesh" => {
      getNumVertices: 0, getNumFaces: 1, getVertices: 2, getFaces: 3, getVertexPosition: 4, getFace: 5, addVertex: 8,
      addFace: 10, hasVertexAttributes: 12, getNormals: 15, setVertexNormals: 17, removeVertexNormals: 19,
      addNormals: 21, addNormal: 23, getNumNormals: 24, setFaceNormalIndices: 26, removeIndexedNormals: 28,
      hasVertexUVs: 29, getVertexUVs: 30, setVertexUVs: 32, removeVertexUVs: 34, hasCornerUVs: 35, addUVs: 36,
      addUV: 38, getNumCornerUVs: 39, getUV: 40, setFaceUVIndices: 41, getFaceUVIndices: 42, removeCornerUVs: 43,
      getAuxiliaryAttributes: 45, getNumFaceSets: 60, numFacesInSet: 61, getFaceSetFaces: 62, setNumFaceSets: 63,
      setCurrentFaceSet: 66, getFaceSetOfFace: 67, getMaterial: 70, getFaceEdgeFlags: 71, getDefaultMaterial: 94,
      getVertexRemap: 96, getNormalRemap: 97, getUVRemap: 98, getAuxiliaryRemap: 99, getBoundingBox: 100
    },
    "IMeshDepot" => {
      createMesh: 0, getNumMeshes: 1, getMesh: 3, clear: 4, buildHierarchy: 5, setLockSurfaceBoundaries: 6,
      setPreventUVFoldovers: 8, setPreventXYFoldovers: 10, joinVertices: 12, eliminateTJunctions: 17,
      prepareMeshes: 22
    },
    "IHierarchy" => { numSteps: 4, currentStep: 5, goToStep: 6, goToFaceCount: 7 }
  }.freeze

  def setup
    super
    empty_state
  end

  SLOTS.each do |interface, operations|
    define_method("test_slots_of_#{interface}") do
      actual = MirelTest.slots.select { |name, _| name.start_with?("#{interface}.") }
      assert_equal(operations.to_h { |name, slot| ["#{interface}.#{name}", slot] }, actual)
    end
  end

  def test_boundary_and_sharp_flags
    sharp = (0..255).select { |flags| MirelTest.boundary_sharp_edge?(flags) }
    assert_equal (0..255).reject { |flags| (flags & 0x22).zero? }, sharp
  end

  def test_default_joining_tolerances
    assert_equal [5.0, [0.0001].pack("f").unpack1("f")], MirelTest.tolerances_defaults
  end

  def test_init_mesh_makes_a_current_mesh
    make_depot
    refute_predicate MirelTest, :current_mesh?
    assert_equal true, MirelTest.init_mesh
    MirelTest.touch_current_mesh
    assert_log <<~LOG
      depot1.createMesh
      depot1.getMesh 0
      depot1.mesh0.addNormal 0 0 0
    LOG
  end

  def test_init_mesh_that_fails_keeps_the_current_mesh
    make_depot
    MirelTest.init_mesh
    clear_log
    Recorder.answer("createMesh", 0xFFFFFFFF)
    assert_equal false, MirelTest.init_mesh
    MirelTest.touch_current_mesh
    assert_log <<~'LOG'
      depot1.createMesh
      Kernel.puts "Error: Mesh has not been created.\n"
      depot1.mesh0.addNormal 0 0 0
    LOG
  end

  def test_init_mesh_without_depot
    assert_equal false, MirelTest.init_mesh
    assert_log 'Kernel.puts "Error: MeshDepot has not been created."'
  end

  def test_capture_makes_its_mesh_current
    make_depot
    importer.get_balancer_mesh({})
    importer.get_balancer_mesh({})
    clear_log
    MirelTest.touch_current_mesh
    assert_log "depot1.mesh1.addNormal 0 0 0"
  end

  def test_a_capture_that_raises_leaves_the_current_mesh
    make_depot
    importer.get_balancer_mesh({})
    assert_raises(NoMethodError) { importer.get_balancer_mesh({ 1 => nil }) }
    clear_log
    MirelTest.touch_current_mesh
    assert_log "depot1.mesh0.addNormal 0 0 0"
  end

  def test_import_makes_mesh_0_current
    Recorder.answer("load", 3)
    importer.import_obj("any.obj")
    clear_log
    MirelTest.touch_current_mesh
    assert_log "depot2.mesh0.addNormal 0 0 0"
  end

  def test_an_import_of_a_depot_without_meshes_has_no_current_mesh
    Recorder.answer("load", 0)
    importer.import_obj("any.obj")
    refute_predicate MirelTest, :current_mesh?
  end

  def test_a_new_depot_has_no_current_mesh
    make_depot
    MirelTest.init_mesh
    importer.init_mesh_depot
    refute_predicate MirelTest, :current_mesh?
  end

  def test_clear_keeps_the_handles
    make_hierarchy
    MirelTest.init_mesh
    importer.clear_balancer
    assert_equal [true] * 4, [MirelTest.sdk?, MirelTest.depot?, MirelTest.current_mesh?, MirelTest.hierarchy?]
  end

  def test_failed_load_leaves_no_depot
    Recorder.answer("load", -1)
    importer.import_obj("any.obj")
    refute_predicate MirelTest, :depot?
  end

  def test_clear_sets_the_preview_references_to_nil_every_time
    make_depot
    2.times do
      MirelTest.preview = [[1], [2], [3], [4], [5]]
      importer.clear_balancer
      assert_equal [nil] * 5, MirelTest.preview
    end
  end

  def test_preview_references_survive_the_garbage_collector
    MirelTest.preview = Array.new(5) { |place| "array #{place}" * 10 }
    10.times do
      GC.start
      Array.new(1000) { "other" * 10 }
    end
    assert_equal Array.new(5) { |place| "array #{place}" * 10 }, MirelTest.preview
  ensure
    MirelTest.preview = [nil] * 5
  end

  def test_report_counts_meshes_with_vertices_only
    make_depot
    4.times { MirelTest.init_mesh }
    { 0 => [3, 10], 1 => [0, 100], 2 => [9, 4_294_967_290], 3 => [1, 20] }.each do |index, (vertices, faces)|
      Recorder.answer("depot1.mesh#{index}.getNumVertices", vertices)
      Recorder.answer("depot1.mesh#{index}.getNumFaces", faces)
    end
    clear_log
    assert_equal true, MirelTest.report(importer, false)
    # 32 bits wrap.
    assert_equal 24, importer.instance_variable_get(:@total_original_faces)
    assert_log <<~LOG
      depot1.getNumMeshes
      depot1.getMesh 0
      depot1.mesh0.getNumVertices
      depot1.mesh0.getNumFaces
      depot1.getNumMeshes
      depot1.getMesh 1
      depot1.mesh1.getNumVertices
      depot1.getNumMeshes
      depot1.getMesh 2
      depot1.mesh2.getNumVertices
      depot1.mesh2.getNumFaces
      depot1.getNumMeshes
      depot1.getMesh 3
      depot1.mesh3.getNumVertices
      depot1.mesh3.getNumFaces
      depot1.getNumMeshes
    LOG
  end

  def test_verbose_report
    make_depot
    MirelTest.init_mesh
    MirelTest.init_mesh
    answers = { getNumVertices: 8, getNumFaceSets: 2, getNumFaces: 12, getNumNormals: 6, getNumCornerUVs: 4,
                hasVertexAttributes: 1 }
    answers.each { |name, value| Recorder.answer("depot1.mesh1.#{name}", value) }
    Recorder.answer("depot1.mesh0.getNumVertices", 0)
    clear_log
    assert_equal true, MirelTest.report(importer, true)
    printed = log.grep(/\AKernel/)
    assert_log <<~'LOG', printed
      Kernel.puts "---Balancer Mesh Data---"
      Kernel.print "Mesh Index: "
      Kernel.print 1
      Kernel.print "\n"
      Kernel.print "Num vertices:"
      Kernel.print 8
      Kernel.print "\n"
      Kernel.print "Num Face Sets / Materials: "
      Kernel.print 2
      Kernel.print "\n"
      Kernel.print "Num Faces: "
      Kernel.print 12
      Kernel.print "\n"
      Kernel.print "Num Normals: "
      Kernel.print 6
      Kernel.print "\n"
      Kernel.print "Num Indexed UVs :"
      Kernel.print 4
      Kernel.print "\n"
      Kernel.print "Has Vertex Attributes: "
      Kernel.print 1
      Kernel.print "\n"
    LOG
    assert_equal 12, importer.instance_variable_get(:@total_original_faces)
  end

  def test_verbose_report_of_a_mesh_without_attributes_prints_0
    make_depot
    MirelTest.init_mesh
    Recorder.answer("getNumVertices", 1)
    clear_log
    MirelTest.report(importer, true)
    assert_equal ['Kernel.print "Has Vertex Attributes: "', "Kernel.print 0"], log.grep(/\AKernel/)[-3..-2]
  end

  # One puts and seven values of three prints each.
  def test_verbose_report_survives_a_clear_in_the_console
    22.times do |place|
      make_depot
      MirelTest.init_mesh
      Recorder.answer("getNumVertices", 1)
      Events.reset
      Events.hook = ->(index, _) { importer.clear_balancer if index == place }
      assert_equal false, MirelTest.report(importer, true)
      refute_dead_calls
    end
    assert_equal 23, Events.count
  end

  # A host may set the locale of C++ for its own sake.
  def test_export_writes_points_and_no_grouping_in_any_locale
    make_depot
    importer.get_balancer_mesh({})
    Recorder.floats("getVertices", [0.5, 123_456, 0] * 1200)
    Recorder.answer("getNumVertices", 1200)
    Recorder.remap("getVertexRemap", [*0...1200])
    Recorder.indices("getFaces", [0, 1, 1199])
    Recorder.answer("getNumFaces", 1)
    with_file("") do |path|
      MirelTest.comma_locale = true
      assert_equal "1.234,5", MirelTest.show_in_locale(1234.5)
      quietly { assert_equal 0, importer.export_obj(path) }
      assert_equal ["v 0.5 123456 0\n", "f 1 2 1200\n"], File.readlines(path).last(3).values_at(0, 2)
    ensure
      MirelTest.comma_locale = false
    end
  end

  # Without what native code writes to the C standard output.
  def quietly
    saved = $stdout.dup
    $stdout.reopen(File::NULL)
    yield
  ensure
    $stdout.reopen(saved)
    saved.close
  end

  def test_point_as_three_floats
    point = Geom::Point3d.new("point", [1, 0.1, -2.5])
    assert_equal [1.0, [0.1].pack("f").unpack1("f"), -2.5, 77.0, true], MirelTest.point_to_floats(point)
    assert_log "point.x\npoint.y\npoint.z"
  end

  def test_point_with_a_coordinate_that_is_no_number
    assert_raises(TypeError) { MirelTest.point_to_floats(Geom::Point3d.new("point", [1, nil, 2])) }
    assert_raises(TypeError) { MirelTest.point_to_floats(Geom::Point3d.new("point", [1, "2", 2])) }
    assert_raises(NoMethodError) { MirelTest.point_to_floats(nil) }
  end

  def test_colour_is_truncated_and_not_clamped
    assert_equal [254, 255, 510, -25], MirelTest.color_from([0.999, 1.0, 2.0, -0.1]).components
    assert_equal [0, 127, 0, 0], MirelTest.color_from([0.0, 0.5, 0.0039, -0.0039]).components
  end

  def test_colour_beyond_every_integer_is_no_crash
    MirelTest.color_from([Float::NAN, Float::INFINITY, -Float::INFINITY, 1e30]).components.each do |component|
      assert_kind_of Integer, component
    end
  end

  def test_boundary_returns_the_value
    assert_equal :value, MirelTest.run_in_boundary { :value }
    assert_equal 0, MirelTest.live_guards
  end

  def test_boundary_lets_a_raise_through_after_the_destructors
    error = RuntimeError.new("mine")
    assert_same error, assert_raises(RuntimeError) { MirelTest.run_in_boundary { raise error } }
    assert_equal 0, MirelTest.live_guards
  end

  def test_boundary_lets_throw_and_break_through
    assert_equal :thrown, catch(:tag) { MirelTest.run_in_boundary { throw :tag, :thrown } }
    assert_equal :broken, (MirelTest.run_in_boundary { break :broken })
    assert_equal 0, MirelTest.live_guards
  end

  def test_boundary_turns_cpp_exceptions_into_ruby_ones
    assert_equal "what", assert_raises(RuntimeError) { MirelTest.throw_in_boundary(0, "what") }.message
    assert_raises(NoMemoryError) { MirelTest.throw_in_boundary(1, "") }
    assert_raises(RuntimeError) { MirelTest.throw_in_boundary(2, "") }
    long = "x" * 10_000
    message = assert_raises(RuntimeError) { MirelTest.throw_in_boundary(0, long) }.message
    assert_operator long, :start_with?, message
    assert_equal "100% %s", assert_raises(RuntimeError) { MirelTest.throw_in_boundary(0, "100% %s") }.message
    assert_equal 0, MirelTest.live_guards
  end

  def test_boundaries_nest
    result = catch(:out) do
      MirelTest.run_in_boundary do
        MirelTest.run_in_boundary { throw :out, :far }
      end
    end
    assert_equal :far, result
    assert_equal 0, MirelTest.live_guards
  end
end
