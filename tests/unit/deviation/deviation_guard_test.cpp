#include "standalone/engine/deviation/deviation_guard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "tests/unit/deviation/collapsing_mesh.h"

namespace mirel::engine {
namespace {

using test::CollapsingMesh;
using test::grid;
using test::Mesh;
using Outcome = CollapsingMesh::Outcome;

double flat(double, double) {
  return 0;
}

// A pyramid on a square: a ring of four corners at z = 0 and a tip at (0.5, 0.5, height).
//
//   3 --- 2
//   | \ / |
//   |  4  |
//   | / \ |
//   0 --- 1
Mesh pyramid(double height) {
  Mesh mesh;
  mesh.add_point(0, 0, 0);
  mesh.add_point(1, 0, 0);
  mesh.add_point(1, 1, 0);
  mesh.add_point(0, 1, 0);
  mesh.add_point(0.5, 0.5, height);
  for (std::uint32_t i = 0; i < 4; ++i) mesh.add_face(i, (i + 1) % 4, 4);
  return mesh;
}

// The tip merged into corner 0: faces 0 and 3 vanish, 1 and 2 get corner 0 for the tip.
bool permits_cutting_the_tip(DeviationGuard& guard, Mesh const& mesh) {
  std::vector<std::uint32_t> const removed{0, 3};
  std::vector<ChangedFace> const changed{{1, {mesh.point(1), mesh.point(2), mesh.point(0)}},
                                         {2, {mesh.point(2), mesh.point(3), mesh.point(0)}}};
  return guard.permits(removed, changed, {});
}

TEST(DeviationGuard, BoundIsZeroBeforeTheFirstChange) {
  Mesh const mesh = pyramid(0.25);
  DeviationGuard guard(mesh.positions, mesh.faces, 1.0F);
  EXPECT_EQ(guard.bound(), 0.0);
  EXPECT_TRUE(permits_cutting_the_tip(guard, mesh));
  EXPECT_EQ(guard.bound(), 0.0) << "a question alone changes nothing";
  guard.commit();
  EXPECT_GE(guard.bound(), 0.25);
  EXPECT_LE(guard.bound(), 1.0);
}

TEST(DeviationGuard, DecidesASpikeByItsHeight) {
  // The spike's tip is the farthest point, at exactly its height above the square.
  Mesh const mesh = pyramid(0.25);
  for (float const tolerance : {0.0025F, 0.1F, 0.2499F}) {
    DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
    EXPECT_FALSE(permits_cutting_the_tip(guard, mesh)) << tolerance;
  }
  for (float const tolerance : {0.2501F, 0.26F, 2.0F}) {
    DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
    EXPECT_TRUE(permits_cutting_the_tip(guard, mesh)) << tolerance;
  }
}

TEST(DeviationGuard, MeasuresTheOppositeDirectionToo) {
  // Raising the tip of a flat square moves no original point far from the tent's foot, but the new tip stands off.
  Mesh const mesh = pyramid(0);
  std::vector<ChangedFace> changed;
  for (std::uint32_t i = 0; i < 4; ++i) {
    changed.push_back({i, {mesh.point(i), mesh.point((i + 1) % 4), Point{0.5F, 0.5F, 0.25F}}});
  }
  DeviationGuard low(mesh.positions, mesh.faces, 0.2499F);
  EXPECT_FALSE(low.permits({}, changed, {}));
  DeviationGuard high(mesh.positions, mesh.faces, 0.2501F);
  EXPECT_TRUE(high.permits({}, changed, {}));
}

TEST(DeviationGuard, DecidesACutCornerByItsDepth) {
  // A strip of two squares, the left one cut back by 0.1 at its free end: the old edge is 0.1 away.
  Mesh mesh;
  for (double const x : {0.0, 1.0}) {
    mesh.add_point(x, 0, 0);
    mesh.add_point(x, 1, 0);
  }
  mesh.add_face(0, 2, 3);
  mesh.add_face(0, 3, 1);
  std::vector<ChangedFace> const changed{{0, {Point{0.1F, 0, 0}, mesh.point(2), mesh.point(3)}},
                                         {1, {Point{0.1F, 0, 0}, mesh.point(3), Point{0.1F, 1, 0}}}};
  DeviationGuard low(mesh.positions, mesh.faces, 0.0999F);
  EXPECT_FALSE(low.permits({}, changed, {}));
  DeviationGuard high(mesh.positions, mesh.faces, 0.1001F);
  ASSERT_TRUE(high.permits({}, changed, {}));
  high.commit();
  EXPECT_NEAR(high.bound(), 0.1, 0.0002);
}

TEST(DeviationGuard, DecidesAnOffsetPlaneByItsDistance) {
  Mesh const mesh = grid(8, flat);
  std::vector<ChangedFace> changed;
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    ChangedFace face{f, {}};
    for (std::size_t k = 0; k < 3; ++k) {
      face.corners[k] = mesh.point(mesh.faces[3 * std::size_t{f} + k]);
      face.corners[k][2] = 0.01F;
    }
    changed.push_back(face);
  }
  DeviationGuard low(mesh.positions, mesh.faces, 0.00999F);
  EXPECT_FALSE(low.permits({}, changed, {}));
  DeviationGuard high(mesh.positions, mesh.faces, 0.01001F);
  ASSERT_TRUE(high.permits({}, changed, {}));
  high.commit();
  EXPECT_NEAR(high.bound(), 0.01, 0.00002);
}

TEST(DeviationGuard, RemembersHowFarTheSurfaceHasAlreadyGone) {
  // Lowered in three steps of 0.004, each small: the sum decides.
  Mesh const mesh = grid(4, flat);
  DeviationGuard guard(mesh.positions, mesh.faces, 0.01F);
  auto const lowered = [&](float z) {
    std::vector<ChangedFace> changed;
    for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
      ChangedFace face{f, {}};
      for (std::size_t k = 0; k < 3; ++k) {
        face.corners[k] = mesh.point(mesh.faces[3 * std::size_t{f} + k]);
        face.corners[k][2] = z;
      }
      changed.push_back(face);
    }
    return changed;
  };
  ASSERT_TRUE(guard.permits({}, lowered(-0.004F), {}));
  guard.commit();
  ASSERT_TRUE(guard.permits({}, lowered(-0.008F), {}));
  guard.commit();
  EXPECT_FALSE(guard.permits({}, lowered(-0.012F), {}));
  EXPECT_TRUE(guard.permits({}, lowered(-0.009F), {}));
  EXPECT_TRUE(guard.permits({}, lowered(0.009F), {})) << "measured from the original, not from the last step";
}

