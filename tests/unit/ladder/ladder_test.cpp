#include "standalone/engine/ladder/ladder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <span>

#include "standalone/engine/deviation/hausdorff.h"
#include "standalone/engine/prepare/validate.h"
#include "tests/unit/ladder/zoo.h"

namespace mirel::engine {
namespace {

using test::Animal;
using test::zoo;

std::unique_ptr<Ladder> build(WedgeMesh const& mesh, LadderOptions const& options = {}) {
  WedgeMesh const* const meshes[] = {&mesh};
  return Ladder::build(meshes, options);
}

WedgeMesh read(Ladder& ladder, std::uint32_t step, std::uint32_t mesh = 0) {
  WedgeMesh out;
  ladder.read(mesh, step, out);
  return out;
}

bool same(WedgeMesh const& a, WedgeMesh const& b) {
  return a.vertices == b.vertices && a.normals == b.normals && a.uvs == b.uvs && a.position_of == b.position_of &&
         a.faces == b.faces && a.set_begin == b.set_begin && a.lowest_position == b.lowest_position &&
         a.position_count == b.position_count;
}

// How many faces each edge has, by position.
std::map<std::pair<std::uint32_t, std::uint32_t>, int> edges_of(WedgeMesh const& mesh) {
  std::map<std::pair<std::uint32_t, std::uint32_t>, int> edges;
  for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const a = mesh.position_of[mesh.faces[f + k]];
      std::uint32_t const b = mesh.position_of[mesh.faces[f + (k + 1) % 3]];
      ++edges[{std::min(a, b), std::max(a, b)}];
    }
  }
  return edges;
}

int count_edges(WedgeMesh const& mesh, auto&& predicate) {
  int count = 0;
  for (auto const& [edge, faces] : edges_of(mesh)) count += predicate(faces) ? 1 : 0;
  return count;
}

int non_manifold_edges(WedgeMesh const& mesh) {
  return count_edges(mesh, [](int faces) { return faces > 2; });
}
int boundary_edges(WedgeMesh const& mesh) {
  return count_edges(mesh, [](int faces) { return faces == 1; });
}

std::array<float, 3> position(WedgeMesh const& mesh, std::uint32_t vertex) {
  return {mesh.vertices[3 * vertex], mesh.vertices[3 * vertex + 1], mesh.vertices[3 * vertex + 2]};
}

std::set<std::array<float, 3>> boundary_positions(WedgeMesh const& mesh) {
  std::vector<std::uint32_t> vertex_at(mesh.position_count);
  for (std::uint32_t v = 0; v < mesh.vertex_count(); ++v) vertex_at[mesh.position_of[v]] = v;
  std::set<std::array<float, 3>> result;
  for (auto const& [edge, faces] : edges_of(mesh)) {
    if (faces != 1) continue;
    result.insert(position(mesh, vertex_at[edge.first]));
    result.insert(position(mesh, vertex_at[edge.second]));
  }
  return result;
}

using Segment = std::set<std::array<float, 3>>;

// The edges of a mesh by their places: those of so many faces, or all (0).
std::set<Segment> segments(WedgeMesh const& mesh, int faces) {
  std::map<Segment, int> counts;
  for (std::size_t c = 0; c < mesh.faces.size(); ++c) {
    std::uint32_t const end = mesh.faces[c % 3 == 2 ? c - 2 : c + 1];
    ++counts[{position(mesh, mesh.faces[c]), position(mesh, end)}];
  }
  std::set<Segment> result;
  for (auto const& [segment, count] : counts) {
    if (faces == 0 || count == faces) result.insert(segment);
  }
  return result;
}

// Steps worth looking at: all of a short ladder, else every few and both ends.
std::vector<std::uint32_t> some_steps(Ladder const& ladder) {
  std::vector<std::uint32_t> steps;
  std::uint32_t const stride = std::max(1U, ladder.step_count() / 60);
  for (std::uint32_t step = 0; step < ladder.step_count(); step += stride) steps.push_back(step);
  steps.push_back(ladder.step_count());
  return steps;
}

double area2(std::array<float, 3> const& a, std::array<float, 3> const& b, std::array<float, 3> const& c) {
  return (double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
         (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]});
}

