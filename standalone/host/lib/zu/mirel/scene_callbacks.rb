# frozen_string_literal: true

require 'pathname'
require 'zu/mirel/engine'
require 'zu/mirel/entity'
require 'zu/mirel/material'
require 'zu/mirel/status_progress_bar'
require 'zu/mirel/texture_finder'

module Zu
  module Mirel
    # What the native importers announce, and how they report progress. They call these methods; a program reads
    # #root, #instances, #definitions and #materials afterwards.
    module SceneCallbacks
      # @return [Definition] the scene's root
      attr_reader :root
      # @return [Array<Material>] in the order of their first use
      attr_reader :materials

      # @return [Array<Instance>] what stands directly below the root
      def instances
        root.entities
      end

      # @return [Array<Definition>] those that have a mesh, each once, in the order of the scene
      def definitions
        placements.map(&:first).uniq
      end

      # @return [Array<Array(Definition, Geom::Transformation)>] each mesh wherever the scene puts it
      def placements
        found = []
        left = [[root, IDENTITY]]
        until left.empty?
          definition, place = left.pop
          found << [definition, place] if definition.balancer_mesh_index
          definition.entities.reverse_each do |instance|
            left << [instance.definition, place * instance.transformation]
          end
        end
        found
      end

      # The same mesh in the same materials is the same definition, however often it is placed.
      # @return [Definition]
      def definition_of_mesh(name, mesh, materials)
        key = [mesh, materials.map(&:object_id)]
        @mesh_definitions[key] ||= Definition.new(unique_name(@definition_names, name), mesh, materials)
      end

      # @return [Material] of a name that no other has
      def new_material(name, color, texture, **options)
        material = Material.new(unique_name(@material_names, name), color, texture, source_name: name, **options)
        materials << material
        material
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
        @material_of_look[[name, color&.to_a, texture]] ||=
          new_material(name, color, texture, texture_file: @texture_files[texture])
      end

      # @return [String] the texture's path as seen from the base path
      def get_texture_relative_path(base, texture)
        relative = base.empty? ? texture : Pathname.new(texture).relative_path_from(Pathname.new(base)).to_s
      rescue ArgumentError
        relative = texture # one path is absolute and the other is not: there is no way from here to there
      ensure
        @texture_files[relative] = TextureFinder.find(texture, [base, model_folder].reject(&:empty?)) if relative
      end

      # Places a mesh, or without one a new group, below a definition.
      # @param mesh [Integer, nil]
      # @return [Definition] what has been placed
      def add_instance(name, transformation, mesh, materials, parent)
        definition = mesh ? definition_of_mesh(name, mesh, materials) : Definition.new(name, group: true)
        parent.entities << Instance.new(name, definition, transformation)
        definition
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
        @material_of_look = {}
        @material_names = {}
        @mesh_definitions = {}
        @definition_names = {}
        @texture_files = {}
      end

      # The name, or where it is taken the name with a number, as the host makes them.
      def unique_name(taken, name)
        candidate = name
        candidate = "#{name}##{taken[name] += 1}" while taken.key?(candidate)
        taken[candidate] = 0
        candidate
      end

      def model_folder
        path ? File.dirname(path) : ''
      end
    end
  end
end
