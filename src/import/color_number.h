// The rounding of colour components on their way to the host's integers.
#pragma once

#include <limits>

// Truncates toward zero. What no int can hold (NaN too) becomes the lowest int, so that the conversion is defined.
inline int truncateToInt(double value) {
  bool const fits = value > -2147483649.0 && value < 2147483648.0;
  return fits ? static_cast<int>(value) : std::numeric_limits<int>::min();
}
