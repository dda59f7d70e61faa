// UVs and normals under reduction: which wedges of two merging vertices become one, with which values, and what the
// change costs.
//
// Wedges are linked across the edge by the faces that vanish with it: the two wedges of such a face at the edge's
// ends become one (Hoppe 1999). All others live on, so no face ever comes to show values of two charts; but where only
// the UVs tear, the normals of both sides stay one, and the other way around. Each wedge gets the value that the faces
// which use it foretell for the place (attribute_metric.h).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/attribute_kernels.h"
#include "standalone/engine/ladder/records.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

// The wedges of a merged vertex.
struct WedgeMerge {
  struct Group {
    AttributeRow values;
    bool alive = false;  // some face that stays uses it
  };
  std::vector<std::uint32_t> wedges;    // the old wedges at either end, each once
  std::vector<std::uint32_t> group_of;  // per old wedge: place in groups
  std::vector<Group> groups;
  float cost = 0;              // beyond what the variations at the ends say
  bool turns_uv_over = false;  // a triangle that stays changes the sign of its area in UV space

  // The group of a wedge in the list.
  std::uint32_t group_of_wedge(std::uint32_t wedge) const;
};

// An end of an edge that has one wedge: its attributes, and what its faces foretell for the place of the merged vertex,
// summed; zeros where nothing counts. Of an end with several both are looked up, and this is empty.
struct EdgeEnd {
  AttributeRow const* values = nullptr;
  ForetoldRow foretold;
};

// An edge that is about to collapse, as its faces see it: those of a and those of b that stay, then those that go, of
// which a is the corner.
struct EdgeAttributes {
  std::span<StarEntry const> faces;
  std::uint32_t of_a;
  std::uint32_t surviving;
  std::uint32_t b;
  EdgeEnd ends[2];               // a, b
  float place[3];                // of the merged vertex
  AttributeFace const* corners;  // per face
  bool check_uv_area;            // it is to be told whether a face turns over in UV space
  std::uint32_t mesh;
  int kept;  // the end whose place is the new one: 0 for a, 1 for b, else -1
};

class WedgeAttributes {
 public:
  // Takes the leaves' attributes into `records` and scales UVs by the ratio of lengths in space and in UV space.
  // `scale`: model units to ladder units.
  void build(Records& records, double scale);

  // The kinds of attributes (AttributeKind) that count in a mesh.
  std::uint32_t kinds(std::uint32_t mesh) const { return kinds_[mesh]; }
  AttributeScale const& scale(std::uint32_t mesh) const { return scales_[mesh]; }
  std::uint32_t wedge(std::uint32_t face, std::uint32_t corner) const { return corner_wedges_[3 * face + corner]; }
  void set_wedge(std::uint32_t face, std::uint32_t corner, std::uint32_t node) {
    corner_wedges_[3 * face + corner] = node;
  }
  // The wedges of vertices with several: a place of their own, by their nodes. Any addition may move them.
  bool is_seam_wedge(std::uint32_t wedge) const { return wedge < seam_places_.size() && seam_places_[wedge] != 0; }
  SeamWedge& seam_wedge(std::uint32_t wedge) { return seam_wedges_[seam_places_[wedge]]; }
  SeamWedge const& seam_wedge(std::uint32_t wedge) const { return seam_wedges_[seam_places_[wedge]]; }
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

  // What becomes of the wedges of an edge.
  void merge(Records const& records, EdgeAttributes const& edge, WedgeMerge& result);
  // Whether moving the wedges of a vertex with one wedge to `uv` turns one of `faces`, of which it is the corner, over
  // in UV space.
  static bool turns_uv_over(std::span<AttributeFace const> faces, float const* uv);
  // Whether two rows have the same values of some kinds.
  static bool agree(AttributeRow const& a, AttributeRow const& b, std::uint32_t kinds);
  static void add(ForetoldRow const& other, ForetoldRow& row);
  // Makes the normal of a row a unit one; false where it has no direction.
  static bool normalise(AttributeRow& row);

 private:
  // An old wedge.
  struct Slot {
    AttributeRow const* values;
    ForetoldRow foretold;   // by the faces that use it
    float low[2], high[2];  // of its UV and those at the other corners of its faces
    // Per kind of attribute: the first slot at the same end that has the same value, and the part of the metric that it
    // stands for with all of those.
    std::array<std::uint32_t, 2> same;
  };

  std::uint32_t add_slot(std::uint32_t begin, std::uint32_t wedge, EdgeAttributes const& edge, EdgeEnd const& end,
                         WedgeMerge& result);
  void gather(EdgeAttributes const& edge, WedgeMerge& result);
  void link(EdgeAttributes const& edge, WedgeMerge& result);
  void find_shared(Records const& records, WedgeMerge const& merge);
  void choose_mean(WedgeMerge const& result, std::size_t kind, std::size_t group, AttributeRow& values) const;
  void choose_values(std::size_t kind, bool counts, WedgeMerge& result);
  void keep_values(EdgeAttributes const& edge, Records const& records, WedgeMerge& result);
  float cost(std::size_t kind, float scale, WedgeMerge const& result);
  void keep_on_outline(WedgeMerge const& result, std::size_t group, float* uv) const;
  void keep_inside(WedgeMerge const& result, std::size_t group, float* uv) const;
  void find_uv_bounds(EdgeAttributes const& edge);
  void copy_shared(std::size_t begin, std::size_t end, WedgeMerge& result);
  void mark_alive(EdgeAttributes const& edge, WedgeMerge& result) const;

  std::vector<std::uint32_t> corner_wedges_;  // per face x 3: current node
  std::vector<std::uint32_t> face_sets_;      // per face; empty where every mesh has one set
  std::vector<AttributeScale> scales_;        // per mesh
  std::vector<std::uint32_t> kinds_;          // per mesh
  std::vector<std::uint32_t> seam_places_;    // per node: place in seam_wedges_, or 0
  std::vector<SeamWedge> seam_wedges_ = std::vector<SeamWedge>(1);
  std::vector<std::uint32_t> free_places_;  // in seam_wedges_
  // Scratch of merge, kept to save allocations.
  std::vector<Slot> slots_;                  // per place in WedgeMerge::wedges
  std::vector<std::uint32_t> slot_of_face_;  // per face of the edge: place in slots_ at its own corner
  std::vector<std::uint32_t> other_slot_;    // per face that goes: that at the second end
  std::size_t slots_of_a_ = 0;
  std::vector<std::uint32_t> link_;
  std::array<std::vector<std::uint32_t>, 2> shared_;  // UVs, normals; per group: the first group that has the same
  std::vector<std::uint32_t> source_;
};

}  // namespace mirel::engine
