#include "standalone/engine/ladder/attribute_kernels.h"

#include "standalone/engine/ladder/attribute_kernels_impl.h"

namespace mirel::engine {

#if defined(__x86_64__)
// In attribute_kernels_avx2.cpp.
AttributeKernels const& wide_attribute_kernels();
#endif

AttributeKernels const& narrow_attribute_kernels() {
  static constexpr AttributeKernels kNarrow = kernels::all_attribute_kernels<4>();
  return kNarrow;
}

AttributeKernels const& attribute_kernels() {
#if defined(__x86_64__)
  static bool const wide = __builtin_cpu_supports("avx2") != 0;
  if (wide) return wide_attribute_kernels();
#endif
  return narrow_attribute_kernels();
}

}  // namespace mirel::engine
