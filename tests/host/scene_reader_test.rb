# frozen_string_literal: true

require 'host_test'

class SceneReaderTest < HostTest
  Reader = Zu::Mirel::SceneReader

  def read(file)
    Reader.read(file)
  end

  # Of every node's shape.
  def triangles(scene)
    scene.nodes.filter_map(&:shape).sum { |shape| meshes(scene, shape).sum(&:count_polygons) }
  end

  def meshes(scene, shape = 0)
    scene.shapes[shape].meshes.values.flatten
  end

  def extent(scene)
    box = Geom::BoundingBox.new
    meshes(scene).each { |mesh| box.add(*mesh.extent) }
    box
  end

  def test_binary_stl
    scene = read(write('two.stl', binary_stl([[[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 0, 0], [0, 1, 0], [-1, 0, 2]]])))
    assert_equal [2, 2, 6], [triangles(scene), scene.source_polygons, scene.source_points]
    assert_equal [[-1.0, 0.0, 0.0], [1.0, 1.0, 2.0]], [extent(scene).min.to_a, extent(scene).max.to_a]
    mesh = meshes(scene).first
    refute mesh.uvs_given?
    # The file's normals are zero.
    refute mesh.normals_given?
    assert_triple [0, 0, 1], mesh.normal_at(1)
  end

  def test_quads_are_cut_and_counted_once
    scene = read(write('quad.off', "OFF\n5 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n0 0 1\n4 0 1 2 3\n3 0 1 4\n"))
    assert_equal [3, 2], [triangles(scene), scene.source_polygons]
    refute meshes(scene).first.normals_given?
  end

  # Two nodes with one triangle: one moved, one mirrored.
  def test_nodes_place_meshes
    points = [0, 0, 0, 1, 0, 0, 0, 1, 0].pack('e*')
    buffer = points + [0, 1, 2].pack('S<*') + "\0\0"
    gltf = { asset: { version: '2.0' }, scene: 0, scenes: [{ nodes: [0, 1] }],
             nodes: [{ name: 'moved', mesh: 0, translation: [10, 0, 0] }, { mesh: 0, scale: [-1, 1, 1] }],
             meshes: [{ name: 'tile', primitives: [{ attributes: { POSITION: 0 }, indices: 1, material: 0 }] }],
             materials: [{ name: 'paint', pbrMetallicRoughness: { baseColorFactor: [1, 0.5, 0, 1] } }],
             buffers: [{ uri: "data:application/octet-stream;base64,#{[buffer].pack('m0')}", byteLength: buffer.bytesize }],
             bufferViews: [{ buffer: 0, byteOffset: 0, byteLength: 36 }, { buffer: 0, byteOffset: 36, byteLength: 6 }],
             accessors: [{ bufferView: 0, componentType: 5126, count: 3, type: 'VEC3', min: [0, 0, 0], max: [1, 1, 0] },
                         { bufferView: 1, componentType: 5123, count: 3, type: 'SCALAR' }] }
    scene = read(write('placed.gltf', gltf.to_json))
    assert_equal [2, 1], [triangles(scene), scene.source_polygons]
    assert_equal ['tile', 1.0], [scene.shapes.first.name, scene.shapes.first.scale]
    assert_equal [nil, 0, 0], scene.nodes.map(&:shape)
    assert_equal [nil, 0, 0], scene.nodes.map(&:parent)
    assert_equal 'moved', scene.nodes[1].name
    assert_triple [10, 0, 0], scene.nodes[1].transform * Geom::Point3d.new(0, 0, 0)
    assert_triple [-1, 0, 0], scene.nodes[2].transform * Geom::Point3d.new(1, 0, 0)
    look = scene.shapes.first.meshes.keys.first
    assert_equal ['paint', [255, 128, 0, 255]], [look.name, look.color.to_a]
    assert look.one_sided
    assert_equal [1.0, false], [scene.meters_per_unit, scene.z_up]
    assert_equal [[0.0, 0.0, 0.0], [1.0, 1.0, 0.0]], [extent(scene).min.to_a, extent(scene).max.to_a]
    survey = Reader.survey(path('placed.gltf'))
    assert_equal [2, [-1.0, 0.0, 0.0], [11.0, 1.0, 0.0]], [survey.faces, survey.bounds.min.to_a, survey.bounds.max.to_a]
  end

  def test_formats_of_the_collection
    { 'STL/Spider_ascii.stl' => 1368, 'STL/Spider_binary.stl' => 1368, 'OFF/Cube.off' => 12, 'PLY/cube.ply' => 12,
      'Collada/duck.dae' => 4212, 'glTF2/BoxTextured-glTF-Binary/BoxTextured.glb' => 12, '3DS/fels.3ds' => 768 }.each do |name, count|
      assert_equal count, triangles(read(assimp_model(name))), name
    end
  end

  def test_uvs_textures_and_normals
    scene = read(assimp_model('glTF2/BoxTextured-glTF/BoxTextured.gltf'))
    look = scene.shapes.first.meshes.keys.first
    assert look.uvs
    refute_nil look.texture
    mesh = meshes(scene).first
    assert mesh.uvs_given?
    assert mesh.normals_given?
    us = mesh.uvs(true).map(&:x)
    assert_operator us.max - us.min, :>, 0.5
  end

  def test_files_that_are_no_models
    { 'a.stl' => "\0\1\2", 'b.glb' => Random.new(1).bytes(500), 'c.unknown' => 'hello', 'd.off' => "OFF\n3 1 0\n0 0 0\n",
      'e.off' => "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", 'f.stl' => binary_stl([[[0, 0, 0]] * 3])[0, 100] }.each do |name, content|
      error = assert_raises(Zu::Mirel::ImportError, name) { read(write(name, content)) }
      assert_equal 1, error.message.lines.size
      refute_empty error.message.strip
    end
  end

  # What the parent makes of a reader that dies.
  def test_a_reader_that_crashes
    dying = Class.new(Reader) do
      private

      def send_scene(_library)
        send_record(progress: 0.5)
        Process.kill(:SEGV, Process.pid)
        sleep
      end
    end
    error = assert_raises(Zu::Mirel::ImportError) { dying.read(write('any.stl', 'x')) }
    assert_match(/crashed/, error.message)
    assert_raises(Errno::ECHILD) { Process.wait(-1) }
  end

  def test_a_reader_that_stops_in_the_middle
    stopping = Class.new(Reader) do
      private

      def send_scene(_library)
        send_record(material: { name: 'm', texture: '', color: nil })
        @output.puts({ mesh: { material: 0 }, bytes: [36, 12, nil, nil] }.to_json)
        @output.write('short')
        @output.flush
        raise 'fault'
      end
    end
    assert_raises(Zu::Mirel::ImportError) { stopping.read(write('any.stl', 'x')) }
  end

  def test_an_exception_in_the_parent_ends_the_child
    Zu::Mirel::StatusProgressBar.instance.display = Class.new { def method_missing(*) = raise(Interrupt) }.new
    slow = Class.new(Reader) do
      private

      def send_scene(_library)
        send_record(progress: 0.5)
        sleep
      end
    end
    assert_raises(Interrupt) { slow.read(write('any.stl', 'x')) }
    assert_raises(Errno::ECHILD) { Process.wait(-1) }
  ensure
    Zu::Mirel::StatusProgressBar.instance.display = nil
  end
end
