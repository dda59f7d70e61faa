// Meshes by category for the ladder's tests: small enough to check every step, odd enough to matter.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::test {

using engine::WedgeMesh;

// Wedge form from positions and triangles of positions, one wedge for each position that is used; degenerate and
// repeated triangles are left out.
WedgeMesh from_triangles(std::vector<float> const& positions, std::vector<std::uint32_t> const& triangles);

WedgeMesh sphere(std::uint32_t rings, std::uint32_t segments);
// In the plane z = 0, from (0, 0) to (1, 1); with a height per vertex from `height`.
WedgeMesh plane(std::uint32_t cells);
WedgeMesh terrain(std::uint32_t cells, std::uint32_t seed);
WedgeMesh torus(std::uint32_t rings, std::uint32_t segments);
// Twelve edges, each face a grid of cells.
WedgeMesh cube(std::uint32_t cells);
WedgeMesh open_cylinder(std::uint32_t rings, std::uint32_t segments);
// `count` small spheres side by side in one mesh.
WedgeMesh many_components(std::uint32_t count);
// Half discs of triangles that share one straight edge.
WedgeMesh fan_of_sheets(std::uint32_t sheets, std::uint32_t cells);
// Two closed surfaces that touch in one vertex.
WedgeMesh touching_spheres();
// A sphere with every triangle given a second time the other way around.
WedgeMesh back_to_back();
// Random triangles over few vertices: edges with many faces, stray triangles, everything at once.
WedgeMesh soup(std::uint32_t vertices, std::uint32_t triangles, std::uint32_t seed);
// A plane with a vertex inserted into the middle of an edge: a face of three collinear positions.
WedgeMesh with_flat_face();
// A sphere unwrapped over a rectangle: UVs with a seam, normals, and two face sets (north and south).
WedgeMesh textured_sphere(std::uint32_t rings, std::uint32_t segments);
// A cube whose six faces are charts of their own, with normals of their own.
WedgeMesh charted_cube(std::uint32_t cells);

struct Animal {
  std::string name;
  WedgeMesh mesh;
};
std::vector<Animal> zoo();

}  // namespace mirel::test
