// NURBS surfaces and patches, and the meshes they become.
#pragma once

#include <fbxsdk/geometry.h>

#include "standalone/fbx/document.h"
#include "standalone/fbx/mesh_data.h"

namespace mirel::fbx {

enum class SurfaceForm { kOpen, kClosed, kPeriodic };

// One direction of a surface.
struct SurfaceAxis {
  // Degree plus one.
  int order = 0;
  // Number of points, without those that a periodic surface repeats.
  int count = 0;
  // Pieces into which a span is cut.
  int step = 1;
  SurfaceForm form = SurfaceForm::kOpen;
  std::vector<double> knots;
};

struct Surface {
  SurfaceAxis u;
  SurfaceAxis v;
  // Point (i, j) stands at j * u.count + i; the fourth number is its weight.
  std::vector<fbxsdk::FbxVector4> points;
  bool flip = false;
  // The material element of the layer, kept for the mesh.
  MeshData layers;
};

// Throws ReadError. A surface whose numbers do not fit each other has no points.
Surface read_surface(Document const& document, Element const& geometry, fbxsdk::FbxNodeAttribute::EType type);

// Quads at the stored resolution, with normals and UVs by control point in layer 0; coarser where the budget does not
// allow them. False when there is no surface, or none that fits.
// Throws ReadError when the budget does not allow them; what is taken stays so.
bool tessellate(Surface const& surface, MemoryBudget& budget, MeshData& mesh);

}  // namespace mirel::fbx
