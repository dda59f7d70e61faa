# frozen_string_literal: true

require "program_test"
require_relative "../support/fbx_file"

# The program on FBX files: what it tells, what it writes, what it refuses.
class FbxTest < ProgramTest
  parallelize_me!

  FOLDER = Models.shared("fbx")
  EXPECTED = File.join(FOLDER, "expected.json")
  FACTS = File.exist?(EXPECTED) ? JSON.parse(File.read(EXPECTED)) : []
  GOOD = FACTS.select { |record| record["loads"] }
  UNITS = { 0 => 0.0254, 1 => 0.3048, 2 => 0.001, 3 => 0.01, 4 => 1.0 }.freeze

  # What a GLB file says of its scene.
  def glb(file)
    bytes = File.binread(file)
    length = bytes[12, 4].unpack1("V")
    JSON.parse(bytes[20, length])
  end

  def scene_of_two(file = FbxFile.new(axes: :y_up, unit: 100.0))
    points = (0..6).to_a.product((0..6).to_a).map { |i, j| [i, j, Math.sin(i * j)] }
    quads = (0...6).to_a.product((0...6).to_a).map { |i, j| [i * 7 + j, i * 7 + j + 7, i * 7 + j + 8, i * 7 + j + 1] }
    mesh = file.mesh("field", points: points, polygons: quads)
    grass = file.material("grass", diffuse: [0, 1, 0])
    garden = file.node("garden", properties: { "Lcl Translation" => [10.0, 0.0, 0.0] })
    %w[left right].each { |name| file.node(name, parent: garden, mesh: mesh, materials: [grass]) }
    file
  end

  def test_the_files_are_here
    skip "the shared FBX files are not here" if FACTS.empty?
    assert_operator GOOD.size, :>, 60
  end

  def test_reduce_keeps_hierarchy_instances_and_materials
    report = reduce(write("in.fbx", scene_of_two.text), path("out.glb"), "--faces", "30")
    assert_equal 72, report["faces_before"]
    assert_operator report["faces_after"], :<=, 30
    scene = glb(path("out.glb"))
    names = scene["nodes"].map { |node| node["name"] }
    assert_equal %w[garden left right], names & %w[garden left right]
    garden = scene["nodes"].find { |node| node["name"] == "garden" }
    children = garden["children"].map { |index| scene["nodes"][index]["name"] }
    assert_equal %w[left right], children
    assert_equal ["grass"], scene["materials"].map { |material| material["name"] }
    assert_equal 1, scene["meshes"].size
  end

  def test_units_and_axes_of_the_output
    reduce(write("in.fbx", scene_of_two(FbxFile.new(axes: :y_up, unit: 2.54)).text), path("out.glb"), "--ratio", "1")
    # As the file has them, in meters: y up stays y up.
    low, high = mirel("info", path("out.glb"), "--json").json["bounds"]
    assert_in_delta 10 * 0.0254, low[0], 1e-6
    assert_in_delta 16 * 0.0254, high[0], 1e-6
    assert_in_delta 6 * 0.0254, high[1], 1e-6
  end

  def test_a_texture_of_another_machine
    material = (file = FbxFile.new).material("painted")
    file.texture("paint", on: material, file: "C:\\elsewhere\\Sample.png", scale: [2, 2])
    file.node("a", mesh: file.mesh("m", points: [[0, 0, 0], [1, 0, 0], [0, 1, 0]], polygons: [[0, 1, 2]],
                                        uvs: ["ByPolygonVertex", "Direct", [[0, 0], [1, 0], [0, 1]]]), materials: [material])
    input = write("in.fbx", file.text)
    report = reduce(input, path("without.glb"), "--ratio", "1")
    assert_equal ['the texture C:\elsewhere\Sample.png was not found: left out'], report["remarks"]
    write("sample.png", ["89504e470d0a1a0a0000000d4948445200000001000000010802000000907753de0000000c49444154789c63f8cfc000" \
                         "000301010018dd8db00000000049454e44ae426082"].pack("H*"))
    report = reduce(input, path("with.glb"), "--ratio", "1")
    assert_equal ['the texture C:\elsewhere\Sample.png has a scale of its own, which is not written'], report["remarks"]
    assert_equal 1, glb(path("with.glb"))["images"].size
  end

  # Meters, and y up but where the format says which axis is up.
  def test_convert_to_every_format
    input = write("in.fbx", scene_of_two(FbxFile.new(axes: :y_up, unit: 100.0)).text)
    %w[.glb .gltf .dae .obj .ply .stl].each do |extension|
      result = mirel("convert", input, "-o", path("out#{extension}"), "--json")
      assert_equal 0, result.status, result.err
      info = mirel("info", path("out#{extension}"), "--json").json
      low, high = info["bounds"]
      up = extension == ".dae" ? 2 : 1
      [[10, low[0]], [16, high[0]], [0, low[up]], [6, high[up]]].each { |expected, found| assert_in_delta expected, found, 1e-4, extension }
    end
  end

  # -- info

  def test_info
    report = mirel("info", write("in.fbx", scene_of_two.text), "--json").json
    assert_equal({ "version" => 7400, "ascii" => true, "creator" => "test writer", "application" => "",
                   "unit_meters" => 1.0, "axes" => { "right" => "+X", "up" => "+Y", "front" => "+Z" } }, report["fbx"])
    assert_equal [["garden", nil, []], ["left", 0, ["field"]], ["right", 0, ["field"]]],
                 report["nodes"].map { |node| node.values_at("name", "parent", "meshes") }
    assert_equal [72, 1, ["grass"]], [report["faces"], report["meshes"].size, report["materials"].map { |m| m["name"] }]
    text = mirel("info", path("in.fbx")).out
    ["version    7.4 (text)", "written by test writer", "unit       m", "axes       right +X, up +Y, front +Z", "nodes      3",
     "    garden\n      left (field)\n      right (field)\n", "faces      72"].each { |line| assert_includes text, line }
  end

  def test_info_of_textures
    material = (file = FbxFile.new).material("painted")
    file.texture("paint", on: material, file: "a.png", scale: [2, 3])
    file.node("a", materials: [material])
    input = write("in.fbx", file.text)
    result = mirel("info", input, "--textures")
    assert_equal 0, result.status, result.err
    assert_includes result.out, "Material: painted\n    Textures for DiffuseColor\n        Texture 0\n            Name: paint\n" \
                                "            Type: File Texture\n            File Name: a.png\n            Scale U: 2\n"
    dump = mirel("info", input, "--textures", "--json").json["textures"]
    assert_equal ["painted"], dump.map { |one| one["material"] }
    assert_equal ["            Scale U: 2", "            Scale V: 3"], dump.first["lines"].grep(/Scale/)
    refused = mirel("info", write("t.obj", Models.terrain(2)), "--textures")
    assert_equal [1, 1], [refused.status, refused.err_lines.size]
  end

  GOOD.each do |record|
    define_method("test_info_of_#{record["file"].gsub(/\W/, "_")}") do
      result = mirel("info", File.join(FOLDER, record["file"]), "--json")
      assert_equal 0, result.status, result.err
      report = result.json
      assert_equal record.values_at("version", "ascii", "app"), report["fbx"].values_at("version", "ascii", "application")
      assert report["fbx"]["creator"].start_with?(record["creator"]), report["fbx"]["creator"]
      assert_equal record["axes"].slice("right", "up", "front"), report["fbx"]["axes"]
      assert_in_delta record["unit_scale"] / 100.0, report["fbx"]["unit_meters"], 1e-9
      optional = record["nodes"].select { |node| node["optional"] }.map { |node| node["name"] }
      assert_equal record["nodes"].map { |node| node["name"] } - optional, report["nodes"].map { |node| node["name"] } - optional
      assert_equal record["meshes"].sum { |mesh| mesh["tris"] }, report["faces"] unless record["has_nurbs"] || record["meshes"].any? { |m| m["doubt"] }
    end

    define_method("test_reduce_of_#{record["file"].gsub(/\W/, "_")}") do
      unless record["has_nurbs"] || record["meshes"].any? { |mesh| mesh["tris"].positive? }
        next assert_refused(mirel("reduce", File.join(FOLDER, record["file"]), "-o", path("out.glb"), "--ratio", "0.5"),
                            File.join(FOLDER, record["file"]), /no faces/)
      end

      report = reduce(File.join(FOLDER, record["file"]), path("out.glb"), "--ratio", "0.5")
      assert_operator report["faces_after"], :<=, report["faces_before"]
      names = glb(path("out.glb"))["nodes"].map { |node| node["name"] }
      record["instances"].select { |instance| has_faces?(record, instance) }.each do |instance|
        name = record["nodes"][instance["node"]]["name"]
        assert(names.any? { |found| found.start_with?(name) }, "no node #{name} among #{names.first(20)}")
      end
    end
  end

  def has_faces?(record, instance)
    instance["mesh"].negative? || record["meshes"][instance["mesh"]]["tris"].positive?
  end

  def test_reduce_to_obj
    name = "blender_suzanne_multimaterial_7400_binary.fbx"
    report = reduce(need(File.join(FOLDER, name)), path("out.obj"), "--ratio", "0.5")
    assert_operator report["faces_after"], :<=, 484
    assert_operator MeshReport.of(path("out.obj"))["faces"], :<=, 484
  end

  # -- refusals

  (FACTS - GOOD).each do |record|
    define_method("test_#{record["file"].gsub(/\W/, "_")}_is_refused") do
      assert_input_refused(File.join(FOLDER, record["file"]), /./)
    end
  end

  def test_broken_files_are_refused
    whole = scene_of_two.text
    { "empty.fbx" => "", "other.fbx" => "no fbx", "head.fbx" => "Kaydara FBX Binary  \x00\x1A\x00".b,
      "cut.fbx" => whole[0, whole.size / 2] }.each do |name, content|
      assert_input_refused(write(name, content), /./)
    end
    assert_refused(mirel("info", path("missing.fbx")), path("missing.fbx"), /no such file/)
  end

  # JSON has no word for either.
  def test_info_of_numbers_that_are_none_or_endless
    ["nan", "1e+400", "-1.#IND"].each do |number|
      text = FbxFile.new.tap { |file| file.node("a", mesh: file.mesh("m", points: [[0, 0, 0], [1, 0, 0], [7, 1, 0]],
                                                                          polygons: [[0, 1, 2]])) }.text
      input = write("in.fbx", text.sub("7.0", number))
      assert_equal ["a"], mirel("info", input, "--json").json["nodes"].map { |node| node["name"] }, number
    end
    file = FbxFile.new
    file.node("far", mesh: file.mesh("m", points: [[0, 0, 0], [1, 0, 0], [0, 1, 0]], polygons: [[0, 1, 2]]),
                     properties: { "Lcl Scaling" => [1e300, 1e300, 1e300] })
    assert_nil mirel("info", write("far.fbx", file.text), "--json").json["diagonal"]
  end

  def test_a_scene_without_faces_cannot_be_reduced
    file = FbxFile.new
    file.node("eye", mesh: file.camera("camera"))
    input = write("in.fbx", file.text)
    assert_refused(mirel("reduce", input, "-o", path("out.glb"), "--ratio", "0.5"), input, /no faces/)
    assert_equal ["eye"], mirel("info", input, "--json").json["nodes"].map { |node| node["name"] }
  end
end
