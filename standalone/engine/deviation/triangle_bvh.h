// A bounding volume hierarchy over the triangles of one mesh that answers: how far is a point from the surface, and
// which triangle is nearest?
//
// Built top down with binned surface-area costs (Wald 2007, "On fast construction of SAH-based bounding volume
// hierarchies"; the cost itself: Goldsmith and Salmon 1987). Nodes lie in one array, 32 bytes each, brothers side by
// side in one cache line; triangles are stored in leaf order. A triangle is named by its slot, its place in that
// order; `face_of` gives the face that it came from. Memory: about 40 bytes of triangle and 20 of nodes for each.
// Where many triangles are oblique slivers, nodes have an oriented box as well: 100 bytes for each triangle more.
// Coordinates and distances in model units.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "standalone/engine/deviation/oriented_box.h"
#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

// Squared distance from p to the triangle abc; one without area counts as its edges.
double squared_distance_to_triangle(Vec p, Vec a, Vec b, Vec c);

class TriangleBvh {
 public:
  static constexpr std::uint32_t kNoSlot = 0xFFFFFFFFU;

  struct Nearest {
    double distance = std::numeric_limits<double>::infinity();
    std::uint32_t slot = kNoSlot;
  };

  // positions: position_count x 3; faces: face_count x 3 indices into positions. Both are copied. A face with an
  // index out of range or a non-finite corner is left out; a face without area counts as its edges. Throws
  // std::bad_alloc.
  TriangleBvh(std::span<float const> positions, std::span<std::uint32_t const> faces);

  std::uint32_t size() const { return static_cast<std::uint32_t>(faces_.size()); }
  std::uint32_t face_of(std::uint32_t slot) const { return faces_[slot]; }
  Vec corner(std::uint32_t slot, std::uint32_t k) const { return load(&corners_[9 * std::size_t{slot} + 3 * k]); }
  // Largest absolute coordinate; 0 when empty.
  double largest_coordinate() const { return largest_coordinate_; }
  // Length of the diagonal of the bounding box; 0 when empty.
  double diagonal() const;

  // The triangle nearest to p among those within `cutoff`; none (kNoSlot, infinity) when there is none. The search
  // stops at the first triangle found within `enough` (0: never early). `hint` is a slot to try first, for points
  // that come in spatial order. The distance is that of an existing triangle: never too small.
  Nearest nearest(Vec p, double cutoff = std::numeric_limits<double>::infinity(), double enough = 0,
                  std::uint32_t hint = kNoSlot) const;

  // Adds the slots of triangles whose leaves' boxes meet the box from low to high, some besides it included. False when
  // there are more than `most`.
  bool collect(Vec low, Vec high, std::size_t most, std::vector<std::uint32_t>& slots) const;

  // Squared distance from p to the triangle in a slot.
  double squared_distance(std::uint32_t slot, Vec p) const;

 private:
  struct Node {
    std::array<float, 3> low;
    std::uint32_t first;  // leaf: first slot; else: left child, the right one follows
    std::array<float, 3> high;
    std::uint32_t count;  // triangles of a leaf; 0: inner node
  };
  struct Builder;

  bool has_many_oblique_slivers() const;
  void orient_nodes();
  template <bool oriented>
  Nearest search(Vec p, double cutoff, double enough, std::uint32_t hint) const;

  std::vector<Node> nodes_;  // 0: the root; 1: unused, so that brothers share a cache line
  std::vector<float> corners_;
  std::vector<std::uint32_t> faces_;
  // Empty where no node has one; else for each node its place among the boxes, or kNoSlot.
  std::vector<std::uint32_t> oriented_of_;
  std::vector<OrientedBox> oriented_;
  double largest_coordinate_ = 0;
};

}  // namespace mirel::engine
