#include "src/import/fbx/mesh_conversion.h"

#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/frame/console.h"
#include "src/frame/interned_name.h"
#include "src/import/fbx/material_conversion.h"

namespace {

using fbxsdk::FbxLayerElement;
using fbxsdk::FbxMesh;

constexpr char const* kByControlPointReference = "Unsupported Reference Mode for ByControlPoint mapping mode";
constexpr char const* kByPolygonVertexReference = "Unsupported Reference Mode for ByPolygonVertex mapping mode";

bool isTrue(VALUE self, ID question) {
  return rb_funcallv(self, question, 0, nullptr) == Qtrue;
}

// Indices come from a file: whether one names an entry of the array.
template <typename Array>
bool hasEntry(Array const& array, int index) {
  return index >= 0 && index < array.GetCount();
}

// Three indices of one face.
struct Triple {
  int corners[3];
};

// The control points of a polygon's first three corners; false when one of them does not exist.
bool readCorners(FbxMesh* fbxMesh, int polygon, Triple& triple) {
  int const pointCount = fbxMesh->GetControlPointsCount();
  for (int corner = 0; corner < 3; ++corner) {
    int const point = fbxMesh->GetPolygonVertex(polygon, corner);
    if (point < 0 || point >= pointCount) {
      return false;
    }
    triple.corners[corner] = point;
  }
  return true;
}

std::uint32_t toIndex(int value) {
  return static_cast<std::uint32_t>(value);
}

// Where a polygon's face set comes from.
enum class FaceSetSource { kOne, kPerPolygon };

FaceSetSource chooseFaceSets(fbxsdk::FbxLayer* layer, FbxLayerElement::EMappingMode mapping) {
  if (layer == nullptr) {
    rb_puts("Mesh has no layers");
    return FaceSetSource::kOne;
  }
  if (layer->GetMaterials() == nullptr) {
    rb_puts("Mesh has no material layer");
    return FaceSetSource::kOne;
  }
  if (mapping == FbxLayerElement::eAllSame) {
    return FaceSetSource::kOne;
  }
  if (mapping != FbxLayerElement::eByPolygon) {
    rb_puts("Unsupported Material Mapping mode");  // and yet by polygon
  }
  return FaceSetSource::kPerPolygon;
}

// An entry of the material indices, whatever the element's reference mode; 0 where there is none.
std::uint32_t readFaceSet(fbxsdk::FbxLayerElementMaterial* materials, int index) {
  if (materials == nullptr) {
    return 0;
  }
  auto const& indices = materials->GetIndexArray();
  return hasEntry(indices, index) ? toIndex(indices.GetAt(index)) : 0;
}

// The first `width` components of every entry of the direct array, narrowed to floats.
template <typename Element>
std::vector<float> copyDirectArray(Element* element, int width) {
  auto const& direct = element->GetDirectArray();
  int const count = direct.GetCount();
  std::vector<float> buffer;
  buffer.reserve(static_cast<std::size_t>(count) * static_cast<std::size_t>(width));
  for (int index = 0; index < count; ++index) {
    auto const entry = direct.GetAt(index);
    for (int component = 0; component < width; ++component) {
      buffer.push_back(static_cast<float>(entry[component]));
    }
  }
  return buffer;
}

using SetFaceIndices = void (ab::IMesh::*)(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t);

// Gives every face the indices that the element has for its three control points.
template <typename Element>
void setFaceIndicesByControlPoint(FbxMesh* fbxMesh, ab::IMesh* target, Element* element, SetFaceIndices setIndices) {
  auto const& indices = element->GetIndexArray();
  int const polygonCount = fbxMesh->GetPolygonCount();
  for (int polygon = 0; polygon < polygonCount; ++polygon) {
    Triple triple;
    bool isComplete = readCorners(fbxMesh, polygon, triple);
    for (int corner = 0; isComplete && corner < 3; ++corner) {
      int& place = triple.corners[corner];
      isComplete = hasEntry(indices, place);
      place = isComplete ? indices.GetAt(place) : 0;
    }
    if (isComplete) {
      (target->*setIndices)(toIndex(polygon), toIndex(triple.corners[0]), toIndex(triple.corners[1]),
                            toIndex(triple.corners[2]));
    }
  }
}

// Whether a face gets UVs: its material has a texture, or all faces do.
bool takesUVs(ab::IMesh* target, std::uint32_t face, std::span<bool const> flags, bool textureAll) {
  std::uint32_t set = 0;
  target->getFaceSetOfFace(face, set);
  return textureAll || (set < flags.size() && flags[set]);
}

// Adds three UVs of its own for every face that takes some. `isIndexed`: the mesh tells which UV a corner has.
void addCornerUVs(FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxLayerElementUV* element, std::span<bool const> flags,
                  bool textureAll, bool isIndexed) {
  auto const& direct = element->GetDirectArray();
  int const polygonCount = fbxMesh->GetPolygonCount();
  for (int polygon = 0; polygon < polygonCount; ++polygon) {
    if (!takesUVs(target, toIndex(polygon), flags, textureAll)) {
      continue;
    }
    Triple places;
    bool isComplete = true;
    for (int corner = 0; isComplete && corner < 3; ++corner) {
      int& place = places.corners[corner];
      place = isIndexed ? fbxMesh->GetTextureUVIndex(polygon, corner, FbxLayerElement::eTextureDiffuse)
                        : 3 * polygon + corner;
      isComplete = hasEntry(direct, place);
    }
    if (!isComplete) {
      continue;
    }
    std::uint32_t added[3];
    for (int corner = 0; corner < 3; ++corner) {
      fbxsdk::FbxVector2 const uv = direct.GetAt(places.corners[corner]);
      added[corner] = target->addUV(static_cast<float>(uv[0]), static_cast<float>(uv[1]));
    }
    target->setFaceUVIndices(toIndex(polygon), added[0], added[1], added[2]);
  }
}

// Null, or the text that says why there are no UVs. Makes no Ruby call.
char const* copyUVs(FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxLayerElementUV* element,
                    std::span<bool const> flags, bool textureAll) {
  FbxLayerElement::EReferenceMode const reference = element->GetReferenceMode();
  switch (element->GetMappingMode()) {
    case FbxLayerElement::eByControlPoint:
      if (reference == FbxLayerElement::eDirect) {
        std::vector<float> const buffer = copyDirectArray(element, 2);
        std::uint32_t const count = static_cast<std::uint32_t>(buffer.size() / 2);
        if (count != target->getNumVertices()) {
          return "Error!! Number of UVs do not match the number of vertices currently in Balancer";
        }
        target->setVertexUVs(buffer.data(), count, 2 * sizeof(float));
        return nullptr;
      }
      if (reference == FbxLayerElement::eIndexToDirect) {
        std::vector<float> const buffer = copyDirectArray(element, 2);
        target->addUVs(buffer.data(), static_cast<std::uint32_t>(buffer.size() / 2));
        setFaceIndicesByControlPoint(fbxMesh, target, element, &ab::IMesh::setFaceUVIndices);
        return nullptr;
      }
      return kByControlPointReference;
    case FbxLayerElement::eByPolygonVertex:
      if (reference != FbxLayerElement::eDirect && reference != FbxLayerElement::eIndexToDirect) {
        return kByPolygonVertexReference;
      }
      addCornerUVs(fbxMesh, target, element, flags, textureAll, reference == FbxLayerElement::eIndexToDirect);
      return nullptr;
    default:
      return "Unsupported UV Mapping mode";
  }
}

// Adds three normals of its own for every face; the FBX mesh resolves the element's reference mode.
void addCornerNormals(FbxMesh* fbxMesh, ab::IMesh* target) {
  int const polygonCount = fbxMesh->GetPolygonCount();
  for (int polygon = 0; polygon < polygonCount; ++polygon) {
    std::uint32_t added[3];
    for (int corner = 0; corner < 3; ++corner) {
      fbxsdk::FbxVector4 normal(0.0, 0.0, 0.0);
      fbxMesh->GetPolygonVertexNormal(polygon, corner, normal);
      added[corner] = target->addNormal(static_cast<float>(normal[0]), static_cast<float>(normal[1]),
                                        static_cast<float>(normal[2]));
    }
    target->setFaceNormalIndices(toIndex(polygon), added[0], added[1], added[2]);
  }
}

// Null, or the text that says why there are no normals. Makes no Ruby call.
char const* copyNormals(FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxLayerElementNormal* element) {
  FbxLayerElement::EReferenceMode const reference = element->GetReferenceMode();
  switch (element->GetMappingMode()) {
    case FbxLayerElement::eByControlPoint:
      if (reference == FbxLayerElement::eDirect) {
        std::vector<float> const buffer = copyDirectArray(element, 3);
        std::uint32_t const count = static_cast<std::uint32_t>(buffer.size() / 3);
        if (count != target->getNumVertices()) {
          return "Error!! Number of Normals do not match the number of vertices currently in Balancer";
        }
        target->setVertexNormals(buffer.data(), count, 3 * sizeof(float));
        return nullptr;
      }
      if (reference == FbxLayerElement::eIndexToDirect) {
        std::vector<float> const buffer = copyDirectArray(element, 3);
        target->addNormals(buffer.data(), static_cast<std::uint32_t>(buffer.size() / 3));
        setFaceIndicesByControlPoint(fbxMesh, target, element, &ab::IMesh::setFaceNormalIndices);
        return nullptr;
      }
      return kByControlPointReference;
    case FbxLayerElement::eByPolygonVertex:
      if (reference != FbxLayerElement::eDirect && reference != FbxLayerElement::eIndexToDirect) {
        return kByPolygonVertexReference;
      }
      addCornerNormals(fbxMesh, target);
      return nullptr;
    default:
      return "Unsupported Normal Mapping mode";
  }
}

void putsUnlessNull(char const* complaint) {
  if (complaint != nullptr) {
    rb_puts(complaint);
  }
}

void loadUVsByMaterial(FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxSurfaceMaterial* const* materials,
                       int materialCount, std::uint32_t clears, VALUE self) {
  static ID maintainUVs;
  VALUE flagStore = Qnil;  // the collector frees the flags where a callback leaves by a jump
  bool* const flags = static_cast<bool*>(rb_alloc_tmp_buffer(&flagStore, materialCount));
  getMaterialsWithUVs(materials, flags, materialCount);
  if (isTrue(self, internedName(maintainUVs, "maintain_uvs?")) && !isClearedSince(clears)) {
    loadFbxUVs(fbxMesh, target, {flags, static_cast<std::size_t>(materialCount)}, self);
  }
  rb_free_tmp_buffer(&flagStore);
}

}  // namespace

