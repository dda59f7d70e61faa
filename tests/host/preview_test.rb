# frozen_string_literal: true

require 'importer_host_test'

# The preview of a model: the native half draws into a view, and calls back.
class PreviewTest < ImporterHostTest
  IDENTITY_VALUES = IDENTITY.to_a.freeze

  def setup
    super
    @view = Sketchup::View.new(400, 300)
    @view.on_invalidate { @view.render { @importer.draw(@view) } }
  end

  # Two triangles of red, one of blue and one without a material, in two meshes.
  def painted
    write('colors.mtl', "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n")
    write('painted.obj', <<~OBJ)
      mtllib colors.mtl
      v 0 0 0
      v 1 0 0
      v 1 1 0
      v 0 1 0
      o first
      usemtl red
      f 1 2 3
      f 1 3 4
      usemtl blue
      f 4 3 2
      o second
      v 0 0 5
      f 1 2 5
    OBJ
  end

  def load(file)
    @importer.import(file).build_hierarchy
  end

  def batches(primitive) = @view.batches.select { |batch| batch.primitive == primitive }
  def colors(primitive) = batches(primitive).map { |batch| batch.color.to_a }
  def floats(batch) = batch.data.unpack('f*').each_slice(3).to_a

  # Lets the time of every timer pass.
  def rest
    UI.timers.instance_variable_get(:@timers).each_value { |timer| timer.due = 0 }
    UI.timers.run
  end

  def test_a_frame_shows_edges_faces_and_bounds
    load(write('terrain.obj', terrain(4)))
    assert_same @importer, @importer.show(@view)
    assert_equal [1, 4, 1], @view.batches.map(&:primitive)
    assert_equal [32 * 6, 32 * 3, 24], @view.batches.map(&:count)
    assert_equal [0, 0, 0, 255], @view.batches.first.color.to_a
    assert_equal @importer.triangles.flatten(1), floats(@view.batches[1])
    assert_equal @importer.lines, floats(@view.batches[0])
    box = floats(@view.batches[2])
    assert_equal [0.0, 4.0], box.map(&:first).minmax
    # Twelve edges, each along one axis.
    edges = box.each_slice(2).map(&:sort)
    assert_equal 12, edges.uniq.size
    edges.each { |a, b| assert_equal 1, a.zip(b).count { |x, y| x != y } }
  end

  def test_every_entry_has_the_colour_of_its_material
    load(painted)
    @importer.show(@view)
    assert_equal 2, @importer.instances.size
    assert_equal 3, @importer.triangles.size
    assert_equal [[255, 0, 0, 255], [0, 0, 255, 255], [0, 0, 255, 255]], colors(4)
    assert_equal [6, 3, 3], batches(4).map(&:count)
  end

  def test_meshes_without_a_colour_are_white
    load(write('terrain.obj', terrain(2)))
    @importer.show(@view)
    assert_equal [[255, 255, 255, 255]], colors(4)
  end

  def test_a_program_may_fill_the_arrays_itself
    load(painted)
    @importer.instances.each { |instance| @importer.get_triangles(instance.definition.balancer_mesh_index, IDENTITY_VALUES) }
    @view.render { @importer.draw(@view) }
    assert_equal [[255, 0, 0, 255], [0, 0, 255, 255], [0, 0, 255, 255]], colors(4)
  end

  def test_instances_stand_at_their_places_also_nested_ones
    load(write('one.obj', "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"))
    placed = @importer.instances.first.definition
    group = Zu::Mirel::Definition.new('group')
    group.entities << Zu::Mirel::Instance.new('inner', placed, Geom::Transformation.scaling(2))
    @importer.root.entities << Zu::Mirel::Instance.new('outer', group, Geom::Transformation.translation([10, 0, 0]))
    @importer.show(@view)
    assert_equal [[[0.0, 0.0, 0.0], [1.0, 0.0, 0.0], [0.0, 1.0, 0.0]],
                  [[10.0, 0.0, 0.0], [12.0, 0.0, 0.0], [10.0, 2.0, 0.0]]], batches(4).map { |batch| floats(batch) }
    assert_equal [0.0, 12.0], [@importer.preview_bounds.min.x, @importer.preview_bounds.max.x]
    assert_equal 2.0, @importer.preview_bounds.max.y
  end

  def test_placed_meshes_tell_what_the_entries_are
    load(painted)
    placed = @importer.instances.first.definition
    @importer.root.entities << Zu::Mirel::Instance.new('again', placed, Geom::Transformation.scaling(2))
    @importer.show(@view)
    meshes = @importer.placed_meshes
    assert_equal [[0, 0, 2], [1, 2, 1], [0, 3, 2]], (meshes.map { |mesh| [mesh.mesh, mesh.first, mesh.count] })
    assert_equal @importer.triangles.size, meshes.sum(&:count)
    assert_equal placed.materials, meshes[2].materials
    assert_equal Geom::Transformation.scaling(2).to_a, meshes[2].transformation.to_a
    @importer.slide { @importer.make_lowest_resolution }
    assert_empty @importer.placed_meshes
  end

  def test_a_slide_shows_points_and_the_faces_when_it_rests
    load(write('terrain.obj', terrain(10)))
    @importer.show(@view)
    faces = @importer.slide { @importer.go_to_faces(50) && @importer.count_faces }
    assert_predicate @importer, :points_only?
    assert_equal [0, 1], @view.batches.map(&:primitive)
    assert_equal @importer.count_vertices, batches(0).first.count
    assert_operator UI.timers.seconds_left, :<=, Zu::Mirel::Preview::REST_SECONDS
    rest
    refute_predicate @importer, :points_only?
    assert_equal faces * 3, batches(4).first.count
    assert_nil UI.timers.seconds_left
  end

  def test_a_slide_that_goes_on_puts_the_faces_off
    load(write('terrain.obj', terrain(10)))
    @importer.show(@view)
    5.times do |place|
      @importer.slide { @importer.go_to_faces(180 - 20 * place) }
      assert_equal 1, UI.timers.instance_variable_get(:@timers).size
    end
    rest
    assert_equal @importer.count_faces, batches(4).first.count / 3
    assert_operator @importer.count_faces, :<=, 100
  end

  def test_a_redrawn_frame_of_points_keeps_the_timer
    load(write('terrain.obj', terrain(5)))
    @importer.show(@view)
    @importer.slide { @importer.go_to_step(3) }
    3.times { @view.invalidate }
    assert_equal 1, UI.timers.instance_variable_get(:@timers).size
    rest
    refute_empty batches(4)
  end

  def test_the_first_slide_needs_no_show
    load(write('terrain.obj', terrain(5)))
    @importer.slide { @importer.go_to_step(3) }
    assert_equal 1, @view.render { @importer.draw(@view) }.count { |batch| batch.primitive.zero? }
    rest
    refute_predicate @importer, :points_only?
  end

  def test_bounds_can_be_hidden
    load(write('terrain.obj', terrain(2)))
    @importer.bounds_visible = false
    @importer.show(@view)
    assert_equal [1, 4], @view.batches.map(&:primitive)
    refute_predicate @importer, :bounds_visible?
  end

  def test_status_text
    load(write('terrain.obj', terrain(30)))
    @importer.go_to_faces(450)
    @importer.show(@view)
    faces = @importer.count_faces
    steps = [@importer.get_current_step, @importer.get_hierachy_steps].map { |n| n.to_s.sub(/(?=\d{3}\z)/, ',').delete_prefix(',') }
    assert_match(/\A#{faces} of 1,800 faces \(25 %\), step #{steps[0]} of #{steps[1]}, drawn in \d+ ms\z/,
                 Sketchup.status_text)
    assert_kind_of Float, @importer.last_draw_time
  end

  def test_status_text_before_the_hierarchy
    @importer.import(write('terrain.obj', terrain(2)))
    @importer.show(@view)
    assert_match(/\A8 of 8 faces \(100 %\), drawn in \d+ ms\z/, Sketchup.status_text)
  end

  def test_status_text_says_nothing_and_all_of_it_only_where_that_is_so
    load(write('terrain.obj', terrain(30)))
    { 1800 => '100', 1799 => '> 99', 12 => '< 1' }.each do |most, share|
      @importer.go_to_faces(most)
      @importer.show(@view)
      assert_includes Sketchup.status_text, "of 1,800 faces (#{share} %)", @importer.count_faces.to_s
    end
  end

  def test_slow_frames_draw_fewer_points
    points = Array.new(10_000) { |x| [x.to_f, 0.0, 0.0] }
    @importer.instance_variable_set(:@mesh_points, points)
    @importer.optimize_dynamic_drawing(@view)
    assert_same points, @importer.mesh_points
    @importer.instance_variable_set(:@points_per_second, 100_000)
    @importer.optimize_dynamic_drawing(@view)
    assert_equal 5000, @importer.mesh_points.size
    assert_equal [[0.0, 0.0, 0.0], [2.0, 0.0, 0.0]], @importer.mesh_points.first(2)
    @importer.instance_variable_set(:@points_per_second, 1)
    @importer.optimize_dynamic_drawing(@view)
    assert_equal Zu::Mirel::Preview::FEWEST_POINTS, @importer.mesh_points.size
  end

  def test_without_a_model
    assert_raises(Zu::Mirel::Error) { @importer.show(@view) }
    assert_raises(Zu::Mirel::Error) { @importer.slide { flunk } }
    assert_same @importer, @importer.hide
  end

  def test_closing_stops_the_timer_and_lets_the_arrays_go
    load(write('terrain.obj', terrain(5)))
    @importer.show(@view)
    @importer.slide { @importer.go_to_step(3) }
    @importer.close
    assert_nil UI.timers.seconds_left
    assert_nil @importer.view
    assert_equal [[], [], []], [@importer.triangles, @importer.lines, @importer.mesh_points]
    load(painted)
    @importer.show(@view)
    assert_equal 3, batches(4).size
  end

  def test_a_callback_that_raises_leaves_the_frame_before
    load(painted)
    @importer.show(@view)
    before = @view.batches
    def @importer.draw_bounds(_view) = raise(IOError, 'broken')
    assert_raises(IOError) { @importer.show(@view) }
    assert_same before, @view.batches
    @importer.singleton_class.remove_method(:draw_bounds)
    @importer.show(@view)
    assert_equal before.map(&:to_a), @view.batches.map(&:to_a)
  end
end
