# frozen_string_literal: true

module Geom
  # A 4 x 4 matrix that moves, turns and scales. Immutable but for #set!.
  #
  # #to_a gives 16 floats column by column: 0-2 the image of the x axis, 4-6 of y, 8-10 of z, 12-14 the
  # translation, 15 the divisor.
  #
  # @example
  #   turn = Geom::Transformation.rotation([0, 0, 0], [0, 0, 1], Math::PI / 2)
  #   turn * Geom::Point3d.new(1, 0, 0)   # => Point3d(0.0, 1.0, 0.0), to rounding
  class Transformation
    IDENTITY_VALUES = [1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0].freeze
    private_constant :IDENTITY_VALUES

    class << self
      # Moves by a vector, a point or an array of three numbers.
      # @return [Transformation]
      def translation(vector)
        x, y, z = vector.to_a
        new([1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z || 0, 1])
      end

      # @overload scaling(factor)
      # @overload scaling(x, y, z)
      # @overload scaling(point, factor)
      # @overload scaling(point, x, y, z)
      #   @param point the point that stays where it is; the origin where it is left out
      # @return [Transformation]
      def scaling(*args)
        center = args.shift.to_a unless args.first.is_a?(Numeric)
        x, y, z = args.size == 1 ? [args[0]] * 3 : args
        raise ArgumentError, 'expected one or three factors' unless [x, y, z].all?(Numeric)

        scale = new([x, 0, 0, 0, 0, y, 0, 0, 0, 0, z, 0, 0, 0, 0, 1])
        center ? translation(center) * scale * translation(center.map(&:-@)) : scale
      end

      # Turns about an axis, counter-clockwise seen against its direction.
      # @param point [Point3d, Array] a point on the axis
      # @param axis [Vector3d, Array] its direction
      # @param angle [Numeric] radians
      # @return [Transformation]
      def rotation(point, axis, angle)
        x, y, z = Vector3d.new(axis).normalize.to_a
        c = Math.cos(angle)
        s = Math.sin(angle)
        t = 1 - c
        turn = new([t * x * x + c, t * x * y + s * z, t * x * z - s * y, 0,
                    t * x * y - s * z, t * y * y + c, t * y * z + s * x, 0,
                    t * x * z + s * y, t * y * z - s * x, t * z * z + c, 0,
                    0, 0, 0, 1])
        center = point.to_a
        translation(center) * turn * translation(center.map(&:-@))
      end

      # Takes the coordinate system with this origin and these axes for the world's.
      # @return [Transformation]
      def axes(origin, xaxis, yaxis, zaxis = nil)
        x = Vector3d.new(xaxis)
        y = Vector3d.new(yaxis)
        z = zaxis ? Vector3d.new(zaxis) : x * y
        new([*x.to_a, 0, *y.to_a, 0, *z.to_a, 0, *origin.to_a, 1])
      end

      # @return [Transformation] between two others, weight 0 giving the first
      def interpolate(first, second, weight)
        new(first.to_a.zip(second.to_a).map { |a, b| a + (b - a) * weight })
      end
    end

    # @overload initialize
    #   The identity.
    # @overload initialize(transformation)
    # @overload initialize(numbers)
    #   @param numbers [Array<Numeric>] 16 numbers, column by column
    # @overload initialize(factor)
    #   @param factor [Numeric] uniform scaling
    # @overload initialize(vector_or_point)
    #   A translation.
    # @overload initialize(origin, xaxis, yaxis)
    #   The coordinate system with this origin and these axes.
    def initialize(*args)
      @values = values_from(args)
    end

    # Becomes what #initialize makes of the argument.
    # @return [self]
    def set!(*args)
      @values = values_from(args)
      self
    end

    # @return [Array<Float>] 16 numbers, column by column
    def to_a
      @values.dup
    end

    # First the other, then this one; or applied to a point, a vector or an array of three coordinates.
    # @return [Transformation, Point3d, Vector3d, Array]
    def *(other)
      case other
      when Transformation then Transformation.new(multiply(other.to_a))
      when Point3d then Point3d.new(apply_to_position(other.to_a))
      when Vector3d then Vector3d.new(apply_to_direction(other.to_a))
      when Array then other.size == 16 ? self * Transformation.new(other) : apply_to_position(other)
      else raise ArgumentError, "a transformation does not apply to #{other.class}"
      end
    end

    # @return [Transformation]
    # @raise [ZeroDivisionError] where there is none
    def inverse
      Transformation.new(inverted)
    end

    # @return [self]
    def invert!
      @values = inverted.map(&:to_f)
      self
    end

    # @return [Point3d] where the origin goes
    def origin
      Point3d.new(@values[12], @values[13], @values[14])
    end

    # @return [Vector3d] of length 1, the direction of the x axis afterwards
    def xaxis
      Vector3d.new(@values[0, 3]).normalize
    end

    # @return [Vector3d]
    def yaxis
      Vector3d.new(@values[4, 3]).normalize
    end

    # @return [Vector3d]
    def zaxis
      Vector3d.new(@values[8, 3]).normalize
    end

    # The determinant of the linear part; negative for a mirroring.
    # @return [Float]
    def determinant
      a, b, c, _, d, e, f, _, g, h, i = @values
      a * (e * i - f * h) + b * (f * g - d * i) + c * (d * h - e * g)
    end

    # Exactly the identity.
    def identity?
      @values == IDENTITY_VALUES
    end

    # Equal number by number, within 1e-9.
    def ==(other)
      other.is_a?(Transformation) && @values.zip(other.to_a).all? { |a, b| (a - b).abs <= 1e-9 }
    end

    # @param position [Array(Numeric, Numeric, Numeric)]
    # @return [Array(Float, Float, Float)]
    def apply_to_position(position)
      x, y, z = position
      z ||= 0
      m = @values
      w = m[3] * x + m[7] * y + m[11] * z + m[15]
      w = 1.0 if w.zero?
      [(m[0] * x + m[4] * y + m[8] * z + m[12]) / w,
       (m[1] * x + m[5] * y + m[9] * z + m[13]) / w,
       (m[2] * x + m[6] * y + m[10] * z + m[14]) / w]
    end

    # @param direction [Array(Numeric, Numeric, Numeric)]
    # @return [Array(Float, Float, Float)]
    def apply_to_direction(direction)
      x, y, z = direction
      m = @values
      [m[0] * x + m[4] * y + m[8] * z, m[1] * x + m[5] * y + m[9] * z, m[2] * x + m[6] * y + m[10] * z]
    end

    # @return [Transformation]
    def clone
      dup
    end

    def inspect
      "Transformation(#{@values.join(', ')})"
    end

    private

    def values_from(args)
      return IDENTITY_VALUES if args.empty?
      return Transformation.axes(*args).to_a if args.size > 1

      case (value = args.first)
      when Transformation then value.to_a
      when Numeric then Transformation.scaling(value).to_a
      when Point3d, Vector3d then Transformation.translation(value).to_a
      when Array then values_from_array(value)
      else raise ArgumentError, "no transformation from #{value.class}"
      end
    end

    def values_from_array(array)
      return Transformation.translation(array).to_a if array.size == 3
      raise ArgumentError, "a transformation has 16 numbers, not #{array.size}" unless array.size == 16

      array.map { |value| Float(value) }
    end

    def multiply(other)
      (0...16).map do |place|
        column, row = place.divmod(4)
        (0...4).sum { |k| @values[k * 4 + row] * other[column * 4 + k] }
      end
    end

    # Gauss-Jordan elimination with the largest pivot.
    def inverted
      rows = (0...4).map { |row| (0...4).map { |column| @values[column * 4 + row] } }
      rows.each_with_index { |row, i| row.concat((0...4).map { |column| column == i ? 1.0 : 0.0 }) }
      (0...4).each do |column|
        pivot = (column...4).max_by { |row| rows[row][column].abs }
        raise ZeroDivisionError, 'the transformation has no inverse' if rows[pivot][column].zero?

        rows[column], rows[pivot] = rows[pivot], rows[column]
        divisor = rows[column][column]
        rows[column].map! { |value| value / divisor }
        eliminate(rows, column)
      end
      (0...16).map { |place| rows[place % 4][4 + place / 4] }
    end

    def eliminate(rows, column)
      rows.each_with_index do |row, i|
        factor = row[column]
        next if i == column || factor.zero?

        row.each_index { |k| row[k] -= factor * rows[column][k] }
      end
    end
  end
end

# The transformation that changes nothing.
IDENTITY = Geom::Transformation.new.freeze unless defined?(IDENTITY)
