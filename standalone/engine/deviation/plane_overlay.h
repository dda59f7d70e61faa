// Whether a triangle lies within a radius of a few faces of one surface, seen along one direction: its part straight
// above or below each face has no point farther from that face than the height between them, which is greatest at a
// corner of the part.
//
// The faces' own edges part the triangle, so there is no search and no distance to work out as long as heights are
// small enough. That no point is missed is told by the edges: where faces that show the same side have no edge without
// its mate under the triangle, as many of them lie over each of its points, and one of them over any point is one over
// all.
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
    double z0, zx, zy;  // the height of its plane over (x, y)
    std::uint32_t face;
    std::array<Point, 3> points;
  };
  struct Box {
    double low_x, low_y, high_x, high_y;
  };
  struct Edge {
    Place from, to;
    Box box;
  };
  struct HashedEdge {
    std::uint32_t stamp = 0;
    std::uint32_t face = 0;
    std::uint32_t edge = 0;
    int balance = 0;
  };
  using Polygon = std::array<Place, 8>;

  Place place_of(Vec p) const;
  static Box box_of(std::span<Place const> corners);
  bool crosses_rim(std::array<Place, 3> const& triangle, Box const& box, double area) const;
  static std::size_t clip(std::array<Place, 3> const& triangle, Face const& face, Polygon& polygon);
  double farthest_from(Face const& face, std::span<Place const> polygon) const;

  Vec origin_, axis_x_, axis_y_, normal_;
  double doubt_ = 0;  // what rounding may hide
  double extent_ = 0;
  std::vector<Face> faces_;
  std::vector<Box> boxes_;
  std::vector<Edge> rim_;
  std::vector<HashedEdge> edges_;
  std::vector<std::uint32_t> listed_;
  std::uint32_t stamp_ = 0;
};

}  // namespace mirel::engine
