#include "standalone/engine/ladder/plane_weight.h"

#include <gtest/gtest.h>

#include <cmath>

namespace mirel::engine {
namespace {

TEST(PlaneWeightTest, IsNearThePower) {
  double sum = 0;
  int count = 0;
  for (double n2 = 1e-36; n2 < 1e4; n2 *= 1.01, ++count) {
    double const ratio = double{plane_weight(static_cast<float>(n2))} * std::pow(n2, 0.625);
    ASSERT_GT(ratio, 0.93) << n2;
    ASSERT_LT(ratio, 1.04) << n2;
    sum += std::log(ratio);
  }
  EXPECT_LT(std::abs(sum / count), 2e-3) << "too heavy as often as too light";
}

TEST(PlaneWeightTest, GrowsAsTheFaceShrinks) {
  float last = plane_weight(1e4F);
  for (double n2 = 1e4; n2 > 1e-36; n2 *= 0.999) {
    float const weight = plane_weight(static_cast<float>(n2));
    ASSERT_GE(weight, last) << n2;
    ASSERT_LT(weight, 1.002F * last + 1e-20F) << "leaps at " << n2;
    last = weight;
  }
}

TEST(PlaneWeightTest, IsFiniteForNoFaceAtAll) {
  EXPECT_TRUE(std::isfinite(plane_weight(0)));
  EXPECT_EQ(0 * plane_weight(0), 0);
}

TEST(PlaneWeightTest, IsTheSameInLanes) {
  for (float n2 = 1e-36F; n2 < 1e4F; n2 *= 1.7F) {
    Lanes const weights = plane_weight<4>(Lanes{n2, 0, 3 * n2, 1});
    EXPECT_EQ(weights[0], plane_weight(n2));
    EXPECT_EQ(weights[1], plane_weight(0));
    EXPECT_EQ(weights[2], plane_weight(3 * n2));
    EXPECT_EQ(weights[3], plane_weight(1));
  }
}

}  // namespace
}  // namespace mirel::engine
