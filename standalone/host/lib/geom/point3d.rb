# frozen_string_literal: true

module Geom
  # A position. Coordinates, #to_a and #set! come from the C half.
  #
  # @example
  #   a = Geom::Point3d.new(0, 0, 0)
  #   b = a + [3, 0, 4]
  #   a.distance(b)   # => 5.0
  class Point3d
    include Coordinates

    # The point between two others.
    # @param weight1 [Numeric] share of `point1`
    # @param weight2 [Numeric] share of `point2`
    # @return [Point3d]
    def self.linear_combination(weight1, point1, weight2, point2)
      sums = point1.to_a.zip(point2.to_a).map { |a, b| weight1 * a + weight2 * b }
      new(sums)
    end

    # @param vector [Vector3d, Array]
    # @return [Point3d]
    def +(vector)
      a, b, c = vector.to_a
      Point3d.new(x + a, y + b, z + c)
    end

    # @overload -(point)
    #   @return [Vector3d] from the other point to this one
    # @overload -(vector)
    #   @return [Point3d]
    def -(other)
      a, b, c = other.to_a
      kind = other.is_a?(Point3d) ? Vector3d : Point3d
      kind.new(x - a, y - b, z - c)
    end

    # @return [Vector3d] from this point to another
    def vector_to(other)
      a, b, c = other.to_a
      Vector3d.new(a - x, b - y, c - z)
    end

    # @return [Float]
    def distance(other)
      vector_to(other).length
    end

    # Moves the point along a vector.
    # @overload offset(vector)
    # @overload offset(vector, length)
    # @return [Point3d]
    def offset(vector, length = nil)
      step = Vector3d.new(vector)
      step.length = length if length
      self + step
    end

    # @return [self]
    def offset!(vector, length = nil)
      set!(offset(vector, length))
    end

    # @return [Point3d]
    def transform(transformation)
      dup.transform!(transformation)
    end

    # @return [self]
    def transform!(transformation)
      set!(Transformation.new(transformation).apply_to_position(to_a))
    end

    # Equal within Geom::TOLERANCE.
    def ==(other)
      return false unless other.is_a?(Point3d) || other.is_a?(Array)

      distance(other) <= TOLERANCE
    rescue TypeError, NoMethodError
      false
    end
  end
end
