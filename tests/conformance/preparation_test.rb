# frozen_string_literal: true

require "conformance"

# init_simplify's preparation of the meshes: settings, order of calls, arguments, console.
class PreparationTest < Conformance::Test
  def setup
    super
    make_depot
  end

  def add_meshes(count)
    count.times { importer.get_balancer_mesh({}) }
    clear_log
  end

  def simplify(**settings)
    importer.settings = Zu::Mirel::Importer::DEFAULTS.merge(settings)
    importer.init_simplify
  end

  # The lines up to where the hierarchy build begins.
  def preparation = log.take_while { |line| line != "importer.use_tolerance?" }

  def narrow(number) = format("%.9g", [number].pack("f").unpack1("f"))

  def test_an_empty_depot_runs_every_step
    Recorder.answer("joinVertices", 7)
    Recorder.answer("eliminateTJunctions", 4_294_967_295)
    assert_equal true, simplify
    assert_log <<~'LOG', preparation
      importer.maintain_uvs?
      importer.maintain_normals?
      depot1.prepareMeshes
      depot1.getNumMeshes
      importer.join_vertices_threshold
      importer.join_normals_threshold
      importer.join_uvs_threshold
      importer.lock_surface_boundaries?
      importer.prevent_xy_foldovers?
      importer.prevent_uv_foldovers?
      Kernel.puts "Joining Vertices..."
      bar.update_message "Joining Vertices..."
      depot1.joinVertices 0 2.5 0.25 0.5
      Kernel.print "Joined Vertices: "
      Kernel.print 7
      Kernel.print "\n"
      Kernel.puts "Eliminating T-Junctions..."
      bar.update_message "Eliminating T-Junctions..."
      depot1.eliminateTJunctions 0.100000001
      Kernel.print "Eliminated T-Junctions: "
      Kernel.print 4294967295
      Kernel.print "\n"
      Kernel.puts "Lock Surface Boundaries is FALSE"
      depot1.setLockSurfaceBoundaries false
      depot1.setPreventXYFoldovers false
      depot1.setPreventUVFoldovers false
    LOG
    assert_equal 0, importer.instance_variable_get(:@total_original_faces)
  end

  def test_attributes_go_mesh_by_mesh
    add_meshes(2)
    simplify(maintain_uvs?: false, maintain_normals?: false)
    lines = preparation
    removal = lines[lines.index("depot1.prepareMeshes")...lines.index("importer.join_vertices_threshold")]
    assert_log <<~LOG, removal
      depot1.prepareMeshes
      depot1.getNumMeshes
      depot1.getMesh 0
      Kernel.puts "Maintain UVs set to False.  Removing UVs.."
      depot1.mesh0.removeCornerUVs
      depot1.mesh0.removeVertexUVs
      Kernel.puts "Maintain Normals set to False.  Removing Normals.."
      depot1.mesh0.removeIndexedNormals
      depot1.mesh0.removeVertexNormals
      depot1.getMesh 1
      Kernel.puts "Maintain UVs set to False.  Removing UVs.."
      depot1.mesh1.removeCornerUVs
      depot1.mesh1.removeVertexUVs
      Kernel.puts "Maintain Normals set to False.  Removing Normals.."
      depot1.mesh1.removeIndexedNormals
      depot1.mesh1.removeVertexNormals
    LOG
  end

  def test_only_uvs_go
    add_meshes(1)
    simplify(maintain_uvs?: nil)
    assert_equal %w[depot1.mesh0.removeCornerUVs depot1.mesh0.removeVertexUVs], log.grep(/remove/)
  end

  def test_only_normals_go
    add_meshes(1)
    simplify(maintain_normals?: nil)
    assert_equal %w[depot1.mesh0.removeIndexedNormals depot1.mesh0.removeVertexNormals], log.grep(/remove/)
  end

  def test_kept_attributes_stay
    add_meshes(2)
    simplify
    assert_empty log.grep(/remove|Maintain/)
  end

  def test_the_message_is_printed_once_per_mesh
    add_meshes(30)
    simplify(maintain_uvs?: 1)
    assert_equal 30, log.grep(/Removing UVs/).size
  end

  def test_flags_are_on_only_for_true_itself
    [1, 0, "true", :true, [], Object.new].each do |truthy|
      add_meshes(1)
      simplify(maintain_uvs?: truthy, maintain_normals?: truthy, lock_surface_boundaries?: truthy,
               prevent_xy_foldovers?: truthy, prevent_uv_foldovers?: truthy)
      lines = log
      refute_empty lines.grep(/removeCornerUVs/)
      refute_empty lines.grep(/removeIndexedNormals/)
      assert_includes lines, "depot1.setLockSurfaceBoundaries false"
      assert_includes lines, "depot1.setPreventXYFoldovers false"
      assert_includes lines, "depot1.setPreventUVFoldovers false"
      assert_includes lines, 'Kernel.puts "Lock Surface Boundaries is FALSE"'
    end
  end

  def test_each_constraint_reaches_its_own_operation
    { lock_surface_boundaries?: "setLockSurfaceBoundaries", prevent_xy_foldovers?: "setPreventXYFoldovers",
      prevent_uv_foldovers?: "setPreventUVFoldovers" }.each do |setting, operation|
      simplify(setting => true)
      lines = log
      on = lines.grep(/\Adepot1\.set\w+ true\z/)
      assert_equal ["depot1.#{operation} true"], on
      assert_equal 2, lines.grep(/\Adepot1\.set\w+ false\z/).size
      locked = setting == :lock_surface_boundaries? ? "TRUE" : "FALSE"
      assert_equal ["Kernel.puts \"Lock Surface Boundaries is #{locked}\""], lines.grep(/\AKernel.*Lock/)
    end
  end

  def test_lock_line_comes_before_its_call
    simplify(lock_surface_boundaries?: true)
    lines = log
    assert_equal lines.index('Kernel.puts "Lock Surface Boundaries is TRUE"') + 1,
                 lines.index("depot1.setLockSurfaceBoundaries true")
  end

  def test_thresholds_are_narrowed
    simplify(join_vertices_threshold: 0.1, join_normals_threshold: 1e-50, join_uvs_threshold: 1 / 3.0)
    assert_includes log, "depot1.joinVertices 0 0 #{narrow(1 / 3.0)} #{narrow(0.1)}"
  end

  def test_thresholds_may_be_integers_and_rationals
    simplify(join_vertices_threshold: 1, join_normals_threshold: 2r, join_uvs_threshold: -3)
    assert_includes log, "depot1.joinVertices 0 2 -3 1"
  end

  def test_a_threshold_that_is_no_number_raises_and_leaves_what_was_done
    { join_vertices_threshold: nil, join_normals_threshold: "5", join_uvs_threshold: :x }.each do |setting, value|
      add_meshes(1)
      assert_raises(TypeError) { simplify(maintain_uvs?: false, setting => value) }
      lines = log
      assert_includes lines, "depot1.mesh0.removeVertexUVs"
      assert_equal "importer.#{setting}", lines.last
    end
  end

  Zu::Mirel::Importer::DEFAULTS.each_key do |name|
    define_method("test_missing_setting_#{name}") do
      importer.settings = Zu::Mirel::Importer::DEFAULTS.merge(use_tolerance?: true)
      importer.singleton_class.undef_method(name)
      assert_equal name, assert_raises(NoMethodError) { importer.init_simplify }.name
      refute_dead_calls
    end
  end

  def test_the_depot_of_the_moment_is_prepared_again_by_each_call
    simplify
    clear_log
    simplify
    assert_equal 1, log.count("depot1.prepareMeshes")
  end

  def test_meshes_without_vertices_are_not_counted
    add_meshes(2)
    Recorder.answer("depot1.mesh0.getNumFaces", 5)
    Recorder.answer("depot1.mesh1.getNumFaces", 7)
    Recorder.answer("depot1.mesh1.getNumVertices", 3)
    simplify
    assert_equal 7, importer.instance_variable_get(:@total_original_faces)
  end

  def test_a_mesh_that_the_depot_does_not_give
    add_meshes(1)
    Recorder.answer("getMesh", 0)
    assert_equal false, simplify
    assert_equal 'Kernel.puts "Error: Mesh has not been created."', log.last
  end
end
