# frozen_string_literal: true

module Sketchup
  # Where a view is seen from. Immutable but for #set, #fov=, #height= and #perspective=.
  #
  # @example
  #   camera = Sketchup::Camera.new([0, -10, 0], [0, 0, 0], [0, 0, 1])
  #   camera.direction.to_a   # => [0.0, 1.0, 0.0]
  class Camera
    # @return [Geom::Point3d] where the eye is, and what it looks at
    attr_reader :eye, :target
    # @return [Geom::Vector3d] of length 1 and at a right angle to the direction
    attr_reader :up
    # @return [Float] degrees from the bottom of the picture to the top, with perspective
    attr_reader :fov
    # @return [Float] model units from the bottom of the picture to the top, without perspective
    attr_reader :height

    # @param eye [Geom::Point3d, Array]
    # @param target [Geom::Point3d, Array] another point
    # @param up [Geom::Vector3d, Array] not along the direction
    # @param fov [Numeric] degrees
    def initialize(eye = [0, 0, 1], target = [0, 0, 0], up = [0, 1, 0], perspective = true, fov = 30.0)
      set(eye, target, up)
      @perspective = perspective ? true : false
      self.fov = fov
      @height = 2 * eye_distance * Math.tan(half_angle)
    end

    # @return [self]
    # @raise [ArgumentError] where the three leave the view open
    def set(eye, target, up)
      eye = Geom::Point3d.new(eye)
      target = Geom::Point3d.new(target)
      direction = eye.vector_to(target)
      right = direction * Geom::Vector3d.new(up)
      raise ArgumentError, 'eye and target are one point' unless direction.length.positive?
      raise ArgumentError, 'up lies along the direction' unless right.length.positive?

      @eye = eye.freeze
      @target = target.freeze
      @up = (right * direction).normalize.freeze
      self
    end

    # @param degrees [Numeric] above 0 and below 180
    def fov=(degrees)
      value = Float(degrees)
      raise ArgumentError, "a field of view is above 0 and below 180 degrees, not #{value}" unless value.positive? && value < 180

      @fov = value
    end

    # @param units [Numeric] above 0
    def height=(units)
      value = Float(units)
      raise ArgumentError, "a height is above 0, not #{value}" unless value.positive? && value.finite?

      @height = value
    end

    def perspective?
      @perspective
    end

    def perspective=(value)
      @perspective = value ? true : false
    end

    # @return [Geom::Vector3d] from the eye to the target, of length 1
    def direction
      eye.vector_to(target).normalize
    end
    alias zaxis direction

    # @return [Geom::Vector3d] to the right of the picture
    def xaxis
      (direction * up).normalize
    end

    # @return [Geom::Vector3d] to the top of the picture
    def yaxis
      up
    end

    # @return [Float] between eye and target
    def eye_distance
      eye.distance(target)
    end

    # Moves the eye along its direction until the box fits into the picture, and looks at the box's centre.
    # @param bounds [Geom::BoundingBox] an empty one changes nothing
    # @return [self]
    def fit(bounds)
      return self if bounds.empty?

      radius = bounds.diagonal.positive? ? bounds.diagonal / 2 : 1.0
      # Far from the origin a shorter distance would be lost to rounding.
      radius = [radius, 1e-9 * bounds.center.to_a.map(&:abs).max].max
      distance = radius / Math.sin(half_angle)
      @height = 2 * radius
      set(bounds.center.offset(direction, -distance), bounds.center, up)
    end

    private

    def half_angle
      fov * Math::PI / 360
    end
  end
end
