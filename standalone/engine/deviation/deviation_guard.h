// Keeps a mesh under reduction within a distance of the original, in both directions, and says how far it is.
//
// The guard holds the original triangles and, for every live face, its corners and what of the original it has to
// answer for. Before each local change it is asked whether the changed surface stays within the tolerance: every
// point of the new faces within the tolerance of the original surface, and every point of the original that the
// old faces answered for within the tolerance of the new surface. A yes is always right (the test is
// conservative: subdivision with upper bounds, never point samples alone); a no may be over-careful.
// Coordinates and distances in model units. One guard per mesh.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "standalone/engine/deviation/changed_face.h"

namespace mirel::engine {

class DeviationGuard {
 public:
  // positions: position_count x 3; faces: face_count x 3 indices into positions. Both are copied. tolerance > 0.
  DeviationGuard(std::span<float const> positions, std::span<std::uint32_t const> faces, float tolerance);
  ~DeviationGuard();
  DeviationGuard(DeviationGuard const&) = delete;
  DeviationGuard& operator=(DeviationGuard const&) = delete;

  // Whether both directions stay within the tolerance when the faces `removed` vanish and the faces in `changed`
  // take their new corners. `neighbours` are further live faces around the change that stay as they are: they may
  // be used to cover what the removed faces answered for. Changes nothing that a caller can see.
  bool permits(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed,
               std::span<std::uint32_t const> neighbours);
  // The same without a look at the original, which costs little however much of the original there is: yes while edge
  // collapses inside the surface (`moving` told, two faces removed) are known to add up to no more than half of the
  // tolerance. Not known any more of faces that `permits` had a part in changing, or that cover for others since.
  bool permits_step(std::span<std::uint32_t const> removed, std::span<ChangedFace const> changed);
  // As `permits`, when the faces `removed` vanish and nothing takes their place: whether what they answered for, all of
  // it, is near enough to faces that stay, wherever these are.
  bool permits_removal(std::span<std::uint32_t const> removed);
  // Whether the last `no` came of what it would have cost to tell, not of a point too far away.
  bool gave_up() const;
  // Makes the change that was last asked about and allowed. Must directly follow that call.
  void commit();
  // A bound on the deviation of the current surface in either direction: never above the tolerance, 0 before the
  // first change, and never falling.
  double bound() const;
  // How many originals all faces answer for together: what questions cost grows with that.
  std::size_t answer_count() const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace mirel::engine
