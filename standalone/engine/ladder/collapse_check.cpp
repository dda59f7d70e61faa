// Whether a collapse is legal.
#include <algorithm>
#include <cmath>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

// A face may turn by this cosine at most in one collapse.
constexpr float kMinTurnCosine = 0.2F;
// A face may become no worse than this, unless it was: 1 is equilateral.
constexpr float kMinQuality = 0.02F;

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
// needs. `candidates_.neighbours` are the neighbours of a.
LadderBuilder::Obstacle LadderBuilder::check(std::uint32_t a, std::uint32_t b, Vec3 place) {
  if (!gather(a, b, place)) return Obstacle::kTopology;
  if (!link_condition(a, b)) return Obstacle::kTopology;
  if (turns_over(place)) return Obstacle::kFoldover;
  std::uint32_t const mesh = mesh_of(a);
  // In a wide mesh two vertices may be one in ladder units and yet be written apart: the locked one is meant.
  bool const at_a = place == stars_.vertex(a).position() && (stars_.vertex(b).flags & kLocked) == 0;
  bool const at_b = place == stars_.vertex(b).position();
  // A vertex that stays is written as it was read: to the bit.
  place_point_ = at_a ? output_point(a) : at_b ? output_point(b) : output_point(mesh, place);
  if (!is_finite(place_point_) || meets_neighbour(a, b, place)) return Obstacle::kTopology;
  if (options_.prevent_xy_foldovers && turns_over_in_xy(a, b)) return Obstacle::kFoldover;
  if (records_.attributed) {
    attributes_.merge(records_, stars_, mesh, a, b, place, options_.prevent_uv_foldovers, merge_);
    if (merge_.turns_uv_over) return Obstacle::kFoldover;
  }
  if (options_.tolerance > 0 && !within_tolerance(a, b)) return Obstacle::kTolerance;
  return Obstacle::kNone;
}

// Sorts the faces of both stars into those on the edge and those that stay. False when no face stays.
bool LadderBuilder::gather(std::uint32_t a, std::uint32_t b, Vec3 place) {
  survivors_.clear();
  dying_.clear();
  Vec3 const pa = stars_.vertex(a).position();
  Vec3 const pb = stars_.vertex(b).position();
  auto const survive = [&](StarEntry const& entry, Vec3 from, bool of_gone) {
    // If the collapse is made this vertex's star is written next.
    __builtin_prefetch(stars_.entries() + stars_.vertex(entry.next).star_begin, 1);
    Vec3 const next = stars_.vertex(entry.next).position();
    Vec3 const previous = stars_.vertex(entry.previous).position();
    survivors_.push_back({entry, of_gone, cross(next - from, previous - from), cross(next - place, previous - place)});
  };
  for (StarEntry const& entry : std::as_const(stars_).star(a)) {
    if (entry.next == b) {
      dying_.push_back({entry, entry.previous, triangle_normal(a, entry)});
    } else if (entry.previous == b) {
      dying_.push_back({entry, entry.next, triangle_normal(a, entry)});
    } else {
      survive(entry, pa, false);
    }
  }
  for (StarEntry const& entry : std::as_const(stars_).star(b)) {
    if (entry.next != a && entry.previous != a) survive(entry, pb, true);
  }
  return !survivors_.empty() && !dying_.empty();
}

// Dey, Edelsbrunner, Guha and Nekhayev 1999: the collapse keeps the topology when the links of the ends meet in the
// link of the edge alone, a boundary counting as a fan to one more vertex.
bool LadderBuilder::link_condition(std::uint32_t a, std::uint32_t b) {
  Vertex const& va = stars_.vertex(a);
  Vertex const& vb = stars_.vertex(b);
  if ((va.flags & vb.flags & kBoundary) != 0 && dying_.size() != 1) return false;

  list_neighbours(stars_, b, other_neighbours_);
  std::vector<std::uint32_t> const& mine = candidates_.neighbours;
  std::size_t shared = 0;
  if (mine.size() * other_neighbours_.size() <= 4096) {
    for (std::uint32_t const neighbour : other_neighbours_) {
      for (std::uint32_t const own : mine) shared += own == neighbour ? 1U : 0U;
    }
  } else {
    std::vector<std::uint32_t> sorted = mine;
    std::sort(sorted.begin(), sorted.end());
    for (std::uint32_t const neighbour : other_neighbours_) {
      shared += std::binary_search(sorted.begin(), sorted.end(), neighbour) ? 1U : 0U;
    }
  }
  // All vertices opposite the edge are shared; two faces may have one and the same where faces lie back to back.
  std::size_t opposite = 0;
  for (std::size_t i = 0; i < dying_.size(); ++i) {
    bool seen = false;
    for (std::size_t k = 0; k < i; ++k) seen |= dying_[k].opposite == dying_[i].opposite;
    opposite += seen ? 0U : 1U;
  }
  if (shared != opposite) return false;

  // Two faces over the same two opposite vertices would come to lie on each other (the last tetrahedron).
  if (opposite >= 2) {
    auto const is_opposite = [this](std::uint32_t v) {
      return std::any_of(dying_.begin(), dying_.end(), [v](Dying const& face) { return face.opposite == v; });
    };
    for (Survivor const& mine_face : survivors_) {
      if (mine_face.of_gone || !is_opposite(mine_face.entry.next) || !is_opposite(mine_face.entry.previous)) continue;
      for (Survivor const& other : survivors_) {
        if (!other.of_gone) continue;
        if ((other.entry.next == mine_face.entry.next && other.entry.previous == mine_face.entry.previous) ||
            (other.entry.next == mine_face.entry.previous && other.entry.previous == mine_face.entry.next)) {
          return false;
        }
      }
    }
  }
  return true;
}

