// How the two directions are kept.
//
// Original to current. Every original triangle is on the lists of the live faces that answer for it: those that cover
// all its points within the tolerance. A change re-opens the originals of the faces that it touches; each must be
// covered again by the new faces, by faces that also answer for it, or by the neighbours. Lists follow the surface,
// so the other side of a thin wall or a far part of the mesh is never mistaken for cover that will stay.
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
#include <vector>

#include "standalone/engine/deviation/answer_lists.h"
#include "standalone/engine/deviation/convex_piece.h"
#include "standalone/engine/deviation/piece_cover.h"
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
// What one question may cost in distance tests, far above what is usual: it ends the few that follow a line at exactly
// the tolerance.
constexpr std::int64_t kBudgetPerOriginal = 256;
constexpr std::int64_t kBudgetPerFace = 8192;
constexpr std::int64_t kCostOfTreeQuery = 32;

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
  struct Answer {
    std::uint32_t slot;
    std::uint32_t face;
  };

  TriangleBvh original;
  double tolerance;  // as given
  double rounding;
  double radius;  // the tolerance less what rounding may hide

  // Per face.
  std::vector<Corners> corners;
  std::vector<double> distance;  // bound on the distance of any of its points from the original
  std::vector<char> alive;
  AnswerLists answers;

  double bound = 0;
  bool changed_once = false;

  // Marks of the current question.
  std::uint32_t epoch = 0;
  std::vector<std::uint32_t> face_mark;
  std::vector<std::uint32_t> slot_mark;

  // The current question.
  std::vector<std::uint32_t> touched;     // removed and changed faces
  std::vector<ChangedFace> changed;       // as asked
  std::vector<std::uint32_t> neighbours;  // valid and untouched
  std::vector<Obligation> obligations;    // originals that must be covered again
  std::vector<CoverTriangle> fresh;       // the changed faces as they will be
  std::vector<CoverTriangle> before;      // the touched faces as they are
  std::vector<CoverTriangle> around;      // the neighbours
  bool around_ready = false;
  bool before_ready = false;

  // Its outcome.
  std::vector<Answer> outcome;
  std::vector<double> fresh_distance;
  double reached = 0;
  bool pending = false;

  // Scratch.
  PieceCover cover;
  std::vector<CoverTriangle> extra;
  std::vector<CoverTriangle const*> choice;  // candidates of one cover
  std::vector<std::uint32_t> used;
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
  bool attempt(double r);
  bool covers_original(Obligation const& obligation, double r, std::size_t& hint);
  void gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r);
  bool stays_near_original(std::size_t index, double r);
  bool within_tree(std::array<Vec, 3> const& whole, double r, double& worst);
};

DeviationGuard::Data::Data(std::span<float const> positions, std::span<std::uint32_t const> faces, float given)
    : original(positions, faces),
      tolerance(given > 0 ? static_cast<double>(given) : 0),
      rounding(kRounding * original.largest_coordinate()),
      radius(tolerance - 2 * rounding),
      corners(faces.size() / 3),
      distance(faces.size() / 3, 0),
      alive(faces.size() / 3, 0),
      answers(static_cast<std::uint32_t>(faces.size() / 3), original.size()),
      face_mark(faces.size() / 3, 0),
      slot_mark(original.size(), 0) {
  for (std::uint32_t slot = 0; slot < original.size(); ++slot) {
    std::uint32_t const face = original.face_of(slot);
    alive[face] = 1;
    answers.add(slot, face);
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const p = faces[3 * std::size_t{face} + k];
      corners[face][k] = {positions[3 * p], positions[3 * p + 1], positions[3 * p + 2]};
    }
  }
}

bool DeviationGuard::Data::take_question(std::span<std::uint32_t const> removed, std::span<ChangedFace const> asked,
                                         std::span<std::uint32_t const> others) {
  pending = false;
  if (++epoch == 0) {
    std::fill(face_mark.begin(), face_mark.end(), 0);
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
  around_ready = false;
  before_ready = false;
  fresh.resize(changed.size());
  for (std::size_t i = 0; i < changed.size(); ++i) make_frame(fresh[i], changed[i].corners, 0, changed[i].face);
  return true;
}

// The first of each list come first: they are the ones that last led to a refusal.
void DeviationGuard::Data::gather_obligations() {
  obligations.clear();
  auto const take = [&](std::uint32_t link, std::uint32_t face) {
    std::uint32_t const slot = answers.link(link).slot;
    if (slot_mark[slot] == epoch) return;
    slot_mark[slot] = epoch;
    obligations.push_back({slot, face});
  };
  for (std::uint32_t const face : touched) {
    std::uint32_t const first = answers.first_of_face(face);
    if (first != AnswerLists::kEnd) take(first, face);
  }
  for (std::uint32_t const face : touched) {
    for (std::uint32_t i = answers.first_of_face(face); i != AnswerLists::kEnd; i = answers.link(i).next_of_face) {
      take(i, face);
    }
  }
}

// Everything that may cover the original in the slot: the new faces, the neighbours, and untouched faces that answer
// for it already; only those near enough to reach some point of it.
void DeviationGuard::Data::gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r) {
  if (!around_ready) {
    around.resize(neighbours.size());
    for (std::size_t i = 0; i < neighbours.size(); ++i) make_frame(around[i], corners[neighbours[i]], 0, neighbours[i]);
    around_ready = true;
  }
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
  for (std::vector<CoverTriangle> const* list : {&fresh, &around, &extra}) {
    for (CoverTriangle const& candidate : *list) {
      if (candidate.frame.squared_distance(centre, near) <= near * near) choice.push_back(&candidate);
    }
  }
  cover.budget -= static_cast<std::int64_t>(fresh.size() + around.size() + extra.size());
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
  if (choice.empty() || !cover.covers(piece, choice, r, reached, used)) return false;
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
  std::size_t hint = 0;
  for (Obligation const& obligation : obligations) {
    if (!covers_original(obligation, r, hint)) {
      answers.move_to_front(obligation.face, obligation.slot);
      return false;
    }
  }
  for (std::size_t i = 0; i < changed.size(); ++i) {
    if (!stays_near_original(i, r)) return false;
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
  d.gather_obligations();
  d.pending = d.attempt(d.radius);
  return d.pending;
}

void DeviationGuard::commit() {
  Data& d = *data_;
  if (!d.pending) return;
  d.pending = false;
  for (std::uint32_t const face : d.touched) {
    d.answers.clear_face(face);
    d.alive[face] = 0;
  }
  for (std::size_t i = 0; i < d.changed.size(); ++i) {
    std::uint32_t const face = d.changed[i].face;
    d.alive[face] = 1;
    d.corners[face] = d.changed[i].corners;
    d.distance[face] = d.fresh_distance[i];
  }
  for (Data::Answer const& answer : d.outcome) d.answers.add(answer.slot, answer.face);
  d.bound = std::max(d.bound, d.reached);
  d.changed_once = true;
}

double DeviationGuard::bound() const {
  return data_->changed_once ? std::min(data_->tolerance, data_->bound + 2 * data_->rounding) : 0;
}

}  // namespace mirel::engine
