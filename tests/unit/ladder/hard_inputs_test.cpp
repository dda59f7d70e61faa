// Inputs that other simplifiers stumble over: flat regions in every tessellation, non-manifold and touching surfaces,
// many components, slivers, coordinates far from the origin, scales from 10^-6 to 10^6. Each goes as far down as a
// clean mesh of its kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "standalone/engine/deviation/triangle_bvh.h"
#include "standalone/engine/ladder/step_deviation.h"
#include "standalone/engine/prepare/validate.h"
#include "tests/unit/ladder/edge_counts.h"
#include "tests/unit/ladder/zoo.h"

namespace mirel::engine {
namespace {

using mirel::test::cube;
using mirel::test::from_triangles;
using mirel::test::plane;

// The same numbers everywhere.
struct Random {
  std::uint32_t state;
  std::uint32_t below(std::uint32_t end) {
    state = state * 1664525U + 1013904223U;
    return (state >> 8) % end;
  }
  float unit() { return static_cast<float>(below(65536)) / 65536.0F; }
};

// Faces in any order, each beginning with any of its corners.
WedgeMesh shuffled(WedgeMesh const& mesh, std::uint32_t seed) {
  Random random{seed};
  std::vector<std::uint32_t> order(mesh.face_count());
  std::iota(order.begin(), order.end(), 0U);
  for (std::uint32_t i = mesh.face_count(); i > 1; --i) std::swap(order[i - 1], order[random.below(i)]);
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t const face : order) {
    std::uint32_t const first = random.below(3);
    for (std::uint32_t k = 0; k < 3; ++k) triangles.push_back(mesh.faces[3 * face + (first + k) % 3]);
  }
  return from_triangles(mesh.vertices, triangles);
}

// Every second square or so cut along its other diagonal.
WedgeMesh cut_at_random(WedgeMesh const& mesh, std::uint32_t seed) {
  Random random{seed};
  std::vector<std::uint32_t> t = mesh.faces;
  for (std::size_t i = 0; i + 5 < t.size(); i += 6) {
    std::uint32_t const corners[] = {t[i], t[i + 1], t[i + 2], t[i + 5]};
    if (t[i + 3] != corners[0] || t[i + 4] != corners[2] || random.below(2) == 0) continue;
    t[i + 2] = corners[3];
    t[i + 3] = corners[1];
  }
  return from_triangles(mesh.vertices, t);
}

// Moves what lies inside a side of the unit square or cube about within that side.
WedgeMesh jittered(WedgeMesh const& mesh, float cell, std::uint32_t seed) {
  Random random{seed};
  WedgeMesh result = mesh;
  for (std::size_t v = 0; v < result.vertices.size(); v += 3) {
    auto const inside = [&](std::size_t k) { return result.vertices[v + k] > 0 && result.vertices[v + k] < 1; };
    if (inside(0) + inside(1) + inside(2) != 2) continue;
    for (std::size_t k = 0; k < 3; ++k) {
      if (inside(k)) result.vertices[v + k] += 0.2F * cell * (2 * random.unit() - 1);
    }
  }
  return result;
}

WedgeMesh placed(WedgeMesh const& mesh, std::array<double, 3> scale, double offset) {
  std::vector<float> positions;
  for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
    positions.push_back(static_cast<float>(double{mesh.vertices[i]} * scale[i % 3] + offset));
  }
  return from_triangles(positions, mesh.faces);
}

WedgeMesh scaled(WedgeMesh const& mesh, double scale) {
  return placed(mesh, {scale, scale, scale}, 0);
}

// Turned so that no plane is parallel to an axis any more.
WedgeMesh turned(WedgeMesh const& mesh) {
  constexpr double kRows[3][3] = {{0.8, -0.6, 0}, {0.48, 0.64, -0.6}, {0.36, 0.48, 0.8}};
  std::vector<float> positions;
  for (std::size_t v = 0; v < mesh.vertices.size(); v += 3) {
    for (std::size_t k = 0; k < 3; ++k) {
      double sum = 0;
      for (std::size_t i = 0; i < 3; ++i) sum += kRows[i][k] * (double{mesh.vertices[v + i]} - 0.5);
      positions.push_back(static_cast<float>(sum));
    }
  }
  return from_triangles(positions, mesh.faces);
}

std::unique_ptr<Ladder> build(WedgeMesh const& mesh) {
  WedgeMesh const* const meshes[] = {&mesh};
  return Ladder::build(meshes, {});
}

Vec normal(WedgeMesh const& mesh, std::uint32_t face) {
  auto const corner = [&](std::size_t k) { return load(&mesh.vertices[std::size_t{3} * mesh.faces[3 * face + k]]); };
  return cross(corner(1) - corner(0), corner(2) - corner(0));
}

