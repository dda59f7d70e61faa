// The mesh that all simplifiers under test get, and its file: positions (vertex_count x 3 floats, model units) and
// faces (face_count x 3 numbers of vertices, from 0).
//
// A file is the two counts as 32-bit numbers and then the two arrays, all little endian, nothing else.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace mirel::peers {

struct IndexedMesh {
  std::vector<float> positions;
  std::vector<std::uint32_t> faces;

  std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
  void add_vertex(double x, double y, double z) {
    for (double const c : {x, y, z}) positions.push_back(static_cast<float>(c));
  }
  void add_face(std::uint32_t a, std::uint32_t b, std::uint32_t c) { faces.insert(faces.end(), {a, b, c}); }
};

[[noreturn]] inline void fail(std::string const& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  std::exit(1);
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

inline IndexedMesh read_mesh(std::string const& path) {
  File const file(std::fopen(path.c_str(), "rb"));
  std::uint32_t counts[2];
  if (!file || std::fread(counts, 4, 2, file.get()) != 2) fail(path + ": cannot be read");
  IndexedMesh mesh;
  mesh.positions.resize(3 * std::size_t{counts[0]});
  mesh.faces.resize(3 * std::size_t{counts[1]});
  if (std::fread(mesh.positions.data(), 4, mesh.positions.size(), file.get()) != mesh.positions.size() ||
      std::fread(mesh.faces.data(), 4, mesh.faces.size(), file.get()) != mesh.faces.size()) {
    fail(path + ": is cut short");
  }
  for (std::uint32_t const vertex : mesh.faces) {
    if (vertex >= counts[0]) fail(path + ": a face names a vertex that does not exist");
  }
  return mesh;
}

inline void write_mesh(std::string const& path, IndexedMesh const& mesh) {
  File file(std::fopen(path.c_str(), "wb"));
  std::uint32_t const counts[2] = {mesh.vertex_count(), mesh.face_count()};
  bool const written =
      file && std::fwrite(counts, 4, 2, file.get()) == 2 &&
      std::fwrite(mesh.positions.data(), 4, mesh.positions.size(), file.get()) == mesh.positions.size() &&
      std::fwrite(mesh.faces.data(), 4, mesh.faces.size(), file.get()) == mesh.faces.size();
  if (!written || std::fclose(file.release()) != 0) fail(path + ": cannot be written");
}

// Leaves out the vertices that no face uses and numbers the others in the order of their first use.
inline void drop_unused_vertices(IndexedMesh& mesh) {
  std::vector<std::uint32_t> number(mesh.vertex_count(), UINT32_MAX);
  std::vector<float> positions;
  for (std::uint32_t& vertex : mesh.faces) {
    if (number[vertex] == UINT32_MAX) {
      number[vertex] = static_cast<std::uint32_t>(positions.size() / 3);
      auto const* p = &mesh.positions[3 * std::size_t{vertex}];
      positions.insert(positions.end(), p, p + 3);
    }
    vertex = number[vertex];
  }
  mesh.positions = std::move(positions);
}

}  // namespace mirel::peers
