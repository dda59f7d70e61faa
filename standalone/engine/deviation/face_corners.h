// The corners of a face as the mesh has them, in floats, and what can be told of them at once: whether something is
// too far away to be looked at, and the face made ready to cover others.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "standalone/engine/deviation/piece_cover.h"
#include "standalone/engine/deviation/star_step.h"
#include "standalone/engine/deviation/triangle_bvh.h"
#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

using FaceCorners = std::array<Point, 3>;

inline std::array<Vec, 3> loaded(FaceCorners const& c) {
  return {load(c[0].data()), load(c[1].data()), load(c[2].data())};
}

// A box around points; empty at first.
struct Bounds {
  static constexpr double kFar = std::numeric_limits<double>::infinity();

  Vec low{kFar, kFar, kFar};
  Vec high{-kFar, -kFar, -kFar};

  void add(Vec p) {
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
  }
};

// Whether a box and that of a face are farther apart than r: quick, and often so.
inline bool beyond_box(Vec low, Vec high, FaceCorners const& corners, double r) {
  auto const apart = [&](std::size_t k, double least, double most) {
    auto const [from, to] = std::minmax({corners[0][k], corners[1][k], corners[2][k]});
    return static_cast<double>(from) > most + r || static_cast<double>(to) < least - r;
  };
  return apart(0, low.x, high.x) || apart(1, low.y, high.y) || apart(2, low.z, high.z);
}
inline bool beyond_box(Vec p, FaceCorners const& corners, double r) {
  return beyond_box(p, p, corners, r);
}

inline bool is_near(Vec p, FaceCorners const& face, double r) {
  if (beyond_box(p, face, r)) return false;
  auto const [a, b, c] = loaded(face);
  return squared_distance_to_triangle(p, a, b, c) <= r * r;
}

inline CoverTriangle cover_triangle(FaceCorners const& corners, std::uint32_t face, double offset = 0) {
  auto const [a, b, c] = loaded(corners);
  return {TriangleFrame(a, b, c), offset, face};
}

}  // namespace mirel::engine
