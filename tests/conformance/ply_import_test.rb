# frozen_string_literal: true

require "conformance"

# import_ply: what is read, what is refused, progress and hand-off.
class PlyImportTest < Conformance::Test
  POSITIONS = [[0, 0, 0], [1, 0, 0], [1, 1, 0.5], [0, 1, -2]].freeze
  TRIANGLES = [[0, 1, 2], [2, 3, 0]].freeze
  FLOATS = "property float x\nproperty float y\nproperty float z\n"
  PACK = { "float" => "e", "double" => "E", "int" => "l<", "uint" => "L<", "short" => "s<", "uchar" => "C" }.freeze

  def setup
    super
    empty_state
  end

  def header(format, vertex: FLOATS, vertices: POSITIONS.size, faces: TRIANGLES.size,
             face: "property list uchar int vertex_indices\n")
    face_element = faces && "element face #{faces}\n#{face}"
    "ply\nformat #{format} 1.0\nelement vertex #{vertices}\n#{vertex}#{face_element}end_header\n"
  end

  def ascii(positions: POSITIONS, triangles: TRIANGLES, **options)
    options = { vertices: positions.size, faces: triangles&.size }.merge(options)
    body = positions.map { |position| position.join(" ") }
    body += triangles.map { |triangle| [triangle.size, *triangle].join(" ") } if triangles
    header("ascii", **options) + body.map { |line| "#{line}\n" }.join
  end

  def binary(big_endian: false, real: "float", index: "int", triangles: TRIANGLES)
    pack = PACK.transform_values { |code| big_endian ? code.tr("<", ">").sub("e", "g").sub("E", "G") : code }
    vertex = %w[x y z].map { |name| "property #{real} #{name}\n" }.join
    face = "property list uchar #{index} vertex_indices\n"
    header(big_endian ? "binary_big_endian" : "binary_little_endian", vertex:, face:, faces: triangles.size).b +
      POSITIONS.map { |position| position.pack("#{pack.fetch(real)}*") }.join +
      triangles.map { |triangle| [triangle.size].pack("C") + triangle.pack("#{pack.fetch(index)}*") }.join
  end

  def import(content) = with_file(content, "model.ply") { |path| importer.import_ply(path) }

  def sdk_additions(lines = log) = lines.grep(/addVertex|addFace/)

  ADDITIONS = <<~LOG
    depot1.mesh0.addVertex 0 0 0
    depot1.mesh0.addVertex 1 0 0
    depot1.mesh0.addVertex 1 1 0.5
    depot1.mesh0.addVertex 0 1 -2
    depot1.mesh0.addFace 0 1 2
    depot1.mesh0.addFace 2 3 0
  LOG

  def assert_unreadable(content)
    empty_state
    assert_equal false, import(content)
    lines = log
    assert_equal 'Kernel.puts "Error reading PLY file"', lines.last
    assert_empty sdk_additions(lines)
  end

  def test_call_by_call
    assert_equal true, import(ascii)
    lines = log
    texts = lines.each_index.select { |index| lines[index - 1] =~ /Failed to get (Normal|UV)/ }
    texts.each { |index| assert_match(/\AKernel\.puts "\S.*"\z/, lines[index]) }
    assert_equal 2, texts.size
    assert_log <<~LOG, lines.reject.with_index { |_, index| texts.include?(index) }
      IBalancerSDK.initialize
      IMeshDepot.create
      depot1.createMesh
      depot1.getMesh 0
      Kernel.puts "Failed to get Normal properties"
      Kernel.puts "Failed to get UV properties"
      Kernel.puts "Reading File..."
      bar.update_message "Reading File..."
      importer.task_name= "Mireling Vertices:"
      bar.task_max_count= 4
      depot1.mesh0.addVertex 0 0 0
      importer.update
      depot1.mesh0.addVertex 1 0 0
      importer.update
      depot1.mesh0.addVertex 1 1 0.5
      importer.update
      depot1.mesh0.addVertex 0 1 -2
      importer.update
      importer.task_name= "Mireling Faces:"
      bar.task_max_count= 2
      depot1.mesh0.addFace 0 1 2
      importer.update
      depot1.mesh0.addFace 2 3 0
      importer.update
      Kernel.puts "Building Scene Graph..."
      bar.update_message "Building Scene Graph..."
      importer.get_root_definition
      importer.get_mesh_name nil 0
      depot1.getMesh 0
      depot1.mesh0.getNumFaceSets
      depot1.mesh0.getDefaultMaterial
      depot1.mesh0.defaultMaterial.getName
      depot1.mesh0.defaultMaterial.isDefault
      depot1.mesh0.defaultMaterial.getColor
      depot1.mesh0.defaultMaterial.getTexturePath
      importer.add_material "material" nil nil
      importer.add_instance "mesh 0" :identity 0 ["handle of material"] :root
    LOG
  end

  def test_normals_and_uvs_are_read_and_not_used
    vertex = FLOATS + %w[nx ny nz u v].map { |name| "property float #{name}\n" }.join
    positions = POSITIONS.map { |position| position + [0, 0, 1, 0.5, 0.5] }
    assert_equal true, import(ascii(positions:, vertex:))
    lines = log
    assert_empty lines.grep(/Failed/)
    assert_log ADDITIONS, sdk_additions(lines)
  end

  def test_every_encoding_that_holds_the_right_types
    contents = { "little int" => binary, "little uint" => binary(index: "uint"), "big" => binary(big_endian: true),
                 "ascii" => ascii }
    contents.each do |name, content|
      empty_state
      assert_equal true, import(content), name
      assert_log ADDITIONS, sdk_additions
    end
  end

  def test_other_elements_and_properties_are_passed_over
    content = <<~PLY
      ply
      format ascii 1.0
      comment made by hand
      element edge 1
      property int vertex1
      element vertex 4
      property uchar red
      property float x
      property float y
      property float z
      element face 2
      property uchar flags
      property list uchar int vertex_indices
      end_header
      7
      255 0 0 0
      255 1 0 0
      255 1 1 0.5
      255 0 1 -2
      1 3 0 1 2
      2 3 2 3 0
    PLY
    assert_equal true, import(content)
    assert_log ADDITIONS, sdk_additions
  end

  def test_a_point_cloud_has_no_faces
    error = assert_raises(Zu::Mirel::NoFacesError) { import(ascii(triangles: nil)) }
    assert_equal "No faces found in PLY file", error.message
    assert_instance_of Zu::Mirel::NoFacesError, error
    lines = log
    assert_equal 'Kernel.puts "Failed to get faces properties"', lines.last
    assert_empty sdk_additions(lines)
  end

  def test_faces_under_another_name_count_as_none
    assert_raises(Zu::Mirel::NoFacesError) { import(ascii(face: "property list uchar int vertex_index\n")) }
  end

  def test_a_missing_error_class_raises_name_error
    original = Zu::Mirel.send(:remove_const, :NoFacesError)
    assert_equal :NoFacesError, assert_raises(NameError) { import(ascii(triangles: nil)) }.name
  ensure
    Zu::Mirel.const_set(:NoFacesError, original)
  end

  def test_no_positions
    vertex = "property float a\nproperty float b\nproperty float c\n"
    assert_equal false, import(ascii(vertex:))
    lines = log
    first = lines.index('Kernel.puts "Failed to get vertex properties"')
    assert_match(/\AKernel\.puts "\S/, lines[first + 1])
    assert_equal 'Kernel.puts "Failed to get Normal properties"', lines[first + 2]
    assert_equal ['Kernel.puts "Reading File..."', 'bar.update_message "Reading File..."',
                  'Kernel.puts "Error reading PLY file"'], lines.last(3)
    assert_empty sdk_additions(lines)
  end

  def test_types_that_are_not_copied
    assert_unreadable binary(real: "double")
    assert_unreadable binary(real: "int")
    assert_unreadable binary(index: "short")
    assert_unreadable binary(index: "uchar")
    assert_unreadable binary(index: "float")
  end

  def test_polygons_that_are_no_triangles
    assert_unreadable ascii(triangles: [[0, 1, 2, 3]])
    assert_unreadable binary(triangles: [[0, 1, 2, 3], [0, 1, 2]])
    assert_unreadable ascii(triangles: [[0, 1]])
    assert_unreadable ascii(triangles: [[]])
  end

  def test_indices_beyond_the_vertices
    assert_unreadable ascii(triangles: [[0, 1, 4]])
    assert_unreadable ascii(triangles: [[0, 1, -1]])
    assert_unreadable binary(triangles: [[0, 1, 2], [0, 1, 2_147_483_647]])
    assert_unreadable ascii(positions: [], triangles: [[0, 0, 0]])
  end

  def test_no_elements_at_all
    assert_equal true, import(ascii(positions: [], triangles: []))
    lines = log
    assert_empty sdk_additions(lines)
    assert_equal ["bar.task_max_count= 0", "bar.task_max_count= 0"], lines.grep(/max_count/)
  end

  def test_a_body_cut_short_anywhere
    [binary, binary(big_endian: true)].each do |content|
      start = content.index("end_header\n") + 11
      (start...content.bytesize).each { |size| assert_unreadable content.byteslice(0, size) }
    end
    text = ascii
    assert_unreadable text[0...-4]
    assert_unreadable text[0, text.index("end_header") + 11]
  end

  def test_counts_that_no_file_can_hold
    assert_unreadable header("binary_little_endian", vertices: 4_000_000_000) + "rubbish"
    assert_unreadable header("ascii", vertices: 2**62, faces: 2**62) + "1 2 3\n"
  end

  # A header that ends early has either no faces to request or nothing to parse: an error of the import, no crash.
  def test_headers_cut_short_and_rubbish
    text = binary
    start = text.index("end_header\n")
    contents = (0..start).map { |size| text.byteslice(0, size) }
    contents += ["\0" * 100, "\xFF" * 1000, "ply", "ply\n", "ply\nend_header\n", Random.new(1).bytes(4096)]
    contents.each do |content|
      empty_state
      begin
        assert_equal false, import(content)
        assert_equal 'Kernel.puts "Error reading PLY file"', log.last
      rescue Zu::Mirel::NoFacesError
        assert_equal 'Kernel.puts "Failed to get faces properties"', log.last
      end
    end
  end

  def test_a_file_that_cannot_be_opened_is_no_message
    assert_equal false, importer.import_ply("no/such/file.ply")
    assert_log <<~LOG
      IBalancerSDK.initialize
      IMeshDepot.create
      depot1.createMesh
      depot1.getMesh 0
    LOG
  end

  def test_a_directory
    Dir.mktmpdir do |folder|
      assert_equal false, importer.import_ply(folder)
    rescue Zu::Mirel::NoFacesError
      assert_includes log, 'Kernel.puts "Failed to get faces properties"'
    end
  end

  def test_no_depot
    Recorder.answer("initialize", 0)
    assert_equal false, import(ascii)
    assert_log NO_DEPOT_LOG
  end

  def test_mesh_0_is_announced_whatever_the_new_mesh_is
    make_depot
    importer.get_balancer_mesh({})
    clear_log
    Recorder.answer("initialize", 0)
    assert_equal true, import(ascii)
    lines = log
    assert_equal 6, lines.grep(/depot1\.mesh1\.add/).size
    assert_equal "depot1.getMesh 0", lines.grep(/getMesh/).last
    assert_includes lines, 'importer.add_instance "mesh 0" :identity 0 ["handle of material"] :root'
  end

  def test_a_depot_that_makes_no_mesh
    Recorder.answer("createMesh", 0xFFFFFFFF)
    assert_equal false, import(ascii)
    assert_equal 'Kernel.puts "Error: Mesh has not been created."', log.last
  end

  def test_an_exception_of_the_sdk_is_a_reading_error
    %w[createMesh addVertex addFace].each do |operation|
      empty_state
      Recorder.throw_error(operation, "broken")
      assert_equal false, import(ascii)
      assert_equal 'Kernel.puts "Error reading PLY file"', log.last
    end
    empty_state
    Recorder.throw_out_of_memory("addFace")
    assert_equal false, import(ascii)
  end

  def test_paths_that_are_no_texts_raise_first
    [nil, 7].each { |path| assert_raises(TypeError) { importer.import_ply(path) } }
    assert_raises(ArgumentError) { importer.import_ply("a\0b") }
    assert_log ""
  end

  def test_an_exception_in_the_middle_leaves_the_mesh
    count = 0
    Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.update" && (count += 1) == 3 }
    assert_raises(IOError) { import(ascii) }
    assert_equal 3, sdk_additions.size
    Events.hook = nil
    assert_equal 0, importer.count_faces
    assert_log "depot1.getNumMeshes\ndepot1.getMesh 0\ndepot1.mesh0.getNumFaces"
  end

  def test_no_open_file_stays_behind_a_jump
    skip "no /proc" unless File.directory?("/proc/self/fd")
    Events.hook = ->(_, name) { raise IOError, "stop" if name == "importer.update" }
    assert_raises(IOError) { import(ascii) }
    GC.start
    before = Dir.children("/proc/self/fd").size
    20.times { assert_raises(IOError) { import(ascii) } }
    GC.start
    assert_equal before, Dir.children("/proc/self/fd").size
  end
end
