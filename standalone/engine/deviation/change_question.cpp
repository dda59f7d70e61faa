#include "standalone/engine/deviation/change_question.h"

#include <algorithm>
#include <cmath>

namespace mirel::engine {
namespace {

// A part of the surface that has more around it is not removed: to look at all of it would take too long.
constexpr std::size_t kMostNearSlots = 65536;
constexpr std::size_t kMostNearFaces = 4096;

bool is_finite(ChangedFace const& face) {
  for (Point const& p : face.corners) {
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) return false;
  }
  return true;
}

}  // namespace

ChangeQuestion::ChangeQuestion(GuardedSurface const& surface)
    : surface_(surface), face_mark_(surface.corners.size(), 0), slot_mark_(surface.original.size(), 0) {}

bool ChangeQuestion::take(std::span<std::uint32_t const> removed, std::span<ChangedFace const> asked,
                          std::span<std::uint32_t const> others) {
  if (++epoch_ == 0) {
    std::fill(face_mark_.begin(), face_mark_.end(), 0);
    std::fill(slot_mark_.begin(), slot_mark_.end(), 0);
    epoch_ = 1;
  }
  touched_.clear();
  auto const touch = [&](std::uint32_t face) {
    if (!surface_.is_alive(face) || is_at_hand(face)) return false;
    face_mark_[face] = epoch_;
    touched_.push_back(face);
    return true;
  };
  for (ChangedFace const& face : asked) {
    if (!is_finite(face) || !touch(face.face)) return false;
  }
  for (std::uint32_t const face : removed) {
    if (!touch(face)) return false;
  }
  changed_.assign(asked.begin(), asked.end());
  neighbours_.clear();
  for (std::uint32_t const face : others) {
    if (!surface_.is_alive(face) || is_at_hand(face)) continue;
    face_mark_[face] = epoch_;
    neighbours_.push_back(face);
  }
  return true;
}

void ChangeQuestion::gather_obligations() {
  obligations_.clear();
  slots_.clear();
  auto const take = [&](std::uint32_t slot, std::uint32_t face) {
    if (slot_mark_[slot] == epoch_) return;
    slot_mark_[slot] = epoch_;
    obligations_.push_back({slot, face});
    slots_.push_back(slot);
  };
  AnswerLists const& answers = surface_.answers;
  for (std::uint32_t const face : touched_) {
    if (!surface_.free.is_fixed(face)) {
      surface_.list_originals(face, under_);
      for (std::uint32_t const slot : under_) take(slot, face);
    }
    for (std::uint32_t i = answers.first_of_face(face); i != AnswerLists::kEnd; i = answers.link(i).next_of_face) {
      take(answers.link(i).slot, face);
    }
  }
}

bool ChangeQuestion::find_remaining(FreeSurface& free, double r) {
  Bounds box;
  for (std::uint32_t const slot : slots_) {
    for (Vec const& p : surface_.corners_of_slot(slot)) box.add(p);
  }
  Vec const reach{2 * r, 2 * r, 2 * r};
  near_slots_.clear();
  if (!surface_.original.collect(box.low - reach, box.high + reach, kMostNearSlots + 4 * slots_.size(), near_slots_)) {
    return false;
  }
  AnswerLists const& answers = surface_.answers;
  auto const take = [&](std::uint32_t face) {
    if (is_at_hand(face) || beyond_box(box.low, box.high, surface_.corners[face], r)) return false;
    face_mark_[face] = epoch_;
    neighbours_.push_back(face);
    return true;
  };
  for (std::uint32_t const slot : near_slots_) {
    std::uint32_t const led_to = free.successor(surface_.original.face_of(slot));
    if (!free.is_fixed(led_to) && surface_.is_alive(led_to)) take(led_to);
    for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
      if (take(answers.link(i).face) && neighbours_.size() > kMostNearFaces) return false;
    }
  }
  return !neighbours_.empty();
}

void ChangeQuestion::prepare_frames() {
  fresh_.resize(changed_.size());
  for (std::size_t i = 0; i < changed_.size(); ++i) fresh_[i] = cover_triangle(changed_[i].corners, changed_[i].face);
  around_.resize(neighbours_.size());
  around_ready_.assign(neighbours_.size(), 0);
}

}  // namespace mirel::engine
