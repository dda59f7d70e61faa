# frozen_string_literal: true

require_relative "stand_ins"

# Recording stand-ins for what the model export asks of the plugin's Ruby half.

# An object that answers the given names, each an event.
class Answers
  def initialize(label, **values)
    @label = label
    @values = values
    values.each_key do |name|
      define_singleton_method(name) do
        Events.emit("#{@label}.#{name}")
        @values.fetch(name)
      end
    end
  end

  # The answer to a name, from now on.
  def change(name, value) = @values[name] = value
  def inspect = @label
end

# A list whose length and entries are events.
class AnsweredList
  def initialize(label, values)
    @label = label
    @values = values
  end

  def length
    Events.emit("#{@label}.length")
    @values.length
  end

  def [](index)
    Events.emit("#{@label}.[]", index)
    @values[index]
  end

  def inspect = @label
end

module Export
  IDENTITY = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1].freeze

  class << self
    def node(name, children: [], mesh: nil, materials: [], group: false)
      Answers.new(name, entities: AnsweredList.new("#{name}.entities", children), balancer_mesh_index: mesh,
                        material_names: AnsweredList.new("#{name}.material_names", materials), name: +name,
                        is_group?: group)
    end

    def child(definition, matrix = IDENTITY)
      label = "child of #{definition.inspect}"
      Answers.new(label, definition: definition, transformation: Answers.new("#{label}.transformation", to_a: matrix))
    end

    def description(color: [1, 2, 3, 4], texture: nil, width: nil, height: nil)
      components = Answers.new("color", red: color[0], green: color[1], blue: color[2], alpha: color[3])
      Answers.new("description", color: components, texture: texture, width: width, height: height)
    end
  end
end

module Zu
  module Mirel
    class Importer
      IMPORTED_MATERIAL_PREFIX = "X_"
      EXPORT_DEFAULTS = {
        soften_edges?: false, apply_materials_both_sides?: false, apply_uv_texture?: false,
        importing_external_file?: false, uv_texture_path: "uv.png"
      }.freeze

      attr_writer :export_settings

      def export_settings = @export_settings ||= EXPORT_DEFAULTS.dup

      EXPORT_DEFAULTS.each_key do |name|
        define_method(name) do
          Events.emit("importer.#{name}")
          export_settings.fetch(name)
        end
      end

      def smooth_angle(*arguments)
        Events.emit("importer.smooth_angle", *arguments)
        export_settings.fetch(:smooth_angle, 0.5)
      end

      def exported_definition?(node)
        Events.emit("importer.exported_definition?", node)
        export_settings.fetch(:exported_definition?) { exported_nodes.include?(node) }
      end

      # Recorded on the way down already, so that the second instance of a definition finds the first.
      def definition_exported(node, name)
        Events.emit("importer.definition_exported", node, name)
        exported_nodes << node
        exported_definitions[name] = name
      end

      def material_exported(description, name)
        Events.emit("importer.material_exported", description, name)
        exported_materials[name] = name
      end

      def update_mesh_export_progress = Events.emit("importer.update_mesh_export_progress")
      def progress=(percent)
        Events.emit("importer.progress=", percent)
      end

      def exported_nodes = @exported_nodes ||= []
      def exported_definitions = @exported_definitions ||= {}
      def exported_materials = @exported_materials ||= {}
      def imported_materials = @imported_materials ||= {}

      # What the plugin does before each export.
      def forget_exported
        @exported_nodes = []
        @exported_definitions = {}
        @exported_materials = {}
        @imported_materials ||= {}
      end
    end
  end
end
