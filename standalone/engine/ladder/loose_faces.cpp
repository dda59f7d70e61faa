#include "standalone/engine/ladder/loose_faces.h"

#include <algorithm>
#include <cstddef>

namespace mirel::engine {

LooseFaces find_loose_faces(WedgeMesh const& mesh) {
  LooseFaces loose;
  if (mesh.position_count <= mesh.face_count()) return loose;
  bool const single = mesh.vertex_count() == mesh.position_count;
  auto const position = [&](std::size_t corner) {
    return single ? mesh.faces[corner] : mesh.position_of[mesh.faces[corner]];
  };
  // How many corners there are at each position; two stands for more.
  std::vector<std::uint8_t> corners(mesh.position_count, 0);
  for (std::size_t i = 0; i < mesh.faces.size(); ++i) {
    std::uint8_t& count = corners[position(i)];
    count = std::min<std::uint8_t>(2, static_cast<std::uint8_t>(count + 1));
  }
  for (std::uint32_t face = 0; face < mesh.face_count(); ++face) {
    std::size_t const first = std::size_t{3} * face;
    if (corners[position(first)] + corners[position(first + 1)] + corners[position(first + 2)] != 3) continue;
    loose.faces.push_back(face);
    for (std::size_t k = 0; k < 3; ++k) corners[position(first + k)] = 0;
  }
  if (loose.faces.empty()) return loose;
  for (std::uint32_t p = 0; p < mesh.position_count; ++p) {
    if (corners[p] != 0) loose.positions.push_back(p);
  }
  return loose;
}

}  // namespace mirel::engine
