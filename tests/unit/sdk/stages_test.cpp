// prepareMeshes, joinVertices, eliminateTJunctions and buildHierarchy, seen from outside.
#include <cmath>
#include <limits>

#include "tests/unit/sdk/depot.h"

namespace mirel::engine {
namespace {

using Floats = std::vector<float>;
using Indices = std::vector<std::uint32_t>;

TEST(Stages, JoiningACapturedBoxTakes28OfItsVerticesAway) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  depot->prepareMeshes();
  EXPECT_EQ(mesh->getNumVertices(), 36U);
  EXPECT_EQ(depot->joinVertices(0, {}, 0), 28U);
  EXPECT_EQ(mesh->getNumVertices(), 24U);
  EXPECT_EQ(mirel_engine_vertex_count(0), 8U);
  EXPECT_EQ(depot->joinVertices(0, {}, 0), 0U);
  EXPECT_EQ(depot->eliminateTJunctions(0.1F), 0U);
}

TEST(Stages, JoiningNeverCrossesMeshes) {
  Depot depot;
  capture_box(*depot.add_mesh());
  capture_box(*depot.add_mesh());
  depot->prepareMeshes();
  EXPECT_EQ(depot->joinVertices(0, {}, 0.01F), 56U);
}

TEST(Stages, NegativeAndNanThresholdsCountAsZero) {
  for (float const threshold : {-1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    Depot depot;
    capture_box(*depot.add_mesh());
    depot->prepareMeshes();
    EXPECT_EQ(depot->joinVertices(0, {threshold, threshold}, threshold), 28U);
  }
}

TEST(Stages, AThresholdLargerThanTheModelEmptiesIt) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  prepare_and_join(depot, 1000);
  EXPECT_EQ(mesh->getNumVertices(), 0U);
  EXPECT_EQ(mesh->getNumFaces(), 0U);
  EXPECT_NE(mesh->getFaceSetFaces(0), nullptr);
  EXPECT_NE(mesh->getFaceSetFaces(1), nullptr);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  EXPECT_EQ(ladder->numSteps(), 0U);
}

TEST(Stages, PreparingDropsBadFacesAndGroupsBySet) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  mesh->setNumFaceSets(2);
  for (float const x : {0.0F, 1.0F, 2.0F, std::numeric_limits<float>::infinity()}) {
    mesh->addVertex(x, x * x, 0);
  }
  mesh->addVertex(0, 0, 0);
  mesh->setCurrentFaceSet(1);
  mesh->addFace(0, 1, 2);
  mesh->addFace(0, 1, 4);
  mesh->addFace(0, 1, 3);
  mesh->setCurrentFaceSet(0);
  mesh->addFace(2, 1, 0);
  mesh->addFace(1, 4, 2);
  mesh->addFace(4, 1, 2);
  depot->prepareMeshes();
  Reading const r = read(*mesh);
  EXPECT_EQ(r.faces, (Indices{2, 1, 0, 3, 1, 2, 0, 1, 2}));
  EXPECT_EQ(r.set_of, (Indices{0, 0, 1}));
  EXPECT_EQ(r.vertices, (Floats{0, 0, 0, 1, 1, 0, 2, 4, 0, 0, 0, 0}));
  depot->prepareMeshes();
  EXPECT_EQ(read(*mesh), r);
}

TEST(Stages, WedgeFormHasAttributesPerVertex) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  prepare_and_join(depot);
  EXPECT_TRUE(mesh->hasVertexAttributes());
  EXPECT_TRUE(mesh->hasVertexUVs());
  EXPECT_FALSE(mesh->hasCornerUVs());
  EXPECT_EQ(mesh->getNumCornerUVs(), 0U);
  EXPECT_EQ(mesh->getNumNormals(), 6U);
  std::uint32_t a = 0, b = 0, c = 0;
  EXPECT_FALSE(mesh->getFaceUVIndices(0, a, b, c));
  Reading const r = read(*mesh);
  EXPECT_EQ(r.normals.size(), r.vertices.size());
  EXPECT_EQ(r.uvs.size() * 3, r.vertices.size() * 2);
  EXPECT_EQ(r.remap_counts, (std::array<std::uint32_t, 6>{8, 8, 8, 24, 6, 4}));
  for (std::size_t table = 0; table < 6; ++table) {
    std::uint32_t next = 0;  // in order of first occurrence
    for (std::uint32_t const entry : r.remaps[table]) {
      EXPECT_LE(entry, next);
      next += entry == next ? 1 : 0;
    }
    EXPECT_EQ(next, r.remap_counts[table]);
  }
  EXPECT_EQ(mirel_engine_corner_uvs(0)[2 * 2], 1.0F);
}

