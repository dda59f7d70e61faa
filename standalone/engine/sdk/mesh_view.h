// What a mesh looks like to its readers, whatever form it is in.
#pragma once

#include <cstddef>
#include <cstdint>

#include "standalone/engine/prepare/build_mesh.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// Pointers are null where there is nothing to point at; they live as long as the mesh stays as it is.
struct MeshView {
  std::uint32_t vertex_count = 0;
  std::uint32_t face_count = 0;
  std::uint32_t set_count = 0;
  std::uint32_t first_position_count = 0;  // distinct positions at step 0; 0 in build form
  float const* vertices = nullptr;         // vertex_count x 3
  std::uint32_t const* faces = nullptr;    // face_count x 3
  float const* vertex_normals = nullptr;   // vertex_count x 3
  float const* vertex_uvs = nullptr;       // vertex_count x 2
  BuildMesh const* build = nullptr;        // where the mesh is in build form
  WedgeMesh const* wedges = nullptr;       // where it is in wedge form
  bool grouped = false;                    // faces lie set by set

  // The corner's place among the indexed normals or UVs; kNone in wedge form and where it has none.
  std::uint32_t normal_place(std::size_t corner) const {
    return build != nullptr && corner < build->face_normals.size() ? build->face_normals[corner] : kNone;
  }
  std::uint32_t uv_place(std::size_t corner) const {
    return build != nullptr && corner < build->face_uvs.size() ? build->face_uvs[corner] : kNone;
  }
  bool has_normals() const { return vertex_normals != nullptr || (build != nullptr && build->has_normals()); }
  bool has_uvs() const { return vertex_uvs != nullptr || (build != nullptr && build->has_uvs()); }
  // 3 or 2 numbers, or null where the corner has none.
  float const* corner_normal(std::size_t corner) const {
    std::uint32_t const place = normal_place(corner);
    if (place != kNone) {
      return &build->normals[std::size_t{place} * 3];
    }
    return vertex_normals == nullptr ? nullptr : vertex_normals + std::size_t{faces[corner]} * 3;
  }
  float const* corner_uv(std::size_t corner) const {
    std::uint32_t const place = uv_place(corner);
    if (place != kNone) {
      return &build->uvs[std::size_t{place} * 2];
    }
    return vertex_uvs == nullptr ? nullptr : vertex_uvs + std::size_t{faces[corner]} * 2;
  }
};

}  // namespace mirel::engine
