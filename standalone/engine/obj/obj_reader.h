// Reads Wavefront OBJ files with their material libraries into flat triangle arrays.
//
// Layer: below the mesh store, which moves the arrays into its meshes; knows nothing of it. Indices are 0-based,
// 32-bit; kNone means "none". Coordinates are taken over as they stand, narrowed to 32-bit floats.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mirel::engine {

struct ObjMaterial {
  std::string name = "Default";
  bool is_default = true;  // the material of faces before any usemtl
  bool has_color = false;
  float color[4] = {1, 1, 1, 1};  // red, green, blue, opacity; 0 to 1
  std::string texture_path;       // as the material library names it, "" where it names none
  std::string texture_base_path;  // the folder that the path is relative to: the material library's
};

struct ObjMesh {
  std::string name;                         // of the `o` line, "" without one
  std::vector<float> positions;             // vertex_count x 3: only vertices that faces use
  std::vector<float> normals;               // normal_count x 3
  std::vector<float> uvs;                   // uv_count x 2
  std::vector<std::uint32_t> faces;         // face_count x 3: triangles in file order
  std::vector<std::uint32_t> face_normals;  // face_count x 3 or empty; all three kNone for a face without normals
  std::vector<std::uint32_t> face_uvs;      // face_count x 3 or empty; all three kNone for a face without UVs
  std::vector<std::uint32_t> face_set_of;   // face_count: place in materials
  std::vector<ObjMaterial> materials;       // one per face set, in order of first use
};

struct ObjFile {
  std::vector<ObjMesh> meshes;  // one per `o` with faces; empty for a file without faces
};

struct ObjResult {
  std::optional<ObjFile> file;  // empty on failure
  std::string error;            // on failure: one line with the file, the line number where there is one, the reason
  std::vector<std::string> warnings;  // what was passed over: a missing material library, an unknown material
};

// Reads the file and the material libraries that it names. Never throws; running out of memory is an error too.
ObjResult read_obj(char const* path);
// The same from memory; material libraries are looked for in `folder` ("" for none).
ObjResult parse_obj(char const* text, std::size_t size, std::string const& path, std::string const& folder);

}  // namespace mirel::engine
