# frozen_string_literal: true

require "fiddle"
require "json"
require "minitest/autorun"

# The library behind the seam is the real one; what the stand-ins note is kept for the console's lines.
module Recorder
  def self.lines = @lines ||= []
  def self.note(line) = lines << line
end

require "stand_ins"
require "fbx_survey"
require File.join(ENV.fetch("MIREL_BUILD"), "tests", "conformance", "mirel_test.#{RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"}")

# Files of many tools, imported by the real extension into the real engine, against facts that are known of them.
class FbxModelsTest < Minitest::Test
  FOLDER = File.join(ENV.fetch("MIREL_SHARED", File.expand_path("../../../shared", __dir__)), "models", "fbx")
  FACTS = File.exist?(File.join(FOLDER, "expected.json")) ? JSON.parse(File.read(File.join(FOLDER, "expected.json"))) : []
  SLACK = 1e-4
  AREA_SLACK = 1e-3

  def teardown
    @survey&.clear_balancer
  end

  def test_the_files_are_here
    skip "the shared FBX files are not here" if FACTS.empty?
    assert_operator FACTS.size, :>, 60
  end

  FACTS.each do |record|
    define_method("test_#{record["file"].gsub(/\W/, "_")}") do
      @record = record
      @survey = FbxSurvey.new
      loads = @survey.survey(File.join(FOLDER, record["file"]))
      assert_equal record["loads"], loads, @survey.lines.inspect
      record["loads"] ? compare : assert_reason
    end
  end

  def assert_reason
    reason = @survey.lines.last
    refute_empty reason
    refute_includes ["Call to FbxImporter::Initialize() failed.\n", "Failed to import the file"], reason
  end

  def doubted?(what) = @record["doubts"].include?(what)

  def compare
    assert_equal @record["unit_code"] == "default" ? 99 : @record["unit_code"], @survey.unit, "unit"
    pair_nodes
    compare_nodes unless doubted?("axes_other")
    pair_meshes
    @record["meshes"].each_with_index { |mesh, at| compare_mesh(mesh, @mesh_of[at]) if @mesh_of[at] }
    compare_instances unless doubted?("axes_other")
    compare_materials
  end

  # Producer cameras may be there or not: @node_of tells which node of the survey stands for a node of the record.
  def pair_nodes
    found = @survey.nodes.each_index.to_a
    @node_of = @record["nodes"].map do |node|
      next if node["optional"] && @survey.nodes[found.first || 0]&.name != node["name"]

      found.shift
    end
    assert_empty found.map { |at| @survey.nodes[at].name }, "more nodes than the file has"
    refute_includes @node_of.zip(@record["nodes"]).reject { |_, node| node["optional"] }.map(&:first), nil, "nodes are missing"
  end

  # Meshes without a triangle are not taken.
  def pair_meshes
    taken = @record["meshes"].each_index.select { |at| @record["meshes"][at]["tris"].positive? }
    assert_equal taken.size, @survey.meshes.size, "meshes" unless @record["has_nurbs"]
    @mesh_of = taken.each_with_index.to_h
  end

  def compare_nodes
    @record["nodes"].each_with_index do |node, at|
      next unless @node_of[at]

      actual = @survey.nodes[@node_of[at]]
      assert_equal node["name"], actual.name
      assert_equal node["parent"] < 0 ? -1 : @node_of[node["parent"]], actual.parent, "parent of #{node["name"]}"
      assert_near node["m"], actual.matrix, SLACK, "matrix of #{node["name"]}"
      assert_equal node["mats"] || [], actual.material_names, "materials of #{node["name"]}"
      assert_near node["gt"] || [0, 0, 0, 0, 0, 0, 1, 1, 1], actual.offset, SLACK, "offset of #{node["name"]}" if actual.offset
    end
  end

  def compare_mesh(mesh, at)
    what = "mesh #{at} (#{mesh["name"]})"
    actual = DepotMesh.new(@survey.meshes.fetch(at).index)
    assert_equal mesh["name"], @survey.meshes[at].name, what unless mesh["name_src"]
    assert_equal mesh["verts"], actual.points.size, "points of #{what}"
    assert_near mesh["box"], actual.box, SLACK, "box of #{what}" unless mesh["box"].nil? || actual.points.empty?
    return if mesh["doubt"]

    assert_equal mesh["tris"], actual.faces.size, "triangles of #{what}"
    assert_equal mesh["sets"].transform_keys(&:to_i), sets_of(actual, mesh["slots"]), "face sets of #{what}"
    assert_between mesh["area"], actual.area, "area of #{what}"
    assert_between mesh["vol"], actual.volume, "volume of #{what}", actual.area**1.5
    compare_attribute(mesh["uv"], actual.faces, actual.uvs, "UVs of #{what}", [[1, 0], [0, 2]])
    compare_attribute(mesh["normal"], actual.faces, actual.normals, "normals of #{what}", [[1, 2, 3]])
  end

  def sets_of(mesh, slots)
    return { 0 => mesh.faces.size } if slots.zero? && @record["meshes"].any?

    mesh.sets.tally
  end

  # The weighted sums over the distinct pairs of control point and value.
  def compare_attribute(expected, faces, values, what, weights)
    given = expected && !expected["doubt"] ? expected["tris"] : nil
    return unless expected.nil? || given

    count = (values || []).count { |value| value }
    count = 0 if expected.nil? && values&.flatten&.compact&.all?(&:zero?)
    assert_equal expected ? given : 0, count, what
    return unless expected&.key?("pairs") && given.positive?

    pairs = {}
    faces.zip(values) do |corners, of_face|
      corners.zip(of_face) { |point, value| pairs[[point, value]] = true } if of_face
    end
    assert_equal expected["pairs"], pairs.size, "pairs of #{what}"
    sums = weighted_sums(pairs.keys, weights)
    size = sums.last.abs
    expected["sum"].zip(sums) { |a, b| assert_in_delta a, b, 1e-4 * size + 1e-6, "sums of #{what}" }
    columns = pairs.keys.map(&:last).transpose
    assert_near expected["box"], columns.map(&:min) + columns.map(&:max), SLACK, "range of #{what}"
  end

  def weighted_sums(pairs, weights)
    sums = Array.new(weights.size == 1 ? 4 : 3, 0.0)
    pairs.each do |point, value|
      w = ((point * 7919) % 1009 + 1) / 1009.0
      if weights.size == 1
        value.each_with_index { |component, at| sums[at] += (at + 1) * w * component }
      else
        sums[0] += w * value[0]
        sums[1] += 2 * w * value[1]
      end
      sums[-1] += w * value.sum(&:abs)
    end
    sums
  end

  def compare_instances
    certain = @record["instances"].reject { |instance| instance["kind"] == "nurbs" || instance["doubt"] }
    taken = @record["instances"].select { |instance| instance["kind"] == "nurbs" || @mesh_of[instance["mesh"]] }
    assert_equal taken.size, @survey.instances.size, "instances"
    taken.zip(@survey.instances) do |expected, actual|
      assert_equal @node_of[expected["node"]], actual.node
      next unless certain.include?(expected)

      assert_equal @mesh_of[expected["mesh"]], actual.mesh unless @record["has_nurbs"]
      mesh = DepotMesh.new(@survey.meshes[actual.mesh].index)
      world = @survey.world(actual.node)
      next if mesh.points.empty?

      assert_near expected["wbox"], mesh.box(world), SLACK, "world box of instance of node #{expected["node"]}"
      next if @record["meshes"][expected["mesh"]]["doubt"]

      assert_between expected["warea"], mesh.area(world), "world area of instance of node #{expected["node"]}"
    end
  end

  def compare_materials
    assert_equal @record["materials"].map { |material| material["name"] }, @survey.materials.map(&:name)
    @record["materials"].zip(@survey.materials) do |expected, actual|
      what = "material #{expected["name"]}"
      assert_equal expected["rgba"], actual.color, what unless expected["color_doubt"]
      next assert_nil(actual.texture, what) unless expected["tex_kind"] == "file"

      assert_texture(expected, actual.texture, what)
      assert_near expected["uvs"] || [1, 1], actual.scale, SLACK, what
    end
  end

  def assert_texture(expected, actual, what)
    refute_nil actual, what
    same = expected["embedded"] ? ->(path) { path.tr("\\", "/").split("/").last } : :itself.to_proc
    assert_equal same.call(expected["tex"]), same.call(actual), what
  end

  # Relative to the largest of the numbers.
  def assert_near(expected, actual, slack, what)
    assert_equal expected.size, actual.size, what
    scale = [*expected.map(&:abs), 1e-3].max
    expected.zip(actual) { |a, b| assert_in_delta a, b, slack * scale, "#{what}: #{expected.inspect} and #{actual.inspect}" }
  end

  def assert_between((low, high), actual, what, scale = nil)
    slack = AREA_SLACK * [low.abs, high.abs, scale.to_f].max
    assert_includes low - slack..high + slack, actual, what
  end
end
