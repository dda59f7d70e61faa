# frozen_string_literal: true

require 'zu/mirel/errors'

module Zu
  module Mirel
    # The header of a PLY file: how many elements the file must hold.
    class PlyHeader
      LONGEST = 1 << 20
      private_constant :LONGEST

      # @return [Hash{String => Integer}] element name to count
      attr_reader :elements

      # @param path [String]
      # @return [PlyHeader]
      # @raise [ImportError] where the file does not begin with a PLY header
      def self.read(path)
        text = File.binread(path, LONGEST)
        header = text[/\Aply\s.*?^end_header[ \t]*\r?$/m]
        raise ImportError, 'it is not a PLY file (no complete header)' unless header

        new(header.scan(/^element[ \t]+(\S+)[ \t]+(\d+)/).to_h { |name, count| [name, count.to_i] })
      rescue SystemCallError => e
        raise ImportError, Errors.reason(e)
      end

      def initialize(elements)
        @elements = elements
      end

      # @return [Integer] elements that hold faces
      def faces
        elements.fetch('face', 0) + elements.fetch('tristrips', 0)
      end

      # Compares what was read with what the header promises.
      # @param scene [SceneReader::Scene]
      # @raise [ImportError] where it is less
      def check(scene)
        expected = elements.fetch('face', 0)
        return if scene.source_polygons >= expected

        raise ImportError, "it is cut short: #{scene.source_polygons} of #{expected} faces could be read"
      end
    end
  end
end
