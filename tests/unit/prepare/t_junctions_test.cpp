#include "standalone/engine/prepare/t_junctions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "standalone/engine/prepare/edges.h"
#include "standalone/engine/prepare/point_tree.h"
#include "standalone/engine/prepare/validate.h"
#include "tests/unit/prepare/meshes.h"

namespace mirel::engine {
namespace {

using Floats = std::vector<float>;
using Indices = std::vector<std::uint32_t>;

AttributeTolerance const kExact(0, 0);

//      2
//     / \       above: one face with the edge 0-1;
//    0---1      below: two faces that meet in vertex 3, which lies on that edge
//    |\3/|
//    4   5
BuildMesh junction(float x = 1, float y = 0) {
  return plain_mesh({0, 0, 0, 2, 0, 0, 1, 1, 0, x, y, 0, 0, -1, 0, 2, -1, 0}, {0, 1, 2, 0, 4, 3, 3, 5, 1});
}

std::size_t boundary_edges(WedgeMesh const& mesh) {
  std::size_t count = 0;
  find_edges(mesh.faces, mesh.position_of, mesh.position_count)
      .for_each([&](std::uint32_t, std::span<Edges::HalfEdge const> group) { count += group.size() == 1 ? 1 : 0; });
  return count;
}

TEST(TJunctions, AVertexOnAnEdgeSplitsTheFace) {
  WedgeMesh mesh = prepared_and_joined(junction(), {});
  EXPECT_EQ(boundary_edges(mesh), 9U);
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 1U);
  EXPECT_EQ(validate(mesh), "");
  EXPECT_EQ(mesh.faces, (Indices{0, 3, 2, 3, 1, 2, 0, 4, 3, 3, 5, 1}));
  EXPECT_EQ(mesh.vertex_count(), 6U);
  EXPECT_EQ(boundary_edges(mesh), 6U);
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 0U);
}

// Triangles over the points of a small grid, with normals and UVs of few values: many edges pass many corners, and new
// corners of several faces agree.
TEST(TJunctions, WhatIsJoinedStaysJoined) {
  std::uint32_t with_new_wedges = 0;
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    std::mt19937 random(seed);
    auto const below = [&random](std::uint32_t end) { return static_cast<float>(random() % end); };
    BuildMesh build;
    build.set_count = 1;
    auto const side = static_cast<std::uint32_t>(3 + random() % 4);
    auto const faces = static_cast<std::uint32_t>(4 + random() % 20);
    for (std::uint32_t v = 0; v < 3 * faces; ++v) {
      build.positions.insert(build.positions.end(), {below(side), below(side), 0});
      float const slope = 1e-4F * below(3);
      if (seed % 2 == 0) build.vertex_normals.insert(build.vertex_normals.end(), {slope, 1 - below(2), 1});
      if (seed % 3 == 0) build.vertex_uvs.insert(build.vertex_uvs.end(), {below(2), 1e-7F * below(3)});
      build.faces.push_back(v);
      if (v % 3 == 0) build.face_set_of.push_back(0);
    }
    float const degrees = seed % 5 == 0 ? 10 * below(5) : 0;
    WedgeMesh mesh = prepared_and_joined(std::move(build), {0, degrees, 0});
    std::uint32_t const wedges = mesh.vertex_count();
    eliminate_t_junctions(mesh, 0.01F, AttributeTolerance(degrees, 0));
    with_new_wedges += mesh.vertex_count() > wedges ? 1U : 0U;
    ASSERT_FALSE(join_wedge_mesh(mesh, {})) << "seed " << seed;
  }
  EXPECT_GT(with_new_wedges, 500U);
}

TEST(TJunctions, TheToleranceBoundsTheDistance) {
  WedgeMesh mesh = prepared_and_joined(junction(1, -0.015F), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.014F, kExact), 0U);
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.016F, kExact), 1U);
  EXPECT_EQ(validate(mesh), "");
}

TEST(TJunctions, SoDoesAHundredthOfTheEdge) {
  WedgeMesh mesh = prepared_and_joined(junction(1, -0.021F), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 0U);
  mesh = prepared_and_joined(junction(1, -0.019F), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 1U);
}

