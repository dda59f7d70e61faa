#include "standalone/engine/prepare/validate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>

namespace mirel::engine {
namespace {

std::string check_sizes(WedgeMesh const& mesh) {
  std::size_t const count = mesh.vertex_count();
  if (mesh.vertices.size() % 3 != 0) {
    return "vertices: not a multiple of 3 numbers";
  }
  if (!mesh.normals.empty() && mesh.normals.size() != count * 3) {
    return "normals: not 3 numbers per vertex";
  }
  if (!mesh.uvs.empty() && mesh.uvs.size() != count * 2) {
    return "uvs: not 2 numbers per vertex";
  }
  if (mesh.position_of.size() != count) {
    return "position_of: not one per vertex";
  }
  if (mesh.faces.size() % 3 != 0) {
    return "faces: not a multiple of 3 indices";
  }
  if (!mesh.lowest_position.empty() && mesh.lowest_position.size() != mesh.position_count) {
    return "lowest_position: not one per position";
  }
  return "";
}

std::string check_finite(char const* name, std::span<float const> values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i])) {
      return std::string(name) + ": number " + std::to_string(i) + " is not finite";
    }
  }
  return "";
}

std::string check_sets(WedgeMesh const& mesh) {
  auto const& begin = mesh.set_begin;
  if (begin.size() < 2 || begin.front() != 0 || begin.back() != mesh.face_count()) {
    return "set_begin: does not run from 0 to the face count";
  }
  if (!std::is_sorted(begin.begin(), begin.end())) {
    return "set_begin: falls";
  }
  return "";
}

std::string check_positions(WedgeMesh const& mesh) {
  std::vector<std::uint32_t> first;  // vertex at which each position occurs first
  for (std::uint32_t v = 0; v < mesh.vertex_count(); ++v) {
    std::uint32_t const position = mesh.position_of[v];
    if (position > first.size() || position >= mesh.position_count) {
      return "position_of: vertex " + std::to_string(v) + " breaks the order of first occurrence";
    }
    if (position == first.size()) {
      first.push_back(v);
    }
    float const* a = &mesh.vertices[std::size_t{3} * v];
    float const* b = &mesh.vertices[std::size_t{3} * first[position]];
    if (!std::equal(a, a + 3, b)) {
      return "vertices: vertex " + std::to_string(v) + " is not where its position is";
    }
  }
  if (first.size() != mesh.position_count) {
    return "position_count: more positions than occur";
  }
  return "";
}

std::string check_faces(WedgeMesh const& mesh) {
  std::vector<bool> used(mesh.vertex_count());
  for (std::size_t c = 0; c < mesh.faces.size(); ++c) {
    if (mesh.faces[c] >= mesh.vertex_count()) {
      return "faces: face " + std::to_string(c / 3) + " has a vertex that does not exist";
    }
    used[mesh.faces[c]] = true;
  }
  auto const unused = std::find(used.begin(), used.end(), false);
  if (unused != used.end()) {
    return "vertices: no face uses vertex " + std::to_string(unused - used.begin());
  }
  using Key = std::array<std::uint32_t, 4>;  // the positions, least first, and the face
  std::vector<Key> keys;
  for (std::size_t set = 0; set + 1 < mesh.set_begin.size(); ++set) {
    keys.clear();
    for (std::uint32_t f = mesh.set_begin[set]; f < mesh.set_begin[set + 1]; ++f) {
      std::array<std::uint32_t, 3> p{};
      for (std::size_t k = 0; k < 3; ++k) {
        p[k] = mesh.position_of[mesh.faces[std::size_t{3} * f + k]];
      }
      if (p[0] == p[1] || p[1] == p[2] || p[2] == p[0]) {
        return "faces: face " + std::to_string(f) + " has two corners at one position";
      }
      std::rotate(p.begin(), std::min_element(p.begin(), p.end()), p.end());
      keys.push_back({p[0], p[1], p[2], f});
    }
    std::sort(keys.begin(), keys.end());
    for (std::size_t i = 1; i < keys.size(); ++i) {
      if (std::equal(keys[i].begin(), keys[i].begin() + 3, keys[i - 1].begin())) {
        return "faces: face " + std::to_string(keys[i][3]) + " repeats face " + std::to_string(keys[i - 1][3]);
      }
    }
  }
  return "";
}

}  // namespace

std::string validate(WedgeMesh const& mesh) {
  std::string fault = check_sizes(mesh);
  if (fault.empty()) {
    fault = check_finite("vertices", mesh.vertices);
  }
  if (fault.empty()) {
    fault = check_finite("normals", mesh.normals);
  }
  if (fault.empty()) {
    fault = check_finite("uvs", mesh.uvs);
  }
  if (fault.empty()) {
    fault = check_sets(mesh);
  }
  if (fault.empty()) {
    fault = check_positions(mesh);
  }
  if (fault.empty()) {
    fault = check_faces(mesh);
  }
  return fault;
}

}  // namespace mirel::engine
