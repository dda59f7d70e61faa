#include "standalone/engine/prepare/point_tree.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace mirel::engine {
namespace {

// Spreads 21 bits so that two others fit between each.
std::uint64_t spread(std::uint64_t x) {
  x = (x | (x << 32)) & 0x001F00000000FFFFU;
  x = (x | (x << 16)) & 0x001F0000FF0000FFU;
  x = (x | (x << 8)) & 0x100F00F00F00F00FU;
  x = (x | (x << 4)) & 0x10C30C30C30C30C3U;
  return (x | (x << 2)) & 0x1249249249249249U;
}

struct Keyed {
  std::uint64_t key;
  std::uint32_t point;
};

// Stable, least significant digit first.
void radix_sort(std::vector<Keyed>& entries) {
  constexpr unsigned kDigitBits = 11;
  std::vector<Keyed> other(entries.size());
  for (unsigned shift = 0; shift < 63; shift += kDigitBits) {
    std::array<std::size_t, (1U << kDigitBits) + 1> begin{};
    for (Keyed const& entry : entries) {
      ++begin[(entry.key >> shift & ((1U << kDigitBits) - 1)) + 1];
    }
    for (std::size_t d = 1; d < begin.size(); ++d) {
      begin[d] += begin[d - 1];
    }
    for (Keyed const& entry : entries) {
      other[begin[entry.key >> shift & ((1U << kDigitBits) - 1)]++] = entry;
    }
    entries.swap(other);
  }
}

std::vector<Keyed> along_curve(std::span<float const> points) {
  std::array<double, 3> low{};
  double size = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double high = points[k];
    low[k] = points[k];
    for (std::size_t i = k; i < points.size(); i += 3) {
      low[k] = std::min(low[k], double{points[i]});
      high = std::max(high, double{points[i]});
    }
    size = std::max(size, high - low[k]);
  }
  double const scale = size > 0 ? ((1U << 21) - 1) / size : 0;
  std::vector<Keyed> entries(points.size() / 3);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::uint64_t key = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      key |= spread(static_cast<std::uint64_t>((points[i * 3 + k] - low[k]) * scale)) << k;
    }
    entries[i] = {key, static_cast<std::uint32_t>(i)};
  }
  radix_sort(entries);
  return entries;
}

}  // namespace

PointTree::PointTree(std::span<float const> points) {
  std::size_t const count = points.size() / 3;
  if (count == 0) {
    return;
  }
  order_.resize(count);
  place_of_.resize(count);
  taken_.resize(count);
  {
    std::vector<Keyed> const entries = along_curve(points);
    for (std::size_t i = 0; i < count; ++i) {
      order_[i] = entries[i].point;
      place_of_[order_[i]] = static_cast<std::uint32_t>(i);
    }
  }
  points_.resize(points.size());
  for (std::size_t i = 0; i < count; ++i) {
    std::copy_n(&points[std::size_t{order_[i]} * 3], 3, &points_[i * 3]);
  }
  leaf_count_ = std::bit_ceil((count + kLeafSize - 1) / kLeafSize);
  nodes_.resize(leaf_count_ * 2);
  for (std::size_t i = 0; i < count; ++i) {
    Node& leaf = nodes_[leaf_count_ + i / kLeafSize];
    float const* p = &points_[i * 3];
    for (std::size_t k = 0; k < 3; ++k) {
      leaf.low[k] = leaf.count == 0 ? p[k] : std::min(leaf.low[k], p[k]);
      leaf.high[k] = leaf.count == 0 ? p[k] : std::max(leaf.high[k], p[k]);
    }
    ++leaf.count;
  }
  for (std::size_t n = leaf_count_ - 1; n > 0; --n) {
    Node const& left = nodes_[n * 2];
    Node const& right = nodes_[n * 2 + 1];
    nodes_[n] = left;  // the right one may be empty, the left one never alone
    if (right.count != 0) {
      for (std::size_t k = 0; k < 3; ++k) {
        nodes_[n].low[k] = std::min(left.low[k], right.low[k]);
        nodes_[n].high[k] = std::max(left.high[k], right.high[k]);
      }
      nodes_[n].count += right.count;
    }
  }
}

