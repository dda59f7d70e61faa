# frozen_string_literal: true

# Geometry as the host offers it: points, vectors, transformations, boxes and polygon meshes.
#
# Lengths are plain floats in model units, angles are radians. Points and vectors count as equal where their
# distance is within Geom::TOLERANCE; the meshes compare exactly.
module Geom
  # Points closer than this are equal.
  TOLERANCE = 0.001
end

require 'mirel_host'
require_relative 'geom/coordinates'
require_relative 'geom/vector3d'
require_relative 'geom/point3d'
require_relative 'geom/transformation'
require_relative 'geom/bounding_box'
