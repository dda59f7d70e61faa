// Checks of a reduced mesh, alone and against its original. Positions are compared exactly, unless said otherwise.
#pragma once

#include <cstddef>

#include "tests/support/obj_text.h"

namespace mirel::support {

struct Topology {
  std::size_t degenerate_faces = 0;    // two corners at one position
  std::size_t duplicate_faces = 0;     // the same three positions in the same orientation as an earlier face
  std::size_t non_manifold_edges = 0;  // three or more faces
  std::size_t boundary_edges = 0;      // one face
  std::size_t components = 0;          // of faces connected through positions
};

// Degenerate faces count as such and as nothing else.
Topology topology_of(ObjText const& mesh);

// Positions on boundary edges of `mesh` that are not on boundary edges of `original`. OBJ text keeps six digits, so
// both are rounded to them first.
std::size_t strange_boundary_positions(ObjText const& mesh, ObjText const& original);

// Connected components of faces that share an edge with the same UVs at both ends; 0 without UVs.
std::size_t chart_count(ObjText const& mesh);

// Faces of `mesh` whose UVs do not all lie in one chart of `original`, give or take `tolerance` in UV space.
std::size_t faces_across_charts(ObjText const& mesh, ObjText const& original, double tolerance);

// The largest distance found from sampled points of one surface to the other one, both ways; model units. The true
// maximum is no smaller. Infinity when one of them has no face.
double sampled_distance(ObjText const& a, ObjText const& b);

// A bound above the distance of every point of either surface from the other one, within 2 % of the true maximum
// unless the surfaces are so intricate that the work is cut short; model units. Infinity when one has no face.
double distance_upper_bound(ObjText const& a, ObjText const& b);

}  // namespace mirel::support
