// Materials, their shader implementations, and textures.
#pragma once

#include <fbxsdk/object.h>

namespace fbxsdk {

class FBXSDK_DLL FbxSurfaceMaterial : public FbxObject {
 public:
  static const FbxClassId ClassId;
  // "DiffuseColor"
  static const char* const sDiffuse;

 protected:
  friend struct Internals;
  FbxSurfaceMaterial() {}
};

class FBXSDK_DLL FbxSurfaceLambert : public FbxSurfaceMaterial {
 public:
  static const FbxClassId ClassId;
  FbxPropertyT<FbxDouble3> Diffuse;

 protected:
  friend struct Internals;
  FbxSurfaceLambert() {}
};

class FBXSDK_DLL FbxSurfacePhong : public FbxSurfaceLambert {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxSurfacePhong() {}
};

#define FBXSDK_IMPLEMENTATION_HLSL "ImplementationHLSL"
#define FBXSDK_IMPLEMENTATION_CGFX "ImplementationCGFX"

class FBXSDK_DLL FbxImplementation : public FbxObject {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxImplementation() {}
};

// The object's implementation in the shading language that the target names, null when it has none.
FBXSDK_DLL const FbxImplementation* GetImplementation(const FbxObject* pObject, const char* pImplementationTarget);

class FBXSDK_DLL FbxTexture : public FbxObject {
 public:
  static const FbxClassId ClassId;
  enum EMappingType { eNull, ePlanar, eSpherical, eCylindrical, eBox, eFace, eUV, eEnvironment };
  enum EPlanarMappingNormal { ePlanarNormalX, ePlanarNormalY, ePlanarNormalZ };
  enum EAlphaSource { eNone, eRGBIntensity, eBlack };
  enum ETextureUse { eStandard, eShadowMap, eLightMap, eSphericalReflectionMap, eSphereReflectionMap, eBumpNormalMap };

  double GetScaleU() const;
  double GetScaleV() const;
  double GetTranslationU() const;
  double GetTranslationV() const;
  double GetRotationU() const;
  double GetRotationV() const;
  double GetRotationW() const;
  bool GetSwapUV() const;
  EAlphaSource GetAlphaSource() const;
  // In pixels.
  int GetCroppingLeft() const;
  int GetCroppingTop() const;
  int GetCroppingRight() const;
  int GetCroppingBottom() const;
  EMappingType GetMappingType() const;
  EPlanarMappingNormal GetPlanarMappingNormal() const;
  double GetDefaultAlpha() const;
  ETextureUse GetTextureUse() const;

 protected:
  friend struct Internals;
  FbxTexture() {}
};

class FBXSDK_DLL FbxFileTexture : public FbxTexture {
 public:
  static const FbxClassId ClassId;
  enum EMaterialUse { eModelMaterial, eDefaultMaterial };
  // As the file stores them; never null.
  const char* GetFileName() const;
  const char* GetRelativeFileName() const;
  EMaterialUse GetMaterialUse() const;

 private:
  friend struct Internals;
  FbxFileTexture() {}
};

class FBXSDK_DLL FbxProceduralTexture : public FbxTexture {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxProceduralTexture() {}
};

class FBXSDK_DLL FbxLayeredTexture : public FbxTexture {
 public:
  static const FbxClassId ClassId;
  enum EBlendMode {
    eTranslucent,
    eAdditive,
    eModulate,
    eModulate2,
    eOver,
    eNormal,
    eDissolve,
    eDarken,
    eColorBurn,
    eLinearBurn,
    eDarkerColor,
    eLighten,
    eScreen,
    eColorDodge,
    eLinearDodge,
    eLighterColor,
    eSoftLight,
    eHardLight,
    eVividLight,
    eLinearLight,
    ePinLight,
    eHardMix,
    eDifference,
    eExclusion,
    eSubtract,
    eDivide,
    eHue,
    eSaturation,
    eColor,
    eLuminosity,
    eOverlay,
    eBlendModeCount
  };
  // False where there is no such layer.
  bool GetTextureBlendMode(int pIndex, EBlendMode& pMode) const;

 private:
  friend struct Internals;
  FbxLayeredTexture() {}
};

}  // namespace fbxsdk