// Faces that look the other way than the face of the original that is nearest to their middle.
std::uint32_t turned_faces(WedgeMesh const& original, TriangleBvh const& tree, WedgeMesh const& mesh) {
  std::uint32_t count = 0;
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    Vec middle;
    for (std::size_t k = 0; k < 3; ++k) {
      middle = middle + (1.0 / 3) * load(&mesh.vertices[std::size_t{3} * mesh.faces[3 * f + k]]);
    }
    count += dot(normal(original, tree.face_of(tree.nearest(middle).slot)), normal(mesh, f)) < 0 ? 1U : 0U;
  }
  return count;
}

enum class Turning { kNone, kAllowed };

// How many faces are left at the end; on the way down everything that must hold, does. A few faces are no picture of a
// surface any more: how it faces is compared as long as there are `fewest_compared`.
std::uint32_t coarsest(WedgeMesh const& mesh, Turning turning = Turning::kNone, std::uint32_t fewest_compared = 48) {
  EXPECT_EQ(validate(mesh), "");
  auto const ladder = build(mesh);
  TriangleBvh const tree(mesh.vertices, mesh.faces);
  test::EdgeCounts before = test::count_edges(mesh);
  bool const closed = before.boundary == 0;
  WedgeMesh now;
  for (std::uint32_t part = 2; part <= mesh.face_count(); part *= 2) {
    SCOPED_TRACE("at one face of " + std::to_string(part));
    ladder->read(0, ladder->step_for_face_count(mesh.face_count() / part), now);
    EXPECT_EQ(validate(now), "");
    test::EdgeCounts const counts = test::count_edges(now);
    EXPECT_LE(counts.non_manifold, before.non_manifold);
    if (closed) {
      EXPECT_EQ(counts.boundary, 0U);
    }
    if (turning == Turning::kNone && now.face_count() >= fewest_compared) {
      EXPECT_EQ(turned_faces(mesh, tree, now), 0U);
    }
    before = counts;
  }
  return ladder->face_count(ladder->step_count());
}

void expect_flat(WedgeMesh const& mesh, std::uint32_t faces) {
  auto const ladder = build(mesh);
  std::uint32_t const step = ladder->step_for_face_count(faces);
  ASSERT_EQ(ladder->face_count(step), faces);
  EXPECT_LT(StepDeviation(*ladder, step).bound(), 1e-6 * TriangleBvh(mesh.vertices, mesh.faces).diagonal());
  EXPECT_LE(coarsest(mesh), faces);
}

TEST(HardInputsTest, APlaneBecomesTwoTriangles) {
  WedgeMesh const regular = plane(40);
  WedgeMesh const random = jittered(cut_at_random(regular, 3), 1 / 40.0F, 4);
  expect_flat(regular, 2);
  expect_flat(shuffled(regular, 1), 2);
  expect_flat(jittered(regular, 1 / 40.0F, 2), 2);
  expect_flat(random, 2);
  expect_flat(shuffled(random, 5), 2);
  expect_flat(scaled(random, 3e-6), 2);
  expect_flat(scaled(random, 3e6), 2);
  expect_flat(turned(regular), 2);
  expect_flat(turned(random), 2);
  expect_flat(turned(plane(300)), 2);
}

// How near the faces are to equilateral ones, in the mean.
double mean_quality(WedgeMesh const& mesh) {
  double sum = 0;
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    double edges = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      Vec const from = load(&mesh.vertices[std::size_t{3} * mesh.faces[3 * f + k]]);
      Vec const edge = load(&mesh.vertices[std::size_t{3} * mesh.faces[3 * f + (k + 1) % 3]]) - from;
      edges += dot(edge, edge);
    }
    Vec const n = normal(mesh, f);
    sum += 2 * std::sqrt(3 * dot(n, n)) / edges;
  }
  return sum / mesh.face_count();
}

// Where the keys are nothing but rounding, collapses in their order would be as good as random, and made late: vertices
// would come up again and again.
TEST(HardInputsTest, RoundingDoesNotOrderATurnedPlane) {
  for (WedgeMesh const& mesh : {turned(plane(300)), turned(jittered(plane(300), 1 / 300.0F, 2))}) {
    auto const ladder = build(mesh);
    WedgeMesh quarter;
    ladder->read(0, ladder->step_for_face_count(mesh.face_count() / 4), quarter);
    EXPECT_GT(mean_quality(quarter), 0.65);
  }
}

TEST(HardInputsTest, ACubeBecomesTwelveTriangles) {
  WedgeMesh const regular = cube(20);
  WedgeMesh const random = jittered(cut_at_random(regular, 3), 1 / 20.0F, 4);
  expect_flat(regular, 12);
  expect_flat(shuffled(regular, 1), 12);
  expect_flat(random, 12);
  expect_flat(shuffled(random, 5), 12);
  expect_flat(scaled(random, 3e-6), 12);
  expect_flat(scaled(random, 3e6), 12);
  expect_flat(turned(regular), 12);
  expect_flat(turned(random), 12);
}

