// UVs, normals and face sets under reduction: seams of every kind, creases, borders, and what their absence frees.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "standalone/engine/deviation/hausdorff.h"
#include "standalone/engine/ladder/ladder.h"
#include "standalone/engine/prepare/validate.h"

namespace mirel::engine {
namespace {

constexpr std::uint32_t kCells = 64;

// What a corner of a face shows at a position; `right`: the face lies to the right of the middle, x = 0.5.
struct Look {
  float u = 0;
  float v = 0;
  std::array<float, 3> normal = {0, 0, 1};
};
using LookAt = std::function<Look(float x, float y, bool right)>;

// A sheet over the unit square whose two halves may differ, in two sets if asked for.
WedgeMesh sheet(std::function<float(float, float)> const& height, LookAt const& look, bool two_sets = false) {
  WedgeMesh mesh;
  std::map<std::pair<std::uint32_t, std::array<float, 5>>, std::uint32_t> found;
  auto const vertex = [&](std::uint32_t i, std::uint32_t j, bool right) {
    float const x = static_cast<float>(i) / kCells;
    float const y = static_cast<float>(j) / kCells;
    Look const shown = look(x, y, right);
    std::array<float, 5> const key = {shown.u, shown.v, shown.normal[0], shown.normal[1], shown.normal[2]};
    std::uint32_t const position = j * (kCells + 1) + i;
    auto const [place, is_new] = found.try_emplace({position, key}, mesh.vertex_count());
    if (is_new) {
      mesh.vertices.insert(mesh.vertices.end(), {x, y, height(x, y)});
      mesh.uvs.insert(mesh.uvs.end(), {shown.u, shown.v});
      mesh.normals.insert(mesh.normals.end(), shown.normal.begin(), shown.normal.end());
      mesh.position_of.push_back(position);
    }
    return place->second;
  };
  mesh.set_begin = {0};
  for (bool const right : {false, true}) {
    for (std::uint32_t j = 0; j < kCells; ++j) {
      for (std::uint32_t i = right ? kCells / 2 : 0; i < (right ? kCells : kCells / 2); ++i) {
        std::uint32_t const a = vertex(i, j, right);
        std::uint32_t const b = vertex(i + 1, j, right);
        std::uint32_t const c = vertex(i + 1, j + 1, right);
        std::uint32_t const d = vertex(i, j + 1, right);
        mesh.faces.insert(mesh.faces.end(), {a, b, c, a, c, d});
      }
    }
    if (right || two_sets) mesh.set_begin.push_back(mesh.face_count());
  }
  // Positions are numbered in the order in which vertices name them.
  std::map<std::uint32_t, std::uint32_t> numbers;
  for (std::uint32_t& position : mesh.position_of) {
    position = numbers.emplace(position, static_cast<std::uint32_t>(numbers.size())).first->second;
  }
  mesh.position_count = static_cast<std::uint32_t>(numbers.size());
  return mesh;
}

float waves(float x, float y) {
  return 0.05F * std::sin(9 * x + 1) * std::cos(8 * y);
}

std::unique_ptr<Ladder> build(WedgeMesh const& mesh) {
  WedgeMesh const* const meshes[] = {&mesh};
  return Ladder::build(meshes, {});
}

WedgeMesh read(Ladder& ladder, std::uint32_t step) {
  WedgeMesh out;
  ladder.read(0, step, out);
  return out;
}

struct Corner {
  float x, y, u, v;
};
std::array<Corner, 3> corners(WedgeMesh const& mesh, std::uint32_t face) {
  std::array<Corner, 3> result{};
  for (std::size_t k = 0; k < 3; ++k) {
    std::size_t const v = mesh.faces[3 * std::size_t{face} + k];
    result[k] = {mesh.vertices[3 * v], mesh.vertices[3 * v + 1], mesh.uvs[2 * v], mesh.uvs[2 * v + 1]};
  }
  return result;
}

// Edges of one face that do not lie on the rim of the square.
int cracks(WedgeMesh const& mesh) {
  std::map<std::pair<std::uint32_t, std::uint32_t>, int> edges;
  std::map<std::uint32_t, std::array<float, 2>> place;
  for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const v = mesh.faces[f + k];
      std::uint32_t const a = mesh.position_of[v];
      std::uint32_t const b = mesh.position_of[mesh.faces[f + (k + 1) % 3]];
      place[a] = {mesh.vertices[3 * v], mesh.vertices[3 * v + 1]};
      ++edges[{std::min(a, b), std::max(a, b)}];
    }
  }
  int count = 0;
  for (auto const& [edge, faces] : edges) {
    if (faces != 1) continue;
    auto const near_rim = [&](std::uint32_t p) {
      auto const [x, y] = place[p];
      return std::min({x, y, 1 - x, 1 - y}) < 0.05F;
    };
    count += near_rim(edge.first) && near_rim(edge.second) ? 0 : 1;
  }
  return count;
}

