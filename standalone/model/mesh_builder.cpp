#include "standalone/model/mesh_builder.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "standalone/model/corner_normals.h"

namespace mirel::model {

namespace {

// One side of one face, as it goes into a mesh.
struct Side {
  std::uint32_t face;
  std::uint32_t uvs;  // place of the first corner's, or kNoIndex
  bool is_back;
};

struct Part {
  Look look;
  std::vector<Side> sides;
};

Material* alive(Material* material) {
  return material != nullptr && material->kind == Kind::kMaterial ? material : nullptr;
}

class Parts {
 public:
  void add(Look look, Side side) {
    // Most faces look like the one before.
    if (last_ < parts.size() && parts[last_].look == look) {
      parts[last_].sides.push_back(side);
      return;
    }
    std::size_t const key =
        std::hash<Material*>()(look.material) ^ (look.is_two_sided ? std::size_t{0x9E3779B9} : std::size_t{0});
    auto const [begin, end] = by_look_.equal_range(key);
    auto const found = std::find_if(begin, end, [&](auto const& entry) { return parts[entry.second].look == look; });
    std::size_t number = parts.size();
    if (found != end) {
      number = found->second;
    } else {
      by_look_.emplace(key, number);
      parts.push_back({look, {}});
    }
    parts[number].sides.push_back(side);
    last_ = number;
  }

  std::vector<Part> parts;

 private:
  std::unordered_multimap<std::size_t, std::size_t> by_look_;
  std::size_t last_ = 0;
};

std::vector<Part> sort_by_look(Entities const& entities, bool with_backs) {
  Parts result;
  for (std::uint32_t number = 0; number < entities.faces.size(); ++number) {
    Face const& face = entities.faces[number];
    Material* const front = alive(face.front);
    Material* const back = alive(face.back);
    bool const looks_alike = front == back && (front == nullptr || face.front_uvs == face.back_uvs);
    result.add({front, with_backs && looks_alike}, {number, face.front_uvs, false});
    if (with_backs && back != nullptr && !looks_alike) {
      result.add({back, false}, {number, face.back_uvs, true});
    }
  }
  return std::move(result.parts);
}

float finite(double value) {
  float const narrow = static_cast<float>(value);
  return std::isfinite(narrow) ? narrow : 0.0F;
}

// Gives every distinct vertex of a mesh a number: those at one vertex of the entities differ by normal or UVs. Without
// normals they differ by UVs alone.
class VertexSplitter {
 public:
  VertexSplitter(Entities const& entities, CornerNormals const& normals)
      : entities_(entities), normals_(normals), first_(entities.vertices.size() * 2, kNoIndex) {}

  void begin_mesh() {
    for (std::uint32_t const head : used_heads_) {
      first_[head] = kNoIndex;
    }
    used_heads_.clear();
    vertices_.clear();
  }

  std::uint32_t number(Side const& side, std::uint32_t corner, std::uint32_t place) {
    SUPoint2D const uv = side.uvs == kNoIndex ? SUPoint2D{0, 0} : entities_.uvs[side.uvs + place];
    // Backs have their normals the other way, and lists of their own.
    std::size_t const head = std::size_t{entities_.corners[corner].vertex} * 2 + (side.is_back ? 1 : 0);
    for (std::uint32_t vertex = first_[head]; vertex != kNoIndex; vertex = vertices_[vertex].next) {
      if (vertices_[vertex].uv.x == uv.x && vertices_[vertex].uv.y == uv.y &&
          has_same_normal(vertices_[vertex].corner, corner)) {
        return vertex;
      }
    }
    auto const added = static_cast<std::uint32_t>(vertices_.size());
    if (first_[head] == kNoIndex) {
      used_heads_.push_back(static_cast<std::uint32_t>(head));
    }
    vertices_.push_back({uv, corner, first_[head], side.is_back});
    first_[head] = added;
    return added;
  }

  void write(aiMesh& mesh, bool with_uvs) const {
    std::size_t const count = vertices_.size();
    mesh.mNumVertices = static_cast<unsigned int>(count);
    mesh.mVertices = new aiVector3D[count];
    mesh.mNormals = normals_.normals.empty() ? nullptr : new aiVector3D[count];
    if (with_uvs) {
      mesh.mTextureCoords[0] = new aiVector3D[count];
      mesh.mNumUVComponents[0] = 2;
    }
    for (std::size_t number = 0; number < count; ++number) {
      Vertex const& vertex = vertices_[number];
      SUPoint3D const& point = entities_.vertices[entities_.corners[vertex.corner].vertex];
      mesh.mVertices[number] = {finite(point.x), finite(point.y), finite(point.z)};
      if (mesh.mNormals != nullptr) {
        CornerNormals::Normal const& normal = normals_.normals[normals_.groups[vertex.corner]];
        mesh.mNormals[number] = aiVector3D(normal.x, normal.y, normal.z) * (vertex.is_back ? -1.0F : 1.0F);
      }
      if (with_uvs) {
        mesh.mTextureCoords[0][number] = {finite(vertex.uv.x), finite(vertex.uv.y), 0};
      }
    }
  }

 private:
  bool has_same_normal(std::uint32_t a, std::uint32_t b) const {
    if (normals_.normals.empty() || normals_.groups[a] == normals_.groups[b]) {
      return true;
    }
    CornerNormals::Normal const& first = normals_.normals[normals_.groups[a]];
    CornerNormals::Normal const& second = normals_.normals[normals_.groups[b]];
    return first.x == second.x && first.y == second.y && first.z == second.z;
  }