TEST(DeviationGuard, AcceptsEveryFlatCollapseAtAMillionthOfTheDiagonal) {
  Mesh const mesh = grid(24, flat);
  float const tolerance = static_cast<float>(1e-6 * mesh.diagonal());
  DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
  CollapsingMesh reduced(mesh);
  auto const tally = reduced.collapse_at_random(guard, 200'000, 1);
  EXPECT_EQ(tally.refused, 0U);
  EXPECT_GT(tally.done, 400U);
  EXPECT_LE(guard.bound(), static_cast<double>(tolerance));
}

TEST(DeviationGuard, AcceptsFlatCollapsesOfATiltedPlaneWithinItsRounding) {
  // Corners rounded to float lie off the plane by some 10^-8; a millionth of the diagonal must still be enough.
  Mesh const mesh = grid(24, [](double x, double y) { return 0.37 * x - 0.71 * y; });
  float const tolerance = static_cast<float>(1e-6 * mesh.diagonal());
  DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
  CollapsingMesh reduced(mesh);
  auto const tally = reduced.collapse_at_random(guard, 200'000, 2);
  EXPECT_EQ(tally.refused, 0U);
  EXPECT_GT(tally.done, 400U);
  EXPECT_LE(guard.bound(), static_cast<double>(tolerance));
}

TEST(DeviationGuard, AcceptsFlatCollapsesBesideACreaseAndRefusesTheCreaseItself) {
  // A roof with its ridge along x = 0.5. Moves within a slope, and along the ridge, are free.
  Mesh const mesh = grid(16, [](double x, double) { return 0.5 - std::fabs(x - 0.5); });
  float const tolerance = static_cast<float>(1e-6 * mesh.diagonal());
  DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
  CollapsingMesh reduced(mesh);
  auto const vertex = [](std::uint32_t i, std::uint32_t j) { return j * 17 + i; };
  EXPECT_EQ(reduced.collapse(guard, vertex(8, 5), vertex(7, 5), mesh.point(vertex(8, 5))), Outcome::kDone)
      << "a slope vertex onto the ridge";
  EXPECT_EQ(reduced.collapse(guard, vertex(8, 8), vertex(8, 9), mesh.point(vertex(8, 8))), Outcome::kDone)
      << "along the ridge";
  EXPECT_EQ(reduced.collapse(guard, vertex(7, 12), vertex(8, 12), mesh.point(vertex(7, 12))), Outcome::kRefused)
      << "a ridge vertex down a slope";
}

TEST(DeviationGuard, SequencesQuestionsAndChanges) {
  Mesh const mesh = pyramid(0.25);
  DeviationGuard guard(mesh.positions, mesh.faces, 0.3F);
  guard.commit();  // nothing was asked
  EXPECT_EQ(guard.bound(), 0.0);
  std::vector<ChangedFace> const far{{0, {mesh.point(0), mesh.point(1), Point{0, 0, 9}}}};
  EXPECT_FALSE(guard.permits({}, far, {}));
  guard.commit();  // the answer was no
  EXPECT_EQ(guard.bound(), 0.0);
  ASSERT_TRUE(permits_cutting_the_tip(guard, mesh));
  EXPECT_FALSE(guard.permits({}, far, {}));
  guard.commit();  // follows the refused question, not the allowed one
  EXPECT_EQ(guard.bound(), 0.0);
  ASSERT_TRUE(permits_cutting_the_tip(guard, mesh));
  guard.commit();
  double const bound = guard.bound();
  EXPECT_GE(bound, 0.25);
  guard.commit();  // once only
  EXPECT_EQ(guard.bound(), bound);
  EXPECT_FALSE(permits_cutting_the_tip(guard, mesh)) << "faces that have gone cannot go again";
}

TEST(DeviationGuard, AnswersBadQuestionsWithNo) {
  Mesh const mesh = pyramid(0.1);
  DeviationGuard guard(mesh.positions, mesh.faces, 1.0F);
  float const nan = std::numeric_limits<float>::quiet_NaN();
  float const infinity = std::numeric_limits<float>::infinity();
  EXPECT_FALSE(guard.permits(std::vector<std::uint32_t>{77}, {}, {}));
  EXPECT_FALSE(guard.permits(std::vector<std::uint32_t>{1, 1}, {}, {}));
  for (float const bad : {nan, infinity}) {
    std::vector<ChangedFace> const changed{{0, {mesh.point(0), mesh.point(1), Point{bad, 0, 0}}}};
    EXPECT_FALSE(guard.permits({}, changed, {}));
  }
  std::vector<std::uint32_t> const neighbours{2, 2, 99, 0};
  std::vector<ChangedFace> const same{{0, {mesh.point(0), mesh.point(1), mesh.point(4)}}};
  EXPECT_TRUE(guard.permits({}, same, neighbours)) << "odd neighbours are passed over";
  std::vector<std::uint32_t> const all{0, 1, 2, 3};
  EXPECT_FALSE(guard.permits(all, {}, {})) << "nothing is left to answer for the surface";
}

TEST(DeviationGuard, RefusesEverythingWithoutATolerance) {
  Mesh const mesh = pyramid(0);
  for (float const tolerance : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
    EXPECT_FALSE(permits_cutting_the_tip(guard, mesh));
  }
}

TEST(DeviationGuard, LetsAComponentGoWhereANeighbourCoversIt) {
  // A small triangle 0.01 above a large one.
  Mesh mesh;
  mesh.add_point(0, 0, 0);
  mesh.add_point(1, 0, 0);
  mesh.add_point(0, 1, 0);
  mesh.add_point(0.2, 0.2, 0.01);
  mesh.add_point(0.3, 0.2, 0.01);
  mesh.add_point(0.2, 0.3, 0.01);
  mesh.add_face(0, 1, 2);
  mesh.add_face(3, 4, 5);
  std::vector<std::uint32_t> const removed{1};
  std::vector<std::uint32_t> const neighbours{0};
  DeviationGuard low(mesh.positions, mesh.faces, 0.0099F);
  EXPECT_FALSE(low.permits(removed, {}, neighbours));
  DeviationGuard high(mesh.positions, mesh.faces, 0.0101F);
  EXPECT_TRUE(high.permits(removed, {}, neighbours));
  high.commit();
  // The large one now answers for both: it may not sink by as much.
  std::vector<ChangedFace> const sunk{{0, {Point{0, 0, -0.005F}, Point{1, 0, -0.005F}, Point{0, 1, -0.005F}}}};
  EXPECT_FALSE(high.permits({}, sunk, {}));
  std::vector<ChangedFace> const raised{{0, {Point{0, 0, 0.005F}, Point{1, 0, 0.005F}, Point{0, 1, 0.005F}}}};
  EXPECT_TRUE(high.permits({}, raised, {}));
}

// The middle of a grid of 6 x 6 squares, 7 points to a row, and the point beside it.
constexpr std::uint32_t kMiddle = 24;
constexpr std::uint32_t kBeside = 25;

TEST(DeviationGuard, PermitsStepsOnAPlaneWithoutTheOriginal) {
  Mesh const mesh = grid(6, flat);
  DeviationGuard guard(mesh.positions, mesh.faces, 1e-4F);
  CollapsingMesh reduced(mesh);
  reduced.set_question(CollapsingMesh::Ask::kStep);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kBeside, mesh.point(kMiddle)), Outcome::kDone);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kMiddle - 1, {0.48F, 0.5F, 0}), Outcome::kDone);
  EXPECT_EQ(reduced.collapse(guard, 0, 1, mesh.point(0), false), Outcome::kRefused) << "at the border";
  EXPECT_LE(guard.bound(), 1e-10);
}