// Steps at a half, a tenth and a fiftieth of the faces.
std::vector<std::uint32_t> some_steps(Ladder const& ladder, WedgeMesh const& mesh) {
  std::vector<std::uint32_t> steps;
  for (std::uint32_t const part : {2U, 10U, 50U}) steps.push_back(ladder.step_for_face_count(mesh.face_count() / part));
  return steps;
}

TEST(AttributesTest, AMirroredSeamStaysWhereItIs) {
  // Both halves show the same half of the texture, and share its vertices in the middle.
  WedgeMesh const mesh = sheet(waves, [](float x, float y, bool) { return Look{std::abs(x - 0.5F), y}; });
  ASSERT_EQ(mesh.vertex_count(), mesh.position_count);
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    ASSERT_EQ(validate(now), "");
    for (std::uint32_t f = 0; f < now.face_count(); ++f) {
      auto const c = corners(now, f);
      float const x = (c[0].x + c[1].x + c[2].x) / 3;
      float const u = (c[0].u + c[1].u + c[2].u) / 3;
      ASSERT_NEAR(u, std::abs(x - 0.5F), 0.03F) << "step " << step;
      for (Corner const& corner : c) {
        ASSERT_NEAR(corner.u, std::abs(corner.x - 0.5F), 0.03F) << "step " << step;
        ASSERT_NEAR(corner.v, corner.y, 0.03F) << "step " << step;
      }
    }
  }
}

// Charts of different scale on either side.
Look two_charts(float x, float y, bool right) {
  return right ? Look{10 + 2 * x, 2 * y} : Look{x, y};
}

TEST(AttributesTest, ASplitSeamIsNeverTornAndItsSidesAgree) {
  WedgeMesh const mesh = sheet(waves, two_charts);
  ASSERT_EQ(mesh.vertex_count(), mesh.position_count + kCells + 1);
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    ASSERT_EQ(validate(now), "");
    ASSERT_EQ(cracks(now), 0) << "step " << step;
    for (std::uint32_t f = 0; f < now.face_count(); ++f) {
      auto const c = corners(now, f);
      bool const right = c[0].u > 5;
      for (Corner const& corner : c) {
        ASSERT_EQ(corner.u > 5, right) << "a face shows both charts at step " << step;
        ASSERT_NEAR(corner.u, right ? 10 + 2 * corner.x : corner.x, right ? 0.04F : 0.02F) << "step " << step;
        ASSERT_NEAR(corner.v, right ? 2 * corner.y : corner.y, right ? 0.04F : 0.02F) << "step " << step;
      }
    }
    // The sides of a seam mean the same place.
    std::map<std::uint32_t, std::set<std::uint32_t>> wedges_at;
    for (std::uint32_t v = 0; v < now.vertex_count(); ++v) wedges_at[now.position_of[v]].insert(v);
    int on_seam = 0;
    for (auto const& [position, wedges] : wedges_at) {
      ASSERT_LE(wedges.size(), 2U);
      if (wedges.size() < 2) continue;
      ++on_seam;
      std::uint32_t const left = now.uvs[2 * *wedges.begin()] < 5 ? *wedges.begin() : *wedges.rbegin();
      std::uint32_t const right = left == *wedges.begin() ? *wedges.rbegin() : *wedges.begin();
      ASSERT_NEAR(now.uvs[2 * left], (now.uvs[2 * right] - 10) / 2, 0.02F) << "step " << step;
      ASSERT_NEAR(now.uvs[2 * left + 1], now.uvs[2 * right + 1] / 2, 0.02F) << "step " << step;
      ASSERT_NEAR(now.vertices[3 * left], 0.5F, 0.02F) << "step " << step;
    }
    EXPECT_GE(on_seam, 2) << "step " << step;
  }
}

