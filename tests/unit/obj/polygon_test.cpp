#include "standalone/engine/obj/polygon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <numbers>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace mirel::engine {
namespace {

using Outline = std::vector<std::pair<double, double>>;

struct Cut {
  std::vector<std::uint32_t> triangles;
  bool complete = false;
};

// Puts the outline on a plane: 0 to 2 drop that axis, 3 is a slanted plane.
Cut cut(Outline const& outline, int plane = 2) {
  std::vector<float> positions;
  for (auto const& [x, y] : outline) {
    double const slanted = 2 * x - 3 * y;
    double const point[4][3] = {{5, x, y}, {y, 5, x}, {x, y, 5}, {x, y, slanted}};
    for (double const value : point[plane]) positions.push_back(static_cast<float>(value));
  }
  std::vector<std::uint32_t> vertices(outline.size());
  std::iota(vertices.begin(), vertices.end(), 0U);
  PolygonTriangulator triangulator;
  Cut result;
  result.complete = triangulator.cut(positions.data(), vertices);
  result.triangles.assign(triangulator.triangles().begin(), triangulator.triangles().end());
  return result;
}

double area(Outline const& outline, std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  auto const& [ax, ay] = outline[a];
  auto const& [bx, by] = outline[b];
  auto const& [cx, cy] = outline[c];
  return ((bx - ax) * (cy - ay) - (by - ay) * (cx - ax)) / 2;
}

// No triangle turns the other way and the areas add up: then none overlaps another.
void expect_exact_cover(Outline const& outline) {
  double whole = 0;
  for (std::uint32_t k = 2; k < outline.size(); ++k) whole += area(outline, 0, k - 1, k);
  for (int plane = 0; plane < 4; ++plane) {
    Cut const result = cut(outline, plane);
    EXPECT_TRUE(result.complete);
    ASSERT_EQ(result.triangles.size(), (outline.size() - 2) * 3);
    double sum = 0;
    for (std::size_t k = 0; k < result.triangles.size(); k += 3) {
      double const part = area(outline, result.triangles[k], result.triangles[k + 1], result.triangles[k + 2]);
      EXPECT_GE(part * whole, 0) << "plane " << plane << " triangle " << k / 3;
      sum += part;
    }
    EXPECT_NEAR(sum, whole, 1e-9 * std::abs(whole) + 1e-12) << "plane " << plane;
  }
}

Outline reversed(Outline outline) {
  return {outline.rbegin(), outline.rend()};
}

// Radii with few bits, so that narrowing to floats changes nothing that matters.
Outline star(int points, double inner) {
  Outline outline;
  for (int k = 0; k < 2 * points; ++k) {
    double const angle = std::numbers::pi * k / points;
    double const radius = k % 2 == 0 ? 1.0 : inner;
    outline.emplace_back(static_cast<float>(radius * std::cos(angle)), static_cast<float>(radius * std::sin(angle)));
  }
  return outline;
}

TEST(Polygon, CoversConvexAndConcaveOutlines) {
  Outline const l_shape = {{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}};
  Outline const arrow = {{0, 0}, {2, 1}, {0, 2}, {0.5, 1}};
  Outline const comb = {{0, 0}, {7, 0}, {7, 5}, {6, 5}, {6, 1}, {5, 1}, {5, 5}, {4, 5},
                        {4, 1}, {3, 1}, {3, 5}, {2, 5}, {2, 1}, {1, 1}, {1, 5}, {0, 5}};
  Outline long_comb = {{0, 0}, {200, 0}};
  for (int k = 100; k > 0; --k) {
    for (auto const& [x, y] : Outline{{2.0 * k, 5}, {2.0 * k - 1, 5}, {2.0 * k - 1, 1}, {2.0 * k - 2, 1}}) {
      long_comb.emplace_back(x, y);
    }
  }
  Outline const spiral = {{0, 0}, {6, 0}, {6, 6}, {1, 6}, {1, 2}, {4, 2}, {4, 4},
                          {3, 4}, {3, 3}, {2, 3}, {2, 5}, {5, 5}, {5, 1}, {0, 1}};
  Outline const points_on_edges = {{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}};
  for (Outline const& outline :
       {star(5, 1.0), star(5, 0.3), l_shape, arrow, comb, long_comb, spiral, points_on_edges}) {
    for (std::size_t turn = 0; turn < outline.size(); ++turn) {
      Outline turned = outline;
      std::rotate(turned.begin(), turned.begin() + static_cast<std::ptrdiff_t>(turn), turned.end());
      expect_exact_cover(turned);
      expect_exact_cover(reversed(turned));
    }
  }
}

// A square with a square hole, joined by a cut that is walked twice.
TEST(Polygon, CoversAKeyhole) {
  expect_exact_cover({{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}, {1, 1}, {1, 3}, {3, 3}, {3, 1}, {1, 1}});
}

TEST(Polygon, CoversOutlinesWithRepeatedCorners) {
  expect_exact_cover({{0, 0}, {0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 1}, {1, 3}, {0, 3}});
}

TEST(Polygon, UsesTheTreeOnLargeOutlines) {
  expect_exact_cover(star(50, 0.25));
  expect_exact_cover(star(3000, 0.75));
}

TEST(Polygon, AnswersOutlinesWithoutASolution) {
  for (Outline const& outline : {Outline{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}},                     // a line
                                 Outline{{1, 1}, {1, 1}, {1, 1}, {1, 1}},                             // a point
                                 Outline{{0, 0}, {2, 2}, {2, 0}, {0, 2}, {1, 5}},                     // crosses itself
                                 Outline{{0, 1}, {0.6, -0.8}, {-1, 0.3}, {1, 0.3}, {-0.6, -0.8}}}) {  // a pentagram
    Cut const result = cut(outline);
    EXPECT_EQ(result.triangles.size(), (outline.size() - 2) * 3);
    std::vector<bool> is_used(outline.size(), false);
    for (std::uint32_t const corner : result.triangles) is_used[corner] = true;
    for (bool const used : is_used) EXPECT_TRUE(used);
  }
  EXPECT_EQ(cut({{0, 0}, {NAN, 0}, {1, 1}, {0, 1}}).triangles, (std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3}));
  EXPECT_EQ(cut({{0, 0}, {INFINITY, 0}, {1, 1}, {0, 1}}).triangles.size(), 6U);
}

