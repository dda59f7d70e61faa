#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "tests/unit/compare/meshes.h"

namespace mirel::compare::test {
namespace {

std::array<std::uint8_t, 3> color(float distance, float high) {
  std::array<std::uint8_t, 3> result{};
  EXPECT_EQ(mirel_compare_colors(&distance, 1, high, result.data()), kMirelCompareOk);
  return result;
}

TEST(HeatMap, GoesFromBlueToRed) {
  auto const low = color(0, 2);
  auto const high = color(2, 2);
  EXPECT_GT(low[2], low[0]);
  EXPECT_GT(high[0], high[2]);
  EXPECT_GT(color(1.2F, 2)[1], 150);
  EXPECT_EQ(color(5, 2), high);
  EXPECT_EQ(color(std::numeric_limits<float>::infinity(), 2), high);
  EXPECT_EQ(color(std::numeric_limits<float>::quiet_NaN(), 2), (std::array<std::uint8_t, 3>{128, 128, 128}));
}

TEST(HeatMap, RefusesAScaleThatIsNotAboveZero) {
  float const distance = 1;
  std::uint8_t colors[3];
  for (float const high : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(mirel_compare_colors(&distance, 1, high, colors), kMirelCompareBadArgument);
  }
}

TEST(HeatMap, IsWrittenAsPly) {
  Mesh const mesh = cube();
  std::vector<float> distances{0, 1, 2, 3, 4, 5, 6, 7};
  std::string const path = testing::TempDir() + "mirel-heat-map.ply";
  ASSERT_EQ(mirel_compare_write_ply(path.c_str(), mesh.positions.data(), distances.data(), 8, mesh.faces.data(), 12, 7),
            kMirelCompareOk);
  std::ifstream file(path, std::ios::binary);
  std::stringstream bytes;
  bytes << file.rdbuf();
  std::string const text = bytes.str();
  std::filesystem::remove(path);
  std::size_t const body = text.find("end_header\n") + 11;
  ASSERT_EQ(text.size(), body + 8 * 19 + 12 * 13);
  EXPECT_EQ(text.rfind("ply\nformat binary_little_endian 1.0\n", 0), 0U);
  EXPECT_NE(text.find("element vertex 8\n"), std::string::npos);
  EXPECT_NE(text.find("property float distance\n"), std::string::npos);
  EXPECT_NE(text.find("element face 12\n"), std::string::npos);
  for (std::size_t i = 0; i < 8; ++i) {
    float values[3];
    float distance = -1;
    std::memcpy(values, text.data() + body + 19 * i, 12);
    std::memcpy(&distance, text.data() + body + 19 * i + 15, 4);
    EXPECT_EQ(std::memcmp(values, &mesh.positions[3 * i], 12), 0);
    EXPECT_EQ(distance, distances[i]);
    auto const expected = color(distances[i], 7);
    EXPECT_EQ(std::memcmp(text.data() + body + 19 * i + 12, expected.data(), 3), 0);
  }
  std::uint32_t last[3];
  std::memcpy(last, text.data() + text.size() - 12, 12);
  EXPECT_EQ(std::memcmp(last, &mesh.faces[33], 12), 0);
}

TEST(HeatMap, TellsWhyItCannotBeWritten) {
  Mesh const mesh = cube();
  std::vector<float> const distances(8, 1);
  auto const write = [&](char const* path) {
    return mirel_compare_write_ply(path, mesh.positions.data(), distances.data(), 8, mesh.faces.data(), 12, 1);
  };
  EXPECT_EQ(write("/nonexistent/folder/map.ply"), kMirelCompareNotWritten);
  EXPECT_EQ(errno, ENOENT);
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_EQ(write("/dev/full"), kMirelCompareNotWritten);
    EXPECT_EQ(errno, ENOSPC);
  }
}

}  // namespace
}  // namespace mirel::compare::test
