// Joins the vertices of a mesh: from the build form to the wedge form, and again within the wedge form.
//
// Positions first, then at each position the normals, then the UVs, each by the rule of point_join.h in the order of
// the vertices (and, within a vertex, of its corners in face order). Each distinct combination of what is left is one
// wedge (Hoppe 1996), one vertex of the result, in the same order. Expected linear time: one pass over the corners per
// stage; about 20 bytes per corner beside the two forms while it runs.
#pragma once

#include <array>
#include <cstdint>

#include "standalone/engine/prepare/build_mesh.h"
#include "standalone/engine/prepare/cleanup.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// 0, negative or NaN joins only what is equal.
struct JoinTolerances {
  float position = 0;  // distance, model units
  float normal = 0;    // degrees
  float uv = 0;        // each coordinate's difference
};

// The wedge form of a mesh that prepare_build_mesh has just prepared, cleaned again. A corner without a normal in a
// mesh that has some gets its face's unit normal, a corner without a UV gets (0, 0); normals that are no finite
// direction and UVs that are not finite count as none. The build form is used up: its arrays are freed on the way.
WedgeMesh make_wedge_mesh(BuildMesh&& mesh, ExactPositions&& positions, JoinTolerances const& tolerances);

// Joins what a wedge form still holds apart, and cleans it. Joining again within the same tolerances changes nothing.
// Whether anything changed.
bool join_wedge_mesh(WedgeMesh& mesh, JoinTolerances const& tolerances);

// A face's unit normal; (0, 0, 1) for a face without area. vertices: x 3; face: three of them.
std::array<float, 3> unit_normal(float const* vertices, std::uint32_t const* face);

}  // namespace mirel::engine
