#include "standalone/model/shear.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "standalone/model/scene.h"

namespace mirel::model {

namespace {

// Readers compare in single precision.
constexpr double kRightAngle = 1e-6;
constexpr int kMostSweeps = 30;
// Of an axis without length, beside the longest: far below what single precision tells of the scene.
constexpr double kThickness = 1e-9;

struct Matrix3 {
  double at[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // by columns
};

double dot(double const a[3], double const b[3]) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

bool has_right_angles(Matrix3 const& axes) {
  for (auto const& [a, b] : {std::pair(0, 1), std::pair(0, 2), std::pair(1, 2)}) {
    double const lengths = std::sqrt(dot(axes.at[a], axes.at[a]) * dot(axes.at[b], axes.at[b]));
    if (std::abs(dot(axes.at[a], axes.at[b])) > kRightAngle * lengths) {
      return false;
    }
  }
  return true;
}

// Turns two columns of both matrices so that those of the first come to stand at right angles.
void turn(Matrix3& axes, Matrix3& turned, int a, int b) {
  double const mixed = dot(axes.at[a], axes.at[b]);
  if (mixed == 0) {
    return;
  }
  double const ratio = (dot(axes.at[b], axes.at[b]) - dot(axes.at[a], axes.at[a])) / (2 * mixed);
  double const tangent = (ratio < 0 ? -1 : 1) / (std::abs(ratio) + std::sqrt(1 + ratio * ratio));
  double const cosine = 1 / std::sqrt(1 + tangent * tangent);
  double const sine = cosine * tangent;
  for (Matrix3* const matrix : {&axes, &turned}) {
    for (int row = 0; row < 3; ++row) {
      double const x = matrix->at[a][row];
      double const y = matrix->at[b][row];
      matrix->at[a][row] = cosine * x - sine * y;
      matrix->at[b][row] = sine * x + cosine * y;
    }
  }
}

double length_of(double const axis[3]) {
  return std::hypot(axis[0], axis[1], axis[2]);
}

// Makes the axis a unit vector at right angles to the unit vectors of `others`.
void stand_upright(double axis[3], double const others[][3], int count) {
  if (count == 2) {
    for (int row = 0; row < 3; ++row) {
      axis[row] =
          others[0][(row + 1) % 3] * others[1][(row + 2) % 3] - others[0][(row + 2) % 3] * others[1][(row + 1) % 3];
    }
  } else {
    // What is left of the direction that is the least like the other one.
    int least = 0;
    for (int row = 1; row < 3 && count == 1; ++row) {
      least = std::abs(others[0][row]) < std::abs(others[0][least]) ? row : least;
    }
    for (int row = 0; row < 3; ++row) {
      axis[row] = (row == least ? 1.0 : 0.0) - (count == 1 ? others[0][least] * others[0][row] : 0.0);
    }
  }
  double const length = length_of(axis);
  for (int row = 0; row < 3; ++row) {
    axis[row] /= length;
  }
}

}  // namespace

SUTransformation with_thickness(SUTransformation const& transform) {
  double directions[3][3];
  double lengths[3];
  for (int column = 0; column < 3; ++column) {
    lengths[column] = length_of(transform.values + column * 4);
  }
  double const longest = std::max({lengths[0], lengths[1], lengths[2]});
  double const least = (longest > 0 ? longest : 1.0) * kThickness;
  if (!std::isfinite(longest) || std::min({lengths[0], lengths[1], lengths[2]}) >= least) {
    return transform;
  }
  SUTransformation result = transform;
  int count = 0;
  for (int column = 0; column < 3; ++column) {
    if (lengths[column] >= least) {
      for (int row = 0; row < 3; ++row) {
        directions[count][row] = transform.values[column * 4 + row] / lengths[column];
      }
      ++count;
    }
  }
  for (int column = 0; column < 3; ++column) {
    if (lengths[column] < least) {
      stand_upright(directions[count], directions, count);
      for (int row = 0; row < 3; ++row) {
        result.values[column * 4 + row] = directions[count][row] * least;
      }
      ++count;
    }
  }
  return result;
}

SplitTransform split_shear(SUTransformation const& transform) {
  SplitTransform result = {false, transform, kIdentity};
  Matrix3 axes;
  for (int column = 0; column < 3; ++column) {
    for (int row = 0; row < 3; ++row) {
      axes.at[column][row] = transform.values[column * 4 + row];
      if (!std::isfinite(axes.at[column][row])) {
        return result;
      }
    }
  }
  if (has_right_angles(axes)) {
    return result;
  }
  // One-sided Jacobi: M V = U S, so M = (U S) V transposed.
  Matrix3 turned;
  for (int sweep = 0; sweep < kMostSweeps && !(sweep > 3 && has_right_angles(axes)); ++sweep) {
    turn(axes, turned, 0, 1);
    turn(axes, turned, 0, 2);
    turn(axes, turned, 1, 2);
  }
  result.is_split = true;
  for (int column = 0; column < 3; ++column) {
    for (int row = 0; row < 3; ++row) {
      result.outer.values[column * 4 + row] = axes.at[column][row];
      result.inner.values[column * 4 + row] = turned.at[row][column];
    }
  }
  return result;
}

}  // namespace mirel::model
