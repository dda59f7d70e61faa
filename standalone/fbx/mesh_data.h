// A polygon mesh as the file has it: points, polygons of any size, and layers of attributes.
#pragma once

#include <fbxsdk/layer.h>
#include <fbxsdk/math.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "standalone/fbx/array.h"

namespace mirel::fbx {

using Mapping = fbxsdk::FbxLayerElement::EMappingMode;
using Reference = fbxsdk::FbxLayerElement::EReferenceMode;

// Values and, unless the reference mode is direct, indices into them; in a material element only the indices count.
// An index below 0 stands for a missing value.
template <class T>
struct Attribute {
  Mapping mapping = fbxsdk::FbxLayerElement::eNone;
  Reference reference = fbxsdk::FbxLayerElement::eDirect;
  std::string name;
  Array<T> values;
  Array<int> indices;
};

using NormalAttribute = Attribute<fbxsdk::FbxVector4>;
using MaterialAttribute = Attribute<fbxsdk::FbxSurfaceMaterial*>;
struct UvAttribute : Attribute<fbxsdk::FbxVector2> {
  fbxsdk::FbxLayerElement::EType channel = fbxsdk::FbxLayerElement::eTextureDiffuse;
};

struct MeshLayer {
  std::unique_ptr<NormalAttribute> normals;
  std::unique_ptr<MaterialAttribute> materials;
  std::vector<UvAttribute> uvs;
};

struct MeshData {
  Array<fbxsdk::FbxVector4> points;
  // The point of each corner.
  Array<int> corners;
  // First corner of each polygon and, behind the last, the number of corners. Empty where every polygon has three.
  Array<int> starts;
  std::vector<MeshLayer> layers;
  // Whether a corner is -1: its point does not exist.
  bool is_damaged = false;

  std::size_t polygon_count() const {
    if (!starts.empty()) return starts.size() - 1;
    return corners.size() / 3;
  }
  std::size_t first_corner(std::size_t polygon) const {
    return starts.empty() ? polygon * 3 : static_cast<std::size_t>(starts[polygon]);
  }
  std::size_t polygon_size(std::size_t polygon) const {
    return starts.empty() ? 3 : static_cast<std::size_t>(starts[polygon + 1] - starts[polygon]);
  }
};

}  // namespace mirel::fbx
