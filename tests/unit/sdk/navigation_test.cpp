// Moving on a ladder, and how long things live.
#include <algorithm>

#include "tests/unit/sdk/depot.h"

namespace mirel::engine {
namespace {

struct Kind {
  char const* attributes;
  std::uint32_t sets;
};

Kind const kKinds[] = {{"", 1}, {"n", 0}, {"u", 3}, {"nu", 2}};

std::uint32_t faces_of(Depot const& depot) {
  std::uint32_t faces = 0;
  for (std::uint32_t i = 0; i < depot->getNumMeshes(); ++i) {
    faces += depot->getMesh(i)->getNumFaces();
  }
  return faces;
}

TEST(Navigation, MeshesFollowTheHierarchy) {
  for (Kind const& kind : kKinds) {
    Depot depot;
    ab::IMesh* const mesh = depot.add_mesh();
    fill_height_field(*mesh, 12, kind.attributes, kind.sets);
    prepare_and_join(depot);
    Reading const full = read(*mesh);
    ab::IHierarchy* const ladder = depot->buildHierarchy(0);
    ASSERT_NE(ladder, nullptr);
    EXPECT_EQ(ladder->currentStep(), 0U);
    EXPECT_EQ(read(*mesh), full);
    ASSERT_GT(ladder->numSteps(), 20U);
    std::uint32_t const middle = ladder->numSteps() / 2;
    ladder->goToStep(middle);
    EXPECT_EQ(ladder->currentStep(), middle);
    Reading const half = read(*mesh);
    EXPECT_LT(half.faces.size(), full.faces.size());
    EXPECT_EQ(half.faces.size() / 3, mirel_engine_face_count_at(middle));
    EXPECT_EQ(half.normals.empty(), full.normals.empty());
    EXPECT_EQ(half.uvs.empty(), full.uvs.empty());
    EXPECT_EQ(half.sets.size(), kind.sets);
    ladder->goToStep(0xFFFFFFFFU);
    EXPECT_EQ(ladder->currentStep(), ladder->numSteps());
    Reading const last = read(*mesh);
    EXPECT_LT(last.faces.size(), half.faces.size());
    ladder->goToStep(middle);
    EXPECT_EQ(read(*mesh), half);
    ladder->goToStep(0);
    EXPECT_EQ(read(*mesh), full);
  }
}

TEST(Navigation, ModeZeroNamesTheLowestPositionOfTheFullMesh) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  fill_height_field(*mesh, 12, "nu");
  prepare_and_join(depot);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ladder->goToStep(ladder->numSteps() / 2);
  Reading const r = read(*mesh);
  EXPECT_EQ(r.remap_counts[0], 169U);
  std::vector<std::uint32_t> distinct = r.remaps[0];
  std::sort(distinct.begin(), distinct.end());
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  EXPECT_EQ(distinct.size(), r.remap_counts[2]);
  for (std::size_t v = 0; v < r.remaps[0].size(); ++v) {
    for (std::size_t w = 0; w < v; ++w) {
      EXPECT_EQ(r.remaps[0][v] == r.remaps[0][w], r.remaps[2][v] == r.remaps[2][w]);
    }
  }
}

TEST(Navigation, FaceCountsAreTheMostThatFit) {
  Depot depot;
  fill_height_field(*depot.add_mesh(), 10);
  fill_height_field(*depot.add_mesh(), 6);
  prepare_and_join(depot);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  for (std::uint32_t const wanted : {300U, 271U, 150U, 60U}) {
    ladder->goToFaceCount(wanted);
    EXPECT_LE(faces_of(depot), wanted);
    EXPECT_EQ(faces_of(depot), mirel_engine_face_count_at(ladder->currentStep()));
    if (ladder->currentStep() > 0) {
      EXPECT_GT(mirel_engine_face_count_at(ladder->currentStep() - 1), wanted);
    }
  }
  ladder->goToFaceCount(0);
  EXPECT_EQ(ladder->currentStep(), ladder->numSteps());
  ladder->goToFaceCount(0xFFFFFFFFU);
  EXPECT_EQ(ladder->currentStep(), 0U);
  EXPECT_EQ(faces_of(depot), 272U);
}

TEST(Navigation, SmallPiecesGoWholeUnlessTheyAreLocked) {
  for (bool const locked : {false, true}) {
    Depot depot;
    ab::IMesh* const field = depot.add_mesh();
    fill_height_field(*field, 10);
    ab::IMesh* const pieces = depot.add_mesh();
    std::uint32_t const count = 12;
    for (std::uint32_t i = 0; i < count; ++i) {
      float const x = static_cast<float>(i) * 0.5F;
      pieces->addVertex(x, 0, 3);
      pieces->addVertex(x + 0.01F, 0, 3);
      pieces->addVertex(x, 0.01F, 3);
      pieces->addFace(i * 3, i * 3 + 1, i * 3 + 2);
    }
    prepare_and_join(depot);
    Reading const whole = read(*pieces);
    depot->setLockSurfaceBoundaries(locked);
    ab::IHierarchy* const ladder = depot->buildHierarchy(0);
    ladder->goToStep(ladder->numSteps());
    if (locked) {
      EXPECT_EQ(read(*pieces), whole);
      EXPECT_GE(field->getNumFaces(), 38U);  // all 40 points of its border are still there
    } else {
      EXPECT_EQ(pieces->getNumFaces(), 0U);
      EXPECT_EQ(pieces->getVertices(), nullptr);
      EXPECT_GT(field->getNumFaces(), 0U);
    }
  }
}

TEST(Navigation, PreparingAgainFromACoarseStepLosesNothing) {
  for (Kind const& kind : kKinds) {
    Depot depot;
    ab::IMesh* const mesh = depot.add_mesh();
    fill_height_field(*mesh, 12, kind.attributes, kind.sets);
    auto const run = [&depot] {
      prepare_and_join(depot, 0.01F);
      depot->eliminateTJunctions(0.1F);
      return depot->buildHierarchy(0);
    };
    ab::IHierarchy* const first = run();
    Reading const full = read(*mesh);
    first->goToStep(first->numSteps() / 2);
    std::uint32_t const middle = first->currentStep();
    Reading const half = read(*mesh);
    first->goToStep(first->numSteps() - 3);
    ab::IHierarchy* const second = run();
    EXPECT_EQ(read(*mesh), full);
    second->goToStep(middle);
    EXPECT_EQ(read(*mesh), half);
    // The first one has ended and is harmless.
    EXPECT_EQ(first->numSteps(), 0U);
    EXPECT_EQ(first->currentStep(), 0U);
    first->goToStep(3);
    first->goToFaceCount(10);
    EXPECT_EQ(first->currentStep(), 0U);
    EXPECT_EQ(read(*mesh), half);
    // Broken off after the preparation, as by an exception: step 0 reads back.
    second->goToStep(4);
    depot->prepareMeshes();
    EXPECT_EQ(read(*mesh), full);
  }
}

TEST(Navigation, RemovingAnAttributeEndsTheLadder) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  fill_height_field(*mesh, 8, "nu");
  prepare_and_join(depot);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ladder->goToStep(5);
  mesh->removeVertexUVs();
  EXPECT_EQ(ladder->numSteps(), 0U);
  EXPECT_EQ(mesh->getNumFaces(), 128U);
  EXPECT_EQ(mesh->getVertexUVs(), nullptr);
  EXPECT_NE(mesh->getNormals(), nullptr);
}