TEST(TJunctions, AToleranceLargerThanTheModelDoesNoHarm) {
  WedgeMesh box = prepared_and_joined(captured_box(), {});
  for (float& x : box.vertices) {
    x *= 0.15F;
  }
  std::vector<std::uint32_t> const faces = box.faces;
  EXPECT_EQ(eliminate_t_junctions(box, 0.1F, kExact), 0U);
  EXPECT_EQ(box.faces, faces);
}

TEST(TJunctions, WithoutAToleranceOnlyExactOnesGo) {
  for (float const tolerance : {0.0F, -1.0F, NAN}) {
    WedgeMesh exact = prepared_and_joined(junction(), {});
    EXPECT_EQ(eliminate_t_junctions(exact, tolerance, kExact), 1U);
    WedgeMesh off = prepared_and_joined(junction(1, -1e-5F), {});
    EXPECT_EQ(eliminate_t_junctions(off, tolerance, kExact), 0U);
  }
}

// Three vertices on one edge, given out of order.
TEST(TJunctions, SeveralOnOneEdgeKeepTheirOrderAlongIt) {
  BuildMesh build = plain_mesh({0, 0, 0, 4, 0, 0, 2, 2, 0, 3, 0, 0, 1, 0, 0, 2, 0, 0, 2, -1, 0},
                               {0, 1, 2, 3, 6, 1, 0, 6, 4, 5, 4, 6, 3, 5, 6});
  WedgeMesh mesh = prepared_and_joined(std::move(build), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 3U);
  EXPECT_EQ(validate(mesh), "");
  EXPECT_EQ(Indices(mesh.faces.begin(), mesh.faces.begin() + 12), (Indices{0, 4, 2, 4, 5, 2, 5, 3, 2, 3, 1, 2}));
  EXPECT_EQ(boundary_edges(mesh), 4U);
}

// A vertex on each edge of one face.
TEST(TJunctions, AllEdgesOfAFaceCanBeSplit) {
  BuildMesh build = plain_mesh({0, 0,  0, 4, 0,  0, 0, 4, 0, 2, 0, 0, 2,  2, 0, 0,  2, 0,  //
                                2, -1, 0, 3, -1, 0, 3, 3, 0, 4, 3, 0, -1, 2, 0, -1, 3, 0},
                               {0, 1, 2, 3, 6, 7, 4, 9, 8, 5, 11, 10});
  WedgeMesh mesh = prepared_and_joined(std::move(build), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 3U);
  EXPECT_EQ(validate(mesh), "");
  EXPECT_EQ(mesh.face_count(), 7U);
  double area = 0;  // of the four pieces, all turned the same way
  for (std::size_t f = 0; f < 4; ++f) {
    float const* p[3];
    for (std::size_t k = 0; k < 3; ++k) {
      p[k] = &mesh.vertices[std::size_t{mesh.faces[f * 3 + k]} * 3];
    }
    double const twice = (p[1][0] - p[0][0]) * (p[2][1] - p[0][1]) - (p[1][1] - p[0][1]) * (p[2][0] - p[0][0]);
    EXPECT_GT(twice, 0);
    area += twice / 2;
  }
  EXPECT_DOUBLE_EQ(area, 8);
}

TEST(TJunctions, SetsKeepTheirFaces) {
  BuildMesh build = junction();
  build.set_count = 3;
  build.face_set_of = {0, 2, 2};
  WedgeMesh mesh = prepared_and_joined(std::move(build), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 1U);
  EXPECT_EQ(mesh.set_begin, (Indices{0, 2, 2, 4}));
  EXPECT_EQ(validate(mesh), "");
}

BuildMesh textured_junction(float u_at_3) {
  BuildMesh build = junction();
  build.uvs = {0, 0, 1, 0, 0.5F, 1, u_at_3, 0, 0, 1, 1, 1};
  build.face_uvs = {0, 1, 2, 0, 4, 3, 3, 5, 1};
  build.vertex_normals.resize(18);
  for (std::size_t v = 0; v < 6; ++v) {
    build.vertex_normals[v * 3 + 2] = 1;
  }
  return build;
}

