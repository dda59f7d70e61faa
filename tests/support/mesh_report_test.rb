# frozen_string_literal: true

# Checks the checker on meshes drawn by hand: ruby mesh_report_test.rb MESH_REPORT

require "json"
require "minitest/autorun"
require "open3"
require "tmpdir"

PROGRAM = ARGV.shift

class MeshReportTest < Minitest::Test
  # Two triangles with a common edge:  3--2
  #                                    | /|
  #                                    |/ |
  #                                    0--1
  SQUARE = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3\nf 1 3 4\n"

  def report(text, against: nil, options: [])
    Dir.mktmpdir do |folder|
      words = [File.join(folder, "mesh.obj"), *options]
      File.write(words[0], text)
      if against
        File.write(File.join(folder, "original.obj"), against)
        words.push("--against", File.join(folder, "original.obj"))
      end
      out, err, status = Open3.capture3(PROGRAM, *words)
      assert status.success?, err
      JSON.parse(out)
    end
  end

  def test_a_square
    expected = { "faces" => 2, "vertices" => 4, "uvs" => 0, "normals" => 0, "non_finite_values" => 0,
                 "degenerate_faces" => 0, "duplicate_faces" => 0, "non_manifold_edges" => 0, "boundary_edges" => 4,
                 "components" => 1, "charts" => 0, "materials" => [] }
    assert_equal expected, report(SQUARE)
  end

  def test_polygons_are_cut
    assert_equal 2, report("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n")["faces"]
  end

  def test_faults_are_found
    assert_equal 1, report("#{SQUARE}f 1 1 2\n")["degenerate_faces"]
    assert_equal 1, report("#{SQUARE}v 0 0 0\nf 1 5 2\n")["degenerate_faces"], "by position, not by number"
    assert_equal 1, report("#{SQUARE}f 2 3 1\n")["duplicate_faces"]
    assert_equal 0, report("#{SQUARE}f 3 2 1\n")["duplicate_faces"], "an opposite face is not a duplicate"
    assert_equal 1, report("#{SQUARE}v 0 0 1\nf 1 3 5\n")["non_manifold_edges"]
    assert_equal 3, report("#{SQUARE}v nan 0 -inf\nvt inf 0\n")["non_finite_values"]
  end

  def test_positions_are_one_whatever_their_number
    apart = report("#{SQUARE.lines.first(4).join}v 0 0 0\nv 1 1 0\nf 1 2 3\nf 5 6 4\n")
    assert_equal [4, 1], apart.values_at("boundary_edges", "components")
  end

  def test_components
    assert_equal 2, report("#{SQUARE}v 5 0 0\nv 6 0 0\nv 5 1 0\nf 5 6 7\n")["components"]
  end

  def test_materials
    assert_equal ["red", "dark \"blue\""], report("usemtl red\n#{SQUARE}usemtl dark \"blue\"\nusemtl red\n")["materials"]
  end

  def test_moved_boundaries
    assert_equal 0, report(SQUARE, against: SQUARE)["boundary_vertices_not_in_original"]
    assert_equal 1, report(SQUARE.sub("v 1 1 0", "v 1 1.001 0"), against: SQUARE)["boundary_vertices_not_in_original"]
    assert_equal 0, report(SQUARE.sub("v 1 1 0", "v 1 1 0"), against: SQUARE.sub("v 1 1 0", "v 1 1.00000012 0"))
      .fetch("boundary_vertices_not_in_original"), "six digits are compared"
  end

  def test_distance_is_measured_both_ways
    spike = "#{SQUARE}v 0.5 0.25 3\nf 1 2 5\n"
    assert_in_delta 3, report(spike, against: SQUARE)["max_distance_lower_bound"], 1e-6
    assert_in_delta 3, report(SQUARE, against: spike)["max_distance_lower_bound"], 1e-6
    assert_equal 0, report(SQUARE, against: SQUARE)["max_distance_lower_bound"]
  end

  def test_the_distance_lies_between_its_bounds
    # The square bent along its diagonal: nowhere more than 0.1 apart, at one corner just that.
    bent = report(SQUARE.sub("v 1 0 0", "v 1 0 0.1"), against: SQUARE)
    assert_in_delta 0.1, bent["max_distance_lower_bound"], 1e-6
    assert_operator bent["max_distance_upper_bound"], :>=, 0.1 - 1e-6
    assert_operator bent["max_distance_upper_bound"], :<=, 0.1021
    assert_operator report(SQUARE, against: SQUARE)["max_distance_upper_bound"], :<=, 1e-9
    assert_nil report("v 0 0 0\n", against: SQUARE)["max_distance_upper_bound"]
  end

  # Each triangle of the square has a chart of its own, at either end of UV space.
  def test_charts
    points = SQUARE.lines.first(4).join
    uvs = "vt 0 0\nvt 0.3 0\nvt 0.3 0.3\nvt 0.7 0.7\nvt 1 1\nvt 0.7 1\n"
    original = "#{points}#{uvs}f 1/1 2/2 3/3\nf 1/4 3/5 4/6\n"
    assert_equal 2, report(original)["charts"]
    assert_equal 1, report("#{points}#{uvs}f 1/1 2/2 3/3\nf 1/1 3/3 4/6\n")["charts"]
    assert_equal 0, report(original, against: original)["faces_across_charts"]
    assert_equal 1, report("#{points}#{uvs}f 1/1 2/2 3/5\nf 1/4 3/5 4/6\n", against: original)["faces_across_charts"]
  end

  def test_a_broken_file_is_an_error
    _, err, status = Open3.capture3(PROGRAM, "/nonexistent.obj")
    assert_equal 1, status.exitstatus
    assert_includes err, "nonexistent.obj"
  end
end
