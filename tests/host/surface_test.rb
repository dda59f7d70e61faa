# frozen_string_literal: true

require 'importer_host_test'
require 'zu/mirel/replaced_file'
require 'zu/mirel/surface'

# A model's arrays and what is measured with them.
class SurfaceTest < ImporterHostTest
  def setup
    super
    @library = Zu::Mirel::CompareLibrary.instance
  end

  def surface(size = 4)
    @importer.import(write('terrain.obj', terrain(size)))
    Zu::Mirel::Surface.of(@importer)
  end

  def test_the_arrays_outlive_the_model
    surface = surface(10)
    @importer.close
    assert_equal [121, 200], [surface.vertex_count, surface.face_count]
    assert_equal (0...121).to_a, surface.faces.unpack('L*').uniq.sort
    assert_operator @library.compare(*Array.new(2) { @library.mesh(surface) }, samples: 1000).max, :<, 1e-6
  end

  def test_a_mesh_counts_where_and_as_often_as_the_scene_has_it
    once = surface
    instance = @importer.instances.first
    group = Zu::Mirel::Definition.new('group')
    group.entities << Zu::Mirel::Instance.new('inner', instance.definition, Geom::Transformation.translation([0, 0, 5]))
    @importer.root.entities << Zu::Mirel::Instance.new('outer', group, Geom::Transformation.scaling(2))
    twice = Zu::Mirel::Surface.of(@importer)
    count = once.vertex_count
    assert_equal [2 * count, 2 * once.face_count], [twice.vertex_count, twice.face_count]
    points = twice.positions.unpack('f*').each_slice(3).to_a
    points.first(count).zip(points.drop(count)) do |here, there|
      [2 * here[0], 2 * here[1], (2 * here[2]) + 10].zip(there) { |wanted, found| assert_in_delta wanted, found, 1e-5 }
    end
    numbers = twice.faces.unpack('L*')
    assert_equal numbers.first(numbers.size / 2).map { |number| number + count }, numbers.drop(numbers.size / 2)
  end

  def test_faces_of_a_mirrored_mesh_are_turned_on_request
    @importer.import(write('terrain.obj', terrain(4)))
    definition = @importer.instances.first.definition
    mirrored = Zu::Mirel::Instance.new('mirrored', definition, Geom::Transformation.scaling(-1, 1, 1))
    @importer.root.entities.replace([mirrored])
    as_it_is = Zu::Mirel::Surface.of(@importer)
    turned = Zu::Mirel::Surface.of(@importer, outward: true)
    assert_equal as_it_is.positions, turned.positions
    corners = as_it_is.faces.unpack('L*').each_slice(3).map { |a, b, c| [a, c, b] }
    assert_equal corners, turned.faces.unpack('L*').each_slice(3).to_a
    opposite = @library.compare(@library.mesh(as_it_is), @library.mesh(turned), samples: 1000)
    assert_in_delta 180, opposite.normal_degrees, 0.01
  end

  def test_a_reduced_model_gives_the_arrays_of_its_step
    before = surface(20)
    faces = @importer.reduce(ratio: 0.25)
    after = Zu::Mirel::Surface.of(@importer)
    assert_equal faces, after.face_count
    result = @library.compare(@library.mesh(before), @library.mesh(after), samples: 5000, accuracy: 0.01)
    assert_operator result.rms, :>, 0
    assert_operator result.max, :<=, result.max_bound
    assert_nil @library.compare(@library.mesh(before), @library.mesh(after), samples: 10).max_bound
    distances = @library.distances(@library.mesh(after), before.positions).unpack('f*')
    assert_equal before.vertex_count, distances.size
    assert_operator distances.max, :<=, result.max_bound
  end

  def test_what_cannot_be_compared_is_refused
    empty = Zu::Mirel::Surface.new
    assert_equal 'it has no faces', assert_raises(Zu::Mirel::Error) { @library.mesh(empty) }.message
    mesh = @library.mesh(surface)
    assert_raises(Zu::Mirel::Error) { @library.compare(mesh, mesh, samples: 0) }
  end

  def test_a_file_that_is_not_completed_leaves_the_old_one
    file = write('kept.txt', 'old')
    assert_raises(RuntimeError) do
      Zu::Mirel::ReplacedFile.write(file) do |new|
        File.write(new, 'half')
        raise 'stopped'
      end
    end
    assert_equal 'old', File.read(file)
    error = assert_raises(Zu::Mirel::ExportError) { Zu::Mirel::ReplacedFile.write(file) { raise Errno::ENOSPC } }
    assert_match(/kept\.txt: cannot be written: no space left/, error.message)
    Zu::Mirel::ReplacedFile.write(file) { |new| File.write(new, 'whole') }
    assert_equal 'whole', File.read(file)
    assert_equal ['kept.txt'], Dir.children(@folder)
  end
end
