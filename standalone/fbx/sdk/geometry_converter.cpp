// Triangles from geometries.
#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

FbxGeometryConverter::FbxGeometryConverter(FbxManager* pManager) : mManager(pManager) {}
FbxGeometryConverter::~FbxGeometryConverter() {}

FbxNodeAttribute* FbxGeometryConverter::Triangulate(FbxNodeAttribute*, bool, bool) {
  return nullptr;
}

}  // namespace fbxsdk