TEST(DeviationGuard, PermitsStepsUpToHalfOfTheTolerance) {
  Mesh mesh = grid(6, flat);
  mesh.positions[3 * kMiddle + 2] = 0.01F;
  for (float const tolerance : {0.011F, 0.019F, 0.1F}) {
    DeviationGuard guard(mesh.positions, mesh.faces, tolerance);
    CollapsingMesh reduced(mesh);
    reduced.set_question(CollapsingMesh::Ask::kStep);
    bool const is_enough = tolerance > 0.02F;  // the gap of the vertex is larger than that of the bump
    EXPECT_EQ(reduced.collapse(guard, kBeside, kMiddle, mesh.point(kBeside)),
              is_enough ? Outcome::kDone : Outcome::kRefused);
    if (!is_enough) {
      EXPECT_EQ(guard.bound(), 0);
      reduced.set_question(CollapsingMesh::Ask::kEither);
      EXPECT_EQ(reduced.collapse(guard, kBeside, kMiddle, mesh.point(kBeside)), Outcome::kDone);
    }
    EXPECT_GE(guard.bound(), 0.0099);
    EXPECT_LE(guard.bound(), tolerance);
  }
}

TEST(DeviationGuard, KnowsNoStepsWhereTheOriginalWasLookedAt) {
  Mesh const mesh = grid(6, flat);
  DeviationGuard guard(mesh.positions, mesh.faces, 1e-4F);
  CollapsingMesh reduced(mesh);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kBeside, mesh.point(kMiddle)), Outcome::kDone);
  reduced.set_question(CollapsingMesh::Ask::kStep);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kMiddle - 1, mesh.point(kMiddle)), Outcome::kRefused);
  EXPECT_EQ(reduced.collapse(guard, 8, 9, mesh.point(8)), Outcome::kDone) << "far from there";
  reduced.set_question(CollapsingMesh::Ask::kEither);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kMiddle - 1, mesh.point(kMiddle)), Outcome::kDone);
}

