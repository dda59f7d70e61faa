// The bound that is measured for a step, beside distances found by brute force.
#include "standalone/engine/ladder/step_deviation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <thread>

#include "tests/unit/deviation/collapsing_mesh.h"
#include "tests/unit/ladder/zoo.h"

namespace mirel::engine {
namespace {

test::Mesh plain(WedgeMesh const& mesh) {
  test::Mesh result;
  result.positions = mesh.vertices;
  result.faces = mesh.faces;
  return result;
}

// The largest distance of a sample of either mesh from the other, every triangle against every triangle.
double sampled(WedgeMesh const& a, WedgeMesh const& b, int density) {
  auto const first = test::triangles_of(plain(a));
  auto const second = test::triangles_of(plain(b));
  return std::max(test::sampled_distance(first, second, density), test::sampled_distance(second, first, density));
}

WedgeMesh read(Ladder& ladder, std::uint32_t step, std::uint32_t mesh = 0) {
  WedgeMesh out;
  ladder.read(mesh, step, out);
  return out;
}

std::unique_ptr<Ladder> build(WedgeMesh const& mesh, LadderOptions const& options = {}) {
  WedgeMesh const* const meshes[] = {&mesh};
  return Ladder::build(meshes, options);
}

void move(WedgeMesh& mesh, float x) {
  for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) mesh.vertices[i] += x;
}

TEST(StepDeviationTest, EnclosesEveryDistanceOfTheZoo) {
  for (mirel::test::Animal const& animal : mirel::test::zoo()) {
    auto const ladder = build(animal.mesh);
    std::uint32_t const last = ladder->step_count();
    if (last == 0) continue;
    for (std::uint32_t const step : {last / 3, last * 2 / 3, last - last / 20, last}) {
      SCOPED_TRACE(animal.name + " at step " + std::to_string(step));
      double const bound = StepDeviation(*ladder, step).bound();
      double const least = sampled(animal.mesh, read(*ladder, step), 6);
      EXPECT_GE(bound, least * (1 - 1e-9));
      // The samples are dense enough for the bound not to be far above them.
      EXPECT_LE(bound, least * 1.35 + 1e-6);
    }
  }
}

TEST(StepDeviationTest, IsNothingWhereNothingHasChanged) {
  WedgeMesh const mesh = mirel::test::sphere(12, 16);
  auto const ladder = build(mesh);
  EXPECT_EQ(StepDeviation(*ladder, 0).bound(), 0);
  EXPECT_GT(StepDeviation(*ladder, 1).bound(), 0);
}

TEST(StepDeviationTest, OfAFlatRegionIsRounding) {
  WedgeMesh const mesh = mirel::test::plane(30);
  auto const ladder = build(mesh);
  EXPECT_LT(StepDeviation(*ladder, ladder->step_for_face_count(2)).bound(), 1e-6);
}

TEST(StepDeviationTest, IsTheLargestOfAllMeshes) {
  WedgeMesh const flat = mirel::test::plane(12);
  WedgeMesh const empty;
  WedgeMesh const round = mirel::test::sphere(12, 16);
  // Neither the first nor the last one speaks for all.
  for (bool const flat_first : {true, false}) {
    WedgeMesh const* const meshes[] = {flat_first ? &flat : &round, &empty, flat_first ? &round : &flat};
    auto const ladder = Ladder::build(meshes, {});
    for (std::uint32_t step = 1; step <= ladder->step_count(); step += 17) {
      WedgeMesh const now[] = {read(*ladder, step, 0), read(*ladder, step, 1), read(*ladder, step, 2)};
      if (now[0].face_count() == 0 || now[2].face_count() == 0) break;
      double const least = std::max(sampled(*meshes[0], now[0], 6), sampled(*meshes[2], now[2], 6));
      double const bound = StepDeviation(*ladder, step).bound();
      EXPECT_GE(bound, least * (1 - 1e-9)) << step;
      EXPECT_LE(bound, least * 1.35 + 1e-6) << step;
    }
  }
}

// What has vanished is as far away as what is left of the others.
TEST(StepDeviationTest, CountsAMeshThatHasVanished) {
  WedgeMesh const large = mirel::test::sphere(12, 16);
  WedgeMesh small = mirel::test::sphere(4, 6);
  for (float& x : small.vertices) x *= 0.01F;
  move(small, 20);
  WedgeMesh const* const meshes[] = {&large, &small};
  auto const ladder = Ladder::build(meshes, {});
  std::uint32_t step = 0;
  while (read(*ladder, step, 1).face_count() > 0) {
    ++step;
    ASSERT_LE(step, ladder->step_count());
  }
  EXPECT_LT(StepDeviation(*ladder, step - 1).bound(), 1);
  double const bound = StepDeviation(*ladder, step).bound();
  EXPECT_GE(bound, 18.98);
  EXPECT_LE(bound, 19.05 * 1.06);
}

TEST(StepDeviationTest, OutlivesTheLadderOnAnotherThread) {
  WedgeMesh const mesh = mirel::test::terrain(16, 3);
  auto ladder = build(mesh);
  StepDeviation const deviation(*ladder, ladder->step_count() / 2);
  double const here = deviation.bound();
  ladder.reset();
  double there = std::numeric_limits<double>::quiet_NaN();
  std::thread([&] { there = deviation.bound(); }).join();
  EXPECT_EQ(here, there);
}

}  // namespace
}  // namespace mirel::engine
