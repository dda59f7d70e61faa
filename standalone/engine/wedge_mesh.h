// A triangle mesh in wedge form: the form in which meshes are prepared, reduced and read back.
//
// A mesh vertex is one wedge: a distinct combination of position, normal and UV (Hoppe 1996). Several wedges may
// share a position; `position_of` says which. An edge whose two faces use different wedges at either end is an
// attribute seam. All arrays are flat and 0-based; coordinates are 32-bit floats in model units.
#pragma once

#include <cstdint>
#include <vector>

namespace mirel::engine {

inline constexpr std::uint32_t kNone = 0xFFFFFFFFU;

struct WedgeMesh {
  std::vector<float> vertices;             // vertex_count x 3: the position of each wedge
  std::vector<float> normals;              // vertex_count x 3, or empty: unit normals
  std::vector<float> uvs;                  // vertex_count x 2, or empty
  std::vector<std::uint32_t> position_of;  // vertex_count: position number, in order of first occurrence
  std::vector<std::uint32_t> faces;        // face_count x 3 vertices; faces grouped by set, sets in order
  std::vector<std::uint32_t>
      set_begin;  // max(set_count, 1) + 1: the faces of set s are [set_begin[s], set_begin[s + 1])
  // position_count, or empty where it is the identity (step 0): the lowest step-0 position merged into each.
  std::vector<std::uint32_t> lowest_position;
  std::uint32_t position_count = 0;

  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(vertices.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
};

}  // namespace mirel::engine
