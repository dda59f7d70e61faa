// How far one edge collapse takes the surface around it, without a look at the original: the old faces of the two stars
// and the new fan, both projected along the fan's normal.
//
// Where neither folds over in that projection and both have the same rim, they lie over the same polygon, each point of
// one straight above or below a point of the other. The old surface has a gap from a third one, the original, at each
// of its points: how far its own point there is, at most, given at vertices and interpolated between them. A gap at the
// new vertex bounds that of the new surface when, at all points, the gap interpolated from it is no less than the old
// one and the height between the surfaces together. On the pieces of their overlay all of these are linear, so that the
// vertices of either and the crossings of edges tell. What lies on the rim, and so all around, keeps its gap.
// A related method: Cohen, Manocha and Olano 1997, "Simplifying polygonal models using successive mappings".
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>

#include "standalone/engine/deviation/vec.h"

namespace mirel::engine {

using Point = std::array<float, 3>;

class StarStep {
 public:
  static constexpr std::size_t kMostFaces = 60;

  // Both stars before a collapse of the edge between them, and what becomes of their faces.
  struct Face {
    std::array<Point, 3> corners;  // as they will be; of a face that goes: as they are
    std::array<float, 3> gaps;     // at the corners as they are
    std::uint8_t moving;           // the corner that moves, which is at `from` now
    Point from;
  };

  // The gap at the new vertex: `kept` are the faces that stay, `gone` those that vanish. Infinity where that is more
  // than `most`, or cannot be told: an open or irregular star, a fold.
  double measure(std::span<Face const> kept, std::span<Face const> gone, double most);

 private:
  struct Flat {
    double x, y, z;
    double gap;
  };
  bool order_ring(std::span<Face const> kept);
  bool project(std::span<Face const> kept, std::span<Face const> gone);
  Flat flatten(Point const& p, float gap) const;

  std::size_t count_ = 0;
  Point place_{};
  Vec normal_, axis_x_, axis_y_;
  double extent_ = 0;
  bool has_needles_ = false;                     // old or new faces
  std::array<std::uint8_t, kMostFaces> next_{};  // per new face, the one behind its second edge at the new vertex
  std::array<Flat, kMostFaces> ring_{};          // per new face, its corner after the new vertex
  std::array<double, kMostFaces> wedge_{};       // twice the area of the new faces in the projection
  std::array<Flat, 2> ends_{};
  std::array<std::array<std::uint8_t, 3>, kMostFaces + 2> old_{};  // corners of old faces: ring, then the two ends
  std::size_t old_count_ = 0;
  std::array<std::uint64_t, 2> spokes_{};  // of the ends: to which corners
};

}  // namespace mirel::engine
