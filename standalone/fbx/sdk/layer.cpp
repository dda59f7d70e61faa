// Layers: which elements one has.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

const char* const FbxLayerElement::sTextureChannelNames[17] = {"DiffuseColor",
                                                               "DiffuseFactor",
                                                               "EmissiveColor",
                                                               "EmissiveFactor",
                                                               "AmbientColor",
                                                               "AmbientFactor",
                                                               "SpecularColor",
                                                               "SpecularFactor",
                                                               "ShininessExponent",
                                                               "NormalMap",
                                                               "Bump",
                                                               "TransparentColor",
                                                               "TransparencyFactor",
                                                               "ReflectionColor",
                                                               "ReflectionFactor",
                                                               "DisplacementColor",
                                                               "VectorDisplacementColor"};

FbxLayer::FbxLayer() : mLayer(new Data) {}
FbxLayer::~FbxLayer() {
  delete mLayer;
}

FbxLayerElementNormal* FbxLayer::GetNormals() {
  return mLayer->normals;
}
const FbxLayerElementNormal* FbxLayer::GetNormals() const {
  return mLayer->normals;
}
FbxLayerElementMaterial* FbxLayer::GetMaterials() {
  return mLayer->materials;
}
const FbxLayerElementMaterial* FbxLayer::GetMaterials() const {
  return mLayer->materials;
}

FbxLayerElementUV* FbxLayer::GetUVs(FbxLayerElement::EType pChannel) {
  for (const auto& [channel, element] : mLayer->uvs) {
    if (channel == pChannel) return element;
  }
  return nullptr;
}
const FbxLayerElementUV* FbxLayer::GetUVs(FbxLayerElement::EType pChannel) const {
  return const_cast<FbxLayer*>(this)->GetUVs(pChannel);
}

}  // namespace fbxsdk
