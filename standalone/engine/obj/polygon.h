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
  // becomes a fan. Returns false where a polygon of very many corners was given up and its rest made a fan.
  bool cut(float const* positions, std::span<std::uint32_t const> vertices);

  std::span<std::uint32_t const> triangles() const { return triangles_; }

 private:
  struct Node {
    double x = 0, y = 0;
    std::uint32_t previous = 0, next = 0;
    bool alive = true;
    bool convex = false;
  };
  enum class Rule : std::uint8_t { kNothingInside, kNothingStrictlyInside, kStraight, kConvex, kAny };

  bool project(float const* positions, std::span<std::uint32_t const> vertices);
  bool is_convex() const;
  void fan(std::uint32_t first, std::size_t count);
  bool clip_ears();
  bool may_clip(std::uint32_t ear, Rule rule);
  bool is_blocked(std::uint32_t ear, bool strictly);
  bool blocks(std::uint32_t candidate, std::uint32_t a, std::uint32_t b, std::uint32_t c, bool strictly) const;
  double turn(std::uint32_t a, std::uint32_t b, std::uint32_t c) const;
  void update_convexity(std::uint32_t node);
  void build_grid();
  std::size_t column_of(double x) const;
  std::size_t row_of(double y) const;

  std::vector<Node> nodes_;
  std::vector<std::uint32_t> triangles_;
  std::vector<std::uint32_t> cell_begin_, cell_nodes_;  // the nodes of each grid cell, row by row
  std::size_t columns_ = 0, rows_ = 0;                  // 0: no grid
  double low_x_ = 0, low_y_ = 0, cells_per_x_ = 0, cells_per_y_ = 0;
  std::uint32_t remaining_ = 0;
  std::uint64_t work_ = 0;
};

}  // namespace mirel::engine
