#include "standalone/engine/ladder/builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

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
  // Vertices at seams leave a few nodes for each of their wedges but the first.
  std::size_t positions = 0;
  for (WedgeMesh const* mesh : records_.meshes) positions += mesh->position_count;
  std::size_t const created = 3 * std::size_t{records_.leaf_count()} - 2 * positions;
  records_.parent.reserve(records_.leaf_count() + created);
  records_.created.reserve(created);
  if (records_.attributed) records_.created_position_id.reserve(created);
  records_.face_count_at.reserve(records_.leaf_count() + 1);
  records_.node_count_at.reserve(records_.leaf_count() + 1);
  records_.parent.assign(records_.leaf_count(), kNone);
  records_.face_death.assign(records_.face_count(), kNone);
  records_.face_count_at.push_back(records_.face_count());
  records_.node_count_at.push_back(records_.leaf_count());
  if (options_.tolerance > 0) records_.deviation_at.push_back(0);
  live_faces_ = records_.face_count();
  if (live_faces_ == 0) return std::move(records_);

  scale_to_unit();
  {
    std::vector<std::uint32_t> triangles, faces;
    number_vertices(triangles, faces);
    if (records_.attributed) attributes_.build(records_, scale_);
    stars_.build(vertex_base_.back(), triangles, faces);
    sum_stars(triangles);
  }
  measure_noise();
  live_vertices_ = stars_.vertex_count();
  queue_.start(live_vertices_);
  if (options_.lock_boundaries) lock_boundaries();
  if (options_.tolerance > 0) start_guards();

  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if ((stars_.vertex(v).flags & kUrgent) != 0) {
      // In its turn, as the others before it.
      file_pending();
      file(v, v, 0);
    } else {
      file_later(v);
    }
  }
  file_pending();
  offer_loose_faces();
  empty_queue();
  if (options_.tolerance > 0) {
    ask_again();
    empty_queue();
  }

  std::array<std::uint64_t, kObstacles> ends{};
  if (!obstacles_.empty()) {
    for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
      if ((stars_.vertex(v).flags & kDead) != 0) continue;
      for (std::size_t k = 0; k < kObstacles; ++k) ends[k] += obstacles_[v][k];
    }
  }
  Obstacle const of_loose_faces = options_.lock_boundaries ? Obstacle::kLockedBoundary : Obstacle::kTopology;
  ends[static_cast<std::size_t>(of_loose_faces) - 1] += std::uint64_t{6} * live_loose_faces_;
  // Every edge was counted from both of its ends; where they disagree it counts half for each rule, rounded up.
  auto const edges = [&ends](Obstacle obstacle) {
    return static_cast<std::uint32_t>((ends[static_cast<std::size_t>(obstacle) - 1] + 1) / 2);
  };
  records_.end = {edges(Obstacle::kTolerance), edges(Obstacle::kLockedBoundary), edges(Obstacle::kFoldover),
                  edges(Obstacle::kTopology)};
  return std::move(records_);
}

void LadderBuilder::empty_queue() {
  BucketQueue::Bucket bucket = 0;
  while (queue_.start_round()) {
    measure_noise();
    while (queue_.find_next(bucket)) take_batch(bucket);
    if (is_scattered()) renumber_vertices();
  }
}

// Whether the gaps between the vertices are worth closing: a mesh that is not large stays near the processor as it is,
// until one stretch holds what is left of it.
bool LadderBuilder::is_scattered() const {
  constexpr std::uint32_t kManyVertices = 1U << 17;
  std::uint32_t const slots = stars_.vertex_count();
  if (queue_.is_one_stretch() || live_vertices_ > slots / 4) return false;
  return slots > kManyVertices || live_vertices_ <= BlockedQueue::kLargestStretch;
}

// Once nothing is left that the guards permit without a look at the original: from now on they look. To do so earlier
// would cost more for all that comes after around the place.
void LadderBuilder::ask_again() {
  only_steps_ = false;
  refused_edges_.start(stars_.vertex_count());
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    Vertex const& vertex = stars_.vertex(v);
    if ((vertex.flags & kDead) == 0 && vertex.bucket == kSetAside) wake(v);
  }
  file_pending();
}

void LadderBuilder::file(std::uint32_t v, std::uint32_t partner, BucketQueue::Bucket bucket) {
  stars_.vertex(v).bucket = bucket;
  queue_.push({v, partner}, bucket);
}

// Whether all that is wanted of a vertex is worked out by the kernel for cheapest edges.
bool LadderBuilder::is_plain(std::uint32_t v) const {
  return has_closed_fans(v) && !stars_.is_hub(v);
}

// Files a vertex by its cheapest edge, with others together: their evaluations do not wait for each other.
void LadderBuilder::file_later(std::uint32_t v) {
  if (!is_plain(v)) {
    process(v, 0);
    return;
  }
  stars_.vertex(v).bucket = kNotQueued;
  pending_[pending_count_++] = v;
  if (pending_count_ == kBatch) file_pending();
}

