// Which wedges of two merging vertices become one, with which values, and what the change costs.
//
// Wedges are linked across the edge by the faces that vanish with it: the two wedges of such a face at the edge's
// ends become one (Hoppe 1999). All others live on, so no face ever comes to show values of two charts; but where only
// the UVs tear, the normals of both sides stay one, and the other way around. Each wedge gets the value that the faces
// which use it foretell for the place (attribute_metric.h).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/stars.h"
#include "standalone/engine/ladder/wedge_attributes.h"

namespace mirel::engine {

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
  EdgeEnd ends[2];         // a, b
  float place[3];          // of the merged vertex
  AttributeFace* corners;  // per face; the first corner is filled in where that end has several wedges
  bool check_uv_area;      // it is to be told whether a face turns over in UV space
  std::uint32_t mesh;
  int kept;  // the end whose place is the new one: 0 for a, 1 for b, else -1
};

// Whether moving the wedges of a vertex with one wedge to `uv` turns one of `faces`, of which it is the corner, over in
// UV space.
bool turns_uv_over(std::span<AttributeFace const> faces, float const* uv);

// What the wedges of an edge become. Lists only ever grow their storage.
class WedgeMerge {
 public:
  // An old wedge at either end of the edge.
  struct OldWedge {
    AttributeRow const* values;
    std::uint32_t wedge;
    std::uint32_t group;   // place among the groups
    ForetoldRow foretold;  // by the faces that use it
    Lanes low, high;       // of its UV and those at the other corners of its faces; the other lanes stand for nothing
    std::uint32_t link;
    // Per kind of attribute: the first old wedge at the same end that has the same value, and the first group that has
    // the same as its own.
    std::uint32_t same[2];
    std::uint32_t shared[2];
  };
  // A wedge of the merged vertex.
  struct Group {
    AttributeRow values;
    bool alive;               // some face that stays uses it
    std::uint32_t shared[2];  // per kind: the first group that has the same
  };

  void merge(WedgeAttributes const& attributes, AttributeLayout const& layout, EdgeAttributes const& edge);

  std::span<OldWedge const> wedges() const { return std::span(wedges_).first(wedge_count_); }
  std::span<Group> groups() { return std::span(groups_).first(group_count_); }
  // Beyond what the variations at the ends say.
  float cost() const { return cost_; }
  // Whether a triangle that stays changes the sign of its area in UV space.
  bool turns_uv_over() const { return turns_uv_over_; }

 private:
  std::span<OldWedge> old_wedges() { return std::span(wedges_).first(wedge_count_); }
  std::uint32_t place_of(std::uint32_t begin, std::uint32_t wedge, WedgeAttributes const& attributes,
                         EdgeAttributes const& edge, EdgeEnd const& end);
  void gather(WedgeAttributes const& attributes, EdgeAttributes const& edge);
  void link(EdgeAttributes const& edge);
  void find_shared(bool shares);
  void find_uv_bounds(EdgeAttributes const& edge);
  void choose_mean(std::size_t kind, std::size_t group, AttributeRow& values) const;
  void choose_values(std::size_t kind, bool counts);
  void keep_inside(std::size_t group, float* uv) const;
  void keep_on_outline(std::size_t group, float* uv) const;
  void keep_values(EdgeAttributes const& edge, bool shares);
  void copy_shared(std::size_t begin, std::size_t end);
  void add_cost(std::size_t kind, float scale);
  void normalise();
  void mark_alive(EdgeAttributes const& edge);

  std::vector<OldWedge> wedges_;
  std::vector<Group> groups_;
  std::uint32_t wedge_count_ = 0;
  std::uint32_t wedges_of_a_ = 0;
  std::uint32_t group_count_ = 0;
  std::vector<std::uint32_t> wedge_of_face_;  // per face of the edge: place in wedges_ at its own corner
  std::vector<std::uint32_t> other_wedge_;    // per face that goes: that at the second end
  std::vector<std::uint32_t> source_;
  float cost_ = 0;
  bool turns_uv_over_ = false;
};

}  // namespace mirel::engine
