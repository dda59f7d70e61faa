// How the two directions are kept.
//
// As long as changes are edge collapses inside the surface, and add up to little, nothing of the original is looked at:
// faces are free, and what is known of them are gaps at their vertices (free_surface.h, free_step.h), which bound both
// directions at once. A face is fixed when a change of it asks more, or when it has to cover for another.
//
// Original to current. What of an original triangle does not have its own point on a free face is covered by the fixed
// faces that have the triangle on their lists, all within the tolerance. A face that is fixed lists all originals that
// may have a point of their own on it, told by their distance and their connected part. A change re-opens the originals
// of the faces that it touches; each must be covered again by the new faces, by faces that also answer for it, or by
// the neighbours (original_cover.h). Lists follow the surface, so a far part of the mesh is never mistaken for cover
// that will stay.
//
// Current to original. Every live face has a bound on its distance from the original (face_deviation.h).
//
// Both use convexity on exact cuts (piece_cover.h). Parts are cut no further than the tolerance needs: trying smaller
// radii first made a tighter bound for early steps, but two to four times the work (benchmarks/deviation).
// A related method, with the correspondence kept as a mapping:
// Cohen, Manocha and Olano 1997, "Simplifying polygonal models using successive mappings"; local tolerance volumes:
// Gueziec 1999, "Locally toleranced surface simplification".
#include "standalone/engine/deviation/deviation_guard.h"

#include <algorithm>
#include <vector>

#include "standalone/engine/deviation/change_question.h"
#include "standalone/engine/deviation/critical_points.h"
#include "standalone/engine/deviation/face_deviation.h"
#include "standalone/engine/deviation/free_step.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/original_cover.h"
#include "standalone/engine/deviation/patch_overlay.h"
#include "standalone/engine/deviation/piece_cover.h"

namespace mirel::engine {
namespace {

// The part of the radius up to which changes are made without a look at the original.
constexpr double kFreeStep = 0.5;

}  // namespace

struct DeviationGuard::Data {
  GuardedSurface surface;
  ChangeQuestion question;
  PieceCover cover;  // with the budget of the question
  FreeStep step;
  CriticalPoints critical;
  PatchOverlay overlay;
  OriginalCover originals;
  FaceDeviation deviation;
  double tolerance;  // as given
  double radius;     // the tolerance less what rounding may hide

  double bound = 0;
  bool changed_once = false;

  // Of the current question.
  bool pending = false;  // allowed
  bool by_step = false;  // found without a look at the original
  bool overlay_used = false;
  ChangeProof proof;
  std::vector<CoverTriangle> others;  // of the neighbours, near to what the overlay asks for
  std::vector<std::size_t> rest;      // obligations that the overlay has not settled

  Data(std::span<float const> positions, std::span<std::uint32_t const> faces, float given);

  bool take(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed,
            std::span<std::uint32_t const> neighbours, bool step);
  bool attempt(double r);
  bool passes_far_corners(double r);
  bool covers_originals(double r);
  bool covers_rest(double r);
  bool stays_near_original(double r);
};

DeviationGuard::Data::Data(std::span<float const> positions, std::span<std::uint32_t const> faces, float given)
    : surface(positions, faces),
      question(surface),
      step(surface),
      critical(surface),
      overlay(surface.original, faces),
      originals(surface, question, cover),
      deviation(surface, question, cover),
      tolerance(given > 0 ? static_cast<double>(given) : 0),
      radius(tolerance - 2 * surface.rounding) {}

bool DeviationGuard::Data::take(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed,
                                std::span<std::uint32_t const> neighbours, bool with_step) {
  pending = false;
  by_step = with_step;
  cover.budget = 0;
  return question.take(removed, changed, neighbours) && radius > 0;
}

bool DeviationGuard::Data::attempt(double r) {
  proof.answers.clear();
  proof.distances.assign(question.changed().size(), 0);
  proof.reached = 0;
  cover.budget = question.budget();
  overlay_used = overlay.start(question.slots(), question.fresh(), r);
  return passes_far_corners(r) && covers_originals(r) && stays_near_original(r);
}

// Whether corners of originals that are beyond the radius of all new faces are within that of others.
bool DeviationGuard::Data::passes_far_corners(double r) {
  if (!overlay_used || !overlay.needs_others()) return true;
  Vec low;
  Vec high;
  overlay.bounds_of_far(low, high);
  others.clear();
  auto const neighbours = question.neighbours();
  for (std::size_t i = 0; i < neighbours.size(); ++i) {
    if (!beyond_box(low, high, surface.corners[neighbours[i]], r)) others.push_back(question.neighbour(i));
  }
  overlay.add_others(others);
  std::size_t i = 0;
  std::size_t k = 0;
  if (!overlay.find_beyond(i, k)) return true;
  auto const [slot, face] = question.obligations()[i];
  Vec const p = surface.corners_of_slot(slot)[k];
  if (critical.is_reached(question, p, slot, r)) return true;
  critical.note(face, p, slot);
  return false;
}

bool DeviationGuard::Data::covers_originals(double r) {
  auto const slots = question.slots();
  rest.clear();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    PatchOverlay::Cover const found = overlay_used ? overlay.cover(i) : PatchOverlay::Cover{};
    for (std::uint32_t k = 0; k < found.count; ++k) proof.answers.push_back({slots[i], found.faces[k]});
    if (found.count == 0) rest.push_back(i);
    proof.reached = std::max(proof.reached, found.distance);
  }
  // What is farthest away first: it decides most refusals.
  if (overlay_used && rest.size() > 1) {
    std::iter_swap(rest.begin(), std::max_element(rest.begin(), rest.end(), [&](std::size_t a, std::size_t b) {
                     return overlay.worst_corner(a) < overlay.worst_corner(b);
                   }));
  }
  return covers_rest(r);
}

