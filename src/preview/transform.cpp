#include "src/preview/transform.h"

void getMatrix(VALUE array, double* matrix) {
  if (!RB_TYPE_P(array, T_ARRAY)) {
    rb_check_type(array, T_ARRAY);
  }
  for (long place = 0; place < 16; ++place) {
    matrix[place] = rb_num2dbl(rb_ary_entry(array, place));
  }
}

void matrixMultiply(float* point, double const* matrix) {
  double const x = static_cast<double>(point[0]);
  double const y = static_cast<double>(point[1]);
  double const z = static_cast<double>(point[2]);
  for (int row = 0; row < 3; ++row) {
    // The order of the sum is part of the result.
    point[row] = static_cast<float>(((matrix[row] * x + matrix[row + 4] * y) + matrix[row + 8] * z) + matrix[row + 12]);
  }
}

void getIdentityMatrix(double* matrix) {
  for (int place = 0; place < 16; place += 5) {
    matrix[place] = 1.0;
  }
}
