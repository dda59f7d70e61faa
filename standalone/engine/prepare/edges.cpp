#include "standalone/engine/prepare/edges.h"

#include <algorithm>
#include <utility>

namespace mirel::engine {

Edges find_edges(std::span<std::uint32_t const> faces, std::span<std::uint32_t const> position_of,
                 std::uint32_t position_count) {
  Edges edges;
  edges.begin.assign(std::size_t{position_count} + 2, 0);
  edges.half_edges.resize(faces.size());
  auto const for_each_half = [&](auto visit) {
    for (std::size_t f = 0; f + 2 < faces.size(); f += 3) {
      std::uint32_t const p[3] = {position_of[faces[f]], position_of[faces[f + 1]], position_of[faces[f + 2]]};
      visit(p[0], p[1], f);
      visit(p[1], p[2], f + 1);
      visit(p[2], p[0], f + 2);
    }
  };
  for_each_half([&](std::uint32_t a, std::uint32_t b, std::size_t) { ++edges.begin[std::min(a, b) + std::size_t{2}]; });
  for (std::size_t p = 2; p < edges.begin.size(); ++p) {
    edges.begin[p] += edges.begin[p - 1];
  }
  for_each_half([&](std::uint32_t a, std::uint32_t b, std::size_t half) {
    edges.half_edges[edges.begin[std::min(a, b) + std::size_t{1}]++] = {std::max(a, b),
                                                                        static_cast<std::uint32_t>(half)};
  });
  edges.begin.pop_back();
  auto const before = [](Edges::HalfEdge const& a, Edges::HalfEdge const& b) {
    return a.high != b.high ? a.high < b.high : a.half < b.half;
  };
  for (std::size_t p = 0; p + 1 < edges.begin.size(); ++p) {
    auto const first = edges.half_edges.begin() + edges.begin[p];
    auto const last = edges.half_edges.begin() + edges.begin[p + 1];
    if (last - first > 16) {
      std::sort(first, last, before);
      continue;
    }
    for (auto i = first; i != last; ++i) {
      Edges::HalfEdge const moved = *i;
      auto j = i;
      for (; j != first && before(moved, *(j - 1)); --j) {
        *j = *(j - 1);
      }
      *j = moved;
    }
  }
  return edges;
}

std::uint32_t Edges::face_count(std::uint32_t a, std::uint32_t b) const {
  std::uint32_t const low = std::min(a, b);
  std::uint32_t const high = std::max(a, b);
  auto const first = half_edges.begin() + begin[low];
  auto const last = half_edges.begin() + begin[low + std::size_t{1}];
  auto const range = std::equal_range(first, last, HalfEdge{high, 0},
                                      [](HalfEdge const& x, HalfEdge const& y) { return x.high < y.high; });
  return static_cast<std::uint32_t>(range.second - range.first);
}

}  // namespace mirel::engine
