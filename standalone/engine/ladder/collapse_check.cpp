// Whether a collapse is legal.
#include <algorithm>
#include <cmath>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

int sign(double value) {
  return value > 0 ? 1 : value < 0 ? -1 : 0;
}

// Optimal places lie outside of a round mesh: at the end of the number range there may be no number for them.
bool is_finite(Point const& point) {
  return std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]);
}

int xy_sign(Point const& a, Point const& b, Point const& c) {
  return sign((double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
              (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]}));
}

}  // namespace

// Whether the edge (a, b) may collapse to `place`, the cheap tests first. Leaves in the scratch members what `commit`
// needs.
LadderBuilder::Obstacle LadderBuilder::check(std::uint32_t a, std::uint32_t b, Vec3 place) {
  if (options_.tolerance > 0 && is_refused(a, b)) return Obstacle::kTolerance;
  if ((stars_.is_hub(a) || stars_.is_hub(b)) && hub_turns(a, b, place)) return Obstacle::kFoldover;
  if (!gather(a, b)) return Obstacle::kTopology;
  neighbours_known_ = false;
  if (!link_condition(a, b)) return Obstacle::kTopology;
  if (options_.lock_boundaries && drops_locked_edge(a, b)) return Obstacle::kLockedBoundary;
  fetch_ring(stars_.vertex(a).star_count < stars_.vertex(b).star_count ? a : b);
  fan_.place[0] = place.x;
  fan_.place[1] = place.y;
  fan_.place[2] = place.z;
  std::uint32_t verdict = kernels_.test_fan(stars_.vertices(), fan_, fan_changes_.data(), merged_sums_);
  if (verdict == kFanTurns && free_slivers_) {
    verdict = kernels_.test_sliver_fan(stars_.vertices(), fan_, fan_changes_.data(), merged_sums_);
  }
  if (verdict == kFanTurns) return Obstacle::kFoldover;
  std::uint32_t const mesh = mesh_of(a);
  // In a wide mesh two vertices may be one in ladder units and yet be written apart: the locked one is meant.
  bool const at_a = place == stars_.vertex(a).position() && (stars_.vertex(b).flags & kLocked) == 0;
  bool const at_b = place == stars_.vertex(b).position();
  // A vertex that stays is written as it was read: to the bit.
  place_point_ = at_a ? output_point(a) : at_b ? output_point(b) : output_point(mesh, place);
  if (!is_finite(place_point_)) return Obstacle::kTopology;
  if (verdict == kFanTouches && meets_neighbour(place)) return Obstacle::kTopology;
  if (options_.prevent_xy_foldovers && turns_over_in_xy(a, b)) return Obstacle::kFoldover;
  if (records_.attributed && !merge_wedges(mesh, a, b, place)) return Obstacle::kFoldover;
  if (options_.tolerance > 0 && !within_tolerance(a, b)) {
    refuse(a, b);
    return Obstacle::kTolerance;
  }
  return Obstacle::kNone;
}

// Begins to bring the stars around an end to the processor: those around the end that goes are written to.
void LadderBuilder::fetch_ring(std::uint32_t end) const {
  constexpr std::uint32_t kMostFaces = 12;
  for (StarEntry const& face : stars_.star(end).first(std::min(stars_.vertex(end).star_count, kMostFaces))) {
    stars_.fetch(face.next);
  }
}

