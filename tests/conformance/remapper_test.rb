# frozen_string_literal: true

ENV["MIREL_EXTENSION"] = "mirel_test"
require "conformance"

# The mesh remapper: which mesh vertex stands for each output entry, what it asks of the mesh, and that it releases
# each of its tables once.
class RemapperTest < Conformance::Test
  NONE = Recorder::NULL_INDEX
  EMPTY = {
    nVertices: 0, nFaces: 0, nNormals: 0, nUVs: 0, nAux: 0, copied: false, vertices: [], vertexRemap: nil,
    vertexSource: nil, vertexBase: nil, normalSource: nil, uvSource: nil, auxSource: nil, shared: false
  }.freeze

  def setup
    super
    make_depot
    MirelTest.init_mesh
    @arrays = MirelTest.live_arrays
    clear_log
  end

  def teardown
    MirelTest.fail_array(0)
    assert_equal @arrays, MirelTest.live_arrays
  end

  # Vertex s lies at (s, s + 0.25, s + 0.5).
  def script(vertex_remap, faces: nil, normals: nil, uvs: nil, aux: nil, base: nil)
    @count = vertex_remap.size
    Recorder.answer("getNumVertices", @count)
    Recorder.floats("getVertices", Array.new(@count) { |s| [s, s + 0.25, s + 0.5] }.flatten)
    Recorder.remap("getVertexRemap", vertex_remap)
    Recorder.indices("getVertexRemap.0", base || Array.new(@count) { |s| s + 100 })
    Recorder.answer("getNumFaces", faces.size / 3) if faces
    Recorder.indices("getFaces", faces) if faces
    { "getNormals" => ["getNormalRemap", normals], "getVertexUVs" => ["getUVRemap", uvs],
      "getAuxiliaryAttributes" => ["getAuxiliaryRemap", aux] }.each do |array, (remap, entries)|
      next unless entries

      Recorder.floats(array, Array.new(@count * 3, 0.0))
      Recorder.remap(remap, entries)
    end
  end

  def remap(share: false, mesh: 0)
    MirelTest.remap(mesh, share, @count || 0).tap { @log = log.reject { |line| line.start_with?("depot1.getMesh") } }
  end

  def test_a_null_mesh
    assert_equal EMPTY.merge(shareAttributes: false), remap(mesh: nil)
    assert_log "", @log
  end

  def test_a_mesh_without_vertex_array
    script([0, 1])
    Recorder.floats("getVertices", nil)
    assert_equal EMPTY.merge(shareAttributes: true), remap(share: true)
    assert_log "depot1.mesh0.getVertices", @log
  end

  def test_calls_without_attributes
    script([0, 1, 2], faces: [0, 1, 2])
    remap
    assert_log REMAPPING_LOG, @log
  end

  def test_calls_with_attributes
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    remap
    assert_log <<~LOG, @log.drop(7)
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertexRemap 0 false
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getNormalRemap 1
      depot1.mesh0.getUVRemap 1
      depot1.mesh0.getAuxiliaryRemap 1
    LOG
  end

  def test_calls_with_shared_attributes
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    remap(share: true)
    assert_log <<~LOG, @log.drop(7)
      depot1.mesh0.getVertexRemap 1 true
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertexRemap 0 false
      depot1.mesh0.getVertexRemap 1 true
    LOG
  end

  def test_the_lowest_vertex_stands_for_an_output_vertex
    script([2, 1, nil, 0, 1, 2, nil, 0])
    tables = remap
    assert_equal 3, tables[:nVertices]
    assert_equal [3, 1, 0], tables[:vertexSource]
    assert_equal [3.0, 3.25, 3.5, 1.0, 1.25, 1.5, 0.0, 0.25, 0.5], tables[:vertices]
    assert_equal true, tables[:copied]
    assert_equal [3.0, 3.25, 3.5], MirelTest.remapped_vertex(0, 0)
  end

  def test_the_highest_vertex_stands_for_an_attribute
    script([0, 1, 2, 3, 4, 5, 6, 7], normals: [1, 1, 1, 0, 1, 1, 1, 0], uvs: [0, 0, 0, 0, nil, nil, nil, nil],
                                     aux: [nil, 2, 1, 0, 0, 0, 2, nil])
    tables = remap
    assert_equal [2, [7, 6]], tables.values_at(:nNormals, :normalSource)
    assert_equal [1, [3]], tables.values_at(:nUVs, :uvSource)
    assert_equal [3, [5, 2, 6]], tables.values_at(:nAux, :auxSource)
    assert_equal false, tables[:shared]
  end

  def test_attributes_that_the_mesh_lacks_have_no_tables
    script([0, 1], uvs: [0, 1])
    tables = remap
    assert_equal [0, nil, 2, [0, 1], 0, nil],
                 tables.values_at(:nNormals, :normalSource, :nUVs, :uvSource, :nAux, :auxSource)
  end

  def test_the_base_is_the_mode_0_number_of_the_source
    script([1, 0, 1, 0], base: [40, 30, 20, 10])
    tables = remap
    assert_equal [1, 0], tables[:vertexSource]
    assert_equal [30, 40], tables[:vertexBase]
    # The table of mode 1 is the one that stays.
    assert_equal [1, 0, 1, 0], tables[:vertexRemap]
  end

  def test_vertices_without_output
    script([nil, nil, nil])
    Recorder.answer("getVertexRemap.count", 2)
    tables = remap
    assert_equal [NONE, NONE], tables[:vertexSource]
    assert_equal [NONE, NONE], tables[:vertexBase]
  end

  def test_an_output_vertex_without_source_reads_no_foreign_memory
    script([nil, 1])
    Recorder.answer("getVertexRemap.count", 2)
    assert_equal [NONE, 1], remap[:vertexSource]
    assert_equal [0.0, 0.0, 0.0], MirelTest.remapped_vertex(0, 0)
    assert_equal [1.0, 1.25, 1.5], MirelTest.remapped_vertex(0, 1)
  end

  def test_shared_tables
    script([1, 0, 1], normals: [0, 0, 0], uvs: [0, 0, 0], aux: [0, 0, 0], faces: [0, 1, 2])
    tables = remap(share: true)
    assert_equal [2, 2, 2, 2, 1], tables.values_at(:nVertices, :nNormals, :nUVs, :nAux, :nFaces)
    assert_equal true, tables[:shareAttributes]
    assert_equal true, tables[:shared]
    assert_equal [1, 0], tables[:normalSource]
  end

  def test_shared_tables_of_attributes_that_the_mesh_lacks_are_empty
    script([0, 1], uvs: [0, 1])
    tables = remap(share: true)
    assert_equal [0, 2, 0], tables.values_at(:nNormals, :nUVs, :nAux)
    assert_equal true, tables[:shared]
    make_depot
    MirelTest.init_mesh
    script([0, 1], normals: [0, 1], aux: [0, 1])
    assert_equal [2, 0, 2], remap(share: true).values_at(:nNormals, :nUVs, :nAux)
  end

  def test_a_mesh_without_remap_table
    script([0, 1], normals: [0, 0])
    Recorder.indices("getVertexRemap", nil)
    tables = remap
    assert_equal [0, nil, nil, nil], tables.values_at(:nVertices, :vertexSource, :vertexBase, :normalSource)
    # There were vertices, none of which is put out.
    assert_equal true, tables[:copied]
  end

  def test_later_tables_that_are_missing_are_no_crash
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    %w[getNormalRemap getUVRemap getAuxiliaryRemap getVertexRemap.0].each { |name| Recorder.indices(name, nil) }
    tables = remap
    assert_equal [0, nil, 0, nil, 0, nil],
                 tables.values_at(:nNormals, :normalSource, :nUVs, :uvSource, :nAux, :auxSource)
    assert_equal [NONE, NONE], tables[:vertexBase]
  end

  def test_entries_beyond_their_count_are_no_crash
    script([0, 4_000_000_000, 1], normals: [0, 77, 0])
    Recorder.answer("getVertexRemap.count", 2)
    Recorder.answer("getNormalRemap.count", 1)
    tables = remap
    assert_equal [0, 2], tables[:vertexSource]
    assert_equal [2], tables[:normalSource]
    # The first number that is beyond.
    script([0, 2, 1], normals: [0, 0, 1])
    Recorder.answer("getVertexRemap.count", 2)
    Recorder.answer("getNormalRemap.count", 1)
    tables = remap
    assert_equal [0, 2], tables[:vertexSource]
    assert_equal [1], tables[:normalSource]
  end

  # The tear-down counts what is left.
  def test_running_out_of_memory_at_each_table_releases_the_ones_before
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    # Two vertex tables, three attribute tables and the buffer of the caller.
    (1..6).each do |place|
      MirelTest.fail_array(place)
      assert_raises(NoMemoryError) { remap }
      assert_equal @arrays, MirelTest.live_arrays
    end
    assert_equal 2, remap[:nVertices]
  end

  def test_an_exception_of_the_sdk_at_each_call_releases_the_tables
    %w[getFaces getVertexRemap getNormalRemap getUVRemap getAuxiliaryRemap].each do |operation|
      make_depot
      MirelTest.init_mesh
      script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
      Recorder.throw_error(operation, "broken")
      assert_equal "broken", assert_raises(RuntimeError) { remap }.message
      assert_equal @arrays, MirelTest.live_arrays
    end
  end

  def test_get_points_releases_tables_and_buffer_when_ruby_raises
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    [[].freeze, nil, "no array"].each do |points|
      importer.instance_variable_set(:@mesh_points, points)
      assert_raises(FrozenError, TypeError) { importer.get_points(0, [1.0] * 16) }
      assert_equal @arrays, MirelTest.live_arrays
    end
  end

  def test_get_points_out_of_memory
    script([0, 1], normals: [0, 0], uvs: [0, 1], aux: [0, 1])
    importer.instance_variable_set(:@mesh_points, [])
    (1..6).each do |place|
      MirelTest.fail_array(place)
      assert_raises(NoMemoryError) { importer.get_points(0, [1.0] * 16) }
      assert_equal @arrays, MirelTest.live_arrays
    end
    assert_empty importer.instance_variable_get(:@mesh_points)
  end
end
