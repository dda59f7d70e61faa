#include "standalone/engine/deviation/star_step.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace mirel::engine {
namespace {

constexpr double kUntold = std::numeric_limits<double>::infinity();
// Twice the area of a triangle in the projection, in parts of the product of two of its sides, below which it counts as
// folded.
constexpr double kLeastArea = 1e-6;
// Figures in doubles relative to the star's size are off by much less: what rounding does to a place in a face is a
// part in 10^15 over the sine of its narrowest corner, and no sine is below kLeastArea.
constexpr double kRounding = 1e-12;
constexpr double kNeedle = 1e-3;  // the sine from which on that is so
constexpr double kRoundingOfNeedles = 1e-9;
// The least part that the new vertex must have in a point for its gap to speak there.
constexpr double kLeastPart = 1e-6;

template <typename Flat>
double cross2(Flat const& a, Flat const& b) {
  return a.x * b.y - a.y * b.x;
}
template <typename Flat>
double size2(Flat const& a) {
  return a.x * a.x + a.y * a.y;
}

}  // namespace

StarStep::Flat StarStep::flatten(Point const& p, float gap) const {
  Vec const q = load(p.data()) - load(place_.data());
  return {dot(q, axis_x_), dot(q, axis_y_), dot(q, normal_), static_cast<double>(gap)};
}

// Puts the new faces in their order around the new vertex; false unless they close one ring of distinct corners.
bool StarStep::order_ring(std::span<Face const> kept) {
  place_ = kept[0].corners[kept[0].moving];
  auto const after = [&](std::size_t i) -> Point const& { return kept[i].corners[(kept[i].moving + 1U) % 3]; };
  auto const before = [&](std::size_t i) -> Point const& { return kept[i].corners[(kept[i].moving + 2U) % 3]; };
  for (std::size_t i = 0; i < count_; ++i) {
    if (kept[i].corners[kept[i].moving] != place_) return false;
    std::size_t found = count_;
    for (std::size_t j = 0; j < count_; ++j) {
      if (after(j)[0] != before(i)[0] || after(j) != before(i)) continue;
      if (found != count_) return false;
      found = j;
    }
    if (found == count_) return false;
    next_[i] = static_cast<std::uint8_t>(found);
  }
  std::size_t at = 0;
  for (std::size_t steps = 1; steps < count_; ++steps) {
    at = next_[at];
    if (at == 0) return false;
  }
  return next_[at] == 0;
}

// False where old or new faces are folded over, or do not lie over the same polygon once.
bool StarStep::project(std::span<Face const> kept, std::span<Face const> gone) {
  Vec sum;
  Vec const place = load(place_.data());
  std::array<Vec, kMostFaces> ring;
  for (std::size_t i = 0; i < count_; ++i) ring[i] = load(kept[i].corners[(kept[i].moving + 1U) % 3].data()) - place;
  double longest = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    sum = sum + cross(ring[i], ring[next_[i]]);
    longest = std::max(longest, dot(ring[i], ring[i]));
  }
  double const size = length(sum);
  if (!(size > 1e-30) || !std::isfinite(size)) return false;
  normal_ = (1 / size) * sum;
  Vec const side = std::fabs(normal_.x) < 0.7 ? Vec{1, 0, 0} : Vec{0, 1, 0};
  Vec const across = cross(normal_, side);
  axis_x_ = (1 / length(across)) * across;
  axis_y_ = cross(normal_, axis_x_);
  for (std::size_t i = 0; i < count_; ++i) {
    ring_[i] = {dot(ring[i], axis_x_), dot(ring[i], axis_y_), dot(ring[i], normal_),
                static_cast<double>(kept[i].gaps[(kept[i].moving + 1U) % 3])};
  }
  // Angles of less than a half turn that add up to one turn.
  int turns = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    Flat const& a = ring_[i];
    Flat const& b = ring_[next_[i]];
    wedge_[i] = cross2(a, b);
    double const whole = std::sqrt(size2(a) * size2(b));
    if (!(wedge_[i] > kLeastArea * whole)) return false;
    has_needles_ |= wedge_[i] < kNeedle * whole;
    turns += a.y < 0 && b.y >= 0 ? 1 : 0;
  }
  if (turns != 1) return false;

  // The two ends are the corners of a face that goes which are not on the ring.
  std::array<Point, 2> ends;
  std::array<float, 2> gaps{};
  std::size_t found = 0;
  auto const on_ring = [&](Point const& p) {
    std::size_t i = 0;
    while (i < count_ && (kept[i].corners[(kept[i].moving + 1U) % 3] != p)) ++i;
    return i;
  };
  for (std::size_t k = 0; k < 3; ++k) {
    if (on_ring(gone[0].corners[k]) < count_) continue;
    if (found == 2) return false;
    gaps[found] = gone[0].gaps[k];
    ends[found++] = gone[0].corners[k];
  }
  if (found != 2) return false;
  ends_ = {flatten(ends[0], gaps[0]), flatten(ends[1], gaps[1])};
  extent_ = std::sqrt(
      std::max({longest, size2(ends_[0]) + ends_[0].z * ends_[0].z, size2(ends_[1]) + ends_[1].z * ends_[1].z}));

  // The old faces around either end close as well, so that their rim is that of the new ones.
  auto const end_number = [&](Point const& p) {
    return p == ends[0] ? count_ : p == ends[1] ? count_ + 1 : count_ + 2;
  };
  std::array<std::uint64_t, 2> out{};
  std::array<std::uint64_t, 2> in{};
  old_count_ = 0;
  auto const add_old = [&](std::array<std::size_t, 3> const& corners) {
    for (std::size_t k = 0; k < 3; ++k) {
      old_[old_count_][k] = static_cast<std::uint8_t>(corners[k]);
      if (corners[k] < count_) continue;
      if (corners[k] > count_ + 1) return false;
      std::uint64_t const to = std::uint64_t{1} << corners[(k + 1) % 3];
      std::uint64_t const from = std::uint64_t{1} << corners[(k + 2) % 3];
      std::size_t const end = corners[k] - count_;
      if (((out[end] & to) | (in[end] & from)) != 0) return false;
      out[end] |= to;
      in[end] |= from;
    }
    ++old_count_;
    return true;
  };
  for (std::size_t i = 0; i < count_; ++i) {
    if (!add_old({end_number(kept[i].from), i, next_[i]})) return false;
  }
  for (Face const& face : gone) {
    std::array<std::size_t, 3> corners{};
    std::size_t at_ends = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      corners[k] = on_ring(face.corners[k]);
      if (corners[k] < count_) continue;
      corners[k] = end_number(face.corners[k]);
      ++at_ends;
    }
    if (at_ends != 2 || !add_old(corners)) return false;
  }
  spokes_ = out;
  return out[0] == in[0] && out[1] == in[1];
}

