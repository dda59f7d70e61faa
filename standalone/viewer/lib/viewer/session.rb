# frozen_string_literal: true

require 'viewer/distances'
require 'viewer/downloads'
require 'viewer/frame'
require 'viewer/messages'
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
    # @param build_seconds [Float, nil] what reading the model and building its hierarchy took
    def initialize(importer, events, build_seconds: nil)
      @importer = importer
      @events = events
      @build_seconds = build_seconds
      @path = importer.path
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

    # @return [Array<String>] see Distances#encode
    def distances
      alive
      @distances ||= at_step(0) { Distances.new(importer) }
      @distances.encode(importer)
    end

    # @return [Proc] measures the deviation of the present step when it is called, which may be on any thread;
    #   returns that step and the bound, nil where it is not known
    def deviation_measurement
      alive
      step = importer.get_current_step
      bound = known_deviation(step)
      unknowable = bound || importer.deviation_unknowable?
      measure = Zu::Mirel::Engine.deviation_measurement(step) unless unknowable
      loads = @loads
      -> { { step: step, loads: loads, deviation: measure ? measure.call : bound } }
    end

    # Keeps what was measured.
    # @param measured [Hash] of #deviation_measurement
    # @return [Hash] the same
    def deviation_measured(measured)
      @deviations[measured[:step]] = measured[:deviation] if measured[:loads] == @loads && measured[:deviation]
      measured
    end

    # Reads the model again and builds another hierarchy: what an earlier preparation has joined or left out would not
    # come back otherwise. The mesh is then about as fine as it was.
    # @param settings [Hash{Symbol => Object}] see Zu::Mirel::Settings
    # @return [Hash] the state
    # @raise [Refused] for a value out of range: nothing has changed
    # @raise [Zu::Mirel::Error] where the model cannot be read or built any more: it is gone then
    def rebuild(settings)
      faces = importer.count_faces if importer.loaded? && importer.get_current_step.positive?
      change(settings)
      started = now
      importer.import(@path)
      importer.build_hierarchy
      @build_seconds = now - started
      importer.go_to_faces(faces) if faces
      scene_changed
      importer.show(@view)
      @events.publish('rebuilt', loads: @loads)
      state
    end

    # @param extension [String] one of Downloads.formats
    # @return [Downloads::File]
    def download(extension)
      alive
      Downloads.new(importer).make(extension)
    end

    # @return [Hash] what the page shows of the model beyond the frame
    def state
      { name: name, path: @path, version: Zu::Mirel::VERSION, loaded: importer.loaded?, loads: @loads,
        y_up: importer.y_up?,
        build_seconds: @build_seconds, settings: settings, distances: Distances.available?,
        formats: Downloads.formats.map { |extension, format| { extension: extension, name: format } },
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
      at_step(step) do
        view = Sketchup::View.new
        importer.show(view)
        view.render { importer.draw(view) }
        yield view
      end
    ensure
      importer.show(@view)
    end

    def at_step(step)
      before = importer.get_current_step
      importer.go_to_step(step)
      yield
    ensure
      importer.go_to_step(before)
    end

    def settings
      Messages::SETTINGS.to_h { |name, _| [name, importer.public_send(name)] }
    end

    # All of them or none.
    def change(settings)
      before = settings.to_h { |name, _| [name, importer.public_send(name)] }
      settings.each { |name, value| importer.public_send(:"#{name}=", value) }
    rescue ArgumentError => e
      before.each { |name, value| importer.public_send(:"#{name}=", value) }
      raise Refused, e.message
    end

    def now
      Process.clock_gettime(Process::CLOCK_MONOTONIC)
    end

    def head
      step = importer.get_current_step
      { number: @number, step: step, steps: importer.get_hierachy_steps, faces: importer.count_faces,
        seconds: importer.last_draw_time, status: Sketchup.status_text, stopped: importer.why_stopped,
        vertices: importer.count_vertices, deviation: known_deviation(step), bounds: bounds }
    end

    def known_deviation(step)
      @deviations[step] || importer.deviation_bound(measure: false)
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
      { name: material.name.scrub, color: color.to_a, texture: textures.type(index) }
    end

    def name
      @path ? File.basename(@path).scrub : importer.root.name
    end

    def scene_changed
      @loads = (@loads || 0) + 1
      @originals = {}
      @deviations = {}
      @distances = nil
      @textures = Textures.new(importer)
    end
  end
end
