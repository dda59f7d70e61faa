// A mesh from the element that holds it: a Geometry of version 7, a Model of version 6.
#pragma once

#include "standalone/fbx/document.h"
#include "standalone/fbx/mesh_data.h"

namespace mirel::fbx {

// Throws ReadError. Corners whose point does not exist are -1.
MeshData read_mesh(Document const& document, Element const& geometry);

// The layers of any geometry.
void read_layers(Document const& document, Element const& geometry, MeshData& mesh);

// Which of a node's textures the mesh puts where, as version 6 stores it: one pair for every combination that occurs.
struct TextureUse {
  int material = 0;
  int texture = 0;
};
std::vector<TextureUse> read_texture_layer(Document const& document, Element const& geometry, MeshData const& mesh);

}  // namespace mirel::fbx
