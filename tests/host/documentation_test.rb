# frozen_string_literal: true

require 'host_test'
require 'open3'

# The programs in the documentation run.
class DocumentationTest < HostTest
  ROOT = File.expand_path('../..', __dir__)

  def blocks
    File.read(File.join(ROOT, 'docs/ruby-library.md')).scan(/^```ruby\n(.*?)^```/m).flatten
  end

  def run_program(text, *arguments)
    program = write('program.rb', text)
    Open3.capture3(RbConfig.ruby, '-I', File.join(ROOT, 'standalone/host/lib'), program, *arguments)
  end

  def test_the_whole_program
    input = write('terrain.obj', terrain(10))
    _, err, status = run_program(blocks.first, input, path('out.obj'), '100')
    assert status.success?, err
    assert_match(/\A200 -> (9\d|100) faces\n\z/, err)
    assert_path_exists path('out.obj')
    _, err, status = run_program(blocks.first, input, path('out.obj'), '2')
    assert status.success?, err
    assert_match(/no further: .*boundar/, err)
    _, err, status = run_program(blocks.first, path('none.obj'), path('out.obj'), '2')
    assert_equal [1, "cannot reduce: #{path('none.obj')}: no such file or directory\n"], [status.exitstatus, err]
  end

  def test_meshes_of_your_own
    text = "require 'mirel'\nimporter = Zu::Mirel::Importer.new\n#{blocks[1]}\nputs importer.count_faces\n"
    out, err, status = run_program(text)
    assert status.success?, err
    assert_equal '2', out.lines.last.chomp
  end

  # The table in the documentation, the one in the code and the code itself agree.
  def test_defaults
    importer = Zu::Mirel::Importer.new
    rows = File.read(File.join(ROOT, 'docs/ruby-library.md')).scan(/^\| `(\w+)` \| `?([^|`]+?)`? \|/)
    assert_equal 14, rows.size
    rows.each { |name, default| assert_equal default, importer.public_send(name).inspect, name }
  end
end
