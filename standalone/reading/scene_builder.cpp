#include "standalone/reading/scene_builder.h"

#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirel::reading {
namespace {

constexpr std::uint64_t kMostPoints = std::numeric_limits<std::int32_t>::max();

Material read_material(aiMaterial const& source) {
  Material material;
  aiString text;
  if (source.Get(AI_MATKEY_NAME, text) == aiReturn_SUCCESS) material.name = text.C_Str();
  for (auto type : {aiTextureType_DIFFUSE, aiTextureType_BASE_COLOR}) {
    if (material.texture.empty() && source.GetTexture(type, 0, &text) == aiReturn_SUCCESS)
      material.texture = text.C_Str();
  }
  aiColor4D color;
  if (source.Get(AI_MATKEY_COLOR_DIFFUSE, color) == aiReturn_SUCCESS) {
    material.color = {color.r, color.g, color.b, color.a};
    material.has_color = true;
    float opacity = 1;
    if (source.Get(AI_MATKEY_OPACITY, opacity) == aiReturn_SUCCESS) material.color[3] = opacity;
  }
  return material;
}

// The mesh for a material and a kind of attributes, made where it is missing.
Mesh& target_mesh(Scene& scene, std::uint32_t material, bool has_normals, bool has_uvs) {
  for (auto& mesh : scene.meshes) {
    if (mesh.material == material && mesh.normals.empty() != has_normals && mesh.uvs.empty() != has_uvs) return mesh;
  }
  auto& mesh = scene.meshes.emplace_back();
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

void append_attributes(aiMesh const& source, aiMatrix3x3 const& normal_matrix, Mesh& mesh) {
  if (source.HasNormals()) {
    for (unsigned int i = 0; i < source.mNumVertices; ++i) {
      aiVector3D const n = unit(normal_matrix * source.mNormals[i]);
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

std::string append_mesh(aiMesh const& source, aiMatrix4x4 const& world, Scene& scene) {
  bool const has_triangles = std::any_of(source.mFaces, source.mFaces + source.mNumFaces,
                                         [&](aiFace const& face) { return is_triangle(face, source.mNumVertices); });
  if (!has_triangles) return {};

  Mesh& mesh = target_mesh(scene, source.mMaterialIndex, source.HasNormals(), source.HasTextureCoords(0));
  std::uint64_t const first = mesh.points.size() / 3;
  if (first + source.mNumVertices > kMostPoints || mesh.triangles.size() / 3 + source.mNumFaces > kMostPoints) {
    return "the scene has more points than can be numbered";
  }
  reserve_for(source, mesh);
  for (unsigned int i = 0; i < source.mNumVertices; ++i) {
    aiVector3D const p = world * source.mVertices[i];
    mesh.points.insert(mesh.points.end(), {p.x, p.y, p.z});
  }
  aiMatrix3x3 const linear(world);
  float const determinant = linear.Determinant();
  aiMatrix3x3 normal_matrix = linear;
  if (determinant != 0) normal_matrix.Inverse().Transpose();
  append_attributes(source, normal_matrix, mesh);
  for (unsigned int i = 0; i < source.mNumFaces; ++i) {
    aiFace const& face = source.mFaces[i];
    if (!is_triangle(face, source.mNumVertices)) continue;
    auto const offset = static_cast<std::uint32_t>(first);
    std::uint32_t const a = offset + face.mIndices[0];
    std::uint32_t b = offset + face.mIndices[1];
    std::uint32_t c = offset + face.mIndices[2];
    if (determinant < 0) std::swap(b, c);
    mesh.triangles.insert(mesh.triangles.end(), {a, b, c});
  }
  return {};
}

struct Visit {
  aiNode const* node;
  aiMatrix4x4 world;
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

std::string build_scene(aiScene const& source, UpAxis up_axis, Scene& scene) {
  for (unsigned int i = 0; i < source.mNumMaterials; ++i) {
    scene.materials.push_back(read_material(*source.mMaterials[i]));
  }
  if (scene.materials.empty()) scene.materials.emplace_back();
  if (!source.mRootNode) return {};

  // (x, y, z) became (x, z, -y).
  aiMatrix4x4 const turned_back(1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1);
  aiMatrix4x4 root = source.mRootNode->mTransformation;
  if (up_axis == UpAxis::kTurnedFromZToY) root = turned_back * root;

  // A stack of our own: a file may nest its nodes deeper than the call stack goes.
  std::vector<Visit> pending{{source.mRootNode, root}};
  while (!pending.empty()) {
    Visit const visit = pending.back();
    pending.pop_back();
    for (unsigned int i = 0; i < visit.node->mNumMeshes; ++i) {
      aiMesh const& mesh = *source.mMeshes[visit.node->mMeshes[i]];
      if (mesh.mMaterialIndex >= scene.materials.size()) return "a mesh names a material that does not exist";
      if (auto problem = append_mesh(mesh, visit.world, scene); !problem.empty()) return problem;
    }
    for (unsigned int i = visit.node->mNumChildren; i-- > 0;) {
      aiNode const* child = visit.node->mChildren[i];
      pending.push_back({child, visit.world * child->mTransformation});
    }
  }
  return {};
}

}  // namespace mirel::reading
