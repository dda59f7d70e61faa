#include "standalone/engine/deviation/patch_overlay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "tests/unit/deviation/collapsing_mesh.h"

namespace mirel::engine {
namespace {

using test::grid;
using test::Mesh;

double bowl(double x, double y) {
  return 0.1 * ((x - 0.5) * (x - 0.5) + (y - 0.5) * (y - 0.5));
}

// The unit square's upper or lower half, at a height.
CoverTriangle half(bool upper, double z, std::uint32_t face) {
  CoverTriangle triangle;
  triangle.frame =
      upper ? TriangleFrame({0, 0, z}, {1, 1, z}, {0, 1, z}) : TriangleFrame({0, 0, z}, {1, 0, z}, {1, 1, z});
  triangle.face = face;
  return triangle;
}

// A mesh, all of which new faces are to answer for.
struct Question {
  Mesh mesh;
  TriangleBvh original{mesh.positions, mesh.faces};
  PatchOverlay overlay{original, mesh.faces};
  std::vector<std::uint32_t> slots = std::vector<std::uint32_t>(original.size());
  std::vector<CoverTriangle> fresh;

  Question(Mesh asked, std::vector<CoverTriangle> faces) : mesh(std::move(asked)), fresh(std::move(faces)) {
    std::iota(slots.begin(), slots.end(), 0U);
  }
  bool start(double radius) { return overlay.start(slots, fresh, radius); }
};

// A bowl whose corners are 0.05 high, and the square under it.
struct Bowl : Question {
  Bowl() : Question(grid(10, bowl), {half(false, 0, 5), half(true, 0, 9)}) {}
};

TEST(PatchOverlay, SettlesBothDirectionsOfASquareUnderABowl) {
  Bowl q;
  ASSERT_TRUE(q.start(0.051));
  EXPECT_FALSE(q.overlay.needs_others());
  double farthest = 0;
  for (std::size_t i = 0; i < q.slots.size(); ++i) {
    PatchOverlay::Cover const cover = q.overlay.cover(i);
    ASSERT_GT(cover.count, 0U) << i;
    farthest = std::max(farthest, cover.distance);
    for (std::uint32_t k = 0; k < cover.count; ++k) EXPECT_TRUE(cover.faces[k] == 5 || cover.faces[k] == 9);
  }
  EXPECT_NEAR(farthest, 0.05, 1e-4);
  for (std::size_t j = 0; j < 2; ++j) {
    EXPECT_GE(q.overlay.distance_of_face(j), 0.05 - 1e-6);
    EXPECT_LE(q.overlay.distance_of_face(j), 0.051);
  }
}

TEST(PatchOverlay, SettlesNothingBeyondTheRadius) {
  Bowl q;
  ASSERT_TRUE(q.start(0.049));
  EXPECT_TRUE(q.overlay.needs_others());
  std::size_t settled = 0;
  for (std::size_t i = 0; i < q.slots.size(); ++i) settled += q.overlay.cover(i).count > 0 ? 1U : 0U;
  EXPECT_GT(settled, q.slots.size() / 2);
  EXPECT_LT(settled, q.slots.size());
  std::size_t i = 0;
  std::size_t k = 0;
  EXPECT_TRUE(q.overlay.find_beyond(i, k));
  EXPECT_FALSE(q.overlay.distance_of_face(0) <= 0.049);
}

TEST(PatchOverlay, AHoleIsNotCover) {
  // Without the four triangles in the middle no point of the original is near the middle of the square; yet every one
  // that is left is near the square.
  Mesh mesh = grid(10, [](double, double) { return 0.0; });
  std::vector<std::uint32_t> const whole = std::exchange(mesh.faces, {});
  for (std::size_t f = 0; f < whole.size(); f += 3) {
    double x = 0;
    double y = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      x += static_cast<double>(mesh.point(whole[f + k])[0]) / 3;
      y += static_cast<double>(mesh.point(whole[f + k])[1]) / 3;
    }
    if (std::abs(x - 0.55) < 0.05 && std::abs(y - 0.25) < 0.05) continue;
    mesh.add_face(whole[f], whole[f + 1], whole[f + 2]);
  }
  ASSERT_LT(mesh.faces.size(), whole.size());
  Question q(mesh, {half(false, 0, 0), half(true, 0, 1)});
  ASSERT_TRUE(q.start(0.01));
  for (std::size_t i = 0; i < q.slots.size(); ++i) EXPECT_GT(q.overlay.cover(i).count, 0U);
  EXPECT_FALSE(q.overlay.distance_of_face(0) <= 0.01) << "the hole is under the lower half";
}

TEST(PatchOverlay, AFaceBesideTheOriginalIsNotCovered) {
  Bowl q;
  CoverTriangle beside;
  beside.frame = TriangleFrame({0.5, 0.5, 0}, {1.5, 0.5, 0}, {1, 1.2, 0});
  q.fresh.push_back(beside);
  ASSERT_TRUE(q.start(0.06));
  EXPECT_FALSE(q.overlay.distance_of_face(2) <= 0.06) << "half of it hangs over the border";
}

TEST(PatchOverlay, DeclinesWhatFloatsCannotTell) {
  Bowl q;
  EXPECT_FALSE(q.start(1e-5));
  EXPECT_FALSE(q.start(0));
  EXPECT_FALSE(q.overlay.start({}, q.fresh, 1));
  EXPECT_FALSE(q.overlay.start(q.slots, {}, 1));
}

// A triangle anywhere in space and a new one, larger or smaller, at a distance above it, which floats do not tell
// exactly.
struct Above : Question {
  double distance = 0;       // of the original's corner that is farthest
  double distance_back = 0;  // of the new face's

