# frozen_string_literal: true

require "conformance"
require "scenarios"

# What a callback may do to the method that called it: leave by raise, throw or break, or change the state.
class CallbacksTest < Conformance::Test
  class Stop < StandardError; end

  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }
  SCENARIOS = Scenarios.all(FOLDER)

  # How many events a scenario has when nobody steps in.
  def count_events(run)
    Scenarios.prepare(importer)
    run.call(importer)
    Events.count
  end

  # Prepares, and calls the block inside event number `place` of the run.
  def step_in(run, place, &action)
    Scenarios.prepare(importer)
    Events.hook = lambda do |index, _|
      next unless index == place

      Events.hook = nil
      action.call
    end
    run.call(importer)
  end

  # The whole road, with ordinary callbacks.
  def assert_usable
    refute_dead_calls
    Scenarios.prepare(importer)
    assert_equal 2, importer.get_balancer_mesh(Scenarios.host_meshes)
    assert_equal true, importer.init_simplify
    assert_equal true, importer.go_to_step(4)
    assert_equal 3, importer.count_faces
    assert_equal 0, importer.import_obj("any.obj")
    assert_equal true, importer.clear_balancer
    refute_dead_calls
  end

  SCENARIOS.each do |name, run|
    label = name.tr(" ", "_")

    define_method("test_raise_from_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        error = Stop.new("mine")
        assert_same error, assert_raises(Stop) { step_in(run, place) { raise error } }
        assert_usable
      end
    end

    define_method("test_throw_from_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        assert_equal :thrown, catch(:out) { step_in(run, place) { throw :out, :thrown } }
        assert_usable
      end
    end

    define_method("test_break_from_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        assert_equal :broken, leave_by_break(run, place)
        assert_usable
      end
    end

    define_method("test_clear_in_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        step_in(run, place) { importer.clear_balancer }
        assert_usable
      end
    end

    define_method("test_clear_and_init_in_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        step_in(run, place) do
          importer.clear_balancer
          importer.init_mesh_depot
        end
        assert_usable
      end
    end

    define_method("test_init_in_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        step_in(run, place) { importer.init_mesh_depot }
        assert_usable
      end
    end

    define_method("test_the_method_itself_in_each_callback_of_#{label}") do
      events = count_events(run)
      events.times do |place|
        step_in(run, place) { run.call(importer) }
        assert_usable
      end
    end
  end

  # A break leaves the method that took the block, with the native method in between.
  def leave_by_break(run, place)
    with_block(run, place) { break :broken }
  end

  def with_block(run, place, &block)
    step_in(run, place, &block)
    :not_broken
  end

  def test_the_scenarios_have_callbacks
    silent = %w[count_faces export_obj get_uvs get_remapped_mesh]
    SCENARIOS.each do |name, run|
      silent.include?(name) ? assert_equal(0, count_events(run), name) : assert_operator(count_events(run), :>, 0, name)
    end
  end

  def test_guard_lines_may_raise_too
    calls = [-> { importer.go_to_step(1) }, -> { importer.count_faces }, -> { importer.export_obj("unused") },
             -> { importer.init_simplify }, -> { importer.get_balancer_mesh({}) }]
    calls.each do |call|
      empty_state
      Events.hook = ->(*) { raise Stop }
      assert_raises(Stop, &call)
      assert_usable
    end
  end

  def test_a_capture_that_is_cleared_says_so_and_adds_nothing_more
    Scenarios.prepare(importer)
    Events.hook = ->(_, name) { importer.clear_balancer if name == "mesh.normal_at" }
    assert_equal false, importer.get_balancer_mesh(Scenarios.host_meshes)
    lines = log
    assert_equal 1, lines.grep(/addVertex/).size
    assert_empty lines.grep(/addNormal/)
    assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', lines.last
  end

  # The last questions of a capture are followed by no addition.
  def test_a_capture_that_is_cleared_at_its_last_callback_has_no_current_mesh
    %i[polygons count_polygons].each do |question|
      Scenarios.prepare(importer)
      empty = Geom::PolygonMesh.new([])
      asked = importer
      empty.define_singleton_method(question) do
        asked.clear_balancer
        asked.init_mesh_depot
        super()
      end
      assert_equal false, importer.get_balancer_mesh({ 1 => [empty] })
      assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', log.last
      assert_equal false, importer.export_obj("unused")
      assert_log 'Kernel.puts "Error: Mesh has not been created."'
    end
  end
end
