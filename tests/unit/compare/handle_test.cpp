#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/compare/meshes.h"

namespace mirel::compare::test {
namespace {

int create(Mesh const& mesh, std::uint32_t* place = nullptr) {
  MirelCompareMesh* made = nullptr;
  int const status = mirel_compare_mesh_create(mesh.positions.data(), mesh.point_count(), mesh.faces.data(),
                                               mesh.face_count(), &made, place);
  EXPECT_EQ(made != nullptr, status == kMirelCompareOk);
  mirel_compare_mesh_free(made);
  return status;
}

TEST(Handle, IsRefusedWithoutFaces) {
  Mesh mesh = cube();
  mesh.faces.clear();
  EXPECT_EQ(create(mesh), kMirelCompareEmpty);
  EXPECT_EQ(create(Mesh{}), kMirelCompareEmpty);
}

TEST(Handle, NamesTheFaceWithABadIndex) {
  Mesh mesh = cube();
  mesh.faces[3 * 7 + 2] = 8;
  std::uint32_t place = 99;
  EXPECT_EQ(create(mesh, &place), kMirelCompareBadIndex);
  EXPECT_EQ(place, 7U);
  EXPECT_EQ(create(mesh), kMirelCompareBadIndex);
}

TEST(Handle, NamesTheFaceThatIsNotFinite) {
  for (float const bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    Mesh mesh = plane(2, 0);
    mesh.positions[3 * 8 + 1] = bad;  // the last vertex: of the last two faces
    std::uint32_t place = 99;
    EXPECT_EQ(create(mesh, &place), kMirelCompareNotFinite);
    EXPECT_EQ(place, 6U);
  }
}

TEST(Handle, IgnoresPositionsThatNoFaceUses) {
  Mesh mesh = cube();
  mesh.add_point(std::numeric_limits<double>::quiet_NaN(), 0, 0);
  mesh.add_point(100, 0, 0);
  EXPECT_EQ(create(mesh), kMirelCompareOk);
  EXPECT_NEAR(mirel_compare_mesh_diagonal(handle(mesh).get()), std::sqrt(3), 1e-12);
}

TEST(Handle, RefusesNullPointers) {
  Mesh const mesh = cube();
  MirelCompareMesh* made = nullptr;
  EXPECT_EQ(mirel_compare_mesh_create(nullptr, 8, mesh.faces.data(), 12, &made, nullptr), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_mesh_create(mesh.positions.data(), 8, nullptr, 12, &made, nullptr), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_mesh_create(mesh.positions.data(), 8, mesh.faces.data(), 12, nullptr, nullptr),
            kMirelCompareBadArgument);
  mirel_compare_mesh_free(nullptr);
  EXPECT_EQ(mirel_compare_mesh_diagonal(nullptr), 0);
}

TEST(Place, TurnsScalesAndMoves) {
  // A quarter turn about z, twice the size, then 10 along x: (1, 2, 3) goes to (-4 + 10, 2, 6).
  double const transform[16] = {0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 10, 0, 0, 1};
  float points[6] = {1, 2, 3, 0, 0, 0};
  EXPECT_EQ(mirel_compare_place(points, 2, transform, points), kMirelCompareOk);
  EXPECT_EQ((std::vector<float>(points, points + 6)), (std::vector<float>{6, 2, 6, 10, 0, 0}));
  EXPECT_EQ(mirel_compare_place(nullptr, 2, transform, points), kMirelCompareBadArgument);
  EXPECT_EQ(mirel_compare_place(points, 2, nullptr, points), kMirelCompareBadArgument);
}

TEST(Handle, EveryStatusHasItsText) {
  for (int status = kMirelCompareOk; status <= kMirelCompareNotWritten; ++status) {
    EXPECT_STRNE(mirel_compare_status_text(status), mirel_compare_status_text(-1)) << status;
  }
}

}  // namespace
}  // namespace mirel::compare::test
