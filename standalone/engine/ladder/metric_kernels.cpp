#include "standalone/engine/ladder/metric_kernels.h"

#include "standalone/engine/ladder/metric_kernels_impl.h"

namespace mirel::engine {

#if defined(__x86_64__)
// In metric_kernels_avx2.cpp and metric_kernels_avx512.cpp.
MetricKernels const& wide_metric_kernels();
MetricKernels const& roomy_metric_kernels();
#endif

MetricKernels const& narrow_metric_kernels() {
  static constexpr MetricKernels kNarrow = kernels::all_metric_kernels<4>();
  return kNarrow;
}

std::vector<MetricKernels const*> runnable_metric_kernels() {
  std::vector<MetricKernels const*> kernels = {&narrow_metric_kernels()};
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) kernels.push_back(&wide_metric_kernels());
  bool const roomy = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("avx512f") != 0 &&
                     __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
                     __builtin_cpu_supports("avx512bw") != 0;
  if (roomy) kernels.push_back(&roomy_metric_kernels());
#endif
  return kernels;
}

MetricKernels const& metric_kernels() {
  static MetricKernels const& fastest = *runnable_metric_kernels().back();
  return fastest;
}

}  // namespace mirel::engine
