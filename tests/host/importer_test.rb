# frozen_string_literal: true

require 'minitest/mock'
require 'importer_host_test'

# The road of a model through the library and the real native half.
class ImporterTest < ImporterHostTest
  Material = Zu::Mirel::Material

  def test_a_file_is_imported_reduced_and_saved
    @importer.import(write('terrain.obj', terrain(20)))
    assert_equal [800, 441, 1], [@importer.faces_before, @importer.points_before, @importer.instances.size]
    faces = @importer.reduce(faces: 200)
    assert_operator faces, :<=, 200
    assert_operator faces, :>, 190
    assert_equal faces, @importer.count_faces
    assert_equal 800, @importer.total_original_faces
    assert_nil @importer.why_stopped
    assert_same @importer, @importer.save_obj(path('out.obj'))
    assert_equal faces, File.foreach(path('out.obj')).count { |line| line.start_with?('f ') }
    assert_equal ['out.obj', 'terrain.obj'], Dir.children(@folder).sort
  end

  def test_what_the_program_prints_for_the_user_stays_on_its_standard_output
    @importer.import(write('terrain.obj', terrain(3)))
    @importer.reduce(ratio: 0.5)
    assert_includes @console.string, 'Joining Vertices...'
  end

  def test_ratio_and_tolerance
    @importer.import(write('terrain.obj', terrain(20)))
    assert_equal 800, @importer.reduce(ratio: 1)
    assert_operator @importer.reduce(ratio: 0.25), :<=, 200
    coarsest = @importer.reduce
    assert_operator coarsest, :<, 50
    assert_operator @importer.reduce(tolerance: 0.01), :>, coarsest
    assert_match(/tolerance/, @importer.why_stopped)
    [0, 1.1, -1].each { |ratio| assert_raises(ArgumentError) { @importer.reduce(ratio: ratio) } }
    assert_raises(ArgumentError) { @importer.reduce(faces: 3, ratio: 0.5) }
    [-1, 2**32, 1.5, 'x'].each { |faces| assert_raises(ArgumentError) { @importer.reduce(faces: faces) } }
  end

  def test_the_rule_that_stopped_is_the_one_that_holds_most_edges
    @importer.import(write('terrain.obj', terrain(10)))
    @importer.reduce(faces: 50)
    assert_nil @importer.rule_that_stopped
    @importer.reduce
    { [5, 1, 2, 3] => 'tolerance', [1, 5, 2, 3] => 'locked boundary', [1, 2, 5, 3] => 'fold-over',
      [1, 2, 3, 5] => 'topology', [0, 0, 0, 0] => nil }.each do |counts, rule|
      Zu::Mirel::Engine.stub(:ladder_end, Zu::Mirel::Engine::LadderEnd.new(*counts)) do
        rule ? assert_equal(rule, @importer.rule_that_stopped) : assert_nil(@importer.rule_that_stopped)
      end
    end
    Zu::Mirel::Engine.stub(:ladder_end, nil) { assert_nil @importer.rule_that_stopped }
  end

  def test_the_deviation_is_bounded
    @importer.import(write('terrain.obj', terrain(10)))
    @importer.reduce(faces: 50)
    assert_nil @importer.deviation_bound(measure: false)
    bound = @importer.deviation_bound
    assert_operator bound, :>, 0
    assert_equal bound, @importer.deviation_bound(measure: false)
    measured = Zu::Mirel::CompareLibrary.instance
    now = measured.mesh(Zu::Mirel::Surface.of(@importer))
    @importer.go_to_step(0)
    assert_equal 0, @importer.deviation_bound
    before = measured.mesh(Zu::Mirel::Surface.of(@importer))
    assert_operator measured.compare(before, now, samples: 20_000).max, :<=, bound * (1 + 1e-9)
  end

  def test_bounds_and_vertices
    @importer.import(write('terrain.obj', terrain(10)))
    assert_equal [0.0, 0.0], @importer.bounds.min.to_a.first(2)
    assert_equal [10.0, 10.0], @importer.bounds.max.to_a.first(2)
    assert_equal 121, @importer.count_vertices
  end

  def test_meshes_materials_and_names
    write('colors.mtl', "newmtl red\nKd 1 0 0\nmap_Kd brick.png\nnewmtl blue\nKd 0 0 0.999\nd 0.5\n")
    square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\n"
    file = write('two.obj', "mtllib colors.mtl\n#{square}o floor\nusemtl red\nf 1/1 2/2 3/3\nusemtl blue\nf 1 3 4\no wall\nf 1 2 4\n")
    @importer.import(file)
    assert_equal %w[floor wall], @importer.instances.map(&:name)
    floor = @importer.instances.first.definition
    assert_equal [%w[red blue], 0], [floor.material_names, floor.balancer_mesh_index]
    red, blue = floor.materials
    assert_equal [[255, 0, 0, 255], 'brick.png'], [red.color.to_a, File.basename(red.texture)]
    assert_equal [[0, 0, 254, 127], nil], [blue.color.to_a, blue.texture]
    assert_equal IDENTITY, @importer.instances.first.transformation
    error = assert_raises(Zu::Mirel::ExportError) { @importer.save_obj(path('out.obj')) }
    assert_match(/two\.obj: has 2 meshes/, error.message)
    assert_equal path('brick.png'), red.texture_file
    refute_path_exists path('out.obj')
  end

  def test_a_new_load_takes_the_place_of_the_old
    @importer.import(write('a.obj', terrain(4)))
    @importer.import(write('b.obj', terrain(5)))
    assert_equal [50, 1, 'b'], [@importer.count_faces, @importer.instances.size, @importer.root.name]
    assert_raises(Zu::Mirel::ImportError) { @importer.import(path('none.obj')) }
    refute @importer.loaded?
    assert_equal 0, @importer.faces_before
    @importer.import(path('a.obj'))
    assert_equal 32, @importer.count_faces
  end

  def test_nothing_imported
    assert_raises(Zu::Mirel::Error) { @importer.reduce(faces: 1) }
    assert_raises(Zu::Mirel::Error) { @importer.save_obj(path('out.obj')) }
    @importer.close
  end

  def test_bad_files_are_named_with_the_reason
    FileUtils.mkdir(path('folder.obj'))
    { path('none.obj') => /no such file/, path('folder.obj') => /directory/, write('empty.obj', '') => /empty/,
      write('points.obj', "v 0 0 0\n") => /no faces/, write('bad.obj', "v 0 0 0\nf 1 2 3\n") => /:2: /,
      write('rubbish.ply', "\0\1\2") => /not a PLY/, write('rubbish.stl', "\0\1\2") => /\S/ }.each do |file, reason|
      error = assert_raises(Zu::Mirel::ImportError, file) { @importer.import(file) }
      assert_match reason, error.message
      assert error.message.start_with?(file), error.message
      assert_equal 1, error.message.lines.size
      refute @importer.loaded?
    end
  end

  def test_names_are_any_bytes
    name = "gr\xC3\xB6\xFF.obj"
    @importer.import(write(name, "o a\xFE\nusemtl m\xFD\n".b + terrain(3)))
    @importer.reduce(ratio: 0.5)
    @importer.save_obj(path("out\xFF.obj"))
    assert_path_exists path("out\xFF.obj")
    error = assert_raises(Zu::Mirel::ImportError) { @importer.import(write(name, "v 0 0 0\nf 1 2 3\n").b) }
    assert_equal 1, error.message.scan('.obj').size
    assert_equal Encoding::UTF_8, error.message.encoding
  end

  def test_faces_that_vanish_in_the_preparation
    file = write('flat.obj', "v 0 0 0\nv 1 0 0\nf 1 2 1\nf 1 2 2\n")
    @importer.import(file)
    error = assert_raises(Zu::Mirel::NoFacesError) { @importer.check_usable }
    assert_match(/flat\.obj: it has no faces/, error.message)
    @importer.import(file)
    assert_raises(Zu::Mirel::NoFacesError) { @importer.reduce(faces: 1) }
  end

  def test_capture
    mesh = Geom::PolygonMesh.new
    [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]].each { |point| mesh.add_point(point) }
    mesh.add_polygon(1, 2, -3)
    mesh.add_polygon(-1, 3, 4)
    (1..4).each { |number| mesh.set_uv(number, mesh.point_at(number), true) }
    @importer.capture({ Material.new('brick', nil, 'brick.png') => [mesh], 'plain' => [mesh.dup] }, name: 'Wall')
    assert_equal [4, 'Wall', %w[brick plain]],
                 [@importer.count_faces, @importer.instances.first.name, @importer.instances.first.definition.material_names]
    @importer.reduce(ratio: 1)
    @importer.save_obj(path('wall.obj'))
    assert_match(/^vt /, File.read(path('wall.obj')))
    assert_raises(Zu::Mirel::NoFacesError) { @importer.capture({}) }
  end

  def test_uvs_are_captured_only_for_true
    assert_same true, @importer.material_has_texture?(Material.new('a', nil, 'a.png'))
    assert_same true, @importer.material_has_texture?(Material.new('a', uvs: true))
    assert_same false, @importer.material_has_texture?(Material.new('a'))
    assert_same false, @importer.material_has_texture?(:anything)
  end

  def test_texture_paths
    assert_equal 'brick.png', @importer.get_texture_relative_path('/models', '/models/brick.png')
    assert_equal '../brick.png', @importer.get_texture_relative_path('/models/a', '/models/brick.png')
    assert_equal 'brick.png', @importer.get_texture_relative_path('/models', 'brick.png')
    assert_equal 'brick.png', @importer.get_texture_relative_path('', 'brick.png')
  end

  # The same surface by the three ways in.
  def test_ways_in_agree
    @importer.import(shared_model('horse.ply'))
    assert_equal [96_966, 48_485], [@importer.faces_before, @importer.points_before]
    low = @importer.bounds.min.to_a
    assert_operator @importer.reduce(faces: 1000), :<=, 1000
    @importer.reduce(ratio: 1)
    @importer.save_obj(path('horse.obj'))
    @importer.import(path('horse.obj'))
    assert_equal 96_966, @importer.faces_before
    assert_triple low, @importer.bounds.min, 1e-4
  end

  def test_settings_reach_the_native_half
    @importer.import(write('terrain.obj', terrain(10)))
    @importer.lock_surface_boundaries = true
    @importer.reduce(faces: 2)
    # 40 boundary edges stay: at least 38 triangles.
    assert_operator @importer.count_faces, :>=, 38
    assert_match(/boundar/, @importer.why_stopped)
  end

  def test_inspect_is_short
    @importer.import(write('terrain.obj', terrain(3)))
    assert_operator @importer.inspect.size, :<, 300
  end
end
