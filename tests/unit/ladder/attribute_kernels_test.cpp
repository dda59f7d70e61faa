#include "standalone/engine/ladder/attribute_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "standalone/engine/ladder/metric_kernels.h"
#include "standalone/engine/ladder/plane_weight.h"
#include "standalone/engine/ladder/wedge_attributes.h"

namespace mirel::engine {
namespace {

constexpr std::uint32_t kVertices = 64;
constexpr std::uint32_t kMostFaces = 21;
constexpr AttributeScale kScale = {0.5F, 0.25F};

std::vector<AttributeRow> some_rows(std::mt19937& random) {
  auto const unit = [&random] { return static_cast<float>(random() % 65536) / 32768.0F - 1; };
  std::vector<AttributeRow> rows(kVertices);
  for (AttributeRow& row : rows) {
    float const size = 1.0F / static_cast<float>(1U << random() % 24);
    for (float& value : row.values) value = unit();
    for (float& x : row.position) x = unit() * size;
  }
  return rows;
}

template <typename Row>
bool same_bits(Row const* a, Row const* b, std::size_t count) {
  return std::memcmp(a, b, count * sizeof(Row)) == 0;
}

// Random faces, as a star or a fan has them and as faces that name their corners, around vertices 0 and 1.
struct SomeFaces {
  std::vector<StarEntry> entries = std::vector<StarEntry>(kMostFaces + kMaxLanes);
  std::vector<AttributeFace> named = std::vector<AttributeFace>(kMostFaces);
  OneWedgeFan fan{};

