# frozen_string_literal: true

# Recording stand-ins for what the FBX import asks of the plugin's Ruby half.

module Geom
  class Transformation
    attr_reader :numbers

    def initialize(numbers)
      Events.emit("Transformation.new")
      @numbers = numbers
    end

    # Six digits; no negative zeros.
    def inspect = "T(#{numbers.map { |number| format("%g", number.round(9) + 0.0) }.join(",")})"
  end
end

module FbxStandIns
  # What the Ruby half keeps of a mesh that was converted.
  MeshRecord = Struct.new(:index) do
    def balancer_index
      Events.emit("record.balancer_index")
      index
    end
  end

  # A short name for an identifier: "#" and the first name that came with it, dashed where another object had it.
  Identifier = Struct.new(:label) do
    def inspect = label
  end

  attr_writer :default_unit, :apply_uv_texture

  def default_unit
    Events.emit("importer.default_unit")
    @default_unit || "3"
  end

  def apply_uv_texture?
    Events.emit("importer.apply_uv_texture?")
    @apply_uv_texture || false
  end

  def set_unit(code) = Events.emit("importer.set_unit", code)
  def scale_of_trans(transformation) = Events.emit("importer.scale_of_trans", transformation)

  def get_material_name(name, identifier)
    Events.emit("importer.get_material_name", name, shown(identifier, name))
    "M-#{name}"
  end

  def calc_geometric_transform(*arguments)
    Events.emit("importer.calc_geometric_transform", *arguments)
    :offset
  end

  def add_mesh(key, index, identifier)
    Events.emit("importer.add_mesh", key, index, shown(identifier, key))
    @balancer_meshes[key] = MeshRecord.new(index)
  end

  # What the plugin does before each import.
  def forget_imported
    @balancer_meshes = {}
    @labels = {}
  end

  def shown(identifier, name)
    return identifier unless identifier.is_a?(Integer)

    @labels[identifier] ||= Identifier.new(unused_label("##{name}"))
  end

  private

  def unused_label(label)
    label += "'" while @labels.each_value.any? { |other| other.label == label }
    label
  end
end