// Whether a face that stays would turn too far or become a sliver.
bool LadderBuilder::turns_over(Vec3 place) const {
  for (Survivor const& face : survivors_) {
    float const before2 = squared_length(face.before);
    float const after2 = squared_length(face.after);
    Vec3 const next = stars_.vertex(face.entry.next).position();
    Vec3 const previous = stars_.vertex(face.entry.previous).position();
    Vec3 const e1 = next - place;
    Vec3 const e2 = previous - place;
    float const size = squared_length(e1) + squared_length(e2) + squared_length(e2 - e1);
    float const size_across = squared_length(next - previous);
    bool const had_area = before2 > 1e-12F * size_across * size_across;
    if (after2 < (kMinQuality / 3.4641016F) * (kMinQuality / 3.4641016F) * size * size) {
      if (!had_area) {
        if (!(after2 > 0)) return true;
        continue;
      }
      // A sliver may stay one, not become one; its direction is then noise only if it has no area to speak of.
      if (!(after2 > 1e-12F * size * size)) return true;
      if (after2 * size_across * size_across < before2 * size * size && after2 < before2) return true;
    }
    if (!had_area) continue;
    float const cosine = dot(face.before, face.after);
    if (!(cosine > 0) || cosine * cosine < kMinTurnCosine * kMinTurnCosine * before2 * after2) return true;
  }
  return false;
}

// Whether the new place, as it will be written, is that of a neighbour.
bool LadderBuilder::meets_neighbour(std::uint32_t a, std::uint32_t b, Vec3 place) const {
  for (Survivor const& face : survivors_) {
    for (std::uint32_t const v : {face.entry.next, face.entry.previous}) {
      if (v == a || v == b) continue;
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
  for (Survivor const& face : survivors_) {
    Point const next = output_point(face.entry.next);
    Point const previous = output_point(face.entry.previous);
    if (xy_sign(face.of_gone ? at_b : at_a, next, previous) != xy_sign(place_point_, next, previous)) return true;
  }
  return false;
}

bool LadderBuilder::within_tolerance(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const mesh = mesh_of(a);
  std::uint32_t const base = records_.face_base[mesh];
  removed_faces_.clear();
  changed_faces_.clear();
  neighbour_faces_.clear();
  for (Dying const& face : dying_) removed_faces_.push_back(face.entry.face() - base);
  for (Survivor const& face : survivors_) {
    ChangedFace changed{face.entry.face() - base, {}};
    changed.corners[face.entry.corner()] = place_point_;
    changed.corners[(face.entry.corner() + 1) % 3] = output_point(face.entry.next);
    changed.corners[(face.entry.corner() + 2) % 3] = output_point(face.entry.previous);
    changed_faces_.push_back(changed);
  }
  // The faces around the two stars.
  auto const add_ring = [&](std::vector<std::uint32_t> const& ring) {
    for (std::uint32_t const v : ring) {
      if (v == a || v == b) continue;
      for (StarEntry const& entry : std::as_const(stars_).star(v)) {
        bool const inside = entry.next == a || entry.next == b || entry.previous == a || entry.previous == b;
        if (!inside) neighbour_faces_.push_back(entry.face() - base);
      }
    }
  };
  add_ring(candidates_.neighbours);
  add_ring(other_neighbours_);
  std::sort(neighbour_faces_.begin(), neighbour_faces_.end());
  neighbour_faces_.erase(std::unique(neighbour_faces_.begin(), neighbour_faces_.end()), neighbour_faces_.end());
  return guards_[mesh]->permits(removed_faces_, changed_faces_, neighbour_faces_);
}

}  // namespace mirel::engine
