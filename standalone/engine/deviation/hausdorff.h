// The maximum distance between two triangle meshes, enclosed between a lower and an upper bound.
//
// One direction is the distance of that point of a surface which is farthest from the other surface; the (symmetric)
// Hausdorff distance is the larger of the two directions. The lower bound is the distance of a point that was found,
// the upper bound holds for every point: pieces are cut until what they can still add is within the accuracy asked
// for. Bounds of pieces: the distance function changes by no more than the way one goes, and the distance to one
// triangle is convex (cf. Guthe, Borodin and Klein 2005, "Fast and accurate Hausdorff distance calculation between
// meshes"). Lengths in model units; no exceptions but std::bad_alloc.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::engine {

struct DistanceOptions {
  // upper <= lower * (1 + relative_accuracy) + absolute_accuracy when the work is not cut short.
  double relative_accuracy = 0.01;
  double absolute_accuracy = 0;  // model units; a part in 10^12 of the coordinates is added for rounding
  // Nearest-point queries for one direction, about a microsecond each; 0: no limit. When they run out the bounds
  // hold all the same, only wider.
  std::uint64_t max_queries = 50'000'000;
  // Model units: distances up to this need not be told apart. The upper bound is then at most
  // max(lower, least) * (1 + relative_accuracy) + absolute_accuracy.
  double least = 0;
  // For hausdorff_distance: of the smaller direction only the upper bound is of use, and that no closer than the
  // larger one needs it.
  bool only_larger = false;
};

struct DistanceBounds {
  double lower = 0;
  double upper = 0;
  std::array<double, 3> farthest{};  // a point of the first surface whose distance is `lower`
};

// From every point of `from` to the nearest of `to`. Infinite bounds when only `to` is empty, 0 when `from` is.
DistanceBounds one_sided_distance(TriangleBvh const& from, TriangleBvh const& to, DistanceOptions const& options = {});

struct HausdorffBounds {
  DistanceBounds first_to_second;
  DistanceBounds second_to_first;

  double lower() const { return std::max(first_to_second.lower, second_to_first.lower); }
  double upper() const { return std::max(first_to_second.upper, second_to_first.upper); }
};

HausdorffBounds hausdorff_distance(TriangleBvh const& first, TriangleBvh const& second,
                                   DistanceOptions const& options = {});

}  // namespace mirel::engine
