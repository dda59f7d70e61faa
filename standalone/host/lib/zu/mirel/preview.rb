# frozen_string_literal: true

require 'ui'
require 'zu/mirel/errors'
require 'zu/mirel/preview_colors'

module Zu
  module Mirel
    # The live preview of an Importer's model: what is to be seen at the present step, in a view.
    #
    # The native half reads the meshes back into arrays (get_triangles, get_points) and draws a frame from them
    # (draw), for which it calls back into this module. While a slider moves, only the distinct vertices are read and
    # drawn; a timer of the UI draws the faces once it has rested.
    #
    # @example
    #   importer.import('bunny.obj').build_hierarchy
    #   view.on_invalidate { view.render { importer.draw(view) } }
    #   importer.show(view)                              # faces and edges
    #   importer.slide { importer.go_to_faces(5_000) }   # points, and the faces when the slider has rested
    #   UI.timers.run                                    # called by the program's event loop
    module Preview
      # How long a slider has to rest until the faces are drawn, in seconds.
      REST_SECONDS = 0.25
      # How long a frame of points may take, in seconds: where it takes longer, the next one draws fewer.
      POINT_FRAME_SECONDS = 0.05
      FEWEST_POINTS = 1000
      # The edges of a box, as pairs of its corners.
      BOX_EDGES = [0, 1, 2, 3, 4, 5, 6, 7, 0, 2, 1, 3, 4, 6, 5, 7, 0, 4, 1, 5, 2, 6, 3, 7].freeze
      private_constant :BOX_EDGES

      # @return [Sketchup::View, nil] where the model is shown
      attr_reader :view
      # @return [Array] corners and edges of the last readback: see get_triangles; distinct vertices: see get_points
      attr_reader :triangles, :lines, :mesh_points
      # A mesh at its place, and which entries of @triangles are its face sets.
      PlacedMesh = Struct.new(:mesh, :materials, :transformation, :first, :count)

      # @return [Array<PlacedMesh>] what @triangles holds, in its order
      attr_reader :placed_meshes
      # @return [Float, nil] seconds that the last frame took
      attr_reader :last_draw_time
      # @return [Geom::BoundingBox] around all instances, as of the last readback
      attr_reader :preview_bounds
      # @return [Boolean] whether a frame shows the bounding box, as it does at first
      attr_writer :bounds_visible

      # Reads the faces back at the present step and has the view draw them.
      # @param view [Sketchup::View]
      # @return [self]
      # @raise [Error] without a model
      def show(view = @view)
        raise Error, 'nothing has been imported' unless loaded?

        @view = view
        stop_full_timer
        @draw_points_only = false
        @draw_callback = true
        read_faces
        view&.invalidate
        self
      end

      # Moves along the hierarchy while a slider does: runs the block, which makes the move, and has the view draw
      # points. The faces follow on their own when no further slide has come for REST_SECONDS.
      # @return what the block returns
      # @raise [Error] without a model
      def slide
        raise Error, 'nothing has been imported' unless loaded?

        stop_full_timer
        moved = yield
        @draw_points_only = true
        # Have this very frame start the timer, also when it is the first one.
        @draw_callback = true
        read_points
        @view&.invalidate
        moved
      end

      # Forgets the view and what was read back.
      # @return [self]
      def hide
        stop_full_timer
        @view = nil
        clear_readback
        self
      end

      def bounds_visible?
        @bounds_visible != false
      end

      # @return [Boolean] whether frames show points only
      def points_only?
        @draw_points_only == true
      end

      # @return [String] faces, step and time of the last frame
      def preview_status
        parts = [face_status]
        parts << "step #{delimit(get_current_step)} of #{delimit(get_hierachy_steps)}" if total_original_faces
        parts << format('drawn in %.0f ms', last_draw_time * 1000) if last_draw_time
        parts.join(', ')
      end

      # @!group Called by the native half

      # @param index [Integer] a place in @triangles
      # @return [Sketchup::Color] of the material of those triangles
      def get_triangle_color_at(index)
        @triangle_colors = scene_colors unless @triangle_colors && @triangle_colors.size == @triangles.size
        @triangle_colors.at(index)
      end

      # Draws fewer points where the last frame took too long: every second, every third one, ...
      # @param _view [Sketchup::View]
      def optimize_dynamic_drawing(_view)
        budget = [((@points_per_second || Float::INFINITY) * POINT_FRAME_SECONDS), FEWEST_POINTS].max
        return if @mesh_points.size <= budget

        every = @mesh_points.size.fdiv(budget).ceil
        @mesh_points = (0...@mesh_points.size).step(every).map { |index| @mesh_points[index] }
      end

      # Draws the box around the model in grey.
      # @param view [Sketchup::View]
      def draw_bounds(view)
        return unless bounds_visible? && preview_bounds && !preview_bounds.empty?

        view.drawing_color = 'gray'
        view.draw(1, BOX_EDGES.map { |corner| preview_bounds.corner(corner) })
      end

      def set_status_text
        Sketchup.status_text = preview_status
      end

      # A frame has ended. One of points starts the wait for the faces; the next frame stops it again.
      def on_draw_complete
        return unless points_only?

        @points_per_second = @mesh_points.size / last_draw_time if last_draw_time.positive?
        @draw_full_timer = UI.start_timer(REST_SECONDS, false) do
          @draw_full_timer = nil
          show
        end
      end

      # @!endgroup

      private

      def face_status
        faces = count_faces
        return "#{delimit(faces)} faces" if faces_before.zero?

        "#{delimit(faces)} of #{delimit(faces_before)} faces (#{share(faces, faces_before)} %)"
      end

      # Only nothing is 0 %, and only all of it 100 %.
      def share(part, all)
        percent = 100.0 * part / all
        return '< 1' if percent.positive? && percent < 1
        return '> 99' if percent > 99 && percent < 100

        percent.round.to_s
      end

      def delimit(number)
        number.to_s.gsub(/(?<=\d)(?=(\d{3})+\z)/, ',')
      end

      def stop_full_timer
        UI.stop_timer(@draw_full_timer) if @draw_full_timer
        @draw_full_timer = nil
      end

      # The arrays are made anew, since the native half only appends to them.
      def clear_readback
        @triangles = []
        @lines = []
        @mesh_points = []
        @placed_meshes = []
        @triangle_colors = PreviewColors.new
        @preview_bounds = Geom::BoundingBox.new
      end

      # For a program that has filled @triangles on its own, mesh by mesh in the order of the scene.
      def scene_colors
        colors = PreviewColors.new
        each_placed_mesh(root.entities, IDENTITY) do |definition, _|
          colors.add(definition.materials, [definition.materials.size, 1].max)
        end
        colors
      end

      def read_faces
        read_back do |definition, transformation|
          first = @triangles.size
          get_triangles(definition.balancer_mesh_index, transformation.to_a)
          count = @triangles.size - first
          @triangle_colors.add(definition.materials, count)
          @placed_meshes << PlacedMesh.new(definition.balancer_mesh_index, definition.materials, transformation, first, count)
        end
      end

      def read_points
        read_back { |definition, transformation| get_points(definition.balancer_mesh_index, transformation.to_a) }
      end

      def read_back(&reader)
        clear_readback
        each_placed_mesh(root.entities, IDENTITY) do |definition, transformation|
          reader.call(definition, transformation)
          widen_bounds(definition.balancer_mesh_index, transformation)
        end
      end

      def each_placed_mesh(entities, outer, &block)
        entities.each do |instance|
          transformation = outer * instance.transformation
          definition = instance.definition
          block.call(definition, transformation) if definition.balancer_mesh_index
          each_placed_mesh(definition.entities, transformation, &block)
        end
      end

      def widen_bounds(mesh, transformation)
        box = get_mesh_bounds(mesh)
        return if !box || box.empty?

        @preview_bounds.add((0..7).map { |corner| transformation * box.corner(corner) })
      end
    end
  end
end
