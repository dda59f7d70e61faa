# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "fbx_test"

# The conversion of one FBX mesh: points, faces and face sets, UVs, normals.
class FbxMeshTest < FbxTest
  # The calls on the mesh and the console lines between the first point and the end of the conversion.
  def convert(file)
    lines = import_scene(file)
    first = lines.index("depot1.getMesh 0") + 1
    last = lines.index { |line| line.start_with?("importer.add_mesh") }
    lines[first...last]
  end

  # The log of a square on a node with so many materials, the first of them textured where that is wanted.
  def convert_square(materials: 0, textured: false, **elements)
    file = FbxFile.new
    slots = Array.new(materials) { |number| file.material("m#{number}") }
    file.texture("paint", on: slots.first) if textured
    file.node("a", mesh: square(file, **elements), materials: slots)
    convert(file)
  end

  # The mesh's calls of those names, without its own.
  def only(lines, *names)
    lines.map { |line| line.delete_prefix("depot1.mesh0.") }.select { |line| names.include?(line[/\A\w+(?= )/]) }
  end

  # What makes the faces and says which sets they are in.
  def face_calls(lines) = only(lines, "setNumFaceSets", "setCurrentFaceSet", "addFace")
  def puts_of(lines) = lines.grep(/\AKernel/).map { |line| line[/"(.*)"/, 1] }

  CORNER_UVS = [[0, 0], [1, 0], [0, 1], [0.5, 0.25], [0.75, 0.125], [2, -1]].freeze
  POINT_UVS = [[0, 0], [1, 0], [0, 1], [0.5, 0.25]].freeze
  POINT_NORMALS = [[0, 0, 1], [0, 1, 0], [1, 0, 0], [0, 0, -1]].freeze
  CORNER_NORMALS = [[0, 0, 1], [0, 1, 0], [1, 0, 0], [0, 0, -1], [0, -1, 0], [-1, 0, 0]].freeze
  ONE_SET = ["AllSame", "IndexToDirect", nil, [0]].freeze

  def test_points_are_narrowed_to_floats
    file = FbxFile.new
    file.node("a", mesh: file.mesh("m", points: [[0.1, 1e10, -3], [1, 0, 0], [0, 1, 0]], polygons: [[0, 1, 2]]))
    assert_equal "depot1.mesh0.addVertex 0.100000001 1e+10 -3", convert(file).first
  end

  def test_points_that_no_polygon_uses_are_kept
    file = FbxFile.new
    file.node("a", mesh: file.mesh("m", points: POINTS + [[9, 9, 9]], polygons: [[3, 1, 0]]))
    lines = convert(file)
    assert_equal 5, only(lines, "addVertex").size
    assert_equal ["addFace 3 1 0"], only(lines, "addFace")
  end

  # -- face sets

  def test_no_layers
    lines = convert_square(materials: 2)
    assert_includes puts_of(lines), "Mesh has no layers"
    assert_equal ["setNumFaceSets 2", "setCurrentFaceSet 0", "addFace 0 1 2", "addFace 2 1 3"],
                 face_calls(lines)
  end

  def test_a_layer_without_materials
    lines = convert_square(materials: 1, normals: ["ByControlPoint", "Direct", POINT_NORMALS])
    assert_includes puts_of(lines), "Mesh has no material layer"
    assert_equal ["setCurrentFaceSet 0"], only(lines, "setCurrentFaceSet")
  end

  def convert_with_materials(element, count: 3, **elements)
    file = FbxFile.new
    slots = Array.new(count) { |number| file.material("m#{number}") }
    file.node("a", mesh: square(file, materials: element, **elements), materials: slots)
    convert(file)
  end

  def test_all_faces_in_the_set_that_all_same_names
    lines = convert_with_materials(["AllSame", "IndexToDirect", nil, [2]])
    assert_equal ["setNumFaceSets 3", "setCurrentFaceSet 2", "addFace 0 1 2", "addFace 2 1 3"],
                 face_calls(lines)
    refute_includes puts_of(lines), "Unsupported Material Mapping mode"
  end

  def test_a_set_for_each_polygon
    lines = convert_with_materials(["ByPolygon", "IndexToDirect", nil, [1, 0]])
    assert_equal ["setNumFaceSets 3", "setCurrentFaceSet 1", "addFace 0 1 2", "setCurrentFaceSet 0", "addFace 2 1 3"],
                 face_calls(lines)
  end

  def test_triangles_of_a_polygon_have_its_set
    file = FbxFile.new
    mesh = file.mesh("m", points: POINTS + [[2, 0, 0]], polygons: [[0, 1, 3, 2], [1, 4, 3]],
                          materials: ["ByPolygon", "IndexToDirect", nil, [1, 0]])
    file.node("a", mesh: mesh, materials: [file.material("x"), file.material("y")])
    sets = only(convert(file), "setCurrentFaceSet").map { |line| line[/\d+\z/].to_i }
    assert_equal [1, 1, 0], sets
  end

  # Deliberate: the line is printed, and the indices are used as if they were by polygon.
  def test_materials_by_polygon_vertex
    lines = convert_with_materials(["ByPolygonVertex", "IndexToDirect", nil, [2, 1, 0, 0, 0, 0]])
    assert_equal 1, puts_of(lines).count("Unsupported Material Mapping mode")
    assert_log <<~LOG, only(lines, "setCurrentFaceSet", "addFace")
      setCurrentFaceSet 2
      addFace 0 1 2
      setCurrentFaceSet 1
      addFace 2 1 3
    LOG
  end

  def test_indices_beyond_the_number_of_sets_are_passed_on
    lines = convert_with_materials(["ByPolygon", "IndexToDirect", nil, [7, 5]], count: 1)
    assert_equal ["setCurrentFaceSet 7", "setCurrentFaceSet 5"], only(lines, "setCurrentFaceSet")
  end

  def test_missing_indices_are_set_0
    lines = convert_with_materials(["ByPolygon", "IndexToDirect", nil, [1]])
    assert_equal ["setCurrentFaceSet 1", "setCurrentFaceSet 0"], only(lines, "setCurrentFaceSet")
  end

  def test_a_node_without_materials
    lines = convert_with_materials(["ByPolygon", "IndexToDirect", nil, [1, 0]], count: 0,
                                   uvs: ["ByPolygonVertex", "Direct", CORNER_UVS])
    assert_log <<~LOG, only(lines, "setNumFaceSets", "setCurrentFaceSet")
      setNumFaceSets 0
      setCurrentFaceSet 1
      setCurrentFaceSet 0
    LOG
    # And no UVs, whatever is wanted.
    assert_empty lines.grep(/UV|uvs/)
  end

  # -- polygons that are no triangles

  def test_a_polygon_that_is_no_triangle_is_passed_over
    file = FbxFile.new
    mesh = file.mesh("m", points: POINTS, polygons: [[0, 1, 3, 2], [0, 1, 2], [2, 1, 3, 0], [1, 3, 2]],
                          materials: ["ByPolygon", "IndexToDirect", nil, [0, 1, 2, 3]],
                          normals: ["ByPolygonVertex", "Direct", Array.new(14) { |at| [at, 0, 0] }])
    file.node("a", mesh: mesh)
    assert_equal true, MirelTest.open_fbx(write(file))
    importer.init_mesh_depot
    clear_log
    assert_equal 0, MirelTest.add_mesh_of("a", importer)
    lines = log
    assert_equal 2, lines.count('Kernel.puts "Warning! Polygon has not been triagulated! Skipping polygon"')
    assert_log <<~LOG, only(lines, "addFace", "setCurrentFaceSet")
      setCurrentFaceSet 1
      addFace 0 1 2
      setCurrentFaceSet 3
      addFace 1 3 2
    LOG
    # Attributes go by the polygon's number, which is no longer the face's.
    assert_equal (0..3).map { |polygon| "setFaceNormalIndices #{polygon}" },
                 only(lines, "setFaceNormalIndices").map { |line| line.split[0, 2].join(" ") }
    assert_equal %w[0 1 2 4 5 6 7 8 9 11 12 13], only(lines, "addNormal").map { |line| line.split[1] }
  end

  # -- UVs

  def test_uvs_are_asked_for_once_and_only_with_materials
    lines = convert_square(materials: 2, uvs: ["ByPolygonVertex", "Direct", CORNER_UVS])
    assert_equal 1, lines.count("importer.maintain_uvs?")
    assert_equal 1, lines.count("importer.apply_uv_texture?")
  end

  def test_uvs_that_are_not_wanted
    [false, nil, 1, "true"].each do |answer|
      refute_includes unwanted(:uvs, answer), "importer.apply_uv_texture?"
    end
  end

  def test_no_uvs_in_the_layer
    lines = convert_square(materials: 1, normals: ["ByControlPoint", "Direct", POINT_NORMALS])
    assert_includes puts_of(lines), "Mesh Layer 0 does not have any UV data!"
  end

  def test_no_layer_is_no_line_about_uvs
    lines = convert_square(materials: 1)
    assert_equal ["Mesh has no layers"], puts_of(lines)
    assert_includes lines, "importer.apply_uv_texture?"
  end

  def test_uvs_by_control_point_direct
    Recorder.answer("getNumVertices", 4)
    lines = convert_square(materials: 1, uvs: ["ByControlPoint", "Direct", POINT_UVS])
    assert_includes lines, "depot1.mesh0.setVertexUVs 4 8 [0 0 1 0 0 1 0.5 0.25]"
    assert_empty only(lines, "addUV", "getFaceSetOfFace")
  end

  # Not only the textured ones: by control point every face has UVs.
  def test_uvs_by_control_point_index_to_direct
    lines = convert_square(materials: 1, uvs: ["ByControlPoint", "IndexToDirect", [[0, 0], [1, 0.5]], [1, 0, 1, 0]])
    assert_log <<~LOG, only(lines, "addUVs", "setFaceUVIndices")
      addUVs 2 [0 0 1 0.5]
      setFaceUVIndices 0 1 0 1
      setFaceUVIndices 1 1 0 0
    LOG
    assert_empty only(lines, "getFaceSetOfFace")
  end

  def test_uvs_by_polygon_vertex_direct
    importer.apply_uv_texture = true
    lines = convert_square(materials: 1, uvs: ["ByPolygonVertex", "Direct", CORNER_UVS])
    assert_log <<~LOG, only(lines, "addUV", "setFaceUVIndices", "getFaceSetOfFace")
      getFaceSetOfFace 0
      addUV 0 0
      addUV 1 0
      addUV 0 1
      setFaceUVIndices 0 3000 3001 3002
      getFaceSetOfFace 1
      addUV 0.5 0.25
      addUV 0.75 0.125
      addUV 2 -1
      setFaceUVIndices 1 3003 3004 3005
    LOG
  end

  # Three for each face, shared by none.
  def test_uvs_by_polygon_vertex_index_to_direct
    importer.apply_uv_texture = true
    lines = convert_square(materials: 1, uvs: ["ByPolygonVertex", "IndexToDirect", [[0, 0], [1, 0.5]], [1, 0, 1, 1, 1, 0]])
    assert_log <<~LOG, only(lines, "addUV", "setFaceUVIndices")
      addUV 1 0.5
      addUV 0 0
      addUV 1 0.5
      setFaceUVIndices 0 3000 3001 3002
      addUV 1 0.5
      addUV 1 0.5
      addUV 0 0
      setFaceUVIndices 1 3003 3004 3005
    LOG
  end

  # Two materials, the first textured; the first face has the first.
  def convert_half_textured
    file = FbxFile.new
    slots = [file.material("textured"), file.material("plain")]
    file.texture("paint", on: slots.first)
    mesh = square(file, materials: ["ByPolygon", "IndexToDirect", nil, [0, 1]],
                        uvs: ["ByPolygonVertex", "Direct", CORNER_UVS])
    file.node("a", mesh: mesh, materials: slots)
    Recorder.indices("getFaceSetOfFace", [0, 1])
    convert(file)
  end

  def test_faces_without_texture_get_no_uvs
    lines = convert_half_textured
    assert_equal ["setFaceUVIndices 0 3000 3001 3002"], only(lines, "setFaceUVIndices")
    assert_equal 3, only(lines, "addUV").size
  end

  def test_all_faces_get_uvs_where_the_texture_is_for_all
    importer.apply_uv_texture = true
    assert_equal 2, only(convert_half_textured, "setFaceUVIndices").size
  end

  def test_only_true_is_yes
    importer.apply_uv_texture = 1
    assert_equal 1, only(convert_half_textured, "setFaceUVIndices").size
  end

  def test_a_face_set_beyond_the_materials_has_no_texture
    Recorder.answer("getFaceSetOfFace", 99)
    lines = convert_square(materials: 1, textured: true, uvs: ["ByPolygonVertex", "Direct", CORNER_UVS])
    assert_empty only(lines, "addUV")
  end

  def test_uvs_of_a_further_layer_are_not_read
    first = ["ByPolygonVertex", "Direct", CORNER_UVS]
    second = ["ByPolygonVertex", "Direct", CORNER_UVS.reverse]
    lines = convert_square(materials: 1, textured: true, uvs: [first, second])
    assert_equal ["addUV 0 0", "addUV 1 0"], only(lines, "addUV").first(2)
    assert_equal 6, only(lines, "addUV").size
  end

  def test_indices_of_uvs_beyond_the_array_leave_their_face_without
    lines = convert_square(materials: 1, textured: true,
                           uvs: ["ByPolygonVertex", "IndexToDirect", [[0, 0], [1, 0.5]], [1, 0, 7, 1, 1, 0]])
    refute_empty only(lines, "setFaceUVIndices")
    assert(only(lines, "addUV").all? { |line| ["addUV 0 0", "addUV 1 0.5"].include?(line) })
  end

  # -- normals

  def test_normals_are_asked_for_once_even_without_materials
    lines = convert_square
    assert_equal 1, lines.count("importer.maintain_normals?")
    refute_includes lines, "importer.maintain_uvs?"
  end

  def test_normals_that_are_not_wanted
    [false, nil, 1].each { |answer| unwanted(:normals, answer) }
  end

  def test_no_normals_in_the_layer
    lines = convert_square(materials: 1, uvs: ["ByControlPoint", "IndexToDirect", POINT_UVS, [0, 1, 2, 3]])
    assert_includes puts_of(lines), "Mesh Layer 0 does not have any Normal data!"
  end

  def test_normals_by_control_point_direct
    Recorder.answer("getNumVertices", 4)
    lines = convert_square(normals: ["ByControlPoint", "Direct", POINT_NORMALS])
    assert_includes lines, "depot1.mesh0.setVertexNormals 4 12 [0 0 1 0 1 0 1 0 0 0 0 -1]"
  end

  def test_normals_by_control_point_index_to_direct
    lines = convert_square(normals: ["ByControlPoint", "IndexToDirect", [[0, 0, 1], [1, 0, 0]], [1, 0, 1, 0]])
    assert_log <<~LOG, only(lines, "addNormals", "setFaceNormalIndices")
      addNormals 2 [0 0 1 1 0 0]
      setFaceNormalIndices 0 1 0 1
      setFaceNormalIndices 1 1 0 0
    LOG
  end

  def test_normals_by_polygon_vertex_direct
    lines = convert_square(normals: ["ByPolygonVertex", "Direct", CORNER_NORMALS])
    assert_log <<~LOG, only(lines, "addNormal", "setFaceNormalIndices")
      addNormal 0 0 1
      addNormal 0 1 0
      addNormal 1 0 0
      setFaceNormalIndices 0 2000 2001 2002
      addNormal 0 0 -1
      addNormal 0 -1 0
      addNormal -1 0 0
      setFaceNormalIndices 1 2003 2004 2005
    LOG
  end

  def test_normals_by_polygon_vertex_index_to_direct
    lines = convert_square(normals: ["ByPolygonVertex", "IndexToDirect", [[0, 0, 1], [1, 0, 0]], [1, 0, 0, 0, 1, 1]])
    assert_equal ["1 0 0", "0 0 1", "0 0 1", "0 0 1", "1 0 0", "1 0 0"],
                 only(lines, "addNormal").map { |line| line.split.drop(1).join(" ") }
  end

  # -- UVs and normals alike

  # The calls that take values, and a value for each point and for each corner.
  Attribute = Struct.new(:word, :calls, :points, :corners)
  ATTRIBUTES = {
    uvs: Attribute.new("UV", %w[addUV addUVs setVertexUVs setFaceUVIndices], POINT_UVS, CORNER_UVS),
    normals: Attribute.new("Normal", %w[addNormal addNormals setVertexNormals setFaceNormalIndices], POINT_NORMALS,
                           CORNER_NORMALS)
  }.freeze

  def unwanted(key, answer)
    setup
    importer.settings[:"maintain_#{key}?"] = answer
    attribute = ATTRIBUTES.fetch(key)
    lines = convert_square(materials: 1, textured: true, key => ["ByPolygonVertex", "Direct", attribute.corners])
    assert_empty only(lines, *attribute.calls), answer.inspect
    lines
  end

  ATTRIBUTES.each do |key, attribute|
    define_method("test_#{key}_by_control_point_that_do_not_match") do
      [3, 5].each do |count|
        setup
        Recorder.answer("getNumVertices", count)
        lines = convert_square(materials: 1, key => ["ByControlPoint", "Direct", attribute.points])
        assert_includes puts_of(lines),
                        "Error!! Number of #{attribute.word}s do not match the number of vertices currently in Balancer"
        assert_empty only(lines, *attribute.calls)
      end
    end

    define_method("test_#{key}_of_modes_that_are_not_supported") do
      %w[ByPolygon ByEdge AllSame].each do |mapping|
        setup
        lines = convert_square(materials: 1, textured: true, key => [mapping, "Direct", attribute.corners])
        assert_includes puts_of(lines), "Unsupported #{attribute.word} Mapping mode", mapping
        assert_empty only(lines, *attribute.calls)
      end
    end

    define_method("test_#{key}_by_index") do
      { "ByControlPoint" => attribute.points, "ByPolygonVertex" => attribute.corners }.each do |mapping, values|
        setup
        lines = convert_square(materials: 1, textured: true, key => [mapping, "Index", values, [*0...values.size]])
        assert_equal 1, puts_of(lines).count("Unsupported Reference Mode for #{mapping} mapping mode")
        assert_empty only(lines, *attribute.calls)
      end
    end
  end

  # -- the depot

  def test_a_depot_that_makes_no_mesh
    Recorder.answer("createMesh", 0xFFFFFFFF)
    file = FbxFile.new
    file.node("a", mesh: triangle(file), materials: [file.material("red")])
    lines = import_scene(file)
    after = lines.drop(lines.index("depot1.createMesh"))
    # The index of a first mesh all the same.
    assert_log <<~LOG, after.first(3)
      depot1.createMesh
      Kernel.puts "Error: Mesh could not been created."
      importer.add_mesh "K-#triangle" 0 #triangle
    LOG
  end

  def test_a_mesh_that_the_depot_does_not_give
    Recorder.answer("getMesh", 0)
    file = FbxFile.new
    file.node("a", mesh: triangle(file))
    lines = import_scene(file)
    assert_includes lines, 'Kernel.puts "Error: Mesh has not been created."'
    assert_empty lines.grep(/addVertex/)
  end

  def test_meshes_have_indices_of_their_own
    file = FbxFile.new
    3.times { |number| file.node("a", mesh: triangle(file, "m#{number}")) }
    assert_equal [0, 1, 2], import_scene(file).grep(/importer\.add_mesh/).map { |line| line.split[2].to_i }
  end

  # -- old files

  def test_a_mesh_of_the_old_object_model
    importer.apply_uv_texture = true
    file = FbxFile.new(version: 6100)
    mesh = square(file, materials: ["ByPolygon", "IndexToDirect", nil, [1, 0]],
                        uvs: ["ByPolygonVertex", "IndexToDirect", POINT_UVS, [0, 1, 2, 2, 1, 3]],
                        normals: ["ByPolygonVertex", "Direct", CORNER_NORMALS])
    file.node("a", mesh: mesh, materials: [file.material("x"), file.material("y")])
    lines = convert(file)
    assert_log <<~LOG, only(lines, "addFace", "setNumFaceSets", "setCurrentFaceSet", "setFaceUVIndices", "setFaceNormalIndices")
      setNumFaceSets 2
      setCurrentFaceSet 1
      addFace 0 1 2
      setCurrentFaceSet 0
      addFace 2 1 3
      setFaceUVIndices 0 3000 3001 3002
      setFaceUVIndices 1 3003 3004 3005
      setFaceNormalIndices 0 2000 2001 2002
      setFaceNormalIndices 1 2003 2004 2005
    LOG
  end
end
