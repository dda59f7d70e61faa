// UVs and normals under reduction: which wedge each corner has, what is kept of wedges at seams, and what UVs and
// normals weigh.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "standalone/engine/ladder/attribute_metric.h"
#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/records.h"

namespace mirel::engine {

// The kinds of attributes of which two rows have the same values.
inline std::uint32_t kinds_alike(AttributeRow const& a, AttributeRow const& b) {
  Lanes low_a, low_b;
  std::memcpy(&low_a, &a, sizeof(low_a));
  std::memcpy(&low_b, &b, sizeof(low_b));
  unsigned const equal = lane_bits(low_a == low_b);
  return ((equal & 3U) == 3 ? kUvs : 0U) | (equal >> 2 == 3 && a.values[4] == b.values[4] ? kNormals : 0U);
}

class WedgeAttributes {
 public:
  // Takes the leaves' attributes into `records` and scales UVs by the ratio of lengths in space and in UV space.
  // `scale`: model units to ladder units.
  void build(Records& records, double scale);

  // The kinds of attributes (AttributeKind) that count in a mesh.
  std::uint32_t kinds(std::uint32_t mesh) const { return kinds_[mesh]; }
  AttributeScale const& scale(std::uint32_t mesh) const { return scales_[mesh]; }
  std::uint32_t wedge(std::uint32_t face, std::uint32_t corner) const { return corner_wedges_[3 * face + corner]; }
  // Those of its three corners.
  std::uint32_t const* wedges(std::uint32_t face) const { return corner_wedges_.data() + std::size_t{3} * face; }
  void set_wedge(std::uint32_t face, std::uint32_t corner, std::uint32_t node) {
    corner_wedges_[3 * face + corner] = node;
  }
  // The wedges of vertices with several: a place of their own, by their nodes. Any addition may move them.
  bool is_seam_wedge(std::uint32_t wedge) const { return wedge < seam_places_.size() && seam_places_[wedge] != 0; }
  SeamWedge& seam_wedge(std::uint32_t wedge) { return seam_wedges_[seam_places_[wedge]]; }
  SeamWedge const& seam_wedge(std::uint32_t wedge) const { return seam_wedges_[seam_places_[wedge]]; }
  // Makes room for so many, and for so many nodes.
  void start_seam_wedges(std::size_t count, std::size_t nodes);
  SeamWedge& add_seam_wedge(std::uint32_t wedge);
  void drop_seam_wedge(std::uint32_t wedge);
  // Takes over what a group of faces says of some kinds, of which the wedge answers for a share.
  static void set_gradients(MeanGradients const& means, std::uint32_t kinds, float share, MeanGradients& gradients);
  std::uint32_t set_of(std::uint32_t face) const { return face_sets_.empty() ? 0 : face_sets_[face]; }
  bool has_sets() const { return !face_sets_.empty(); }
  // Whether two wedges carry different UVs.
  bool uvs_differ(Records const& records, std::uint32_t wedge_a, std::uint32_t wedge_b) const;

  // The attributes of a wedge without its position, and the other way: puts those of a new one behind the others.
  static AttributeRow values(Records const& records, std::uint32_t wedge);
  static void append(AttributeRow const& row, Records& records);

  // Makes the normal of a row a unit one; false where it has no direction.
  static bool normalise(AttributeRow& row);

 private:
  std::vector<std::uint32_t> corner_wedges_;  // per face x 3: current node
  std::vector<std::uint32_t> face_sets_;      // per face; empty where every mesh has one set
  std::vector<AttributeScale> scales_;        // per mesh
  std::vector<std::uint32_t> kinds_;          // per mesh
  std::vector<std::uint32_t> seam_places_ = std::vector<std::uint32_t>(1);  // per node: place in seam_wedges_, or 0
  std::vector<SeamWedge> seam_wedges_ = std::vector<SeamWedge>(1);
  std::vector<std::uint32_t> free_places_;  // in seam_wedges_
};

}  // namespace mirel::engine
