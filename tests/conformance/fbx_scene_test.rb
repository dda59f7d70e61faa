# frozen_string_literal: true

require "fbx_test"

# import_fbx: from the file to the callbacks of the node tree.
class FbxSceneTest < FbxTest
  def test_one_mesh_call_by_call
    file = FbxFile.new
    brick = file.material("brick", shading: "phong", diffuse: [0.5, 0.25, 1.0])
    file.node("wall", mesh: triangle(file, "surface"), materials: [brick],
                      properties: { "Lcl Translation" => [10.0, 20.0, 30.0], "GeometricTranslation" => [1.0, 2.0, 3.0],
                                    "GeometricRotation" => [90.0, 0.0, 45.0], "GeometricScaling" => [2.0, 3.0, 4.0] })
    assert_equal true, import(file)
    assert_log <<~'LOG'
      IBalancerSDK.initialize
      IMeshDepot.create
      Kernel.puts "Reading File..."
      bar.update_message "Reading File..."
      importer.set_unit 3
      importer.task_name= "Mireling Model:"
      bar.task_max_count= 2
      Kernel.puts "Building Scene Graph..."
      importer.get_root_definition
      Transformation.new
      importer.scale_of_trans T(1,0,0,0,0,1,0,0,0,0,1,0,10,20,30,1)
      importer.get_material_name "brick" #brick
      Color.new 127 63 255 255
      importer.get_material_name "brick" #brick
      importer.add_material "M-brick" Color(127,63,255,255) nil #brick 1.0 1.0
      importer.add_instance "wall" T(1,0,0,0,0,1,0,0,0,0,1,0,10,20,30,1) nil [] :root
      importer.get_mesh_name "surface" #surface
      depot1.createMesh
      depot1.getMesh 0
      depot1.mesh0.addVertex 0 0 0
      depot1.mesh0.addVertex 1 0 0
      depot1.mesh0.addVertex 0 1 0
      depot1.mesh0.setNumFaceSets 1
      Kernel.puts "Mesh has no layers"
      depot1.mesh0.setCurrentFaceSet 0
      depot1.mesh0.addFace 0 1 2
      importer.maintain_uvs?
      importer.apply_uv_texture?
      importer.maintain_normals?
      importer.add_mesh "K-#surface" 0 #surface
      importer.calc_geometric_transform 1.0 2.0 3.0 90.0 0.0 45.0 2.0 3.0 4.0 "wall"
      importer.add_instance "K-#surface" :offset 0 ["M-brick"] :"definition of wall"
      importer.update
      Kernel.puts "Finished Traversing scene"
    LOG
    assert_equal true, importer.instance_variable_get(:@mesh_depot_in_memory)
  end

  def test_paths_that_are_no_texts_raise_first
    [nil, 7, :symbol].each { |path| assert_raises(TypeError) { importer.import_fbx(path) } }
    assert_raises(ArgumentError) { importer.import_fbx("a\0b") }
    assert_log ""
  end

  def test_a_path_that_a_callback_changes
    path = +write(FbxFile.new, "a name that is too long to be embedded in a string.fbx")
    Events.hook = ->(*) { path.setbyte(0, 88) }
    assert_equal true, importer.import_fbx(path)
  end

  def test_a_path_with_letters_of_every_kind
    assert_equal true, importer.import_fbx(write(FbxFile.new, "Größe 模型.fbx"))
  end

  def test_no_depot
    Recorder.answer("initialize", 0)
    assert_equal false, import(FbxFile.new)
    assert_log NO_DEPOT_LOG
  end

  def test_an_sdk_that_makes_no_depot
    Recorder.answer("create", 0)
    assert_equal false, import(FbxFile.new)
    assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', log.last
  end

  def test_files_that_cannot_be_opened
    ["", "no fbx at all", "\x89PNG\r\n\x1A\n".b].each do |content|
      assert_equal false, import(content)
      assert_initialize_failed
    end
    assert_equal false, importer.import_fbx(File.join(@folder, "missing.fbx"))
    assert_initialize_failed
  end

  def assert_initialize_failed
    lines = log.drop(2)
    assert_equal 'Kernel.puts "Call to FbxImporter::Initialize() failed.\n"', lines.first
    assert_match(/\AKernel\.puts ".+"\z/, lines.last)
    assert_equal 2, lines.size, lines
  end

  def test_a_file_that_ends_early
    text = FbxFile.new.tap { |file| file.node("a", mesh: square(file)) }.text
    assert_equal false, import(text[0, text.index("PolygonVertexIndex")])
    lines = log.drop(2)
    assert_log <<~LOG, lines.first(3)
      Kernel.puts "Reading File..."
      bar.update_message "Reading File..."
      Kernel.puts "Failed to import the file"
    LOG
    assert_match(/\AKernel\.puts ".+"\z/, lines.last)
    assert_equal 4, lines.size, lines
  end

  # Centimetres to the unit, and its code.
  { 2.54 => 0, 30.48 => 1, 0.1 => 2, 1.0 => 3, 100.0 => 4 }.each do |unit, code|
    define_method("test_unit_of_#{unit}_cm") do
      assert_equal true, import(FbxFile.new(unit: unit))
      lines = log
      assert_includes lines, "importer.set_unit #{code}"
      assert_empty lines.grep(/default_unit/)
    end
  end

  # Decimetres, kilometres, yards, miles, and what is no known unit.
  [10.0, 100_000.0, 91.44, 160_934.4, 500.0].each do |unit|
    define_method("test_unit_of_#{unit}_cm_comes_from_the_ruby_side") do
      importer.default_unit = "4 and more"
      file = FbxFile.new(unit: unit)
      file.node("a", mesh: triangle(file), properties: { "Lcl Translation" => [1.0, 2.0, 3.0] })
      assert_equal true, import(file)
      lines = log
      assert_log "importer.default_unit\nimporter.set_unit 4", lines.grep(/_unit/)
      # Nothing is scaled.
      assert_includes lines, "importer.scale_of_trans T(1,0,0,0,0,1,0,0,0,0,1,0,1,2,3,1)"
      assert_includes lines, "depot1.mesh0.addVertex 1 0 0"
    end
  end

  def test_the_default_unit_is_taken_as_unsigned
    importer.default_unit = 4_294_967_295
    import(FbxFile.new(unit: 7.0))
    assert_includes log, "importer.set_unit 4294967295"
    importer.default_unit = -1
    import(FbxFile.new(unit: 7.0))
    assert_includes log, "importer.set_unit 4294967295"
    importer.default_unit = nil.to_a
    assert_raises(NoMethodError) { import(FbxFile.new(unit: 7.0)) }
  end

  # A Y-up point (x, y, z) stands at (x, -z, y); so do the axes.
  def test_y_up_is_turned_before_any_node_is_read
    file = FbxFile.new(axes: :y_up)
    top = file.node("top", properties: { "Lcl Translation" => [1.0, 2.0, 3.0] })
    file.node("below", parent: top, properties: { "Lcl Translation" => [4.0, 5.0, 6.0] })
    lines = import_scene(file)
    assert_equal ["importer.scale_of_trans T(1,0,0,0,0,0,1,0,0,-1,0,0,1,-3,2,1)",
                  "importer.scale_of_trans T(1,0,0,0,0,1,0,0,0,0,1,0,4,5,6,1)"], lines.grep(/scale_of_trans/)
  end

  def test_a_y_up_mesh_keeps_its_points
    file = FbxFile.new(axes: :y_up)
    file.node("a", mesh: file.mesh("m", points: [[1, 2, 3], [4, 5, 6], [7, 8, 10]], polygons: [[0, 1, 2]]))
    assert_equal ["depot1.mesh0.addVertex 1 2 3", "depot1.mesh0.addVertex 4 5 6", "depot1.mesh0.addVertex 7 8 10"],
                 import_scene(file).grep(/addVertex/)
  end

  def test_a_scene_without_nodes
    assert_equal true, import(FbxFile.new)
    assert_log <<~LOG, log.drop(4)
      importer.set_unit 3
      importer.task_name= "Mireling Model:"
      bar.task_max_count= 1
      Kernel.puts "Building Scene Graph..."
      importer.get_root_definition
      Kernel.puts "Finished Traversing scene"
    LOG
  end

  def test_nodes_depth_first_and_progress_in_post_order
    file = FbxFile.new
    a = file.node("a")
    b = file.node("b", parent: a)
    file.node("c", parent: b)
    file.node("d", parent: a)
    file.node("e")
    assert_equal true, import(file)
    lines = log
    assert_includes lines, "bar.task_max_count= 6"
    expected = <<~LOG
      importer.add_instance "a" #{UNMOVED} nil [] :root
      importer.add_instance "b" #{UNMOVED} nil [] :"definition of a"
      importer.add_instance "c" #{UNMOVED} nil [] :"definition of b"
      importer.update
      importer.update
      importer.add_instance "d" #{UNMOVED} nil [] :"definition of a"
      importer.update
      importer.update
      importer.add_instance "e" #{UNMOVED} nil [] :root
      importer.update
    LOG
    assert_log expected, lines.grep(/add_instance|importer\.update/)
  end

  def test_two_nodes_that_share_a_mesh
    file = FbxFile.new
    shared = triangle(file, "shared")
    red = file.material("red")
    file.node("first", mesh: shared, materials: [red])
    file.node("second", mesh: shared, materials: [red])
    lines = import_scene(file)
    assert_equal 1, lines.grep(/createMesh/).size
    assert_equal 1, lines.grep(/add_mesh/).size
    second = lines.drop(lines.index { |line| line.start_with?('importer.add_instance "second"') })
    assert_log <<~LOG, second
      importer.add_instance "second" #{UNMOVED} nil [] :root
      importer.get_mesh_name "shared" #shared
      record.balancer_index
      importer.calc_geometric_transform 0.0 0.0 0.0 0.0 0.0 0.0 1.0 1.0 1.0 "second"
      importer.add_instance "K-#shared" :offset 0 ["M-red"] :"definition of second"
      importer.update
      Kernel.puts "Finished Traversing scene"
    LOG
  end

  def test_a_shared_mesh_of_quads_is_cut_once
    file = FbxFile.new
    quad = file.mesh("quad", points: POINTS, polygons: [[0, 1, 3, 2]])
    2.times { |number| file.node("node #{number}", mesh: quad) }
    lines = import_scene(file)
    assert_equal 1, lines.grep(/createMesh/).size
    assert_equal 2, lines.grep(/addFace/).size
    assert_equal ["importer.get_mesh_name \"quad\" #quad"] * 2, lines.grep(/get_mesh_name/)
  end

  # The Ruby side alone keeps the table.
  def test_a_mesh_that_the_ruby_side_does_not_record_is_converted_again
    importer.define_singleton_method(:add_mesh) { |key, index, _| Events.emit("importer.add_mesh", key, index) }
    file = FbxFile.new
    shared = triangle(file, "shared")
    2.times { |number| file.node("node #{number}", mesh: shared) }
    assert_equal ['importer.add_mesh "K-#shared" 0', 'importer.add_mesh "K-#shared" 1'],
                 import_scene(file).grep(/add_mesh/)
  end

  def test_a_recorded_index_is_passed_on_as_it_is
    index = Object.new
    given = []
    importer.define_singleton_method(:get_mesh_name) { |*| :key }
    importer.define_singleton_method(:add_instance) { |*arguments| given << arguments and :definition }
    importer.instance_variable_set(:@balancer_meshes, { key: FbxStandIns::MeshRecord.new(index) })
    file = FbxFile.new
    file.node("a", mesh: triangle(file))
    import_scene(file)
    assert_equal [:key, :offset, index, [nil], :definition], given.last
  end

  def test_a_table_that_is_no_hash_raises
    [nil, [], 7].each do |table|
      importer.instance_variable_set(:@balancer_meshes, table)
      file = FbxFile.new
      file.node("a", mesh: triangle(file))
      assert_raises(TypeError) { import(file) }
    end
  end

  def test_nodes_with_other_attributes_only
    file = FbxFile.new
    camera = file.node("eye", mesh: file.camera("camera"))
    lamp = file.node("lamp", parent: camera, mesh: file.light("light"))
    file.node("below", parent: lamp, mesh: triangle(file))
    lines = import_scene(file)
    assert_equal ['importer.add_instance "eye"', 'importer.add_instance "lamp"', 'importer.add_instance "below"',
                  'importer.add_instance "K-#triangle"'], lines.grep(/add_instance/).map { |line| line.split[0, 2].join(" ") }
    assert_equal 1, lines.grep(/get_mesh_name/).size
  end

  def test_a_node_without_materials_has_a_nil
    file = FbxFile.new
    file.node("a", mesh: triangle(file))
    assert_equal 'importer.add_instance "K-#triangle" :offset 0 [nil] :"definition of a"',
                 import_scene(file).grep(/add_instance/).last
  end

  # One nil more for every mesh, in the one array.
  def test_two_meshes_on_a_node_without_materials
    file = FbxFile.new
    file.node("a", mesh: [triangle(file, "one"), triangle(file, "two")])
    given = []
    importer.define_singleton_method(:add_instance) { |*arguments| given << arguments[3].dup }
    import_scene(file)
    assert_equal [[], [nil], [nil, nil]], given
  end

  def test_two_meshes_on_a_node_with_materials
    file = FbxFile.new
    file.node("a", mesh: [triangle(file, "one"), triangle(file, "two")], materials: [file.material("red")])
    assert_equal ['importer.add_instance "K-#one" :offset 0 ["M-red"] :"definition of a"',
                  'importer.add_instance "K-#two" :offset 1 ["M-red"] :"definition of a"'],
                 import_scene(file).grep(/offset/)
  end

  def test_meshes_without_polygons_are_passed_over
    file = FbxFile.new
    empty = file.mesh("empty", points: POINTS, polygons: [])
    above = file.node("above", mesh: empty)
    file.node("below", parent: above, mesh: triangle(file))
    lines = import_scene(file)
    assert_equal ['importer.get_mesh_name "triangle" #triangle'], lines.grep(/get_mesh_name/)
    assert_equal 2, lines.grep(/importer\.update/).size
    assert_empty lines.grep(/Kernel/) - ['Kernel.puts "Mesh has no layers"', 'Kernel.puts "Finished Traversing scene"',
                                         'Kernel.puts "Mesh Layer 0 does not have any Normal data!"']
  end

  def test_surfaces_are_taken_as_meshes
    file = FbxFile.new
    file.node("a", mesh: file.surface("patch", points: POINTS, steps: 2), materials: [file.material("red")])
    lines = import_scene(file)
    assert_equal 8, lines.grep(/addFace/).size
    assert_equal 9, lines.grep(/addVertex/).size
    assert_equal 'importer.add_instance "K-#patch" :offset 0 ["M-red"] :"definition of a"', lines.grep(/offset/).last
  end

  FOUR_POINTS = [["Dimensions", 2, 2], ["Step", 2, 2],
                 ["Points", 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 0, 1, 1, 1, 0, 1]].freeze

  { "Nurb" => [["NurbOrder", 2, 2], ["Form", "Open", "Open"], ["KnotVectorU", 0, 0, 1, 1], ["KnotVectorV", 0, 0, 1, 1]],
    "Patch" => [["PatchType", "Linear", "Linear"]] }.each do |kind, body|
    [6100, 7400].each do |version|
      define_method("test_the_type_#{kind.downcase}_of_version_#{version}_is_taken_as_a_mesh") do
        file = FbxFile.new(version: version)
        file.node("a", mesh: file.attribute("Geometry", kind, kind, FOUR_POINTS + body))
        lines = import_scene(file)
        assert_equal 8, lines.grep(/addFace/).size
        assert_includes lines, "depot1.mesh0.addVertex 0.5 0.5 0"
      end
    end
  end

  # Nothing is said, and what follows is walked.
  def test_a_surface_that_does_not_become_triangles_is_passed_over
    file = FbxFile.new
    above = file.node("above", mesh: file.surface("broken", points: POINTS.first(2)))
    file.node("below", parent: above, mesh: triangle(file))
    lines = import_scene(file)
    assert_equal ['importer.get_mesh_name "triangle" #triangle'], lines.grep(/get_mesh_name/)
    assert_empty lines.grep(/Error|Warning/)
  end

  def test_materials_in_the_order_of_their_connections_and_again_for_each_node
    file = FbxFile.new
    red = file.material("red")
    blue = file.material("blue")
    file.node("a", materials: [blue, red])
    file.node("b", materials: [red])
    lines = import_scene(file)
    assert_equal %w[blue blue red red red red], lines.grep(/get_material_name/).map { |line| line[/"(.*)"/, 1] }
    assert_equal %w[M-blue M-red M-red], lines.grep(/add_material/).map { |line| line[/"(.*?)"/, 1] }
  end

  def test_names_may_be_equal_but_identifiers_differ
    file = FbxFile.new
    file.node("a", materials: [file.material("same"), file.material("same")])
    file.node("a", mesh: triangle(file, "m"))
    file.node("a", mesh: triangle(file, "m"))
    lines = import_scene(file)
    assert_equal ["#same", "#same", "#same'", "#same'"], lines.grep(/get_material_name/).map { |line| line.split.last }
    assert_equal ["#m", "#m'"], lines.grep(/get_mesh_name/).map { |line| line.split.last }
  end

  def test_texts_are_utf8
    file = FbxFile.new
    file.node("Knoten ü", mesh: triangle(file, "Netz 網"), materials: [file.material("Farbe é")])
    texts = []
    importer.define_singleton_method(:add_instance) { |name, *| texts << name }
    importer.define_singleton_method(:get_mesh_name) { |name, *| texts << name and name }
    importer.define_singleton_method(:get_material_name) { |name, *| texts << name and name }
    import_scene(file)
    assert_equal [Encoding::UTF_8], texts.map(&:encoding).uniq
    assert_equal ["Farbe é", "Farbe é", "Knoten ü", "Netz 網", "Netz 網"], texts
  end

  def test_identifiers_are_unsigned_integers
    identifiers = []
    importer.define_singleton_method(:get_material_name) { |_, identifier| identifiers << identifier }
    importer.define_singleton_method(:add_mesh) { |_, _, identifier| identifiers << identifier }
    file = FbxFile.new
    file.node("a", mesh: triangle(file), materials: [file.material("red")])
    import_scene(file)
    assert_equal 3, identifiers.size
    identifiers.each { |identifier| assert_includes 0..0xFFFFFFFF, identifier }
  end

  def test_transformations_are_sixteen_floats_row_by_row
    numbers = []
    importer.define_singleton_method(:scale_of_trans) { |transformation| numbers = transformation.numbers }
    file = FbxFile.new
    file.node("a", properties: { "Lcl Translation" => [1.0, 2.0, 3.0], "Lcl Rotation" => [0.0, 0.0, 90.0],
                                 "Lcl Scaling" => [2.0, 3.0, 4.0] })
    import_scene(file)
    assert_equal [Float], numbers.map(&:class).uniq
    expected = [0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 1, 2, 3, 1]
    numbers.zip(expected) { |number, value| assert_in_delta value, number, 1e-12 }
    assert_equal 16, numbers.size
  end

  # The offset T * Roff * Rp * Rpre * R * Rpost^-1 * Rp^-1 * Soff * Sp * S * Sp^-1 is the library's; this is that it is
  # asked for at all.
  def test_pivots_are_part_of_the_local_transformation
    file = FbxFile.new
    file.node("a", properties: { "Lcl Rotation" => [0.0, 0.0, 90.0], "RotationPivot" => [1.0, 0.0, 0.0] })
    assert_includes import_scene(file), "importer.scale_of_trans T(0,1,0,0,-1,0,0,0,0,0,1,0,1,-1,0,1)"
  end

  def test_a_geometric_offset_is_no_part_of_the_local_transformation
    file = FbxFile.new
    file.node("a", properties: { "GeometricTranslation" => [5.0, 0.0, 0.0] })
    lines = import_scene(file)
    assert_includes lines, "importer.scale_of_trans #{UNMOVED}"
    assert_empty lines.grep(/calc_geometric_transform/)
  end

  def test_callback_results_pass_unchanged
    root = Object.new
    definition = Object.new
    key = Object.new
    name = Object.new
    offset = Object.new
    given = []
    { get_root_definition: root, get_mesh_name: key, get_material_name: name, calc_geometric_transform: offset }
      .each { |callback, result| importer.define_singleton_method(callback) { |*| result } }
    importer.define_singleton_method(:add_instance) { |*arguments| given << arguments and definition }
    file = FbxFile.new
    above = file.node("above", mesh: triangle(file), materials: [file.material("red")])
    file.node("below", parent: above)
    import_scene(file)
    assert_equal [root, definition, definition], given.map(&:last)
    assert_equal [key, offset, 0, [name], definition], given[1]
  end

  def test_the_first_mesh_is_current
    file = FbxFile.new
    2.times { |number| file.node("a", mesh: triangle(file, "m#{number}")) }
    import_scene(file)
    Recorder.floats("getVertices", [0, 0, 0])
    importer.get_uvs
    assert_empty(log.grep(/mesh1/))
    importer.get_remapped_mesh
    assert_includes log.first, "depot1.mesh0."
  end

  def test_an_exception_of_a_callback_ends_the_import
    file = FbxFile.new
    3.times { |number| file.node("node #{number}", mesh: triangle(file, "m#{number}")) }
    importer.define_singleton_method(:get_mesh_name) do |name, *rest|
      raise IOError, "stop" if name == "m1"

      super(name, *rest)
    end
    assert_raises(IOError) { import(file) }
    lines = log
    assert_equal 1, lines.grep(/add_mesh/).size
    assert_empty lines.grep(/Finished/)
  end

  def test_a_callback_that_clears_the_state_ends_the_import_where_the_depot_is_needed
    file = FbxFile.new
    2.times { |number| file.node("node #{number}", mesh: triangle(file, "m#{number}")) }
    Events.hook = ->(_, name) { importer.clear_balancer if name == "importer.add_mesh" }
    assert_equal false, import(file)
    lines = log
    assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', lines.last
    assert_equal 1, lines.grep(/createMesh/).size
    refute_dead_calls(lines)
  end

  def test_a_callback_that_clears_the_state_in_a_conversion_ends_it
    file = FbxFile.new
    file.node("a", mesh: triangle(file), materials: [file.material("red")])
    Events.hook = ->(_, name) { importer.clear_balancer if name == "importer.apply_uv_texture?" }
    assert_equal false, import(file)
    lines = log
    assert_equal 'Kernel.puts "Error: MeshDepot has not been created."', lines.last
    assert_empty lines.grep(/maintain_normals|importer\.add_mesh/)
  end

  def test_a_clear_when_no_mesh_follows_changes_nothing
    file = FbxFile.new
    file.node("a", mesh: triangle(file))
    Events.hook = ->(_, name) { importer.clear_balancer if name == "importer.add_mesh" }
    assert_equal true, import(file)
  end

  def chain(length)
    file = FbxFile.new
    node = nil
    length.times { |number| node = file.node(number.to_s, parent: node) }
    file
  end

  # On the small stack of a thread.
  def test_a_deep_scene
    path = write(chain(900))
    assert_equal true, Thread.new { importer.import_fbx(path) }.value
    lines = log
    assert_equal 900, lines.grep(/add_instance/).size
    assert_equal 900, lines.grep(/importer\.update/).size
    assert_equal 'importer.add_instance "899" T(1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1) nil [] :"definition of 898"',
                 lines.grep(/add_instance/).last
  end

  def test_a_scene_that_is_nested_too_deep
    assert_equal false, import(chain(5000))
    assert_equal 'Kernel.puts "Failed to import the file"', log[-2]
  end
end
