// Whether a convex piece lies within a radius of a few triangles: cut where it passes from one triangle to the next,
// until each part has all its corners, and so all its points, within the radius of one of them.
//
// On a flat patch the cuts run along the triangles' own edges, so the number of parts is that of the overlay and
// does not grow as the radius goes to zero.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/convex_piece.h"
#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {

// A triangle that may cover pieces. `offset` is added to every distance from it: how far the triangle itself may be
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

  // The largest distance of the piece's corners from the triangle, offset included; infinity if beyond `limit`.
  double reach(ConvexPiece const& piece, CoverTriangle const& triangle, double limit);

  // True when every part of the piece is within `radius` of one of the triangles (offset included). `reached` is
  // raised to the largest distance that was needed; the faces of the triangles used are appended to `used`, possibly
  // more than once.
  bool covers(ConvexPiece const& piece, std::span<CoverTriangle const* const> triangles, double radius, double& reached,
              std::vector<std::uint32_t>& used);

 private:
  enum class Split { kDone, kBeyondRadius };
  Split split(ConvexPiece const& piece, std::span<CoverTriangle const* const> triangles, double radius);

  std::vector<ConvexPiece> stack_;
};

// Cuts the piece by the side plane of the triangle that parts `beyond`, a corner of the piece, from it most clearly.
// False when no side plane has corners of the piece on both sides.
bool cut_along_edge(ConvexPiece const& piece, TriangleFrame const& triangle, Vec beyond, ConvexPiece& inside,
                    ConvexPiece& outside);

}  // namespace mirel::engine