TEST(LadderTest, EveryStepOfEveryMeshIsValid) {
  for (Animal const& animal : zoo()) {
    SCOPED_TRACE(animal.name);
    ASSERT_EQ(validate(animal.mesh), "");
    auto const ladder = build(animal.mesh);
    for (std::uint32_t const step : some_steps(*ladder)) {
      WedgeMesh const mesh = read(*ladder, step);
      ASSERT_EQ(validate(mesh), "") << "step " << step;
      ASSERT_EQ(mesh.face_count(), ladder->face_count(step));
      ASSERT_EQ(mesh.uvs.size() / 2, animal.mesh.uvs.empty() ? 0 : mesh.vertex_count());
      ASSERT_EQ(mesh.normals.size() / 3, animal.mesh.normals.empty() ? 0 : mesh.vertex_count());
      ASSERT_EQ(mesh.set_begin.size(), animal.mesh.set_begin.size());
    }
  }
}

TEST(LadderTest, FaceCountsFallWithEveryStep) {
  for (Animal const& animal : zoo()) {
    SCOPED_TRACE(animal.name);
    auto const ladder = build(animal.mesh);
    EXPECT_EQ(ladder->face_count(0), animal.mesh.face_count());
    for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
      ASSERT_LT(ladder->face_count(step), ladder->face_count(step - 1));
    }
    EXPECT_GT(ladder->face_count(ladder->step_count()), 0U);
  }
}

TEST(LadderTest, NoStepHasMoreNonManifoldEdgesThanTheOneBefore) {
  for (Animal const& animal : zoo()) {
    SCOPED_TRACE(animal.name);
    auto const ladder = build(animal.mesh);
    int before = non_manifold_edges(animal.mesh);
    for (std::uint32_t step = 0; step <= ladder->step_count(); ++step) {
      int const now = non_manifold_edges(read(*ladder, step));
      ASSERT_LE(now, before) << "step " << step;
      before = now;
    }
  }
}

TEST(LadderTest, ClosedStaysClosed) {
  for (Animal const& animal : zoo()) {
    if (boundary_edges(animal.mesh) != 0) continue;
    SCOPED_TRACE(animal.name);
    auto const ladder = build(animal.mesh);
    for (std::uint32_t const step : some_steps(*ladder)) ASSERT_EQ(boundary_edges(read(*ladder, step)), 0) << step;
  }
}

TEST(LadderTest, AStepIsTheSameWhateverWasReadBefore) {
  for (Animal const& animal : zoo()) {
    SCOPED_TRACE(animal.name);
    auto const ladder = build(animal.mesh);
    auto const other = build(animal.mesh);
    std::vector<std::uint32_t> const steps = some_steps(*ladder);
    std::vector<WedgeMesh> forward;
    for (std::uint32_t const step : steps) forward.push_back(read(*ladder, step));
    std::uint32_t pick = 1;
    for (std::size_t i = 0; i < steps.size(); ++i) {
      pick = pick * 1664525U + 1013904223U;
      std::size_t const k = (pick >> 8) % steps.size();
      ASSERT_TRUE(same(read(*ladder, steps[k]), forward[k]));
      ASSERT_TRUE(same(read(*other, steps[k]), forward[k]));
    }
  }
}

TEST(LadderTest, StepZeroIsTheMeshItself) {
  for (Animal const& animal : zoo()) {
    auto const ladder = build(animal.mesh);
    read(*ladder, ladder->step_count());
    EXPECT_TRUE(same(read(*ladder, 0), animal.mesh)) << animal.name;
  }
}

TEST(LadderTest, ReadsBeyondTheEndGiveTheEnd) {
  WedgeMesh const mesh = test::sphere(6, 8);
  auto const ladder = build(mesh);
  EXPECT_TRUE(same(read(*ladder, 0xFFFFFFFF), read(*ladder, ladder->step_count())));
}

TEST(LadderTest, GoesToTheMostFacesThatAreNoMoreThanAsked) {
  WedgeMesh const mesh = test::terrain(16, 7);
  auto const ladder = build(mesh);
  for (std::uint32_t wanted = 0; wanted <= mesh.face_count() + 1; ++wanted) {
    std::uint32_t const step = ladder->step_for_face_count(wanted);
    if (ladder->face_count(ladder->step_count()) > wanted) {
      EXPECT_EQ(step, ladder->step_count());
      continue;
    }
    EXPECT_LE(ladder->face_count(step), wanted);
    if (step > 0) {
      EXPECT_GT(ladder->face_count(step - 1), wanted);
    }
  }
}

