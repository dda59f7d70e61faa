#include "standalone/engine/deviation/star_step.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "standalone/engine/deviation/hausdorff.h"

namespace mirel::engine {
namespace {

using Face = StarStep::Face;
constexpr double kNoLimit = 1e30;

// An edge from a to b, a ring of corners around both, and the place that the edge collapses to. Corners 0 and
// `opposite` of the ring are joined to both ends, those between them to a and the others to b.
struct Star {
  std::vector<Point> ring;
  std::size_t opposite;
  Point a, b, place;
  std::vector<float> ring_gaps;
  float gap_a = 0, gap_b = 0;

  void list(std::vector<Face>& kept, std::vector<Face>& gone) const {
    std::size_t const count = ring.size();
    auto const gap = [&](std::size_t i) { return ring_gaps.empty() ? 0 : ring_gaps[i % count]; };
    for (std::size_t i = 0; i < count; ++i) {
      bool const at_a = i < opposite;
      kept.push_back(
          {{place, ring[i], ring[(i + 1) % count]}, {at_a ? gap_a : gap_b, gap(i), gap(i + 1)}, 0, at_a ? a : b});
    }
    gone.push_back({{a, b, ring[0]}, {gap_a, gap_b, gap(0)}, 0, {}});
    gone.push_back({{b, a, ring[opposite]}, {gap_b, gap_a, gap(opposite)}, 0, {}});
  }
  double measure(double most = kNoLimit) const {
    std::vector<Face> kept;
    std::vector<Face> gone;
    list(kept, gone);
    return StarStep().measure(kept, gone, most);
  }
  // Between the surfaces before and after, by a method of its own.
  double distance() const {
    std::vector<Face> kept;
    std::vector<Face> gone;
    list(kept, gone);
    std::vector<float> before;
    std::vector<float> after;
    std::vector<std::uint32_t> faces_before;
    std::vector<std::uint32_t> faces_after;
    auto const add = [](std::vector<float>& positions, std::vector<std::uint32_t>& faces,
                        std::array<Point, 3> const& corners) {
      for (Point const& p : corners) {
        faces.push_back(static_cast<std::uint32_t>(positions.size() / 3));
        positions.insert(positions.end(), p.begin(), p.end());
      }
    };
    for (Face const& face : kept) {
      add(after, faces_after, face.corners);
      add(before, faces_before, {face.from, face.corners[1], face.corners[2]});
    }
    for (Face const& face : gone) add(before, faces_before, face.corners);
    return hausdorff_distance(TriangleBvh(before, faces_before), TriangleBvh(after, faces_after)).lower();
  }
};

double between(double low, double high, std::mt19937& random) {
  return low + (high - low) * static_cast<double>(random()) / static_cast<double>(std::mt19937::max());
}

// Puts the edge and its place near the middle of the ring. Whether a gap is told: then it is no less than the distance.
bool tells_a_bound(Star& star, auto const& uniform, auto const& point) {
  star.a = point(uniform(-0.4, 0.4), uniform(-0.4, 0.4));
  star.b = point(uniform(-0.4, 0.4), uniform(-0.4, 0.4));
  star.place = point(uniform(-0.3, 0.3), uniform(-0.3, 0.3));
  double const gap = star.measure();
  if (std::isinf(gap)) return false;
  EXPECT_GE(gap, star.distance());
  return true;
}

Star hexagon() {
  Star star{{}, 3, {0.3F, 0, 0}, {-0.3F, 0, 0}, {0, 0, 0}, {}};
  for (int i = 0; i < 6; ++i) {
    double const angle = i * std::numbers::pi / 3 - std::numbers::pi / 2;
    star.ring.push_back({static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)), 0});
  }
  return star;
}

TEST(StarStep, IsNothingOnAPlane) {
  EXPECT_LE(hexagon().measure(), 1e-11);
}

TEST(StarStep, IsTheHeightOfWhatVanishes) {
  Star star = hexagon();
  star.a[2] = 0.1F;
  star.b[2] = 0.1F;
  double const gap = star.measure();
  EXPECT_GE(gap, 0.1F);
  EXPECT_GE(gap, star.distance());
  EXPECT_LE(gap, 0.2);
}

TEST(StarStep, CarriesTheGapsOfTheEnds) {
  Star star = hexagon();
  star.gap_a = 0.25F;
  star.gap_b = 0.25F;
  EXPECT_GE(star.measure(), 0.25);
  star.ring_gaps.assign(6, 0.25F);
  EXPECT_NEAR(star.measure(), 0.25, 1e-6);
  star.a[2] = 0.1F;
  star.b[2] = 0.1F;
  EXPECT_GE(star.measure(), 0.35F);
}

TEST(StarStep, TellsNothingBeyondTheLimit) {
  Star star = hexagon();
  star.a[2] = 0.1F;
  double const gap = star.measure();
  ASSERT_LT(gap, 1);
  EXPECT_EQ(star.measure(1.001 * gap), gap);
  EXPECT_TRUE(std::isinf(star.measure(0.999 * gap)));
}

