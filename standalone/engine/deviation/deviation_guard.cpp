// How the two directions are kept.
//
// As long as changes are edge collapses inside the surface, and add up to little, nothing of the original is looked at:
// faces are free, and what is known of them are gaps at their vertices (free_surface.h, star_step.h), which bound both
// directions at once. A face is fixed when a change of it asks more, or when it has to cover for another.
//
// Original to current. What of an original triangle does not have its own point on a free face is covered by the fixed
// faces that have the triangle on their lists, all within the tolerance. A face that is fixed lists all originals that
// may have a point of their own on it, told by their distance and their connected part. A change re-opens the originals
// of the faces that it touches; each must be covered again by the new faces, by faces that also answer for it, or by
// the neighbours. Lists follow the surface, so a far part of the mesh is never mistaken for cover that will stay.
//
// Current to original. Every live face has a bound on its distance from the original. New faces are first compared
// with the old ones that they replace: the distance to an old face plus that face's bound bounds the new one
// (triangle inequality), so early, tiny changes never touch the tree. Where that is too much, the face is cut against
// the original itself, with the tree finding the nearest triangle of each part.
//
// Both use convexity on exact cuts (piece_cover.h). Parts are cut no further than the tolerance needs: trying smaller
// radii first made a tighter bound for early steps, but two to four times the work (benchmarks/deviation).
// A related method, with the correspondence kept as a mapping:
// Cohen, Manocha and Olano 1997, "Simplifying polygonal models using successive mappings"; local tolerance volumes:
// Gueziec 1999, "Locally toleranced surface simplification".
#include "standalone/engine/deviation/deviation_guard.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "standalone/engine/deviation/answer_lists.h"
#include "standalone/engine/deviation/convex_piece.h"
#include "standalone/engine/deviation/face_reach.h"
#include "standalone/engine/deviation/free_surface.h"
#include "standalone/engine/deviation/patch_overlay.h"
#include "standalone/engine/deviation/piece_cover.h"
#include "standalone/engine/deviation/plane_overlay.h"
#include "standalone/engine/deviation/star_step.h"
#include "standalone/engine/deviation/triangle_bvh.h"
#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {
namespace {

// Rounding of cuts and distances in double, far above its worst case, relative to the largest coordinate.
constexpr double kRounding = 1e-12;
// Parts of a face smaller than this part of the radius are given up: they are all but beyond it.
constexpr double kLeastPieceOfRadius = 1.0 / 64;
// How much farther than the old faces a new one may be, as part of the radius, to be taken by comparison with them
// alone, and what that comparison may cost for each old face. Beyond it the tree is quicker, and its answer leaves more
// room for later changes.
constexpr double kStepOfRadius = 1.0 / 16;
constexpr std::int64_t kStepBudget = 32;
constexpr std::int64_t kStepBudgetPerFace = 8;
// The part of the radius up to which changes are made without a look at the original.
constexpr double kFreeStep = 0.5;
// What one question may cost in distance tests, far above what is usual: it ends the few that follow a line at exactly
// the tolerance.
constexpr std::int64_t kBudgetPerOriginal = 256;
constexpr std::int64_t kBudgetPerFace = 8192;
constexpr std::int64_t kCostOfTreeQuery = 32;
// Originals under a face from which on it is worth looking at them more closely: less than in the stars beside a
// collapse of which not all faces are taken to cover for others.
constexpr std::size_t kLongList = 64;
// A part of the surface that has more around it is not removed: to look at all of it would take too long.
constexpr std::size_t kMostNearSlots = 65536;
constexpr std::size_t kMostNearFaces = 4096;

// Whether a box and that of a face are farther apart than r: quick, and often so.
bool beyond_box(Vec low, Vec high, std::array<Point, 3> const& corners, double r) {
  auto const apart = [&](std::size_t k, double least, double most) {
    auto const [from, to] = std::minmax({corners[0][k], corners[1][k], corners[2][k]});
    return static_cast<double>(from) > most + r || static_cast<double>(to) < least - r;
  };
  return apart(0, low.x, high.x) || apart(1, low.y, high.y) || apart(2, low.z, high.z);
}
bool beyond_box(Vec p, std::array<Point, 3> const& corners, double r) {
  return beyond_box(p, p, corners, r);
}

Point narrow(Vec p) {
  return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

bool is_finite(ChangedFace const& face) {
  for (Point const& p : face.corners) {
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return false;
  }
  return true;
}

}  // namespace

struct DeviationGuard::Data {
  using Corners = std::array<Point, 3>;
  struct Obligation {
    std::uint32_t slot;
    std::uint32_t face;  // the touched face on whose list it was found
  };
  // A point of the original that has led to a refusal, on a face that answers for it: likely to do so again.
  struct Critical {
    Point at;
    std::uint32_t slot;
  };
  struct Answer {
    std::uint32_t slot;
    std::uint32_t face;
  };

