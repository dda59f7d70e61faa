#include "standalone/engine/prepare/edges.h"

#include <gtest/gtest.h>

#include <cmath>

#include "standalone/engine/prepare/edge_flags.h"
#include "standalone/engine/prepare/validate.h"
#include "tests/unit/prepare/meshes.h"

namespace mirel::engine {
namespace {

using Flags = std::vector<unsigned char>;
using Indices = std::vector<std::uint32_t>;

EdgeFlagInput input_of(WedgeMesh const& mesh) {
  return {mesh.vertices, mesh.faces, mesh.position_of, mesh.position_count};
}

// 3---2
// | / |
// 0---1
WedgeMesh square(float lift) {
  return prepared_and_joined(plain_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, lift}, {0, 1, 2, 0, 2, 3}), {});
}

TEST(Edges, GroupHalfEdgesByPosition) {
  WedgeMesh const mesh = square(0);
  Edges const edges = find_edges(mesh.faces, mesh.position_of, mesh.position_count);
  std::vector<Indices> groups;
  edges.for_each([&](std::uint32_t, std::span<Edges::HalfEdge const> group) {
    groups.emplace_back();
    for (Edges::HalfEdge const& half_edge : group) {
      groups.back().push_back(half_edge.half);
    }
  });
  EXPECT_EQ(groups, (std::vector<Indices>{{0}, {2, 3}, {5}, {1}, {4}}));
  EXPECT_EQ(edges.face_count(2, 0), 2U);
  EXPECT_EQ(edges.face_count(0, 1), 1U);
  EXPECT_EQ(edges.face_count(1, 3), 0U);
}

TEST(Edges, OfABoxHaveTwoFacesEach) {
  WedgeMesh const box = prepared_and_joined(captured_box(), {});
  std::size_t count = 0;
  find_edges(box.faces, box.position_of, 8).for_each([&](std::uint32_t, std::span<Edges::HalfEdge const> group) {
    EXPECT_EQ(group.size(), 2U);
    ++count;
  });
  EXPECT_EQ(count, 18U);
}

TEST(EdgeFlags, MarkBoundaries) {
  WedgeMesh const mesh = square(0);
  EXPECT_EQ(edge_flags_by_angle(input_of(mesh)), (Flags{2, 2, 0, 0, 2, 2}));
}

TEST(EdgeFlags, MarkAnglesAboveThirtyDegreesWhereThereAreNoNormals) {
  // The second face turns about the diagonal: its corner is sqrt(1/2) away from it.
  auto const lift_at = [](double degrees) {
    return static_cast<float>(std::tan(degrees * 3.14159265358979 / 180) * std::sqrt(0.5));
  };
  EXPECT_EQ(edge_flags_by_angle(input_of(square(lift_at(29.9)))), (Flags{2, 2, 0, 0, 2, 2}));
  EXPECT_EQ(edge_flags_by_angle(input_of(square(lift_at(30.1)))), (Flags{2, 2, 0x20, 0x20, 2, 2}));
}

TEST(EdgeFlags, DoNotMindOppositeWinding) {
  WedgeMesh const mesh = prepared_and_joined(plain_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 0, 3, 2}), {});
  EXPECT_EQ(edge_flags_by_angle(input_of(mesh)), (Flags{2, 2, 0, 2, 2, 0}));
}

TEST(EdgeFlags, MarkEdgesOfThreeFaces) {
  WedgeMesh const fan =
      prepared_and_joined(plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 1}, {0, 1, 2, 1, 0, 3, 0, 1, 4}), {});
  EXPECT_EQ(edge_flags_by_angle(input_of(fan)), (Flags{0x20, 2, 2, 0x20, 2, 2, 0x20, 2, 2}));
}

TEST(EdgeFlags, MarkWhereNormalsDifferAtEitherEnd) {
  WedgeMesh const box = prepared_and_joined(captured_box(), {});
  Flags const flags = edge_flags_by_normals(input_of(box), box.normals.data(), box.faces);
  // In each side's pair of faces, the edge between the two is smooth.
  for (std::size_t h = 0; h < 36; h += 6) {
    EXPECT_EQ(Flags(&flags[h], &flags[h] + 6), (Flags{0x20, 0x20, 0, 0, 0x20, 0x20}));
  }
}

TEST(EdgeFlags, OneDifferingEndIsEnough) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 3});
  mesh.normals = {0, 0, 1, 0, 1, 0};
  mesh.face_normals = {0, 0, 0, 0, 1, 0};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(edge_flags_by_normals(input_of(square), square.normals.data(), square.faces),
            (Flags{2, 2, 0x20, 0x20, 2, 2}));
}

TEST(EdgeFlags, AUvSeamOrABorderOfSetsAloneIsNothing) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 3});
  mesh.set_count = 2;
  mesh.face_set_of = {0, 1};
  mesh.uvs = {0, 0, 1, 1};
  mesh.face_uvs = {0, 0, 0, 1, 1, 1};
  mesh.vertex_normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(square.vertex_count(), 6U);
  EXPECT_EQ(edge_flags_by_normals(input_of(square), square.normals.data(), square.faces), (Flags{2, 2, 0, 0, 2, 2}));
  EXPECT_EQ(edge_flags_by_angle(input_of(square)), (Flags{2, 2, 0, 0, 2, 2}));
}

}  // namespace
}  // namespace mirel::engine
