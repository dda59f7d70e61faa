# frozen_string_literal: true

require 'importer_host_test'

# get_remapped_mesh on real models: its face indices address its point list, at every step.
class RemappedModelsTest < ImporterHostTest
  MODELS = Dir[File.join(ENV.fetch('MIREL_SHARED'), 'models', '*.obj')].map { |file| File.basename(file) }.sort.freeze
  IDENTITY_VALUES = IDENTITY.to_a.freeze

  def at_several_steps
    yield # in build form
    @importer.build_hierarchy
    last = @importer.get_hierachy_steps
    [0, 1, last / 4, last / 2, last * 9 / 10, last, last / 3, 0].each do |step|
      @importer.go_to_step(step)
      yield
    end
  end

  # The remapped form and the flat one are the same triangles, face set by face set.
  def assert_remapped(mesh)
    @importer.instance_variable_set(:@triangles, [])
    @importer.instance_variable_set(:@lines, [])
    @importer.get_triangles(mesh, IDENTITY_VALUES)
    assert_equal true, @importer.get_remapped_mesh
    points, uvs, face_sets = %w[points uvs face_sets].map { |name| @importer.instance_variable_get("@remapped_#{name}") }
    used = face_sets.flatten.uniq.sort
    assert_equal points.each_index.to_a, used, 'every point is used, and nothing else is'
    assert_equal @importer.triangles.map(&:size), face_sets.map { |set| set.size * 3 }
    assert_equal @importer.triangles, face_sets.map { |set| set.flatten(1).map { |index| points[index] } }
    assert(uvs.all? { |uv| uv.size == 2 && uv.all?(Float) })
  end

  # The points of a whole mesh are those of its distinct vertices.
  def assert_points(mesh)
    @importer.instance_variable_set(:@mesh_points, [])
    @importer.get_points(mesh, IDENTITY_VALUES)
    assert_equal @importer.instance_variable_get(:@remapped_points), @importer.mesh_points
  end

  def test_there_are_models
    skip 'the shared models are not here' if MODELS.empty?
    assert_includes MODELS, 'spot.obj'
  end

  MODELS.each do |name|
    define_method("test_#{name.tr('.-', '__')}") do
      @importer.import(shared_model(name))
      at_several_steps do
        assert_remapped(0)
        assert_points(0)
      end
    end
  end

  def test_horse_captured_from_polygon_meshes
    skip 'the reader of other formats was not built' unless File.exist?(File.join(Zu::Mirel::Native.library_dir, 'libmirelread.so'))
    scene = Zu::Mirel::SceneReader.read(shared_model('horse.ply'))
    @importer.capture(scene.shapes.first.meshes, name: 'horse')
    assert_equal 96_966, @importer.faces_before
    at_several_steps do
      assert_remapped(0)
      assert_points(0)
    end
  end
end
