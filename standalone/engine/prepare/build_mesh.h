// A triangle mesh as it is being filled: the form of meshes before their vertices are joined.
//
// Vertices, normals and UVs are independent lists. Attributes are given per vertex, per corner by index, or not at
// all. All arrays are flat and 0-based; kNone means "none".
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

struct BuildMesh {
  std::vector<float> positions;             // vertex_count x 3
  std::vector<float> vertex_normals;        // vertex_count x 3, or empty
  std::vector<float> vertex_uvs;            // vertex_count x 2, or empty
  std::vector<float> normals;               // indexed normals x 3
  std::vector<float> uvs;                   // indexed UVs x 2
  std::vector<std::uint32_t> faces;         // face_count x 3 vertices
  std::vector<std::uint32_t> face_normals;  // up to face_count x 3 places in normals or kNone; missing ones are kNone
  std::vector<std::uint32_t> face_uvs;      // the same for uvs
  std::vector<std::uint32_t> face_set_of;   // face_count; a set of set_count or more means set 0
  std::uint32_t set_count = 0;              // 0: the faces are one set

  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
  std::uint32_t set_of(std::size_t face) const { return face_set_of[face] < set_count ? face_set_of[face] : 0; }
  bool has_normals() const { return !vertex_normals.empty() || !face_normals.empty(); }
  bool has_uvs() const { return !vertex_uvs.empty() || !face_uvs.empty(); }
};

}  // namespace mirel::engine
