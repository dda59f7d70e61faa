#include "standalone/engine/deviation/original_cover.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace mirel::engine {

OriginalCover::OriginalCover(GuardedSurface const& surface, ChangeQuestion& question, PieceCover& cover)
    : surface_(surface), question_(question), cover_(cover), plane_mark_(surface.corners.size(), 0) {}

void OriginalCover::start(std::span<std::size_t const> rest, double r) {
  hint_ = 0;
  planar_ = !rest.empty() && start_plane(rest, r);
}

// Lays the new faces, those around them, and those that answer for the same originals out along the new faces' normal.
bool OriginalCover::start_plane(std::span<std::size_t const> rest, double r) {
  auto const changed = question_.changed();
  Vec direction;
  for (ChangedFace const& face : changed) {
    auto const [a, b, c] = loaded(face.corners);
    direction = direction + cross(b - a, c - a);
  }
  if (!(length(direction) > 0) || !std::isfinite(length(direction))) return false;
  auto const slots = question_.slots();
  Bounds box;
  for (std::size_t const i : rest) {
    for (Vec const& p : surface_.corners_of_slot(slots[i])) box.add(p);
  }
  plane_.start(load(changed[0].corners[0].data()), direction);
  for (ChangedFace const& face : changed) plane_.add(face.corners, face.face);
  for (std::uint32_t const face : question_.neighbours()) {
    if (!beyond_box(box.low, box.high, surface_.corners[face], 2 * r)) plane_.add(surface_.corners[face], face);
  }
  if (++plane_stamp_ == 0) {
    std::fill(plane_mark_.begin(), plane_mark_.end(), 0);
    plane_stamp_ = 1;
  }
  AnswerLists const& answers = surface_.answers;
  for (std::size_t const i : rest) {
    for (std::uint32_t k = answers.first_of_slot(slots[i]); k != AnswerLists::kEnd; k = answers.link(k).next_of_slot) {
      std::uint32_t const face = answers.link(k).face;
      if (question_.is_at_hand(face) || plane_mark_[face] == plane_stamp_) continue;
      plane_mark_[face] = plane_stamp_;
      plane_.add(surface_.corners[face], face);
      cover_.budget += ChangeQuestion::kBudgetPerFace;
    }
  }
  plane_.close();
  return true;
}

bool OriginalCover::covers(std::size_t i, double r, ChangeProof& proof) {
  std::uint32_t const slot = question_.slots()[i];
  if (planar_) {
    used_.clear();
    double const distance = plane_.cover(surface_.corners_of_slot(slot), r, used_);
    if (distance <= r) {
      for (std::uint32_t const face : used_) proof.answers.push_back({slot, face});
      proof.reached = std::max(proof.reached, distance);
      return true;
    }
  }
  return covers_by_cuts(slot, r, proof);
}

bool OriginalCover::covers_with(std::uint32_t slot, std::array<Vec, 3> const& piece, CoverTriangle const& face,
                                double r, ChangeProof& proof) {
  double const d = cover_.reach(piece, face, r);
  if (!(d <= r)) return false;
  proof.answers.push_back({slot, face.face});
  proof.reached = std::max(proof.reached, d);
  return true;
}

bool OriginalCover::covers_by_cuts(std::uint32_t slot, double r, ChangeProof& proof) {
  auto const fresh = question_.fresh();
  std::array<Vec, 3> const piece = surface_.corners_of_slot(slot);
  Vec const centre = (1.0 / 3) * (piece[0] + piece[1] + piece[2]);
  if (hint_ < fresh.size() && fresh[hint_].frame.projects_inside(centre) &&
      covers_with(slot, piece, fresh[hint_], r, proof)) {
    return true;
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
  cover_.budget -= static_cast<std::int64_t>(fresh.size());
  if (nearest != hint_ && nearest < fresh.size() && fresh[nearest].frame.projects_inside(centre)) {
    hint_ = nearest;
    if (covers_with(slot, piece, fresh[nearest], r, proof)) return true;
  }
  gather_choice(slot, piece, centre, r);
  used_.clear();
  if (choice_.empty()) {
    cover_.beyond_known = true;
    cover_.beyond = centre;
    return false;
  }
  if (!cover_.covers(piece, choice_, r, proof.reached, used_)) return false;
  for (std::uint32_t const face : used_) proof.answers.push_back({slot, face});
  return true;
}

// Everything that may cover the original in the slot; only what is near enough to reach some point of it.
void OriginalCover::gather_choice(std::uint32_t slot, std::array<Vec, 3> const& triangle, Vec centre, double r) {
  AnswerLists const& answers = surface_.answers;
  extra_.clear();
  for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
    std::uint32_t const face = answers.link(i).face;
    if (!question_.is_at_hand(face)) extra_.push_back(cover_triangle(surface_.corners[face], face));
  }
  choice_.clear();
  double size = 0;
  for (Vec const& corner : triangle) size = std::max(size, length(corner - centre));
  double const near = r + size;
  auto const choose = [&](CoverTriangle const& candidate) {
    if (candidate.frame.squared_distance(centre, near) <= near * near) choice_.push_back(&candidate);
  };
  auto const fresh = question_.fresh();
  auto const neighbours = question_.neighbours();
  for (CoverTriangle const& candidate : fresh) choose(candidate);
  for (std::size_t i = 0; i < neighbours.size(); ++i) {
    if (!beyond_box(centre, surface_.corners[neighbours[i]], near)) choose(question_.neighbour(i));
  }
  for (CoverTriangle const& candidate : extra_) choose(candidate);
  cover_.budget -= static_cast<std::int64_t>(fresh.size() + neighbours.size() + extra_.size());
}

}  // namespace mirel::engine
