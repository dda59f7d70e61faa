// Meshes as they are filled, before prepareMeshes.
#include <limits>

#include "tests/unit/sdk/depot.h"

namespace mirel::engine {
namespace {

using Floats = std::vector<float>;
using Indices = std::vector<std::uint32_t>;
float const kNan = std::numeric_limits<float>::quiet_NaN();

TEST(BuildForm, ANewMeshIsEmpty) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  EXPECT_EQ(mesh->getNumVertices(), 0U);
  EXPECT_EQ(mesh->getNumFaces(), 0U);
  EXPECT_EQ(mesh->getNumFaceSets(), 0U);
  EXPECT_EQ(mesh->getVertices(), nullptr);
  EXPECT_EQ(mesh->getFaces(), nullptr);
  EXPECT_EQ(mesh->getFaceSetFaces(0), nullptr);
  EXPECT_EQ(mesh->numFacesInSet(0), 0U);
  EXPECT_EQ(mesh->getMaterial(0), nullptr);
  ASSERT_NE(mesh->getDefaultMaterial(), nullptr);
  EXPECT_TRUE(mesh->getDefaultMaterial()->isDefault());
  EXPECT_STREQ(mesh->getDefaultMaterial()->getName(), "Default");
  EXPECT_EQ(read(*mesh), Reading());
}

TEST(BuildForm, VerticesAndFacesReadBackInTheirOrder) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  EXPECT_EQ(mesh->addVertex(0, 1, 2), 0U);
  EXPECT_NE(mesh->getVertices(), nullptr);
  EXPECT_EQ(mesh->getFaces(), nullptr);
  EXPECT_EQ(mesh->addVertex(3, 4, 5), 1U);
  EXPECT_EQ(mesh->addVertex(6, 7, 8), 2U);
  EXPECT_EQ(mesh->addFace(2, 1, 0), 0U);
  EXPECT_EQ(mesh->addFace(0, 0, 1), 1U);
  Reading const r = read(*mesh);
  EXPECT_EQ(r.vertices, (Floats{0, 1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(r.faces, (Indices{2, 1, 0, 0, 0, 1}));
  EXPECT_EQ(r.set_of, (Indices{0, 0}));
  EXPECT_EQ(r.bounds, (Floats{0, 1, 2, 6, 7, 8}));
  float x = 0, y = 0, z = 0;
  mesh->getVertexPosition(1, x, y, z);
  EXPECT_EQ((Floats{x, y, z}), (Floats{3, 4, 5}));
  std::uint32_t a = 0, b = 0, c = 0;
  mesh->getFace(0, a, b, c);
  EXPECT_EQ((Indices{a, b, c}), (Indices{2, 1, 0}));
}

TEST(BuildForm, RemapsAreTheIdentityWhereTheArrayExists) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  Reading r = read(*mesh);
  Indices identity(36);
  for (std::uint32_t i = 0; i < 36; ++i) {
    identity[i] = i;
  }
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(r.remaps[i], identity);
    EXPECT_EQ(r.remap_counts[i], 36U);
  }
  std::uint32_t count = 5;
  EXPECT_EQ(mesh->getNormalRemap(1, count), nullptr);
  EXPECT_EQ(count, 0U);
  count = 5;
  EXPECT_EQ(mesh->getUVRemap(1, count), nullptr);
  EXPECT_EQ(count, 0U);
  count = 5;
  EXPECT_EQ(mesh->getAuxiliaryRemap(1, count), nullptr);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(mesh->getAuxiliaryAttributes(), nullptr);
  count = 5;
  EXPECT_EQ(mesh->getVertexRemap(2, false, count), nullptr);
  EXPECT_EQ(count, 0U);
  mesh->setVertexNormals(Floats(108, 1).data(), 36, 12);
  mesh->setVertexUVs(Floats(72).data(), 36, 8);
  r = read(*mesh);
  EXPECT_EQ(r.remaps[4], identity);
  EXPECT_EQ(r.remaps[5], identity);
}

TEST(BuildForm, IndexedAttributesNeverReadAsVertexAttributes) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  EXPECT_EQ(mesh->getNormals(), nullptr);
  EXPECT_EQ(mesh->getVertexUVs(), nullptr);
  EXPECT_FALSE(mesh->hasVertexUVs());
  EXPECT_FALSE(mesh->hasVertexAttributes());
  EXPECT_TRUE(mesh->hasCornerUVs());
  EXPECT_EQ(mesh->getNumCornerUVs(), 18U);
  EXPECT_EQ(mesh->getNumNormals(), 36U);
  float u = 9, v = 9;
  mesh->getUV(1, u, v);
  EXPECT_EQ((Floats{u, v}), (Floats{0, 1}));
  std::uint32_t a = 0, b = 0, c = 0;
  EXPECT_TRUE(mesh->getFaceUVIndices(1, a, b, c));
  EXPECT_EQ((Indices{a, b, c}), (Indices{3, 4, 5}));
  EXPECT_FALSE(mesh->getFaceUVIndices(6, a, b, c));
  EXPECT_EQ((Indices{a, b, c}), (Indices{kNoIndex, kNoIndex, kNoIndex}));
}

