# frozen_string_literal: true

require "minitest/autorun"
require "fileutils"
require "open3"
require "rbconfig"
require "tmpdir"
require_relative "recorder"
require_relative "stand_ins"

# What every conformance test builds on: the extension in this process (a file names which one by setting
# MIREL_EXTENSION before it requires this one), a recording SDK behind it, and a fresh state before each test.
module Conformance
  BUILD = ENV.fetch("MIREL_BUILD")
  SUPPORT = __dir__
  LIBRARY_SUFFIX = RUBY_PLATFORM.include?("darwin") ? "bundle" : "so"
  EXTENSIONS = {
    mirel: File.join(BUILD, "lib", "mirel.#{LIBRARY_SUFFIX}"),
    mirel_test: File.join(BUILD, "tests", "conformance", "mirel_test.#{LIBRARY_SUFFIX}")
  }.freeze

  # Output, error output and status of a Ruby process of its own.
  def self.run_ruby(script, environment = {})
    Open3.capture3({ "MIREL_BUILD" => BUILD }.merge(environment), RbConfig.ruby, "-I", SUPPORT, "-e", script)
  end

  class Test < Minitest::Test
    attr_reader :importer

    # An import while the SDK does not come up.
    NO_DEPOT_LOG = <<~'LOG'
      IBalancerSDK.initialize
      Kernel.puts "Error: BalancerSDK failed to initialize.\n"
      Kernel.puts "Error: MeshDepot has not been created."
    LOG

    # The remapping of a mesh without attributes.
    REMAPPING_LOG = <<~LOG
      depot1.mesh0.getVertices
      depot1.mesh0.getVertices
      depot1.mesh0.getFaces
      depot1.mesh0.getNormals
      depot1.mesh0.getVertexUVs
      depot1.mesh0.getAuxiliaryAttributes
      depot1.mesh0.getNumFaces
      depot1.mesh0.getVertexRemap 1 false
      depot1.mesh0.getNumVertices
      depot1.mesh0.getVertexRemap 0 false
      depot1.mesh0.getVertexRemap 1 false
    LOG

    def setup
      Recorder.reset
      Events.reset
      @importer = Zu::Mirel::Importer.new
    end

    # A fresh depot named depot1 and an empty log.
    def make_depot
      Recorder.reset
      assert_equal true, importer.init_mesh_depot
      clear_log
    end

    # Afterwards the state is as it was at load, but for the preview references.
    def empty_state
      Recorder.reset
      other = Zu::Mirel::Importer.new
      other.init_mesh_depot
      Recorder.answer("buildHierarchy", 0)
      other.init_simplify
      Recorder.answer("create", 0)
      other.init_mesh_depot
      Recorder.reset
      Events.reset
    end

    # depot1 with a hierarchy depot1.hierarchy1 and an empty log.
    def make_hierarchy
      make_depot
      assert_equal true, importer.init_simplify
      clear_log
    end

    def clear_log = Recorder.take_log
    def log = Recorder.take_log

    # The run's log, line for line.
    def assert_log(expected, lines = log)
      assert_equal expected.lines(chomp: true).map(&:strip).reject(&:empty?), lines
    end

    # No call may reach an object that has been freed.
    def refute_dead_calls(lines = log)
      assert_empty lines.grep(/\ADEAD /)
    end

    def with_file(content, name = "input")
      Dir.mktmpdir do |folder|
        path = File.join(folder, name)
        File.binwrite(path, content)
        yield path
      end
    end
  end
end

Recorder.reset
require Conformance::EXTENSIONS.fetch(ENV.fetch("MIREL_EXTENSION", "mirel").to_sym)
