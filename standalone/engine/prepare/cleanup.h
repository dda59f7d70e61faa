// Drops what no mesh may hold: degenerate, repeated and non-finite faces, and vertices that no face uses.
//
// Degenerate: two corners at one position. Repeated: the same three positions, orientation and set as an earlier
// face. Opposite faces stay, and so does a face of three distinct collinear positions: without it the surface would
// open. Linear expected time; 4 bytes per position and vertex while it runs, and 20 per face that may be a repeat.
#pragma once

#include "standalone/engine/prepare/build_mesh.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// A build mesh's positions under their exact coordinates.
struct ExactPositions {
  std::vector<std::uint32_t> position_of;  // vertex_count: position, numbered by first occurrence
  std::uint32_t count = 0;
};

// Cleans the mesh and groups its faces by set, stably; corner tables that exist get an entry for every corner.
// Returns the positions of what is left, all of them finite. A second run changes nothing.
ExactPositions prepare_build_mesh(BuildMesh& mesh);

// The same for a wedge form, whose faces are grouped already. Whether anything was dropped.
bool clean_wedge_mesh(WedgeMesh& mesh);

}  // namespace mirel::engine
