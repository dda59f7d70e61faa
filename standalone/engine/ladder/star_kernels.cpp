#include "standalone/engine/ladder/star_kernels.h"

#include "standalone/engine/ladder/star_kernels_impl.h"

namespace mirel::engine {

#if defined(__x86_64__)
// In star_kernels_avx2.cpp.
StarKernels const& wide_star_kernels();
#endif

StarKernels const& narrow_star_kernels() {
  static constexpr StarKernels kNarrow = {kernels::has_closed_fans<4>, kernels::pair_faces<4>,
                                          kernels::count_shared<4>,    kernels::find_face<4>,
                                          kernels::rename_in_ring<4>,  kernels::change_ring<4>};
  return kNarrow;
}

StarKernels const& star_kernels() {
#if defined(__x86_64__)
  static bool const wide = __builtin_cpu_supports("avx2") != 0;
  if (wide) return wide_star_kernels();
#endif
  return narrow_star_kernels();
}

}  // namespace mirel::engine
