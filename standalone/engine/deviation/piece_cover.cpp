#include "standalone/engine/deviation/piece_cover.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace mirel::engine {
namespace {

// What is covered is decided by distances alone. The margins here end cuts that lead nowhere, before the budget does.
// A cut must leave this part of the width on either side: rounding must not pass for progress.
constexpr double kLeastPart = 1e-5;
// Pieces smaller than this part of the radius are given up: their corners are all but beyond it.
constexpr double kLeastPieceOfRadius = 1.0 / 64;
// Covers that succeed need 4 to 64 corners, more where many candidates meet; one that goes on for longer is following
// a line at exactly the radius.
constexpr std::size_t kMostCorners = 128;
constexpr std::size_t kMostCornersPerCandidate = 8;

}  // namespace

double PieceCover::reach(std::array<Vec, 3> const& corners, CoverTriangle const& triangle, double limit) {
  double const far = std::numeric_limits<double>::infinity();
  double const room = limit - triangle.offset;
  if (!(room >= 0)) return far;
  double worst = 0;
  for (Vec const& corner : corners) {
    --budget;
    worst = std::max(worst, triangle.frame.squared_distance(corner, room));
    if (!(worst <= room * room)) return far;
  }
  return std::sqrt(worst) + triangle.offset;
}

// False when the corner is beyond the radius of every candidate.
bool PieceCover::add_corner(Vec at, std::span<CoverTriangle const* const> candidates, double radius,
                            std::uint32_t& corner) {
  corner = static_cast<std::uint32_t>(corners_.size());
  Corner added{at, 0};
  std::size_t const words = within_.size();
  within_.resize(words + words_, 0);
  bool any = false;
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t c = 0; c < candidates.size(); ++c) {
    double const room = radius - candidates[c]->offset;
    double const d = std::sqrt(candidates[c]->frame.squared_distance(at, room)) + candidates[c]->offset;
    distances_.push_back(d);
    if (d <= radius) {
      within_[words + c / 64] |= std::uint64_t{1} << (c % 64);
      any = true;
    }
    if (d < best) {
      best = d;
      added.nearest = static_cast<std::uint32_t>(c);
    }
  }
  budget -= static_cast<std::int64_t>(candidates.size());
  corners_.push_back(added);
  if (!any) {
    beyond_known = true;
    beyond = at;
  }
  return any;
}

// Cuts the part by that side plane of the candidate that has a corner of the part farthest outside.
// False when no side plane has corners on both sides.
bool PieceCover::cut(Part const& part, std::uint32_t candidate, std::span<CoverTriangle const* const> candidates,
                     double radius, bool& within_reach) {
  TriangleFrame const& frame = candidates[candidate]->frame;
  if (!frame.has_plane()) return false;
  std::size_t edge = 0;
  double lowest = 0;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    for (std::size_t k = 0; k < 3; ++k) {
      double const d = frame.edge_distance(k, corners_[part.corners[i]].at);
      if (d < lowest) {
        lowest = d;
        edge = k;
      }
    }
  }
  if (!(lowest < 0)) return false;
  std::array<double, kMaxCorners> value{};
  double highest = 0;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    value[i] = frame.edge_distance(edge, corners_[part.corners[i]].at);
    highest = std::max(highest, value[i]);
  }
  double const least = kLeastPart * (highest - lowest);
  if (!(highest > least && -lowest > least)) return false;
  std::uint32_t crossings = 0;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    crossings += (value[i] >= 0) != (value[i + 1 == part.count ? 0 : i + 1] >= 0) ? 1U : 0U;
  }
  if (crossings != 2) return false;  // a part so thin that rounding has bent it

  Part inside{{}, 0};
  Part outside{{}, 0};
  auto const add = [](Part& to, std::uint32_t corner) { to.corners[to.count++] = corner; };
  if (part.count == kMaxCorners) {
    // No room for another corner: halved along a diagonal, which loses nothing either.
    for (std::uint32_t i = 0; i <= kMaxCorners / 2; ++i) add(inside, part.corners[i]);
    for (std::uint32_t i = kMaxCorners / 2; i < kMaxCorners; ++i) add(outside, part.corners[i]);
    add(outside, part.corners[0]);
  } else {
    for (std::uint32_t i = 0; i < part.count; ++i) {
      std::uint32_t const j = i + 1 == part.count ? 0 : i + 1;
      add(value[i] >= 0 ? inside : outside, part.corners[i]);
      if ((value[i] >= 0) == (value[j] >= 0)) continue;
      Vec const a = corners_[part.corners[i]].at;
      Vec const b = corners_[part.corners[j]].at;
      std::uint32_t corner = 0;
      if (!add_corner(a + (value[i] / (value[i] - value[j])) * (b - a), candidates, radius, corner)) {
        within_reach = false;
        return true;
      }
      add(inside, corner);
      add(outside, corner);
    }
  }
  stack_.push_back(outside);
  stack_.push_back(inside);
  return true;
}

