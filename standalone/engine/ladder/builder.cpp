#include "standalone/engine/ladder/builder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace mirel::engine {

namespace {

// Lines of feature edges, in the unit of the faces. Boundaries: much less lets holes drift, much more spends triangles
// on them. The others keep borders between materials, texture seams and creases of the normals in place.
constexpr float kBoundaryWeight = 5;
constexpr float kSetBorderWeight = 3;
constexpr float kUvSeamWeight = 2;
constexpr float kNormalSeamWeight = 0.5F;

// A face may turn by this cosine at most in one collapse.
constexpr float kMinTurnCosine = 0.2F;
// A face may become no worse than this, unless it was: 1 is equilateral.
constexpr float kMinQuality = 0.02F;

// Below this number of faces no level is taken: any step there is read from the last one.
constexpr std::uint32_t kSmallestLevel = 256;

constexpr BucketQueue::Bucket kNotQueued = 0xFFFE;
constexpr BucketQueue::Bucket kSetAside = 0xFFFF;
constexpr std::uint32_t kComponentMark = 0x80000000U;

// Two zero bits before each of the lowest ten bits.
std::uint32_t spread_bits(std::uint32_t x) {
  x &= 0x3FF;
  x = (x | x << 16) & 0x030000FF;
  x = (x | x << 8) & 0x0300F00F;
  x = (x | x << 4) & 0x030C30C3;
  x = (x | x << 2) & 0x09249249;
  return x;
}

// Positions in the order of a space-filling curve (Morton 1966): neighbours in space become neighbours in memory.
std::vector<std::uint32_t> morton_order(std::span<float const> positions) {
  std::size_t const count = positions.size() / 3;
  float low[3];
  float high[3];
  for (std::size_t k = 0; k < 3; ++k) {
    low[k] = std::numeric_limits<float>::infinity();
    high[k] = -low[k];
  }
  for (std::size_t i = 0; i < positions.size(); ++i) {
    low[i % 3] = std::min(low[i % 3], positions[i]);
    high[i % 3] = std::max(high[i % 3], positions[i]);
  }
  double extent = 0;
  for (std::size_t k = 0; k < 3; ++k) extent = std::max(extent, double{high[k]} - double{low[k]});
  double const steps = extent > 0 ? 1023.0 / extent : 0;

  std::vector<std::uint32_t> codes(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t code = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      code |= spread_bits(static_cast<std::uint32_t>((double{positions[3 * i + k]} - double{low[k]}) * steps)) << k;
    }
    codes[i] = code;
  }
  std::vector<std::uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0U);
  std::vector<std::uint32_t> sorted(count);
  for (int shift = 0; shift < 30; shift += 10) {
    std::array<std::uint32_t, 1025> starts{};
    for (std::uint32_t const code : codes) ++starts[(code >> shift & 1023U) + 1];
    for (std::size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
    for (std::uint32_t const i : order) sorted[starts[codes[i] >> shift & 1023U]++] = i;
    order.swap(sorted);
  }
  return order;
}

// 4 sqrt(3) area / sum of squared edges: 1 for an equilateral triangle, 0 for one without area.
float quality(Vec3 normal, Vec3 e1, Vec3 e2) {
  float const edges = squared_length(e1) + squared_length(e2) + squared_length(e2 - e1);
  return edges > 0 ? 3.4641016F * std::sqrt(squared_length(normal)) / edges : 0;
}

int sign(double value) {
  return value > 0 ? 1 : value < 0 ? -1 : 0;
}

int xy_sign(Point const& a, Point const& b, Point const& c) {
  return sign((double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
              (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]}));
}

}  // namespace

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

// ---- Setting up ----

void LadderBuilder::scale_to_unit() {
  double extent = 0;
  double largest = 0;
  for (WedgeMesh const* mesh : records_.meshes) {
    std::array<double, 3> low;
    std::array<double, 3> high;
    low.fill(std::numeric_limits<double>::infinity());
    high.fill(-std::numeric_limits<double>::infinity());
    for (std::size_t i = 0; i < mesh->vertices.size(); ++i) {
      low[i % 3] = std::min(low[i % 3], double{mesh->vertices[i]});
      high[i % 3] = std::max(high[i % 3], double{mesh->vertices[i]});
      largest = std::max(largest, std::abs(double{mesh->vertices[i]}));
    }
    std::array<double, 3> centre{};
    if (!mesh->vertices.empty()) {
      for (std::size_t k = 0; k < 3; ++k) {
        centre[k] = (low[k] + high[k]) / 2;
        extent = std::max(extent, high[k] - low[k]);
      }
    }
    centres_.push_back(centre);
  }
  // A power of two, so that scaling rounds nothing.
  if (extent > 0) scale_ = std::ldexp(1.0, -std::ilogb(extent));
  rounding_ = static_cast<float>(largest * scale_ * 0x1p-21);
}

