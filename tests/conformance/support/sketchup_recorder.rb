# frozen_string_literal: true

require "fiddle"

# Makes the recording SketchUp C API global, as a host does before it loads the extension, and scripts it. Its calls
# go into the log of the recording mesh SDK.
module SketchupRecorder
  FOLDER = File.join(ENV.fetch("MIREL_BUILD"), "tests", "conformance", "recording")
  SUFFIX = RUBY_PLATFORM.include?("darwin") ? "dylib" : "so"

  def self.load(name) = Fiddle::Handle.new(File.join(FOLDER, "#{name}.#{SUFFIX}"), Fiddle::RTLD_LAZY | Fiddle::RTLD_GLOBAL)

  LIBRARY = load("libsketchup")

  def self.function(name, arguments, result = Fiddle::TYPE_VOID)
    Fiddle::Function.new(LIBRARY["sketchup_recorder_#{name}"], arguments, result)
  end
  private_class_method :function

  RESET = function("reset", [])
  FAIL_CALL = function("fail_call", [Fiddle::TYPE_LONG_LONG])
  FAIL_FUNCTION = function("fail_function", [Fiddle::TYPE_VOIDP])
  CALLS = function("calls", [], Fiddle::TYPE_LONG_LONG)
  ADD_EDGE = function("add_edge", [-Fiddle::TYPE_INT, Fiddle::TYPE_VOIDP])
  ADD_MATERIAL = function("add_material", [Fiddle::TYPE_VOIDP])
  STRINGS = function("strings", [], Fiddle::TYPE_LONG_LONG)

  class << self
    def reset = RESET.call
    def fail_call(place) = FAIL_CALL.call(place)
    def fail_function(name) = FAIL_FUNCTION.call(name)
    def calls = CALLS.call
    def add_edge(faces, normals = [[0, 0, 1]] * 2) = ADD_EDGE.call(faces, normals.flatten.pack("d*"))
    def add_material(name) = ADD_MATERIAL.call(name)
    def strings = STRINGS.call
  end
end
