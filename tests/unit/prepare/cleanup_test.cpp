#include "standalone/engine/prepare/cleanup.h"

#include <gtest/gtest.h>

#include <cmath>

#include "standalone/engine/prepare/validate.h"
#include "tests/unit/prepare/meshes.h"

namespace mirel::engine {
namespace {

using Indices = std::vector<std::uint32_t>;

TEST(Cleanup, LeavesACleanMeshAlone) {
  BuildMesh mesh = captured_box();
  ExactPositions const positions = prepare_build_mesh(mesh);
  EXPECT_EQ(positions.count, 8U);
  EXPECT_EQ(positions.position_of.size(), 36U);
  BuildMesh const box = captured_box();
  EXPECT_EQ(mesh.positions, box.positions);
  EXPECT_EQ(mesh.faces, box.faces);
  EXPECT_EQ(mesh.normals, box.normals);
  EXPECT_EQ(mesh.face_normals, box.face_normals);
}

TEST(Cleanup, DropsDegenerateFacesByPosition) {
  // Vertices 0 and 3 are at one position; 4 is used by nothing else.
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 5, 5, 5}, {0, 1, 1, 0, 4, 3, 0, 1, 2});
  ExactPositions const positions = prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2}));
  EXPECT_EQ(mesh.positions, (std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(positions.position_of, (Indices{0, 1, 2}));
  EXPECT_EQ(positions.count, 3U);
}

TEST(Cleanup, DropsFacesWithCornersThatAreNotFinite) {
  BuildMesh mesh = plain_mesh({NAN, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, INFINITY, 0}, {0, 1, 2, 1, 2, 3, 1, 2, 4});
  ExactPositions const positions = prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2}));
  EXPECT_EQ(positions.position_of, (Indices{0, 1, 2}));
}

TEST(Cleanup, KeepsTheFirstOfRepeatedFacesAndAllOpposites) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 1, 2, 0, 0, 2, 1, 2, 0, 1, 2, 1, 0});
  prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2, 0, 2, 1}));
}

TEST(Cleanup, FindsRepeatsAroundPositionsOfFewAndOfManyFaces) {
  for (std::uint32_t const spokes : {5U, 60U, 64U, 65U, 66U, 500U}) {
    SCOPED_TRACE(spokes);
    std::vector<float> positions = {0, 0, 0};
    Indices faces;
    for (std::uint32_t i = 1; i <= spokes; ++i) {
      positions.insert(positions.end(), {static_cast<float>(i), 1, 0});
      faces.insert(faces.end(), {0, i, i % spokes + 1});
    }
    Indices const once = faces;
    // The first, one from the middle turned, and the last again; and one that is degenerate.
    for (std::uint32_t const face : {0U, spokes / 2, spokes - 1}) {
      faces.insert(faces.end(), {once[3 * face + 1], once[3 * face + 2], once[3 * face]});
    }
    faces.insert(faces.begin() + 6, {0, 2, 2});
    BuildMesh mesh = plain_mesh(positions, faces);
    prepare_build_mesh(mesh);
    EXPECT_EQ(mesh.faces, once);
  }
}

TEST(Cleanup, KeepsRepeatsInOtherSets) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 1, 2, 0, 1, 2});
  mesh.set_count = 2;
  mesh.face_set_of = {0, 1, 1};
  prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.face_set_of, (Indices{0, 1}));
}

TEST(Cleanup, KeepsCollinearFaces) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2});
  prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.face_count(), 1U);
}

TEST(Cleanup, GroupsFacesBySetStably) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 2, 0, 0}, {0, 1, 2, 1, 3, 2, 1, 4, 3, 0, 4, 2});
  mesh.set_count = 2;
  mesh.face_set_of = {1, 0, 7, 1};  // a set that does not exist is set 0
  mesh.normals = {0, 0, 1};
  mesh.face_normals = {kNone, kNone, kNone, 0, 0, 0};  // the table ends before the faces do
  mesh.uvs = {0, 0, 1, 1};
  mesh.face_uvs = {0, 0, 0, 1, 1, 1, 0, 1, 0, 1, 0, 1};
  prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.faces, (Indices{1, 3, 2, 1, 4, 3, 0, 1, 2, 0, 4, 2}));
  EXPECT_EQ(mesh.face_normals, (Indices{0, 0, 0, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone}));
  EXPECT_EQ(mesh.face_uvs, (Indices{1, 1, 1, 0, 1, 0, 0, 0, 0, 1, 0, 1}));
}

TEST(Cleanup, DropsUnusedVerticesWithTheirAttributes) {
  BuildMesh mesh = plain_mesh({9, 9, 9, 0, 0, 0, 1, 0, 0, 8, 8, 8, 0, 1, 0}, {1, 2, 4});
  mesh.vertex_normals = {9, 9, 9, 0, 0, 1, 0, 1, 0, 8, 8, 8, 1, 0, 0};
  mesh.vertex_uvs = {9, 9, 0, 1, 0, 2, 8, 8, 0, 4};
  ExactPositions const positions = prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2}));
  EXPECT_EQ(mesh.positions, (std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(mesh.vertex_normals, (std::vector<float>{0, 0, 1, 0, 1, 0, 1, 0, 0}));
  EXPECT_EQ(mesh.vertex_uvs, (std::vector<float>{0, 1, 0, 2, 0, 4}));
  EXPECT_EQ(positions.position_of, (Indices{0, 1, 2}));
}

TEST(Cleanup, EmptiesAPointCloud) {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0}, {});
  ExactPositions const positions = prepare_build_mesh(mesh);
  EXPECT_EQ(mesh.vertex_count(), 0U);
  EXPECT_EQ(positions.count, 0U);
}

TEST(Cleanup, OfAWedgeFormRenumbersSetsVerticesAndPositions) {
  WedgeMesh mesh;
  mesh.vertices = {7, 7, 7, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0};
  mesh.position_of = {0, 1, 2, 3, 1};
  mesh.position_count = 4;
  mesh.uvs = {7, 7, 0, 0, 1, 0, 0, 1, 5, 5};
  //            degenerate  kept      repeats in set 0  kept: another set
  mesh.faces = {1, 4, 0, /**/ 1, 2, 3, /**/ 2, 3, 4, /**/ 4, 2, 3};
  mesh.set_begin = {0, 3, 3, 4};
  EXPECT_TRUE(clean_wedge_mesh(mesh));
  EXPECT_EQ(validate(mesh), "");
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2, 3, 1, 2}));
  EXPECT_EQ(mesh.set_begin, (Indices{0, 1, 1, 2}));
  EXPECT_EQ(mesh.position_of, (Indices{0, 1, 2, 0}));
  EXPECT_EQ(mesh.uvs, (std::vector<float>{0, 0, 1, 0, 0, 1, 5, 5}));
  EXPECT_FALSE(clean_wedge_mesh(mesh));
}

}  // namespace
}  // namespace mirel::engine
