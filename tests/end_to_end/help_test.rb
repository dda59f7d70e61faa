# frozen_string_literal: true

require "program_test"

class HelpTest < ProgramTest
  parallelize_me!

  def test_help_lists_the_commands
    result = mirel("--help")
    assert_equal 0, result.status
    assert_empty result.err
    %w[reduce info compare view snapshot --help --version].each { |word| assert_includes result.out, word }
  end

  def test_reduce_help_gives_defaults_ranges_units_and_examples
    help = mirel("reduce", "--help")
    assert_equal 0, help.status
    %w[--faces --ratio --tolerance --lock-boundaries --quiet --json -o].each { |word| assert_includes help.out, word }
    assert_match(/default/i, help.out)
    assert_match(/model units/, help.out)
    assert_match(/degrees/, help.out)
    assert_match(/example/i, help.out)
  end

  def test_info_help
    help = mirel("info", "--help")
    assert_equal 0, help.status
    assert_match(/example/i, help.out)
  end

  def test_view_help
    help = mirel("view", "--help")
    assert_equal 0, help.status
    %w[--port --no-open --faces].each { |word| assert_includes help.out, word }
    assert_match(/default: any free port/, help.out)
    assert_match(/example/i, help.out)
  end

  def test_snapshot_help
    help = mirel("snapshot", "--help")
    assert_equal 0, help.status
    %w[--output --faces --wireframe --compare --heatmap --size].each { |word| assert_includes help.out, word }
    assert_match(/default: 1200x800/, help.out)
    assert_match(/example/i, help.out)
  end

  def test_version_is_the_one_that_the_build_has
    version = File.read(File.join(Program::ROOT, "CMakeLists.txt"))[/project\(mirel VERSION ([\d.]+)/, 1]
    result = mirel("--version")
    assert_equal 0, result.status
    assert_includes result.out, version
  end

  # Each of these is answered in a line or two, on standard error, before any work.
  def test_misuse_is_answered_on_standard_error
    [[], %w[nonsense], %w[reduce], %w[reduce a.obj], %w[reduce a.obj -o b.obj --faces none],
     %w[reduce a.obj -o b.obj --faces -3], %w[reduce a.obj -o b.obj --ratio 7], %w[reduce a.obj -o b.obj --no-such],
     %w[reduce a.obj -o b.obj --faces 3 --ratio 0.5], %w[info], %w[info a.obj b.obj]].each do |words|
      result = mirel(*words)
      refute_nil result.status, words.inspect
      refute_equal 0, result.status, words.inspect
      refute_empty result.err, words.inspect
      refute_match(/\.rb:\d+/, result.err, words.inspect)
    end
  end
end
