#include "standalone/engine/ladder/stars.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace mirel::engine {
namespace {

// The triangles of a wheel: `rim` vertices around vertex `hub`, and some strays before and behind.
std::vector<std::uint32_t> wheel(std::uint32_t first, std::uint32_t rim, std::uint32_t hub) {
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t i = 0; i < rim; ++i) {
    triangles.insert(triangles.end(), {hub, first + i, first + (i + 1) % rim});
  }
  return triangles;
}

TEST(StarsTest, LiveVerticesAreRenumberedInTheirOrder) {
  for (std::uint32_t const rim : {5U, 700U}) {
    SCOPED_TRACE(rim);
    // 0 and 1 are dead, then the rim, then another dead one, then the hub.
    std::uint32_t const hub = 3 + rim;
    Stars stars;
    stars.build(hub + 1, wheel(2, rim, hub));
    std::vector<std::uint32_t> numbers(hub + 1, rim + 1);
    std::vector<std::uint32_t> live;
    for (std::uint32_t v = 2; v < 2 + rim; ++v) live.push_back(v);
    live.push_back(hub);
    for (std::uint32_t i = 0; i < live.size(); ++i) numbers[live[i]] = i;
    for (std::uint32_t v = 0; v <= hub; ++v) {
      stars.vertex(v).set_position({static_cast<float>(v), 0, 0});
      if (numbers[v] > rim) stars.vertex(v).flags |= kDead;
    }
    stars.renumber(numbers, live);

    ASSERT_EQ(stars.vertex_count(), rim + 2);
    EXPECT_EQ(stars.vertex(rim + 1).flags, kDead) << "stands for all that are gone";
    EXPECT_EQ(stars.star(rim + 1).size(), 0U);
    EXPECT_EQ(stars.star(rim).size(), rim);
    EXPECT_EQ(stars.is_hub(rim), rim >= Stars::kHub);
    for (std::uint32_t i = 0; i <= rim; ++i) {
      EXPECT_EQ(stars.vertex(i).x, static_cast<float>(live[i]));
      EXPECT_EQ(stars.vertex(i).flags, 0);
    }
    for (std::uint32_t i = 0; i < rim; ++i) {
      StarEntry const& entry = stars.star(rim)[i];
      EXPECT_EQ(entry.next, i);
      EXPECT_EQ(entry.previous, (i + 1) % rim);
      EXPECT_EQ(entry.face(), i);
      EXPECT_EQ(entry.corner(), 0U);
      ASSERT_EQ(stars.star(i).size(), 2U);
    }
    // Places in the hub's star are known by the new number too.
    stars.remove(rim, 3);
    EXPECT_EQ(stars.star(rim).size(), rim - 1);
    stars.rename(rim, 1, 2, 4);
    EXPECT_EQ(stars.star(rim)[1].previous, 4U);
    // And stars may still grow.
    std::vector<StarEntry> const more(20, StarEntry{0, 1, 0});
    stars.assign(2, more);
    EXPECT_EQ(stars.star(2).size(), 20U);
    EXPECT_EQ(stars.star(1).size(), 2U);
    EXPECT_EQ(stars.star(3)[0].face(), 2U);
  }
}

// Stars grow, shrink and go at random, so that the store is compacted and grows many times.
TEST(StarsTest, EveryStarHasRowsOfItsOwnThatNameVertices) {
  constexpr std::uint32_t kVertices = 300;
  std::mt19937 random(5);
  auto const below = [&random](std::uint32_t end) { return static_cast<std::uint32_t>(random() % end); };
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t face = 0; face < kVertices; ++face) {
    std::uint32_t const first = below(kVertices);
    triangles.insert(triangles.end(),
                     {first, (first + 1 + below(90)) % kVertices, (first + 100 + below(90)) % kVertices});
  }
  Stars stars;
  stars.build(kVertices, triangles);
  std::vector<std::vector<std::uint32_t>> faces(kVertices);  // of each star, in its order
  for (std::uint32_t v = 0; v < kVertices; ++v) {
    for (StarEntry const& entry : stars.star(v)) faces[v].push_back(entry.face());
  }
  std::uint32_t next_face = kVertices;
  for (int round = 0; round < 20000; ++round) {
    std::uint32_t const v = below(kVertices);
    switch (below(3)) {
      case 0: {
        std::vector<StarEntry> entries(1 + below(below(50) == 0 ? 700 : 20));
        faces[v].clear();
        for (StarEntry& entry : entries) {
          entry = {below(kVertices), below(kVertices), next_face << 2};
          faces[v].push_back(next_face++);
        }
        stars.assign(v, entries);
        break;
      }
      case 1:
        if (!faces[v].empty()) {
          std::uint32_t const place = below(static_cast<std::uint32_t>(faces[v].size()));
          stars.remove(v, faces[v][place]);
          faces[v][place] = faces[v].back();
          faces[v].pop_back();
        }
        break;
      default:
        if (below(4) == 0) {
          stars.clear(v);
          faces[v].clear();
        }
    }
    if (round % 100 != 0) continue;
    std::vector<std::uint32_t> owners;
    for (std::uint32_t u = 0; u < kVertices; ++u) {
      std::span<StarEntry const> const star = stars.star(u);
      ASSERT_EQ(star.size(), faces[u].size());
      for (std::size_t i = 0; i < star.size(); ++i) ASSERT_EQ(star[i].face(), faces[u][i]);
      if (star.empty()) continue;
      ASSERT_EQ(stars.vertex(u).star_begin % Stars::kRow, 0U);
      std::size_t const rows = (star.size() + Stars::kRow - 1) / Stars::kRow;
      for (std::size_t i = 0; i < rows * Stars::kRow; ++i) {
        ASSERT_LT(star.data()[i].next, kVertices);
        ASSERT_LT(star.data()[i].previous, kVertices);
      }
      owners.resize(std::max(owners.size(), stars.vertex(u).star_begin / Stars::kRow + rows), kVertices);
      for (std::size_t row = 0; row < rows; ++row) {
        std::uint32_t& owner = owners[stars.vertex(u).star_begin / Stars::kRow + row];
        ASSERT_EQ(owner, kVertices) << "two stars share a row";
        owner = u;
      }
    }
  }
}

}  // namespace
}  // namespace mirel::engine
