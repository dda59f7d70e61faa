# frozen_string_literal: true

require 'host_test'

class PlyHeaderTest < HostTest
  Header = Zu::Mirel::PlyHeader

  def file(form, body, faces: 1, end_of_line: "\n")
    lines = ['ply', "format #{form} 1.0", 'comment made up', 'element vertex 3', 'property float x', 'property float y',
             'property float z', "element face #{faces}", 'property list uchar int vertex_indices', 'end_header']
    write('test.ply', (lines.map { |line| line + end_of_line }.join.b + body.b))
  end

  def complete?(path)
    Header.read(path).check_body(path)
    true
  rescue Zu::Mirel::ImportError
    false
  end

  def test_header
    header = Header.read(file('binary_big_endian', '', faces: 7, end_of_line: "\r\n"))
    assert_equal [:big, 7, %w[vertex face]], [header.form, header.faces, header.elements.map(&:name)]
    assert_equal [[4, 4, 4], [[1, 4]]], header.elements.map(&:properties)
    assert_equal File.size(path('test.ply')), header.body_offset
  end

  def test_what_is_no_header
    ['', 'plyers', "ply\nformat ascii 1.0\n", "\0ply\nend_header\n", "ply\nelement face 1\nproperty short_float x\nend_header\n"].each do |text|
      assert_raises(Zu::Mirel::ImportError, text) { Header.read(write('bad.ply', text)) }
    end
  end

  def test_binary_bodies
    { 'binary_little_endian' => 'e9Cl<3', 'binary_big_endian' => 'g9Cl>3' }.each do |form, layout|
      body = [*Array.new(9, 0.5), 3, 0, 1, 2].pack(layout)
      assert complete?(file(form, body))
      assert complete?(file(form, "#{body}more"))
      [0, 10, 36, 37, body.size - 1].each { |size| refute complete?(file(form, body[0, size])), "#{form} #{size}" }
      refute complete?(file(form, body, faces: 2))
      refute complete?(file(form, body, faces: 4_000_000_000))
    end
  end

  def test_text_bodies
    body = "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n"
    assert complete?(file('ascii', body))
    assert complete?(file('ascii', body.chomp))
    ["0 0 0\n", body[0..-3], "0 0 0\n1 0 0\n0 1 0\n"].each { |cut| refute complete?(file('ascii', cut)), cut }
  end
end