void LadderBuilder::file_pending() {
  std::array<CheapestEdge, kBatch> edges;
  std::uint32_t count = 0;
  for (std::uint32_t i = 0; i < pending_count_; ++i) {
    std::uint32_t const v = pending_[i];
    Vertex const& vertex = stars_.vertex(v);
    // Some have merged into another since, or have been looked at.
    if (vertex.bucket != kNotQueued || (vertex.flags & kDead) != 0) continue;
    if (is_plain(v)) {
      pending_[count++] = v;
    } else {
      process(v, 0);
    }
  }
  pending_count_ = 0;
  kernels_.cheapest_edges(stars_.vertices(), stars_.entries(), pending_.data(), count, edges.data());
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t const v = pending_[i];
    if (stars_.vertex(v).bucket != kNotQueued) continue;
    if (edges[i].key < std::numeric_limits<float>::infinity()) {
      file(v, edges[i].neighbour, BucketQueue::bucket_of(edges[i].key));
    } else {
      process(v, 0);
    }
  }
}

// Takes the next few entries of a bucket together. Each speaks for one edge, and those edges are evaluated in one go;
// where nothing around an edge has changed by the time that it is its turn, that is all that it takes. Entries whose
// edge is gone or has become dearer have all edges of their vertex evaluated, again in one go.
void LadderBuilder::take_batch(BucketQueue::Bucket bucket) {
  std::span<BucketQueue::Entry const> const entries = queue_.rest(bucket);
  if ((entries[0].item & kComponentMark) != 0) {
    std::uint32_t const component = entries[0].item & ~kComponentMark;
    queue_.drop(bucket, 1);
    if ((component & kLooseMark) != 0) {
      remove_loose_face(component & ~kLooseMark);
    } else {
      remove_component(component);
    }
    return;
  }
  measure_faces();
  std::array<std::uint32_t, kBatch> items;
  std::array<std::uint32_t, kBatch> partners;
  std::uint32_t count = 0;
  // What has risen from here may be noise.
  bool const among_noise = bucket <= BucketQueue::bucket_of(noise_limit_);
  // Evaluates the edges from one on.
  auto const evaluate_batch = [&](std::uint32_t first) {
    kernels_.evaluate_edges(stars_.vertices(), items.data() + first, partners.data() + first, count - first,
                            batch_.arrays(first));
    for (std::uint32_t i = first; among_noise && i < count; ++i) {
      batch_.keys[i] = without_noise(batch_.keys[i], items[i], partners[i]);
    }
    // Not before: a vertex that has just been written to in part would be waited for.
    for (std::uint32_t i = first; i < count; ++i) {
      stars_.vertex(items[i]).flags |= kFresh;
      stars_.vertex(partners[i]).flags |= kFresh;
    }
  };
  std::size_t taken = 0;
  for (; taken < entries.size() && count < kBatch; ++taken) {
    BucketQueue::Entry const entry = entries[taken];
    if ((entry.item & kComponentMark) != 0) break;
    // Which entries are stale cannot be foreseen: no branch.
    items[count] = entry.item;
    partners[count] = entry.partner;
    count += static_cast<std::uint32_t>(stars_.vertex(entry.item).bucket == bucket);
  }
  look_ahead(entries.subspan(taken), taken, bucket);
  queue_.drop(bucket, taken);
  if (count == 0) return;
  batch_.resize(2 * kBatch);
  evaluate_batch(0);
  // Those that are to be evaluated as a whole, and what came of it.
  std::array<std::uint32_t, kBatch> whole;
  std::array<std::uint32_t, kBatch> place_among_whole;
  std::array<CheapestEdge, kBatch> cheapest;
  std::uint32_t whole_count = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    bool const gone = (stars_.vertex(partners[i]).flags & kDead) != 0;
    bool const risen = BucketQueue::bucket_of(batch_.keys[i]) > bucket + kSmallRise;
    bool const is_one = (gone | risen) & is_plain(items[i]);
    whole[whole_count] = items[i];
    place_among_whole[i] = is_one ? whole_count : kBatch;
    whole_count += is_one ? 1U : 0U;
  }
  kernels_.cheapest_edges(stars_.vertices(), stars_.entries(), whole.data(), whole_count, cheapest.data());
  for (std::uint32_t i = 0; among_noise && i < whole_count; ++i) {
    cheapest[i].key = without_noise(cheapest[i].key, whole[i], cheapest[i].neighbour);
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t const v = items[i];
    Vertex& vertex = stars_.vertex(v);
    if (vertex.bucket != bucket) continue;
    vertex.bucket = kNotQueued;
    bool const urgent = (vertex.flags & kUrgent) != 0;
    Vertex const& partner = stars_.vertex(partners[i]);
    if (!urgent && place_among_whole[i] < kBatch && (vertex.flags & kFresh) != 0) {
      CheapestEdge const& edge = cheapest[place_among_whole[i]];
      BucketQueue::Bucket const now = BucketQueue::bucket_of(edge.key);
      if (now > bucket && edge.key < std::numeric_limits<float>::infinity()) {
        file(v, edge.neighbour, now);
        continue;
      }
    } else if (!urgent && v != partners[i] && (partner.flags & kDead) == 0) {
      if ((vertex.flags & partner.flags & kFresh) == 0) evaluate_batch(i);
      float key = batch_.keys[i];
      Vec3 const place = (partner.flags & kLocked) != 0 ? partner.position() : vertex.position() + batch_.offset(i);
      BucketQueue::Bucket const now = BucketQueue::bucket_of(key);
      if (now <= bucket) {
        if (check(v, partners[i], place) == Obstacle::kNone) {
          key = final_key(key, v, partners[i]);
          if (BucketQueue::bucket_of(key) <= bucket + kSmallRise) {
            commit(v, partners[i], place, key);
          } else {
            file(v, partners[i], BucketQueue::bucket_of(key));
          }
          continue;
        }
      } else if (now <= bucket + kSmallRise) {
        file(v, partners[i], now);
        continue;
      }
    }
    process(v, urgent ? BucketQueue::kBucketCount : bucket);
  }
  file_pending();
}

