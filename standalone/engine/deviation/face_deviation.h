// The direction from the current surface to the original: whether a new face is within a radius of the original, and a
// bound on its distance.
//
// Every live face has such a bound. A new one is first compared with the faces that it replaces: the distance to one of
// those plus that face's bound bounds the new one (triangle inequality), so tiny changes never touch the tree. Where
// that is too much, the face is cut against the original itself, with the tree finding the nearest triangle of each
// part.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "standalone/engine/deviation/change_question.h"
#include "standalone/engine/deviation/convex_piece.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/piece_cover.h"

namespace mirel::engine {

class FaceDeviation {
 public:
  static constexpr double kBeyond = std::numeric_limits<double>::infinity();

  // All are kept by reference; `cover` holds the budget of the question.
  FaceDeviation(GuardedSurface const& surface, ChangeQuestion const& question, PieceCover& cover)
      : surface_(surface), question_(question), cover_(cover) {}

  // To be called once for each question.
  void start() { before_ready_ = false; }
  // A bound on the distance of changed face j from the original; kBeyond where it is not known to be within r.
  double measure(std::size_t j, double r);

 private:
  double from_before(std::array<Vec, 3> const& face, double r);
  double from_original(std::array<Vec, 3> const& face, double r);

  struct Piece {
    ConvexPiece piece;
    std::uint32_t hint;  // the original that is likely to be nearest
  };

  GuardedSurface const& surface_;
  ChangeQuestion const& question_;
  PieceCover& cover_;
  std::vector<CoverTriangle> before_;  // the touched faces as they are
  bool before_ready_ = false;
  std::vector<CoverTriangle const*> choice_;
  std::vector<std::uint32_t> used_;
  std::vector<Piece> stack_;
};

}  // namespace mirel::engine
