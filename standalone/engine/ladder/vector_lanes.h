// Vectors in space, one in each lane. Only templates of the width, like lanes.h.
#pragma once

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine::kernels {

template <int width>
struct VectorLanes {
  FloatLanes<width> x, y, z;
};

template <int width>
inline __attribute__((always_inline)) VectorLanes<width> minus(VectorLanes<width> const& a,
                                                               VectorLanes<width> const& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> dot(VectorLanes<width> const& a, VectorLanes<width> const& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <int width>
inline __attribute__((always_inline)) VectorLanes<width> cross(VectorLanes<width> const& a,
                                                               VectorLanes<width> const& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

}  // namespace mirel::engine::kernels
