// The cost of a collapse and the best place for its vertex, from sums over the stars of the two ends.
//
// Memoryless quadrics (Lindstrom and Turk 1998, 1999; Hoppe 1999): a vertex holds the quadric of its present star
// only, taken relative to itself. All planes of a star pass through its vertex, so the quadric has neither a
// linear nor a constant part: small, exact and safe in single precision. Triangles' planes count with a
// power of their area (plane_weight.h). Boundary, seam and set-border edges add the squared distance to their line
// (Garland and Heckbert 1998), with the same power of their length. The place keeps the volume of the two stars
// (Lindstrom and Turk 1998), the triangles that both share counting twice; a small multiple of the trace with the
// edge's midpoint as prior settles flat and straight regions (Trettner and Kobbelt 2020).
// Keys have the unit length^3.5 of the scaled mesh.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/metric_kernels.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

// The sums of a star.
struct StarSums {
  float quadric[6] = {};
  Vec3 normal;

  // Adds `sign` times the plane of a triangle with this cross product.
  void add_triangle(Vec3 n, float sign);
  // Adds the line of an edge in this direction (its length included).
  void add_line(Vec3 edge, float weight);
};

void store(StarSums const& sums, Vertex& vertex);

// Adds a row to sums that are laid out alike.
inline void add(FaceRow const& row, Lanes sums[3]) {
  for (std::size_t part = 0; part < 3; ++part) {
    Lanes lanes;
    std::memcpy(&lanes, row.values + 4 * part, sizeof(lanes));
    sums[part] += lanes;
  }
}
inline void add(FaceRow const& row, Vertex& vertex) {
  Lanes sums[3];
  std::memcpy(sums, &vertex, sizeof(sums));
  add(row, sums);
  std::memcpy(static_cast<void*>(&vertex), sums, sizeof(sums));
}

// What a face of this cross product weighs in the metric.
float face_weight(Vec3 n);

// The neighbours of a vertex, each once. The list only ever grows its storage.
struct Neighbours {
  std::vector<std::uint32_t> ids;  // the first `count`, then the last again up to the next full set of lanes
  std::uint32_t count = 0;

  std::span<std::uint32_t const> span() const { return std::span(ids).first(count); }
  std::uint32_t operator[](std::size_t i) const { return ids[i]; }
  void reserve(std::size_t size);
  void close();  // writes what comes behind the last
};

// How many are in both.
std::uint32_t count_shared(Neighbours const& a, Neighbours const& b);

// The candidates of one vertex: for each neighbour the key of the edge and where the merged vertex would go.
struct Candidates {
  std::uint32_t count = 0;
  Neighbours neighbours;          // in the order of the star
  std::vector<float> keys;        // infinite behind the last, for a full set of lanes
  std::vector<float> x, y, z;     // relative to the vertex
  std::vector<float> ex, ey, ez;  // relative to the neighbour

  Vec3 offset(std::uint32_t i) const { return {x[i], y[i], z[i]}; }
  // The lowest finite key, the first where there are several; false when there is none.
  bool find_cheapest(std::uint32_t& best) const;
  // Makes room for `count` candidates.
  void resize(std::uint32_t count);
  // From candidate i on.
  EdgeArrays arrays(std::size_t i = 0) {
    return {keys.data() + i, x.data() + i, y.data() + i, z.data() + i, ex.data() + i, ey.data() + i, ez.data() + i};
  }
};

// Lists the neighbours of v, each once.
void list_neighbours(Stars const& stars, std::uint32_t v, Neighbours& neighbours);

// Fills keys and places for the neighbours listed. A locked end keeps its place; two locked ends have an infinite key.
void evaluate(MetricKernels const& kernels, Stars const& stars, std::uint32_t v, Candidates& candidates);

}  // namespace mirel::engine
