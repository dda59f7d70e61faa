// Pours a geometry input into entities: welds vertices, finds shared edges, keeps materials and UVs per corner.
#pragma once

#include "standalone/model/geometry_input.h"
#include "standalone/model/scene.h"

namespace mirel::model {

// With `weld`, vertices at exactly the same place become one, those that the entities have already included; edges of
// the same two vertices always do. An edge that several faces bring is soft (smooth) when all of them say so. Faces
// with a corner that is not finite, or two corners in a row at one vertex, are left out. A face without UVs but with a
// texture gets them by laying the texture, in its size, onto the face's plane; a single UV says where its vertex lies
// in it.
//
// Linear in vertices and faces, of the entities and of the input. Throws std::bad_alloc, and std::length_error beyond
// 2^32 - 1 elements; the entities then keep the faces that are whole.
void fill(Entities& entities, GeometryInput const& input, bool weld);

}  // namespace mirel::model
