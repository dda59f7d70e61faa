#include "standalone/engine/ladder/metric_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace mirel::engine {
namespace {

constexpr std::uint32_t kVertices = 64;

// Vertices of all magnitudes, some locked, some with nothing in their sums.
std::vector<Vertex> some_vertices(std::uint32_t seed) {
  std::mt19937 random(seed);
  auto const unit = [&random] { return static_cast<float>(random() % 65536) / 32768.0F - 1; };
  std::vector<Vertex> vertices(kVertices);
  for (Vertex& vertex : vertices) {
    float const size = 1.0F / static_cast<float>(1U << random() % 24);
    vertex.set_position({unit() * size, unit() * size, unit() * size});
    vertex.error = random() % 2 == 0 ? 0 : std::abs(unit()) * size;
    vertex.flags = random() % 8 == 0 ? kLocked : 0;
    if (random() % 8 == 0) continue;
    for (int plane = 0; plane < 5; ++plane) {
      float const n[3] = {unit() * size, unit() * size, random() % 4 == 0 ? 0 : unit() * size};
      int k = 0;
      for (int i = 0; i < 3; ++i) {
        vertex.normal[i] += n[i];
        for (int j = i; j < 3; ++j) vertex.quadric[k++] += n[i] * n[j];
      }
    }
  }
  return vertices;
}

struct SomeEdges {
  std::uint32_t from[21] = {};
  std::uint32_t to[21 + kMaxLanes] = {};
};

SomeEdges some_edges(std::uint32_t count, std::mt19937& random) {
  SomeEdges edges;
  for (std::uint32_t i = 0; i < count; ++i) {
    edges.from[i] = static_cast<std::uint32_t>(random() % kVertices);
    edges.to[i] = static_cast<std::uint32_t>(random() % kVertices);
  }
  return edges;
}

struct Edges {
  std::vector<float> values = std::vector<float>(7 * padded_to_lanes(kVertices), 0);
  EdgeArrays arrays() {
    std::size_t const n = padded_to_lanes(kVertices);
    float* const v = values.data();
    return {v, v + n, v + 2 * n, v + 3 * n, v + 4 * n, v + 5 * n, v + 6 * n};
  }
};

bool same_bits(float const* a, float const* b, std::size_t count) {
  return std::memcmp(a, b, count * sizeof(float)) == 0;
}

bool same_edges(EdgeArrays const& a, EdgeArrays const& b, std::uint32_t count) {
  return same_bits(a.keys, b.keys, count) && same_bits(a.x, b.x, count) && same_bits(a.y, b.y, count) &&
         same_bits(a.z, b.z, count) && same_bits(a.ex, b.ex, count) && same_bits(a.ey, b.ey, count) &&
         same_bits(a.ez, b.ez, count);
}

// All that this machine runs.
class AnyMetricKernels : public testing::TestWithParam<MetricKernels const*> {};
INSTANTIATE_TEST_SUITE_P(Kernels, AnyMetricKernels, testing::ValuesIn(runnable_metric_kernels()));

TEST_P(AnyMetricKernels, TheirKindDoesNotShowInEdges) {
  MetricKernels const& narrow = narrow_metric_kernels();
  MetricKernels const& kernels = *GetParam();
  for (std::uint32_t seed = 1; seed <= 50; ++seed) {
    std::vector<Vertex> const vertices = some_vertices(seed);
    std::mt19937 random(seed);
    for (std::uint32_t count = 1; count <= 21; ++count) {
      auto const [from, to] = some_edges(count, random);
      Edges a, b;
      narrow.evaluate_star(vertices.data(), from[0], to, count, a.arrays());
      kernels.evaluate_star(vertices.data(), from[0], to, count, b.arrays());
      ASSERT_TRUE(same_edges(a.arrays(), b.arrays(), count)) << "seed " << seed << ", " << count << " neighbours";
      // One edge alone, and the same edge beside others.
      narrow.evaluate_edges(vertices.data(), from, to, count, a.arrays());
      kernels.evaluate_edges(vertices.data(), from, to, count, b.arrays());
      ASSERT_TRUE(same_edges(a.arrays(), b.arrays(), count)) << "seed " << seed << ", " << count << " edges";
      kernels.evaluate_star(vertices.data(), from[0], to, 1, b.arrays());
      ASSERT_TRUE(same_edges(a.arrays(), b.arrays(), 1)) << "seed " << seed;
    }
  }
}

TEST(MetricKernelsTest, CheapestEdgeIsTheFirstOfTheLeastKeys) {
  std::uint32_t without = 0;
  for (MetricKernels const* kernels : runnable_metric_kernels()) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
      std::vector<Vertex> vertices = some_vertices(seed);
      std::mt19937 random(seed);
      // Also stars all of whose edges are locked.
      if (seed % 10 == 0) {
        for (Vertex& vertex : vertices) vertex.flags = kLocked;
      }
      for (std::uint32_t count = 1; count <= 21; ++count) {
        auto const v = static_cast<std::uint32_t>(random() % kVertices);
        std::vector<StarEntry> star(count);
        std::uint32_t ids[21 + kMaxLanes] = {};
        // Some vertices more than once, so that keys are equal.
        for (std::uint32_t i = 0; i < count; ++i) {
          ids[i] = i % 5 == 4 ? ids[i / 2] : static_cast<std::uint32_t>(random() % kVertices);
          star[i].next = ids[i];
        }
        // Of each edge alone.
        std::vector<float> keys;
        for (std::uint32_t i = 0; i < count; ++i) {
          std::vector<StarEntry> const alone(1 + Stars::kRow, star[i]);
          vertices[v].star_count = 1;
          CheapestEdge only;
          kernels->cheapest_edges(vertices.data(), alone.data(), &v, 1, &only);
          keys.push_back(only.key);
        }
        auto const least = std::min_element(keys.begin(), keys.end());
        // Behind the star stands any vertex, also one that would be cheaper.
        while (star.size() % Stars::kRow != 0) {
          star.push_back({static_cast<std::uint32_t>(random() % kVertices), 0, 0});
        }
        vertices[v].star_count = count;
        CheapestEdge cheapest[2];
        std::uint32_t const twice[2] = {v, v};
        kernels->cheapest_edges(vertices.data(), star.data(), twice, 2, cheapest);
        for (CheapestEdge const& edge : cheapest) {
          ASSERT_TRUE(same_bits(&edge.key, &*least, 1)) << "seed " << seed;
          if (std::isinf(edge.key)) {
            ++without;
          } else {
            ASSERT_EQ(edge.neighbour, ids[least - keys.begin()]) << "seed " << seed;
          }
        }
      }
    }
  }
  EXPECT_GT(without, 100U);
}

