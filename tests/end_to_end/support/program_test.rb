# frozen_string_literal: true

require "fileutils"
require "minitest"
require "tmpdir"
require "mesh_report"
require "models"
require "program"

# A test with a folder of its own and the checks that many tests share.
class ProgramTest < Minitest::Test
  def setup
    @folder = Dir.mktmpdir("mirel-test")
  end

  def teardown
    FileUtils.chmod_R("u+rwX", @folder)
    FileUtils.remove_entry(@folder)
  end

  def path(name) = File.join(@folder, name)

  def write(name, content)
    path(name).tap { |file| File.binwrite(file, content) }
  end

  def mirel(*words, **options) = Program.run(*words, **options)

  def need(file)
    skip "#{File.basename(file)} is not here" unless File.exist?(file)
    file
  end

  # Reduces, and gives the program's own report.
  def reduce(input, output, *options)
    result = mirel("reduce", input, "-o", output, "--json", *options)
    assert_equal 0, result.status, "#{File.basename(input)} #{options.join(' ')}: #{result.err}"
    assert_path_exists output
    result.json
  end

  # One clear line that names the file and the reason; nothing on standard output, nothing left behind.
  def assert_refused(result, file, reason, message = nil)
    note = "#{message || File.basename(file)}: #{result.inspect}"
    assert_nil result.signal, note
    assert_equal 1, result.status, note
    # On a slow machine the time of a phase comes before.
    assert_equal 1, result.err_lines.grep_v(/: \d+\.\d s\z/).size, note
    assert_includes result.err, File.basename(file), note
    assert_match reason, result.err, note
    refute_match(/\.rb:\d+/, result.err, note)
    assert_empty result.out, note
  end

  # Runs `reduce` on a bad input with an output that exists, and checks that neither is touched.
  # info: whether `mirel info` refuses it too; it tells of files that have faces, but none that can be reduced.
  def assert_input_refused(input, reason, info: true, **run)
    FileUtils.mkdir_p(path("out"))
    output = write("out/kept.obj", "# as it was\n")
    assert_refused(mirel("reduce", input, "-o", output, "--ratio", "0.5", **run), input, reason)
    assert_equal "# as it was\n", File.read(output)
    assert_equal ["kept.obj"], Dir.children(path("out"))
    assert_refused(mirel("info", input, **run), input, reason, "info #{File.basename(input)}") if info
  end

  # What every result must be, whatever the input: sound, and no worse than the original.
  def assert_sound(report, original = nil, message = nil)
    assert_equal 0, report["non_finite_values"], message
    assert_equal 0, report["degenerate_faces"], message
    assert_equal 0, report["duplicate_faces"], message
    return unless original

    assert_operator report["non_manifold_edges"], :<=, original["non_manifold_edges"], message
  end
end