void PointTree::take_out(std::uint32_t point) {
  if (taken_[point]) {
    return;
  }
  taken_[point] = true;
  for (std::size_t n = leaf_count_ + place_of_[point] / kLeafSize; n > 0; n /= 2) {
    --nodes_[n].count;
  }
}

std::size_t PointTree::leaves_around(std::span<Segment const> segments,
                                     std::array<std::uint32_t, kMostShared>& leaves) const {
  if (nodes_.empty() || segments.empty()) {
    return 0;
  }
  std::array<double, 3> low{};
  std::array<double, 3> high{};
  for (std::size_t k = 0; k < 3; ++k) {
    low[k] = high[k] = segments[0].start_[k];
    for (Segment const& segment : segments) {
      double const end = segment.start_[k] + segment.along_[k];
      low[k] = std::min(low[k], std::min(segment.start_[k], end) - segment.radius_);
      high[k] = std::max(high[k], std::max(segment.start_[k], end) + segment.radius_);
    }
  }
  auto const apart = [&low, &high](Node const& node) {
    for (std::size_t k = 0; k < 3; ++k) {
      if (node.low[k] > high[k] || node.high[k] < low[k]) {
        return true;
      }
    }
    return false;
  };
  constexpr std::size_t kMostVisits = kMostShared * 8;
  std::array<std::size_t, 80> stack;
  std::size_t depth = 0;
  std::size_t found = 0;
  stack[depth++] = 1;
  for (std::size_t visits = 0; depth != 0; ++visits) {
    std::size_t const node = stack[--depth];
    if (nodes_[node].count == 0 || apart(nodes_[node])) {
      continue;
    }
    if (node < leaf_count_) {
      stack[depth++] = node * 2 + 1;
      stack[depth++] = node * 2;
      continue;
    }
    if (found == kMostShared || visits > kMostVisits) {
      return kMostShared + 1;
    }
    leaves[found++] = static_cast<std::uint32_t>(node);
  }
  return found;
}

PointTree::Segment::Segment(float const* a, float const* b, double radius) : radius_(radius) {
  double size = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    start_[k] = a[k];
    double const along = double{b[k]} - a[k];
    along_[k] = along;
    inverse_along_[k] = along == 0 ? 0 : 1 / along;
    size = std::max({size, std::fabs(double{a[k]}), std::fabs(double{b[k]})});
  }
  radius_ += 1e-12 * size;  // more than the rounding below
  double const square = along_[0] * along_[0] + along_[1] * along_[1] + along_[2] * along_[2];
  inverse_square_ = square > 0 ? 1 / square : 0;
}

bool PointTree::Segment::is_near(float const* point) const {
  std::array<double, 3> to{};
  double t = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    to[k] = point[k] - start_[k];
    t += to[k] * along_[k];
  }
  t = std::clamp(t * inverse_square_, 0.0, 1.0);
  double square = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double const off = to[k] - t * along_[k];
    square += off * off;
  }
  return square <= radius_ * radius_ * (1 + 1e-9);
}

bool PointTree::Segment::touches(std::array<float, 3> const& box_low, std::array<float, 3> const& box_high) const {
  double enter = 0;
  double leave = 1;
  for (std::size_t k = 0; k < 3; ++k) {
    double const low = box_low[k] - radius_ - start_[k];
    double const high = box_high[k] + radius_ - start_[k];
    if (inverse_along_[k] == 0) {
      if (low > 0 || high < 0) {
        return false;
      }
      continue;
    }
    double const t = low * inverse_along_[k];
    double const u = high * inverse_along_[k];
    enter = std::max(enter, std::min(t, u));
    leave = std::min(leave, std::max(t, u));
    if (enter > leave) {
      return false;
    }
  }
  return true;
}

}  // namespace mirel::engine
