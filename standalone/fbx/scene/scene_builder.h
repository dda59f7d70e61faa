// Makes the objects of a scene from a document.
#pragma once

#include <fbxsdk.h>

#include "standalone/fbx/document.h"

namespace mirel::fbx {

// Fills an empty scene. Throws ReadError; what was made until then stays with the manager.
void build_scene(Document const& document, fbxsdk::FbxManager* manager, fbxsdk::FbxScene* scene);

}  // namespace mirel::fbx
