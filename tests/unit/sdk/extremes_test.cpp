// Coordinates and UVs at the ends of the number range.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "tests/unit/sdk/kinds.h"

namespace mirel::engine {
namespace {

struct Sizes {
  float scale = 1;  // of coordinates
  float offset = 0;
  float uv_scale = 1;
  bool jump = false;  // from corner to corner UVs change their sign
};

void add_ball(ab::IMesh& mesh, Sizes const& sizes) {
  Ball const ball;
  ball.each_triangle([&](Three const& r, Three const& s) {
    Three v{};
    Three t{};
    for (std::size_t k = 0; k < 3; ++k) {
      auto const p = ball.direction(r[k], s[k]);
      auto const uv = ball.uv(r[k], s[k]);
      v[k] = mesh.addVertex(p[0] * sizes.scale + sizes.offset, p[1] * sizes.scale + sizes.offset,
                            p[2] * sizes.scale + sizes.offset);
      float const turn = sizes.jump && (r[k] + s[k]) % 2 == 0 ? -1.0F : 1.0F;
      t[k] = mesh.addUV(uv[0] * turn * sizes.uv_scale, (1 - uv[1]) * turn * sizes.uv_scale);
    }
    std::uint32_t const face = mesh.addFace(v[0], v[1], v[2]);
    mesh.setFaceUVIndices(face, t[0], t[1], t[2]);
  });
}

void expect_finite(std::vector<float> const& values) {
  for (float const value : values) {
    ASSERT_TRUE(std::isfinite(value));
  }
}

void expect_reduction(Sizes const& sizes, float tolerance = 0) {
  SCOPED_TRACE(testing::Message() << "scale " << sizes.scale << " offset " << sizes.offset << " UVs "
                                  << sizes.uv_scale);
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  add_ball(*mesh, sizes);
  prepare_and_join(depot);
  std::uint32_t const faces = mesh->getNumFaces();
  EXPECT_EQ(faces, 252U);
  ab::IHierarchy* const ladder = depot->buildHierarchy(tolerance);
  ladder->goToFaceCount(faces / 10);
  EXPECT_LE(mesh->getNumFaces(), faces / 10);
  for (std::uint32_t step = 0; step <= ladder->numSteps(); ++step) {
    ladder->goToStep(step);
    Reading const r = read(*mesh);
    expect_finite(r.vertices);
    expect_finite(r.uvs);
    if (testing::Test::HasFatalFailure()) {
      return;
    }
  }
}

TEST(Extremes, CoordinatesOfAnySizeReduce) {
  for (float const scale : {1.0F, 1e-6F, 1e-20F, 1e-30F, 1e-37F, 1e10F, 1e30F, 1e38F, 3.4e38F}) {
    expect_reduction({.scale = scale});
  }
}

TEST(Extremes, MeshesFarFromTheOriginReduce) {
  expect_reduction({.offset = 1000});
  expect_reduction({.offset = -20000});
  expect_reduction({.scale = 1e15F, .offset = 1e19F});
}

TEST(Extremes, UVsOfAnySizeReduce) {
  for (float const scale : {1e-38F, 1e-20F, 1e-6F, 1e6F, 1e14F, 1e16F, 1e25F, 3e38F, 3.4e38F}) {
    expect_reduction({.uv_scale = scale});
    expect_reduction({.uv_scale = scale, .jump = true});
  }
}

TEST(Extremes, AToleranceMayBeOfAnySize) {
  for (float const scale : {1e-30F, 1.0F, 1e30F}) {
    expect_reduction({.scale = scale}, scale);
  }
  expect_reduction({}, std::numeric_limits<float>::infinity());
  expect_reduction({}, std::numeric_limits<float>::max());
}

// Strips finer than what single precision tells apart at the size of the mesh.
TEST(Extremes, LockedBoundariesStayToTheBitInFineDetailOfAWideMesh) {
  std::uint32_t const size = 14;
  for (std::uint32_t seed = 0; seed < 30; ++seed) {
    std::mt19937 random(seed);
    auto const noise = [&random](float step) { return static_cast<float>(random() % 100) * step; };
    Depot depot;
    ab::IMesh* const mesh = depot.add_mesh();
    for (std::uint32_t i = 0; i < (size + 1) * (size + 1); ++i) {
      float const z = noise(0.02F);
      float const x = static_cast<float>(i % (size + 1)) * 1e-5F * (1 + noise(0.001F));
      mesh->addVertex(x, static_cast<float>(i / (size + 1)) * 10, z);
    }
    for (std::uint32_t i = 0; i < size * size; ++i) {
      std::uint32_t const a = i / size * (size + 1) + i % size;
      mesh->addFace(a, a + 1, a + size + 2);
      mesh->addFace(a, a + size + 2, a + size + 1);
    }
    std::uint32_t const far = mesh->addVertex(1000, 0, 0);
    mesh->addVertex(1001, 0, 0);
    mesh->addVertex(1000, 1, 0);
    mesh->addFace(far, far + 1, far + 2);
    prepare_and_join(depot);

    using PointSet = std::set<std::array<float, 3>>;
    PointSet locked;
    auto const point = [mesh](std::uint32_t vertex) {
      std::array<float, 3> p{};
      mesh->getVertexPosition(vertex, p[0], p[1], p[2]);
      return p;
    };
    for (std::uint32_t f = 0; f < mesh->getNumFaces(); ++f) {
      unsigned char flags[3];
      mesh->getFaceEdgeFlags(f, flags[0], flags[1], flags[2]);
      for (std::size_t k = 0; k < 3; ++k) {
        if (flags[k] == 0x02) {
          locked.insert(point(mesh->getFaces()[f * std::size_t{3} + k]));
          locked.insert(point(mesh->getFaces()[f * std::size_t{3} + (k + 1) % 3]));
        }
      }
    }
    depot->setLockSurfaceBoundaries(true);
    ab::IHierarchy* const ladder = depot->buildHierarchy(0);
    EXPECT_GT(ladder->numSteps(), 100U);
    ladder->goToStep(ladder->numSteps());
    PointSet left;
    for (std::uint32_t v = 0; v < mesh->getNumVertices(); ++v) {
      left.insert(point(v));
    }
    EXPECT_TRUE(std::includes(left.begin(), left.end(), locked.begin(), locked.end())) << "seed " << seed;
  }
}

}  // namespace
}  // namespace mirel::engine
