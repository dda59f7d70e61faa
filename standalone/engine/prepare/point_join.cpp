#include "standalone/engine/prepare/point_join.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {
namespace {

// Points whose memory is fetched ahead together: enough to hide a cache miss behind the others.
constexpr std::size_t kBlock = 32;

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
  return hash ^ (hash >> 32);
}

// Adding 0 turns -0 into 0, which compares equal to it.
std::uint32_t bits_of(float value) {
  return std::bit_cast<std::uint32_t>(value + 0.0F);
}

std::uint64_t bits_of(double value) {
  return std::bit_cast<std::uint64_t>(value + 0.0);
}

std::size_t table_size(std::size_t entries) {
  return std::bit_ceil(std::max<std::size_t>(entries * 2, 64));
}

template <std::uint32_t Dimension>
class EqualPoints {
 public:
  explicit EqualPoints(std::span<float const> points) : points_(points.data()), count_(points.size() / Dimension) {}

  PointJoin join() {
    PointJoin result;
    result.group_of.resize(count_);
    // Most meshes have far fewer positions than corners: the table grows with the groups and stays in the cache.
    slots_.assign(table_size(std::min<std::size_t>(count_, 4096)), kNone);
    for (std::size_t begin = 0; begin < count_; begin += kBlock) {
      std::size_t const end = std::min(begin + kBlock, count_);
      std::uint64_t hashes[kBlock];
      for (std::size_t i = begin; i < end; ++i) {
        hashes[i - begin] = hash(i);
        __builtin_prefetch(&slots_[hashes[i - begin] & (slots_.size() - 1)]);
      }
      for (std::size_t i = begin; i < end; ++i) {
        std::uint32_t const kept = slots_[hashes[i - begin] & (slots_.size() - 1)];
        if (kept != kNone) {
          __builtin_prefetch(points_ + std::size_t{kept} * Dimension);
          __builtin_prefetch(&result.group_of[kept]);
        }
      }
      for (std::size_t i = begin; i < end; ++i) {
        std::uint32_t& slot = find(i, hashes[i - begin]);
        if (slot != kNone) {
          result.group_of[i] = result.group_of[slot];
          continue;
        }
        slot = static_cast<std::uint32_t>(i);
        result.group_of[i] = static_cast<std::uint32_t>(result.kept.size());
        result.kept.push_back(slot);
        if (result.kept.size() * 2 > slots_.size()) {
          grow(result.kept);
        }
      }
    }
    return result;
  }

 private:
  std::uint64_t hash(std::size_t point) const {
    float const* p = points_ + point * Dimension;
    std::uint64_t const first = bits_of(p[0]) | (std::uint64_t{bits_of(p[1])} << 32);
    return Dimension == 3 ? mix(mix(0, first), bits_of(p[Dimension - 1])) : mix(0, first);
  }

  bool equal(std::size_t a, std::size_t b) const {
    for (std::size_t k = 0; k < Dimension; ++k) {
      if (bits_of(points_[a * Dimension + k]) != bits_of(points_[b * Dimension + k])) {
        return false;
      }
    }
    return true;
  }

  std::uint32_t& find(std::size_t point, std::uint64_t hash) {
    std::size_t slot = hash & (slots_.size() - 1);
    while (slots_[slot] != kNone && !equal(slots_[slot], point)) {
      slot = (slot + 1) & (slots_.size() - 1);
    }
    return slots_[slot];
  }

  void grow(std::vector<std::uint32_t> const& kept) {
    slots_.assign(slots_.size() * 4, kNone);
    for (std::uint32_t const point : kept) {
      std::size_t slot = hash(point) & (slots_.size() - 1);
      while (slots_[slot] != kNone) {
        slot = (slot + 1) & (slots_.size() - 1);
      }
      slots_[slot] = point;
    }
  }

  float const* points_;
  std::size_t count_;
  std::vector<std::uint32_t> slots_;  // the kept point, or kNone
};