  TriangleBvh original;
  FreeSurface free;
  PatchOverlay overlay;
  double tolerance;  // as given
  double rounding;
  double radius;  // the tolerance less what rounding may hide

  // Per face.
  std::vector<Corners> corners;
  std::vector<double> distance;  // bound on the distance of any of its points from the original
  std::vector<char> alive;
  std::vector<std::uint32_t> slot_of;
  std::vector<Critical> critical;
  std::vector<std::uint8_t> moved;  // a bit for each corner that is no longer where the original has it
  AnswerLists answers;

  double bound = 0;
  bool changed_once = false;

  // Marks of the current question.
  std::uint32_t epoch = 0;
  std::vector<std::uint32_t> face_mark;
  std::vector<std::uint32_t> plane_mark;  // of faces beside those, which have been laid out
  std::vector<std::uint32_t> slot_mark;

  // The current question.
  std::vector<std::uint32_t> touched;     // removed and changed faces
  std::vector<ChangedFace> changed;       // as asked
  std::vector<std::uint32_t> neighbours;  // valid and untouched
  std::vector<Obligation> obligations;    // originals that must be covered again
  std::vector<std::uint32_t> slots;       // of these
  std::vector<CoverTriangle> fresh;       // the changed faces as they will be
  std::vector<CoverTriangle> before;      // the touched faces as they are
  std::vector<CoverTriangle> around;      // the neighbours
  std::vector<char> around_ready;         // per neighbour
  bool before_ready = false;

  // Its outcome.
  std::vector<Answer> outcome;
  std::vector<double> fresh_distance;
  double reached = 0;
  bool pending = false;
  bool overlay_used = false;

  bool by_step = false;  // found without a look at the original
  double step_gap = 0;   // then: at the new vertex

  // Scratch.
  StarStep step;
  std::vector<StarStep::Face> step_kept, step_gone;
  std::vector<std::uint32_t> under;  // originals of a face that was free
  PieceCover cover;
  PlaneOverlay plane;
  std::vector<CoverTriangle> extra;
  std::vector<CoverTriangle const*> choice;  // candidates of one cover
  std::vector<std::uint32_t> used;
  std::vector<Critical> kept_critical;
  std::vector<std::uint32_t> near_slots;
  std::vector<CoverTriangle> others;  // of `around`, near to what the overlay asks for
  std::vector<std::size_t> rest;      // obligations that the overlay has not settled
  struct TreePiece {
    ConvexPiece piece;
    std::uint32_t hint;
  };
  std::vector<TreePiece> tree_stack;

  Data(std::span<float const> positions, std::span<std::uint32_t const> faces, float given);

  void make_frame(CoverTriangle& triangle, Corners const& c, double offset, std::uint32_t face) const {
    auto const [p0, p1, p2] = loaded(c);
    triangle.frame = TriangleFrame(p0, p1, p2);
    triangle.offset = offset;
    triangle.face = face;
  }
  static std::array<Vec, 3> loaded(Corners const& c) {
    return {load(c[0].data()), load(c[1].data()), load(c[2].data())};
  }
  std::array<Vec, 3> corners_of_slot(std::uint32_t slot) const {
    return {original.corner(slot, 0), original.corner(slot, 1), original.corner(slot, 2)};
  }

  bool take_question(std::span<std::uint32_t const> removed, std::span<ChangedFace const> asked,
                     std::span<std::uint32_t const> others);
  void gather_obligations();
  static bool is_near(Vec p, Corners const& face, double r);
  bool is_near_others(Vec p, std::uint32_t slot, double r) const;
  bool is_near_new(Vec p, double r) const;
  bool steps_within(double r);
  void commit_step();
  void list_originals(std::uint32_t face);
  void fix(std::uint32_t face);
  bool start_plane();
  bool passes_critical(double r) const;
  bool attempt(double r);
  bool find_remaining(double r);
  void prepare_fresh();
  CoverTriangle const& around_face(std::size_t i);
  void keep_critical();
  bool covers_original(Obligation const& obligation, double r, std::size_t& hint);
  void gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r);
  bool stays_near_original(std::size_t index, double r);
  bool within_tree(std::array<Vec, 3> const& whole, double r, double& worst);
};