std::uint32_t addMesh(FbxMesh* fbxMesh, fbxsdk::FbxSurfaceMaterial* const* materials, int materialCount, VALUE self) {
  static ID maintainNormals;
  std::uint32_t const clears = getClearCount();
  std::uint32_t const index = meshDepot->createMesh();
  if (index == kNoIndex) {
    rb_puts("Error: Mesh could not been created.");
    return 0;
  }
  ab::IMesh* const target = getDepotMesh(index);
  if (target == nullptr) {
    return 0;
  }
  if (index == 0) {
    mesh = target;
  }
  loadFbxControlPoints(fbxMesh, target);
  loadFbxPolygons(fbxMesh, target, materials, materialCount);
  if (isClearedSince(clears)) {
    return 0;
  }
  if (materialCount > 0) {
    loadUVsByMaterial(fbxMesh, target, materials, materialCount, clears, self);
    if (isClearedSince(clears)) {
      return 0;
    }
  }
  if (isTrue(self, internedName(maintainNormals, "maintain_normals?")) && !isClearedSince(clears)) {
    loadFbxNormals(fbxMesh, target, self);
  }
  return index;
}

void loadFbxControlPoints(FbxMesh* fbxMesh, ab::IMesh* target) {
  int const count = fbxMesh->GetControlPointsCount();
  fbxsdk::FbxVector4 const* const points = fbxMesh->GetControlPoints();
  for (int index = 0; index < count; ++index) {
    target->addVertex(static_cast<float>(points[index][0]), static_cast<float>(points[index][1]),
                      static_cast<float>(points[index][2]));
  }
}