// The greedy rule for a tolerance above 0. `Near(a, b)` decides; `reach` bounds, per coordinate, how far apart near
// points can be.
template <std::uint32_t Dimension, class Near>
class NearPoints {
 public:
  NearPoints(std::span<float const> points, double reach, Near near)
      : points_(points.data()), count_(points.size() / Dimension), reach_(reach), scale_(0.25 / reach), near_(near) {}

  PointJoin join() {
    PointJoin result;
    result.group_of.resize(count_);
    next_.resize(count_);
    slots_.assign(table_size(std::min<std::size_t>(count_, 4096)), kNone);
    for (std::size_t i = 0; i < count_; ++i) {
      std::uint32_t const near = lowest_near(i);
      if (near != kNone) {
        result.group_of[i] = result.group_of[near];
        continue;
      }
      result.group_of[i] = static_cast<std::uint32_t>(result.kept.size());
      result.kept.push_back(static_cast<std::uint32_t>(i));
      keep(i);
      if (cells_ * 2 > slots_.size()) {
        grow(result.kept);
      }
    }
    return result;
  }

 private:
  struct Cell {
    double at[Dimension];
  };

  // Rounding is monotone, so a point within reach always lies in a cell between those of the ends of its reach, and
  // these are the same cell or neighbours.
  double cell_of(double coordinate) const { return std::floor(coordinate * scale_); }

  Cell cell_of_point(std::size_t point) const {
    Cell cell;
    for (std::size_t k = 0; k < Dimension; ++k) {
      cell.at[k] = cell_of(double{points_[point * Dimension + k]});
    }
    return cell;
  }

  static std::uint64_t hash(Cell const& cell) {
    std::uint64_t hash = 0;
    for (double const at : cell.at) {
      hash = mix(hash, bits_of(at));
    }
    return hash;
  }

  static bool equal(Cell const& a, Cell const& b) { return std::equal(a.at, a.at + Dimension, b.at); }

  std::uint32_t& find(Cell const& cell) {
    std::size_t slot = hash(cell) & (slots_.size() - 1);
    while (slots_[slot] != kNone && !equal(cell_of_point(slots_[slot]), cell)) {
      slot = (slot + 1) & (slots_.size() - 1);
    }
    return slots_[slot];
  }

  std::uint32_t lowest_near(std::size_t point) {
    Cell low;
    Cell high;
    for (std::size_t k = 0; k < Dimension; ++k) {
      double const coordinate = points_[point * Dimension + k];
      low.at[k] = cell_of(coordinate - reach_);
      high.at[k] = cell_of(coordinate + reach_);
    }
    std::uint32_t lowest = kNone;
    for (std::uint32_t corner = 0; corner < (1U << Dimension); ++corner) {
      Cell cell = low;
      bool repeats = false;
      for (std::size_t k = 0; k < Dimension; ++k) {
        if ((corner >> k & 1U) != 0) {
          cell.at[k] = high.at[k];
          repeats = repeats || high.at[k] == low.at[k];
        }
      }
      if (repeats) {
        continue;
      }
      for (std::uint32_t kept = find(cell); kept != kNone; kept = next_[kept]) {
        if (kept < lowest && near_(kept, point)) {
          lowest = kept;
        }
      }
    }
    return lowest;
  }

  void keep(std::size_t point) {
    std::uint32_t& slot = find(cell_of_point(point));
    cells_ += slot == kNone ? 1 : 0;
    next_[point] = slot;
    slot = static_cast<std::uint32_t>(point);
  }

  void grow(std::vector<std::uint32_t> const& kept) {
    slots_.assign(slots_.size() * 4, kNone);
    cells_ = 0;
    for (std::uint32_t const point : kept) {
      keep(point);
    }
  }

  float const* points_;
  std::size_t count_;
  double reach_;
  double scale_;
  Near near_;
  std::size_t cells_ = 0;
  std::vector<std::uint32_t> slots_;  // the kept point that heads the cell's list, or kNone
  std::vector<std::uint32_t> next_;   // of a kept point: the next in its cell
};

