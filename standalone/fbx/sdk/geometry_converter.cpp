// Triangles from geometries.
#include <algorithm>

#include "standalone/fbx/last_file.h"
#include "standalone/fbx/sdk/internals.h"
#include "standalone/fbx/triangulation.h"

namespace fbxsdk {

FbxGeometryConverter::FbxGeometryConverter(FbxManager* pManager) : mManager(pManager) {}
FbxGeometryConverter::~FbxGeometryConverter() {}

FbxNodeAttribute* FbxGeometryConverter::Triangulate(FbxNodeAttribute* pAttribute, bool pReplace, bool) {
  if (pAttribute == nullptr || !pAttribute->Is<FbxGeometry>()) return nullptr;
  FbxGeometry* const geometry = static_cast<FbxGeometry*>(pAttribute);
  Internals::GeometryData& data = Internals::data(*geometry);
  bool const is_mesh = geometry->Is<FbxMesh>();
  if (is_mesh && mirel::fbx::is_triangulated(data.mesh)) return geometry;
  // Without a file behind it there is nothing to cut: a mesh made here is one of triangles.
  std::shared_ptr<mirel::fbx::MemoryBudget> const budget = data.budget;
  if (budget == nullptr) return nullptr;
  try {
    mirel::fbx::MeshData polygons;
    if (!is_mesh && !mirel::fbx::tessellate(data.surface, *budget, polygons)) return nullptr;
    mirel::fbx::TriangulationMemory const memory = mirel::fbx::memory_of_triangulation(is_mesh ? data.mesh : polygons);
    // Before anything is moved: a mesh that is not cut stays as it is.
    budget->take(memory.peak);
    budget->give_back(memory.peak - memory.kept);
    if (is_mesh && pReplace) {
      polygons = std::move(data.mesh);
    } else if (is_mesh && !mirel::fbx::copy_mesh(data.mesh, polygons)) {
      return nullptr;
    }
    mirel::fbx::MeshData triangles;
    if (!mirel::fbx::triangulate(std::move(polygons), triangles)) return nullptr;
    FbxMesh* const mesh = Internals::create_mesh(mManager, data.name, std::move(triangles));
    if (mesh == nullptr || !pReplace) return mesh;
    for (FbxNode* const node : data.nodes) {
      auto& attributes = Internals::data(*node).attributes;
      auto const place = std::find(attributes.begin(), attributes.end(), pAttribute);
      if (place != attributes.end()) *place = mesh;
    }
    Internals::data(*mesh).nodes = std::move(data.nodes);
    Internals::destroy(geometry);
    return mesh;
  } catch (const mirel::fbx::ReadError&) {
    mirel::fbx::note_shape_left_out();
  } catch (const std::bad_alloc&) {
    mirel::fbx::note_shape_left_out();
  }
  return nullptr;
}

}  // namespace fbxsdk
