# frozen_string_literal: true

require 'host_test'

class ObjOutputTest < HostTest
  Output = Zu::Mirel::ObjOutput
  Failure = Zu::Mirel::ExportError

  # An importer whose export writes what the test wants.
  Fake = Struct.new(:text, :faces, :announced, :result) do
    def placements
      [:one]
    end

    def count_faces
      faces
    end

    def export_obj(file)
      File.write(file, text)
      # Past Ruby's own $stdout, as native code prints.
      STDOUT.syswrite(announced)
      result
    end
  end

  TRIANGLE = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n"
  ANNOUNCED = "Writing to 'x':\n  writing 3 vertices... done\n  writing 1 faces... done\n"

  def write_fake(text: TRIANGLE, faces: 1, announced: ANNOUNCED, result: 0)
    Output.new(Fake.new(text, faces, announced, result)).write(path('out.obj'))
  end

  def test_what_was_written_is_counted
    result = write_fake
    assert_equal [3, 0, 0, 1, TRIANGLE.size], result.to_a.first(5)
    assert_equal [[0.0, 0.0, 0.0], [1.0, 1.0, 0.0]], [result.bounds.min.to_a, result.bounds.max.to_a]
    assert_equal TRIANGLE, File.read(path('out.obj'))
    assert_equal ['out.obj'], Dir.children(@folder)
  end

  def test_what_comes_out_wrong_is_thrown_away
    File.write(path('out.obj'), 'as it was')
    { TRIANGLE.chomp => 'no newline', TRIANGLE.lines[0..2].join => 'no face', TRIANGLE.sub('v 1 0 0', 'v nan 0 0') => 'nan',
      TRIANGLE.sub('v 1 0 0', 'v inf 0 0') => 'inf', "#{TRIANGLE}f 1 2 3\n" => 'a face more', '' => 'nothing',
      TRIANGLE.lines[1..].join => 'a vertex less' }.each do |text, what|
      error = assert_raises(Failure, what) { write_fake(text: text) }
      assert_match(/out\.obj: cannot be written: \S/, error.message)
      assert_equal 'as it was', File.read(path('out.obj'))
      assert_equal ['out.obj'], Dir.children(@folder)
    end
    assert_raises(Failure) { write_fake(result: false) }
    assert_raises(Failure) { write_fake(announced: ANNOUNCED.sub('3', '4')) }
    assert_equal 'as it was', File.read(path('out.obj'))
  end

  def test_an_interrupt_leaves_nothing
    importer = Fake.new
    importer.define_singleton_method(:export_obj) { |file| File.write(file, 'half') && raise(Interrupt) }
    assert_raises(Interrupt) { Output.new(importer).write(path('out.obj')) }
    assert_empty Dir.children(@folder)
    STDOUT.flush
  end

  def test_rights_and_links_stay
    File.write(path('real.obj'), 'as it was')
    File.chmod(0o640, path('real.obj'))
    File.symlink('real.obj', path('out.obj'))
    write_fake
    assert File.symlink?(path('out.obj'))
    assert_equal [TRIANGLE, 0o640], [File.read(path('real.obj')), File.stat(path('real.obj')).mode & 0o777]
  end

  def test_targets_that_cannot_be
    FileUtils.mkdir(path('folder.obj'))
    File.write(path('file'), '')
    File.mkfifo(path('pipe.obj'))
    { 'nowhere/out.obj' => /folder does not exist/, 'folder.obj' => /directory/, 'file/out.obj' => /not a folder/,
      'pipe.obj' => /not a regular file/,
      "#{'x' * 300}.obj" => /name too long/ }.each do |name, reason|
      error = assert_raises(Failure, name) { Output.check_target(path(name)) }
      assert_match reason, error.message
      assert_includes error.message, path(name)
    end
    assert_equal path('new.obj'), Output.check_target(path('new.obj'))
  end
end