  struct Vertex {
    SUPoint2D uv;
    std::uint32_t corner;
    std::uint32_t next;
    bool is_back;
  };
  Entities const& entities_;
  CornerNormals const& normals_;
  std::vector<std::uint32_t> first_;  // per vertex and side, the last one made for it
  std::vector<std::uint32_t> used_heads_;
  std::vector<Vertex> vertices_;
};

std::unique_ptr<aiMesh> build_mesh(Entities const& entities, Part const& part, VertexSplitter& splitter) {
  auto mesh = std::make_unique<aiMesh>();
  splitter.begin_mesh();
  mesh->mNumFaces = static_cast<unsigned int>(part.sides.size());
  mesh->mFaces = new aiFace[part.sides.size()];
  bool with_uvs = false;
  for (std::size_t number = 0; number < part.sides.size(); ++number) {
    Side const& side = part.sides[number];
    Face const& face = entities.faces[side.face];
    with_uvs = with_uvs || side.uvs != kNoIndex;
    aiFace& target = mesh->mFaces[number];
    target.mNumIndices = face.corner_count;
    target.mIndices = new unsigned int[face.corner_count];
    for (std::uint32_t place = 0; place < face.corner_count; ++place) {
      target.mIndices[side.is_back ? face.corner_count - 1 - place : place] =
          splitter.number(side, face.first_corner + place, place);
    }
    mesh->mPrimitiveTypes |=
        static_cast<unsigned int>(face.corner_count == 3 ? aiPrimitiveType_TRIANGLE : aiPrimitiveType_POLYGON);
  }
  splitter.write(*mesh, with_uvs);
  return mesh;
}

}  // namespace

std::vector<BuiltMesh> build_meshes(Entities const& entities, bool with_backs, bool with_normals) {
  std::vector<BuiltMesh> result;
  if (entities.faces.empty()) {
    return result;
  }
  CornerNormals const normals = with_normals ? compute_corner_normals(entities) : CornerNormals();
  VertexSplitter splitter(entities, normals);
  for (Part const& part : sort_by_look(entities, with_backs)) {
    result.push_back({build_mesh(entities, part, splitter), part.look});
  }
  return result;
}

std::unique_ptr<aiMesh> transform_mesh(aiMesh const& mesh, double const matrix[16]) {
  auto result = std::make_unique<aiMesh>();
  double const* const m = matrix;
  // Normals go by the cofactors (by columns, as the matrix), which need no inverse.
  double const cofactors[9] = {m[5] * m[10] - m[9] * m[6], m[8] * m[6] - m[4] * m[10], m[4] * m[9] - m[8] * m[5],
                               m[9] * m[2] - m[1] * m[10], m[0] * m[10] - m[8] * m[2], m[8] * m[1] - m[0] * m[9],
                               m[1] * m[6] - m[5] * m[2],  m[4] * m[2] - m[0] * m[6],  m[0] * m[5] - m[4] * m[1]};
  bool const mirrors = m[0] * cofactors[0] + m[4] * cofactors[3] + m[8] * cofactors[6] < 0;
  result->mPrimitiveTypes = mesh.mPrimitiveTypes;
  result->mNumVertices = mesh.mNumVertices;
  result->mVertices = new aiVector3D[mesh.mNumVertices];
  result->mNormals = mesh.HasNormals() ? new aiVector3D[mesh.mNumVertices] : nullptr;
  if (mesh.mTextureCoords[0] != nullptr) {
    result->mTextureCoords[0] = new aiVector3D[mesh.mNumVertices];
    std::copy_n(mesh.mTextureCoords[0], mesh.mNumVertices, result->mTextureCoords[0]);
    result->mNumUVComponents[0] = 2;
  }
  for (unsigned int vertex = 0; vertex < mesh.mNumVertices; ++vertex) {
    double const x = static_cast<double>(mesh.mVertices[vertex].x);
    double const y = static_cast<double>(mesh.mVertices[vertex].y);
    double const z = static_cast<double>(mesh.mVertices[vertex].z);
    result->mVertices[vertex] = {finite(m[0] * x + m[4] * y + m[8] * z + m[12]),
                                 finite(m[1] * x + m[5] * y + m[9] * z + m[13]),
                                 finite(m[2] * x + m[6] * y + m[10] * z + m[14])};
    if (!mesh.HasNormals()) {
      continue;
    }
    double const u = static_cast<double>(mesh.mNormals[vertex].x);
    double const v = static_cast<double>(mesh.mNormals[vertex].y);
    double const w = static_cast<double>(mesh.mNormals[vertex].z);
    double const sign = mirrors ? -1 : 1;
    double const nx = sign * (cofactors[0] * u + cofactors[3] * v + cofactors[6] * w);
    double const ny = sign * (cofactors[1] * u + cofactors[4] * v + cofactors[7] * w);
    double const nz = sign * (cofactors[2] * u + cofactors[5] * v + cofactors[8] * w);
    double const length = std::hypot(nx, ny, nz);
    result->mNormals[vertex] = length > 0 && std::isfinite(length)
                                   ? aiVector3D(finite(nx / length), finite(ny / length), finite(nz / length))
                                   : mesh.mNormals[vertex];
  }
  result->mNumFaces = mesh.mNumFaces;
  result->mFaces = new aiFace[mesh.mNumFaces];
  for (unsigned int face = 0; face < mesh.mNumFaces; ++face) {
    result->mFaces[face] = mesh.mFaces[face];
    if (mirrors) {
      std::reverse(result->mFaces[face].mIndices, result->mFaces[face].mIndices + result->mFaces[face].mNumIndices);
    }
  }
  return result;
}

}  // namespace mirel::model