  Above(std::uint32_t seed, double size) : Above(Triangles(seed, size)) {}

 private:
  struct Triangles {
    Mesh mesh;
    Vec above[3];
    Triangles(std::uint32_t seed, double size);
  };
  explicit Above(Triangles const& both)
      : Question(both.mesh, {CoverTriangle{TriangleFrame(both.above[0], both.above[1], both.above[2]), 0, 1}}) {
    auto const& above = both.above;
    Vec const corners[] = {load(mesh.positions.data()), load(&mesh.positions[3]), load(&mesh.positions[6])};
    for (std::size_t k = 0; k < 3; ++k) {
      distance_back = std::max(distance_back,
                               std::sqrt(squared_distance_to_triangle(above[k], corners[0], corners[1], corners[2])));
      distance = std::max(distance, std::sqrt(squared_distance_to_triangle(corners[k], above[0], above[1], above[2])));
    }
  }
};

Above::Triangles::Triangles(std::uint32_t seed, double size) {
  std::mt19937 random(seed);
  auto const unit = [&random] { return static_cast<double>(random() % 65536) / 65536; };
  auto const direction = [&] { return Vec{unit() - 0.5, unit() - 0.5, unit() - 0.5}; };
  Vec const first = direction();
  Vec const up = cross(first, direction());
  Vec const along = (1 / length(first)) * first;
  Vec const normal = (1 / length(up)) * up;
  Vec const across = cross(normal, along);
  Vec const middle = 10 * direction();
  double const height = 0.01 + 0.01 * unit();
  for (std::size_t k = 0; k < 3; ++k) {
    double const angle = 2.0 * static_cast<double>(k) + 0.5 * unit();
    Vec const spoke = std::cos(angle) * along + std::sin(angle) * across;
    Vec const p = middle + spoke;
    mesh.add_point(p.x, p.y, p.z);
    above[k] = middle + size * spoke + height * normal;
  }
  mesh.add_face(0, 1, 2);
}

// Radii by less than a rounding of floats beside the distance.
TEST(PatchOverlay, TakesOffWhatFloatsHide) {
  std::uint32_t asked = 0;
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    Above above(seed, 3);
    PatchOverlay& overlay = above.overlay;
    std::size_t i = 0;
    std::size_t k = 0;
    if (above.start(above.distance * (1 - 1e-8))) {
      ++asked;
      ASSERT_EQ(overlay.cover(0).count, 0U) << "seed " << seed << ": beyond the radius";
      ASSERT_TRUE(overlay.needs_others());
      Vec low;
      Vec high;
      overlay.bounds_of_far(low, high);
      bool outside = false;
      for (std::uint32_t corner = 0; corner < 3; ++corner) {
        Vec const p = load(&above.mesh.positions[std::size_t{3} * corner]);
        bool const is_far = std::sqrt(above.fresh[0].frame.squared_distance(p)) > above.distance * (1 - 1e-8);
        bool const in_box =
            low.x <= p.x && p.x <= high.x && low.y <= p.y && p.y <= high.y && low.z <= p.z && p.z <= high.z;
        outside |= is_far && !in_box;
      }
      ASSERT_FALSE(outside) << "seed " << seed << ": a far corner is beside the box of far corners";
    }
    if (above.start(above.distance * (1 + 1e-8))) {
      ASSERT_FALSE(overlay.find_beyond(i, k)) << "seed " << seed << ": within the radius";
    }
    if (above.start(above.distance * 1.1)) {
      PatchOverlay::Cover const cover = overlay.cover(0);
      ASSERT_EQ(cover.count, 1U);
      ASSERT_GE(cover.distance, above.distance) << "seed " << seed;
    }
    if (above.start(above.distance * 0.9)) {
      ASSERT_TRUE(overlay.find_beyond(i, k)) << "seed " << seed;
    }
  }
  EXPECT_GT(asked, 1000U);
}

TEST(PatchOverlay, BoundsOfFacesHoldWhatFloatsHide) {
  std::uint32_t settled = 0;
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    Above above(seed, 0.3);
    ASSERT_TRUE(above.start(2));
    double const bound = above.overlay.distance_of_face(0);
    settled += std::isfinite(bound) ? 1U : 0U;
    ASSERT_GE(bound, above.distance_back) << "seed " << seed;
  }
  EXPECT_GT(settled, 1000U);
}

TEST(PatchOverlay, FacesWithoutAreaSettleNothing) {
  Bowl q;
  q.fresh = {CoverTriangle{TriangleFrame({0, 0, 0}, {1, 1, 0}, {0.5, 0.5, 0}), 0, 1}};
  ASSERT_TRUE(q.start(0.5));
  EXPECT_EQ(q.overlay.cover(0).count, 0U);
  EXPECT_EQ(q.overlay.distance_of_face(0), std::numeric_limits<double>::infinity());
}

}  // namespace
}  // namespace mirel::engine
