// Meshes of every kind that capture and the importers make, for the SDK's tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/unit/sdk/depot.h"

namespace mirel::engine {

struct MeshKind {
  std::string name;
  std::function<void(ab::IMesh&)> fill;
};

// A closed bumpy ball of `rings` x `segments` quads, unwrapped over a rectangle, as points of its own per corner
// (capture), or as points that faces share (importers). Angles in parts of the whole way.
struct Ball {
  std::uint32_t rings = 10;
  std::uint32_t segments = 14;

  std::array<float, 3> direction(std::uint32_t ring, std::uint32_t segment) const {
    if (ring == 0 || ring == rings) {
      return {0, 0, ring == 0 ? 1.0F : -1.0F};
    }
    float const polar = 3.14159265F * static_cast<float>(ring) / static_cast<float>(rings);
    float const turn = 6.2831853F * static_cast<float>(segment % segments) / static_cast<float>(segments);
    return {std::sin(polar) * std::cos(turn), std::sin(polar) * std::sin(turn), std::cos(polar)};
  }
  std::array<float, 3> point(std::uint32_t ring, std::uint32_t segment) const {
    std::array<float, 3> p = direction(ring, segment);
    float const radius = 3 + 0.3F * std::sin(5 * p[0]) * std::cos(4 * p[2]);
    for (float& x : p) {
      x *= radius;
    }
    return p;
  }
  std::array<float, 2> uv(std::uint32_t ring, std::uint32_t segment) const {
    return {static_cast<float>(segment) / static_cast<float>(segments),
            static_cast<float>(ring) / static_cast<float>(rings)};
  }
  // The triangles, each corner a ring and a segment from 0 to `segments`, where the seam is.
  template <class Add>
  void each_triangle(Add add) const {
    for (std::uint32_t r = 0; r < rings; ++r) {
      for (std::uint32_t s = 0; s < segments; ++s) {
        if (r + 1 < rings) {
          add({r, r + 1, r + 1}, {s, s, s + 1});
        }
        if (r > 0) {
          add({r, r + 1, r}, {s, s + 1, s + 1});
        }
      }
    }
  }
};

using Three = std::array<std::uint32_t, 3>;

// As a capture fills it: a vertex, a normal and a UV of its own for every corner; the lower half without UVs where
// there are two materials.
inline void capture_ball(ab::IMesh& mesh, std::uint32_t sets, bool with_uvs) {
  Ball const ball;
  mesh.setNumFaceSets(sets);
  ball.each_triangle([&](Three const& r, Three const& s) {
    std::uint32_t const set = sets > 1 && r[1] > ball.rings / 2 ? 1 : 0;
    mesh.setCurrentFaceSet(set);
    Three v{};
    Three n{};
    Three t{};
    for (std::size_t k = 0; k < 3; ++k) {
      auto const p = ball.point(r[k], s[k]);
      auto const d = ball.direction(r[k], s[k]);
      auto const uv = ball.uv(r[k], s[k]);
      v[k] = mesh.addVertex(p[0], p[1], p[2]);
      n[k] = mesh.addNormal(d[0], d[1], d[2]);
      t[k] = with_uvs && set == 0 ? mesh.addUV(uv[0], uv[1]) : 0;
    }
    std::uint32_t const face = mesh.addFace(v[0], v[1], v[2]);
    mesh.setFaceNormalIndices(face, n[0], n[1], n[2]);
    if (with_uvs && set == 0) {
      mesh.setFaceUVIndices(face, t[0], t[1], t[2]);
    }
  });
}

// Points that faces share. `normals` and `uvs`: ' ' none, 'v' per vertex, 'i' indexed. Sets in turn, face by face.
inline void import_ball(ab::IMesh& mesh, char normals, char uvs, std::uint32_t sets) {
  Ball const ball;
  std::uint32_t const across = ball.segments + 1;
  std::vector<float> all_normals;
  std::vector<float> all_uvs;
  mesh.setNumFaceSets(sets);
  for (std::uint32_t r = 0; r <= ball.rings; ++r) {
    for (std::uint32_t s = 0; s < across; ++s) {
      auto const p = ball.point(r, s);
      auto const d = ball.direction(r, s);
      auto const uv = ball.uv(r, s);
      mesh.addVertex(p[0], p[1], p[2]);
      all_normals.insert(all_normals.end(), d.begin(), d.end());
      all_uvs.insert(all_uvs.end(), uv.begin(), uv.end());
    }
  }
  std::uint32_t const count = mesh.getNumVertices();
  if (normals == 'v') {
    mesh.setVertexNormals(all_normals.data(), count, 12);
  } else if (normals == 'i') {
    mesh.addNormals(all_normals.data(), count);
  }
  if (uvs == 'v') {
    mesh.setVertexUVs(all_uvs.data(), count, 8);
  } else if (uvs == 'i') {
    mesh.addUVs(all_uvs.data(), count);
  }
  std::uint32_t turn = 0;
  ball.each_triangle([&](Three const& r, Three const& s) {
    mesh.setCurrentFaceSet(sets == 0 ? 0 : turn++ % sets);
    std::uint32_t const a = r[0] * across + s[0];
    std::uint32_t const b = r[1] * across + s[1];
    std::uint32_t const c = r[2] * across + s[2];
    std::uint32_t const face = mesh.addFace(a, b, c);
    if (normals == 'i') {
      mesh.setFaceNormalIndices(face, a, b, c);
    }
    if (uvs == 'i') {
      mesh.setFaceUVIndices(face, a, b, c);
    }
  });
}

inline std::vector<MeshKind> mesh_kinds() {
  return {
      {"captured", [](ab::IMesh& mesh) { capture_ball(mesh, 1, false); }},
      {"captured with UVs on one of two materials", [](ab::IMesh& mesh) { capture_ball(mesh, 2, true); }},
      {"captured box", [](ab::IMesh& mesh) { capture_box(mesh, true); }},
      {"positions alone", [](ab::IMesh& mesh) { import_ball(mesh, ' ', ' ', 0); }},
      {"normals per vertex", [](ab::IMesh& mesh) { import_ball(mesh, 'v', ' ', 0); }},
      {"all per vertex, one set", [](ab::IMesh& mesh) { import_ball(mesh, 'v', 'v', 1); }},
      {"all indexed, mixed sets", [](ab::IMesh& mesh) { import_ball(mesh, 'i', 'i', 3); }},
      {"normals per vertex, UVs indexed", [](ab::IMesh& mesh) { import_ball(mesh, 'v', 'i', 2); }},
      {"normals indexed, UVs per vertex, no sets", [](ab::IMesh& mesh) { import_ball(mesh, 'i', 'v', 0); }},
      {"UVs alone, a set without faces",
       [](ab::IMesh& mesh) {
         import_ball(mesh, ' ', 'i', 2);
         mesh.setNumFaceSets(4);
       }},
      {"height field", [](ab::IMesh& mesh) { fill_height_field(mesh, 12, "nu", 2); }},
  };
}

}  // namespace mirel::engine
