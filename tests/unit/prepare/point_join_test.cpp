#include "standalone/engine/prepare/point_join.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>

namespace mirel::engine {
namespace {

using Indices = std::vector<std::uint32_t>;

// The rule itself, without any hashing.
template <class Near>
PointJoin by_comparing_all(std::size_t count, Near near) {
  PointJoin join;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t group = 0;
    while (group < join.kept.size() && !near(join.kept[group], i)) {
      ++group;
    }
    if (group == join.kept.size()) {
      join.kept.push_back(i);
    }
    join.group_of.push_back(group);
  }
  return join;
}

TEST(PointJoin, JoinsEqualPointsInOrderOfFirstOccurrence) {
  std::vector<float> const points = {1, 2, 3, 0, 0, 0, 1, 2, 3, 0, 0, 1, -0.0F, 0, 0};
  PointJoin const join = join_equal_points(points, 3);
  EXPECT_EQ(join.group_of, (Indices{0, 1, 0, 2, 1}));
  EXPECT_EQ(join.kept, (Indices{0, 1, 3}));
}

TEST(PointJoin, JoinsEqualPairs) {
  EXPECT_EQ(join_equal_points(std::vector<float>{0, 1, 1, 0, 0, 1}, 2).group_of, (Indices{0, 1, 0}));
  EXPECT_TRUE(join_equal_points({}, 3).kept.empty());
}

TEST(PointJoin, KeepsPointsThatAreNotFiniteByTheirBits) {
  float const nan = std::numeric_limits<float>::quiet_NaN();
  float const inf = std::numeric_limits<float>::infinity();
  EXPECT_EQ(join_equal_points(std::vector<float>{nan, 0, 0, nan, 0, 0, inf, 0, 0, -inf, 0, 0}, 3).group_of,
            (Indices{0, 0, 1, 2}));
}

// 0 --- 1 --- 2: 1 joins 0 and is not kept, so 2, which is near 1 only, is kept.
TEST(PointJoin, MakesNoChains) {
  std::vector<float> const points = {0, 0, 0, 0.9F, 0, 0, 1.8F, 0, 0};
  EXPECT_EQ(join_points_within(points, 1).group_of, (Indices{0, 0, 1}));
}

TEST(PointJoin, ADistanceOfExactlyTheThresholdJoins) {
  std::vector<float> const points = {0, 0, 0, 0.1F, 0, 0};
  EXPECT_EQ(join_points_within(points, 0.1F).kept.size(), 1U);
  EXPECT_EQ(join_points_within(points, std::nextafter(0.1F, 0.0F)).kept.size(), 2U);
}

TEST(PointJoin, TakesTheLowestOfSeveralNearPoints) {
  // 2 is nearer to 1 than to 0, and within the threshold of both.
  std::vector<float> const points = {0, 0, 0, 1.5F, 0, 0, 0.9F, 0, 0};
  EXPECT_EQ(join_points_within(points, 1).group_of, (Indices{0, 1, 0}));
}

TEST(PointJoin, NegativeAndNanThresholdsCountAsZero) {
  std::vector<float> const points = {0, 0, 0, 0, 0, 0, 1e-6F, 0, 0};
  for (float const threshold : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(join_points_within(points, threshold).group_of, (Indices{0, 0, 1}));
  }
}

TEST(PointJoin, FollowsTheRuleAtEveryScaleOfTheThreshold) {
  std::mt19937 random(7);
  std::vector<float> points(3000);
  for (float& x : points) {
    x = static_cast<float>(random() % 2001) / 1000.0F - 1.0F;
  }
  for (float const threshold :
       {1e-30F, 1e-3F, 0.02F, 0.1F, 0.5F, 1.0F, 10.0F, 3e38F, std::numeric_limits<float>::infinity()}) {
    PointJoin const expected = by_comparing_all(1000, [&](std::size_t a, std::size_t b) {
      double square = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        double const d = double{points[a * 3 + k]} - points[b * 3 + k];
        square += d * d;
      }
      return square <= double{threshold} * threshold;
    });
    PointJoin const join = join_points_within(points, threshold);
    EXPECT_EQ(join.kept, expected.kept) << threshold;
    EXPECT_EQ(join.group_of, expected.group_of) << threshold;
  }
}