TEST(LadderTest, GoesDownToTheSimplestMeshOfItsKind) {
  auto const coarsest = [](WedgeMesh const& mesh) {
    auto const ladder = build(mesh);
    return ladder->face_count(ladder->step_count());
  };
  EXPECT_EQ(coarsest(test::sphere(12, 16)), 4U);
  EXPECT_EQ(coarsest(test::cube(6)), 4U);
  EXPECT_EQ(coarsest(test::plane(12)), 1U);
  // The smallest torus has 14 faces; a few more are left where no edge of it may go.
  EXPECT_LE(coarsest(test::torus(16, 12)), 24U);
  // Components go whole once nothing else is cheaper; the last one stays.
  EXPECT_EQ(coarsest(test::many_components(20)), 4U);
  EXPECT_EQ(coarsest(test::textured_sphere(12, 16)), 4U);
  // Parts that come loose from their component go too.
  for (std::uint32_t seed = 1; seed <= 12; ++seed) EXPECT_EQ(coarsest(test::soup(200, 150, seed)), 1U) << seed;
}

TEST(LadderTest, FlatRegionsGoWithoutError) {
  for (std::uint32_t const cells : {12U, 40U}) {
    WedgeMesh const mesh = test::plane(cells);
    auto const ladder = build(mesh);
    WedgeMesh const two = read(*ladder, ladder->step_for_face_count(2));
    ASSERT_EQ(two.face_count(), 2U);
    double area = 0;
    for (std::size_t f = 0; f < 6; f += 3) {
      area += area2(position(two, two.faces[f]), position(two, two.faces[f + 1]), position(two, two.faces[f + 2])) / 2;
    }
    EXPECT_NEAR(area, 1, 1e-5);
  }
  WedgeMesh const mesh = test::cube(10);
  auto const ladder = build(mesh);
  WedgeMesh const twelve = read(*ladder, ladder->step_for_face_count(12));
  ASSERT_EQ(twelve.face_count(), 12U);
  for (std::uint32_t v = 0; v < twelve.vertex_count(); ++v) {
    for (float const x : position(twelve, v)) EXPECT_NEAR(std::min(std::abs(x), std::abs(x - 1)), 0, 1e-6);
  }
}

TEST(LadderTest, LockedBoundariesNeitherMoveNorGo) {
  LadderOptions options;
  options.lock_boundaries = true;
  for (Animal const& animal : zoo()) {
    SCOPED_TRACE(animal.name);
    auto const boundary = boundary_positions(animal.mesh);
    int const edge_count = boundary_edges(animal.mesh);
    auto const ladder = build(animal.mesh, options);
    for (std::uint32_t const step : some_steps(*ladder)) {
      WedgeMesh const mesh = read(*ladder, step);
      ASSERT_EQ(boundary_positions(mesh), boundary) << step;
      ASSERT_EQ(boundary_edges(mesh), edge_count) << step;
    }
  }
  WedgeMesh const mesh = test::plane(12);
  auto const ladder = build(mesh, options);
  EXPECT_GT(ladder->end().locked_boundary, 0U);
  EXPECT_EQ(read(*ladder, ladder->step_count()).face_count(), 46U);  // 48 boundary vertices, nothing inside
}

// Where faces lie back to back, two of them can leave a boundary edge at once.
TEST(LadderTest, LockedBoundariesKeepTheirEdgesBesideFacesBackToBack) {
  LadderOptions options;
  options.lock_boundaries = true;
  int locked = 0;
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    WedgeMesh const plain = test::sphere(4 + seed % 5, 4 + seed % 6);
    std::vector<std::uint32_t> triangles;
    std::uint32_t state = seed;
    auto const one_in = [&state](std::uint32_t n) { return (state = state * 1664525U + 1013904223U) / 65536 % n == 0; };
    for (std::size_t f = 0; f < plain.faces.size(); f += 3) {
      std::uint32_t const* const v = &plain.faces[f];
      if (!one_in(12)) triangles.insert(triangles.end(), {v[0], v[1], v[2]});
      if (!one_in(3)) triangles.insert(triangles.end(), {v[0], v[2], v[1]});
    }
    WedgeMesh const mesh = test::from_triangles(plain.vertices, triangles);
    std::set<Segment> const boundary = segments(mesh, 1);
    locked += boundary.empty() ? 0 : 1;
    auto const ladder = build(mesh, options);
    for (std::uint32_t const step : {ladder->step_count() / 2, ladder->step_count()}) {
      std::set<Segment> const now = segments(read(*ladder, step), 0);
      ASSERT_TRUE(std::ranges::includes(now, boundary)) << step;
    }
  }
  EXPECT_GT(locked, 50);
}

