// Attributes of nodes, and meshes among them.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {
namespace {

// The place in an element's values that belongs to a corner; -1 where there is none.
template <class T>
int value_index(const mirel::fbx::Attribute<T>& attribute, int polygon, int corner, int point) {
  int index = -1;
  switch (attribute.mapping) {
    case FbxLayerElement::eByControlPoint:
      index = point;
      break;
    case FbxLayerElement::eByPolygonVertex:
      index = corner;
      break;
    case FbxLayerElement::eByPolygon:
      index = polygon;
      break;
    case FbxLayerElement::eAllSame:
      index = 0;
      break;
    case FbxLayerElement::eNone:
    case FbxLayerElement::eByEdge:
      return -1;
  }
  if (attribute.reference == FbxLayerElement::eDirect) return index;
  if (static_cast<std::size_t>(index) >= attribute.indices.size()) return -1;
  return attribute.indices[static_cast<std::size_t>(index)];
}

// Whether the mesh has that corner; then its number among all corners.
bool find_corner(const mirel::fbx::MeshData& mesh, int polygon, int corner, std::size_t& found) {
  if (polygon < 0 || static_cast<std::size_t>(polygon) >= mesh.polygon_count()) return false;
  std::size_t const place = static_cast<std::size_t>(polygon);
  if (corner < 0 || static_cast<std::size_t>(corner) >= mesh.polygon_size(place)) return false;
  found = mesh.first_corner(place) + static_cast<std::size_t>(corner);
  return true;
}

}  // namespace

FbxNodeAttribute::EType FbxNodeAttribute::GetAttributeType() const {
  return Internals::data(*this).kind;
}
int FbxNodeAttribute::GetNodeCount() const {
  return static_cast<int>(Internals::data(*this).nodes.size());
}
FbxNode* FbxNodeAttribute::GetNode(int pIndex) const {
  const auto& nodes = Internals::data(*this).nodes;
  return pIndex >= 0 && static_cast<std::size_t>(pIndex) < nodes.size() ? nodes[static_cast<std::size_t>(pIndex)]
                                                                        : nullptr;
}

int FbxLayerContainer::GetLayerCount() const {
  return static_cast<int>(Internals::data(*this).layers.size());
}
FbxLayer* FbxLayerContainer::GetLayer(int pIndex) {
  const auto& layers = Internals::data(*this).layers;
  return pIndex >= 0 && static_cast<std::size_t>(pIndex) < layers.size() ? layers[static_cast<std::size_t>(pIndex)]
                                                                         : nullptr;
}
const FbxLayer* FbxLayerContainer::GetLayer(int pIndex) const {
  return const_cast<FbxLayerContainer*>(this)->GetLayer(pIndex);
}

int FbxGeometryBase::GetControlPointsCount() const {
  return static_cast<int>(Internals::data(*this).mesh.points.size());
}
FbxVector4* FbxGeometryBase::GetControlPoints() const {
  return Internals::data(*this).mesh.points.data();
}

int FbxMesh::GetPolygonCount() const {
  return static_cast<int>(Internals::data(*this).mesh.polygon_count());
}

int FbxMesh::GetPolygonSize(int pPolygon) const {
  const mirel::fbx::MeshData& mesh = Internals::data(*this).mesh;
  if (pPolygon < 0 || static_cast<std::size_t>(pPolygon) >= mesh.polygon_count()) return -1;
  return static_cast<int>(mesh.polygon_size(static_cast<std::size_t>(pPolygon)));
}

int FbxMesh::GetPolygonVertex(int pPolygon, int pCorner) const {
  const mirel::fbx::MeshData& mesh = Internals::data(*this).mesh;
  std::size_t corner = 0;
  return find_corner(mesh, pPolygon, pCorner, corner) ? mesh.corners[corner] : -1;
}

int FbxMesh::GetPolygonVertexIndex(int pPolygon) const {
  const mirel::fbx::MeshData& mesh = Internals::data(*this).mesh;
  if (pPolygon < 0 || static_cast<std::size_t>(pPolygon) >= mesh.polygon_count()) return -1;
  return static_cast<int>(mesh.first_corner(static_cast<std::size_t>(pPolygon)));
}

