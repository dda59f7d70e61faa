#include "src/preview/transform.h"

void getMatrix(VALUE array, double* matrix) {
  rb_check_type(array, T_ARRAY);
  for (long place = 0; place < 16; ++place) {
    matrix[place] = rb_num2dbl(rb_ary_entry(array, place));
  }
}

void getIdentityMatrix(double* matrix) {
  for (int place = 0; place < 16; place += 5) {
    matrix[place] = 1.0;
  }
}
