#include "standalone/engine/deviation/original_topology.h"

#include <algorithm>

namespace mirel::engine {

OriginalTopology::OriginalTopology(TriangleBvh const& original, std::span<std::uint32_t const> faces)
    : corners_(original.size()), mates_(original.size()) {
  for (std::uint32_t slot = 0; slot < original.size(); ++slot) {
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const position = faces[3 * std::size_t{original.face_of(slot)} + k];
      corners_[slot][k] = position;
      position_count_ = std::max(position_count_, position + 1);
      mates_[slot][k] = kNoMate;
    }
  }
  // Half-edges by their lower position, then by the higher one.
  struct HalfEdge {
    std::uint32_t high;
    std::uint32_t slot;
    std::uint8_t edge;
    bool upwards;
  };
  std::vector<std::uint32_t> begin(std::size_t{position_count_} + 1, 0);
  auto const ends = [&](std::uint32_t slot, std::size_t k) {
    return std::pair{corners_[slot][k], corners_[slot][(k + 1) % 3]};
  };
  for (std::uint32_t slot = 0; slot < corners_.size(); ++slot) {
    for (std::size_t k = 0; k < 3; ++k) {
      auto const [from, to] = ends(slot, k);
      ++begin[std::min(from, to) + 1];
    }
  }
  for (std::size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
  std::vector<HalfEdge> edges(3 * corners_.size());
  std::vector<std::uint32_t> next(begin.begin(), begin.end() - (position_count_ > 0 ? 1 : 0));
  for (std::uint32_t slot = 0; slot < corners_.size(); ++slot) {
    for (std::size_t k = 0; k < 3; ++k) {
      auto const [from, to] = ends(slot, k);
      edges[next[std::min(from, to)]++] = {std::max(from, to), slot, static_cast<std::uint8_t>(k), from < to};
    }
  }
  for (std::uint32_t position = 0; position < position_count_; ++position) {
    auto const first = edges.begin() + begin[position];
    auto const last = edges.begin() + begin[position + 1];
    std::sort(first, last, [](HalfEdge const& a, HalfEdge const& b) {
      return a.high < b.high || (a.high == b.high && a.slot < b.slot);
    });
    for (auto i = first; i != last;) {
      auto j = i;
      while (j != last && j->high == i->high) ++j;
      if (j - i == 2 && i->upwards != (i + 1)->upwards) {
        mates_[i->slot][i->edge] = (i + 1)->slot;
        mates_[(i + 1)->slot][(i + 1)->edge] = i->slot;
      }
      i = j;
    }
  }
}

}  // namespace mirel::engine
