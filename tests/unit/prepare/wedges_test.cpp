#include "standalone/engine/prepare/wedges.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "standalone/engine/prepare/validate.h"
#include "tests/unit/prepare/meshes.h"

namespace mirel::engine {
namespace {

using Floats = std::vector<float>;
using Indices = std::vector<std::uint32_t>;

bool operator_equal(WedgeMesh const& a, WedgeMesh const& b) {
  return a.vertices == b.vertices && a.normals == b.normals && a.uvs == b.uvs && a.position_of == b.position_of &&
         a.faces == b.faces && a.set_begin == b.set_begin && a.position_count == b.position_count;
}

TEST(Wedges, OfABoxAreThreePerCornerOfTheBox) {
  WedgeMesh const box = prepared_and_joined(captured_box(), {});
  EXPECT_EQ(validate(box), "");
  EXPECT_EQ(box.position_count, 8U);
  EXPECT_EQ(box.vertex_count(), 24U);
  EXPECT_EQ(box.face_count(), 12U);
  EXPECT_EQ(box.faces[0], 0U);
  EXPECT_EQ(box.set_begin, (Indices{0, 12}));
}

TEST(Wedges, NormalsWithinTheToleranceBecomeOne) {
  WedgeMesh const box = prepared_and_joined(captured_box(), {0, 91, 0});
  EXPECT_EQ(validate(box), "");
  EXPECT_EQ(box.vertex_count(), 8U);
}

//   3---2   two faces that share the edge 0-2; UVs per corner
//   | / |
//   0---1
BuildMesh textured_square() {
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 3});
  mesh.uvs = {0, 0, 1, 0, 1, 1, 0, 1, 0.5F, 0.5F};
  mesh.face_uvs = {0, 1, 2, 0, 2, 3};
  return mesh;
}

TEST(Wedges, AreInOrderOfTheVertices) {
  WedgeMesh const square = prepared_and_joined(textured_square(), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.vertices, (Floats{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 1, 1, 0, 1}));
  EXPECT_EQ(square.faces, (Indices{0, 1, 2, 0, 2, 3}));
}

TEST(Wedges, ASeamSplitsAVertex) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs = {0, 1, 2, 0, 4, 3};  // vertex 2 has two UVs
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.position_of, (Indices{0, 1, 2, 2, 3}));
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 1, 1, 0.5F, 0.5F, 0, 1}));
  EXPECT_EQ(square.faces, (Indices{0, 1, 2, 0, 3, 4}));
}

TEST(Wedges, UvsWithinTheToleranceBecomeTheFirst) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs = {0, 1, 2, 0, 4, 3};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {0, 0, 0.5F});
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 1, 1, 0, 1}));
  EXPECT_EQ(square.faces, (Indices{0, 1, 2, 0, 2, 3}));
}

TEST(Wedges, CornersWithoutAUvGetTheOrigin) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs.resize(3);  // the second face has none
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 1, 1, 0, 0, 0, 0}));
  EXPECT_EQ(square.faces, (Indices{0, 1, 2, 0, 3, 4}));
}

TEST(Wedges, CornersWithoutANormalGetTheirFaces) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs = {};
  mesh.uvs = {};
  mesh.normals = {0, 1, 0, 0, 0, 0, 0, 5, 0};  // the second is no direction, the third is not of unit length
  mesh.face_normals = {0, 1, 2, kNone, kNone, kNone};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.normals, (Floats{0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 0, 1, 0, 0, 1}));
  EXPECT_EQ(square.position_of, (Indices{0, 0, 1, 2, 2, 3}));
}

TEST(Wedges, VertexAttributesStayWithTheirVertices) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs = {};
  mesh.uvs = {};
  mesh.vertex_normals = {0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0};
  mesh.vertex_uvs = {0, 0, 1, 0, 1, 1, 0, 1};
  BuildMesh const before = mesh;
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.normals, before.vertex_normals);
  EXPECT_EQ(square.uvs, before.vertex_uvs);
  EXPECT_EQ(square.faces, before.faces);
}

TEST(Wedges, VertexNormalsServeBesideCornerUvs) {
  BuildMesh mesh = textured_square();
  mesh.vertex_normals = {0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.normals, (Floats{0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 1, 1, 0, 1}));
}

TEST(Wedges, AVertexNormalThatIsNoDirectionBecomesTheFaces) {
  BuildMesh mesh = textured_square();
  mesh.face_uvs = {};
  mesh.uvs = {};
  mesh.vertex_normals = {0, 1, 0, 0, 1, 0, NAN, 1, 0, 0, 1, 0};
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.normals, (Floats{0, 1, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0}));
}

