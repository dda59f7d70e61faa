# frozen_string_literal: true

require "gltf"
require "program_test"

# Whole scenes on their way through the program: what goes in comes out, in every format.
class SceneTest < ProgramTest
  parallelize_me!

  FORMATS = %w[glb gltf dae obj ply stl].freeze
  WITH_MATERIALS = %w[glb gltf dae obj].freeze
  RED_DOT = ["89504e470d0a1a0a0000000d49484452000000010000000108020000009077" \
             "53de0000000c4944415408d763f8cfc000000301010018dd8db00000000049454e44ae426082"].pack("H*")

  # As assimp's own program sees a file: faces wherever the scene puts them, and the corners of their bounds. It is
  # asked to write them as STL, since what it tells of scenes itself forgets how nodes stand in each other.
  def assimp_info(file)
    stl = path("assimp.stl")
    out, status = Open3.capture2e("assimp", "export", file, stl, "-fstlb")
    assert status.success?, "#{File.basename(file)}: #{out}"
    bytes = File.binread(stl)
    File.delete(stl)
    count = bytes[80, 4].unpack1("V")
    points = count.times.flat_map { |face| bytes.unpack("e9", offset: 84 + face * 50 + 12).each_slice(3).to_a }
    [count, points.transpose.map(&:minmax).transpose]
  end

  def assert_bounds(expected, actual, message = nil)
    diagonal = Math.sqrt(expected.transpose.sum { |low, high| (high - low)**2 })
    limit = diagonal * 1e-5
    expected.flatten.zip(actual.flatten).each { |a, b| assert_in_delta a, b, limit, "#{message}: #{expected} #{actual}" }
  end

  def assert_same_scene(expected, actual)
    expected, actual = [expected, actual].map { |file| assimp_info(file) }
    assert_equal expected.first, actual.first
    assert_bounds expected.last, actual.last
  end

  def convert(input, output, *options)
    result = mirel("convert", input, "-o", output, "--json", *options)
    assert_equal 0, result.status, "#{File.basename(input)}: #{result.err}"
    result.json
  end

  def info(file)
    result = mirel("info", file, "--json")
    assert_equal 0, result.status, result.err
    result.json
  end

  FORMATS.each do |format|
    define_method("test_a_reduced_scene_as_#{format}") do
      output = path("lighthouse.#{format}")
      report = reduce(Models::SAMPLE, output, "--ratio", 0.1)
      faces, corners = assimp_info(output)
      assert_equal report["faces_after"], faces
      assert_bounds report["bounds_after"], corners
      assert_empty Gltf.errors(output) if format.start_with?("gl")
      assert_equal [File.basename(output), *report["side_files"]].sort, Dir.children(@folder).sort
    end
  end

  WITH_MATERIALS.each do |format|
    define_method("test_materials_in_#{format}") do
      reduce(Models::SAMPLE, path("out.#{format}"), "--ratio", 0.1)
      expected, actual = [Models::SAMPLE, path("out.#{format}")].map do |file|
        info(file)["materials"].to_h { |m| [m["name"], [m["color"], !m["texture"].nil?]] }
      end
      assert_equal expected.keys.sort, actual.keys.sort
      expected.each do |name, (color, textured)|
        assert_equal textured, actual[name].last, name
        next if format == "dae" && textured # a colour or a texture, but not both
        color.zip(actual[name].first).each { |a, b| assert_in_delta a, b, 1, "#{name}: #{color} #{actual[name].first}" }
      end
    end
  end

  def test_textures_stand_beside_the_file_or_in_it
    reduce(Models::SAMPLE, path("out.glb"), "--ratio", 0.05)
    assert_equal ["out.glb"], Dir.children(@folder)
    images = Gltf.json(path("out.glb")).fetch("images")
    assert_equal 4, images.size
    report = reduce(Models::SAMPLE, path("out.gltf"), "--ratio", 0.05)
    assert_equal %w[out.bin rock.png roof.png sea.png tower.png], report["side_files"]
    assert_equal %w[rock.png roof.png sea.png tower.png],
                 Gltf.json(path("out.gltf"))["images"].map { |image| image["uri"] }.sort
    original = File.join(File.dirname(Models::SAMPLE), "rock.png")
    assert_equal File.binread(original), File.binread(path("rock.png"))
  end

  # COLLADA files that call their opaque materials transparent show something all the same.
  def test_nothing_is_made_of_nothing
    info(need(Models.assimp("Collada/teapots.DAE")))["materials"].each do |material|
      assert_operator material["color"][3], :>, 0, material["name"]
    end
  end

  # Textures inside a file come out of it.
  def test_embedded_textures_are_unpacked
    convert(Models::SAMPLE, path("in.glb"))
    report = convert(path("in.glb"), path("out.obj"))
    assert_equal 4, report["side_files"].grep(/\.png\z/).size, report["side_files"].inspect
    original = File.join(File.dirname(Models::SAMPLE), "rock.png")
    name = report["side_files"].find { |file| file.include?("rock") }
    assert_equal File.binread(original), File.binread(path(name))
  end

  # --- nodes and instances ---------------------------------------------------------------------------------------

  # A car: four wheels of one mesh, one of them mirrored; a body in a group; an empty node.
  def car
    points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]].flatten.pack("e*")
    indices = [0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3].pack("S<*")
    buffer = points + indices
    wheel = ->(name, x, scale = 1) { { name: name, mesh: 0, translation: [x, 0, 0], scale: [scale, 1, 1] } }
    { asset: { version: "2.0" }, scene: 0, scenes: [{ nodes: [0] }],
      nodes: [{ name: "car", children: [1, 2, 3, 4, 5, 7] }, wheel["front left", 0], wheel["front right", 3, -1],
              wheel["rear left", 6], wheel["rear right", 9],
              { name: "chassis", translation: [0, 5, 0], rotation: [0, 0, 0.7071068, 0.7071068], children: [6] },
              { name: "body", mesh: 1, scale: [2, 2, 2] }, { name: "camera", translation: [0, 9, 0] }],
      meshes: [0, 1].map do |number|
        { name: %w[wheel shell][number], primitives: [{ attributes: { POSITION: 0 }, indices: 1, material: number }] }
      end,
      materials: %w[rubber paint].map { |name| { name: name, doubleSided: false } },
      buffers: [{ uri: "data:application/octet-stream;base64,#{[buffer].pack("m0")}", byteLength: buffer.bytesize }],
      bufferViews: [{ buffer: 0, byteOffset: 0, byteLength: 48 }, { buffer: 0, byteOffset: 48, byteLength: 24 }],
      accessors: [{ bufferView: 0, componentType: 5126, count: 4, type: "VEC3", min: [0, 0, 0], max: [1, 1, 1] },
                  { bufferView: 1, componentType: 5123, count: 12, type: "SCALAR" }] }
  end

  CAR_TREE = { "car" => { "front left (wheel)" => {}, "front right (wheel)" => {}, "rear left (wheel)" => {},
                          "rear right (wheel)" => {}, "chassis" => { "body (shell)" => {} }, "camera" => {} } }.freeze

  def test_nodes_names_and_instances_in_gltf
    input = write("car.gltf", JSON.generate(car))
    assert_equal CAR_TREE, Gltf.tree(Gltf.json(input))
    %w[glb gltf].each do |format|
      output = path("out.#{format}")
      report = reduce(input, output, "--faces", 8)
      assert_equal CAR_TREE, Gltf.tree(Gltf.json(output))
      assert_equal 2, Gltf.json(output)["meshes"].size
      assert_empty Gltf.errors(output)
      assert_same_scene input, output
      assert_bounds assimp_info(input).last, report["bounds_after"]
      refute Gltf.json(output)["materials"].any? { |material| material["doubleSided"] }
    end
    # Once more, and nothing grows.
    reduce(path("out.glb"), path("again.glb"), "--faces", 8)
    assert_equal CAR_TREE, Gltf.tree(Gltf.json(path("again.glb")))
  end

  def test_nodes_names_and_instances_in_dae
    input = write("car.gltf", JSON.generate(car))
    reduce(input, path("out.dae"), "--faces", 8)
    text = File.read(path("out.dae"))
    assert_equal 2, text.scan("<geometry ").size
    assert_equal 5, text.scan("<instance_geometry ").size
    ["front left", "front right", "rear left", "rear right", "chassis", "body", "camera"].each do |name|
      assert_match(/<node [^>]*name="#{name}"/, text)
    end
    assert_same_scene input, path("out.dae")
    # And back.
    reduce(path("out.dae"), path("back.glb"), "--faces", 8)
    assert_equal CAR_TREE, Gltf.tree(Gltf.json(path("back.glb")))
    assert_same_scene input, path("back.glb")
  end

  def test_instances_are_placed_in_formats_without_nodes
    input = write("car.gltf", JSON.generate(car))
    %w[obj ply stl].each do |format|
      reduce(input, path("out.#{format}"), "--faces", 8)
      assert_same_scene input, path("out.#{format}")
    end
  end

  # A mesh that its nodes make a hundredth as large is reduced as what is seen of it.
  def test_a_tolerance_holds_in_the_scene
    terrain = write("terrain.obj", Models.terrain(40))
    convert(terrain, path("flat.gltf"))
    json = Gltf.json(path("flat.gltf"))
    json["nodes"][json["scenes"][0]["nodes"][0]]["scale"] = [0.01, 0.01, 0.01]
    small = write("small.gltf", JSON.generate(json))
    whole = reduce(terrain, path("whole.glb"), "--tolerance", 0.05)
    scaled = reduce(small, path("scaled.glb"), "--tolerance", 0.0005)
    # The scale is rounded to a power of two, to the safe side: as if the tolerance were up to half.
    half = reduce(terrain, path("half.glb"), "--tolerance", 0.025)
    assert_includes whole["faces_after"]..half["faces_after"], scaled["faces_after"]
    assert_operator scaled["faces_after"], :<, 1600
    assert_operator reduce(small, path("other.glb"), "--tolerance", 0.05)["faces_after"], :<, scaled["faces_after"] / 2
  end

  # --- round trips -----------------------------------------------------------------------------------------------

  def numbers(file, kind)
    File.foreach(file).select { |line| line.start_with?("#{kind} ") }
        .map { |line| line.split[1..].first(kind == "vt" ? 2 : 3).map(&:to_f) }.uniq
  end

  # Each of the one is within a millionth (or so of the number) of one of the other. glTF turns v over, which rounds.
  def assert_all_near(some, others, message)
    cells = others.group_by { |numbers| numbers.map { |x| (x * 1e4).round } }
    some.each do |numbers|
      near = numbers.map { |x| [(x * 1e4).floor, (x * 1e4).ceil] }
      found = near.first.product(*near.drop(1)).flat_map { |cell| cells.fetch(cell, []) }
      assert(found.any? { |other| numbers.zip(other).all? { |x, y| (x - y).abs <= 1e-6 * [x.abs, 1].max } },
             "#{message}: #{numbers}")
    end
  end

  def test_obj_to_glb_to_obj_keeps_positions_and_uvs
    { "spot" => Models.shared("spot.obj"), "sample" => Models::SAMPLE }.each do |name, input|
      next unless File.exist?(input)

      reduce(input, path("#{name}.obj"), "--ratio", 0.25)
      convert(path("#{name}.obj"), path("#{name}.glb"))
      convert(path("#{name}.glb"), path("#{name}-back.obj"))
      %w[v vt].each do |kind|
        there, back = [path("#{name}.obj"), path("#{name}-back.obj")].map { |file| numbers(file, kind) }
        assert_operator there.size, :>, 100
        assert_all_near there, back, "#{name} #{kind}"
        assert_all_near back, there, "#{name} #{kind}"
      end
    end
  end

  def test_every_format_keeps_the_coordinates_of_an_obj_file
    input = write("terrain.obj", Models.terrain(8))
    bounds = info(input)["bounds"]
    FORMATS.each do |format|
      assert_equal 128, convert(input, path("there.#{format}"))["faces_after"]
      convert(path("there.#{format}"), path("back.obj"))
      assert_bounds bounds, info(path("back.obj"))["bounds"], format
      assert_equal numbers(input, "v").size, numbers(path("back.obj"), "v").size, format
    end
  end

  # In COLLADA the file says what its numbers mean; what knows units and axes is told.
  def test_units_and_axes
    input = write("tile.dae", <<~XML)
      <?xml version="1.0"?>
      <COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
      <asset><unit name="inch" meter="0.0254"/><up_axis>Z_UP</up_axis></asset>
      <library_geometries><geometry id="tile" name="tile"><mesh>
      <source id="p"><float_array id="pa" count="9">0 0 0 100 0 0 0 200 300</float_array><technique_common>
      <accessor source="#pa" count="3" stride="3"><param name="X" type="float"/><param name="Y" type="float"/>
      <param name="Z" type="float"/></accessor></technique_common></source>
      <vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
      <triangles count="1"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles></mesh></geometry>
      </library_geometries><library_visual_scenes><visual_scene id="s" name="s">
      <node id="one" name="one"><instance_geometry url="#tile"/></node></visual_scene></library_visual_scenes>
      <scene><instance_visual_scene url="#s"/></scene></COLLADA>
    XML
    convert(input, path("out.glb"))
    assert_bounds [[0, 0, -5.08], [2.54, 7.62, 0]], assimp_info(path("out.glb")).last
    convert(input, path("out.dae"))
    assert_includes File.read(path("out.dae")), "<up_axis>Z_UP</up_axis>"
    assert_match(/<unit [^>]*meter="0\.0(254|25399)/, File.read(path("out.dae")))
    assert_bounds [[0, 0, 0], [100, 200, 300]], info(path("out.dae"))["bounds"]
    convert(input, path("out.obj"))
    assert_bounds [[0, 0, -200], [100, 300, 0]], info(path("out.obj"))["bounds"]
  end

  # Edges of 3 millionths of a unit: a library on the way takes such for nothing.
  def test_the_smallest_models_keep_their_vertices
    input = write("tiny.obj", Models.terrain(20).gsub(/^v .*/) do |line|
      "v #{line.split[1..].map { |word| format("%.9g", word.to_f * 6e-6) }.join(" ")}"
    end)
    %w[glb gltf obj ply].each do |format|
      convert(input, path("out.#{format}"))
      assert_equal [800, 441], info(path("out.#{format}")).values_at("faces", "vertices"), format
    end
  end

  # --- real models -----------------------------------------------------------------------------------------------

  MODELS = %w[OBJ/spider.obj OBJ/WusonOBJ.obj OBJ/regr01.obj Collada/duck.dae Collada/teapots.DAE
              Collada/teapot_instancenodes.DAE Collada/Cinema4D.dae Collada/COLLADA.dae
              glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb glTF2/BoxTextured-glTF/BoxTextured.gltf
              glTF2/BoxTextured-glTF-Binary/BoxTextured.glb 3DS/fels.3ds STL/Spider_binary.stl].freeze

  MODELS.each do |name|
    define_method("test_glb_of_#{name.tr('^A-Za-z0-9', '_')}") do
      input = need(Models.assimp(name))
      missing = mirel("reduce", input, "-o", path("out.glb"), "--ratio", 0.5)
      options = missing.success? ? [] : ["--drop-textures"]
      assert_refused(missing, input, /Failed to Create Texture from File/) unless missing.success?
      report = reduce(input, path("out.glb"), "--ratio", 0.5, *options)
      assert_empty Gltf.errors(path("out.glb"))
      assert_bounds report["bounds_after"], assimp_info(path("out.glb")).last
      assert_operator report["faces_after"], :<=, report["faces_wanted"] if report["target_reached"]
      before, after = [input, path("out.glb")].map { |file| info(file) }
      assert_equal before["meshes"].size, after["meshes"].size
    end
  end

  %w[stanford-bunny.obj horse.ply rocker-arm.obj fandisk.obj cheburashka.obj spot.obj spot_quads.obj].each do |name|
    define_method("test_glb_of_#{name.tr('^A-Za-z0-9', '_')}") do
      input = need(Models.shared(name))
      report = reduce(input, path("out.glb"), "--ratio", 0.1)
      assert_empty Gltf.errors(path("out.glb"))
      faces, corners = assimp_info(path("out.glb"))
      assert_equal report["faces_after"], faces
      assert_bounds report["bounds_after"], corners
    end
  end

  # A place that squeezes a part flat, or to a point, is no reason to leave it out.
  def test_parts_without_thickness
    flat = car
    flat[:nodes][1][:scale] = [1, 0, 1]
    flat[:nodes][3][:scale] = [0, 0, 0]
    flat[:nodes][4].merge!(scale: [0, 2, 0], rotation: [0.6, 0, 0, 0.8])
    input = write("flat.gltf", JSON.generate(flat))
    %w[glb gltf dae obj].each do |format|
      output = path("out.#{format}")
      convert(input, output)
      assert_same_scene input, output
      assert_empty Gltf.errors(output) if format.start_with?("gl")
    end
  end

  # Moves far below a centimeter, and turns that hardly show, are still where the parts are.
  def test_small_moves_are_kept
    moved = car
    moved[:nodes][5].delete(:rotation)
    moved[:nodes][5][:translation] = [-0.006, -0.007, -0.008]
    moved[:nodes][6][:scale] = [1.009, 1, 1]
    moved[:nodes][6][:translation] = [-0.002, -0.003, -0.004]
    input = write("moved.gltf", JSON.generate(moved))
    %w[glb gltf dae].each do |format|
      report = convert(input, path("out.#{format}"))
      report["bounds_after"].first.zip([-0.008, -0.01, -0.012]).each { |a, b| assert_in_delta b, a, 1e-6, format }
      assert_same_scene input, path("out.#{format}")
    end
    assert_empty Gltf.errors(path("out.glb"))
  end

  # --- what can go wrong -----------------------------------------------------------------------------------------

  def textured(texture = "brick.png")
    write("wall.mtl", "newmtl wall\nKd 1 1 1\nmap_Kd #{texture}\n")
    write("wall.obj", "mtllib wall.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 0 1\nusemtl wall\nf 1/1 2/2 3/3\n")
  end

  def test_a_missing_texture
    FileUtils.mkdir(path("out"))
    input = textured
    WITH_MATERIALS.each do |format|
      output = write("out/result.#{format}", "as it was")
      result = mirel("convert", input, "-o", output)
      assert_refused(result, input, /Failed to Create Texture from File: .*brick\.png: no such file/)
      assert_equal "as it was", File.read(output)
      assert_equal ["result.#{format}"], Dir.children(path("out"))
      convert(input, output, "--drop-textures")
      FileUtils.rm_r(Dir[path("out/*")])
    end
    %w[ply stl].each { |format| convert(input, path("out/result.#{format}")) }
  end

  def test_an_empty_texture_and_a_folder_in_its_place
    write("brick.png", "")
    assert_refused(mirel("convert", textured, "-o", path("out.glb")), "wall.obj", /brick\.png: it is empty/)
    FileUtils.rm(path("brick.png"))
    FileUtils.mkdir(path("brick.png"))
    assert_refused(mirel("convert", textured, "-o", path("out.glb")), "wall.obj", /brick\.png: is a directory/)
    refute_path_exists path("out.glb")
  end

  def test_a_picture_that_gltf_does_not_know_is_told
    write("brick.bmp", "BM is no picture that glTF takes")
    result = mirel("convert", textured("brick.bmp"), "-o", path("out.glb"))
    assert_equal 0, result.status, result.err
    assert_match(/brick\.bmp is none of PNG, JPEG, TGA and BMP, and was left out/, result.err)
    assert_empty Gltf.errors(path("out.glb"))
    FileUtils.mkdir(path("out"))
    assert_equal %w[brick.bmp out.mtl], convert(path("wall.obj"), path("out/out.obj"))["side_files"]
  end

  def test_pictures_that_gltf_does_not_know_become_png
    bitmap = ["BM", 58, 0, 54, 40, 1, 1, 1, 24, 0, 4, 0, 0, 0, 0, 0, 0, 255, 0].pack("a2 V6 v2 V6 C4")
    targa = [0, 0, 2, 0, 0, 0, 0, 0, 1, 1, 24, 0, 0, 0, 255].pack("C3 v2 C v4 C2 C3")
    { "brick.bmp" => bitmap, "brick.tga" => targa }.each do |name, content|
      write(name, content)
      result = mirel("convert", textured(name), "-o", path("out.glb"))
      assert_equal [0, ""], [result.status, result.err.lines.grep(/left out/).join], result.err
      assert_empty Gltf.errors(path("out.glb"))
      assert_equal "image/png", Gltf.json(path("out.glb"))["images"].first["mimeType"]
      FileUtils.mkdir_p(path("out"))
      assert_includes convert(path("wall.obj"), path("out/out.gltf"))["side_files"], "brick.png"
      assert_empty Gltf.errors(path("out/out.gltf"))
      FileUtils.rm_r(path("out"))
    end
  end

  def test_textures_of_one_name
    %w[a b].each do |folder|
      FileUtils.mkdir(path(folder))
      write("#{folder}/brick.png", RED_DOT + folder)
    end
    write("wall.mtl", "newmtl a\nmap_Kd a/brick.png\nnewmtl b\nmap_Kd b/brick.png\n")
    input = write("wall.obj", "mtllib wall.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nvt 0 0\nvt 1 0\nvt 0 1\n" \
                              "usemtl a\nf 1/1 2/2 3/3\nusemtl b\nf 4/1 3/2 2/3\n")
    FileUtils.mkdir(path("out"))
    write("out/brick.png", "somebody else's")
    report = convert(input, path("out/wall.gltf"))
    textures = report["side_files"].grep(/png/)
    assert_equal 2, textures.size
    refute_includes textures, "brick.png"
    assert_equal "somebody else's", File.read(path("out/brick.png"))
    assert_equal [RED_DOT + "a", RED_DOT + "b"], textures.map { |name| File.binread(path("out/#{name}")) }.sort
    # Once more: what is there already is used again.
    assert_equal ["wall.bin"], convert(input, path("out/wall.gltf"))["side_files"]
  end

  def test_textures_below_the_output_are_named_where_they_are
    FileUtils.mkdir(path("textures"))
    write("textures/brick.png", RED_DOT)
    report = convert(textured("textures/brick.png"), path("out.gltf"))
    assert_equal ["out.bin"], report["side_files"]
    assert_equal ["textures/brick.png"], Gltf.json(path("out.gltf"))["images"].map { |image| image["uri"] }
    assert_empty Gltf.errors(path("out.gltf"))
  end

  def test_the_output_may_be_the_input
    write("brick.png", RED_DOT)
    input = textured
    report = convert(input, input)
    assert_equal ["wall.mtl"], report["side_files"]
    assert_equal RED_DOT, File.binread(path("brick.png"))
    assert_equal "brick.png", info(input)["materials"].first["texture"]
  end

  def test_names_of_any_letters
    write("brick.png", RED_DOT)
    points = "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\n"
    names = ["größe", "a/b", "..", "日本", "tab\there", "bad\xFFbyte".b, "same", "same", "x" * 300, "<&\"'>"]
    objects = names.each_with_index.map do |name, number|
      "o ".b + name.b + "\nusemtl ".b + name.b + "\nv #{number} 0 0\nv #{number} 1 0\nv #{number} 0 1\nf -3 -2 -1\n".b
    end
    write("names.mtl", names.uniq.map { |name| "newmtl ".b + name.b + "\nKd 1 0 0\nmap_Kd brick.png\n".b }.join)
    input = write("names.obj", "mtllib names.mtl\n#{points}".b + objects.join)
    FORMATS.each do |format|
      output = path("näme & größe #1.#{format}")
      report = convert(input, output)
      assert_equal 10, report["faces_after"]
      assert_equal 10, assimp_info(output).first, format
      assert_empty Gltf.errors(output) if format.start_with?("gl")
      assert_equal 10, info(output)["faces"]
      next unless format == "glb"

      json = Gltf.json(output)
      %w[größe a/b .. 日本].each { |name| assert_includes json["nodes"].map { |node| node["name"] }, name }
      assert_equal json["nodes"].size, json["nodes"].map { |node| node["name"] }.uniq.size
    end
    assert_empty Dir.children(@folder).grep(/\A\.mirel/)
  end

  def test_a_full_disk
    disk = path("disk")
    FileUtils.mkdir(disk)
    mounted = system("mount", "-t", "tmpfs", "-o", "size=64k", "mirel-test", disk, out: File::NULL, err: File::NULL)
    skip "may not mount a small disk" unless mounted
    FORMATS.each do |format|
      output = File.join(disk, "out.#{format}")
      File.write(output, "as it was")
      result = mirel("reduce", Models::SAMPLE, "-o", output, "--ratio", 0.5, "--quiet")
      assert_refused(result, output, /space|full/i, format)
      assert_equal ["out.#{format}"], Dir.children(disk)
      assert_equal "as it was", File.read(output)
      File.delete(output)
    end
  ensure
    system("umount", disk) if mounted
  end

  def test_a_folder_that_may_not_be_written
    skip "no other user to be" unless Program.other_user?
    FileUtils.chmod(0o755, @folder)
    FileUtils.mkdir(path("out"))
    FileUtils.chmod(0o755, path("out"))
    output = path("out/result.glb")
    assert_refused(mirel("convert", Models::SAMPLE, "-o", output, user: "nobody"), output, /permission/)
    assert_empty Dir.children(path("out"))
  end

  def test_an_earlier_output_is_replaced_with_its_rights
    output = write("out.glb", "as it was")
    File.chmod(0o640, output)
    reduce(Models::SAMPLE, output, "--ratio", 0.05)
    assert_equal 0o640, File.stat(output).mode & 0o777
    assert_equal ["out.glb"], Dir.children(@folder)
  end

  def test_formats_that_are_not_written_are_refused_before_any_work
    %w[out.skp out.fbx out.xyz out].each do |name|
      result = mirel("convert", path("no such model.obj"), "-o", path(name))
      assert_equal 1, result.status
      assert_match(/no such model\.obj|cannot be written/, result.err)
      result = mirel("convert", Models::SAMPLE, "-o", path(name))
      assert_refused(result, name, /this format cannot be written; the extensions known are .*\.glb/)
      assert_empty Dir.children(@folder)
    end
  end

  # --- looks -----------------------------------------------------------------------------------------------------

  # A cylinder of 24 sides with caps: its mantle is round at 20 degrees, not at 10.
  def cylinder
    ring = 24.times.map { |k| [Math.cos(k * Math::PI / 12), Math.sin(k * Math::PI / 12)] }
    points = [0, 1].flat_map { |z| ring.map { |x, y| [x, y, z] } } + [[0, 0, 0], [0, 0, 1]]
    faces = 24.times.flat_map do |k|
      l = (k + 1) % 24
      [[k, l, l + 24], [k, l + 24, k + 24], [48, l, k], [49, k + 24, l + 24]]
    end
    write("cylinder.obj", Models.obj(points, faces))
  end

  def test_softening
    input = cylinder
    counts = [0, 10, 20, 100].to_h do |angle|
      convert(input, path("out.glb"), "--soften", angle)
      json = Gltf.json(path("out.glb"))
      primitive = json["meshes"][0]["primitives"][0]
      [angle, json["accessors"][primitive["attributes"]["NORMAL"]]["count"]]
    end
    # Flat sides: four corners each, and a ring and a middle for each cap. Round: two rings more than the caps. All
    # round: each point once.
    flat = 24 * 4 + 25 * 2
    assert_equal({ 0 => flat, 10 => flat, 20 => 24 * 2 + 25 * 2, 100 => 50 }, counts)
    assert_match(/180/, mirel("convert", input, "-o", path("out.glb"), "--soften", 181).err)
  end

  def test_sides
    input = cylinder
    { [] => true, ["--one-sided"] => false, ["--two-sided"] => true }.each do |options, two_sided|
      convert(input, path("out.glb"), *options)
      sides = Gltf.json(path("out.glb"))["materials"].map { |material| material["doubleSided"] || false }
      assert_equal [two_sided], sides.uniq, options.inspect
    end
  end
end
