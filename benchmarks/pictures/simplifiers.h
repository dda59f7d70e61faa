// The simplifiers with attribute support that are libraries. Blender has a script of its own (reduce_blender.py).
#pragma once

#include "benchmarks/pictures/textured_mesh.h"

namespace mirel::pictures {

// This project's engine: the whole ladder down to the coarsest mesh, then the step at the target. Normals and UVs may
// be absent. `seconds` (may be null) gets the processor time of the ladder alone.
TexturedMesh reduce_with_mirel(TexturedMesh const& input, std::uint32_t faces, double* seconds);

#ifdef MIREL_HAS_MESHOPTIMIZER
// meshoptimizer's simplifier without a limit on the error; the result uses vertices of the input as they are.
TexturedMesh reduce_with_meshoptimizer(TexturedMesh const& input, std::uint32_t faces, double* seconds);
char const* meshoptimizer_version();
#endif

}  // namespace mirel::pictures