// Distance of a point from a triangle in the plane, 0 inside.
double distance(std::array<double, 2> p, std::array<Corner, 3> const& triangle) {
  double nearest = 1e30;
  bool inside = true;
  for (std::size_t k = 0; k < 3; ++k) {
    Corner const& a = triangle[k];
    Corner const& b = triangle[(k + 1) % 3];
    double const along[2] = {double{b.u} - a.u, double{b.v} - a.v};
    double const to[2] = {p[0] - a.u, p[1] - a.v};
    inside = inside && along[0] * to[1] - along[1] * to[0] >= 0;
    double const share =
        std::clamp((along[0] * to[0] + along[1] * to[1]) / (along[0] * along[0] + along[1] * along[1]), 0.0, 1.0);
    nearest = std::min(nearest, std::hypot(to[0] - share * along[0], to[1] - share * along[1]));
  }
  return inside ? 0 : nearest;
}

TEST(AttributesTest, UvsStayInsideAnIrregularOutline) {
  // The left chart ends in bays and tongues, towards which it runs ever faster, and ridges cross the seam aslant: a
  // vertex that gives way to them takes UVs that are carried on from inside far out.
  auto const ridges = [](float x, float y) { return 0.05F * std::abs(std::sin(15 * x + 25 * y)); };
  WedgeMesh const mesh = sheet(ridges, [](float x, float y, bool right) {
    if (right) return Look{10 + x, y};
    float const share = 8 * x * x * x;
    return Look{(0.5F + 0.1F * std::sin(40 * y)) * share * share, y};
  });
  std::vector<std::array<Corner, 3>> chart;
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    if (corners(mesh, f)[0].u < 5) chart.push_back(corners(mesh, f));
  }
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    double farthest = 0;
    for (std::uint32_t v = 0; v < now.vertex_count(); ++v) {
      std::array<double, 2> const uv = {now.uvs[2 * v], now.uvs[2 * v + 1]};
      if (uv[0] > 5) continue;
      double nearest = 1e30;
      for (std::array<Corner, 3> const& triangle : chart) nearest = std::min(nearest, distance(uv, triangle));
      farthest = std::max(farthest, nearest);
    }
    EXPECT_LT(farthest, 0.01) << "step " << step;
  }
}

TEST(AttributesTest, AWeldedSeamKeepsItsStripAndItsSplitHalf) {
  // In the upper half the right chart's vertices in the middle are those of the left one: the faces beside them show
  // the way from one chart to the other.
  auto const look = [](float x, float y, bool right) { return two_charts(x, y, right && !(x == 0.5F && y > 0.5F)); };
  WedgeMesh const mesh = sheet(waves, look);
  auto const mixed = [](WedgeMesh const& now) {
    int count = 0;
    for (std::uint32_t f = 0; f < now.face_count(); ++f) {
      auto const c = corners(now, f);
      count += (c[0].u > 5) == (c[1].u > 5) && (c[1].u > 5) == (c[2].u > 5) ? 0 : 1;
    }
    return count;
  };
  int const at_first = mixed(mesh);
  ASSERT_GT(at_first, 0);
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    ASSERT_EQ(validate(now), "");
    ASSERT_EQ(cracks(now), 0) << "step " << step;
    EXPECT_LE(mixed(now), at_first) << "step " << step;
    for (std::uint32_t f = 0; f < now.face_count(); ++f) {
      auto const c = corners(now, f);
      // Away from the strip and its ends charts are what they were.
      bool const left = std::max({c[0].x, c[1].x, c[2].x}) < 0.49F;
      bool const right = std::min({c[0].x, c[1].x, c[2].x}) > 0.53F;
      for (Corner const& corner : c) {
        if (left) {
          ASSERT_NEAR(corner.u, corner.x, 0.03F) << "step " << step;
        } else if (right) {
          ASSERT_NEAR(corner.u, 10 + 2 * corner.x, 0.06F) << "step " << step;
        }
      }
    }
  }
}

TEST(AttributesTest, ACreaseOfTheNormalsSurvives) {
  // A roof with its ridge in the middle, each side with its own normals.
  float const slope = 0.3F;
  float const length = std::sqrt(1 + slope * slope);
  auto const look = [&](float x, float y, bool right) {
    return Look{x, y, {right ? slope / length : -slope / length, 0, 1 / length}};
  };
  WedgeMesh const mesh =
      sheet([&](float x, float y) { return slope * (0.5F - std::abs(x - 0.5F)) + 0.2F * waves(y, y); }, look);
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    int ridge = 0;
    for (std::uint32_t v = 0; v < now.vertex_count(); ++v) {
      // Nothing is rounded off: every normal is one of the two sides'.
      ASSERT_GT(std::abs(now.normals[3 * v]), 0.95F * slope / length) << "step " << step;
      bool const right = now.normals[3 * v] > 0;
      ASSERT_TRUE(right ? now.vertices[3 * v] > 0.49F : now.vertices[3 * v] < 0.51F) << "step " << step;
      ridge += std::abs(now.vertices[3 * v] - 0.5F) < 0.01F ? 1 : 0;
    }
    EXPECT_GE(ridge, 4) << "step " << step;
  }
}