// Gives every position a vertex, in space-filling order within each mesh, and lists the triangles of all meshes.
void LadderBuilder::number_vertices(std::vector<std::uint32_t>& triangles) {
  vertex_base_.push_back(0);
  for (WedgeMesh const* mesh : records_.meshes) vertex_base_.push_back(vertex_base_.back() + mesh->position_count);
  std::uint32_t const vertex_count = vertex_base_.back();
  lowest_of_.resize(vertex_count);
  if (!records_.attributed) node_of_.resize(vertex_count);
  triangles.resize(std::size_t{records_.face_count()} * 3);

  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    std::vector<float> positions(std::size_t{mesh.position_count} * 3);
    for (std::size_t w = 0; w < mesh.vertex_count(); ++w) {
      std::copy_n(mesh.vertices.data() + 3 * w, 3, positions.data() + std::size_t{3} * mesh.position_of[w]);
    }
    std::vector<std::uint32_t> const order = morton_order(positions);
    std::vector<std::uint32_t> slot_of(mesh.position_count);
    std::uint32_t const base = vertex_base_[m];
    for (std::uint32_t i = 0; i < order.size(); ++i) {
      slot_of[order[i]] = base + i;
      lowest_of_[base + i] = order[i];
      if (!records_.attributed) node_of_[base + i] = records_.wedge_base[m] + order[i];
    }
    for (std::size_t i = 0; i < mesh.faces.size(); ++i) {
      triangles[std::size_t{records_.face_base[m]} * 3 + i] = slot_of[mesh.position_of[mesh.faces[i]]];
    }
  }
}

void LadderBuilder::sum_stars(std::span<std::uint32_t const> triangles) {
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    std::vector<std::uint32_t> first_wedge(mesh.position_count, kNone);
    for (std::uint32_t w = mesh.vertex_count(); w-- > 0;) first_wedge[mesh.position_of[w]] = w;
    for (std::uint32_t v = vertex_base_[m]; v < vertex_base_[m + 1]; ++v) {
      float const* const p = mesh.vertices.data() + std::size_t{3} * first_wedge[lowest_of_[v]];
      auto const local = [&](std::size_t k) { return static_cast<float>((double{p[k]} - centres_[m][k]) * scale_); };
      stars_.vertex(v).set_position({local(0), local(1), local(2)});
    }
  }
  for (std::size_t corner = 0; corner < triangles.size(); corner += 3) {
    Vertex& a = stars_.vertex(triangles[corner]);
    Vertex& b = stars_.vertex(triangles[corner + 1]);
    Vertex& c = stars_.vertex(triangles[corner + 2]);
    StarSums sums;
    sums.add_triangle(cross(b.position() - a.position(), c.position() - a.position()), 1);
    add(sums, a);
    add(sums, b);
    add(sums, c);
  }
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if (!is_regular(v)) refresh(v);
  }
}

void LadderBuilder::lock_boundaries() {
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    Vertex& vertex = stars_.vertex(v);
    if ((vertex.flags & kBoundary) != 0) vertex.flags |= kLocked;
  }
}

// Corners of faces without area come first: no cost is needed to see that they can go.
void LadderBuilder::mark_flat_faces(std::span<std::uint32_t const> triangles) {
  for (std::size_t corner = 0; corner < triangles.size(); corner += 3) {
    Vec3 const a = stars_.vertex(triangles[corner]).position();
    Vec3 const e1 = stars_.vertex(triangles[corner + 1]).position() - a;
    Vec3 const e2 = stars_.vertex(triangles[corner + 2]).position() - a;
    if (quality(cross(e1, e2), e1, e2) > 1e-6F) continue;
    for (std::size_t k = 0; k < 3; ++k) stars_.vertex(triangles[corner + k]).flags |= kUrgent;
  }
}

