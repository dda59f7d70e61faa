#include "standalone/engine/ladder/metric_kernels.h"

#include "standalone/engine/ladder/metric_kernels_impl.h"

namespace mirel::engine {

#if defined(__x86_64__)
// In metric_kernels_avx2.cpp.
MetricKernels const& wide_metric_kernels();
#endif

MetricKernels const& narrow_metric_kernels() {
  static constexpr MetricKernels kNarrow = {kernels::face_terms<4>,     kernels::evaluate_star<4>,
                                            kernels::cheapest_edges<4>, kernels::evaluate_edges<4>,
                                            kernels::test_fan<4>,       kernels::fan_distances<4>};
  return kNarrow;
}

MetricKernels const& metric_kernels() {
#if defined(__x86_64__)
  static bool const wide = __builtin_cpu_supports("avx2") != 0;
  if (wide) return wide_metric_kernels();
#endif
  return narrow_metric_kernels();
}

}  // namespace mirel::engine
