// Builds the ladder: takes collapses in order of cost until none is left, and records them.
//
// Order (see bucket_queue.h): each vertex stands in the queue with its cheapest edge. When it comes up it is evaluated
// again; if its cost has risen by a bucket it goes back, else its edges are tried from the cheapest on until one is
// legal. The ring of a collapse is not evaluated again, only its sums are brought up to date (lazy, as rises are found
// when a vertex comes up and falls are rare). A vertex without a legal edge is set aside until its ring changes; a
// component whose vertices are all set aside becomes a candidate for removal as a whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "standalone/engine/deviation/deviation_guard.h"
#include "standalone/engine/ladder/attribute_kernels.h"
#include "standalone/engine/ladder/bucket_queue.h"
#include "standalone/engine/ladder/records.h"
#include "standalone/engine/ladder/refused_edges.h"
#include "standalone/engine/ladder/star_kernels.h"
#include "standalone/engine/ladder/star_metric.h"
#include "standalone/engine/ladder/stars.h"
#include "standalone/engine/ladder/wedge_attributes.h"
#include "standalone/engine/ladder/wedge_merge.h"

namespace mirel::engine {

class LadderBuilder {
 public:
  LadderBuilder(std::span<WedgeMesh const* const> meshes, LadderOptions const& options);
  // Runs the whole ladder. Call once.
  Records build();

 private:
  enum class Obstacle : std::uint8_t { kNone, kTolerance, kLockedBoundary, kFoldover, kTopology };
  static constexpr std::size_t kObstacles = 4;
  // Values of Vertex::bucket beside the queue's own.
  static constexpr BucketQueue::Bucket kNotQueued = 0xFFFE;
  static constexpr BucketQueue::Bucket kSetAside = 0xFFFF;
  // Marks a component among the queue's items.
  static constexpr std::uint32_t kComponentMark = 0x80000000U;
  // Beside it: a loose face.
  static constexpr std::uint32_t kLooseMark = 0x40000000U;
  // Entries of the queue that are evaluated together.
  static constexpr std::uint32_t kBatch = 8;
  // An edge that has become dearer by so many buckets still speaks for its vertex; beyond that the others are asked.
  static constexpr std::uint32_t kSmallRise = 2;
  // An edge refused beside a sliver comes up once more, slivers being free to become worse, when all that is left is so
  // many buckets dearer: a deviation of 32 times its own. Below that thin faces of mechanical parts lose more than they
  // gain.
  static constexpr std::uint32_t kSliverPatience = 40;
  // Set aside, stars of so many faces are asked only now and then whether one of their edges has become legal: each has
  // to be tried against all the faces.
  static constexpr std::uint32_t kLargeStar = 64;

  // One incidence of a neighbour in a star.
  struct Side {
    std::uint32_t neighbour;
    StarEntry const* entry;
    bool incoming;  // the neighbour is the entry's previous corner
  };
  // What is kept of a vertex with several wedges.
  struct SeamState {
    float variation[6] = {};  // what attributes add to its quadric
    std::uint32_t closed_fans = 0;
    std::uint32_t unused = 0;
  };
  // A wedge of a star, and per kind of attribute the place of the first that has the same value.
  struct StarWedge {
    std::uint32_t wedge;
    std::uint32_t groups[2];
  };
  // An edge of a star that is to stay where it is, or whose two faces are turned against each other.
  struct Feature {
    std::uint32_t neighbour;
    float weight;
    bool boundary;
    bool turned;
  };
  struct Component {
    std::uint32_t live = 0;    // vertices
    std::uint32_t active = 0;  // of these, the ones that are not set aside
    std::uint32_t member = kNone;
    bool locked = false;
    bool gone = false;
    bool offered = false;
  };

  // Setting up.
  void number_vertices(std::vector<std::uint32_t>& triangles, std::vector<std::uint32_t>& faces);
  void scale_to_unit();
  void sum_stars(std::span<std::uint32_t const> triangles);
  void lock_boundaries();
  void add_face_terms(std::span<std::uint32_t const> triangles);
  void start_guards();

