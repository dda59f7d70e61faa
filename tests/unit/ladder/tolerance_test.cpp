// Ladders within a tolerance: what may vanish, and the promise of every step, by an independent distance.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "standalone/engine/deviation/hausdorff.h"
#include "standalone/engine/ladder/ladder.h"
#include "standalone/engine/ladder/refused_edges.h"
#include "tests/unit/ladder/zoo.h"

namespace mirel::engine {
namespace {

using test::Animal;
using test::zoo;

std::unique_ptr<Ladder> build(WedgeMesh const& mesh, float tolerance, bool lock_boundaries = false) {
  WedgeMesh const* const meshes[] = {&mesh};
  LadderOptions options;
  options.tolerance = tolerance;
  options.lock_boundaries = lock_boundaries;
  return Ladder::build(meshes, options);
}

WedgeMesh read(Ladder& ladder, std::uint32_t step) {
  WedgeMesh out;
  ladder.read(0, step, out);
  return out;
}

TriangleBvh surface_of(WedgeMesh const& mesh) {
  return {mesh.vertices, mesh.faces};
}

struct Vertices {
  std::vector<float> positions;
  std::vector<std::uint32_t> triangles;

  // The mesh, made smaller and put somewhere else.
  void add(WedgeMesh const& mesh, float scale, float x, float y, float z) {
    auto const base = static_cast<std::uint32_t>(positions.size() / 3);
    for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
      positions.push_back(scale * mesh.vertices[i] + x);
      positions.push_back(scale * mesh.vertices[i + 1] + y);
      positions.push_back(scale * mesh.vertices[i + 2] + z);
    }
    for (std::uint32_t const corner : mesh.faces) triangles.push_back(base + corner);
  }
  WedgeMesh mesh() const { return test::from_triangles(positions, triangles); }
};

// Whether the mesh has a vertex within `reach` of a point.
bool has_near(WedgeMesh const& mesh, float x, float y, float z, float reach) {
  for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
    float const dx = mesh.vertices[i] - x;
    float const dy = mesh.vertices[i + 1] - y;
    float const dz = mesh.vertices[i + 2] - z;
    if (dx * dx + dy * dy + dz * dz <= reach * reach) return true;
  }
  return false;
}

// A plane with one small ball on it and one far above it.
WedgeMesh plane_and_balls() {
  Vertices all;
  all.add(test::plane(12), 1, 0, 0, 0);
  all.add(test::sphere(6, 8), 0.004F, 0.31F, 0.42F, 0.005F);
  all.add(test::sphere(6, 8), 0.004F, 0.5F, 0.5F, 0.5F);
  return all.mesh();
}

TEST(Tolerance, LetsABodyGoThatOthersAnswerFor) {
  WedgeMesh const mesh = plane_and_balls();
  auto const ladder = build(mesh, 0.01F);
  WedgeMesh const last = read(*ladder, ladder->step_count());
  EXPECT_FALSE(has_near(last, 0.31F, 0.42F, 0.005F, 0.02F)) << "all of it lies within the tolerance of the plane";
  EXPECT_TRUE(has_near(last, 0.5F, 0.5F, 0.5F, 0.02F)) << "nothing else is near";
  HausdorffBounds const distance = hausdorff_distance(surface_of(mesh), surface_of(last));
  EXPECT_LE(distance.lower(), ladder->deviation_bound(ladder->step_count()) + 1e-12);
  EXPECT_GE(distance.lower(), 0.008) << "the top of the ball is that far from the plane";
}

TEST(Tolerance, KeepsABodyThatOthersAreALittleTooFarFrom) {
  // The ball's top is 0.009 above the plane.
  WedgeMesh const mesh = plane_and_balls();
  auto const ladder = build(mesh, 0.0085F);
  EXPECT_TRUE(has_near(read(*ladder, ladder->step_count()), 0.31F, 0.42F, 0.005F, 0.02F));
}

TEST(Tolerance, ALooseFaceGoesOnlyWhereOthersAnswerForIt) {
  // Two by two, 0.001 apart, and far from all others.
  std::vector<float> positions;
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t i = 0; i < 40; ++i) {
    auto const x = static_cast<float>(i / 2), z = static_cast<float>(i % 2) * 0.001F;
    positions.insert(positions.end(), {x, 0, z, x + 0.5F, 0, z, x, 0.5F, z});
    triangles.insert(triangles.end(), {3 * i, 3 * i + 1, 3 * i + 2});
  }
  WedgeMesh const mesh = test::from_triangles(positions, triangles);
  auto const ladder = build(mesh, 0.01F);
  WedgeMesh const last = read(*ladder, ladder->step_count());
  EXPECT_EQ(last.face_count(), 20U);
  EXPECT_LE(hausdorff_distance(surface_of(mesh), surface_of(last)).lower(),
            ladder->deviation_bound(ladder->step_count()) + 1e-12);
}

TEST(Tolerance, KeepsABodyBesideAnOpenEdge) {
  // Above the plane's border by less than the tolerance, but half of it hangs over.
  Vertices all;
  all.add(test::plane(12), 1, 0, 0, 0);
  all.add(test::sphere(6, 8), 0.02F, 0, 0.5F, 0.001F);
  WedgeMesh const mesh = all.mesh();
  auto const ladder = build(mesh, 0.015F);
  EXPECT_TRUE(has_near(read(*ladder, ladder->step_count()), 0, 0.5F, 0.001F, 0.04F));
}

