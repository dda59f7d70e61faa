# frozen_string_literal: true

module Zu
  module Mirel
    # What the numbers of the scene mean: how long a unit is, and which axis points up. Numbers are never changed for
    # it; an output that knows units and axes is told them, and the others keep the numbers.
    #
    # What a file does not say is taken as in glTF: meters, and y up.
    module SceneFrame
      METERS_OF_UNIT = [0.0254, 0.3048, 0.001, 0.01, 1.0].freeze
      # (x, y, z) becomes (x, z, -y).
      Z_UP_TO_Y_UP = Geom::Transformation.new([1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1]).freeze
      UNIT_NAMES = %w[in ft mm cm m].freeze

      # @return [Integer, nil] 0 inches, 1 feet, 2 millimeters, 3 centimeters, 4 meters; nil where it is none of them,
      #   or not known
      attr_reader :unit
      # @return [Symbol] :y or :z
      attr_reader :up_axis

      # @param code [Integer, nil] as #unit
      def unit=(code)
        @unit = code
        @meters_per_unit = code && METERS_OF_UNIT[code]
      end

      # @param axis [Symbol] :y or :z
      def up_axis=(axis)
        raise ArgumentError, "up_axis is :y or :z, not #{axis.inspect}" unless %i[y z].include?(axis)

        @up_axis = axis
      end

      # @param length [Float, nil]
      def meters_per_unit=(length)
        @unit = METERS_OF_UNIT.index(length)
        @meters_per_unit = length
      end

      # @return [Float]
      def meters_per_unit
        @meters_per_unit || 1.0
      end

      # Whether the file says how long its unit is.
      def unit_known?
        !@meters_per_unit.nil?
      end

      def y_up?
        up_axis == :y
      end

      # @return [Geom::Transformation] that turns the scene so that y points up
      def to_y_up
        y_up? ? IDENTITY : Z_UP_TO_Y_UP
      end

      private

      def reset_frame
        @unit = nil
        @meters_per_unit = nil
        @up_axis = :y
      end
    end
  end
end
