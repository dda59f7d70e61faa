// A mesh of triangles from a mesh of polygons.
#pragma once

#include "standalone/fbx/mesh_data.h"

namespace mirel::fbx {

// Whether every polygon is a triangle of points that exist.
bool is_triangulated(MeshData const& mesh);

// Triangles in the order of their polygons, every attribute with its corner or polygon. Polygons of fewer than three
// corners, and those with a corner whose point does not exist, are left out. Takes what it can from the mesh. False
// when memory runs out or there would be too many corners to count.
[[nodiscard]] bool triangulate(MeshData&& mesh, MeshData& result);

// Bytes that triangulating takes at its peak beyond those of the mesh itself, and that are left in the end.
struct TriangulationMemory {
  std::size_t peak;
  std::size_t kept;
};
TriangulationMemory memory_of_triangulation(MeshData const& mesh);

// All of a mesh; false when memory runs out.
[[nodiscard]] bool copy_mesh(MeshData const& mesh, MeshData& copy);

}  // namespace mirel::fbx
