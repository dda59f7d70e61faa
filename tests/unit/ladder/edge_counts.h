// How many edges of a mesh are on its boundary, and how many have three and more faces.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::test {

struct EdgeCounts {
  std::uint32_t boundary = 0;
  std::uint32_t non_manifold = 0;
};

inline EdgeCounts count_edges(engine::WedgeMesh const& mesh) {
  std::vector<std::uint64_t> edges;
  for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint64_t const a = mesh.position_of[mesh.faces[f + k]];
      std::uint64_t const b = mesh.position_of[mesh.faces[f + (k + 1) % 3]];
      edges.push_back(std::min(a, b) << 32 | std::max(a, b));
    }
  }
  std::sort(edges.begin(), edges.end());
  EdgeCounts counts;
  for (std::size_t i = 0; i < edges.size();) {
    std::size_t const end =
        static_cast<std::size_t>(std::upper_bound(edges.begin(), edges.end(), edges[i]) - edges.begin());
    counts.boundary += end - i == 1 ? 1U : 0U;
    counts.non_manifold += end - i > 2 ? 1U : 0U;
    i = end;
  }
  return counts;
}

}  // namespace mirel::test