DeviationGuard::Data::Data(std::span<float const> positions, std::span<std::uint32_t const> faces, float given)
    : original(positions, faces),
      free(positions.size() / 3, faces),
      overlay(original, faces),
      tolerance(given > 0 ? static_cast<double>(given) : 0),
      rounding(kRounding * original.largest_coordinate()),
      radius(tolerance - 2 * rounding),
      corners(faces.size() / 3),
      distance(faces.size() / 3, 0),
      alive(faces.size() / 3, 0),
      slot_of(faces.size() / 3, TriangleBvh::kNoSlot),
      critical(faces.size() / 3, Critical{{}, TriangleBvh::kNoSlot}),
      moved(faces.size() / 3, 0),
      answers(static_cast<std::uint32_t>(faces.size() / 3), original.size()),
      face_mark(faces.size() / 3, 0),
      plane_mark(faces.size() / 3, 0),
      slot_mark(original.size(), 0) {
  for (std::uint32_t slot = 0; slot < original.size(); ++slot) {
    std::uint32_t const face = original.face_of(slot);
    alive[face] = 1;
    slot_of[face] = slot;
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const p = faces[3 * std::size_t{face} + k];
      corners[face][k] = {positions[3 * p], positions[3 * p + 1], positions[3 * p + 2]};
    }
  }
}

bool DeviationGuard::Data::take_question(std::span<std::uint32_t const> removed, std::span<ChangedFace const> asked,
                                         std::span<std::uint32_t const> others) {
  pending = false;
  cover.budget = 0;
  if (++epoch == 0) {
    std::fill(face_mark.begin(), face_mark.end(), 0);
    std::fill(plane_mark.begin(), plane_mark.end(), 0);
    std::fill(slot_mark.begin(), slot_mark.end(), 0);
    epoch = 1;
  }
  touched.clear();
  auto const touch = [&](std::uint32_t face) {
    if (face >= alive.size() || alive[face] == 0 || face_mark[face] == epoch) return false;
    face_mark[face] = epoch;
    touched.push_back(face);
    return true;
  };
  for (ChangedFace const& face : asked) {
    if (!is_finite(face) || !touch(face.face)) return false;
  }
  for (std::uint32_t const face : removed) {
    if (!touch(face)) return false;
  }
  changed.assign(asked.begin(), asked.end());
  neighbours.clear();
  for (std::uint32_t const face : others) {
    if (face >= alive.size() || alive[face] == 0 || face_mark[face] == epoch) continue;
    face_mark[face] = epoch;
    neighbours.push_back(face);
  }
  before_ready = false;
  return true;
}

void DeviationGuard::Data::prepare_fresh() {
  fresh.resize(changed.size());
  for (std::size_t i = 0; i < changed.size(); ++i) make_frame(fresh[i], changed[i].corners, 0, changed[i].face);
  around.resize(neighbours.size());
  around_ready.assign(neighbours.size(), 0);
}

CoverTriangle const& DeviationGuard::Data::around_face(std::size_t i) {
  if (around_ready[i] == 0) {
    make_frame(around[i], corners[neighbours[i]], 0, neighbours[i]);
    around_ready[i] = 1;
  }
  return around[i];
}

void DeviationGuard::Data::gather_obligations() {
  obligations.clear();
  slots.clear();
  auto const take = [&](std::uint32_t slot, std::uint32_t face) {
    if (slot_mark[slot] == epoch) return;
    slot_mark[slot] = epoch;
    obligations.push_back({slot, face});
    slots.push_back(slot);
  };
  for (std::uint32_t const face : touched) {
    if (!free.is_fixed(face)) {
      list_originals(face);
      for (std::uint32_t const slot : under) take(slot, face);
    }
    for (std::uint32_t i = answers.first_of_face(face); i != AnswerLists::kEnd; i = answers.link(i).next_of_face) {
      take(answers.link(i).slot, face);
    }
  }
}

