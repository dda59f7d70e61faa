// Edge collapses among free faces so small that, from the gaps of the faces around them, they need no look at the
// original; and how they are made.
#pragma once

#include <vector>

#include "standalone/engine/deviation/change_question.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/star_step.h"

namespace mirel::engine {

class FreeStep {
 public:
  // The surface is kept by reference.
  explicit FreeStep(GuardedSurface& surface) : surface_(surface) {}

  // Whether all gaps stay within r.
  bool is_within(ChangeQuestion const& question, double r);
  // Makes the change that was last found within. What it takes the surface from the original at most.
  double commit(ChangeQuestion const& question);

 private:
  GuardedSurface& surface_;
  StarStep star_;
  std::vector<StarStep::Face> kept_, gone_;
  double gap_ = 0;  // at the new vertex
};

}  // namespace mirel::engine
