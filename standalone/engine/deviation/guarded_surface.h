// The surface under reduction as it is now, beside the original that it came from: for each live face its corners, how
// far it is from the original, and which originals it answers for.
//
// A face is free at first: the gaps at its vertices say all that (free_surface.h). One that is fixed has a list of
// originals instead. Faces are numbered as in the original mesh; originals are named by their slots in the tree.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/answer_lists.h"
#include "standalone/engine/deviation/face_corners.h"
#include "standalone/engine/deviation/free_surface.h"
#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::engine {

struct GuardedSurface {
  // positions: position_count x 3; faces: face_count x 3 indices into positions. Both are copied. Throws
  // std::bad_alloc.
  GuardedSurface(std::span<float const> positions, std::span<std::uint32_t const> faces);

  TriangleBvh original;
  double rounding;  // what cuts and distances may be off
  FreeSurface free;
  AnswerLists answers;

  // Per face.
  std::vector<FaceCorners> corners;
  std::vector<double> distance;  // bound on the distance of any of its points from the original
  std::vector<char> alive;
  std::vector<std::uint32_t> slot_of;
  std::vector<std::uint8_t> moved;  // a bit for each corner that is no longer where the original has it

  std::array<Vec, 3> corners_of_slot(std::uint32_t slot) const {
    return {original.corner(slot, 0), original.corner(slot, 1), original.corner(slot, 2)};
  }
  bool is_alive(std::uint32_t face) const { return face < alive.size() && alive[face] != 0; }

  // Lists all originals that may have a point whose own point is within the free face.
  void list_originals(std::uint32_t face, std::vector<std::uint32_t>& under) const;
  // From now on the face is on lists.
  void fix(std::uint32_t face);
  // The face vanishes, or is about to be put elsewhere.
  void take_off(std::uint32_t face);
  // The face gets new corners; it is fixed and on no list.
  void put(std::uint32_t face, FaceCorners const& at, double from_original);

 private:
  std::vector<std::uint32_t> under_;  // of a face that is being fixed
};

}  // namespace mirel::engine
