// Four floats that are worked on together: the compiler's portable vector type (SSE and NEON alike).
#pragma once

namespace mirel::engine {

using Lanes = float __attribute__((vector_size(16)));
using LaneMask = int __attribute__((vector_size(16)));

inline Lanes splat(float value) {
  return Lanes{value, value, value, value};
}
inline Lanes select(LaneMask mask, Lanes if_true, Lanes if_false) {
  return mask ? if_true : if_false;
}
inline Lanes larger(Lanes a, Lanes b) {
  return select(a > b, a, b);
}

// Rows become columns.
inline void transpose(Lanes& r0, Lanes& r1, Lanes& r2, Lanes& r3) {
  Lanes const t0 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  Lanes const t1 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
  Lanes const t2 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  Lanes const t3 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
  r0 = __builtin_shufflevector(t0, t1, 0, 1, 4, 5);
  r1 = __builtin_shufflevector(t0, t1, 2, 3, 6, 7);
  r2 = __builtin_shufflevector(t2, t3, 0, 1, 4, 5);
  r3 = __builtin_shufflevector(t2, t3, 2, 3, 6, 7);
}

}  // namespace mirel::engine
