# frozen_string_literal: true

require "json"
require "open3"

# What the independent checker says about an OBJ file.
module MeshReport
  PROGRAM = File.join(ENV.fetch("MIREL_BUILD"), "bin/mesh_report")

  module_function

  def of(path, *options)
    out, err, status = Open3.capture3(PROGRAM, path, *options.map(&:to_s))
    raise "mesh_report #{path}: #{err}" unless status.success?

    JSON.parse(out)
  end
end