TEST(BuildForm, AttributesPerVertexReadBack) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  mesh->addVertex(0, 0, 0);
  mesh->addVertex(1, 0, 0);
  Floats const padded = {1, 2, 3, 99, 4, 5, 6, 99};
  mesh->setVertexNormals(padded.data(), 2, 16);
  EXPECT_EQ(read(*mesh).normals, (Floats{1, 2, 3, 4, 5, 6}));
  mesh->setVertexUVs(padded.data(), 2, 16);
  EXPECT_EQ(read(*mesh).uvs, (Floats{1, 2, 4, 5}));
  EXPECT_TRUE(mesh->hasVertexAttributes());
  EXPECT_TRUE(mesh->hasVertexUVs());
  EXPECT_FALSE(mesh->hasCornerUVs());
  EXPECT_EQ(mesh->getNumNormals(), 0U);
  mesh->addVertex(2, 0, 0);
  EXPECT_EQ(read(*mesh).normals, (Floats{1, 2, 3, 4, 5, 6, 0, 0, 0}));
  EXPECT_EQ(read(*mesh).uvs, (Floats{1, 2, 4, 5, 0, 0}));
  mesh->removeVertexNormals();
  EXPECT_EQ(mesh->getNormals(), nullptr);
  EXPECT_TRUE(mesh->hasVertexAttributes());
  mesh->removeVertexUVs();
  EXPECT_FALSE(mesh->hasVertexAttributes());
}

TEST(BuildForm, RemovedIndexedAttributesAreGone) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  mesh->removeIndexedNormals();
  EXPECT_EQ(mesh->getNumNormals(), 0U);
  EXPECT_EQ(mirel_engine_corner_normals(0), nullptr);
  mesh->removeCornerUVs();
  EXPECT_FALSE(mesh->hasCornerUVs());
  EXPECT_EQ(mesh->getNumCornerUVs(), 0U);
  EXPECT_EQ(mirel_engine_corner_uvs(0), nullptr);
}

TEST(BuildForm, ListsOfNormalsAndUvsAreAppended) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  EXPECT_EQ(mesh->addUV(7, 7), 0U);
  mesh->addUVs(Floats{1, 2, 3, 4}.data(), 2);
  EXPECT_EQ(mesh->addUV(5, 6), 3U);
  EXPECT_EQ(mesh->getNumCornerUVs(), 4U);
  float u = 0, v = 0;
  mesh->getUV(2, u, v);
  EXPECT_EQ((Floats{u, v}), (Floats{3, 4}));
  mesh->addNormals(Floats{1, 2, 3, 4, 5, 6}.data(), 2);
  EXPECT_EQ(mesh->addNormal(0, 0, 1), 2U);
  EXPECT_EQ(mesh->getNumNormals(), 3U);
}

