// Nodes: the tree, materials, attributes and transforms.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {
namespace {

template <class T>
T* at(const std::vector<T*>& list, int index) {
  return index >= 0 && static_cast<std::size_t>(index) < list.size() ? list[static_cast<std::size_t>(index)] : nullptr;
}

FbxVector4 vector_of(const mirel::fbx::Vector3& value) {
  return {value[0], value[1], value[2], 1.0};
}

}  // namespace

FbxNode* FbxNode::GetParent() const {
  return Internals::data(*this).parent;
}

int FbxNode::GetChildCount(bool pRecursive) const {
  if (!pRecursive) return static_cast<int>(Internals::data(*this).children.size());
  int count = 0;
  std::vector<const FbxNode*> waiting = {this};
  while (!waiting.empty()) {
    const FbxNode* const node = waiting.back();
    waiting.pop_back();
    for (const FbxNode* const child : Internals::data(*node).children) waiting.push_back(child);
    count += static_cast<int>(Internals::data(*node).children.size());
  }
  return count;
}

FbxNode* FbxNode::GetChild(int pIndex) const {
  return at(Internals::data(*this).children, pIndex);
}
int FbxNode::GetMaterialCount() const {
  return static_cast<int>(Internals::data(*this).materials.size());
}
FbxSurfaceMaterial* FbxNode::GetMaterial(int pIndex) const {
  return at(Internals::data(*this).materials, pIndex);
}
int FbxNode::GetNodeAttributeCount() const {
  return static_cast<int>(Internals::data(*this).attributes.size());
}
FbxNodeAttribute* FbxNode::GetNodeAttributeByIndex(int pIndex) const {
  return at(Internals::data(*this).attributes, pIndex);
}
FbxNodeAttribute* FbxNode::GetNodeAttribute() const {
  return GetNodeAttributeByIndex(0);
}

FbxAMatrix& FbxNode::EvaluateLocalTransform(FbxTime, EPivotSet, bool, bool) {
  return Internals::data(*this).local;
}

FbxVector4 FbxNode::GetGeometricTranslation(EPivotSet) const {
  return vector_of(Internals::data(*this).transform.geometric_translation);
}
FbxVector4 FbxNode::GetGeometricRotation(EPivotSet) const {
  return vector_of(Internals::data(*this).transform.geometric_rotation);
}
FbxVector4 FbxNode::GetGeometricScaling(EPivotSet) const {
  return vector_of(Internals::data(*this).transform.geometric_scaling);
}

}  // namespace fbxsdk
