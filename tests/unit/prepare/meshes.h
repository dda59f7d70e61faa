// Small meshes that the preparation's tests share.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "standalone/engine/prepare/build_mesh.h"
#include "standalone/engine/prepare/cleanup.h"
#include "standalone/engine/prepare/wedges.h"

namespace mirel::engine {

// A box of 12 triangles with a vertex and a normal of its own for every corner, as a capture gives it.
inline BuildMesh captured_box() {
  BuildMesh mesh;
  mesh.set_count = 1;
  for (std::uint32_t side = 0; side < 6; ++side) {
    std::uint32_t const axis = side / 2;
    std::array<float, 3> normal{};
    normal[axis] = side % 2 == 0 ? -1.0F : 1.0F;
    // The corners of the side, counter-clockwise seen from outside.
    std::array<std::array<float, 2>, 4> ring = {{{0, 0}, {1, 0}, {1, 1}, {0, 1}}};
    if (side % 2 == 0) {
      std::swap(ring[1], ring[3]);
    }
    for (std::uint32_t const corner : {0U, 1U, 2U, 0U, 2U, 3U}) {
      std::array<float, 3> p{};
      p[axis] = side % 2 == 0 ? 0.0F : 1.0F;
      p[(axis + 1) % 3] = ring[corner][0];
      p[(axis + 2) % 3] = ring[corner][1];
      std::uint32_t const vertex = mesh.vertex_count();
      mesh.positions.insert(mesh.positions.end(), p.begin(), p.end());
      mesh.normals.insert(mesh.normals.end(), normal.begin(), normal.end());
      mesh.faces.push_back(vertex);
      mesh.face_normals.push_back(vertex);
    }
  }
  mesh.face_set_of.assign(12, 0);
  return mesh;
}

// Positions and faces only, one set.
inline BuildMesh plain_mesh(std::vector<float> positions, std::vector<std::uint32_t> faces) {
  BuildMesh mesh;
  mesh.positions = std::move(positions);
  mesh.faces = std::move(faces);
  mesh.face_set_of.assign(mesh.face_count(), 0);
  return mesh;
}

inline WedgeMesh prepared_and_joined(BuildMesh mesh, JoinTolerances const& tolerances) {
  ExactPositions positions = prepare_build_mesh(mesh);
  return make_wedge_mesh(std::move(mesh), std::move(positions), tolerances);
}

}  // namespace mirel::engine
