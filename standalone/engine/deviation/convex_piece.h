// A convex polygon in space, small and of fixed size: a piece of a triangle that is cut until each part is within
// reach of one triangle of another surface.
//
// Why pieces: the distance to a convex set is a convex function, so a convex piece whose corners are all within a
// distance of one triangle is within that distance everywhere. No sampling is involved.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {

struct ConvexPiece {
  static constexpr std::uint32_t kMaxCorners = 10;

  std::array<Vec, kMaxCorners> corners;
  std::uint32_t count = 0;

  static ConvexPiece triangle(Vec a, Vec b, Vec c) {
    ConvexPiece piece;
    piece.corners[0] = a;
    piece.corners[1] = b;
    piece.corners[2] = c;
    piece.count = 3;
    return piece;
  }

  Vec centre() const {
    Vec sum;
    for (std::uint32_t i = 0; i < count; ++i) sum = sum + corners[i];
    return (1.0 / count) * sum;
  }

  // The largest distance of a corner, and so of any point of the piece, from c.
  double radius_around(Vec c) const {
    double squared = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      Vec const d = corners[i] - c;
      squared = std::max(squared, dot(d, d));
    }
    return std::sqrt(squared);
  }

  void add(Vec corner) { corners[count++] = corner; }

  // Cuts where the corners' values change sign, which they must do exactly twice: `inside` gets the part with values
  // >= 0, `outside` the rest. A piece that has no room for another corner is halved along a diagonal instead, which
  // loses nothing either.
  void split(std::array<double, kMaxCorners> const& value, ConvexPiece& inside, ConvexPiece& outside) const {
    inside.count = 0;
    outside.count = 0;
    if (count == kMaxCorners) {
      for (std::uint32_t i = 0; i <= count / 2; ++i) inside.add(corners[i]);
      for (std::uint32_t i = count / 2; i < count; ++i) outside.add(corners[i]);
      outside.add(corners[0]);
      return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      std::uint32_t const j = i + 1 == count ? 0 : i + 1;
      (value[i] >= 0 ? inside : outside).add(corners[i]);
      if ((value[i] >= 0) != (value[j] >= 0)) {
        Vec const cut = corners[i] + (value[i] / (value[i] - value[j])) * (corners[j] - corners[i]);
        inside.add(cut);
        outside.add(cut);
      }
    }
  }

  // Halves the longest edge; both parts keep the corner opposite.
  void bisect(ConvexPiece& first, ConvexPiece& second) const {
    std::uint32_t longest = 0;
    double squared = -1;
    for (std::uint32_t i = 0; i < count; ++i) {
      Vec const e = corners[(i + 1) % count] - corners[i];
      double const s = dot(e, e);
      if (s > squared) {
        squared = s;
        longest = i;
      }
    }
    std::uint32_t const next = (longest + 1) % count;
    std::uint32_t const opposite = (next + (count - 1) / 2) % count;
    Vec const middle = 0.5 * (corners[longest] + corners[next]);
    first.count = 0;
    second.count = 0;
    first.add(middle);
    for (std::uint32_t i = next;; i = (i + 1) % count) {
      first.add(corners[i]);
      if (i == opposite) break;
    }
    second.add(middle);
    for (std::uint32_t i = opposite;; i = (i + 1) % count) {
      second.add(corners[i]);
      if (i == longest) break;
    }
  }
};

// Cuts the piece by the side plane of the triangle that parts `beyond`, a corner of the piece, from it most clearly.
// False when that plane does not leave a fair part of the piece on both sides.
inline bool cut_along_edge(ConvexPiece const& piece, TriangleFrame const& triangle, Vec beyond, ConvexPiece& inside,
                           ConvexPiece& outside) {
  constexpr double kLeastPart = 1e-5;  // of the width: rounding must not pass for progress
  if (!triangle.has_plane()) return false;
  std::size_t edge = 0;
  double lowest = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double const d = triangle.edge_distance(k, beyond);
    if (d < lowest) {
      lowest = d;
      edge = k;
    }
  }
  if (!(lowest < 0)) return false;
  std::array<double, ConvexPiece::kMaxCorners> value{};
  double highest = 0;
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    value[i] = triangle.edge_distance(edge, piece.corners[i]);
    highest = std::max(highest, value[i]);
  }
  double const least = kLeastPart * (highest - lowest);
  if (!(highest > least && -lowest > least)) return false;
  std::uint32_t crossings = 0;
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    crossings += (value[i] >= 0) != (value[i + 1 == piece.count ? 0 : i + 1] >= 0) ? 1U : 0U;
  }
  if (crossings != 2) return false;  // a piece so thin that rounding has bent it
  piece.split(value, inside, outside);
  return true;
}

}  // namespace mirel::engine
