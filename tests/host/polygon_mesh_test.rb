# frozen_string_literal: true

require 'host_test'

class PolygonMeshTest < HostTest
  Mesh = Geom::PolygonMesh

  # 4---3
  # | / |     two triangles in the plane z = 0; the diagonal is hidden in both
  # 1---2
  def square
    mesh = Mesh.new
    [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]].each { |point| mesh.add_point(point) }
    mesh.add_polygon(1, 2, -3)
    mesh.add_polygon([-1, 3, 4])
    mesh
  end

  def test_empty
    mesh = Mesh.new
    assert_equal [0, 0], [mesh.count_points, mesh.count_polygons]
    assert_equal [[], []], [mesh.points, mesh.polygons]
    assert_nil mesh.extent
    assert_nil mesh.point_at(1)
  end

  def test_points_are_numbered_from_1_and_found_again
    mesh = Mesh.new(4, 2)
    assert_equal 1, mesh.add_point(Geom::Point3d.new(1, 2, 3))
    assert_equal 2, mesh.add_point([1, 2, 4])
    assert_equal 1, mesh.add_point([1, 2, 3])
    assert_equal 2, mesh.point_index([1, 2, 4])
    assert_equal 0, mesh.point_index([1, 2, 5])
    assert_equal 2, mesh.count_points
    # Exactly equal, not within the tolerance: a model may be smaller than that.
    assert_equal 3, mesh.add_point([1, 2, 3.0001])
    assert_equal 4, mesh.add_point([0.0, 0, 0])
    assert_equal 4, mesh.add_point([-0.0, 0, 0])
  end

  def test_many_points
    mesh = Mesh.new
    5000.times { |i| assert_equal i + 1, mesh.add_point([i, i % 7, 0]) }
    5000.times { |i| assert_equal i + 1, mesh.point_index([i, i % 7, 0]) }
  end

  def test_polygons_keep_the_signs
    mesh = square
    assert_equal [[1, 2, -3], [-1, 3, 4]], mesh.polygons
    assert_equal [1, 2, -3], mesh.polygon_at(1)
    assert_equal [[0.0, 0.0, 0.0], [1.0, 1.0, 0.0], [0.0, 1.0, 0.0]], mesh.polygon_points_at(2).map(&:to_a)
    [0, 3, -1].each { |number| assert_nil mesh.polygon_at(number) }
    assert_nil mesh.polygon_points_at(3)
  end

  def test_polygons_of_points
    mesh = Mesh.new
    assert_equal 1, mesh.add_polygon([0, 0, 0], Geom::Point3d.new(1, 0, 0), [1, 1, 0])
    assert_equal 2, mesh.add_polygon([[0, 0, 0], [1, 1, 0], [0, 1, 0], [-1, 1, 0], [-1, 0, 0]])
    assert_equal [[1, 2, 3], [1, 3, 4, 5, 6]], mesh.polygons
    assert_equal 6, mesh.count_points
  end

  def test_polygons_that_cannot_be
    mesh = square
    [[1, 2, 5], [1, 2, 0], [1, 2, -5], [1, 2, 2**40]].each { |bad| assert_raises(IndexError) { mesh.add_polygon(*bad) } }
    assert_raises(RangeError) { mesh.add_polygon(1, 2, 2**70) }
    [[1, 2], [[1, 2]], [nil], []].each { |bad| assert_raises(ArgumentError) { mesh.add_polygon(*bad) } }
    [[1, 2, 'x'], [1, 2, nil]].each { |bad| assert_raises(ArgumentError) { mesh.add_polygon(*bad) } }
    assert_equal 2, mesh.count_polygons
    assert_raises(FrozenError) { mesh.freeze.add_point([0, 0, 0]) }
  end

  def test_point_at_ignores_the_sign
    mesh = square
    assert_equal [1.0, 1.0, 0.0], mesh.point_at(3).to_a
    assert_equal [1.0, 1.0, 0.0], mesh.point_at(-3).to_a
    [0, 5, -5, 2**62].each { |number| assert_nil mesh.point_at(number), number.to_s }
    assert_raises(TypeError) { mesh.point_at('x') }
    assert_instance_of Geom::Point3d, mesh.points.first
  end

  def test_normals_are_computed_where_none_is_given
    mesh = square
    refute mesh.normals_given?
    (1..4).each { |number| assert_triple [0, 0, 1], mesh.normal_at(-number) }
    assert_instance_of Geom::Vector3d, mesh.normal_at(1)
    mesh.set_normal(2, [1, 0, 0])
    assert mesh.normals_given?
    assert_triple [1, 0, 0], mesh.normal_at(2)
    assert_triple [0, 0, 1], mesh.normal_at(1)
    # A second plane at point 1 turns its normal, by area: 1 up and 2 to the side.
    mesh.add_polygon([0, 0, 0], [0, 2, 0], [0, 0, 1])
    assert_triple [2 / Math.sqrt(8), 0, 2 / Math.sqrt(8)], mesh.normal_at(1), 1e-9
    mesh.set_point(1, [0, 0, 0])
    assert_nil mesh.normal_at(9)
    lonely = Mesh.new
    lonely.add_point([0, 0, 0])
    assert_triple [0, 0, 0], lonely.normal_at(1)
  end

  def test_uvs_have_two_sides
    mesh = square
    assert_equal [0.0, 0.0, 1.0], mesh.uv_at(1, true).to_a
    mesh.set_uv(1, [0.25, 0.5], true)
    mesh.set_uv(1, [0.5, 0.5, 2], false)
    assert_equal [0.25, 0.5, 1.0], mesh.uv_at(-1, true).to_a
    assert_equal [0.5, 0.5, 2.0], mesh.uv_at(1, false).to_a
    assert_equal [0.0, 0.0, 1.0], mesh.uv_at(2, true).to_a
    assert_equal 4, mesh.uvs(true).size
    assert mesh.uvs_given?
    assert_nil mesh.uv_at(5, true)
    number = mesh.add_point([7, 7, 7])
    assert_equal [0.0, 0.0, 1.0], mesh.uv_at(number, true).to_a
    assert_raises(IndexError) { mesh.set_uv(6, [0, 0], true) }
  end

  def test_set_point
    mesh = square
    mesh.set_point(1, [5, 5, 5])
    assert_equal [5.0, 5.0, 5.0], mesh.point_at(1).to_a
    assert_equal 1, mesh.point_index([5, 5, 5])
    assert_equal 0, mesh.point_index([0, 0, 0])
    assert_raises(IndexError) { mesh.set_point(5, [0, 0, 0]) }
    assert_raises(ArgumentError) { mesh.set_point(1, nil) }
  end

  def test_transform
    mesh = square
    mesh.set_normal(1, [1, 0, 0])
    assert_equal true, mesh.transform!(Geom::Transformation.translation([0, 0, 5]) * Geom::Transformation.scaling(-2, 1, 1))
    assert_equal [-2.0, 0.0, 5.0], mesh.point_at(2).to_a
    assert_triple [-1, 0, 0], mesh.normal_at(1)
    assert_equal 2, mesh.point_index([-2, 0, 5])
    # Normals of a sheared plane stay at right angles to it.
    shear = Geom::Transformation.new([1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1])
    flat = square
    flat.set_normal(1, [0, 0, 1])
    flat.transform!(shear)
    assert_in_delta 0, flat.normal_at(1) % flat.point_at(1).vector_to(flat.point_at(2))
    assert_in_delta 1, flat.normal_at(1).length
    [[1, 2], 'x', Array.new(16, nil)].each { |bad| assert_raises(ArgumentError, TypeError) { mesh.transform!(bad) } }
  end

  def test_extent_leaves_out_what_is_not_finite
    mesh = square
    mesh.add_point([Float::NAN, 9, 9])
    mesh.add_point([0, Float::INFINITY, 9])
    assert_equal [[0.0, 0.0, 0.0], [1.0, 1.0, 0.0]], mesh.extent.map(&:to_a)
  end

  def test_copies_are_their_own
    mesh = square
    mesh.set_uv(1, [1, 1], true)
    copy = mesh.dup
    copy.set_point(1, [9, 9, 9])
    copy.set_uv(1, [0, 0], true)
    copy.add_polygon(1, 2, 4)
    assert_equal [0.0, 0.0, 0.0], mesh.point_at(1).to_a
    assert_equal [1.0, 1.0, 1.0], mesh.uv_at(1, true).to_a
    assert_equal [2, 3], [mesh.count_polygons, copy.count_polygons]
  end

  def test_packed
    points = [0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0].pack('f*')
    mesh = Mesh.from_packed(points, [0, 1, 2, 3, 2, 1].pack('L*'), [0, 0, 1].pack('f*') * 4, [0.5, 0.25].pack('f*') * 4)
    assert_equal [[1, 2, 3], [4, 3, 2]], mesh.polygons
    assert_equal 4, mesh.count_points
    assert_equal [0.0, 1.0, 0.0], mesh.point_at(3).to_a
    assert_equal [0.0, 0.0, 1.0], mesh.normal_at(4).to_a
    assert_equal [0.5, 0.25, 1.0], mesh.uv_at(2, true).to_a
    assert_equal 5, mesh.add_point([3, 3, 3])
    assert_equal 1, mesh.add_point([0, 0, 0])
  end

  def test_packed_that_does_not_fit
    points = [0, 0, 0, 1, 0, 0, 0, 1, 0].pack('f*')
    faces = [0, 1, 2].pack('L*')
    [["x#{points}", faces], [points, "x#{faces}"], [points, [0, 1, 3].pack('L*')], [points, faces, points[0, 12]],
     [points, faces, nil, points], ['', faces]].each { |bad| assert_raises(ArgumentError) { Mesh.from_packed(*bad) } }
    assert_raises(TypeError) { Mesh.from_packed(nil, faces) }
  end

  def test_sizes_that_cannot_be
    assert_raises(ArgumentError) { Mesh.new(-1) }
    assert_raises(RangeError) { Mesh.new(2**40) }
    assert_raises(TypeError) { Mesh.allocate.send(:initialize_copy, 3) }
    assert_raises(TypeError) { square.send(:initialize_copy, square) }
  end

  def test_garbage_collection_at_every_step
    GC.stress = true
    mesh = square
    mesh.add_polygon([9, 9, 9], [8, 8, 8], [7, 7, 7])
    texts = mesh.points.map(&:to_a) + mesh.polygons + mesh.uvs(true).map(&:to_a)
    GC.stress = false
    assert_equal 17, texts.size
  ensure
    GC.stress = false
  end
end
