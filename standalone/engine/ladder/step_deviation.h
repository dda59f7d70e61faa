// How far the meshes at one step of a ladder are from step 0, measured afterwards: for ladders that were built without
// a tolerance and so have recorded no bound.
//
// Each mesh is compared with itself at step 0, in both directions; only a mesh that has vanished is compared with what
// is left of all meshes together. The arrays are copied at first, so that the measuring may be done on another thread
// while the ladder is moved along or ends.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/engine/ladder/ladder.h"

namespace mirel::engine {

class StepDeviation {
 public:
  // Throws std::bad_alloc.
  StepDeviation(Ladder& ladder, std::uint32_t step);

  // No point of either surface is further from the other than this, model units; 0 where nothing has changed. At most
  // 5 % and a 10^7th of the diagonal above the distance of a point that there is, unless the pieces that this takes run
  // into tens of millions.
  // Throws std::bad_alloc.
  double bound() const;

 private:
  struct Surface {
    std::vector<float> positions;
    std::vector<std::uint32_t> faces;
  };
  struct Change {
    Surface before;
    Surface after;
  };
  std::vector<Change> changes_;  // of the meshes that are not as they were
  Surface rest_;                 // all meshes at the step; only where one has vanished
};

}  // namespace mirel::engine