// Half a million corners each: teeth, and a band wound up a hundred times.
TEST(Polygon, CutsSimpleOutlinesOfManyCornersInTime) {
  int const count = 125000;
  Outline comb = {{0, 0}, {2.0 * count, 0}};
  for (int k = count; k > 0; --k) {
    for (auto const& [x, y] : Outline{{2.0 * k, 5}, {2.0 * k - 1, 5}, {2.0 * k - 1, 1}, {2.0 * k - 2, 1}}) {
      comb.emplace_back(x, y);
    }
  }
  Outline band;
  for (int k = 0; k < 2 * count; ++k) {
    int const along = k < count ? k : 2 * count - 1 - k;
    double const angle = 0.005 * along;
    double const radius = angle + (k < count ? 3 : 1);
    band.emplace_back(radius * std::cos(angle), radius * std::sin(angle));
  }
  std::clock_t const start = std::clock();
  EXPECT_TRUE(cut(comb).complete);
  EXPECT_TRUE(cut(band).complete);
  EXPECT_LT(std::clock() - start, std::clock_t{60} * CLOCKS_PER_SEC);
}

// Random corners in random order: nothing but an end after bounded work is promised.
TEST(Polygon, GivesUpAnOutlineMadeToBeSlow) {
  std::mt19937 random(3);
  Outline outline;
  for (int k = 0; k < 20000; ++k) {
    outline.emplace_back(static_cast<double>(random() % 100000), static_cast<double>(random() % 100000));
  }
  std::clock_t const start = std::clock();
  Cut const result = cut(outline);
  EXPECT_EQ(result.triangles.size(), (outline.size() - 2) * 3);
  EXPECT_FALSE(result.complete);
  EXPECT_LT(std::clock() - start, std::clock_t{30} * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace mirel::engine
