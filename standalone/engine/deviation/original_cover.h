// The direction from the original to the current surface: whether an original that has to be covered again lies within
// a radius of the faces that may cover it, all of them together.
//
// These are the new faces, those around them, and untouched faces that answer for the original already. They are laid
// out along the new faces' normal first (plane_overlay.h); what that leaves open goes through exact cuts
// (piece_cover.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/change_question.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/piece_cover.h"
#include "standalone/engine/deviation/plane_overlay.h"

namespace mirel::engine {

class OriginalCover {
 public:
  // All are kept by reference; `cover` holds the budget of the question.
  OriginalCover(GuardedSurface const& surface, ChangeQuestion& question, PieceCover& cover);

  // Starts with the obligations `rest` of the question, by their places.
  void start(std::span<std::size_t const> rest, double r);
  // Whether the original of obligation i, one of the rest, is within r: adds to the proof who covers it.
  bool covers(std::size_t i, double r, ChangeProof& proof);

 private:
  bool start_plane(std::span<std::size_t const> rest, double r);
  bool covers_with(std::uint32_t slot, std::array<Vec, 3> const& piece, CoverTriangle const& face, double r,
                   ChangeProof& proof);
  bool covers_by_cuts(std::uint32_t slot, double r, ChangeProof& proof);
  void gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r);

  GuardedSurface const& surface_;
  ChangeQuestion& question_;
  PieceCover& cover_;
  PlaneOverlay plane_;
  bool planar_ = false;                    // the plane shows something
  std::size_t hint_ = 0;                   // the new face that has covered the last original
  std::vector<std::uint32_t> plane_mark_;  // of faces beside those at hand, which have been laid out
  std::uint32_t plane_stamp_ = 0;
  std::vector<CoverTriangle> extra_;
  std::vector<CoverTriangle const*> choice_;  // candidates of one cover
  std::vector<std::uint32_t> used_;
};

}  // namespace mirel::engine
