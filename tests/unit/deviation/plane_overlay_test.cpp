#include "standalone/engine/deviation/plane_overlay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "standalone/engine/deviation/triangle_frame.h"
#include "tests/unit/deviation/collapsing_mesh.h"

namespace mirel::engine {
namespace {

using test::grid;
using test::Mesh;

void add_all(PlaneOverlay& overlay, Mesh const& mesh) {
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    auto const at = [&](std::size_t k) { return mesh.point(mesh.faces[3 * std::size_t{f} + k]); };
    overlay.add({at(0), at(1), at(2)}, f);
  }
  overlay.close();
}

double flat(double, double) {
  return 0;
}

TEST(PlaneOverlay, MeasuresATriangleOverManyFaces) {
  PlaneOverlay overlay;
  overlay.start({0.5, 0.5, 0}, {0, 0, 1});
  add_all(overlay, grid(8, flat));
  std::vector<std::uint32_t> used;
  double const distance = overlay.cover({Vec{0.1, 0.1, 0.02}, {0.9, 0.2, 0.03}, {0.3, 0.9, 0.05}}, 0.06, used);
  EXPECT_NEAR(distance, 0.05, 1e-5);
  EXPECT_GE(distance, 0.05);
  EXPECT_GT(used.size(), 30U);
  used.clear();
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0.02}, {0.9, 0.2, 0.03}, {0.3, 0.9, 0.05}}, 0.049, used)));
  EXPECT_TRUE(used.empty());
}

TEST(PlaneOverlay, TakesNoFaceThatATriangleOnlyTouches) {
  PlaneOverlay overlay;
  overlay.start({0.5, 0.5, 0}, {0, 0, 1});
  Mesh const mesh = grid(4, flat);
  add_all(overlay, mesh);
  for (std::uint32_t const f : {10U, 11U}) {
    auto const at = [&](std::size_t k) { return load(mesh.point(mesh.faces[3 * std::size_t{f} + k]).data()); };
    std::vector<std::uint32_t> used;
    EXPECT_LE(overlay.cover({at(0), at(1), at(2)}, 0.01, used), 0.001);
    EXPECT_EQ(used, std::vector<std::uint32_t>{f});
  }
}

TEST(PlaneOverlay, FindsHeightsBetweenCornersOfTheFaces) {
  // A roof whose ridge no corner of the triangle shows.
  PlaneOverlay overlay;
  overlay.start({0.5, 0.5, 0}, {0, 0, 1});
  add_all(overlay, grid(2, [](double x, double) { return 0.1 - 0.2 * std::fabs(x - 0.5); }));
  std::vector<std::uint32_t> used;
  double const distance = overlay.cover({Vec{0.1, 0.2, 0}, {0.9, 0.2, 0}, {0.5, 0.9, 0}}, 0.2, used);
  EXPECT_NEAR(distance, 0.1, 1e-5);
}

TEST(PlaneOverlay, SettlesNothingOverAHoleOrBeyondTheRim) {
  Mesh mesh = grid(8, flat);
  mesh.faces.erase(mesh.faces.begin() + 3 * 72, mesh.faces.begin() + 3 * 73);
  PlaneOverlay overlay;
  overlay.start({0.5, 0.5, 0}, {0, 0, 1});
  add_all(overlay, mesh);
  std::vector<std::uint32_t> used;
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.9, 0.2, 0}, {0.3, 0.9, 0}}, 0.06, used))) << "hole";
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.3, -0.01, 0}, {0.3, 0.3, 0}}, 0.0099, used))) << "rim";
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{3, 3, 0}, {4, 3, 0}, {3, 4, 0}}, 1, used))) << "beside";
  EXPECT_FALSE(std::isinf(overlay.cover({Vec{0.05, 0.05, 0}, {0.3, 0.05, 0}, {0.3, 0.3, 0}}, 1, used)));
}

TEST(PlaneOverlay, LeavesOutFacesThatShowTheirBackOrEdge) {
  PlaneOverlay overlay;
  overlay.start({0, 0, 0}, {0, 0, 1});
  EXPECT_TRUE(overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 0));
  EXPECT_FALSE(overlay.add({Point{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}, 1));
  EXPECT_FALSE(overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 0, 1}}, 2));
  EXPECT_FALSE(overlay.add({Point{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, 3));
  EXPECT_FALSE(overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 0.015F, 1}}, 4)) << "all but its edge";
  EXPECT_TRUE(overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 0.025F, 1}}, 5));
}