// Where the merged vertex of a candidate goes. A locked end is met to the bit.
Vec3 LadderBuilder::place_of(std::uint32_t v, std::uint32_t candidate) const {
  Vertex const& other = stars_.vertex(candidates_.neighbours[candidate]);
  if ((other.flags & kLocked) != 0) return other.position();
  return stars_.vertex(v).position() + candidates_.offset(candidate);
}

// Takes the cheapest legal collapse of v if it still belongs to the current bucket, else files v where it now belongs.
void LadderBuilder::process(std::uint32_t v, std::uint32_t current_bucket) {
  if (stars_.is_hub(v)) {
    // Its edges stand in the queue for their other ends: to evaluate all of them at every change would cost the square
    // of their number.
    set_aside(v, {});
    return;
  }
  evaluate(kernels_, stars_, v, candidates_);
  deviated_.clear();
  std::array<std::uint8_t, kObstacles> obstacles{};
  // The cheapest edge that would come up again with free slivers, and when.
  std::uint32_t patient = kNone;
  std::uint32_t patience_end = BucketQueue::kBucketCount - 1;
  std::uint32_t const noise_bucket = BucketQueue::bucket_of(noise_key());
  bool const urgent = current_bucket == BucketQueue::kBucketCount;
  std::uint32_t i = 0;
  while (candidates_.find_cheapest(i)) {
    candidates_.keys[i] = without_noise(candidates_.keys[i], v, candidates_.neighbours[i]);
    BucketQueue::Bucket const bucket = BucketQueue::bucket_of(candidates_.keys[i]);
    if (bucket > current_bucket) {
      if (patient != kNone && patience_end < bucket && has_sliver(v)) {
        file(v, patient, static_cast<BucketQueue::Bucket>(patience_end));
      } else {
        file(v, candidates_.neighbours[i], bucket);
      }
      return;
    }
    std::uint32_t const other = candidates_.neighbours[i];
    Vec3 const place = place_of(v, i);
    std::uint32_t const free_bucket = kSliverPatience + std::max<std::uint32_t>(bucket, noise_bucket);
    free_slivers_ = free_bucket <= current_bucket && !urgent;
    Obstacle const obstacle = check(v, other, place);
    free_slivers_ = false;
    // Edges to hubs are dear to ask, and others around are what slivers hold up.
    if (obstacle == Obstacle::kFoldover && free_bucket > current_bucket && free_bucket < patience_end &&
        !stars_.is_hub(other)) {
      patient = other;
      patience_end = free_bucket;
    }
    if (obstacle == Obstacle::kNone) {
      float& key = candidates_.keys[i];
      if (std::find(deviated_.begin(), deviated_.end(), i) == deviated_.end()) {
        deviated_.push_back(i);
        key = final_key(key, v, other);
        if (BucketQueue::bucket_of(key) > current_bucket + kSmallRise) continue;
      }
      commit(v, other, place, key);
      return;
    }
    std::uint8_t& count = obstacles[static_cast<std::size_t>(obstacle) - 1];
    if (count < 255) ++count;
    candidates_.keys[i] = std::numeric_limits<float>::infinity();
  }
  if (patient != kNone && has_sliver(v)) {
    file(v, patient, static_cast<BucketQueue::Bucket>(patience_end));
    return;
  }
  if ((stars_.vertex(v).flags & kLocked) != 0) {
    // Edges between two locked ends were never candidates.
    std::uint8_t& count = obstacles[static_cast<std::size_t>(Obstacle::kLockedBoundary) - 1];
    std::uint32_t locked_edges = count;
    for (std::uint32_t k = 0; k < candidates_.count; ++k) {
      locked_edges += (stars_.vertex(candidates_.neighbours[k]).flags & kLocked) != 0 ? 1U : 0U;
    }
    count = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, locked_edges));
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
  if (stars_.is_hub(v)) return;
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
  --live_vertices_;
  vertex.bucket = kNotQueued;
}