TEST(HardInputsTest, SheetsOnOneEdgeGoAsOneSheetDoes) {
  EXPECT_EQ(coarsest(mirel::test::fan_of_sheets(1, 16)), 1U);
  EXPECT_LE(coarsest(mirel::test::fan_of_sheets(3, 16)), 3U);
  EXPECT_LE(coarsest(mirel::test::fan_of_sheets(6, 16)), 6U);
}

TEST(HardInputsTest, SurfacesThatTouchGoAsTheyWouldAlone) {
  EXPECT_LE(coarsest(mirel::test::touching_spheres()), 8U);
  // Each face twice, once for each side: the nearest face of the original may be either.
  EXPECT_LE(coarsest(mirel::test::back_to_back(), Turning::kAllowed), 8U);
  // Two sheets of one grid, joined along every tenth line: four open tubes, each of which needs six faces.
  WedgeMesh const sheet = plane(40);
  std::vector<float> positions = sheet.vertices;
  std::vector<std::uint32_t> triangles = sheet.faces;
  for (std::size_t v = 0; v < sheet.vertices.size(); v += 3) {
    bool const touches = std::lround(sheet.vertices[v] * 40) % 10 == 0;
    positions.insert(positions.end(),
                     {sheet.vertices[v], sheet.vertices[v + 1], touches ? 0.0F : -0.02F * (1 + sheet.vertices[v])});
  }
  for (std::size_t f = 0; f < sheet.faces.size(); f += 3) {
    for (std::size_t k : {0U, 2U, 1U}) triangles.push_back(sheet.faces[f + k] + sheet.vertex_count());
  }
  EXPECT_LE(coarsest(from_triangles(positions, triangles), Turning::kAllowed), 24U);
}

TEST(HardInputsTest, RepeatedFacesChangeNothing) {
  WedgeMesh const once = mirel::test::terrain(20, 7);
  std::vector<std::uint32_t> twice = once.faces;
  twice.insert(twice.end(), once.faces.begin(), once.faces.begin() + 900);
  EXPECT_EQ(coarsest(from_triangles(once.vertices, twice)), coarsest(once));
}

TEST(HardInputsTest, ThousandsOfComponentsGo) {
  EXPECT_EQ(coarsest(mirel::test::many_components(1500)), 4U);
}

TEST(HardInputsTest, SliversGo) {
  // Faces a thousand times as long as wide, flat and round.
  EXPECT_EQ(coarsest(placed(jittered(plane(40), 1 / 40.0F, 2), {1000, 1, 1}, 0)), 1U);
  EXPECT_EQ(coarsest(placed(mirel::test::sphere(24, 36), {1000, 1, 1}, 0)), 4U);
  // Of the last two hundred faces one or two may cut across the two ends of the long ring.
  EXPECT_LE(coarsest(placed(mirel::test::torus(36, 24), {1000, 1, 1}, 0), Turning::kNone, 200), 30U);
}

// A sheet squeezed to so much of its width, with noise on it: where the noise is longer than the faces are wide, no
// edge collapses without making one of its slivers a little worse.
WedgeMesh squeezed_sheet(std::uint32_t cells, float width, float noise) {
  Random random{7};
  WedgeMesh mesh = plane(cells);
  for (std::size_t v = 0; v < mesh.vertices.size(); v += 3) {
    mesh.vertices[v] *= width;
    mesh.vertices[v + 2] += noise * random.unit();
  }
  return mesh;
}

// A cone whose rim goes up and down by so many lengths of its edges.
WedgeMesh rough_cone(std::uint32_t faces, float noise) {
  Random random{9};
  std::vector<float> positions = {0, 0, 1};
  std::vector<std::uint32_t> triangles;
  double const edge = 2 * std::numbers::pi / faces;
  for (std::uint32_t i = 0; i < faces; ++i) {
    positions.push_back(static_cast<float>(std::cos(edge * i)));
    positions.push_back(static_cast<float>(std::sin(edge * i)));
    positions.push_back(static_cast<float>(edge) * noise * (2 * random.unit() - 1));
    triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % faces});
  }
  return from_triangles(positions, triangles);
}

TEST(HardInputsTest, RoughSliversGo) {
  // Mostly to one; a few may be stuck where noise has folded faces over.
  EXPECT_LE(coarsest(squeezed_sheet(20, 1e-3F, 1e-3F), Turning::kAllowed), 30U);
  EXPECT_LE(coarsest(squeezed_sheet(40, 1e-4F, 1e-4F), Turning::kAllowed), 30U);
  EXPECT_LE(coarsest(rough_cone(5000, 5), Turning::kAllowed), 30U);
  EXPECT_LE(coarsest(rough_cone(30000, 50), Turning::kAllowed), 30U);
}

