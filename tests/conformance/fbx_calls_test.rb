# frozen_string_literal: true

require "fbx_test"

# What import_fbx asks of the FBX library, as far as no result of it shows: names, settings, flags and lifetimes. A
# library that is loaded before the real one notes the calls (recording_fbx).
class FbxCallsTest < FbxTest
  def setup
    skip "no library can be put before another here" if RUBY_PLATFORM.include?("darwin")
    super
  end

  def teardown
    super if @folder
  end

  SETTINGS = <<~LOG
    fbx.FbxManager::Create
    fbx.FbxIOSettings::Create "IOSRoot"
    fbx.SetIOSettings IOSRoot
    fbx.FbxImporter::Create ""
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Material true
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Texture true
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Link false
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Shape false
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Gobo false
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Animation false
    fbx.SetBoolProp Import|AdvOptGrp|FileFormat|Fbx|Global_Settings true
    fbx.Initialize -1 IOSRoot
  LOG

  # The calls of the library, and of the rest what tells their place.
  def calls(*landmarks)
    log.select { |line| line.start_with?("fbx.") || landmarks.any? { |landmark| line.include?(landmark) } }
  end

  def test_a_scene_of_one_mesh
    file = FbxFile.new(axes: :y_up)
    file.node("a", mesh: triangle(file, "m"))
    assert_equal true, import(file)
    found = calls("initialize", "puts \"Reading", "set_unit", "get_mesh_name", "add_mesh", "calc_geometric", "Finished")
    assert_log "IBalancerSDK.initialize\n#{SETTINGS}#{<<~'LOG'}", found
      fbx.FbxScene::Create "myScene"
      Kernel.puts "Reading File..."
      fbx.Import myScene false
      fbx.GetFileVersion
      fbx.Destroy FbxImporter false
      fbx.ConvertScene MayaZUp
      importer.set_unit 3
      fbx.EvaluateLocalTransform 9223372036854775807 0 false false
      fbx.Triangulate m true false
      importer.get_mesh_name "m" #m
      importer.add_mesh "K-#m" 0 #m
      fbx.GetGeometricTranslation 0
      fbx.GetGeometricRotation 0
      fbx.GetGeometricScaling 0
      importer.calc_geometric_transform 0.0 0.0 0.0 0.0 0.0 0.0 1.0 1.0 1.0 "a"
      Kernel.puts "Finished Traversing scene"
      fbx.FbxManager::Destroy
    LOG
  end

  def test_other_attributes_are_not_triangulated
    file = FbxFile.new
    file.node("eye", mesh: [file.camera("camera"), file.light("light"), triangle(file, "m")])
    import_scene_calls = import(file) && calls
    assert_equal ["fbx.Triangulate m true false"], import_scene_calls.grep(/Triangulate/)
  end

  def test_a_file_that_cannot_be_opened
    assert_equal false, import("no fbx at all")
    lines = calls("Kernel.puts")
    assert_log SETTINGS, lines.first(12)
    assert_equal 'Kernel.puts "Call to FbxImporter::Initialize() failed.\n"', lines[12]
    assert_log "fbx.Destroy FbxImporter false\nfbx.FbxManager::Destroy", lines.drop(14)
  end

  def test_a_file_that_ends_early
    text = FbxFile.new.tap { |file| file.node("a", mesh: square(file)) }.text
    assert_equal false, import(text[0, text.index("PolygonVertexIndex")])
    lines = calls("Kernel.puts").drop(12)
    assert_log "fbx.FbxScene::Create \"myScene\"\nKernel.puts \"Reading File...\"\nfbx.Import myScene false",
               lines.first(3)
    assert_equal 'Kernel.puts "Failed to import the file"', lines[3]
    assert_log "fbx.Destroy FbxImporter false\nfbx.FbxManager::Destroy", lines.drop(5)
  end

  # The library is asked for nothing then.
  def test_no_depot
    Recorder.answer("create", 0)
    assert_equal false, import(FbxFile.new)
    assert_empty calls
  end

  def test_an_exception_leaves_the_objects_of_the_scene
    importer.define_singleton_method(:get_root_definition) { raise IOError, "stop" }
    assert_raises(IOError) { import(FbxFile.new) }
    assert_equal "fbx.ConvertScene MayaZUp", calls.last
  end
end
