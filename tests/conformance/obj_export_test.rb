# frozen_string_literal: true

require "conformance"
require "tempfile"

# export_obj: the file, the calls behind it, and what it says on the C standard output.
class ObjExportTest < Conformance::Test
  def setup
    super
    make_depot
    importer.get_balancer_mesh({})
    # Two triangles over a square whose vertex 3 repeats the position of vertex 1.
    floats(getVertices: [0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 0, 0, 0, 1, 0.5])
    Recorder.answer("getNumVertices", 5)
    Recorder.remap("getVertexRemap", [0, 1, 2, 1, 3])
    faces([0, 1, 2], [3, 4, 2])
    clear_log
  end

  def floats(arrays) = arrays.each { |name, values| Recorder.floats(name.to_s, values) }

  def faces(*triangles)
    Recorder.indices("getFaces", triangles.flatten)
    Recorder.answer("getNumFaces", triangles.size)
  end

  def with_normals
    floats(getNormals: [0, 0, 1, 0, 0, 1, 0, 0.5, 1, 0, 0, 1, 1e-7, 0, 1])
    Recorder.remap("getNormalRemap", [0, 0, 1, 0, 2])
  end

  def with_uvs
    floats(getVertexUVs: [0, 0, 1, 0, 1, 1, 0.25, 0, 0, 1])
    Recorder.remap("getUVRemap", [0, 1, 2, 3, 4])
  end

  # Result, file content and C output of an export. The C library's descriptor is redirected for the call.
  def export(path = nil)
    return Dir.mktmpdir { |folder| export(File.join(folder, "out.obj")) } unless path

    result = nil
    @path = path
    Tempfile.create("output") do |output|
      saved = $stdout.dup
      $stdout.flush
      $stdout.reopen(output)
      begin
        result = importer.export_obj(path)
      ensure
        $stdout.reopen(saved)
        saved.close
      end
      @output = File.read(output.path)
    end
    @content = File.exist?(path) ? File.binread(path) : nil
    result
  end

  def test_positions_only
    assert_equal 0, export
    assert_equal <<~OBJ, @content
      mtllib export.mtl
      v 0 0 0
      v 1 0 0
      v 1 1 0
      v 0 1 0.5
      usemtl checker
      f 1 2 3
      f 2 4 3
    OBJ
    assert_equal <<~TEXT, @output
      Writing to '#{@path}':
        writing 4 vertices... done
        writing 2 faces... done
    TEXT
    assert_log <<~LOG
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getNormals
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaces
    LOG
  end

  def test_normals_and_uvs
    with_normals
    with_uvs
    assert_equal 0, export
    assert_equal <<~OBJ, @content
      mtllib export.mtl
      v 0 0 0
      v 1 0 0
      v 1 1 0
      v 0 1 0.5
      vn 0 0 1
      vn 0 0.5 1
      vn 1e-07 0 1
      vt 0 0
      vt 1 0
      vt 1 1
      vt 0.25 0
      vt 0 1
      usemtl checker
      f 1/1/1 2/2/1 3/3/2
      f 2/4/1 4/5/3 3/3/2
    OBJ
    assert_equal <<~TEXT, @output
      Writing to '#{@path}':
        writing 4 vertices... done
        writing 3 normals... done
        writing 5 texture coordinates... done
        writing 2 faces... done
    TEXT
    assert_log <<~LOG
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getNormals
      depot1.mesh0.getNormalRemap 1
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getUVRemap 1
      depot1.mesh0.getFaces
      depot1.mesh0.getNumFaces
    LOG
  end

  def test_normals_only
    with_normals
    export
    assert_equal ["f 1//1 2//1 3//2", "f 2//1 4//3 3//2"], @content.lines(chomp: true).last(2)
    refute_match(/^vt/, @content)
    refute_match(/texture/, @output)
  end

  def test_uvs_only_keep_the_second_slash
    with_uvs
    export
    assert_equal ["f 1/1/ 2/2/ 3/3/", "f 2/4/ 4/5/ 3/3/"], @content.lines(chomp: true).last(2)
    refute_match(/^vn/, @content)
    refute_match(/normals/, @output)
  end

  def test_a_vertex_without_entry_writes_no_line
    Recorder.indices("getVertexRemap", [0, Recorder::NULL_INDEX, 1, 2, 3])
    Recorder.answer("getVertexRemap.count", 4)
    export
    assert_equal 4, @content.scan(/^v /).size
    # The wrapped index is written as it comes.
    assert_includes @content, "f 1 0 2\n"
  end

  def test_the_first_vertex_of_each_entry_is_written
    floats(getVertices: [9, 9, 9, 1, 0, 0, 1, 1, 0, 5, 5, 5, 7, 7, 7])
    Recorder.remap("getVertexRemap", [0, 0, 1, 1, 2])
    export
    assert_equal ["v 9 9 9", "v 1 1 0", "v 7 7 7"], @content.scan(/^v .*/)
    assert_includes @output, "writing 3 vertices"
  end

  def test_number_format
    floats(getVertices: [1e-7, 123_456_7, 0.1, -0.0, 1e20, 1.0 / 3, 100_000, 1_000_000, 0.0001, 0.00001, 2.5, 1e38,
                         16_777_216, -1.5e-10, 3])
    Recorder.remap("getVertexRemap", [0, 1, 2, 3, 4])
    export
    assert_equal <<~OBJ.lines(chomp: true), @content.scan(/^v .*/)
      v 1e-07 1.23457e+06 0.1
      v -0 1e+20 0.333333
      v 100000 1e+06 0.0001
      v 1e-05 2.5 1e+38
      v 1.67772e+07 -1.5e-10 3
    OBJ
  end

  def test_no_faces
    Recorder.indices("getFaces", nil)
    assert_equal 0, export
    assert_equal "v 0 1 0.5\n", @content.lines.last
    refute_match(/usemtl|faces/, @content + @output)
  end

  def test_zero_faces_of_an_existing_array
    Recorder.answer("getNumFaces", 0)
    assert_equal 0, export
    assert_equal "usemtl checker\n", @content.lines.last
    assert_includes @output, "writing 0 faces... done"
  end

  def test_no_vertex_array_leaves_an_empty_file
    floats(getVertices: nil)
    assert_equal false, export
    assert_equal "", @content
    assert_equal "", @output
    assert_log "depot1.mesh0.getNumVertices\ndepot1.mesh0.getVertices"
  end

  def test_a_file_that_cannot_be_opened
    Dir.mktmpdir do |folder|
      assert_equal false, export(File.join(folder, "no", "such", "folder.obj"))
      assert_equal false, importer.export_obj(folder)
    end
    assert_equal "", @output
    assert_log ""
  end

  def test_an_existing_file_is_truncated
    with_file("x" * 100_000) do |path|
      export(path)
      assert_equal "mtllib export.mtl\n", @content.lines.first
      assert_operator @content.size, :<, 200
    end
  end

  def test_the_path_may_have_any_bytes_but_nul
    Dir.mktmpdir do |folder|
      assert_equal 0, export(File.join(folder, "größer %s %n.obj"))
      assert_includes @output, "größer %s %n.obj':"
    end
    assert_raises(ArgumentError) { importer.export_obj("a\0b") }
    [nil, 7, :symbol].each { |path| assert_raises(TypeError) { importer.export_obj(path) } }
  end

  def test_tables_that_are_missing_are_no_crash
    Recorder.indices("getVertexRemap", nil)
    assert_equal false, export
    with_normals
    Recorder.remap("getVertexRemap", [0, 1, 2, 1, 3])
    Recorder.indices("getNormalRemap", nil)
    assert_equal false, export
    assert_equal ['Kernel.puts "Error: Mesh has not been created."'] * 2, log.grep(/Kernel/)
  end

  def test_entries_beyond_their_count_are_no_crash
    Recorder.indices("getVertexRemap", [0, 1, 4_000_000_000, 1, 3])
    Recorder.answer("getVertexRemap.count", 2)
    faces([0, 1, 2], [4_000_000_000, 4, 5])
    assert_equal 0, export
    assert_equal 2, @content.scan(/^v /).size
    assert_equal "f 0 4 0", @content.lines(chomp: true).last
  end

  def test_the_names_are_fixed
    Recorder.answer("getNumFaceSets", 2)
    Recorder.text("getName", "brick")
    importer.settings = {}
    export
    assert_equal 1, @content.scan(/^mtllib export\.mtl$/).size
    assert_equal 1, @content.scan(/^usemtl checker$/).size
  end

  def test_an_exception_of_the_sdk_becomes_a_ruby_one
    Recorder.throw_error("getNormals", "broken")
    error = assert_raises(RuntimeError) { export }
    assert_equal "broken", error.message
  end

  def test_a_second_export_gives_the_same_file
    with_normals
    with_uvs
    export
    first = @content
    export
    assert_equal first, @content
  end
end
