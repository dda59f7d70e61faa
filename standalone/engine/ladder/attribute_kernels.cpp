#include "standalone/engine/ladder/attribute_kernels.h"

#include "standalone/engine/ladder/attribute_kernels_impl.h"

namespace mirel::engine {

#if defined(__x86_64__)
// In attribute_kernels_avx2.cpp and attribute_kernels_avx512.cpp.
AttributeKernels const& wide_attribute_kernels();
AttributeKernels const& roomy_attribute_kernels();
#endif

AttributeKernels const& narrow_attribute_kernels() {
  static constexpr AttributeKernels kNarrow = kernels::all_attribute_kernels<4>();
  return kNarrow;
}

std::vector<AttributeKernels const*> runnable_attribute_kernels() {
  std::vector<AttributeKernels const*> kernels = {&narrow_attribute_kernels()};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) kernels.push_back(&wide_attribute_kernels());
  bool const roomy = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("avx512f") != 0 &&
                     __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
                     __builtin_cpu_supports("avx512bw") != 0;
  if (roomy) kernels.push_back(&roomy_attribute_kernels());
#endif
  return kernels;
}

AttributeKernels const& attribute_kernels() {
  static AttributeKernels const& fastest = *runnable_attribute_kernels().back();
  return fastest;
}

}  // namespace mirel::engine
