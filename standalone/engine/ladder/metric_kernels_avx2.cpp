// The kernels at eight lanes, for processors with AVX2.
#include "standalone/engine/ladder/metric_kernels.h"

#if defined(__x86_64__)
#include "standalone/engine/ladder/metric_kernels_impl.h"

namespace mirel::engine {

MetricKernels const& wide_metric_kernels();

MetricKernels const& wide_metric_kernels() {
  static constexpr MetricKernels kWide = kernels::all_metric_kernels<8>();
  return kWide;
}

}  // namespace mirel::engine
#endif