// Two triangles side by side, folded by `rise`; the second has the UVs of the first at the shared edge, or others.
//
//   3---2
//   | \ |   shared edge: 1-3
//   0---1
std::vector<int> edge_kinds_of_fold(float rise, bool seam) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  mesh->addVertex(0, 0, 0);
  mesh->addVertex(1, 0, 0);
  mesh->addVertex(1, 1, rise);
  mesh->addVertex(0, 1, 0);
  mesh->addFace(0, 1, 3);
  mesh->addFace(1, 2, 3);
  for (float const u : {0.0F, 1.0F, 2.0F, 3.0F, 5.0F}) {
    mesh->addUV(u, 0);
  }
  mesh->setFaceUVIndices(0, 0, 1, 3);
  mesh->setFaceUVIndices(1, seam ? 4 : 1, 2, 3);
  prepare_and_join(depot);
  unsigned char const* const kinds = mirel_engine_corner_edge_kinds(0);
  return {kinds, kinds + 6};
}

TEST(Stages, EdgeKindsTellBoundarySharpAndSeam) {
  EXPECT_EQ(edge_kinds_of_fold(0, false), (std::vector<int>{1, 0, 1, 1, 1, 0}));
  EXPECT_EQ(edge_kinds_of_fold(0, true), (std::vector<int>{1, 4, 1, 1, 1, 4}));
  EXPECT_EQ(edge_kinds_of_fold(5, false), (std::vector<int>{1, 2, 1, 1, 1, 2}));
  EXPECT_EQ(edge_kinds_of_fold(5, true), (std::vector<int>{1, 6, 1, 1, 1, 6}));
  Depot empty;
  empty.add_mesh();
  EXPECT_EQ(mirel_engine_corner_edge_kinds(0), nullptr);
  EXPECT_EQ(mirel_engine_corner_edge_kinds(1), nullptr);
}

TEST(Stages, AttributesThatAreRemovedMergeWedgesAtTheNextJoin) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  prepare_and_join(depot);
  mesh->removeIndexedNormals();
  mesh->removeCornerUVs();
  EXPECT_NE(mesh->getNormals(), nullptr);
  mesh->removeVertexNormals();
  EXPECT_EQ(mesh->getNormals(), nullptr);
  EXPECT_EQ(mesh->getNumVertices(), 24U);
  mesh->removeVertexUVs();
  EXPECT_FALSE(mesh->hasVertexAttributes());
  EXPECT_EQ(depot->joinVertices(0, {}, 0), 0U);
  EXPECT_EQ(mesh->getNumVertices(), 8U);
}

TEST(Stages, RemovingBeforeJoiningKeepsTheOther) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  depot->prepareMeshes();
  mesh->removeCornerUVs();
  mesh->removeVertexUVs();
  depot->joinVertices(0, {}, 0);
  EXPECT_NE(mesh->getNormals(), nullptr);
  EXPECT_EQ(mesh->getVertexUVs(), nullptr);
}

