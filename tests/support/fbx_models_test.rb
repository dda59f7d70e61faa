# frozen_string_literal: true

# The FBX library over folders of real files: ruby fbx_models_test.rb FBX_REPORT
#
# The models with expected facts are looked for in MIREL_SHARED (default: the folder `shared` beside the checkout), and
# Debian's in its package of test models; without them the tests count as skipped.

require "json"
require "minitest/autorun"
require "open3"
require "timeout"

PROGRAM = ARGV.shift

module FbxModels
  SHARED = File.join(ENV["MIREL_SHARED"] || File.expand_path("../../../shared", __dir__), "models/fbx")
  DEBIAN = %w[/usr/share/assimp/models /usr/share/assimp/models-nonbsd].freeze

  # The report of a file and whether it could be read.
  def report(path)
    out, err, status = Open3.capture3(PROGRAM, path)
    refute status.signaled?, "#{path}: ended by signal #{status.termsig}"
    assert_includes [0, 1], status.exitstatus, "#{path}: #{err}"
    [JSON.parse(out), status.success?]
  end
end

# What a report says otherwise than the expected facts, as lines of text.
class Comparison
  attr_reader :differences

  def initialize(expected, actual)
    @expected = expected
    @actual = actual
    @differences = []
    @doubts = expected["doubts"] || []
    compare
  end

  private

  def compare
    same("version", @expected["version"], @actual["version"])
    near("unit_scale", @expected["unit_scale"], @actual["unit_scale"], 1e-6)
    same("unit_code", @expected["unit_code"] == "default" ? -1 : @expected["unit_code"], @actual["unit_code"])
    compare_nodes
    compare_meshes
    compare_instances
    compare_materials
  end

  def compare_nodes
    optional = @expected["nodes"].select { |node| node["optional"] }.map { |node| node["name"] }
    wanted = @expected["nodes"].reject { |node| node["optional"] }
    found = @actual["nodes"].reject { |node| optional.include?(node["name"]) }
    same("number of nodes", wanted.size, found.size)
    same("node count", @actual["nodes"].size + 1, @actual["node_count"])
    wanted.zip(found).each_with_index do |(node, other), index|
      next if other.nil?

      what = "node #{index} (#{node["name"]})"
      same("#{what} name", node["name"], other["name"])
      same("#{what} parent", node["parent"], other["parent"]) if optional.empty?
      all_near("#{what} m", node["m"], other["m"], 1e-4) unless node["doubt"] || @doubts.include?("axes_other")
      next if @doubts.include?("duplicate_connection")

      same("#{what} mats", node["mats"] || [], other["mats"])
      same("#{what} mat_ids", node["mat_ids"] || [], other["mat_ids"])
      all_near("#{what} gt", node["gt"] || [0, 0, 0, 0, 0, 0, 1, 1, 1], other["gt"], 1e-4)
      same("#{what} attr", node["attr"] || [], other["attr"])
    end
  end

  def compare_meshes
    found = @actual["meshes"].select { |mesh| mesh.key?("polys") }
    same("number of meshes", @expected["meshes"].size, found.size)
    @expected["meshes"].zip(found).each_with_index do |(mesh, other), index|
      next if other.nil?

      what = "mesh #{index}"
      same("#{what} name", mesh["name"], other["name"]) unless mesh["name_src"]
      fields = %w[verts]
      fields += %w[polys tris max_poly sets mat_map] unless mesh["doubt"]
      fields << "slots" unless @doubts.include?("duplicate_connection")
      fields.each { |field| same("#{what} #{field}", mesh[field], other[field]) }
      compare_element("#{what} uv", mesh["uv"], other["uv"])
      compare_element("#{what} normal", mesh["normal"], other["normal"])
      all_near("#{what} box", mesh["box"], other["box"], 1e-4) if mesh["box"]
      next if mesh["doubt"]

      within("#{what} area", mesh["area"], other["area"])
      within("#{what} vol", mesh["vol"], other["vol"])
    end
  end

  def compare_element(what, wanted, found)
    return same(what, wanted.nil?, found.nil?) if wanted.nil? || found.nil?
    return if wanted["doubt"]

    %w[map ref n tris].each { |field| same("#{what} #{field}", wanted[field], found[field]) }
    same("#{what} pairs", wanted["pairs"], found["pairs"]) if wanted["pairs"]
    all_near("#{what} box", wanted["box"], found["box"], 1e-4) if wanted["box"]
    scale = found["sum"].to_a.map(&:abs).max || 1
    all_near("#{what} sum", wanted["sum"], found["sum"], 1e-4, scale) if wanted["sum"]
  end

  def compare_instances
    wanted = @expected["instances"]
    same("number of instances", wanted.size, @actual["instances"].size)
    wanted.zip(@actual["instances"]).each_with_index do |(instance, other), index|
      next if other.nil?

      same("instance #{index} node", instance["node"], other["node"])
      next if instance["doubt"] || @doubts.include?("axes_other")

      same("instance #{index} mesh", instance["mesh"], other["mesh"])
      all_near("instance #{index} wbox", instance["wbox"], other["wbox"], 1e-4)
      within("instance #{index} warea", instance["warea"], other["warea"])
    end
  end

  def compare_materials
    same("number of materials", @expected["materials"].size, @actual["materials"].size)
    @expected["materials"].zip(@actual["materials"]).each_with_index do |(material, other), index|
      next if other.nil?

      what = "material #{index} (#{material["name"]})"
      same("#{what} name", material["name"], other["name"])
      same("#{what} model", material["model"].downcase, other["model"])
      unless material["color_doubt"]
        all_near("#{what} diffuse", material["diffuse"], other["diffuse"], 1e-4)
        same("#{what} rgba", material["rgba"][0, 3], other["rgb"])
      end
      same("#{what} tex_kind", material["tex_kind"], other["tex_kind"])
      next if material["tex_kind"] != "file"

      wanted, found = [material["tex"], other["tex"]]
      wanted, found = [wanted, found].map { |path| path[%r{[^/\\]*\z}] } if material["embedded"]
      same("#{what} tex", wanted, found)
      all_near("#{what} uvs", material["uvs"], other["uvs"], 1e-6) if material["uvs"]
    end
  end

  def same(what, wanted, found)
    @differences << "#{what}: expected #{wanted.inspect}, found #{found.inspect}" unless wanted == found
  end

  def near(what, wanted, found, tolerance, scale = 1)
    return if found && (wanted - found).abs <= tolerance * [wanted.abs, found.abs, scale].max

    @differences << "#{what}: expected #{wanted}, found #{found.inspect}"
  end

  def all_near(what, wanted, found, tolerance, scale = nil)
    return same(what, wanted, found) if found.nil? || wanted.size != found.size

    scale ||= wanted.map(&:abs).max || 1
    wanted.zip(found).each_with_index { |(a, b), k| near("#{what}[#{k}]", a, b, tolerance, scale) }
  end

  def within(what, range, found)
    slack = 1e-3 * range.map(&:abs).max + 1e-9
    return if found && found >= range[0] - slack && found <= range[1] + slack

    @differences << "#{what}: expected #{range}, found #{found.inspect}"
  end
