// Corner normals from smooth edges: what makes smoothing show in formats that know no edges.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/model/scene.h"

namespace mirel::model {

// The corners around a vertex that are joined by smooth edges of exactly two faces form a group, and share a normal:
// the mean of their faces' normals, weighted by the faces' angles there (Thürmer and Wüthrich 1998).
struct CornerNormals {
  struct Normal {
    float x;
    float y;
    float z;
  };
  std::vector<std::uint32_t> groups;  // per corner, the number of its group: that of one of its corners
  std::vector<Normal> normals;        // per corner that gives its number to a group, unit length; else zero
};

CornerNormals compute_corner_normals(Entities const& entities);

}  // namespace mirel::model
