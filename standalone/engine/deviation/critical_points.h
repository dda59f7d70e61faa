// Points of the original that have led to refusals, each on a live face that answers for it: likely to do so again.
// Whether they are within reach of the surface as it will be ends most questions before any other work.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/engine/deviation/change_question.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/patch_overlay.h"

namespace mirel::engine {

class CriticalPoints {
 public:
  // The surface is kept by reference.
  explicit CriticalPoints(GuardedSurface const& surface);

  // The point, of the original in the slot, has led to a refusal; the face answers for it.
  void note(std::uint32_t face, Vec p, std::uint32_t slot);
  // Whether a point of the original in the slot is within r of the new faces, of those around, or of untouched ones
  // that answer for that original.
  bool is_reached(ChangeQuestion const& question, Vec p, std::uint32_t slot, double r) const;
  // Whether the points of the touched faces, and corners of the original that vanish, are within r.
  bool are_reached(ChangeQuestion const& question, double r) const;
  // Hands the points of the touched faces to the new face nearest to each; a face that gets none takes the point of the
  // original that is farthest from it, as far as the overlay, if there is one, tells.
  void hand_on(ChangeQuestion const& question, PatchOverlay const* overlay);

 private:
  struct Critical {
    Point at;
    std::uint32_t slot;
  };

  GuardedSurface const& surface_;
  std::vector<Critical> of_face_;  // without a slot: none
  std::vector<Critical> kept_;
};

}  // namespace mirel::engine
