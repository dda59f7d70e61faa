# frozen_string_literal: true

require "conformance"

# import_obj and the hand-off of meshes and materials to the Ruby side.
class ObjImportTest < Conformance::Test
  def setup
    super
    empty_state
  end

  def import(path = "model.obj") = importer.import_obj(path)

  def color(*components, key: "getColor") = Recorder.floats(key, components)

  def test_one_mesh_with_one_material_call_by_call
    Recorder.answer("getNumFaceSets", 1)
    Recorder.text("getName", "brick")
    Recorder.text("getTexturePath", "textures/brick.png")
    Recorder.text("getTextureBasePath", "/models")
    color(1.0, 0.5, 0.999, 0.0)
    assert_equal 0, import("folder/model.obj")
    assert_log <<~LOG
      IBalancerSDK.initialize
      IMeshDepot.create
      Kernel.puts "Mireling Model..."
      bar.update_message "Mireling Model..."
      IMeshDepot.load folder/model.obj null
      Kernel.puts "Building Scene Graph..."
      bar.update_message "Building Scene Graph..."
      depot2.getNumMeshes
      importer.get_root_definition
      importer.get_mesh_name nil 0
      depot2.getMesh 0
      depot2.mesh0.getNumFaceSets
      depot2.mesh0.getMaterial 0
      depot2.mesh0.material0.getName
      depot2.mesh0.material0.isDefault
      depot2.mesh0.material0.getColor
      Color.new 255 127 254 0
      depot2.mesh0.material0.getTexturePath
      depot2.mesh0.material0.getTextureBasePath
      importer.get_texture_relative_path "/models" "textures/brick.png"
      importer.add_material "brick" Color(255,127,254,0) "relative textures/brick.png"
      importer.add_instance "mesh 0" :identity 0 ["handle of brick"] :root
    LOG
    assert_equal true, importer.instance_variable_get(:@mesh_depot_in_memory)
  end

  def test_meshes_in_order
    Recorder.answer("load", 3)
    import
    lines = log
    assert_equal ["importer.get_mesh_name nil 0", "importer.get_mesh_name nil 1", "importer.get_mesh_name nil 2"],
                 lines.grep(/get_mesh_name/)
    assert_equal [0, 1, 2], lines.grep(/add_instance/).map { |line| line[/:identity (\d+)/, 1].to_i }
    assert_equal 3, lines.grep(/get_root_definition/).size
    assert_equal 1, lines.grep(/getNumMeshes/).size
  end

  def test_a_file_without_meshes
    Recorder.answer("load", 0)
    assert_equal 0, import
    assert_equal "depot2.getNumMeshes", log.last
  end

  def test_a_mesh_without_face_sets_has_its_default_material
    Recorder.text("getName", "Default")
    Recorder.answer("isDefault", 1)
    color(1, 1, 1, 1)
    Recorder.text("getTexturePath", "unused.png")
    import
    lines = log
    assert_log <<~LOG, lines.drop(lines.index("depot2.getMesh 0"))
      depot2.getMesh 0
      depot2.mesh0.getNumFaceSets
      depot2.mesh0.getDefaultMaterial
      depot2.mesh0.defaultMaterial.getName
      depot2.mesh0.defaultMaterial.isDefault
      importer.add_material "Default" nil nil
      importer.add_instance "mesh 0" :identity 0 ["handle of Default"] :root
    LOG
  end

  def test_a_default_material_of_a_face_set_has_neither_colour_nor_texture
    Recorder.answer("getNumFaceSets", 1)
    Recorder.answer("isDefault", 1)
    color(1, 1, 1, 1)
    import
    lines = log
    assert_includes lines, 'importer.add_material "material" nil nil'
    assert_empty lines.grep(/getColor|getTexture|Color\.new/)
  end

  def test_null_materials_get_generated_names
    Recorder.answer("load", 4)
    Recorder.answer("depot2.mesh3.getNumFaceSets", 2)
    Recorder.answer("getMaterial", 0)
    Recorder.answer("getDefaultMaterial", 0)
    import
    assert_equal ['"Mesh-0-Material-0"', '"Mesh-1-Material-0"', '"Mesh-2-Material-0"', '"Mesh-3-Material-0"',
                  '"Mesh-3-Material-1"'].map { |name| "importer.add_material #{name} nil nil" }, log.grep(/add_material/)
  end

  def test_materials_are_handed_over_in_the_order_of_the_face_sets
    Recorder.answer("getNumFaceSets", 3)
    3.times { |set| Recorder.text("depot2.mesh0.material#{set}.getName", "m#{set}") }
    import
    assert_equal 'importer.add_instance "mesh 0" :identity 0 ["handle of m0", "handle of m1", "handle of m2"] :root',
                 log.last
  end

  def test_colour_without_texture_and_texture_without_colour
    Recorder.answer("getNumFaceSets", 2)
    color(0, 0, 0, 1, key: "depot2.mesh0.material0.getColor")
    Recorder.text("depot2.mesh0.material1.getTexturePath", "t.png")
    import
    assert_equal ['importer.add_material "material" Color(0,0,0,255) nil',
                  'importer.add_material "material" nil "relative t.png"'], log.grep(/add_material/)
  end

  def test_colour_components_are_truncated_and_not_clamped
    Recorder.answer("getNumFaceSets", 1)
    color(0.999, 1.0, 1.5, -0.5)
    import
    assert_includes log, "Color.new 254 255 382 -127"
  end

  def test_texts_are_utf8
    Recorder.answer("getNumFaceSets", 1)
    Recorder.text("getName", "Größe")
    Recorder.text("getTexturePath", "b\xFF.png")
    names = []
    importer.define_singleton_method(:add_material) { |name, *| names << name }
    importer.define_singleton_method(:get_texture_relative_path) { |base, path| names.push(base, path) && path }
    import
    assert_equal [Encoding::UTF_8] * 3, names.map(&:encoding)
    assert_includes names, "Größe"
    refute_predicate names[1], :valid_encoding?
  end

  def test_callback_results_pass_unchanged
    root = Object.new
    name = Object.new
    handle = Object.new
    given = nil
    importer.define_singleton_method(:get_root_definition) { root }
    importer.define_singleton_method(:get_mesh_name) { |*| name }
    importer.define_singleton_method(:add_material) { |*| handle }
    importer.define_singleton_method(:add_instance) { |*arguments| given = arguments }
    import
    assert_equal [name, IDENTITY, 0, [handle], root], given
  end

  def test_failed_load
    Recorder.answer("load", -1)
    assert_equal false, import
    assert_log <<~LOG, log.last(2)
      IMeshDepot.load model.obj null
      Kernel.puts "Error: MeshDepot file loading failed"
    LOG
    assert_equal 0, importer.count_faces
    assert_log 'Kernel.puts "Error: MeshDepot has not been created."'
  end

  def test_no_depot
    Recorder.answer("initialize", 0)
    assert_equal false, import
    assert_log NO_DEPOT_LOG
  end

  def test_an_sdk_that_makes_no_depot
    Recorder.answer("create", 0)
    assert_equal false, import
    assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', log.last
  end

  def test_a_failed_sdk_with_an_earlier_depot_goes_on
    make_depot
    Recorder.answer("initialize", 0)
    assert_equal 0, import
    assert_includes log, "IMeshDepot.load model.obj null"
  end

  def test_the_first_depot_is_not_destroyed
    import
    clear_log
    importer.clear_balancer
    assert_log <<~LOG
      depot2.clear
      IMeshDepot.destroy depot2
      IBalancerSDK.release sdk1
    LOG
  end

  def test_paths_that_are_no_texts_raise_first
    [nil, 7, :symbol].each { |path| assert_raises(TypeError) { import(path) } }
    assert_raises(ArgumentError) { import("a\0b") }
    assert_log ""
  end

  def test_a_path_that_a_callback_changes
    # A buffer of its own, so that the change is made in place.
    path = ["model with a name that is too long", "to be embedded.obj"].join(" ")
    Events.hook = ->(*) { path.setbyte(0, 88) }
    import(path)
    assert_includes log, "IMeshDepot.load model with a name that is too long to be embedded.obj null"
  end

  def test_a_missing_identity_raises_before_the_mesh_is_asked_for
    Object.send(:remove_const, :IDENTITY)
    assert_equal :IDENTITY, assert_raises(NameError) { import }.name
    assert_equal "importer.get_mesh_name nil 0", log.last
  ensure
    Object.const_set(:IDENTITY, :identity)
  end

  def test_a_mesh_that_the_depot_does_not_give
    Recorder.answer("getMesh", 0)
    assert_equal false, import
    assert_equal 'Kernel.puts "Error: Mesh has not been created."', log.last
  end

  def test_an_exception_of_a_callback_ends_the_import
    Recorder.answer("load", 3)
    importer.define_singleton_method(:get_mesh_name) do |node, index|
      raise IOError, "stop" if index == 1

      super(node, index)
    end
    assert_raises(IOError) { import }
    lines = log
    assert_equal 1, lines.grep(/add_instance/).size
    assert_empty lines.grep(/getMesh 1/)
  end
end
