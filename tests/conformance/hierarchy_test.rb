# frozen_string_literal: true

require "conformance"

# Building the hierarchy and moving along it.
class HierarchyTest < Conformance::Test
  LADDER = "depot1.hierarchy1"

  def go_to(step, last: 10)
    Recorder.answer("currentStep", step)
    Recorder.answer("numSteps", last)
  end

  def test_build_without_tolerance
    make_depot
    assert_equal true, importer.init_simplify
    lines = log
    assert_log <<~LOG, lines.drop(lines.index("importer.use_tolerance?"))
      importer.use_tolerance?
      Kernel.puts "Building Simplification Hierarchy..."
      bar.update_message "Building Simplification Hierarchy..."
      depot1.buildHierarchy 0
      depot1.getNumMeshes
      importer.face_limit
    LOG
    assert_empty lines.grep(/Balancer Mesh Data/)
  end

  def test_build_with_tolerance
    make_depot
    importer.settings = importer.settings.merge(use_tolerance?: true, get_scaled_error_tolerance: 0.1)
    assert_equal true, importer.init_simplify
    lines = log
    assert_log <<~LOG, lines.drop(lines.index("importer.use_tolerance?")).take(7)
      importer.use_tolerance?
      Kernel.puts "Using Error Tolerance for Simplification"
      importer.get_scaled_error_tolerance
      Kernel.puts "0.1"
      Kernel.puts "Building Simplification Hierarchy..."
      bar.update_message "Building Simplification Hierarchy..."
      depot1.buildHierarchy 0.100000001
    LOG
  end

  def test_an_integer_tolerance_prints_as_it_was_given
    make_depot
    importer.settings = importer.settings.merge(use_tolerance?: true, get_scaled_error_tolerance: 2)
    importer.init_simplify
    lines = log
    assert_includes lines, 'Kernel.puts "2"'
    assert_includes lines, "depot1.buildHierarchy 2"
  end

  def test_a_tolerance_that_is_no_number_raises_before_it_is_printed
    make_depot
    importer.settings = importer.settings.merge(use_tolerance?: true, get_scaled_error_tolerance: "much")
    assert_raises(TypeError) { importer.init_simplify }
    assert_equal "importer.get_scaled_error_tolerance", log.last
  end

  def test_truthy_use_tolerance_is_off
    make_depot
    importer.settings = importer.settings.merge(use_tolerance?: 1)
    importer.init_simplify
    lines = log
    assert_includes lines, "depot1.buildHierarchy 0"
    assert_empty lines.grep(/get_scaled_error_tolerance|Using/)
  end

  def test_face_limit_moves_once_after_the_report
    make_depot
    importer.settings = importer.settings.merge(face_limit: 4_294_967_295)
    assert_equal true, importer.init_simplify
    assert_equal ["depot1.getNumMeshes", "importer.face_limit", "#{LADDER}.goToFaceCount 4294967295"], log.last(3)
  end

  def test_face_limit_0_does_not_move
    make_depot
    importer.init_simplify
    assert_empty log.grep(/goTo/)
  end

  def test_face_limit_that_is_no_count_raises_after_the_build
    make_depot
    { nil => TypeError, "9" => TypeError, 4_294_967_296 => RangeError }.each do |limit, error|
      importer.settings = importer.settings.merge(face_limit: limit)
      assert_raises(error) { importer.init_simplify }
    end
    clear_log
    assert_equal 10, importer.get_hierachy_steps
  end

  def test_failed_build
    make_hierarchy
    Recorder.answer("buildHierarchy", 0)
    assert_equal false, importer.init_simplify
    lines = log
    assert_log <<~LOG, lines.last(4)
      Kernel.puts "Building Simplification Hierarchy..."
      bar.update_message "Building Simplification Hierarchy..."
      depot1.buildHierarchy 0
      Kernel.puts "Error: Failed to build simplification hierarchy."
    LOG
    assert_equal false, importer.go_to_step(1)
    assert_log 'Kernel.puts "Error: Cannot Simplify. Hierarchy has not been created."'
  end

  def test_total_counts_the_faces_after_the_build
    make_depot
    importer.get_balancer_mesh({})
    Recorder.answer("getNumVertices", 3)
    Recorder.answer("getNumFaces", 4_294_967_295)
    importer.init_simplify
    assert_equal 4_294_967_295, importer.instance_variable_get(:@total_original_faces)
  end

  def test_each_call_builds_a_new_hierarchy
    make_hierarchy
    importer.init_simplify
    clear_log
    importer.make_highest_resolution
    assert_log "depot1.hierarchy2.goToStep 0"
  end

  # Every method that asks for a hierarchy, with its line.
  GUARDS = {
    go_to_step: [[1], "Error: Cannot Simplify. Hierarchy has not been created."],
    make_decimation_step: [[1], "Error: Cannot Perform Decimation Step. Hierarchy has not been created."],
    make_refinement_step: [[1], "Error: Cannot Refinement Step. Hierarchy has not been created."],
    make_highest_resolution: [[], "Error: Cannot make highest resolution. Hierarchy has not been created."],
    make_lowest_resolution: [[], "Error: Cannot make lowest resolution. Hierarchy has not been created."],
    go_to_faces: [[1], "Error: Cannot Simplify. Hierarchy has not been created."],
    get_current_step: [[], "Error: Cannot Simplify. Hierarchy has not been created."],
    get_hierachy_steps: [[], "Error: Cannot simplification steps. Hierarchy has not been created."]
  }.freeze

  GUARDS.each do |name, (arguments, line)|
    define_method("test_#{name}_without_hierarchy") do
      empty_state
      assert_equal false, importer.public_send(name, *arguments)
      assert_log "Kernel.puts #{line.inspect}"
    end
  end

  def test_the_guard_comes_before_the_conversion
    empty_state
    %i[go_to_step make_decimation_step make_refinement_step go_to_faces].each do |name|
      assert_equal false, importer.public_send(name, "no number")
    end
  end

  def test_go_to_step_twice
    make_hierarchy
    assert_equal true, importer.go_to_step(3)
    assert_equal false, importer.go_to_step(3)
    assert_log <<~LOG
      #{LADDER}.currentStep
      #{LADDER}.goToStep 3
      #{LADDER}.currentStep
    LOG
  end

  def test_go_to_step_does_not_clamp
    make_hierarchy
    assert_equal true, importer.go_to_step(4_294_967_295)
    assert_log "#{LADDER}.currentStep\n#{LADDER}.goToStep 4294967295"
  end

  def test_numbers_are_read_as_unsigned_32_bit
    make_hierarchy
    assert_equal true, importer.go_to_step(2.9)
    assert_equal true, importer.go_to_step(-1)
    assert_equal %w[2 4294967295], log.grep(/goToStep/).map { |line| line.split.last }
    [4_294_967_296, 2**70, -2**40, Float::NAN].each do |number|
      assert_raises(RangeError, FloatDomainError) { importer.go_to_step(number) }
    end
    assert_empty log.grep(/goToStep/)
  end

  def test_arguments_that_are_no_numbers_raise_before_anything_moves
    make_hierarchy
    %i[go_to_step make_decimation_step make_refinement_step go_to_faces].each do |name|
      [nil, "3", Object.new].each { |value| assert_raises(TypeError) { importer.public_send(name, value) } }
    end
    assert_empty log.grep(/goTo/)
  end

  def test_decimation_step
    make_hierarchy
    go_to(4)
    assert_equal true, importer.make_decimation_step(3)
    assert_log <<~LOG
      #{LADDER}.currentStep
      #{LADDER}.numSteps
      #{LADDER}.goToStep 7
    LOG
  end

  def test_decimation_stops_at_the_last_step
    make_hierarchy
    go_to(9)
    assert_equal true, importer.make_decimation_step(10)
    assert_equal "#{LADDER}.goToStep 10", log.last
    go_to(10)
    assert_equal false, importer.make_decimation_step(1)
    assert_empty log.grep(/goTo/)
  end

  def test_decimation_by_0_re_enters_the_step
    make_hierarchy
    go_to(4)
    assert_equal true, importer.make_decimation_step(0)
    assert_equal "#{LADDER}.goToStep 4", log.last
  end

  def test_decimation_wraps_around
    make_hierarchy
    go_to(4)
    assert_equal true, importer.make_decimation_step(4_294_967_295)
    assert_equal "#{LADDER}.goToStep 3", log.last
  end

  def test_decimation_converts_its_argument_even_at_the_last_step
    make_hierarchy
    go_to(10)
    assert_raises(TypeError) { importer.make_decimation_step(nil) }
    assert_log "#{LADDER}.currentStep\n#{LADDER}.numSteps"
  end

  def test_refinement_step
    make_hierarchy
    go_to(7)
    assert_equal true, importer.make_refinement_step(3)
    assert_log "#{LADDER}.currentStep\n#{LADDER}.goToStep 4"
  end

  def test_refinement_stops_at_step_0
    make_hierarchy
    go_to(2)
    assert_equal true, importer.make_refinement_step(5)
    assert_equal "#{LADDER}.goToStep 0", log.last
    go_to(0)
    assert_equal false, importer.make_refinement_step(5)
    assert_raises(TypeError) { importer.make_refinement_step(nil) }
    assert_empty log.grep(/goTo/)
  end

  def test_refinement_by_a_number_that_wraps_moves_coarser
    make_hierarchy
    go_to(5)
    assert_equal true, importer.make_refinement_step(4_294_967_295)
    assert_equal "#{LADDER}.goToStep 6", log.last
    importer.make_refinement_step(2_147_483_653)
    # 5 - 2147483653 is the lowest signed number: negative.
    assert_equal "#{LADDER}.goToStep 0", log.last
    importer.make_refinement_step(2_147_483_654)
    assert_equal "#{LADDER}.goToStep 2147483647", log.last
  end

  def test_refinement_by_0_re_enters_the_step
    make_hierarchy
    go_to(5)
    assert_equal true, importer.make_refinement_step(0)
    assert_equal "#{LADDER}.goToStep 5", log.last
  end

  def test_both_ends
    make_hierarchy
    assert_equal true, importer.make_lowest_resolution
    assert_equal true, importer.make_highest_resolution
    assert_log <<~LOG
      #{LADDER}.numSteps
      #{LADDER}.goToStep 10
      #{LADDER}.goToStep 0
    LOG
  end

  def test_go_to_faces
    make_hierarchy
    assert_equal true, importer.go_to_faces(0)
    assert_equal true, importer.go_to_faces(4_294_967_295)
    assert_log "#{LADDER}.goToFaceCount 0\n#{LADDER}.goToFaceCount 4294967295"
  end

  def test_current_step
    make_hierarchy
    go_to(4_294_967_295)
    assert_equal 4_294_967_295, importer.get_current_step
    assert_log "#{LADDER}.currentStep"
  end

  def test_steps_are_asked_for_twice
    make_hierarchy
    assert_equal 10, importer.get_hierachy_steps
    assert_log "#{LADDER}.numSteps\n#{LADDER}.numSteps"
  end

  def test_count_faces_adds_over_all_meshes
    make_depot
    3.times { importer.get_balancer_mesh({}) }
    Recorder.answer("getNumFaces", 5)
    Recorder.answer("depot1.mesh1.getNumFaces", 100)
    clear_log
    assert_equal 110, importer.count_faces
    assert_log <<~LOG
      depot1.getNumMeshes
      depot1.getMesh 0
      depot1.mesh0.getNumFaces
      depot1.getMesh 1
      depot1.mesh1.getNumFaces
      depot1.getMesh 2
      depot1.mesh2.getNumFaces
    LOG
  end

  def test_count_faces_is_signed
    make_depot
    importer.get_balancer_mesh({})
    Recorder.answer("getNumFaces", 2_147_483_648)
    assert_equal(-2_147_483_648, importer.count_faces)
    importer.get_balancer_mesh({})
    assert_equal 0, importer.count_faces
  end

  def test_a_conversion_that_loses_the_hierarchy
    make_hierarchy
    number = Object.new
    clearing = Zu::Mirel::Importer.new
    number.define_singleton_method(:to_int) do
      Recorder.answer("buildHierarchy", 0)
      clearing.init_simplify
      clearing.clear_balancer
      3
    end
    %i[go_to_step make_decimation_step make_refinement_step go_to_faces].each do |name|
      make_hierarchy
      importer.public_send(name, number)
      refute_dead_calls
    end
  end
end
