#include "standalone/engine/deviation/piece_cover.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace mirel::engine {
namespace {

CoverTriangle triangle(Vec a, Vec b, Vec c, std::uint32_t face, double offset = 0) {
  return {TriangleFrame(a, b, c), offset, face};
}

struct Question {
  std::vector<CoverTriangle> faces;
  PieceCover cover;
  double reached = 0;
  std::vector<std::uint32_t> used;
  std::int64_t spent = 0;

  bool covers(std::array<Vec, 3> const& piece, double radius, std::int64_t budget = 100000) {
    std::vector<CoverTriangle const*> candidates;
    for (CoverTriangle const& face : faces) candidates.push_back(&face);
    reached = 0;
    used.clear();
    cover.budget = budget;
    bool const answer = cover.covers(piece, candidates, radius, reached, used);
    spent = budget - cover.budget;
    return answer;
  }
};

// Two squares side by side, `gap` apart, each of two triangles.
Question squares(double gap) {
  Question q;
  double const half = gap / 2;
  q.faces.push_back(triangle({-1, 0, 0}, {-half, 0, 0}, {-half, 1, 0}, 0));
  q.faces.push_back(triangle({-1, 0, 0}, {-half, 1, 0}, {-1, 1, 0}, 1));
  q.faces.push_back(triangle({half, 0, 0}, {1, 0, 0}, {1, 1, 0}, 2));
  q.faces.push_back(triangle({half, 0, 0}, {1, 1, 0}, {half, 1, 0}, 3));
  return q;
}

constexpr std::array<Vec, 3> kAcross{Vec{-0.8, 0.3, 0}, Vec{0.9, 0.2, 0}, Vec{0.1, 0.9, 0}};

TEST(PieceCover, CutsAlongTheFacesOfAPlane) {
  for (double const radius : {1e-2, 1e-6, 1e-12}) {
    Question q = squares(0);
    EXPECT_TRUE(q.covers(kAcross, radius)) << radius;
    EXPECT_EQ(q.used.size(), 4U);
    EXPECT_LE(q.reached, radius);
    EXPECT_LT(q.spent, 300) << "the cuts are those of the overlay, however small the radius";
  }
}

TEST(PieceCover, SeesAGapWiderThanTwiceTheRadius) {
  Question q = squares(0.2);
  EXPECT_TRUE(q.covers(kAcross, 0.105));
  EXPECT_GE(q.reached, 0.099);
  EXPECT_FALSE(q.covers(kAcross, 0.099));
  ASSERT_TRUE(q.cover.beyond_known);
  EXPECT_LT(std::abs(q.cover.beyond.x), 0.1) << "in the gap";
}

TEST(PieceCover, GivesUpAGapOfExactlyTwiceTheRadius) {
  Question q = squares(0.2);
  q.covers(kAcross, 0.1);
  EXPECT_LT(q.spent, 10000) << "whatever it answers";
}

TEST(PieceCover, CountsHowFarCandidatesAreThemselves) {
  Question q;
  q.faces.push_back(triangle({-1, -1, 0}, {2, -1, 0}, {0, 2, 0}, 7, 0.3));
  std::array<Vec, 3> const above{Vec{0, 0, 0.1}, Vec{0.2, 0, 0.1}, Vec{0, 0.2, 0.1}};
  EXPECT_FALSE(q.covers(above, 0.399));
  EXPECT_TRUE(q.covers(above, 0.401));
  EXPECT_NEAR(q.reached, 0.4, 1e-12);
  EXPECT_EQ(q.used, std::vector<std::uint32_t>{7});
  EXPECT_NEAR(q.cover.reach(above, q.faces[0], 1), 0.4, 1e-12);
  EXPECT_EQ(q.cover.reach(above, q.faces[0], 0.35), std::numeric_limits<double>::infinity());
  EXPECT_EQ(q.cover.reach(above, q.faces[0], 0.25), std::numeric_limits<double>::infinity());
}

TEST(PieceCover, SpendsNoMoreThanItMay) {
  Question q = squares(0);
  EXPECT_FALSE(q.covers(kAcross, 1e-6, 20));
  EXPECT_FALSE(q.cover.beyond_known) << "nothing is known to be too far away";
  EXPECT_LT(q.spent, 100);
}

}  // namespace
}  // namespace mirel::engine
