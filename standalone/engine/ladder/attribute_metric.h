// What a collapse costs in UVs and normals, from sums over the stars of its two ends.
//
// On each face an attribute is a linear function of position. Moving a vertex by x and its attribute value by d costs
// w |g x - d|^2 on a face of gradient g and weight w (the attribute quadric of Hoppe 1999, here relative to the vertex
// and memoryless like the quadrics of star_metric.h). Summed over a star that is a form in x and d of which only the
// sums of w, w g and w g^T g are kept; over an edge the best value for the merged vertex has a closed form. The sums
// speak for vertices with one wedge; seams are worked out from their faces (wedge_attributes.h).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/star_metric.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

inline constexpr std::uint32_t kMaxAttributes = 5;  // u, v, and a normal's x, y, z

struct alignas(16) AttributeSums {
  float quadratic[6] = {};               // sum of w g^T g over faces and attributes: xx xy xz yy yz zz
  float linear[kMaxAttributes][3] = {};  // per attribute: sum of w g
  float uv_weight = 0;                   // sum of w
  float normal_weight = 0;               // sum of w times area: a turn counts with the size of what it turns
  float values[kMaxAttributes] = {};     // the vertex's own, scaled; not a sum

  void add(AttributeSums const& other, float sign);
};
static_assert(sizeof(AttributeSums) == 28 * sizeof(float));

// The terms of one face. corners: its positions; values: per corner kMaxAttributes scaled attributes. A face too thin
// to say how its attributes run along it has none.
AttributeSums face_terms(Vec3 const corners[3], float const* const values[3]);

// Adds the cost in attributes to each candidate of v whose other end has one wedge, and sets its entry of `done`.
void add_attribute_costs(Stars const& stars, std::span<AttributeSums const> sums, std::uint32_t v,
                         Candidates& candidates, std::vector<std::uint8_t>& done);

}  // namespace mirel::engine