double StarStep::measure(std::span<Face const> kept, std::span<Face const> gone, double most) {
  count_ = kept.size();
  has_needles_ = false;
  if (count_ < 3 || count_ > kMostFaces || gone.size() != 2) return kUntold;
  if (!order_ring(kept) || !project(kept, gone)) return kUntold;
  auto const at = [&](std::size_t corner) -> Flat const& {
    return corner < count_ ? ring_[corner] : ends_[corner - count_];
  };
  double gap = 0;
  // The new vertex over the old faces, which must not be folded over. Which side of an edge it lies on is told to
  // either face by the same two products, so that rounding hides it from neither; what it passes over on the edge
  // itself, both tell alike.
  bool located = false;
  for (std::size_t t = 0; t < old_count_; ++t) {
    Flat const& a = at(old_[t][0]);
    Flat const& b = at(old_[t][1]);
    Flat const& c = at(old_[t][2]);
    double const to_a = cross2(b, c);
    double const to_b = cross2(c, a);
    double const to_c = cross2(a, b);
    double const area = to_a + to_b + to_c;
    Flat const u{b.x - a.x, b.y - a.y, 0, 0};
    Flat const v{c.x - a.x, c.y - a.y, 0, 0};
    double const whole = std::sqrt(size2(u) * size2(v));
    if (!(area > kLeastArea * whole)) return kUntold;
    has_needles_ |= area < kNeedle * whole;
    if (std::min({to_a, to_b, to_c}) < 0) continue;
    double const height = std::fabs(to_a * a.z + to_b * b.z + to_c * c.z);
    gap = std::max(gap, (height + to_a * a.gap + to_b * b.gap + to_c * c.gap) / area);
    located = true;
  }
  if (!located || gap > most) return kUntold;
  // The old ends over the new faces.
  for (Flat const& end : ends_) {
    located = false;
    for (std::size_t i = 0; i < count_; ++i) {
      Flat const& a = ring_[i];
      Flat const& b = ring_[next_[i]];
      double const to_a = cross2(end, b);
      double const to_b = cross2(a, end);
      if (std::min(to_a, to_b) < 0) continue;
      double const part = 1 - (to_a + to_b) / wedge_[i];
      if (part < kLeastPart) return kUntold;
      double const height = std::fabs(end.z - (to_a * a.z + to_b * b.z) / wedge_[i]);
      gap = std::max(gap, (end.gap + height - (to_a * a.gap + to_b * b.gap) / wedge_[i]) / part);
      located = true;
    }
    if (!located) return kUntold;
  }
  if (gap > most) return kUntold;
  // Where old edges cross new ones. Edges on one line need no crossing, and none is needed at an end: the ends tell.
  for (std::size_t e = 0; e < 2; ++e) {
    Flat const from = ends_[e];
    std::uint64_t targets = spokes_[e];
    if (e == 1) targets &= ~(std::uint64_t{1} << count_);
    std::array<double, kMostFaces> side;
    std::array<double, kMostFaces> along;
    for (std::size_t i = 0; i < count_; ++i) {
      side[i] = cross2(ring_[i], from);
      along[i] = ring_[i].x * from.x + ring_[i].y * from.y;
    }
    for (; targets != 0; targets &= targets - 1) {
      auto const target = static_cast<std::size_t>(std::countr_zero(targets));
      Flat const& to = at(target);
      for (std::size_t i = 0; i < count_; ++i) {
        Flat const& spoke = ring_[i];
        double const to_side = cross2(spoke, to);
        double const apart = side[i] - to_side;
        double const scaled = side[i] * apart;  // the part of the way to the crossing, times apart squared
        double const whole = apart * apart;
        if (!(whole > 0) || scaled < 0 || scaled > whole) continue;
        double const t = side[i] / apart;
        double const reach = along[i] + t * (spoke.x * to.x + spoke.y * to.y - along[i]);
        double const squared = size2(spoke);
        if (reach < 0 || reach > squared) continue;
        // Both edges end in one vertex of the rim, whose gap stays.
        if (i == target) continue;
        double const outwards = reach / squared;
        double const part = 1 - outwards;
        if (part < kLeastPart) return kUntold;
        double const height = std::fabs(from.z + t * (to.z - from.z) - outwards * spoke.z);
        gap = std::max(gap, (from.gap + t * (to.gap - from.gap) + height - outwards * spoke.gap) / part);
      }
    }
  }
  gap += (has_needles_ ? kRoundingOfNeedles : kRounding) * extent_;
  return gap <= most ? gap : kUntold;
}

}  // namespace mirel::engine
