# frozen_string_literal: true

require "program_test"

# Every file of Debian's collection of test models, in every format that is promised: each is reduced to a sound
# result or refused in one clear line, and the ones named here must succeed.
class FormatsTest < ProgramTest
  parallelize_me!

  # At the least these, so that refusing everything cannot pass.
  MUST_SUCCEED = {
    "obj" => %w[OBJ/spider.obj OBJ/box.obj],
    "ply" => %w[PLY/cube.ply PLY/Wuson.ply PLY/cube_binary.ply PLY/cube_uv.ply],
    "stl" => %w[STL/3DSMaxExport.STL STL/Spider_ascii.stl STL/Spider_binary.stl STL/Wuson.stl],
    "gltf" => %w[glTF2/BoxTextured-glTF/BoxTextured.gltf],
    "glb" => %w[glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb glTF2/BoxTextured-glTF-Binary/BoxTextured.glb],
    "dae" => %w[Collada/duck.dae Collada/COLLADA.dae],
    "3ds" => %w[3DS/fels.3ds 3DS/CameraRollAnim.3ds],
    "off" => %w[OFF/Wuson.off OFF/Cube.off]
  }.freeze

  MUST_SUCCEED.each do |extension, names|
    names.each do |name|
      define_method("test_#{name.tr('^A-Za-z0-9', '_')}") do
        input = need(Models.assimp(name))
        [0.5, 0.1, 0.01].each do |ratio|
          report = reduce(input, path("out.obj"), "--ratio", ratio)
          check_result(report, path("out.obj"))
        end
      end
    end

    define_method("test_every_#{extension}_file_is_reduced_or_refused_clearly") do
      skip "assimp's test models are not here" unless Models::ASSIMP
      files = Dir.glob("**/*.#{extension}", File::FNM_CASEFOLD, base: Models::ASSIMP).sort
      refute_empty files
      FileUtils.mkdir_p(path("out"))
      files.each do |name|
        file = Models.assimp(name)
        output = path("out/result.obj")
        result = mirel("reduce", file, "-o", output, "--ratio", "0.5", "--json")
        if result.success?
          check_result(result.json, output)
          FileUtils.rm([output, *result.json["side_files"].map { |side| path("out/#{side}") }])
        else
          assert_refused(result, file, /\S/)
        end
        assert_empty Dir.children(path("out")), file
      end
    end
  end

  # The same surface through the native importer and through capture: the same faces and positions.
  def test_formats_agree
    points, faces = Models.terrain_arrays(12)
    files = [write("terrain.ply", Models.terrain_ply(12)),
             write("terrain.stl", Models.stl(faces.map { |face| face.flat_map { |k| points[k] } })),
             write("terrain.off", Models.off(points, faces)), write("terrain.obj", Models.obj(points, faces))]
    files.each do |file|
      report = reduce(file, path("out.obj"), "--faces", 100_000)
      assert_equal [288, 169], report.values_at("faces_after", "vertices_after"), file
    end
  end

  def test_ply_forms_that_the_native_importer_refuses_are_read_all_the_same
    header = lambda do |type|
      "ply\nformat ascii 1.0\nelement vertex 4\nproperty #{type} x\nproperty #{type} y\nproperty #{type} z\n"
    end
    points = "0 0 0\n1 0 0\n1 1 0\n0 1 0\n"
    face = "element face 1\nproperty list uchar int vertex_indices\nend_header\n"
    quads = write("quads.ply", "#{header["float"]}#{face}" \
                               "#{points}4 0 1 2 3\n")
    doubles = write("doubles.ply", "#{header["double"]}element face 2\nproperty list uchar int vertex_index\n" \
                                   "end_header\n#{points}3 0 1 2\n3 0 2 3\n")
    [quads, doubles].each { |file| assert_equal 2, reduce(file, path("out.obj"), "--faces", 9)["faces_after"], file }
  end

  private

  def check_result(report, output)
    wanted, after = report.values_at("faces_wanted", "faces_after")
    assert_equal after <= wanted, report["target_reached"]
    refute_empty report["stopped_because"]
    # OBJ text keeps six digits, which makes one of positions that are close together far from the origin, and so
    # degenerate faces: no more than come from those.
    lines = File.foreach(output).select { |line| line.start_with?("v ") }
    merged = lines.size - lines.uniq.size
    measured = MeshReport.of(output)
    return assert_sound(measured, nil, report["input"]) if merged.zero?

    assert_equal 0, measured["non_finite_values"]
    assert_operator measured["degenerate_faces"] + measured["duplicate_faces"], :<=, 4 * merged, report["input"]
  end
end
