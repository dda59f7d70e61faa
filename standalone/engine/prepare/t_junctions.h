// Removes T-junctions: boundary vertices that lie on another face's boundary edge without being part of it.
#pragma once

#include <cstdint>

#include "standalone/engine/prepare/point_join.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// Puts every boundary vertex that lies on the inside of another face's boundary edge, no further off than `tolerance`
// (model units; negative or NaN counts as 0) and than a hundredth of that edge's length, into that edge by splitting
// its face; several on one edge in their order along it. Where the split would turn a face over or put a third face
// on an edge, the vertex stays out. At most eight edges take up the same vertex. The new corners' normals and UVs are
// interpolated along the edge; where a wedge at the vertex has the same within `attributes`, they use that wedge.
// Cleans the mesh afterwards. Returns how many vertices were put into edges, over all edges.
//
// Linear in the faces, plus k log k for k boundary edges.
// What was joined is joined afterwards: corners that are new use an equal wedge where there is one.
std::uint32_t eliminate_t_junctions(WedgeMesh& mesh, float tolerance, AttributeTolerance const& attributes);

}  // namespace mirel::engine
