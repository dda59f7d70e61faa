// From assimp's scene to the arrays that mirel_read.h hands out.
#pragma once

#include <assimp/matrix4x4.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct aiScene;

namespace mirel::reading {

inline constexpr std::uint32_t kNone = 0xFFFFFFFF;

// The triangles of one material in a shape.
struct Mesh {
  std::uint32_t shape = 0;
  std::uint32_t material = 0;
  std::vector<float> points;
  std::vector<float> normals;
  std::vector<float> uvs;
  std::vector<std::uint32_t> triangles;
};

// What a node shows, however many nodes do.
struct Shape {
  std::string name;
  double scale = 1;  // from the shape's points to its node
};

struct Node {
  std::string name;
  std::uint32_t parent = kNone;
  std::uint32_t shape = kNone;
  std::array<double, 16> transform{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

struct Material {
  std::string name;
  std::string texture;
  std::array<float, 4> color{1, 1, 1, 1};
  bool has_color = false;
  bool is_one_sided = false;
};

// A texture inside the file, as it is there.
struct Texture {
  std::string name;
  std::string extension;
  std::vector<unsigned char> content;
};

enum class UpAxis { kY, kZ };

struct Scene {
  std::vector<Shape> shapes;
  std::vector<Mesh> meshes;  // those of a shape one after the other
  std::vector<Node> nodes;   // parents before their children
  std::vector<Material> materials;
  std::vector<Texture> textures;
  double meters_per_unit = 0;  // 0: the file does not say
  UpAxis up_axis = UpAxis::kY;
  std::uint64_t source_points = 0;
  std::uint64_t source_polygons = 0;
};

// Counts points and polygons over all meshes, each once whatever the nodes do with it. Returns what is wrong with
// them, empty where nothing is.
std::string count_source(aiScene const& source, Scene& scene);

// Appends the nodes, shapes, materials and textures of a triangulated scene, whose outermost transformation is taken to
// be `root`. Without `has_materials` the format has none, and what the reader gives in their place is left out. Returns
// what is wrong with the scene, empty where nothing is.
std::string build_scene(aiScene const& source, aiMatrix4x4 const& root, bool has_materials, Scene& scene);

// The triangles of the scene where the nodes put them, and the lowest and highest coordinates of their points.
std::uint64_t survey(Scene const& scene, double bounds[6]);

}  // namespace mirel::reading
