# frozen_string_literal: true

require 'sketchup'
require 'zu/mirel/engine'
require 'zu/mirel/status_progress_bar'

module Zu
  module Mirel
    # What the native model export (export_skp) asks while it writes the scene, and what it reports.
    #
    # It walks the scene from its root: each definition is written once, under its name, and placed again wherever it
    # comes up again. Materials are looked up by name, of which every one stands for one material.
    module SceneExport
      # Goes before the names of materials that come from a host's model; those of files keep their names.
      IMPORTED_MATERIAL_PREFIX = 'Mirel_'

      # A material as the native half reads it: a colour with red, green, blue and alpha from 0 to 255, the texture's
      # file or nil, and the size of one repetition in model units.
      Description = Struct.new(:color, :texture, :width, :height)
      # What the texture of a material without a size of its own covers; UVs decide instead where there are any.
      TEXTURE_SIZE = 1.0
      WHITE = Sketchup::Color.new(255, 255, 255, 255).freeze
      private_constant :TEXTURE_SIZE, :WHITE

      # Writes the scene as it is now, by the native half. Only #save is sure to leave whole files.
      # @param path [String]
      # @param place [Geom::Transformation] where in the file
      # @raise [RuntimeError] with the native half's message
      def export_scene(path, place = IDENTITY)
        begin_export
        export_skp(path, nil, placed_root(place), true)
      end

      # @!group Called by the native half

      # @return [Boolean] whether the definition has been written in this export
      def exported_definition?(definition)
        @exported_nodes.key?(definition)
      end

      def definition_exported(definition, name)
        @exported_nodes[definition] = true
        @exported_definitions[name] = name
      end

      def material_exported(_description, name)
        @exported_materials[name] = name
      end

      def update_mesh_export_progress
        @meshes_exported += 1
        StatusProgressBar.instance.progress = 40 * @meshes_exported / [@meshes_to_export, 1].max
      end

      # Whether the next export has no use for textures.
      attr_writer :leave_out_textures

      # A texture means nothing without UVs.
      def textures_written?
        write_textures? && maintain_uvs? && !@leave_out_textures
      end

      # Whether backs look like fronts: a surface that is open, or turned inside out in places, shows both.
      def apply_materials_both_sides?
        @materials_both_sides == :auto ? !materials.any?(&:one_sided?) : @materials_both_sides
      end

      # Whether the scene came from a file and not from a host's model.
      def importing_external_file?
        @importing_external_file ? true : false
      end

      # A texture for everything that has none: this half knows no such setting.
      def apply_uv_texture?
        false
      end

      # @return [String]
      def uv_texture_path
        ''
      end

      # @!endgroup

      private

      def placed_root(place)
        return root if place == IDENTITY

        Definition.new(root.name).tap do |moved|
          root.entities.each do |instance|
            moved.entities << Instance.new(instance.name, instance.definition, place * instance.transformation)
          end
        end
      end

      def begin_export
        @exported_nodes = {}.compare_by_identity
        @exported_definitions = {}
        @exported_materials = {}
        @imported_materials = materials.to_h { |material| [material.name, describe(material)] }
        @meshes_exported = 0
        @meshes_to_export = definitions.size
        definitions.each do |definition|
          definition.all_materials = !apply_materials_both_sides? || Engine.uvs?(definition.balancer_mesh_index)
        end
      end

      def describe(material)
        color = material.color || WHITE
        # Above full brightness is full brightness.
        color = Sketchup::Color.new(*color.to_a.map { |value| value.clamp(0, 255) })
        texture = material.texture_file if textures_written?
        Description.new(color, texture, TEXTURE_SIZE, TEXTURE_SIZE)
      end
    end
  end
end
