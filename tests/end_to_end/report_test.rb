# frozen_string_literal: true

require "program_test"

# The machine-readable report, and what goes where.
class ReportTest < ProgramTest
  def setup
    super
    @input = write("terrain.obj", Models.terrain(40))
  end

  def test_the_report_of_a_reduction
    report = reduce(@input, path("out.obj"), "--ratio", 0.1)
    assert_equal [3200, 1681], report.values_at("faces_before", "vertices_before")
    measured = MeshReport.of(path("out.obj"))
    assert_equal measured.values_at("faces", "vertices"), report.values_at("faces_after", "vertices_after")
    assert_operator report["faces_after"], :<=, 320
    assert report["target_reached"]
    assert_kind_of String, report["stopped_because"]
    assert_operator report["step"], :>, 0
    assert_operator report["steps"], :>=, report["step"]
    refute_empty report["phases"]
    report["phases"].each do |phase|
      assert_kind_of String, phase["name"]
      assert_operator phase["seconds"], :>=, 0
      assert_operator phase["peak_bytes"], :>, 1_000_000
    end
    peaks = report["phases"].map { |phase| phase["peak_bytes"] }
    assert_equal peaks.sort, peaks
  end

  def test_standard_output_holds_the_report_and_nothing_else
    result = mirel("reduce", @input, "-o", path("out.obj"), "--ratio", 0.5, "--json", "--quiet")
    assert_equal 0, result.status
    assert_kind_of Hash, result.json
    assert_empty result.err
  end

  def test_quiet_says_nothing
    result = mirel("reduce", @input, "-o", path("out.obj"), "--ratio", 0.5, "--quiet")
    assert_equal [0, "", ""], [result.status, result.out, result.err]
  end

  def test_plain_lines_without_a_terminal
    result = mirel("reduce", @input, "-o", path("out.obj"), "--ratio", 0.5)
    assert_equal 0, result.status
    text = result.out + result.err
    refute_match(/[\e\r]/, text)
    assert_includes text, "3200"
    assert_includes text, "1600"
  end

  def test_info
    info = mirel("info", @input, "--json").json
    assert_equal [3200, 1681], info.values_at("faces", "vertices")
    plain = mirel("info", @input)
    assert_equal 0, plain.status
    assert_includes plain.out, "3200"
  end

  def test_info_of_the_sample
    info = mirel("info", Models::SAMPLE, "--json").json
    measured = MeshReport.of(Models::SAMPLE)
    assert_equal measured.values_at("faces", "vertices"), info.values_at("faces", "vertices")
    text = mirel("info", Models::SAMPLE).out
    measured["materials"].each { |name| assert_includes text, name }
  end
end
