#include "standalone/engine/deviation/free_surface.h"

#include <gtest/gtest.h>

namespace mirel::engine {
namespace {

// Two triangles side by side, one that shares a point with them, one on its own, and one with a point that is not
// there.
constexpr std::uint32_t kFaces[] = {0, 1, 2, 2, 1, 3, 3, 4, 5, 6, 7, 8, 0, 1, 99};

TEST(FreeSurface, TellsConnectedPartsApart) {
  FreeSurface const surface(9, kFaces);
  EXPECT_EQ(surface.part(0), surface.part(1));
  EXPECT_EQ(surface.part(0), surface.part(2));
  EXPECT_NE(surface.part(0), surface.part(3));
}

TEST(FreeSurface, KeepsTheGapsOfVertices) {
  FreeSurface surface(9, kFaces);
  EXPECT_EQ(surface.largest_gap(0), 0);
  std::uint32_t const vertex = surface.add_vertex(0.1);
  surface.set_vertex(0, 1, vertex);
  EXPECT_GE(static_cast<double>(surface.gaps(0)[1]), 0.1) << "never rounded down";
  EXPECT_EQ(surface.largest_gap(0), surface.gaps(0)[1]);
  EXPECT_EQ(surface.largest_gap(1), 0);
}

TEST(FreeSurface, LeadsOnFromFacesThatVanish) {
  FreeSurface surface(9, kFaces);
  surface.remove(0, 1);
  surface.remove(1, 2);
  EXPECT_EQ(surface.successor(0), 2U);
  EXPECT_EQ(surface.successor(3), 3U);
}

TEST(FreeSurface, FixesFacesOneByOne) {
  FreeSurface surface(9, kFaces);
  surface.fix(1);
  EXPECT_TRUE(surface.is_fixed(1));
  EXPECT_FALSE(surface.is_fixed(0));
}

}  // namespace
}  // namespace mirel::engine
