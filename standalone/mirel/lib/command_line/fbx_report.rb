# frozen_string_literal: true

require 'zu/mirel/texture_dump'

module CommandLine
  # What mirel info tells of an FBX file beyond what it tells of every model.
  class FbxReport
    # @param importer [Zu::Mirel::Importer] that has read an FBX file
    # @param textures [Boolean] whether to tell everything of the textures
    def initialize(importer, textures: false)
      @importer = importer
      @textures = textures
    end

    # @return [Hash] to be added to the report
    def to_h
      facts = @importer.fbx_facts
      file = { version: facts&.version, ascii: facts&.ascii, creator: facts&.creator, application: facts&.application,
               unit_meters: @importer.meters_per_unit, axes: facts&.axes }
      report = { fbx: file, nodes: nodes, missing_textures: @importer.missing_textures }
      report[:textures] = dumps if @textures
      report
    end

    # @param report [Hash] from #to_h
    # @return [Array<String>]
    def self.lines(report)
      file = report[:fbx]
      lines = ["  version    #{version(file)}"]
      lines << "  written by #{writer(file)}"
      lines << "  unit       #{unit(file[:unit_meters])}"
      lines << "  axes       #{axes(file[:axes])}"
      lines << "  nodes      #{report[:nodes].size}"
      lines.concat(tree(report[:nodes]))
    end

    # @return [Array<String>]
    def self.texture_lines(report)
      report[:textures].flat_map { |dump| ["Material: #{dump[:material]}", *dump[:lines]] }
    end

    class << self
      private

      def version(file)
        return 'not known' unless file[:version]

        "#{file[:version] / 1000}.#{file[:version] / 100 % 10} (#{file[:ascii] ? 'text' : 'binary'})"
      end

      def writer(file)
        names = [file[:application], file[:creator]].compact.reject(&:empty?)
        names.shift if names.size > 1 && names.last.include?(names.first)
        names.empty? ? 'not known' : names.join(', ')
      end

      def unit(meters)
        at = Zu::Mirel::SceneFrame::METERS_OF_UNIT.index(meters)
        at ? Zu::Mirel::SceneFrame::UNIT_NAMES[at] : format('%.6g m', meters)
      end

      def axes(axes)
        axes ? "right #{axes[:right]}, up #{axes[:up]}, front #{axes[:front]}" : 'not known'
      end

      def tree(nodes)
        depths = []
        nodes.map do |node|
          depths << (node[:parent] ? depths[node[:parent]] + 1 : 0)
          meshes = node[:meshes].empty? ? '' : " (#{node[:meshes].join(', ')})"
          "    #{'  ' * depths.last}#{node[:name].empty? ? '(no name)' : node[:name]}#{meshes}"
        end
      end
    end

    private

    # Depth first, each with the place of its parent in the list.
    def nodes
      found = []
      left = @importer.instances.reverse.map { |instance| [instance, nil] }
      until left.empty?
        instance, parent = left.pop
        groups, meshes = instance.definition.entities.partition { |entity| entity.definition.group? }
        found << { name: instance.name, parent: parent, meshes: meshes.map { |mesh| mesh.definition.name },
                   transformation: instance.transformation.to_a }
        left.concat(groups.reverse.map { |group| [group, found.size - 1] })
      end
      found
    end

    def dumps
      Zu::Mirel::TextureDump.of(@importer.path).map { |material, lines| { material: material, lines: lines } }
    rescue Zu::Mirel::ImportError => e
      raise Failure, "#{@importer.path}: #{e.message}"
    end
  end
end
