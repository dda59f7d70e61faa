// The arithmetic of the ladder's inner loop, on many edges or faces at a time.
//
// Compiled again for each kind of wider vectors that the machine may have; the choice is made once, at run time, and
// shows in the time taken alone: every lane does the same IEEE operations in the same order, and sums over faces go
// through eight lanes whatever the width.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

// The most lanes of any kernel: arrays written by kernels have room for the next multiple of it.
inline constexpr std::uint32_t kMaxLanes = 8;

// The smallest key that is told apart from none: collapses that change nothing share one bucket and so are taken in
// the order in which they were found, which keeps flat regions evenly spread.
inline constexpr float kKeyFloor = 1e-18F;

// A face may become no worse than this, unless it was: 1 is equilateral.
inline constexpr float kSliverQuality = 0.02F;

inline constexpr std::uint32_t padded_to_lanes(std::uint32_t count) {
  return (count + kMaxLanes - 1) / kMaxLanes * kMaxLanes;
}

// What is known of some edges: keys, and where their merged vertices would go.
struct EdgeArrays {
  float* keys;
  float *x, *y, *z;     // relative to the first end
  float *ex, *ey, *ez;  // relative to the second end
};

// The cheapest edge of a vertex: of those to the next corners of its star's faces, the first where there are several.
struct CheapestEdge {
  float key;  // infinite where no edge may collapse
  std::uint32_t neighbour;
};

// The sums of one face for its corners: x y z (unused, 0), quadric, normal: laid out like a Vertex.
struct FaceRow {
  float values[12];
};
// In the sums of a merged vertex: over its faces, the length of the cross product times 1 less the cosine of the face's
// turn.
inline constexpr std::size_t kTurns = 0;

// A fan: the faces of two stars, seen from the ends a and b of an edge.
struct Fan {
  StarEntry const* faces;   // `count`, and kMaxLanes copies of the last
  std::uint32_t of_a;       // faces before this one have a as their corner, and stay
  std::uint32_t surviving;  // from `of_a` to this one: b is the corner, and they stay; from here on faces of a that go
  std::uint32_t count;
  std::uint32_t a, b;
  float place[3];   // where the merged vertex goes
  float closeness;  // corners no further than this from the place, in each coordinate, may be written as one point
};

enum FanVerdict : std::uint32_t {
  kFanSound = 0,
  kFanTurns = 1,   // a face that stays would turn too far or become a sliver
  kFanTouches = 2  // the place may round to that of a corner
};

// How far a collapse takes the surface, squared: three distances from a point to a fan of triangles.
struct FanDistances {
  float a, b;   // from the ends to the faces after the collapse
  float place;  // from the merged vertex to the faces before it
};

// Faces of which one call works out the terms.
inline constexpr std::uint32_t kFaceBlock = 8;

struct MetricKernels {
  // The terms of kFaceBlock triangles, each three vertices. Returns a bit for each that is all but without area.
  std::uint32_t (*face_terms)(Vertex const* vertices, std::uint32_t const* triangles, FaceRow* terms);
  // Keys and places of the edges from v to `count` neighbours; behind them are ids of vertices up to full lanes.
  void (*evaluate_star)(Vertex const* vertices, std::uint32_t v, std::uint32_t const* neighbours, std::uint32_t count,
                        EdgeArrays const& out);
  // For each of `count` vertices with closed fans, the cheapest edge.
  void (*cheapest_edges)(Vertex const* vertices, StarEntry const* entries, std::uint32_t const* items,
                         std::uint32_t count, CheapestEdge* out);
  // Keys and places of `count` edges, from[i] to to[i].
  void (*evaluate_edges)(Vertex const* vertices, std::uint32_t const* from, std::uint32_t const* to,
                         std::uint32_t count, EdgeArrays const& out);
  // Tests a fan and fills, for each of its faces, what the collapse adds to the sums of its far corners (`change`), and
  // the sums of the merged vertex with its kTurns (`merged`). Stops early, with the array half filled, when a face
  // turns.
  std::uint32_t (*test_fan)(Vertex const* vertices, Fan const& fan, FaceRow* change, FaceRow& merged);
  // The same, where slivers may become worse slivers.
  std::uint32_t (*test_sliver_fan)(Vertex const* vertices, Fan const& fan, FaceRow* change, FaceRow& merged);
  FanDistances (*fan_distances)(Vertex const* vertices, Fan const& fan);
};

// The fastest that this machine runs.
MetricKernels const& metric_kernels();
// Those for every machine.
MetricKernels const& narrow_metric_kernels();
// All that this machine runs, the narrow ones first, the fastest last.
std::vector<MetricKernels const*> runnable_metric_kernels();

}  // namespace mirel::engine