bool DeviationGuard::Data::covers_rest(double r) {
  originals.start(rest, r);
  for (std::size_t const i : rest) {
    if (originals.covers(i, r, proof)) continue;
    auto const [slot, face] = question.obligations()[i];
    if (cover.beyond_known) critical.note(face, cover.beyond, slot);
    return false;
  }
  return true;
}

bool DeviationGuard::Data::stays_near_original(double r) {
  deviation.start();
  for (std::size_t j = 0; j < proof.distances.size(); ++j) {
    double distance = overlay_used ? overlay.distance_of_face(j) : FaceDeviation::kBeyond;
    if (!(distance <= r)) distance = deviation.measure(j, r);
    if (!(distance <= r)) return false;
    proof.distances[j] = distance;
    proof.reached = std::max(proof.reached, distance);
  }
  return true;
}

DeviationGuard::DeviationGuard(std::span<float const> positions, std::span<std::uint32_t const> faces, float tolerance)
    : data_(std::make_unique<Data>(positions, faces, tolerance)) {}

DeviationGuard::~DeviationGuard() = default;

bool DeviationGuard::permits(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed,
                             std::span<std::uint32_t const> neighbours) {
  Data& d = *data_;
  if (!d.take(removed, changed, neighbours, false)) return false;
  if (!d.critical.are_reached(d.question, d.radius)) return false;
  d.question.prepare_frames();
  d.question.gather_obligations();
  d.pending = d.attempt(d.radius);
  return d.pending;
}

bool DeviationGuard::permits_step(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed) {
  Data& d = *data_;
  if (!d.take(removed, changed, {}, true)) return false;
  d.pending = d.step.is_within(d.question, kFreeStep * d.radius);
  return d.pending;
}

bool DeviationGuard::permits_removal(std::span<std::uint32_t const> removed) {
  Data& d = *data_;
  if (!d.take(removed, {}, {}, false)) return false;
  d.question.gather_obligations();
  if (!d.question.find_remaining(d.surface.free, d.radius)) return false;
  d.question.prepare_frames();
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
    d.bound = std::max(d.bound, d.step.commit(d.question));
    return;
  }
  d.critical.hand_on(d.question, d.overlay_used ? &d.overlay : nullptr);
  for (std::uint32_t const face : d.question.touched()) d.surface.take_off(face);
  auto const changed = d.question.changed();
  for (std::size_t i = 0; i < changed.size(); ++i) {
    d.surface.put(changed[i].face, changed[i].corners, d.proof.distances[i]);
  }
  for (auto const& [slot, face] : d.proof.answers) {
    d.surface.fix(face);
    d.surface.answers.add(slot, face);
  }
  d.bound = std::max(d.bound, d.proof.reached);
}

double DeviationGuard::bound() const {
  return data_->changed_once ? std::min(data_->tolerance, data_->bound + 2 * data_->surface.rounding) : 0;
}

std::size_t DeviationGuard::answer_count() const {
  return data_->surface.answers.count();
}

}  // namespace mirel::engine