// The key of one edge by the shorter way.
float lone_key(MetricKernels const& kernels, std::vector<Vertex>& vertices, std::uint32_t from, std::uint32_t to) {
  std::vector<StarEntry> const star(Stars::kRow, StarEntry{to, to, 0});
  vertices[from].star_count = 1;
  CheapestEdge edge;
  kernels.cheapest_edges(vertices.data(), star.data(), &from, 1, &edge);
  return edge.key;
}

TEST_P(AnyMetricKernels, TheShorterWayLeadsToTheSameKeys) {
  std::uint32_t locked = 0, free = 0;
  for (std::uint32_t seed = 1; seed <= 50; ++seed) {
    std::vector<Vertex> vertices = some_vertices(seed);
    // Corners, at which the place is well determined.
    for (Vertex& vertex : vertices) {
      std::fill_n(vertex.quadric, 6, 0.0F);
      vertex.quadric[0] = vertex.quadric[3] = vertex.quadric[5] = 1 + std::abs(vertex.x);
    }
    std::mt19937 random(seed);
    SomeEdges const edges = some_edges(20, random);
    Edges exact;
    GetParam()->evaluate_edges(vertices.data(), edges.from, edges.to, 20, exact.arrays());
    for (std::uint32_t i = 0; i < 20; ++i) {
      float const key = lone_key(*GetParam(), vertices, edges.from[i], edges.to[i]);
      float const expected = exact.arrays().keys[i];
      int const ends = (vertices[edges.from[i]].flags != 0 ? 1 : 0) + (vertices[edges.to[i]].flags != 0 ? 1 : 0);
      if (ends == 2) {
        ASSERT_TRUE(std::isinf(key) && std::isinf(expected)) << "seed " << seed;
        continue;
      }
      ++(ends == 1 ? locked : free);
      ASSERT_NEAR(key, expected, 1e-3F * expected) << "seed " << seed << ", edge " << i;
    }
  }
  EXPECT_GT(locked, 100U);
  EXPECT_GT(free, 100U);
}

// Sums so small that no place can be worked out from them in floats.
TEST_P(AnyMetricKernels, WhatCannotBeSolvedIsMeasuredInTheMiddle) {
  std::vector<Vertex> vertices(2);
  vertices[1].set_position({2, 0, 0});
  for (Vertex& vertex : vertices) vertex.quadric[0] = vertex.quadric[3] = vertex.quadric[5] = 1e-13F;
  EXPECT_NEAR(lone_key(*GetParam(), vertices, 0, 1), 2e-13F, 2e-15F);
}

