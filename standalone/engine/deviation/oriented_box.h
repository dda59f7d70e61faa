// A box that lies along its triangles, for groups of slivers: boxes parallel to the axes overlap where slivers are
// oblique, such as those that fan out from one vertex, so that a search in them meets nearly all of the fan.
//
// Distances to it are never larger than those to what it holds. Model units.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

class OrientedBox {
 public:
  // Around triangles of nine coordinates each: along their longest edges, flat across their normals.
  explicit OrientedBox(std::span<float const> corners) {
    Vec along;
    Vec up;
    for (std::size_t i = 0; i < corners.size(); i += 9) {
      Vec const a = load(&corners[i]);
      Vec const b = load(&corners[i + 3]);
      Vec const c = load(&corners[i + 6]);
      Vec const edges[] = {b - a, c - b, a - c};
      Vec const longest =
          *std::max_element(std::begin(edges), std::end(edges), [](Vec l, Vec r) { return dot(l, l) < dot(r, r); });
      Vec const normal = cross(edges[0], edges[1]);
      along = along + (dot(along, longest) < 0 ? -1.0 : 1.0) * longest;
      up = up + (dot(up, normal) < 0 ? -1.0 : 1.0) * normal;
    }
    axes_[0] = unit(along, {1, 0, 0});
    Vec const across = cross(up, axes_[0]);
    Vec const any = std::abs(axes_[0].x) < 0.7 ? Vec{1, 0, 0} : Vec{0, 1, 0};
    axes_[1] = unit(across, unit(cross(any, axes_[0]), {0, 0, 1}));
    axes_[2] = cross(axes_[0], axes_[1]);
    for (std::size_t k = 0; k < 3; ++k) {
      double low = std::numeric_limits<double>::infinity();
      double high = -low;
      for (std::size_t i = 0; i < corners.size(); i += 3) {
        double const place = dot(axes_[k], load(&corners[i]));
        low = std::min(low, place);
        high = std::max(high, place);
      }
      middle_[k] = low / 2 + high / 2;
      half_[k] = high / 2 - low / 2;
    }
  }

  double half_area() const { return 4 * (half_[0] * half_[1] + half_[1] * half_[2] + half_[2] * half_[0]); }

  // A little less than the squared distance: the axes are rounded.
  double squared_distance(Vec p) const {
    double sum = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      double const beyond = std::max(std::abs(dot(axes_[k], p) - middle_[k]) - half_[k], 0.0);
      sum += beyond * beyond;
    }
    return (1 - 1e-12) * sum;
  }

 private:
  static Vec unit(Vec v, Vec otherwise) {
    double const size = length(v);
    return size > 0 && std::isfinite(size) ? (1 / size) * v : otherwise;
  }

  std::array<Vec, 3> axes_;
  std::array<double, 3> middle_{};
  std::array<double, 3> half_{};
};

}  // namespace mirel::engine