  SomeFaces(std::vector<AttributeRow> const& rows, std::uint32_t count, std::mt19937& random) {
    for (StarEntry& entry : entries) {
      entry.next = static_cast<std::uint32_t>(random() % kVertices);
      entry.previous = static_cast<std::uint32_t>(random() % kVertices);
    }
    auto const of_a = static_cast<std::uint32_t>(random() % (count + 1));
    auto const surviving = of_a + static_cast<std::uint32_t>(random() % (count - of_a + 1));
    int const kept = static_cast<int>(random() % 4) - 1;
    fan = {
        {rows.data(), entries.data()}, of_a, surviving, count, 0, 1, {0.25F, -0.5F, 0.125F}, std::min(kept, 1), false};
    for (std::uint32_t i = 0; i < count; ++i) {
      bool const of_b = i >= of_a && i < surviving;
      named[i] = {{&rows[of_b ? 1 : 0], &rows[entries[i].next], &rows[entries[i].previous]}};
    }
  }
};

class AnyAttributeKernels : public testing::TestWithParam<AttributeKernels const*> {};
INSTANTIATE_TEST_SUITE_P(Kernels, AnyAttributeKernels, testing::ValuesIn(runnable_attribute_kernels()));

TEST_P(AnyAttributeKernels, NeitherWidthNorTheWayOfNamingCornersShows) {
  AttributeKernels const& narrow = narrow_attribute_kernels();
  AttributeKernels const& other = *GetParam();
  for (std::uint32_t seed = 1; seed <= 100; ++seed) {
    std::mt19937 random(seed);
    std::vector<AttributeRow> const rows = some_rows(random);
    for (std::uint32_t count = 1; count <= kMostFaces; ++count) {
      SomeFaces const faces(rows, count, random);
      for (std::uint32_t const kinds : {std::uint32_t{kUvs}, std::uint32_t{kNormals}, kUvs | kNormals}) {
        float quadrics[4][6];
        for (float(&quadric)[6] : quadrics) std::fill_n(quadric, 6, 0.5F);
        narrow.add_variation[kinds](rows[2], faces.named.data(), count, kScale, quadrics[0]);
        other.add_variation[kinds](rows[2], faces.named.data(), count, kScale, quadrics[1]);
        narrow.add_star_variation[kinds](rows[2], faces.fan.faces, count, kScale, quadrics[2]);
        other.add_star_variation[kinds](rows[2], faces.fan.faces, count, kScale, quadrics[3]);
        for (int i = 1; i < 4; ++i) ASSERT_TRUE(same_bits(quadrics[0], quadrics[i], 6)) << "seed " << seed;

        std::vector<FaceGradients> gradients[2];
        for (std::vector<FaceGradients>& some : gradients) some.resize(kMostFaces + kMaxLanes);
        narrow.face_gradients[kinds](faces.named.data(), count, kScale, gradients[0].data());
        other.face_gradients[kinds](faces.named.data(), count, kScale, gradients[1].data());
        ASSERT_TRUE(same_bits(gradients[0].data(), gradients[1].data(), count)) << "seed " << seed;
        std::vector<std::uint32_t> places;
        for (std::uint32_t i = 0; i < count; ++i) places.push_back((i * 5 + seed) % count);
        narrow.add_row_variation(gradients[0].data(), places.data(), count, quadrics[0]);
        other.add_row_variation(gradients[0].data(), places.data(), count, quadrics[1]);
        ASSERT_TRUE(same_bits(quadrics[0], quadrics[1], 6)) << "seed " << seed;
        MeanGradients means[2];
        narrow.add_group_variation(gradients[0].data(), places.data(), count, kinds, kScale, quadrics[0], means[0]);
        other.add_group_variation(gradients[0].data(), places.data(), count, kinds, kScale, quadrics[1], means[1]);
        ASSERT_TRUE(same_bits(quadrics[0], quadrics[1], 6)) << "seed " << seed;
        for (std::uint32_t k = kinds == kNormals ? 2 : 0; k < (kinds == kUvs ? 2 : kMaxAttributes); ++k) {
          for (std::size_t axis = 0; axis < 3; ++axis) {
            ASSERT_EQ(means[0].along[axis][k], means[1].along[axis][k]) << "seed " << seed;
          }
          ASSERT_EQ(means[0].weights[k], means[1].weights[k]) << "seed " << seed;
        }

        std::vector<ForetoldRow> foretold[2];
        for (std::vector<ForetoldRow>& some : foretold) some.resize(kMostFaces + kMaxLanes);
        OneWedgeFan const& fan = faces.fan;
        narrow.foretell[kinds](fan.place, faces.named.data(), count, foretold[0].data());
        other.foretell[kinds](fan.place, faces.named.data(), count, foretold[1].data());
        ASSERT_TRUE(same_bits(foretold[0].data(), foretold[1].data(), count)) << "seed " << seed;

        MergedWedge merged[4];
        narrow.merge_fan[kinds](fan, kScale, foretold[0].data(), merged[0]);
        other.merge_fan[kinds](fan, kScale, foretold[0].data(), merged[1]);
        NamedFan const named = {faces.named.data(),
                                fan.of_a,
                                fan.surviving,
                                count,
                                &rows[0],
                                &rows[1],
                                {fan.place[0], fan.place[1], fan.place[2]},
                                fan.kept};
        narrow.merge_named_fan[kinds](named, kScale, foretold[0].data(), merged[2]);
        other.merge_named_fan[kinds](named, kScale, foretold[0].data(), merged[3]);
        for (int i = 1; i < 4; ++i) {
          ASSERT_TRUE(same_bits(&merged[0].row, &merged[i].row, 1)) << "seed " << seed << ", way " << i;
          ASSERT_EQ(merged[0].cost, merged[i].cost) << "seed " << seed << ", way " << i;
        }
      }
    }
  }
}

// The hexagon around a vertex at (2, 1, 0) in the plane z = 0, with attributes of its corners.
struct Hexagon {
  std::vector<AttributeRow> rows = std::vector<AttributeRow>(7);
  std::vector<StarEntry> entries = std::vector<StarEntry>(6 + kMaxLanes);

