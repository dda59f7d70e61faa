# frozen_string_literal: true

require "json"
require "open3"

# What is in a glTF file, and what the format's own validator says of it.
module Gltf
  FOLDER = File.expand_path("../../gltf", __dir__)
  MODULES = File.join(FOLDER, "node_modules")

  module_function

  # The JSON part of a .gltf or .glb file.
  def json(path)
    bytes = File.binread(path)
    bytes = bytes[20, bytes[12, 4].unpack1("V")] if bytes.start_with?("glTF")
    JSON.parse(bytes.force_encoding(Encoding::UTF_8))
  end

  # The names of the nodes as a tree: { name => children }, a node's mesh as "name (mesh)".
  def tree(json, nodes = json.fetch("scenes").first.fetch("nodes"))
    nodes.to_h do |number|
      node = json["nodes"][number]
      mesh = node["mesh"]
      name = mesh ? "#{node["name"]} (#{json["meshes"][mesh]["name"]})" : node["name"]
      [name, tree(json, node.fetch("children", []))]
    end
  end

  # What the validator calls errors: empty for sound files.
  def errors(*paths)
    raise "the validator is missing: run scripts/setup --test" unless File.directory?(MODULES)

    out, err, status = Open3.capture3("node", File.join(FOLDER, "validate.mjs"), *paths)
    raise "validate.mjs: #{err}" unless status.success?

    JSON.parse(out).reject { |report| report["errors"].zero? }.map { |report| [report["file"], report["messages"]] }
  end
end
