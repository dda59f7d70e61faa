#include "standalone/engine/deviation/critical_points.h"

#include <limits>

namespace mirel::engine {
namespace {

bool is_near_new(GuardedSurface const& surface, ChangeQuestion const& question, Vec p, double r) {
  for (ChangedFace const& face : question.changed()) {
    if (is_near(p, face.corners, r)) return true;
  }
  for (std::uint32_t const face : question.neighbours()) {
    if (is_near(p, surface.corners[face], r)) return true;
  }
  return false;
}

// Of the untouched faces that answer for the original in the slot.
bool is_near_others(GuardedSurface const& surface, ChangeQuestion const& question, Vec p, std::uint32_t slot,
                    double r) {
  AnswerLists const& answers = surface.answers;
  for (std::uint32_t i = answers.first_of_slot(slot); i != AnswerLists::kEnd; i = answers.link(i).next_of_slot) {
    std::uint32_t const face = answers.link(i).face;
    if (!question.is_at_hand(face) && is_near(p, surface.corners[face], r)) return true;
  }
  return false;
}

}  // namespace

CriticalPoints::CriticalPoints(GuardedSurface const& surface)
    : surface_(surface), of_face_(surface.corners.size(), Critical{{}, TriangleBvh::kNoSlot}) {}

void CriticalPoints::note(std::uint32_t face, Vec p, std::uint32_t slot) {
  of_face_[face] = {{static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)}, slot};
}

bool CriticalPoints::is_reached(ChangeQuestion const& question, Vec p, std::uint32_t slot, double r) const {
  return is_near_new(surface_, question, p, r) || is_near_others(surface_, question, p, slot, r);
}

bool CriticalPoints::are_reached(ChangeQuestion const& question, double r) const {
  Point last{};
  bool any = false;
  for (ChangedFace const& face : question.changed()) {
    for (std::size_t k = 0; k < 3; ++k) {
      Point const& corner = surface_.corners[face.face][k];
      if (corner == face.corners[k] || (surface_.moved[face.face] >> k & 1) != 0 || (any && corner == last)) continue;
      if (!is_near_new(surface_, question, load(corner.data()), r)) return false;
      last = corner;
      any = true;
    }
  }
  auto const touched = question.touched();
  auto const changed = question.changed();
  for (std::size_t i = 0; i < touched.size(); ++i) {
    Critical const& point = of_face_[touched[i]];
    if (point.slot == TriangleBvh::kNoSlot) continue;
    Vec const p = load(point.at.data());
    // What a face has kept near, it mostly keeps near: around a hub a look at all faces for each would grow with the
    // square.
    if (i < changed.size() && is_near(p, changed[i].corners, r)) continue;
    if (!is_reached(question, p, point.slot, r)) return false;
  }
  return true;
}

void CriticalPoints::hand_on(ChangeQuestion const& question, PatchOverlay const* overlay) {
  kept_.clear();
  for (std::uint32_t const face : question.touched()) {
    if (of_face_[face].slot != TriangleBvh::kNoSlot) kept_.push_back(of_face_[face]);
    of_face_[face].slot = TriangleBvh::kNoSlot;
  }
  auto const fresh = question.fresh();
  for (Critical const& point : kept_) {
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
    if (nearest < fresh.size()) of_face_[fresh[nearest].face] = point;
  }
  if (overlay == nullptr) return;
  for (std::size_t j = 0; j < fresh.size(); ++j) {
    std::size_t i = 0;
    std::size_t k = 0;
    if (of_face_[fresh[j].face].slot != TriangleBvh::kNoSlot || !overlay->find_farthest(j, i, k)) continue;
    std::uint32_t const slot = question.slots()[i];
    note(fresh[j].face, surface_.corners_of_slot(slot)[k], slot);
  }
}

}  // namespace mirel::engine
