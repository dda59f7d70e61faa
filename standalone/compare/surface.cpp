#include "standalone/compare/surface.h"

#include <algorithm>
#include <cmath>

namespace mirel::compare {

using engine::Vec;

namespace {

// 0 to below 1.
double unit_interval(std::uint64_t bits) {
  return static_cast<double>(bits >> 11U) * 0x1p-53;
}

// Steele, Lea and Flood 2014, "Fast splittable pseudorandom number generators": the mixing step, used as a hash.
double random_of(std::uint64_t index) {
  std::uint64_t x = index + 0x9E3779B97F4A7C15U;
  x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
  x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
  return unit_interval(x ^ (x >> 31U));
}

// Two additive sequences whose steps are the powers of 1/1.3247..., the root of x^3 = x + 1: any run of consecutive
// indices covers the unit square evenly, so that a triangle with many samples is covered evenly too.
constexpr std::uint64_t kFirstStep = 0xC13FA9A902A6328FU;
constexpr std::uint64_t kSecondStep = 0x91E10DA5C79E7B1DU;

}  // namespace

Surface::Surface(std::span<float const> positions, std::span<std::uint32_t const> faces) : tree_(positions, faces) {
  area_up_to_.reserve(std::size_t{tree_.size()} + 1);
  area_up_to_.push_back(0);
  std::vector<bool> seen(positions.size() / 3, false);
  for (std::uint32_t slot = 0; slot < tree_.size(); ++slot) {
    area_up_to_.push_back(area_up_to_.back() + 0.5 * length(area_normal(slot)));
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const v = faces[3 * std::size_t{tree_.face_of(slot)} + k];
      if (seen[v]) continue;
      seen[v] = true;
      vertices_.insert(vertices_.end(), &positions[3 * v], &positions[3 * v] + 3);
    }
  }
}

Vec Surface::area_normal(std::uint32_t slot) const {
  Vec const a = tree_.corner(slot, 0);
  return cross(tree_.corner(slot, 1) - a, tree_.corner(slot, 2) - a);
}

std::uint32_t Surface::first_slot(std::uint64_t index, std::uint64_t count) const {
  double const target = area() * static_cast<double>(index) / static_cast<double>(count);
  auto const after = std::upper_bound(area_up_to_.begin(), area_up_to_.end(), target);
  auto const slot = std::max<std::ptrdiff_t>(after - area_up_to_.begin() - 1, 0);
  return static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(slot, tree_.size() - 1));
}

SurfacePoint Surface::sample(std::uint64_t index, std::uint64_t count, std::uint32_t near) const {
  double const target = area() * (static_cast<double>(index) + random_of(index)) / static_cast<double>(count);
  std::uint32_t slot = near;
  while (slot + 1 < tree_.size() && area_up_to_[slot + 1] <= target) ++slot;
  // Uniform in a triangle: Turk 1990, "Generating random points in triangles".
  double const s = std::sqrt(unit_interval(index * kFirstStep));
  double const t = unit_interval(index * kSecondStep);
  Vec const a = tree_.corner(slot, 0);
  Vec const position = a + (s * (1 - t)) * (tree_.corner(slot, 1) - a) + (s * t) * (tree_.corner(slot, 2) - a);
  return {position, slot};
}

}  // namespace mirel::compare
