# frozen_string_literal: true

require 'fileutils'
require 'minitest'
require 'stringio'
require 'tmpdir'

# A test with a folder of its own, in which the native half's printing is kept off the test's output.
class HostTest < Minitest::Test
  def setup
    @folder = Dir.mktmpdir('mirel-host-test')
    @stdout = $stdout
    $stdout = @console = StringIO.new
  end

  def teardown
    $stdout = @stdout
    FileUtils.remove_entry(@folder)
  end

  def path(name)
    File.join(@folder, name)
  end

  def write(name, content)
    path(name).tap { |file| File.binwrite(file, content) }
  end

  def assimp_model(name)
    file = File.join('/usr/share/assimp/models', name)
    skip "#{name} is not here" unless File.exist?(file)
    file
  end

  def shared_model(name)
    file = File.join(ENV.fetch('MIREL_SHARED'), 'models', name)
    skip "#{name} is not here" unless File.exist?(file)
    file
  end

  # A wavy square of 2 n² triangles.
  def terrain(n)
    points = (0..n).to_a.product((0..n).to_a).map { |i, j| "v #{i} #{j} #{(Math.sin(i) + Math.cos(j)).round(4)}\n" }
    faces = n.times.to_a.product(n.times.to_a).map do |i, j|
      a = i * (n + 1) + j + 1
      b = a + n + 1
      "f #{a} #{b} #{b + 1}\nf #{a} #{b + 1} #{a + 1}\n"
    end
    (points + faces).join
  end

  def binary_stl(triangles)
    body = triangles.map { |corners| [0, 0, 0, *corners.flatten].pack('e12') + "\0\0".b }
    (+'test').b.ljust(80, ' ') + [triangles.size].pack('V') + body.join
  end

  def assert_triple(expected, actual, delta = 1e-12)
    assert_equal 3, actual.to_a.size
    expected.zip(actual.to_a).each { |a, b| assert_in_delta a, b, delta, "#{expected.inspect} and #{actual.inspect}" }
  end
end