void loadFbxPolygons(FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxSurfaceMaterial* const*, int materialCount) {
  std::uint32_t const clears = getClearCount();
  target->setNumFaceSets(toIndex(materialCount));
  fbxsdk::FbxLayer* const layer = fbxMesh->GetLayer(0);
  fbxsdk::FbxLayerElementMaterial* const indices = layer == nullptr ? nullptr : layer->GetMaterials();
  FaceSetSource const source =
      chooseFaceSets(layer, indices == nullptr ? FbxLayerElement::eNone : indices->GetMappingMode());
  if (isClearedSince(clears)) {
    return;
  }
  if (source == FaceSetSource::kOne) {
    target->setCurrentFaceSet(readFaceSet(indices, 0));
  }
  int const polygonCount = fbxMesh->GetPolygonCount();
  for (int polygon = 0; polygon < polygonCount; ++polygon) {
    if (fbxMesh->GetPolygonSize(polygon) != 3) {
      rb_puts("Warning! Polygon has not been triagulated! Skipping polygon");
      if (isClearedSince(clears)) {
        return;
      }
      continue;
    }
    if (source == FaceSetSource::kPerPolygon) {
      target->setCurrentFaceSet(readFaceSet(indices, polygon));
    }
    Triple triple;
    if (readCorners(fbxMesh, polygon, triple)) {
      target->addFace(toIndex(triple.corners[0]), toIndex(triple.corners[1]), toIndex(triple.corners[2]));
    }
  }
}

void getMaterialsWithUVs(fbxsdk::FbxSurfaceMaterial* const* materials, bool* flags, int materialCount) {
  for (int slot = 0; slot < materialCount; ++slot) {
    flags[slot] = !NIL_P(getDiffuseTexture(materials[slot]));
  }
}

void loadFbxUVs(FbxMesh* fbxMesh, ab::IMesh* target, std::span<bool const> flags, VALUE self) {
  static ID applyUVTexture;
  std::uint32_t const clears = getClearCount();
  bool const textureAll = isTrue(self, internedName(applyUVTexture, "apply_uv_texture?"));
  fbxsdk::FbxLayer* const layer = fbxMesh->GetLayer(0);
  if (layer == nullptr || isClearedSince(clears)) {
    return;
  }
  fbxsdk::FbxLayerElementUV* const element = layer->GetUVs(FbxLayerElement::eTextureDiffuse);
  putsUnlessNull(element == nullptr ? "Mesh Layer 0 does not have any UV data!"
                                    : copyUVs(fbxMesh, target, element, flags, textureAll));
}

void loadFbxNormals(FbxMesh* fbxMesh, ab::IMesh* target, VALUE) {
  fbxsdk::FbxLayer* const layer = fbxMesh->GetLayer(0);
  if (layer == nullptr) {
    return;
  }
  fbxsdk::FbxLayerElementNormal* const element = layer->GetNormals();
  putsUnlessNull(element == nullptr ? "Mesh Layer 0 does not have any Normal data!"
                                    : copyNormals(fbxMesh, target, element));
}
