# frozen_string_literal: true

require 'importer_host_test'
require 'minitest/mock'

# The tree that the native export walks, and what becomes of it.
class SceneOutputTest < ImporterHostTest
  Importer = Zu::Mirel::Importer
  Output = Zu::Mirel::SceneOutput

  def teardown
    GC.stress = false
    super
  end

  SQUARES = <<~OBJ
    mtllib look.mtl
    v 0 0 0
    v 1 0 0
    v 1 1 0
    v 0 1 0
    v 0 0 5
    vt 0 0
    vt 1 0
    vt 1 1
    o floor
    usemtl red
    f 1/1 2/2 3/3
    usemtl blue
    f 1 3 4
    o wall
    usemtl red
    f 1/1 2/2 5/3
  OBJ

  def two_meshes
    write('look.mtl', "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\nd 0.5\n")
    @importer.import(write('two.obj', SQUARES))
  end

  def test_formats
    assert_equal %w[.glb .gltf .dae .obj .ply .stl], Output.formats.keys
    assert(Output.formats.each_value.all? { |name| name =~ /\w/ })
  end

  def test_the_tree
    two_meshes
    assert_equal %w[floor wall], @importer.definitions.map(&:name)
    assert_equal [[0, IDENTITY], [1, IDENTITY]], @importer.placements.map { |d, place| [d.balancer_mesh_index, place] }
    assert_equal [%w[red blue], %w[red]], @importer.definitions.map(&:material_names)
    group = @importer.add_instance('group', Geom::Transformation.translation([0, 0, 9]), nil, [], @importer.root)
    assert group.is_group?
    again = @importer.add_instance('other name', IDENTITY, 0, @importer.definitions[0].materials, group)
    assert_same @importer.definitions[0], again
    assert_equal 3, @importer.placements.size
    assert_triple [0, 0, 9], @importer.placements.last.last * Geom::Point3d.new(0, 0, 0)
    assert_triple [1, 1, 9], @importer.bounds.max
  end

  def test_every_definition_and_material_has_a_name_of_its_own
    two_meshes
    red = @importer.materials.first
    names = Array.new(2) { @importer.add_instance('floor', IDENTITY, 1, [], @importer.root) }.map(&:name)
    assert_equal ['floor#1'] * 2, names
    assert_same red, @importer.add_material('red', red.color, nil)
    other = @importer.add_material('red', Sketchup::Color.new(1, 2, 3), nil)
    assert_equal ['red#1', 'red'], [other.name, other.source_name]
  end

  # What the native half calls, by name: the real one, while the garbage collector runs at every chance.
  def test_the_native_export_under_garbage_collection
    two_meshes
    @importer.soften_edges = true
    called = Hash.new(0)
    names = %i[exported_definition? definition_exported material_exported update_mesh_export_progress soften_edges?
               smooth_angle apply_materials_both_sides? apply_uv_texture? importing_external_file?]
    names.each do |name|
      @importer.define_singleton_method(name) do |*arguments|
        called[name] += 1
        super(*arguments)
      end
    end
    GC.stress = true
    @importer.export_scene(path('out.ply'))
    GC.stress = false
    assert_equal names.sort, called.keys.sort
    assert_equal [3, 2, 2, 2], called.values_at(:definition_exported, :material_exported, :exported_definition?,
                                                :update_mesh_export_progress)
    survey = Zu::Mirel::SceneReader.survey(path('out.ply'))
    assert_equal 3, survey.faces
    assert_triple [1, 1, 5], survey.bounds.max, 1e-6
  end

  # The host's models are in inches and z up; what one scene means is forgotten with it.
  def test_a_bare_export_is_in_inches
    two_meshes
    @importer.save(path('meters.glb'))
    assert_triple [1, 1, 5], Zu::Mirel::SceneReader.survey(path('meters.glb')).bounds.max, 1e-6
    @importer.export_scene(path('inches.glb'))
    assert_triple [0.0254, 0.127, 0], Zu::Mirel::SceneReader.survey(path('inches.glb')).bounds.max, 1e-6
  end

  def test_settings_of_the_export
    assert_in_delta Math::PI / 6, @importer.smooth_angle(true)
    assert_equal 30.0, @importer.smooth_angle
    assert_raises(ArgumentError) { @importer.smooth_angle = 181 }
    assert_same false, @importer.soften_edges?
    assert_same true, @importer.apply_materials_both_sides?
    @importer.materials_both_sides = false
    assert_same false, @importer.apply_materials_both_sides?
    assert_kind_of String, Importer::IMPORTED_MATERIAL_PREFIX
    assert_same false, @importer.importing_external_file?
    two_meshes
    assert_same true, @importer.importing_external_file?
  end

  def test_materials_of_a_host_model_get_the_prefix
    mesh = Geom::PolygonMesh.new
    [[0, 0, 0], [1, 0, 0], [1, 1, 0]].each { |point| mesh.add_point(point) }
    mesh.add_polygon(1, 2, 3)
    @importer.capture({ Zu::Mirel::Material.new('brick', Sketchup::Color.new(1, 2, 3)) => [mesh] }, name: 'Wall')
    @importer.save(path('wall.gltf'))
    names = JSON.parse(File.read(path('wall.gltf')))['materials'].map { |material| material['name'] }
    assert_equal ["#{Importer::IMPORTED_MATERIAL_PREFIX}brick"], names
  end

  def test_what_was_written_is_told
    two_meshes
    result = Output.write(@importer, path('out.obj'))
    assert_equal [3, ['out.mtl'], []], [result.faces, result.side_files, result.remarks]
    assert_equal File.size(path('out.obj')) + File.size(path('out.mtl')), result.bytes
    assert_triple [1, 1, 5], result.bounds.max
  end

  # A library that writes something else is found out.
  def test_what_comes_out_wrong_is_thrown_away
    two_meshes
    File.write(path('out.glb'), 'as it was')
    { 3 => nil, 2 => /2 faces in place of 3/ }.each do |faces, reason|
      counts = Zu::Mirel::SceneReader::Survey.new(faces, @importer.bounds)
      Zu::Mirel::SceneReader.stub(:survey, counts) do
        next @importer.save(path('good.glb')) unless reason

        error = assert_raises(Zu::Mirel::ExportError) { @importer.save(path('out.glb')) }
        assert_match reason, error.message
      end
    end
    wide = Geom::BoundingBox.new.add([0, 0, 0], [1, 1, 5.001])
    Zu::Mirel::SceneReader.stub(:survey, Zu::Mirel::SceneReader::Survey.new(3, wide)) do
      error = assert_raises(Zu::Mirel::ExportError) { @importer.save(path('out.glb')) }
      assert_match(/other bounds/, error.message)
    end
    assert_equal 'as it was', File.read(path('out.glb'))
    assert_empty Dir.children(@folder).grep(/mirel/)
  end

  def test_an_exception_in_the_middle_leaves_nothing
    two_meshes
    [Interrupt, RuntimeError.new('Failed to Create Model'), NoMemoryError].each do |failure|
      @importer.define_singleton_method(:update_mesh_export_progress) { raise failure }
      assert_raises(failure.is_a?(Class) ? failure : Zu::Mirel::ExportError) { @importer.save(path('out.glb')) }
      assert_equal %w[look.mtl two.obj], Dir.children(@folder).sort
    end
  end

  def test_nothing_imported
    error = assert_raises(Zu::Mirel::ExportError) { @importer.save(path('out.glb')) }
    assert_match(/nothing has been imported/, error.message)
  end

  def test_units_and_axes
    two_meshes
    assert_equal [1.0, true, nil], [@importer.meters_per_unit, @importer.y_up?, @importer.unit]
    @importer.unit = 2
    @importer.up_axis = :z
    @importer.save(path('out.glb'))
    survey = Zu::Mirel::SceneReader.survey(path('out.glb'))
    assert_triple [0.001, 0.005, 0], survey.bounds.max, 1e-8
    assert_triple [0, 0, -0.001], survey.bounds.min, 1e-8
    @importer.save(path('out.obj'))
    assert_triple [1, 5, 0], Zu::Mirel::SceneReader.survey(path('out.obj')).bounds.max, 1e-6
    @importer.meters_per_unit = 0.3048
    assert_equal 1, @importer.unit
    assert_raises(ArgumentError) { @importer.up_axis = :x }
  end

  def textured_triangle(picture)
    write('brick.png', picture)
    write('wall.mtl', "newmtl wall\nmap_Kd brick.png\n")
    @importer.import(write('wall.obj', "mtllib wall.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 0 1\n" \
                                       "usemtl wall\nf 1/1 2/2 3/3\n"))
    FileUtils.mkdir(path('out'))
  end

  # Between the choice of a texture's name and the end, another run may have taken it.
  def test_a_texture_name_taken_meanwhile
    textured_triangle('ours')
    others = path('out/brick.png')
    @importer.define_singleton_method(:count_vertices) { File.exist?(others) ? super() : File.write(others, 'theirs') }
    written = Zu::Mirel::SceneOutput.write(@importer, path('out/wall.obj'))
    assert_equal %w[brick_2.png wall.mtl], written.side_files
    assert_equal 'theirs', File.read(others)
    assert_equal 'ours', File.read(path('out/brick_2.png'))
    assert_match(/map_Kd brick_2\.png/, File.read(path('out/wall.mtl')))
    assert_equal %w[brick.png brick_2.png wall.mtl wall.obj], Dir.children(path('out')).sort
  end

  def test_the_same_texture_placed_meanwhile
    textured_triangle('ours')
    others = path('out/brick.png')
    @importer.define_singleton_method(:count_vertices) { File.write(others, 'ours') && super() }
    @importer.save(path('out/wall.obj'))
    assert_equal %w[brick.png wall.mtl wall.obj], Dir.children(path('out')).sort
  end

  def test_a_folder_in_place_of_a_side_file
    textured_triangle('ours')
    FileUtils.mkdir(path('out/wall.mtl'))
    error = assert_raises(Zu::Mirel::ExportError) { @importer.save(path('out/wall.obj')) }
    assert_match(/wall\.obj: cannot be written: .*wall\.mtl is a directory/, error.message)
    assert_equal %w[wall.mtl], Dir.children(path('out'))
  end

  def test_textures_are_found
    finder = Zu::Mirel::TextureFinder
    FileUtils.mkdir_p(path('maps'))
    picture = write('maps/Brick.PNG', 'x')
    beside = write('stone.png', 'x')
    assert_equal picture, finder.find('maps/Brick.PNG', [@folder])
    assert_equal picture, finder.find('maps\\Brick.PNG', [@folder])
    assert_equal picture, finder.find(picture, ['/'])
    assert_equal beside, finder.find('C:\\work\\textures\\STONE.png', [@folder])
    assert_equal beside, finder.find('/elsewhere/stone.png', [path('maps'), @folder])
    assert_equal path('none.png'), finder.find('none.png', [@folder])
    spaced = write('my wood ü.png', 'x')
    assert_equal spaced, finder.find('my%20wood%20%C3%BC.png', [@folder])
    percent = write('100%20.png', 'x')
    assert_equal percent, finder.find('100%20.png', [@folder])
  end
end
