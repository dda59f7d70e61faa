// Transformation matrices in the order of the host's Transformation#to_a: 16 doubles, column-major, translation in
// places 12 to 14. The bottom row (3, 7, 11, 15) is carried along and never used.
#pragma once

#include <ruby.h>

// Reads 16 numbers from a Ruby Array into `matrix`. Raises TypeError for anything but an Array and for an entry that
// is missing or no number; the entries before it are stored then.
void getMatrix(VALUE array, double* matrix);

// Sets places 0, 5, 10 and 15 to 1 and touches nothing else: zero the matrix first.
void getIdentityMatrix(double* matrix);

// Transforms the three floats of `point` in place: double precision, summed from left to right, narrowed at the end.
inline void matrixMultiply(float* point, double const* matrix) {
  double const x = static_cast<double>(point[0]);
  double const y = static_cast<double>(point[1]);
  double const z = static_cast<double>(point[2]);
  for (int row = 0; row < 3; ++row) {
    point[row] = static_cast<float>(((matrix[row] * x + matrix[row + 4] * y) + matrix[row + 8] * z) + matrix[row + 12]);
  }
}
