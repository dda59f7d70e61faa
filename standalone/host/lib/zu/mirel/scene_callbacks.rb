# frozen_string_literal: true

require 'pathname'
require 'zu/mirel/engine'
require 'zu/mirel/entity'
require 'zu/mirel/material'
require 'zu/mirel/status_progress_bar'

module Zu
  module Mirel
    # What the native importers announce, and how they report progress. They call these methods; a program reads
    # #root, #instances and #materials afterwards.
    module SceneCallbacks
      # @return [Definition] the scene's root
      attr_reader :root
      # @return [Array<Material>] in the order of their first use
      attr_reader :materials

      # @return [Array<Instance>] what stands directly below the root
      def instances
        root.entities
      end

      # @!group Called by the native half

      # @return [Definition]
      def get_root_definition
        root
      end

      # @param _node [nil]
      # @param mesh [Integer]
      # @return [String]
      def get_mesh_name(_node, mesh)
        Engine.mesh_name(mesh) || (mesh.zero? ? @scene_name : "#{@scene_name}-#{mesh + 1}")
      end

      # @return [Material] the one with these properties, made where there is none yet
      def add_material(name, color, texture)
        found = materials.find { |m| m.name == name && m.color == color && m.texture == texture }
        return found if found

        Material.new(name, color, texture).tap { |material| materials << material }
      end

      # @return [String] the texture's path as seen from the base path
      def get_texture_relative_path(base, texture)
        return texture if base.empty?

        Pathname.new(texture).relative_path_from(Pathname.new(base)).to_s
      rescue ArgumentError
        texture # one path is absolute and the other is not: there is no way from here to there
      end

      # Places a mesh below a definition.
      def add_instance(name, transformation, mesh, materials, parent)
        parent.entities << Instance.new(name, Definition.new(name, mesh, materials), transformation)
      end

      # @return [Boolean] whether the UVs of the material's meshes are to be captured
      def material_has_texture?(key)
        key.respond_to?(:textured?) && key.textured? ? true : false
      end

      def task_name=(name)
        StatusProgressBar.instance.task_name = name
      end

      def update
        StatusProgressBar.instance.update
      end

      def progress=(percent)
        StatusProgressBar.instance.progress = percent
      end

      # @!endgroup

      private

      def reset_scene(name)
        @scene_name = name
        @root = Definition.new(name)
        @materials = []
      end
    end
  end
end
