// The point of a triangle nearest to another point, in double.
#pragma once

#include "standalone/engine/deviation/vec.h"

namespace mirel::compare {

// Slivers count as their edges; a triangle of one point is that point.
engine::Vec closest_point_of_triangle(engine::Vec p, engine::Vec a, engine::Vec b, engine::Vec c);

}  // namespace mirel::compare
