#include <meshoptimizer.h>

#include <cfloat>
#include <string>

#include "benchmarks/peers/driver.h"
#include "benchmarks/pictures/simplifiers.h"

namespace mirel::pictures {

TexturedMesh reduce_with_meshoptimizer(TexturedMesh const& input, std::uint32_t faces, double* seconds) {
  TexturedMesh result = input;
  // A vertex is of one texture in the input, so that it tells that of a face in the result.
  std::vector<std::uint32_t> texture_of(input.vertex_count());
  for (std::size_t corner = 0; corner < input.faces.size(); ++corner) {
    texture_of[input.faces[corner]] = input.textures[corner / 3];
  }
  double const begin = peers::seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  std::size_t const corners =
      meshopt_simplify(result.faces.data(), input.faces.data(), input.faces.size(), input.positions.data(),
                       input.vertex_count(), 3 * sizeof(float), 3 * std::size_t{faces}, FLT_MAX, 0, nullptr);
  if (seconds != nullptr) *seconds = peers::seconds_on(CLOCK_PROCESS_CPUTIME_ID) - begin;
  result.faces.resize(corners);
  result.textures.clear();
  for (std::size_t corner = 0; corner < corners; corner += 3) {
    result.textures.push_back(texture_of[result.faces[corner]]);
  }
  return result;
}

char const* meshoptimizer_version() {
  static std::string const kVersion =
      std::to_string(MESHOPTIMIZER_VERSION / 1000) + "." + std::to_string(MESHOPTIMIZER_VERSION % 1000 / 10);
  return kVersion.c_str();
}

}  // namespace mirel::pictures
