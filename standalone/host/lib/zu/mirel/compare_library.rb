# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/errors'
require 'zu/mirel/native'

module Zu
  module Mirel
    # The C interface of libmirelcompare, which measures distances between meshes. Arrays are Strings, as Surface has
    # them. Every method raises Error with the reason where the library cannot do its work.
    class CompareLibrary
      # From one surface to the other, as MirelCompareDirection has it.
      Direction = Struct.new(:rms, :mean, :max, :max_bound, :normal_degrees, :worst_point, :nearest_point, :area,
                             :samples, :vertices)
      # As MirelCompareResult has it. What was not measured is nil.
      Result = Struct.new(:first_to_second, :second_to_first, :rms, :mean, :max, :max_bound, :normal_degrees, :diagonal)

      DIRECTION_BYTES = 14 * 8
      RESULT_BYTES = (2 * DIRECTION_BYTES) + (6 * 8)
      NOT_WRITTEN = 7
      POINTER = Fiddle::TYPE_VOIDP
      COUNT = -Fiddle::TYPE_INT
      private_constant :DIRECTION_BYTES, :RESULT_BYTES, :NOT_WRITTEN, :POINTER, :COUNT

      # @return [CompareLibrary] the only one
      def self.instance
        @instance ||= new
      end

      # @raise [Error] where the library has not been built
      def initialize
        @handle = Native.open('libmirelcompare')
        raise Error, 'the library that compares meshes has not been built (libmirelcompare)' unless @handle

        @functions = {}
      end

      # @param surface [Surface]
      # @return [Fiddle::Pointer] a mesh that is freed with its last use
      def mesh(surface)
        made = "\0".b * Fiddle::SIZEOF_VOIDP
        check function('mirel_compare_mesh_create', [POINTER, COUNT, POINTER, COUNT, POINTER, POINTER])
          .call(surface.positions, surface.vertex_count, surface.faces, surface.face_count, made, nil)
        mesh = Fiddle::Pointer.new(made.unpack1('J'))
        mesh.free = function('mirel_compare_mesh_free', [POINTER], Fiddle::TYPE_VOID)
        mesh
      end

      # @return [Float] of the bounding box of all faces, model units
      def diagonal(mesh)
        function('mirel_compare_mesh_diagonal', [POINTER], Fiddle::TYPE_DOUBLE).call(mesh)
      end

      # @param samples [Integer] on each surface
      # @param accuracy [Float, nil] relative accuracy to which the maxima are to be bounded; nil leaves them sampled
      # @return [Result]
      def compare(first, second, samples:, accuracy: nil)
        buffer = "\0".b * RESULT_BYTES
        check function('mirel_compare_meshes', [POINTER] * 4)
          .call(first, second, [samples, accuracy || 0, 0, 0].pack('QdL2'), buffer)
        there = direction(buffer[0, DIRECTION_BYTES])
        back = direction(buffer[DIRECTION_BYTES, DIRECTION_BYTES])
        Result.new(there, back, *known(buffer[2 * DIRECTION_BYTES..].unpack('d6')))
      end

      # @param positions [String]
      # @return [String] a 32-bit float for each position
      def distances(mesh, positions)
        count = positions.bytesize / 12
        result = "\0".b * (4 * count)
        check function('mirel_compare_distances', [POINTER, POINTER, COUNT, COUNT, POINTER])
          .call(mesh, positions, count, 0, result)
        result
      end

      # @param positions [String]
      # @param matrix [Array<Numeric>] 16 numbers, column by column
      # @return [String] the positions where the matrix puts them
      def place(positions, matrix)
        result = "\0".b * positions.bytesize
        check function('mirel_compare_place', [POINTER, COUNT, POINTER, POINTER])
          .call(positions, positions.bytesize / 12, matrix.pack('d16'), result)
        result
      end

      # Writes a surface with distances as colours; see mirel_compare_write_ply.
      # @param high [Float] the distance, above 0, that gets the hottest colour
      # @raise [SystemCallError] where the file cannot be written
      def write_ply(path, surface, distances, high)
        types = [POINTER, POINTER, POINTER, COUNT, POINTER, COUNT, Fiddle::TYPE_FLOAT]
        arrays = [surface.positions, distances, surface.vertex_count, surface.faces, surface.face_count]
        status = function('mirel_compare_write_ply', types).call(path, *arrays, high)
        raise SystemCallError.new(nil, Fiddle.last_error) if status == NOT_WRITTEN

        check status
      end

      private

      def check(status)
        return if status.zero?

        text = function('mirel_compare_status_text', [Fiddle::TYPE_INT], POINTER).call(status)
        raise Error, text.to_s.force_encoding(Encoding::UTF_8)
      end

      def direction(bytes)
        *numbers, samples, vertices = bytes.unpack('d12Q2')
        Direction.new(*known(numbers[0, 5]), numbers[5, 3], numbers[8, 3], numbers[11], samples, vertices)
      end

      def known(numbers)
        numbers.map { |number| number unless number.nan? }
      end

      def function(name, arguments, result = Fiddle::TYPE_INT)
        @functions[name] ||= Fiddle::Function.new(@handle[name], arguments, result)
      end
    end
  end
end
