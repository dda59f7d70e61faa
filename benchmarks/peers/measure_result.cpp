// measure_result INPUT RESULT [SAMPLES]: what a simplification did, as one line of JSON.
//
// Distances in both directions relative to the diagonal of the input (sampled, SAMPLES on each surface, default 500000,
// and all vertices for the maximum), the mean angle between normals in degrees, the faces, and the edges with three or
// more faces, of both meshes; faces with a repeated vertex count as degenerate.
#include <algorithm>
#include <cmath>
#include <memory>

#include "benchmarks/peers/indexed_mesh.h"
#include "standalone/compare/mirel_compare.h"

namespace mirel::peers {
namespace {

struct Edges {
  std::size_t border = 0;
  std::size_t non_manifold = 0;
  std::size_t degenerate_faces = 0;
};

Edges edges_of(IndexedMesh const& mesh) {
  Edges result;
  std::vector<std::uint64_t> edges;
  for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
    std::uint32_t const* const c = &mesh.faces[f];
    if (c[0] == c[1] || c[1] == c[2] || c[2] == c[0]) {
      ++result.degenerate_faces;
      continue;
    }
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint64_t const a = c[k];
      std::uint64_t const b = c[(k + 1) % 3];
      edges.push_back(std::min(a, b) << 32U | std::max(a, b));
    }
  }
  std::sort(edges.begin(), edges.end());
  for (std::size_t i = 0; i < edges.size();) {
    std::size_t j = i;
    while (j < edges.size() && edges[j] == edges[i]) ++j;
    result.border += j - i == 1 ? 1 : 0;
    result.non_manifold += j - i > 2 ? 1 : 0;
    i = j;
  }
  return result;
}

struct Free {
  void operator()(MirelCompareMesh* mesh) const { mirel_compare_mesh_free(mesh); }
};

std::unique_ptr<MirelCompareMesh, Free> handle(IndexedMesh const& mesh, char const* name) {
  MirelCompareMesh* made = nullptr;
  int const status = mirel_compare_mesh_create(mesh.positions.data(), mesh.vertex_count(), mesh.faces.data(),
                                               mesh.face_count(), &made, nullptr);
  if (status != kMirelCompareOk) fail(std::string(name) + ": " + mirel_compare_status_text(status));
  return std::unique_ptr<MirelCompareMesh, Free>(made);
}

int run(int argc, char** argv) {
  if (argc < 3) fail("usage: measure_result INPUT RESULT [SAMPLES]");
  IndexedMesh const input = read_mesh(argv[1]);
  IndexedMesh const result = read_mesh(argv[2]);
  MirelCompareOptions options;
  mirel_compare_default_options(&options);
  if (argc > 3) options.samples = std::strtoull(argv[3], nullptr, 10);
  MirelCompareResult distance{};
  int const status =
      mirel_compare_meshes(handle(input, argv[1]).get(), handle(result, argv[2]).get(), &options, &distance);
  if (status != kMirelCompareOk) fail(std::string(argv[2]) + ": " + mirel_compare_status_text(status));
  Edges const before = edges_of(input);
  Edges const after = edges_of(result);
  std::size_t const made = after.non_manifold - std::min(after.non_manifold, before.non_manifold);
  std::printf(
      "{\"faces\": %u, \"vertices\": %u, \"rms\": %.9g, \"mean\": %.9g, \"max\": %.9g, \"normal_degrees\": %.9g, "
      "\"new_non_manifold_edges\": %zu, \"border_edges\": %zu, \"degenerate_faces\": %zu}\n",
      result.face_count(), result.vertex_count(), distance.rms / distance.diagonal, distance.mean / distance.diagonal,
      distance.max / distance.diagonal, distance.normal_degrees, made, after.border, after.degenerate_faces);
  return 0;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run(argc, argv);
}
