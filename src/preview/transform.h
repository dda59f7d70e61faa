// Transformations as 16 doubles in the host's order: column-major, places 0 to 2, 4 to 6 and 8 to 10 the images of
// the axes, 12 to 14 the translation. Places 3, 7, 11 and 15 are read and never used.
#pragma once

#include <ruby.h>

// Reads 16 numbers from a Ruby Array. Raises TypeError for anything but an Array and for a missing entry or one that
// is no number; `matrix` then holds the entries before it.
void getMatrix(VALUE array, double* matrix);

// Transforms `point` (3 floats) in place, in double precision, without a homogeneous division.
void matrixMultiply(float* point, double const* matrix);

// Sets the diagonal to 1 and nothing else: the caller zeroes the matrix first.
void getIdentityMatrix(double* matrix);
