// Which triangles of the original share corners and edges, by slot (see triangle_bvh.h).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::engine {

class OriginalTopology {
 public:
  static constexpr std::uint32_t kNoMate = 0xFFFFFFFFU;

  // faces: those of the tree, three positions each. Throws std::bad_alloc.
  OriginalTopology(TriangleBvh const& original, std::span<std::uint32_t const> faces);

  std::uint32_t position_count() const { return position_count_; }
  std::array<std::uint32_t, 3> const& corners(std::uint32_t slot) const { return corners_[slot]; }
  // The triangle beyond the edge from corner k to the next: the only other one there, and the other way around.
  std::uint32_t mate(std::uint32_t slot, std::size_t k) const { return mates_[slot][k]; }

 private:
  std::vector<std::array<std::uint32_t, 3>> corners_;
  std::vector<std::array<std::uint32_t, 3>> mates_;
  std::uint32_t position_count_ = 0;
};

}  // namespace mirel::engine
