# frozen_string_literal: true

module Geom
  # What points and vectors have in common: three coordinates, which the C half holds.
  module Coordinates
    # @return [Float] coordinate 0, 1 or 2
    def [](index)
      to_a.fetch(index)
    end

    def []=(index, value)
      coordinates = to_a
      raise IndexError, "there is no coordinate #{index}" unless (0..2).cover?(index)

      coordinates[index] = value
      set!(coordinates)
    end

    # @return [Point3d, Vector3d]
    def clone
      dup
    end

    def inspect
      "#{self.class.name.split('::').last}#{self}"
    end

    def to_s
      "(#{x}, #{y}, #{z})"
    end
  end
end
