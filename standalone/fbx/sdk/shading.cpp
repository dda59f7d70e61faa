// Materials, implementations and textures.
#include <cstring>

#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

const char* const FbxSurfaceMaterial::sDiffuse = "DiffuseColor";

const FbxImplementation* GetImplementation(const FbxObject* pObject, const char* pImplementationTarget) {
  static constexpr char kPrefix[] = "Implementation";
  if (pObject == nullptr || pImplementationTarget == nullptr) return nullptr;
  if (std::strncmp(pImplementationTarget, kPrefix, sizeof kPrefix - 1) != 0) return nullptr;
  const char* const language = pImplementationTarget + sizeof kPrefix - 1;
  int const count = pObject->GetSrcObjectCount<FbxImplementation>();
  for (int k = 0; k < count; ++k) {
    const FbxImplementation* const implementation = pObject->GetSrcObject<FbxImplementation>(k);
    if (Internals::data(*implementation).language == language) return implementation;
  }
  return nullptr;
}

double FbxTexture::GetScaleU() const {
  return Internals::data(*this).scaling[0];
}
double FbxTexture::GetScaleV() const {
  return Internals::data(*this).scaling[1];
}
double FbxTexture::GetTranslationU() const {
  return Internals::data(*this).translation[0];
}
double FbxTexture::GetTranslationV() const {
  return Internals::data(*this).translation[1];
}
double FbxTexture::GetRotationU() const {
  return Internals::data(*this).rotation[0];
}
double FbxTexture::GetRotationV() const {
  return Internals::data(*this).rotation[1];
}
double FbxTexture::GetRotationW() const {
  return Internals::data(*this).rotation[2];
}
bool FbxTexture::GetSwapUV() const {
  return Internals::data(*this).swap_uv;
}
FbxTexture::EAlphaSource FbxTexture::GetAlphaSource() const {
  return Internals::data(*this).alpha_source;
}
int FbxTexture::GetCroppingLeft() const {
  return Internals::data(*this).cropping[0];
}
int FbxTexture::GetCroppingTop() const {
  return Internals::data(*this).cropping[1];
}
int FbxTexture::GetCroppingRight() const {
  return Internals::data(*this).cropping[2];
}
int FbxTexture::GetCroppingBottom() const {
  return Internals::data(*this).cropping[3];
}
FbxTexture::EMappingType FbxTexture::GetMappingType() const {
  return Internals::data(*this).mapping;
}
FbxTexture::EPlanarMappingNormal FbxTexture::GetPlanarMappingNormal() const {
  return Internals::data(*this).planar_normal;
}
double FbxTexture::GetDefaultAlpha() const {
  return Internals::data(*this).alpha;
}
FbxTexture::ETextureUse FbxTexture::GetTextureUse() const {
  return Internals::data(*this).use;
}

const char* FbxFileTexture::GetFileName() const {
  return Internals::data(*this).file_name.c_str();
}
const char* FbxFileTexture::GetRelativeFileName() const {
  return Internals::data(*this).relative_name.c_str();
}
FbxFileTexture::EMaterialUse FbxFileTexture::GetMaterialUse() const {
  return Internals::data(*this).material_use;
}

bool FbxLayeredTexture::GetTextureBlendMode(int pIndex, EBlendMode& pMode) const {
  const std::vector<int>& modes = Internals::data(*this).blend_modes;
  if (pIndex < 0 || static_cast<std::size_t>(pIndex) >= modes.size()) return false;
  pMode = static_cast<EBlendMode>(modes[static_cast<std::size_t>(pIndex)]);
  return true;
}

}  // namespace fbxsdk
