# frozen_string_literal: true

require "conformance"

# init_mesh_depot, clear_balancer, and what every method does without a depot.
class BalancerStateTest < Conformance::Test
  MISSING_DEPOT = 'Kernel.puts "Error: MeshDepot has not been created."'
  MISSING_MESH = 'Kernel.puts "Error: Mesh has not been created."'

  def setup
    super
    empty_state
  end

  def test_init_makes_sdk_and_depot
    assert_equal true, importer.init_mesh_depot
    assert_log <<~LOG
      IBalancerSDK.initialize
      IMeshDepot.create
    LOG
    assert_equal true, importer.instance_variable_get(:@mesh_depot_in_memory)
  end

  def test_init_without_sdk_prints_and_makes_no_depot
    Recorder.answer("initialize", 0)
    assert_equal false, importer.init_mesh_depot
    assert_log <<~'LOG'
      IBalancerSDK.initialize
      Kernel.puts "Error: BalancerSDK failed to initialize.\n"
    LOG
    refute importer.instance_variable_defined?(:@mesh_depot_in_memory)
    assert_equal 0, importer.count_faces
    assert_log MISSING_DEPOT
  end

  def test_failed_init_keeps_the_earlier_depot
    make_depot
    Recorder.answer("initialize", 0)
    assert_equal false, importer.init_mesh_depot
    clear_log
    assert_equal 0, importer.count_faces
    assert_log "depot1.getNumMeshes"
  end

  def test_second_init_frees_nothing
    importer.init_mesh_depot
    assert_equal true, importer.init_mesh_depot
    assert_log <<~LOG
      IBalancerSDK.initialize
      IMeshDepot.create
      IBalancerSDK.initialize
      IMeshDepot.create
    LOG
    importer.count_faces
    assert_log "depot2.getNumMeshes"
  end

  def test_second_init_keeps_the_hierarchy
    make_hierarchy
    importer.init_mesh_depot
    clear_log
    assert_equal 10, importer.get_hierachy_steps
    assert_log "depot1.hierarchy1.numSteps\ndepot1.hierarchy1.numSteps"
  end

  def test_init_forgets_the_current_mesh
    make_depot
    importer.get_balancer_mesh({})
    importer.init_mesh_depot
    clear_log
    assert_equal false, importer.export_obj("unused")
    assert_log MISSING_MESH
  end

  def test_count_faces_of_an_empty_depot
    make_depot
    assert_equal 0, importer.count_faces
  end

  def test_init_on_a_frozen_receiver_raises
    assert_raises(FrozenError) { importer.freeze.init_mesh_depot }
  end

  def test_clear_in_order
    make_depot
    assert_equal true, importer.clear_balancer
    assert_log <<~LOG
      depot1.clear
      IMeshDepot.destroy depot1
      IBalancerSDK.release sdk1
    LOG
  end

  def test_second_clear_frees_nothing
    make_depot
    importer.clear_balancer
    clear_log
    assert_equal true, importer.clear_balancer
    assert_log ""
  end

  def test_clear_before_any_init
    output, errors, status = Conformance.run_ruby(<<~SCRIPT)
      require "recorder"
      require "stand_ins"
      require #{Conformance::EXTENSIONS.fetch(:mirel).dump}
      importer = Zu::Mirel::Importer.new
      STDOUT.puts importer.clear_balancer, importer.clear_balancer, Recorder.take_log
      STDOUT.puts importer.init_mesh_depot, Recorder.take_log
    SCRIPT
    assert_equal %w[true true true IBalancerSDK.initialize IMeshDepot.create], output.split, errors + status.to_s
  end

  def test_clear_without_depot_releases_the_sdk
    Recorder.answer("create", 0)
    importer.init_mesh_depot
    clear_log
    assert_equal true, importer.clear_balancer
    assert_log "IBalancerSDK.release sdk1"
  end

  def test_clear_without_sdk_destroys_the_depot
    make_depot
    Recorder.answer("initialize", 0)
    importer.init_mesh_depot
    clear_log
    importer.clear_balancer
    assert_log <<~LOG
      depot1.clear
      IMeshDepot.destroy depot1
    LOG
  end

  def test_init_after_clear_that_fails_leaves_the_state_cleared
    make_depot
    importer.clear_balancer
    Recorder.answer("initialize", 0)
    importer.init_mesh_depot
    clear_log
    assert_equal 0, importer.count_faces
    assert_equal true, importer.clear_balancer
    assert_log MISSING_DEPOT
  end

  def test_clear_leaves_the_arrays_of_the_receiver
    make_depot
    arrays = { :@triangles => [1], :@lines => [2], :@mesh_points => [3] }
    arrays.each { |name, value| importer.instance_variable_set(name, value) }
    importer.clear_balancer
    arrays.each { |name, value| assert_same value, importer.instance_variable_get(name) }
    assert_equal [[1], [2], [3]], arrays.values
  end

  # Each method that reads the depot or the current mesh, with its result when they are missing.
  GUARDED = {
    "count_faces" => [->(importer) { importer.count_faces }, 0, MISSING_DEPOT],
    "init_simplify" => [->(importer) { importer.init_simplify }, false, MISSING_DEPOT],
    "get_balancer_mesh" => [->(importer) { importer.get_balancer_mesh({ 1 => [] }) }, false, MISSING_DEPOT],
    "export_obj" => [->(importer) { importer.export_obj("unused") }, false, MISSING_MESH]
  }.freeze

  GUARDED.each do |name, (call, result, line)|
    define_method("test_#{name}_without_depot") do
      assert_equal result, call.call(importer)
      assert_log line
      refute_path_exists "unused"
    end

    define_method("test_#{name}_after_clear") do
      make_depot
      importer.get_balancer_mesh({})
      importer.clear_balancer
      clear_log
      assert_equal result, call.call(importer)
      assert_log line
      refute_path_exists "unused"
    end
  end

  def test_navigation_after_clear_speaks_to_the_ended_ladder
    make_hierarchy
    importer.clear_balancer
    Recorder.answer("numSteps", 0)
    clear_log
    results = [importer.go_to_step(3), importer.make_highest_resolution, importer.make_lowest_resolution,
               importer.go_to_faces(1), importer.get_hierachy_steps]
    assert_equal [true, true, true, true, 0], results
    refute_dead_calls
  end

  def test_capture_simplify_clear_init_then_every_navigation_method
    make_depot
    importer.get_balancer_mesh({ :a => [Geom::PolygonMesh.new([[1, 2, 3]])] })
    importer.init_simplify
    importer.clear_balancer
    importer.init_mesh_depot
    importer.go_to_step(1)
    importer.make_decimation_step(1)
    importer.make_refinement_step(1)
    importer.make_highest_resolution
    importer.make_lowest_resolution
    importer.go_to_faces(1)
    importer.get_current_step
    importer.get_hierachy_steps
    importer.count_faces
    refute_dead_calls
  end
end
