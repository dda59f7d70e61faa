# frozen_string_literal: true

require 'host_test'

class PointTest < HostTest
  Point = Geom::Point3d
  Vector = Geom::Vector3d

  def test_every_way_to_make_one
    assert_equal [0.0, 0.0, 0.0], Point.new.to_a
    assert_equal [1.0, 2.0, 0.0], Point.new(1, 2).to_a
    assert_equal [1.0, 2.0, 3.0], Point.new(1, 2, 3).to_a
    assert_equal [1.0, 2.0, 3.0], Point.new([1, 2, 3]).to_a
    assert_equal [1.0, 2.0, 3.0], Point.new(Point.new(1, 2, 3)).to_a
    assert_equal [1.0, 2.0, 3.0], Point.new(Vector.new(1, 2, 3)).to_a
    [['1', 2, 3], [nil, 0]].each { |bad| assert_raises(TypeError) { Point.new(*bad) } }
    [[[1]], [[1, 2, 3, 4]], ['x'], [nil]].each { |bad| assert_raises(ArgumentError) { Point.new(*bad) } }
    assert_raises(ArgumentError) { Point.new(1, 2, 3, 4) }
  end

  def test_coordinates
    point = Point.new(1, 2, 3)
    assert_equal [1.0, 2.0, 3.0], [point.x, point.y, point.z]
    assert_instance_of Float, point.x
    point.x = 4
    point.y = 5
    point.z = 6
    point[1] = 7
    assert_equal [4.0, 7.0, 6.0], [point[0], point[1], point[2]]
    assert_raises(IndexError) { point[3] }
    assert_raises(IndexError) { point[3] = 0 }
    assert_raises(FrozenError) { Point.new.freeze.x = 1 }
  end

  def test_arithmetic
    a = Point.new(1, 2, 3)
    assert_equal [2.0, 4.0, 6.0], (a + [1, 2, 3]).to_a
    assert_instance_of Point, a + Vector.new
    assert_instance_of Vector, a - Point.new
    assert_instance_of Point, a - Vector.new
    assert_equal [-1.0, -2.0, -3.0], a.vector_to(Point.new).to_a
    assert_equal 5.0, Point.new(0, 0, 0).distance([3, 0, 4])
    assert_equal [1.0, 2.0, 13.0], a.offset([0, 0, 2], 10).to_a
    assert_equal [1.0, 2.0, 3.0], a.to_a
    assert_equal [1.0, 2.0, 5.0], a.offset!([0, 0, 2]).to_a
    assert_equal [1.0, 0.0, 0.0], Point.linear_combination(0.75, Point.new, 0.25, Point.new(4, 0, 0)).to_a
  end

  def test_equal_within_the_tolerance
    assert_equal Point.new(1, 0, 0), Point.new(1.0009, 0, 0)
    refute_equal Point.new(1, 0, 0), Point.new(1.0011, 0, 0)
    assert_equal Point.new(1, 0, 0), [1, 0, 0]
    refute_equal Point.new(1, 0, 0), Vector.new(1, 0, 0)
    refute_equal Point.new, nil
    refute_equal Point.new, ['x', nil, 2]
  end

  def test_copies_are_their_own
    point = Point.new(1, 2, 3)
    copy = point.dup
    copy.x = 9
    assert_equal 1.0, point.x
    assert_equal 9.0, point.clone.tap { |c| c.x = 9 }.x
    assert_equal [1.0, 2.0, 3.0], point.to_a
  end
end