TEST(BuildForm, BadArgumentsChangeNothing) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  Reading const before = read(*mesh);
  EXPECT_EQ(mesh->addFace(0, 1, 36), kNoIndex);
  mesh->setVertexNormals(Floats(300).data(), 35, 12);
  mesh->setVertexNormals(nullptr, 36, 12);
  mesh->setVertexNormals(Floats(300).data(), 36, 8);
  mesh->setVertexUVs(Floats(300).data(), 37, 8);
  mesh->setVertexUVs(nullptr, 36, 8);
  mesh->addUVs(nullptr, 5);
  mesh->addNormals(nullptr, 5);
  mesh->setFaceNormalIndices(12, 0, 1, 2);
  mesh->setFaceNormalIndices(0, 0, 1, 36);
  mesh->setFaceUVIndices(12, 0, 1, 2);
  mesh->setFaceUVIndices(0, 0, 1, 18);
  mesh->setNumFaceSets(kNoIndex);
  EXPECT_EQ(read(*mesh), before);
  EXPECT_EQ(mesh->getNumCornerUVs(), 18U);
  EXPECT_EQ(mesh->getNumNormals(), 36U);
  std::uint32_t a = 0, b = 0, c = 0;
  EXPECT_TRUE(mesh->getFaceUVIndices(0, a, b, c));
  EXPECT_EQ((Indices{a, b, c}), (Indices{0, 1, 2}));
}

TEST(BuildForm, ReadingBeyondTheEndHasAnAnswer) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  std::uint32_t a = 0, b = 0, c = 0;
  EXPECT_FALSE(mesh->getFaceUVIndices(12, a, b, c));
  EXPECT_EQ((Indices{a, b, c}), (Indices{kNoIndex, kNoIndex, kNoIndex}));
  EXPECT_FALSE(mesh->getFaceUVIndices(kNoIndex, a, b, c));
  mesh->getFace(12, a, b, c);
  EXPECT_EQ((Indices{a, b, c}), (Indices{kNoIndex, kNoIndex, kNoIndex}));
  float x = 9, y = 9, z = 9;
  mesh->getVertexPosition(36, x, y, z);
  EXPECT_EQ((Floats{x, y, z}), (Floats{0, 0, 0}));
  mesh->getUV(18, x, y);
  EXPECT_EQ((Floats{x, y}), (Floats{0, 0}));
  mesh->getUV(kNoIndex, x, y);
  EXPECT_EQ((Floats{x, y}), (Floats{0, 0}));
  mesh->getFaceSetOfFace(12, a);
  EXPECT_EQ(a, 0U);
  EXPECT_EQ(mesh->numFacesInSet(2), 0U);
  EXPECT_EQ(mesh->getFaceSetFaces(2), nullptr);
  EXPECT_EQ(mesh->getMaterial(2), nullptr);
  unsigned char e0 = 9, e1 = 9, e2 = 9;
  mesh->getFaceEdgeFlags(12, e0, e1, e2);
  EXPECT_EQ(e0 | e1 | e2, 0);
}

TEST(BuildForm, WithoutSetsAllFacesAreOne) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  mesh->setNumFaceSets(0);
  mesh->setCurrentFaceSet(3);
  mesh->addVertex(0, 0, 0);
  mesh->addVertex(1, 0, 0);
  mesh->addVertex(0, 1, 0);
  mesh->addFace(0, 1, 2);
  EXPECT_EQ(mesh->getNumFaceSets(), 0U);
  EXPECT_EQ(mesh->getFaceSetFaces(0), nullptr);
  EXPECT_EQ(read(*mesh).set_of, (Indices{0}));
  prepare_and_join(depot);
  EXPECT_EQ(mesh->getNumFaceSets(), 0U);
  EXPECT_EQ(mesh->getNumFaces(), 1U);
  EXPECT_EQ(read(*mesh).set_of, (Indices{0}));
}

