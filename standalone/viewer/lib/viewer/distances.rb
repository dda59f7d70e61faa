# frozen_string_literal: true

require 'viewer/package'
require 'zu/mirel/surface'

module Viewer
  # How far the mesh at the present step is from the original, vertex by vertex.
  class Distances
    # @return [Boolean] whether the library that measures has been built
    def self.available?
      Zu::Mirel::CompareLibrary.instance ? true : false
    rescue Zu::Mirel::Error
      false
    end

    # @param importer [Zu::Mirel::Importer] at step 0
    def initialize(importer)
      @library = Zu::Mirel::CompareLibrary.instance
      @original = @library.mesh(Zu::Mirel::Surface.of(importer))
    end

    # @param importer [Zu::Mirel::Importer] at any step
    # @return [Array<String>] see Package: a distance for each vertex, and three vertices for each face, in the order
    #   in which faces are drawn
    def encode(importer)
      surface = Zu::Mirel::Surface.of(importer)
      package = Package.new
      package.encode(vertices: surface.vertex_count, faces: surface.face_count, diagonal: @library.diagonal(@original),
                     distances: package.add(@library.distances(@original, surface.positions)),
                     corners: package.add(surface.faces))
    end
  end
end
