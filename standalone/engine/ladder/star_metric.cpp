#include "standalone/engine/ladder/star_metric.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/plane_weight.h"

namespace mirel::engine {

float face_weight(Vec3 n) {
  float const n2 = squared_length(n);
  return n2 > 1e-36F ? n2 * plane_weight(n2) : 0;
}

void StarSums::add_triangle(Vec3 n, float sign) {
  float const n2 = squared_length(n);
  if (!(n2 > 1e-36F)) return;
  float const weight = sign * plane_weight(n2);
  quadric[0] += weight * n.x * n.x;
  quadric[1] += weight * n.x * n.y;
  quadric[2] += weight * n.x * n.z;
  quadric[3] += weight * n.y * n.y;
  quadric[4] += weight * n.y * n.z;
  quadric[5] += weight * n.z * n.z;
  normal = normal + n * sign;
}

void StarSums::add_line(Vec3 edge, float weight) {
  float const length2 = squared_length(edge);
  if (!(length2 > 1e-36F)) return;
  float const length = std::sqrt(length2);
  float const w = weight * length * std::sqrt(length);
  Vec3 const e = edge * (1 / length);
  quadric[0] += w * (1 - e.x * e.x);
  quadric[1] -= w * e.x * e.y;
  quadric[2] -= w * e.x * e.z;
  quadric[3] += w * (1 - e.y * e.y);
  quadric[4] -= w * e.y * e.z;
  quadric[5] += w * (1 - e.z * e.z);
}

void store(StarSums const& sums, Vertex& vertex) {
  std::copy_n(sums.quadric, 6, vertex.quadric);
  vertex.normal[0] = sums.normal.x;
  vertex.normal[1] = sums.normal.y;
  vertex.normal[2] = sums.normal.z;
}

void Neighbours::reserve(std::size_t size) {
  if (ids.size() < size + kMaxLanes) ids.resize(2 * size + kMaxLanes);
}

void Neighbours::close() {
  std::uint32_t const last = count > 0 ? ids[count - 1] : 0;
  for (std::uint32_t k = 0; k < kMaxLanes; ++k) ids[count + k] = last;
}

std::uint32_t count_shared(Neighbours const& a, Neighbours const& b) {
  if (a.count < b.count) return count_shared(b, a);
  if (std::size_t{a.count} * b.count > 65536) {
    std::vector<std::uint32_t> sorted(b.ids.begin(), b.ids.begin() + b.count);
    std::sort(sorted.begin(), sorted.end());
    std::uint32_t shared = 0;
    for (std::uint32_t const x : a.span()) shared += std::binary_search(sorted.begin(), sorted.end(), x) ? 1U : 0U;
    return shared;
  }
  LaneMask found = {};
  LaneMask place = {0, 1, 2, 3};
  for (std::uint32_t first = 0; first < a.count; first += 4) {
    LaneMask four;
    std::memcpy(&four, &a.ids[first], sizeof(four));
    LaneMask equal = {};
    for (std::uint32_t const x : b.span()) equal |= four == static_cast<std::int32_t>(x);
    found -= equal & (place < static_cast<std::int32_t>(a.count));
    place += 4;
  }
  return static_cast<std::uint32_t>(found[0] + found[1] + found[2] + found[3]);
}

void list_neighbours(Stars const& stars, std::uint32_t v, Neighbours& neighbours) {
  std::span<StarEntry const> const star = stars.star(v);
  neighbours.reserve(2 * star.size());
  std::uint32_t* const ids = neighbours.ids.data();
  if ((stars.vertex(v).flags & kIrregular) == 0) {
    // A closed fan: every neighbour is some triangle's next corner exactly once.
    // Four at a time, beyond the end where it comes so: how many there are cannot be foreseen.
    StarEntry const* const entries = star.data();
    for (std::size_t i = 0; i < star.size(); i += Stars::kBlock) {
      for (std::size_t k = 0; k < Stars::kBlock; ++k) ids[i + k] = entries[i + k].next;
    }
    neighbours.count = static_cast<std::uint32_t>(star.size());
    neighbours.close();
    return;
  }
  std::uint32_t count = 0;
  for (StarEntry const& entry : star) {
    ids[count++] = entry.next;
    ids[count++] = entry.previous;
  }
  if (count <= 64) {
    // Short lists keep the order of the star.
    std::uint32_t kept = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      // Four at a time; those behind the last do not count.
      LaneMask found = {};
      LaneMask place = {0, 1, 2, 3};
      for (std::uint32_t k = 0; k < kept; k += 4) {
        LaneMask four;
        std::memcpy(&four, ids + k, sizeof(four));
        found |= (four == static_cast<std::int32_t>(ids[i])) & (place < static_cast<std::int32_t>(kept));
        place += 4;
      }
      bool const seen = (found[0] | found[1] | found[2] | found[3]) != 0;
      ids[kept] = seen ? ids[kept] : ids[i];
      kept += seen ? 0U : 1U;
    }
    neighbours.count = kept;
  } else {
    std::sort(ids, ids + count);
    neighbours.count = static_cast<std::uint32_t>(std::unique(ids, ids + count) - ids);
  }
  neighbours.close();
}

void Candidates::resize(std::uint32_t size) {
  count = size;
  std::size_t const padded = padded_to_lanes(size) + kMaxLanes;
  if (keys.size() >= padded) return;
  for (auto* lane : {&keys, &x, &y, &z, &ex, &ey, &ez}) lane->resize(padded);
}

void evaluate(MetricKernels const& kernels, Stars const& stars, std::uint32_t v, Candidates& candidates) {
  list_neighbours(stars, v, candidates.neighbours);
  candidates.resize(candidates.neighbours.count);
  std::uint32_t const* const neighbours = candidates.neighbours.ids.data();
  kernels.evaluate_star(stars.vertices(), v, neighbours, candidates.count, candidates.arrays());
  for (std::uint32_t k = 0; k < kMaxLanes; ++k) {
    candidates.keys[candidates.count + k] = std::numeric_limits<float>::infinity();
  }
}

bool Candidates::find_cheapest(std::uint32_t& best) const {
  // Keys are not negative, so their bits are in their order.
  std::uint64_t lowest = std::numeric_limits<std::uint64_t>::max();
  for (std::uint32_t first = 0; first < count; first += kMaxLanes) {
    for (std::uint32_t i = first; i < first + kMaxLanes; ++i) {
      lowest = std::min(lowest, std::uint64_t{std::bit_cast<std::uint32_t>(keys[i])} << 32 | i);
    }
  }
  best = static_cast<std::uint32_t>(lowest);
  return count > 0 && keys[best] < std::numeric_limits<float>::infinity();
}

}  // namespace mirel::engine
