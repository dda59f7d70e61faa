// The arithmetic of UVs and normals, on many faces at a time.
//
// Compiled again for wider vectors, like the metric's kernels: the width shows in no result. A face too thin to say how
// its attributes run along it has no weight.
#pragma once

#include <cstdint>
#include <vector>

#include "standalone/engine/ladder/attribute_metric.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

// Faces of which every corner is a vertex with one wedge, in the order of a star or of a fan.
struct OneWedgeFaces {
  AttributeRow const* rows;  // per vertex
  StarEntry const* entries;  // behind them stand others up to full lanes, of any vertices
};

// A fan of such faces, as in metric_kernels.h.
struct OneWedgeFan {
  OneWedgeFaces faces;
  std::uint32_t of_a, surviving, count;
  std::uint32_t a, b;
  float place[3];
  int kept;     // the end whose place is the new one: 0 for a, 1 for b, else -1
  bool closed;  // every vertex around the ends is the next corner of a face
};

// The same of faces that name their corners, each from the end that it is around.
struct NamedFan {
  AttributeFace const* faces;
  std::uint32_t of_a, surviving, count;
  AttributeRow const *a, *b;
  float place[3];
  int kept;
};

// What two wedges become.
struct MergedWedge {
  AttributeRow row;
  float cost;  // beyond the values that would be best for each end by itself
};

// By the kinds that are there (AttributeKind), of which there must be one where nothing else is said.
struct AttributeKernels {
  // Adds the variation over `count` faces around `corner` to `quadric` (xx xy xz yy yz zz). The faces' first corners
  // are not looked at.
  void (*add_variation[4])(AttributeRow const& corner, AttributeFace const* faces, std::uint32_t count,
                           AttributeScale const& scale, float* quadric);
  void (*add_star_variation[4])(AttributeRow const& corner, OneWedgeFaces const& faces, std::uint32_t count,
                                AttributeScale const& scale, float* quadric);
  // The gradients of some faces. `rows` has room for full lanes.
  void (*face_gradients[4])(AttributeFace const* faces, std::uint32_t count, AttributeScale const& scale,
                            FaceGradients* rows);
  // Adds the variation over the `count` faces at `places` among such rows, behind which there is one more. Missing
  // kinds have no weight.
  void (*add_row_variation)(FaceGradients const* rows, std::uint32_t const* places, std::uint32_t count,
                            float* quadric);
  // The same of some kinds alone, with their mean gradients in the attributes' own units. What `means` says of the
  // others stands for nothing.
  void (*add_group_variation)(FaceGradients const* rows, std::uint32_t const* places, std::uint32_t count,
                              std::uint32_t kinds, AttributeScale const& scale, float* quadric, MeanGradients& means);
  // What each face foretells for `place`. `rows` has room for full lanes.
  void (*foretell[4])(float const* place, AttributeFace const* faces, std::uint32_t count, ForetoldRow* rows);
  // What the wedges of a fan's ends, which have one each, become. The values are means of what faces foretell, kept
  // between those around: beyond them they would be no values of the mesh. A vertex that stays where it is keeps its
  // own to the bit. `rows`: scratch, with room for full lanes.
  void (*merge_fan[4])(OneWedgeFan const& fan, AttributeScale const& scale, ForetoldRow* rows, MergedWedge& merged);
  // By names also where no kind counts; then the faces are not looked at.
  void (*merge_named_fan[4])(NamedFan const& fan, AttributeScale const& scale, ForetoldRow* rows, MergedWedge& merged);
};

// The fastest that this machine runs.
AttributeKernels const& attribute_kernels();
// Those for every machine.
AttributeKernels const& narrow_attribute_kernels();
// All that this machine runs, the narrow ones first, the fastest last.
std::vector<AttributeKernels const*> runnable_attribute_kernels();

}  // namespace mirel::engine