TEST(LadderTest, NothingTurnsOverInXY) {
  LadderOptions options;
  options.prevent_xy_foldovers = true;
  for (WedgeMesh const& mesh : {test::terrain(16, 7), test::sphere(12, 16), test::cube(6)}) {
    auto const ladder = build(mesh, options);
    auto const signs = [](WedgeMesh const& m) {
      int up = 0;
      int down = 0;
      for (std::size_t f = 0; f < m.faces.size(); f += 3) {
        double const a = area2(position(m, m.faces[f]), position(m, m.faces[f + 1]), position(m, m.faces[f + 2]));
        up += a > 0 ? 1 : 0;
        down += a < 0 ? 1 : 0;
      }
      return std::pair{up, down};
    };
    auto before = signs(mesh);
    for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
      auto const now = signs(read(*ladder, step));
      // Faces only vanish; none changes sides.
      ASSERT_LE(now.first, before.first);
      ASSERT_LE(now.second, before.second);
      before = now;
    }
    EXPECT_LT(ladder->face_count(ladder->step_count()), mesh.face_count() / 2);
  }
}

double uv_area(WedgeMesh const& mesh, std::size_t corner) {
  auto const uv = [&](std::size_t k, std::size_t i) { return double{mesh.uvs[2 * mesh.faces[corner + k] + i]}; };
  return (uv(1, 0) - uv(0, 0)) * (uv(2, 1) - uv(0, 1)) - (uv(2, 0) - uv(0, 0)) * (uv(1, 1) - uv(0, 1));
}

TEST(LadderTest, NothingTurnsOverInUVSpace) {
  LadderOptions options;
  options.prevent_uv_foldovers = true;
  for (WedgeMesh const& mesh : {test::textured_sphere(12, 16), test::charted_cube(6)}) {
    auto const ladder = build(mesh, options);
    auto const count = [](WedgeMesh const& m, int sign) {
      int n = 0;
      for (std::size_t f = 0; f < m.faces.size(); f += 3) n += uv_area(m, f) * sign > 0 ? 1 : 0;
      return n;
    };
    int up = count(mesh, 1);
    int down = count(mesh, -1);
    for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
      WedgeMesh const now = read(*ladder, step);
      ASSERT_LE(count(now, 1), up);
      ASSERT_LE(count(now, -1), down);
      up = count(now, 1);
      down = count(now, -1);
    }
    EXPECT_LT(ladder->face_count(ladder->step_count()), mesh.face_count() / 2);
  }
}

TEST(LadderTest, NoFaceShowsTwoCharts) {
  // The charts of the cube lie in the cells of a three by two atlas.
  WedgeMesh const mesh = test::charted_cube(6);
  auto const ladder = build(mesh);
  for (std::uint32_t step = 0; step <= ladder->step_count(); ++step) {
    WedgeMesh const now = read(*ladder, step);
    for (std::size_t f = 0; f < now.faces.size(); f += 3) {
      std::set<std::pair<int, int>> cells;
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const v = now.faces[f + k];
        cells.insert({static_cast<int>(now.uvs[2 * v] * 3), static_cast<int>(now.uvs[2 * v + 1] * 2)});
      }
      ASSERT_EQ(cells.size(), 1U) << "step " << step;
    }
  }
}

