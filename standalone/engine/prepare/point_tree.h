// A tree over points that finds those near a line segment, and from which points can be taken out.
//
// Points are sorted along a Z-order curve; leaves of eight of them carry an implicit binary tree of boxes. Building
// is linear (radix sort); a query visits the boxes that the segment, thickened by its radius, passes through.
// 12 bytes of input and about 24 bytes per point.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mirel::engine {

class PointTree {
 public:
  // points: count x 3, finite.
  explicit PointTree(std::span<float const> points);

  // Calls visit(point) for every point in a box that comes within `radius` of the segment from a to b: all points
  // within the radius, and some more.
  template <class Visit>
  void near_segment(float const* a, float const* b, double radius, Visit visit) const {
    if (nodes_.empty()) {
      return;
    }
    Segment const segment(a, b, radius);
    std::array<std::size_t, 80> stack;  // one entry per level, and levels are the bits of a count
    std::size_t depth = 0;
    stack[depth++] = 1;
    while (depth != 0) {
      std::size_t const node = stack[--depth];
      if (nodes_[node].count == 0 || !segment.touches(nodes_[node])) {
        continue;
      }
      if (node < leaf_count_) {
        stack[depth++] = node * 2 + 1;
        stack[depth++] = node * 2;
        continue;
      }
      std::size_t const begin = (node - leaf_count_) * kLeafSize;
      for (std::size_t i = begin; i < begin + kLeafSize && i < order_.size(); ++i) {
        if (!taken_[order_[i]]) {
          visit(order_[i]);
        }
      }
    }
  }

  // The point is found no more.
  void take_out(std::uint32_t point);

 private:
  static constexpr std::size_t kLeafSize = 8;

  struct Node {
    std::array<float, 3> low{};
    std::array<float, 3> high{};
    std::uint32_t count = 0;  // of points not taken out
  };

  class Segment {
   public:
    Segment(float const* a, float const* b, double radius);
    bool touches(Node const& node) const;

   private:
    std::array<double, 3> start_{};
    std::array<double, 3> inverse_along_{};  // 0 where the segment does not run along the axis
    double radius_;
  };

  std::size_t leaf_count_ = 0;  // a power of 2; the children of node n are 2n and 2n + 1, the root is 1
  std::vector<Node> nodes_;
  std::vector<std::uint32_t> order_;     // points along the curve
  std::vector<std::uint32_t> place_of_;  // of each point in order_
  std::vector<bool> taken_;
};

}  // namespace mirel::engine