// The test for faces that turn, a block of faces after the other and the smaller star first: most collapses into a hub
// end here before all of its star has been looked at.
bool LadderBuilder::hub_turns(std::uint32_t a, std::uint32_t b, Vec3 place) {
  constexpr std::uint32_t kBlock = 64;
  StarEntry faces[kBlock + kMaxLanes];
  FaceRow changes[kBlock + kMaxLanes];
  FaceRow merged;
  auto const test = free_slivers_ ? kernels_.test_sliver_fan : kernels_.test_fan;
  bool const a_first = stars_.vertex(a).star_count <= stars_.vertex(b).star_count;
  for (int round = 0; round < 2; ++round) {
    std::uint32_t const end = a_first == (round == 0) ? a : b;
    std::uint32_t const other = end == a ? b : a;
    std::span<StarEntry const> const star = std::as_const(stars_).star(end);
    for (std::size_t i = 0; i < star.size();) {
      std::uint32_t count = 0;
      for (; i < star.size() && count < kBlock; ++i) {
        faces[count] = star[i];
        auto const on_edge =
            static_cast<std::uint32_t>(star[i].next == other) | static_cast<std::uint32_t>(star[i].previous == other);
        count += 1 - on_edge;
      }
      if (count == 0) continue;
      std::fill_n(faces + count, kMaxLanes, faces[count - 1]);
      Fan const fan{faces, count, count, count, end, other, {place.x, place.y, place.z}, rounding_};
      if (test(stars_.vertices(), fan, changes, merged) == kFanTurns) return true;
    }
  }
  return false;
}

// Sorts the faces of both stars into those that stay and those on the edge. False when no face stays or none is on the
// edge.
bool LadderBuilder::gather(std::uint32_t a, std::uint32_t b) {
  std::span<StarEntry const> const star_a = std::as_const(stars_).star(a);
  std::span<StarEntry const> const star_b = std::as_const(stars_).star(b);
  std::size_t const room = 2 * star_a.size() + star_b.size() + kMaxLanes;
  if (fan_faces_.size() < room) {
    fan_faces_.resize(room);
    fan_changes_.resize(room);
    fan_going_.resize(room);
  }
  // Faces on the edge are written and then written over; those of a are pushed on again at the end.
  StarEntry* kept = fan_faces_.data();
  std::uint32_t* const going = fan_going_.data();
  std::uint32_t going_count = 0;
  auto const on_edge = [](StarEntry const& entry, std::uint32_t other) {
    return static_cast<std::uint32_t>(entry.next == other) | static_cast<std::uint32_t>(entry.previous == other);
  };
  for (std::uint32_t i = 0; i < star_a.size(); ++i) {
    std::uint32_t const goes = on_edge(star_a[i], b);
    *kept = star_a[i];
    kept += 1 - goes;
    going[going_count] = i;
    going_count += goes;
  }
  fan_.of_a = static_cast<std::uint32_t>(kept - fan_faces_.data());
  for (StarEntry const& entry : star_b) {
    *kept = entry;
    kept += 1 - on_edge(entry, a);
  }
  fan_.surviving = static_cast<std::uint32_t>(kept - fan_faces_.data());
  for (std::uint32_t i = 0; i < going_count; ++i) *kept++ = star_a[going[i]];
  fan_.count = fan_.surviving + going_count;
  if (fan_.count > 0) std::fill_n(kept, kMaxLanes, kept[-1]);
  fan_.faces = fan_faces_.data();
  fan_.a = a;
  fan_.b = b;
  fan_.closeness = rounding_;
  return fan_.surviving > 0 && going_count > 0;
}

bool LadderBuilder::has_sliver(std::uint32_t v) const {
  Vec3 const origin = stars_.vertex(v).position();
  return std::ranges::any_of(stars_.star(v), [&](StarEntry const& entry) {
    Vec3 const e1 = stars_.vertex(entry.next).position() - origin;
    Vec3 const e2 = stars_.vertex(entry.previous).position() - origin;
    float const size = squared_length(e1) + squared_length(e2) + squared_length(e2 - e1);
    constexpr float kLimit = kSliverQuality / 3.4641016F;
    return squared_length(cross(e1, e2)) < kLimit * kLimit * size * size;
  });
}

void LadderBuilder::list_both_neighbours() {
  if (neighbours_known_) return;
  neighbours_known_ = true;
  // The edges of a vertex are mostly tried one after the other.
  if (own_listed_ != fan_.a) list_neighbours(stars_, fan_.a, own_neighbours_);
  own_listed_ = fan_.a;
  list_neighbours(stars_, fan_.b, other_neighbours_);
}