TEST(LadderTest, UVsAndNormalsFollowTheSurface) {
  WedgeMesh const mesh = test::textured_sphere(24, 32);
  auto const ladder = build(mesh);
  WedgeMesh const now = read(*ladder, ladder->step_for_face_count(mesh.face_count() / 4));
  for (std::uint32_t v = 0; v < now.vertex_count(); ++v) {
    auto const p = position(now, v);
    float const length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    double cosine = 0;
    double norm = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      cosine += double{p[k] / length} * double{now.normals[3 * v + k]};
      norm += double{now.normals[3 * v + k]} * double{now.normals[3 * v + k]};
    }
    EXPECT_GT(cosine, 0.97);
    EXPECT_NEAR(norm, 1, 1e-5);
    EXPECT_NEAR(std::acos(std::clamp(p[2] / length, -1.0F, 1.0F)) / 3.14159265F, now.uvs[2 * v + 1], 0.05);
  }
}

TEST(LadderTest, FaceSetsKeepTheirBorder) {
  WedgeMesh const mesh = test::textured_sphere(24, 32);
  auto const ladder = build(mesh);
  WedgeMesh const now = read(*ladder, ladder->step_for_face_count(mesh.face_count() / 4));
  ASSERT_EQ(now.set_begin.size(), 3U);
  for (std::uint32_t f = 0; f < now.face_count(); ++f) {
    float z = 0;
    for (std::size_t k = 0; k < 3; ++k) z += position(now, now.faces[3 * f + k])[2] / 3;
    if (f < now.set_begin[1]) {
      EXPECT_GT(z, 0);
    } else {
      EXPECT_LT(z, 0);
    }
  }
}

TEST(LadderTest, DroppedAttributesFreeTheReduction) {
  WedgeMesh const textured = test::charted_cube(6);
  WedgeMesh const bare = test::cube(6);
  auto const with = build(textured);
  auto const without = build(bare);
  EXPECT_EQ(without->face_count(without->step_count()), 4U);
  EXPECT_LE(without->face_count(without->step_count()), with->face_count(with->step_count()));
}

TEST(LadderTest, NamesTheLowestPositionThatWentIntoEach) {
  WedgeMesh const mesh = test::sphere(6, 8);
  auto const ladder = build(mesh);
  // Walking down the ladder, a position's lowest number is that of one of the step before.
  std::set<std::uint32_t> before;
  for (std::uint32_t i = 0; i < mesh.position_count; ++i) before.insert(i);
  for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
    WedgeMesh const now = read(*ladder, step);
    ASSERT_EQ(now.lowest_position.size(), now.position_count);
    std::set<std::uint32_t> const lowest(now.lowest_position.begin(), now.lowest_position.end());
    ASSERT_EQ(lowest.size(), now.position_count);
    ASSERT_TRUE(std::includes(before.begin(), before.end(), lowest.begin(), lowest.end()));
    before = lowest;
  }
  EXPECT_TRUE(before.contains(0));
}

TEST(LadderTest, OneLadderOverSeveralMeshesOrdersByError) {
  WedgeMesh const flat = test::plane(12);
  WedgeMesh const round = test::sphere(12, 16);
  WedgeMesh const empty;
  WedgeMesh const* const meshes[] = {&flat, &empty, &round};
  auto const ladder = Ladder::build(meshes, {});
  // The plane costs nothing: it is nearly gone before the sphere is touched.
  std::uint32_t step = 0;
  while (read(*ladder, step + 1, 2).face_count() == round.face_count()) ++step;
  EXPECT_LT(read(*ladder, step, 0).face_count(), 60U);
  for (std::uint32_t const s : some_steps(*ladder)) {
    ASSERT_EQ(validate(read(*ladder, s, 0)), "");
    ASSERT_EQ(read(*ladder, s, 1).face_count(), 0U);
    ASSERT_EQ(validate(read(*ladder, s, 2)), "");
    ASSERT_EQ(read(*ladder, s, 0).face_count() + read(*ladder, s, 2).face_count(), ladder->face_count(s));
  }
}

TEST(LadderTest, AMeshWithoutFacesHasALadderOfNoSteps) {
  WedgeMesh mesh;
  mesh.set_begin = {0, 0};
  auto const ladder = build(mesh);
  EXPECT_EQ(ladder->step_count(), 0U);
  EXPECT_EQ(ladder->face_count(0), 0U);
  EXPECT_EQ(ladder->step_for_face_count(0), 0U);
  EXPECT_EQ(read(*ladder, 0).face_count(), 0U);
  EXPECT_EQ(Ladder::build({}, {})->step_count(), 0U);
}

