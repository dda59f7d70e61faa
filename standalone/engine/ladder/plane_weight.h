// What the plane of a triangle weighs in a quadric: |n|^-1.25 of its n n^T, n being the cross product.
//
// The quadric then grows with the area's power of 0.75, between area (least mean error) and none (least maximum). The
// power comes from the bits of |n|^2: as a number they are nearly its logarithm, and a number less five eighths of
// them has nearly the power's bits. Off by 7 % at most, continuous, the same everywhere, and with no root or division.
#pragma once

#include <bit>
#include <cstdint>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

inline constexpr std::int32_t kPlaneWeightBits = 0x672414AA;

// Both take |n|^2, and are finite where that is 0.
inline float plane_weight(float n2) {
  auto const bits = std::bit_cast<std::int32_t>(n2);
  return std::bit_cast<float>(kPlaneWeightBits - (bits >> 1) - (bits >> 3));
}
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> plane_weight(FloatLanes<width> n2) {
  auto const bits = (MaskLanes<width>)n2;
  return (FloatLanes<width>)(kPlaneWeightBits - (bits >> 1) - (bits >> 3));
}

}  // namespace mirel::engine