// Lists all originals that may have a point whose own point is within the free face. Long lists are gone through once
// more: of short ones it is no matter, and who answers for more can help others out.
void DeviationGuard::Data::list_originals(std::uint32_t face) {
  std::array<float, 3> const gaps = free.gaps(face);
  under.clear();
  if (gaps == std::array<float, 3>{}) {  // nobody has changed it
    under.push_back(slot_of[face]);
    return;
  }
  FaceReach const reach(loaded(corners[face]), gaps, rounding);
  original.collect(reach.low(), reach.high(), original.size(), under);
  std::erase_if(under, [&](std::uint32_t slot) {
    return free.part(original.face_of(slot)) != free.part(face) || reach.excludes(corners_of_slot(slot));
  });
  if (under.size() <= kLongList) return;
  std::erase_if(under, [&](std::uint32_t slot) { return reach.excludes_by_place(corners_of_slot(slot)); });
}

// From now on the face is on lists.
void DeviationGuard::Data::fix(std::uint32_t face) {
  if (free.is_fixed(face)) return;
  list_originals(face);
  free.fix(face);
  for (std::uint32_t const slot : under) answers.add_new(slot, face);
}

bool DeviationGuard::Data::is_near(Vec p, Corners const& face, double r) {
  if (beyond_box(p, face, r)) return false;
  auto const [a, b, c] = loaded(face);
  return squared_distance_to_triangle(p, a, b, c) <= r * r;
}

// Of the untouched faces that answer for the original in the slot.
bool DeviationGuard::Data::is_near_others(Vec p, std::uint32_t slot, double r) const {
  for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
    std::uint32_t const face = answers.link(i).face;
    if (face_mark[face] != epoch && is_near(p, corners[face], r)) return true;
  }
  return false;
}

bool DeviationGuard::Data::is_near_new(Vec p, double r) const {
  for (ChangedFace const& face : changed) {
    if (is_near(p, face.corners, r)) return true;
  }
  for (std::uint32_t const face : neighbours) {
    if (is_near(p, corners[face], r)) return true;
  }
  return false;
}

// Whether the change is so small that, from what is known of the faces around it, it needs no look at the original.
bool DeviationGuard::Data::steps_within(double r) {
  if (changed.size() > StarStep::kMostFaces || touched.size() != changed.size() + 2) return false;
  for (std::uint32_t const face : touched) {
    if (free.is_fixed(face)) return false;
  }
  // The edge that collapses: what the two faces that go share.
  std::uint32_t const first = touched[changed.size()];
  std::uint32_t const second = touched[changed.size() + 1];
  std::array<std::uint32_t, 3> ends{};
  std::size_t shared = 0;
  for (std::uint32_t const vertex : free.vertices(first)) {
    auto const& others = free.vertices(second);
    if (std::find(others.begin(), others.end(), vertex) != others.end()) ends[shared++] = vertex;
  }
  if (shared != 2) return false;
  step_kept.clear();
  step_gone.clear();
  for (ChangedFace const& face : changed) {
    if (face.moving > 2) return false;
    std::uint32_t const vertex = free.vertices(face.face)[face.moving];
    if (vertex != ends[0] && vertex != ends[1]) return false;
    for (std::size_t k = 0; k < 3; ++k) {
      if (k != face.moving && face.corners[k] != corners[face.face][k]) return false;
    }
    step_kept.push_back({face.corners, free.gaps(face.face), face.moving, corners[face.face][face.moving]});
  }
  for (std::uint32_t const face : {first, second}) step_gone.push_back({corners[face], free.gaps(face), 0, {}});
  step_gap = step.measure(step_kept, step_gone, r - 2 * rounding) + 2 * rounding;
  return step_gap <= r;
}

// Makes a change that steps_within has allowed.
void DeviationGuard::Data::commit_step() {
  std::uint32_t const vertex = free.add_vertex(step_gap);
  for (std::size_t i = changed.size(); i < touched.size(); ++i) {
    alive[touched[i]] = 0;
    free.remove(touched[i], changed.front().face);
  }
  for (ChangedFace const& face : changed) {
    free.set_vertex(face.face, face.moving, vertex);
    moved[face.face] |= static_cast<std::uint8_t>(1U << face.moving);
    corners[face.face] = face.corners;
    distance[face.face] = static_cast<double>(free.largest_gap(face.face));
  }
  bound = std::max(bound, std::nextafter(step_gap, 2 * step_gap) * (1 + 1e-6));
}

