#include "standalone/reading/scene_builder.h"

#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace mirel::reading {
namespace {

constexpr std::uint64_t kMostPoints = std::numeric_limits<std::int32_t>::max();

Material read_material(aiMaterial const& source) {
  Material material;
  aiString text;
  if (source.Get(AI_MATKEY_NAME, text) == aiReturn_SUCCESS) material.name = text.C_Str();
  // What readers give to files that have no materials.
  bool const is_made_up = material.name == AI_DEFAULT_MATERIAL_NAME;
  if (is_made_up) material.name.clear();
  for (auto type : {aiTextureType_DIFFUSE, aiTextureType_BASE_COLOR}) {
    if (material.texture.empty() && source.GetTexture(type, 0, &text) == aiReturn_SUCCESS)
      material.texture = text.C_Str();
  }
  aiColor4D color;
  if (!is_made_up && source.Get(AI_MATKEY_COLOR_DIFFUSE, color) == aiReturn_SUCCESS) {
    material.color = {color.r, color.g, color.b, color.a};
    material.has_color = true;
    float opacity = 1;
    if (source.Get(AI_MATKEY_OPACITY, opacity) == aiReturn_SUCCESS) material.color[3] = opacity;
  }
  int two_sided = 0;
  material.is_one_sided = source.Get(AI_MATKEY_TWOSIDED, two_sided) == aiReturn_SUCCESS && two_sided == 0;
  return material;
}

// The shape's mesh for a material and a kind of attributes, made where it is missing.
Mesh& target_mesh(Scene& scene, std::uint32_t shape, std::uint32_t material, bool has_normals, bool has_uvs) {
  for (std::size_t number = scene.meshes.size(); number-- > 0 && scene.meshes[number].shape == shape;) {
    Mesh& mesh = scene.meshes[number];
    if (mesh.material == material && mesh.normals.empty() != has_normals && mesh.uvs.empty() != has_uvs) return mesh;
  }
  Mesh& mesh = scene.meshes.emplace_back();
  mesh.shape = shape;
  mesh.material = material;
  return mesh;
}

aiVector3D unit(aiVector3D v) {
  float const length = v.Length();
  return length > 0 && std::isfinite(length) ? v / length : aiVector3D(0, 0, 0);
}

bool is_triangle(aiFace const& face, unsigned int points) {
  return face.mNumIndices == 3 &&
         std::all_of(face.mIndices, face.mIndices + 3, [points](unsigned int index) { return index < points; });
}

void append_attributes(aiMesh const& source, Mesh& mesh) {
  if (source.HasNormals()) {
    for (unsigned int i = 0; i < source.mNumVertices; ++i) {
      aiVector3D const n = unit(source.mNormals[i]);
      mesh.normals.insert(mesh.normals.end(), {n.x, n.y, n.z});
    }
  }
  if (source.HasTextureCoords(0)) {
    for (unsigned int i = 0; i < source.mNumVertices; ++i) {
      aiVector3D const& uv = source.mTextureCoords[0][i];
      mesh.uvs.insert(mesh.uvs.end(), {uv.x, uv.y});
    }
  }
}

// Memory is asked for once: a scan of a million triangles would else be held twice while a vector grows.
void reserve_for(aiMesh const& source, Mesh& mesh) {
  auto const grow = [](auto& array, std::size_t more) {
    if (array.empty()) array.reserve(more);
  };
  grow(mesh.points, std::size_t{source.mNumVertices} * 3);
  grow(mesh.triangles, std::size_t{source.mNumFaces} * 3);
  if (source.HasNormals()) grow(mesh.normals, std::size_t{source.mNumVertices} * 3);
  if (source.HasTextureCoords(0)) grow(mesh.uvs, std::size_t{source.mNumVertices} * 2);
}

bool has_triangles(aiMesh const& mesh) {
  return std::any_of(mesh.mFaces, mesh.mFaces + mesh.mNumFaces,
                     [&](aiFace const& face) { return is_triangle(face, mesh.mNumVertices); });
}

// `scale` is 1 over the shape's own: a power of two, so that no digit is lost.
std::string append_mesh(aiMesh const& source, std::uint32_t shape, float scale, Scene& scene) {
  Mesh& mesh = target_mesh(scene, shape, source.mMaterialIndex, source.HasNormals(), source.HasTextureCoords(0));
  std::uint64_t const first = mesh.points.size() / 3;
  if (first + source.mNumVertices > kMostPoints || mesh.triangles.size() / 3 + source.mNumFaces > kMostPoints) {
    return "the scene has more points than can be numbered";
  }
  reserve_for(source, mesh);
  for (unsigned int i = 0; i < source.mNumVertices; ++i) {
    aiVector3D const p = source.mVertices[i] * scale;
    mesh.points.insert(mesh.points.end(), {p.x, p.y, p.z});
  }
  append_attributes(source, mesh);
  for (unsigned int i = 0; i < source.mNumFaces; ++i) {
    aiFace const& face = source.mFaces[i];
    if (!is_triangle(face, source.mNumVertices)) continue;
    auto const offset = static_cast<std::uint32_t>(first);
    for (unsigned int corner = 0; corner < 3; ++corner) mesh.triangles.push_back(offset + face.mIndices[corner]);
  }
  return {};
}

// How much longer a vector can become by the matrix: exactly for turns with one scale, else a bound.
double stretch(aiMatrix4x4 const& matrix) {
  aiMatrix3x3 const m(matrix);
  double const x = std::hypot(double{m.a1}, double{m.b1}, double{m.c1});
  double const y = std::hypot(double{m.a2}, double{m.b2}, double{m.c2});
  double const z = std::hypot(double{m.a3}, double{m.b3}, double{m.c3});
  double const longest = std::max({x, y, z});
  double const xy = double{m.a1} * double{m.a2} + double{m.b1} * double{m.b2} + double{m.c1} * double{m.c2};
  double const yz = double{m.a2} * double{m.a3} + double{m.b2} * double{m.b3} + double{m.c2} * double{m.c3};
  double const zx = double{m.a3} * double{m.a1} + double{m.b3} * double{m.b1} + double{m.c3} * double{m.c1};
  bool const is_square = std::max({std::abs(xy), std::abs(yz), std::abs(zx)}) <= 1e-5 * longest * longest;
  return is_square ? longest : std::hypot(x, y, z);
}

// The power of two from which on nothing is stretched any more; rounding does not count.
double power_above(double length) {
  if (!(length > 1e-30) || !(length < 1e30)) return 1;
  return std::exp2(std::ceil(std::log2(length) - 1e-5));
}

// assimp names what has no name, and the parts of a mesh of several materials.
std::string shape_name(aiScene const& source, std::vector<unsigned int> const& meshes, std::string const& node) {
  std::string name = source.mMeshes[meshes.front()]->mName.C_Str();
  if (meshes.size() > 1 && name.size() > 2 && name.ends_with("-0")) name.resize(name.size() - 2);
  return name.empty() || name.front() == '<' ? node : name;
}

void copy_textures(aiScene const& source, Scene& scene) {
  for (unsigned int number = 0; number < source.mNumTextures; ++number) {
    aiTexture const& texture = *source.mTextures[number];
    Texture& copy = scene.textures.emplace_back();
    copy.name = texture.mFilename.C_Str();
    if (texture.mHeight != 0) continue;  // pixels without a format: nothing that other programs could read
    copy.extension = texture.achFormatHint;
    auto const* const bytes = reinterpret_cast<unsigned char const*>(texture.pcData);
    copy.content.assign(bytes, bytes + texture.mWidth);
  }
}

struct Visit {
  aiNode const* node;
  aiMatrix4x4 world;
  std::uint32_t parent;
};

class SceneMaker {
 public:
  SceneMaker(aiScene const& source, Scene& scene) : source_(source), scene_(scene) {}