int FbxMesh::GetTextureUVIndex(int pPolygon, int pCorner, FbxLayerElement::EType pChannel) const {
  const mirel::fbx::MeshData& mesh = Internals::data(*this).mesh;
  std::size_t corner = 0;
  if (!find_corner(mesh, pPolygon, pCorner, corner)) return -1;
  for (const mirel::fbx::MeshLayer& layer : mesh.layers) {
    for (const mirel::fbx::UvAttribute& uv : layer.uvs) {
      if (uv.channel == pChannel) return value_index(uv, pPolygon, static_cast<int>(corner), mesh.corners[corner]);
    }
  }
  return -1;
}

bool FbxMesh::GetPolygonVertexNormal(int pPolygon, int pCorner, FbxVector4& pNormal) const {
  const mirel::fbx::MeshData& mesh = Internals::data(*this).mesh;
  std::size_t corner = 0;
  if (!find_corner(mesh, pPolygon, pCorner, corner)) return false;
  if (mesh.layers.empty() || mesh.layers.front().normals == nullptr) return false;
  const mirel::fbx::NormalAttribute& normals = *mesh.layers.front().normals;
  int const index = value_index(normals, pPolygon, static_cast<int>(corner), mesh.corners[corner]);
  if (index < 0 || static_cast<std::size_t>(index) >= normals.values.size()) return false;
  pNormal = normals.values[static_cast<std::size_t>(index)];
  return true;
}

Internals::GeometryData::~GeometryData() {
  for (FbxLayer* const layer : layers) {
    delete layer->mLayer->normals;
    delete layer->mLayer->materials;
    for (const auto& [channel, element] : layer->mLayer->uvs) delete element;
    delete layer;
  }
}

FbxMesh* Internals::create_mesh(FbxManager* manager, std::string name, mirel::fbx::MeshData&& mesh) {
  FbxMesh* const object = create<FbxMesh, GeometryData>(manager, kMesh, std::move(name));
  if (object == nullptr) return nullptr;
  GeometryData& geometry = data(*object);
  geometry.kind = FbxNodeAttribute::eMesh;
  geometry.mesh = std::move(mesh);
  auto const show = [](auto& element, const auto& attribute) {
    element.mMappingMode = attribute.mapping;
    element.mReferenceMode = attribute.reference;
    element.mName = FbxString(attribute.name.c_str());
    element.mDirect.mItems = attribute.values.data();
    element.mDirect.mCount = static_cast<int>(attribute.values.size());
    element.mIndices.mItems = attribute.indices.data();
    element.mIndices.mCount = static_cast<int>(attribute.indices.size());
  };
  for (const mirel::fbx::MeshLayer& layer : geometry.mesh.layers) {
    FbxLayer* const shown = geometry.layers.emplace_back(new FbxLayer);
    if (layer.normals != nullptr) show(*(shown->mLayer->normals = new FbxLayerElementNormal), *layer.normals);
    if (layer.materials != nullptr) show(*(shown->mLayer->materials = new FbxLayerElementMaterial), *layer.materials);
    for (const mirel::fbx::UvAttribute& uv : layer.uvs) {
      FbxLayerElementUV* const element = new FbxLayerElementUV;
      shown->mLayer->uvs.emplace_back(uv.channel, element);
      show(*element, uv);
    }
  }
  return object;
}

FbxGeometry* Internals::create_surface(FbxManager* manager, std::string name, FbxNodeAttribute::EType type,
                                       mirel::fbx::Surface&& surface) {
  FbxGeometry* object = nullptr;
  if (type == FbxNodeAttribute::eNurbs) {
    object = create<FbxNurbs, GeometryData>(manager, kNurbs, std::move(name));
  } else if (type == FbxNodeAttribute::ePatch) {
    object = create<FbxPatch, GeometryData>(manager, kPatch, std::move(name));
  } else {
    object = create<FbxNurbsSurface, GeometryData>(manager, kNurbsSurface, std::move(name));
  }
  if (object == nullptr) return nullptr;
  data(*object).kind = type;
  data(*object).surface = std::move(surface);
  return object;
}

}  // namespace fbxsdk
