// One triangle prepared for many distance tests: an orthonormal frame with the longest edge as its first axis.
//
// In the frame the triangle is A = (0, 0), B = (bx, 0), C = (cx, cy) with cy >= 0; `edge_distance` is the signed
// distance to the plane through an edge at right angles to the triangle, positive inside. The three planes bound
// the prism of the points that project into the triangle.
//
// A triangle whose height is below 10^-7 of its longest edge has no usable normal: it counts as its longest edge and
// its two others, so that the distance is never too small (too large by its height at most). Coordinates and
// distances in model units; rounding is below 10^-14 of the coordinates.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "standalone/engine/deviation/local_face.h"
#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

// Squared distance from p to the segment ab; a == b is a point.
inline double squared_distance_to_segment(Vec p, Vec a, Vec b) {
  Vec const d = b - a;
  Vec const q = p - a;
  double const dd = dot(d, d);
  double const t = dd > 0 ? std::clamp(dot(q, d) / dd, 0.0, 1.0) : 0.0;
  Vec const r = q - t * d;
  return dot(r, r);
}

class TriangleFrame {
 public:
  TriangleFrame() = default;
  TriangleFrame(Vec p0, Vec p1, Vec p2) {
    std::array<Vec, 3> const p{p0, p1, p2};
    std::array<double, 3> squared{};
    for (std::size_t k = 0; k < 3; ++k) {
      Vec const e = p[(k + 1) % 3] - p[k];
      squared[k] = dot(e, e);
    }
    std::size_t const longest =
        static_cast<std::size_t>(std::max_element(squared.begin(), squared.end()) - squared.begin());
    a_ = p[longest];
    b_ = p[(longest + 1) % 3];
    c_ = p[(longest + 2) % 3];
    bx_ = std::sqrt(squared[longest]);
    if (!(bx_ > 0)) return;
    axis_x_ = (1 / bx_) * (b_ - a_);
    Vec const to_c = c_ - a_;
    cx_ = dot(to_c, axis_x_);
    Vec const height = to_c - cx_ * axis_x_;
    cy_ = length(height);
    has_plane_ = cy_ > 1e-7 * bx_;
    if (!has_plane_) return;
    // The height once more at right angles to the first axis: the first pass leaves a remainder on slivers.
    Vec y = (1 / cy_) * height;
    y = y - dot(y, axis_x_) * axis_x_;
    axis_y_ = (1 / length(y)) * y;
    normal_ = cross(axis_x_, axis_y_);
    cy_ = dot(to_c, axis_y_);
    double const bc = std::sqrt((cx_ - bx_) * (cx_ - bx_) + cy_ * cy_);
    double const ca = std::sqrt(cx_ * cx_ + cy_ * cy_);
    inward_[0] = {0, 1, 0};
    inward_[1] = {-cy_ / bc, (cx_ - bx_) / bc, cy_ * bx_ / bc};
    inward_[2] = {cy_ / ca, -cx_ / ca, 0};
  }

  // False for a triangle that counts as its edges only.
  bool has_plane() const { return has_plane_; }

  // Squared distance from p; infinity instead where it is seen early to be beyond `limit`.
  double squared_distance(Vec p, double limit = std::numeric_limits<double>::infinity()) const {
    if (!has_plane_) {
      return std::min({squared_distance_to_segment(p, a_, b_), squared_distance_to_segment(p, b_, c_),
                       squared_distance_to_segment(p, c_, a_)});
    }
    constexpr double kBeyond = std::numeric_limits<double>::infinity();
    Vec const q = p - a_;
    double const z = dot(q, normal_);
    if (std::fabs(z) > limit) return kBeyond;
    double const x = dot(q, axis_x_);
    double const y = dot(q, axis_y_);
    double const bc = inward_[1].x * x + inward_[1].y * y + inward_[1].offset;
    double const ca = inward_[2].x * x + inward_[2].y * y;
    double const least = std::min({y, bc, ca});
    if (least < -limit) return kBeyond;
    // The nearest point of a convex outline lies on an edge that has the point on its outer side. A point within the
    // rounding of an edge counts as outside: measured to the edge, the distance is never too small, however acute
    // the corner.
    double const doubt = 1e-14 * (std::fabs(x) + std::fabs(y) + std::fabs(z) + bx_);
    if (least >= doubt) return z * z;
    double flat = std::numeric_limits<double>::infinity();
    if (y < doubt) flat = flat_segment(x, y, bx_, 0);
    if (bc < doubt) flat = std::min(flat, flat_segment(x - bx_, y, cx_ - bx_, cy_));
    if (ca < doubt) flat = std::min(flat, flat_segment(x, y, cx_, cy_));
    return flat + z * z;
  }

  // Signed distance of p to the side plane of edge 0..2, positive towards the inside. Needs has_plane().
  double edge_distance(std::size_t edge, Vec p) const {
    Vec const q = p - a_;
    Side const& s = inward_[edge];
    return s.x * dot(q, axis_x_) + s.y * dot(q, axis_y_) + s.offset;
  }

  // Whether p projects into the triangle; false without a plane.
  bool projects_inside(Vec p) const {
    return has_plane_ && edge_distance(0, p) >= 0 && edge_distance(1, p) >= 0 && edge_distance(2, p) >= 0;
  }

  // The same in floats, relative to an origin; `slack`: what figures may be off. Needs has_plane().
  LocalFace local(Vec origin, double slack) const {
    auto const narrow = [](double value) { return static_cast<float>(value); };
    auto const put = [&](Vec v, float(&to)[3]) {
      to[0] = narrow(v.x);
      to[1] = narrow(v.y);
      to[2] = narrow(v.z);
    };
    LocalFace face{};
    put(a_ - origin, face.origin);
    put(axis_x_, face.axis_x);
    put(axis_y_, face.axis_y);
    put(normal_, face.normal);
    face.bx = narrow(bx_);
    face.cx = narrow(cx_);
    face.cy = narrow(cy_);
    face.bc_x = narrow(inward_[1].x);
    face.bc_y = narrow(inward_[1].y);
    face.bc_offset = narrow(inward_[1].offset);
    face.ca_x = narrow(inward_[2].x);
    face.ca_y = narrow(inward_[2].y);
    face.inverse_ab = narrow(1 / (bx_ * bx_));
    face.inverse_bc = narrow(1 / ((cx_ - bx_) * (cx_ - bx_) + cy_ * cy_));
    face.inverse_ca = narrow(1 / (cx_ * cx_ + cy_ * cy_));
    face.doubt = narrow(slack);
    return face;
  }

  // The largest distance of a corner from p, in any coordinate.
  double extent_from(Vec p) const {
    double extent = 0;
    for (Vec const& corner : {a_, b_, c_}) {
      Vec const d = corner - p;
      extent = std::max({extent, std::fabs(d.x), std::fabs(d.y), std::fabs(d.z)});
    }
    return extent;
  }

 private:
  struct Side {
    double x = 0, y = 0, offset = 0;
  };

  // Squared distance in the plane from (x, y) to the segment from the origin to (ex, ey).
  static double flat_segment(double x, double y, double ex, double ey) {
    double const t = std::clamp((x * ex + y * ey) / (ex * ex + ey * ey), 0.0, 1.0);
    double const rx = x - t * ex;
    double const ry = y - t * ey;
    return rx * rx + ry * ry;
  }

  Vec a_, b_, c_;
  Vec axis_x_, axis_y_, normal_;
  double bx_ = 0, cx_ = 0, cy_ = 0;
  std::array<Side, 3> inward_;
  bool has_plane_ = false;
};

}  // namespace mirel::engine