  std::string make(aiMatrix4x4 const& root) {
    // A stack of our own: a file may nest its nodes deeper than the call stack goes.
    std::vector<Visit> pending{{source_.mRootNode, root, kNone}};
    while (!pending.empty()) {
      Visit const visit = pending.back();
      pending.pop_back();
      aiMatrix4x4 const& local = visit.parent == kNone ? root : visit.node->mTransformation;
      if (auto problem = add_node(visit, local); !problem.empty()) return problem;
      auto const number = static_cast<std::uint32_t>(scene_.nodes.size() - 1);
      for (unsigned int i = visit.node->mNumChildren; i-- > 0;) {
        aiNode const* child = visit.node->mChildren[i];
        pending.push_back({child, visit.world * child->mTransformation, number});
      }
    }
    for (std::size_t shape = 0; shape < scene_.shapes.size(); ++shape) {
      double const scale = power_above(stretches_[shape]);
      scene_.shapes[shape].scale = 1 / scale;
      for (unsigned int const number : meshes_of_[shape]) {
        auto const points_scale = static_cast<float>(scale);
        auto problem = append_mesh(*source_.mMeshes[number], static_cast<std::uint32_t>(shape), points_scale, scene_);
        if (!problem.empty()) return problem;
      }
    }
    return {};
  }

