// Faces that share no corner with another.
//
// Nothing of such a face can collapse: it is a component that goes whole or stays. So it needs no vertices and no
// stars, only its place in the queue.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

struct LooseFaces {
  std::vector<std::uint32_t> faces;      // in their order
  std::vector<std::uint32_t> positions;  // those of all other faces, in their order; empty where no face is loose
};

// Told only of meshes with more positions than faces: others have few loose faces, or none. Throws std::bad_alloc.
LooseFaces find_loose_faces(WedgeMesh const& mesh);

}  // namespace mirel::engine
