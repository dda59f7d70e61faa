// The measures and the renderer of the picture benchmark, on answers that are known.
#include <gtest/gtest.h>

#include <cmath>

#include "benchmarks/pictures/likeness.h"
#include "benchmarks/pictures/renderer.h"

namespace mirel::pictures {
namespace {

constexpr double kC1 = 6.5025;   // (0.01 * 255)^2
constexpr double kC2 = 58.5225;  // (0.03 * 255)^2

template <typename Value>
Picture picture(std::uint32_t size, Value value) {
  Picture result;
  result.width = size;
  result.height = size;
  for (std::uint32_t y = 0; y < size; ++y) {
    for (std::uint32_t x = 0; x < size; ++x) {
      for (int k = 0; k < 3; ++k) result.rgb.push_back(static_cast<float>(value(x, y)));
      result.covered.push_back(1);
    }
  }
  return result;
}

TEST(Likeness, OfAPictureWithItselfIsOne) {
  Picture const a = picture(32, [](auto x, auto y) { return (x * 7 + y * 13) % 256; });
  Likeness const result = likeness(a, a);
  EXPECT_EQ(result.difference, 0);
  EXPECT_NEAR(result.similarity, 1, 1e-12);
  EXPECT_EQ(result.pixels, 1024U);
}

TEST(Likeness, OfTwoPlainPicturesIsThatOfTheirBrightness) {
  Likeness const result =
      likeness(picture(24, [](auto, auto) { return 100; }), picture(24, [](auto, auto) { return 140; }));
  EXPECT_NEAR(result.difference, 40, 1e-9);
  EXPECT_NEAR(result.similarity, (2 * 100.0 * 140 + kC1) / (100.0 * 100 + 140.0 * 140 + kC1), 1e-9);
}

TEST(Likeness, OfAPictureAndItsNegativeIsNegative) {
  // A fine checkerboard: every window has nearly the mean 128 and the variance 100^2; the negative has the covariance
  // -100^2.
  auto const board = [](int sign) {
    return picture(64, [sign](auto x, auto y) { return 128 + sign * ((x + y) % 2 == 0 ? 100 : -100); });
  };
  double const structure = (-2 * 1e4 + kC2) / (2 * 1e4 + kC2);
  EXPECT_NEAR(likeness(board(1), board(-1)).similarity, structure, 0.01);
  EXPECT_NEAR(likeness(board(1), board(-1)).difference, 200, 1e-6);
}

TEST(Likeness, LooksAtCoveredPixelsOnly) {
  Picture a = picture(24, [](auto, auto) { return 50; });
  Picture b = picture(24, [](auto x, auto) { return x < 12 ? 50 : 250; });
  a.covered.assign(a.covered.size(), 0);
  b.covered = a.covered;
  for (std::uint32_t y = 0; y < 24; ++y) a.covered[24 * y] = 1;
  EXPECT_EQ(likeness(a, b).pixels, 24U);
  EXPECT_EQ(likeness(a, b).difference, 0);
  for (std::uint32_t y = 0; y < 24; ++y) b.covered[24 * y + 23] = 1;
  EXPECT_EQ(likeness(a, b).pixels, 48U);
  EXPECT_NEAR(likeness(a, b).difference, 100, 1e-9);
  b.covered.assign(b.covered.size(), 0);
  a.covered = b.covered;
  EXPECT_EQ(likeness(a, b).similarity, 1);
}

// A square of two faces in the plane z = 0, from -1 to 1, with the texture once over it.
TexturedMesh square(float normal_x, float normal_z) {
  TexturedMesh mesh;
  mesh.positions = {-1, -1, 0, 1, -1, 0, 1, 1, 0, -1, 1, 0};
  for (int i = 0; i < 4; ++i) mesh.normals.insert(mesh.normals.end(), {normal_x, 0, normal_z});
  mesh.uvs = {0, 0, 1, 0, 1, 1, 0, 1};
  mesh.faces = {0, 1, 2, 0, 2, 3};
  mesh.textures = {0, 0};
  return mesh;
}

float red(Picture const& picture, std::uint32_t x, std::uint32_t y) {
  return picture.rgb[3 * (std::size_t{y} * picture.width + x)];
}

TEST(Renderer, PutsTheTextureWhereItsUvsAre) {
  // Dark above left, then brighter.
  Texture const texture{2, 2, {0, 0, 0, 80, 80, 80, 160, 160, 160, 240, 240, 240}};
  Camera camera;
  camera.reach = 1;
  Picture const seen = draw(square(0, 1), std::vector{texture}, camera, 40);
  float const light = seen.rgb[3 * (30 * 40 + 30)] / 240;
  EXPECT_NEAR(red(seen, 10, 10), 0, 10);
  EXPECT_NEAR(red(seen, 30, 10), 80 * light, 10);
  EXPECT_NEAR(red(seen, 10, 30), 160 * light, 10);
  EXPECT_EQ(std::count(seen.covered.begin(), seen.covered.end(), 1), 1600);
}

TEST(Renderer, CoversWhatIsThereAndNoMore) {
  Texture const white{1, 1, {255, 255, 255}};
  Camera camera;
  camera.reach = 2;
  Picture const seen = draw(square(0, 1), std::vector{white}, camera, 40);
  EXPECT_EQ(std::count(seen.covered.begin(), seen.covered.end(), 1), 400);
  EXPECT_EQ(red(seen, 5, 5), red(seen, 35, 35));
  EXPECT_GT(red(seen, 20, 20), red(seen, 5, 5));
}

TEST(Renderer, LightsByTheNormals) {
  Texture const white{1, 1, {255, 255, 255}};
  Camera camera;
  // The light comes from (-0.5, 0.6, 1).
  double const towards = 1 / std::sqrt(1 + 0.25 + 0.36);
  Picture const straight = draw(square(0, 1), std::vector{white}, camera, 20);
  EXPECT_NEAR(red(straight, 10, 10), 255 * (0.3 + 0.7 * towards), 0.1);
  Picture const turned = draw(square(1, 0), std::vector{white}, camera, 20);
  EXPECT_NEAR(red(turned, 10, 10), 255 * 0.3, 0.1);
  camera.towards = {0, 0, -1};
  Picture const behind = draw(square(0, 1), std::vector{white}, camera, 20);
  EXPECT_NEAR(red(behind, 10, 10), 255 * (0.3 + 0.7 * towards), 0.1);
}

TEST(Renderer, ShowsWhatIsInFront) {
  TexturedMesh mesh = square(0, 1);
  for (std::uint32_t i = 0; i < 4; ++i) {
    mesh.positions.insert(mesh.positions.end(), {mesh.positions[3 * i] / 2, mesh.positions[3 * i + 1] / 2, 0.5F});
    mesh.normals.insert(mesh.normals.end(), {0, 0, 1});
    mesh.uvs.insert(mesh.uvs.end(), {0, 0});
  }
  mesh.faces.insert(mesh.faces.begin(), {4, 5, 6, 4, 6, 7});
  mesh.textures = {1, 1, 0, 0};
  Texture const white{1, 1, {255, 255, 255}};
  Texture const black{1, 1, {0, 0, 0}};
  Camera camera;
  Picture const front = draw(mesh, std::vector{white, black}, camera, 20);
  EXPECT_EQ(red(front, 10, 10), 0);
  EXPECT_GT(red(front, 2, 2), 100);
  camera.towards = {0, 0, -1};
  EXPECT_GT(red(draw(mesh, std::vector{white, black}, camera, 20), 10, 10), 70);
}

}  // namespace
}  // namespace mirel::pictures