 private:
  std::string add_node(Visit const& visit, aiMatrix4x4 const& local) {
    Node& node = scene_.nodes.emplace_back();
    node.name = visit.node->mName.C_Str();
    if (node.name.starts_with("$ColladaAutoName$")) node.name.clear();
    node.parent = visit.parent;
    // By rows there, by columns here.
    for (unsigned int row = 0; row < 4; ++row) {
      for (unsigned int column = 0; column < 4; ++column) {
        double const value = double{local[row][column]};
        node.transform[std::size_t{column} * 4 + row] = std::isfinite(value) ? value : 0;
      }
    }
    std::vector<unsigned int> shown;
    for (unsigned int i = 0; i < visit.node->mNumMeshes; ++i) {
      unsigned int const number = visit.node->mMeshes[i];
      aiMesh const& mesh = *source_.mMeshes[number];
      if (mesh.mMaterialIndex >= scene_.materials.size()) return "a mesh names a material that does not exist";
      if (has_triangles(mesh)) shown.push_back(number);
    }
    if (!shown.empty()) node.shape = find_shape(shown, node.name, visit.world);
    return {};
  }

  std::uint32_t find_shape(std::vector<unsigned int> const& meshes, std::string const& node, aiMatrix4x4 const& world) {
    auto const [found, is_new] = shapes_.try_emplace(meshes, static_cast<std::uint32_t>(scene_.shapes.size()));
    if (is_new) {
      scene_.shapes.push_back({shape_name(source_, meshes, node), 1});
      meshes_of_.push_back(meshes);
      stretches_.push_back(0);
    }
    stretches_[found->second] = std::max(stretches_[found->second], stretch(world));
    return found->second;
  }

  aiScene const& source_;
  Scene& scene_;
  std::map<std::vector<unsigned int>, std::uint32_t> shapes_;
  std::vector<std::vector<unsigned int>> meshes_of_;
  std::vector<double> stretches_;
};

}  // namespace

std::string count_source(aiScene const& source, Scene& scene) {
  for (unsigned int m = 0; m < source.mNumMeshes; ++m) {
    aiMesh const& mesh = *source.mMeshes[m];
    scene.source_points += mesh.mNumVertices;
    for (unsigned int i = 0; i < mesh.mNumFaces; ++i) {
      aiFace const& face = mesh.mFaces[i];
      bool const sound = std::all_of(face.mIndices, face.mIndices + face.mNumIndices,
                                     [&](unsigned int index) { return index < mesh.mNumVertices; });
      if (!sound) return "face " + std::to_string(i + 1) + " names a point that does not exist";
      scene.source_polygons += face.mNumIndices >= 3;
    }
  }
  return {};
}

std::string build_scene(aiScene const& source, aiMatrix4x4 const& root, bool has_materials, Scene& scene) {
  for (unsigned int i = 0; i < source.mNumMaterials; ++i) {
    scene.materials.push_back(has_materials ? read_material(*source.mMaterials[i]) : Material());
  }
  if (scene.materials.empty()) scene.materials.emplace_back();
  copy_textures(source, scene);
  return source.mRootNode == nullptr ? std::string() : SceneMaker(source, scene).make(root);
}

std::uint64_t survey(Scene const& scene, double bounds[6]) {
  using Matrix = std::array<double, 16>;
  constexpr double kFar = std::numeric_limits<double>::infinity();
  std::array<double, 6> box{kFar, kFar, kFar, -kFar, -kFar, -kFar};
  std::vector<std::size_t> first_mesh(scene.shapes.size() + 1, scene.meshes.size());
  for (std::size_t mesh = scene.meshes.size(); mesh-- > 0;) first_mesh[scene.meshes[mesh].shape] = mesh;
  std::vector<Matrix> worlds;
  std::uint64_t triangles = 0;
  for (Node const& node : scene.nodes) {
    Matrix world = node.transform;
    if (node.parent != kNone) {
      Matrix const& outer = worlds[node.parent];
      for (std::size_t column = 0; column < 4; ++column) {
        for (std::size_t row = 0; row < 4; ++row) {
          double sum = 0;
          for (std::size_t k = 0; k < 4; ++k) sum += outer[k * 4 + row] * node.transform[column * 4 + k];
          world[column * 4 + row] = sum;
        }
      }
    }
    worlds.push_back(world);
    if (node.shape == kNone) continue;
    double const scale = scene.shapes[node.shape].scale;
    for (std::size_t number = first_mesh[node.shape];
         number < scene.meshes.size() && scene.meshes[number].shape == node.shape; ++number) {
      Mesh const& mesh = scene.meshes[number];
      triangles += mesh.triangles.size() / 3;
      for (std::uint32_t const point : mesh.triangles) {
        float const* const p = mesh.points.data() + std::size_t{point} * 3;
        for (std::size_t axis = 0; axis < 3; ++axis) {
          double place = world[12 + axis];
          for (std::size_t k = 0; k < 3; ++k) place += world[k * 4 + axis] * scale * double{p[k]};
          box[axis] = std::min(box[axis], place);
          box[3 + axis] = std::max(box[3 + axis], place);
        }
      }
    }
  }
  if (triangles > 0) std::copy(box.begin(), box.end(), bounds);
  return triangles;
}

}  // namespace mirel::reading
