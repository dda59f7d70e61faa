# frozen_string_literal: true

require 'viewer/frame'
require 'viewer/textures'

module Viewer
  # What the open pages look at: a model at a step, the view it is drawn into, and the moves that a page can make.
  # Every method belongs on the host's thread.
  class Session
    # The share of the steps still below that one press of a button takes.
    STRIDE = 0.08

    # A move that there is not, or a value out of range: the page's fault, and nothing has changed.
    class Refused < StandardError; end

    # @return [Zu::Mirel::Importer]
    attr_reader :importer
    # @return [Textures]
    attr_reader :textures

    # @param importer [Zu::Mirel::Importer] with a hierarchy
    # @param events [Events] told of every frame
    def initialize(importer, events)
      @importer = importer
      @events = events
      @number = 0
      @view = Sketchup::View.new
      @view.on_invalidate { draw }
      scene_changed
      importer.show(@view)
    end

    # Moves along the hierarchy.
    # @param target [String] 'faces', 'step', 'coarser', 'finer', 'lowest' or 'highest'
    # @param value [Integer, nil] faces, step, or the number of steps
    # @param live [Boolean] a slider is moving: draw points, and the faces once it rests
    # @param layers [Hash] what goes along with the frame: see Frame#encode
    # @return [Array<String>] the frame
    def move(target, value, live:, layers: {})
      alive
      make_move = -> { navigate(target, value) }
      if live
        importer.slide(&make_move)
      else
        make_move.call
        importer.show(@view)
      end
      frame(**layers)
    end

    # @return [Array<String>] the last frame
    def frame(**layers)
      alive
      Frame.new(importer, @view.batches).encode(head, **layers)
    end

    # @return [Array<String>] the frame at step 0, drawn aside
    def original(edges: false)
      alive
      @originals[edges] ||= aside(0) do |view|
        Frame.new(importer, view.batches).encode(head.merge(original: true), edges: edges)
      end
    end

    # @return [Hash] what the page shows of the model beyond the frame
    def state
      { name: name, path: importer.path, version: Zu::Mirel::VERSION, loaded: importer.loaded?,
        faces_before: importer.faces_before, vertices_before: importer.points_before,
        faces_prepared: importer.total_original_faces, fewest_faces: fewest_faces,
        materials: importer.materials.each_index.map { |index| material(index) },
        meshes: importer.loaded? ? importer.placed_meshes.size : 0, head: importer.loaded? ? head : nil }
    end

    private

    def alive
      raise Refused, 'the model is gone: rebuild with other settings' unless importer.loaded?
    end

    def navigate(target, value)
      case target
      when 'faces' then importer.go_to_faces(value)
      when 'step' then importer.go_to_step([value, importer.get_hierachy_steps].min)
      when 'coarser' then importer.make_decimation_step(value || stride)
      when 'finer' then importer.make_refinement_step(value || stride)
      when 'lowest' then importer.make_lowest_resolution
      when 'highest' then importer.make_highest_resolution
      end
    end

    def stride
      [((importer.get_hierachy_steps - importer.get_current_step) * STRIDE).round, 1].max
    end

    # The view has become invalid: there is a new frame to see.
    def draw
      @view.render { importer.draw(@view) } if importer.loaded?
      @number += 1
      @events.publish('frame', number: @number, points_only: importer.points_only?)
    end

    # Draws another step into a view of its own, and comes back.
    def aside(step)
      before = importer.get_current_step
      importer.go_to_step(step)
      view = Sketchup::View.new
      importer.show(view)
      view.render { importer.draw(view) }
      yield view
    ensure
      importer.go_to_step(before)
      importer.show(@view)
    end

    def head
      step = importer.get_current_step
      { number: @number, step: step, steps: importer.get_hierachy_steps, faces: importer.count_faces,
        seconds: importer.last_draw_time, status: Sketchup.status_text, stopped: importer.why_stopped,
        vertices: importer.points_only? ? nil : importer.count_vertices,
        deviation: Zu::Mirel::Engine.deviation_bound(step), bounds: bounds }
    end

    def bounds
      box = importer.preview_bounds
      [box.min.to_a, box.max.to_a] unless box.empty?
    end

    def fewest_faces
      importer.loaded? ? Zu::Mirel::Engine.face_count_at(importer.get_hierachy_steps) : nil
    end

    def material(index)
      material = importer.materials[index]
      color = material.color || Zu::Mirel::PreviewColors::DEFAULT
      { name: material.name.scrub, color: color.to_a, texture: textures.known?(index) }
    end

    def name
      importer.path ? File.basename(importer.path).scrub : importer.root.name
    end

    def scene_changed
      @originals = {}
      @textures = Textures.new(importer)
    end
  end
end