// Whether the points that have led to refusals before, and corners of the original that vanish, are within reach of the
// new faces: most refusals need no more.
bool DeviationGuard::Data::passes_critical(double r) const {
  Point last{};
  bool any = false;
  for (ChangedFace const& face : changed) {
    for (std::size_t k = 0; k < 3; ++k) {
      Point const& corner = corners[face.face][k];
      if (corner == face.corners[k] || (moved[face.face] >> k & 1) != 0 || (any && corner == last)) continue;
      if (!is_near_new(load(corner.data()), r)) return false;
      last = corner;
      any = true;
    }
  }
  for (std::uint32_t const face : touched) {
    Critical const& point = critical[face];
    if (point.slot == TriangleBvh::kNoSlot) continue;
    Vec const p = load(point.at.data());
    if (!is_near_new(p, r) && !is_near_others(p, point.slot, r)) return false;
  }
  return true;
}

// Makes the faces that stay near the obligations the neighbours: they answer for originals that are no farther than
// twice the radius, since they are near the original themselves. False when there are none, or too many.
bool DeviationGuard::Data::find_remaining(double r) {
  double const far = std::numeric_limits<double>::infinity();
  Vec low{far, far, far};
  Vec high{-far, -far, -far};
  for (std::uint32_t const slot : slots) {
    for (Vec const& p : corners_of_slot(slot)) {
      low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
      high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
  }
  Vec const reach{2 * r, 2 * r, 2 * r};
  near_slots.clear();
  if (!original.collect(low - reach, high + reach, kMostNearSlots + 4 * slots.size(), near_slots)) return false;
  for (std::uint32_t const slot : near_slots) {
    std::uint32_t const led_to = free.successor(original.face_of(slot));
    if (!free.is_fixed(led_to) && alive[led_to] != 0 && face_mark[led_to] != epoch &&
        !beyond_box(low, high, corners[led_to], r)) {
      face_mark[led_to] = epoch;
      neighbours.push_back(led_to);
    }
    for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
      std::uint32_t const face = answers.link(i).face;
      if (face_mark[face] == epoch || beyond_box(low, high, corners[face], r)) continue;
      face_mark[face] = epoch;
      neighbours.push_back(face);
      if (neighbours.size() > kMostNearFaces) return false;
    }
  }
  return !neighbours.empty();
}

// Hands the critical points of the faces that change to the new face nearest to each; a face that gets none takes the
// point of the original that is farthest from it.
void DeviationGuard::Data::keep_critical() {
  kept_critical.clear();
  for (std::uint32_t const face : touched) {
    if (critical[face].slot != TriangleBvh::kNoSlot) kept_critical.push_back(critical[face]);
    critical[face].slot = TriangleBvh::kNoSlot;
  }
  for (Critical const& point : kept_critical) {
    Vec const p = load(point.at.data());
    std::size_t nearest = fresh.size();
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < fresh.size(); ++i) {
      double const squared = fresh[i].frame.squared_distance(p);
      if (squared < least) {
        least = squared;
        nearest = i;
      }
    }
    if (nearest < fresh.size()) critical[fresh[nearest].face] = point;
  }
  if (!overlay_used) return;
  for (std::size_t j = 0; j < fresh.size(); ++j) {
    std::size_t i = 0;
    std::size_t k = 0;
    if (critical[fresh[j].face].slot != TriangleBvh::kNoSlot || !overlay.find_farthest(j, i, k)) continue;
    critical[fresh[j].face] = {narrow(corners_of_slot(slots[i])[k]), slots[i]};
  }
}

// Everything that may cover the original in the slot: the new faces, the neighbours, and untouched faces that answer
// for it already; only those near enough to reach some point of it.
void DeviationGuard::Data::gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r) {
  extra.clear();
  for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
    std::uint32_t const face = answers.link(i).face;
    if (face_mark[face] == epoch) continue;
    extra.emplace_back();
    make_frame(extra.back(), corners[face], 0, face);
  }
  choice.clear();
  double size = 0;
  for (Vec const& corner : triangle) size = std::max(size, length(corner - centre));
  double const near = r + size;
  auto const choose = [&](CoverTriangle const& candidate) {
    if (candidate.frame.squared_distance(centre, near) <= near * near) choice.push_back(&candidate);
  };
  for (CoverTriangle const& candidate : fresh) choose(candidate);
  for (std::size_t i = 0; i < neighbours.size(); ++i) {
    if (!beyond_box(centre, corners[neighbours[i]], near)) choose(around_face(i));
  }
  for (CoverTriangle const& candidate : extra) choose(candidate);
  cover.budget -= static_cast<std::int64_t>(fresh.size() + around.size() + extra.size());
}

