// A strict check of a mesh in wedge form, for tests and debugging.
#pragma once

#include <string>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// "" for a valid mesh, else one line that names the first fault and its place. Valid: array sizes agree, every
// number is finite, every index is in range, `set_begin` rises from 0 to the face count, `position_of` numbers
// positions in order of first occurrence, wedges of one position have the same coordinates, every vertex is used,
// no face has two corners at one position, and no two faces of one set have the same positions and orientation.
// Takes n log n time and about 24 bytes per face.
std::string validate(WedgeMesh const& mesh);

}  // namespace mirel::engine
