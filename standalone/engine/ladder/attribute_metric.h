// What a collapse costs in UVs and normals, and where they would have it go, from sums over the stars of its two ends.
//
// On each face an attribute is a linear function of position. Moving a vertex by x and its attribute value by d costs
// w |g x - d|^2 on a face of gradient g and weight w (the attribute quadric of Hoppe 1999, here relative to the vertex
// and memoryless like the quadrics of star_metric.h). Summed over the faces around a wedge that is a form in x and d of
// which only the sums of w, w g and w g^T g are kept; over an edge the best value for the merged wedge has a closed
// form, and with it what is left is a quadric in the place alone. Vertices with one wedge keep their sums; those of
// seams are worked out from their faces (wedge_attributes.h).
#pragma once

#include <cstdint>

namespace mirel::engine {

inline constexpr std::uint32_t kMaxAttributes = 5;  // u, v, and a normal's x, y, z

// Two cache lines, loaded as eight vectors of four.
struct alignas(64) AttributeSums {
  // Sum of w g^T g over faces and attributes (xx xy xz yy yz zz); per attribute the sum of w g; the sum of w for UVs;
  // that of w times area for normals (a turn counts with the size of what it turns); unused; the wedge's own
  // attributes, scaled, which are no sum, and three zeros.
  float floats[32] = {};

  float const* quadratic() const { return floats; }
  float const* linear(std::uint32_t attribute) const { return floats + 6 + 3 * attribute; }
  float weight(std::uint32_t attribute) const { return floats[attribute < 2 ? 21 : 22]; }
  float const* values() const { return floats + 24; }
  float* values() { return floats + 24; }
};
static_assert(sizeof(AttributeSums) == 128);

// The terms of one face, laid out like the start of AttributeSums.
struct alignas(16) AttributeRow {
  float values[24];
};

// A face whose terms are asked for: its corner's positions (4 floats readable) and scaled attributes (8 readable).
struct AttributeFace {
  float const* points[3];
  float const* values[3];
};

// What attributes add to the system for the place of an edge (a, b), relative to a.
struct AttributeForm {
  float matrix[6] = {};  // xx xy xz yy yz zz
  float right[3] = {};
};

}  // namespace mirel::engine
