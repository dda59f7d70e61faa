# frozen_string_literal: true

require 'host_test'

class ColorTest < HostTest
  Color = Sketchup::Color

  def test_every_way_to_make_one
    assert_equal [0, 0, 0, 255], Color.new.to_a
    assert_equal [1, 2, 3, 255], Color.new(1, 2, 3).to_a
    assert_equal [1, 2, 3, 4], Color.new(1, 2, 3, 4).to_a
    assert_equal [1, 2, 3, 4], Color.new([1, 2, 3, 4]).to_a
    assert_equal [255, 128, 0, 255], Color.new(1.0, 0.5, 0.0).to_a
    assert_equal [255, 165, 0, 255], Color.new('Orange').to_a
    assert_equal [255, 128, 0, 255], Color.new('#ff8000').to_a
    assert_equal [255, 128, 0, 17], Color.new('#ff800011').to_a
    assert_equal [3, 2, 1, 255], Color.new(0x010203).to_a
    assert_equal [1, 2, 3, 4], Color.new(Color.new(1, 2, 3, 4)).to_a
  end

  # Files hold components above 1; the import passes them on.
  def test_components_are_not_clamped
    assert_equal [510, -3, 0, 255], Color.new(510, -3, 0).to_a
  end

  def test_what_is_no_color
    [%w[nonsense], [1, 2], [[1]], [nil], [1, 2, 3, 4, 5], ['#12345'], [Float::NAN, 0, 0]].each do |bad|
      assert_raises(ArgumentError, bad.inspect) { Color.new(*bad) }
    end
  end

  def test_components
    color = Color.new(1, 2, 3, 4)
    assert_equal [1, 2, 3, 4], [color.red, color.green, color.blue, color.alpha]
    color.red = 9
    color.alpha = 0.5
    assert_equal [9, 2, 3, 128], color.to_a
    assert_equal 0x030209, color.to_i
    assert_equal Color.new(9, 2, 3, 128), color
    refute_equal Color.new(9, 2, 3), color
    assert_equal [5, 5, 5, 255], Color.new(0, 0, 0).blend(Color.new(10, 10, 10), 0.5).to_a
    assert_includes Color.names, 'Orange'
  end
end

class UiTest < HostTest
  def test_a_message_box_is_a_line_on_standard_error
    result = nil
    out, err = capture_io { result = UI.messagebox('Saved.') }
    assert_equal ['', "Saved.\n", 1], [out, err, result]
    assert_nil UI.stop_timer(7)
  end
end
