# frozen_string_literal: true

require_relative "../../support/fbx_file"

# Runs of every method that calls back into Ruby, for tests that step in at each callback in turn.
module Scenarios
  PLY = <<~TEXT
    ply
    format ascii 1.0
    element vertex 3
    property float x
    property float y
    property float z
    element face 1
    property list uchar int vertex_indices
    end_header
    0 0 0
    1 0 0
    0 1 0
    3 0 1 2
  TEXT

  # A number whose conversion is an event.
  class Number
    def initialize(value)
      @value = value
    end

    def to_int
      Events.emit("number.to_int")
      @value
    end

    def to_f
      Events.emit("number.to_f")
      @value.to_f
    end
  end

  # A matrix entry whose conversion is an event.
  class MatrixEntry < Numeric
    def initialize(value)
      super()
      @value = value
    end

    def to_f
      Events.emit("entry.to_f")
      @value.to_f
    end
  end

  # A Float that shows itself through an event.
  class ShownFloat < Numeric
    def to_f = 0.5

    def inspect
      Events.emit("tolerance.inspect")
      "0.5"
    end
  end

  class << self
    # Name => what runs it. Each begins by making the state that it needs, before the first event is counted.
    def all(folder)
      ply = File.join(folder, "one.ply")
      File.write(ply, PLY)
      cloud = File.join(folder, "cloud.ply")
      fbx = File.join(folder, "scene.fbx")
      File.write(fbx, fbx_scene.text)
      File.write(cloud, PLY.lines.reject { |line| line.start_with?("element face", "property list", "3 ") }.join)
      {
        "import_obj" => ->(importer) { importer.import_obj("any.obj") },
        "import_ply" => ->(importer) { importer.import_ply(ply) },
        "import_ply of a point cloud" => ->(importer) { import_cloud(importer, cloud) },
        "import_fbx" => ->(importer) { import_fbx(importer, fbx) },
        "get_balancer_mesh" => ->(importer) { importer.get_balancer_mesh(host_meshes) },
        "init_simplify" => ->(importer) { importer.init_simplify },
        "go_to_step" => ->(importer) { importer.go_to_step(Number.new(3)) },
        "make_decimation_step" => ->(importer) { importer.make_decimation_step(Number.new(1)) },
        "make_refinement_step" => ->(importer) { importer.make_refinement_step(Number.new(1)) },
        "go_to_faces" => ->(importer) { importer.go_to_faces(Number.new(5)) },
        "count_faces" => ->(importer) { importer.count_faces },
        "export_obj" => ->(importer) { importer.export_obj(File.join(folder, "missing", "out.obj")) }
      }.merge(preview)
    end

    # The methods that read a mesh back or draw it, on two face sets of one triangle each.
    def preview
      {
        "get_triangles" => ->(importer) { importer.get_triangles(Number.new(0), with_geometry(importer)) },
        "get_points" => ->(importer) { importer.get_points(Number.new(0), with_geometry(importer)) },
        "get_mesh_bounds" => ->(importer) { with_geometry(importer) && importer.get_mesh_bounds(Number.new(0)) },
        "get_uvs" => ->(importer) { with_geometry(importer) && importer.get_uvs },
        "get_uvs without UVs" => ->(importer) { importer.get_uvs },
        "get_remapped_mesh" => ->(importer) { with_geometry(importer) && importer.get_remapped_mesh },
        "draw" => ->(importer) { draw(importer, false) },
        "draw of points only" => ->(importer) { draw(importer, true) }
      }
    end

    # Two meshes in the depot, a hierarchy, and materials of every kind.
    def prepare(importer)
      Events.reset
      Recorder.reset
      importer.forget_imported
      importer.settings = Zu::Mirel::Importer::DEFAULTS.merge(
        maintain_uvs?: false, maintain_normals?: false, lock_surface_boundaries?: true, use_tolerance?: true,
        get_scaled_error_tolerance: ShownFloat.new, face_limit: Number.new(2), join_vertices_threshold: 1
      )
      importer.init_mesh_depot
      2.times { importer.get_balancer_mesh({}) }
      importer.init_simplify
      script_materials
      Recorder.answer("load", 2)
      Events.reset
      Recorder.take_log
    end

    # Scripts a mesh, gives the importer fresh arrays and returns a transform.
    def with_geometry(importer)
      Recorder.floats("getVertices", [0, 0, 0, 1, 0, 0, 0, 1, 0])
      Recorder.floats("getVertexUVs", [0, 0, 1, 0, 0, 1])
      Recorder.floats("getBoundingBox", [0, 0, 0, 1, 1, 0])
      Recorder.indices("getFaces", [0, 1, 2, 2, 1, 0])
      Recorder.indices("getFaceSetFaces", [0, 1, 2])
      Recorder.answer("numFacesInSet", 1)
      Recorder.answer("hasVertexUVs", 1)
      Recorder.remap("getVertexRemap", [0, 1, 2])
      Recorder.remap("getUVRemap", [0, 1, 2])
      { triangles: [], lines: [], mesh_points: [], draw_full_timer: 9, draw_callback: true }.each do |name, value|
        importer.instance_variable_set("@#{name}", value)
      end
      [2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, MatrixEntry.new(1), 0, 0, 1]
    end

    def host_meshes
      { red: [Geom::PolygonMesh.new([[1, -2, 3], [1, 3, 4]])], blue: [Geom::PolygonMesh.new([[1, 2, 3]])] }
    end

    # Two nodes, one below the other, of every kind of callback: a unit of its own, a texture, an offset, and a mesh that
    # both have.
    def fbx_scene
      FbxFile.new(unit: 7.0).tap do |file|
        plain = file.material("plain", shading: "unknown", diffuse: nil)
        painted = file.material("painted")
        file.texture("paint", on: painted)
        corners = [[0, 0], [1, 0], [0, 1]]
        triangle = file.mesh("triangle", points: corners.map { |corner| [*corner, 0] }, polygons: [[0, 1, 2]],
                                         uvs: ["ByControlPoint", "IndexToDirect", corners, [0, 1, 2]])
        parent = file.node("parent", mesh: triangle, materials: [plain, painted])
        file.node("child", parent: parent, mesh: triangle)
      end
    end

    private

    # A callback that clears the state leaves nothing to draw: the view is then given nil.
    def draw(importer, points_only)
      with_geometry(importer)
      importer.instance_variable_set(:@draw_points_only, points_only)
      importer.get_triangles(0, [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1])
      importer.draw(View.new)
    rescue NoMethodError
      nil
    end

    def script_materials
      Recorder.answer("getNumFaceSets", 2)
      Recorder.floats("getColor", [1, 1, 1, 1])
      Recorder.text("getTexturePath", "texture.png")
      Recorder.answer("getNumVertices", 3)
      Recorder.answer("getNumFaces", 1)
    end

    def import_fbx(importer, path)
      importer.settings = importer.settings.merge(maintain_uvs?: true, maintain_normals?: true)
      importer.import_fbx(path)
    end

    def import_cloud(importer, path)
      importer.import_ply(path)
    rescue Zu::Mirel::NoFacesError
      false
    end
  end
end