TEST(PointJoin, HandlesExtremesOfTheNumberRange) {
  float const most = std::numeric_limits<float>::max();
  std::vector<float> const points = {most, most, most, -most, -most, -most, 0, 0, 0, most, most, most};
  EXPECT_EQ(join_points_within(points, 1).group_of, (Indices{0, 1, 2, 0}));
  EXPECT_EQ(join_points_within(points, most).group_of, (Indices{0, 1, 2, 0}));
  EXPECT_EQ(join_points_within(points, std::numeric_limits<float>::infinity()).kept.size(), 1U);
  EXPECT_EQ(join_points_within(points, std::numeric_limits<float>::denorm_min()).kept.size(), 3U);
}

TEST(AttributeTolerance, ComparesNormalsByTheirAngle) {
  float const z[3] = {0, 0, 1};
  auto const at_degrees = [](double degrees) {
    double const r = degrees * 3.14159265358979 / 180;
    return std::vector<float>{static_cast<float>(std::sin(r)), 0, static_cast<float>(std::cos(r))};
  };
  AttributeTolerance const five(5, 0);
  EXPECT_TRUE(five.same_normal(z, at_degrees(4.999).data()));
  EXPECT_FALSE(five.same_normal(z, at_degrees(5.001).data()));
  EXPECT_TRUE(AttributeTolerance(120, 0).same_normal(z, at_degrees(119.99).data()));
  EXPECT_FALSE(AttributeTolerance(120, 0).same_normal(z, at_degrees(120.01).data()));
  EXPECT_TRUE(AttributeTolerance(180, 0).same_normal(z, at_degrees(180).data()));
  float const nearly[3] = {1e-7F, 0, 1};
  for (float const degrees : {0.0F, -5.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_TRUE(AttributeTolerance(degrees, 0).same_normal(z, z));
    EXPECT_FALSE(AttributeTolerance(degrees, 0).same_normal(z, nearly));
  }
}

TEST(AttributeTolerance, ComparesEachCoordinateOfUvs) {
  float const a[2] = {0, 0};
  float const b[2] = {0.1F, -0.1F};
  float const c[2] = {0.1F, 0.2F};
  AttributeTolerance const tolerance(0, 0.1F);
  EXPECT_TRUE(tolerance.same_uv(a, b));
  EXPECT_FALSE(tolerance.same_uv(a, c));
  EXPECT_FALSE(AttributeTolerance(0, -1).same_uv(a, b));
  EXPECT_TRUE(AttributeTolerance(0, std::numeric_limits<float>::quiet_NaN()).same_uv(a, a));
}

TEST(AttributeTolerance, JoinsListsByTheSameRule) {
  std::mt19937 random(3);
  std::vector<float> normals;
  std::vector<float> uvs;
  for (int i = 0; i < 500; ++i) {
    double v[3];
    double square = 0;
    for (double& x : v) {
      x = static_cast<double>(random() % 2001) / 1000.0 - 1.0001;
      square += x * x;
    }
    for (double const x : v) {
      normals.push_back(static_cast<float>(x / std::sqrt(square)));
    }
    uvs.push_back(static_cast<float>(random() % 100) / 100.0F);
    uvs.push_back(static_cast<float>(random() % 100) / 100.0F);
  }
  for (float const degrees : {0.0F, 0.001F, 5.0F, 40.0F, 170.0F, 200.0F}) {
    AttributeTolerance const tolerance(degrees, 0);
    PointJoin const expected = by_comparing_all(
        500, [&](std::size_t a, std::size_t b) { return tolerance.same_normal(&normals[a * 3], &normals[b * 3]); });
    EXPECT_EQ(tolerance.join_normals(normals).group_of, expected.group_of) << degrees;
  }
  for (float const uv : {0.0F, 0.015F, 0.2F, 5.0F, std::numeric_limits<float>::infinity()}) {
    AttributeTolerance const tolerance(0, uv);
    PointJoin const expected = by_comparing_all(
        500, [&](std::size_t a, std::size_t b) { return tolerance.same_uv(&uvs[a * 2], &uvs[b * 2]); });
    EXPECT_EQ(tolerance.join_uvs(uvs).group_of, expected.group_of) << uv;
  }
}

}  // namespace
}  // namespace mirel::engine
