// A tree over points that finds those near line segments, and from which points can be taken out.
//
// Points are sorted along a Z-order curve; leaves of eight of them carry an implicit binary tree of boxes. Building
// is linear (radix sort); a query visits the boxes that the segment, thickened by its radius, passes through.
// Segments that lie side by side are asked for together: one descent finds the leaves around all of them. 12 bytes of
// input and about 36 bytes per point.
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

  // A segment thickened by a radius. Points at a relative distance of 1e-9 beyond it may count as near.
  class Segment {
   public:
    Segment(float const* a, float const* b, double radius);

   private:
    friend class PointTree;
    bool touches(std::array<float, 3> const& low, std::array<float, 3> const& high) const;
    bool is_near(float const* point) const;

    std::array<double, 3> start_{};
    std::array<double, 3> along_{};
    std::array<double, 3> inverse_along_{};  // 0 where the segment does not run along the axis
    double inverse_square_ = 0;
    double radius_;
  };

  // Where a point stands along the curve: points with like ranks are close to each other.
  std::uint32_t rank(std::uint32_t point) const { return place_of_[point]; }

  // Calls visit(point) for every point near the segment.
  template <class Visit>
  void near_segment(Segment const& segment, Visit visit) const {
    if (nodes_.empty()) {
      return;
    }
    std::array<std::size_t, 80> stack;  // one entry per level, and levels are the bits of a count
    std::size_t depth = 0;
    stack[depth++] = 1;
    while (depth != 0) {
      std::size_t const node = stack[--depth];
      if (nodes_[node].count == 0 || !segment.touches(nodes_[node].low, nodes_[node].high)) {
        continue;
      }
      if (node < leaf_count_) {
        stack[depth++] = node * 2 + 1;
        stack[depth++] = node * 2;
        continue;
      }
      visit_leaf(segment, node, visit);
    }
  }

  // Calls visit(i, point) for every point near segments[i]. Quick where the segments are short and close to each other.
  template <class Visit>
  void near_segments(std::span<Segment const> segments, Visit visit) const {
    std::array<std::uint32_t, kMostShared> leaves;
    std::size_t const count = leaves_around(segments, leaves);
    for (std::size_t i = 0; i < segments.size(); ++i) {
      auto const visit_point = [&visit, i](std::uint32_t point) { visit(i, point); };
      if (count > kMostShared) {
        near_segment(segments[i], visit_point);
        continue;
      }
      for (std::size_t k = 0; k < count; ++k) {
        if (segments[i].touches(nodes_[leaves[k]].low, nodes_[leaves[k]].high)) {
          visit_leaf(segments[i], leaves[k], visit_point);
        }
      }
    }
  }

  // The point is found no more.
  void take_out(std::uint32_t point);

 private:
  static constexpr std::size_t kLeafSize = 8;
  // Beyond so many leaves around several segments, each of them is better off with a descent of its own.
  static constexpr std::size_t kMostShared = 256;

  struct Node {
    std::array<float, 3> low{};
    std::array<float, 3> high{};
    std::uint32_t count = 0;  // of points not taken out
  };

  // The leaves that the box around the segments comes upon, or more than kMostShared where there are too many.
  std::size_t leaves_around(std::span<Segment const> segments, std::array<std::uint32_t, kMostShared>& leaves) const;

  template <class Visit>
  void visit_leaf(Segment const& segment, std::size_t node, Visit& visit) const {
    std::size_t const begin = (node - leaf_count_) * kLeafSize;
    for (std::size_t i = begin; i < begin + kLeafSize && i < order_.size(); ++i) {
      if (segment.is_near(&points_[i * 3]) && !taken_[order_[i]]) {
        visit(order_[i]);
      }
    }
  }

  std::size_t leaf_count_ = 0;  // a power of 2; the children of node n are 2n and 2n + 1, the root is 1
  std::vector<Node> nodes_;
  std::vector<std::uint32_t> order_;     // points along the curve
  std::vector<float> points_;            // their coordinates, in that order
  std::vector<std::uint32_t> place_of_;  // of each point in order_
  std::vector<bool> taken_;
};

}  // namespace mirel::engine
