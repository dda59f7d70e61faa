#include "standalone/engine/deviation/face_reach.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirel::engine {
namespace {

// Far above what rounding does to a gap.
double widened(double gap) {
  return gap * (1 + 1e-9);
}

bool is_beyond(std::array<double, 3> const& values, double least, double most) {
  return std::max({values[0], values[1], values[2]}) < least || std::min({values[0], values[1], values[2]}) > most;
}

}  // namespace

FaceReach::FaceReach(Triangle const& corners, std::array<float, 3> const& gaps, double rounding)
    : corners_(corners),
      rounding_(rounding),
      reach_(widened(static_cast<double>(std::max({gaps[0], gaps[1], gaps[2]}))) + 2 * rounding),
      low_(corners[0]),
      high_(corners[0]) {
  for (std::size_t k = 0; k < 3; ++k) {
    Vec const& p = corners[k];
    low_ = {std::min(low_.x, p.x), std::min(low_.y, p.y), std::min(low_.z, p.z)};
    high_ = {std::max(high_.x, p.x), std::max(high_.y, p.y), std::max(high_.z, p.z)};
    edges_[k] = corners[(k + 1) % 3] - p;
    lengths_[k] = length(edges_[k]);
  }
  Vec const margin{reach_, reach_, reach_};
  low_ = low_ - margin;
  high_ = high_ + margin;
  size_ = length(high_ - low_);
  // The normal from the shorter edges: for a narrow face that is much more exact.
  auto const longest = static_cast<std::size_t>(std::max_element(lengths_.begin(), lengths_.end()) - lengths_.begin());
  std::size_t const first = (longest + 1) % 3;
  std::size_t const second = (longest + 2) % 3;
  Vec const across = cross(edges_[first], edges_[second]);
  area_ = length(across);
  has_plane_ = area_ > 1e-7 * lengths_[longest] * lengths_[longest];
  if (!has_plane_) return;
  normal_ = (1 / area_) * across;
  turn_ = 1e-15 * lengths_[first] * lengths_[second] / area_;
  for (std::size_t k = 0; k < 3; ++k) measure_side(k, gaps);
  measure_rise(gaps);
}

void FaceReach::measure_side(std::size_t k, std::array<float, 3> const& gaps) {
  std::size_t const next = (k + 1) % 3;
  std::size_t const opposite = (k + 2) % 3;
  Side& side = sides_[k];
  Vec const inwards = cross(normal_, edges_[k]);
  side.inwards = (1 / length(inwards)) * inwards;
  double const at = static_cast<double>(gaps[k]);
  double const change = static_cast<double>(gaps[next]) - at;
  double const along = static_cast<double>(std::max(gaps[k], gaps[next]));
  double const other = static_cast<double>(gaps[opposite]);
  double const width = dot(corners_[opposite] - corners_[k], side.inwards);
  // Points on the edge itself belong to the face beyond as well.
  side.beyond = other - along > 0.5 * width ? reach_ : widened(along) - 0.25 * rounding_;
  // The way to the own point is no longer than the gap there, which is that along the edge and what it rises by
  // inwards: no more than 4 times that beside the point itself.
  double const squared = lengths_[k] * lengths_[k];
  double const slope = std::abs(change) / lengths_[k];
  double const foot = -dot(edges_[opposite], edges_[k]) / squared;
  side.reach = {(widened(1 + 4 * slope) * change / squared) * edges_[k], widened(1 + 4 * slope) * at,
                slope < 0.25 && other - (at + foot * change) < 0.5 * width};
}

// The gap over the face is no more than one that rises from the corner of the least gap on.
void FaceReach::measure_rise(std::array<float, 3> const& gaps) {
  apex_ = static_cast<std::size_t>(std::min_element(gaps.begin(), gaps.end()) - gaps.begin());
  std::size_t const opposite = (apex_ + 1) % 3;
  double const least = static_cast<double>(gaps[apex_]);
  double const steepness = (reach_ - least) * lengths_[opposite] / area_;
  if (!(steepness < 0.25)) return;
  rise_ = {(-widened(steepness / (1 - steepness))) * sides_[opposite].inwards, widened(least / (1 - steepness)), true};
}

double FaceReach::doubt(Triangle const& triangle) const {
  double far = 0;
  for (Vec const& p : triangle) far = std::max(far, length(p - corners_[0]));
  return turn_ * (far + size_);
}

FaceReach::Values FaceReach::sides_of(Triangle const& triangle, std::size_t k) const {
  Values values;
  for (std::size_t i = 0; i < 3; ++i) values[i] = dot(triangle[i] - corners_[k], sides_[k].inwards);
  return values;
}

FaceReach::Values FaceReach::heights_of(Triangle const& triangle) const {
  Values values;
  for (std::size_t i = 0; i < 3; ++i) values[i] = dot(triangle[i] - corners_[0], normal_);
  return values;
}

bool FaceReach::excludes(Triangle const& triangle) const {
  auto const& [a, b, c] = triangle;
  if (is_beyond({a.x, b.x, c.x}, low_.x, high_.x) || is_beyond({a.y, b.y, c.y}, low_.y, high_.y) ||
      is_beyond({a.z, b.z, c.z}, low_.z, high_.z)) {
    return true;
  }
  if (!has_plane_) return false;
  double const margin = doubt(triangle);
  for (std::size_t k = 0; k < 3; ++k) {
    double const least = -sides_[k].beyond - margin;
    if (is_beyond(sides_of(triangle, k), least, std::numeric_limits<double>::infinity())) return true;
  }
  return is_beyond(heights_of(triangle), -reach_ - margin, reach_ + margin);
}

// Whether values that a point within reach has above 0 are below it at all corners. What only meets the face where
// there is no gap belongs to others.
bool FaceReach::leads_away(Values const& values, double doubt) const {
  double const least = std::min({values[0], values[1], values[2]});
  return std::max({values[0], values[1], values[2]}) < (least < -rounding_ ? 0.25 * rounding_ : 0) - doubt;
}

bool FaceReach::excludes_by_place(Triangle const& triangle) const {
  if (!has_plane_) return false;
  double const margin = doubt(triangle);
  for (std::size_t k = 0; k < 3; ++k) {
    Reach const& reach = sides_[k].reach;
    if (!reach.known) continue;
    Values inside = sides_of(triangle, k);
    for (std::size_t i = 0; i < 3; ++i) inside[i] += reach.at_corner + dot(triangle[i] - corners_[k], reach.slope);
    if (leads_away(inside, margin)) return true;
  }
  if (!rise_.known) return false;
  Values const heights = heights_of(triangle);
  Values above;
  Values below;
  for (std::size_t i = 0; i < 3; ++i) {
    double const gap = rise_.at_corner + dot(triangle[i] - corners_[apex_], rise_.slope);
    above[i] = gap - heights[i];
    below[i] = gap + heights[i];
  }
  return leads_away(above, margin) || leads_away(below, margin);
}

}  // namespace mirel::engine
