# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"
require "scenarios"

# get_triangles, get_points, get_mesh_bounds, get_uvs, get_remapped_mesh, and the matrices behind them.
class ReadbackTest < Conformance::Test
  NONE = Recorder::NULL_INDEX
  IDENTITY = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1].freeze
  MISSING_MESH = 'Kernel.puts "Error: Mesh has not been created."'
  MISSING_DEPOT = 'Kernel.puts "Error: MeshDepot has not been created."'

  # A square of two triangles with five vertices: vertex 3 repeats vertex 1.
  POSITIONS = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [1, 0, 0], [0, 1, 0.5]].freeze

  def setup
    super
    make_depot
    MirelTest.init_mesh
    Recorder.floats("getVertices", POSITIONS.flatten)
    Recorder.answer("getNumVertices", 5)
    Recorder.remap("getVertexRemap", [0, 1, 2, 1, 3])
    Recorder.indices("getVertexRemap.0", [0, 1, 2, 1, 4])
    faces([0, 1, 2], [3, 4, 2])
    %i[triangles lines mesh_points].each { |name| importer.instance_variable_set("@#{name}", []) }
    clear_log
  end

  def faces(*triangles)
    Recorder.indices("getFaces", triangles.flatten)
    Recorder.answer("getNumFaces", triangles.size)
  end

  # A list of triangles per set; nil for a set without face table.
  def face_sets(*sets)
    Recorder.answer("getNumFaceSets", sets.size)
    sets.each_with_index do |triangles, set|
      Recorder.indices("getFaceSetFaces.#{set}", triangles&.flatten)
      Recorder.answer("numFacesInSet.#{set}", triangles ? triangles.size : 1)
    end
    faces(*sets.compact.flatten(1))
  end

  def uvs(*entries, remap: nil)
    Recorder.floats("getVertexUVs", entries.flatten)
    Recorder.answer("hasVertexUVs", 1)
    Recorder.remap("getUVRemap", remap || entries.each_index.to_a)
  end

  def triangles = importer.instance_variable_get(:@triangles)
  def lines = importer.instance_variable_get(:@lines)
  def points = importer.instance_variable_get(:@mesh_points)
  def remapped = %i[points uvs face_sets].map { |name| importer.instance_variable_get("@remapped_#{name}") }
  def position(vertex) = POSITIONS[vertex].map(&:to_f)
  def single(value) = [value].pack("f").unpack1("f")

  # --- get_triangles

  def test_triangles_of_a_mesh_without_face_sets
    importer.get_triangles(0, IDENTITY)
    assert_equal [[0, 1, 2, 3, 4, 2].map { |vertex| position(vertex) }], triangles
    assert_equal [0, 1, 1, 2, 2, 0, 3, 4, 4, 2, 2, 3].map { |vertex| position(vertex) }, lines
    assert_empty points
    assert_log <<~LOG
      depot1.getMesh 0
      depot1.mesh0.getVertices
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaces
    LOG
  end

  def test_triangles_of_face_sets
    face_sets([[0, 1, 2]], [[3, 4, 2], [2, 1, 0]])
    importer.get_triangles(0, IDENTITY)
    assert_equal [[0, 1, 2], [3, 4, 2, 2, 1, 0]].map { |set| set.map { |vertex| position(vertex) } }, triangles
    assert_equal 18, lines.size
    assert_log <<~LOG
      depot1.getMesh 0
      depot1.mesh0.getVertices
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.getFaceSetFaces 0
      depot1.mesh0.numFacesInSet 0
      depot1.mesh0.getFaceSetFaces 1
      depot1.mesh0.numFacesInSet 1
    LOG
  end

  def test_a_triangle_gives_3_points_to_its_set_and_6_to_the_lines
    faces([0, 1, 2])
    importer.get_triangles(0, IDENTITY)
    assert_equal [3, 6], [triangles[0].size, lines.size]
    assert_equal [Float] * 27, (triangles[0] + lines).flatten.map(&:class)
  end

  def test_a_set_without_face_table_shifts_the_later_ones
    face_sets([[0, 1, 2]], nil, [[3, 4, 2]])
    importer.get_triangles(0, IDENTITY)
    assert_equal [[0, 1, 2], [3, 4, 2]].map { |set| set.map { |vertex| position(vertex) } }, triangles
  end

  def test_an_empty_set_is_an_entry
    face_sets([[0, 1, 2]], [[3, 4, 2]])
    Recorder.answer("numFacesInSet.0", 0)
    importer.get_triangles(0, IDENTITY)
    assert_equal [[], [3, 4, 2].map { |vertex| position(vertex) }], triangles
  end

  def test_a_mesh_without_faces_adds_nothing
    Recorder.indices("getFaces", nil)
    importer.get_triangles(0, IDENTITY)
    assert_equal [[], []], [triangles, lines]
  end

  def test_corner_and_first_point_of_an_edge_are_one_object
    importer.get_triangles(0, IDENTITY)
    6.times { |place| assert_same triangles[0][place], lines[2 * place] }
    shared = triangles[0].map(&:object_id)
    6.times { |place| refute_includes shared, lines[2 * place + 1].object_id }
    assert_equal 12, lines.map(&:object_id).uniq.size
    triangles[0][1][0] = 99.0
    assert_equal 99.0, lines[2][0]
    assert_equal 1.0, lines[1][0]
  end

  def test_arrays_are_appended_to_and_never_emptied
    2.times { importer.get_triangles(0, IDENTITY) }
    assert_equal [2, 24], [triangles.size, lines.size]
    assert_equal triangles[0], triangles[1]
    refute_same triangles[0], triangles[1]
  end

  def test_the_preview_references_name_the_importer_s_arrays
    importer.instance_variable_set(:@mesh_points, "anything")
    importer.get_triangles(0, IDENTITY)
    [triangles, lines, points].zip(MirelTest.preview) { |mine, reference| assert_same mine, reference }
  end

  def test_the_references_are_set_before_the_arguments_are_read
    MirelTest.preview = [nil] * 5
    assert_raises(TypeError) { importer.get_triangles(nil, IDENTITY) }
    assert_same triangles, MirelTest.preview[0]
  end

  def test_the_transform_is_read_before_the_index
    %i[get_triangles get_points].each do |method|
      Events.reset
      clear_log
      index = Scenarios::Number.new(0)
      importer.public_send(method, index, IDENTITY[0, 15] + [Scenarios::MatrixEntry.new(1)])
      assert_equal ["entry.to_f", "number.to_int", "depot1.getMesh 0"], log.first(3)
    end
  end

  def test_transform_is_column_major
    transform = [0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 2, 0, 10, 20, 30, 1]
    importer.get_triangles(0, transform)
    assert_equal [[10.0, 20.0, 30.0], [10.0, 21.0, 30.0], [9.0, 21.0, 30.0]], triangles[0][0, 3]
    assert_equal [9.0, 20.0, 31.0], triangles[0][4]
  end

  def test_identity_reproduces_the_coordinates_as_floats
    Recorder.floats("getVertices", [0.1, 1e-7, 16_777_217, -0.3, 1e30, 3, 1.0 / 3, 2.0 / 3, -1e-30])
    faces([0, 1, 2])
    importer.get_triangles(0, IDENTITY)
    assert_equal [0.1, 1e-7, 16_777_217, -0.3, 1e30, 3, 1.0 / 3, 2.0 / 3, -1e-30].map { |value| single(value) },
                 triangles[0].flatten
  end

  def test_the_bottom_row_changes_nothing
    transform = [2, 0.5, 0, 0, 0, 3, 0.25, 0, 1, 0, 4, 0, 5, 6, 7, 1]
    importer.get_triangles(0, transform)
    other = transform.each_with_index.map { |value, place| place % 4 == 3 ? 17.5 : value }
    importer.get_triangles(0, other)
    assert_equal triangles[0], triangles[1]
  end

  def test_every_mesh_of_the_depot_can_be_named
    MirelTest.init_mesh
    importer.get_triangles(1, IDENTITY)
    assert_includes log, "depot1.mesh1.getVertices"
  end

  def test_an_unknown_mesh
    [1, 7, 0xFFFFFFFF].each do |index|
      clear_log
      assert_equal [false] * 2, [importer.get_triangles(index, IDENTITY), importer.get_points(index, IDENTITY)]
      assert_equal false, importer.get_mesh_bounds(index)
      assert_equal [MISSING_MESH] * 3, log.grep(/Kernel/)
    end
    assert_equal [[], [], []], [triangles, lines, points]
  end

  def test_arguments_of_another_kind_raise
    [nil, "0", :zero, [0]].each do |index|
      assert_raises(TypeError) { importer.get_triangles(index, IDENTITY) }
      assert_raises(TypeError) { importer.get_points(index, IDENTITY) }
      assert_raises(TypeError) { importer.get_mesh_bounds(index) }
    end
    assert_raises(RangeError) { importer.get_triangles(2**64, IDENTITY) }
    [nil, [], IDENTITY[0, 15], IDENTITY[0, 15] + ["1"], [nil] * 16, "0" * 16, 1, { 0 => 1 }].each do |transform|
      assert_raises(TypeError) { importer.get_triangles(0, transform) }
      assert_raises(TypeError) { importer.get_points(0, transform) }
    end
    assert_equal [[], [], []], [triangles, lines, points]
  end

  def test_a_transform_may_hold_any_numbers_and_more_than_16
    importer.get_triangles(0, [2r, 0, 0, 0, 0, 2.0, 0, 0, 0, 0, 2, 0, 1, 1, 1, 1, nil])
    assert_equal [[1.0, 1.0, 1.0], [3.0, 1.0, 1.0], [3.0, 3.0, 1.0]], triangles[0][0, 3]
  end

  def test_arrays_that_are_none_raise
    [nil, "text", 7, {}].each do |value|
      %i[@triangles @lines].each do |name|
        kept = importer.instance_variable_get(name)
        importer.instance_variable_set(name, value)
        assert_raises(TypeError) { importer.get_triangles(0, IDENTITY) }
        importer.instance_variable_set(name, kept)
      end
      importer.instance_variable_set(:@mesh_points, value)
      assert_raises(TypeError) { importer.get_points(0, IDENTITY) }
    end
  end

  def test_what_was_appended_before_a_raise_stays
    face_sets([[0, 1, 2]], [[3, 4, 2]])
    triangles.freeze
    assert_raises(FrozenError) { importer.get_triangles(0, IDENTITY) }
    assert_equal [0, 1, 1, 2, 2, 0].map { |vertex| position(vertex) }, lines
    importer.instance_variable_set(:@triangles, [])
    lines.freeze
    assert_raises(FrozenError) { importer.get_triangles(0, IDENTITY) }
    assert_empty triangles
  end

  def test_faces_without_vertex_array_are_no_crash
    Recorder.floats("getVertices", nil)
    assert_equal false, importer.get_triangles(0, IDENTITY)
    assert_equal MISSING_MESH, log.last
    faces
    Recorder.indices("getFaces", [0])
    importer.get_triangles(0, IDENTITY)
    assert_equal [[]], triangles
  end

  # --- get_points

  def test_points_are_the_distinct_vertices
    importer.get_points(0, IDENTITY)
    assert_equal [0, 1, 2, 4].map { |vertex| position(vertex) }, points
    assert_equal [[], []], [triangles, lines]
    assert_log "depot1.getMesh 0\n#{REMAPPING_LOG}"
  end

  def test_points_stand_at_the_lowest_vertex_of_their_group
    Recorder.floats("getVertices", [9, 9, 9, 1, 0, 0, 1, 1, 0, 5, 5, 5, 7, 7, 7])
    Recorder.remap("getVertexRemap", [1, 0, 0, 1, 2])
    importer.get_points(0, [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.5, 0, 0, 1])
    assert_equal [[1.5, 0.0, 0.0], [9.5, 9.0, 9.0], [7.5, 7.0, 7.0]], points
  end

  def test_points_are_appended_and_the_reference_follows
    2.times { importer.get_points(0, IDENTITY) }
    assert_equal 8, points.size
    assert_equal 8, points.map(&:object_id).uniq.size
    assert_same points, MirelTest.preview[2]
  end

  def test_points_of_a_mesh_without_vertices
    Recorder.floats("getVertices", nil)
    importer.get_points(0, IDENTITY)
    assert_empty points
  end

  def test_points_need_an_array_from_the_first_vertex_on
    importer.instance_variable_set(:@mesh_points, nil)
    Recorder.answer("getNumVertices", 1)
    Recorder.remap("getVertexRemap", [0])
    assert_raises(TypeError) { importer.get_points(0, IDENTITY) }
    Recorder.answer("getVertexRemap.count", 0)
    assert_nil importer.get_points(0, IDENTITY)
  end

  # --- get_mesh_bounds

  def test_bounds
    Recorder.floats("getBoundingBox", [-1, -2, -3, 1, 2, 0.1])
    assert_kind_of Geom::BoundingBox, importer.get_mesh_bounds(0)
    high = single(0.1).inspect
    assert_log <<~LOG
      BoundingBox.new
      depot1.getMesh 0
      depot1.mesh0.getBoundingBox
      Point3d.new -1.0 -2.0 -3.0
      Point3d.new 1.0 2.0 #{high}
      BoundingBox.add Point3d(-1.0,-2.0,-3.0)
      BoundingBox.add Point3d(1.0,2.0,#{high})
    LOG
  end

  def test_bounds_of_a_mesh_that_has_none
    Recorder.floats("getBoundingBox", [1, 2, 3, 4, 5, 6])
    Recorder.answer("getBoundingBox", 0)
    assert_kind_of Geom::BoundingBox, importer.get_mesh_bounds(0)
    assert_log <<~LOG
      BoundingBox.new
      depot1.getMesh 0
      depot1.mesh0.getBoundingBox
    LOG
  end

  # --- get_uvs

  def test_uvs_are_one_list_pushed_once_per_face_set
    face_sets([[0, 1, 2]], [[3, 4, 2]], [[0, 1, 2]])
    uvs([0, 0], [1, 0], [1, 1], [0.25, 0.1], [0, 1])
    result = importer.get_uvs
    assert_equal 3, result.size
    result.each { |entry| assert_same result[0], entry }
    assert_equal [[0.0, 0.0, 1.0], [1.0, 0.0, 1.0], [1.0, 1.0, 1.0], [0.25, single(0.1), 1.0], [0.0, 1.0, 1.0],
                  [1.0, 1.0, 1.0], [0.0, 0.0, 1.0], [1.0, 0.0, 1.0], [1.0, 1.0, 1.0]], result[0]
    assert_equal [Float], result[0].flatten.map(&:class).uniq
    assert_log <<~LOG
      depot1.mesh0.getUVRemap 1
      depot1.mesh0.hasVertexUVs
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.numFacesInSet 0
      depot1.mesh0.numFacesInSet 1
      depot1.mesh0.numFacesInSet 2
    LOG
  end

  def test_uvs_walk_the_one_face_table
    face_sets([[0, 1, 2]], [[3, 4, 2]])
    Recorder.indices("getFaceSetFaces.0", nil)
    uvs([0, 0], [1, 0], [1, 1], [0.25, 0], [0, 1])
    assert_equal 6, importer.get_uvs[0].size
  end

  def test_uvs_of_a_mesh_without_uvs
    assert_equal [], importer.get_uvs
    assert_log <<~LOG
      depot1.mesh0.getUVRemap 1
      depot1.mesh0.hasVertexUVs
      Kernel.puts "Mesh has no vertex UVs!"
    LOG
  end

  def test_uvs_without_faces_or_face_sets
    uvs([0, 0], [1, 0], [1, 1], [0.25, 0], [0, 1])
    assert_equal [], importer.get_uvs
    face_sets([[0, 1, 2]])
    Recorder.indices("getFaces", nil)
    assert_equal [], importer.get_uvs
  end

  def test_uvs_that_are_promised_but_missing_are_no_crash
    face_sets([[0, 1, 2]])
    Recorder.answer("hasVertexUVs", 1)
    assert_equal false, importer.get_uvs
    assert_equal MISSING_MESH, log.last
  end

  # --- get_remapped_mesh

  def test_remapped_mesh
    face_sets([[0, 1, 2]], [[3, 4, 2]])
    uvs([0, 0], [1, 0], [1, 1], [1, 0], [0.5, 0.75], remap: [0, 1, 2, 1, 3])
    assert_equal true, importer.get_remapped_mesh
    assert_equal [[0, 1, 2, 4].map { |vertex| position(vertex) },
                  [[0.0, 0.0], [1.0, 0.0], [1.0, 1.0], [0.5, 0.75]],
                  [[[0, 1, 2]], [[1, 3, 2]]]], remapped
    assert_log <<~LOG
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getUVRemap 1
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.getFaceSetFaces 0
      depot1.mesh0.numFacesInSet 0
      depot1.mesh0.getFaceSetFaces 1
      depot1.mesh0.numFacesInSet 1
    LOG
  end

  def test_remapped_face_sets_of_several_triangles
    face_sets([[0, 1, 2]], [[3, 4, 2], [2, 1, 0], [4, 0, 1]])
    assert_equal true, importer.get_remapped_mesh
    assert_equal [[[0, 1, 2]], [[1, 3, 2], [2, 1, 0], [3, 0, 1]]], remapped[2]
  end

  def test_remap_tables_are_read_as_far_as_there_are_vertices
    face_sets([[0, 1, 2]])
    Recorder.answer("getNumVertices", 3)
    uvs([0, 0], [1, 0], [1, 1], [1, 0], [0.5, 0.75])
    Recorder.remap("getVertexRemap", [0, 1, 2, 3, 4])
    Recorder.indices("getFaceSetFaces.0", [0, 1, 3])
    assert_equal true, importer.get_remapped_mesh
    assert_equal [0, 1, 2].map { |vertex| position(vertex) }, remapped[0]
    assert_equal [[0.0, 0.0], [1.0, 0.0], [1.0, 1.0]], remapped[1]
    assert_equal [[[0, 1, NONE]]], remapped[2]
    importer.get_points(0, IDENTITY)
    assert_equal [0, 1, 2].map { |vertex| position(vertex) }, points.first(3)
    # Nothing maps to the last two.
    assert_equal [[0.0, 0.0, 0.0]] * 2, points.drop(3)
  end

  def test_remapped_mesh_without_uvs
    face_sets([[0, 1, 2]])
    assert_equal true, importer.get_remapped_mesh
    assert_equal [], remapped[1]
    assert_equal 4, remapped[0].size
  end

  def test_remapped_points_are_in_order_of_first_occurrence_and_faces_hold_the_sdk_s_numbers
    face_sets([[0, 1, 2]])
    Recorder.remap("getVertexRemap", [3, 1, nil, 0, 2])
    importer.get_remapped_mesh
    assert_equal [0, 1, 3, 4].map { |vertex| position(vertex) }, remapped[0]
    assert_equal [[[3, 1, NONE]]], remapped[2]
  end

  def test_remapped_mesh_without_face_sets_faces_or_vertices
    assert_equal true, importer.get_remapped_mesh
    assert_equal [], remapped[2]
    Recorder.indices("getFaces", nil)
    Recorder.floats("getVertices", nil)
    assert_equal true, importer.get_remapped_mesh
    assert_equal [[], [], []], remapped
  end

  def test_an_empty_set_of_a_remapped_mesh_is_an_entry
    face_sets([[0, 1, 2]], [[3, 4, 2]])
    Recorder.answer("numFacesInSet.0", 0)
    Recorder.indices("getFaceSetFaces.0", nil)
    assert_equal true, importer.get_remapped_mesh
    assert_equal [[], [[1, 3, 2]]], remapped[2]
  end

  def test_remap_tables_that_are_missing_are_no_crash
    face_sets([[0, 1, 2]])
    uvs([0, 0], [1, 0], [1, 1], [1, 0], [0.5, 0.75])
    Recorder.indices("getUVRemap", nil)
    assert_equal false, importer.get_remapped_mesh
    Recorder.indices("getVertexRemap", nil)
    assert_equal false, importer.get_remapped_mesh
    Recorder.floats("getVertices", nil)
    Recorder.floats("getVertexUVs", nil)
    assert_equal false, importer.get_remapped_mesh
    Recorder.remap("getVertexRemap", [0, 1, 2, 1, 3])
    Recorder.floats("getVertices", POSITIONS.flatten)
    Recorder.indices("getFaceSetFaces.0", nil)
    assert_equal false, importer.get_remapped_mesh
    assert_equal [MISSING_MESH] * 4, log.grep(/Kernel/)
  end

  def test_points_without_remap_table_leave_everything_as_it_was
    Recorder.indices("getVertexRemap", nil)
    assert_equal false, importer.get_remapped_mesh
    assert_equal [nil] * 3, remapped
    assert_log <<~LOG
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getVertexRemap 1 false
      #{MISSING_MESH}
    LOG
  end

  def test_remap_entries_beyond_their_count_are_no_crash
    face_sets([[0, 1, 4_000_000_000]])
    Recorder.indices("getVertexRemap", [0, 4_000_000_000, 2, 1, 3])
    Recorder.answer("getVertexRemap.count", 2)
    assert_equal true, importer.get_remapped_mesh
    assert_equal [position(0), position(3)], remapped[0]
    assert_equal [[[0, 4_000_000_000, NONE]]], remapped[2]
    # The first number that is beyond, of outputs and of vertices.
    Recorder.indices("getVertexRemap", [0, 2, 1, 2, 1])
    Recorder.indices("getFaceSetFaces.0", [2, 4, 5])
    assert_equal true, importer.get_remapped_mesh
    assert_equal [position(0), position(2)], remapped[0]
    assert_equal [[[1, 1, NONE]]], remapped[2]
  end

  def test_a_frozen_importer_raises
    face_sets([[0, 1, 2]])
    uvs([0, 0], [1, 0], [1, 1], [1, 0], [0.5, 0.75])
    importer.freeze
    assert_raises(FrozenError) { importer.get_remapped_mesh }
    assert_equal [nil] * 3, remapped
    importer.get_triangles(0, IDENTITY)
    assert_equal 1, triangles.size
  end

  # --- without a depot or mesh

  def test_without_a_depot_or_mesh
    empty_state
    assert_equal [false] * 5, call_all
    assert_equal [MISSING_DEPOT] * 3 + [MISSING_MESH] * 2, log.grep(/Kernel/)
  end

  def test_after_clear
    importer.clear_balancer
    clear_log
    assert_equal [false] * 5, call_all
    lines = log
    assert_equal [MISSING_DEPOT] * 3 + [MISSING_MESH] * 2, lines.grep(/Kernel/)
    refute_dead_calls(lines)
  end

  def call_all
    [importer.get_triangles(0, IDENTITY), importer.get_points(0, IDENTITY), importer.get_mesh_bounds(0),
     importer.get_uvs, importer.get_remapped_mesh]
  end

  # --- matrices

  def test_matrix_reads_16_numbers
    numbers = Array.new(16) { |place| place + 0.5 }
    assert_equal numbers, MirelTest.read_matrix(numbers)
  end

  def test_identity_touches_the_diagonal_only
    diagonal = [0, 5, 10, 15]
    assert_equal Array.new(16) { |place| diagonal.include?(place) ? 1.0 : 7.5 }, MirelTest.identity_over(7.5)
    assert_equal IDENTITY.map(&:to_f), MirelTest.identity_over(0)
  end

  def test_multiplication_sums_in_double_from_left_to_right
    random = Random.new(7)
    200.times do
      matrix = Array.new(16) { (random.rand - 0.5) * 10**random.rand(-6..6) }
      point = Array.new(3) { single((random.rand - 0.5) * 1000) }
      x, y, z = point
      expected = Array.new(3) do |row|
        single(((matrix[row] * x + matrix[row + 4] * y) + matrix[row + 8] * z) + matrix[row + 12])
      end
      assert_equal expected, MirelTest.multiply(point, matrix)
    end
  end

  # Summed in another order these lose the 1.
  def test_multiplication_keeps_the_order_of_the_sum
    matrix = [1e20, 0, 0, 0, -1e20, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1]
    assert_equal 1.0, MirelTest.multiply([1, 1, 1], matrix)[0]
    matrix = [1e20, 0, 0, 0, 1, 0, 0, 0, -1e20, 0, 0, 0, 0, 0, 0, 1]
    assert_equal 0.0, MirelTest.multiply([1, 1, 1], matrix)[0]
  end

  def test_multiplication_makes_no_homogeneous_division
    matrix = IDENTITY.dup
    matrix[15] = 2
    matrix[3] = 5
    assert_equal [1.0, 2.0, 3.0], MirelTest.multiply([1, 2, 3], matrix)
  end
end