template <std::uint32_t Dimension, class Near>
PointJoin join_near(std::span<float const> points, double reach, Near near) {
  return NearPoints<Dimension, Near>(points, reach, near).join();
}

double dot(float const* a, float const* b) {
  return double{a[0]} * b[0] + double{a[1]} * b[1] + double{a[2]} * b[2];
}

// Library cosines differ in their last bits; this one is the same everywhere. degrees: 0 to 180.
double cosine_of(double degrees) {
  double const x = degrees * (3.14159265358979323846 / 180.0) / 16.0;
  double const y = x * x;
  double c = 1.0 - y / 2 * (1.0 - y / 12 * (1.0 - y / 30 * (1.0 - y / 56 * (1.0 - y / 90))));
  for (int doubling = 0; doubling < 4; ++doubling) {
    c = 2 * c * c - 1;
  }
  return c;
}

}  // namespace

PointJoin join_equal_points(std::span<float const> points, std::uint32_t dimension) {
  return dimension == 2 ? EqualPoints<2>(points).join() : EqualPoints<3>(points).join();
}

PointJoin join_points_within(std::span<float const> points, float distance) {
  if (!(distance > 0)) {
    return join_equal_points(points, 3);
  }
  // No two finite points are further apart than this, and an infinite reach has no cells.
  double const reach = std::min(double{distance}, 4.0 * std::numeric_limits<float>::max());
  float const* const base = points.data();
  return join_near<3>(points, reach, [base, reach](std::size_t a, std::size_t b) {
    double const x = double{base[a * 3]} - base[b * 3];
    double const y = double{base[a * 3 + 1]} - base[b * 3 + 1];
    double const z = double{base[a * 3 + 2]} - base[b * 3 + 2];
    return x * x + y * y + z * z <= reach * reach;
  });
}

AttributeTolerance::AttributeTolerance(float degrees, float uv)
    : uv_(uv > 0 ? double{uv} : 0), cosine_(degrees > 0 ? (degrees < 180 ? cosine_of(double{degrees}) : -2.0) : 2.0) {}

bool AttributeTolerance::same_normal(float const* a, float const* b) const {
  if (a[0] == b[0] && a[1] == b[1] && a[2] == b[2]) {
    return true;
  }
  return cosine_ <= 1 && dot(a, b) >= cosine_ * std::sqrt(dot(a, a) * dot(b, b));
}

bool AttributeTolerance::same_uv(float const* a, float const* b) const {
  return std::fabs(double{a[0]} - b[0]) <= uv_ && std::fabs(double{a[1]} - b[1]) <= uv_;
}

PointJoin AttributeTolerance::join_normals(std::span<float const> normals) const {
  if (cosine_ > 1) {
    return join_equal_points(normals, 3);
  }
  // Cells are laid over the unit sphere, so that the chord of the angle bounds the distance.
  std::vector<float> unit(normals.begin(), normals.end());
  for (std::size_t i = 0; i + 2 < unit.size(); i += 3) {
    double const length = std::sqrt(dot(&unit[i], &unit[i]));
    for (std::size_t k = 0; k < 3 && length > 0; ++k) {
      unit[i + k] = static_cast<float>(unit[i + k] / length);
    }
  }
  double const chord = std::sqrt(std::max(0.0, 2 - 2 * std::max(cosine_, -1.0)));
  float const* const base = normals.data();
  return join_near<3>(unit, chord * 1.001 + 1e-6,
                      [this, base](std::size_t a, std::size_t b) { return same_normal(base + a * 3, base + b * 3); });
}

PointJoin AttributeTolerance::join_uvs(std::span<float const> uvs) const {
  if (uv_ == 0) {
    return join_equal_points(uvs, 2);
  }
  double const reach = std::min(uv_, 4.0 * std::numeric_limits<float>::max());
  float const* const base = uvs.data();
  return join_near<2>(uvs, reach,
                      [this, base](std::size_t a, std::size_t b) { return same_uv(base + a * 2, base + b * 2); });
}

}  // namespace mirel::engine
