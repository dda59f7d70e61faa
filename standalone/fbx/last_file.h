// Keeps for mirel_fbx.h what the file that was read last says of itself.
#pragma once

#include <fbxsdk.h>

#include "standalone/fbx/document.h"

namespace mirel::fbx {

// To be called before anybody turns the scene to other axes.
void note_last_file(Document const& document, fbxsdk::FbxScene& scene);

// Counts a mesh or surface of it that there was no memory to cut.
void note_shape_left_out();

}  // namespace mirel::fbx