TEST(LadderTest, OneTriangleStays) {
  WedgeMesh const mesh = test::from_triangles({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
  EXPECT_EQ(build(mesh)->step_count(), 0U);
}

TEST(LadderTest, FacesWithoutAreaGoFirst) {
  WedgeMesh const mesh = test::with_flat_face();
  auto const ladder = build(mesh);
  auto const has_flat = [](WedgeMesh const& m) {
    for (std::size_t f = 0; f < m.faces.size(); f += 3) {
      auto const a = position(m, m.faces[f]), b = position(m, m.faces[f + 1]), c = position(m, m.faces[f + 2]);
      if (a[1] == 0 && b[1] == 0 && c[1] == 0) return true;
    }
    return false;
  };
  ASSERT_TRUE(has_flat(read(*ladder, 0)));
  EXPECT_FALSE(has_flat(read(*ladder, 1)));
}

TEST(LadderTest, NoToleranceIsNoTolerance) {
  WedgeMesh const mesh = test::terrain(10, 3);
  auto const plain = build(mesh);
  for (float const tolerance : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    LadderOptions options;
    options.tolerance = tolerance;
    auto const ladder = build(mesh, options);
    EXPECT_EQ(ladder->step_count(), plain->step_count());
    EXPECT_EQ(ladder->deviation_bound(0), 0);
    EXPECT_TRUE(std::isnan(ladder->deviation_bound(1)));
  }
}

TEST(LadderTest, AToleranceEndsTheLadder) {
  WedgeMesh const mesh = test::sphere(16, 24);
  std::uint32_t faces = mesh.face_count() + 1;
  for (float const tolerance : {0.002F, 0.01F, 0.05F}) {
    LadderOptions options;
    options.tolerance = tolerance;
    auto const ladder = build(mesh, options);
    std::uint32_t const last = ladder->step_count();
    EXPECT_LT(ladder->face_count(last), faces) << tolerance;
    faces = ladder->face_count(last);
    EXPECT_GT(faces, 4U);
    EXPECT_GT(ladder->end().tolerance, 0U);
    double before = 0;
    for (std::uint32_t step = 0; step <= last; ++step) {
      EXPECT_GE(ladder->deviation_bound(step), before);
      before = ladder->deviation_bound(step);
    }
    EXPECT_LE(before, double{tolerance});
    // No vertex of the result is further than the tolerance from the unit sphere's triangles, which lie inside it.
    WedgeMesh const now = read(*ladder, last);
    for (std::uint32_t v = 0; v < now.vertex_count(); ++v) {
      auto const p = position(now, v);
      EXPECT_LE(std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]), 1 + tolerance);
    }
  }
}

TriangleBvh surface_of(WedgeMesh const& mesh) {
  return {mesh.vertices, mesh.faces};
}

TEST(LadderTest, NoStepIsFurtherFromTheOriginalThanTheTolerance) {
  for (Animal const& animal : zoo()) {
    for (float const tolerance : {0.003F, 0.03F, 0.3F}) {
      SCOPED_TRACE(animal.name);
      LadderOptions options;
      options.tolerance = tolerance;
      auto const ladder = build(animal.mesh, options);
      TriangleBvh const original = surface_of(animal.mesh);
      std::uint32_t const last = ladder->step_count();
      for (std::uint32_t const step : {last / 2, last}) {
        HausdorffBounds const distance = hausdorff_distance(original, surface_of(read(*ladder, step)));
        ASSERT_LE(distance.lower(), ladder->deviation_bound(step) + 1e-12) << tolerance << " at step " << step;
        ASSERT_LE(ladder->deviation_bound(step), double{tolerance});
      }
    }
  }
}

TEST(LadderTest, ScaleAndPlaceDoNotChangeTheLadder) {
  WedgeMesh const mesh = test::terrain(12, 5);
  auto const plain = build(mesh);
  for (float const scale : {0x1p-20F, 0x1p20F}) {
    WedgeMesh scaled = mesh;
    for (float& x : scaled.vertices) x *= scale;
    auto const ladder = build(scaled);
    ASSERT_EQ(ladder->step_count(), plain->step_count());
    WedgeMesh expected = read(*plain, plain->step_count() / 2);
    for (float& x : expected.vertices) x *= scale;
    EXPECT_TRUE(same(read(*ladder, ladder->step_count() / 2), expected));
  }
}

}  // namespace
}  // namespace mirel::engine
