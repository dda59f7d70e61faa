# frozen_string_literal: true

module Zu
  module Mirel
    # What the scene is made of: definitions hold a mesh and placed definitions, instances place them.
    class Definition
      # @return [String]
      attr_reader :name
      # @return [Array<Instance>] what is placed inside
      attr_reader :entities
      # @return [Integer, nil] the number of its mesh in the native half; nil without a mesh of its own
      attr_reader :balancer_mesh_index
      # @return [Array<Material, nil>] one per face set of the mesh
      attr_reader :materials

      # @param group [Boolean] whether it is placed once only, and its name may be another definition's too
      def initialize(name, balancer_mesh_index = nil, materials = [], group: false)
        @name = name
        @balancer_mesh_index = balancer_mesh_index
        @materials = materials
        @group = group
        @entities = []
      end

      # Whether faces are to have materials that say nothing too: with them go UVs, and what backs look like.
      attr_writer :all_materials

      # @return [Array<String, nil>] one per face set of the mesh; nil for what looks as without a material
      def material_names
        materials.map { |material| material.name unless material.nil? || (nothing_special?(material) && !@all_materials) }
      end

      def group?
        @group
      end
      alias is_group? group?

      private

      def nothing_special?(material)
        material.plain? && (material.name.empty? || material.name.b.casecmp('default')&.zero?)
      end
    end

    # A definition at a place.
    Instance = Struct.new(:name, :definition, :transformation)
  end
end
