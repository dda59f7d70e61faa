# frozen_string_literal: true

require 'geom'
require 'zu/mirel/fbx_library'
require 'zu/mirel/texture_finder'

module Zu
  module Mirel
    # What the native FBX importer announces beside what all importers do.
    #
    # Every node is a group below its parent's, and holds its meshes as instances that carry the node's geometric
    # offset. The importer knows meshes and materials by identifiers; names that repeat are kept apart, so that a name
    # stands for one of them.
    module FbxCallbacks
      # What is known of a mesh that has been converted.
      MeshRecord = Struct.new(:balancer_index)

      # FBX counts in centimeters unless it says otherwise.
      CENTIMETERS = 3
      private_constant :CENTIMETERS

      # @return [Array<String>] textures as the file names them that are nowhere to be found
      attr_reader :missing_textures

      # @return [Array<String>] textures whose material repeats or stretches them, which no output tells
      attr_reader :scaled_textures

      # @!group Called by the native half

      # @param code [Integer] as SceneFrame#unit
      def set_unit(code)
        self.unit = code
      end

      # @return [Integer] the code for a unit that has none of its own
      def default_unit
        CENTIMETERS
      end

      # Lengths stay in the file's unit, so there is nothing to scale.
      # @param transformation [Geom::Transformation] of a node
      # @return [Geom::Transformation]
      def scale_of_trans(transformation)
        transformation
      end

      # The offset of a node's meshes: scaled first, then turned about x, y and z, then moved.
      # @return [Geom::Transformation]
      def calc_geometric_transform(tx, ty, tz, rx, ry, rz, sx, sy, sz, _node_name)
        angles = { [1, 0, 0] => rx, [0, 1, 0] => ry, [0, 0, 1] => rz }
        turns = angles.map { |axis, degrees| Geom::Transformation.rotation([0, 0, 0], axis, degrees * Math::PI / 180) }
        turn = turns.reverse.reduce { |product, one| product * one }
        Geom::Transformation.translation([tx, ty, tz]) * turn * Geom::Transformation.scaling(sx, sy, sz)
      end

      # @param name [String, nil] nil from the importers that number their meshes
      # @return [String] for every mesh another; one without a name has its node's
      def get_mesh_name(name, number)
        return super unless name

        @fbx_mesh_names[number] ||= unique_name(@fbx_names, name.empty? ? @fbx_node_name : name)
      end

      # @return [String] for every material another
      def get_material_name(name, identifier)
        @fbx_material_names[identifier] ||= unique_name(@material_names, name)
      end

      # @param identifier [Integer, nil] nil from the importers whose materials have none
      # @return [Material]
      def add_material(name, color, texture, identifier = nil, scale_u = 1.0, scale_v = 1.0)
        return super(name, color, texture) unless identifier

        texture = nil if texture && texture.empty?
        @scaled_textures |= [texture] if texture && [scale_u, scale_v] != [1.0, 1.0]
        @fbx_materials[name] ||= Material.new(name, color, texture, texture_file: texture && texture_file(texture))
                                         .tap { |material| materials << material }
      end

      # @param materials [Array<Material, String, nil>]
      def add_instance(name, transformation, mesh, materials, parent)
        @fbx_node_name = name unless mesh
        super(name, transformation, mesh, materials.map { |material| @fbx_materials.fetch(material, material) }, parent)
      end

      # Records a mesh, so that the next node that has it finds it.
      def add_mesh(key, index, _identifier)
        @balancer_meshes[key] = MeshRecord.new(index)
      end

      # A file may have UVs for textures that are still to come: they are kept.
      def apply_uv_texture?
        @importing_fbx || super
      end

      # @!endgroup

      private

      def reset_scene(name)
        super
        @balancer_meshes = {}
        @fbx_names = {}
        @fbx_mesh_names = {}
        @fbx_material_names = {}
        @fbx_materials = {}
        @fbx_node_name = name
        @missing_textures = []
        @scaled_textures = []
        @media_folder = nil
      end

      # Beside the file, else inside. A texture that is not there is no reason to refuse the scene: paths in these files
      # are mostly of other machines.
      def texture_file(name)
        file = TextureFinder.find(name, [model_folder])
        file = TextureFinder.find(name, [media_folder]) unless File.file?(file)
        return file if File.file?(file)

        @missing_textures |= [name]
        nil
      end

      # The pictures inside the file are looked for once, when the first is missed.
      def media_folder
        @media_folder ||= texture_folder.tap { |folder| FbxLibrary.extract_media(path, folder) }
      end
    end
  end
end
