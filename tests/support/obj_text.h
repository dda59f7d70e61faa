// A plain reader of OBJ files for checks: independent of the engine's, and without its speed.
//
// Polygons are cut into fans. Indices are 0-based; kNone where a corner has no UV.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mirel::support {

inline constexpr std::uint32_t kNone = 0xFFFFFFFFU;

using Triple = std::array<std::uint32_t, 3>;

struct ObjText {
  std::vector<float> positions;              // x 3
  std::vector<float> uvs;                    // x 2
  std::size_t normal_count = 0;              // vn lines
  std::size_t non_finite_values = 0;         // in v, vt and vn lines
  std::vector<Triple> faces;                 // places in positions
  std::vector<Triple> face_uvs;              // places in uvs
  std::vector<std::string> materials;        // names in order of first use
  std::vector<std::uint32_t> face_material;  // place in materials
};

// False, and a reason in `error`, where the file cannot be read or names what it does not have.
bool read_obj_text(char const* path, ObjText& mesh, std::string& error);

}  // namespace mirel::support
