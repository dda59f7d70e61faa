# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "fbx_test"

# The hand-off of materials, and the texture dump that no import calls.
class FbxMaterialTest < FbxTest
  # The lines of the hand-off of one material, which the block makes.
  def hand_over
    file = FbxFile.new
    file.node("a", materials: [yield(file)])
    lines = import_scene(file)
    lines[lines.index { |line| line.start_with?("importer.get_material_name") } + 1..
          lines.index { |line| line.start_with?("importer.add_material") }]
  end

  def color_of(lines) = lines.grep(/add_material/).first[/Color\((.*?)\)/, 1]

  def test_call_by_call
    lines = hand_over do |file|
      file.material("brick", shading: "phong", diffuse: [0.5, 0.25, 1.0]).tap do |material|
        file.texture("paint", on: material, file: "C:\\textures\\brick.png", scale: [2.0, 3.0])
      end
    end
    assert_log <<~'LOG', lines
      Color.new 127 63 255 255
      importer.get_material_name "brick" #brick
      importer.add_material "M-brick" Color(127,63,255,255) "C:\\textures\\brick.png" #brick 2.0 3.0
    LOG
  end

  def test_phong_and_lambert
    %w[phong lambert Phong Lambert].each do |shading|
      lines = hand_over { |file| file.material("m", shading: shading, diffuse: [0.5, 0.25, 1.0]) }
      assert_equal "127,63,255,255", color_of(lines), shading
      setup
    end
  end

  def test_another_model_with_a_diffuse_colour
    assert_equal "127,63,255,255", color_of(hand_over { |file| file.material("m", shading: "unknown", diffuse: [0.5, 0.25, 1.0]) })
  end

  def test_the_diffuse_factor_is_not_applied
    lines = hand_over { |file| file.material("m", shading: "phong", diffuse: [1, 1, 1], properties: { "DiffuseFactor" => 0.5 }) }
    assert_equal "255,255,255,255", color_of(lines)
  end

  def test_components_are_truncated_and_not_clamped
    lines = hand_over { |file| file.material("m", shading: "phong", diffuse: [0.999, 1.5, -0.5]) }
    assert_equal "254,382,-127,255", color_of(lines)
  end

  def test_a_colour_of_another_type_stays_black
    lines = hand_over { |file| file.material("m", shading: "unknown", diffuse: nil, properties: { "DiffuseColor" => 0.5 }) }
    assert_equal "0,0,0,255", color_of(lines)
  end

  def test_no_diffuse_property
    lines = hand_over { |file| file.material("bare", shading: "unknown", diffuse: nil) }
    assert_log <<~'LOG', lines
      Kernel.print "No DiffuseColor property found for material: "
      Kernel.print "bare"
      Kernel.print "\n"
      Color.new 0 0 0 255
      importer.get_material_name "bare" #bare
      importer.add_material "M-bare" Color(0,0,0,255) nil #bare 1.0 1.0
    LOG
  end

  # Names of properties differ in capitals: this is another one, for colour, texture and dump.
  def test_a_diffuse_property_in_other_letters
    other = lambda do |file|
      file.material("bare", shading: "unknown", diffuse: nil, properties: { "DIFFUSECOLOR" => [1.0, 1.0, 1.0] })
          .tap { |material| file.texture("paint", on: material, channel: "DIFFUSECOLOR") }
    end
    lines = hand_over(&other)
    assert_equal 'Kernel.print "No DiffuseColor property found for material: "', lines.first
    assert_includes lines.last, "Color(0,0,0,255) nil #bare 1.0 1.0"
    file = FbxFile.new
    file.node("a", materials: [other.call(file)])
    assert_equal true, MirelTest.open_fbx(write(file))
    clear_log
    assert_empty dumped { MirelTest.display_texture("a") }
    refute_empty dumped { MirelTest.display_property("a", "DIFFUSECOLOR") }
  end

  %w[HLSL CGFX].each do |language|
    define_method("test_a_shader_in_#{language}_stays_black_and_keeps_its_texture") do
      lines = hand_over do |file|
        file.material("shader", shading: "phong", diffuse: [1, 1, 1]).tap do |material|
          file.implementation(on: material, language: language)
          file.texture("paint", on: material, file: "shader.png")
        end
      end
      assert_includes lines.last, 'Color(0,0,0,255) "shader.png"'
    end
  end

  def test_only_the_first_texture_of_the_diffuse_channel
    lines = hand_over do |file|
      file.material("m").tap do |material|
        file.texture("bump", on: material, file: "bump.png", channel: "Bump")
        file.texture("first", on: material, file: "first.png", scale: [4, 5])
        file.texture("second", on: material, file: "second.png")
      end
    end
    assert_includes lines.last, '"first.png" #m 4.0 5.0'
  end

  def test_a_texture_on_another_channel_only
    lines = hand_over { |file| file.material("m").tap { |m| file.texture("bump", on: m, channel: "Bump") } }
    assert_includes lines.last, "nil #m 1.0 1.0"
    assert_empty lines.grep(/Kernel/)
  end

  def test_a_layered_texture
    lines = hand_over do |file|
      file.material("m").tap do |material|
        layered = file.layered_texture("layers", on: material, blend_modes: [1])
        file.texture("inside", on: layered, scale: [2, 2])
      end
    end
    assert_equal 'Kernel.puts "Unable to cast the material texture as a file texture"', lines.first
    assert_includes lines.last, "nil #m 1.0 1.0"
  end

  def test_a_procedural_texture
    lines = hand_over { |file| file.material("m").tap { |material| file.procedural_texture("noise", on: material) } }
    assert_equal 'Kernel.puts "Unable to cast the material texture as a file texture"', lines.first
  end

  # Once for the node's material, once more for the flags of its mesh.
  def test_messages_repeat_for_a_mesh
    file = FbxFile.new
    material = file.material("bare", shading: "unknown", diffuse: nil)
    file.node("a", mesh: triangle(file), materials: [material])
    assert_equal 2, import_scene(file).count('Kernel.print "No DiffuseColor property found for material: "')
  end

  def test_a_texture_of_an_old_file
    file = FbxFile.new(version: 6100)
    material = file.material("m")
    file.texture("paint", on: material, file: "old.png", scale: [2, 3])
    file.node("a", mesh: triangle(file), materials: [material])
    assert_includes import_scene(file).grep(/add_material/).first, '"old.png" #m 2.0 3.0'
  end

  def test_the_path_is_handed_over_as_stored_and_as_utf8
    paths = []
    importer.define_singleton_method(:add_material) { |_, _, texture, *| paths << texture }
    file = FbxFile.new
    file.node("a", materials: [file.material("m").tap { |m| file.texture("t", on: m, file: "../Größe/./a.png") }])
    import_scene(file)
    assert_equal ["../Größe/./a.png"], paths
    assert_equal Encoding::UTF_8, paths.first.encoding
  end

  # -- single functions

  # A file with one node, "a", whose material the block fills.
  def open_material
    file = FbxFile.new
    material = file.material("m", shading: "phong")
    yield file, material
    file.node("a", materials: [material])
    assert_equal true, MirelTest.open_fbx(write(file))
    clear_log
  end

  def test_the_texture_of_no_material
    assert_nil MirelTest.diffuse_texture(nil)
    assert_log 'Kernel.puts "Tried to get the texture but the material is not valid"'
  end

  def test_colours
    assert_equal [254, 255, 510, -25], MirelTest.color_from_fbx([0.999, 1.0, 2.0, -0.1]).components
    assert_equal [0, 127, 0, 0], MirelTest.color_from_fbx([0.0, 0.5, 0.0039, -0.0039]).components
    MirelTest.color_from_fbx([Float::NAN, Float::INFINITY, -Float::INFINITY, 1e30]).components.each do |component|
      assert_equal(-2**31, component)
    end
  end

  # The dump as lines of text.
  def dumped
    yield
    log.each_with_object([+""]) do |line, lines|
      case line
      when /\AKernel\.puts (.*)/ then lines.last << Recorder.unquote($1) && lines << +""
      when /\AKernel\.print (.*)/
        text = Recorder.unquote($1)
        text == "\n" ? lines << +"" : lines.last << text
      else flunk(line)
      end
    end[0..-2]
  end

  FIELDS = <<~TEXT.lines(chomp: true).map { |line| " " * 12 + line }
    Scale U: 1
    Scale V: 1
    Translation U: 0
    Translation V: 0
    Swap UV: 0
    Rotation U: 0
    Rotation V: 0
    Rotation W: 0
    Alpha Source: None
    Cropping Left: 0
    Cropping Top: 0
    Cropping Right: 0
    Cropping Bottom: 0
    Mapping Type: UV
    Alpha: 1
    Material Use: Model Material
    Texture Use: Standard
  TEXT

  def fields(change = {}, without: [], after: {})
    FIELDS.flat_map do |line|
      label = line.strip[/\A[^:]+/]
      next [] if without.include?(label)

      [change.key?(label) ? line.sub(/: .*/, ": #{change[label]}") : line, *after[label]&.then { |text| " " * 12 + text }]
    end
  end

  def test_dump_of_a_file_texture
    open_material { |file, material| file.texture("paint", on: material, file: "a/b.png", scale: [2.9, 0.5]) }
    lines = dumped { MirelTest.display_texture("a") }
    assert_equal ["    Textures for DiffuseColor", "        Texture 0", "            Name: paint",
                  "            Type: File Texture", "            File Name: a/b.png",
                  *fields({ "Scale U" => 2, "Scale V" => 0 })], lines
  end

  def test_dump_of_every_field
    properties = { "CurrentMappingType" => 1, "Translation" => [3.9, -2.5, 0.0], "Rotation" => [45.5, 90.0, 1.0], "Scaling" => [2.0, 3.0, 1.0],
                   "UVSwap" => 1, "Texture alpha" => 0.75, "TextureTypeUse" => 5 }
    open_material do |file, material|
      file.texture("paint", on: material, properties: properties,
                            fields: { "Texture_Alpha_Source" => ["RGB_Intensity"], "Cropping" => [1, 2, 3, 4] })
    end
    lines = dumped { MirelTest.display_property("a", "DiffuseColor") }
    labels = lines.drop(2).to_h { |line| line.strip.split(": ", 2) }
    expected = { "Translation U" => "3", "Translation V" => "4294967294", "Rotation U" => "45", "Rotation V" => "90",
                 "Rotation W" => "1", "Swap UV" => "1", "Cropping Left" => "1", "Cropping Top" => "2",
                 "Cropping Right" => "3", "Cropping Bottom" => "4", "Mapping Type" => "Planar",
                 "Planar Mapping Normal" => "Z", "Texture Use" => "Bump Normal Map" }
    assert_equal expected, labels.slice(*expected.keys)
    order = ["Mapping Type", "Planar Mapping Normal", "Alpha", "Material Use", "Texture Use"]
    assert_equal order, lines.last(5).map { |line| line.strip[/\A[^:]+/] }
  end

  # The value of one label for a texture with one property set.
  def dumped_value(label, property)
    file = FbxFile.new
    material = file.material("m")
    file.texture("paint", on: material, properties: property)
    file.node("a", materials: [material])
    assert_equal true, MirelTest.open_fbx(write(file))
    clear_log
    dumped { MirelTest.display_texture("a") }.filter_map { |line| line.strip[/\A#{label}: (.*)/, 1] }.first
  end

  { "Alpha Source" => ["AlphaSource", ["None", "RGB Intensity", "Black"]],
    "Material Use" => ["UseMaterial", ["Default Material", "Model Material"]],
    "Texture Use" => ["TextureTypeUse", ["Standard", "Shadow Map", "Light Map", "Spherical Reflexion Map",
                                         "Sphere Reflexion Map", "Bump Normal Map"]],
    # Planes have a value each in files.
    "Mapping Type" => ["CurrentMappingType", %w[UV Planar Planar Planar Spherical Cylindrical Environment Null Box Face]],
    "Planar Mapping Normal" => ["CurrentMappingType", [nil, "Z", "X", "Y", nil, nil, nil, nil, nil, nil]] }
    .each do |label, (property, names)|
    define_method("test_dump_of_every_#{label.downcase.tr(" ", "_")}") do
      names.each_with_index do |name, value|
        found = dumped_value(label, { property => value })
        name ? assert_equal(name, found, value) : assert_nil(found, value)
      end
    end
  end

  def test_dump_with_a_blend_mode
    names = %w[Translucent Additive Modulate Modulate2 Over Normal Dissolve Darken ColorBurn LinearBurn DarkerColor Lighten
               Screen ColorDodge LinearDodge LighterColor SoftLight HardLight VividLight LinearLight PinLight HardMix
               Difference Exclusion Substract Divide Hue Saturation Color Luminosity Overlay]
    assert_equal 31, names.size
    open_material { |file, material| file.texture("paint", on: material) }
    names.each_with_index do |name, mode|
      lines = dumped { MirelTest.display_texture_info("a", mode) }
      assert_equal "            Blend Mode: #{name}", lines[-4]
    end
    assert_empty dumped { MirelTest.display_texture_info("a", -1) }.grep(/Blend/)
    assert_equal "            Blend Mode: ", dumped { MirelTest.display_texture_info("a", 31) }[-4]
  end

  def test_dump_of_layers
    open_material do |file, material|
      layered = file.layered_texture("layers", on: material, blend_modes: [2, 30])
      file.texture("lower", on: layered, file: "l.png")
      file.texture("upper", on: layered, file: "u.png")
    end
    lines = dumped { MirelTest.display_texture("a") }
    assert_equal ["    Layered Texture: 0", "    Textures for DiffuseColor", "        Texture 0", "            Name: lower"],
                 lines.first(4)
    assert_equal ["            Blend Mode: Modulate", "            Blend Mode: Overlay"], lines.grep(/Blend/)
    assert_equal ["        Texture 0", "        Texture 1"], lines.grep(/\A {8}Texture/)
    assert_equal 2, lines.count("    Textures for DiffuseColor")
  end

  # A channel may have both kinds, in any order.
  def test_dump_of_layers_beside_other_textures
    open_material do |file, material|
      file.texture("before", on: material)
      layered = file.layered_texture("layers", on: material, blend_modes: [1])
      file.texture("inside", on: layered)
      file.texture("behind", on: material)
    end
    lines = dumped { MirelTest.display_texture("a") }.grep(/Layered|Texture \d| {12}Name: /)
    assert_equal ["        Texture 0", "            Name: before", "    Layered Texture: 1", "        Texture 0",
                  "            Name: inside", "        Texture 2", "            Name: behind"], lines
  end

  def test_dump_of_a_procedural_texture
    open_material { |file, material| file.procedural_texture("noise", on: material) }
    lines = dumped { MirelTest.display_texture("a") }
    assert_equal ["            Name: noise", "            Type: Procedural Texture"], lines[2, 2]
    assert_empty lines.grep(/File Name|Material Use/)
    assert_equal "            Texture Use: Standard", lines.last
  end

  def test_dump_of_channels_in_the_sdk_s_order
    channels = %w[DiffuseColor DiffuseFactor EmissiveColor EmissiveFactor AmbientColor AmbientFactor SpecularColor SpecularFactor
                  ShininessExponent NormalMap Bump TransparentColor TransparencyFactor ReflectionColor ReflectionFactor
                  DisplacementColor VectorDisplacementColor]
    open_material do |file, material|
      channels.reverse_each { |channel| file.texture("on #{channel}", on: material, channel: channel) }
    end
    named = dumped { MirelTest.display_texture("a") }.grep(/Name: on/).map { |line| line[/on (.*)/, 1] }
    assert_equal channels, named
  end

  def test_dump_of_several_textures_of_a_channel
    open_material { |file, material| 2.times { |number| file.texture("t#{number}", on: material) } }
    assert_equal ["        Texture 0", "            Name: t0", "        Texture 1", "            Name: t1"],
                 dumped { MirelTest.display_property("a", "DiffuseColor") }.grep(/Texture \d| {12}Name: t/)
  end

  def test_dump_of_nothing
    open_material { |_, _| nil }
    assert_empty dumped { MirelTest.display_texture("a") }
    assert_empty dumped { MirelTest.display_property("a", "NoSuchProperty") }
    assert_empty dumped { MirelTest.display_texture(nil) }
  end

  def test_a_raise_in_the_dump_leaves_nothing_behind
    open_material { |file, material| file.texture("paint", on: material) }
    22.times do |place|
      Events.reset
      Events.hook = ->(index, _) { raise IOError, "stop" if index == place }
      assert_raises(IOError) { MirelTest.display_texture("a") }
    end
    Events.reset
  end
end
