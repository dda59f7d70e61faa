# frozen_string_literal: true

require 'host_test'

class ViewTest < HostTest
  Color = Sketchup::Color

  def setup
    super
    @view = Sketchup::View.new(800, 600)
  end

  def floats(batch) = batch.data.unpack('f*')

  def test_a_frame_keeps_what_was_drawn_in_order
    batches = @view.render do |view|
      view.draw(1, [[0, 0, 0], [1, 2, 3]])
      view.drawing_color = Color.new(1, 2, 3, 4)
      view.line_width = 3
      view.draw(4, [[1, 0, 0], Geom::Point3d.new(0, 1, 0), [0.5, 0.25]])
    end
    assert_same @view.batches, batches
    assert_equal [[1, Color.new('black'), 1, 2], [4, Color.new(1, 2, 3, 4), 3, 3]],
                 batches.map { |batch| [batch.primitive, batch.color, batch.line_width, batch.count] }
    assert_equal [[0.0, 0.0, 0.0, 1.0, 2.0, 3.0], [1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.5, 0.25, 0.0]],
                 batches.map { |batch| floats(batch) }
  end

  def test_buffers_hold_what_the_points_were_when_they_were_drawn
    points = [[1.0, 2.0, 3.0]]
    batch = @view.render { points.tap { @view.draw(0, points) }.first[0] = 9.0 }.first
    assert_equal [1.0, 2.0, 3.0], floats(batch)
    assert_predicate batch.data, :frozen?
    assert_equal Encoding::BINARY, batch.data.encoding
  end

  def test_points_may_be_given_one_by_one
    batches = @view.render do
      @view.draw(1, [0, 0, 0], [1, 0, 0])
      @view.draw(0, Geom::Point3d.new(4, 5, 6))
    end
    assert_equal [[0.0, 0.0, 0.0, 1.0, 0.0, 0.0], [4.0, 5.0, 6.0]], batches.map { |batch| floats(batch) }
  end

  def test_incomplete_primitives_are_left_out
    points = Array.new(11) { |x| [x, 0, 0] }
    expected = { 0 => 11, 1 => 10, 2 => 11, 3 => 11, 4 => 9, 5 => 11, 6 => 11, 7 => 8, 8 => 10, 9 => 11 }
    expected.each do |primitive, count|
      assert_equal [count], @view.render { @view.draw(primitive, points) }.map(&:count), primitive
    end
    fewest = { 0 => 1, 1 => 2, 2 => 2, 3 => 2, 4 => 3, 5 => 3, 6 => 3, 7 => 4, 8 => 4, 9 => 3 }
    fewest.each do |primitive, count|
      assert_empty(@view.render { @view.draw(primitive, points.first(count - 1)) })
      assert_equal 1, @view.render { @view.draw(primitive, points.first(count)) }.size
    end
  end

  def test_what_cannot_be_drawn
    @view.render do
      [10, -1, nil, '1', 1.5].each { |primitive| assert_raises(ArgumentError) { @view.draw(primitive, [[0, 0, 0]] * 4) } }
      assert_raises(TypeError) { @view.draw(1, nil) }
      assert_raises(TypeError) { @view.draw(4, 'text') }
      [[1], [nil, nil], [[1]], [[1, 2, 3, 4]], ['text']].each { |points| assert_raises(ArgumentError) { @view.draw(0, points) } }
      assert_raises(TypeError) { @view.draw(0, [[0, 0, nil]]) }
    end
    assert_empty @view.batches
  end

  # A conversion that shortens the array it is part of.
  def test_packing_survives_an_array_that_changes
    points = Array.new(1000) { [1.0, 2.0, 3.0] }
    trap = Class.new(Numeric) { define_method(:to_f) { points.clear && 1.0 } }.new
    points[3] = [trap, 0.0, 0.0]
    assert_raises(ArgumentError) { Sketchup::View.pack(points) }
  end

  def test_drawing_outside_a_frame_is_refused
    assert_raises(ArgumentError) { @view.draw(0, [[0, 0, 0]]) }
    @view.render { assert_raises(ArgumentError) { @view.render { flunk } } && @view.draw(0, [[0, 0, 0]]) }
    assert_equal 1, @view.batches.size
  end

  def test_a_frame_that_raises_leaves_the_one_before
    before = @view.render { @view.draw(0, [[1, 2, 3]]) }
    assert_raises(IOError) { @view.render { @view.draw(0, [[4, 5, 6]]) && raise(IOError) } }
    assert_same before, @view.batches
    refute_predicate @view, :valid?
    assert_empty(@view.render {})
    assert_predicate @view, :valid?
    catch(:out) { @view.render { throw :out } }
    assert_equal 1, @view.render { @view.draw(0, [[1, 2, 3]]) }.size
  end

  def test_invalidate_asks_for_a_frame
    calls = 0
    @view.on_invalidate { calls += 1 }
    assert_same @view, @view.invalidate
    refute_predicate @view, :valid?
    @view.render { @view.invalidate }
    refute_predicate @view, :valid?
    @view.camera = Sketchup::Camera.new
    @view.resize(10, 20)
    assert_equal [4, [10, 20], [5, 10]], [calls, [@view.vpwidth, @view.vpheight], @view.center]
    assert_raises(ArgumentError) { @view.resize(0, 1) }
    assert_raises(TypeError) { @view.camera = nil }
  end

  def test_drawing_starts_in_thin_black_in_every_frame
    @view.render { @view.drawing_color = 'red' && @view.line_width = 5 }
    assert_equal [Color.new('black'), 1], @view.render { @view.draw(0, [[0, 0, 0]]) }.first.to_a.values_at(1, 2)
    assert_raises(ArgumentError) { @view.drawing_color = 'no colour' }
    assert_raises(ArgumentError) { @view.line_width = 0 }
  end

  def test_a_colour_that_changes_later_changes_no_batch
    color = Color.new('red')
    batch = @view.render { (@view.drawing_color = color) && @view.draw(0, [[0, 0, 0]]) }.first
    color.red = 0
    assert_equal Color.new('red'), batch.color
  end