// A spike that is narrow one way leaves all of the original near to its foot: only its own way tells. One that is long
// the other way is too large to be laid over the original.
TEST(DeviationGuard, CountsWhatStepsHaveAddedUpToWhenItLooksAgain) {
  constexpr float kTolerance = 1;
  for (float const stretch : {1.0F, 30000.0F}) {
    Mesh mesh = grid(6, flat);
    for (std::size_t i = 0; i < mesh.positions.size(); i += 3) mesh.positions[i] = stretch * (mesh.positions[i] - 0.5F);
    DeviationGuard guard(mesh.positions, mesh.faces, kTolerance);
    CollapsingMesh reduced(mesh);
    reduced.set_question(CollapsingMesh::Ask::kStep);
    ASSERT_EQ(reduced.collapse(guard, kMiddle, kBeside, Point{0, 0.5F, 0.2F}), Outcome::kDone);
    ASSERT_GE(guard.bound(), 0.2);
    std::vector<ChangedFace> spike;
    for (std::uint32_t const f : reduced.star(kMiddle)) {
      ChangedFace face{f, {}};
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const v = reduced.mesh().faces[3 * std::size_t{f} + k];
        face.corners[k] = reduced.mesh().point(v);
        if (v == kMiddle) face.moving = static_cast<std::uint8_t>(k);
      }
      spike.push_back(face);
    }
    std::vector<std::uint32_t> neighbours(mesh.face_count());
    std::iota(neighbours.begin(), neighbours.end(), 0U);
    float height = 0;
    for (std::uint32_t i = 1; i < 100; ++i) {
      float const to = 0.2F + 0.05F * static_cast<float>(i);
      for (ChangedFace& face : spike) face.corners[face.moving][2] = to;
      if (!guard.permits({}, spike, neighbours)) break;
      guard.commit();
      height = to;
      ASSERT_LE(height, kTolerance);
      ASSERT_GE(guard.bound(), double{height} - 1e-6);
    }
    EXPECT_GT(height, 0.9F);
  }
}

