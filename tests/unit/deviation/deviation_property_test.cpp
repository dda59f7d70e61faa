// Law: whatever is collapsed under the guard, a dense two-sided sampling finds no distance above the tolerance, nor
// above the bound that the guard gives.
#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "standalone/engine/deviation/deviation_guard.h"
#include "tests/unit/deviation/collapsing_mesh.h"

namespace mirel::engine {
namespace {

using test::CollapsingMesh;
using test::grid;
using test::Mesh;
using test::sphere;

double noise(double x, double y) {
  return 0.06 * std::sin(9 * x + 3 * y) * std::cos(7 * y) + 0.02 * std::sin(41 * x) * std::sin(37 * y + 1);
}

// Everything that scans and bad modelling leave behind: slivers, faces without area, duplicated and opposite faces,
// an edge with three faces.
Mesh untidy() {
  Mesh mesh = grid(20, noise);
  auto const point = [&](std::uint32_t i) { return mesh.point(i); };
  for (std::uint32_t v = 30; v < 400; v += 37) {
    Point const p = point(v);
    auto const n = static_cast<std::uint32_t>(mesh.positions.size() / 3);
    mesh.add_point(p[0] + 0.02, p[1], p[2] + 1e-7);
    mesh.add_face(v, v + 1, n);       // a sliver on an edge: its third face
    mesh.add_face(v, v, v + 1);       // no area
    mesh.add_face(v, v + 1, v + 22);  // a duplicate of a face of the grid
    mesh.add_face(v + 22, v + 1, v);  // and its opposite
  }
  return mesh;
}

struct Case {
  char const* name;
  Mesh (*make)();
  bool keep_border;
};
// For the names of the tests: without it they would hold addresses.
void PrintTo(Case const& one, std::ostream* out) {
  *out << one.name;
}

Mesh small_sphere() {
  return sphere(1, 24, 40);
}
Mesh terrain() {
  return grid(40, noise);
}
// Two sheets 0.01 apart: each is within reach of the other at the larger tolerances.
Mesh thin_wall() {
  Mesh mesh = grid(24, noise);
  std::size_t const count = mesh.positions.size() / 3;
  std::size_t const faces = mesh.faces.size();
  for (std::size_t i = 0; i < count; ++i) {
    mesh.add_point(mesh.positions[3 * i], mesh.positions[3 * i + 1], mesh.positions[3 * i + 2] - 0.01);
  }
  for (std::size_t i = 0; i < faces; i += 3) {
    auto const at = [&](std::size_t k) { return mesh.faces[i + k] + static_cast<std::uint32_t>(count); };
    mesh.add_face(at(0), at(2), at(1));
  }
  return mesh;
}
// Long thin triangles, a hundred times longer than wide, on a wave.
Mesh slivers() {
  Mesh mesh = grid(30, [](double x, double y) { return 0.05 * std::sin(12 * x) + 0.3 * y * y; });
  for (std::size_t i = 0; i < mesh.positions.size(); i += 3) mesh.positions[i] *= 0.01F;
  return mesh;
}

class DeviationLaw : public testing::TestWithParam<std::tuple<Case, double>> {};

// `steps`: collapses that need no look at the original first, then both kinds, then those that do.
void check(Mesh const& mesh, double relative, bool keep_border, int density, bool steps) {
  double const diagonal = mesh.diagonal();
  auto const tolerance = static_cast<float>(relative * diagonal);
  DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
  CollapsingMesh reduced(mesh);
  double last = 0;
  std::size_t done = 0;
  for (std::uint32_t round = 0; round < 8; ++round) {
    using Ask = CollapsingMesh::Ask;
    reduced.set_question(!steps || round > 5 ? Ask::kOriginal : round < 3 ? Ask::kStep : Ask::kEither);
    done += reduced.collapse_at_random(guard, 6 * mesh.face_count(), 100 + round, keep_border).done;
    EXPECT_GE(guard.bound(), last) << "never falls";
    last = guard.bound();
  }
  EXPECT_LE(guard.bound(), static_cast<double>(tolerance));
  if (relative >= 0.01) {  // below, a bumpy mesh may have nothing to give
    EXPECT_GT(done, 0U);
  }
  auto const before = test::triangles_of(mesh);
  auto const after = reduced.triangles();
  double const away = test::sampled_distance(after, before, 6 * density);
  double const left = test::sampled_distance(before, after, density);
  EXPECT_LE(std::max(away, left), guard.bound() + 1e-12 * diagonal);
  testing::Test::RecordProperty("faces", static_cast<int>(after.size()));
  std::printf("  %6zu -> %5zu faces, tolerance %.3g: bound %.4g, measured %.4g and %.4g of it\n", before.size(),
              after.size(), relative, guard.bound() / static_cast<double>(tolerance),
              away / static_cast<double>(tolerance), left / static_cast<double>(tolerance));
}

TEST_P(DeviationLaw, HoldsUnderRandomCollapses) {
  auto const& [kind, relative] = GetParam();
  check(kind.make(), relative, kind.keep_border, 4, false);
}

TEST_P(DeviationLaw, HoldsUnderRandomSteps) {
  auto const& [kind, relative] = GetParam();
  check(kind.make(), relative, kind.keep_border, 4, true);
}

INSTANTIATE_TEST_SUITE_P(
    Zoo, DeviationLaw,
    testing::Combine(testing::Values(Case{"sphere", small_sphere, true}, Case{"terrain", terrain, true},
                                     Case{"terrain_free_border", terrain, false}, Case{"thin_wall", thin_wall, false},
                                     Case{"slivers", slivers, false}, Case{"untidy", untidy, false}),
                     testing::Values(1e-4, 1e-3, 1e-2, 5e-2)),
    [](auto const& info) {
      char relative[32];
      std::snprintf(relative, sizeof relative, "%05d", static_cast<int>(std::lround(1e5 * std::get<1>(info.param))));
      return std::string(std::get<0>(info.param).name) + "_" + relative;
    });

class SharedModelDeviation : public testing::TestWithParam<double> {};

TEST_P(SharedModelDeviation, RockerArm) {
  auto const mesh = test::shared_model("rocker-arm.obj");
  if (!mesh) GTEST_SKIP() << "rocker-arm.obj is not at hand (MIREL_SHARED)";
  check(*mesh, GetParam(), true, 1, false);
  check(*mesh, GetParam(), true, 1, true);
}

INSTANTIATE_TEST_SUITE_P(Tolerances, SharedModelDeviation, testing::Values(3e-4, 3e-3, 2e-2));

}  // namespace
}  // namespace mirel::engine