TEST(Stages, SettersDoNothingOnceJoined) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  prepare_and_join(depot);
  Reading const before = read(*mesh);
  EXPECT_EQ(mesh->addVertex(0, 0, 0), kNoIndex);
  EXPECT_EQ(mesh->addFace(0, 1, 2), kNoIndex);
  EXPECT_EQ(mesh->addNormal(0, 0, 1), kNoIndex);
  EXPECT_EQ(mesh->addUV(0, 1), kNoIndex);
  mesh->addUVs(Floats(6).data(), 3);
  mesh->addNormals(Floats(6).data(), 2);
  mesh->setVertexNormals(Floats(72).data(), 24, 12);
  mesh->setVertexUVs(Floats(48).data(), 24, 8);
  mesh->setFaceNormalIndices(0, 0, 0, 0);
  mesh->setFaceUVIndices(0, 0, 0, 0);
  mesh->setNumFaceSets(9);
  mesh->setCurrentFaceSet(1);
  EXPECT_EQ(read(*mesh), before);
  EXPECT_EQ(mesh->getNumCornerUVs(), 0U);
}

TEST(Stages, TJunctionsAreCountedOnce) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  float const p[6][2] = {{0, 0}, {2, 0}, {1, 1}, {1, 0}, {0, -1}, {2, -1}};
  for (auto const& at : p) {
    mesh->addVertex(at[0], at[1], 0);
  }
  mesh->addFace(0, 1, 2);
  mesh->addFace(0, 4, 3);
  mesh->addFace(3, 5, 1);
  // Also without a join before it.
  EXPECT_EQ(depot->eliminateTJunctions(0.1F), 1U);
  EXPECT_EQ(mesh->getNumFaces(), 4U);
  Reading const once = read(*mesh);
  prepare_and_join(depot);
  EXPECT_EQ(depot->eliminateTJunctions(0.1F), 0U);
  EXPECT_EQ(read(*mesh), once);
}

TEST(Stages, ALadderWithoutPreparationIsBuiltOnEqualPositions) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  EXPECT_EQ(mesh->getNumVertices(), 24U);
  EXPECT_EQ(mesh->getNumFaces(), 12U);
  EXPECT_GT(ladder->numSteps(), 0U);
}

TEST(Stages, AnEmptyDepotRunsThemAll) {
  Depot depot;
  depot->prepareMeshes();
  EXPECT_EQ(depot->joinVertices(0, {}, 0), 0U);
  EXPECT_EQ(depot->eliminateTJunctions(0.1F), 0U);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  EXPECT_EQ(ladder->numSteps(), 0U);
  ladder->goToStep(5);
  ladder->goToFaceCount(5);
  EXPECT_EQ(ladder->currentStep(), 0U);
}

TEST(Stages, PointCloudsAndEmptyMeshesAreHarmless) {
  Depot depot;
  ab::IMesh* const cloud = depot.add_mesh();
  for (int i = 0; i < 1000; ++i) {
    cloud->addVertex(static_cast<float>(i), 0, 0);
  }
  ab::IMesh* const empty = depot.add_mesh();
  ab::IMesh* const field = depot.add_mesh();
  fill_height_field(*field, 8);
  prepare_and_join(depot);
  depot->eliminateTJunctions(0.1F);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  ladder->goToStep(ladder->numSteps());
  EXPECT_EQ(read(*cloud), Reading());
  EXPECT_EQ(read(*empty), Reading());
  EXPECT_LT(field->getNumFaces(), 128U);
}

// Vertices that only what is removed has held apart are one on the ladder.
TEST(Stages, WhatIsRemovedAfterJoiningHoldsNoVerticesApartOnTheLadder) {
  Depot const depot;
  ab::IMesh& mesh = *depot.add_mesh();
  capture_box(mesh, true);
  prepare_and_join(depot);
  depot->buildHierarchy(0);
  ASSERT_EQ(mesh.getNumVertices(), 24U);
  mesh.removeVertexNormals();
  depot->buildHierarchy(0);
  std::uint32_t const with_uvs = mesh.getNumVertices();
  EXPECT_LT(with_uvs, 24U);
  EXPECT_GT(with_uvs, 8U) << "UVs of three sides";
  mesh.removeVertexUVs();
  depot->buildHierarchy(0);
  EXPECT_EQ(mesh.getNumVertices(), 8U);
}

}  // namespace
}  // namespace mirel::engine