TEST(Wedges, UvsThatAreNotFiniteBecomeTheOrigin) {
  BuildMesh mesh = textured_square();
  mesh.uvs[4] = INFINITY;
  WedgeMesh const square = prepared_and_joined(std::move(mesh), {});
  EXPECT_EQ(validate(square), "");
  EXPECT_EQ(square.uvs, (Floats{0, 0, 1, 0, 0, 0, 0, 1}));
}

TEST(Wedges, JoiningPositionsDropsWhatBecomesDegenerateOrRepeated) {
  // Vertex 3 is near vertex 2: face 0 1 3 becomes face 0 1 2, face 2 3 1 becomes nothing.
  BuildMesh mesh = plain_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1.05F, 0}, {0, 1, 2, 0, 1, 3, 2, 3, 1});
  WedgeMesh const joined = prepared_and_joined(std::move(mesh), {0.1F, 0, 0});
  EXPECT_EQ(validate(joined), "");
  EXPECT_EQ(joined.faces, (Indices{0, 1, 2}));
  EXPECT_EQ(joined.vertices, (Floats{0, 0, 0, 1, 0, 0, 0, 1, 0}));
}

TEST(Wedges, AThresholdLargerThanTheModelLeavesNothing) {
  WedgeMesh const joined = prepared_and_joined(captured_box(), {100, 0, 0});
  EXPECT_EQ(validate(joined), "");
  EXPECT_EQ(joined.vertex_count(), 0U);
  EXPECT_EQ(joined.face_count(), 0U);
}

TEST(Wedges, JoiningAgainChangesNothing) {
  BuildMesh mesh = captured_box();
  mesh.uvs = {0, 0, 0.3F, 0, 0.6F, 0};
  for (std::uint32_t c = 0; c < 36; ++c) {
    mesh.face_uvs.push_back(c % 3);
  }
  for (JoinTolerances const& t : {JoinTolerances{}, JoinTolerances{0.2F, 5, 0.3F}, JoinTolerances{0, 100, 0.4F}}) {
    WedgeMesh once = prepared_and_joined(mesh, t);
    WedgeMesh twice = once;
    EXPECT_FALSE(join_wedge_mesh(twice, t));
    EXPECT_TRUE(operator_equal(once, twice));
  }
}

TEST(Wedges, WithoutTheirAttributeMergeAtTheNextJoin) {
  WedgeMesh box = prepared_and_joined(captured_box(), {});
  box.normals = {};
  EXPECT_TRUE(join_wedge_mesh(box, {}));
  EXPECT_EQ(validate(box), "");
  EXPECT_EQ(box.vertex_count(), 8U);
}

// A fan of many faces around one vertex, every one with a UV and a normal of its own there: the crowded case must
// follow the same rule as the others.
TEST(Wedges, APoleWithManySpokesFollowsTheSameRule) {
  std::uint32_t const spokes = 500;
  BuildMesh mesh;
  mesh.positions = {0, 0, 1};
  for (std::uint32_t i = 0; i < spokes; ++i) {
    double const angle = 6.283185307179586 * i / spokes;
    mesh.positions.insert(mesh.positions.end(),
                          {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)), 0});
    mesh.faces.insert(mesh.faces.end(), {0, i + 1, (i + 1) % spokes + 1});
    mesh.uvs.insert(mesh.uvs.end(), {static_cast<float>(i) / 512.0F, 1});
    mesh.normals.insert(mesh.normals.end(),
                        {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)), 0});
    mesh.face_uvs.insert(mesh.face_uvs.end(), {i, 0, 0});
    mesh.face_normals.insert(mesh.face_normals.end(), {i, 0, 0});
  }
  mesh.face_set_of.assign(spokes, 0);
  WedgeMesh const apart = prepared_and_joined(mesh, {});
  EXPECT_EQ(validate(apart), "");
  EXPECT_EQ(apart.vertex_count(), spokes * 2);
  // One UV of eight is kept; no normal is apart.
  WedgeMesh const joined = prepared_and_joined(mesh, {0, 180, 7.0F / 512.0F});
  EXPECT_EQ(validate(joined), "");
  ASSERT_EQ(joined.vertex_count(), spokes + 63);
  for (std::uint32_t w = 0; w < 63; ++w) {
    EXPECT_EQ(joined.position_of[w], 0U);
    EXPECT_EQ(joined.uvs[w * std::size_t{2}], static_cast<float>(w * 8) / 512.0F);
    EXPECT_EQ(joined.normals[w * std::size_t{3}], 1.0F);
  }
}

}  // namespace
}  // namespace mirel::engine
