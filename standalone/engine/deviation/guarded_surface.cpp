#include "standalone/engine/deviation/guarded_surface.h"

#include "standalone/engine/deviation/face_reach.h"

namespace mirel::engine {
namespace {

// Rounding of cuts and distances in double, far above its worst case, relative to the largest coordinate.
constexpr double kRounding = 1e-12;
// Originals under a face from which on it is worth looking at them more closely: less than in the stars beside a
// collapse of which not all faces are taken to cover for others.
constexpr std::size_t kLongList = 64;

}  // namespace

GuardedSurface::GuardedSurface(std::span<float const> positions, std::span<std::uint32_t const> faces)
    : original(positions, faces),
      rounding(kRounding * original.largest_coordinate()),
      free(positions.size() / 3, faces),
      answers(static_cast<std::uint32_t>(faces.size() / 3), original.size()),
      corners(faces.size() / 3),
      distance(faces.size() / 3, 0),
      alive(faces.size() / 3, 0),
      slot_of(faces.size() / 3, TriangleBvh::kNoSlot),
      moved(faces.size() / 3, 0) {
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

// Long lists are gone through once more: of short ones it is no matter, and who answers for more can help others out.
void GuardedSurface::list_originals(std::uint32_t face, std::vector<std::uint32_t>& under) const {
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

void GuardedSurface::fix(std::uint32_t face) {
  if (free.is_fixed(face)) return;
  list_originals(face, under_);
  free.fix(face);
  for (std::uint32_t const slot : under_) answers.add_new(slot, face);
}

void GuardedSurface::take_off(std::uint32_t face) {
  free.fix(face);
  answers.clear_face(face);
  alive[face] = 0;
}

void GuardedSurface::put(std::uint32_t face, FaceCorners const& at, double from_original) {
  alive[face] = 1;
  for (std::size_t k = 0; k < 3; ++k) {
    if (corners[face][k] != at[k]) moved[face] |= static_cast<std::uint8_t>(1U << k);
  }
  corners[face] = at;
  distance[face] = from_original;
}

}  // namespace mirel::engine
