# frozen_string_literal: true

require "program_test"

# Inputs that cannot be reduced: one clear line, status 1, an output that exists is left as it was.
class BadInputTest < ProgramTest
  parallelize_me!

  EXTENSIONS = %w[obj ply stl glb gltf dae 3ds off].freeze

  def test_missing
    EXTENSIONS.each { |extension| assert_input_refused(path("missing.#{extension}"), /no such file|not exist/i) }
  end

  def test_directory
    EXTENSIONS.each do |extension|
      FileUtils.mkdir(path("folder.#{extension}"))
      assert_input_refused(path("folder.#{extension}"), /directory|folder/i)
    end
  end

  def test_empty
    EXTENSIONS.each { |extension| assert_input_refused(write("empty.#{extension}", ""), /empty|no faces/i) }
  end

  def test_binary_rubbish
    random = Random.new(7)
    EXTENSIONS.each do |extension|
      [40, 5000].each { |size| assert_input_refused(write("rubbish.#{extension}", random.bytes(size)), /\S/) }
      assert_input_refused(write("zeros.#{extension}", "\0" * 3000), /\S/)
    end
  end

  def test_unreadable
    skip "no other user to be" unless Program.other_user?
    FileUtils.chmod(0o777, @folder)
    FileUtils.mkdir_p(path("out"), mode: 0o777)
    FileUtils.chmod(0o777, path("out"))
    %w[obj ply stl].each do |extension|
      input = write("secret.#{extension}", Models.terrain(3))
      FileUtils.chmod(0o600, input)
      assert_input_refused(input, /permission|read/i, user: "nobody")
    end
  end

  def test_truncated_obj
    text = Models.terrain(12)
    assert_input_refused(write("between-vertices.obj", text[0..text.index("\n", 1500)]), /no faces/i)
    assert_input_refused(write("in-a-vertex.obj", text[0..text.index(" ", 1500)]), /number|coordinate/i)
    # The last face has two corners left.
    assert_input_refused(write("in-a-face.obj", text[0, text.rindex(" ")]), /corner|face|line/i)
  end

  def test_truncated_ply
    whole = Models.terrain_ply(12)
    body = whole.bytesize - whole.index("end_header\n") - 11
    [0, 1, 100, body / 2, body - 1].each do |bytes|
      assert_input_refused(write("cut.ply", Models.terrain_ply(12, body_bytes: bytes)), /\S/)
    end
    assert_input_refused(write("header.ply", whole[0, 60]), /\S/)
  end

  def test_truncated_stl
    whole = Models.stl(Array.new(50) { |k| [k, 0, 0, k + 1, 0, 0, k, 1, 0] })
    [50, 83, 84, 200, whole.bytesize - 1].each { |size| assert_input_refused(write("cut.stl", whole[0, size]), /\S/) }
  end

  def test_truncated_glb
    input = need(Models.assimp("glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb"))
    whole = File.binread(input)
    [12, 100, whole.bytesize / 2, whole.bytesize - 1].each do |size|
      assert_input_refused(write("cut.glb", whole[0, size]), /\S/)
    end
  end

  def test_indices_that_do_not_exist
    triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\n"
    ["f 1 2 4", "f 1 2 0", "f 1 2 -4", "f 1 2 99999999999999999999", "f 1/1 2/1 3/1", "f 1//9 2//9 3//9",
     "f 1 2 x", "f 1 2"].each do |face|
      assert_input_refused(write("index.obj", "#{triangle}#{face}\n"), /4|index|corner|malformed|number/i)
    end
    header = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n" \
             "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n"
    ["3 0 1 3", "3 0 1 -1", "3 0 1 2147483647"].each do |face|
      assert_input_refused(write("index.ply", "#{header}#{face}\n"), /\S/)
    end
  end

  def test_only_coordinates_that_are_not_finite
    %w[nan inf -inf 1e99].each do |number|
      text = "v #{number} 0 0\nv 1 #{number} 0\nv 0 1 #{number}\nf 1 2 3\n"
      assert_input_refused(write("numbers.obj", text), /finite|faces/i, info: false)
    end
    stl = write("numbers.stl", Models.stl([[Float::NAN] * 9, [Float::INFINITY] * 9]))
    assert_input_refused(stl, /finite|faces/i, info: false)
  end

  # In single precision it is 0, which would be no bound at all.
  def test_a_tolerance_that_rounds_to_zero
    input = write("terrain.obj", Models.terrain(6))
    %w[1e-50 1e-300%].each do |tolerance|
      result = mirel("reduce", input, "--tolerance", tolerance, "-o", path("out.obj"))
      assert_equal [1, 1], [result.status, result.err.lines.size], result.err
      assert_match(/terrain\.obj: a tolerance of .* is too small/, result.err)
      refute_path_exists path("out.obj")
    end
  end

  # The faces that use such a vertex go; the rest is reduced.
  def test_some_coordinates_that_are_not_finite
    text = Models.terrain(20).sub(/^v .*$/, "v nan 0 0").sub(/\Av .*\nv .*$/) { |two| "#{two.lines.first}v 0 inf 0" }
    report = reduce(write("some.obj", text), path("out.obj"), "--ratio", 0.5)
    assert_operator report["faces_after"], :<=, 400
    assert_sound MeshReport.of(path("out.obj"))
  end

  def test_no_faces
    assert_input_refused(write("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n"), /no faces/i)
    assert_input_refused(write("comment.obj", "# nothing here\n"), /no faces/i)
    assert_input_refused(write("lines.obj", "v 0 0 0\nv 1 0 0\nl 1 2\n"), /no faces/i)
    assert_input_refused(write("points.off", "OFF\n3 0 0\n0 0 0\n1 0 0\n0 1 0\n"), /\S/)
    assert_input_refused(write("degenerate.obj", "v 0 0 0\nv 1 0 0\nf 1 2 1\nf 1 2 2\n"), /faces/i, info: false)
  end

  def test_a_million_points_without_polygons
    random = Random.new(3)
    floats = Array.new(30_000) { random.rand.round(5) }
    lines = floats.each_slice(3).map { |p| "v #{p.join(' ')}\n" }.join
    assert_input_refused(write("cloud.obj", lines * 100), /no faces/i)
    header = "ply\nformat binary_little_endian 1.0\nelement vertex 1000000\nproperty float x\nproperty float y\n" \
             "property float z\n".b
    body = floats.pack("e*") * 100
    assert_input_refused(write("cloud.ply", "#{header}end_header\n".b + body), /no faces/i)
    none = "#{header}element face 0\nproperty list uchar int vertex_indices\nend_header\n".b
    assert_input_refused(write("none.ply", none + body), /no faces/i)
  end

  def test_a_header_that_promises_more_than_there_is
    header = "ply\nformat binary_little_endian 1.0\nelement vertex 4000000000\nproperty float x\nproperty float y\n" \
             "property float z\nelement face 4000000000\nproperty list uchar int vertex_indices\nend_header\n"
    assert_input_refused(write("huge.ply", header), /\S/)
    assert_input_refused(write("huge.stl", "x".ljust(80) + [4_000_000_000].pack("V") + "\0" * 500), /\S/)
    assert_input_refused(write("huge.off", "OFF\n2000000000 2000000000 0\n0 0 0\n"), /\S/)
  end

  def test_a_name_that_says_nothing_of_the_format
    assert_input_refused(write("model.txt", "hello\n"), /format|extension|read/i)
    assert_input_refused(write("model", "hello\n"), /format|extension|read/i)
  end

  def test_names_with_blanks_quotes_and_other_letters
    input = write("größe & 'wie' \"so\" $HOME.obj", Models.terrain(6))
    report = reduce(input, path("näher dran.obj"), "--ratio", 0.5)
    assert_operator report["faces_after"], :<=, 36
  end

  def test_one_triangle
    input = write("one.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")
    assert_equal 1, reduce(input, path("out.obj"), "--faces", 1)["faces_after"]
    stl = write("one.stl", Models.stl([[0, 0, 0, 1, 0, 0, 0, 1, 0]]))
    assert_equal 1, reduce(stl, path("out.obj"), "--faces", 1)["faces_after"]
    report = reduce(input, path("out.obj"), "--ratio", 0.01, "--lock-boundaries")
    assert_equal [1, false], report.values_at("faces_after", "target_reached")
  end

  def test_non_manifold_fans
    [3, 4, 7, 200].each do |pages|
      input = write("fan.obj", Models.fan(pages))
      original = MeshReport.of(input)
      report = reduce(input, path("out.obj"), "--ratio", 0.5)
      assert_sound MeshReport.of(path("out.obj")), original, pages.to_s
      assert_operator report["faces_after"], :<=, pages
    end
  end
end