TEST(Lifetimes, PointersLiveUntilTheMeshMoves) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  fill_height_field(*mesh, 8, "nu");
  prepare_and_join(depot);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ladder->goToStep(7);
  float const* const vertices = mesh->getVertices();
  std::uint32_t counts[4];
  std::uint32_t const* const tables[4] = {
      mesh->getVertexRemap(0, false, counts[0]), mesh->getVertexRemap(0, true, counts[1]),
      mesh->getVertexRemap(1, false, counts[2]), mesh->getVertexRemap(1, true, counts[3])};
  std::vector<std::uint32_t> const copy(tables[2], tables[2] + mesh->getNumVertices());
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < i; ++j) {
      EXPECT_NE(tables[i], tables[j]);
    }
  }
  read(*mesh);
  ladder->goToStep(7);
  depot.add_mesh()->addVertex(0, 0, 0);
  EXPECT_EQ(mesh->getVertices(), vertices);
  EXPECT_EQ(mesh->getVertexRemap(1, false, counts[2]), tables[2]);
  EXPECT_EQ(std::vector<std::uint32_t>(tables[2], tables[2] + mesh->getNumVertices()), copy);
}

TEST(Lifetimes, AMeshKeepsItsAddress) {
  Depot depot;
  ab::IMesh* const first = depot.add_mesh();
  fill_height_field(*first, 4);
  for (int i = 0; i < 100; ++i) {
    depot.add_mesh();
  }
  prepare_and_join(depot);
  depot->buildHierarchy(0)->goToStep(3);
  EXPECT_EQ(depot->getMesh(0), first);
  EXPECT_EQ(depot->getNumMeshes(), 101U);
  EXPECT_EQ(depot->getMesh(101), nullptr);
  EXPECT_EQ(depot->getMesh(0xFFFFFFFFU), nullptr);
}