TEST(TJunctions, TheNewCornersUseTheWedgeThatIsThere) {
  WedgeMesh mesh = prepared_and_joined(textured_junction(0.5F), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 1U);
  EXPECT_EQ(mesh.vertex_count(), 6U);
  EXPECT_EQ(validate(mesh), "");
}

TEST(TJunctions, OrAWedgeOfInterpolatedAttributesWhereTheSeamIs) {
  WedgeMesh mesh = prepared_and_joined(textured_junction(0.7F), {});
  WedgeMesh joined = mesh;
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 1U);
  EXPECT_EQ(validate(mesh), "");
  ASSERT_EQ(mesh.vertex_count(), 7U);
  EXPECT_EQ(mesh.position_of[6], 3U);
  EXPECT_EQ(Floats(&mesh.uvs[12], &mesh.uvs[12] + 2), (Floats{0.5F, 0}));
  EXPECT_EQ(Floats(&mesh.normals[18], &mesh.normals[18] + 3), (Floats{0, 0, 1}));
  EXPECT_EQ(Indices(mesh.faces.begin(), mesh.faces.begin() + 6), (Indices{0, 6, 2, 6, 1, 2}));
  // Within the tolerance, the wedge that is there serves.
  EXPECT_EQ(eliminate_t_junctions(joined, 0.1F, AttributeTolerance(5, 0.25F)), 1U);
  EXPECT_EQ(joined.vertex_count(), 6U);
}

TEST(TJunctions, AVertexOfTheSameFaceIsNone) {
  // A face so flat that its third corner is as good as on its first edge.
  WedgeMesh mesh = prepared_and_joined(plain_mesh({0, 0, 0, 2, 0, 0, 1, 1e-4F, 0}, {0, 1, 2}), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 0U);
}

TEST(TJunctions, NoThirdFaceOnAnEdge) {
  // Vertex 3 lies on the edge 0-1 of the first face and is joined to that face's third corner already.
  WedgeMesh mesh =
      prepared_and_joined(plain_mesh({0, 0, 0, 2, 0, 0, 1, 1, 0, 1, 0, 0, 1, 0, 1}, {0, 1, 2, 3, 2, 4}), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 0U);
  EXPECT_EQ(mesh.face_count(), 2U);
}

// Two splits may want the same edge: the second one sees what the first one made.
TEST(TJunctions, NoThirdFaceOnAnEdgeOfASoup) {
  auto const crowded_edges = [](WedgeMesh const& mesh) {
    std::size_t count = 0;
    find_edges(mesh.faces, mesh.position_of, mesh.position_count)
        .for_each([&](std::uint32_t, std::span<Edges::HalfEdge const> group) { count += group.size() > 2 ? 1 : 0; });
    return count;
  };
  std::uint32_t removed = 0;
  for (std::uint32_t seed = 0; seed < 1000; ++seed) {
    std::mt19937 random(seed);
    auto const below = [&random](std::uint32_t n) { return static_cast<std::uint32_t>(random()) % n; };
    Floats positions;
    for (std::uint32_t i = 0; i < 16; ++i) {
      for (std::uint32_t const size : {5U, 5U, 2U}) {
        positions.push_back(static_cast<float>(below(size)));
      }
    }
    Indices corners;
    for (std::uint32_t i = 0; i < 24; ++i) {
      corners.push_back(below(16));
    }
    WedgeMesh mesh = prepared_and_joined(plain_mesh(std::move(positions), std::move(corners)), {});
    std::size_t const before = crowded_edges(mesh);
    removed += eliminate_t_junctions(mesh, 0.1F, kExact);
    EXPECT_LE(crowded_edges(mesh), before) << "seed " << seed;
    EXPECT_EQ(validate(mesh), "");
  }
  EXPECT_GT(removed, 100U);
}

TEST(TJunctions, NoFaceTurnsOver) {
  // The face is lower than the tolerance; the vertex lies beyond its third corner.
  WedgeMesh mesh = prepared_and_joined(
      plain_mesh({0, 0, 0, 20, 0, 0, 10, 0.05F, 0, 10, 0.09F, 0, 9, 1, 0, 11, 1, 0}, {0, 1, 2, 3, 5, 4}), {});
  EXPECT_EQ(eliminate_t_junctions(mesh, 0.1F, kExact), 0U);
}