TEST(HardInputsTest, RoughSliversGoBesideOthers) {
  // Two parts of one mesh: both wait for their slivers, and one of them goes whole in the end.
  WedgeMesh const sheet = squeezed_sheet(20, 1e-3F, 1e-3F);
  WedgeMesh const cone = rough_cone(5000, 5);
  std::vector<float> positions = cone.vertices;
  std::vector<std::uint32_t> triangles = cone.faces;
  for (float const x : sheet.vertices) positions.push_back(x + 2);
  for (std::uint32_t const v : sheet.faces) triangles.push_back(cone.vertex_count() + v);
  WedgeMesh const both = from_triangles(positions, triangles);
  EXPECT_LE(coarsest(both, Turning::kAllowed), 30U);
  // With few faces left both are still there.
  auto const ladder = build(both);
  WedgeMesh now;
  ladder->read(0, ladder->step_for_face_count(40), now);
  float high = 0, low = 3;
  for (std::size_t v = 0; v < now.vertices.size(); v += 3) {
    high = std::max(high, now.vertices[v]);
    low = std::min(low, now.vertices[v]);
  }
  EXPECT_GT(high, 1.9F);
  EXPECT_LT(low, -0.9F);
}

TEST(HardInputsTest, RoughSliversStayWithinATolerance) {
  WedgeMesh const mesh = squeezed_sheet(20, 1e-3F, 1e-3F);
  WedgeMesh const* const meshes[] = {&mesh};
  LadderOptions options;
  options.tolerance = 2e-3F;
  auto const ladder = Ladder::build(meshes, options);
  EXPECT_LE(ladder->face_count(ladder->step_count()), 40U);
  EXPECT_LE(StepDeviation(*ladder, ladder->step_count()).bound(), 1.06 * double{options.tolerance});
}

TEST(HardInputsTest, RoughSliversLeaveALockedBoundaryAlone) {
  WedgeMesh const mesh = squeezed_sheet(30, 1e-3F, 1e-3F);
  WedgeMesh const* const meshes[] = {&mesh};
  LadderOptions options;
  options.lock_boundaries = true;
  auto const ladder = Ladder::build(meshes, options);
  WedgeMesh last;
  ladder->read(0, ladder->step_count(), last);
  EXPECT_EQ(test::count_edges(last).boundary, 120U);
  // A polygon of 120 edges with few vertices inside of it.
  EXPECT_LE(last.face_count(), 140U);
}

// Where a long ring is cut across at one of its ends, what is nearest lies on the other side of it.
TEST(HardInputsTest, FewFacesOfStretchedRingsLookAway) {
  std::uint32_t turned = 0;
  std::uint32_t all = 0;
  for (std::uint32_t rings = 30; rings < 46; rings += 3) {
    for (std::uint32_t segments = 20; segments < 29; segments += 2) {
      WedgeMesh const mesh = placed(mirel::test::torus(rings, segments), {1000, 1, 1}, 0);
      auto const ladder = build(mesh);
      TriangleBvh const tree(mesh.vertices, mesh.faces);
      for (std::uint32_t const part : {8U, 16U}) {
        WedgeMesh now;
        ladder->read(0, ladder->step_for_face_count(mesh.face_count() / part), now);
        turned += turned_faces(mesh, tree, now);
        all += now.face_count();
      }
    }
  }
  EXPECT_LT(turned, all / 300) << "of " << all;
}

TEST(HardInputsTest, FarFromTheOriginIsAsGoodAsNear) {
  for (double const size : {100.0, 1000.0}) {
    for (bool const round : {false, true}) {
      SCOPED_TRACE(size);
      WedgeMesh const mesh = round ? mirel::test::sphere(30, 44) : mirel::test::torus(40, 30);
      WedgeMesh const far = placed(mesh, {size, size, size}, 1e6);
      EXPECT_LE(coarsest(far), coarsest(mesh) + 2);
      auto const bound = [](WedgeMesh const& m) {
        auto const ladder = build(m);
        return StepDeviation(*ladder, ladder->step_for_face_count(m.face_count() / 10)).bound();
      };
      // Coordinates there are 0.06 apart.
      EXPECT_LE(bound(far), 1.35 * size * bound(mesh) + 0.07);
    }
  }
}

TEST(HardInputsTest, ScaleDoesNotMatter) {
  WedgeMesh const mesh = mirel::test::torus(40, 30);
  std::uint32_t const faces = coarsest(mesh);
  for (double const scale : {1e-6, 1e-3, 1e3, 1e6}) {
    SCOPED_TRACE(scale);
    EXPECT_LE(coarsest(scaled(mesh, scale)), faces + 2);
  }
}

}  // namespace
}  // namespace mirel::engine
