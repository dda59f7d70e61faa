# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "export_test"

# How a mesh becomes a geometry input: points, loops, UVs, materials; and which edges become soft and smooth.
class GeometryInputTest < ExportTest
  def setup
    super
    give("Red")
    give("Blue")
  end

  def export_mesh(materials = ["Red"])
    export(node("root", mesh: 0, materials: materials), nil)
    log
  end

  # Two triangles over four vertices, in face sets of their own.
  def make_two_faces
    Recorder.answer("getNumVertices", 4)
    Recorder.answer("getNumFaces", 2)
    Recorder.floats("getVertices", [0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0])
    Recorder.indices("getFaces", [0, 1, 2, 2, 3, 0])
    Recorder.answer("getNumFaceSets", 2)
    Recorder.indices("getFaceSetOfFace", [0, 1])
  end

  def test_the_mesh_call_by_call
    make_two_faces
    lines = export_mesh(%w[Red Blue])
    from = lines.index("importer.apply_materials_both_sides?")
    to = lines.index("SUEntitiesFill model1.entities geometry1 true")
    assert_log <<~LOG, lines[from...to]
      importer.apply_materials_both_sides?
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getFaces
      depot1.mesh0.getNumVertices
      SUGeometryInputSetVertices geometry1 4 [0,0,0 1,0,0 1,1,0 0,1,0]
      depot1.mesh0.hasCornerUVs
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.getNumFaces
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaces
      SULoopInputCreate loop1
      SULoopInputAddVertexIndex loop1 0
      SULoopInputAddVertexIndex loop1 1
      SULoopInputAddVertexIndex loop1 2
      depot1.mesh0.getFaceEdgeFlags 0
      SULoopInputEdgeSetSoft loop1 0 true
      SULoopInputEdgeSetSmooth loop1 0 true
      SULoopInputEdgeSetSoft loop1 1 true
      SULoopInputEdgeSetSmooth loop1 1 true
      SULoopInputEdgeSetSoft loop1 2 true
      SULoopInputEdgeSetSmooth loop1 2 true
      SULoopInputCreate loop2
      SULoopInputAddVertexIndex loop2 2
      SULoopInputAddVertexIndex loop2 3
      SULoopInputAddVertexIndex loop2 0
      depot1.mesh0.getFaceEdgeFlags 1
      SULoopInputEdgeSetSoft loop2 0 true
      SULoopInputEdgeSetSmooth loop2 0 true
      SULoopInputEdgeSetSoft loop2 1 true
      SULoopInputEdgeSetSmooth loop2 1 true
      SULoopInputEdgeSetSoft loop2 2 true
      SULoopInputEdgeSetSmooth loop2 2 true
      depot1.mesh0.getFace 0
      depot1.mesh0.getFaceSetOfFace 0
      SUGeometryInputAddFace geometry1 loop1
      SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,0] [0 1 2]
      depot1.mesh0.getFace 1
      depot1.mesh0.getFaceSetOfFace 1
      SUGeometryInputAddFace geometry1 loop2
      SUGeometryInputFaceSetFrontMaterial geometry1 101 material2 [0,0] [2 3 0]
    LOG
  end

  def test_coordinates_are_widened_floats
    Recorder.floats("getVertices", [0.1, -1e30, 1e-30, 0, 0, 0, 0, 0, 0])
    assert_includes export_mesh, "SUGeometryInputSetVertices geometry1 3 [0.100000001,-1.00000002e+30,1e-30 0,0,0 0,0,0]"
  end

  def test_a_null_face_table_copies_no_vertices_and_makes_no_loops
    Recorder.indices("getFaces", nil)
    assert_fails("Failed to set Face to Geometry Input") { export_mesh }
    lines = log
    assert_includes lines, "SUGeometryInputSetVertices geometry1 3 [0,0,0 0,0,0 0,0,0]"
    assert_empty lines.grep(/SULoopInput/)
    assert_includes lines, "SUGeometryInputAddFace geometry1 invalid refuses"
  end

  def test_a_null_vertex_array
    Recorder.floats("getVertices", nil)
    assert_fails("Mesh has not been created") { export_mesh }
    Recorder.answer("getNumVertices", 0)
    start
    assert_includes export_mesh([]), "SUGeometryInputSetVertices geometry1 0 []"
  end

  def test_uvs_per_vertex
    Recorder.floats("getVertexUVs", [0.25, 0.5, 1, 2, -3, 4])
    Recorder.indices("getFaces", [2, 0, 1])
    lines = export_mesh
    assert_includes lines, "SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [-3,4 0.25,0.5 1,2] [2 0 1]"
    assert_empty lines.grep(/getNumCornerUVs|getFaceUVIndices/)
  end

  def test_uvs_per_vertex_beyond_the_table
    Recorder.floats("getVertexUVs", [0, 0, 0, 0, 0, 0])
    Recorder.indices("getFaces", [0, 1, 3])
    assert_fails("Mesh has not been created") { export_mesh }
  end

  def test_uvs_per_corner
    Recorder.answer("hasCornerUVs", 1)
    Recorder.answer("getNumCornerUVs", 4)
    Recorder.floats("getUV", [9, 9, 0.5, 0.25, 1, 0, 0, 1])
    Recorder.indices("getFaceUVIndices", [3, 1, 2])
    lines = export_mesh
    from = lines.index("depot1.mesh0.hasCornerUVs")
    assert_equal ["depot1.mesh0.hasCornerUVs", "depot1.mesh0.getNumCornerUVs", "depot1.mesh0.getNumFaceSets"],
                 lines[from..from + 2]
    from = lines.index("depot1.mesh0.getFaceUVIndices 0")
    assert_log <<~LOG, lines[from..from + 5]
      depot1.mesh0.getFaceUVIndices 0
      depot1.mesh0.getUV 3
      depot1.mesh0.getUV 1
      depot1.mesh0.getUV 2
      SUGeometryInputAddFace geometry1 loop1
      SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,1 0.5,0.25 1,0] [0 1 2]
    LOG
  end

  def test_corner_uvs_that_are_none_leave_the_vertex_uvs_aside
    Recorder.answer("hasCornerUVs", 1)
    Recorder.floats("getVertexUVs", [1, 1, 1, 1, 1, 1])
    lines = export_mesh
    assert_includes lines, "SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,0] [0 1 2]"
    assert_empty lines.grep(/getVertexUVs|getFaceUVIndices/)
  end

  def test_without_uvs_the_count_is_one
    assert_includes export_mesh, "SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,0] [0 1 2]"
  end

  def test_both_sides_only_for_true_itself
    set(apply_materials_both_sides?: true)
    lines = export_mesh
    assert_equal ["SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,0] [0 1 2]",
                  "SUGeometryInputFaceSetBackMaterial geometry1 100 material1 [0,0] [0 1 2]"],
                 lines.grep(/SUGeometryInputFaceSet/)
    [1, "true", nil].each do |answer|
      set(apply_materials_both_sides?: answer)
      assert_empty export_mesh.grep(/SetBackMaterial/)
    end
  end

  def test_faces_without_material
    make_two_faces
    lines = export_mesh([nil, "Blue"])
    assert_equal 2, lines.grep(/AddFace/).size
    assert_equal ["SUGeometryInputFaceSetFrontMaterial geometry1 101 material1 [0,0] [2 3 0]"],
                 lines.grep(/SUGeometryInputFaceSet/)
  end

  def test_a_face_set_beyond_the_names_is_no_material
    make_two_faces
    assert_equal 1, export_mesh(["Red"]).grep(/SUGeometryInputFaceSet/).size
    Recorder.indices("getFaceSetOfFace", [0xFFFFFFFF, 2])
    start
    assert_empty export_mesh(%w[Red Blue]).grep(/SUGeometryInputFaceSet/)
  end

  def test_without_face_sets_the_first_material_is_that_of_all_faces
    make_two_faces
    Recorder.answer("getNumFaceSets", 0)
    lines = export_mesh(%w[Red Blue])
    assert_empty lines.grep(/getFaceSetOfFace/)
    assert_equal %w[material1 material1], lines.grep(/SUGeometryInputFaceSet/).map { |line| line.split[3] }
  end

  def test_edge_flags
    256.times do |flags|
      start
      Recorder.indices("getFaceEdgeFlags", [flags, 0, 0x22])
      soft = (flags & 0x22).zero?
      assert_equal ["SULoopInputEdgeSetSoft loop1 0 #{soft}", "SULoopInputEdgeSetSmooth loop1 0 #{soft}",
                    "SULoopInputEdgeSetSoft loop1 1 true", "SULoopInputEdgeSetSmooth loop1 1 true",
                    "SULoopInputEdgeSetSoft loop1 2 false", "SULoopInputEdgeSetSmooth loop1 2 false"],
                   export_mesh([]).grep(/EdgeSet/)
    end
  end

  # One hard edge, at each of the three places.
  def test_each_flag_is_of_its_own_edge
    3.times do |hard|
      start
      Recorder.indices("getFaceEdgeFlags", Array.new(3) { |edge| edge == hard ? 0x02 : 0xDD })
      soft = Array.new(3) { |edge| edge != hard }
      assert_equal soft.each_with_index.map { |answer, edge| "SULoopInputEdgeSetSoft loop1 #{edge} #{answer}" },
                   export_mesh([]).grep(/EdgeSetSoft/)
    end
  end

  def test_a_single_face_set_is_asked_for
    Recorder.answer("getNumFaceSets", 1)
    Recorder.indices("getFaceSetOfFace", [1])
    lines = export_mesh(%w[Red Blue])
    assert_includes lines, "depot1.mesh0.getFaceSetOfFace 0"
    assert_equal %w[material2], lines.grep(/SUGeometryInputFaceSet/).map { |line| line.split[3] }
  end

  def test_a_clear_while_materials_are_made
    importer.define_singleton_method(:material_exported) { |*| clear_balancer }
    assert_fails("Mesh has not been created") { export_mesh }
    refute_dead_calls
  end

  # The angle rule.

  def turned(degrees)
    angle = degrees * Math::PI / 180
    [[0, 0, 1], [Math.sin(angle), 0, Math.cos(angle)]]
  end

  def soften(threshold = 0.5, recurse = nil)
    set(soften_edges?: true, smooth_angle: threshold)
    export(node("root", mesh: 0), recurse)
    log
  end

  def test_the_angle_rule_call_by_call
    SketchupRecorder.add_edge(2, turned(10))
    SketchupRecorder.add_edge(2, turned(40))
    lines = soften
    assert_log <<~LOG, lines[lines.index("importer.soften_edges?")...lines.index("importer.importing_external_file?")]
      importer.soften_edges?
      importer.smooth_angle true
      SUEntitiesGetNumEdges model1.entities false
      SUEntitiesGetEdges model1.entities false 2
      SUEdgeGetNumFaces edge1
      SUEdgeGetFaces edge1 2
      SUFaceGetNormal face1
      SUFaceGetNormal face2
      SUEdgeSetSmooth edge1 true
      SUEdgeSetSoft edge1 true
      SUEdgeGetNumFaces edge2
      SUEdgeGetFaces edge2 2
      SUFaceGetNormal face3
      SUFaceGetNormal face4
      SUEdgeSetSmooth edge2 false
      SUEdgeSetSoft edge2 false
    LOG
  end

  def test_edges_of_other_counts_stay
    [0, 1, 3, 4].each { |faces| SketchupRecorder.add_edge(faces) }
    lines = soften
    assert_equal 4, lines.grep(/SUEdgeGetNumFaces/).size
    assert_empty lines.grep(/SUEdgeSet|SUEdgeGetFaces/)
  end

  def smooth_at(normals, threshold)
    start
    SketchupRecorder.add_edge(2, normals)
    lines = soften(threshold).grep(/SUEdgeSet/)
    assert_equal 2, lines.size
    assert_equal 1, lines.map { |line| line.split.last }.uniq.size
    lines.first.end_with?("true")
  end

  def test_the_threshold_is_part_of_the_smooth_angles
    assert smooth_at(turned(0), 0)
    refute smooth_at(turned(1), 0)
    right_angle = [[0, 0, 1], [1, 0, 0]]
    assert smooth_at(right_angle, MirelTest.angle_between(*right_angle))
    refute smooth_at(right_angle, MirelTest.angle_between(*right_angle).prev_float)
    assert smooth_at(turned(40), 1)
    refute smooth_at(turned(0), -1)
  end

  def test_an_angle_that_is_no_number_is_smooth
    assert smooth_at([[0, 0, 0], [0, 0, 1]], 0)
    assert smooth_at([[0, 0, 0], [0, 0, 0]], -1)
    # Rounding takes the cosine of these parallel vectors beyond 1.
    assert smooth_at(self.class.rounding_vectors, -1)
  end

  # A pair of parallel vectors whose cosine comes out above 1.
  def self.rounding_vectors
    random = Random.new(1)
    10_000.times do
      vector = Array.new(3) { random.rand }
      pair = [vector, vector.map { |component| component * 3.7 }]
      return pair if MirelTest.angle_between(*pair).nan?
    end
    raise "no such vector"
  end

  def test_a_threshold_that_is_no_number
    assert_raises(TypeError) { soften("1") }
    assert_raises(TypeError) { soften(nil) }
  end

  def test_soften_edges_only_for_true_itself
    [1, nil, "true"].each do |answer|
      set(soften_edges?: answer)
      export(node("root", mesh: 0), nil)
      assert_empty log.grep(/smooth_angle|SUEntitiesGetNumEdges/)
    end
  end

  def test_a_host_that_cannot_repair_models
    assert_equal false, MirelTest.fix_errors
    assert_empty log
  end

  def test_angles
    assert_in_delta Math::PI / 2, MirelTest.angle_between([1, 0, 0], [0, 5, 0]), 1e-15
    assert_in_delta Math::PI, MirelTest.angle_between([2, 0, 0], [-3, 0, 0]), 1e-7
    assert_in_delta Math::PI / 4, MirelTest.angle_between([1, 0, 0], [7, 7, 0]), 1e-7
    assert_equal 0.0, MirelTest.angle_between([0, 0, 1], [0, 0, 1])
    assert_predicate MirelTest.angle_between([0, 0, 0], [1, 0, 0]), :nan?
  end

  def test_the_root_is_taken_once
    # The product of the squared lengths overflows, which two roots would not.
    assert_in_delta Math::PI / 2, MirelTest.angle_between([1e200, 0, 0], [1, 0, 0]), 1e-9
  end

  # The smaller helpers.

  def test_errors_are_runtime_errors
    assert_fails("Failed to Create Model") { MirelTest.raise_export_error("Failed to Create Model") }
  end

  def test_sketchup_strings
    ["", "plain", "Grüße", "日本語", "x" * 10_000].each do |text|
      result = MirelTest.sketchup_string(text)
      assert_equal text, result
      assert_equal Encoding::UTF_8, result.encoding
    end
    broken = MirelTest.sketchup_string("\xFF")
    assert_equal ["\xFF", false], [broken, broken.valid_encoding?]
  end

  def test_sketchup_strings_under_gc_stress
    GC.stress = true
    result = MirelTest.sketchup_string("Grüße")
    GC.stress = false
    assert_equal "Grüße", result
  ensure
    GC.stress = false
  end

  def test_the_walk_returns_0
    shared = node("Shared", mesh: 0)
    [true, 1, nil].each do |recurse|
      assert_equal 0, MirelTest.export_entities(importer, node("root", mesh: 0, children: [child(shared)]), recurse)
    end
    assert_equal 0, MirelTest.export_entities(importer, node("bare"), true)
  end

  def test_sketchup_strings_call_by_call
    MirelTest.sketchup_string("text")
    assert_log <<~LOG
      SUStringCreateFromUTF8 "text"
      SUStringGetUTF8Length "text"
      SUStringGetUTF8 "text" 5
      SUStringRelease "text"
    LOG
  end

  def test_a_sketchup_string_that_cannot_be_read_is_empty
    SketchupRecorder.fail_function("SUStringGetUTF8Length")
    SketchupRecorder.fail_function("SUStringGetUTF8")
    assert_equal "", MirelTest.invalid_sketchup_string
  end

  def test_transformations
    values = (1..16).map { |value| value * 0.1 }
    assert_equal values, MirelTest.transform_of(Struct.new(:to_a).new(values))
    assert_raises(TypeError) { MirelTest.transform_of(Struct.new(:to_a).new(values.first(15))) }
  end
end