// Lays the new faces, those around them, and those that answer for the same originals out along the new faces' normal.
bool DeviationGuard::Data::start_plane() {
  Vec direction;
  for (ChangedFace const& face : changed) {
    auto const [a, b, c] = loaded(face.corners);
    direction = direction + cross(b - a, c - a);
  }
  if (!(length(direction) > 0) || !std::isfinite(length(direction))) return false;
  double const far = std::numeric_limits<double>::infinity();
  Vec low{far, far, far};
  Vec high{-far, -far, -far};
  for (std::size_t const i : rest) {
    for (Vec const& p : corners_of_slot(slots[i])) {
      low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
      high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
  }
  plane.start(load(changed[0].corners[0].data()), direction);
  for (ChangedFace const& face : changed) plane.add(face.corners, face.face);
  for (std::uint32_t const face : neighbours) {
    if (!beyond_box(low, high, corners[face], 2 * radius)) plane.add(corners[face], face);
  }
  for (std::size_t const i : rest) {
    for (std::uint32_t k = answers.first_of_slot(slots[i]); k != AnswerLists::kEnd; k = answers.link(k).next_of_slot) {
      std::uint32_t const face = answers.link(k).face;
      if (face_mark[face] == epoch || plane_mark[face] == epoch) continue;
      plane_mark[face] = epoch;
      plane.add(corners[face], face);
      cover.budget += kBudgetPerFace;
    }
  }
  plane.close();
  return true;
}

bool DeviationGuard::Data::covers_original(Obligation const& obligation, double r, std::size_t& hint) {
  std::array<Vec, 3> const piece = corners_of_slot(obligation.slot);
  Vec const centre = (1.0 / 3) * (piece[0] + piece[1] + piece[2]);
  if (hint < fresh.size() && fresh[hint].frame.projects_inside(centre)) {
    double const d = cover.reach(piece, fresh[hint], r);
    if (d <= r) {
      outcome.push_back({obligation.slot, fresh[hint].face});
      reached = std::max(reached, d);
      return true;
    }
  }
  // The nearest face is the one to answer: taking any that is within reach would let the assignment drift away over
  // many changes until it fails for no fault of the surface.
  std::size_t nearest = fresh.size();
  double squared = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < fresh.size(); ++i) {
    double const d = fresh[i].frame.squared_distance(centre, std::sqrt(squared));
    if (d < squared) {
      squared = d;
      nearest = i;
    }
  }
  cover.budget -= static_cast<std::int64_t>(fresh.size());
  if (nearest != hint && nearest < fresh.size() && fresh[nearest].frame.projects_inside(centre)) {
    hint = nearest;
    double const d = cover.reach(piece, fresh[nearest], r);
    if (d <= r) {
      outcome.push_back({obligation.slot, fresh[nearest].face});
      reached = std::max(reached, d);
      return true;
    }
  }
  gather_choice(obligation.slot, piece, centre, r);
  used.clear();
  if (choice.empty()) {
    cover.beyond_known = true;
    cover.beyond = centre;
    return false;
  }
  if (!cover.covers(piece, choice, r, reached, used)) return false;
  for (std::uint32_t const face : used) outcome.push_back({obligation.slot, face});
  return true;
}

