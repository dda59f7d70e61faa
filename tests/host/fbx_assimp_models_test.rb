# frozen_string_literal: true

require 'importer_host_test'

# Debian's FBX test models, read by the importer and by assimp: the same faces in the same place.
class FbxAssimpModelsTest < ImporterHostTest
  FILES = Dir['/usr/share/assimp/models/FBX/**/*.{fbx,FBX}'].sort.freeze
  # Its null bytes have become blanks, so that nobody can read it.
  BROKEN = 'transparentTest.fbx'
  # assimp takes a translation of 0.0001 for none.
  ROUNDED = { 'embedded_ascii/box.FBX' => 1e-4 }.freeze

  def test_the_models_are_here
    skip 'assimp-testmodels is not installed' if FILES.empty?
    assert_operator FILES.size, :>, 15
  end

  FILES.each do |file|
    name = file.delete_prefix('/usr/share/assimp/models/FBX/')
    define_method("test_#{name.gsub(/\W/, '_')}") do
      name == BROKEN ? check_refused(file) : compare(file, ROUNDED.fetch(name, 1e-5))
    end
  end

  def check_refused(file)
    error = assert_raises(Zu::Mirel::ImportError) { @importer.import(file) }
    assert_match(/\A#{Regexp.escape(file)}: .+\z/, error.message)
    assert_raises(Zu::Mirel::ImportError) { Zu::Mirel::SceneReader.survey(file) }
  end

  def compare(file, share)
    @importer.import(file)
    theirs = Zu::Mirel::SceneReader.survey(file)
    assert_equal faces, theirs.faces
    ours = in_the_axes_of_the_file(@importer.bounds)
    limit = share * @importer.bounds.diagonal
    [theirs.bounds.min, theirs.bounds.max].flat_map(&:to_a).zip(ours) do |expected, actual|
      assert_in_delta expected, actual, limit, "#{theirs.bounds.inspect} and #{ours.inspect}"
    end
  end

  # Wherever the scene puts them, degenerate ones too.
  def faces
    placed = @importer.placements.map { |definition, _| definition.balancer_mesh_index }
    return @importer.faces_before if placed.uniq.size == placed.size

    placed.sum { |mesh| Zu::Mirel::Engine.usable_face_count(mesh) }
  end

  # assimp leaves the axes as they are; the importer turned them to z up.
  def in_the_axes_of_the_file(box)
    corners = [box.min.to_a, box.max.to_a]
    return corners.flatten if @importer.fbx_facts.axes[:up] == '+Z'

    assert_equal({ right: '+X', up: '+Y', front: '+Z' }, @importer.fbx_facts.axes)
    (x, y, z), (far_x, far_y, far_z) = corners
    [x, z, -far_y, far_x, far_z, -y]
  end
end
