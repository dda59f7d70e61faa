#include "standalone/engine/ladder/stars.h"

#include <gtest/gtest.h>

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
    stars.renumber(numbers, live, std::size_t{9} * rim / 3);

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

}  // namespace
}  // namespace mirel::engine
