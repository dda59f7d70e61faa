// Which triangles of the original may have a point whose own point lies on a free face (free_surface.h): it is no
// farther away than the gap there.
//
// Beyond an edge of the face that is no more than the gap along the edge, unless gaps change steeply. Where gaps differ
// from corner to corner, the reach does too: around a large star, whose faces meet in a corner without a gap, that
// alone tells the triangles of one from those of all. Errs on the side of triangles that have no such point.
#pragma once

#include <array>

#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

class FaceReach {
 public:
  using Triangle = std::array<Vec, 3>;

  // rounding: what coordinates may be off by.
  FaceReach(Triangle const& corners, std::array<float, 3> const& gaps, double rounding);

  // The box of all such points.
  Vec low() const { return low_; }
  Vec high() const { return high_; }
  // Whether the triangle has none, as far as the largest gaps tell.
  bool excludes(Triangle const& triangle) const;
  // Whether it has none, as the gaps at the places themselves tell; asked of those that are left.
  bool excludes_by_place(Triangle const& triangle) const;

 private:
  using Values = std::array<double, 3>;  // at the corners of a triangle
  // The gap somewhere near: linear.
  struct Reach {
    Vec slope;
    double at_corner = 0;
    bool known = false;
  };
  struct Side {
    Vec inwards;
    double beyond = 0;  // the gap along the edge
    Reach reach;        // from the corner before the edge
  };

  void measure_side(std::size_t k, std::array<float, 3> const& gaps);
  void measure_rise(std::array<float, 3> const& gaps);
  double doubt(Triangle const& triangle) const;
  Values sides_of(Triangle const& triangle, std::size_t k) const;
  Values heights_of(Triangle const& triangle) const;
  bool leads_away(Values const& values, double doubt) const;

  Triangle corners_;
  std::array<Vec, 3> edges_;
  std::array<double, 3> lengths_{};
  double rounding_;
  double reach_;
  double size_ = 0;
  Vec low_, high_;
  bool has_plane_ = false;
  Vec normal_;
  double area_ = 0;  // twice
  double turn_ = 0;  // what rounding may turn the normal by: more for slivers
  std::array<Side, 3> sides_;
  std::size_t apex_ = 0;  // the corner of the least gap
  Reach rise_;            // from there
};

}  // namespace mirel::engine
