// How long a move along the ladder takes, with one pass over what is read after it.
//
//   navigation MODEL.obj [FRACTION = 0.1] [REPEATS = 9]
//
// Loads and prepares the model as the extension does with its default settings, builds the ladder, and then times
// goToFaceCount(FRACTION of the faces) together with one pass over getVertices, getFaces, getNormals and
// getVertexUVs of every mesh. Before each repeat it moves to another step and reads that, so that nothing of the
// wanted step is left. Prints one JSON object; milliseconds.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "src/balancer/balancer_sdk.h"

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The sum of all bits read, so that no read can be left out.
std::uint64_t read_all(ab::IMeshDepot const& depot, std::uint64_t& faces) {
  std::uint64_t sum = 0;
  auto const add = [&sum](void const* values, std::uint64_t count) {
    if (values == nullptr) return;
    auto const* bytes = static_cast<unsigned char const*>(values);
    for (std::uint64_t k = 0; k < count; ++k) {
      std::uint32_t word = 0;
      std::memcpy(&word, bytes + 4 * k, 4);
      sum += word;
    }
  };
  faces = 0;
  for (std::uint32_t index = 0; index < depot.getNumMeshes(); ++index) {
    ab::IMesh const* mesh = depot.getMesh(index);
    std::uint64_t const vertex_count = mesh->getNumVertices();
    faces += mesh->getNumFaces();
    add(mesh->getVertices(), 3 * vertex_count);
    add(mesh->getFaces(), 3 * std::uint64_t{mesh->getNumFaces()});
    add(mesh->getNormals(), 3 * vertex_count);
    add(mesh->getVertexUVs(), 2 * vertex_count);
  }
  return sum;
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count < 2) {
    std::fprintf(stderr, "usage: navigation MODEL.obj [FRACTION] [REPEATS]\n");
    return 2;
  }
  double const fraction = argument_count > 2 ? std::atof(arguments[2]) : 0.1;
  int const repeats = argument_count > 3 ? std::atoi(arguments[3]) : 9;

  ab::IBalancerSDK* sdk = ab::IBalancerSDK::initialize();
  auto start = Clock::now();
  ab::IMeshDepot* depot = sdk == nullptr ? nullptr : ab::IMeshDepot::load(arguments[1], nullptr);
  if (depot == nullptr) {
    std::fprintf(stderr, "navigation: cannot load %s\n", arguments[1]);
    return 1;
  }
  double const load_ms = milliseconds_since(start);

  start = Clock::now();
  depot->prepareMeshes();
  depot->joinVertices(0, {}, 0.0F);
  depot->eliminateTJunctions(0.1F);
  double const prepare_ms = milliseconds_since(start);

  start = Clock::now();
  ab::IHierarchy* hierarchy = depot->buildHierarchy(0.0F);
  double const build_ms = milliseconds_since(start);
  if (hierarchy == nullptr) {
    std::fprintf(stderr, "navigation: no ladder for %s\n", arguments[1]);
    return 1;
  }

  std::uint64_t all_faces = 0;
  std::uint64_t sum = read_all(*depot, all_faces);
  auto const wanted = static_cast<std::uint32_t>(static_cast<double>(all_faces) * fraction);
  std::uint64_t faces = 0;
  std::vector<double> times;
  for (int repeat = 0; repeat < repeats; ++repeat) {
    hierarchy->goToStep(repeat % 2 == 0 ? 0 : hierarchy->numSteps());
    sum += read_all(*depot, faces);
    start = Clock::now();
    hierarchy->goToFaceCount(wanted);
    sum += read_all(*depot, faces);
    times.push_back(milliseconds_since(start));
  }
  std::sort(times.begin(), times.end());
  std::printf(
      "{\"faces\": %llu, \"faces_read\": %llu, \"steps\": %u, \"load_ms\": %.1f, \"prepare_ms\": %.1f, "
      "\"build_ms\": %.1f, \"move_and_read_ms\": {\"min\": %.2f, \"median\": %.2f, \"max\": %.2f, \"repeats\": %d}, "
      "\"checksum\": %llu}\n",
      static_cast<unsigned long long>(all_faces), static_cast<unsigned long long>(faces), hierarchy->numSteps(),
      load_ms, prepare_ms, build_ms, times.front(), times[times.size() / 2], times.back(), repeats,
      static_cast<unsigned long long>(sum));
  ab::IMeshDepot::destroy(depot);
  ab::IBalancerSDK::release(sdk);
  return 0;
}
