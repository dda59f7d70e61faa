#include "standalone/engine/ladder/builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace mirel::engine {

LadderBuilder::LadderBuilder(std::span<WedgeMesh const* const> meshes, LadderOptions const& options)
    : options_(options) {
  if (!(options_.tolerance > 0)) options_.tolerance = 0;
  records_.meshes.assign(meshes.begin(), meshes.end());
  records_.face_base.push_back(0);
  records_.wedge_base.push_back(0);
  for (WedgeMesh const* mesh : meshes) {
    records_.face_base.push_back(records_.face_base.back() + mesh->face_count());
    records_.wedge_base.push_back(records_.wedge_base.back() + mesh->vertex_count());
    records_.attributed |= mesh->vertex_count() != mesh->position_count || !mesh->normals.empty() ||
                           !mesh->uvs.empty() || mesh->set_begin.size() > 2;
  }
}

Records LadderBuilder::build() {
  records_.parent.reserve(std::size_t{records_.leaf_count()} * 2);
  records_.parent.assign(records_.leaf_count(), kNone);
  records_.face_death.assign(records_.face_count(), kNone);
  records_.face_count_at.push_back(records_.face_count());
  records_.node_count_at.push_back(records_.leaf_count());
  if (options_.tolerance > 0) records_.deviation_at.push_back(0);
  live_faces_ = records_.face_count();
  next_level_faces_ = live_faces_ / 2;
  Level full;
  full.node_count = records_.leaf_count();
  full.mesh_begin = records_.face_base;
  records_.levels.push_back(std::move(full));
  if (live_faces_ == 0) return std::move(records_);

  scale_to_unit();
  {
    std::vector<std::uint32_t> triangles;
    number_vertices(triangles);
    if (records_.attributed) attributes_.build(records_, scale_);
    stars_.build(vertex_base_.back(), triangles);
    sum_stars(triangles);
    mark_flat_faces(triangles);
  }
  if (options_.lock_boundaries) lock_boundaries();
  if (options_.tolerance > 0) start_guards();

  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if ((stars_.vertex(v).flags & kUrgent) != 0) {
      file(v, 0);
    } else {
      process(v, 0);
    }
  }
  std::uint32_t item = 0;
  BucketQueue::Bucket bucket = 0;
  while (queue_.pop(item, bucket)) {
    if ((item & kComponentMark) != 0) {
      remove_component(item & ~kComponentMark);
      continue;
    }
    look_ahead();
    Vertex& vertex = stars_.vertex(item);
    if (vertex.bucket != bucket) continue;
    vertex.bucket = kNotQueued;
    process(item, (vertex.flags & kUrgent) != 0 ? BucketQueue::kBucketCount : bucket);
  }

  std::array<std::uint64_t, kObstacles> ends{};
  if (!obstacles_.empty()) {
    for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
      if ((stars_.vertex(v).flags & kDead) != 0) continue;
      for (std::size_t k = 0; k < kObstacles; ++k) ends[k] += obstacles_[v][k];
    }
  }
  // Every edge was counted from both of its ends; where they disagree it counts half for each rule, rounded up.
  auto const edges = [&ends](Obstacle obstacle) {
    return static_cast<std::uint32_t>((ends[static_cast<std::size_t>(obstacle) - 1] + 1) / 2);
  };
  records_.end = {edges(Obstacle::kTolerance), edges(Obstacle::kLockedBoundary), edges(Obstacle::kFoldover),
                  edges(Obstacle::kTopology)};
  return std::move(records_);
}

void LadderBuilder::file(std::uint32_t v, BucketQueue::Bucket bucket) {
  stars_.vertex(v).bucket = bucket;
  queue_.push(v, bucket);
}

// Where the merged vertex of a candidate goes. A locked end is met to the bit.
Vec3 LadderBuilder::place_of(std::uint32_t v, std::uint32_t candidate) const {
  Vertex const& other = stars_.vertex(candidates_.neighbours[candidate]);
  if ((other.flags & kLocked) != 0) return other.position();
  return stars_.vertex(v).position() + candidates_.offset(candidate);
}

// The cheapest candidate left. With attributes their part of a key is only worked out for edges that are the cheapest
// without it.
bool LadderBuilder::cheapest(std::uint32_t v, std::uint32_t& best) {
  for (;;) {
    float lowest = std::numeric_limits<float>::infinity();
    for (std::uint32_t i = 0; i < candidates_.count; ++i) {
      if (candidates_.keys[i] < lowest) {
        lowest = candidates_.keys[i];
        best = i;
      }
    }
    if (!(lowest < std::numeric_limits<float>::infinity())) return false;
    if (!records_.attributed || refined_[best] != 0) return true;
    refined_[best] = 1;
    if (records_.layout.stride == 0) return true;
    attributes_.merge(records_, stars_, mesh_of(v), v, candidates_.neighbours[best], place_of(v, best), false,
                      merge_scratch_);
    candidates_.keys[best] += merge_scratch_.cost;
  }
}

