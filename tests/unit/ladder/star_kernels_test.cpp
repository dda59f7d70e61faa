#include "standalone/engine/ladder/star_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace mirel::engine {
namespace {

constexpr std::uint32_t kVertices = 40;
constexpr BucketQueue::Bucket kSomeBucket = 7;

std::uint32_t below(std::mt19937& random, std::uint32_t end) {
  return static_cast<std::uint32_t>(random() % end);
}

// Different vertices as the next corners, with others' entries behind them.
std::vector<StarEntry> some_star(std::mt19937& random, std::uint32_t count) {
  std::vector<std::uint32_t> ids(kVertices);
  for (std::uint32_t i = 0; i < kVertices; ++i) ids[i] = i;
  std::shuffle(ids.begin(), ids.end(), random);
  std::vector<StarEntry> star(count + Stars::kRow);
  for (std::uint32_t i = 0; i < star.size(); ++i) {
    star[i] = {ids[i % kVertices], ids[(i + 1) % count], (100 + i) << 2 | below(random, 3)};
  }
  return star;
}

TEST(StarKernelsTest, TellsClosedFansFromOthers) {
  for (StarKernels const* kernels : {&narrow_star_kernels(), &star_kernels()}) {
    for (std::uint32_t count = 3; count <= 24; ++count) {
      // One fan, and where there is room for it two around one vertex, in some order.
      for (std::uint32_t const first : {count, 3U}) {
        if (count - first != 0 && count - first < 3) continue;
        std::vector<StarEntry> fan(count + Stars::kRow, StarEntry{1, 1, 1});
        for (std::uint32_t i = 0; i < count; ++i) {
          std::uint32_t const begin = i < first ? 0 : first;
          std::uint32_t const size = i < first ? first : count - first;
          fan[i] = {100 + i, 100 + begin + (i - begin + 1) % size, i << 2};
        }
        std::mt19937 random(count);
        std::shuffle(fan.begin(), fan.begin() + count, random);
        EXPECT_TRUE(kernels->has_closed_fans(fan.data(), count));
        std::uint32_t partners[kMostPaired];
        ASSERT_TRUE(kernels->pair_faces(fan.data(), count, partners));
        for (std::uint32_t i = 0; i < count; ++i) EXPECT_EQ(fan[partners[i]].previous, fan[i].next);
        for (std::uint32_t i = 0; i < count; ++i) {
          std::vector<StarEntry> bad = fan;
          std::swap(bad[i].next, bad[i].previous);  // a face that looks the other way
          EXPECT_FALSE(kernels->has_closed_fans(bad.data(), count));
          EXPECT_FALSE(kernels->pair_faces(bad.data(), count, partners));
          bad = fan;
          bad[i] = bad[count - 1];  // a face that is gone
          EXPECT_FALSE(i + 1 < count && kernels->has_closed_fans(bad.data(), count - 1));
          EXPECT_FALSE(i + 1 < count && kernels->pair_faces(bad.data(), count - 1, partners));
          bad = fan;
          bad[i] = bad[(i + 1) % count];  // a face that is there twice
          EXPECT_FALSE(kernels->has_closed_fans(bad.data(), count));
          EXPECT_FALSE(kernels->pair_faces(bad.data(), count, partners));
          bad = fan;
          bad[i].previous = 7;  // a boundary
          EXPECT_FALSE(kernels->has_closed_fans(bad.data(), count));
          EXPECT_FALSE(kernels->pair_faces(bad.data(), count, partners));
        }
      }
    }
  }
}

TEST(StarKernelsTest, CountsSharedNeighbours) {
  for (StarKernels const* kernels : {&narrow_star_kernels(), &star_kernels()}) {
    std::mt19937 random(1);
    for (int round = 0; round < 500; ++round) {
      std::uint32_t const count_a = 1 + below(random, 21);
      std::uint32_t const count_b = 1 + below(random, 21);
      std::vector<StarEntry> const a = some_star(random, count_a);
      std::vector<StarEntry> const b = some_star(random, count_b);
      std::uint32_t expected = 0;
      for (std::uint32_t i = 0; i < count_a; ++i) {
        for (std::uint32_t k = 0; k < count_b; ++k) expected += a[i].next == b[k].next ? 1U : 0U;
      }
      ASSERT_EQ(kernels->count_shared(a.data(), count_a, b.data(), count_b), expected);
    }
  }
}

TEST(StarKernelsTest, FindsFacesOfTheStarAlone) {
  for (StarKernels const* kernels : {&narrow_star_kernels(), &star_kernels()}) {
    std::mt19937 random(2);
    for (std::uint32_t count = 1; count <= 21; ++count) {
      std::vector<StarEntry> const star = some_star(random, count);
      for (std::uint32_t i = 0; i < count; ++i) EXPECT_EQ(kernels->find_face(star.data(), count, 100 + i), i);
      // The first one behind the star, and none at all.
      EXPECT_EQ(kernels->find_face(star.data(), count, 100 + count), count);
      EXPECT_EQ(kernels->find_face(star.data(), count, 7), count);
    }
  }
}

TEST(StarKernelsTest, RenamesCornersAndNothingElse) {
  for (StarKernels const* kernels : {&narrow_star_kernels(), &star_kernels()}) {
    std::mt19937 random(3);
    for (int round = 0; round < 200; ++round) {
      // Stars of all vertices one behind the other, of which those around vertex 0 are renamed.
      std::vector<Vertex> vertices(kVertices);
      std::vector<StarEntry> entries;
      for (Vertex& vertex : vertices) {
        vertex.star_begin = static_cast<std::uint32_t>(entries.size());
        vertex.star_count = 1 + below(random, 20);
        for (std::uint32_t i = 0; i < vertex.star_count; ++i) {
          // Numbers of faces that look like the vertex do not count.
          entries.push_back({below(random, 4), below(random, 4), below(random, 4)});
        }
      }
      std::size_t const used = entries.size();
      entries.resize(used + Stars::kRow, StarEntry{9, 9, 9});
      std::vector<StarEntry> const around = some_star(random, 1 + below(random, 12));
      auto const count = static_cast<std::uint32_t>(around.size() - Stars::kRow);
      std::vector<StarEntry> expected = entries;
      for (std::uint32_t i = 0; i < count; ++i) {
        Vertex const& vertex = vertices[around[i].next];
        for (std::uint32_t k = vertex.star_begin; k < vertex.star_begin + vertex.star_count; ++k) {
          for (std::uint32_t* const corner : {&expected[k].next, &expected[k].previous}) {
            if (*corner == 2) *corner = 30;
          }
        }
      }
      kernels->rename_in_ring(vertices.data(), entries.data(), around.data(), count, 2, 30);
      for (std::uint32_t i = 0; i < count; ++i) {
        Vertex const& vertex = vertices[around[i].next];
        ASSERT_EQ(std::memcmp(entries.data() + vertex.star_begin, expected.data() + vertex.star_begin,
                              vertex.star_count * sizeof(StarEntry)),
                  0);
      }
      // Elsewhere corners may have been renamed too, faces not.
      for (std::size_t i = 0; i < entries.size(); ++i) {
        ASSERT_EQ(entries[i].face_corner, expected[i].face_corner);
        ASSERT_TRUE(entries[i].next == expected[i].next || entries[i].next == 30);
      }
    }
  }
}

TEST(StarKernelsTest, AddsChangesInTheOrderOfTheFaces) {
  std::mt19937 random(4);
  for (int round = 0; round < 500; ++round) {
    auto const unit = [&random] { return static_cast<float>(random() % 65536) / 32768.0F - 1; };
    std::uint32_t const count = 1 + below(random, 20);
    std::vector<StarEntry> const faces = some_star(random, count);
    std::vector<Vertex> vertices(kVertices);
    for (Vertex& vertex : vertices) {
      float sums[12];
      for (float& x : sums) x = unit();
      std::memcpy(static_cast<void*>(&vertex), sums, sizeof(sums));
      vertex.flags = static_cast<std::uint8_t>(kFresh | (random() % 4 == 0 ? kIrregular : 0));
      vertex.star_count = random() % 8 == 0 ? Stars::kHub : 6;
      vertex.bucket = static_cast<BucketQueue::Bucket>(random() % 16);
    }
    std::vector<FaceRow> changes(count);
    for (FaceRow& row : changes) {
      for (float& x : row.values) x = unit();
    }
    std::uint32_t const skipped = round % 2 == 0 ? std::uint32_t{kIrregular} : 0;
    Fan fan{};
    fan.faces = faces.data();
    fan.count = count;

    RingState expected;
    std::vector<Vertex> after = vertices;
    for (std::uint32_t i = 0; i < count; ++i) {
      for (std::uint32_t const v : {faces[i].next, faces[i].previous}) {
        Vertex& vertex = after[v];
        expected.flags |= vertices[v].flags;
        expected.any_set_aside |= vertex.bucket == kSomeBucket;
        expected.any_hub |= vertex.star_count >= Stars::kHub;
        vertex.flags = static_cast<std::uint8_t>(vertex.flags & ~kFresh);
        if ((vertex.flags & skipped) != 0 && vertex.star_count < Stars::kHub) continue;
        float sums[12];
        std::memcpy(sums, static_cast<void const*>(&vertex), sizeof(sums));
        for (std::size_t k = 0; k < 12; ++k) sums[k] += changes[i].values[k];
        std::memcpy(static_cast<void*>(&vertex), sums, sizeof(sums));
      }
    }
    for (StarKernels const* kernels : {&narrow_star_kernels(), &star_kernels()}) {
      std::vector<Vertex> changed = vertices;
      RingState const state = kernels->change_ring(changed.data(), fan, changes.data(), kSomeBucket, skipped);
      ASSERT_EQ(std::memcmp(changed.data(), after.data(), kVertices * sizeof(Vertex)), 0);
      ASSERT_EQ(state.flags & kIrregular, expected.flags & kIrregular);
      ASSERT_EQ(state.any_set_aside, expected.any_set_aside);
      ASSERT_EQ(state.any_hub, expected.any_hub);
    }
  }
}

}  // namespace
}  // namespace mirel::engine