TEST(Lifetimes, AMeshMadeAfterABuildIsNotOnTheLadder) {
  Depot depot;
  fill_height_field(*depot.add_mesh(), 6);
  prepare_and_join(depot);
  ab::IHierarchy* ladder = depot->buildHierarchy(0);
  ab::IMesh* const late = depot.add_mesh();
  fill_height_field(*late, 6);
  ladder->goToStep(ladder->numSteps());
  EXPECT_EQ(late->getNumFaces(), 72U);
  EXPECT_LT(depot->getMesh(0)->getNumFaces(), 72U);
  EXPECT_EQ(mirel_engine_face_count_at(0), 72U);
  prepare_and_join(depot);
  ladder = depot->buildHierarchy(0);
  ladder->goToStep(ladder->numSteps());
  EXPECT_LT(late->getNumFaces(), 72U);
}

TEST(Lifetimes, LaddersOutliveTheirDepots) {
  ab::IHierarchy* cleared = nullptr;
  ab::IHierarchy* destroyed = nullptr;
  {
    Depot depot;
    fill_height_field(*depot.add_mesh(), 6);
    cleared = depot->buildHierarchy(0);
    cleared->goToStep(3);
    depot->clear();
    EXPECT_EQ(depot->getNumMeshes(), 0U);
    EXPECT_EQ(cleared->numSteps(), 0U);
    fill_height_field(*depot.add_mesh(), 6);
    destroyed = depot->buildHierarchy(0);
    EXPECT_GT(destroyed->numSteps(), 0U);
  }
  for (ab::IHierarchy* const ladder : {cleared, destroyed}) {
    EXPECT_EQ(ladder->numSteps(), 0U);
    EXPECT_EQ(ladder->currentStep(), 0U);
    ladder->goToStep(1);
    ladder->goToFaceCount(1);
    EXPECT_EQ(ladder->currentStep(), 0U);
  }
}

TEST(Lifetimes, ReleaseFreesTheDepotsMadeSinceInitialize) {
  MirelLiveObjects before;
  mirel_engine_live_objects(&before);
  ab::IMeshDepot* const earlier = ab::IMeshDepot::create();
  ab::IBalancerSDK* const sdk = ab::IBalancerSDK::initialize();
  ASSERT_NE(sdk, nullptr);
  ab::IMeshDepot* const abandoned = ab::IMeshDepot::create();
  abandoned->createMesh();
  ab::IMeshDepot* const second = ab::IMeshDepot::create();
  fill_height_field(*second->getMesh(second->createMesh()), 4);
  ab::IHierarchy* const ladder = second->buildHierarchy(0);
  MirelLiveObjects now;
  mirel_engine_live_objects(&now);
  EXPECT_EQ(now.sdks, before.sdks + 1);
  EXPECT_EQ(now.depots, before.depots + 3);
  EXPECT_EQ(now.meshes, before.meshes + 2);
  EXPECT_EQ(now.ladders, before.ladders + 1);
  ab::IBalancerSDK::release(sdk);
  ab::IBalancerSDK::release(sdk);
  ab::IMeshDepot::destroy(second);
  ab::IMeshDepot::destroy(nullptr);
  mirel_engine_live_objects(&now);
  EXPECT_EQ(now.sdks, before.sdks);
  EXPECT_EQ(now.depots, before.depots + 1);
  EXPECT_EQ(now.meshes, before.meshes);
  EXPECT_EQ(now.ladders, before.ladders);
  EXPECT_EQ(ladder->numSteps(), 0U);
  ab::IMeshDepot::destroy(earlier);
  mirel_engine_live_objects(&now);
  EXPECT_EQ(now.depots, before.depots);
}

