// compare_timing [FACES] [POINTS] [THREADS] [RUNS]: what distances to a mesh cost.
//
// A rippled torus of about FACES triangles (default 1,000,000) and the vertices of a coarser one, about POINTS of them
// (default 100,000), in their natural order and shuffled. Printed: medians of RUNS (default 5), wall clock.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>
#include <vector>

#include "standalone/compare/mirel_compare.h"

namespace {

struct Mesh {
  std::vector<float> positions;
  std::vector<std::uint32_t> faces;
};

Mesh torus(double face_count, double offset) {
  Mesh mesh;
  auto const sides = static_cast<std::uint32_t>(std::sqrt(face_count / 4));
  std::uint32_t const around = 2 * sides;
  for (std::uint32_t j = 0; j < around; ++j) {
    for (std::uint32_t i = 0; i < sides; ++i) {
      double const u = 2 * std::numbers::pi * j / around;
      double const v = 2 * std::numbers::pi * i / sides;
      double const r = 0.4 + offset + 0.01 * std::sin(23 * u) * std::sin(17 * v) + 0.001 * std::sin(211 * u + 97 * v);
      for (double const c :
           {(1 + r * std::cos(v)) * std::cos(u), (1 + r * std::cos(v)) * std::sin(u), r * std::sin(v)}) {
        mesh.positions.push_back(static_cast<float>(c));
      }
      std::uint32_t const a = j * sides + i;
      std::uint32_t const b = j * sides + (i + 1) % sides;
      std::uint32_t const c = (j + 1) % around * sides + i;
      std::uint32_t const d = (j + 1) % around * sides + (i + 1) % sides;
      mesh.faces.insert(mesh.faces.end(), {a, c, d, a, d, b});
    }
  }
  return mesh;
}

template <typename Body>
double median_seconds(int runs, Body const& body) {
  std::vector<double> seconds;
  for (int i = 0; i < runs; ++i) {
    auto const begin = std::chrono::steady_clock::now();
    body();
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  std::nth_element(seconds.begin(), seconds.begin() + runs / 2, seconds.end());
  return seconds[static_cast<std::size_t>(runs / 2)];
}

MirelCompareMesh* made(Mesh const& mesh) {
  MirelCompareMesh* result = nullptr;
  if (mirel_compare_mesh_create(mesh.positions.data(), static_cast<std::uint32_t>(mesh.positions.size() / 3),
                                mesh.faces.data(), static_cast<std::uint32_t>(mesh.faces.size() / 3), &result,
                                nullptr) != kMirelCompareOk) {
    std::fprintf(stderr, "the mesh could not be made\n");
    std::exit(1);
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  auto const argument = [&](int i, double standard) { return argc > i ? std::atof(argv[i]) : standard; };
  Mesh const large = torus(argument(1, 1e6), 0);
  Mesh points = torus(2 * argument(2, 1e5), 0.002);
  auto const threads = static_cast<std::uint32_t>(argument(3, 0));
  int const runs = std::max(1, static_cast<int>(argument(4, 5)));
  auto const count = static_cast<std::uint32_t>(points.positions.size() / 3);
  std::vector<float> distances(count);

  double const build = median_seconds(runs, [&] { mirel_compare_mesh_free(made(large)); });
  MirelCompareMesh* const mesh = made(large);
  std::printf("build  %zu faces: %.3f s\n", large.faces.size() / 3, build);
  for (char const* order : {"in order", "shuffled"}) {
    double const query = median_seconds(
        runs, [&] { mirel_compare_distances(mesh, points.positions.data(), count, threads, distances.data()); });
    std::printf("query  %u points, %s: %.3f s, %.2f us each, largest %.5f\n", count, order, query, 1e6 * query / count,
                static_cast<double>(*std::max_element(distances.begin(), distances.end())));
    std::mt19937 random(1);
    for (std::uint32_t i = count - 1; i > 0; --i) {
      std::uint32_t const j = static_cast<std::uint32_t>(random() % (i + 1));
      std::swap_ranges(&points.positions[3 * std::size_t{i}], &points.positions[3 * std::size_t{i}] + 3,
                       &points.positions[3 * std::size_t{j}]);
    }
  }
  mirel_compare_mesh_free(mesh);
  return 0;
}