// Collinear edges nested in each other: every one has the ends of all shorter ones on it.
TEST(TJunctions, NestsOfEdgesDoNotGrowQuadratically) {
  std::uint32_t const count = 500;
  BuildMesh build;
  for (std::uint32_t i = 0; i < count; ++i) {
    float const half = static_cast<float>(i + 1);
    build.positions.insert(build.positions.end(), {-half, 0, 0, half, 0, 0, 0, static_cast<float>(i + 1), 1});
    build.faces.insert(build.faces.end(), {i * 3, i * 3 + 1, i * 3 + 2});
  }
  build.face_set_of.assign(count, 0);
  WedgeMesh mesh = prepared_and_joined(std::move(build), {});
  std::uint32_t const removed = eliminate_t_junctions(mesh, 0.001F, kExact);
  EXPECT_GT(removed, count);
  EXPECT_LE(removed, count * 3 * 8 * 8);
  EXPECT_EQ(validate(mesh), "");
}

TEST(TJunctions, NothingHappensToMeshesWithoutFaces) {
  WedgeMesh empty;
  empty.set_begin = {0, 0};
  EXPECT_EQ(eliminate_t_junctions(empty, 1, kExact), 0U);
}

// How many boundary vertices lie on other faces' edges, every pair looked at; the mesh's faces share no edge.
std::uint32_t junctions_by_brute_force(WedgeMesh const& mesh, double tolerance) {
  std::uint32_t count = 0;
  for (std::size_t half = 0; half < mesh.faces.size(); ++half) {
    float const* const a = &mesh.vertices[std::size_t{mesh.faces[half]} * 3];
    float const* const b = &mesh.vertices[std::size_t{mesh.faces[next_corner(half)]} * 3];
    double const d[3] = {double{b[0]} - a[0], double{b[1]} - a[1], double{b[2]} - a[2]};
    double const square = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    double const reach = std::min(tolerance, 0.01 * std::sqrt(square));
    for (std::size_t corner = 0; corner < mesh.faces.size(); ++corner) {
      if (corner / 3 == half / 3) {
        continue;
      }
      float const* const p = &mesh.vertices[std::size_t{mesh.faces[corner]} * 3];
      double const to[3] = {double{p[0]} - a[0], double{p[1]} - a[1], double{p[2]} - a[2]};
      double const t = (to[0] * d[0] + to[1] * d[1] + to[2] * d[2]) / square;
      double off = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        off += (to[k] - t * d[k]) * (to[k] - t * d[k]);
      }
      count += t > 0 && t < 1 && std::sqrt(off) <= reach ? 1 : 0;
    }
  }
  return count;
}

// Loose triangles of very different sizes, some with a corner on an edge of the one before.
TEST(TJunctions, SoupsOfLooseTrianglesLoseAllThatBruteForceFinds) {
  std::uint32_t all = 0;
  for (std::uint32_t seed = 0; seed < 20; ++seed) {
    std::mt19937 random(seed);
    auto const unit = [&random] { return static_cast<float>(random() % 65536) / 65536.0F; };
    Floats positions;
    for (std::uint32_t i = 0; i < 300; ++i) {
      std::size_t const before = positions.size();
      float const size = std::ldexp(0.5F, -static_cast<int>(random() % 10));
      float const center[3] = {unit(), unit(), unit()};
      for (std::size_t c = 0; c < 9; ++c) {
        positions.push_back(center[c % 3] + size * (unit() - 0.5F));
      }
      if (i % 3 == 1) {
        float const t = 0.2F + 0.6F * unit();
        for (std::size_t k = 0; k < 3; ++k) {
          float const from = positions[before - 9 + k];
          positions[before + k] = from + t * (positions[before - 6 + k] - from);
        }
      }
    }
    Indices corners(positions.size() / 3);
    for (std::uint32_t i = 0; i < corners.size(); ++i) {
      corners[i] = i;
    }
    WedgeMesh mesh = prepared_and_joined(plain_mesh(std::move(positions), std::move(corners)), {});
    std::uint32_t const expected = junctions_by_brute_force(mesh, 1e-6);
    EXPECT_GE(expected, 90U);
    EXPECT_EQ(eliminate_t_junctions(mesh, 1e-6F, kExact), expected) << "seed " << seed;
    EXPECT_EQ(mesh.face_count(), 300 + expected);
    EXPECT_EQ(validate(mesh), "");
    all += expected;
  }
  EXPECT_GE(all, 1900U);
}

