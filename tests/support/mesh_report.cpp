// Tells, as one JSON object, whether an OBJ file is sound, and how it compares with its original.
//
//   mesh_report FILE.obj [--against ORIGINAL.obj] [--uv-tolerance D]
//
// Exit status 0 when the report is printed; 1 with a line on stderr when a file cannot be read.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/mesh_checks.h"

namespace {

void print_string(std::string const& text) {
  std::putchar('"');
  for (char c : text) {
    if (c == '"' || c == '\\') std::putchar('\\');
    if (static_cast<unsigned char>(c) >= 0x20) std::putchar(c);
  }
  std::putchar('"');
}

bool read(char const* path, mirel::support::ObjText& mesh) {
  std::string error;
  if (mirel::support::read_obj_text(path, mesh, error)) return true;
  std::fprintf(stderr, "mesh_report: %s: %s\n", path, error.c_str());
  return false;
}

void print_count(char const* name, std::size_t count) {
  std::printf("\"%s\": %zu, ", name, count);
}

void print_length(char const* name, double length) {
  std::isfinite(length) ? std::printf("\"%s\": %.9g, ", name, length) : std::printf("\"%s\": null, ", name);
}

}  // namespace

int main(int argument_count, char** arguments) {
  char const* path = nullptr;
  char const* original_path = nullptr;
  double uv_tolerance = 0.01;
  for (int k = 1; k < argument_count; ++k) {
    bool const has_value = k + 1 < argument_count;
    if (std::strcmp(arguments[k], "--against") == 0 && has_value) {
      original_path = arguments[++k];
    } else if (std::strcmp(arguments[k], "--uv-tolerance") == 0 && has_value) {
      uv_tolerance = std::atof(arguments[++k]);
    } else if (path == nullptr && arguments[k][0] != '-') {
      path = arguments[k];
    } else {
      path = nullptr;
      break;
    }
  }
  if (path == nullptr) {
    std::fprintf(stderr, "usage: mesh_report FILE.obj [--against ORIGINAL.obj] [--uv-tolerance D]\n");
    return 2;
  }

  mirel::support::ObjText mesh;
  mirel::support::ObjText original;
  if (!read(path, mesh) || (original_path != nullptr && !read(original_path, original))) return 1;

  mirel::support::Topology const topology = topology_of(mesh);
  std::putchar('{');
  print_count("faces", mesh.faces.size());
  print_count("vertices", mesh.positions.size() / 3);
  print_count("uvs", mesh.uvs.size() / 2);
  print_count("normals", mesh.normal_count);
  print_count("non_finite_values", mesh.non_finite_values);
  print_count("degenerate_faces", topology.degenerate_faces);
  print_count("duplicate_faces", topology.duplicate_faces);
  print_count("non_manifold_edges", topology.non_manifold_edges);
  print_count("boundary_edges", topology.boundary_edges);
  print_count("components", topology.components);
  print_count("charts", chart_count(mesh));
  if (original_path != nullptr) {
    print_count("boundary_vertices_not_in_original", strange_boundary_positions(mesh, original));
    print_count("faces_across_charts", faces_across_charts(mesh, original, uv_tolerance));
    print_length("max_distance_lower_bound", sampled_distance(mesh, original));
    print_length("max_distance_upper_bound", distance_upper_bound(mesh, original));
  }
  std::printf("\"materials\": [");
  for (std::size_t k = 0; k < mesh.materials.size(); ++k) {
    if (k > 0) std::printf(", ");
    print_string(mesh.materials[k]);
  }
  std::printf("]}\n");
  return 0;
}
