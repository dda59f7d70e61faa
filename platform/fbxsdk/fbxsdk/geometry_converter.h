// Turns geometries into triangles.
#pragma once

#include <fbxsdk/geometry.h>
#include <fbxsdk/manager.h>

namespace fbxsdk {

class FBXSDK_DLL FbxGeometryConverter {
 public:
  explicit FbxGeometryConverter(FbxManager* pManager);
  ~FbxGeometryConverter();
  // A mesh of triangles, null when the attribute cannot become one; with pReplace it takes the attribute's place in
  // all nodes. A mesh of triangles already is returned as it is.
  FbxNodeAttribute* Triangulate(FbxNodeAttribute* pAttribute, bool pReplace, bool pLegacy = false);
  FbxGeometryConverter(const FbxGeometryConverter&) = delete;
  FbxGeometryConverter& operator=(const FbxGeometryConverter&) = delete;

 private:
  FbxManager* mManager;
};

}  // namespace fbxsdk
