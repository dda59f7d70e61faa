# frozen_string_literal: true

require 'json'
require 'zu/mirel/engine'

module Viewer
  # A frame as the page takes it: a head in JSON, then the buffers that a graphics card takes, as they are.
  #
  #   bytes 0..3   'MRLF'
  #   bytes 4..7   length of the head, little-endian
  #   bytes 8..    the head, filled up with blanks to a multiple of 4
  #   then         the buffers one after another; the head names each by offset (from the first buffer) and count
  #
  # Positions and colours are what was drawn into the view. UVs, normals and the kinds of the edges are the mesh
  # library's, one per corner in the order in which the corners were drawn; a mesh that is placed several times has
  # them once.
  class Frame
    MAGIC = 'MRLF'
    TRIANGLES = 4
    FLOAT = 4

    # @param importer [Zu::Mirel::Importer] at the step that was drawn
    # @param batches [Array<Sketchup::View::Batch>]
    def initialize(importer, batches)
      @importer = importer
      @batches = batches
    end

    # @param head [Hash] what else the head says
    # @param edges [Boolean] whether the lines go along
    # @param marks [Boolean] whether the kinds of the edges do
    # @return [Array<String>] binary; to be written one after another
    def encode(head, edges: false, marks: false)
      @buffers = []
      @size = 0
      head = head.merge(points_only: @importer.points_only?, batches: batches(edges), meshes: meshes(marks))
      text = JSON.generate(head)
      text << ' ' * (-text.bytesize % 4)
      [MAGIC.b + [text.bytesize].pack('V') + text.b, *@buffers]
    end

    private

    # The first lines are the triangles' edges; those after the triangles are the bounding box.
    def batches(edges)
      seen_triangles = @importer.points_only?
      @batches.filter_map do |batch|
        seen_triangles ||= batch.primitive == TRIANGLES
        role = role_of(batch, seen_triangles)
        next if role == 'edges' && !edges

        { role: role, primitive: batch.primitive, color: batch.color.to_a, count: batch.count,
          offset: add(batch.data) }
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
      data && add(data)
    end

    # @return [Integer] where it begins
    def add(data)
      begin_at = @size
      gap = -data.bytesize % FLOAT
      @buffers << data
      @buffers << "\0".b * gap if gap.positive?
      @size += data.bytesize + gap
      begin_at
    end
  end
end
