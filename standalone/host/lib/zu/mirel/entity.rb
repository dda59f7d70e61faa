# frozen_string_literal: true

module Zu
  module Mirel
    # What the scene is made of: definitions hold a mesh, instances place definitions.
    class Definition
      # @return [String]
      attr_reader :name
      # @return [Array<Instance>] what is placed inside
      attr_reader :entities
      # @return [Integer, nil] the number of its mesh in the native half; nil without a mesh of its own
      attr_reader :balancer_mesh_index
      # @return [Array<Material>] one per face set of the mesh
      attr_reader :materials

      def initialize(name, balancer_mesh_index = nil, materials = [])
        @name = name
        @balancer_mesh_index = balancer_mesh_index
        @materials = materials
        @entities = []
      end

      # @return [Array<String, nil>] one per face set of the mesh
      def material_names
        materials.map { |material| material&.name }
      end

      def group?
        false
      end
      alias is_group? group?
    end

    # A definition at a place.
    Instance = Struct.new(:name, :definition, :transformation)
  end
end