TEST(BuildForm, ASetBeyondTheCountIsSetZeroAndTheCountDoesNotGrow) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  for (int v = 0; v < 4; ++v) {
    mesh->addVertex(static_cast<float>(v), static_cast<float>(v * v), 0);
  }
  mesh->setNumFaceSets(3);
  mesh->setCurrentFaceSet(2);
  mesh->addFace(0, 1, 2);
  mesh->setCurrentFaceSet(3);
  mesh->addFace(1, 2, 3);
  mesh->setCurrentFaceSet(kNoIndex);
  mesh->addFace(0, 2, 3);
  EXPECT_EQ(mesh->getNumFaceSets(), 3U);
  Reading r = read(*mesh);
  EXPECT_EQ(r.set_of, (Indices{2, 0, 0}));
  EXPECT_EQ(r.sets, (std::vector<Indices>{{1, 2, 3, 0, 2, 3}, {}, {0, 1, 2}}));
  EXPECT_EQ(r.faces, (Indices{0, 1, 2, 1, 2, 3, 0, 2, 3}));
  EXPECT_NE(mesh->getMaterial(2), nullptr);
  EXPECT_EQ(mesh->getMaterial(2), mesh->getMaterial(2));
  EXPECT_TRUE(mesh->getMaterial(2)->isDefault());
  EXPECT_EQ(mesh->getMaterial(2)->getColor(), nullptr);
  EXPECT_EQ(mesh->getMaterial(2)->getTexturePath(), nullptr);
  // Fewer sets: what was beyond them is in set 0.
  mesh->setNumFaceSets(1);
  EXPECT_EQ(read(*mesh).set_of, (Indices{0, 0, 0}));
}

TEST(BuildForm, BoundsCoverFiniteVerticesOnly) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  mesh->addVertex(kNan, 100, 100);
  EXPECT_TRUE(read(*mesh).bounds.empty());
  mesh->addVertex(-1, 5, 2);
  mesh->addVertex(3, -5, 2);
  mesh->addVertex(0, std::numeric_limits<float>::infinity(), 0);
  EXPECT_EQ(read(*mesh).bounds, (Floats{-1, -5, 2, 3, 5, 2}));
}

TEST(BuildForm, EdgeFlagsGoByEqualPositions) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  std::vector<unsigned char> const flags = read(*mesh).flags;
  for (std::size_t h = 0; h < 36; h += 6) {
    EXPECT_EQ(std::vector<unsigned char>(&flags[h], &flags[h] + 6),
              (std::vector<unsigned char>{0x20, 0x20, 0, 0, 0x20, 0x20}));
  }
  EXPECT_TRUE(ab::IMesh::isBoundarySharpEdge(0x20));
  EXPECT_TRUE(ab::IMesh::isBoundarySharpEdge(0x02));
  EXPECT_FALSE(ab::IMesh::isBoundarySharpEdge(0xDD));
}

TEST(BuildForm, CornerArraysFollowTheFaces) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh, true);
  float const* const uvs = mirel_engine_corner_uvs(0);
  ASSERT_NE(uvs, nullptr);
  EXPECT_EQ(Floats(uvs, uvs + 6), (Floats{0, 0, 0, 1, 1, 1}));
  EXPECT_EQ(Floats(uvs + 36, uvs + 42), Floats(6));  // a face without UVs
  float const* const normals = mirel_engine_corner_normals(0);
  ASSERT_NE(normals, nullptr);
  EXPECT_EQ(Floats(normals, normals + 3), (Floats{-1, 0, 0}));
}

TEST(BuildForm, AFaceWithoutNormalsReadsAsItsOwn) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  capture_box(*mesh);
  std::uint32_t const a = mesh->addVertex(0, 0, 5);
  mesh->addVertex(1, 0, 5);
  mesh->addVertex(0, 1, 5);
  mesh->addFace(a, a + 1, a + 2);
  float const* const normals = mirel_engine_corner_normals(0);
  EXPECT_EQ(Floats(normals + 108, normals + 117), (Floats{0, 0, 1, 0, 0, 1, 0, 0, 1}));
}

}  // namespace
}  // namespace mirel::engine