// Cuts the piece against the original until each part is within r of it. The distance to the original changes by no
// more than the way one goes, so a part is within reach when its centre is, with its radius to spare.
bool DeviationGuard::Data::within_tree(std::array<Vec, 3> const& whole, double r, double& worst) {
  tree_stack.clear();
  tree_stack.push_back({ConvexPiece::triangle(whole[0], whole[1], whole[2]), TriangleBvh::kNoSlot});
  while (!tree_stack.empty()) {
    if ((cover.budget -= kCostOfTreeQuery) < 0) return false;
    ConvexPiece const piece = tree_stack.back().piece;
    std::uint32_t const hint = tree_stack.back().hint;
    tree_stack.pop_back();
    Vec const centre = piece.centre();
    double const size = piece.radius_around(centre);
    TriangleBvh::Nearest const nearest = original.nearest(centre, r, r - size, hint);
    if (nearest.slot == TriangleBvh::kNoSlot) return false;
    double accepted = nearest.distance + size;
    double farthest = -1;
    Vec beyond;
    for (std::uint32_t i = 0; i < piece.count; ++i) {
      double const d = original.squared_distance(nearest.slot, piece.corners[i]);
      if (d > farthest) {
        farthest = d;
        beyond = piece.corners[i];
      }
    }
    accepted = std::min(accepted, std::sqrt(farthest));
    if (accepted <= r) {
      worst = std::max(worst, accepted);
      continue;
    }
    if (size < kLeastPieceOfRadius * r) return false;
    std::size_t const top = tree_stack.size();
    tree_stack.resize(top + 2);
    TriangleFrame const frame(original.corner(nearest.slot, 0), original.corner(nearest.slot, 1),
                              original.corner(nearest.slot, 2));
    tree_stack[top].hint = nearest.slot;
    tree_stack[top + 1].hint = nearest.slot;
    if (!cut_along_edge(piece, frame, beyond, tree_stack[top].piece, tree_stack[top + 1].piece)) {
      piece.bisect(tree_stack[top].piece, tree_stack[top + 1].piece);
    }
  }
  return true;
}

bool DeviationGuard::Data::stays_near_original(std::size_t index, double r) {
  if (!before_ready) {
    before.resize(touched.size());
    for (std::size_t i = 0; i < touched.size(); ++i) {
      make_frame(before[i], corners[touched[i]], distance[touched[i]], touched[i]);
    }
    before_ready = true;
  }
  std::array<Vec, 3> const piece = loaded(changed[index].corners);
  choice.clear();
  double farthest_before = 0;
  for (CoverTriangle const& triangle : before) {
    if (triangle.offset + kStepOfRadius * r > r) continue;
    farthest_before = std::max(farthest_before, triangle.offset);
    choice.push_back(&triangle);
  }
  double worst = 0;
  bool near_enough = false;
  if (!choice.empty()) {
    used.clear();
    std::int64_t const rest = cover.budget;
    auto const count = static_cast<std::int64_t>(choice.size());
    std::int64_t const spend = std::min(rest, count * (kStepBudget + kStepBudgetPerFace * count));
    cover.budget = spend;
    near_enough = cover.covers(piece, choice, farthest_before + kStepOfRadius * r, worst, used);
    cover.budget += rest - spend;
  }
  if (!near_enough) {
    worst = 0;
    near_enough = within_tree(piece, r, worst);
  }
  fresh_distance[index] = worst;
  reached = std::max(reached, worst);
  return near_enough;
}

