// Whether a triangle lies within a radius of a few others: cut where it passes from one to the next, until each part
// has all its corners within the radius of one of them. The distance to a convex set is a convex function, so the
// whole part is within the radius then; no sampling is involved.
//
// On a flat patch the cuts run along the triangles' own edges, so the number of parts is that of the overlay and
// does not grow as the radius goes to zero. Each corner keeps the distances to all the triangles while its parts are
// cut further, so a cut costs the distances of its two new corners only.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {

// A triangle that may cover others. `offset` is added to every distance from it: how far the triangle itself may be
// from the surface that is asked about.
struct CoverTriangle {
  TriangleFrame frame;
  double offset = 0;
  std::uint32_t face = 0;
};

class PieceCover {
 public:
  // What may still be spent, in distance tests; a cover that needs more fails. Shared by all covers of one question.
  std::int64_t budget = 0;

  // Where a cover has failed: a point that no candidate is near enough to. Unknown where it was given up for its cost.
  bool beyond_known = false;
  Vec beyond;

  // The largest distance of the corners from the triangle, offset included; infinity if beyond `limit`.
  double reach(std::array<Vec, 3> const& corners, CoverTriangle const& triangle, double limit);

  // True when every part of the triangle `corners` is within `radius` of one of the candidates (offset included).
  // `reached` is raised to the largest distance that was needed; the faces of the candidates used are added to
  // `used`, each once.
  bool covers(std::array<Vec, 3> const& corners, std::span<CoverTriangle const* const> candidates, double radius,
              double& reached, std::vector<std::uint32_t>& used);

 private:
  static constexpr std::uint32_t kMaxCorners = 8;

  struct Corner {
    Vec at;
    std::uint32_t nearest;  // candidate
  };
  struct Part {
    std::array<std::uint32_t, kMaxCorners> corners;
    std::uint32_t count;
  };

  bool add_corner(Vec at, std::span<CoverTriangle const* const> candidates, double radius, std::uint32_t& corner);
  bool split(Part const& part, std::span<CoverTriangle const* const> candidates, double radius);
  bool cut(Part const& part, std::uint32_t candidate, std::span<CoverTriangle const* const> candidates, double radius,
           bool& within_reach);

  std::vector<Corner> corners_;
  std::vector<double> distances_;  // per corner, one for each candidate, offset included; infinity beyond the radius
  std::vector<std::uint64_t> within_;  // per corner, bit c: within the radius of candidate c
  std::size_t words_ = 1;              // of bits, per corner
  std::vector<Part> stack_;
};

}  // namespace mirel::engine