void LadderBuilder::start_guards() {
  for (WedgeMesh const* mesh : records_.meshes) {
    std::vector<float> positions(std::size_t{mesh->position_count} * 3);
    std::vector<std::uint32_t> faces(mesh->faces.size());
    for (std::size_t w = 0; w < mesh->vertex_count(); ++w) {
      std::copy_n(mesh->vertices.data() + 3 * w, 3, positions.data() + std::size_t{3} * mesh->position_of[w]);
    }
    for (std::size_t i = 0; i < faces.size(); ++i) faces[i] = mesh->position_of[mesh->faces[i]];
    guards_.push_back(std::make_unique<DeviationGuard>(positions, faces, options_.tolerance));
  }
}

// ---- Stars ----

Vec3 LadderBuilder::triangle_normal(std::uint32_t v, StarEntry const& entry) const {
  Vec3 const origin = stars_.vertex(v).position();
  return cross(stars_.vertex(entry.next).position() - origin, stars_.vertex(entry.previous).position() - origin);
}

// Whether the star is closed fans of consistent orientation without any feature edge: the quick test before `refresh`.
bool LadderBuilder::is_regular(std::uint32_t v) const {
  std::span<StarEntry const> const star = stars_.star(v);
  if (star.size() > 24) return false;
  for (StarEntry const& entry : star) {
    StarEntry const* partner = nullptr;
    int partners = 0;
    int same = 0;
    for (StarEntry const& other : star) {
      if (other.next == entry.previous) {
        partner = &other;
        ++partners;
      }
      same += other.previous == entry.previous ? 1 : 0;
    }
    if (partners != 1 || same != 1) return false;
    if (!records_.attributed) continue;
    std::uint32_t const face = entry.face();
    std::uint32_t const other = partner->face();
    if (attributes_.set_of(face) != attributes_.set_of(other) ||
        attributes_.wedge(face, entry.corner()) != attributes_.wedge(other, partner->corner()) ||
        attributes_.wedge(face, (entry.corner() + 2) % 3) != attributes_.wedge(other, (partner->corner() + 1) % 3)) {
      return false;
    }
  }
  return true;
}

