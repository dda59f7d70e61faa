#include "standalone/engine/deviation/plane_overlay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

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
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.9, 0.2, 0}, {0.3, 0.9, 0}}, 1, used))) << "hole";
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.3, -0.01, 0}, {0.3, 0.3, 0}}, 1, used))) << "rim";
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
}

// A second sheet that ends under the triangle is no cover where it has ended.
TEST(PlaneOverlay, AFoldIsNoCover) {
  PlaneOverlay overlay;
  overlay.start({0, 0, 0}, {0, 0, 1});
  overlay.add({Point{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, 0);
  overlay.add({Point{0.2F, 0.2F, 0.1F}, {2, 0.2F, 0.1F}, {0.2F, 2, 0.1F}}, 1);
  overlay.close();
  std::vector<std::uint32_t> used;
  EXPECT_TRUE(std::isinf(overlay.cover({Vec{0.1, 0.1, 0}, {0.6, 0.1, 0}, {0.6, 0.6, 0}}, 1, used)));
}

}  // namespace
}  // namespace mirel::engine
