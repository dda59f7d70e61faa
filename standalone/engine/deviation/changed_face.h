// One face that survives a local change of a mesh with new corners.
#pragma once

#include <array>
#include <cstdint>

#include "standalone/engine/deviation/star_step.h"

namespace mirel::engine {

struct ChangedFace {
  static constexpr std::uint8_t kAnyCorner = 3;

  std::uint32_t face;
  std::array<Point, 3> corners;
  // Where the change is an edge collapse: which corner is the vertex that the edge becomes. A change of which that is
  // told can be found small without a look at the original.
  std::uint8_t moving = kAnyCorner;
};

}  // namespace mirel::engine