// Makes the sums of v anew from its star, with the lines of its feature edges, and sets its flags.
void LadderBuilder::refresh(std::uint32_t v) {
  std::vector<Side>& sides = refresh_sides_;
  Vertex& vertex = stars_.vertex(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  StarSums sums;
  sides.clear();
  for (StarEntry const& entry : star) {
    sums.add_triangle(triangle_normal(v, entry), 1);
    sides.push_back({entry.next, &entry, false});
    sides.push_back({entry.previous, &entry, true});
  }
  std::sort(sides.begin(), sides.end(), [](Side const& l, Side const& r) {
    return l.neighbour != r.neighbour ? l.neighbour < r.neighbour : l.entry < r.entry;
  });
  bool boundary = false;
  bool irregular = false;
  for (std::size_t i = 0; i < sides.size();) {
    std::size_t end = i + 1;
    while (end < sides.size() && sides[end].neighbour == sides[i].neighbour) ++end;
    float weight = 0;
    if (end - i == 1) {
      boundary = true;
      weight = kBoundaryWeight;
    } else if (end - i > 2) {
      weight = kBoundaryWeight;
    } else {
      StarEntry const& first = *sides[i].entry;
      StarEntry const& second = *sides[i + 1].entry;
      irregular |= sides[i].incoming == sides[i + 1].incoming;
      if (records_.attributed) {
        auto const far_corner = [](Side const& side) { return (side.entry->corner() + (side.incoming ? 2U : 1U)) % 3; };
        std::uint32_t const near_a = attributes_.wedge(first.face(), first.corner());
        std::uint32_t const near_b = attributes_.wedge(second.face(), second.corner());
        std::uint32_t const far_a = attributes_.wedge(first.face(), far_corner(sides[i]));
        std::uint32_t const far_b = attributes_.wedge(second.face(), far_corner(sides[i + 1]));
        if (attributes_.set_of(first.face()) != attributes_.set_of(second.face())) {
          weight = kSetBorderWeight;
        } else if (near_a != near_b || far_a != far_b) {
          bool const uv_seam =
              attributes_.uvs_differ(records_, near_a, near_b) || attributes_.uvs_differ(records_, far_a, far_b);
          weight = uv_seam ? kUvSeamWeight : kNormalSeamWeight;
        }
      }
    }
    if (weight > 0) {
      irregular = true;
      sums.add_line(stars_.vertex(sides[i].neighbour).position() - vertex.position(), weight);
    }
    i = end;
  }
  store(sums, vertex);
  vertex.flags = static_cast<std::uint8_t>((vertex.flags & ~(kIrregular | kBoundary)) | (irregular ? kIrregular : 0) |
                                           (boundary ? kBoundary : 0));
}

// ---- The queue ----

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
  if (live_components_ > 0 && vertex.bucket != kSetAside) --components_[component_of_[v]].active;
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

// ---- One collapse ----

// Whether the edge (a, b) may collapse to `place`, the cheap tests first. Leaves in the scratch members what `commit`
// needs. `candidates_.neighbours` are the neighbours of a.
LadderBuilder::Obstacle LadderBuilder::check(std::uint32_t a, std::uint32_t b, Vec3 place) {
  if (!gather(a, b, place)) return Obstacle::kTopology;
  if (!link_condition(a, b)) return Obstacle::kTopology;
  if (turns_over(place)) return Obstacle::kFoldover;
  std::uint32_t const mesh = mesh_of(a);
  bool const at_a = place == stars_.vertex(a).position();
  bool const at_b = place == stars_.vertex(b).position();
  // A vertex that stays is written as it was read: to the bit.
  place_point_ = at_a ? output_point(a) : at_b ? output_point(b) : output_point(mesh, place);
  if (meets_neighbour(a, b, place)) return Obstacle::kTopology;
  if (options_.prevent_xy_foldovers && turns_over_in_xy(a, b)) return Obstacle::kFoldover;
  if (records_.attributed) {
    attributes_.merge(records_, stars_, mesh, a, b, place, options_.prevent_uv_foldovers, merge_);
    if (merge_.turns_uv_over) return Obstacle::kFoldover;
  }
  if (options_.tolerance > 0 && !within_tolerance(a, b)) return Obstacle::kTolerance;
  return Obstacle::kNone;
}

// Sorts the faces of both stars into those on the edge and those that stay. False when no face stays.
bool LadderBuilder::gather(std::uint32_t a, std::uint32_t b, Vec3 place) {
  survivors_.clear();
  dying_.clear();
  Vec3 const pa = stars_.vertex(a).position();
  Vec3 const pb = stars_.vertex(b).position();
  auto const survive = [&](StarEntry const& entry, Vec3 from, bool of_gone) {
    Vec3 const next = stars_.vertex(entry.next).position();
    Vec3 const previous = stars_.vertex(entry.previous).position();
    survivors_.push_back({entry, of_gone, cross(next - from, previous - from), cross(next - place, previous - place)});
  };
  for (StarEntry const& entry : std::as_const(stars_).star(a)) {
    if (entry.next == b) {
      dying_.push_back({entry.previous, entry.face(), triangle_normal(a, entry)});
    } else if (entry.previous == b) {
      dying_.push_back({entry.next, entry.face(), triangle_normal(a, entry)});
    } else {
      survive(entry, pa, false);
    }
  }
  for (StarEntry const& entry : std::as_const(stars_).star(b)) {
    if (entry.next != a && entry.previous != a) survive(entry, pb, true);
  }
  return !survivors_.empty() && !dying_.empty();
}

// Dey, Edelsbrunner, Guha and Nekhayev 1999: the collapse keeps the topology when the links of the ends meet in the
// link of the edge alone, a boundary counting as a fan to one more vertex.
bool LadderBuilder::link_condition(std::uint32_t a, std::uint32_t b) {
  Vertex const& va = stars_.vertex(a);
  Vertex const& vb = stars_.vertex(b);
  if ((va.flags & vb.flags & kBoundary) != 0 && dying_.size() != 1) return false;

  list_neighbours(stars_, b, other_neighbours_);
  std::vector<std::uint32_t> const& mine = candidates_.neighbours;
  std::size_t shared = 0;
  if (mine.size() * other_neighbours_.size() <= 4096) {
    for (std::uint32_t const neighbour : other_neighbours_) {
      for (std::uint32_t const own : mine) shared += own == neighbour ? 1U : 0U;
    }
  } else {
    std::vector<std::uint32_t> sorted = mine;
    std::sort(sorted.begin(), sorted.end());
    for (std::uint32_t const neighbour : other_neighbours_) {
      shared += std::binary_search(sorted.begin(), sorted.end(), neighbour) ? 1U : 0U;
    }
  }
  // All vertices opposite the edge are shared; two faces may have one and the same where faces lie back to back.
  std::size_t opposite = 0;
  for (std::size_t i = 0; i < dying_.size(); ++i) {
    bool seen = false;
    for (std::size_t k = 0; k < i; ++k) seen |= dying_[k].opposite == dying_[i].opposite;
    opposite += seen ? 0U : 1U;
  }
  if (shared != opposite) return false;

  // Two faces over the same two opposite vertices would come to lie on each other (the last tetrahedron).
  if (opposite >= 2) {
    auto const is_opposite = [this](std::uint32_t v) {
      return std::any_of(dying_.begin(), dying_.end(), [v](Dying const& face) { return face.opposite == v; });
    };
    for (Survivor const& mine_face : survivors_) {
      if (mine_face.of_gone || !is_opposite(mine_face.entry.next) || !is_opposite(mine_face.entry.previous)) continue;
      for (Survivor const& other : survivors_) {
        if (!other.of_gone) continue;
        if ((other.entry.next == mine_face.entry.next && other.entry.previous == mine_face.entry.previous) ||
            (other.entry.next == mine_face.entry.previous && other.entry.previous == mine_face.entry.next)) {
          return false;
        }
      }
    }
  }
  return true;
}

// Whether a face that stays would turn too far or become a sliver.
bool LadderBuilder::turns_over(Vec3 place) const {
  for (Survivor const& face : survivors_) {
    float const before2 = squared_length(face.before);
    float const after2 = squared_length(face.after);
    Vec3 const next = stars_.vertex(face.entry.next).position();
    Vec3 const previous = stars_.vertex(face.entry.previous).position();
    Vec3 const e1 = next - place;
    Vec3 const e2 = previous - place;
    float const size = squared_length(e1) + squared_length(e2) + squared_length(e2 - e1);
    float const size_across = squared_length(next - previous);
    bool const had_area = before2 > 1e-12F * size_across * size_across;
    if (after2 < (kMinQuality / 3.4641016F) * (kMinQuality / 3.4641016F) * size * size) {
      if (!had_area) {
        if (!(after2 > 0)) return true;
        continue;
      }
      // A sliver may stay one, not become one; its direction is then noise only if it has no area to speak of.
      if (!(after2 > 1e-12F * size * size)) return true;
      if (after2 * size_across * size_across < before2 * size * size && after2 < before2) return true;
    }
    if (!had_area) continue;
    float const cosine = dot(face.before, face.after);
    if (!(cosine > 0) || cosine * cosine < kMinTurnCosine * kMinTurnCosine * before2 * after2) return true;
  }
  return false;
}

// Whether the new place, as it will be written, is that of a neighbour.
bool LadderBuilder::meets_neighbour(std::uint32_t a, std::uint32_t b, Vec3 place) const {
  for (Survivor const& face : survivors_) {
    for (std::uint32_t const v : {face.entry.next, face.entry.previous}) {
      if (v == a || v == b) continue;
      Vec3 const d = stars_.vertex(v).position() - place;
      if (std::max({std::abs(d.x), std::abs(d.y), std::abs(d.z)}) > rounding_) continue;
      if (output_point(v) == place_point_) return true;
    }
  }
  return false;
}

bool LadderBuilder::turns_over_in_xy(std::uint32_t a, std::uint32_t b) const {
  Point const at_a = output_point(a);
  Point const at_b = output_point(b);
  for (Survivor const& face : survivors_) {
    Point const next = output_point(face.entry.next);
    Point const previous = output_point(face.entry.previous);
    if (xy_sign(face.of_gone ? at_b : at_a, next, previous) != xy_sign(place_point_, next, previous)) return true;
  }
  return false;
}

bool LadderBuilder::within_tolerance(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const mesh = mesh_of(a);
  std::uint32_t const base = records_.face_base[mesh];
  removed_faces_.clear();
  changed_faces_.clear();
  neighbour_faces_.clear();
  for (Dying const& face : dying_) removed_faces_.push_back(face.face - base);
  for (Survivor const& face : survivors_) {
    ChangedFace changed{face.entry.face() - base, {}};
    changed.corners[face.entry.corner()] = place_point_;
    changed.corners[(face.entry.corner() + 1) % 3] = output_point(face.entry.next);
    changed.corners[(face.entry.corner() + 2) % 3] = output_point(face.entry.previous);
    changed_faces_.push_back(changed);
  }
  // The faces around the two stars.
  auto const add_ring = [&](std::vector<std::uint32_t> const& ring) {
    for (std::uint32_t const v : ring) {
      if (v == a || v == b) continue;
      for (StarEntry const& entry : std::as_const(stars_).star(v)) {
        bool const inside = entry.next == a || entry.next == b || entry.previous == a || entry.previous == b;
        if (!inside) neighbour_faces_.push_back(entry.face() - base);
      }
    }
  };
  add_ring(candidates_.neighbours);
  add_ring(other_neighbours_);
  std::sort(neighbour_faces_.begin(), neighbour_faces_.end());
  neighbour_faces_.erase(std::unique(neighbour_faces_.begin(), neighbour_faces_.end()), neighbour_faces_.end());
  return guards_[mesh]->permits(removed_faces_, changed_faces_, neighbour_faces_);
}

std::uint32_t LadderBuilder::new_node(std::uint32_t lowest) {
  std::uint32_t const node = records_.node_count();
  records_.parent.push_back(kNone);
  for (float const x : place_point_) records_.created_positions.push_back(x);
  records_.created_lowest.push_back(lowest);
  return node;
}

// Makes the nodes of the merged vertex's wedges and puts them into the corners of the faces that stay.
void LadderBuilder::record_wedges(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const lowest = std::min(lowest_of_[a], lowest_of_[b]);
  group_nodes_.assign(merge_.groups.size(), kNone);
  for (std::size_t g = 0; g < merge_.groups.size(); ++g) {
    if (!merge_.groups[g].alive) continue;
    group_nodes_[g] = new_node(lowest);
    records_.created_position_id.push_back(next_position_id_);
    AttributeValues const& values = merge_.groups[g].values;
    records_.attributes.insert(records_.attributes.end(), values.begin(), values.begin() + records_.layout.stride);
  }
  ++next_position_id_;
  for (std::size_t w = 0; w < merge_.wedges.size(); ++w) {
    records_.parent[merge_.wedges[w]] = group_nodes_[merge_.group_of[w]];
  }
  for (Survivor const& face : survivors_) {
    std::uint32_t const old = attributes_.wedge(face.entry.face(), face.entry.corner());
    attributes_.set_wedge(face.entry.face(), face.entry.corner(), records_.parent[old]);
  }
}

// Makes the collapse that `check` has just allowed. The vertex with the larger star keeps its number, so that fewer
// stars have to be rewritten.
void LadderBuilder::commit(std::uint32_t a, std::uint32_t b, Vec3 place, float key) {
  if (!guards_.empty()) guards_[mesh_of(a)]->commit();
  bool const swapped = stars_.vertex(b).star_count > stars_.vertex(a).star_count;
  std::uint32_t const kept = swapped ? b : a;
  std::uint32_t const gone = swapped ? a : b;

  if (records_.attributed) {
    record_wedges(a, b);
  } else {
    std::uint32_t const node = new_node(std::min(lowest_of_[a], lowest_of_[b]));
    records_.parent[node_of_[a]] = node;
    records_.parent[node_of_[b]] = node;
    node_of_[kept] = node;
  }
  lowest_of_[kept] = std::min(lowest_of_[a], lowest_of_[b]);

  ++step_;
  bool const regular = ((stars_.vertex(a).flags | stars_.vertex(b).flags) & kIrregular) == 0;
  StarSums kept_sums;
  new_star_.clear();
  ring_.clear();
  for (Survivor const& face : survivors_) {
    StarSums before_and_after;
    before_and_after.add_triangle(face.before, -1);
    StarSums after;
    after.add_triangle(face.after, 1);
    for (int i = 0; i < 6; ++i) {
      before_and_after.quadric[i] += after.quadric[i];
      kept_sums.quadric[i] += after.quadric[i];
    }
    before_and_after.normal = before_and_after.normal + after.normal;
    kept_sums.normal = kept_sums.normal + after.normal;
    bool const rewrite = face.of_gone != swapped;
    for (std::uint32_t const v : {face.entry.next, face.entry.previous}) {
      if ((stars_.vertex(v).flags & kIrregular) == 0) add(before_and_after, stars_.vertex(v));
      if (rewrite) stars_.replace(v, face.entry.face(), gone, kept);
    }
    new_star_.push_back(face.entry);
  }
  for (Dying const& face : dying_) {
    StarSums before;
    before.add_triangle(face.before, -1);
    if ((stars_.vertex(face.opposite).flags & kIrregular) == 0) add(before, stars_.vertex(face.opposite));
    stars_.remove(face.opposite, face.face);
    if (stars_.vertex(face.opposite).star_count == 0) retire(face.opposite);
    records_.face_death[face.face] = step_;
    --live_faces_;
  }
  // The ring, each vertex once: neighbours of a, then those of b that are not a's.
  for (std::uint32_t const v : candidates_.neighbours) {
    if (v != b) ring_.push_back(v);
  }
  for (std::uint32_t const v : other_neighbours_) {
    if (v == a) continue;
    bool const shared =
        std::any_of(dying_.begin(), dying_.end(), [v](Dying const& face) { return face.opposite == v; });
    if (!shared) ring_.push_back(v);
  }

  std::uint8_t const locked =
      static_cast<std::uint8_t>((stars_.vertex(gone).flags | stars_.vertex(kept).flags) & kLocked);
  retire(gone);
  stars_.assign(kept, new_star_);
  Vertex& vertex = stars_.vertex(kept);
  bool const kept_was_active = vertex.bucket != kSetAside;
  vertex.bucket = kNotQueued;
  vertex.set_position(place);
  vertex.error = key;
  vertex.flags = static_cast<std::uint8_t>((vertex.flags & ~kUrgent) | locked);
  if (regular) {
    store(kept_sums, vertex);
  } else {
    refresh(kept);
  }
  for (std::uint32_t const v : ring_) {
    if ((stars_.vertex(v).flags & (kIrregular | kDead)) == kIrregular) refresh(v);
  }
  if (live_components_ > 0) {
    Component& component = components_[component_of_[kept]];
    component.active += kept_was_active ? 0U : 1U;
    component.member = kept;
  }
  finish_step();

  // `process` overwrites the scratch of this collapse; the ring is not part of what it uses.
  std::vector<std::uint32_t> ring;
  ring.swap(ring_);
  process(kept, 0);
  for (std::uint32_t const v : ring) {
    if (stars_.vertex(v).bucket == kSetAside) wake(v);
  }
  ring_.swap(ring);
}

void LadderBuilder::finish_step() {
  records_.face_count_at.push_back(live_faces_);
  records_.node_count_at.push_back(records_.node_count());
  if (options_.tolerance > 0) {
    double bound = 0;
    for (auto const& guard : guards_) bound = std::max(bound, guard->bound());
    records_.deviation_at.push_back(std::nextafter(static_cast<float>(bound), std::numeric_limits<float>::infinity()));
  }
  if (live_faces_ <= next_level_faces_ && live_faces_ >= kSmallestLevel) take_level();
}

void LadderBuilder::take_level() {
  next_level_faces_ = live_faces_ / 2;
  Level const& previous = records_.levels.back();
  Level level;
  level.step = step_;
  level.node_count = records_.node_count();
  level.faces.reserve(live_faces_);
  level.mesh_begin.push_back(0);
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    for (std::uint32_t i = previous.mesh_begin[m]; i < previous.mesh_begin[m + 1]; ++i) {
      std::uint32_t const face = previous.faces.empty() ? i : previous.faces[i];
      if (records_.face_death[face] == kNone) level.faces.push_back(face);
    }
    level.mesh_begin.push_back(static_cast<std::uint32_t>(level.faces.size()));
  }
  level.corners.resize(level.faces.size() * 3);
  if (records_.attributed) {
    for (std::size_t i = 0; i < level.faces.size(); ++i) {
      for (std::uint32_t k = 0; k < 3; ++k) level.corners[3 * i + k] = attributes_.wedge(level.faces[i], k);
    }
  } else {
    // Without attributes the corners of faces stand in the stars alone.
    std::vector<std::uint32_t> rank(records_.face_count());
    for (std::uint32_t i = 0; i < level.faces.size(); ++i) rank[level.faces[i]] = i;
    if (live_vertices_.empty()) {
      live_vertices_.resize(stars_.vertex_count());
      std::iota(live_vertices_.begin(), live_vertices_.end(), 0U);
    }
    std::erase_if(live_vertices_, [this](std::uint32_t v) { return (stars_.vertex(v).flags & kDead) != 0; });
    for (std::uint32_t const v : live_vertices_) {
      for (StarEntry const& entry : std::as_const(stars_).star(v)) {
        level.corners[std::size_t{rank[entry.face()]} * 3 + entry.corner()] = node_of_[v];
      }
    }
  }
  records_.levels.push_back(std::move(level));
}

