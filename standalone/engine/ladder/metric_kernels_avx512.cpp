// The kernels at eight lanes, for processors with AVX-512: twice as many registers of eight lanes, so that
// fewer values wait in memory.
#include "standalone/engine/ladder/metric_kernels.h"

#if defined(__x86_64__)
#include "standalone/engine/ladder/metric_kernels_impl.h"

namespace mirel::engine {

MetricKernels const& roomy_metric_kernels();

MetricKernels const& roomy_metric_kernels() {
  static constexpr MetricKernels kRoomy = kernels::all_metric_kernels<8>();
  return kRoomy;
}

}  // namespace mirel::engine
#endif
