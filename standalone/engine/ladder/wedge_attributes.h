// UVs and normals under reduction: which wedges of two merging vertices become one, with which values, and what the
// change costs.
//
// Wedges are linked across the edge by the faces that vanish with it: the two wedges of such a face at the edge's
// ends become one (Hoppe 1999). All others live on, so no face ever comes to show values of two charts; but where only
// the UVs tear, the normals of both sides stay one, and the other way around. On each face
// of the two stars an attribute is a linear function of position; the value of a merged wedge is the mean of what the
// faces around it say at the new place, weighted like the faces in the position metric, and its cost is what they
// disagree: the attribute quadric of Hoppe 1999, minimised over the value at the given place.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/attribute_metric.h"
#include "standalone/engine/ladder/records.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

using AttributeValues = std::array<float, kMaxAttributes>;

// The wedges of a merged vertex.
struct WedgeMerge {
  struct Group {
    AttributeValues values;
    float weight;
    bool alive;  // some face that stays uses it
  };
  std::vector<std::uint32_t> wedges;    // the old wedges at either end, each once
  std::vector<std::uint32_t> group_of;  // per old wedge: place in groups
  std::vector<Group> groups;
  float cost = 0;
  bool turns_uv_over = false;  // a triangle that stays changes the sign of its area in UV space

  // The group of a wedge in the list.
  std::uint32_t group_of_wedge(std::uint32_t wedge) const;
};

class WedgeAttributes {
 public:
  // Takes the leaves' attributes into `records` and weighs UVs by the ratio of lengths in space and in UV space.
  // `scale`: model units to ladder units.
  void build(Records& records, double scale);

  std::uint32_t wedge(std::uint32_t face, std::uint32_t corner) const { return corner_wedges_[3 * face + corner]; }
  void set_wedge(std::uint32_t face, std::uint32_t corner, std::uint32_t node) {
    corner_wedges_[3 * face + corner] = node;
  }
  std::uint32_t set_of(std::uint32_t face) const { return face_sets_.empty() ? 0 : face_sets_[face]; }
  // Whether two wedges carry different UVs.
  bool uvs_differ(Records const& records, std::uint32_t wedge_a, std::uint32_t wedge_b) const;

  // A wedge's attributes as the metric takes them: u, v, x, y, z, each times the root of its weight; 0 where there is
  // none.
  AttributeValues scaled_values(Records const& records, std::uint32_t mesh, std::uint32_t wedge) const;

  // What becomes of the wedges when the edge (a, b) collapses to `place`.
  void merge(Records const& records, Stars const& stars, std::uint32_t mesh, std::uint32_t a, std::uint32_t b,
             Vec3 place, bool check_uv_area, WedgeMerge& result);

 private:
  struct MeshWeights {
    float uv = 0;
    float normal = 0;
    float uv_root = 0;
    float normal_root = 0;
  };
  struct Sample {
    std::uint32_t wedge;  // place in WedgeMerge::wedges, then in WedgeMerge::groups
    float weight;
    float area;
    AttributeValues values;
  };
  struct Range {
    AttributeValues low;
    AttributeValues high;
  };

  void add_star(Records const& records, Stars const& stars, std::uint32_t from, Vec3 place, WedgeMerge& result);
  void link_across(Stars const& stars, std::uint32_t a, std::uint32_t b, WedgeMerge& result);
  struct Shared {
    std::uint32_t begin;  // which of the values
    std::uint32_t end;
    std::vector<std::uint32_t> with;  // per group: the first group that has the same
  };
  void average(std::size_t group, float weight, std::uint32_t begin, std::uint32_t end, WedgeMerge& result) const;
  void find_shared(Records const& records, std::size_t wedges_of_a, WedgeMerge const& merge);
  void average_shared(WedgeMerge& result);
  void copy_shared(std::size_t begin, std::size_t end, WedgeMerge& result);
  static void copy_values(Shared const& shared, std::size_t from, std::size_t to, WedgeMerge& result);
  void mark_alive(Records const& records, Stars const& stars, std::uint32_t from, std::uint32_t to, bool check_uv_area,
                  WedgeMerge& result);

  std::vector<std::uint32_t> corner_wedges_;  // per face x 3: current node
  std::vector<std::uint32_t> face_sets_;      // per face; empty where every mesh has one set
  std::vector<MeshWeights> weights_;          // per mesh
  // Scratch of merge, kept to save allocations.
  std::vector<std::uint32_t> link_;
  std::vector<Sample> samples_;
  std::vector<Range> ranges_;
  std::vector<Range> group_ranges_;
  std::array<Shared, 2> shared_;  // UVs, normals
  std::vector<float> shared_weights_;
  std::vector<std::uint32_t> source_;
};

}  // namespace mirel::engine