TEST(AttributesTest, ABorderBetweenSetsIsMeasuredToStay) {
  WedgeMesh const mesh = sheet(
      waves,
      [](float x, float y, bool) {
        return Look{x, y};
      },
      true);
  auto const ladder = build(mesh);
  for (std::uint32_t const step : some_steps(*ladder, mesh)) {
    WedgeMesh const now = read(*ladder, step);
    ASSERT_EQ(now.set_begin.size(), 3U);
    std::array<std::set<std::uint32_t>, 2> positions;
    for (std::uint32_t f = 0; f < now.face_count(); ++f) {
      for (std::size_t k = 0; k < 3; ++k) {
        positions[f < now.set_begin[1] ? 0 : 1].insert(now.position_of[now.faces[3 * std::size_t{f} + k]]);
      }
    }
    std::map<std::uint32_t, float> x_of;
    for (std::uint32_t v = 0; v < now.vertex_count(); ++v) x_of[now.position_of[v]] = now.vertices[3 * v];
    float deviation = 0;
    int shared = 0;
    for (std::uint32_t const position : positions[0]) {
      if (!positions[1].contains(position)) continue;
      ++shared;
      deviation = std::max(deviation, std::abs(x_of[position] - 0.5F));
    }
    EXPECT_GE(shared, 2) << "step " << step;
    EXPECT_LT(deviation, 0.01F) << "step " << step;
  }
}

TriangleBvh surface_of(WedgeMesh const& mesh) {
  return TriangleBvh(mesh.vertices, mesh.faces);
}

TEST(AttributesTest, WithoutThemTheSurfaceIsNoFurtherAway) {
  // A bent texture with a seam, and normals that do not belong to the surface: all stand in the way.
  auto const look = [](float x, float y, bool right) {
    float const turn = 6 * x * y;
    return Look{right ? 10 + x * x : 5 * x * y, right ? y : y * y, {std::sin(turn), 0, std::cos(turn)}};
  };
  WedgeMesh const textured = sheet(waves, look);
  WedgeMesh bare = sheet(waves, [](float, float, bool) { return Look{}; });
  bare.uvs.clear();
  bare.normals.clear();
  ASSERT_EQ(bare.vertex_count(), bare.position_count);
  auto const with = build(textured);
  auto const without = build(bare);
  EXPECT_LE(without->face_count(without->step_count()), with->face_count(with->step_count()));
  EXPECT_GE(without->step_count(), with->step_count());
  TriangleBvh const original = surface_of(bare);
  double sum_with = 0;
  double sum_without = 0;
  for (std::uint32_t const part : {2U, 10U, 50U}) {
    std::uint32_t const faces = bare.face_count() / part;
    sum_with +=
        std::log(hausdorff_distance(original, surface_of(read(*with, with->step_for_face_count(faces)))).upper());
    sum_without +=
        std::log(hausdorff_distance(original, surface_of(read(*without, without->step_for_face_count(faces)))).upper());
  }
  EXPECT_LT(sum_without, sum_with);
}

TEST(AttributesTest, PlacesFollowTheBendOfATexture) {
  // A flat sheet whose texture bends where no seam says so: the vertices that stay lie on the bend.
  WedgeMesh const mesh = sheet([](float, float) { return 0.0F; },
                               [](float x, float y, bool) {
                                 return Look{x < 0.5F ? x : 4 * x - 1.5F, y};
                               });
  auto const ladder = build(mesh);
  WedgeMesh const now = read(*ladder, ladder->step_for_face_count(16));
  for (std::uint32_t f = 0; f < now.face_count(); ++f) {
    auto const c = corners(now, f);
    float const x = (c[0].x + c[1].x + c[2].x) / 3;
    float const u = (c[0].u + c[1].u + c[2].u) / 3;
    EXPECT_NEAR(u, x < 0.5F ? x : 4 * x - 1.5F, 0.02F);
  }
}

}  // namespace
}  // namespace mirel::engine
