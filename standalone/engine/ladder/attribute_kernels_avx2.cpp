// The kernels at eight lanes. Compiled for AVX2: this file must define nothing that another could take for its own.
#include "standalone/engine/ladder/attribute_kernels.h"

#if defined(__x86_64__)
#include "standalone/engine/ladder/attribute_kernels_impl.h"

namespace mirel::engine {

AttributeKernels const& wide_attribute_kernels();

AttributeKernels const& wide_attribute_kernels() {
  static constexpr AttributeKernels kWide = kernels::all_attribute_kernels<8>();
  return kWide;
}

}  // namespace mirel::engine
#endif
