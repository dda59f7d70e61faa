#include "standalone/fbx/transform.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using fbxsdk::FbxAMatrix;
using mirel::fbx::local_matrix;
using mirel::fbx::RotationOrder;
using mirel::fbx::Transform;
using mirel::fbx::Vector3;

// A point through the matrix, as a row vector.
Vector3 moved(FbxAMatrix const& matrix, Vector3 const& point) {
  Vector3 result;
  for (int k = 0; k < 3; ++k) {
    result[static_cast<std::size_t>(k)] =
        point[0] * matrix.Get(0, k) + point[1] * matrix.Get(1, k) + point[2] * matrix.Get(2, k) + matrix.Get(3, k);
  }
  return result;
}

void expect_near(Vector3 const& wanted, Vector3 const& found) {
  for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(wanted[k], found[k], 1e-12) << "component " << k;
}

TEST(LocalMatrix, MovesTurnsAndScalesInThisOrder) {
  Transform const transform{.translation = {10, 20, 30}, .rotation = {0, 0, 90}, .scaling = {2, 3, 4}};
  // Scaled to (2, 3, 4), turned about Z to (-3, 2, 4), moved.
  expect_near({7, 22, 34}, moved(local_matrix(transform), {1, 1, 1}));
}

TEST(LocalMatrix, StandsInTheLastRow) {
  Transform const transform{.translation = {1, 2, 3}};
  FbxAMatrix const matrix = local_matrix(transform);
  EXPECT_EQ(1, matrix.Get(3, 0));
  EXPECT_EQ(2, matrix.Get(3, 1));
  EXPECT_EQ(3, matrix.Get(3, 2));
  EXPECT_EQ(1, matrix.Get(3, 3));
  EXPECT_EQ(0, matrix.Get(0, 3));
}

// Quarter turns about two axes: which comes first shows where the X axis ends.
TEST(LocalMatrix, KnowsTheSixOrders) {
  struct Case {
    RotationOrder order;
    Vector3 x_axis;
  };
  // The X axis through 90 degrees about X (A), Y (B) and Z (C), in the order of the letters.
  Case const cases[] = {
      {RotationOrder::kXyz, {0, 0, -1}},  // A: x; B: -z; C: -z
      {RotationOrder::kXzy, {0, 1, 0}},   // A: x; C: y; B: y
      {RotationOrder::kYzx, {0, 1, 0}},   // B: -z; C: -z; A: y
      {RotationOrder::kYxz, {-1, 0, 0}},  // B: -z; A: y; C: -x
      {RotationOrder::kZxy, {1, 0, 0}},   // C: y; A: z; B: x
      {RotationOrder::kZyx, {0, 0, 1}},   // C: y; B: y; A: z
  };
  for (Case const& one : cases) {
    SCOPED_TRACE(static_cast<int>(one.order));
    Transform const transform{.rotation = {90, 90, 90}, .order = one.order, .rotation_active = true};
    expect_near(one.x_axis, moved(local_matrix(transform), {1, 0, 0}));
  }
}

TEST(LocalMatrix, TakesSphericRotationAsXyz) {
  Transform transform{.rotation = {10, 20, 30}, .rotation_active = true};
  FbxAMatrix const euler = local_matrix(transform);
  transform.order = RotationOrder::kSphericXyz;
  FbxAMatrix const spheric = local_matrix(transform);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) EXPECT_EQ(euler.Get(row, column), spheric.Get(row, column));
  }
}

TEST(LocalMatrix, TurnsBeforeAndBackBehind) {
  Transform const transform{
      .rotation = {90, 0, 0}, .pre_rotation = {0, 0, 90}, .post_rotation = {0, 90, 0}, .rotation_active = true};
  // The inverse of the post-rotation takes x to z, the rotation that to -y, the pre-rotation that to x.
  expect_near({1, 0, 0}, moved(local_matrix(transform), {1, 0, 0}));
}

TEST(LocalMatrix, LeavesPreAndPostRotationAndOrderOutUnlessActive) {
  Transform const transform{
      .rotation = {90, 90, 90}, .pre_rotation = {0, 0, 90}, .post_rotation = {0, 90, 0}, .order = RotationOrder::kZyx};
  expect_near({0, 0, -1}, moved(local_matrix(transform), {1, 0, 0}));
}

TEST(LocalMatrix, TurnsAboutTheRotationPivot) {
  Transform const transform{.rotation = {0, 0, 180}, .rotation_offset = {0, 0, 5}, .rotation_pivot = {1, 0, 0}};
  expect_near({2, 0, 5}, moved(local_matrix(transform), {0, 0, 0}));
  expect_near({1, 0, 5}, moved(local_matrix(transform), {1, 0, 0}));
}

TEST(LocalMatrix, ScalesAboutTheScalingPivot) {
  Transform const transform{.scaling = {2, 2, 2}, .scaling_offset = {3, 0, 0}, .scaling_pivot = {0, 1, 0}};
  expect_near({3, -1, 0}, moved(local_matrix(transform), {0, 0, 0}));
  expect_near({3, 1, 0}, moved(local_matrix(transform), {0, 1, 0}));
}

TEST(LocalMatrix, HasAllPartsInTheirOrder) {
  Transform const transform{.translation = {1, 2, 3},
                            .rotation = {40, 50, 60},
                            .scaling = {2, -3, 0.5},
                            .rotation_offset = {0.5, 0, 0},
                            .rotation_pivot = {0, 1, 0},
                            .pre_rotation = {10, 20, 30},
                            .post_rotation = {70, 80, 90},
                            .scaling_offset = {0, 0, 2},
                            .scaling_pivot = {1, 1, 1},
                            .rotation_active = true};
  auto const shift = [](Vector3 const& by, double sign) {
    return local_matrix({.translation = {sign * by[0], sign * by[1], sign * by[2]}});
  };
  auto const turn = [](Vector3 const& angles) { return local_matrix({.rotation = angles}); };
  // Row vectors: what acts first stands first.
  FbxAMatrix product = shift(transform.scaling_pivot, -1);
  for (FbxAMatrix const& next :
       {local_matrix({.scaling = transform.scaling}), shift(transform.scaling_pivot, 1),
        shift(transform.scaling_offset, 1), shift(transform.rotation_pivot, -1),
        local_matrix({.post_rotation = transform.post_rotation, .rotation_active = true}), turn(transform.rotation),
        turn(transform.pre_rotation), shift(transform.rotation_pivot, 1), shift(transform.rotation_offset, 1),
        shift(transform.translation, 1)}) {
    product = mirel::fbx::product(product, next);
  }
  FbxAMatrix const matrix = local_matrix(transform);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      EXPECT_NEAR(product.Get(row, column), matrix.Get(row, column), 1e-12) << row << ", " << column;
    }
  }
}

}  // namespace
