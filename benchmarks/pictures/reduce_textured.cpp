// reduce_textured SIMPLIFIER INPUT FACES OUTPUT: simplifies the textured mesh INPUT to FACES faces. Prints the version.
// SIMPLIFIER: mirel; positions, which is mirel without UVs and normals (those of the result mean nothing); or
// meshoptimizer where it was installed when this was built.
#include "benchmarks/peers/indexed_mesh.h"
#include "benchmarks/pictures/simplifiers.h"

namespace mirel::pictures {
namespace {

int run(int argc, char** argv) {
  if (argc != 5) peers::fail("usage: reduce_textured SIMPLIFIER INPUT FACES OUTPUT");
  std::string const name = argv[1];
  TexturedMesh const input = read_textured_mesh(argv[2]);
  auto const faces = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
  TexturedMesh result;
  char const* version = MIREL_VERSION;
  if (name == "mirel") {
    result = reduce_with_mirel(input, faces, nullptr);
  } else if (name == "positions") {
    result = reduce_with_mirel(with_positions_alone(input), faces, nullptr);
    result.normals.assign(result.positions.size(), 0.5F);
    result.uvs.assign(result.positions.size() / 3 * 2, 0);
#ifdef MIREL_HAS_MESHOPTIMIZER
  } else if (name == "meshoptimizer") {
    result = reduce_with_meshoptimizer(input, faces, nullptr);
    version = meshoptimizer_version();
#endif
  } else {
    peers::fail("no such simplifier: " + name);
  }
  drop_unused_vertices(result);
  write_textured_mesh(argv[4], result);
  std::printf("{\"version\": \"%s\"}\n", version);
  return 0;
}

}  // namespace
}  // namespace mirel::pictures

int main(int argc, char** argv) {
  return mirel::pictures::run(argc, argv);
}
