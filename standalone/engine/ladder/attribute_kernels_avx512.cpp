// The kernels at eight lanes, for processors with AVX-512: twice as many registers of eight lanes, so that
// fewer values wait in memory.
#include "standalone/engine/ladder/attribute_kernels.h"

#if defined(__x86_64__)
#include "standalone/engine/ladder/attribute_kernels_impl.h"

namespace mirel::engine {

AttributeKernels const& roomy_attribute_kernels();

AttributeKernels const& roomy_attribute_kernels() {
  static constexpr AttributeKernels kRoomy = kernels::all_attribute_kernels<8>();
  return kRoomy;
}

}  // namespace mirel::engine
#endif