  Hexagon() {
    for (std::uint32_t i = 0; i < 7; ++i) {
      double const angle = 3.14159265358979 / 3 * i;
      rows[i].position[0] = static_cast<float>(i == 6 ? 2 : 2 + std::cos(angle));
      rows[i].position[1] = static_cast<float>(i == 6 ? 1 : 1 + std::sin(angle));
    }
    for (std::uint32_t i = 0; i < entries.size(); ++i) entries[i] = {i % 6, (i + 1) % 6, 0};
  }
  template <typename Value>
  void set(std::size_t attribute, Value value) {
    for (AttributeRow& row : rows) row.values[attribute] = static_cast<float>(value(row.position[0], row.position[1]));
  }
  std::vector<float> variation(std::uint32_t kinds) const {
    std::vector<float> quadric(6, 0.0F);
    attribute_kernels().add_star_variation[kinds](rows[6], {rows.data(), entries.data()}, 6, kScale, quadric.data());
    return quadric;
  }
};

// Twice the area of a side of the hexagon, and the weights that it gives.
double const kArea = std::sqrt(3.0) / 2;
double const kUvFaceWeight = kArea * kArea * plane_weight(static_cast<float>(kArea * kArea));
double const kNormalFaceWeight = kUvFaceWeight * kArea;

TEST(AttributeKernelsTest, WhatRunsOnEvenlyDoesNotVary) {
  Hexagon hexagon;
  hexagon.set(0, [](float x, float y) { return 3 * x - 7 * y + 100; });
  hexagon.set(1, [](float x, float y) { return x + y; });
  for (float const q : hexagon.variation(kUvs)) EXPECT_NEAR(q, 0, 1e-8);
}

TEST(AttributeKernelsTest, TellsMeanGradientsInTheAttributesOwnUnits) {
  // Half of the faces rise at 4 along y, all of them at 3 along x.
  Hexagon hexagon;
  hexagon.set(1, [](float x, float y) { return 3 * x + std::max(0.0F, 4 * (y - 1)); });
  hexagon.set(3, [](float, float y) { return std::max(0.0F, 2 * (y - 1)); });
  hexagon.set(4, [](float x, float) { return 1 - x; });
  std::vector<AttributeFace> faces;
  for (std::size_t i = 0; i < 6; ++i)
    faces.push_back({{&hexagon.rows[6], &hexagon.rows[i], &hexagon.rows[(i + 1) % 6]}});
  std::vector<FaceGradients> rows(6 + kMaxLanes);
  attribute_kernels().face_gradients[kUvs | kNormals](faces.data(), 6, kScale, rows.data());
  std::vector<std::uint32_t> const places = {0, 1, 2, 3, 4, 5};
  std::vector<float> quadric(6, 0.0F);
  MeanGradients means;
  attribute_kernels().add_group_variation(rows.data(), places.data(), 6, kUvs, kScale, quadric.data(), means);
  EXPECT_EQ(means.along[1][0], 0) << "u is the same everywhere";
  EXPECT_NEAR(means.along[0][1], 3, 1e-5);
  EXPECT_NEAR(means.along[1][1], 2, 1e-5);
  EXPECT_NEAR(means.weights[1], 6 * kUvFaceWeight, 1e-5);
  std::vector<float> const uvs = hexagon.variation(kUvs);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(quadric[i], uvs[i], 1e-5) << "normals do not count";
  attribute_kernels().add_group_variation(rows.data(), places.data(), 6, kNormals, kScale, quadric.data(), means);
  EXPECT_NEAR(means.along[0][4], -1, 1e-5);
  EXPECT_NEAR(means.weights[4], 6 * kNormalFaceWeight, 1e-5);
}

TEST(WedgeAttributesTest, GradientsOfOneKindLeaveThoseOfTheOtherAlone) {
  MeanGradients of_uvs, of_normals, kept;
  for (std::size_t k = 0; k < kMaxAttributes; ++k) {
    of_uvs.along[2][k] = of_uvs.weights[k] = 2;
    of_normals.along[2][k] = of_normals.weights[k] = 6;
  }
  WedgeAttributes::set_gradients(of_uvs, kUvs, 1, kept);
  WedgeAttributes::set_gradients(of_normals, kNormals, 0.5F, kept);
  for (std::size_t k = 0; k < kMaxAttributes; ++k) {
    EXPECT_EQ(kept.along[2][k], k < 2 ? 2 : 6) << k;
    EXPECT_EQ(kept.weights[k], k < 2 ? 2 : 3) << k;
  }
  WedgeAttributes::set_gradients(of_normals, kUvs | kNormals, 1, kept);
  for (std::size_t k = 0; k < kMaxAttributes; ++k) EXPECT_EQ(kept.weights[k], 6) << k;
}

TEST(AttributeKernelsTest, FacesByThemselvesVaryAsTheirStarDoes) {
  std::mt19937 random(5);
  Hexagon hexagon;
  for (AttributeRow& row : hexagon.rows) {
    for (float& value : row.values) value = static_cast<float>(random() % 1024) / 512;
    row.position[2] = static_cast<float>(random() % 1024) / 2048;
  }
  // Each face from another corner: it says the same, wherever it is seen from.
  std::vector<AttributeFace> faces;
  for (std::size_t i = 0; i < 6; ++i) {
    AttributeRow const* const corners[3] = {&hexagon.rows[6], &hexagon.rows[i], &hexagon.rows[(i + 1) % 6]};
    faces.push_back({{corners[i % 3], corners[(i + 1) % 3], corners[(i + 2) % 3]}});
  }
  std::vector<std::uint32_t> const places = {3, 1, 5, 0, 2, 4};
  for (std::uint32_t const kinds : {std::uint32_t{kUvs}, std::uint32_t{kNormals}, kUvs | kNormals}) {
    std::vector<FaceGradients> rows(6 + kMaxLanes);
    attribute_kernels().face_gradients[kinds](faces.data(), 6, kScale, rows.data());
    std::vector<float> quadric(6, 0.0F);
    attribute_kernels().add_row_variation(rows.data(), places.data(), 6, quadric.data());
    std::vector<float> const expected = hexagon.variation(kinds);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(quadric[i], expected[i], 1e-5F) << "kinds " << kinds;
  }
}

TEST(AttributeKernelsTest, AFoldVariesAcrossItself) {
  // 0 on one side of a line through the middle, rising at 4 on the other: half of the faces are off the mean by 2.
  Hexagon hexagon;
  hexagon.set(0, [](float, float y) { return std::max(0.0F, 4 * (y - 1)); });
  hexagon.set(3, [](float, float y) { return std::max(0.0F, 4 * (y - 1)); });
  std::vector<float> const uvs = hexagon.variation(kUvs);
  std::vector<float> const normals = hexagon.variation(kNormals);
  std::vector<float> const both = hexagon.variation(kUvs | kNormals);
  EXPECT_NEAR(uvs[3], 6 * kUvFaceWeight * 4 * kScale.uv * kScale.uv, 1e-4);
  EXPECT_NEAR(normals[3], 6 * kNormalFaceWeight * 4 * kScale.normal * kScale.normal, 1e-4);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(both[i], uvs[i] + normals[i], 1e-5);
    if (i == 3) continue;
    EXPECT_NEAR(uvs[i], 0, 1e-5);
  }
}

TEST(AttributeKernelsTest, AFaceForetellsWhatItShowsThere) {
  Hexagon hexagon;
  hexagon.set(0, [](float x, float y) { return 3 * x - 7 * y; });
  hexagon.set(4, [](float x, float) { return x; });
  std::vector<AttributeFace> faces;
  for (std::size_t i = 0; i < 6; ++i)
    faces.push_back({{&hexagon.rows[6], &hexagon.rows[i], &hexagon.rows[(i + 1) % 6]}});
  float const place[3] = {2.5F, 0.5F, 8};
  std::vector<ForetoldRow> rows(6 + kMaxLanes);
  attribute_kernels().foretell[kUvs | kNormals](place, faces.data(), 6, rows.data());
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(rows[i].weights[0], kUvFaceWeight, 1e-5);
    EXPECT_NEAR(rows[i].weights[1], kNormalFaceWeight, 1e-5);
    EXPECT_NEAR(rows[i].values[0], 4 * kUvFaceWeight, 1e-4);
    EXPECT_NEAR(rows[i].values[4], 2.5 * kNormalFaceWeight, 1e-4);
  }
}