  // Stars.
  bool is_regular(std::uint32_t v) const;
  bool shows_no_feature(std::span<StarEntry const> star) const;
  float feature_weight(StarEntry const& first, StarEntry const& second, std::uint32_t first_far,
                       std::uint32_t second_far) const;
  void list_fan_features(std::span<StarEntry const> star, std::uint32_t const* partners);
  void list_features(std::span<StarEntry const> star);
  bool list_all_features(std::span<StarEntry const> star);
  void refresh(std::uint32_t v, bool attributes_anew, float const* face_sums = nullptr);
  void move_feature_lines(std::uint32_t v, std::uint32_t except, float sign);
  bool has_lost_wedge(std::uint32_t v, std::uint32_t wedge) const;
  bool is_to_be_refreshed(std::uint32_t v) const;
  void start_attributes();
  std::size_t most_entries_of(std::uint32_t stretch) const;
  void sum_attributed_stars();
  SeamState seam_state(std::uint32_t v) const;
  // Whether all faces around v, which is irregular, lie in closed fans of one orientation, as far as that is known.
  bool has_closed_seam_fans(std::uint32_t v) const {
    if (attribute_values_.empty() || (stars_.vertex(v).flags & kOneWedge) != 0) return false;
    std::uint32_t closed_fans = 0;
    char const* const state = reinterpret_cast<char const*>(&attribute_values_[v]);
    std::memcpy(&closed_fans, state + offsetof(SeamState, closed_fans), sizeof(closed_fans));
    return closed_fans != 0;
  }
  // Whether all faces around v lie in closed fans of one orientation, as far as that is known.
  bool has_closed_fans(std::uint32_t v) const {
    return (stars_.vertex(v).flags & kIrregular) == 0 || has_closed_seam_fans(v);
  }
  void add_attributes(std::uint32_t v, bool anew);
  void find_wedge_variations(std::uint32_t v, std::span<StarEntry const> star);
  void sum_wedge_variations(std::uint32_t v, std::span<StarEntry const> star, FaceGradients const* rows,
                            std::uint32_t const* places);
  bool list_star_wedges(std::span<StarEntry const> star);
  void add_group_variations(std::uint32_t kind, std::uint32_t kinds, std::uint32_t mesh, FaceGradients const* rows,
                            std::uint32_t const* places, float* variation);
  void start_seam_wedges(std::uint32_t v);
  bool have_one_wedge(std::span<StarEntry const> faces) const;
  AttributeRow attribute_row(std::uint32_t v, std::uint32_t wedge) const;
  void start_corners(std::size_t faces);
  // The attributes of v in a face of which it is the corner `corner` places after that of `entry`.
  AttributeRow const* corner_values(std::uint32_t v, StarEntry const& entry, std::uint32_t corner) const {
    // Which vertices have one cannot be foreseen: no branch.
    std::uint32_t const several = (stars_.vertex(v).flags & kOneWedge) != 0 ? 0U : ~0U;
    std::uint32_t const place = entry.corner() + corner;
    std::uint32_t const wedge = attributes_.wedge(entry.face(), place < 3 ? place : place - 3) & several;
    AttributeRow const* const rows[2] = {&attribute_values_[v], &attributes_.seam_wedge(wedge).row};
    return rows[several & 1U];
  }
  void list_attribute_faces(std::uint32_t v, std::span<StarEntry const> star);
  AttributeFace attribute_face(std::uint32_t v, StarEntry const& entry) const;
  Vec3 triangle_normal(std::uint32_t v, StarEntry const& entry) const;

  // The queue.
  void process(std::uint32_t v, std::uint32_t current_bucket);
  Vec3 place_of(std::uint32_t v, std::uint32_t candidate) const;
  void take_batch(BucketQueue::Bucket bucket);
  bool is_plain(std::uint32_t v) const;
  void file_later(std::uint32_t v);
  void file_pending();
  void file(std::uint32_t v, std::uint32_t partner, BucketQueue::Bucket bucket);
  void set_aside(std::uint32_t v, std::array<std::uint8_t, kObstacles> const& obstacles);
  void retire(std::uint32_t v);
  void wake(std::uint32_t v);
  void ask_again();
  void empty_queue();
  void look_ahead(std::span<BucketQueue::Entry const> entries, std::size_t stride, BucketQueue::Bucket bucket) const;