std::uint32_t LadderBuilder::count_shared_neighbours(std::uint32_t a, std::uint32_t b) {
  if (has_closed_fans(a) && has_closed_fans(b) && !stars_.is_hub(a) && !stars_.is_hub(b)) {
    return star_kernels_.count_shared(stars_.star(a).data(), stars_.vertex(a).star_count, stars_.star(b).data(),
                                      stars_.vertex(b).star_count);
  }
  list_both_neighbours();
  return count_shared(own_neighbours_, other_neighbours_);
}

// Dey, Edelsbrunner, Guha and Nekhayev 1999: the collapse keeps the topology when the links of the ends meet in the
// link of the edge alone, a boundary counting as a fan to one more vertex.
bool LadderBuilder::link_condition(std::uint32_t a, std::uint32_t b) {
  Vertex const& va = stars_.vertex(a);
  Vertex const& vb = stars_.vertex(b);
  std::span<StarEntry const> const gone = dying();
  if ((va.flags & vb.flags & kBoundary) != 0 && gone.size() != 1) return false;

  std::uint32_t const shared = count_shared_neighbours(a, b);
  // All vertices opposite the edge are shared; two faces may have one and the same where faces lie back to back.
  std::uint32_t opposites = 0;
  for (std::size_t i = 0; i < gone.size(); ++i) {
    bool seen = false;
    for (std::size_t k = 0; k < i; ++k) seen |= opposite(gone[k]) == opposite(gone[i]);
    opposites += seen ? 0U : 1U;
  }
  if (shared != opposites) return false;
  if (opposites < gone.size() && bares_edge()) return false;

  // Two faces over the same two opposite vertices would come to lie on each other (the last tetrahedron). In a closed
  // fan two neighbours of b share a face only where there are but three.
  bool const closed_fans = (va.flags & kIrregular) == 0;
  if (opposites >= 2 && !(closed_fans && va.star_count > 3)) {
    std::span<StarEntry const> const mine = survivors().first(fan_.of_a);
    std::span<StarEntry const> const others = survivors().subspan(fan_.of_a);
    for (StarEntry const& face : mine) {
      if (!is_opposite(face.next) || !is_opposite(face.previous)) continue;
      for (StarEntry const& other : others) {
        if ((other.next == face.next && other.previous == face.previous) ||
            (other.next == face.previous && other.previous == face.next)) {
          return false;
        }
      }
    }
  }
  return true;
}

// Whether an edge with three and more faces would keep one alone: where faces lie back to back, two of them go at once.
bool LadderBuilder::bares_edge() const {
  return std::ranges::any_of(dying(), [this](StarEntry const& gone) {
    std::uint32_t const v = opposite(gone);
    auto const goes = std::ranges::count_if(dying(), [&](StarEntry const& face) { return opposite(face) == v; });
    return goes > 1 && count_faces_with(survivors(), v) == 1;
  });
}

std::size_t LadderBuilder::count_faces_with(std::span<StarEntry const> faces, std::uint32_t v) {
  return static_cast<std::size_t>(
      std::ranges::count_if(faces, [v](StarEntry const& face) { return face.next == v || face.previous == v; }));
}

// Whether an edge between two locked vertices, which may be one of the boundary, would lose its last face (where two
// faces lie back to back on it, both can go at once), or one of the boundary would come to lie on others.
bool LadderBuilder::drops_locked_edge(std::uint32_t a, std::uint32_t b) const {
  bool const a_locked = (stars_.vertex(a).flags & kLocked) != 0;
  if (!a_locked && (stars_.vertex(b).flags & kLocked) == 0) return false;
  auto const mine = survivors().first(fan_.of_a);
  auto const others = survivors().subspan(fan_.of_a);
  for (StarEntry const& gone : dying()) {
    std::uint32_t const v = opposite(gone);
    if ((stars_.vertex(v).flags & kLocked) == 0) continue;
    std::size_t const of_locked = count_faces_with(a_locked ? mine : others, v);
    std::size_t const of_other = count_faces_with(a_locked ? others : mine, v);
    if (of_locked + of_other == 0 || (of_locked == 0 && of_other > 1)) return true;
  }
  return false;
}

