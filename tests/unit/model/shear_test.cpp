#include "standalone/model/shear.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>

#include "standalone/model/scene.h"

namespace mirel::model::test {

namespace {

double entry(SUTransformation const& a, SUTransformation const& b, int row, int column) {
  double sum = column == 3 ? a.values[12 + row] : 0;
  for (int place = 0; place < 3; ++place) {
    sum += a.values[place * 4 + row] * b.values[column * 4 + place];
  }
  return sum;
}

double angle_cosine(SUTransformation const& m, int a, int b) {
  double sum = 0;
  double lengths[2] = {0, 0};
  for (int row = 0; row < 3; ++row) {
    sum += m.values[a * 4 + row] * m.values[b * 4 + row];
    lengths[0] += m.values[a * 4 + row] * m.values[a * 4 + row];
    lengths[1] += m.values[b * 4 + row] * m.values[b * 4 + row];
  }
  return sum / std::sqrt(lengths[0] * lengths[1]);
}

TEST(Shear, TransformationsOfRightAnglesStayWhole) {
  EXPECT_FALSE(split_shear(kIdentity).is_split);
  SUTransformation const mirrored = {{-2, 0, 0, 0, 0, 0, 3, 0, 0, 5, 0, 0, 7, 8, 9, 1}};
  SplitTransform const split = split_shear(mirrored);
  EXPECT_FALSE(split.is_split);
  EXPECT_EQ(-2, split.outer.values[0]);
  EXPECT_EQ(9, split.outer.values[14]);
  EXPECT_EQ(1, split.inner.values[0]);
}

TEST(Shear, OthersAreTheProductOfTwoThatHaveThem) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> number(-10, 10);
  for (int repeat = 0; repeat < 1000; ++repeat) {
    SUTransformation transform = kIdentity;
    for (int place = 0; place < 15; ++place) {
      transform.values[place] = place % 4 == 3 ? 0 : number(random);
    }
    SplitTransform const split = split_shear(transform);
    ASSERT_TRUE(split.is_split);
    for (int column = 0; column < 4; ++column) {
      for (int row = 0; row < 3; ++row) {
        EXPECT_NEAR(transform.values[column * 4 + row], entry(split.outer, split.inner, row, column), 1e-9);
      }
    }
    for (auto const& [a, b] : {std::pair(0, 1), std::pair(0, 2), std::pair(1, 2)}) {
      EXPECT_NEAR(0, angle_cosine(split.outer, a, b), 1e-6);
      EXPECT_NEAR(0, angle_cosine(split.inner, a, b), 1e-9);
    }
    for (int axis = 0; axis < 3; ++axis) {
      double const* const column = split.inner.values + axis * 4;
      EXPECT_NEAR(1, std::hypot(column[0], column[1], column[2]), 1e-9);
    }
  }
}

TEST(Shear, AxesWithoutLengthGetATinyOne) {
  SUTransformation const solid = {{0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 3, 0, 5, 6, 7, 1}};
  SUTransformation const same = with_thickness(solid);
  EXPECT_TRUE(std::equal(std::begin(solid.values), std::end(solid.values), std::begin(same.values)));
  // Each set of axes may be without length, all of them included; the others are along no coordinate axis.
  double const axes[3][3] = {{2 * 0.6, 2 * 0.8, 0}, {-5 * 0.8, 5 * 0.6, 0}, {0, 0, 3}};
  for (int flat = 1; flat < 8; ++flat) {
    SUTransformation transform = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 6, 7, 1}};
    for (int column = 0; column < 3; ++column) {
      for (int row = 0; row < 3; ++row) {
        transform.values[column * 4 + row] = (flat >> column & 1) != 0 ? 0 : axes[column][row];
      }
    }
    SUTransformation const thick = with_thickness(transform);
    for (auto const& [a, b] : {std::pair(0, 1), std::pair(0, 2), std::pair(1, 2)}) {
      EXPECT_NEAR(0, angle_cosine(thick, a, b), 1e-12) << flat;
    }
    for (int place = 0; place < 16; ++place) {
      EXPECT_NEAR(transform.values[place], thick.values[place], 1e-8) << flat;
    }
    for (int column = 0; column < 3; ++column) {
      double const* const axis = thick.values + column * 4;
      EXPECT_GT(std::hypot(axis[0], axis[1], axis[2]), 1e-10) << flat;
    }
  }
}

TEST(Shear, NumbersThatAreNone) {
  SUTransformation transform = kIdentity;
  transform.values[1] = std::nan("");
  EXPECT_FALSE(split_shear(transform).is_split);
  transform.values[1] = 1;
  transform.values[0] = 0;
  transform.values[5] = 0;
  split_shear(transform);
  split_shear({});
}

}  // namespace

}  // namespace mirel::model::test
