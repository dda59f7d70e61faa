# frozen_string_literal: true

require "program_test"

# What the README shows works, and its figures are true.
class ReadmeTest < ProgramTest
  parallelize_me!

  README = File.read(File.join(Program::ROOT, "README.md"))

  def setup
    super
    File.symlink(File.join(Program::ROOT, "examples"), path("examples"))
  end

  def test_the_command
    words = README[/^    \.\/mirel (reduce .*)$/, 1].split
    output, status = Open3.capture2e(*Program::MAIN, *words, chdir: @folder)
    assert status.success?, output
    assert_close_to_5000(output)
    report = MeshReport.of(path("lighthouse-5000.obj"), "--against", Models::SAMPLE)
    assert_includes 4990..5000, report["faces"]
    claimed = Float(README[/nowhere more than ([\d.]+) m/, 1])
    assert_operator report["max_distance_lower_bound"], :<=, claimed
    assert_operator report["max_distance_lower_bound"], :>, claimed / 2
  end

  def test_the_ruby_program
    program = README[/^```ruby\n(.*?)^```/m, 1]
    assert_includes program, "# 82652 -> 5000 faces"
    write("program.rb", program.sub('"standalone', "\"#{Program::ROOT}/standalone").sub("require_relative", "require"))
    output, status = Open3.capture2e("ruby", "program.rb", chdir: @folder)
    assert status.success?, output
    assert_close_to_5000(output)
    assert_includes 4990..5000, MeshReport.of(path("lighthouse-5000.obj"))["faces"]
  end

  # The same program, with a file that is not there: one line, and a failure.
  def test_the_error_path_of_the_ruby_program
    program = README[/^```ruby\n(.*?)^```/m, 1].gsub("lighthouse.obj", "nowhere.obj")
    write("program.rb", program.sub('"standalone', "\"#{Program::ROOT}/standalone").sub("require_relative", "require"))
    output, status = Open3.capture2e("ruby", "program.rb", chdir: @folder)
    assert_equal 1, status.exitstatus
    assert_equal 1, output.lines.size, output
    assert_includes output, "nowhere.obj"
  end

  private

  # The last collapse may take two faces away.
  def assert_close_to_5000(output)
    assert_match(/82652 -> \d+ faces/, output)
    assert_includes 4990..5000, output[/-> (\d+) faces/, 1].to_i
  end
end
