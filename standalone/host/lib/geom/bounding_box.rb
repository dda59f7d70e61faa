# frozen_string_literal: true

module Geom
  # The smallest box, parallel to the axes, around what was added to it. A new box is empty.
  #
  # @example
  #   box = Geom::BoundingBox.new
  #   box.add([0, 0, 0], [1, 2, 3])
  #   box.depth   # => 3.0
  class BoundingBox
    def initialize
      clear
    end

    # Empties the box.
    # @return [self]
    def clear
      @low = nil
      @high = nil
      self
    end

    # Widens the box around points, other boxes, or arrays of points.
    # @return [self]
    def add(*items)
      items.each { |item| add_item(item) }
      self
    end

    # @return [Boolean] whether nothing has been added
    def empty?
      @low.nil?
    end

    def valid?
      !empty?
    end

    # @return [Point3d] the lowest coordinates; of an empty box the origin
    def min
      Point3d.new(@low || [0, 0, 0])
    end

    # @return [Point3d] the highest coordinates; of an empty box the origin
    def max
      Point3d.new(@high || [0, 0, 0])
    end

    # @param index [Integer] 0 to 7: bit 0 chooses the high x, bit 1 the high y, bit 2 the high z
    # @return [Point3d]
    def corner(index)
      raise ArgumentError, "a box has no corner #{index}" unless (0..7).cover?(index)

      Point3d.new((0..2).map { |axis| (index[axis] == 1 ? max : min)[axis] })
    end

    # @return [Point3d]
    def center
      Point3d.linear_combination(0.5, min, 0.5, max)
    end

    # @return [Float] the distance between the lowest and the highest corner
    def diagonal
      min.distance(max)
    end

    # @return [Float] the size along x
    def width
      max.x - min.x
    end

    # @return [Float] the size along y
    def height
      max.y - min.y
    end

    # @return [Float] the size along z
    def depth
      max.z - min.z
    end

    # Whether a point, or the whole of another box, lies in the box; its faces count as inside.
    def contains?(item)
      return false if empty?
      return !item.empty? && contains?(item.min) && contains?(item.max) if item.is_a?(BoundingBox)

      item.to_a.each_with_index.all? { |value, axis| value >= @low[axis] && value <= @high[axis] }
    end

    # @return [BoundingBox] what both boxes share, empty where they are apart
    def intersect(other)
      shared = BoundingBox.new
      return shared if empty? || other.empty?

      low = min.to_a.zip(other.min.to_a).map(&:max)
      high = max.to_a.zip(other.max.to_a).map(&:min)
      shared.add(low, high) if low.zip(high).all? { |a, b| a <= b }
      shared
    end

    def ==(other)
      other.is_a?(BoundingBox) && empty? == other.empty? && min == other.min && max == other.max
    end

    def inspect
      empty? ? 'BoundingBox(empty)' : "BoundingBox(#{min.inspect}, #{max.inspect})"
    end

    private

    def add_item(item)
      case item
      when BoundingBox then add(item.min, item.max) unless item.empty?
      when Array then item.first.is_a?(Numeric) ? add_position(item) : add(*item)
      else add_position(item.to_a)
      end
    end

    def add_position(position)
      x, y, z = position
      position = [Float(x), Float(y), Float(z || 0)]
      @low = @low ? @low.zip(position).map(&:min) : position
      @high = @high ? @high.zip(position).map(&:max) : position
    end
  end
end
