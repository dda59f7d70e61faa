// A binary FBX file with one mesh of triangles: a torus with ripples, normals and UVs by polygon vertex, one material.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "benchmarks/fbx/generator/binary_writer.h"

namespace mirel::fbx_generator {

struct MeshFileOptions {
  Form form;
  // The mesh has the nearest number of triangles that makes whole rings; never fewer than 16.
  std::size_t triangle_count = 1'000'000;
  // Two UVs per corner instead of a table of UVs and an index per corner.
  bool has_direct_uvs = false;
  // Coordinates with all digits of a double; otherwise those of a 32-bit number, as most exporters have them.
  bool has_full_doubles = false;
};

struct MeshFile {
  std::string bytes;
  std::vector<ArrayPlace> arrays;
  std::size_t triangle_count;
  std::size_t point_count;
  std::size_t raw_array_size() const;
};

MeshFile make_mesh_file(MeshFileOptions const& options);

// False, and the reason in `error`, when the file could not be written whole.
bool write_file(std::string const& path, std::string const& bytes, std::string& error);

}  // namespace mirel::fbx_generator
