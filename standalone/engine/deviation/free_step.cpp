#include "standalone/engine/deviation/free_step.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mirel::engine {

bool FreeStep::is_within(ChangeQuestion const& question, double r) {
  FreeSurface const& free = surface_.free;
  auto const touched = question.touched();
  auto const changed = question.changed();
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
  kept_.clear();
  gone_.clear();
  for (ChangedFace const& face : changed) {
    if (face.moving > 2) return false;
    FaceCorners const& before = surface_.corners[face.face];
    std::uint32_t const vertex = free.vertices(face.face)[face.moving];
    if (vertex != ends[0] && vertex != ends[1]) return false;
    for (std::size_t k = 0; k < 3; ++k) {
      if (k != face.moving && face.corners[k] != before[k]) return false;
    }
    kept_.push_back({face.corners, free.gaps(face.face), face.moving, before[face.moving]});
  }
  for (std::uint32_t const face : {first, second}) gone_.push_back({surface_.corners[face], free.gaps(face), 0, {}});
  gap_ = star_.measure(kept_, gone_, r - 2 * surface_.rounding) + 2 * surface_.rounding;
  return gap_ <= r;
}

double FreeStep::commit(ChangeQuestion const& question) {
  FreeSurface& free = surface_.free;
  auto const changed = question.changed();
  std::uint32_t const vertex = free.add_vertex(gap_);
  for (std::uint32_t const face : question.touched().subspan(changed.size())) {
    surface_.alive[face] = 0;
    free.remove(face, changed.front().face);
  }
  for (ChangedFace const& face : changed) {
    free.set_vertex(face.face, face.moving, vertex);
    surface_.moved[face.face] |= static_cast<std::uint8_t>(1U << face.moving);
    surface_.corners[face.face] = face.corners;
    surface_.distance[face.face] = static_cast<double>(free.largest_gap(face.face));
  }
  return std::nextafter(gap_, 2 * gap_) * (1 + 1e-6);
}

}  // namespace mirel::engine