// Touches what the next collapses will need, as the queue's order is not that of memory: first the ends of an edge, a
// few entries later their stars, and last the vertices around them. `stride`: how far the queue has moved since the
// last call.
void LadderBuilder::look_ahead(std::span<BucketQueue::Entry const> entries, std::size_t stride,
                               BucketQueue::Bucket bucket) const {
  constexpr std::uint32_t kMostFaces = 12;
  // What is left is near the processor: in its own cache, or in one that answers before it has run dry.
  constexpr std::uint32_t kFewFaces = 16384;
  constexpr std::uint32_t kManyFaces = 65536;
  if (live_faces_ < kFewFaces) return;
  bool const many = live_faces_ >= kManyFaces;
  std::size_t const for_rings = many ? 12 : 0;
  std::size_t const for_stars = many ? 24 : 12;
  std::size_t const for_ends = many ? 40 : 24;
  // What has come nearer than the distance since.
  auto const window = [&](std::size_t distance) {
    std::size_t const end = std::min(distance, entries.size());
    std::size_t const begin = std::min(distance - std::min(stride, distance), end);
    return entries.subspan(begin, end - begin);
  };
  Vertex const* const vertices = stars_.vertices();
  bool const with_attributes = !attribute_values_.empty();
  for (BucketQueue::Entry const entry : window(for_ends)) {
    if ((entry.item & kComponentMark) != 0) continue;
    for (std::uint32_t const v : {entry.item, entry.partner}) {
      __builtin_prefetch(vertices + v);
      __builtin_prefetch(&origins_[v]);
      if (with_attributes) __builtin_prefetch(&attribute_values_[v]);
    }
  }
  auto const is_stale = [&](BucketQueue::Entry entry) {
    return (entry.item & kComponentMark) != 0 || vertices[entry.item].bucket != bucket;
  };
  for (BucketQueue::Entry const entry : window(for_stars)) {
    if (is_stale(entry)) continue;
    stars_.fetch(entry.item);
    stars_.fetch(entry.partner);
  }
  for (BucketQueue::Entry const entry : window(for_rings)) {
    if (is_stale(entry)) continue;
    for (std::uint32_t const v : {entry.item, entry.partner}) {
      std::span<StarEntry const> const star = stars_.star(v).first(std::min(vertices[v].star_count, kMostFaces));
      for (StarEntry const& face : star) __builtin_prefetch(vertices + face.next);
      if (!with_attributes) continue;
      for (StarEntry const& face : star) __builtin_prefetch(&attribute_values_[face.next]);
    }
  }
}

std::uint32_t LadderBuilder::mesh_of(std::uint32_t v) const {
  if (vertex_base_.size() == 2) return 0;
  return static_cast<std::uint32_t>(std::upper_bound(vertex_base_.begin(), vertex_base_.end(), v) -
                                    vertex_base_.begin() - 1);
}

Vec3 LadderBuilder::ladder_point(std::size_t mesh, float const* p) const {
  auto const local = [&](std::size_t k) { return static_cast<float>((double{p[k]} - centres_[mesh][k]) * scale_); };
  return {local(0), local(1), local(2)};
}

Point LadderBuilder::output_point(std::uint32_t mesh, Vec3 position) const {
  std::array<double, 3> const& centre = centres_[mesh];
  return {static_cast<float>(centre[0] + double{position.x} * inverse_scale_),
          static_cast<float>(centre[1] + double{position.y} * inverse_scale_),
          static_cast<float>(centre[2] + double{position.z} * inverse_scale_)};
}

Point LadderBuilder::output_point(std::uint32_t v) const {
  StarEntry const& entry = stars_.star(v).front();
  return point_of_node(mesh_of(v),
                       records_.attributed ? attributes_.wedge(entry.face(), entry.corner()) : origins_[v].node);
}

Point LadderBuilder::point_of_node(std::uint32_t mesh, std::uint32_t node) const {
  float const* const p = node < records_.leaf_count() ? records_.meshes[mesh]->vertices.data() +
                                                            std::size_t{3} * (node - records_.wedge_base[mesh])
                                                      : records_.created[node - records_.leaf_count()].position.data();
  return {p[0], p[1], p[2]};
}

}  // namespace mirel::engine
