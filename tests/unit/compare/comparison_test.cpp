#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/unit/compare/meshes.h"

namespace mirel::compare::test {
namespace {

TEST(Comparison, OfAMeshWithItselfIsZero) {
  MirelCompareResult const result = compared(sphere(2, 20, 40), sphere(2, 20, 40), options(20'000, 0.01));
  EXPECT_LE(result.rms, 1e-7);
  EXPECT_LE(result.max, 1e-7);
  EXPECT_LE(result.max_bound, 1e-7);
  EXPECT_LE(result.normal_degrees, 0.05);
}

TEST(Comparison, OfParallelPlanes) {
  // Different tessellations of the unit square, 0.25 apart: every distance is 0.25, every normal the same.
  MirelCompareResult const result = compared(plane(5, 0), plane(7, 0.25), options(10'000, 0.001));
  for (double const value : {result.rms, result.mean, result.max}) EXPECT_NEAR(value, 0.25, 1e-9);
  EXPECT_GE(result.max_bound, 0.25);
  EXPECT_LE(result.max_bound, 0.25 * 1.001 + 1e-6);
  EXPECT_NEAR(result.normal_degrees, 0, 1e-9);
  EXPECT_NEAR(result.diagonal, std::sqrt(2), 1e-7);
  EXPECT_NEAR(result.first_to_second.area, 1, 1e-6);
  EXPECT_EQ(result.first_to_second.samples, 10'000U);
  EXPECT_EQ(result.first_to_second.vertices, 36U);
  EXPECT_EQ(result.second_to_first.vertices, 64U);
}

TEST(Comparison, OfAFlippedPlaneHasOppositeNormals) {
  Mesh flipped = plane(4, 0);
  for (std::size_t f = 0; f < flipped.faces.size(); f += 3) std::swap(flipped.faces[f], flipped.faces[f + 1]);
  MirelCompareResult const result = compared(plane(4, 0), flipped, options(1000));
  EXPECT_NEAR(result.normal_degrees, 180, 1e-9);
  EXPECT_NEAR(result.max, 0, 1e-9);
}

TEST(Comparison, OfATiltedPlane) {
  // z = x over the unit square against z = 0. Up: every point is x above the flat one, so mean 1/2, RMS 1/sqrt(3),
  // maximum 1. Down: the point (x, 0) is x / sqrt(2) from the line z = x as long as its foot, x / 2, is on it.
  Mesh tilted = plane(8, 0);
  for (std::size_t i = 0; i < tilted.positions.size(); i += 3) tilted.positions[i + 2] = tilted.positions[i];
  MirelCompareResult const result = compared(tilted, plane(8, 0), options(200'000));
  EXPECT_NEAR(result.first_to_second.mean, 0.5, 1e-4);
  EXPECT_NEAR(result.first_to_second.rms, 1 / std::sqrt(3), 1e-4);
  EXPECT_NEAR(result.first_to_second.max, 1, 1e-7);
  EXPECT_NEAR(result.second_to_first.mean, 0.5 / std::sqrt(2), 1e-4);
  EXPECT_NEAR(result.second_to_first.rms, 1 / std::sqrt(6), 1e-4);
  EXPECT_NEAR(result.second_to_first.max, 1 / std::sqrt(2), 1e-7);
  EXPECT_NEAR(result.normal_degrees, 45, 1e-4);
  EXPECT_NEAR(result.mean, 0.5 * (0.5 + 0.5 / std::sqrt(2)), 1e-4);
  EXPECT_NEAR(result.rms, 0.5, 1e-4);  // the root of (1/3 + 1/6) / 2
  EXPECT_NEAR(result.max, 1, 1e-7);
  EXPECT_NEAR(result.first_to_second.worst_point[0], 1, 1e-6);
  EXPECT_NEAR(result.first_to_second.worst_point[2], 1, 1e-6);
  EXPECT_NEAR(result.first_to_second.nearest_point[2], 0, 1e-6);
}

TEST(Comparison, OfConcentricSpheres) {
  MirelCompareResult const result = compared(sphere(1, 100, 200), sphere(1.5, 95, 205), options(50'000));
  // Flat faces lie up to 1 - cos(pi / 100) = 5e-4 inside their sphere.
  EXPECT_NEAR(result.rms, 0.5, 1e-3);
  EXPECT_NEAR(result.mean, 0.5, 1e-3);
  EXPECT_NEAR(result.max, 0.5, 1e-3);
  EXPECT_LT(result.normal_degrees, 2);
  EXPECT_NEAR(result.diagonal, 2 * std::sqrt(3), 1e-3);
}

TEST(Comparison, OfAShiftedCube) {
  // A unit cube and the same moved by 0.5 along x. Of the first, the face x = 0 is nearest to the second's x = 0.5
  // side: 0.5 off everywhere. x = 1 lies within the second, 0.5 from both its x sides, and d from the nearest of the
  // four others. The four sides: 0 where x >= 0.5, else 0.5 - x.
  MirelCompareResult const result = compared(cube(), cube(0.5), options(400'000, 1e-4));
  double const outside = 0.5;
  // The distance of a point of the unit square from its border has mean 1/6 and mean square 1/24.
  double const inside = 1.0 / 6;
  double const sides = 0.125;
  double const mean = (outside + inside + 4 * sides) / 6;
  double const square = (0.25 + 1.0 / 24 + 4.0 / 24) / 6;
  for (MirelCompareDirection const& direction : {result.first_to_second, result.second_to_first}) {
    EXPECT_NEAR(direction.mean, mean, 2e-4);
    EXPECT_NEAR(direction.rms, std::sqrt(square), 2e-4);
    EXPECT_NEAR(direction.max, 0.5, 1e-6);
    EXPECT_GE(direction.max_bound, direction.max);
    EXPECT_LE(direction.max_bound, 0.5 * (1 + 1e-4) + 1e-6);
  }
}

TEST(Comparison, TellsTheDirectionOfASpike) {
  // A plane whose middle vertex is drawn out to 1: only one direction sees the whole spike.
  Mesh spike = plane(2, 0);
  spike.positions[3 * 4 + 2] = 1;
  MirelCompareResult const result = compared(plane(2, 0), spike, options(20'000));
  EXPECT_NEAR(result.second_to_first.max, 1, 1e-6);
  EXPECT_LT(result.first_to_second.max, 0.7);
  EXPECT_NEAR(result.max, 1, 1e-6);
  EXPECT_NEAR(result.second_to_first.worst_point[0], 0.5, 1e-6);
  EXPECT_NEAR(result.second_to_first.worst_point[2], 1, 1e-6);
  EXPECT_NEAR(result.second_to_first.nearest_point[2], 0, 1e-6);
}

TEST(Comparison, BoundsAMaximumThatSamplesMiss) {
  // A hole of half width 0.01 in a large square: no vertex, and almost no sample, lies in its middle.
  Mesh const square = mirel::test::square();
  Mesh frame = square;
  frame.faces.clear();
  for (double const y : {0.69, 0.71}) {
    frame.add_point(1.29, y, 0);
    frame.add_point(1.31, y, 0);
  }
  for (auto const& [a, b, c, d] : {std::array{0U, 1U, 5U, 4U}, std::array{1U, 3U, 7U, 5U}, std::array{3U, 2U, 6U, 7U},
                                   std::array{2U, 0U, 4U, 6U}}) {
    frame.add_face(a, b, c);
    frame.add_face(a, c, d);
  }
  MirelCompareResult const sampled = compared(square, frame, options(10));
  EXPECT_LT(sampled.max, 0.009);
  EXPECT_TRUE(std::isnan(sampled.max_bound));
  MirelCompareResult const exact = compared(square, frame, options(10, 0.01));
  EXPECT_NEAR(exact.max, 0.01, 2e-4);
  EXPECT_GE(exact.max_bound, 0.01 - 1e-7);
  EXPECT_LE(exact.max_bound, 0.0102);
  EXPECT_NEAR(exact.first_to_second.worst_point[0], 1.3, 1e-3);
  EXPECT_NEAR(exact.first_to_second.worst_point[1], 0.7, 1e-3);
}

TEST(Comparison, IsTheSameOnEveryRunAndForAnyNumberOfThreads) {
  Mesh const a = sphere(1, 40, 80);
  Mesh const b = sphere(1.01, 13, 17);
  MirelCompareResult const one = compared(a, b, options(30'000, 0.01, 1));
  MirelCompareResult const three = compared(a, b, options(30'000, 0.01, 3));
  EXPECT_EQ(std::memcmp(&one, &three, sizeof one), 0);
}

TEST(Comparison, SamplesByAreaNotByFace) {
  // One large flat square at distance 0, and a tiny one, cut into 2000 faces, at distance 1.
  Mesh large = plane(1, 0);
  Mesh both = plane(1, 0);
  Mesh const fine = plane(32, 0);
  std::uint32_t const first = both.point_count();
  for (std::size_t i = 0; i < fine.positions.size(); i += 3) {
    both.add_point(0.01 * fine.positions[i], 0.01 * fine.positions[i + 1], 1);
  }
  for (std::size_t f = 0; f < fine.faces.size(); f += 3) {
    both.add_face(first + fine.faces[f], first + fine.faces[f + 1], first + fine.faces[f + 2]);
  }
  MirelCompareResult const result = compared(both, large, options(100'000));
  EXPECT_NEAR(result.first_to_second.mean, 1e-4 / (1 + 1e-4), 2e-5);
  EXPECT_NEAR(result.first_to_second.max, 1, 1e-6);
}

TEST(Comparison, TakesDegenerateFacesAsTheyAre) {
  Mesh with = plane(3, 0);
  with.add_face(0, 0, 5);
  with.add_face(2, 2, 2);
  MirelCompareResult const result = compared(with, plane(3, 0.5), options(1000, 0.01));
  EXPECT_NEAR(result.rms, 0.5, 1e-9);
  EXPECT_NEAR(result.max, 0.5, 1e-9);
  EXPECT_NEAR(result.normal_degrees, 0, 1e-9);
}

TEST(Comparison, RefusesMeshesWithoutArea) {
  Mesh line;
  line.add_point(0, 0, 0);
  line.add_point(1, 0, 0);
  line.add_face(0, 1, 1);
  Handle const a = handle(line);
  Handle const b = handle(cube());
  MirelCompareOptions const o = options(100);
  MirelCompareResult result{};
  result.rms = 7;
  EXPECT_EQ(mirel_compare_meshes(a.get(), b.get(), &o, &result), kMirelCompareNoArea);
  EXPECT_EQ(mirel_compare_meshes(b.get(), a.get(), &o, &result), kMirelCompareNoArea);
  EXPECT_EQ(result.rms, 7);
}

TEST(Comparison, RefusesOptionsOutOfRange) {
  Handle const mesh = handle(cube());
  MirelCompareResult result{};
  auto const status = [&](auto const& change) {
    MirelCompareOptions o = options(100);
    change(o);
    return mirel_compare_meshes(mesh.get(), mesh.get(), &o, &result);
  };
  EXPECT_EQ(status([](auto&) {}), kMirelCompareOk);
  EXPECT_EQ(status([](auto& o) { o.samples = 0; }), kMirelCompareBadArgument);
  EXPECT_EQ(status([](auto& o) { o.samples = 10'000'000'001; }), kMirelCompareBadArgument);
  EXPECT_EQ(status([](auto& o) { o.exact_accuracy = -1; }), kMirelCompareBadArgument);
  EXPECT_EQ(status([](auto& o) { o.exact_accuracy = std::numeric_limits<double>::quiet_NaN(); }),
            kMirelCompareBadArgument);
  EXPECT_EQ(status([](auto& o) { o.threads = 65; }), kMirelCompareBadArgument);
  MirelCompareOptions const o = options(100);
  EXPECT_EQ(mirel_compare_meshes(nullptr, mesh.get(), &o, &result), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_meshes(mesh.get(), mesh.get(), nullptr, &result), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_meshes(mesh.get(), mesh.get(), &o, nullptr), kMirelCompareBadArgument);
}

TEST(Comparison, ScalesFromTinyToHuge) {
  for (double const scale : {1e-30, 1e-6, 1.0, 1e6, 1e30}) {
    Mesh a = plane(5, 0);
    Mesh b = plane(4, 0.25);
    for (Mesh* mesh : {&a, &b}) {
      for (float& c : mesh->positions) c = static_cast<float>(c * scale);
    }
    MirelCompareResult const result = compared(a, b, options(1000, 0.01));
    EXPECT_NEAR(result.rms / scale, 0.25, 1e-7) << scale;
    EXPECT_NEAR(result.max / scale, 0.25, 1e-7) << scale;
    EXPECT_NEAR(result.normal_degrees, 0, 1e-4) << scale;
  }
}

}  // namespace
}  // namespace mirel::compare::test
