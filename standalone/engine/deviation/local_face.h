// A triangle in floats, relative to an origin near it, for the distances of many points at once.
//
// Each point gets its place in the triangle's frame (x, y in its plane, z above it) and its squared distance. Points
// and triangles lie within `reach` of the origin; every figure is off by less than kLocalSlack times that. A squared
// distance is that of a point of the triangle: up to this slack never too small, however acute the corners.
#pragma once

#include <cstddef>

namespace mirel::engine {

// At worst some 35 roundings of 6e-8 add up: those of a point, of the frame, and of the operations between them. Twice
// that.
inline constexpr double kLocalSlack = 4e-6;
// Points come in full blocks.
inline constexpr std::size_t kLocalBlock = 8;

struct LocalFace {
  float origin[3];
  float axis_x[3];
  float axis_y[3];
  float normal[3];
  // In the plane: (0, 0), (bx, 0), (cx, cy); lines through edges give the distance from them, positive inside.
  float bx, cx, cy;
  float bc_x, bc_y, bc_offset, ca_x, ca_y;
  float inverse_ab, inverse_bc, inverse_ca;  // one over the squared lengths of the edges
  float doubt;                               // points so near to an edge are measured to the edges

  float side(std::size_t edge, float x, float y) const {
    return edge == 0 ? y : edge == 1 ? bc_x * x + bc_y * y + bc_offset : ca_x * x + ca_y * y;
  }
};

struct LocalPoints {
  float const* x;
  float const* y;
  float const* z;
  std::size_t count;  // a multiple of kLocalBlock
};

// Arrays of as many floats as there are points.
struct LocalPlaces {
  float* x;
  float* y;
  float* z;
  float* squared;
};

void measure(LocalFace const& face, LocalPoints const& points, LocalPlaces const& out);

}  // namespace mirel::engine
