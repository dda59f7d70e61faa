// The part of a surface under reduction whose way from the original is known step by step: its faces are free.
//
// Each vertex of a free face has a gap. With the gap interpolated between vertices, each point of the face has a point
// of the original of its own no farther away than that, in such a way that where all faces are free every point of the
// original is one of these (star_step.h). A face that is fixed is free no more: others have to say how far it is.
// Faces are numbered as in the original mesh and keep their numbers; one that vanishes leads to one beside it.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <span>
#include <vector>

namespace mirel::engine {

class FreeSurface {
 public:
  // faces: three indices for each; one with an index that is not below position_count is never asked for. Throws
  // std::bad_alloc.
  FreeSurface(std::size_t position_count, std::span<std::uint32_t const> faces)
      : vertices_(faces.size() / 3), fixed_(faces.size() / 3, 0), successor_(faces.size() / 3) {
    gaps_.reserve(2 * position_count);
    gaps_.assign(position_count, 0);
    for (std::size_t f = 0; f < vertices_.size(); ++f) {
      vertices_[f] = {faces[3 * f], faces[3 * f + 1], faces[3 * f + 2]};
    }
    std::iota(successor_.begin(), successor_.end(), 0U);
    find_parts(position_count);
  }

  // The connected part of the original that a face, of the original or free, belongs to. Its points have theirs there.
  std::uint32_t part(std::uint32_t face) const { return parts_[face]; }

  bool is_fixed(std::uint32_t face) const { return fixed_[face] != 0; }
  void fix(std::uint32_t face) { fixed_[face] = 1; }
  // Of a free face.
  std::array<std::uint32_t, 3> const& vertices(std::uint32_t face) const { return vertices_[face]; }
  std::array<float, 3> gaps(std::uint32_t face) const {
    auto const [a, b, c] = vertices_[face];
    return {gaps_[a], gaps_[b], gaps_[c]};
  }
  float largest_gap(std::uint32_t face) const {
    auto const [a, b, c] = gaps(face);
    return std::max({a, b, c});
  }

  // A new vertex with a gap, rounded up.
  std::uint32_t add_vertex(double gap) {
    gaps_.push_back(std::nextafter(static_cast<float>(gap), std::numeric_limits<float>::infinity()));
    return static_cast<std::uint32_t>(gaps_.size() - 1);
  }
  void set_vertex(std::uint32_t face, std::size_t corner, std::uint32_t vertex) { vertices_[face][corner] = vertex; }
  // The face vanishes.
  void remove(std::uint32_t face, std::uint32_t successor) { successor_[face] = successor; }
  // The face that a face of the original has led to; a near one at least.
  std::uint32_t successor(std::uint32_t face) {
    while (successor_[face] != face) {
      successor_[face] = successor_[successor_[face]];
      face = successor_[face];
    }
    return face;
  }

 private:
  void find_parts(std::size_t position_count) {
    std::vector<std::uint32_t> leads_to(position_count);
    std::iota(leads_to.begin(), leads_to.end(), 0U);
    auto const root = [&](std::uint32_t p) {
      while (leads_to[p] != p) {
        leads_to[p] = leads_to[leads_to[p]];
        p = leads_to[p];
      }
      return p;
    };
    auto const is_valid = [&](std::array<std::uint32_t, 3> const& v) {
      return std::max({v[0], v[1], v[2]}) < position_count;
    };
    for (auto const& v : vertices_) {
      if (!is_valid(v)) continue;
      leads_to[root(v[1])] = root(v[0]);
      leads_to[root(v[2])] = root(v[0]);
    }
    parts_.resize(vertices_.size());
    for (std::size_t f = 0; f < vertices_.size(); ++f) parts_[f] = is_valid(vertices_[f]) ? root(vertices_[f][0]) : 0;
  }

  std::vector<std::array<std::uint32_t, 3>> vertices_;
  std::vector<std::uint32_t> parts_;
  std::vector<char> fixed_;
  std::vector<std::uint32_t> successor_;  // the face itself as long as it is there
  std::vector<float> gaps_;               // per vertex
};

}  // namespace mirel::engine
