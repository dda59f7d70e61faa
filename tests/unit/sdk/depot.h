// A depot that frees itself, and meshes to fill it with, for the SDK's tests.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "src/balancer/balancer_sdk.h"
#include "standalone/engine/mirel_engine.h"

namespace mirel::engine {

inline constexpr std::uint32_t kNoIndex = 0xFFFFFFFFU;

class Depot {
 public:
  Depot() : depot_(ab::IMeshDepot::create()) {}
  explicit Depot(ab::IMeshDepot* depot) : depot_(depot) {}
  ~Depot() { ab::IMeshDepot::destroy(depot_); }
  Depot(Depot const&) = delete;
  Depot& operator=(Depot const&) = delete;
  ab::IMeshDepot* operator->() const { return depot_; }
  ab::IMeshDepot* get() const { return depot_; }
  ab::IMesh* add_mesh() const { return depot_->getMesh(depot_->createMesh()); }

 private:
  ab::IMeshDepot* depot_;
};

inline void prepare_and_join(Depot const& depot, float threshold = 0) {
  depot->prepareMeshes();
  depot->joinVertices(0, {}, threshold);
}

// A bumpy height field of size x size squares.
//   attributes "n": a normal per vertex, "u": a UV per vertex
inline void fill_height_field(ab::IMesh& mesh, std::uint32_t size, std::string const& attributes = "",
                              std::uint32_t sets = 1) {
  mesh.setNumFaceSets(sets);
  std::vector<float> normals;
  std::vector<float> uvs;
  for (std::uint32_t j = 0; j <= size; ++j) {
    for (std::uint32_t i = 0; i <= size; ++i) {
      float const x = static_cast<float>(i);
      float const y = static_cast<float>(j);
      mesh.addVertex(x, y, std::sin(x * 0.7F) + std::cos(y * 0.4F));
      normals.insert(normals.end(), {0, 0, 1});
      uvs.insert(uvs.end(), {x / static_cast<float>(size), y / static_cast<float>(size)});
    }
  }
  for (std::uint32_t j = 0; j < size; ++j) {
    for (std::uint32_t i = 0; i < size; ++i) {
      std::uint32_t const a = j * (size + 1) + i;
      std::uint32_t const b = a + size + 1;
      mesh.setCurrentFaceSet(sets == 0 ? 0 : i * sets / size);
      mesh.addFace(a, a + 1, b + 1);
      mesh.addFace(a, b + 1, b);
    }
  }
  std::uint32_t const count = mesh.getNumVertices();
  if (attributes.find('n') != std::string::npos) {
    mesh.setVertexNormals(normals.data(), count, 12);
  }
  if (attributes.find('u') != std::string::npos) {
    mesh.setVertexUVs(uvs.data(), count, 8);
  }
}

// A box as a capture fills it: a vertex, a normal and, where textured, a UV of its own for every corner; two sets, of
// which only the first is textured.
inline void capture_box(ab::IMesh& mesh, bool textured = false) {
  mesh.setNumFaceSets(2);
  for (std::uint32_t side = 0; side < 6; ++side) {
    mesh.setCurrentFaceSet(side / 3);
    std::uint32_t const axis = side % 3;
    bool const high = side >= 3;
    std::array<std::array<float, 2>, 4> ring = {{{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
    if (!high) {
      std::swap(ring[1], ring[3]);
    }
    for (std::uint32_t half = 0; half < 2; ++half) {
      std::uint32_t v[3];
      std::uint32_t n[3];
      std::uint32_t t[3];
      for (std::uint32_t k = 0; k < 3; ++k) {
        auto const& at = ring[k == 0 ? 0 : k + half];
        float p[3] = {};
        p[axis] = high ? 1.0F : 0.0F;
        p[(axis + 1) % 3] = at[0];
        p[(axis + 2) % 3] = at[1];
        float normal[3] = {};
        normal[axis] = high ? 1.0F : -1.0F;
        v[k] = mesh.addVertex(p[0], p[1], p[2]);
        n[k] = mesh.addNormal(normal[0], normal[1], normal[2]);
        t[k] = textured && !high ? mesh.addUV(at[0], at[1]) : 0;
      }
      std::uint32_t const face = mesh.addFace(v[0], v[1], v[2]);
      mesh.setFaceNormalIndices(face, n[0], n[1], n[2]);
      if (textured && !high) {
        mesh.setFaceUVIndices(face, t[0], t[1], t[2]);
      }
    }
  }
}

// Everything that can be read of a mesh, copied.
struct Reading {
  std::vector<float> vertices;
  std::vector<std::uint32_t> faces;
  std::vector<float> normals;
  std::vector<float> uvs;
  std::vector<std::vector<std::uint32_t>> sets;
  std::vector<std::uint32_t> set_of;
  std::vector<unsigned char> flags;
  std::array<std::vector<std::uint32_t>, 6> remaps;
  std::array<std::uint32_t, 6> remap_counts{};
  std::vector<float> bounds;

  bool operator==(Reading const&) const = default;
};

inline Reading read(ab::IMesh const& mesh) {
  Reading r;
  std::uint32_t const vertex_count = mesh.getNumVertices();
  std::uint32_t const face_count = mesh.getNumFaces();
  EXPECT_EQ(mesh.getVertices() == nullptr, vertex_count == 0);
  EXPECT_EQ(mesh.getFaces() == nullptr, face_count == 0);
  if (mesh.getVertices() != nullptr) {
    r.vertices.assign(mesh.getVertices(), mesh.getVertices() + std::size_t{3} * vertex_count);
  }
  if (mesh.getFaces() != nullptr) {
    r.faces.assign(mesh.getFaces(), mesh.getFaces() + std::size_t{3} * face_count);
  }
  for (std::uint32_t const vertex : r.faces) {
    EXPECT_LT(vertex, vertex_count);
  }
  if (mesh.getNormals() != nullptr) {
    r.normals.assign(mesh.getNormals(), mesh.getNormals() + std::size_t{3} * vertex_count);
  }
  if (mesh.getVertexUVs() != nullptr) {
    r.uvs.assign(mesh.getVertexUVs(), mesh.getVertexUVs() + std::size_t{2} * vertex_count);
  }
  std::uint32_t in_sets = 0;
  for (std::uint32_t s = 0; s < mesh.getNumFaceSets(); ++s) {
    std::uint32_t const* const faces = mesh.getFaceSetFaces(s);
    EXPECT_NE(faces, nullptr);
    r.sets.emplace_back(faces, faces + std::size_t{3} * mesh.numFacesInSet(s));
    in_sets += mesh.numFacesInSet(s);
  }
  EXPECT_EQ(in_sets, mesh.getNumFaceSets() == 0 ? 0 : face_count);
  for (std::uint32_t f = 0; f < face_count; ++f) {
    std::uint32_t set = kNoIndex;
    mesh.getFaceSetOfFace(f, set);
    r.set_of.push_back(set);
    unsigned char e[3] = {0xFF, 0xFF, 0xFF};
    mesh.getFaceEdgeFlags(f, e[0], e[1], e[2]);
    r.flags.insert(r.flags.end(), {e[0], e[1], e[2]});
  }
  for (std::size_t i = 0; i < 6; ++i) {
    std::uint32_t count = 77;
    std::uint32_t const* const table = i < 4 ? mesh.getVertexRemap(static_cast<std::uint32_t>(i / 2), i % 2 == 1, count)
                                       : i == 4 ? mesh.getNormalRemap(1, count)
                                                : mesh.getUVRemap(1, count);
    r.remap_counts[i] = count;
    if (table != nullptr) {
      r.remaps[i].assign(table, table + vertex_count);
    }
    for (std::uint32_t const entry : r.remaps[i]) {
      EXPECT_LT(entry, count);
    }
  }
  r.bounds.resize(6);
  if (!mesh.getBoundingBox(r.bounds[0], r.bounds[1], r.bounds[2], r.bounds[3], r.bounds[4], r.bounds[5])) {
    r.bounds.clear();
  }
  return r;
}

}  // namespace mirel::engine
