// Sums over faces that do not show in how many lanes they were made. Only templates of the width, like lanes.h, and no
// constructors: not every compiler puts those where they are called.
#pragma once

#include <cstddef>
#include <cstdint>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine::kernels {

inline constexpr std::uint32_t kSumLanes = 8;

// Eight lanes in one part or, where lanes are few, in two: face i goes to lane i % 8.
template <int width>
struct EightLanes {
  FloatLanes<width> parts[kSumLanes / width];

  // Those of the faces from `first` on.
  inline __attribute__((always_inline)) void add(FloatLanes<width> values, std::uint32_t first) {
    parts[first / width % (kSumLanes / width)] += values;
  }
};

// The sums of all eight for each of four.
template <int width>
inline __attribute__((always_inline)) Lanes sum_each(EightLanes<width> x, EightLanes<width> y, EightLanes<width> z,
                                                     EightLanes<width> w) {
  EightLanes<width> sums;
  for (std::size_t part = 0; part < kSumLanes / width; ++part) {
    transpose(x.parts[part], y.parts[part], z.parts[part], w.parts[part]);
    sums.parts[part] = (x.parts[part] + y.parts[part]) + (z.parts[part] + w.parts[part]);
  }
  if constexpr (width == kSumLanes) {
    return __builtin_shufflevector(sums.parts[0], sums.parts[0], 0, 1, 2, 3) +
           __builtin_shufflevector(sums.parts[0], sums.parts[0], 4, 5, 6, 7);
  } else {
    return sums.parts[0] + sums.parts[1];
  }
}

}  // namespace mirel::engine::kernels