  // One collapse.
  Obstacle check(std::uint32_t a, std::uint32_t b, Vec3 place);
  void fetch_ring(std::uint32_t end) const;
  bool has_sliver(std::uint32_t v) const;
  bool hub_turns(std::uint32_t a, std::uint32_t b, Vec3 place);
  bool gather(std::uint32_t a, std::uint32_t b);
  bool link_condition(std::uint32_t a, std::uint32_t b);
  bool bares_edge() const;
  static std::size_t count_faces_with(std::span<StarEntry const> faces, std::uint32_t v);
  bool drops_locked_edge(std::uint32_t a, std::uint32_t b) const;
  std::uint32_t count_shared_neighbours(std::uint32_t a, std::uint32_t b);
  void list_both_neighbours();
  void list_ring();
  float deviation_key(float squared) const;
  float noise_key() const;
  void measure_faces();
  bool is_flat(Vertex const& v, float trace) const;
  void measure_noise();
  float key_on_plane(float key, std::uint32_t a, std::uint32_t b) const;
  // The key of an edge; the least there is where it may come from rounding alone.
  float without_noise(float key, std::uint32_t a, std::uint32_t b) const {
    return key < noise_limit_ ? key_on_plane(key, a, b) : key;
  }
  float final_key(float key, std::uint32_t a, std::uint32_t b) const;
  bool meets_neighbour(Vec3 place) const;
  bool turns_over_in_xy(std::uint32_t a, std::uint32_t b) const;
  bool is_refused(std::uint32_t a, std::uint32_t b) const;
  void refuse(std::uint32_t a, std::uint32_t b);
  bool within_tolerance(std::uint32_t a, std::uint32_t b);
  bool is_due(std::uint32_t v) const;
  void commit(std::uint32_t a, std::uint32_t b, Vec3 place, float key);
  // With UVs and normals; see collapse_attributes.cpp.
  AttributeRow const* own_values(std::uint32_t v) const;
  void list_fan_corners();
  bool merge_wedges(std::uint32_t mesh, std::uint32_t a, std::uint32_t b, Vec3 place);
  EdgeEnd edge_end(std::uint32_t v, Vec3 place);
  void add_merged_attributes(std::uint32_t v);
  void record_wedges(std::uint32_t a, std::uint32_t b);
  void record_single_wedge(std::uint32_t a, std::uint32_t b);
  std::uint32_t new_node(std::uint32_t lowest);
  void finish_step();

  // The faces of the edge at hand that stay, first those of its first end; and those that go.
  std::span<StarEntry const> survivors() const { return std::span(fan_faces_).first(fan_.surviving); }
  std::span<StarEntry const> dying() const {
    return std::span(fan_faces_).subspan(fan_.surviving, fan_.count - fan_.surviving);
  }
  // The third corner of a face that goes.
  std::uint32_t opposite(StarEntry const& face) const { return face.next ^ face.previous ^ fan_.b; }
  bool is_opposite(std::uint32_t v) const {
    bool found = false;
    for (std::uint32_t i = fan_.surviving; i < fan_.count; ++i) found |= opposite(fan_faces_[i]) == v;
    return found;
  }

  bool is_scattered() const;
  void renumber_vertices();

  // Components.
  void find_components();
  void gather_component(std::uint32_t member);
  void offer_component(std::uint32_t component);
  void split_component(std::uint32_t component);
  bool may_go();
  void remove_component(std::uint32_t component);
  BucketQueue::Bucket removal_bucket(float weight, float radius2) const;
  std::array<Vec3, 3> loose_corners(std::uint32_t face) const;
  void add_loose_areas();
  void offer_loose_faces();
  void remove_loose_face(std::uint32_t face);

  // Coordinates.
  Vec3 ladder_point(std::size_t mesh, float const* p) const;
  std::uint32_t mesh_of(std::uint32_t v) const;
  Point output_point(std::uint32_t mesh, Vec3 position) const;
  Point output_point(std::uint32_t v) const;
  Point point_of_node(std::uint32_t mesh, std::uint32_t node) const;

  LadderOptions options_;
  Records records_;
  Stars stars_;
  BlockedQueue queue_;
  MetricKernels const& kernels_ = metric_kernels();
  AttributeKernels const& attribute_kernels_ = attribute_kernels();
  StarKernels const& star_kernels_ = star_kernels();
  WedgeAttributes attributes_;
  // Per vertex: that of its one wedge; of vertices with several, a SeamState. Empty where no mesh has UVs or normals.
  std::vector<AttributeRow> attribute_values_;
  std::vector<std::unique_ptr<DeviationGuard>> guards_;  // per mesh, with a tolerance only
  RefusedEdges refused_edges_;                           // the same
  bool only_steps_ = true;                               // of the guards' questions only the cheap one is asked