end

class SharedFbxTest < Minitest::Test
  include FbxModels

  # Files that may differ, each with the reason (docs/fbx.md).
  ALLOWED = [].freeze

  expected_file = File.join(FbxModels::SHARED, "expected.json")
  if File.exist?(expected_file)
    JSON.parse(File.read(expected_file)).each do |record|
      next if ALLOWED.include?(record["file"])

      define_method("test_#{record["file"].gsub(/\W/, "_")}") do
        actual, read = report(File.join(FbxModels::SHARED, record["file"]))
        assert_equal record["loads"], read, actual["error"]
        if read
          differences = Comparison.new(record, actual).differences
          assert_empty differences, differences.first(12).join("\n")
        else
          refute_empty actual["error"]
        end
      end
    end
  else
    define_method(:test_shared_models) { skip "no FBX models in #{FbxModels::SHARED}" }
  end
end

class DebianFbxTest < Minitest::Test
  include FbxModels

  files = FbxModels::DEBIAN.flat_map { |folder| Dir[File.join(folder, "**", "*.{fbx,FBX}")] }.sort
  files.each do |path|
    define_method("test_#{path.gsub(/\W/, "_")}") do
      actual, read = report(path)
      read ? refute_empty(actual["nodes"]) : refute_empty(actual["error"])
    end
  end
  define_method(:test_debian_models) { skip "Debian's assimp-testmodels are not installed" } if files.empty?
end
