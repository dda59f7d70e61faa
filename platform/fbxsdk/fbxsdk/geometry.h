// What hangs on a node: attributes, and among them the geometries.
#pragma once

#include <fbxsdk/layer.h>
#include <fbxsdk/math.h>
#include <fbxsdk/object.h>

namespace fbxsdk {

class FbxNode;

class FBXSDK_DLL FbxNodeAttribute : public FbxObject {
 public:
  static const FbxClassId ClassId;
  enum EType {
    eUnknown,
    eNull,
    eMarker,
    eSkeleton,
    eMesh,
    eNurbs,
    ePatch,
    eCamera,
    eCameraStereo,
    eCameraSwitcher,
    eLight,
    eOpticalReference,
    eOpticalMarker,
    eNurbsCurve,
    eTrimNurbsSurface,
    eBoundary,
    eNurbsSurface,
    eShape,
    eLODGroup,
    eSubDiv,
    eCachedEffect,
    eLine
  };
  EType GetAttributeType() const;
  int GetNodeCount() const;
  FbxNode* GetNode(int pIndex = 0) const;

 protected:
  friend struct Internals;
  FbxNodeAttribute() {}
};

class FBXSDK_DLL FbxLayerContainer : public FbxNodeAttribute {
 public:
  static const FbxClassId ClassId;
  int GetLayerCount() const;
  // Null beyond the end.
  FbxLayer* GetLayer(int pIndex);
  const FbxLayer* GetLayer(int pIndex) const;

 protected:
  FbxLayerContainer() {}
};

class FBXSDK_DLL FbxGeometryBase : public FbxLayerContainer {
 public:
  static const FbxClassId ClassId;
  int GetControlPointsCount() const;
  // Null when there are none.
  FbxVector4* GetControlPoints() const;

 protected:
  FbxGeometryBase() {}
};

class FBXSDK_DLL FbxGeometry : public FbxGeometryBase {
 public:
  static const FbxClassId ClassId;

 protected:
  friend struct Internals;
  FbxGeometry() {}
};

class FBXSDK_DLL FbxMesh : public FbxGeometry {
 public:
  static const FbxClassId ClassId;
  int GetPolygonCount() const;
  // -1 where there is no such polygon or corner, here and below.
  int GetPolygonSize(int pPolygon) const;
  int GetPolygonVertex(int pPolygon, int pCorner) const;
  // Number of the polygon's first corner among the corners of all polygons.
  int GetPolygonVertexIndex(int pPolygon) const;
  int GetTextureUVIndex(int pPolygon, int pCorner,
                        FbxLayerElement::EType pChannel = FbxLayerElement::eTextureDiffuse) const;
  // False, and the normal untouched, where there is none.
  bool GetPolygonVertexNormal(int pPolygon, int pCorner, FbxVector4& pNormal) const;

 private:
  friend struct Internals;
  FbxMesh() {}
};

class FBXSDK_DLL FbxNurbs : public FbxGeometry {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxNurbs() {}
};

class FBXSDK_DLL FbxNurbsSurface : public FbxGeometry {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxNurbsSurface() {}
};

class FBXSDK_DLL FbxPatch : public FbxGeometry {
 public:
  static const FbxClassId ClassId;

 private:
  friend struct Internals;
  FbxPatch() {}
};

}  // namespace fbxsdk
