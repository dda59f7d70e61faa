#include "standalone/fbx/transform.h"

#include <cmath>
#include <numbers>

namespace mirel::fbx {
namespace {

// Column-vector matrices here; the result is turned round at the end.
struct Affine {
  double linear[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  double offset[3] = {0, 0, 0};

  void multiply(double const (&m)[3][3]) {
    double product[3][3];
    for (int row = 0; row < 3; ++row) {
      for (int column = 0; column < 3; ++column) {
        product[row][column] =
            linear[row][0] * m[0][column] + linear[row][1] * m[1][column] + linear[row][2] * m[2][column];
      }
    }
    for (int row = 0; row < 3; ++row) {
      for (int column = 0; column < 3; ++column) linear[row][column] = product[row][column];
    }
  }
  void translate(Vector3 const& by, double sign = 1) {
    for (int row = 0; row < 3; ++row) {
      offset[row] += sign * (linear[row][0] * by[0] + linear[row][1] * by[1] + linear[row][2] * by[2]);
    }
  }
  // About axis 0, 1 or 2.
  void turn(int axis, double degrees) {
    if (degrees == 0) return;
    double const radians = degrees * (std::numbers::pi / 180);
    double sine = std::sin(radians);
    double cosine = std::cos(radians);
    // Quarter turns are exact, as people and programs write them.
    double const quarters = degrees / 90;
    if (quarters == std::floor(quarters) && std::abs(quarters) < 1e9) {
      static constexpr double kSines[] = {0, 1, 0, -1};
      auto const quarter = static_cast<unsigned>(static_cast<long long>(quarters) & 3);
      sine = kSines[quarter];
      cosine = kSines[(quarter + 1) & 3];
    }
    int const i = (axis + 1) % 3;
    int const j = (axis + 2) % 3;
    double m[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    m[axis][axis] = 1;
    m[i][i] = cosine;
    m[j][j] = cosine;
    m[i][j] = -sine;
    m[j][i] = sine;
    multiply(m);
  }
  void rotate(Vector3 const& degrees, RotationOrder order) {
    // The axis that turns first stands first; the last one is the outermost.
    static constexpr int kAxes[][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}, {0, 1, 2}};
    int const(&axes)[3] = kAxes[static_cast<int>(order)];
    for (int k = 2; k >= 0; --k) turn(axes[k], degrees[static_cast<std::size_t>(axes[k])]);
  }
  void rotate_back(Vector3 const& degrees) {
    for (int axis = 0; axis < 3; ++axis) turn(axis, -degrees[static_cast<std::size_t>(axis)]);
  }
  void scale(Vector3 const& by) {
    for (auto& row : linear) {
      for (int column = 0; column < 3; ++column) row[column] *= by[static_cast<std::size_t>(column)];
    }
  }
};

}  // namespace

fbxsdk::FbxAMatrix local_matrix(Transform const& transform) {
  Affine matrix;
  matrix.translate(transform.translation);
  matrix.translate(transform.rotation_offset);
  matrix.translate(transform.rotation_pivot);
  if (transform.rotation_active) {
    matrix.rotate(transform.pre_rotation, RotationOrder::kXyz);
    matrix.rotate(transform.rotation, transform.order);
    matrix.rotate_back(transform.post_rotation);
  } else {
    matrix.rotate(transform.rotation, RotationOrder::kXyz);
  }
  matrix.translate(transform.rotation_pivot, -1);
  matrix.translate(transform.scaling_offset);
  matrix.translate(transform.scaling_pivot);
  matrix.scale(transform.scaling);
  matrix.translate(transform.scaling_pivot, -1);
  fbxsdk::FbxAMatrix result;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) result[column][row] = matrix.linear[row][column];
    result[3][row] = matrix.offset[row];
  }
  return result;
}

fbxsdk::FbxAMatrix product(fbxsdk::FbxAMatrix const& first, fbxsdk::FbxAMatrix const& second) {
  fbxsdk::FbxAMatrix result;
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      double sum = 0;
      for (int k = 0; k < 4; ++k) sum += first[row][k] * second[k][column];
      result[row][column] = sum;
    }
  }
  return result;
}

}  // namespace mirel::fbx