// Both ways of asking, for segments side by side and for ones far apart.
TEST(PointTree, SegmentsTogetherFindWhatEachFindsAlone) {
  std::mt19937 random(11);
  auto const unit = [&random] { return static_cast<float>(random() % 65536) / 65536.0F; };
  Floats points(3 * 20000);
  for (float& x : points) {
    x = unit();
  }
  PointTree tree(points);
  for (std::uint32_t i = 0; i < 20000; i += 5) {
    tree.take_out(i);
  }
  std::size_t total = 0;
  for (int query = 0; query < 300; ++query) {
    float const spread = query % 3 == 0 ? 1.0F : 0.02F;
    float const center[3] = {unit(), unit(), unit()};
    std::vector<PointTree::Segment> segments;
    for (int i = 0; i < query % 9; ++i) {
      float ends[6];
      for (std::size_t k = 0; k < 6; ++k) {
        ends[k] = center[k % 3] + spread * (unit() - 0.5F);
      }
      segments.emplace_back(&ends[0], &ends[3], query % 2 == 0 ? 0.01 : 0.03);
    }
    std::vector<Indices> together(segments.size());
    tree.near_segments(segments, [&](std::size_t i, std::uint32_t point) { together[i].push_back(point); });
    for (std::size_t i = 0; i < segments.size(); ++i) {
      Indices alone;
      tree.near_segment(segments[i], [&](std::uint32_t point) { alone.push_back(point); });
      std::sort(alone.begin(), alone.end());
      std::sort(together[i].begin(), together[i].end());
      EXPECT_EQ(together[i], alone);
      total += alone.size();
    }
  }
  EXPECT_GT(total, 1000U);
}

TEST(PointTree, FindsEveryPointNearASegment) {
  std::mt19937 random(5);
  Floats points(3 * 2000);
  for (float& x : points) {
    x = static_cast<float>(random() % 1000) / 10.0F;
  }
  PointTree tree(points);
  std::vector<bool> out(2000);
  for (std::uint32_t i = 0; i < 2000; i += 7) {
    tree.take_out(i);
    tree.take_out(i);
    out[i] = true;
  }
  for (int query = 0; query < 200; ++query) {
    float const a[3] = {points[random() % 6000], points[random() % 6000], points[random() % 6000]};
    float b[3] = {points[random() % 6000], points[random() % 6000], points[random() % 6000]};
    if (query % 4 == 0) {
      b[0] = a[0];
      b[1] = a[1];
    }
    double const radius = query % 3;
    std::vector<bool> found(2000);
    tree.near_segment(PointTree::Segment(a, b, radius), [&](std::uint32_t i) {
      EXPECT_FALSE(found[i]);
      EXPECT_FALSE(out[i]);
      found[i] = true;
    });
    for (std::uint32_t i = 0; i < 2000; ++i) {
      double ab[3], ap[3], square = 0, along = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        ab[k] = double{b[k]} - a[k];
        ap[k] = double{points[std::size_t{i} * 3 + k]} - a[k];
        square += ab[k] * ab[k];
        along += ab[k] * ap[k];
      }
      double const t = square > 0 ? std::min(1.0, std::max(0.0, along / square)) : 0;
      double distance = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        distance += (ap[k] - t * ab[k]) * (ap[k] - t * ab[k]);
      }
      if (std::sqrt(distance) <= radius && !out[i]) {
        EXPECT_TRUE(found[i]);
      }
    }
  }
}

}  // namespace
}  // namespace mirel::engine
