// Floats that are worked on together: the compiler's portable vector types, four wide (SSE, NEON) or eight (AVX2).
//
// Every operation works lane by lane as IEEE 754 has it, so that the width never shows in a result. All functions are
// templates of the width: no code for the wider one is ever made in a file that is compiled for the narrower.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mirel::engine {

template <int width>
struct LaneTypes;
template <>
struct LaneTypes<4> {
  using Floats = float __attribute__((vector_size(16)));
  using Mask = std::int32_t __attribute__((vector_size(16)));
};

using Lanes = LaneTypes<4>::Floats;
using LaneMask = LaneTypes<4>::Mask;

#ifdef __AVX2__
template <>
struct LaneTypes<8> {
  using Floats = float __attribute__((vector_size(32)));
  using Mask = std::int32_t __attribute__((vector_size(32)));
};
#endif

template <int width>
using FloatLanes = typename LaneTypes<width>::Floats;
template <int width>
using MaskLanes = typename LaneTypes<width>::Mask;

template <int width>
inline __attribute__((always_inline)) FloatLanes<width> all(float value) {
  return value - FloatLanes<width>{};
}
template <typename Floats, typename Mask>
inline __attribute__((always_inline)) Floats select(Mask mask, Floats if_true, Floats if_false) {
  return mask ? if_true : if_false;
}
template <typename Floats>
inline __attribute__((always_inline)) Floats larger(Floats a, Floats b) {
  return a > b ? a : b;
}
template <typename Floats>
inline __attribute__((always_inline)) Floats smaller(Floats a, Floats b) {
  return a < b ? a : b;
}
template <typename Floats>
inline __attribute__((always_inline)) Floats magnitude(Floats a) {
  return a < Floats{} ? -a : a;
}
template <typename Floats>
inline __attribute__((always_inline)) Floats square_root(Floats a) {
  Floats result;
  for (std::size_t k = 0; k < sizeof(Floats) / sizeof(float); ++k) result[k] = __builtin_sqrtf(a[k]);
  return result;
}
// Whether a lane is set.
template <typename Mask>
inline __attribute__((always_inline)) bool any(Mask mask) {
  std::uint64_t words[sizeof(Mask) / 8];
  __builtin_memcpy(words, &mask, sizeof(mask));
  std::uint64_t bits = 0;
  for (std::uint64_t const word : words) bits |= word;
  return bits != 0;
}

// One bit for each lane that is set.
template <typename Mask>
inline __attribute__((always_inline)) unsigned lane_bits(Mask mask) {
#if defined(__AVX2__)
  if constexpr (sizeof(Mask) == 32) return static_cast<unsigned>(__builtin_ia32_movmskps256((FloatLanes<8>)mask));
#endif
#if defined(__SSE__)
  if constexpr (sizeof(Mask) == 16) return static_cast<unsigned>(__builtin_ia32_movmskps((Lanes)mask));
#endif
  unsigned bits = 0;
  for (std::size_t k = 0; k < sizeof(Mask) / 4; ++k) bits |= mask[k] != 0 ? 1U << k : 0U;
  return bits;
}

inline Lanes splat(float value) {
  return Lanes{value, value, value, value};
}

// Rows become columns, in each half of eight lanes by itself.
inline __attribute__((always_inline)) void transpose(Lanes& r0, Lanes& r1, Lanes& r2, Lanes& r3) {
  Lanes const t0 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  Lanes const t1 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
  Lanes const t2 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  Lanes const t3 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
  r0 = __builtin_shufflevector(t0, t1, 0, 1, 4, 5);
  r1 = __builtin_shufflevector(t0, t1, 2, 3, 6, 7);
  r2 = __builtin_shufflevector(t2, t3, 0, 1, 4, 5);
  r3 = __builtin_shufflevector(t2, t3, 2, 3, 6, 7);
}
#ifdef __AVX2__
inline __attribute__((always_inline)) void transpose(FloatLanes<8>& r0, FloatLanes<8>& r1, FloatLanes<8>& r2,
                                                     FloatLanes<8>& r3) {
  FloatLanes<8> const t0 = __builtin_shufflevector(r0, r1, 0, 8, 1, 9, 4, 12, 5, 13);
  FloatLanes<8> const t1 = __builtin_shufflevector(r2, r3, 0, 8, 1, 9, 4, 12, 5, 13);
  FloatLanes<8> const t2 = __builtin_shufflevector(r0, r1, 2, 10, 3, 11, 6, 14, 7, 15);
  FloatLanes<8> const t3 = __builtin_shufflevector(r2, r3, 2, 10, 3, 11, 6, 14, 7, 15);
  r0 = __builtin_shufflevector(t0, t1, 0, 1, 8, 9, 4, 5, 12, 13);
  r1 = __builtin_shufflevector(t0, t1, 2, 3, 10, 11, 6, 7, 14, 15);
  r2 = __builtin_shufflevector(t2, t3, 0, 1, 8, 9, 4, 5, 12, 13);
  r3 = __builtin_shufflevector(t2, t3, 2, 3, 10, 11, 6, 7, 14, 15);
}
#endif

// Four consecutive floats of each of `width` rows, as four columns.
template <int width>
inline __attribute__((always_inline)) void load_columns(float const* const* rows, std::size_t offset,
                                                        FloatLanes<width>* columns) {
  for (int k = 0; k < 4; ++k) {
    __builtin_memcpy(&columns[k], rows[k] + offset, sizeof(Lanes));
    if constexpr (width == 8) {
      Lanes low, high;
      __builtin_memcpy(&low, rows[k] + offset, sizeof(Lanes));
      __builtin_memcpy(&high, rows[k + 4] + offset, sizeof(Lanes));
      columns[k] = __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
    }
  }
  transpose(columns[0], columns[1], columns[2], columns[3]);
}

// The other way: column k of lane i to `to + i * stride + offset + k`.
template <int width>
inline __attribute__((always_inline)) void store_columns(FloatLanes<width> c0, FloatLanes<width> c1,
                                                         FloatLanes<width> c2, FloatLanes<width> c3, float* to,
                                                         std::size_t stride) {
  transpose(c0, c1, c2, c3);
  FloatLanes<width> const rows[4] = {c0, c1, c2, c3};
  for (std::size_t k = 0; k < 4; ++k) {
    if constexpr (width == 8) {
      Lanes const low = __builtin_shufflevector(rows[k], rows[k], 0, 1, 2, 3);
      Lanes const high = __builtin_shufflevector(rows[k], rows[k], 4, 5, 6, 7);
      __builtin_memcpy(to + k * stride, &low, sizeof(Lanes));
      __builtin_memcpy(to + (k + 4) * stride, &high, sizeof(Lanes));
    } else {
      __builtin_memcpy(to + k * stride, &rows[k], sizeof(Lanes));
    }
  }
}

}  // namespace mirel::engine
