// tolerance_distance A B [ACCURACY]: the Hausdorff distance of two meshes (benchmarks/peers/indexed_mesh.h) between
// proven bounds, as one line of JSON. ACCURACY is relative (default 0.01). Distances are shares of the diagonal of A.
#include "benchmarks/peers/indexed_mesh.h"
#include "standalone/engine/deviation/hausdorff.h"

namespace mirel::peers {
namespace {

int run(int argc, char** argv) {
  if (argc < 3) fail("usage: tolerance_distance A B [ACCURACY]");
  IndexedMesh const a = read_mesh(argv[1]);
  IndexedMesh const b = read_mesh(argv[2]);
  engine::TriangleBvh const first(a.positions, a.faces);
  engine::TriangleBvh const second(b.positions, b.faces);
  engine::DistanceOptions options;
  if (argc > 3) options.relative_accuracy = std::atof(argv[3]);
  options.absolute_accuracy = 1e-9 * first.diagonal();
  engine::HausdorffBounds const bounds = engine::hausdorff_distance(first, second, options);
  double const unit = 1 / first.diagonal();
  std::printf("{\"faces\": %u, \"lower\": %.9g, \"upper\": %.9g, \"from_a\": %.9g, \"from_b\": %.9g}\n", b.face_count(),
              unit * bounds.lower(), unit * bounds.upper(), unit * bounds.first_to_second.lower,
              unit * bounds.second_to_first.lower);
  return 0;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run(argc, argv);
}