bool DeviationGuard::Data::attempt(double r) {
  outcome.clear();
  fresh_distance.assign(changed.size(), 0);
  reached = 0;
  cover.budget = kBudgetPerFace * static_cast<std::int64_t>(touched.size() + neighbours.size()) +
                 kBudgetPerOriginal * static_cast<std::int64_t>(obligations.size());
  bool const quick = overlay.start(slots, fresh, r);
  overlay_used = quick;
  if (quick && overlay.needs_others()) {
    Vec low;
    Vec high;
    overlay.bounds_of_far(low, high);
    others.clear();
    for (std::size_t i = 0; i < neighbours.size(); ++i) {
      if (!beyond_box(low, high, corners[neighbours[i]], r)) others.push_back(around_face(i));
    }
    overlay.add_others(others);
    std::size_t i = 0;
    std::size_t k = 0;
    if (overlay.find_beyond(i, k)) {
      Vec const p = corners_of_slot(slots[i])[k];
      if (!is_near_new(p, r) && !is_near_others(p, slots[i], r)) {
        critical[obligations[i].face] = {narrow(p), slots[i]};
        return false;
      }
    }
  }
  rest.clear();
  for (std::size_t i = 0; i < obligations.size(); ++i) {
    PatchOverlay::Cover const found = quick ? overlay.cover(i) : PatchOverlay::Cover{};
    for (std::uint32_t k = 0; k < found.count; ++k) outcome.push_back({slots[i], found.faces[k]});
    if (found.count == 0) rest.push_back(i);
    reached = std::max(reached, found.distance);
  }
  // What is farthest away first: it decides most refusals.
  if (quick && rest.size() > 1) {
    std::iter_swap(rest.begin(), std::max_element(rest.begin(), rest.end(), [&](std::size_t a, std::size_t b) {
                     return overlay.worst_corner(a) < overlay.worst_corner(b);
                   }));
  }
  std::size_t hint = 0;
  bool const planar = !rest.empty() && start_plane();
  for (std::size_t const i : rest) {
    if (planar) {
      used.clear();
      double const distance = plane.cover(corners_of_slot(slots[i]), r, used);
      if (distance <= r) {
        for (std::uint32_t const face : used) outcome.push_back({slots[i], face});
        reached = std::max(reached, distance);
        continue;
      }
    }
    if (covers_original(obligations[i], r, hint)) continue;
    if (cover.beyond_known) {
      critical[obligations[i].face] = {narrow(cover.beyond), obligations[i].slot};
    }
    return false;
  }
  for (std::size_t j = 0; j < changed.size(); ++j) {
    double const distance = quick ? overlay.distance_of_face(j) : std::numeric_limits<double>::infinity();
    if (distance <= r) {
      fresh_distance[j] = distance;
      reached = std::max(reached, distance);
    } else if (!stays_near_original(j, r)) {
      return false;
    }
  }
  return true;
}

DeviationGuard::DeviationGuard(std::span<float const> positions, std::span<std::uint32_t const> faces, float tolerance)
    : data_(std::make_unique<Data>(positions, faces, tolerance)) {}

DeviationGuard::~DeviationGuard() = default;

bool DeviationGuard::permits(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed,
                             std::span<std::uint32_t const> neighbours) {
  Data& d = *data_;
  if (!d.take_question(removed, changed, neighbours) || !(d.radius > 0)) return false;
  d.by_step = false;
  if (!d.passes_critical(d.radius)) return false;
  d.prepare_fresh();
  d.gather_obligations();
  d.pending = d.attempt(d.radius);
  return d.pending;
}

bool DeviationGuard::permits_step(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed) {
  Data& d = *data_;
  if (!d.take_question(removed, changed, {}) || !(d.radius > 0)) return false;
  d.by_step = d.steps_within(kFreeStep * d.radius);
  d.pending = d.by_step;
  return d.pending;
}

bool DeviationGuard::permits_removal(std::span<std::uint32_t const> removed) {
  Data& d = *data_;
  if (!d.take_question(removed, {}, {}) || !(d.radius > 0)) return false;
  d.gather_obligations();
  d.by_step = false;
  if (!d.find_remaining(d.radius)) return false;
  d.prepare_fresh();
  d.pending = d.attempt(d.radius);
  return d.pending;
}

bool DeviationGuard::gave_up() const {
  return !data_->pending && data_->cover.budget < 0;
}

void DeviationGuard::commit() {
  Data& d = *data_;
  if (!d.pending) return;
  d.pending = false;
  d.changed_once = true;
  if (d.by_step) {
    d.commit_step();
    return;
  }
  d.keep_critical();
  for (std::uint32_t const face : d.touched) {
    d.free.fix(face);
    d.answers.clear_face(face);
    d.alive[face] = 0;
  }
  for (std::size_t i = 0; i < d.changed.size(); ++i) {
    std::uint32_t const face = d.changed[i].face;
    d.alive[face] = 1;
    for (std::size_t k = 0; k < 3; ++k) {
      if (d.corners[face][k] != d.changed[i].corners[k]) d.moved[face] |= static_cast<std::uint8_t>(1U << k);
    }
    d.corners[face] = d.changed[i].corners;
    d.distance[face] = d.fresh_distance[i];
  }
  for (Data::Answer const& answer : d.outcome) {
    d.fix(answer.face);
    d.answers.add(answer.slot, answer.face);
  }
  d.bound = std::max(d.bound, d.reached);
}

double DeviationGuard::bound() const {
  return data_->changed_once ? std::min(data_->tolerance, data_->bound + 2 * data_->rounding) : 0;
}

std::size_t DeviationGuard::answer_count() const {
  return data_->answers.count();
}

}  // namespace mirel::engine