TEST_P(AnyMetricKernels, TheirKindDoesNotShowInFans) {
  MetricKernels const& narrow = narrow_metric_kernels();
  MetricKernels const& kernels = *GetParam();
  std::uint32_t turned = 0;
  std::uint32_t sound = 0;
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    std::mt19937 random(seed);
    auto const unit = [&random] { return static_cast<float>(random() % 65536) / 32768.0F - 1; };
    // Two fans side by side, a little bumpy.
    std::uint32_t const sides = 3 + static_cast<std::uint32_t>(random() % 9);
    std::vector<Vertex> vertices(sides + 2);
    vertices[0].set_position({-0.2F, 0, 0.1F * unit()});
    vertices[1].set_position({0.2F, 0, 0.1F * unit()});
    for (std::uint32_t i = 0; i < sides; ++i) {
      float const angle = 6.2831853F * static_cast<float>(i) / static_cast<float>(sides);
      vertices[2 + i].set_position({std::cos(angle) + 0.2F * unit(), std::sin(angle) + 0.2F * unit(), 0.3F * unit()});
    }
    std::vector<StarEntry> faces(padded_to_lanes(sides) + kMaxLanes);
    for (std::uint32_t i = 0; i < sides; ++i) faces[i] = {2 + i, 2 + (i + 1) % sides, i << 2};
    Fan fan{};
    fan.faces = faces.data();
    fan.count = sides;
    fan.surviving = static_cast<std::uint32_t>(random() % (sides + 1));
    fan.of_a = static_cast<std::uint32_t>(random() % (fan.surviving + 1));
    fan.a = 0;
    fan.b = 1;
    float const reach = random() % 2 == 0 ? 0.1F : 1.5F;
    for (float& x : fan.place) x = reach * unit();
    fan.closeness = random() % 4 == 0 ? 0.5F : 1e-6F;
    std::vector<FaceRow> changes_a(faces.size()), changes_b(faces.size());
    FaceRow merged_a, merged_b;
    std::uint32_t const a = narrow.test_fan(vertices.data(), fan, changes_a.data(), merged_a);
    std::uint32_t const b = kernels.test_fan(vertices.data(), fan, changes_b.data(), merged_b);
    ASSERT_EQ(a, b) << "seed " << seed;
    std::uint32_t const c = narrow.test_sliver_fan(vertices.data(), fan, changes_a.data(), merged_a);
    ASSERT_EQ(c, kernels.test_sliver_fan(vertices.data(), fan, changes_b.data(), merged_b)) << "seed " << seed;
    ASSERT_TRUE(a == kFanTurns || a == c) << "seed " << seed;
    ++(a == kFanTurns ? turned : sound);
    if (a == kFanTurns) continue;
    ASSERT_TRUE(same_bits(changes_a[0].values, changes_b[0].values, 12 * std::size_t{sides})) << "seed " << seed;
    ASSERT_TRUE(same_bits(merged_a.values, merged_b.values, 12)) << "seed " << seed;
    FanDistances const d = narrow.fan_distances(vertices.data(), fan);
    FanDistances const e = kernels.fan_distances(vertices.data(), fan);
    ASSERT_TRUE(same_bits(&d.a, &e.a, 1) && same_bits(&d.b, &e.b, 1) && same_bits(&d.place, &e.place, 1));
  }
  EXPECT_GT(turned, 100U);
  EXPECT_GT(sound, 100U);
}

// A triangle of this height over a base of length 1, whose top moves to `height_after`.
std::uint32_t flattened(MetricKernels const& kernels, bool free_slivers, float height, float height_after) {
  std::vector<Vertex> vertices(4);
  vertices[0].set_position({0.5F, height, 0});
  vertices[1].set_position({0.5F, 2, 0});
  vertices[2].set_position({0, 0, 0});
  vertices[3].set_position({1, 0, 0});
  std::vector<StarEntry> const faces(1 + kMaxLanes, StarEntry{2, 3, 0});
  Fan const fan{faces.data(), 1, 1, 1, 0, 1, {0.5F, height_after, 0}, 0};
  std::vector<FaceRow> changes(faces.size());
  FaceRow merged;
  auto const test = free_slivers ? kernels.test_sliver_fan : kernels.test_fan;
  return test(vertices.data(), fan, changes.data(), merged);
}