class VectorTest < HostTest
  Vector = Geom::Vector3d

  def test_products
    x = Vector.new(1, 0, 0)
    y = Vector.new(0, 1, 0)
    assert_equal [0.0, 0.0, 1.0], (x * y).to_a
    assert_equal [0.0, 0.0, -1.0], y.cross(x).to_a
    assert_equal 0.0, x % y
    assert_equal 2.0, x.dot([2, 5, 5])
    assert_in_delta Math::PI / 2, x.angle_between(y)
    assert_in_delta Math::PI, x.angle_between(x.reverse)
  end

  def test_length
    v = Vector.new(3, 0, 4)
    assert_equal 5.0, v.length
    assert_triple [0.6, 0, 0.8], v.normalize
    v.length = 10
    assert_triple [6, 0, 8], v
    assert_triple [-6, 0, -8], v.reverse!
    assert_equal [0.0, 0.0, 0.0], Vector.new.normalize.to_a
    assert_raises(ZeroDivisionError) { Vector.new.length = 1 }
    refute Vector.new.valid?
    assert v.valid?
  end

  def test_directions
    x = Vector.new(2, 0, 0)
    assert x.parallel?([-1, 0, 0])
    refute x.samedirection?([-1, 0, 0])
    assert x.samedirection?([7, 0, 0])
    assert x.perpendicular?([0, 3, 0])
    [Vector.new(0, 0, 2), Vector.new(1, 2, 3)].each do |v|
      a, b, c = v.axes
      assert_triple c.to_a, a * b, 1e-9
      assert_triple v.normalize.to_a, c
    end
  end
end

class TransformationTest < HostTest
  T = Geom::Transformation
  Point = Geom::Point3d

  def test_identity
    assert_equal [1.0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0, 1.0], IDENTITY.to_a
    assert IDENTITY.identity?
    assert_equal IDENTITY, T.new
    assert IDENTITY.to_a.all?(Float)
    assert_raises(FrozenError) { IDENTITY.set!([1, 2, 3]) }
  end

  def test_translation
    move = T.translation([1, 2, 3])
    assert_equal [1.0, 2.0, 3.0], move.to_a[12, 3]
    assert_equal [2.0, 2.0, 3.0], (move * Point.new(1, 0, 0)).to_a
    assert_equal [1.0, 0.0, 0.0], (move * Geom::Vector3d.new(1, 0, 0)).to_a
    assert_equal [1.0, 2.0, 3.0], move.origin.to_a
    assert_equal move, T.new(Point.new(1, 2, 3))
    assert_equal move, T.new([1, 2, 3])
    refute move.identity?
  end

  def test_scaling
    assert_equal [2.0, 4.0, 6.0], (T.scaling(2) * [1, 2, 3]).to_a
    assert_equal [2.0, 6.0, 12.0], (T.scaling(2, 3, 4) * [1, 2, 3]).to_a
    assert_equal [1.0, 1.0, 1.0], (T.scaling([1, 1, 1], 5) * [1, 1, 1]).to_a
    assert_equal [3.0, 1.0, 1.0], (T.scaling([1, 1, 1], 2, 1, 1) * [2, 1, 1]).to_a
    assert_equal T.scaling(3), T.new(3)
    assert_equal 24.0, T.scaling(2, 3, 4).determinant
  end

  def test_rotation
    turn = T.rotation([1, 0, 0], [0, 0, 5], Math::PI / 2)
    assert_triple [1, 1, 0], turn * Point.new(2, 0, 0)
    assert_triple [0, 1, 0], turn.xaxis
    assert_triple [-1, 0, 0], turn.yaxis
    assert_triple [0, 0, 1], turn.zaxis
    assert_in_delta 1, turn.determinant
  end

  def test_product_is_the_second_after_the_first
    move = T.translation([1, 0, 0])
    turn = T.rotation([0, 0, 0], [0, 0, 1], Math::PI / 2)
    assert_triple [0, 2, 0], (turn * move) * Point.new(1, 0, 0)
    assert_triple [1, 1, 0], (move * turn) * Point.new(1, 0, 0)
    assert_triple [2, 0, 0], (move * move.to_a) * Point.new
  end

  def test_inverse
    t = T.translation([1, 2, 3]) * T.rotation([1, 5, 2], [1, 2, 3], 0.7) * T.scaling(2, -3, 4)
    assert_equal T.new, t * t.inverse
    assert_equal T.new, t.inverse * t
    assert_equal t.inverse, t.dup.invert!
    assert_raises(ZeroDivisionError) { T.scaling(0, 1, 1).inverse }
  end

  def test_axes_and_interpolation
    t = T.new([1, 2, 3], [0, 1, 0], [-1, 0, 0])
    assert_equal [1.0, 3.0, 3.0], (t * [1, 0, 0]).to_a
    assert_equal t, T.axes([1, 2, 3], [0, 1, 0], [-1, 0, 0], [0, 0, 1])
    assert_equal T.translation([1, 0, 0]), T.interpolate(T.new, T.translation([4, 0, 0]), 0.25)
  end

  def test_what_is_no_transformation
    [[1, 2], Array.new(15, 0)].each { |bad| assert_raises(ArgumentError) { T.new(bad) } }
    assert_raises(ArgumentError) { T.new('x') }
    assert_raises(TypeError) { T.new(Array.new(16)) }
    assert_raises(ArgumentError) { T.new * 'x' }
  end

  def test_points_and_vectors_transform_themselves
    move = T.translation([1, 0, 0])
    point = Point.new
    assert_equal [1.0, 0.0, 0.0], point.transform(move).to_a
    assert_equal [0.0, 0.0, 0.0], point.to_a
    assert_equal [1.0, 0.0, 0.0], point.transform!(move).to_a
    assert_equal [0.0, 1.0, 0.0], Geom::Vector3d.new(0, 1, 0).transform!(move).to_a
  end
