#include "standalone/fbx/surface_reader.h"

#include <cmath>

#include "standalone/fbx/array_reader.h"
#include "standalone/fbx/mesh_reader.h"

namespace mirel::fbx {

Surface read_surface(Document const&, Element const&, fbxsdk::FbxNodeAttribute::EType) {
  return {};
}

bool tessellate(Surface const&, MeshData&) {
  return false;
}

}  // namespace mirel::fbx
