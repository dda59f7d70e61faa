# frozen_string_literal: true

require 'viewer/package'
require 'zu/mirel/engine'

module Viewer
  # A frame as the page takes it. Positions and colours are what was drawn into the view. UVs, normals and the kinds of
  # the edges are the mesh library's, one per corner in the order in which the corners were drawn; a mesh that is
  # placed several times has them once.
  class Frame
    TRIANGLES = 4

    # @param importer [Zu::Mirel::Importer] at the step that was drawn
    # @param batches [Array<Sketchup::View::Batch>]
    def initialize(importer, batches)
      @importer = importer
      @batches = batches
    end

    # @param head [Hash] what else the head says
    # @param edges [Boolean] whether the lines go along
    # @param marks [Boolean] whether the kinds of the edges do
    # @return [Array<String>] see Package
    def encode(head, edges: false, marks: false)
      @package = Package.new
      @package.encode(head.merge(points_only: @importer.points_only?, batches: batches(edges), meshes: meshes(marks)))
    end

    private

    # The first lines are the triangles' edges; those after the triangles are the bounding box.
    def batches(edges)
      after_edges = @importer.points_only?
      @batches.filter_map do |batch|
        role = role_of(batch, after_edges)
        after_edges = true
        next if role == 'edges' && !edges

        { role: role, primitive: batch.primitive, color: batch.color.to_a, count: batch.count,
          offset: @package.add(batch.data) }
      end
    end

    def role_of(batch, after_edges)
      case batch.primitive
      when TRIANGLES then 'faces'
      when 0 then 'points'
      else after_edges ? 'bounds' : 'edges'
      end
    end

    # One entry for each placed mesh, with the sizes of its face sets: an empty one has no batch.
    def meshes(marks)
      return [] if @importer.points_only?

      known = {}
      @importer.placed_meshes.map do |placed|
        corners = @importer.triangles[placed.first, placed.count].map(&:size)
        known[placed.mesh] ||= attributes(placed.mesh, corners.sum, marks)
        { transformation: placed.transformation.to_a, corners: corners,
          materials: placed.materials.map { |material| @importer.materials.index { |m| m.equal?(material) } } }
          .merge(known[placed.mesh])
      end
    end

    def attributes(mesh, corners, marks)
      engine = Zu::Mirel::Engine
      { uvs: optional(engine.corner_uvs(mesh, corners)), normals: optional(engine.corner_normals(mesh, corners)),
        marks: marks ? optional(engine.corner_edge_kinds(mesh, corners)) : nil }
    end

    def optional(data)
      data && @package.add(data)
    end
  end
end
