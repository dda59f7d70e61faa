// tolerance_build INPUT TOLERANCE OUTPUT [SECONDS]: the ladder of a mesh (benchmarks/peers/indexed_mesh.h) with an
// error tolerance, a share of the diagonal of its box, and its last step. TOLERANCE 0 builds without one.
//
// Printed, as one line of JSON: processor seconds of the build alone (the least of as many builds as SECONDS allow, one
// at least), faces and steps, the tolerance in model units, and the ladder's own bound at the last step.
#include <algorithm>
#include <cmath>

#include "benchmarks/peers/driver.h"
#include "benchmarks/peers/engine_mesh.h"
#include "standalone/engine/mirel_engine.h"

namespace mirel::peers {
namespace {

double diagonal(IndexedMesh const& mesh) {
  double squared = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double low = INFINITY;
    double high = -INFINITY;
    for (std::size_t i = k; i < mesh.positions.size(); i += 3) {
      low = std::min(low, double{mesh.positions[i]});
      high = std::max(high, double{mesh.positions[i]});
    }
    squared += (high - low) * (high - low);
  }
  return std::sqrt(squared);
}

int run(int argc, char** argv) {
  if (argc < 4) fail("usage: tolerance_build INPUT TOLERANCE OUTPUT [SECONDS]");
  IndexedMesh const input = read_mesh(argv[1]);
  // Downwards: the tolerance is a promise.
  float const tolerance = std::nextafter(static_cast<float>(std::atof(argv[2]) * diagonal(input)), 0.0F);
  double const limit = argc > 4 ? std::atof(argv[4]) : 0;

  auto const [sdk, depot, mesh] = EngineMesh(input);
  depot->joinVertices(0, {}, 0);
  double least = INFINITY;
  double worked = 0;
  ab::IHierarchy* ladder = nullptr;
  for (int run = 0; run == 0 || worked < limit; ++run) {
    depot->prepareMeshes();
    double const begin = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
    ladder = depot->buildHierarchy(tolerance);
    double const seconds = seconds_on(CLOCK_PROCESS_CPUTIME_ID) - begin;
    if (ladder == nullptr) fail("the engine builds no ladder");
    least = std::min(least, seconds);
    worked += seconds;
  }
  ladder->goToFaceCount(0);
  IndexedMesh output;
  float const* const positions = mesh->getVertices();
  std::uint32_t const* const corners = mesh->getFaces();
  output.positions.assign(positions, positions + 3 * std::size_t{mesh->getNumVertices()});
  output.faces.assign(corners, corners + 3 * std::size_t{mesh->getNumFaces()});
  write_mesh(argv[3], output);
  auto const steps = ladder->currentStep();
  double const bound = tolerance > 0 ? mirel_engine_deviation_bound(steps) : 0;
  std::printf("{\"seconds\": %.6g, \"input_faces\": %u, \"faces\": %u, \"tolerance\": %.9g, \"bound\": %.9g}\n", least,
              input.face_count(), output.face_count(), double{tolerance}, bound);
  return 0;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run(argc, argv);
}
