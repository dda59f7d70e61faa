// attribute_speed INPUT [ROUNDS]: what UVs and normals cost. Builds the ladder of a textured mesh with all attributes,
// that of its positions alone, and has meshoptimizer reduce it to 10 %, in turn, ROUNDS times (default 5). Prints, as
// one line of JSON, medians of processor time in million input faces per second, and medians of the rounds' ratios.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "benchmarks/peers/driver.h"
#include "benchmarks/pictures/simplifiers.h"

namespace mirel::pictures {
namespace {

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

int run(int argc, char** argv) {
  if (argc < 2) peers::fail("usage: attribute_speed INPUT [ROUNDS]");
  TexturedMesh const mesh = read_textured_mesh(argv[1]);
  TexturedMesh const bare = with_positions_alone(mesh);
  int const rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
  std::uint32_t const target = mesh.face_count() / 10;
  std::vector<double> attributed, positions, other, to_positions, to_other;
  for (int round = 0; round < rounds; ++round) {
    double seconds = 0;
    reduce_with_mirel(mesh, target, &seconds);
    attributed.push_back(seconds);
    reduce_with_mirel(bare, target, &seconds);
    positions.push_back(seconds);
    to_positions.push_back(positions.back() / attributed.back());
#ifdef MIREL_HAS_MESHOPTIMIZER
    reduce_with_meshoptimizer(bare, target, &seconds);
    other.push_back(seconds);
    to_other.push_back(other.back() / attributed.back());
#endif
  }
  double const million = 1e-6 * mesh.face_count();
  std::printf("{\"faces\": %u, \"attributed\": %.4g, \"positions\": %.4g, \"to_positions\": %.4g", mesh.face_count(),
              million / median(attributed), million / median(positions), median(to_positions));
  if (!other.empty()) {
    std::printf(", \"meshoptimizer\": %.4g, \"to_meshoptimizer\": %.4g", million / median(other), median(to_other));
  }
  std::printf("}\n");
  return 0;
}

}  // namespace
}  // namespace mirel::pictures

int main(int argc, char** argv) {
  return mirel::pictures::run(argc, argv);
}
