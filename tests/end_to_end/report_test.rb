# frozen_string_literal: true

require "program_test"

# The machine-readable report, and what goes where.
class ReportTest < ProgramTest
  parallelize_me!

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

  def test_the_report_bounds_the_deviation
    report = reduce(@input, path("out.obj"), "--ratio", 0.1)
    measured = MeshReport.of(path("out.obj"), "--against", @input)
    # The file keeps six digits of each coordinate.
    assert_operator report["deviation_bound"], :>=, measured["max_distance_lower_bound"] - 2e-5
    assert_operator report["deviation_bound"], :<=, (measured["max_distance_lower_bound"] * 1.1) + 2e-5
    assert_includes report["phases"].map { |phase| phase["name"] }, "deviation"
    assert_equal 0, reduce(@input, path("all.obj"), "--ratio", 1)["deviation_bound"]
    assert_nil reduce(@input, path("out.obj"), "--ratio", 0.1, "--no-deviation")["deviation_bound"]
    tolerant = reduce(@input, path("out.obj"), "--ratio", 0.5, "--tolerance", 0.1, "--no-deviation")
    assert_operator tolerant["deviation_bound"], :<=, 0.1
    refute_includes tolerant["phases"].map { |phase| phase["name"] }, "deviation"
  end

  def test_plain_lines_tell_the_deviation_when_asked
    plain = mirel("reduce", @input, "-o", path("out.obj"), "--ratio", 0.1)
    refute_match(/deviation/, plain.out + plain.err)
    asked = mirel("reduce", @input, "-o", path("out.obj"), "--ratio", 0.1, "--deviation")
    assert_match(/, deviation at most 0\.\d+/, asked.out + asked.err)
  end

  def test_every_reason_to_stop_has_its_name
    torus = write("torus.obj", torus(30, 20))
    { "target met" => [@input, "--ratio", 0.1], "tolerance" => [@input, "--faces", 2, "--tolerance", 0.05],
      "locked boundary" => [@input, "--faces", 2, "--lock-boundaries"],
      # Spikes of all lengths: no way leads from a few faces that look up and down to fewer.
      "fold-over" => [write("spiky.obj", spiky_ball(20)), "--faces", 2, "--prevent-xy-foldovers"],
      # Without its hole it would be no torus.
      "topology" => [torus, "--faces", 2] }.each do |reason, (input, *options)|
      report = reduce(input, path("out.obj"), *options, "--no-deviation")
      assert_equal reason, report["stop_reason"]
      held = report["edges_held"][reason.tr(" ", "_").delete("-")]
      assert_operator held, :>, 0, reason if held && reason != "target met"
      plain = mirel("reduce", input, "-o", path("out.obj"), *options)
      missed = "#{report['faces_wanted']} faces could not be reached"
      lines = (plain.out + plain.err).lines.grep(/#{missed}/)
      assert_equal(report["target_reached"] ? 0 : 1, lines.size, reason)
      assert_includes lines.first, "#{held} edges" unless lines.empty?
    end
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
    # On its border one face goes at a time, elsewhere two.
    left = File.foreach(path("out.obj")).grep(/^f /).size
    assert_includes [1599, 1600], left
    assert_match(/\b3200 -> #{left} faces\b/, text)
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

  private

  # Its narrow faces lean against each other by more than a collapse may turn one.
  # A ball whose points are between a 100,000th and 100,000 times its radius away.
  def spiky_ball(count)
    random = Random.new(7)
    angles = [[0, 0], [Math::PI, 0]] +
             (1...count).to_a.product((0...count).to_a).map { |i, j| [Math::PI * i / count, 2 * Math::PI * j / count] }
    points = angles.map do |t, p|
      length = 100_000**((random.rand * 2) - 1)
      [Math.sin(t) * Math.cos(p), Math.sin(t) * Math.sin(p), Math.cos(t)].map { |x| format("%.6f", x * length) }
    end
    at = ->(i, j) { 3 + ((i - 1) * count) + (j % count) }
    faces = Array.new(count) do |j|
      [[1, at[1, j], at[1, j + 1]], [2, at[count - 1, j + 1], at[count - 1, j]]] +
        (1...count - 1).flat_map do |i|
          [[at[i, j], at[i + 1, j], at[i + 1, j + 1]], [at[i, j], at[i + 1, j + 1], at[i, j + 1]]]
        end
    end
    points.map { |xyz| "v #{xyz.join(' ')}\n" }.join + faces.flatten(1).map { |abc| "f #{abc.join(' ')}\n" }.join
  end

  def torus(sides, rings)
    points = Array.new(sides * rings) do |k|
      a, b = [k / rings * 2 * Math::PI / sides, k % rings * 2 * Math::PI / rings]
      [(2 + Math.cos(b)) * Math.cos(a), (2 + Math.cos(b)) * Math.sin(a), Math.sin(b)]
    end
    faces = Array.new(sides * rings) do |k|
      i, j = k.divmod(rings)
      at = ->(u, v) { (u % sides * rings) + (v % rings) }
      [at.(i, j), at.(i + 1, j), at.(i + 1, j + 1), at.(i, j + 1)]
    end
    Models.obj(points, faces)
  end
end
