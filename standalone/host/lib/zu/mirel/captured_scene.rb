# frozen_string_literal: true

require 'fileutils'
require 'tmpdir'
require 'zu/mirel/entity'
require 'zu/mirel/texture_finder'

module Zu
  module Mirel
    # Brings a scene that the general reader has read into an importer: each shape becomes a mesh of the native half,
    # each node a group, or an instance where it shows nothing but a shape.
    #
    # A node that shows a shape of its own name is the shape's instance. One of another name is a group around it, so
    # that both names stay.
    class CapturedScene
      # What readers call a root that the file does not have.
      MADE_UP_NAMES = ['', 'ROOT', 'RootNode'].freeze
      private_constant :MADE_UP_NAMES

      # @param scene [SceneReader::Scene]
      # @param importer [Importer] which gives
      #   make_material(name, color, texture, **options), capture_shape(Hash) and texture_folder
      def initialize(scene, importer, folder)
        @scene = scene
        @importer = importer
        @folder = folder
        @materials = {}.compare_by_identity
        @placed = Hash.new(0)
        scene.nodes.each { |node| @placed[node.shape] += 1 if node.shape }
        @with_children = scene.nodes.map(&:parent).uniq
      end

      # @return [Definition] the scene's root
      # @param name [String] of the root where the file gives none
      def build(name)
        @name = name
        @definitions = @scene.shapes.map { |shape| definition(shape) }
        root = @scene.nodes.first
        @root = Definition.new(own_name(root) || name)
        places = []
        @scene.nodes.each_with_index do |node, number|
          places << (number.zero? && bare?(root) ? @root : place(node, number, node.parent ? places[node.parent] : @root))
        end
        @root
      end

      private

      # Whether it is nothing but the place where the others stand.
      def bare?(node)
        node.shape.nil? && node.transform == IDENTITY
      end

      def own_name(node)
        node.name unless node.nil? || MADE_UP_NAMES.include?(node.name) || node.name.start_with?('<')
      end

      # @return [Definition] what has the node's children
      def place(node, number, parent)
        return group(node, parent) unless node.shape

        shape = @scene.shapes[node.shape]
        definition = @definitions[node.shape]
        scaling = shape.scale == 1 ? IDENTITY : Geom::Transformation.scaling(shape.scale)
        leaf = !@with_children.include?(number)
        if leaf && [definition.name, shape.name, ''].include?(node.name)
          return add(definition.name, definition, node.transform * scaling, parent)
        end

        # The scale goes to the group where nobody else is in it.
        around = group(node, parent, leaf ? scaling : IDENTITY)
        add(definition.name, definition, leaf ? IDENTITY : scaling, around)
        around
      end

      def group(node, parent, scaling = IDENTITY)
        add(node.name, Definition.new(node.name, group: true), node.transform * scaling, parent)
      end

      def add(name, definition, transformation, parent)
        parent.entities << Instance.new(name, definition, transformation)
        definition
      end

      def definition(shape)
        meshes = shape.meshes.transform_keys { |look| material(look) }
        # The arrays are the native half's from here on.
        shape.meshes.clear
        index = @importer.capture_shape(meshes)
        name = shape.name.empty? || shape.name.start_with?('<') ? @name : shape.name
        @importer.definition_of_mesh(name, index, meshes.keys)
      end

      def material(look)
        @materials[look] ||=
          @importer.new_material(look.name, look.color, look.texture, uvs: look.uvs, one_sided: look.one_sided,
                                                                      texture_file: texture_file(look.texture))
      end

      def texture_file(texture)
        return unless texture

        number = texture[/\A\*(\d+)\z/, 1]
        return TextureFinder.find(texture, [@folder]) unless number

        embedded_file(Integer(number, 10)) || texture
      end

      def embedded_file(number)
        embedded = @scene.textures[number]
        return unless embedded&.content

        name = File.basename(embedded.name.empty? ? "texture-#{number + 1}" : embedded.name)
        extension = embedded.extension.delete('^A-Za-z0-9').downcase
        name = "#{name}.#{extension}" unless extension.empty? || File.extname(name).casecmp?(".#{extension}")
        file = File.join(@importer.texture_folder, "#{number}", name.delete("\0"))
        FileUtils.mkdir_p(File.dirname(file))
        File.binwrite(file, embedded.content)
        file
      end
    end
  end
end
