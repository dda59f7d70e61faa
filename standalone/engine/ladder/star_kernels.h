// What a collapse does to stars and their sums, many entries at a time.
//
// Compiled again for wider vectors, like the metric's kernels: the width shows in no result.
// Whole rows of stars are read, and written back.
#pragma once

#include <cstdint>

#include "standalone/engine/ladder/metric_kernels.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

// What is found on the ring of a collapse.
struct RingState {
  std::uint32_t flags = 0;  // of all its vertices together
  bool any_set_aside = false;
  bool any_hub = false;
};

inline constexpr std::uint32_t kMostPaired = 24;

struct StarKernels {
  // Whether every previous corner in a star is there once as such, and once as a next corner.
  bool (*has_closed_fans)(StarEntry const* star, std::uint32_t count);
  // The same of at most kMostPaired entries; where it is so, the face across the edge to the next corner of each, by
  // its place in the star.
  bool (*pair_faces)(StarEntry const* star, std::uint32_t count, std::uint32_t* partners);
  // How many neighbours two closed fans have in common.
  std::uint32_t (*count_shared)(StarEntry const* a, std::uint32_t count_a, StarEntry const* b, std::uint32_t count_b);
  // The place of a face's entry; `count` where there is none.
  std::uint32_t (*find_face)(StarEntry const* star, std::uint32_t count, std::uint32_t face);
  // Puts `to` for `from` in the stars of all neighbours in a closed fan, none of them a hub.
  void (*rename_in_ring)(Vertex const* vertices, StarEntry* entries, StarEntry const* star, std::uint32_t count,
                         std::uint32_t from, std::uint32_t to);
  // Adds the changes of a fan's faces to the sums of their far corners, where those are kept up to date that way.
  // Vertices of the ring lose kFresh. `skipped`: flags of vertices whose sums are left alone.
  RingState (*change_ring)(Vertex* vertices, Fan const& fan, FaceRow const* changes, BucketQueue::Bucket set_aside,
                           std::uint32_t skipped);
};

// The fastest that this machine runs.
StarKernels const& star_kernels();
// Those for every machine.
StarKernels const& narrow_star_kernels();

}  // namespace mirel::engine
