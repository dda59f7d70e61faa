// The edges of a mesh by position: which half-edges, directed sides of faces, lie on each.
//
// Half-edge h = 3 x face + k runs from corner k to corner (k + 1) mod 3 of its face. Linear: two counting passes by
// the lower end, then a short sort per end; 24 bytes per face.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mirel::engine {

inline std::size_t next_corner(std::size_t corner) {
  return corner % 3 == 2 ? corner - 2 : corner + 1;
}

struct Edges {
  struct HalfEdge {
    std::uint32_t high;  // the edge's higher position
    std::uint32_t half;  // the half-edge
  };
  std::vector<std::uint32_t> begin;  // position_count + 1: the half-edges whose lower position is p are
  std::vector<HalfEdge> half_edges;  // [begin[p], begin[p + 1]), by higher position, then by half-edge

  // Calls visit(low, group) for every edge, edges in order of their positions; group: its half-edges.
  template <class Visit>
  void for_each(Visit visit) const {
    for (std::uint32_t p = 0; p + 1 < begin.size(); ++p) {
      for (std::size_t i = begin[p]; i < begin[p + 1];) {
        std::size_t end = i + 1;
        while (end < begin[p + 1] && half_edges[end].high == half_edges[i].high) {
          ++end;
        }
        visit(p, std::span(half_edges).subspan(i, end - i));
        i = end;
      }
    }
  }
  // How many faces lie on the edge between two positions.
  std::uint32_t face_count(std::uint32_t a, std::uint32_t b) const;
};

// faces: face_count x 3 vertices; position_of: per vertex.
Edges find_edges(std::span<std::uint32_t const> faces, std::span<std::uint32_t const> position_of,
                 std::uint32_t position_count);

}  // namespace mirel::engine
