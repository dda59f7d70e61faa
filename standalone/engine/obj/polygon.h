// Cuts a polygon into triangles.
//
// Layer: a tool of the OBJ reader. Corners are 0-based ordinals within the polygon. Triangles keep its winding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mirel::engine {

// Keeps its working storage from one polygon to the next.
class PolygonTriangulator {
 public:
  // positions: vertex_count x 3; vertices: the polygon's corners, at least 3, each below vertex_count.
  // Afterwards `triangles()` holds exactly (corners - 2) x 3 ordinals. A simple polygon (convex or concave, repeated
  // corners and keyholes included) is covered without overlaps in the plane of its Newell normal; of one that
  // crosses itself every corner is still used. A polygon without area, or with a coordinate that is not finite,
  // becomes a fan. Returns false where a polygon took too long and its rest was made a fan.
  bool cut(float const* positions, std::span<std::uint32_t const> vertices);

  std::span<std::uint32_t const> triangles() const { return triangles_; }

 private:
  struct Node {
    double x = 0, y = 0;
    std::uint32_t previous = 0, next = 0;
    bool alive = true;
    bool convex = false;
    bool queued = false;
    bool postponed = false;           // the corner before it has just been clipped
    std::uint32_t first_waiting = 0;  // in waiting_: the ears that this corner blocks
  };
  struct Waiting {
    std::uint32_t ear, next;  // 0 ends the list
  };
  enum class Rule : std::uint8_t { kNothingInside, kNothingStrictlyInside, kStraight, kConvex, kAny };

  bool project(float const* positions, std::span<std::uint32_t const> vertices);
  bool is_convex() const;
  void fan(std::uint32_t first, std::size_t count);
  bool clip_ears();
  void clip(std::uint32_t ear);
  void clip_by_weaker_rules();
  void enqueue(std::uint32_t node);
  bool may_clip(std::uint32_t ear, Rule rule);
  bool is_blocked(std::uint32_t ear, bool strictly, std::uint32_t& blocker);
  bool blocks(std::uint32_t candidate, std::uint32_t a, std::uint32_t b, std::uint32_t c, bool strictly) const;
  double turn(std::uint32_t a, std::uint32_t b, std::uint32_t c) const;
  void update_convexity(std::uint32_t node);
  void set_in_the_way(std::uint32_t node, bool in_the_way);
  void build_tree();
  std::uint32_t build_subtree(std::uint32_t begin, std::uint32_t end, std::uint32_t parent);
  bool may_touch(std::uint32_t branch, std::uint32_t a, std::uint32_t b, std::uint32_t c) const;

  std::vector<Node> nodes_;
  std::vector<std::uint32_t> triangles_;
  // A k-d tree over the corners, empty for small polygons. `in_the_way` counts the corners below that are neither
  // clipped nor convex.
  struct Branch {
    double low_x, low_y, high_x, high_y;
    std::uint32_t parent, right;  // the left child follows its parent; right 0: a leaf
    std::uint32_t begin, end;     // of tree_nodes_
    std::uint32_t in_the_way;
  };
  std::vector<Branch> tree_;
  std::vector<std::uint32_t> tree_nodes_, leaf_of_, pending_;
  std::vector<std::uint32_t> queue_;  // corners that may be ears, from queue_head_ on
  std::size_t queue_head_ = 0;
  std::vector<Waiting> waiting_;
  std::uint32_t remaining_ = 0;
  std::uint32_t somewhere_ = 0;  // a corner that is not clipped
  std::uint64_t work_ = 0;
  std::uint64_t common_work_ = 50'000'000;  // left for all outlines together, beyond what each has of its own
};

}  // namespace mirel::engine
