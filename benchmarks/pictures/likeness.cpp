#include "benchmarks/pictures/likeness.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mirel::pictures {

namespace {

constexpr int kRadius = 5;
constexpr double kSigma = 1.5;
constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
constexpr double kC2 = 0.03 * 255 * 0.03 * 255;

using Plane = std::vector<double>;

std::array<double, 2 * kRadius + 1> gaussian() {
  std::array<double, 2 * kRadius + 1> weights{};
  for (int i = -kRadius; i <= kRadius; ++i) {
    weights[static_cast<std::size_t>(i + kRadius)] = std::exp(-i * i / (2 * kSigma * kSigma));
  }
  return weights;
}

// Along one axis: `step` from a pixel to the next of a line, `next_line` from a line to the next.
void blur_lines(Plane& plane, std::size_t length, std::size_t lines, std::size_t step, std::size_t next_line) {
  static std::array<double, 2 * kRadius + 1> const kWeights = gaussian();
  std::vector<double> line(length);
  for (std::size_t l = 0; l < lines; ++l) {
    double* const first = plane.data() + l * next_line;
    for (std::size_t i = 0; i < length; ++i) line[i] = first[i * step];
    for (std::size_t i = 0; i < length; ++i) {
      std::size_t const begin = i < kRadius ? kRadius - i : 0;
      std::size_t const end = std::min<std::size_t>(2 * kRadius + 1, length + kRadius - i);
      double sum = 0;
      double weight = 0;
      for (std::size_t k = begin; k < end; ++k) {
        sum += kWeights[k] * line[i + k - kRadius];
        weight += kWeights[k];
      }
      first[i * step] = sum / weight;
    }
  }
}

Plane blurred(Plane plane, Picture const& picture) {
  blur_lines(plane, picture.width, picture.height, 1, picture.width);
  blur_lines(plane, picture.height, picture.width, picture.width, 1);
  return plane;
}

Plane brightness(Picture const& picture) {
  Plane plane(picture.pixels());
  for (std::size_t i = 0; i < plane.size(); ++i) {
    float const* const p = picture.rgb.data() + 3 * i;
    plane[i] = 0.299 * double{p[0]} + 0.587 * double{p[1]} + 0.114 * double{p[2]};
  }
  return plane;
}

Plane product(Plane const& a, Plane const& b) {
  Plane result(a.size());
  std::transform(a.begin(), a.end(), b.begin(), result.begin(), [](double x, double y) { return x * y; });
  return result;
}

}  // namespace

Likeness likeness(Picture const& a, Picture const& b) {
  Plane const x = brightness(a);
  Plane const y = brightness(b);
  Plane const mean_x = blurred(x, a);
  Plane const mean_y = blurred(y, a);
  Plane const square_x = blurred(product(x, x), a);
  Plane const square_y = blurred(product(y, y), a);
  Plane const cross = blurred(product(x, y), a);
  Likeness result;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (a.covered[i] == 0 && b.covered[i] == 0) continue;
    ++result.pixels;
    for (std::size_t k = 0; k < 3; ++k) result.difference += double{std::abs(a.rgb[3 * i + k] - b.rgb[3 * i + k])} / 3;
    double const mx = mean_x[i];
    double const my = mean_y[i];
    double const vx = square_x[i] - mx * mx;
    double const vy = square_y[i] - my * my;
    double const vxy = cross[i] - mx * my;
    result.similarity += (2 * mx * my + kC1) * (2 * vxy + kC2) / ((mx * mx + my * my + kC1) * (vx + vy + kC2));
  }
  if (result.pixels == 0) return {0, 1, 0};
  result.difference /= static_cast<double>(result.pixels);
  result.similarity /= static_cast<double>(result.pixels);
  return result;
}

}  // namespace mirel::pictures
