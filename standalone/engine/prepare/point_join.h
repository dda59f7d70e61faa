// Joins points that are close to each other: the one rule by which positions, normals and UVs become one.
//
// Points are taken in order; each joins the lowest-numbered kept point that is close enough, else is kept. So a
// joined point is never further from its kept point than the tolerance, whatever lies between: there are no chains.
// Kept points are hashed by grid cell, with cells in a fixed ratio to the tolerance: as kept points are further apart
// than the tolerance, a cell holds few of them however the points are spread, and the expected cost is linear.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace mirel::engine {

// The same joining of the same points comes out the same everywhere: the hash decides nothing.
struct PointJoin {
  std::vector<std::uint32_t> group_of;  // point_count: the group of each point, numbered by first occurrence
  std::vector<std::uint32_t> kept;      // group_count: the lowest-numbered point of each group
};

// Joins points with equal coordinates (0 and -0 are equal, so are NaNs of the same bits). points: count x
// `dimension` floats, dimension 2 or 3.
PointJoin join_equal_points(std::span<float const> points, std::uint32_t dimension);

// Joins points no further apart than `distance`; 0, negative or NaN joins equal points only. points: count x 3, finite.
PointJoin join_points_within(std::span<float const> points, float distance);

// How far normals and UVs may differ and still become one.
class AttributeTolerance {
 public:
  // Negative or NaN counts as 0. degrees: the angle between normals; uv: each coordinate's difference.
  AttributeTolerance(float degrees, float uv);
  bool same_normal(float const* a, float const* b) const;
  bool same_uv(float const* a, float const* b) const;

  // The joining rule under these tolerances for whole lists: normals count x 3, UVs count x 2, all finite.
  PointJoin join_normals(std::span<float const> normals) const;
  PointJoin join_uvs(std::span<float const> uvs) const;

 private:
  double uv_;
  double cosine_;  // of the angle; above 1 where only equal normals are the same
};

}  // namespace mirel::engine
