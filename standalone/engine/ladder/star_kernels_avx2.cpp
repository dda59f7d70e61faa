// The kernels at eight lanes. Compiled for AVX2: this file must define nothing that another could take for its own.
#include "standalone/engine/ladder/star_kernels.h"

#if defined(__x86_64__)
#include "standalone/engine/ladder/star_kernels_impl.h"

namespace mirel::engine {

StarKernels const& wide_star_kernels();

StarKernels const& wide_star_kernels() {
  static constexpr StarKernels kWide = {kernels::has_closed_fans<8>, kernels::pair_faces<8>,
                                        kernels::count_shared<8>,    kernels::find_face<8>,
                                        kernels::rename_in_ring<8>,  kernels::change_ring<8>};
  return kWide;
}

}  // namespace mirel::engine
#endif
