// Marks the boundary and sharp edges of a mesh, one byte per half-edge (see edges.h), by position.
//
// 0x02: one face. 0x20: three or more faces, or two that meet sharply. A UV seam or a border of face sets alone is
// nothing. Linear time, 24 bytes per face while it runs.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace mirel::engine {

inline constexpr unsigned char kBoundaryFlag = 0x02;
inline constexpr unsigned char kSharpFlag = 0x20;

struct EdgeFlagInput {
  std::span<float const> vertices;             // vertex_count x 3
  std::span<std::uint32_t const> faces;        // face_count x 3 vertices
  std::span<std::uint32_t const> position_of;  // vertex_count
  std::uint32_t position_count = 0;
};

// Sharp: the normals of the two sides differ at either end. normals: x 3; places: face_count x 3, each corner's place.
std::vector<unsigned char> edge_flags_by_normals(EdgeFlagInput const& mesh, float const* normals,
                                                 std::span<std::uint32_t const> places);

// Sharp: the angle between the two faces' normals is above 30 degrees, wound alike or not.
std::vector<unsigned char> edge_flags_by_angle(EdgeFlagInput const& mesh);

// 1 where exactly two faces meet and their UVs differ at either end, else 0. corner_uvs: face_count x 3 x (u, v).
std::vector<unsigned char> uv_seams(EdgeFlagInput const& mesh, float const* corner_uvs);

}  // namespace mirel::engine
