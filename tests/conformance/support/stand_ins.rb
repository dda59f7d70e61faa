# frozen_string_literal: true

# Small recording stand-ins for the host's modules and for the plugin's Ruby half. Every call that reaches one of
# them is an event: a line in the recorder's log, and a chance for a test to step in.
module Events
  class << self
    # Called with the event's place in the run (0-based) and its name.
    attr_accessor :hook
    attr_accessor :count

    def emit(name, *arguments)
      # Allocates little: under GC stress every object costs a whole collection.
      Recorder.note(arguments.empty? ? name : "#{name} #{arguments.map(&:inspect).join(" ")}")
      index = count
      self.count += 1
      hook&.call(index, name)
    end

    def reset
      self.hook = nil
      self.count = 0
    end
  end
end
Events.reset

# What the extension prints becomes part of the log.
module Kernel
  def self.puts(*arguments) = Events.emit("Kernel.puts", *arguments)
  def self.print(*arguments) = Events.emit("Kernel.print", *arguments)
end

module UI
  def self.messagebox(*arguments)
    Events.emit("UI.messagebox", *arguments)
    :pressed
  end

  def self.stop_timer(timer) = Events.emit("UI.stop_timer", timer)
end

module Sketchup
  class Color
    attr_reader :components

    def initialize(*components)
      @components = components
      Events.emit("Color.new", *components)
    end

    def inspect = "Color(#{components.join(",")})"
  end
end

module Geom
  # A point or vector whose coordinates are events. Tests give a kind and coordinates, the extension coordinates alone.
  class Point3d
    def initialize(*arguments)
      given_by_test = arguments.first.is_a?(String)
      @kind, @coordinates = given_by_test ? arguments : ["point", arguments]
      Events.emit("Point3d.new", *arguments) unless given_by_test
    end

    def inspect = "Point3d(#{@coordinates.join(",")})"

    %i[x y z].each_with_index do |axis, place|
      define_method(axis) do
        Events.emit("#{@kind}.#{axis}")
        @coordinates[place]
      end
    end
  end

  class BoundingBox
    def initialize = Events.emit("BoundingBox.new")
    def add(point) = Events.emit("BoundingBox.add", point)
  end

  # A polygon mesh given as corners: every point index names one entry of each table. The extension gives two counts.
  class PolygonMesh
    attr_writer :count_polygons
    attr_accessor :polygon_list, :points, :normals, :uvs

    def initialize(polygons, polygon_count = nil, points: {}, normals: {}, uvs: {})
      Events.emit("PolygonMesh.new", polygons, polygon_count) if polygon_count
      @polygon_list = polygons
      @points = points
      @normals = normals
      @uvs = uvs
    end

    def polygons
      Events.emit("mesh.polygons")
      polygon_list
    end

    def count_polygons
      Events.emit("mesh.count_polygons")
      @count_polygons || polygon_list.length
    end

    def point_at(index)
      Events.emit("mesh.point_at", index)
      Point3d.new("point", points.fetch(index) { [index || 0, 0.5, 0.25] })
    end

    def normal_at(index)
      Events.emit("mesh.normal_at", index)
      Point3d.new("normal", normals.fetch(index, [0.0, 0.0, 1.0]))
    end

    def uv_at(index, front)
      Events.emit("mesh.uv_at", index, front)
      Point3d.new("uv", uvs.fetch(index, [0.125, 0.75, 2.0]))
    end

    def inspect = "PolygonMesh"
  end
end

IDENTITY = :identity

# The host's viewport.
class View
  # What each call was given, not only how it looks.
  attr_reader :drawn

  def initialize = @drawn = []

  def drawing_color=(color)
    Events.emit("view.drawing_color=", color)
  end

  def draw(primitive, points)
    drawn << [primitive, points]
    Events.emit("view.draw", primitive, points)
  end

  def inspect = "view"
end

require_relative "fbx_stand_ins"

module Zu
  module Mirel
    class NoFacesError < StandardError; end

    class StatusProgressBar
      def self.instance
        @instance ||= new("bar")
      end

      def initialize(name)
        @name = name
      end

      %i[update_message task_name= task_max_count= task_max_count== progress=].each do |name|
        define_method(name) { |value| Events.emit("#{@name}.#{name}", value) }
      end

      def update = Events.emit("#{@name}.update")
    end

    class Importer
      DEFAULTS = {
        maintain_uvs?: true, maintain_normals?: true,
        join_vertices_threshold: 0.5, join_normals_threshold: 2.5, join_uvs_threshold: 0.25,
        lock_surface_boundaries?: false, prevent_xy_foldovers?: false, prevent_uv_foldovers?: false,
        use_tolerance?: false, get_scaled_error_tolerance: 0.75, face_limit: 0
      }.freeze

      attr_accessor :settings, :textured

      include FbxStandIns

      def initialize(**settings)
        @settings = DEFAULTS.merge(settings)
        @textured = true
        forget_imported
      end

      DEFAULTS.each_key do |name|
        define_method(name) do
          Events.emit("importer.#{name}")
          settings.fetch(name)
        end
      end

      def material_has_texture?(key)
        Events.emit("importer.material_has_texture?", key)
        textured
      end

      def get_root_definition
        Events.emit("importer.get_root_definition")
        :root
      end

      # The FBX import gives a name and an identifier, the others nil and an index.
      def get_mesh_name(name, number)
        number = shown(number, name) if name
        Events.emit("importer.get_mesh_name", name, number)
        name ? "K-#{number.label}" : "mesh #{number}"
      end

      # The FBX import adds the identifier and the texture's scale.
      def add_material(name, color, texture, identifier = nil, *scale)
        identifier = [shown(identifier, name)] if identifier
        Events.emit("importer.add_material", name, color, texture, *identifier, *scale)
        "handle of #{name}"
      end

      def get_texture_relative_path(base, path)
        Events.emit("importer.get_texture_relative_path", base, path)
        "relative #{path}"
      end

      def add_instance(*arguments)
        Events.emit("importer.add_instance", *arguments)
        :"definition of #{arguments.first}"
      end


      def get_triangle_color_at(index)
        Events.emit("importer.get_triangle_color_at", index)
        "colour #{index}"
      end

      def optimize_dynamic_drawing(view) = Events.emit("importer.optimize_dynamic_drawing", view)
      def draw_bounds(view) = Events.emit("importer.draw_bounds", view)
      def set_status_text = Events.emit("importer.set_status_text")
      def on_draw_complete = Events.emit("importer.on_draw_complete")
      def task_name=(name)
        Events.emit("importer.task_name=", name)
      end
      def update = Events.emit("importer.update")
      def inspect = "importer"
    end
  end
end