end

class BoundingBoxTest < HostTest
  Box = Geom::BoundingBox

  def test_empty
    box = Box.new
    assert box.empty?
    refute box.valid?
    assert_equal 0.0, box.diagonal
    refute box.contains?([0, 0, 0])
  end

  def test_add_and_measure
    box = Box.new
    assert_same box, box.add([1, 2, 3], Geom::Point3d.new(-1, 0, 0))
    assert_equal [-1.0, 0.0, 0.0], box.min.to_a
    assert_equal [1.0, 2.0, 3.0], box.max.to_a
    assert_equal [2.0, 2.0, 3.0], [box.width, box.height, box.depth]
    assert_equal [0.0, 1.0, 1.5], box.center.to_a
    assert_in_delta Math.sqrt(17), box.diagonal
    box.add([[5, 5, 5], [6, 6, 6]])
    assert_equal [6.0, 6.0, 6.0], box.max.to_a
    box.add(Box.new.add([9, 9, 9]), Box.new)
    assert_equal [9.0, 9.0, 9.0], box.max.to_a
    assert box.clear.empty?
  end

  def test_corners
    box = Box.new.add([0, 0, 0], [1, 2, 3])
    corners = (0..7).map { |i| box.corner(i).to_a }
    assert_equal 8, corners.uniq.size
    assert_equal [0.0, 0.0, 0.0], corners[0]
    assert_equal [1.0, 0.0, 0.0], corners[1]
    assert_equal [0.0, 2.0, 0.0], corners[2]
    assert_equal [0.0, 0.0, 3.0], corners[4]
    assert_equal [1.0, 2.0, 3.0], corners[7]
    assert_raises(ArgumentError) { box.corner(8) }
  end

  def test_contains_and_intersect
    box = Box.new.add([0, 0, 0], [2, 2, 2])
    assert box.contains?([2, 0, 1])
    refute box.contains?([2.1, 0, 1])
    assert box.contains?(Box.new.add([1, 1, 1], [2, 2, 2]))
    refute box.contains?(Box.new.add([1, 1, 1], [3, 2, 2]))
    refute box.contains?(Box.new)
    assert_equal Box.new.add([1, 1, 1], [2, 2, 2]), box.intersect(Box.new.add([1, 1, 1], [3, 3, 3]))
    assert box.intersect(Box.new.add([5, 5, 5])).empty?
  end
end
