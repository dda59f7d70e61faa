# frozen_string_literal: true

require 'zu/mirel/errors'
require 'zu/mirel/fbx_callbacks'
require 'zu/mirel/fbx_library'

module Zu
  module Mirel
    # Loads FBX files by the native importer.
    module FbxLoading
      include FbxCallbacks

      # Passes on what is printed and keeps it.
      class ConsoleTee
        # @return [Array<String>] what each call of #puts was given
        attr_reader :lines

        def initialize(output)
          @output = output
          @lines = []
        end

        def puts(*texts)
          @lines.concat(texts.map(&:to_s))
          @output.puts(*texts)
        end

        def print(*texts) = @output.print(*texts)
        def write(*texts) = @output.write(*texts)
        def flush = @output.flush
      end
      private_constant :ConsoleTee

      # What the native importer says before the reason.
      FAILURES = ['Call to FbxImporter::Initialize() failed.', 'Failed to import the file'].freeze
      private_constant :FAILURES

      # @return [FbxLibrary::Facts, nil] what the FBX file says of itself; nil for another format
      attr_reader :fbx_facts

      # @return [Integer] meshes of an FBX file that are not there, for they would take far more memory than its size
      #   lets expect
      attr_reader :meshes_left_out

      private

      def reset_scene(name)
        super
        @fbx_facts = nil
        @meshes_left_out = 0
      end

      def import_with_fbx_importer(path)
        @importing_fbx = true
        console = ConsoleTee.new($stdout)
        raise ImportError, fbx_failure(console.lines) unless print_to(console) { import_fbx(path) }

        take_frame(FbxLibrary.facts)
        @meshes_left_out = FbxLibrary.shapes_left_out
      rescue SystemStackError
        raise ImportError, 'its nodes are nested too deep'
      ensure
        @importing_fbx = false
      end

      def print_to(console)
        stdout = $stdout
        $stdout = console
        yield
      ensure
        $stdout = stdout
      end

      # The native importer turns every scene to Z up. It knows five units; the library knows them all.
      def take_frame(facts)
        @fbx_facts = facts
        self.up_axis = :z
        self.meters_per_unit = (facts.unit_centimeters / 100).round(12) if facts&.unit_centimeters&.positive?
      end

      def fbx_failure(lines)
        lines = lines.map(&:strip)
        at = lines.index { |line| FAILURES.include?(line) }
        reason = at ? lines[at + 1] : lines.last
        reason.nil? || reason.empty? ? 'it is not an FBX file that can be read' : reason
      end
    end
  end
end
