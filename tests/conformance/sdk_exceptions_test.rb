# frozen_string_literal: true

require "conformance"
require "scenarios"

# What the mesh SDK throws comes out as a Ruby exception, whichever operation of whichever method throws it.
class SdkExceptionsTest < Conformance::Test
  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }

  SCENARIOS = Scenarios.all(FOLDER).merge(
    "init_mesh_depot" => ->(importer) { importer.init_mesh_depot },
    "clear_balancer" => ->(importer) { importer.clear_balancer },
    "make_highest_resolution" => ->(importer) { importer.make_highest_resolution },
    "make_lowest_resolution" => ->(importer) { importer.make_lowest_resolution },
    "get_current_step" => ->(importer) { importer.get_current_step },
    "get_hierachy_steps" => ->(importer) { importer.get_hierachy_steps },
    "export_obj" => ->(importer) { importer.export_obj(File.join(FOLDER, "out.obj")) }
  )

  # Once a PLY file is open, a standard exception means that it cannot be read.
  def reading_error?(name, operation) = name.start_with?("import_ply") && !%w[initialize create].include?(operation)

  # The operations that a run reaches.
  def operations(run)
    Scenarios.prepare(importer)
    run.call(importer)
    log.grep(/\A(depot\d|IMeshDepot|IBalancerSDK)/).map { |line| line.split.first.split(".").last }.uniq
  end

  def run_throwing(run, operation, text)
    Scenarios.prepare(importer)
    text ? Recorder.throw_error(operation, text) : Recorder.throw_out_of_memory(operation)
    run.call(importer)
  ensure
    Recorder.reset
  end

  SCENARIOS.each do |name, run|
    define_method("test_#{name.tr(" ", "_")}") do
      reached = operations(run)
      refute_empty reached
      reached.each do |operation|
        if reading_error?(name, operation)
          assert_equal false, run_throwing(run, operation, "broken"), operation
        else
          error = assert_raises(RuntimeError, operation) { run_throwing(run, operation, "broken") }
          assert_equal "broken", error.message
          assert_raises(NoMemoryError, operation) { run_throwing(run, operation, nil) }
        end
        assert_usable
      end
    end
  end

  def assert_usable
    Scenarios.prepare(importer)
    assert_equal true, importer.init_simplify
    assert_equal 2, importer.get_balancer_mesh({})
    assert_equal true, importer.clear_balancer
    refute_dead_calls
  end
end
