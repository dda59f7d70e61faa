// Triangles from geometries.
#include <algorithm>

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
  try {
    mirel::fbx::MeshData polygons;
    if (!is_mesh) {
      if (!mirel::fbx::tessellate(data.surface, polygons)) return nullptr;
    } else if (pReplace) {
      polygons = std::move(data.mesh);
    } else if (!mirel::fbx::copy_mesh(data.mesh, polygons)) {
      return nullptr;
    }
    mirel::fbx::MeshData triangles;
    if (!mirel::fbx::triangulate(std::move(polygons), triangles)) return nullptr;
    FbxMesh* const mesh = Internals::create_mesh(mManager, data.name, std::move(triangles));
    if (mesh == nullptr || !pReplace) return mesh;
    for (FbxNode* const node : data.nodes) {
      auto& attributes = Internals::data(*node).attributes;
      std::replace(attributes.begin(), attributes.end(), pAttribute, static_cast<FbxNodeAttribute*>(mesh));
    }
    Internals::data(*mesh).nodes = std::move(data.nodes);
    Internals::destroy(geometry);
    return mesh;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace fbxsdk
