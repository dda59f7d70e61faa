# frozen_string_literal: true

require "export_test"

# Materials of the written model: made from descriptions, found again, and prefixed at the end.
class MaterialExportTest < ExportTest
  def export_materials(*names)
    export(node("root", mesh: 0, materials: names), nil)
    log
  end

  # The calls that make the materials, and the reads before them.
  def making(lines)
    from = lines.index("description.color")
    lines[from..lines.rindex { |line| line.start_with?("importer.material_exported") }]
  end

  def test_a_material_call_by_call
    give("Red", color: [10, 20, 30, 40])
    lines = export_materials("Red")
    from = lines.index("SUModelGetNumMaterials model1")
    assert_log <<~LOG, lines[from..from + 15]
      SUModelGetNumMaterials model1
      description.color
      color.red
      color.green
      color.blue
      color.alpha
      description.texture
      description.width
      description.height
      importer.apply_uv_texture?
      importer.importing_external_file?
      SUMaterialCreate material1
      SUMaterialSetName material1 "Red"
      SUMaterialSetColor material1 10,20,30,40
      importer.material_exported description "Red"
      SUModelAddMaterials model1 1 material1
    LOG
  end

  def test_colours_are_truncated_to_8_bits
    give("Odd", color: [256, -1, 511, 1000])
    assert_includes export_materials("Odd"), "SUMaterialSetColor material1 0,255,255,232"
    give("Float", color: [1.9, 2.0, 3.5, 255.0])
    start
    assert_includes export_materials("Float"), "SUMaterialSetColor material1 1,2,3,255"
  end

  def test_a_component_that_is_no_number
    give("Odd", color: [1, 2, nil, 4])
    assert_raises(TypeError) { export_materials("Odd") }
    lines = log
    assert_equal "color.blue", lines.last
    assert_empty lines.grep(/SUMaterialCreate/)
  end

  def test_a_texture_call_by_call
    give("Wood", texture: "wood.png", width: 2.5, height: 4)
    set(apply_uv_texture?: true, importing_external_file?: true)
    lines = making(export_materials("Wood"))
    assert_log <<~LOG, lines.drop(lines.index("SUMaterialCreate material1"))
      SUMaterialCreate material1
      SUMaterialSetName material1 "Wood"
      SUMaterialSetColor material1 1,2,3,4
      SUTextureCreateFromFile "wood.png" 2.5 4 texture1
      SUMaterialSetTexture material1 texture1
      importer.material_exported description "Wood"
    LOG
  end

  def test_a_texture_without_size_is_a_type_error
    [[nil, 1], [1, nil], [nil, nil], ["1", 1]].each do |width, height|
      start
      give("Wood", texture: "wood.png", width: width, height: height)
      assert_raises(TypeError) { export_materials("Wood") }
      lines = log
      assert_equal "SUMaterialSetColor material1 1,2,3,4", lines.last
    end
  end

  def test_a_texture_path_that_is_none
    give("Wood", texture: 7, width: 1, height: 1)
    assert_raises(TypeError) { export_materials("Wood") }
    give("Wood", texture: "a\0b", width: 1, height: 1)
    assert_raises(ArgumentError) { export_materials("Wood") }
  end

  # Only nil is no texture, no size and no record: false is a value of the wrong kind.
  def test_false_is_not_nil
    give("Wood", texture: false, width: 1, height: 1)
    assert_raises(TypeError) { export_materials("Wood") }
    set(apply_uv_texture?: true, importing_external_file?: true)
    [[false, 1], [1, false], [false, false]].each do |width, height|
      start
      give("Plain", width: width, height: height)
      assert_raises(TypeError) { export_materials("Plain") }
      assert_equal "importer.uv_texture_path", log.last
    end
    start
    importer.exported_materials["Plain"] = false
    assert_raises(TypeError) { export_materials("Plain") }
    lines = log
    assert_equal "SUModelGetNumMaterials model1", lines.last
  end

  def test_the_uv_texture_call_by_call
    give("Plain")
    set(apply_uv_texture?: true, importing_external_file?: true, uv_texture_path: "checker.png")
    lines = making(export_materials("Plain"))
    assert_log <<~LOG, lines.drop(lines.index("SUMaterialCreate material1"))
      SUMaterialCreate material1
      SUMaterialSetName material1 "Plain"
      SUMaterialSetColor material1 1,2,3,4
      importer.uv_texture_path
      SUTextureCreateFromFile "checker.png" 12 12 texture1
      SUMaterialSetTexture material1 texture1
      SUMaterialSetColor material1 1,2,3,4
      importer.material_exported description "Plain"
    LOG
  end

  def test_the_uv_texture_s_size
    set(apply_uv_texture?: true, importing_external_file?: true)
    { [3, 5.5] => "3 5.5", [3, nil] => "12 12", [nil, 5] => "12 12", [nil, nil] => "12 12" }.each do |size, expected|
      start
      importer.forget_exported
      give("Plain", width: size[0], height: size[1])
      assert_includes export_materials("Plain"), "SUTextureCreateFromFile \"uv.png\" #{expected} texture1"
    end
  end

  def test_the_uv_texture_needs_both_predicates_to_be_true_itself
    [[true, false], [false, true], [true, 1], [1, true], [nil, nil]].each do |apply, importing|
      start
      importer.forget_exported
      give("Plain")
      set(apply_uv_texture?: apply, importing_external_file?: importing)
      lines = export_materials("Plain")
      assert_equal 1, lines.grep(/SUMaterialSetColor/).size
      assert_empty lines.grep(/Texture(?!.*uv_texture\?)/).grep(/\ASU/)
    end
  end

  def test_the_second_colour_is_not_checked
    give("Plain")
    set(apply_uv_texture?: true, importing_external_file?: true)
    place = sketchup_places("Plain").rindex { |line| line.start_with?("SUMaterialSetColor") }
    importer.forget_exported
    start
    SketchupRecorder.fail_call(place)
    lines = export_materials("Plain")
    assert_includes lines, "SUMaterialSetColor material1 1,2,3,4 fails"
    assert_equal "SUTerminate", lines.last
  end

  # The counted calls of an export, in order.
  def sketchup_places(*names)
    export_materials(*names).grep(/\ASU/).grep_v(/\ASU(Initialize|Terminate)/)
  end

  def test_a_texture_that_the_material_refuses_is_ignored
    give("Wood", texture: "wood.png", width: 1, height: 1)
    SketchupRecorder.fail_function("SUMaterialSetTexture")
    lines = export_materials("Wood")
    assert_includes lines, "SUMaterialSetTexture material1 texture1 fails"
    assert_equal "SUTerminate", lines.last
  end

  MESSAGES = {
    "SUMaterialCreate" => "Failed to Create Material",
    "SUMaterialSetName" => "Failed to Set Name of Material",
    "SUMaterialSetColor" => "Failed to Set Color of Material",
    "SUTextureCreateFromFile" => "Failed to Create Texture from File",
    "SUModelGetNumMaterials" => "Failed to get the Number of Materials in the Model"
  }.freeze

  MESSAGES.each do |function, message|
    define_method("test_#{function}_that_fails") do
      give("Wood", texture: "missing.png", width: 1, height: 1)
      SketchupRecorder.fail_function(function)
      assert_fails(message) { export_materials("Wood") }
      lines = log
      assert lines.last.start_with?(function)
      assert_empty lines.grep(/material_exported|SUModelAddMaterials/)
      assert_empty importer.exported_materials
    end
  end

  def test_a_uv_texture_that_cannot_be_read
    give("Plain")
    set(apply_uv_texture?: true, importing_external_file?: true)
    SketchupRecorder.fail_function("SUTextureCreateFromFile")
    assert_fails("Failed to Create Texture from File") { export_materials("Plain") }
  end

  def test_names_that_cannot_be_read_at_the_end
    give("Red")
    SketchupRecorder.fail_function("SUMaterialGetName")
    assert_fails("Failed to get name of material") { export_materials("Red") }
    assert_equal 'SUStringRelease ""', log.last
  end

  def test_the_number_is_asked_before_the_hash
    importer.instance_variable_set(:@exported_materials, nil)
    assert_raises(NoMethodError) { export_materials("Red") }
    assert_equal "SUModelGetNumMaterials model1", log.last
  end

  def test_a_material_is_made_once
    give("Red")
    lines = export_materials("Red", "Red")
    assert_equal 1, lines.grep(/SUMaterialCreate/).size
    assert_equal 1, lines.grep(/SUModelAddMaterials/).size
    from = lines.rindex("root.material_names.[] 1")
    assert_log <<~LOG, lines[from..from + 8]
      root.material_names.[] 1
      SUModelGetNumMaterials model1
      SUModelGetMaterials model1 1
      SUStringCreateFromUTF8 "Red"
      SUStringCreate
      SUMaterialGetName material1
      SUStringCompare "Red" "Red"
      SUStringRelease "Red"
      SUStringRelease "Red"
    LOG
  end

  def test_a_name_recorded_as_nil_is_exported_every_time
    give("Red")
    importer.define_singleton_method(:material_exported) { |_, name| @exported_materials[name] = nil }
    lines = export_materials("Red", "Red")
    assert_equal 2, lines.grep(/SUMaterialCreate/).size
    assert_equal 2, lines.grep(/SUModelAddMaterials/).size
    assert_empty lines.grep(/SUStringCompare/)
  end

  def test_a_recorded_name_that_the_model_has_not
    give("Red")
    importer.exported_materials["Red"] = "Gone"
    importer.define_singleton_method(:material_exported) { |*| }
    lines = export_materials("Red", "Red")
    assert_equal 2, lines.grep(/SUMaterialCreate/).size
    assert_includes lines, 'SUStringCompare "Red" "Gone"'
  end

  def test_materials_are_found_under_the_recorded_name
    importer.exported_materials["Red"] = "Scarlet"
    SketchupRecorder.add_material("Blue")
    SketchupRecorder.add_material("Scarlet")
    lines = export_materials("Red")
    assert_empty lines.grep(/SUMaterialCreate/)
    assert_includes lines, "SUGeometryInputFaceSetFrontMaterial geometry1 100 given2 [0,0] [0 1 2]"
  end

  def test_the_first_of_two_materials_with_the_name
    importer.exported_materials["Red"] = "Red"
    3.times { SketchupRecorder.add_material("Red") }
    lines = export_materials("Red")
    assert_equal 1, lines.grep(/SUStringCompare/).size
    assert_includes lines, "SUGeometryInputFaceSetFrontMaterial geometry1 100 given1 [0,0] [0 1 2]"
  end

  def test_a_recorded_name_that_is_no_string
    importer.exported_materials["Red"] = 7
    assert_raises(TypeError) { export_materials("Red") }
  end

  def test_a_name_without_description
    importer.imported_materials.default_proc = ->(_, key) { Events.emit("look up", key) && nil }
    assert_raises(NoMethodError) { export_materials("Unknown") }
    assert_equal 'look up "Unknown"', log.last
    start
    # A name that is no text is not looked up.
    assert_raises(TypeError) { export_materials(7) }
    assert_equal "SUModelGetNumMaterials model1", log.last
  end

  def test_the_prefix
    %w[Red Blue].each { |name| SketchupRecorder.add_material(name) }
    lines = export_materials
    from = lines.index("importer.importing_external_file?")
    assert_log <<~LOG, lines[from..lines.index("SUStringRelease \"Blue\"")]
      importer.importing_external_file?
      SUModelGetNumMaterials model1
      SUModelGetMaterials model1 2
      SUStringCreate
      SUMaterialGetName given1
      SUStringGetUTF8Length "Red"
      SUStringGetUTF8 "Red" 4
      SUMaterialSetName given1 "X_Red"
      SUMaterialGetName given2
      SUStringGetUTF8Length "Blue"
      SUStringGetUTF8 "Blue" 5
      SUMaterialSetName given2 "X_Blue"
      SUStringRelease "Blue"
    LOG
  end

  def test_the_prefix_stays_away_from_imported_files
    set(importing_external_file?: true)
    SketchupRecorder.add_material("Red")
    assert_empty export_materials.grep(/SUMaterialSetName|SUMaterialGetName/)
  end

  def test_only_true_itself_is_an_imported_file
    [1, nil, "true"].each do |answer|
      start
      SketchupRecorder.add_material("Red")
      set(importing_external_file?: answer)
      assert_includes export_materials, 'SUMaterialSetName given1 "X_Red"'
    end
  end

  def test_the_prefix_is_of_the_receiver_s_class
    subclass = Class.new(Zu::Mirel::Importer)
    subclass.const_set(:IMPORTED_MATERIAL_PREFIX, "Über ")
    @importer = subclass.new
    importer.forget_exported
    SketchupRecorder.add_material("Grün")
    assert_includes export_materials, 'SUMaterialSetName given1 "Über Grün"'
  end

  def test_a_prefix_that_is_no_string
    subclass = Class.new(Zu::Mirel::Importer)
    subclass.const_set(:IMPORTED_MATERIAL_PREFIX, nil)
    @importer = subclass.new
    importer.forget_exported
    assert_raises(TypeError) { export_materials }
    assert_equal "SUModelGetMaterials model1 0", log.last
  end

  def test_a_name_that_cannot_be_set_at_the_end_is_not_reported
    SketchupRecorder.add_material("Red")
    SketchupRecorder.fail_function("SUMaterialSetName")
    assert_equal "SUTerminate", export_materials.last
  end
end
