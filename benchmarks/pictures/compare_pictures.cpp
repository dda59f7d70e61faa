// compare_pictures ORIGINAL TEXTURES RESULT [PICTURE]: how much the pictures of RESULT are like those of ORIGINAL, as
// one line of JSON: means over eight cameras of the mean absolute difference (0 to 255) and of the structural
// similarity, and the faces of RESULT. Writes the pictures to PICTURE, as PPM: originals above, results below.
#include <cstdio>

#include "benchmarks/peers/indexed_mesh.h"
#include "benchmarks/pictures/renderer.h"
#include "standalone/compare/mirel_compare.h"

namespace mirel::pictures {
namespace {

void write_ppm(std::string const& path, std::vector<Picture> const& rows_of_one, std::vector<Picture> const& other) {
  peers::File const file(std::fopen(path.c_str(), "wb"));
  if (!file) peers::fail(path + ": cannot be written");
  std::uint32_t const size = rows_of_one.front().width;
  std::size_t const count = rows_of_one.size();
  std::fprintf(file.get(), "P6\n%zu %u\n255\n", count * size, 2 * size);
  for (auto const* row : {&rows_of_one, &other}) {
    for (std::size_t y = 0; y < size; ++y) {
      for (Picture const& picture : *row) {
        for (std::size_t i = 0; i < std::size_t{3} * size; ++i) {
          std::fputc(static_cast<int>(picture.rgb[3 * y * size + i] + 0.5F), file.get());
        }
      }
    }
  }
}

MirelCompareMesh* handle(TexturedMesh const& mesh, char const* name) {
  MirelCompareMesh* made = nullptr;
  int const status = mirel_compare_mesh_create(mesh.positions.data(), mesh.vertex_count(), mesh.faces.data(),
                                               mesh.face_count(), &made, nullptr);
  if (status != kMirelCompareOk) peers::fail(std::string(name) + ": " + mirel_compare_status_text(status));
  return made;
}

int run(int argc, char** argv) {
  if (argc < 4) peers::fail("usage: compare_pictures ORIGINAL TEXTURES RESULT [PICTURE]");
  TexturedMesh const original = read_textured_mesh(argv[1]);
  std::vector<Texture> const textures = read_textures(argv[2]);
  TexturedMesh const result = read_textured_mesh(argv[3]);
  for (TexturedMesh const* mesh : {&original, &result}) {
    for (std::uint32_t const texture : mesh->textures) {
      if (texture >= textures.size()) peers::fail("a face names a texture that does not exist");
    }
  }
  double difference = 0;
  double similarity = 0;
  std::vector<Picture> originals;
  std::vector<Picture> results;
  auto const cameras = cameras_around(original);
  for (Camera const& camera : cameras) {
    originals.push_back(draw(original, textures, camera));
    results.push_back(draw(result, textures, camera));
    Likeness const one = likeness(originals.back(), results.back());
    difference += one.difference / static_cast<double>(cameras.size());
    similarity += one.similarity / static_cast<double>(cameras.size());
  }
  if (argc > 4) write_ppm(argv[4], originals, results);

  MirelCompareOptions options;
  mirel_compare_default_options(&options);
  options.samples = 200000;
  MirelCompareMesh* const first = handle(original, argv[1]);
  MirelCompareMesh* const second = handle(result, argv[3]);
  MirelCompareResult distance{};
  int const status = mirel_compare_meshes(first, second, &options, &distance);
  mirel_compare_mesh_free(first);
  mirel_compare_mesh_free(second);
  if (status != kMirelCompareOk) peers::fail(std::string(argv[3]) + ": " + mirel_compare_status_text(status));
  std::printf(
      "{\"faces\": %u, \"difference\": %.9g, \"similarity\": %.9g, \"rms\": %.9g, \"max\": %.9g, "
      "\"normal_degrees\": %.9g}\n",
      result.face_count(), difference, similarity, distance.rms / distance.diagonal, distance.max / distance.diagonal,
      distance.normal_degrees);
  return 0;
}

}  // namespace
}  // namespace mirel::pictures

int main(int argc, char** argv) {
  return mirel::pictures::run(argc, argv);
}
