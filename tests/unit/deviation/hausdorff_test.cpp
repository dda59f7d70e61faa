#include "standalone/engine/deviation/hausdorff.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "tests/unit/deviation/collapsing_mesh.h"

namespace mirel::engine {
namespace {

using test::grid;
using test::Mesh;
using test::sphere;

HausdorffBounds between(Mesh const& a, Mesh const& b, DistanceOptions const& options = {}) {
  return hausdorff_distance(TriangleBvh(a.positions, a.faces), TriangleBvh(b.positions, b.faces), options);
}

Mesh triangle(double x0, double y0, double z0, double x1, double y1, double z1, double x2, double y2, double z2) {
  Mesh mesh;
  mesh.add_point(x0, y0, z0);
  mesh.add_point(x1, y1, z1);
  mesh.add_point(x2, y2, z2);
  mesh.add_face(0, 1, 2);
  return mesh;
}

void expect_encloses(DistanceBounds const& bounds, double exact, double accuracy) {
  EXPECT_LE(bounds.lower, exact * (1 + 1e-6) + 1e-9);
  EXPECT_GE(bounds.upper, exact * (1 - 1e-6) - 1e-9);
  EXPECT_LE(bounds.upper, bounds.lower * (1 + accuracy) + 1e-9);
}

TEST(Hausdorff, OfAMeshAndItselfIsZero) {
  Mesh const mesh = sphere(1, 20, 30);
  HausdorffBounds const bounds = between(mesh, mesh);
  EXPECT_LE(bounds.lower(), 1e-15);
  EXPECT_LE(bounds.upper(), 1e-11);
}

TEST(Hausdorff, OfTwoTessellationsOfOnePlaneIsZero) {
  // Neither surface's edges lie on the other's; pieces must be cut along them, not down to nothing.
  auto const flat = [](double, double) { return 0.0; };
  HausdorffBounds const bounds = between(grid(17, flat), grid(10, flat));
  EXPECT_LE(bounds.upper(), 1e-7);
}

TEST(Hausdorff, OfParallelPlanesIsTheirDistance) {
  auto const bounds =
      between(grid(5, [](double, double) { return 0.0; }), grid(7, [](double, double) { return 0.25; }));
  expect_encloses(bounds.first_to_second, 0.25, 0.01);
  expect_encloses(bounds.second_to_first, 0.25, 0.01);
}

TEST(Hausdorff, DirectionsDiffer) {
  // A large triangle and one of its corners cut out: everything of the small one lies on the large one, but the
  // large one's corner (0, 2) is 1 from the nearest point (0, 1).
  auto const large = triangle(0, 0, 0, 2, 0, 0, 0, 2, 0);
  auto const small = triangle(0, 0, 0, 1, 0, 0, 0, 1, 0);
  HausdorffBounds const bounds = between(large, small);
  expect_encloses(bounds.first_to_second, 1, 0.01);
  EXPECT_LE(bounds.second_to_first.upper, 1e-11);
  EXPECT_NEAR(bounds.first_to_second.farthest[0] + bounds.first_to_second.farthest[1], 2, 0.05);
}

TEST(Hausdorff, FindsAFarthestPointInsideAFace) {
  // A square of two triangles above its own border strip: the centre is farthest, no corner is.
  //   The strip leaves a hole of half width 0.5 around (1, 1); from the centre to it: 0.5.
  Mesh const square = mirel::test::square();
  Mesh frame;
  double const low[4][2] = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  double const high[4][2] = {{0.5, 0.5}, {1.5, 0.5}, {1.5, 1.5}, {0.5, 1.5}};
  for (auto const& p : low) frame.add_point(p[0], p[1], 0);
  for (auto const& p : high) frame.add_point(p[0], p[1], 0);
  for (std::uint32_t i = 0; i < 4; ++i) {
    std::uint32_t const j = (i + 1) % 4;
    frame.add_face(i, j, 4 + j);
    frame.add_face(i, 4 + j, 4 + i);
  }
  HausdorffBounds const bounds = between(square, frame, {.relative_accuracy = 0.001});
  expect_encloses(bounds.first_to_second, 0.5, 0.001);
  EXPECT_LE(bounds.second_to_first.upper, 1e-11);
}

TEST(Hausdorff, EnclosesADenseSampling) {
  Mesh const fine = sphere(1, 30, 44);
  Mesh const coarse = sphere(1, 9, 13);
  for (double const accuracy : {0.1, 0.001}) {
    HausdorffBounds const bounds = between(fine, coarse, {.relative_accuracy = accuracy});
    double const there = test::sampled_distance(test::triangles_of(fine), test::triangles_of(coarse), 8);
    double const back = test::sampled_distance(test::triangles_of(coarse), test::triangles_of(fine), 48);
    EXPECT_LE(there, bounds.first_to_second.upper + 1e-12);
    EXPECT_LE(back, bounds.second_to_first.upper + 1e-12);
    EXPECT_NEAR(bounds.first_to_second.lower, there, (accuracy + 0.02) * there);
    EXPECT_NEAR(bounds.second_to_first.lower, back, (accuracy + 0.02) * back);
    EXPECT_LE(bounds.upper(), bounds.lower() * (1 + accuracy) + 1e-11);
  }
}

TEST(Hausdorff, TellsOnlyTheLargerDirectionWhereThatIsAsked) {
  // A patch of a sphere: everything of it lies on the sphere, whose far side is two away.
  Mesh const whole = sphere(1, 30, 44);
  Mesh patch = whole;
  patch.faces.resize(300);
  HausdorffBounds const both = between(whole, patch, {.relative_accuracy = 0.05});
  HausdorffBounds const larger = between(whole, patch, {.relative_accuracy = 0.05, .only_larger = true});
  EXPECT_EQ(larger.lower(), both.lower());
  EXPECT_EQ(larger.upper(), both.upper());
  EXPECT_GE(larger.second_to_first.upper, both.second_to_first.lower);
  EXPECT_LE(larger.second_to_first.upper, larger.lower() * 1.05 + 1e-11);
}

TEST(Hausdorff, DoesNotTellShortDistancesApart) {
  Mesh const fine = sphere(1, 30, 44);
  Mesh const coarse = sphere(1, 9, 13);
  double const exact = between(fine, coarse, {.relative_accuracy = 1e-4}).lower();
  for (double const part : {0.5, 2.0}) {
    DistanceBounds const bounds =
        one_sided_distance(TriangleBvh(fine.positions, fine.faces), TriangleBvh(coarse.positions, coarse.faces),
                           {.relative_accuracy = 0.05, .least = part * exact});
    EXPECT_GE(bounds.upper, between(fine, coarse, {.relative_accuracy = 1e-4}).first_to_second.lower);
    EXPECT_LE(bounds.upper, std::max(bounds.lower, part * exact) * 1.05 + 1e-11);
  }
}

// Between these, cutting along the edges of whichever triangle is nearest takes slice after slice from the piece and
// leaves it as long as it was.
TEST(Hausdorff, EndsWherePiecesOnlyGetThinner) {
  auto const piece = triangle(-1.76776695, 1.76776695, -0.866025388, -2.30969882, 0.95670861, -0.866025388, -2.6478622,
                              1.09678042, -0.5);
  Mesh surface;
  for (auto const& p :
       {std::array{-0.95670861, 2.30969882, -0.866025388}, std::array{-2.13951945, 1.32767105, -0.886847913},
        std::array{-2.02658606, 2.02658606, -0.5}, std::array{-2.6478622, 1.09678042, -0.5},
        std::array{-2.5, 0.0, -0.866025388}, std::array{-2.86602545, 0.0, -0.5}}) {
    surface.add_point(p[0], p[1], p[2]);
  }
  surface.add_face(0, 1, 2);
  surface.add_face(1, 3, 2);
  surface.add_face(1, 4, 5);
  DistanceBounds const bounds =
      one_sided_distance(TriangleBvh(piece.positions, piece.faces), TriangleBvh(surface.positions, surface.faces),
                         {.relative_accuracy = 0.05, .max_queries = 20'000});
  EXPECT_LE(bounds.upper, bounds.lower * 1.05 + 1e-11);
  EXPECT_GE(bounds.upper, test::sampled_distance(test::triangles_of(piece), test::triangles_of(surface), 40));
}

TEST(Hausdorff, HoldsWhenTheWorkIsCutShort) {
  Mesh const fine = sphere(1, 30, 44);
  Mesh const coarse = sphere(1, 9, 13);
  HausdorffBounds const exact = between(fine, coarse, {.relative_accuracy = 0.001});
  HausdorffBounds const rough = between(fine, coarse, {.relative_accuracy = 1e-9, .max_queries = 1});
  EXPECT_LE(rough.lower(), exact.upper());
  EXPECT_GE(rough.upper(), exact.lower());
}

TEST(Hausdorff, EmptyMeshes) {
  Mesh const some = triangle(0, 0, 0, 1, 0, 0, 0, 1, 0);
  Mesh const none;
  EXPECT_EQ(between(none, none).upper(), 0.0);
  EXPECT_EQ(between(some, none).first_to_second.lower, std::numeric_limits<double>::infinity());
  EXPECT_EQ(between(some, none).second_to_first.upper, 0.0);
}

TEST(Hausdorff, DegenerateTrianglesCountAsTheirEdges) {
  auto const segment = triangle(0, 0, 0, 1, 0, 0, 0.5, 0, 0);
  auto const point = triangle(0, 3, 0, 0, 3, 0, 0, 3, 0);
  HausdorffBounds const bounds = between(segment, point);
  expect_encloses(bounds.first_to_second, std::sqrt(10.0), 0.01);
  expect_encloses(bounds.second_to_first, 3, 0.01);
}

TEST(TriangleBvh, FindsTheNearestOfAllTriangles) {
  Mesh const mesh = grid(30, [](double x, double y) { return 0.2 * std::sin(9 * x) * std::cos(7 * y); });
  TriangleBvh const tree(mesh.positions, mesh.faces);
  EXPECT_EQ(tree.size(), mesh.face_count());
  auto const all = test::triangles_of(mesh);
  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(-0.5, 1.5);
  std::uint32_t hint = TriangleBvh::kNoSlot;
  for (int i = 0; i < 500; ++i) {
    std::array<double, 3> const p{coordinate(random), coordinate(random), coordinate(random)};
    double exact = std::numeric_limits<double>::infinity();
    for (auto const& t : all) exact = std::min(exact, test::reference_distance(p, t));
    Vec const v{p[0], p[1], p[2]};
    EXPECT_NEAR(tree.nearest(v).distance, exact, 1e-12);
    auto const hinted = tree.nearest(v, 10, 0, hint);
    EXPECT_NEAR(hinted.distance, exact, 1e-12);
    hint = hinted.slot;
    EXPECT_NEAR(test::reference_distance(p, all[tree.face_of(hint)]), exact, 1e-12);
    EXPECT_EQ(tree.nearest(v, 0.9 * exact).slot, TriangleBvh::kNoSlot);
    EXPECT_LE(tree.nearest(v, 10, 1.5 * exact).distance, 1.5 * exact);
  }
}

// All triangles around one vertex: every box that is parallel to the axes holds all that lies near there.
Mesh fan(std::uint32_t faces, double waves) {
  Mesh mesh;
  mesh.add_point(0, 0, 1);
  for (std::uint32_t i = 0; i < faces; ++i) {
    double const angle = 2 * std::numbers::pi * i / faces;
    mesh.add_point(std::cos(angle), std::sin(angle), waves * std::cos(9 * angle));
  }
  for (std::uint32_t i = 0; i < faces; ++i) mesh.add_face(0, 1 + i, 1 + (i + 1) % faces);
  return mesh;
}

TEST(TriangleBvh, FindsTheNearestOfSlivers) {
  Mesh mesh = fan(700, 0.1);
  // Slivers anywhere, some without any area.
  std::uint32_t state = 5;
  auto const unit = [&state] {
    state = state * 1664525U + 1013904223U;
    return static_cast<double>(state >> 8) / (1U << 24);
  };
  for (int i = 0; i < 300; ++i) {
    auto const first = static_cast<std::uint32_t>(mesh.positions.size() / 3);
    double const p[] = {unit(), unit(), unit()};
    double const d[] = {unit(), unit(), unit()};
    double const width = i % 10 == 0 ? 0 : 1e-4;
    mesh.add_point(p[0], p[1], p[2]);
    mesh.add_point(p[0] + d[0], p[1] + d[1], p[2] + d[2]);
    mesh.add_point(p[0] + d[0] / 2, p[1] + d[1] / 2 + width, p[2] + d[2] / 2);
    mesh.add_face(first, first + 1, first + 2);
  }
  TriangleBvh const tree(mesh.positions, mesh.faces);
  for (int i = 0; i < 2000; ++i) {
    Vec const v{3 * unit() - 1.5, 3 * unit() - 1.5, 2 * unit() - 0.5};
    double exact = std::numeric_limits<double>::infinity();
    for (std::uint32_t slot = 0; slot < tree.size(); ++slot) {
      exact = std::min(exact, std::sqrt(tree.squared_distance(slot, v)));
    }
    ASSERT_DOUBLE_EQ(tree.nearest(v).distance, exact);
    ASSERT_EQ(tree.nearest(v, 0.9 * exact).slot, TriangleBvh::kNoSlot);
  }
}

TEST(OrientedBox, LiesAlongItsTrianglesAndIsNoFartherThanThey) {
  std::vector<float> const corners = {0, 0, 0, 3, 4, 0, 3, 4, 0.5F, 0, 0, 0, 3, 4, 0.5F, 3, 4, 1};
  OrientedBox const box(corners);
  // 5 long, 1 high and flat, but for the turn of the longest edges.
  EXPECT_LT(box.half_area(), 8);
  EXPECT_LT(box.squared_distance({1.5, 2, 0.25}), 1e-12);
  Vec const beside{1.5 - 0.8, 2 + 0.6, 0.25};
  EXPECT_GT(box.squared_distance(beside), 0.5);
  for (std::size_t i = 0; i < corners.size(); i += 9) {
    double const exact =
        squared_distance_to_triangle(beside, load(&corners[i]), load(&corners[i + 3]), load(&corners[i + 6]));
    EXPECT_LE(box.squared_distance(beside), exact);
  }
}

TEST(OrientedBox, HoldsAllCorners) {
  std::uint32_t state = 9;
  auto const unit = [&state] {
    state = state * 1664525U + 1013904223U;
    return static_cast<double>(state >> 8) / (1U << 24);
  };
  for (int round = 0; round < 500; ++round) {
    std::vector<float> corners;
    for (int i = 0; i < 9 * (1 + round % 5); ++i)
      corners.push_back(static_cast<float>(unit() * (i % 3 == 2 ? 0.1 : 1)));
    OrientedBox const box(corners);
    for (std::size_t i = 0; i < corners.size(); i += 3) {
      // A little beside a corner, in any direction: no farther than it.
      Vec const aside{1e-3 * (unit() - 0.5), 1e-3 * (unit() - 0.5), 1e-3 * (unit() - 0.5)};
      ASSERT_LE(box.squared_distance(load(&corners[i]) + aside), dot(aside, aside)) << "round " << round;
    }
  }
}

TEST(OrientedBox, TakesTrianglesWithoutDirection) {
  std::vector<float> const point = {1, 2, 3, 1, 2, 3, 1, 2, 3};
  EXPECT_NEAR(OrientedBox(point).squared_distance({1, 2, 5}), 4, 1e-9);
  std::vector<float> const line = {0, 0, 0, 1, 0, 0, 2, 0, 0};
  EXPECT_NEAR(OrientedBox(line).squared_distance({1, 3, 4}), 25, 1e-9);
}

// Without boxes along the slivers this takes minutes.
TEST(Hausdorff, OfLargeFansIsFound) {
  Mesh const fine = fan(200000, 0.1);
  Mesh const coarse = fan(2000, 0.1);
  DistanceOptions options;
  options.relative_accuracy = 0.05;
  options.absolute_accuracy = 3e-7;
  HausdorffBounds const bounds = between(fine, coarse, options);
  // Chords of the rim against the rim: a waviness of 9 turns and a height of 0.1 besides the round.
  double const step = 2 * std::numbers::pi / 2000;
  EXPECT_GT(bounds.upper(), 0.2 * step * step / 8);
  EXPECT_LT(bounds.upper(), 9 * step * step / 8);
}

TEST(TriangleBvh, TellsInsideFromEdgesAtEitherEndOfTheNumberRange) {
  for (double const size : {3e38, 1e30, 1.0, 1e-30, 1e-36}) {
    Mesh const mesh = triangle(-size, -size, 0, size, -size, 0, 0, size, 0);
    TriangleBvh const tree(mesh.positions, mesh.faces);
    EXPECT_NEAR(tree.nearest({0.1 * size, -0.2 * size, 0.5 * size}).distance / size, 0.5, 1e-9) << size;
    EXPECT_NEAR(tree.nearest({0.1 * size, -0.2 * size, 0}).distance / size, 0, 1e-9) << size;
  }
}

TEST(TriangleBvh, LeavesOutWhatIsNoTriangle) {
  Mesh mesh = triangle(0, 0, 0, 1, 0, 0, 0, 1, 0);
  mesh.add_point(std::numeric_limits<double>::quiet_NaN(), 0, 0);
  mesh.add_face(0, 1, 3);
  mesh.add_face(0, 1, 99);
  TriangleBvh const tree(mesh.positions, mesh.faces);
  ASSERT_EQ(tree.size(), 1U);
  EXPECT_EQ(tree.face_of(0), 0U);
}

TEST(TriangleBvh, StandsManyTrianglesInOnePlace) {
  Mesh mesh = triangle(0, 0, 0, 1, 0, 0, 0, 1, 0);
  for (int i = 0; i < 5000; ++i) mesh.add_face(0, 1, 2);
  TriangleBvh const tree(mesh.positions, mesh.faces);
  EXPECT_EQ(tree.size(), 5001U);
  EXPECT_DOUBLE_EQ(tree.nearest({0.25, 0.25, -2}).distance, 2.0);
}

}  // namespace
}  // namespace mirel::engine
