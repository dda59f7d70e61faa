# frozen_string_literal: true

module Sketchup
  # The viewport: takes what is drawn into it and keeps it as buffers that a graphics card can take.
  #
  # Nothing is drawn between frames. A program calls #render when the view has become invalid; what the frame's block
  # draws replaces the frame before it once the block has run to its end.
  #
  # @example
  #   view = Sketchup::View.new(800, 600)
  #   view.render { importer.draw(view) }
  #   view.batches.each { |batch| upload(batch.primitive, batch.color.to_a, batch.data) }
  class View
    # One call of #draw.
    #
    # - primitive [Integer] OpenGL's number, 0 to 9
    # - color [Color]
    # - line_width [Integer] pixels
    # - data [String] x, y, z of each point as 32-bit floats in the machine's byte order
    Batch = Struct.new(:primitive, :color, :line_width, :data) do
      # @return [Integer] points
      def count
        data.bytesize / 12
      end
    end

    # The fewest points that make a primitive, and how many make each one: OpenGL's points, lines, line loop, line
    # strip, triangles, triangle strip, triangle fan, quads, quad strip and polygon.
    SHAPES = { 0 => [1, 1], 1 => [2, 2], 2 => [2, 1], 3 => [2, 1], 4 => [3, 3], 5 => [3, 1], 6 => [3, 1], 7 => [4, 4],
               8 => [4, 2], 9 => [3, 1] }.freeze
    private_constant :SHAPES

    # @return [Camera]
    attr_reader :camera
    # @return [Color]
    attr_reader :drawing_color
    # @return [Integer] pixels
    attr_reader :line_width, :vpwidth, :vpheight
    # @return [Array<Batch>] of the last frame that was drawn to its end
    attr_reader :batches

    # @param width [Integer] pixels
    # @param height [Integer] pixels
    def initialize(width = 800, height = 600)
      @camera = Camera.new
      @batches = [].freeze
      @frame = nil
      @valid = false
      @on_invalidate = nil
      reset_drawing
      resize(width, height)
    end

    # @param width [Integer] pixels
    # @param height [Integer] pixels
    # @return [self]
    def resize(width, height)
      raise ArgumentError, "a view is at least 1 pixel wide and high, not #{width} x #{height}" unless [width, height].min >= 1

      @vpwidth = Integer(width)
      @vpheight = Integer(height)
      invalidate
    end

    # @param camera [Camera]
    def camera=(camera)
      raise TypeError, "not a camera: #{camera.class}" unless camera.is_a?(Camera)

      @camera = camera
      invalidate
    end

    # @param color [Color, String, Array, Integer] what Color.new takes
    # @raise [ArgumentError] for anything else
    def drawing_color=(color)
      @drawing_color = color.is_a?(Color) ? color.dup.freeze : Color.new(color).freeze
    end

    # @param pixels [Integer]
    def line_width=(pixels)
      value = Integer(pixels)
      raise ArgumentError, "a line is at least 1 pixel wide, not #{value}" unless value >= 1

      @line_width = value
    end

    # Adds to the frame, in the present colour. Points beyond the last complete primitive are left out; too few for
    # one draw nothing.
    #
    # @overload draw(primitive, points)
    # @overload draw(primitive, point, ...)
    # @param primitive [Integer] OpenGL's number: 0 points, 1 line segments, 4 triangles, up to 9
    # @param points [Array<Geom::Point3d, Array>]
    # @return [self]
    # @raise [ArgumentError] for another primitive, for anything but points, and outside #render
    # @raise [TypeError] for nil in place of points
    def draw(primitive, *points)
      raise ArgumentError, 'a view is drawn into within View#render' unless @frame

      least, each = SHAPES.fetch(primitive) { raise ArgumentError, "no primitive #{primitive.inspect}" }
      points = points.first if points.size == 1 && !points.first.is_a?(Geom::Point3d)
      data = View.pack(points)
      count = data.bytesize / 12
      return self if count < least

      count -= count % each
      data = data.byteslice(0, count * 12) unless data.bytesize == count * 12
      @frame << Batch.new(primitive, drawing_color, line_width, data.freeze).freeze
      self
    end

    # Draws a frame: runs the block, within which #draw may be called, and takes over what it drew. Where the block
    # raises, the frame before stays.
    # @return [Array<Batch>]
    def render(&drawing)
      raise ArgumentError, 'a frame is being drawn already' if @frame

      draw_frame(&drawing)
    end

    # @return [Boolean] whether the last frame is still what there is to see
    def valid?
      @valid
    end

    # Says that the frame is out of date. The next #render draws another.
    # @return [self]
    def invalidate
      @valid = false
      @on_invalidate&.call
      self
    end

    # Calls the block on every #invalidate, so that a program can ask for a frame.
    # @return [self]
    def on_invalidate(&procedure)
      @on_invalidate = procedure
      self
    end

    # @return [Array(Integer, Integer)] the pixel in the middle
    def center
      [vpwidth / 2, vpheight / 2]
    end

    # Has the camera look at the whole of a box, from where it looks now.
    # @param bounds [Geom::BoundingBox]
    # @return [self]
    def fit(bounds)
      camera.fit(bounds)
      invalidate
    end

    def inspect
      "#<#{self.class} #{vpwidth} x #{vpheight}, #{batches.size} batches>"
    end

    private

    def draw_frame
      @frame = []
      reset_drawing
      # Before the block, which may find out that it has drawn what is out of date.
      @valid = true
      yield self
      @batches = @frame.freeze
    rescue StandardError
      @valid = false
      raise
    ensure
      @frame = nil
    end

    def reset_drawing
      self.drawing_color = 'black'
      @line_width = 1
    end
  end
end
