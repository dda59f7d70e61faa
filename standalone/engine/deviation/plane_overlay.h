// Whether a triangle lies within a radius of a few faces of one surface, seen along one direction: its part straight
// above or below each face has no point farther from that face than the height between them, which is greatest at a
// corner of the part.
//
// The faces' own edges part the triangle, so there is no search and no distance to work out as long as heights are
// small enough. That no point is missed is told by the edges: where faces that show the same side have no edge without
// its mate under the triangle, as many of them lie over each of its points, and one of them over any point is one over
// all. Where there are such edges, as on an open border, what lies beyond their lines is parted from the triangle and
// held against the faces that have them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/piece_cover.h"
#include "standalone/engine/deviation/star_step.h"

namespace mirel::engine {

class PlaneOverlay {
 public:
  // Starts with an empty surface seen along the direction, not zero; coordinates around the origin.
  void start(Vec origin, Vec direction);
  // Adds a face; false for one that shows its back or its edge, which is left out.
  bool add(std::array<Point, 3> const& corners, std::uint32_t face);
  // To be called once after the last face.
  void close();

  // A bound on the distance of any point of the triangle from the faces, infinity if that is not known to be within the
  // radius. `used`: the faces over it.
  double cover(std::array<Vec, 3> const& triangle, double radius, std::vector<std::uint32_t>& used);

 private:
  using Place = Vec;
  struct Face {
    std::array<Place, 3> corners;
    // Of each edge: (x, y) times the normal, plus the offset, is positive inside.
    std::array<double, 3> nx, ny, offset;
    // The height of its plane: along its longest edge, from there to the side.
    std::size_t longest;
    double along, aside;
    std::uint32_t face;
    std::array<Point, 3> points;
  };
  struct Box {
    double low_x, low_y, high_x, high_y;
  };
  struct Edge {
    Place from, to;
    Box box;
    std::uint32_t face;  // of the overlay
    std::uint32_t edge;  // of the face
  };
  struct HashedEdge {
    std::uint32_t stamp = 0;
    std::uint32_t face = 0;
    std::uint32_t edge = 0;
    int balance = 0;
  };
  // Edges of the rim under a triangle, beyond which it is not followed.
  static constexpr std::size_t kMostRim = 8;
  static constexpr std::size_t kMostCorners = 3 + kMostRim + 3;
  struct Polygon {
    std::array<Place, kMostCorners> corners;
    std::size_t count;
    std::span<Place const> span() const { return std::span(corners).first(count); }
  };

  Place place_of(Vec p) const;
  static Box box_of(std::span<Place const> corners);
  bool find_rim(std::array<Place, 3> const& triangle, Box const& box, double area);
  static Polygon const* clip(Polygon const& polygon, Face const& face, std::size_t edge, double least, Polygon& part);
  static double height_over(Face const& face, Place const& p);
  double farthest_from(Face const& face, std::span<Place const> polygon) const;

  Vec origin_, axis_x_, axis_y_, normal_;
  double doubt_ = 0;  // what rounding may hide
  double extent_ = 0;
  std::vector<Face> faces_;
  std::vector<Box> boxes_;
  std::vector<Edge> rim_;
  std::vector<Edge const*> met_;  // of the rim: under the triangle at hand
  std::vector<HashedEdge> edges_;
  std::vector<std::uint32_t> listed_;
  std::uint32_t stamp_ = 0;
};

}  // namespace mirel::engine