TEST(Tolerance, TheLastOfTwoEqualBodiesStays) {
  Vertices all;
  all.add(test::sphere(8, 12), 1, 0, 0, 0);
  all.add(test::sphere(8, 12), 1.001F, 0, 0, 0);
  WedgeMesh const mesh = all.mesh();
  auto const ladder = build(mesh, 0.1F);
  WedgeMesh const one = test::sphere(8, 12);
  auto const alone = build(one, 0.1F);
  WedgeMesh const last = read(*ladder, ladder->step_count());
  EXPECT_GT(last.face_count(), 0U);
  EXPECT_LE(last.face_count(), alone->face_count(alone->step_count()) * 3 / 2);
  EXPECT_LE(hausdorff_distance(surface_of(mesh), surface_of(last)).lower(), 0.1);
}

TEST(Tolerance, LockedBodiesStay) {
  Vertices all;
  all.add(test::plane(8), 1, 0, 0, 0);
  all.add(test::plane(2), 0.01F, 0.3F, 0.3F, 0.002F);
  WedgeMesh const mesh = all.mesh();
  auto const free = build(mesh, 0.01F);
  EXPECT_FALSE(has_near(read(*free, free->step_count()), 0.305F, 0.305F, 0.002F, 0.02F));
  auto const locked = build(mesh, 0.01F, true);
  EXPECT_TRUE(has_near(read(*locked, locked->step_count()), 0.305F, 0.305F, 0.002F, 0.02F));
}

// Open sheets, several components, non-manifold edges, soup, UVs and normals: all of the zoo.
TEST(Tolerance, EveryStepIsWithinItsBoundAndTheToleranceOfTheOriginal) {
  for (Animal const& animal : zoo()) {
    TriangleBvh const original = surface_of(animal.mesh);
    for (double const relative : {0.0005, 0.005, 0.05}) {
      SCOPED_TRACE(animal.name + " " + std::to_string(relative));
      auto const tolerance = static_cast<float>(relative * original.diagonal());
      auto const ladder = build(animal.mesh, tolerance);
      std::uint32_t const last = ladder->step_count();
      double before = 0;
      for (std::uint32_t part = 0; part <= 6; ++part) {
        std::uint32_t const step = last * part / 6;
        double const bound = ladder->deviation_bound(step);
        ASSERT_GE(bound, before);
        ASSERT_LE(bound, double{tolerance});
        before = bound;
        HausdorffBounds const distance = hausdorff_distance(original, surface_of(read(*ladder, step)));
        ASSERT_LE(distance.lower(), bound + 1e-9 * original.diagonal()) << "step " << step << " of " << last;
      }
    }
  }
}

TEST(Tolerance, HoldsOnTerrainsOfManySeeds) {
  for (std::uint32_t seed = 1; seed <= 8; ++seed) {
    WedgeMesh const mesh = test::terrain(24, seed);
    TriangleBvh const original = surface_of(mesh);
    auto const tolerance = static_cast<float>((0.001 + 0.004 * seed) * original.diagonal());
    auto const ladder = build(mesh, tolerance);
    WedgeMesh const last = read(*ladder, ladder->step_count());
    EXPECT_LT(last.face_count(), mesh.face_count());
    EXPECT_LE(hausdorff_distance(original, surface_of(last)).lower(), double{tolerance}) << seed;
  }
}

TEST(RefusedEdges, AreForgottenWhenAnEndChanges) {
  RefusedEdges refused;
  refused.start(10);
  EXPECT_FALSE(refused.holds(3, 7));
  refused.add(3, 7);
  EXPECT_TRUE(refused.holds(3, 7));
  EXPECT_TRUE(refused.holds(7, 3)) << "from either end";
  EXPECT_FALSE(refused.holds(3, 6));
  refused.change(6);
  EXPECT_TRUE(refused.holds(3, 7));
  refused.change(3);
  EXPECT_FALSE(refused.holds(3, 7));
  refused.add(3, 7);
  refused.change(7);
  EXPECT_FALSE(refused.holds(3, 7));
}

TEST(RefusedEdges, KeepWhatTheyKnowUnderNewNumbers) {
  RefusedEdges refused;
  refused.start(400);
  refused.change(4);
  refused.add(1, 4);
  refused.add(1, 5);
  refused.add(0, 4);
  refused.change(5);
  // All others are gone.
  std::uint32_t const live[] = {1, 4, 5};
  std::vector<std::uint32_t> numbers(400, 3);
  for (std::uint32_t i = 0; i < 3; ++i) numbers[live[i]] = i;
  refused.renumber(numbers, live);
  EXPECT_TRUE(refused.holds(0, 1));
  EXPECT_FALSE(refused.holds(0, 2)) << "changed before";
  EXPECT_FALSE(refused.holds(1, 3)) << "an end is gone";
  refused.change(1);
  EXPECT_FALSE(refused.holds(0, 1));
}

TEST(RefusedEdges, HoldVerticesWhoseEdgesAreAllRefused) {
  RefusedEdges refused;
  refused.start(10);
  for (std::uint32_t v = 0; v < 10; ++v) EXPECT_FALSE(refused.holds(v, v)) << v;
  refused.add(0, 0);
  refused.add(7, 7);
  EXPECT_TRUE(refused.holds(0, 0));
  EXPECT_TRUE(refused.holds(7, 7));
  EXPECT_FALSE(refused.holds(0, 7));
  // The first vertex keeps its number, the other one gets another.
  std::uint32_t const live[] = {0, 7};
  std::vector<std::uint32_t> numbers(10, 2);
  numbers[0] = 0;
  numbers[7] = 1;
  refused.renumber(numbers, live);
  EXPECT_TRUE(refused.holds(0, 0));
  EXPECT_TRUE(refused.holds(1, 1));
  refused.change(1);
  EXPECT_FALSE(refused.holds(1, 1));
}

}  // namespace
}  // namespace mirel::engine