TEST(HostFunctions, AnswerWithoutADepot) {
  EXPECT_EQ(mirel_engine_mesh_count(), 0U);
  EXPECT_STREQ(mirel_engine_mesh_name(0), "");
  EXPECT_EQ(mirel_engine_vertex_count(0), 0U);
  EXPECT_EQ(mirel_engine_face_count_at(0), 0U);
  EXPECT_EQ(mirel_engine_corner_uvs(0), nullptr);
  EXPECT_EQ(mirel_engine_corner_normals(0), nullptr);
  std::uint32_t count = 7;
  EXPECT_EQ(mirel_engine_positions(0, &count), nullptr);
  EXPECT_EQ(count, 0U);
  count = 7;
  EXPECT_EQ(mirel_engine_faces(0, &count), nullptr);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(mirel_engine_faces(0, nullptr), nullptr);
  float bounds[6] = {7, 7, 7, 7, 7, 7};
  EXPECT_EQ(mirel_engine_bounds(0, bounds), 0);
  EXPECT_EQ(bounds[0], 7.0F);
  EXPECT_TRUE(std::isnan(mirel_engine_deviation_bound(0)));
  MirelLadderEnd end = {1, 1, 1, 1};
  mirel_engine_ladder_end(&end);
  EXPECT_EQ(end.tolerance + end.locked_boundary + end.foldover + end.topology, 0U);
  mirel_engine_ladder_end(nullptr);
  mirel_engine_live_objects(nullptr);
}

TEST(HostFunctions, TheDeviationIsMeasuredOnceAndKeptUntilTheNextLadder) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  fill_height_field(*mesh, 12);
  EXPECT_TRUE(std::isnan(mirel_engine_deviation_bound(1)));
  EXPECT_EQ(mirel_engine_measurement_begin(1), nullptr);
  EXPECT_TRUE(std::isnan(mirel_engine_measurement_run(nullptr)));
  mirel_engine_measurement_end(nullptr);
  prepare_and_join(depot);
  std::uint32_t const last = depot->buildHierarchy(0)->numSteps();
  EXPECT_EQ(mirel_engine_known_deviation_bound(0), 0);
  EXPECT_TRUE(std::isnan(mirel_engine_known_deviation_bound(last)));
  MirelMeasurement* const measurement = mirel_engine_measurement_begin(last);
  ASSERT_NE(measurement, nullptr);
  double const bound = mirel_engine_deviation_bound(0xFFFFFFFFU);
  EXPECT_GT(bound, 0.1);
  EXPECT_EQ(mirel_engine_known_deviation_bound(last), bound);
  EXPECT_EQ(mirel_engine_known_deviation_bound(0xFFFFFFFFU), bound);
  EXPECT_TRUE(std::isnan(mirel_engine_known_deviation_bound(last - 1)));
  depot->buildHierarchy(0);
  EXPECT_TRUE(std::isnan(mirel_engine_known_deviation_bound(last)));
  EXPECT_EQ(mirel_engine_measurement_run(measurement), bound);
  mirel_engine_measurement_end(measurement);
  // Within a tolerance the bound is recorded with each step.
  std::uint32_t const end = depot->buildHierarchy(0.05F)->numSteps();
  EXPECT_GT(mirel_engine_known_deviation_bound(end), 0);
  EXPECT_LE(mirel_engine_known_deviation_bound(end), double{0.05F});
  EXPECT_EQ(mirel_engine_deviation_bound(end), mirel_engine_known_deviation_bound(end));
}

TEST(HostFunctions, SpeakOfTheNewestDepot) {
  Depot older;
  older.add_mesh();
  older.add_mesh();
  {
    Depot newer;
    ab::IMesh* const mesh = newer.add_mesh();
    fill_height_field(*mesh, 5, "nu");
    prepare_and_join(newer);
    newer->buildHierarchy(0)->goToStep(4);
    EXPECT_EQ(mirel_engine_mesh_count(), 1U);
    EXPECT_EQ(mirel_engine_vertex_count(0), mesh->getNumVertices());
    float bounds[6];
    EXPECT_EQ(mirel_engine_bounds(0, bounds), 1);
    std::uint32_t count = 0;
    EXPECT_EQ(mirel_engine_positions(0, &count), mesh->getVertices());
    EXPECT_EQ(count, mesh->getNumVertices());
    EXPECT_EQ(mirel_engine_faces(0, &count), mesh->getFaces());
    EXPECT_EQ(count, mesh->getNumFaces());
    EXPECT_EQ(mirel_engine_face_count_at(0), 50U);
    EXPECT_EQ(mirel_engine_face_count_at(4), mesh->getNumFaces());
    float const* const uvs = mirel_engine_corner_uvs(0);
    float const* const normals = mirel_engine_corner_normals(0);
    for (std::uint32_t c = 0; c < mesh->getNumFaces() * 3; ++c) {
      std::uint32_t const v = mesh->getFaces()[c];
      EXPECT_EQ(uvs[c * 2], mesh->getVertexUVs()[v * 2]);
      EXPECT_EQ(normals[c * 3 + 2], mesh->getNormals()[v * 3 + 2]);
    }
  }
  EXPECT_EQ(mirel_engine_mesh_count(), 2U);
}

}  // namespace
}  // namespace mirel::engine