// ---- Components ----

// Lists the vertices and faces that hang together with `member`.
void LadderBuilder::gather_component(std::uint32_t member) {
  component_vertices_.assign(1, member);
  component_faces_.clear();
  stars_.vertex(member).flags |= kVisited;
  for (std::size_t i = 0; i < component_vertices_.size(); ++i) {
    for (StarEntry const& entry : std::as_const(stars_).star(component_vertices_[i])) {
      if (entry.corner() == 0) component_faces_.push_back(entry.face());
      for (std::uint32_t const v : {entry.next, entry.previous}) {
        Vertex& neighbour = stars_.vertex(v);
        if ((neighbour.flags & kVisited) != 0) continue;
        neighbour.flags |= kVisited;
        component_vertices_.push_back(v);
      }
    }
  }
  for (std::uint32_t const v : component_vertices_) {
    stars_.vertex(v).flags = static_cast<std::uint8_t>(stars_.vertex(v).flags & ~kVisited);
  }
}

// Components are told apart when the first vertex is set aside: before that none can be stuck.
void LadderBuilder::find_components() {
  components_known_ = true;
  component_of_.assign(stars_.vertex_count(), kNone);
  for (std::uint32_t seed = 0; seed < stars_.vertex_count(); ++seed) {
    if ((stars_.vertex(seed).flags & kDead) != 0 || component_of_[seed] != kNone) continue;
    auto const id = static_cast<std::uint32_t>(components_.size());
    gather_component(seed);
    Component component;
    component.member = seed;
    for (std::uint32_t const v : component_vertices_) {
      component_of_[v] = id;
      component.active += stars_.vertex(v).bucket != kSetAside ? 1U : 0U;
      component.locked |= (stars_.vertex(v).flags & kLocked) != 0;
    }
    components_.push_back(component);
  }
  live_components_ = static_cast<std::uint32_t>(components_.size());
  for (std::uint32_t id = 0; id < components_.size(); ++id) {
    if (components_[id].active == 0) offer_component(id);
  }
}

