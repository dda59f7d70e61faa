# frozen_string_literal: true

require "program_test"

# What happens to the output: it is written whole or not touched, and nothing else is left beside it.
class OutputTest < ProgramTest
  parallelize_me!

  def setup
    super
    @input = write("terrain.obj", Models.terrain(40))
    FileUtils.mkdir(path("out"))
  end

  def test_the_output_folder_holds_the_output_and_nothing_else
    reduce(@input, path("out/result.obj"), "--ratio", 0.5)
    assert_equal ["result.obj"], Dir.children(path("out"))
  end

  def test_an_existing_output_is_replaced_whole
    File.write(path("out/result.obj"), "x" * 10_000_000)
    report = reduce(@input, path("out/result.obj"), "--faces", 10)
    assert_operator File.size(path("out/result.obj")), :<, 10_000
    assert_equal report["faces_after"], MeshReport.of(path("out/result.obj"))["faces"]
  end

  # Steps of 1/16 at 123456 have eight digits in the file read, and six in the file written.
  def test_positions_that_the_digits_merge_are_counted
    corners = (0..8).flat_map { |y| (0..8).map { |x| [123_456 + (x / 16.0), y, x * y] } }
    quads = (0..7).flat_map { |y| (0..7).map { |x| (y * 9) + x + 1 } }
    faces = quads.flat_map { |v| [[v, v + 1, v + 10], [v, v + 10, v + 9]] }
    lines = corners.map { |corner| "v #{corner.join(' ')}" } + faces.map { |face| "f #{face.join(' ')}" }
    input = write("far.obj", "#{lines.join("\n")}\n")
    result = mirel("reduce", input, "-o", path("out/far.obj"), "--ratio", 1, "--json")
    assert_equal 0, result.status, result.err
    # Where y is 0, z is 0 as well, and all nine x have the text 123456.
    lines = File.readlines(path("out/far.obj")).grep(/\Av /)
    merged = lines.size - lines.uniq.size
    assert_equal 81, lines.size
    assert_equal 8, merged
    assert_equal merged, result.json["positions_merged"]
    assert_equal 1, result.err_lines.size
    assert_match(/far\.obj: #{merged} distinct positions are equal to others/, result.err_lines.first)
  end

  def test_positions_that_stay_distinct_are_not_remarked_upon
    result = mirel("reduce", @input, "-o", path("out/result.obj"), "--ratio", 0.5, "--json")
    assert_equal [0, []], result.json.values_at("positions_merged", "remarks")
    assert_empty result.err
  end

  def test_the_output_may_be_the_input
    report = reduce(@input, @input, "--ratio", 0.25)
    assert_equal report["faces_after"], MeshReport.of(@input)["faces"]
  end

  def test_an_output_in_the_working_folder
    words = ["reduce", @input, "-o", "result.obj", "--ratio", "0.5", "--quiet"]
    out, status = Open3.capture2e(*Program::MAIN, *words, chdir: path("out"))
    assert status.success?, out
    assert_equal ["result.obj"], Dir.children(path("out"))
  end

  def test_a_folder_that_does_not_exist
    assert_output_refused(path("nowhere/result.obj"), /directory|folder|exist/i)
  end

  def test_a_folder_in_place_of_the_output
    FileUtils.mkdir(path("out/result.obj"))
    assert_output_refused(path("out/result.obj"), /directory|folder/i)
  end

  def test_a_file_in_place_of_the_folder
    File.write(path("file"), "")
    assert_output_refused(path("file/result.obj"), /directory|folder/i)
  end

  def test_a_folder_that_may_not_be_written
    skip "no other user to be" unless Program.other_user?
    FileUtils.chmod(0o755, @folder)
    FileUtils.chmod(0o755, path("out"))
    File.write(path("out/result.obj"), "# as it was\n")
    assert_output_refused(path("out/result.obj"), /permission|writ/i, user: "nobody")
    assert_equal "# as it was\n", File.read(path("out/result.obj"))
  end

  def test_a_format_that_is_not_written
    %w[result.xyz result result.skp].each { |name| assert_output_refused(path("out/#{name}"), /format|extension|obj/i) }
  end

  def test_a_full_disk
    with_small_disk do |disk|
      output = File.join(disk, "result.obj")
      File.write(output, "# as it was\n")
      before = Dir.children(disk)
      assert_refused(mirel("reduce", @input, "-o", output, "--ratio", 0.9), output, /space|full|writ/i)
      assert_equal "# as it was\n", File.read(output)
      assert_equal before, Dir.children(disk)
    end
  end

  def test_an_interrupt_leaves_nothing
    input = write("large.obj", Models.terrain(350))
    File.write(path("out/result.obj"), "# as it was\n")
    [0.3, 0.8, 1.5].each do |delay|
      pid = Process.spawn(*Program::MAIN, "reduce", input, "-o", path("out/result.obj"), "--ratio", "0.9",
                          %i[out err] => File::NULL, pgroup: true)
      sleep delay
      Process.kill(:INT, pid)
      _, status = Process.wait2(pid)
      break if status.success? # It was faster than we.

      assert_equal "# as it was\n", File.read(path("out/result.obj"))
      assert_equal ["result.obj"], Dir.children(path("out"))
    end
  end

  private

  def assert_output_refused(output, reason, **run)
    before = tree
    assert_refused(mirel("reduce", @input, "-o", output, "--ratio", 0.5, **run), output, reason)
    assert_equal before, tree
  end

  def tree = Dir.glob("**/*", File::FNM_DOTMATCH, base: @folder).sort

  # 64 KiB, of which the rest is taken by a file.
  def with_small_disk
    disk = path("disk")
    FileUtils.mkdir(disk)
    mounted = system("mount", "-t", "tmpfs", "-o", "size=64k", "mirel-test", disk, out: File::NULL, err: File::NULL)
    skip "may not mount a small disk" unless mounted
    yield disk
  ensure
    system("umount", disk) if mounted
  end
end
