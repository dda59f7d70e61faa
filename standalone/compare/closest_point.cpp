#include "standalone/compare/closest_point.h"

#include <algorithm>

namespace mirel::compare {

using engine::Vec;

namespace {

Vec closest_point_of_segment(Vec p, Vec a, Vec b) {
  Vec const ab = b - a;
  double const squared = dot(ab, ab);
  double const t = squared > 0 ? std::clamp(dot(p - a, ab) / squared, 0.0, 1.0) : 0;
  return a + t * ab;
}

}  // namespace

Vec closest_point_of_triangle(Vec p, Vec a, Vec b, Vec c) {
  Vec const ab = b - a;
  Vec const ac = c - a;
  Vec const bc = c - b;
  Vec const n = cross(ab, ac);
  double const nn = dot(n, n);
  double const longest = std::max({dot(ab, ab), dot(ac, ac), dot(bc, bc)});
  if (nn > 1e-14 * longest * longest) {
    Vec const ap = p - a;
    double const v = dot(cross(ap, ac), n);
    double const w = dot(cross(ab, ap), n);
    if (v >= 0 && w >= 0 && nn - v - w >= 0) return a + (v / nn) * ab + (w / nn) * ac;
  }
  Vec best = a;
  double best_squared = dot(p - a, p - a);
  auto const consider = [&](Vec q) {
    double const squared = dot(p - q, p - q);
    if (squared < best_squared) {
      best = q;
      best_squared = squared;
    }
  };
  consider(closest_point_of_segment(p, a, b));
  consider(closest_point_of_segment(p, b, c));
  consider(closest_point_of_segment(p, c, a));
  return best;
}

}  // namespace mirel::compare
