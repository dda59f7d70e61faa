# frozen_string_literal: true

require "conformance"
require_relative "../../support/fbx_file"

# What the tests of the FBX import build on: files written for one case each, read by the real library.
class FbxTest < Conformance::Test
  POINTS = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]].freeze
  UNMOVED = "T(1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1)"

  def setup
    super
    empty_state
    # Ruby's own output of a file in trouble is the point of these tests, so nothing is hidden.
    # A test may begin anew.
    @folder ||= Dir.mktmpdir
  end

  def teardown
    FileUtils.remove_entry(@folder)
  end

  def write(content, name = "scene.fbx")
    File.join(@folder, name).tap { |path| File.binwrite(path, content.respond_to?(:text) ? content.text : content) }
  end

  # Imports a file given by its writer or its bytes, and returns what came of it.
  def import(content) = importer.import_fbx(write(content))

  # The log from the call that begins the scene.
  def import_scene(file)
    assert_equal true, import(file)
    lines = log
    lines.drop(lines.index('Kernel.puts "Building Scene Graph..."') + 1)
  end

  def triangle(file, name = "triangle", **elements)
    file.mesh(name, points: POINTS.first(3), polygons: [[0, 1, 2]], **elements)
  end

  # Two triangles.
  def square(file, name = "square", **elements)
    file.mesh(name, points: POINTS, polygons: [[0, 1, 2], [2, 1, 3]], **elements)
  end
end