// Cuts the part in two. False when that shows a point beyond the radius, or there is nothing sensible left to cut.
bool PieceCover::split(Part const& part, std::span<CoverTriangle const* const> candidates, double radius) {
  // The candidate under the middle first: what is cut off along its edges is overlay, whatever meets at the corners.
  Vec middle_of_part;
  for (std::uint32_t i = 0; i < part.count; ++i) middle_of_part = middle_of_part + corners_[part.corners[i]].at;
  middle_of_part = (1.0 / part.count) * middle_of_part;
  std::uint32_t under = 0;
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t c = 0; c < candidates.size(); ++c) {
    double const room = std::min(best, radius) - candidates[c]->offset;
    if (room < 0) continue;
    double const d = std::sqrt(candidates[c]->frame.squared_distance(middle_of_part, room)) + candidates[c]->offset;
    if (d < best) {
      best = d;
      under = static_cast<std::uint32_t>(c);
    }
  }
  budget -= static_cast<std::int64_t>(candidates.size());
  if (!(best <= radius)) {
    beyond_known = true;
    beyond = middle_of_part;
    return false;
  }
  bool within_reach = true;
  if (cut(part, under, candidates, radius, within_reach)) return within_reach;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    std::uint32_t const nearest = corners_[part.corners[i]].nearest;
    if (nearest == under || (i > 0 && nearest == corners_[part.corners[i - 1]].nearest)) continue;
    if (cut(part, nearest, candidates, radius, within_reach)) return within_reach;
  }
  std::uint32_t longest = 0;
  double squared = -1;
  for (std::uint32_t i = 0; i < part.count; ++i) {
    Vec const e = corners_[part.corners[(i + 1) % part.count]].at - corners_[part.corners[i]].at;
    double const s = dot(e, e);
    if (s > squared) {
      squared = s;
      longest = i;
    }
  }
  double const least = kLeastPieceOfRadius * radius;
  if (squared < least * least) return false;
  std::uint32_t const next = (longest + 1) % part.count;
  std::uint32_t const opposite = (next + (part.count - 1) / 2) % part.count;
  std::uint32_t middle = 0;
  if (!add_corner(0.5 * (corners_[part.corners[longest]].at + corners_[part.corners[next]].at), candidates, radius,
                  middle)) {
    return false;
  }
  for (auto const& [from, to] : {std::pair{next, opposite}, std::pair{opposite, longest}}) {
    Part half{{}, 0};
    half.corners[half.count++] = middle;
    for (std::uint32_t i = from;; i = (i + 1) % part.count) {
      half.corners[half.count++] = part.corners[i];
      if (i == to) break;
    }
    stack_.push_back(half);
  }
  return true;
}

bool PieceCover::covers(std::array<Vec, 3> const& whole, std::span<CoverTriangle const* const> candidates,
                        double radius, double& reached, std::vector<std::uint32_t>& used) {
  beyond_known = false;
  words_ = (candidates.size() + 63) / 64;
  std::size_t const most_corners = kMostCorners + kMostCornersPerCandidate * candidates.size();
  corners_.clear();
  distances_.clear();
  within_.clear();
  stack_.clear();
  Part first{{}, 3};
  for (std::size_t k = 0; k < 3; ++k) {
    if (!add_corner(whole[k], candidates, radius, first.corners[k])) return false;
  }
  stack_.push_back(first);
  double worst = 0;
  while (!stack_.empty()) {
    if (budget < 0 || corners_.size() > most_corners) return false;
    Part const part = stack_.back();
    stack_.pop_back();
    double best = std::numeric_limits<double>::infinity();
    std::size_t cover = 0;
    for (std::size_t word = 0; word < words_; ++word) {
      std::uint64_t common = ~std::uint64_t{0};
      for (std::uint32_t i = 0; i < part.count; ++i) common &= within_[part.corners[i] * words_ + word];
      for (; common != 0; common &= common - 1) {
        std::size_t const c = 64 * word + static_cast<std::size_t>(std::countr_zero(common));
        double farthest = 0;
        for (std::uint32_t i = 0; i < part.count && farthest < best; ++i) {
          farthest = std::max(farthest, distances_[part.corners[i] * candidates.size() + c]);
        }
        if (farthest < best) {
          best = farthest;
          cover = c;
        }
      }
    }
    if (!(best <= radius)) {
      budget -= part.count;
      if (!split(part, candidates, radius)) return false;
      continue;
    }
    worst = std::max(worst, best);
    if (std::find(used.begin(), used.end(), candidates[cover]->face) == used.end()) {
      used.push_back(candidates[cover]->face);
    }
  }
  reached = std::max(reached, worst);
  return true;
}

}  // namespace mirel::engine
