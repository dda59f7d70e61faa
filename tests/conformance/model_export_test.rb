# frozen_string_literal: true

require "export_test"

# export_skp: the life of the model, the walk down the tree, and how each call's failure comes out.
class ModelExportTest < ExportTest
  MATRIX = [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16].freeze
  SHOWN_MATRIX = MATRIX.join(",")

  def test_an_empty_scene_call_by_call
    assert_equal true, importer.export_skp("some/path.skp", :ignored, node("root"), nil)
    assert_log <<~LOG
      SUInitialize
      SUModelCreate model1
      SUModelGetEntities model1
      root.entities
      root.balancer_mesh_index
      root.material_names
      root.name
      root.entities.length
      root.material_names.length
      importer.importing_external_file?
      SUModelGetNumMaterials model1
      SUModelGetMaterials model1 0
      SUStringCreate
      SUStringRelease ""
      SUModelSaveToFile model1 "some/path.skp"
      SUModelRelease model1
      SUTerminate
    LOG
  end

  def test_a_mesh_call_by_call
    give("Red")
    importer.define_singleton_method(:soften_edges?) do
      Events.emit("importer.soften_edges?")
      nil
    end
    export(node("root", mesh: 0, materials: ["Red", nil]))
    lines = log
    from = lines.index("root.name")
    to = lines.index("importer.progress= 40")
    outside_mesh = lines[from..to].grep_v(/SULoop|\.mesh0\.(?!getNumFaces)|\A(description|color)/)
    assert_log <<~LOG, outside_mesh
      root.name
      root.entities.length
      root.material_names.length
      depot1.getNumMeshes
      depot1.getMesh 0
      depot1.mesh0.getNumFaces
      SUGeometryInputCreate geometry1
      root.material_names.[] 0
      SUModelGetNumMaterials model1
      importer.apply_uv_texture?
      importer.importing_external_file?
      SUMaterialCreate material1
      SUMaterialSetName material1 "Red"
      SUMaterialSetColor material1 1,2,3,4
      importer.material_exported description "Red"
      SUModelAddMaterials model1 1 material1
      root.material_names.[] 1
      importer.apply_materials_both_sides?
      SUGeometryInputSetVertices geometry1 3 [0,0,0 1.5,0,0 0,2.5,0]
      depot1.mesh0.getNumFaces
      depot1.mesh0.getNumFaces
      SUGeometryInputAddFace geometry1 loop1
      SUGeometryInputFaceSetFrontMaterial geometry1 100 material1 [0,0] [0 1 2]
      importer.update_mesh_export_progress
      SUEntitiesFill model1.entities geometry1 true
      SUGeometryInputRelease geometry1
      importer.soften_edges?
      importer.definition_exported root "root"
      importer.progress= 40
    LOG
  end

  def test_a_component_call_by_call
    export(node("root", children: [child(node("Chair"), MATRIX)]))
    lines = log
    assert_log <<~LOG, lines[lines.index("root.entities.[] 0")..lines.index("importer.progress= 40")]
      root.entities.[] 0
      child of Chair.definition
      child of Chair.transformation
      Chair.name
      Chair.is_group?
      importer.exported_definition? Chair
      child of Chair.transformation.to_a
      SUComponentDefinitionCreate definition1
      SUModelAddComponentDefinitions model1 1 definition1
      SUComponentDefinitionSetName definition1 "Chair"
      SUComponentDefinitionGetEntities definition1
      Chair.entities
      Chair.balancer_mesh_index
      Chair.material_names
      Chair.name
      Chair.entities.length
      Chair.material_names.length
      importer.definition_exported Chair "Chair"
      SUComponentDefinitionCreateInstance definition1 instance1
      SUComponentInstanceSetTransform instance1 #{SHOWN_MATRIX}
      SUEntitiesAddInstance model1.entities instance1 null
      importer.definition_exported root "root"
      importer.progress= 40
    LOG
  end

  def test_a_group_call_by_call
    export(node("root", children: [child(node("Legs", group: true), MATRIX)]))
    lines = log
    from = lines.index("child of Legs.transformation.to_a")
    assert_log <<~LOG, lines[from..from + 6]
      child of Legs.transformation.to_a
      SUGroupCreate group1
      SUEntitiesAddGroup model1.entities group1
      SUGroupSetName group1 "Legs"
      SUGroupSetTransform group1 #{SHOWN_MATRIX}
      SUGroupGetEntities group1
      Legs.entities
    LOG
    assert_empty lines.grep(/Definition(?!.*Num)|Instance/).grep(/\ASU/)
  end

  def test_only_true_itself_is_a_group
    [1, nil, "true"].each do |answer|
      start
      export(node("root", children: [child(node("Legs", group: answer))]))
      lines = log
      assert_empty lines.grep(/SUGroup/)
      assert_equal 1, lines.grep(/SUEntitiesAddInstance/).size
    end
  end

  def test_children_go_into_their_parents
    leaf = node("Leaf", mesh: 0)
    branch = node("Branch", children: [child(leaf)], group: true)
    export(node("root", children: [child(branch)]))
    lines = sketchup_log
    assert_includes lines, "SUEntitiesAddGroup model1.entities group1"
    assert_includes lines, "SUEntitiesFill definition1.entities geometry1 true"
    assert_includes lines, "SUEntitiesAddInstance group1.entities instance1 null"
  end

  def test_a_component_reached_twice_is_written_once
    chair = node("Chair", mesh: 0)
    export(node("root", children: [child(chair), child(chair, MATRIX)]))
    lines = log
    assert_equal 1, lines.grep(/SUComponentDefinitionCreate /).size
    assert_equal 1, lines.grep(/SUEntitiesFill/).size
    assert_equal ["SUComponentDefinitionCreateInstance definition1 instance1",
                  "SUComponentDefinitionCreateInstance definition1 instance2"],
                 lines.grep(/CreateInstance/)
    assert_includes lines, "SUComponentInstanceSetTransform instance2 #{SHOWN_MATRIX}"
    from = lines.rindex("child of Chair.transformation.to_a")
    assert_log <<~LOG, lines[from..from + 7]
      child of Chair.transformation.to_a
      SUModelGetNumComponentDefinitions model1
      SUModelGetComponentDefinitions model1 1
      SUStringCreateFromUTF8 "Chair"
      SUStringCreate
      SUComponentDefinitionGetName definition1
      SUStringCompare "Chair" "Chair"
      SUStringRelease "Chair"
    LOG
  end

  def test_a_group_reached_twice_is_looked_up_among_the_definitions
    group = node("Legs", group: true)
    export(node("root", children: [child(node("Chair")), child(group), child(group)]))
    lines = log
    assert_equal 1, lines.grep(/SUGroupCreate/).size
    assert_includes lines, 'SUStringCompare "Chair" "Legs"'
    assert_equal 1, lines.grep(/CreateInstance/).size
  end

  def test_the_first_definition_of_the_name_is_instanced
    first = node("Same")
    second = node("Same")
    set(exported_definition?: false)
    importer.define_singleton_method(:exported_definition?) { |_| (@answers ||= [false, false, true]).shift }
    export(node("root", children: [child(first), child(second), child(first)]))
    assert_equal "SUComponentDefinitionCreateInstance definition1 instance3", log.grep(/CreateInstance/).last
  end

  def test_only_false_itself_is_not_exported
    importer.exported_definitions["Chair"] = "Other"
    [nil, true, 0, :false].each do |answer|
      start
      set(exported_definition?: answer)
      export(node("root", children: [child(node("Chair"))]))
      lines = log
      assert_includes lines, "SUModelGetNumComponentDefinitions model1"
      assert_empty lines.grep(/SUComponentDefinitionCreate|AddInstance/)
    end
  end

  def test_the_name_is_looked_up_as_the_plugin_recorded_it
    set(exported_definition?: false)
    chair = node("Chair")
    importer.define_singleton_method(:exported_definition?) { |node| node != chair }
    importer.exported_definitions["Stool"] = "Chair"
    export(node("root", children: [child(chair), child(node("Stool"))]))
    lines = log
    assert_includes lines, 'SUStringCreateFromUTF8 "Chair"'
    assert_equal "SUComponentDefinitionCreateInstance definition1 instance2", lines.grep(/CreateInstance/).last
  end

  def test_a_name_that_was_never_recorded_is_a_type_error
    set(exported_definition?: true)
    assert_raises(TypeError) { export(node("root", children: [child(node("Chair"))])) }
    assert_equal "SUModelGetNumComponentDefinitions model1", sketchup_log.last
  end

  def test_a_recurse_flag_that_is_only_truthy_reports_but_does_not_descend
    root = node("root", mesh: 0, children: [child(node("Chair"))])
    [1, "true", :true, []].each do |flag|
      start
      assert_equal true, export(root, flag)
      lines = log
      assert_equal 1, lines.grep(/SUEntitiesFill/).size
      assert_includes lines, "importer.update_mesh_export_progress"
      assert_includes lines, "importer.progress= 40"
      assert_empty lines.grep(/Chair|definition_exported|entities\.\[\]/)
    end
  end

  def test_without_recurse_nothing_is_reported
    root = node("root", mesh: 0, children: [child(node("Chair"))])
    [nil, false].each do |flag|
      start
      export(root, flag)
      lines = log
      assert_equal 1, lines.grep(/SUEntitiesFill/).size
      assert_empty lines.grep(/progress|Chair|definition_exported/)
    end
  end

  def test_a_mesh_without_faces_writes_no_geometry_but_its_children
    Recorder.answer("getNumFaces", 0)
    export(node("root", mesh: 0, materials: ["Red"], children: [child(node("Chair"))]))
    lines = log
    assert_empty lines.grep(/SUGeometry|SUEntitiesFill|SUMaterial|update_mesh/)
    assert_equal 1, lines.grep(/SUEntitiesAddInstance/).size
  end

  def test_without_material_names_faces_have_no_material
    export(node("root", mesh: 0))
    lines = log
    assert_equal 1, lines.grep(/AddFace/).size
    assert_empty lines.grep(/SUGeometryInputFaceSet/)
  end

  def test_a_nil_name_is_no_material
    export(node("root", mesh: 0, materials: [nil]))
    assert_empty log.grep(/SUGeometryInputFaceSet|SUModelAddMaterials|SUMaterialCreate/)
  end

  def test_a_material_name_that_is_false
    assert_raises(TypeError) { export(node("root", mesh: 0, materials: [false])) }
    assert_equal "SUModelGetNumMaterials model1", sketchup_log.last
  end

  def test_meshes_are_taken_by_their_index
    make_meshes(3)
    export(node("root", mesh: 2))
    assert_equal ["depot1.getNumMeshes", "depot1.getMesh 2", "depot1.mesh2.getNumFaces"], log.grep(/depot/).first(3)
  end

  def test_a_mesh_that_does_not_exist
    [1, -1, 0xFFFFFFFF].each do |index|
      start
      assert_fails("Mesh has not been created") { export(node("root", mesh: index)) }
      assert_includes log, "depot1.getMesh #{index & 0xFFFFFFFF}"
    end
  end

  def test_an_index_that_is_no_number
    assert_raises(TypeError) { export(node("root", mesh: "0")) }
    assert_raises(TypeError) { export(node("root", mesh: false)) }
    assert_raises(RangeError) { export(node("root", mesh: 2**32)) }
  end

  def test_without_depot
    importer.clear_balancer
    assert_fails("Mesh has not been created") { export(node("root", mesh: 0)) }
    refute_dead_calls
    assert_equal true, export(node("root"))
    empty_state
    assert_fails("Mesh has not been created") { export(node("root", mesh: 0)) }
  end

  def test_names_must_be_strings
    root = node("root")
    root.change(:name, nil)
    assert_raises(TypeError) { export(root) }
    assert_equal "root.name", log.last
    nul = node("root")
    nul.change(:name, "a\0b")
    assert_raises(ArgumentError) { export(nul) }
  end

  def test_names_are_given_as_they_are
    export(node("root", children: [child(node("Grüße / ../ %s"))]))
    assert_includes log, 'SUComponentDefinitionSetName definition1 "Grüße / ../ %s"'
  end

  def test_the_path_must_be_a_string
    assert_raises(TypeError) { importer.export_skp(nil, nil, node("root"), nil) }
    assert_raises(ArgumentError) { importer.export_skp("a\0b", nil, node("root"), nil) }
    assert_empty log
  end

  def test_transformations_that_are_none
    [[1] * 15, nil, "matrix", [nil] * 16, ["1"] * 16].each do |matrix|
      start
      assert_raises(TypeError) { export(node("root", children: [child(node("Chair"), matrix)])) }
      assert_empty sketchup_log.grep(/Definition/)
    end
  end

  def test_lists_that_are_none
    assert_raises(NoMethodError) { export(nil) }
    root = node("root")
    root.change(:entities, nil)
    assert_raises(NoMethodError) { export(root) }
    root = node("root")
    root.change(:material_names, nil)
    assert_raises(NoMethodError) { export(root) }
    assert_raises(NoMethodError) { export(node("root", children: [nil])) }
  end

  def test_a_tree_that_contains_itself_ends_in_an_exception
    children = []
    loop_node = node("Loop")
    loop_node.change(:entities, children)
    children << child(loop_node)
    set(exported_definition?: false)
    Recorder.enable(false)
    assert_raises(SystemStackError) { export(loop_node) }
  ensure
    Recorder.enable(true)
  end

  def test_a_deep_tree
    deepest = node("Leaf", mesh: 0)
    200.times { |level| deepest = node("level #{level}", children: [child(deepest)]) }
    export(deepest)
    lines = sketchup_log
    assert_equal 200, lines.grep(/CreateInstance/).size
    assert_includes lines, "SUEntitiesFill definition200.entities geometry1 true"
  end

  # What is written down here of every checked call: its message, and that the call is the last one.
  CHECKED = {
    "SUModelCreate" => "Failed to Create Model",
    "SUModelGetEntities" => "Failed to get the Model Entities",
    "SUGeometryInputCreate" => "Failed to create GeometryInputRef",
    "SUEntitiesFill" => "Failed to fill Entities with GeometryInputRef",
    "SUGroupCreate" => "Failed to Create New Group",
    "SUEntitiesAddGroup" => "Failed to attach child Group to parent",
    "SUGroupSetName" => "Failed to set the Name of the Group",
    "SUGroupGetEntities" => "Failed to get the Entities for the child object",
    "SUComponentDefinitionGetEntities" => "Failed to get the Entities for the child object",
    "SUComponentDefinitionCreate" => "Failed to Create New Component Definition",
    "SUModelAddComponentDefinitions" => "Failed to Add Component Definition to the model",
    "SUComponentDefinitionSetName" => "Failed to set the Name of the Component Definition",
    "SUComponentDefinitionCreateInstance" => "Failed to Create new Component Instance",
    "SUEntitiesAddInstance" => "Failed to attach child ComponentInstance to parent",
    "SUModelGetNumComponentDefinitions" => "Failed to get the Number of Component Definitions in the Model",
    "SUGeometryInputSetVertices" => "Failed to set the input vertices",
    "SULoopInputCreate" => "Failed to create Input loop",
    "SUGeometryInputAddFace" => "Failed to set Face to Geometry Input",
    "SUGeometryInputFaceSetFrontMaterial" => "Failed to set the material of the Face",
    "SUGeometryInputFaceSetBackMaterial" => "Failed to set the material of the Face",
    "SUMaterialCreate" => "Failed to Create Material",
    "SUTextureCreateFromFile" => "Failed to Create Texture from File",
    "SUModelGetNumMaterials" => "Failed to get the Number of Materials in the Model"
  }.freeze
  # Checked in one place, and not in another.
  DEPENDS = {
    "SUMaterialSetName" => ["Failed to Set Name of Material", /"X_/],
    "SUMaterialSetColor" => ["Failed to Set Color of Material", nil]
  }.freeze
  UNCHECKED = %w[
    SUModelAddMaterials SUModelGetMaterials SUModelGetComponentDefinitions SUModelSaveToFile SUModelRelease
    SUGroupSetTransform SUComponentInstanceSetTransform SUComponentDefinitionGetName SUGeometryInputRelease
    SULoopInputAddVertexIndex SULoopInputEdgeSetSoft SULoopInputEdgeSetSmooth SUEntitiesGetNumEdges
    SUEntitiesGetEdges SUEdgeGetNumFaces SUEdgeGetFaces SUFaceGetNormal SUEdgeSetSmooth SUEdgeSetSoft
    SUMaterialSetTexture SUStringCreate SUStringCreateFromUTF8 SUStringCompare SUStringGetUTF8Length
    SUStringGetUTF8 SUStringRelease
  ].freeze

  # The message that the failure of this line raises, or nil where the export goes on.
  def message_of(line, before)
    function = line.split.first
    # The prefix's own reading of names fails with or without a string to read into.
    if function == "SUMaterialGetName" || (function == "SUStringCreate" && before.any?(/importer.progress=/))
      return before.any?(/importer.progress=/) ? "Failed to get name of material" : nil
    end
    return CHECKED.fetch(function) if CHECKED.key?(function)

    message, exception = DEPENDS[function]
    return exception && line.match?(exception) ? nil : message if message

    assert_includes UNCHECKED, function
    nil
  end

  def test_every_call_failed_in_turn
    export(whole_scene)
    calls = SketchupRecorder.calls
    reached = []
    calls.times do |place|
      importer.forget_exported
      start
      root = whole_scene
      SketchupRecorder.fail_call(place)
      error = nil
      begin
        result = export(root)
      rescue RuntimeError => error
        nil
      end
      lines = log
      failed = lines.index { |line| line.end_with?(" fails") }
      reached << lines[failed].split.first
      message = message_of(lines[failed], lines.first(failed))
      if message
        assert_equal message, error&.message, lines[failed]
        # Nothing is rolled back; strings alone are let go.
        assert_empty lines.drop(failed + 1).grep_v(/\ASUStringRelease| refuses\z/), lines[failed]
      else
        assert_nil error, lines[failed]
        assert_equal true, result
        assert_equal ["SUTerminate"], lines.last(1)
        assert_equal 1, lines.grep(/SUModelSaveToFile/).size
      end
      assert_empty lines.grep(/OVERWRITES/)
      assert_equal 0, SketchupRecorder.strings, lines[failed]
    end
    assert_equal (CHECKED.keys + DEPENDS.keys + UNCHECKED + ["SUMaterialGetName"]).sort, reached.uniq.sort
  end

  def test_a_file_that_cannot_be_saved_is_not_reported
    SketchupRecorder.fail_function("SUModelSaveToFile")
    assert_equal true, export(node("root"))
    assert_equal ['SUModelSaveToFile model1 "out.skp" fails', "SUModelRelease model1", "SUTerminate"], sketchup_log.last(3)
  end

  def test_a_raise_leaves_model_and_api_as_they_are
    root = node("root", mesh: 0)
    assert_equal "stop", assert_raises(IOError) {
      Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.update_mesh_export_progress" }
      export(root)
    }.message
    lines = sketchup_log
    assert_empty lines.grep(/SUModelRelease|SUTerminate|SUModelSaveToFile|SUGeometryInputRelease/)
    Events.hook = nil
    assert_equal true, export(root)
  end

  def test_raise_from_each_callback
    stop = Class.new(StandardError)
    each_event do |root, arm|
      error = stop.new("mine")
      arm.call { raise error }
      assert_same error, assert_raises(stop) { export(root) }
      assert_abandoned
    end
  end

  def test_throw_from_each_callback
    each_event do |root, arm|
      arm.call { throw :out, :thrown }
      assert_equal :thrown, catch(:out) { export(root) }
      assert_abandoned
    end
  end

  def test_break_from_each_callback
    each_event do |root, arm|
      assert_equal :broken, leave_by_break(root, arm)
      assert_abandoned
    end
  end

  # A break leaves the method that took the block, with the native method in between.
  def leave_by_break(root, arm)
    with_block(root, arm) { break :broken }
  end

  def with_block(root, arm, &block)
    arm.call(&block)
    export(root)
    :not_broken
  end

  # The model is neither saved nor released, and the API stays initialised.
  def assert_abandoned
    lines = log
    refute_dead_calls(lines)
    assert_equal "SUInitialize", sketchup_log(lines).first
    assert_empty lines.grep(/SUModelSaveToFile|SUModelRelease|SUTerminate/)
  end

  # What the mesh SDK throws, at each operation that the export asks of it.
  def test_an_exception_of_the_sdk_at_each_operation
    scripted = lambda do
      make_meshes
      Recorder.answer("getNumFaceSets", 1)
      Recorder.floats("getVertexUVs", [0, 0, 1, 0, 0, 1])
    end
    scripted.call
    export(whole_scene)
    operations = log.grep(/\Adepot/).map { |line| line.split.first.split(".").last }.uniq
    assert_equal %w[getFace getFaceEdgeFlags getFaceSetOfFace getFaces getMesh getNumFaceSets getNumFaces getNumMeshes
                    getNumVertices getVertexUVs getVertices hasCornerUVs], operations.sort
    operations.each do |operation|
      { "broken" => [RuntimeError, :throw_error], nil => [NoMemoryError, :throw_out_of_memory] }.each do |text, how|
        scripted.call
        importer.forget_exported
        root = whole_scene
        Recorder.public_send(how.last, operation, *text)
        error = assert_raises(how.first, operation) { export(root) }
        assert_equal text, error.message if text
        assert_equal 0, SketchupRecorder.strings
        assert_abandoned
      end
    end
    importer.forget_exported
    scripted.call
    assert_equal true, export(whole_scene)
  end

  def test_clear_in_each_callback
    each_event do |root, arm|
      arm.call { importer.clear_balancer }
      begin
        export(root)
      rescue RuntimeError => error
        assert_equal "Mesh has not been created", error.message
      end
    end
  end

  def test_clear_and_init_in_each_callback
    each_event do |root, arm|
      arm.call do
        importer.clear_balancer
        importer.init_mesh_depot
      end
      begin
        export(root)
      rescue RuntimeError => error
        assert_equal "Mesh has not been created", error.message
      end
    end
  end

  def test_an_export_in_each_callback
    each_event do |root, arm|
      arm.call do
        other = Zu::Mirel::Importer.new
        other.forget_exported
        other.export_skp("other.skp", nil, Export.node("other", mesh: 0), true)
      end
      assert_equal true, export(root)
    end
  end

  # Calls the block with a fresh scene and with what steps in at each event in turn.
  def each_event
    export(whole_scene)
    events = Events.count
    assert_operator events, :>, 60
    events.times do |place|
      importer.forget_exported
      make_meshes
      root = whole_scene
      arm = lambda do |&action|
        Events.hook = lambda do |index, _|
          next unless index == place

          Events.hook = nil
          action.call
        end
      end
      yield root, arm
      refute_dead_calls
      assert_equal 0, SketchupRecorder.strings
    end
    importer.forget_exported
    make_meshes
    assert_equal true, export(whole_scene)
  end

  def test_lists_that_change_while_they_are_read
    names = ["Red", "Blue"]
    give("Red")
    root = node("root", mesh: 0)
    root.change(:material_names, names)
    importer.define_singleton_method(:material_exported) { |*| names.clear }
    assert_equal true, export(root)
    assert_equal 1, log.grep(/SUMaterialCreate/).size
  end

  def test_references_are_invalid_before_they_are_filled
    export(whole_scene)
    assert_empty log.grep(/OVERWRITES|refuses/)
  end

  LIBRARY = Conformance::EXTENSIONS.fetch(:mirel)

  def test_without_the_api_the_export_raises
    script = <<~RUBY
      module Sketchup; end
      module UI; end
      module Geom; end
      module Zu; module Mirel; class Importer; end; end; end
      require #{LIBRARY.dump}
      begin
        Zu::Mirel::Importer.new.export_skp("out.skp", nil, nil, nil)
      rescue RuntimeError => error
        print error.message
      end
    RUBY
    output, errors, status = Conformance.run_ruby(script)
    assert status.success?, errors
    assert_equal "The SketchUp C API is not available", output
  end

  def test_functions_of_the_api_are_only_called
    skip "not an ELF system" unless RUBY_PLATFORM.include?("linux")
    output, status = Open3.capture2("readelf", "-rW", LIBRARY)
    assert status.success?
    relocations = output.lines.map(&:split).select { |fields| fields[4]&.start_with?("SU") }
    assert_operator relocations.size, :>, 40
    refute_includes relocations.map { |fields| fields[4] }, "SUModelFixErrors"
    # The address of a function that is only called stands in the table of lazily bound calls and nowhere else.
    assert_equal [true], relocations.map { |fields| fields[2].match?(/JUMP?_SLO/) }.uniq
  end
end