// What becomes of the middle of the hexagon, all of whose faces stay, and of its first corner.
MergedWedge merge_into_corner(Hexagon const& hexagon, std::uint32_t kinds, float x, float y, int kept) {
  OneWedgeFan const fan = {{hexagon.rows.data(), hexagon.entries.data()}, 6, 6, 6, 6, 0, {x, y, 0}, kept, true};
  std::vector<ForetoldRow> rows(6 + kMaxLanes);
  MergedWedge merged;
  attribute_kernels().merge_fan[kinds](fan, kScale, rows.data(), merged);
  return merged;
}

TEST(AttributeKernelsTest, AMergedWedgeHasWhatItsFacesForetell) {
  Hexagon hexagon;
  hexagon.set(0, [](float x, float y) { return 3 * x - 7 * y; });
  hexagon.set(3, [](float x, float) { return x; });
  hexagon.set(4, [](float, float) { return 1; });
  MergedWedge const merged = merge_into_corner(hexagon, kUvs | kNormals, 2.5F, 0.5F, -1);
  EXPECT_NEAR(merged.row.values[0], 4, 1e-4);
  // A normal is made a unit one.
  EXPECT_NEAR(merged.row.values[3], 2.5 / std::sqrt(2.5 * 2.5 + 1), 1e-5);
  EXPECT_NEAR(merged.row.values[4], 1 / std::sqrt(2.5 * 2.5 + 1), 1e-5);
  EXPECT_EQ(merged.row.position[0], 2.5F);
  EXPECT_EQ(merged.row.position[1], 0.5F);
  EXPECT_NEAR(merged.cost, 0, 1e-7);
}