TEST(MetricKernelsTest, OnlyFreeSliversBecomeWorse) {
  for (MetricKernels const* kernels : runnable_metric_kernels()) {
    for (bool const free_slivers : {false, true}) {
      std::uint32_t const worsens = free_slivers ? kFanSound : kFanTurns;
      EXPECT_EQ(flattened(*kernels, free_slivers, 1e-3F, 9e-4F), worsens);
      EXPECT_EQ(flattened(*kernels, free_slivers, 1e-3F, 1e-4F), worsens);
      EXPECT_EQ(flattened(*kernels, free_slivers, 1e-3F, 2e-3F), kFanSound);
      EXPECT_EQ(flattened(*kernels, free_slivers, 1, 0.5F), kFanSound);
      EXPECT_EQ(flattened(*kernels, free_slivers, 1, 1e-8F), kFanTurns) << "all but without area";
      EXPECT_EQ(flattened(*kernels, free_slivers, 1, -0.5F), kFanTurns);
      EXPECT_EQ(flattened(*kernels, free_slivers, 1e-3F, -1e-3F), kFanTurns);
    }
  }
}

// A pyramid over a square, the vertices 2 to 5; its top is the first end of an edge, the other is beside a corner.
struct Pyramid {
  std::vector<Vertex> vertices = std::vector<Vertex>(6);
  std::vector<StarEntry> faces = std::vector<StarEntry>(4 + kMaxLanes);

  Pyramid() {
    float const points[6][3] = {{0, 0, 1}, {2, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
    for (std::size_t i = 0; i < 6; ++i) vertices[i].set_position({points[i][0], points[i][1], points[i][2]});
    for (std::uint32_t i = 0; i < faces.size(); ++i) {
      std::uint32_t const k = std::min(i, 3U);
      faces[i] = {2 + k, 2 + (k + 1) % 4, k << 2};
    }
  }
  // The top goes to this height, `surviving` of its faces stay.
  Fan fan(float height, std::uint32_t surviving) const {
    return {faces.data(), surviving, surviving, 4, 0, 1, {0, 0, height}, 0};
  }
};

TEST(MetricKernelsTest, FanDistancesAreThoseOfThePyramid) {
  Pyramid const pyramid;
  for (MetricKernels const* kernels : runnable_metric_kernels()) {
    FanDistances const squared = kernels->fan_distances(pyramid.vertices.data(), pyramid.fan(0, 4));
    EXPECT_FLOAT_EQ(squared.a, 1);
    EXPECT_FLOAT_EQ(squared.b, 1);
    EXPECT_FLOAT_EQ(squared.place, 1.0F / 3);
  }
}

TEST(MetricKernelsTest, TurnsAreThoseOfTheFacesThatStay) {
  Pyramid const pyramid;
  std::vector<FaceRow> changes(pyramid.faces.size());
  for (MetricKernels const* kernels : runnable_metric_kernels()) {
    auto const turns = [&](float height, std::uint32_t surviving) {
      FaceRow merged;
      EXPECT_EQ(kernels->test_fan(pyramid.vertices.data(), pyramid.fan(height, surviving), changes.data(), merged),
                kFanSound);
      return merged.values[kTurns];
    };
    // Flat faces with cross products of length 1, which looked up at an angle of this cosine.
    float const turn = 1 - 1 / std::sqrt(3.0F);
    EXPECT_NEAR(turns(0, 4), 4 * turn, 1e-5F);
    EXPECT_NEAR(turns(0, 3), 3 * turn, 1e-5F);
    EXPECT_EQ(turns(1, 4), 0);
    EXPECT_EQ(turns(1 + 1e-4F, 4), 0) << "too little to tell from rounding";
    EXPECT_GT(turns(1.1F, 4), 0);
  }
}

TEST(MetricKernelsTest, WhatHadNoAreaDoesNotTurn) {
  Pyramid pyramid;
  // The top on one of the edges of its base, then above the middle.
  pyramid.vertices[0].set_position({0.5F, 0.5F, 0});
  std::vector<FaceRow> changes(pyramid.faces.size());
  Fan const fan{pyramid.faces.data(), 1, 1, 1, 0, 1, {0, 0, 0}, 0};
  for (MetricKernels const* kernels : runnable_metric_kernels()) {
    FaceRow merged;
    EXPECT_EQ(kernels->test_fan(pyramid.vertices.data(), fan, changes.data(), merged), kFanSound);
    EXPECT_EQ(merged.values[11], 1) << "twice its area, upwards";
    EXPECT_EQ(merged.values[kTurns], 0);
  }
}

}  // namespace
}  // namespace mirel::engine
