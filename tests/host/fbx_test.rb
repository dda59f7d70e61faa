# frozen_string_literal: true

require 'importer_host_test'
require 'zu/mirel/texture_dump'
require_relative '../support/fbx_file'
require_relative '../support/fbx_writer'

# FBX files in the Ruby library: what the native importer announces becomes the scene.
class FbxTest < ImporterHostTest
  TRIANGLE = { points: [[0, 0, 0], [1, 0, 0], [0, 1, 0]], polygons: [[0, 1, 2]] }.freeze
  CORNERS = [[0, 0], [1, 0], [0, 1]].freeze

  def setup
    super
    @file = FbxFile.new
  end

  def triangle(name = 'triangle', **elements)
    @file.mesh(name, **TRIANGLE, **elements)
  end

  def import(file = @file)
    @importer.import(write('scene.fbx', file.respond_to?(:text) ? file.text : file))
  end

  def test_nodes_are_groups_and_hold_their_meshes
    above = @file.node('above', properties: { 'Lcl Translation' => [1.0, 2.0, 3.0] })
    @file.node('below', parent: above, mesh: triangle, properties: { 'GeometricTranslation' => [0.0, 0.0, 5.0] })
    import
    outer = @importer.instances.first
    assert_equal ['above', true], [outer.name, outer.definition.group?]
    assert_triple [1, 2, 3], outer.transformation.origin
    inner = outer.definition.entities.first
    assert_equal ['below', true], [inner.name, inner.definition.group?]
    mesh = inner.definition.entities.first
    assert_equal ['triangle', 0, false], [mesh.name, mesh.definition.balancer_mesh_index, mesh.definition.group?]
    assert_triple [0, 0, 5], mesh.transformation.origin
    assert_equal 1, @importer.faces_before
    assert_equal [[1.0, 2.0, 8.0], [2.0, 3.0, 8.0]], [@importer.bounds.min.to_a, @importer.bounds.max.to_a]
  end

  def test_instances_share_a_definition
    shared = triangle
    red = @file.material('red')
    2.times { |number| @file.node("node #{number}", mesh: shared, materials: [red]) }
    import
    assert_equal 1, @importer.definitions.size
    assert_equal 2, @importer.placements.size
    assert_equal 1, @importer.faces_before
  end

  # The same mesh in another look is another definition of the same mesh.
  def test_one_mesh_in_two_materials
    shared = triangle
    %w[red blue].each { |name| @file.node(name, mesh: shared, materials: [@file.material(name)]) }
    import
    assert_equal [0, 0], @importer.definitions.map(&:balancer_mesh_index)
    assert_equal 2, @importer.definitions.map(&:name).uniq.size
  end

  def test_names_that_repeat_are_kept_apart
    2.times do |number|
      material = @file.material('same', diffuse: [number, 0, 0])
      @file.node('node', mesh: triangle('mesh'), materials: [material])
    end
    import
    assert_equal ['mesh', 'mesh#1'], @importer.definitions.map(&:name)
    assert_equal ['same', 'same#1'], @importer.materials.map(&:name)
    assert_equal [[0, 0, 0, 255], [255, 0, 0, 255]],
                 @importer.definitions.map { |definition| definition.materials.first.color.to_a }
    assert_equal %w[node node], @importer.instances.map(&:name)
  end

  def test_a_mesh_without_a_name_has_its_node_s
    2.times { |number| @file.node("node #{number}", mesh: triangle('')) }
    import
    assert_equal ['node 0', 'node 1'], @importer.definitions.map(&:name)
  end

  def test_a_material_of_many_nodes_is_one
    red = @file.material('red', diffuse: [1, 0.5, 0])
    3.times { |number| @file.node("node #{number}", mesh: triangle("m#{number}"), materials: [red]) }
    import
    assert_equal ['red'], @importer.materials.map(&:name)
    assert_equal [255, 127, 0, 255], @importer.materials.first.color.to_a
    assert_equal 1, @importer.definitions.map { |definition| definition.materials.first }.uniq.size
  end

  def test_a_node_without_materials
    @file.node('plain', mesh: triangle)
    import
    assert_equal [nil], @importer.definitions.first.material_names
    assert_empty @importer.materials
  end

  # A cube's corner, scaled by 2, 3 and 4, turned by a quarter about each axis in turn, and moved.
  def test_geometric_transform
    found = @importer.calc_geometric_transform(10, 20, 30, 90, 90, 90, 2, 3, 4, 'node')
    # (1, 1, 1) -> (2, 3, 4) -> about x (2, -4, 3) -> about y (3, -4, -2) -> about z (4, 3, -2)
    assert_triple [14, 23, 28], found * Geom::Point3d.new(1, 1, 1), 1e-9
    assert_equal IDENTITY, @importer.calc_geometric_transform(0, 0, 0, 0, 0, 0, 1, 1, 1, 'node')
  end

  { 2.54 => [0, 0.0254], 30.48 => [1, 0.3048], 0.1 => [2, 0.001], 1.0 => [3, 0.01], 100.0 => [4, 1.0],
    10.0 => [nil, 0.1], 91.44 => [nil, 0.9144] }.each do |centimeters, (code, meters)|
    define_method("test_a_unit_of_#{centimeters}_centimeters") do
      @file.unit = centimeters
      @file.node('a', mesh: triangle, properties: { 'Lcl Translation' => [1.0, 0.0, 0.0] })
      import
      code.nil? ? assert_nil(@importer.unit) : assert_equal(code, @importer.unit)
      assert_in_delta meters, @importer.meters_per_unit, 1e-12
      assert_equal 1.0, @importer.bounds.min.x, 'numbers stay'
    end
  end

  def test_the_scene_is_z_up_whatever_the_file
    @file.axes = :y_up
    @file.node('a', mesh: triangle)
    import
    refute_predicate @importer, :y_up?
    assert_triple [0, 0, 1], @importer.instances.first.transformation * Geom::Point3d.new(0, 1, 0)
    assert_equal '+Y', @importer.fbx_facts.axes[:up]
  end

  # -- textures

  def import_textured(stored, *files)
    files.each do |name|
      FileUtils.mkdir_p(File.dirname(path(name)))
      write(name, 'a picture')
    end
    material = @file.material('painted')
    @file.texture('paint', on: material, file: stored)
    @file.node('a', mesh: triangle(uvs: ['ByPolygonVertex', 'Direct', CORNERS]), materials: [material])
    import
    @importer.materials.first
  end

  { 'C:\\work\\maps\\Brick.png' => 'Brick.png', '/home/other/maps/Brick.png' => 'Brick.png',
    'D:/maps/BRICK.PNG' => 'brick.png', '..\\maps\\brick.png' => 'brick.png', 'maps/brick.png' => 'maps/brick.png',
    'maps\\brick.png' => 'maps/brick.png', 'D:\\other\\maps\\brick.png' => 'maps/brick.png', 'C:\\work\\maps\\ziegel ä.png' => 'ziegel ä.png' }.each do |stored, file|
    define_method("test_texture_#{stored}_is_found_as_#{file}") do
      material = import_textured(stored, file)
      assert_equal [stored, path(file)], [material.texture, material.texture_file]
      assert_empty @importer.missing_textures
    end
  end

  def test_a_texture_that_is_not_there
    material = import_textured('C:\\work\\maps\\brick.png')
    assert_equal ['C:\\work\\maps\\brick.png', nil], [material.texture, material.texture_file]
    assert_equal ['C:\\work\\maps\\brick.png'], @importer.missing_textures
    @importer.save(path('out.glb'))
    assert_path_exists path('out.glb')
  end

  def test_a_texture_inside_the_file
    picture = Random.new(1).bytes(1000)
    @file.video('clip', file: 'C:\\work\\Brick.png', content: picture)
    @file.video('other', file: '/', content: 'no name')
    @file.video('empty', file: 'empty.png', content: '')
    material = import_textured('C:\\work\\brick.PNG')
    assert_equal picture, File.binread(material.texture_file)
    assert_empty @importer.missing_textures
    folder = File.dirname(material.texture_file)
    assert_equal ['Brick.png'], Dir.children(folder)
    @importer.close
    refute_path_exists folder
  end

  def test_a_texture_beside_the_file_goes_before_one_inside
    @file.video('clip', file: 'brick.png', content: 'inside')
    assert_equal path('brick.png'), import_textured('brick.png', 'brick.png').texture_file
  end

  # In a binary file the pictures are bytes, in a text file base 64 in one piece or more.
  { 'embedded_ascii/box.FBX' => /\A\x89PNG.*IEND.{4}\z/mn,
    'embedded_ascii/box_embedded_texture_fragmented.fbx' => /\A\x89PNG.*IEND.{4}\z/mn }.each do |name, content|
    define_method("test_pictures_inside_#{name.gsub(/\W/, '_')}") do
      @importer.import(assimp_model("FBX/#{name}"))
      assert_empty @importer.missing_textures
      assert_match content, File.binread(@importer.materials.filter_map(&:texture_file).first)
    end
  end

  def test_pictures_inside_binary_files
    @importer.import(shared_model('fbx/blender_293_barbarian_7400_binary.fbx'))
    assert_empty @importer.missing_textures
    assert_equal [44_871, 85_726], @importer.materials.filter_map(&:texture_file).map { |file| File.size(file) }
    @importer.import(shared_model('fbx/max2009_cube_texture_6100_binary.fbx'))
    assert_equal [2487], @importer.materials.filter_map(&:texture_file).map { |file| File.size(file) }
  end

  def test_a_texture_with_a_scale_of_its_own
    write('a.png', 'a picture')
    %w[a.png gone.png].each do |name|
      @file.texture('paint', on: (material = @file.material(name)), file: name, scale: [2, 3])
      @file.node(name, mesh: triangle(name), materials: [material])
    end
    import
    assert_equal [['a.png', 'gone.png'], ['gone.png']], [@importer.scaled_textures, @importer.missing_textures]
    @importer.import(write('t.obj', terrain(2)))
    assert_empty @importer.scaled_textures
  end

  def test_a_texture_without_a_name_is_none
    assert_nil import_textured('').texture
    assert_empty @importer.missing_textures
  end

  def test_uvs_of_materials_without_texture_are_kept
    @file.node('a', mesh: triangle(uvs: ['ByPolygonVertex', 'Direct', CORNERS]), materials: [@file.material('plain')])
    import
    assert_equal false, @importer.apply_uv_texture?
    @importer.save(path('out.obj'))
    assert_equal 3, File.foreach(path('out.obj')).grep(/\Avt /).size
  end

  # Some kilobytes that would become a hundred layers of a million triangles each, beside a mesh like any other.
  def test_a_mesh_that_takes_too_much_memory_is_told_of
    layer = [['LayerElement', [], [['Type', ['LayerElementUV']], ['TypedIndex', [0]]]]]
    uvs = [['MappingInformationType', ['ByPolygon']], ['ReferenceInformationType', ['Direct']], ['UV', [[0.0, 0.0]]]]
    layers = [['LayerElementUV', [0], uvs]] + Array.new(100) { |number| ['Layer', [number], layer] }
    import(FbxWriter.binary([['Objects', [], geometry(1, [1] * 1_000_000 + [~2], layers) + geometry(3, [0, 1, ~2])],
                             ['Connections', [], [[1, 2], [2, 0], [3, 4], [4, 0]].map { |ends| ['C', ['OO', *ends]] }]],
                            deflate: true))
    assert_equal [1, 1], [@importer.faces_before, @importer.meshes_left_out]
    remark = '1 mesh of the file left out: far more memory than its size lets expect'
    %w[out.obj out.glb].each { |name| assert_equal [remark], Zu::Mirel::SceneOutput.write(@importer, path(name)).remarks }
    @importer.import(write('t.obj', terrain(2)))
    assert_equal 0, @importer.meshes_left_out
  end

  # A mesh and its node, which has the next identifier.
  def geometry(identifier, corners, layers = [])
    points = [0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0]
    arrays = [['Vertices', [points]], ['PolygonVertexIndex', [corners]]]
    [['Geometry', [identifier, "Geometry::g#{identifier}", 'Mesh'], arrays + layers],
     ['Model', [identifier + 1, "Model::m#{identifier}", 'Mesh'], []]]
  end

  # -- what the file says of itself

  def test_facts
    @file.unit = 2.54
    @file.node('a', mesh: triangle)
    import
    facts = @importer.fbx_facts
    assert_equal [7400, true, 'test writer', ''], [facts.version, facts.ascii, facts.creator, facts.application]
    assert_equal({ right: '+X', up: '+Z', front: '-Y' }, facts.axes)
    assert_in_delta 2.54, facts.unit_centimeters
    @importer.import(write('t.obj', terrain(2)))
    assert_nil @importer.fbx_facts
  end

  def test_texture_dump
    material = @file.material('painted')
    @file.texture('paint', on: material, file: 'a.png')
    node = @file.node('a', materials: [material, @file.material('bare')])
    @file.node('b', parent: node, materials: [material])
    dumps = Zu::Mirel::TextureDump.of(write('scene.fbx', @file.text))
    assert_equal %w[painted bare], dumps.map(&:first)
    assert_includes dumps.first.last, '            File Name: a.png'
    assert_empty dumps.last.last
    error = assert_raises(Zu::Mirel::ImportError) { Zu::Mirel::TextureDump.of(write('bad.fbx', 'bad')) }
    refute_empty error.message
  end

  # -- failures

  def assert_refused(content, reason)
    error = assert_raises(Zu::Mirel::ImportError) { import(content) }
    assert_match(/\A#{Regexp.escape(path('scene.fbx'))}: [^\n]+\z/, error.message)
    assert_match reason, error.message
    refute_predicate @importer, :loaded?
  end

  def test_files_that_are_no_fbx
    assert_refused('something else', /./)
    assert_refused("Kaydara FBX Binary  \x00\x1A\x00\xE8\x1C\x00\x00".b, /./)
  end

  def test_a_file_that_ends_early
    @file.node('a', mesh: triangle)
    text = @file.text
    assert_refused(text[0, text.size / 2], /./)
  end

  def test_a_scene_without_faces
    @file.node('camera', mesh: @file.camera('camera'))
    assert_raises(Zu::Mirel::NoFacesError) { import }
    @importer.import(write('scene.fbx', @file.text), faces_required: false)
    assert_equal [0, ['camera']], [@importer.faces_before, @importer.instances.map(&:name)]
  end

  def test_the_console_is_left_as_it_was
    before = $stdout
    import(@file.tap { |file| file.node('a', mesh: triangle) })
    assert_same before, $stdout
    assert_includes @console.string, 'Building Scene Graph...'
    assert_raises(Zu::Mirel::ImportError) { import('bad') }
    assert_same before, $stdout
  end

  def test_reduce_and_save
    @file.unit = 100.0
    points = (0..8).to_a.product((0..8).to_a).map { |i, j| [i, j, Math.sin(i + j)] }
    quads = (0...8).to_a.product((0...8).to_a).map { |i, j| [i * 9 + j, i * 9 + j + 9, i * 9 + j + 10, i * 9 + j + 1] }
    @file.node('field', mesh: @file.mesh('field', points: points, polygons: quads), materials: [@file.material('grass')])
    import
    assert_equal 128, @importer.faces_before
    @importer.reduce(faces: 40)
    assert_operator @importer.count_faces, :<=, 40
    @importer.save(path('out.glb'))
    again = Zu::Mirel::Importer.new.import(path('out.glb'))
    assert_equal @importer.count_faces, again.faces_before
    assert_equal ['grass'], again.materials.map(&:name)
    # Y up, meters: z up became y up.
    assert_in_delta 8, again.bounds.max.x, 0.1
    assert_operator again.bounds.max.y, :<, 1.1
  end
end