// Whether the new place, as it will be written, is that of a neighbour.
bool LadderBuilder::meets_neighbour(Vec3 place) const {
  for (StarEntry const& face : survivors()) {
    for (std::uint32_t const v : {face.next, face.previous}) {
      Vec3 const d = stars_.vertex(v).position() - place;
      if (std::max({std::abs(d.x), std::abs(d.y), std::abs(d.z)}) > rounding_) continue;
      if (output_point(v) == place_point_) return true;
    }
  }
  return false;
}

bool LadderBuilder::turns_over_in_xy(std::uint32_t a, std::uint32_t b) const {
  Point const at_a = output_point(a);
  Point const at_b = output_point(b);
  for (std::uint32_t i = 0; i < fan_.surviving; ++i) {
    Point const next = output_point(fan_faces_[i].next);
    Point const previous = output_point(fan_faces_[i].previous);
    if (xy_sign(i < fan_.of_a ? at_a : at_b, next, previous) != xy_sign(place_point_, next, previous)) return true;
  }
  return false;
}

// Whether the tolerance has refused the edge, or one like it at a large star for what it costs to tell, and nothing has
// changed since.
bool LadderBuilder::is_refused(std::uint32_t a, std::uint32_t b) const {
  if (refused_edges_.holds(a, b)) return true;
  return std::ranges::any_of(std::array{a, b}, [this](std::uint32_t v) {
    return stars_.vertex(v).star_count >= kLargeStar && refused_edges_.holds(v, v);
  });
}

void LadderBuilder::refuse(std::uint32_t a, std::uint32_t b) {
  refused_edges_.add(a, b);
  if (!guards_[mesh_of(a)]->gave_up()) return;
  for (std::uint32_t const v : {a, b}) {
    if (stars_.vertex(v).star_count >= kLargeStar) refused_edges_.add(v, v);
  }
}

bool LadderBuilder::within_tolerance(std::uint32_t a, std::uint32_t b) {
  // On an open border no step is ever known, and what is left of the border would be in the way of all others.
  bool const only_step = only_steps_ && dying().size() > 1;
  if (only_step && survivors().size() > StarStep::kMostFaces) return false;
  std::uint32_t const mesh = mesh_of(a);
  std::uint32_t const base = records_.face_base[mesh];
  removed_faces_.clear();
  changed_faces_.clear();
  neighbour_faces_.clear();
  for (StarEntry const& face : dying()) removed_faces_.push_back(face.face() - base);
  for (StarEntry const& face : survivors()) {
    ChangedFace changed{face.face() - base, {}, static_cast<std::uint8_t>(face.corner())};
    changed.corners[face.corner()] = place_point_;
    changed.corners[(face.corner() + 1) % 3] = output_point(face.next);
    changed.corners[(face.corner() + 2) % 3] = output_point(face.previous);
    changed_faces_.push_back(changed);
  }
  DeviationGuard& guard = *guards_[mesh];
  if (guard.permits_step(removed_faces_, changed_faces_)) {
    list_both_neighbours();
    return true;
  }
  if (only_step) return false;
  // The faces around the two stars. Of a large star beside them those that share an edge with these: they are in the
  // stars of its other corners too, and to look at all would cost the square of their number.
  auto const add_ring = [&](Neighbours const& ring) {
    for (std::uint32_t const v : ring.span()) {
      if (v == a || v == b || stars_.vertex(v).star_count > kLargeStar) continue;
      for (StarEntry const& entry : std::as_const(stars_).star(v)) {
        bool const inside = entry.next == a || entry.next == b || entry.previous == a || entry.previous == b;
        if (!inside) neighbour_faces_.push_back(entry.face() - base);
      }
    }
  };
  list_both_neighbours();
  add_ring(own_neighbours_);
  add_ring(other_neighbours_);
  return guard.permits(removed_faces_, changed_faces_, neighbour_faces_);
}

}  // namespace mirel::engine
