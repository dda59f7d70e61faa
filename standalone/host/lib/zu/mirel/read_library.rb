# frozen_string_literal: true

require 'fiddle'
require 'zu/mirel/errors'
require 'zu/mirel/native'

module Zu
  module Mirel
    # The C interface of libmirelread, which reads other formats. One scene at a time.
    class ReadLibrary
      ERROR_BYTES = 1024
      # point_count, triangle_count after the material's number; then the four arrays
      MESH_LAYOUT = 'L4J4'
      MATERIAL_LAYOUT = 'J2f4L2'
      private_constant :ERROR_BYTES, :MESH_LAYOUT, :MATERIAL_LAYOUT

      # @raise [ImportError] where the library has not been built
      def initialize
        @handle = Native.open('libmirelread')
        raise ImportError, 'no reader for this format has been built (libmirelread)' unless @handle
      end

      # @param path [String]
      # @yieldparam done [Float] 0 to 1
      # @return [Fiddle::Pointer] the scene
      # @raise [ImportError] with the reason
      def read_file(path, &progress)
        report = Fiddle::Closure::BlockCaller.new(Fiddle::TYPE_VOID, [Fiddle::TYPE_FLOAT], &progress)
        error = "\0".b * ERROR_BYTES
        types = [Fiddle::TYPE_VOIDP] * 3 + [Fiddle::TYPE_SIZE_T]
        scene = function('mirel_read_file', types, Fiddle::TYPE_VOIDP).call(path, report, error, ERROR_BYTES)
        return scene unless scene.null?

        reason = error[/\A[^\0]*/].force_encoding(Encoding::UTF_8).scrub.strip
        raise ImportError, 'its format is not known' if reason.include?('No suitable reader found')

        raise ImportError, reason.empty? ? 'it cannot be read' : reason
      end

      # @return [Array<Hash>] name, texture ("" without), color (nil without)
      def materials(scene)
        count(scene, 'material').times.map do |number|
          record = record(scene, 'material', number, MATERIAL_LAYOUT)
          name, texture = record.first(2).map { |address| text(address) }
          color = record[2, 4] unless record[6].zero? || record[2, 4].any? { |value| !value.finite? }
          { name: name, texture: texture, color: color }
        end
      end

      # @yieldparam header [Hash] material: its number
      # @yieldparam arrays [Array<Fiddle::Pointer, nil>] points, triangles, normals, UVs, as mirel_read.h lays them out
      def each_mesh(scene)
        count(scene, 'mesh').times do |number|
          material, points, triangles, _, *addresses = record(scene, 'mesh', number, MESH_LAYOUT)
          position, normal, uv, triangle = addresses
          yield({ material: material },
                [array(position, points * 12), array(triangle, triangles * 12),
                 array(normal, points * 12), array(uv, points * 8)])
        end
      end

      # @return [Hash] source_points, source_polygons
      def source_counts(scene)
        %i[source_points source_polygons].to_h do |name|
          [name, function("mirel_read_#{name}", [Fiddle::TYPE_VOIDP], -Fiddle::TYPE_LONG_LONG).call(scene)]
        end
      end

      private

      def count(scene, kind)
        function("mirel_read_#{kind}_count", [Fiddle::TYPE_VOIDP], -Fiddle::TYPE_INT).call(scene)
      end

      def record(scene, kind, number, layout)
        buffer = "\0".b * 64
        types = [Fiddle::TYPE_VOIDP, -Fiddle::TYPE_INT, Fiddle::TYPE_VOIDP]
        function("mirel_read_#{kind}", types, Fiddle::TYPE_VOID).call(scene, number, buffer)
        buffer.unpack(layout)
      end

      def text(address)
        Fiddle::Pointer.new(address).to_s.force_encoding(Encoding::UTF_8).scrub
      end

      def array(address, bytes)
        Fiddle::Pointer.new(address, bytes) unless address.zero?
      end

      def function(name, arguments, result)
        Fiddle::Function.new(@handle[name], arguments, result)
      end
    end
  end
end
