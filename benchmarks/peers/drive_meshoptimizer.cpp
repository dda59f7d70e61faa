// The driver of meshoptimizer's simplifier, without a limit on the error and with free borders.
#include <meshoptimizer.h>

#include <cfloat>

#include "benchmarks/peers/driver.h"

namespace mirel::peers {
namespace {

Output simplify(IndexedMesh const& input, std::uint32_t faces) {
  Output output;
  output.mesh.positions = input.positions;
  output.mesh.faces.resize(input.faces.size());
  std::size_t const corners =
      meshopt_simplify(output.mesh.faces.data(), input.faces.data(), input.faces.size(), input.positions.data(),
                       input.vertex_count(), 3 * sizeof(float), 3 * std::size_t{faces}, FLT_MAX, 0, nullptr);
  output.mesh.faces.resize(corners);
  return output;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  std::string const version =
      std::to_string(MESHOPTIMIZER_VERSION / 1000) + "." + std::to_string(MESHOPTIMIZER_VERSION % 1000 / 10);
  return mirel::peers::run_driver(argc, argv, version.c_str(), mirel::peers::simplify);
}
