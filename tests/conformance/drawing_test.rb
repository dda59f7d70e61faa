# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"

# draw: the order of calls of a frame in both modes, and the preview's helpers that no method reaches.
class DrawingTest < Conformance::Test
  IDENTITY = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1].freeze

  def setup
    super
    make_depot
    MirelTest.init_mesh
    Recorder.floats("getVertices", [0, 0, 0, 1, 0, 0, 0, 1, 0])
    Recorder.indices("getFaces", [0, 1, 2])
    Recorder.answer("getNumFaces", 1)
    %i[triangles lines mesh_points].each { |name| set(name, []) }
    @view = View.new
    @now = Time.method(:now)
    clear_log
  end

  def teardown
    Time.define_singleton_method(:now, @now)
  end

  def set(name, value) = importer.instance_variable_set("@#{name}", value)
  def get(name) = importer.instance_variable_get("@#{name}")

  # Fills the arrays from a mesh of that many face sets of one triangle each.
  def read_back(set_count = 0)
    Recorder.answer("getNumFaceSets", set_count)
    Recorder.indices("getFaceSetFaces", [0, 1, 2])
    Recorder.answer("numFacesInSet", 1)
    importer.get_triangles(0, IDENTITY)
    clear_log
  end

  # Time.now becomes an event that moves on by a second each time.
  def count_time
    time = Time.at(1000)
    Time.define_singleton_method(:now) do
      Events.emit("Time.now")
      time += 1
    end
  end

  # Arrays of points are too long for a log.
  def short_log = log.map { |line| line.sub(/(view\.draw \d).*/, '\1') }

  def test_full_frame
    read_back(2)
    count_time
    set(:draw_full_timer, 17)
    assert_same @view, importer.draw(@view)
    assert_log <<~LOG, short_log
      UI.stop_timer 17
      Time.now
      view.drawing_color= "black"
      view.draw 1
      importer.get_triangle_color_at 0
      view.drawing_color= "colour 0"
      view.draw 4
      importer.get_triangle_color_at 1
      view.drawing_color= "colour 1"
      view.draw 4
      importer.draw_bounds view
      Time.now
      importer.set_status_text
    LOG
    assert_equal 1.0, get(:last_draw_time)
    assert_kind_of Float, get(:last_draw_time)
    assert_equal 17, get(:draw_full_timer)
  end

  def test_full_frame_hands_over_the_arrays_of_the_last_readback
    read_back(2)
    importer.draw(@view)
    assert_equal [1, 4, 4], @view.drawn.map(&:first)
    [get(:lines), *get(:triangles)].zip(@view.drawn) { |array, (_, points)| assert_same array, points }
  end

  def test_full_frame_uses_the_references_and_not_the_instance_variables
    read_back
    lines = get(:lines)
    set(:lines, [])
    set(:triangles, [])
    importer.draw(@view)
    assert_same lines, @view.drawn.first.last
    assert_equal 2, @view.drawn.size
  end

  def test_points_frame
    read_back
    count_time
    set(:draw_points_only, true)
    points = [[1.0, 2.0, 3.0]]
    set(:mesh_points, points) # after the readback: read afresh
    assert_same @view, importer.draw(@view)
    assert_log <<~LOG
      Time.now
      view.drawing_color= "black"
      importer.optimize_dynamic_drawing view
      view.draw 0 [[1.0, 2.0, 3.0]]
      importer.draw_bounds view
      Time.now
      importer.set_status_text
    LOG
    assert_same points, @view.drawn.first.last
    assert_equal 1.0, get(:last_draw_time)
  end

  def test_only_true_itself_selects_points
    read_back
    [nil, false, 1, "true", :true, Object.new].each do |value|
      set(:draw_points_only, value)
      importer.draw(@view)
      lines = log
      assert_equal 1, lines.grep(/get_triangle_color_at/).size
      assert_empty lines.grep(/optimize_dynamic_drawing/)
    end
  end

  def test_the_draw_callback_is_armed_by_the_first_frame
    read_back
    importer.draw(@view)
    assert_empty log.grep(/on_draw_complete/)
    assert_equal true, get(:draw_callback)
    importer.draw(@view)
    assert_equal ["importer.set_status_text", "importer.on_draw_complete"], log.last(2)
    assert_equal true, get(:draw_callback)
  end

  def test_other_values_of_the_draw_callback_are_replaced
    read_back
    [nil, false, 1, "true"].each do |value|
      set(:draw_callback, value)
      importer.draw(@view)
      assert_empty log.grep(/on_draw_complete/)
      assert_equal true, get(:draw_callback)
    end
  end

  def test_a_timer_is_stopped_unless_it_is_nil
    read_back
    importer.draw(@view)
    assert_empty log.grep(/stop_timer/)
    [0, false, "timer"].each do |timer|
      set(:draw_full_timer, timer)
      importer.draw(@view)
      assert_equal ["UI.stop_timer #{timer.inspect}"], log.grep(/stop_timer/)
      assert_equal timer, get(:draw_full_timer)
    end
  end

  def test_the_draw_time_leaves_out_the_timer_the_status_and_the_completion
    read_back
    set(:draw_full_timer, 1)
    set(:draw_callback, true)
    clock = Time.at(0)
    Time.define_singleton_method(:now) { clock }
    Events.hook = lambda do |_, name|
      left_out = %w[UI.stop_timer importer.set_status_text importer.on_draw_complete]
      clock += left_out.include?(name) ? 100 : 1
    end
    importer.draw(@view)
    # Two colours, one colour asked for, two drawings, the bounds.
    assert_equal 6.0, get(:last_draw_time)
  end

  def test_the_frame_never_touches_the_sdk
    read_back(3)
    [false, true].each do |points_only|
      set(:draw_points_only, points_only)
      importer.draw(@view)
    end
    assert_empty log.grep(/depot|mesh\d/)
  end

  def test_before_the_first_readback_the_view_gets_nil
    importer.clear_balancer
    clear_log
    assert_raises(NoMethodError) { importer.draw(@view) }
    assert_equal ['view.drawing_color= "black"', "view.draw 1 nil"], log
    assert_nil get(:last_draw_time)
    assert_nil get(:draw_callback)
  end

  def test_triangles_that_are_no_array_raise
    [["text"] * 2, "text", { 0 => 1 }].each_with_index do |value, place|
      MirelTest.preview = [value, [], [], nil, nil]
      place.zero? ? importer.draw(@view) : assert_raises(TypeError) { importer.draw(@view) }
    end
    MirelTest.preview = [nil] * 5
  end

  def test_callbacks_may_clear_the_state_or_shorten_the_array
    read_back(3)
    Events.hook = ->(_, name) { importer.clear_balancer if name == "importer.get_triangle_color_at" }
    importer.draw(@view)
    assert_equal [1, 4, 4, 4], @view.drawn.map(&:first)
    assert_equal [nil] * 5, MirelTest.preview
    make_depot
    MirelTest.init_mesh
    setup_arrays_again
    Events.hook = ->(_, name) { get(:triangles).clear if name == "importer.get_triangle_color_at" }
    importer.draw(@view)
    assert_equal [[4, nil]] * 2, @view.drawn.last(2)
  end

  def setup_arrays_again
    Recorder.floats("getVertices", [0, 0, 0, 1, 0, 0, 0, 1, 0])
    set(:triangles, [])
    read_back(2)
  end

  # Steps after the one that raises are left out.
  def test_an_exception_ends_the_frame
    read_back(1)
    set(:draw_callback, false)
    names = %w[view.drawing_color= view.draw importer.get_triangle_color_at importer.draw_bounds]
    names.each do |failing|
      Events.hook = ->(_, name) { raise IOError, "stop" if name == failing }
      assert_raises(IOError) { importer.draw(@view) }
      assert_nil get(:last_draw_time)
      assert_equal false, get(:draw_callback)
      assert_empty log.grep(/set_status_text/)
    end
    Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.set_status_text" }
    assert_raises(IOError) { importer.draw(@view) }
    assert_kind_of Float, get(:last_draw_time)
    assert_equal false, get(:draw_callback)
  end

  # Whatever raises, no step after it is made.
  def test_an_exception_at_each_call_of_a_frame
    [false, true].each do |points_only|
      read_back(2)
      count_time
      { draw_points_only: points_only, draw_full_timer: 17, draw_callback: true }.each { |name, value| set(name, value) }
      Events.reset
      importer.draw(@view)
      whole = log
      whole.size.times do |place|
        set(:last_draw_time, nil)
        Events.reset
        Events.hook = ->(index, _) { raise IOError, "stop" if index == place }
        assert_raises(IOError) { importer.draw(@view) }
        assert_equal whole.first(place + 1), log
        assert_equal [17, true], [get(:draw_full_timer), get(:draw_callback)]
        # Nothing is measured before the second look at the clock has come back.
        assert_equal place > whole.rindex("Time.now"), !get(:last_draw_time).nil?
      end
      Events.reset
    end
  end

  def test_missing_callbacks_raise
    read_back
    bare = Zu::Mirel::Importer.new
    %i[triangles lines mesh_points].each { |name| bare.instance_variable_set("@#{name}", []) }
    bare.singleton_class.undef_method(:draw_bounds)
    assert_raises(NoMethodError) { bare.draw(@view) }
    assert_raises(NoMethodError) { importer.draw(nil) }
  end

  # --- helpers that no method reaches

  Painted = Struct.new(:color)

  def test_preview_mesh_colors
    materials = [Painted.new("red"), nil, Painted.new(nil), Painted.new(7)]
    colors = MirelTest.preview_mesh_colors(materials)
    assert_equal ["red", "white", nil, 7], colors
    assert_same colors, MirelTest.preview[4]
    assert_equal Encoding::UTF_8, colors[1].encoding
    refute_same colors, MirelTest.preview_mesh_colors(materials)
    assert_equal [], MirelTest.preview_mesh_colors([])
  end

  def test_preview_mesh_colors_survive_the_garbage_collector
    MirelTest.preview_mesh_colors([nil] * 10)
    10.times do
      GC.start
      Array.new(1000) { "other" * 10 }
    end
    assert_equal ["white"] * 10, MirelTest.preview[4]
  ensure
    MirelTest.preview = [nil] * 5
  end

  def test_preview_mesh_colors_ask_for_length_and_entries
    list = Object.new
    def list.length = Events.emit("length") && 2 || 2
    def list.[](index) = Events.emit("[]", index) && nil
    assert_equal %w[white white], MirelTest.preview_mesh_colors(list)
    assert_log "length\n[] 0\n[] 1"
  end

  def test_preview_mesh_colors_survive_a_clear_in_a_callback
    material = Object.new
    user = importer
    material.define_singleton_method(:color) { user.clear_balancer && "red" }
    MirelTest.preview_mesh_colors([material, material])
    assert_nil MirelTest.preview[4]
    assert_raises(NoMethodError) { MirelTest.preview_mesh_colors([7]) }
    assert_raises(NoMethodError) { MirelTest.preview_mesh_colors(nil) }
  end

  def test_timers
    watch = Object.new
    def watch.timer_start = Events.emit("watch.timer_start")
    def watch.time_since = Events.emit("watch.time_since") && nil || 1.5
    MirelTest.start_timer(watch)
    MirelTest.stop_timer(watch, "Took: ")
    assert_log <<~LOG
      watch.timer_start
      watch.time_since
      Kernel.print "Took: "
      Kernel.puts "1.5"
    LOG
    assert_raises(NoMethodError) { MirelTest.start_timer(nil) }
    assert_raises(NoMethodError) { MirelTest.stop_timer(nil, "") }
  end

  # What leaves a callback leaves the helper, and the next call finds everything in order.
  def test_helpers_are_left_by_raise_throw_and_break
    list = Object.new
    def list.length = Events.emit("list.length") && 1 || 1
    def list.[](index) = Events.emit("list.[]", index) && nil || Class.new { def self.color = Events.emit("color") }
    watch = Object.new
    def watch.timer_start = Events.emit("watch.timer_start")
    def watch.time_since = Events.emit("watch.time_since") && nil || 1.5
    helpers = [-> { MirelTest.preview_mesh_colors(list) }, -> { MirelTest.start_timer(watch) },
               -> { MirelTest.stop_timer(watch, "Took: ") }, -> { MirelTest.create_poly_mesh(0) }]
    helpers.each do |helper|
      Events.reset
      helper.call
      events = Events.count
      assert_operator events, :>, 0
      events.times do |place|
        assert_raises(IOError) { step_in(helper, place) { raise IOError, "stop" } }
        assert_equal :thrown, catch(:out) { step_in(helper, place) { throw :out, :thrown } }
        assert_equal :broken, leave_by_break(helper, place)
      end
      Events.reset
      helper.call
    end
  ensure
    Events.reset
    MirelTest.preview = [nil] * 5
  end

  def step_in(helper, place, &action)
    Events.reset
    Events.hook = ->(index, _) { action.call if index == place }
    helper.call
    :not_left
  end

  def leave_by_break(helper, place) = with_block(helper, place) { break :broken }

  def with_block(helper, place, &block)
    step_in(helper, place, &block)
  end

  def test_helpers_under_gc_stress
    watch = Object.new
    def watch.timer_start = nil
    def watch.time_since = 1.5 / 3
    materials = [Painted.new("red"), nil, Painted.new("blue")]
    GC.stress = true
    colors = MirelTest.preview_mesh_colors(materials)
    MirelTest.start_timer(watch)
    MirelTest.stop_timer(watch, "Took: ")
    mesh = MirelTest.create_poly_mesh(0)
    GC.stress = false
    assert_equal %w[red white blue], colors
    assert_kind_of Geom::PolygonMesh, mesh
    assert_equal 'Kernel.puts "0.5"', log.grep(/Kernel/).last
  ensure
    GC.stress = false
  end

  def test_a_poly_mesh_has_the_mesh_s_sizes
    Recorder.answer("getNumVertices", 42)
    Recorder.answer("getNumFaces", 24)
    assert_kind_of Geom::PolygonMesh, MirelTest.create_poly_mesh(0)
    assert_log <<~LOG
      depot1.getMesh 0
      depot1.mesh0.getNumVertices
      depot1.mesh0.getNumFaces
      PolygonMesh.new 42 24
    LOG
  end
end
