// One mesh to compare: its triangles in a tree, the vertices that they use, and their areas for sampling.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::compare {

// A point on a surface and the triangle (its slot in the tree) that it lies in.
struct SurfacePoint {
  engine::Vec position;
  std::uint32_t slot = 0;
};

class Surface {
 public:
  // Corners must be finite and indices in range. Throws std::bad_alloc.
  Surface(std::span<float const> positions, std::span<std::uint32_t const> faces);

  engine::TriangleBvh const& tree() const { return tree_; }
  double area() const { return area_up_to_.back(); }
  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(vertices_.size() / 3); }
  // In the order in which the tree's triangles use them: neighbours mostly follow each other.
  engine::Vec vertex(std::uint32_t i) const { return engine::load(&vertices_[3 * std::size_t{i}]); }

  // Cross product of two edges: twice the area long, and towards the outside.
  engine::Vec area_normal(std::uint32_t slot) const;

  // Sample `index` of `count`: the area, laid out triangle after triangle, is cut into `count` equal parts, and each
  // gets one point at a place that depends on the index alone. Equal areas get equal numbers of points, to within
  // one, and the next index is near the last. Needs an area above 0; `near` is a slot to begin the search at, no
  // later than the right one.
  SurfacePoint sample(std::uint64_t index, std::uint64_t count, std::uint32_t near) const;
  // The slot where the search for sample `index` may begin.
  std::uint32_t first_slot(std::uint64_t index, std::uint64_t count) const;

 private:
  engine::TriangleBvh tree_;
  std::vector<float> vertices_;
  std::vector<double> area_up_to_;  // of the slots before, and of all: size + 1 entries
};

}  // namespace mirel::compare