// A second sheet that ends under the triangle is no cover where it has ended.
TEST(PlaneOverlay, AFoldIsNoCover) {
  PlaneOverlay overlay;
  overlay.start({0, 0, 0}, {0, 0, 1});
  overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 0);
  overlay.add({Point{0.2F, 0.2F, 0.1F}, {2, 0.2F, 0.1F}, {0.2F, 2, 0.1F}}, 1);
  overlay.close();
  std::vector<std::uint32_t> used;
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.6, 0.1, 0}, {0.6, 0.6, 0}}, 0.12, used)));
}

TEST(PlaneOverlay, MeasuresWhatHangsOverTheRim) {
  PlaneOverlay overlay;
  overlay.start({0.5, 0.5, 0}, {0, 0, 1});
  add_all(overlay, grid(8, flat));
  for (Vec const& corner : {Vec{0.3, -0.01, 0}, Vec{-0.006, -0.008, 0}, Vec{-0.01, 0.3, 0}}) {
    std::vector<std::uint32_t> used;
    double const distance = overlay.cover({Vec{0.1, 0.1, 0.001}, corner, {0.3, 0.3, 0.002}}, 0.0101, used);
    EXPECT_NEAR(distance, 0.01, 1e-5);
    EXPECT_GE(distance, 0.01);
    EXPECT_GT(used.size(), 4U);
    EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0.001}, corner, {0.3, 0.3, 0.002}}, 0.0099, used)));
  }
  std::vector<std::uint32_t> used;
  EXPECT_NEAR(overlay.cover({Vec{0.3, -0.01, 0}, {0.31, -0.01, 0}, {0.3, 0.001, 0}}, 0.0101, used), 0.01, 1e-5)
      << "all of it";
}

// The plane of a needle, told by its corners, is off by more than rounding at its far end: heights over it must not be.
TEST(PlaneOverlay, BoundsDistancesFromNeedles) {
  std::mt19937 random(3);
  auto const unit = [&random] { return static_cast<double>(random()) / static_cast<double>(std::mt19937::max()); };
  auto const direction = [&] { return Vec{unit() - 0.5, unit() - 0.5, unit() - 0.5}; };
  int told = 0;
  for (int round = 0; round < 2000; ++round) {
    Vec const way = direction();
    Vec const along = (1 / length(way)) * way;
    Vec const side = cross(along, direction());
    Vec const at = direction();
    std::array<Point, 3> needle;
    std::array<Vec, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
      Vec const p = at + (k == 0 ? 0.0 : k == 1 ? 1.0 : 0.4 + 0.2 * unit()) * along + (k == 2 ? 1e-6 : 0.0) * side;
      needle[k] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
      corners[k] = load(needle[k].data());
    }
    TriangleFrame const frame(corners[0], corners[1], corners[2]);
    Vec const normal = cross(corners[1] - corners[0], corners[2] - corners[0]);
    Vec const up = (1 / length(normal)) * normal;
    // A small triangle above it, around its middle: its own distance from the needle is exact to a rounding.
    Vec const middle = (1.0 / 3) * (corners[0] + corners[1] + corners[2]);
    std::array<Vec, 3> above;
    for (std::size_t k = 0; k < 3; ++k) above[k] = middle + 1e-5 * (corners[k] - middle) + 1e-10 * up;
    double farthest = 0;
    for (Vec const& p : above) farthest = std::max(farthest, std::sqrt(frame.squared_distance(p)));
    PlaneOverlay overlay;
    overlay.start(at + 0.3 * direction(), up + 0.5 * direction());
    if (!frame.has_plane() || !overlay.add(needle, 0)) continue;
    overlay.close();
    std::vector<std::uint32_t> used;
    double const distance = overlay.cover(above, 1, used);
    if (std::isinf(distance)) continue;
    ++told;
    ASSERT_GE(distance, farthest - 1e-14) << round;
  }
  EXPECT_GT(told, 500);
}

}  // namespace
}  // namespace mirel::engine
