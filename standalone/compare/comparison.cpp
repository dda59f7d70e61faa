#include "standalone/compare/comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <vector>

#include "standalone/compare/chunks.h"
#include "standalone/compare/closest_point.h"
#include "standalone/engine/deviation/hausdorff.h"

namespace mirel::compare {

using engine::TriangleBvh;
using engine::Vec;

namespace {

constexpr std::uint64_t kChunk = 4096;

struct Sums {
  double squares = 0;
  double distances = 0;
  double degrees = 0;
  std::uint64_t angles = 0;  // samples with a normal on both sides
  double max = -1;
  Vec worst;

  void raise(double distance, Vec point) {
    if (!(distance > max)) return;
    max = distance;
    worst = point;
  }
  void add(Sums const& other) {
    squares += other.squares;
    distances += other.distances;
    degrees += other.degrees;
    angles += other.angles;
    raise(other.max, other.worst);
  }
};

// By arc tangent: exact also where normals are almost parallel.
double angle_degrees(Vec a, Vec b) {
  return std::atan2(length(cross(a, b)), dot(a, b)) * (180 / std::numbers::pi);
}

// Large normals would overflow when multiplied.
Vec unit(Vec a) {
  double const l = length(a);
  return l > 0 ? (1 / l) * a : Vec{};
}

std::uint64_t chunks_of(std::uint64_t count) {
  return (count + kChunk - 1) / kChunk;
}

class OneSided {
 public:
  OneSided(Surface const& from, Surface const& to, MirelCompareOptions const& options)
      : from_(from), to_(to), options_(options) {}

  MirelCompareDirection run() const {
    std::uint64_t const area_chunks = chunks_of(options_.samples);
    std::uint64_t const chunks = area_chunks + chunks_of(from_.vertex_count());
    std::vector<Sums> parts(chunks);
    for_each_chunk(chunks, options_.threads, [&](std::uint64_t chunk) {
      parts[chunk] = chunk < area_chunks ? of_area(chunk * kChunk) : of_vertices((chunk - area_chunks) * kChunk);
    });
    Sums all;
    for (Sums const& part : parts) all.add(part);
    auto const samples = static_cast<double>(options_.samples);
    MirelCompareDirection result{};
    result.rms = std::sqrt(all.squares / samples);
    result.mean = all.distances / samples;
    result.normal_degrees =
        all.angles > 0 ? all.degrees / static_cast<double>(all.angles) : std::numeric_limits<double>::quiet_NaN();
    result.max_bound = std::numeric_limits<double>::quiet_NaN();
    result.area = from_.area();
    result.samples = options_.samples;
    result.vertices = from_.vertex_count();
    set_maximum(result, all.max, all.worst);
    return result;
  }

  void set_maximum(MirelCompareDirection& result, double max, Vec worst) const {
    TriangleBvh const& tree = to_.tree();
    std::uint32_t const slot = tree.nearest(worst).slot;
    Vec const nearest =
        closest_point_of_triangle(worst, tree.corner(slot, 0), tree.corner(slot, 1), tree.corner(slot, 2));
    result.max = max;
    std::copy_n(std::array{worst.x, worst.y, worst.z}.begin(), 3, result.worst_point);
    std::copy_n(std::array{nearest.x, nearest.y, nearest.z}.begin(), 3, result.nearest_point);
  }

 private:
  Sums of_area(std::uint64_t first) const {
    Sums sums;
    std::uint64_t const end = std::min(first + kChunk, options_.samples);
    std::uint32_t slot = from_.first_slot(first, options_.samples);
    std::uint32_t hint = TriangleBvh::kNoSlot;
    for (std::uint64_t i = first; i < end; ++i) {
      SurfacePoint const point = from_.sample(i, options_.samples, slot);
      slot = point.slot;
      TriangleBvh::Nearest const nearest = query(point.position, hint);
      sums.squares += nearest.distance * nearest.distance;
      sums.distances += nearest.distance;
      sums.raise(nearest.distance, point.position);
      Vec const here = unit(from_.area_normal(point.slot));
      Vec const there = unit(to_.area_normal(nearest.slot));
      if (dot(here, here) > 0 && dot(there, there) > 0) {
        sums.degrees += angle_degrees(here, there);
        ++sums.angles;
      }
    }
    return sums;
  }

  Sums of_vertices(std::uint64_t first) const {
    Sums sums;
    std::uint64_t const end = std::min<std::uint64_t>(first + kChunk, from_.vertex_count());
    std::uint32_t hint = TriangleBvh::kNoSlot;
    for (std::uint64_t i = first; i < end; ++i) {
      Vec const p = from_.vertex(static_cast<std::uint32_t>(i));
      sums.raise(query(p, hint).distance, p);
    }
    return sums;
  }

  TriangleBvh::Nearest query(Vec p, std::uint32_t& hint) const {
    TriangleBvh::Nearest const nearest = to_.tree().nearest(p, std::numeric_limits<double>::infinity(), 0, hint);
    hint = nearest.slot;
    return nearest;
  }

  Surface const& from_;
  Surface const& to_;
  MirelCompareOptions const& options_;
};

void bound_maximum(OneSided const& measure, engine::DistanceBounds const& bounds, MirelCompareDirection& result) {
  if (bounds.lower > result.max) {
    measure.set_maximum(result, bounds.lower, {bounds.farthest[0], bounds.farthest[1], bounds.farthest[2]});
  }
  result.max_bound = std::max(bounds.upper, result.max);
}

}  // namespace

MirelCompareResult compare(Surface const& first, Surface const& second, MirelCompareOptions const& options) {
  OneSided const forward(first, second, options);
  OneSided const backward(second, first, options);
  MirelCompareResult result{};
  MirelCompareDirection& a = result.first_to_second;
  MirelCompareDirection& b = result.second_to_first;
  a = forward.run();
  b = backward.run();
  if (options.exact_accuracy > 0) {
    engine::DistanceOptions accuracy;
    accuracy.relative_accuracy = options.exact_accuracy;
    // Below a part in 10^9 of the model, rounding of the float positions is all that there is to find.
    accuracy.absolute_accuracy = 1e-9 * std::max(first.tree().diagonal(), second.tree().diagonal());
    std::array<engine::DistanceBounds, 2> bounds;
    std::array<bool, 2> done{};
    for_each_chunk(2, options.threads, [&](std::uint64_t direction) {
      try {
        bounds[direction] = direction == 0 ? engine::one_sided_distance(first.tree(), second.tree(), accuracy)
                                           : engine::one_sided_distance(second.tree(), first.tree(), accuracy);
        done[direction] = true;
      } catch (std::bad_alloc const&) {
        done[direction] = false;
      }
    });
    if (!done[0] || !done[1]) throw std::bad_alloc();
    bound_maximum(forward, bounds[0], a);
    bound_maximum(backward, bounds[1], b);
  }
  result.rms = std::sqrt(0.5 * (a.rms * a.rms + b.rms * b.rms));
  result.mean = 0.5 * (a.mean + b.mean);
  result.max = std::max(a.max, b.max);
  result.max_bound =
      options.exact_accuracy > 0 ? std::max(a.max_bound, b.max_bound) : std::numeric_limits<double>::quiet_NaN();
  result.normal_degrees = 0.5 * (a.normal_degrees + b.normal_degrees);
  result.diagonal = first.tree().diagonal();
  return result;
}

}  // namespace mirel::compare