// Takes the cheapest legal collapse of v if it still belongs to the current bucket, else files v where it now belongs.
void LadderBuilder::process(std::uint32_t v, std::uint32_t current_bucket) {
  evaluate(stars_, v, candidates_);
  if (records_.attributed) refined_.assign(candidates_.count, 0);
  if ((stars_.vertex(v).flags & kOneWedge) != 0) add_attribute_costs(stars_, attribute_sums_, v, candidates_, refined_);
  std::array<std::uint8_t, kObstacles> obstacles{};
  std::uint32_t i = 0;
  while (cheapest(v, i)) {
    BucketQueue::Bucket const bucket = BucketQueue::bucket_of(candidates_.keys[i]);
    if (bucket > current_bucket) {
      file(v, bucket);
      return;
    }
    std::uint32_t const other = candidates_.neighbours[i];
    Vec3 const place = place_of(v, i);
    Obstacle const obstacle = check(v, other, place);
    if (obstacle == Obstacle::kNone) {
      commit(v, other, place, candidates_.keys[i]);
      return;
    }
    std::uint8_t& count = obstacles[static_cast<std::size_t>(obstacle) - 1];
    if (count < 255) ++count;
    candidates_.keys[i] = std::numeric_limits<float>::infinity();
  }
  if ((stars_.vertex(v).flags & kLocked) != 0) {
    // Edges between two locked ends were never candidates.
    std::uint32_t locked_edges = 0;
    for (std::uint32_t k = 0; k < candidates_.count; ++k) {
      locked_edges += (stars_.vertex(candidates_.neighbours[k]).flags & kLocked) != 0 ? 1U : 0U;
    }
    obstacles[static_cast<std::size_t>(Obstacle::kLockedBoundary) - 1] =
        static_cast<std::uint8_t>(std::min<std::uint32_t>(255, locked_edges));
  }
  set_aside(v, obstacles);
}

void LadderBuilder::set_aside(std::uint32_t v, std::array<std::uint8_t, kObstacles> const& obstacles) {
  Vertex& vertex = stars_.vertex(v);
  vertex.flags = static_cast<std::uint8_t>(vertex.flags & ~kUrgent);
  if (obstacles_.empty()) obstacles_.resize(stars_.vertex_count());
  obstacles_[v] = obstacles;
  if (!components_known_) {
    vertex.bucket = kSetAside;
    find_components();
    return;
  }
  bool const was_active = vertex.bucket != kSetAside;
  vertex.bucket = kSetAside;
  if (live_components_ == 0 || !was_active) return;
  Component& component = components_[component_of_[v]];
  component.member = v;
  if (--component.active == 0) offer_component(component_of_[v]);
}

// The ring of v has changed: it may have legal edges again.
void LadderBuilder::wake(std::uint32_t v) {
  if (live_components_ > 0) ++components_[component_of_[v]].active;
  stars_.vertex(v).bucket = kNotQueued;
  process(v, 0);
}

// Takes a vertex out: it has merged into another, or lost its last face.
void LadderBuilder::retire(std::uint32_t v) {
  Vertex& vertex = stars_.vertex(v);
  if (live_components_ > 0) {
    Component& component = components_[component_of_[v]];
    --component.live;
    component.active -= vertex.bucket != kSetAside ? 1U : 0U;
  }
  stars_.clear(v);
  vertex.flags |= kDead;
  vertex.bucket = kNotQueued;
}

// Touches what the next collapses will need, as the queue's order is not that of memory.
void LadderBuilder::look_ahead() const {
  std::uint32_t item = 0;
  if (queue_.peek(12, item) && (item & kComponentMark) == 0) __builtin_prefetch(&stars_.vertex(item));
  if (queue_.peek(7, item) && (item & kComponentMark) == 0) {
    StarEntry const* const entries = stars_.entries() + stars_.vertex(item).star_begin;
    __builtin_prefetch(entries);
    __builtin_prefetch(entries + 5);
  }
  if (queue_.peek(3, item) && (item & kComponentMark) == 0) {
    for (StarEntry const& entry : stars_.star(item).first(std::min<std::size_t>(stars_.star(item).size(), 16))) {
      __builtin_prefetch(&stars_.vertex(entry.next));
    }
  }
}

std::uint32_t LadderBuilder::mesh_of(std::uint32_t v) const {
  if (vertex_base_.size() == 2) return 0;
  return static_cast<std::uint32_t>(std::upper_bound(vertex_base_.begin(), vertex_base_.end(), v) -
                                    vertex_base_.begin() - 1);
}

Point LadderBuilder::output_point(std::uint32_t mesh, Vec3 position) const {
  std::array<double, 3> const& centre = centres_[mesh];
  return {static_cast<float>(centre[0] + double{position.x} / scale_),
          static_cast<float>(centre[1] + double{position.y} / scale_),
          static_cast<float>(centre[2] + double{position.z} / scale_)};
}

Point LadderBuilder::output_point(std::uint32_t v) const {
  StarEntry const& entry = stars_.star(v).front();
  return point_of_node(mesh_of(v), records_.attributed ? attributes_.wedge(entry.face(), entry.corner()) : node_of_[v]);
}

Point LadderBuilder::point_of_node(std::uint32_t mesh, std::uint32_t node) const {
  float const* const p =
      node < records_.leaf_count()
          ? records_.meshes[mesh]->vertices.data() + std::size_t{3} * (node - records_.wedge_base[mesh])
          : records_.created_positions.data() + std::size_t{3} * (node - records_.leaf_count());
  return {p[0], p[1], p[2]};
}

}  // namespace mirel::engine