// Puts a stuck component into the queue, at the cost of moving all of it to its middle. Under a tolerance none goes:
// what it answered for would have no surface near it.
void LadderBuilder::offer_component(std::uint32_t component) {
  if (components_[component].locked || options_.tolerance > 0) return;
  gather_component(components_[component].member);
  Vec3 middle;
  for (std::uint32_t const v : component_vertices_) middle = middle + stars_.vertex(v).position();
  middle = middle * (1.0F / static_cast<float>(component_vertices_.size()));
  float radius2 = 0;
  float weight = 0;
  for (std::uint32_t const v : component_vertices_) {
    radius2 = std::max(radius2, squared_length(stars_.vertex(v).position() - middle));
    for (StarEntry const& entry : std::as_const(stars_).star(v)) weight += face_weight(triangle_normal(v, entry)) / 3;
  }
  queue_.push(kComponentMark | component, BucketQueue::bucket_of(std::max(weight * radius2, kKeyFloor)));
}

void LadderBuilder::remove_component(std::uint32_t component) {
  // The last one stays: a mesh that was there is still there.
  if (live_components_ <= 1 || components_[component].gone || components_[component].active != 0) return;
  components_[component].gone = true;
  --live_components_;
  gather_component(components_[component].member);
  ++step_;
  for (std::uint32_t const v : component_vertices_) {
    stars_.clear(v);
    stars_.vertex(v).flags |= kDead;
  }
  for (std::uint32_t const face : component_faces_) records_.face_death[face] = step_;
  live_faces_ -= static_cast<std::uint32_t>(component_faces_.size());
  finish_step();
}

// ---- Coordinates ----

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
