// From assimp's scene to the arrays that mirel_read.h hands out.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct aiScene;

namespace mirel::reading {

struct Mesh {
  std::uint32_t material = 0;
  std::vector<float> points;
  std::vector<float> normals;
  std::vector<float> uvs;
  std::vector<std::uint32_t> triangles;
};

struct Material {
  std::string name;
  std::string texture;
  std::array<float, 4> color{1, 1, 1, 1};
  bool has_color = false;
};

struct Scene {
  std::vector<Mesh> meshes;
  std::vector<Material> materials;
  std::uint64_t source_points = 0;
  std::uint64_t source_polygons = 0;
};

enum class UpAxis { kAsInFile, kTurnedFromZToY };

// Counts points and polygons over all meshes, each once whatever the nodes do with it. Returns what is wrong with
// them, empty where nothing is.
std::string count_source(aiScene const& source, Scene& scene);

// Appends the materials and the triangles of a triangulated scene, with coordinates as the file has them. Returns what
// is wrong with the scene, empty where nothing is.
std::string build_scene(aiScene const& source, UpAxis up_axis, Scene& scene);

}  // namespace mirel::reading
