# frozen_string_literal: true

require "fiddle"
require "fileutils"
require "minitest/autorun"
require "tempfile"
require "tmpdir"

# The stand-ins note nothing here: the library behind the seam is the real one.
module Recorder
  def self.note(_line) = nil
end

require "stand_ins"

BUILD = ENV.fetch("MIREL_BUILD")
require File.join(BUILD, "lib", "mirel.#{RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"}")

# The whole road with the real engine: meshes of every way in, written in build form and at steps of the ladder; and
# what a second build finds.
class RoadTest < Minitest::Test
  class Stop < StandardError; end

  FOLDER = Dir.mktmpdir
  Minitest.after_run { FileUtils.remove_entry(FOLDER) }

  SIDE = 7
  POINTS = Array.new((SIDE + 1)**2) { |at| [at % (SIDE + 1), at / (SIDE + 1), Math.sin(at)] }.freeze
  TRIANGLES = Array.new(SIDE * SIDE) do |cell|
    corner = cell / SIDE * (SIDE + 1) + cell % SIDE
    above = corner + SIDE + 1
    [[corner, corner + 1, above], [corner + 1, above + 1, above]]
  end.flatten(1).freeze

  attr_reader :importer

  def setup
    Events.reset
    @importer = Zu::Mirel::Importer.new
  end

  def teardown
    Events.reset
    importer.clear_balancer
  end

  def path(name) = File.join(FOLDER, name)

  # Two materials, one of them with UVs.
  def capture
    points = POINTS.each_with_index.to_h { |point, at| [at + 1, point] }
    uvs = POINTS.each_with_index.to_h { |(x, y, _), at| [at + 1, [x / 8.0, y / 8.0, 1]] }
    parts = TRIANGLES.each_slice(60).map do |triangles|
      Geom::PolygonMesh.new(triangles.map { |corners| corners.map { |corner| corner + 1 } }, points:, uvs:)
    end
    importer.define_singleton_method(:material_has_texture?) { |key| key == :textured }
    importer.init_mesh_depot
    importer.get_balancer_mesh({ textured: [parts.first], plain: parts.drop(1) })
  end

  # Two materials; UVs and normals by index.
  def import_obj
    lines = POINTS.map { |point| "v #{point.join(" ")}" } + ["vt 0 0", "vt 1 0", "vt 0 1", "vn 0 0 1"]
    TRIANGLES.each_with_index do |(a, b, c), at|
      lines << "usemtl m#{at / 60}" if (at % 60).zero?
      lines << "f #{a + 1}/1/1 #{b + 1}/2/1 #{c + 1}/3/1"
    end
    File.write(path("in.obj"), lines.join("\n"))
    importer.import_obj(path("in.obj"))
  end

  def import_ply
    header = "ply\nformat ascii 1.0\nelement vertex #{POINTS.size}\nproperty float x\nproperty float y\n" \
             "property float z\nelement face #{TRIANGLES.size}\nproperty list uchar int vertex_indices\nend_header\n"
    File.write(path("in.ply"), header + POINTS.map { |point| "#{point.join(" ")}\n" }.join +
                               TRIANGLES.map { |corners| "3 #{corners.join(" ")}\n" }.join)
    importer.import_ply(path("in.ply"))
  end

  UNMOVED = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1].freeze

  # Every coordinate to the bit, set by set: a written file has six digits of it.
  def triangles
    %i[@triangles @lines @mesh_points].each { |name| importer.instance_variable_set(name, []) }
    importer.get_triangles(0, UNMOVED)
    importer.instance_variable_get(:@triangles).map { |set| set.flatten.pack("E*") }
  end

  WAYS_IN = { capture: 0, import_obj: 0, import_ply: true }.freeze

  # What export_obj writes, and the counts that it announces.
  def export
    result = nil
    announced = Tempfile.create("announced") do |output|
      saved = $stdout.dup
      $stdout.reopen(output)
      begin
        result = importer.export_obj(path("out.obj"))
      ensure
        $stdout.reopen(saved)
        saved.close
      end
      File.read(output.path)
    end
    assert_equal 0, result
    [File.read(path("out.obj")), announced.scan(/writing (\d+) (\w+)/).to_h { |count, what| [what, count.to_i] }]
  end

  # The file holds what was announced, and every index in it names a line.
  def assert_whole(text, counts)
    kinds = { "v" => "vertices", "vn" => "normals", "vt" => "texture", "f" => "faces" }
    written = text.lines.map { |line| line.split.first }.tally
    kinds.each { |keyword, what| assert_equal counts.fetch(what, 0), written.fetch(keyword, 0), what }
    assert_equal importer.count_faces, written.fetch("f", 0)
    text.scan(/^f (.*)$/).flatten.flat_map(&:split).each do |corner|
      corner.split("/").zip(%w[v vt vn]) do |index, keyword|
        assert_includes 1..written.fetch(keyword), index.to_i unless index.empty?
      end
    end
  end

  # Clears the state, so this comes last.
  def assert_read_again(text, faces)
    File.write(path("again.obj"), text)
    importer.clear_balancer
    assert_equal 0, importer.import_obj(path("again.obj"))
    assert_equal faces, importer.count_faces
  end

  WAYS_IN.each do |way_in, result|
    define_method("test_#{way_in}_is_written_at_every_step") do
      assert_equal result, public_send(way_in)
      assert_equal TRIANGLES.size, importer.count_faces
      assert_whole(*export)
      assert_equal true, importer.init_simplify
      last = importer.get_hierachy_steps
      assert_operator last, :>, 10
      texts = [0, 1, last / 2, last - 1, last].map do |step|
        importer.go_to_step(step)
        export.tap { |text, counts| assert_whole(text, counts) }.first
      end
      assert_equal texts.uniq, texts
      importer.make_highest_resolution
      assert_equal texts.first, export.first
      importer.go_to_step(last / 2)
      assert_read_again(texts[2], importer.count_faces)
    end

    define_method("test_#{way_in}_is_the_same_after_a_second_build") do
      public_send(way_in)
      importer.init_simplify
      first = export.first
      whole = triangles
      steps = importer.get_hierachy_steps
      importer.go_to_step(steps / 2)
      half = triangles
      importer.make_lowest_resolution
      refute_equal first, export.first
      refute_equal whole, triangles
      importer.init_simplify
      assert_equal [steps, 0], [importer.get_hierachy_steps, importer.get_current_step]
      assert_equal first, export.first
      assert_equal whole, triangles
      importer.go_to_step(steps / 2)
      assert_equal half, triangles
    end

    define_method("test_#{way_in}_is_the_same_after_a_raise_anywhere_in_a_build") do
      public_send(way_in)
      importer.init_simplify
      first = export.first
      whole = triangles
      Events.reset
      importer.init_simplify
      Events.count.times do |place|
        importer.make_lowest_resolution
        Events.reset
        Events.hook = ->(index, _) { raise Stop if index == place }
        assert_raises(Stop) { importer.init_simplify }
        Events.reset
        assert_equal true, importer.init_simplify
        assert_equal first, export.first, "after event #{place}"
        assert_equal whole, triangles, "after event #{place}"
      end
    end
  end

  def test_a_stale_ladder_is_no_crash
    capture
    importer.init_simplify
    importer.make_lowest_resolution
    importer.clear_balancer
    2.times do
      assert_equal 0, importer.get_hierachy_steps
      assert_equal [0, false, false], [importer.get_current_step, importer.make_decimation_step(1),
                                       importer.make_refinement_step(1)]
      assert_equal [true] * 4, [importer.make_highest_resolution, importer.make_lowest_resolution,
                                importer.go_to_faces(5), importer.go_to_step(5)]
      assert_equal 0, importer.count_faces
      importer.init_mesh_depot
    end
  end

  def test_joining_counts_the_corners_of_a_captured_mesh
    printed = []
    capture
    original = Kernel.method(:print)
    Kernel.define_singleton_method(:print) { |*arguments| printed.concat(arguments) }
    importer.init_simplify
    # Before the first join every corner is a position of its own.
    assert_equal ["Joined Vertices: ", TRIANGLES.size * 3 - POINTS.size, "\n"], printed.first(3)
  ensure
    Kernel.define_singleton_method(:print, original)
  end
end
