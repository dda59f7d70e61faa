// Attributes of a geometry's points, corners and polygons: an array of values and, where the reference mode says so, an
// array of indices into it.
#pragma once

#include <fbxsdk/foundation.h>
#include <fbxsdk/math.h>

namespace fbxsdk {

class FbxSurfaceMaterial;

class FbxLayerElementArray {
 public:
  int GetCount() const { return mCount; }

 protected:
  FbxLayerElementArray() : mCount(0) {}
  int mCount;
};

template <class T>
class FbxLayerElementArrayTemplate : public FbxLayerElementArray {
 public:
  FbxLayerElementArrayTemplate() : mItems(nullptr) {}
  // An empty value beyond the end.
  T GetAt(int pIndex) const { return pIndex >= 0 && pIndex < mCount ? mItems[pIndex] : T(); }
  T operator[](int pIndex) const { return GetAt(pIndex); }

 private:
  friend struct Internals;
  const T* mItems;
};

class FBXSDK_DLL FbxLayerElement {
 public:
  enum EType {
    eUnknown,
    eNormal,
    eBiNormal,
    eTangent,
    eMaterial,
    ePolygonGroup,
    eUV,
    eVertexColor,
    eSmoothing,
    eVertexCrease,
    eEdgeCrease,
    eHole,
    eUserData,
    eVisibility,
    eTextureDiffuse,
    eTextureDiffuseFactor,
    eTextureEmissive,
    eTextureEmissiveFactor,
    eTextureAmbient,
    eTextureAmbientFactor,
    eTextureSpecular,
    eTextureSpecularFactor,
    eTextureShininess,
    eTextureNormalMap,
    eTextureBump,
    eTextureTransparency,
    eTextureTransparencyFactor,
    eTextureReflection,
    eTextureReflectionFactor,
    eTextureDisplacement,
    eTextureDisplacementVector,
    eTypeCount
  };
  enum EMappingMode { eNone, eByControlPoint, eByPolygonVertex, eByPolygon, eByEdge, eAllSame };
  enum EReferenceMode { eDirect, eIndex, eIndexToDirect };

  // The material property behind each texture channel, from eTextureDiffuse on.
  static const char* const sTextureChannelNames[17];

  FbxLayerElement(const FbxLayerElement&) = delete;
  FbxLayerElement& operator=(const FbxLayerElement&) = delete;
  EMappingMode GetMappingMode() const { return mMappingMode; }
  EReferenceMode GetReferenceMode() const { return mReferenceMode; }
  const char* GetName() const { return mName.Buffer(); }

 protected:
  FbxLayerElement() : mMappingMode(eNone), mReferenceMode(eDirect) {}
  ~FbxLayerElement() {}
  friend struct Internals;
  EMappingMode mMappingMode;
  EReferenceMode mReferenceMode;
  FbxString mName;
};

template <class T>
class FbxLayerElementTemplate : public FbxLayerElement {
 public:
  FbxLayerElementArrayTemplate<T>& GetDirectArray() { return mDirect; }
  const FbxLayerElementArrayTemplate<T>& GetDirectArray() const { return mDirect; }
  FbxLayerElementArrayTemplate<int>& GetIndexArray() { return mIndices; }
  const FbxLayerElementArrayTemplate<int>& GetIndexArray() const { return mIndices; }

 protected:
  FbxLayerElementTemplate() {}
  ~FbxLayerElementTemplate() {}
  friend struct Internals;
  FbxLayerElementArrayTemplate<T> mDirect;
  FbxLayerElementArrayTemplate<int> mIndices;
};

class FbxLayerElementNormal : public FbxLayerElementTemplate<FbxVector4> {
  friend struct Internals;
  FbxLayerElementNormal() {}
  ~FbxLayerElementNormal() {}
};

class FbxLayerElementUV : public FbxLayerElementTemplate<FbxVector2> {
  friend struct Internals;
  FbxLayerElementUV() {}
  ~FbxLayerElementUV() {}
};

// Only its indices mean something: the slots of the node's materials.
class FbxLayerElementMaterial : public FbxLayerElementTemplate<FbxSurfaceMaterial*> {
  friend struct Internals;
  FbxLayerElementMaterial() {}
  ~FbxLayerElementMaterial() {}
};

class FBXSDK_DLL FbxLayer {
 public:
  FbxLayer(const FbxLayer&) = delete;
  FbxLayer& operator=(const FbxLayer&) = delete;
  // Null where the layer has no such element.
  FbxLayerElementNormal* GetNormals();
  const FbxLayerElementNormal* GetNormals() const;
  FbxLayerElementMaterial* GetMaterials();
  const FbxLayerElementMaterial* GetMaterials() const;
  FbxLayerElementUV* GetUVs(FbxLayerElement::EType pChannel = FbxLayerElement::eTextureDiffuse);
  const FbxLayerElementUV* GetUVs(FbxLayerElement::EType pChannel = FbxLayerElement::eTextureDiffuse) const;

 private:
  friend struct Internals;
  FbxLayer();
  ~FbxLayer();
  struct Data;
  Data* mLayer;
};

}  // namespace fbxsdk
