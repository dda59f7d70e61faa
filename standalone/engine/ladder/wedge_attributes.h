// UVs and normals under reduction: which wedges of two merging vertices become one, with which values, and what the
// change costs.
//
// Wedges are linked across the edge by the faces that vanish with it: the two wedges of such a face at the edge's
// ends become one (Hoppe 1999). All others live on, so no face ever comes to show values of two charts; but where only
// the UVs tear, the normals of both sides stay one, and the other way around. Each wedge has attribute sums of its own
// (attribute_metric.h), from the faces that use it: both sides of a seam have their say in the place, and each gets the
// value that is the best for it there.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/attribute_metric.h"
#include "standalone/engine/ladder/metric_kernels.h"
#include "standalone/engine/ladder/records.h"
#include "standalone/engine/ladder/stars.h"

namespace mirel::engine {

using AttributeValues = std::array<float, kMaxAttributes>;

// The wedges of a merged vertex.
struct WedgeMerge {
  struct Group {
    AttributeValues values{};
    bool alive = false;  // some face that stays uses it
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

  // Whether a mesh's scaled attributes tell the ones they were made of.
  bool can_unscale(Records const& records, std::uint32_t mesh) const {
    return !records.layout.has_uvs || weights_[mesh].uv_root > 0;
  }
  std::uint32_t wedge(std::uint32_t face, std::uint32_t corner) const { return corner_wedges_[3 * face + corner]; }
  void set_wedge(std::uint32_t face, std::uint32_t corner, std::uint32_t node) {
    corner_wedges_[3 * face + corner] = node;
  }
  std::uint32_t set_of(std::uint32_t face) const { return face_sets_.empty() ? 0 : face_sets_[face]; }
  bool has_sets() const { return !face_sets_.empty(); }
  // Whether two wedges carry different UVs.
  bool uvs_differ(Records const& records, std::uint32_t wedge_a, std::uint32_t wedge_b) const;

  // A wedge's attributes as the metric takes them: u, v, x, y, z, each times the root of its weight; 0 where there is
  // none.
  AttributeValues scaled_values(Records const& records, std::uint32_t mesh, std::uint32_t wedge) const {
    return scaled(records, mesh, records.attributes.data() + std::size_t{wedge} * records.layout.stride);
  }
  AttributeValues scaled(Records const& records, std::uint32_t mesh, float const* values) const;

  // The other way: scaled attributes as the records hold them, normals of unit length. False, with nothing done, where
  // a normal has no direction.
  bool unscale(Records const& records, std::uint32_t mesh, float const* scaled, AttributeValues& values) const;

  // Works out the wedges of both ends of the edge (a, b) and their sums, for `form` and `merge`. `vertex_sums`: per
  // vertex, used where it has one wedge; empty without UVs and normals.
  void gather(Records const& records, Stars const& stars, std::span<AttributeSums const> vertex_sums,
              std::uint32_t mesh, std::uint32_t a, std::uint32_t b, WedgeMerge& result);
  // What attributes add to the system for the place when the edge gathered last collapses.
  AttributeForm form(WedgeMerge const& result) const;
  // What becomes of the wedges when it collapses to `place`.
  void merge(Records const& records, Stars const& stars, std::uint32_t mesh, std::uint32_t a, std::uint32_t b,
             Vec3 place, bool check_uv_area, WedgeMerge& result);
  // Whether moving the wedges of a vertex with one wedge to `uv` turns one of `faces`, of which it is the corner, over
  // in UV space.
  bool turns_uv_over(Records const& records, std::span<StarEntry const> faces, float const* uv) const;

 private:
  struct MeshWeights {
    float uv = 0;
    float normal = 0;
    float uv_root = 0;
    float normal_root = 0;
  };
  // Scaled, as AttributeSums has values.
  struct alignas(16) Range {
    std::array<float, 8> low;
    std::array<float, 8> high;

    void add(Range const& other);
  };
  // Attributes k from `begin` to `end` of a root group and all that share them: the best value is
  // values[k] + (linear[k] x + constant[k]) / weight, at a place x relative to the first end of the edge.
  struct Channel {
    std::uint32_t begin;
    std::uint32_t end;
    float weight = 0;
    AttributeValues values{};  // scaled, of the first wedge
    Vec3 linear[kMaxAttributes];
    float constant[kMaxAttributes] = {};
    Range range{};
  };

  struct UvBox {
    std::array<float, 2> low{};
    std::array<float, 2> high{};
  };

  UvBox box_on_outline(Records const& records, WedgeMerge const& result, std::size_t group) const;
  void add_star(Records const& records, Stars const& stars, std::span<AttributeSums const> vertex_sums,
                std::uint32_t mesh, std::uint32_t from, WedgeMerge& result);
  void link_across(Stars const& stars, std::uint32_t a, std::uint32_t b, WedgeMerge& result);
  void sum_channels(Records const& records, WedgeMerge const& merge);
  struct Shared {
    std::uint32_t begin;  // which of the values
    std::uint32_t end;
    std::vector<std::uint32_t> with;  // per group: the first group that has the same
  };
  void find_shared(Records const& records, WedgeMerge const& merge);
  void copy_shared(std::size_t begin, std::size_t end, WedgeMerge& result);
  static void copy_values(Shared const& shared, std::size_t from, std::size_t to, WedgeMerge& result);
  void mark_alive(Records const& records, Stars const& stars, std::uint32_t from, std::uint32_t to, bool check_uv_area,
                  WedgeMerge& result);

  std::vector<std::uint32_t> corner_wedges_;  // per face x 3: current node
  std::vector<std::uint32_t> face_sets_;      // per face; empty where every mesh has one set
  std::vector<MeshWeights> weights_;          // per mesh
  // Scratch of merge, kept to save allocations.
  std::vector<std::uint32_t> link_;
  std::vector<AttributeSums> sums_;  // per place in WedgeMerge::wedges, with its scaled values
  std::vector<Range> ranges_;
  std::vector<std::uint32_t> slots_;            // per face of the star at hand: place in WedgeMerge::wedges
  std::vector<std::array<float, 8>> far_rows_;  // scaled values at far corners of vertices with several wedges
  std::vector<AttributeFace> faces_;
  std::vector<AttributeRow> rows_;
  MetricKernels const& kernels_ = metric_kernels();
  std::size_t wedges_of_a_ = 0;
  Vec3 edge_;                                     // from a to b
  std::array<Shared, 2> shared_;                  // UVs, normals
  std::vector<std::array<Channel, 2>> channels_;  // per group: UVs, normals; those of roots count
  std::vector<std::uint32_t> source_;
};

}  // namespace mirel::engine
