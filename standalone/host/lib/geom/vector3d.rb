# frozen_string_literal: true

module Geom
  # A direction with a length. Coordinates, #to_a and #set! come from the C half.
  #
  # @example
  #   Geom::Vector3d.new(3, 0, 4).length   # => 5.0
  class Vector3d
    include Coordinates

    # @return [Vector3d]
    def +(other)
      a, b, c = other.to_a
      Vector3d.new(x + a, y + b, z + c)
    end

    # @return [Vector3d]
    def -(other)
      a, b, c = other.to_a
      Vector3d.new(x - a, y - b, z - c)
    end

    # The cross product.
    # @return [Vector3d]
    def *(other)
      a, b, c = other.to_a
      Vector3d.new(y * c - z * b, z * a - x * c, x * b - y * a)
    end
    alias cross *

    # The dot product.
    # @return [Float]
    def %(other)
      a, b, c = other.to_a
      x * a + y * b + z * c
    end
    alias dot %

    # @return [Float]
    def length
      Math.sqrt(x * x + y * y + z * z)
    end

    # Gives the vector a length, keeping its direction.
    # @raise [ZeroDivisionError] for a vector without direction
    def length=(value)
      old = length
      raise ZeroDivisionError, 'a zero vector has no direction' if old.zero?

      scale = value / old
      set!(x * scale, y * scale, z * scale)
    end

    # @return [Vector3d] of length 1; a zero vector stays zero
    def normalize
      dup.normalize!
    end

    # @return [self]
    def normalize!
      self.length = 1.0 unless length.zero?
      self
    end

    # @return [Vector3d]
    def reverse
      Vector3d.new(-x, -y, -z)
    end

    # @return [self]
    def reverse!
      set!(-x, -y, -z)
    end

    # @return [Float] radians, 0 to pi
    def angle_between(other)
      other = Vector3d.new(other)
      Math.atan2((self * other).length, self % other)
    end

    # Whether the vector has a length at all.
    def valid?
      length > TOLERANCE
    end

    def parallel?(other)
      other = Vector3d.new(other)
      (normalize * other.normalize).length <= TOLERANCE
    end

    def perpendicular?(other)
      (normalize % Vector3d.new(other).normalize).abs <= TOLERANCE
    end

    def samedirection?(other)
      other = Vector3d.new(other)
      parallel?(other) && self % other > 0
    end

    # Two vectors that stand at right angles to this one and to each other.
    # @return [Array(Vector3d, Vector3d, Vector3d)]
    def axes
      third = normalize
      reference = third.z.abs > 0.9 ? Vector3d.new(1, 0, 0) : Vector3d.new(0, 0, 1)
      first = (reference * third).normalize
      [first, third * first, third]
    end

    # @return [Vector3d] turned and scaled by the transformation, not moved
    def transform(transformation)
      dup.transform!(transformation)
    end

    # @return [self]
    def transform!(transformation)
      set!(Transformation.new(transformation).apply_to_direction(to_a))
    end

    # Equal within Geom::TOLERANCE.
    def ==(other)
      return false unless other.is_a?(Vector3d) || other.is_a?(Array)

      (self - other).length <= TOLERANCE
    rescue TypeError, NoMethodError
      false
    end
  end
end