TEST(StarStep, TellsNothingOfAFold) {
  Star star = hexagon();
  star.place = {2, 0, 0};
  EXPECT_TRUE(std::isinf(star.measure())) << "after";
  star = hexagon();
  star.a = {2, 0, 0};
  EXPECT_TRUE(std::isinf(star.measure())) << "before";
}

// Which of the faces beside it has a place on their edge must not fall between them for a rounding.
TEST(StarStep, TellsOfPlacesOnEdges) {
  std::mt19937 random(5);
  auto const unit = [&] { return static_cast<float>(random() % 2048) / 2048 - 0.5F; };
  for (int round = 0; round < 500; ++round) {
    Star star = hexagon();
    // Turned by shears that floats hold exactly enough: what counts is that the place lies between the ends exactly.
    float const slope_x = unit();
    float const slope_y = unit();
    auto const tilt = [&](Point& p) { p[2] = slope_x * p[0] + slope_y * p[1]; };
    for (Point& p : star.ring) tilt(p);
    Point const way{unit() / 4, unit() / 4, 0};
    for (std::size_t k = 0; k < 2; ++k) {
      star.place[k] = way[k] / 2;
      star.a[k] = star.place[k] + way[k];
      star.b[k] = star.place[k] - 3 * way[k];
    }
    for (Point* const p : {&star.place, &star.a, &star.b}) tilt(*p);
    // Corners opposite the edge are those at which it points: the other way around is a fold.
    if (star.a[0] < star.b[0]) std::swap(star.a, star.b);
    if (!(star.a[0] - star.b[0] > std::abs(star.a[1] - star.b[1]))) continue;
    EXPECT_LE(star.measure(), 1e-6) << round;
  }
}

TEST(StarStep, TellsNothingOfAnOpenStar) {
  std::vector<Face> kept;
  std::vector<Face> gone;
  hexagon().list(kept, gone);
  kept.pop_back();
  EXPECT_TRUE(std::isinf(StarStep().measure(kept, gone, kNoLimit)));
  hexagon().list(kept, gone);
  EXPECT_TRUE(std::isinf(StarStep().measure(kept, gone, kNoLimit))) << "faces twice";
  kept.clear();
  gone.clear();
  hexagon().list(kept, gone);
  gone.pop_back();
  EXPECT_TRUE(std::isinf(StarStep().measure(kept, gone, kNoLimit))) << "one face vanishes";
}

TEST(StarStep, BoundsTheDistanceOfRandomStars) {
  std::mt19937 random(7);
  auto const uniform = [&](double low, double high) { return between(low, high, random); };
  int told = 0;
  for (int round = 0; round < 3000; ++round) {
    Star star{{}, 0, {}, {}, {}, {}};
    auto const count = static_cast<std::size_t>(4 + round % 9);
    star.opposite = 1 + random() % (count - 1);
    double const rough = round % 3 == 0 ? 0.02 : 0.5;
    auto const point = [&](double x, double y) {
      return Point{static_cast<float>(x), static_cast<float>(y), static_cast<float>(uniform(-rough, rough))};
    };
    for (std::size_t i = 0; i < count; ++i) {
      double const angle =
          2 * std::numbers::pi * (static_cast<double>(i) + uniform(0, 0.8)) / static_cast<double>(count);
      double const radius = uniform(0.5, 1.5);
      star.ring.push_back(point(radius * std::cos(angle), radius * std::sin(angle)));
    }
    told += tells_a_bound(star, uniform, point) ? 1 : 0;
    ASSERT_FALSE(HasFailure()) << round;
  }
  EXPECT_GT(told, 300);
}

// Where faces are needles, what rounding does to a place in them shows in heights many times over.
TEST(StarStep, BoundsTheDistanceOfNeedles) {
  std::mt19937 random(11);
  auto const uniform = [&](double low, double high) { return between(low, high, random); };
  int told = 0;
  for (int round = 0; round < 8000; ++round) {
    double const width = std::pow(10, uniform(-6, -2));
    Star star{{}, 0, {}, {}, {}, {}};
    std::size_t const count = 6;
    star.opposite = 3;
    double const turn = uniform(0, 6);
    double const flat = round % 2 == 0 ? 0.02 : 0.5;
    auto const point = [&](double x, double y) {
      return Point{static_cast<float>(x * std::cos(turn) - width * y * std::sin(turn)),
                   static_cast<float>(x * std::sin(turn) + width * y * std::cos(turn)),
                   static_cast<float>(flat * uniform(-0.5, 0.5))};
    };
    for (std::size_t i = 0; i < count; ++i) {
      double const angle = std::numbers::pi / 3 * (static_cast<double>(i) + uniform(0, 0.8));
      star.ring.push_back(point(std::cos(angle), std::sin(angle)));
    }
    told += tells_a_bound(star, uniform, point) ? 1 : 0;
    ASSERT_FALSE(HasFailure()) << round;
  }
  EXPECT_GT(told, 100);
}

}  // namespace
}  // namespace mirel::engine