TEST(DeviationGuard, KnowsNoStepsOfFacesThatCoverForOthers) {
  Mesh mesh = grid(6, flat);
  std::uint32_t const scrap = mesh.face_count();
  std::uint32_t const first = mesh.point_count();
  mesh.add_point(0.45, 0.45, 0.01);
  mesh.add_point(0.55, 0.45, 0.01);
  mesh.add_point(0.5, 0.55, 0.01);
  mesh.add_face(first, first + 1, first + 2);
  DeviationGuard guard(mesh.positions, mesh.faces, 0.02F);
  CollapsingMesh reduced(mesh);
  ASSERT_TRUE(guard.permits_removal(std::vector<std::uint32_t>{scrap}));
  guard.commit();
  reduced.set_question(CollapsingMesh::Ask::kStep);
  EXPECT_EQ(reduced.collapse(guard, kMiddle, kBeside, mesh.point(kMiddle)), Outcome::kRefused);
  EXPECT_EQ(reduced.collapse(guard, 8, 9, mesh.point(8)), Outcome::kDone) << "far from there";
}

TEST(DeviationGuard, KnowsNoStepOfAChangeThatIsNoCollapse) {
  Mesh const mesh = pyramid(0.1);
  DeviationGuard guard(mesh.positions, mesh.faces, 1.0F);
  std::vector<std::uint32_t> const removed{0, 3};
  std::vector<ChangedFace> const changed{{1, {mesh.point(1), mesh.point(2), mesh.point(0)}},
                                         {2, {mesh.point(2), mesh.point(3), mesh.point(0)}}};
  EXPECT_FALSE(guard.permits_step(removed, changed));
  EXPECT_FALSE(guard.permits_step({}, {}));
}

// All faces around one vertex, which is as high as the rim is wide; with a second such vertex below on request.
Mesh cone(std::uint32_t count, bool closed) {
  Mesh mesh;
  for (std::uint32_t i = 0; i < count; ++i) {
    double const angle = 2 * std::numbers::pi * i / count;
    mesh.add_point(std::cos(angle), std::sin(angle), 0);
  }
  mesh.add_point(0, 0, 1);
  mesh.add_point(0, 0, -1);
  for (std::uint32_t i = 0; i < count; ++i) {
    mesh.add_face(i, (i + 1) % count, count);
    if (closed) mesh.add_face((i + 1) % count, i, count + 1);
  }
  return mesh;
}

// Every second vertex of the rim into the one before it, as long as that changes anything.
std::size_t collapse_rim(CollapsingMesh& reduced, DeviationGuard& guard, std::uint32_t count) {
  std::size_t done = 0;
  for (std::uint32_t stride = 1; stride < count / 2; stride *= 2) {
    for (std::uint32_t i = 0; i + stride < count; i += 2 * stride) {
      Outcome const outcome = reduced.collapse(guard, i, i + stride, reduced.mesh().point(i), false);
      done += outcome == Outcome::kDone ? 1U : 0U;
    }
  }
  return done;
}

// Faces of a large star meet in its middle, and near it lie within any tolerance of each other: lists in which each of
// them answered for all originals there would make the work that of a square, or a cube, of their number.
TEST(DeviationGuard, KeepsListsShortAroundALargeStar) {
  for (bool const closed : {false, true}) {
    constexpr std::uint32_t kCount = 2048;
    Mesh const mesh = cone(kCount, closed);
    for (bool const steps_first : {false, true}) {
      DeviationGuard guard(mesh.positions, mesh.faces, 0.01F);
      CollapsingMesh reduced(mesh);
      if (steps_first) {
        reduced.set_question(CollapsingMesh::Ask::kStep);
        collapse_rim(reduced, guard, kCount);
        EXPECT_EQ(reduced.live_count() < mesh.face_count(), closed) << "none is known on an open border";
        EXPECT_EQ(guard.answer_count(), 0U);
      }
      reduced.set_question(CollapsingMesh::Ask::kOriginal);
      EXPECT_GT(collapse_rim(reduced, guard, kCount), 0U);
      EXPECT_LT(reduced.live_count(), mesh.face_count() / 32);
      EXPECT_LE(guard.answer_count(), 3 * std::size_t{mesh.face_count()}) << closed << steps_first;
    }
  }
}

TEST(DeviationGuard, EmptyMeshIsHarmless) {
  DeviationGuard guard({}, {}, 1.0F);
  EXPECT_TRUE(guard.permits({}, {}, {}));
  guard.commit();
  EXPECT_FALSE(guard.permits(std::vector<std::uint32_t>{0}, {}, {}));
}

}  // namespace
}  // namespace mirel::engine
