# frozen_string_literal: true

require "program_test"

# mirel compare: figures with known answers, the heat map, and what it refuses.
class CompareTest < ProgramTest
  parallelize_me!

  # The unit square at a height, of two triangles.
  def square(height)
    Models.obj([[0, 0, height], [1, 0, height], [1, 1, height], [0, 1, height]], [[0, 1, 2], [0, 2, 3]])
  end

  def compare(*words)
    result = mirel("compare", *words, "--json", "--quiet")
    assert_equal 0, result.status, result.err
    assert_empty result.err
    result.json
  end

  def test_parallel_squares
    report = compare(write("a.obj", square(0)), write("b.obj", square(0.25)), "--exact", "--samples", 5000)
    assert_equal "compare", report["command"]
    assert_equal 5000, report["samples"]
    assert_in_delta Math.sqrt(2), report["diagonal"], 1e-7
    [report, report["first_to_second"], report["second_to_first"]].each do |figures|
      %w[rms mean max].each do |name|
        assert_in_delta 0.25, figures[name], 1e-9, name
        assert_in_delta 0.25 / Math.sqrt(2), figures["#{name}_relative"], 1e-7, name
      end
      assert_operator figures["max_bound"], :>=, 0.25
      assert_operator figures["max_bound"], :<=, 0.2526
      assert_in_delta 0, figures["normal_degrees"], 1e-9
    end
    assert_equal [2, 4], report["first"].values_at("faces", "vertices")
    assert_in_delta 1, report["second"]["area"], 1e-6
    assert_in_delta 0.25, report["first_to_second"]["nearest_point"][2], 1e-9
  end

  def test_text
    result = mirel("compare", write("a.obj", square(0)), write("b.obj", square(0.25)))
    assert_equal 0, result.status
    assert_match(/^RMS +0.25 \(17.68 %\) +0.25 \(17.68 %\) +0.25 \(17.68 %\)$/, result.out)
    assert_match(/^maximum +0.25 /, result.out)
    assert_match(/^normals +0 degrees/, result.out)
    assert_match(/^worst +\(.*\) of the first, nearest \(.*0.25\) of the second$/, result.out)
    refute_match(/at most/, result.out)
    assert_match(/^at most +0.25/, mirel("compare", path("a.obj"), path("b.obj"), "--exact").out)
  end

  def test_quiet_prints_nothing
    result = mirel("compare", write("a.obj", square(0)), write("b.obj", square(1)), "--quiet")
    assert_equal [0, "", ""], [result.status, result.out, result.err]
  end

  def test_every_object_of_a_file_counts
    two = Models.obj([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]).sub(/^f/, "o one\nf") <<
          "o two\nv 0 0 5\nv 1 0 5\nv 0 1 5\nf 4 5 6\n"
    one = Models.obj([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    report = compare(write("two.obj", two), write("one.obj", one))
    assert_equal [2, 1], [report["first"]["faces"], report["second"]["faces"]]
    assert_in_delta 5, report["first_to_second"]["max"], 1e-6
    assert_in_delta 0, report["second_to_first"]["max"], 1e-6
  end

  def test_formats_agree
    points, faces = Models.terrain_arrays(9)
    obj = write("terrain.obj", Models.obj(points, faces))
    triangles = faces.map { |face| face.flat_map { |corner| points[corner] } }
    { "terrain.ply" => Models.terrain_ply(9), "terrain.off" => Models.off(points, faces),
      "terrain.stl" => Models.stl(triangles) }.each do |name, content|
      report = compare(obj, write(name, content), "--samples", 2000)
      assert_operator report["max_relative"], :<, 1e-6, name
      assert_equal faces.size, report["second"]["faces"], name
    end
  end

  # What is written of a scene with its axes, units, instances and mirrored parts is where the scene was.
  def test_a_converted_scene_is_where_it_was
    scenes = %w[assimp/cubes_with_mirroring_and_pivot.fbx blender_293_instancing_7400_binary.fbx]
    scenes.each do |name|
      scene = need(Models.shared("fbx/#{name}"))
      %w[obj glb dae].each do |extension|
        written = path("scene.#{extension}")
        assert_equal 0, mirel("convert", scene, "-o", written).status
        report = compare(scene, written, "--samples", 20_000)
        assert_operator report["max_relative"], :<, 1e-5, "#{name} as #{extension}"
        assert_operator report["normal_degrees"], :<, 0.5, "#{name} as #{extension}"
        assert_equal report["first"]["faces"], report["second"]["faces"]
      end
    end
  end

  def test_the_deviation_of_a_reduction_is_within_its_bound
    input = write("terrain.obj", Models.terrain(60))
    reduced = reduce(input, path("small.obj"), "--tolerance", "0.5%")
    report = compare(input, path("small.obj"), "--exact")
    assert_operator report["max"], :>, 0
    assert_operator report["max"], :<=, reduced["deviation_bound"] * (1 + 1e-5)
    assert_operator report["max"], :<=, report["max_bound"]
    assert_operator report["rms"], :<, report["max"]
  end

  def test_runs_repeat
    input = write("terrain.obj", Models.terrain(30))
    reduce(input, path("small.obj"), "--ratio", "0.1")
    assert_equal(*Array.new(2) { compare(input, path("small.obj")).except("seconds", "peak_bytes", "phases") })
  end

  def test_heat_map
    flat = write("flat.obj", square(0))
    bent = write("bent.obj", Models.obj([[0, 0, 0], [1, 0, 0], [1, 1, 0.5], [0, 1, 0]], [[0, 1, 2], [0, 2, 3]]))
    report = compare(flat, bent, "--heatmap", path("map.ply"), "--heatmap-of", "second")
    map = report["heatmap"]
    assert_equal ["second", 4], map.values_at("of", "vertices")
    assert_in_delta 0.5, map["largest"], 1e-6
    assert_in_delta 0.5, map["scale"], 1e-6
    assert_equal File.size(path("map.ply")), map["bytes"]
    vertices = ply_vertices(path("map.ply"))
    distances = vertices.map(&:last)
    assert_in_delta 0.5, distances.max, 1e-6
    assert_equal 3, distances.count(0.0)
    hot = vertices.max_by(&:last)[3, 3]
    assert_operator hot[0], :>, hot[2]
    assert_equal 2, mirel("info", path("map.ply"), "--json").json["faces"]
    assert_equal %w[bent.obj flat.obj map.ply], Dir.children(@folder).sort
  end

  def test_heat_map_replaces_a_file_and_says_where_it_is
    a = write("a.obj", square(0))
    b = write("b.obj", square(1))
    write("map.PLY", "old")
    result = mirel("compare", a, b, "--heatmap", path("map.PLY"), "--heatmap-scale", "50%")
    assert_equal 0, result.status, result.err
    assert_match(/map\.PLY: 4 vertices of the first model, hottest at 0\.707107$/, result.err)
    assert_equal 4, ply_vertices(path("map.PLY")).size
  end

  def test_heat_map_that_cannot_be_written
    a = write("a.obj", square(0))
    FileUtils.mkdir(path("map.ply"))
    { path("map.ply") => /directory/, path("nowhere/map.ply") => /folder does not exist/,
      path("map.obj") => /\.ply/ }.each do |target, reason|
      assert_refused(mirel("compare", a, a, "--heatmap", target), target, reason)
    end
  end

  def test_bad_inputs_are_named
    good = write("good.obj", square(0))
    { write("empty.obj", "") => /empty/, write("cloud.obj", "v 0 0 0\n") => /no faces/,
      path("missing.stl") => /no such file/i, write("rubbish.ply", "rubbish") => /\S/,
      write("line.obj", Models.obj([[0, 0, 0], [1, 0, 0]], [[0, 1, 1]])) => /none of its faces has an area|no faces/,
      write("text.glb", "not a model at all, not even nearly") => /\S/ }.each do |bad, reason|
      assert_refused(mirel("compare", good, bad, "--json"), bad, reason)
      assert_refused(mirel("compare", bad, good), bad, reason)
    end
  end

  def test_misuse
    a = write("a.obj", square(0))
    [[], [a], [a, a, a], [a, a, "--samples", "0"], [a, a, "--samples", "many"], [a, a, "--heatmap-of", "third"],
     [a, a, "--heatmap-scale", "0"], [a, a, "--heatmap-scale", "1"], [a, a, "--heatmap-of", "second"],
     [a, a, "--no-such"]].each do |words|
      result = mirel("compare", *words)
      assert_equal 1, result.status, words.inspect
      assert_equal 1, result.err_lines.size, words.inspect
      assert_empty result.out
    end
  end

  def test_help
    help = mirel("compare", "--help")
    assert_equal 0, help.status
    %w[--samples --exact --heatmap --heatmap-of --heatmap-scale --json default diagonal examples].each do |word|
      assert_includes help.out, word
    end
  end

  private

  # x, y, z, red, green, blue, distance of each vertex.
  def ply_vertices(file)
    bytes = File.binread(file)
    count = bytes[/element vertex (\d+)/, 1].to_i
    body = bytes[(bytes.index("end_header\n") + 11)..]
    Array.new(count) { |i| body[19 * i, 19].unpack("e3C3e") }
  end
end
