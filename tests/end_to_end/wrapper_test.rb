# frozen_string_literal: true

require "program_test"

# The scripts of the checkout's top folder. Not in parallel: what takes time here is timed.
class WrapperTest < ProgramTest
  MIREL = [File.join(Program::ROOT, "mirel")].freeze

  def test_it_hands_over_arguments_and_exit_status
    first = Program.run("--version", main: MIREL)
    assert_equal [0, Program.run("--version").out], [first.status, first.out]
    assert_equal 1, Program.run("reduce", path("a b.obj"), "-o", path("out.obj"), "--ratio", "0.5", main: MIREL).status
  end

  def test_its_own_start_up_takes_less_than_50_ms
    Program.run("--version", main: MIREL)
    fastest = [MIREL, Program::MAIN].map do |main|
      times = Array.new(9) do
        start = Process.clock_gettime(Process::CLOCK_MONOTONIC)
        Program.run("--version", main: main)
        Process.clock_gettime(Process::CLOCK_MONOTONIC) - start
      end
      times.min
    end
    assert_operator fastest[0] - fastest[1], :<, 0.05
  end

  def test_running_needs_less_than_testing
    run, test = %w[--run --test].map { |set| `#{Program::ROOT}/scripts/setup #{set} --list`.split }
    refute_empty run
    refute_empty test
    assert_empty run & test
  end

  def test_set_up_refuses_what_it_does_not_know
    _, err, status = Open3.capture3(File.join(Program::ROOT, "scripts/setup"), "--everything")
    assert_equal 1, status.exitstatus
    assert_includes err, "--everything"
  end

  def test_misspelt_suites_are_refused
    _, err, status = Open3.capture3(RbConfig.ruby, File.join(Program::ROOT, "scripts/run_tests.rb"), "untit")
    refute status.success?
    assert_includes err, "untit"
  end
end