end

class CameraTest < HostTest
  Camera = Sketchup::Camera

  def test_axes
    camera = Camera.new([0, -10, 0], [0, 0, 0], [0, 1, 1])
    assert_triple [0, 1, 0], camera.direction
    assert_triple [0, 1, 0], camera.zaxis
    assert_triple [1, 0, 0], camera.xaxis
    assert_triple [0, 0, 1], camera.yaxis
    assert_triple [0, 0, 1], camera.up
    assert_in_delta 10, camera.eye_distance
    assert_predicate camera, :perspective?
  end

  def test_what_is_no_view
    camera = Camera.new
    assert_raises(ArgumentError) { camera.set([1, 1, 1], [1, 1, 1], [0, 0, 1]) }
    assert_raises(ArgumentError) { camera.set([0, 0, 1], [0, 0, 0], [0, 0, 5]) }
    [0, 180, -1, Float::NAN].each { |fov| assert_raises(ArgumentError) { camera.fov = fov } }
    [0, -1, Float::NAN, Float::INFINITY].each { |height| assert_raises(ArgumentError) { camera.height = height } }
    assert_triple [0, 0, 1], camera.eye
    camera.perspective = nil
    refute_predicate camera, :perspective?
  end

  def test_fit_keeps_the_direction_and_shows_the_whole_box
    camera = Camera.new([3, 4, 5], [0, 0, 0], [0, 0, 1])
    direction = camera.direction.to_a
    box = Geom::BoundingBox.new.add([10, 20, 30], [14, 26, 42])
    assert_same camera, camera.fit(box)
    assert_triple direction, camera.direction
    assert_triple [12, 23, 36], camera.target
    # Every corner lies within the cone of the field of view.
    8.times do |corner|
      ray = camera.eye.vector_to(box.corner(corner))
      angle = Math.acos(ray.dot(camera.direction) / ray.length) * 180 / Math::PI
      assert_operator angle, :<=, camera.fov / 2 + 1e-9
    end
    eye = camera.eye.to_a
    assert_triple eye, camera.fit(Geom::BoundingBox.new).eye
  end

  def test_fit_to_a_single_point
    [[1, 2, 3], [1e20, 0, 0]].each do |point|
      camera = Camera.new.fit(Geom::BoundingBox.new.add(point))
      assert_triple point, camera.target
      assert_operator camera.eye_distance, :>, 0
    end
  end
end

class TimersTest < HostTest
  def setup
    super
    @now = 100.0
    @timers = UI::Timers.new(-> { @now })
    @fired = []
  end

  def start(seconds, name, repeat = false) = @timers.start(seconds, repeat) { @fired << name }

  def test_timers_fire_when_due_and_in_order
    start(2, :late)
    start(1, :early)
    assert_equal [0, 1.0], [@timers.run, @timers.seconds_left]
    @now += 2
    assert_equal [2, %i[early late], nil], [@timers.run, @fired, @timers.seconds_left]
    assert_equal 0, @timers.run
  end

  def test_repeating_timers
    id = start(1, :tick, true)
    3.times { (@now += 1) && @timers.run }
    @now += 5
    assert_equal 1, @timers.run
    assert_equal [:tick] * 4, @fired
    assert_nil @timers.stop(id)
    @now += 5
    assert_equal 0, @timers.run
  end

  def test_a_timer_may_stop_and_start_others
    other = nil
    @timers.start(1) { @timers.stop(other) && start(0, :new) }
    other = start(1, :stopped)
    @timers.start(1) { @timers.stop(other) || start(0, :new) }
    @now += 1
    @timers.run
    assert_empty @fired
    assert_equal 0.0, @timers.seconds_left
    @timers.run
    assert_equal %i[new], @fired.uniq
  end

  def test_a_timer_that_raises_does_not_fire_again
    @timers.start(0) { raise IOError }
    assert_raises(IOError) { @timers.run }
    assert_equal 0, @timers.run
  end

  def test_misuse
    assert_raises(ArgumentError) { @timers.start(1) }
    assert_raises(TypeError) { @timers.start(nil) {} }
    assert_nil @timers.stop(nil)
    assert_nil @timers.stop(99)
    start(-5, :now)
    assert_equal 1, @timers.run
  end

  def test_the_module_s_own_timers
    id = UI.start_timer(1000) { flunk }
    assert_operator UI.timers.seconds_left, :<=, 1000
    assert_nil UI.stop_timer(id)
    assert_equal 0, UI.timers.run
  end
end