  std::vector<std::uint32_t> vertex_base_;  // mesh_count + 1
  struct Origin {
    std::uint32_t lowest;  // lowest step-0 position of its mesh in it
    std::uint32_t node;    // only without attributes, and of vertices with one wedge
  };
  std::vector<Origin> origins_;              // per vertex
  std::vector<std::uint32_t> component_of_;  // per vertex, once components are asked for
  std::vector<Component> components_;
  bool components_known_ = false;
  std::uint32_t live_components_ = 0;
  std::vector<std::uint32_t> loose_faces_;  // in their order, those that have gone too
  std::uint32_t live_loose_faces_ = 0;
  std::vector<std::array<std::uint8_t, kObstacles>> obstacles_;  // per vertex that is set aside, once one is

  double scale_ = 1;                            // model units to ladder units, a power of two
  double inverse_scale_ = 1;                    // exact, as that is
  std::vector<std::array<double, 3>> centres_;  // per mesh
  float rounding_ = 0;                          // ladder units: places further apart never round to one point

  double area_ = 0;       // of all faces at step 0
  float face_plane_ = 0;  // what the plane of a face of the mean area weighs, its power of 3/4, as of the batch at hand
  float per_face_area_ = 0, per_face_plane_ = 0;  // 1 over that area and that weight
  float noise_limit_ = 0;                         // no larger key may be noise, as of the round at hand

  std::uint32_t step_ = 0;
  std::uint32_t live_faces_ = 0;
  std::uint32_t live_vertices_ = 0;
  std::uint32_t next_position_id_ = 0;

  // Scratch of the collapse at hand.
  Candidates candidates_;
  std::vector<std::uint32_t> deviated_;  // candidates whose key is held against the deviation
  Candidates batch_;
  std::array<std::uint32_t, kBatch> pending_;  // vertices that are still to be filed
  std::uint32_t pending_count_ = 0;
  Neighbours own_neighbours_, other_neighbours_;  // of the first and the second end, once they are asked for
  bool neighbours_known_ = false;
  std::uint32_t own_listed_ = kNone;  // whose neighbours the first list holds, until a step is made
  bool free_slivers_ = false;         // `check` lets slivers become worse
  Fan fan_{};
  std::vector<StarEntry> fan_faces_;
  std::vector<FaceRow> fan_changes_;
  FaceRow merged_sums_;
  std::vector<std::uint32_t> fan_going_;  // places in the first end's star of the faces that go
  std::vector<Side> refresh_sides_;
  std::vector<Feature> features_;              // of the star at hand
  std::vector<std::uint32_t> changed_wedges_;  // opposite vertices of the edge at hand of which a wedge has gone
  std::vector<std::uint32_t> ring_;
  std::vector<AttributeFace> attribute_faces_;  // those of the fan, in its order, or of a star
  std::vector<ForetoldRow> foretold_;           // per face of the fan
  std::vector<StarEntry> star_faces_;           // those of a star, and kMaxLanes copies of the last
  std::vector<StarWedge> star_wedges_;          // of a star, so many
  std::uint32_t star_wedge_count_ = 0;
  std::uint32_t star_face_count_ = 0;
  std::vector<std::uint32_t> own_of_face_;  // per face of a star: place among its wedges
  std::vector<std::uint32_t> group_places_;
  std::vector<FaceGradients> gradient_rows_;    // of the faces of a star
  std::vector<std::uint32_t> gradient_places_;  // 0, 1, 2 ...
  float attribute_cost_ = 0;                    // what attributes add to the key of the edge at hand
  bool single_wedges_ = false;                  // each end of the edge at hand has one wedge, and they become one
  bool all_one_wedge_ = false;                  // and all vertices around them have
  MergedWedge merged_wedge_;                    // that, at the fan's place
  WedgeMerge merge_;
  Point place_point_{};  // the new place as it will be written
  std::vector<std::uint32_t> removed_faces_, neighbour_faces_;
  std::vector<ChangedFace> changed_faces_;
  std::vector<std::uint32_t> group_nodes_;
  // The component at hand.
  std::vector<std::uint32_t> component_vertices_;
  std::vector<std::uint32_t> component_faces_;
};

}  // namespace mirel::engine
