// make_fbx FILE [--triangles N] [--version V] [--raw] [--big-endian] [--direct-uvs] [--full-doubles]: writes a binary
// FBX file with one mesh. Defaults: 1,000,000 triangles, version 7400, deflated arrays, little-endian, indexed UVs.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "benchmarks/fbx/generator/torus_file.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: make_fbx FILE [--triangles N] [--version V] [--raw] [--big-endian] [--direct-uvs] "
               "[--full-doubles]\n");
  return 2;
}

}  // namespace

int main(int count, char** arguments) {
  std::string path;
  mirel::fbx_generator::MeshFileOptions options;
  for (int k = 1; k < count; ++k) {
    std::string_view const argument = arguments[k];
    if (argument == "--raw") {
      options.form.deflates_arrays = false;
    } else if (argument == "--big-endian") {
      options.form.is_big_endian = true;
    } else if (argument == "--direct-uvs") {
      options.has_direct_uvs = true;
    } else if (argument == "--full-doubles") {
      options.has_full_doubles = true;
    } else if (argument == "--triangles" && k + 1 < count) {
      options.triangle_count = std::strtoul(arguments[++k], nullptr, 10);
    } else if (argument == "--version" && k + 1 < count) {
      options.form.version = std::atoi(arguments[++k]);
    } else if (path.empty() && argument.substr(0, 1) != "-") {
      path = argument;
    } else {
      return usage();
    }
  }
  if (path.empty()) return usage();
  std::string error;
  if (!mirel::fbx_generator::write_file(path, mirel::fbx_generator::make_mesh_file(options).bytes, error)) {
    std::fprintf(stderr, "make_fbx: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
