# frozen_string_literal: true

require 'zu/mirel/errors'

module Zu
  module Mirel
    # The header of a PLY file, and what it says of the body. The general reader takes a file that is cut short for a
    # complete one, so what it reads is held against this.
    class PlyHeader
      # A kind of record. properties: bytes of each, or [bytes of the count, bytes of an entry] of a list.
      Element = Struct.new(:name, :count, :properties)

      LONGEST = 1 << 20
      SIZES = { 'char' => 1, 'uchar' => 1, 'int8' => 1, 'uint8' => 1, 'short' => 2, 'ushort' => 2, 'int16' => 2,
                'uint16' => 2, 'int' => 4, 'uint' => 4, 'int32' => 4, 'uint32' => 4, 'float' => 4, 'float32' => 4,
                'double' => 8, 'float64' => 8 }.freeze
      FORMS = { 'binary_little_endian' => :little, 'binary_big_endian' => :big }.freeze
      private_constant :LONGEST, :SIZES, :FORMS

      # @return [Symbol] :ascii, :little or :big
      attr_reader :form
      # @return [Array<Element>]
      attr_reader :elements
      # @return [Integer] where the body begins
      attr_reader :body_offset

      # @param path [String]
      # @return [PlyHeader]
      # @raise [ImportError] where the file does not begin with a PLY header
      def self.read(path)
        text = File.binread(path, LONGEST).to_s
        header = text[/\Aply\s.*?^end_header[ \t]*\r?(\n|\z)/m]
        raise ImportError, 'it is not a PLY file (no complete header)' unless header

        new(header)
      rescue SystemCallError => e
        raise ImportError, Errors.reason(e)
      end

      # @param text [String] from "ply" to the end of the line "end_header"
      def initialize(text)
        @body_offset = text.bytesize
        @elements = []
        @form = :ascii
        text.each_line { |line| take(line.split) }
      end

      # @return [Integer] elements that hold faces
      def faces
        count_of('face') + count_of('tristrips')
      end

      # @raise [ImportError] where the body ends before the last element does
      def check_body(path)
        complete = form == :ascii ? text_complete?(path) : bytes_complete?(path)
        raise ImportError, 'it is cut short' unless complete
      end

      # Compares what was read with what the header promises.
      # @param scene [SceneReader::Scene]
      # @raise [ImportError] where it is less
      def check(scene)
        expected = count_of('face')
        return if scene.source_polygons >= expected

        raise ImportError, "it is damaged: #{scene.source_polygons} of #{expected} faces could be read"
      end

      private

      def count_of(name)
        elements.select { |element| element.name == name }.sum(&:count)
      end

      def take(words)
        case words.first
        when 'format' then @form = FORMS.fetch(words[1], :ascii)
        when 'element' then elements << Element.new(words[1], words[2].to_i, [])
        when 'property' then take_property(words)
        end
      end

      def take_property(words)
        types = words[1] == 'list' ? words[2, 2] : words[1, 1]
        sizes = types.map { |type| SIZES[type] || raise(ImportError, "its header names an unknown type: #{type}") }
        elements.last&.properties&.push(words[1] == 'list' ? sizes : sizes.first)
      end

      def bytes_complete?(path)
        size = File.size(path)
        fixed, varied = elements.partition { |element| element.properties.none?(Array) }
        return false if body_offset + fixed.sum { |element| element.count * element.properties.sum } > size
        return true if varied.all? { |element| element.count.zero? }

        walk(File.binread(path))
      end

      # Lists have lengths of their own, so the end is known only by going from one to the next.
      def walk(bytes)
        at = body_offset
        elements.each do |element|
          if element.properties.none?(Array)
            at += element.count * element.properties.sum
            next
          end
          element.count.times do
            element.properties.each do |property|
              at += property.is_a?(Array) ? list_size(bytes, at, *property) : property
            end
            return false if at > bytes.bytesize
          end
        end
        at <= bytes.bytesize
      end

      def list_size(bytes, at, count_size, entry_size)
        return count_size if at + count_size > bytes.bytesize

        count = case count_size
                when 1 then bytes.getbyte(at)
                when 2 then bytes.byteslice(at, 2).unpack1(form == :little ? 'S<' : 'S>')
                when 4 then bytes.byteslice(at, 4).unpack1(form == :little ? 'L<' : 'L>')
                else return Float::INFINITY # a count is no fraction
                end
        count_size + count * entry_size
      end

      # One element per line is how everybody writes it; fewer lines than elements, or a last line that stops early, is
      # a file that was cut.
      def text_complete?(path)
        lines = 0
        last = nil
        File.open(path, 'rb') do |file|
          file.seek(body_offset)
          file.each_line do |line|
            next if line.match?(/\A\s*\z/)

            lines += 1
            last = line
          end
        end
        lines >= elements.sum(&:count) && last_line_complete?(last)
      end

      def last_line_complete?(line)
        element = elements.reverse.find { |candidate| candidate.count.positive? }
        return true unless element && line

        words = line.split
        wanted = element.properties.sum { |property| property.is_a?(Array) ? 1 + words.first.to_i : 1 }
        element.properties.size > 1 && element.properties.any?(Array) ? !words.empty? : words.size >= wanted
      end
    end
  end
end
