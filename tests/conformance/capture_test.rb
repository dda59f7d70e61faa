# frozen_string_literal: true

require "conformance"

# get_balancer_mesh: host meshes per material become one mesh of the depot.
class CaptureTest < Conformance::Test
  def setup
    super
    make_depot
  end

  def triangle(*indices, **attributes)
    Geom::PolygonMesh.new([indices.empty? ? [1, 2, 3] : indices], **attributes)
  end

  # The log without the calls on points, vectors and their coordinates.
  def sdk_log = log.grep(/\Adepot/)

  def test_an_empty_hash
    assert_equal 0, importer.get_balancer_mesh({})
    assert_log <<~LOG
      depot1.createMesh
      depot1.getMesh 0
      depot1.mesh0.setNumFaceSets 0
    LOG
    assert_equal 1, importer.get_balancer_mesh({})
  end

  def test_one_textured_triangle_call_by_call
    mesh = triangle(1, -2, 3, points: { 1 => [1.5, 2.5, 3.5], -2 => [4, 5, 6], 3 => [7, 8, 9.25] },
                              normals: { 1 => [1, 0, 0], -2 => [0, 1, 0], 3 => [0, 0, 1] },
                              uvs: { 1 => [0.25, 0.5, 9], -2 => [1, 0, 9], 3 => [-1, 2, 9] })
    assert_equal 0, importer.get_balancer_mesh({ red: [mesh] })
    corner = lambda do |index, point, normal, uv|
      ["mesh.point_at #{index}", "point.x", "point.y", "point.z", "depot1.mesh0.addVertex #{point}",
       "mesh.normal_at #{index}", "normal.x", "normal.y", "normal.z", "depot1.mesh0.addNormal #{normal}",
       "mesh.uv_at #{index} true", "uv.x", "uv.y", "depot1.mesh0.addUV #{uv}"]
    end
    assert_equal [
      "depot1.createMesh", "depot1.getMesh 0", "depot1.mesh0.setNumFaceSets 1",
      "importer.material_has_texture? :red", "depot1.mesh0.setCurrentFaceSet 0",
      "mesh.polygons", "mesh.count_polygons",
      *corner.call(1, "1.5 2.5 3.5", "1 0 0", "0.25 0.5"),
      *corner.call(-2, "4 5 6", "0 1 0", "1 0"),
      *corner.call(3, "7 8 9.25", "0 0 1", "-1 2"),
      "depot1.mesh0.addFace 1000 1001 1002",
      "depot1.mesh0.setFaceNormalIndices 4000 2000 2001 2002",
      "depot1.mesh0.setFaceUVIndices 4000 3000 3001 3002"
    ], log
  end

  def test_an_untextured_triangle_has_no_uvs
    importer.textured = false
    importer.get_balancer_mesh({ 1 => [triangle] })
    lines = log
    assert_empty lines.grep(/uv/i)
    assert_equal ["depot1.mesh0.addFace 1000 1001 1002", "depot1.mesh0.setFaceNormalIndices 4000 2000 2001 2002"],
                 lines.last(2)
  end

  def test_only_true_itself_is_textured
    [1, "true", :true, Object.new, [true], nil].each do |answer|
      importer.textured = answer
      importer.get_balancer_mesh({ 1 => [triangle] })
      assert_empty log.grep(/uv/i)
    end
  end

  def test_results_of_the_sdk_are_used_and_not_counted
    Recorder.answer("addVertex", 7)
    Recorder.answer("addNormal", 8)
    Recorder.answer("addUV", 9)
    Recorder.answer("addFace", 6)
    importer.get_balancer_mesh({ 1 => [triangle] })
    assert_log <<~LOG, log.last(3)
      depot1.mesh0.addFace 7 7 7
      depot1.mesh0.setFaceNormalIndices 6 8 8 8
      depot1.mesh0.setFaceUVIndices 6 9 9 9
    LOG
  end

  def test_materials_in_the_order_of_the_keys
    asked = []
    importer.define_singleton_method(:material_has_texture?) do |key|
      asked << key
      key == :textured
    end
    importer.get_balancer_mesh({ "plain" => [triangle], :textured => [triangle, triangle], nil => [] })
    assert_equal ["plain", :textured, nil], asked
    lines = sdk_log
    assert_equal "depot1.mesh0.setNumFaceSets 3", lines[2]
    assert_equal ["set 0", "face", "set 1", "face", "face", "set 2"],
                 lines.grep(/setCurrentFaceSet|addFace/).map { |line| line[/FaceSet (\d)/, 1]&.then { |set| "set #{set}" } || "face" }
    assert_equal 2, lines.grep(/setFaceUVIndices/).size
    assert_equal %w[4001 4002], lines.grep(/setFaceUVIndices/).map { |line| line.split[1] }
  end

  def test_equal_positions_stay_apart
    importer.get_balancer_mesh({ 1 => [triangle], 2 => [triangle] })
    lines = sdk_log
    assert_equal 6, lines.grep(/addVertex/).size
    assert_equal 6, lines.grep(/addNormal/).size
    assert_equal 6, lines.grep(/addUV/).size
    assert_includes lines, "depot1.mesh0.addFace 1003 1004 1005"
  end

  def test_count_polygons_rules
    mesh = Geom::PolygonMesh.new([[1, 2, 3], [4, 5, 6], [7, 8, 9]])
    mesh.count_polygons = 2
    importer.get_balancer_mesh({ 1 => [mesh] })
    assert_equal 2, sdk_log.grep(/addFace/).size
  end

  def test_count_polygons_0
    mesh = triangle
    mesh.count_polygons = 0
    assert_equal 0, importer.get_balancer_mesh({ 1 => [mesh] })
    assert_empty sdk_log.grep(/add/)
  end

  def test_count_polygons_beyond_the_array_raises
    mesh = triangle
    mesh.count_polygons = 2
    assert_raises(TypeError) { importer.get_balancer_mesh({ 1 => [mesh] }) }
    assert_equal 1, sdk_log.grep(/addFace/).size
  end

  def test_polygons_are_cut_to_three_corners
    importer.get_balancer_mesh({ 1 => [Geom::PolygonMesh.new([[1, 2, 3, 4, 5]])] })
    assert_equal [1, 2, 3], log.grep(/point_at/).map { |line| line.split.last.to_i }
  end

  def test_a_polygon_of_two_corners_hands_on_nil
    importer.get_balancer_mesh({ 1 => [Geom::PolygonMesh.new([[1, 2]])] })
    assert_equal %w[1 2 nil], log.grep(/point_at/).map { |line| line.split.last }
  end

  def test_indices_reach_the_host_unchanged
    importer.get_balancer_mesh({ 1 => [triangle(-7, 0, "odd", points: { "odd" => [1, 2, 3] })] })
    assert_equal ["mesh.point_at -7", "mesh.point_at 0", 'mesh.point_at "odd"'], log.grep(/point_at/)
  end

  def test_coordinates_are_narrowed
    importer.get_balancer_mesh({ 1 => [triangle(points: { 1 => [0.1, 1e300, Float::NAN] })] })
    assert_match(/addVertex 0\.100000001 inf -?nan/, log.grep(/addVertex/).first)
  end

  def test_coordinates_may_be_integers_and_rationals
    importer.get_balancer_mesh({ 1 => [triangle(points: { 1 => [1, 1r / 2, 2**70] })] })
    assert_includes log, "depot1.mesh0.addVertex 1 0.5 1.18059162e+21"
  end

  def test_what_is_missing_raises_and_leaves_the_mesh
    broken = {
      "key without value" => [NoMethodError, { 1 => nil }],
      "nil mesh" => [NoMethodError, { 1 => [nil] }],
      "nil point" => [NoMethodError, { 1 => [triangle(points: { 1 => nil }).tap { |mesh| def mesh.point_at(_) = nil }] }],
      "coordinate that is no number" => [TypeError, { 1 => [triangle(points: { 2 => [1, "2", 3] })] }],
      "count that is no number" => [TypeError, { 1 => [triangle.tap { |mesh| mesh.count_polygons = "1" }] }],
      "polygons that are no array" => [TypeError, { 1 => [triangle.tap { |mesh| mesh.polygon_list = nil; mesh.count_polygons = 1 }] }],
      "polygon that is no array" => [TypeError, { 1 => [Geom::PolygonMesh.new([7])] }]
    }
    broken.each do |name, (error, hash)|
      count = sdk_meshes
      assert_raises(error, name) { importer.get_balancer_mesh(hash) }
      assert_equal count + 1, sdk_meshes, name
    end
    assert_equal broken.size, importer.get_balancer_mesh({})
  end

  def sdk_meshes
    @created = (@created || 0) + log.count("depot1.createMesh")
  end

  def test_arguments_that_are_no_hash
    [nil, 1, [], "text"].each { |argument| assert_raises(NoMethodError) { importer.get_balancer_mesh(argument) } }
    impostor = Struct.new(:keys).new([1])
    assert_raises(TypeError) { importer.get_balancer_mesh(impostor) }
    hash = { 1 => [] }
    def hash.keys = Struct.new(:length).new(1)
    assert_raises(TypeError) { importer.get_balancer_mesh(hash) }
    assert_empty sdk_log
  end

  def test_lengths_are_asked_of_the_objects
    hash = { 1 => [triangle, triangle], 2 => [triangle] }
    keys = hash.keys
    def keys.length = 1
    hash.define_singleton_method(:keys) { keys }
    list = hash[1]
    def list.length = 1
    importer.get_balancer_mesh(hash)
    lines = sdk_log
    assert_includes lines, "depot1.mesh0.setNumFaceSets 1"
    assert_equal 1, lines.grep(/addFace/).size
  end

  def test_a_length_that_does_not_fit_raises
    hash = {}
    keys = []
    length = 2**31
    keys.define_singleton_method(:length) { length }
    hash.define_singleton_method(:keys) { keys }
    assert_raises(RangeError) { importer.get_balancer_mesh(hash) }
    length = -1
    assert_equal 0, importer.get_balancer_mesh(hash)
    assert_equal "depot1.mesh0.setNumFaceSets 0", log.last
  end

  def test_a_depot_that_makes_no_mesh
    Recorder.answer("createMesh", 0xFFFFFFFF)
    assert_equal false, importer.get_balancer_mesh({ 1 => [triangle] })
    assert_log <<~LOG
      depot1.createMesh
      depot1.getMesh 4294967295
      Kernel.puts "Error: Mesh has not been created."
    LOG
  end

  def test_arrays_that_shrink_while_they_are_read
    polygons = [[1, 2, 3], [4, 5, 6]]
    mesh = Geom::PolygonMesh.new(polygons)
    mesh.define_singleton_method(:point_at) do |index|
      polygons.clear
      super(index)
    end
    assert_raises(TypeError) { importer.get_balancer_mesh({ 1 => [mesh] }) }
    assert_equal 1, sdk_log.grep(/addFace/).size
  end
end
