#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "standalone/compare/closest_point.h"
#include "tests/unit/compare/meshes.h"

namespace mirel::compare::test {
namespace {

using engine::Vec;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::vector<float> distances(Mesh const& mesh, std::vector<float> const& points, std::uint32_t threads = 1) {
  std::vector<float> result(points.size() / 3, -1);
  EXPECT_EQ(mirel_compare_distances(handle(mesh).get(), points.data(), static_cast<std::uint32_t>(result.size()),
                                    threads, result.data()),
            kMirelCompareOk);
  return result;
}

// The right triangle (0,0) (4,0) (0,3) in the plane z = 0.
Mesh right_triangle() {
  Mesh mesh;
  mesh.add_point(0, 0, 0);
  mesh.add_point(4, 0, 0);
  mesh.add_point(0, 3, 0);
  mesh.add_face(0, 1, 2);
  return mesh;
}

TEST(Distances, InEveryRegionOfATriangle) {
  auto const found = distances(right_triangle(), {1,  1,  2,    // above the inside
                                                  1,  1,  -2,   // below it
                                                  1,  1,  0,    // on it
                                                  2,  -3, 0,    // beyond an edge
                                                  -5, 1,  0,    // beyond another
                                                  4,  3,  0,    // beyond the longest: 12 / 5 from the line
                                                  -3, -4, 0,    // beyond a corner
                                                  7,  -4, 0,    //
                                                  0,  8,  12,   //
                                                  4,  0,  0});  // on a corner
  std::vector<float> const expected{2, 2, 0, 3, 5, 2.4F, 5, 5, 13, 0};
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-6) << "point " << i;
}

TEST(Distances, OfDegenerateFacesAreThoseOfTheSegmentOrPoint) {
  Mesh segment;
  segment.add_point(0, 0, 0);
  segment.add_point(2, 0, 0);
  segment.add_point(1, 0, 0);
  segment.add_face(0, 1, 2);
  EXPECT_NEAR(distances(segment, {1, 3, 0})[0], 3, 1e-6);
  EXPECT_NEAR(distances(segment, {5, 4, 0})[0], 5, 1e-6);
  Mesh point;
  point.add_point(1, 1, 1);
  point.add_face(0, 0, 0);
  EXPECT_NEAR(distances(point, {1, 4, 5})[0], 5, 1e-6);
}

TEST(Distances, AreExactNearASurfaceFarFromTheOrigin) {
  Mesh far = plane(4, 0);
  for (std::size_t i = 0; i < far.positions.size(); i += 3) far.positions[i] += 1e6F;
  EXPECT_NEAR(distances(far, {1e6F + 0.5F, 0.3F, 1e-3F})[0], 1e-3, 1e-9);
}

TEST(Distances, OfPointsThatAreNotFiniteAreNaN) {
  auto const found = distances(cube(), {kNaN, 0, 0, 0, kInfinity, 0, 0, 0, -kInfinity, 0.5F, 0.5F, 3});
  EXPECT_TRUE(std::isnan(found[0]));
  EXPECT_TRUE(std::isnan(found[1]));
  EXPECT_TRUE(std::isnan(found[2]));
  EXPECT_NEAR(found[3], 2, 1e-6);
}

TEST(Distances, AgreeWithBruteForceOnAnyMesh) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> coordinate(-1, 1);
  Mesh mesh;
  for (std::uint32_t i = 0; i < 300; ++i) mesh.add_point(coordinate(random), coordinate(random), coordinate(random));
  for (std::uint32_t i = 0; i < 900; ++i) {
    auto const vertex = [&] { return static_cast<std::uint32_t>(random() % 300); };
    mesh.add_face(vertex(), vertex(), vertex());  // some of them degenerate
  }
  std::vector<float> points;
  for (std::size_t i = 0; i < std::size_t{3} * 2000; ++i) points.push_back(2 * coordinate(random));
  auto const found = distances(mesh, points);
  for (std::size_t i = 0; i < found.size(); ++i) {
    Vec const p = engine::load(&points[3 * i]);
    double best = std::numeric_limits<double>::infinity();
    for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
      auto const corner = [&](std::size_t k) {
        return engine::load(&mesh.positions[3 * std::size_t{mesh.faces[f + k]}]);
      };
      best = std::min(best, length(p - closest_point_of_triangle(p, corner(0), corner(1), corner(2))));
    }
    ASSERT_NEAR(found[i], best, 1e-6) << "point " << i;
  }
}

TEST(Distances, DoNotDependOnTheNumberOfThreads) {
  Mesh const mesh = sphere(1, 30, 60);
  std::vector<float> points = sphere(1.3, 71, 67).positions;
  EXPECT_EQ(distances(mesh, points, 1), distances(mesh, points, 3));
}

TEST(Distances, OfNoPointsAreNone) {
  EXPECT_EQ(mirel_compare_distances(handle(cube()).get(), nullptr, 0, 1, nullptr), kMirelCompareOk);
}

TEST(Distances, RefuseBadArguments) {
  float const point[3] = {0, 0, 0};
  float distance = 7;
  Handle const mesh = handle(cube());
  EXPECT_EQ(mirel_compare_distances(nullptr, point, 1, 1, &distance), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_distances(mesh.get(), nullptr, 1, 1, &distance), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_distances(mesh.get(), point, 1, 1, nullptr), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_distances(mesh.get(), point, 1, 65, &distance), kMirelCompareBadArgument);
  EXPECT_EQ(distance, 7);
}

TEST(ClosestPoint, IsOnTheTriangle) {
  Vec const a{0, 0, 0};
  Vec const b{4, 0, 0};
  Vec const c{0, 3, 0};
  Vec const inside = closest_point_of_triangle({1, 1, 5}, a, b, c);
  EXPECT_NEAR(length(inside - Vec{1, 1, 0}), 0, 1e-12);
  Vec const edge = closest_point_of_triangle({2, -1, 1}, a, b, c);
  EXPECT_NEAR(length(edge - Vec{2, 0, 0}), 0, 1e-12);
  Vec const corner = closest_point_of_triangle({9, -1, 1}, a, b, c);
  EXPECT_NEAR(length(corner - b), 0, 1e-12);
}

}  // namespace
}  // namespace mirel::compare::test
