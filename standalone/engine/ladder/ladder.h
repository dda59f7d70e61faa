// The simplification ladder: one sequence of edge collapses over several meshes, every step of which can be read
// back in time proportional to what is read.
//
// Step 0 is the meshes as they were given; each further step is one edge collapse or the removal of one whole
// component, in order of error over all meshes together. A ladder is immutable once built; `read` gives the same
// arrays for a step whatever was read before.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

struct LadderOptions {
  float tolerance = 0;           // model units; no step deviates more, in either direction; 0, negative or NaN: none
  bool lock_boundaries = false;  // vertices on boundary edges neither move nor go
  bool prevent_xy_foldovers = false;  // no triangle changes the sign of its area projected to XY
  bool prevent_uv_foldovers = false;  // no triangle changes the sign of its area in UV space
};

// Why no further collapse was made: how many of the edges left at the last step each rule forbids (an edge counts
// once, under the first rule that refused it). All 0 where nothing was left to collapse.
struct LadderEnd {
  std::uint32_t tolerance = 0;
  std::uint32_t locked_boundary = 0;
  std::uint32_t foldover = 0;  // XY, UV, or a turned normal
  std::uint32_t topology = 0;  // link condition
};

class Ladder {
 public:
  // Builds the whole ladder. `meshes` must be valid wedge forms (no degenerate, duplicate or non-finite face, no
  // unused vertex) and stay alive and unchanged as long as the ladder is read. Throws std::bad_alloc.
  static std::unique_ptr<Ladder> build(std::span<WedgeMesh const* const> meshes, LadderOptions const& options);

  ~Ladder();
  Ladder(Ladder const&) = delete;
  Ladder& operator=(Ladder const&) = delete;

  std::uint32_t mesh_count() const;
  // The number of the last step.
  std::uint32_t step_count() const;
  // Faces over all meshes at a step; never rises with the step.
  std::uint32_t face_count(std::uint32_t step) const;
  // The first step with no more than `faces` faces; the last step when none is that coarse.
  std::uint32_t step_for_face_count(std::uint32_t faces) const;
  // Writes mesh `mesh` (place in the list given to build) as it is at `step` into `out`, reusing its storage.
  // Only live vertices and faces; sets in order; vertices numbered by first occurrence in the faces. At step 0 it
  // is a copy of the mesh given. Throws std::bad_alloc.
  void read(std::uint32_t mesh, std::uint32_t step, WedgeMesh& out);
  // The bound on the deviation recorded when the step was made, model units: with a tolerance, a bound on the
  // distance of any point of either surface to the other; without one, NaN for every step but 0 (see StepDeviation).
  double deviation_bound(std::uint32_t step) const;
  LadderEnd const& end() const;

 private:
  struct Data;
  explicit Ladder(std::unique_ptr<Data> data);
  std::unique_ptr<Data> data_;
};

}  // namespace mirel::engine