TEST(AttributeKernelsTest, AMergedWedgeStaysBetweenTheValuesAroundIt) {
  Hexagon hexagon;
  hexagon.set(0, [](float x, float) { return x; });
  MergedWedge const merged = merge_into_corner(hexagon, kUvs, 5, 1, -1);
  EXPECT_NEAR(merged.row.values[0], 3, 1e-6);
  // Off by 2 what six faces would have.
  EXPECT_NEAR(merged.cost, 6 * kUvFaceWeight * 4 * kScale.uv * kScale.uv, 1e-3);
}

TEST(AttributeKernelsTest, AVertexThatStaysKeepsItsValues) {
  Hexagon hexagon;
  hexagon.set(1, [](float x, float y) { return 3 * x * y; });
  hexagon.set(2, [](float x, float) { return x + 0.1F; });
  MergedWedge const first = merge_into_corner(hexagon, kUvs | kNormals, 2, 1, 0);
  EXPECT_TRUE(same_bits(&first.row, &hexagon.rows[6], 1));
  MergedWedge const second = merge_into_corner(hexagon, kUvs | kNormals, 3, 1, 1);
  EXPECT_TRUE(std::equal(second.row.values, second.row.values + kMaxAttributes, hexagon.rows[0].values));
}

TEST(AttributeKernelsTest, NormalsThatCancelLeaveThatOfTheFirstEnd) {
  Hexagon hexagon;
  hexagon.set(2, [](float x, float) { return 2.5F - x; });
  MergedWedge const merged = merge_into_corner(hexagon, kNormals, 2.5F, 1, -1);
  EXPECT_EQ(merged.row.values[2], 0.5F);
}

TEST(AttributeKernelsTest, WhereNothingCountsValuesAreMeansOfTheEnds) {
  // Of a size of which the squares are no numbers.
  Hexagon hexagon;
  hexagon.rows[6].values[0] = 1e30F;
  hexagon.rows[0].values[0] = 3e30F;
  NamedFan const fan = {nullptr, 0, 0, 0, &hexagon.rows[6], &hexagon.rows[0], {2.5F, 1, 0}, -1};
  MergedWedge merged;
  attribute_kernels().merge_named_fan[0](fan, kScale, nullptr, merged);
  EXPECT_EQ(merged.row.values[0], 2e30F);
  EXPECT_EQ(merged.cost, 0);
}

TEST(AttributeKernelsTest, FacesOnTheEdgeSpeakForBothEnds) {
  // One face of each end, and one on the edge, which rises at 4 where the others are level.
  Hexagon hexagon;
  hexagon.rows[3].values[0] = 4;
  std::vector<AttributeFace> const faces = {{{&hexagon.rows[6], &hexagon.rows[0], &hexagon.rows[1]}},
                                            {{&hexagon.rows[6], &hexagon.rows[4], &hexagon.rows[5]}},
                                            {{&hexagon.rows[6], &hexagon.rows[2], &hexagon.rows[3]}}};
  NamedFan const fan = {faces.data(), 1, 2, 3, &hexagon.rows[6], &hexagon.rows[6], {1.5F, 1, 0}, -1};
  std::vector<ForetoldRow> rows(3 + kMaxLanes);
  MergedWedge merged;
  attribute_kernels().merge_named_fan[kUvs](fan, kScale, rows.data(), merged);
  // The third face foretells 2; each end has it and one that foretells 0: 1 in the mean, for both.
  EXPECT_NEAR(merged.row.values[0], 1, 1e-5);
  EXPECT_NEAR(merged.cost, 0, 1e-6);
}

TEST(AttributeKernelsTest, AThinFaceHasNoWeight) {
  Hexagon hexagon;
  // The first face all but vanishes: its gradient is noise.
  hexagon.rows[1] = hexagon.rows[0];
  hexagon.rows[1].position[1] += 1e-3F;
  hexagon.set(0, [](float x, float) { return x; });
  hexagon.rows[1].values[0] = 1000;
  AttributeFace const face = {{&hexagon.rows[6], &hexagon.rows[0], &hexagon.rows[1]}};
  float const place[3] = {2, 1, 0};
  std::vector<ForetoldRow> rows(1 + kMaxLanes);
  attribute_kernels().foretell[kUvs](place, &face, 1, rows.data());
  EXPECT_EQ(rows[0].weights[0], 0);
  EXPECT_EQ(rows[0].values[0], 0);
  std::vector<float> quadric(6, 0.0F);
  attribute_kernels().add_star_variation[kUvs](hexagon.rows[6], {hexagon.rows.data(), hexagon.entries.data()}, 1,
                                               kScale, quadric.data());
  EXPECT_EQ(quadric, std::vector<float>(6, 0.0F));
}

}  // namespace
}  // namespace mirel::engine
