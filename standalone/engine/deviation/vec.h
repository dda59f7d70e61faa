// Three doubles with the few operations that the deviation room needs. Coordinates come in as floats; differences of
// floats are formed in double, where they are exact to about one part in 10^16 of the coordinate.
#pragma once

#include <cmath>

namespace mirel::engine {

struct Vec {
  double x = 0, y = 0, z = 0;
};

inline Vec operator+(Vec a, Vec b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec operator-(Vec a, Vec b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec operator*(double s, Vec a) {
  return {s * a.x, s * a.y, s * a.z};
}
inline double dot(Vec a, Vec b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec cross(Vec a, Vec b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(Vec a) {
  return std::sqrt(dot(a, a));
}

template <typename Coordinate>
Vec load(Coordinate const* xyz) {
  return {static_cast<double>(xyz[0]), static_cast<double>(xyz[1]), static_cast<double>(xyz[2])};
}

}  // namespace mirel::engine
