// Making and recording a collapse.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

// Below this number of faces no level is taken: any step there is read from the last one.
constexpr std::uint32_t kSmallestLevel = 256;

}  // namespace

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

  bool const with_attributes = !attribute_sums_.empty();
  if (with_attributes) {
    survivor_terms_.clear();
    dying_terms_.clear();
    Vec3 const at_a = stars_.vertex(a).position();
    Vec3 const at_b = stars_.vertex(b).position();
    for (Survivor const& face : survivors_) {
      survivor_terms_.push_back(attribute_terms(face.entry, face.of_gone ? at_b : at_a));
    }
    for (Dying const& face : dying_) dying_terms_.push_back(attribute_terms(face.entry, at_a));
  }
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
  AttributeSums kept_attributes;
  new_star_.clear();
  ring_.clear();
  for (std::size_t i = 0; i < survivors_.size(); ++i) {
    Survivor const& face = survivors_[i];
    StarSums before_and_after;
    before_and_after.add_triangle(face.before, -1);
    StarSums after;
    after.add_triangle(face.after, 1);
    for (int k = 0; k < 6; ++k) {
      before_and_after.quadric[k] += after.quadric[k];
      kept_sums.quadric[k] += after.quadric[k];
    }
    before_and_after.normal = before_and_after.normal + after.normal;
    kept_sums.normal = kept_sums.normal + after.normal;
    AttributeSums attributes_after;
    if (with_attributes) {
      attributes_after = attribute_terms(face.entry, place);
      kept_attributes.add(attributes_after, 1);
    }
    bool const rewrite = face.of_gone != swapped;
    for (std::uint32_t const v : {face.entry.next, face.entry.previous}) {
      if ((stars_.vertex(v).flags & kIrregular) == 0) {
        add(before_and_after, stars_.vertex(v));
        if (with_attributes) {
          attribute_sums_[v].add(survivor_terms_[i], -1);
          attribute_sums_[v].add(attributes_after, 1);
        }
      }
      if (rewrite) stars_.replace(v, face.entry.face(), gone, kept);
    }
    new_star_.push_back(face.entry);
  }
  for (std::size_t i = 0; i < dying_.size(); ++i) {
    Dying const& face = dying_[i];
    StarSums before;
    before.add_triangle(face.before, -1);
    if ((stars_.vertex(face.opposite).flags & kIrregular) == 0) {
      add(before, stars_.vertex(face.opposite));
      if (with_attributes) attribute_sums_[face.opposite].add(dying_terms_[i], -1);
    }
    stars_.remove(face.opposite, face.entry.face());
    if (stars_.vertex(face.opposite).star_count == 0) retire(face.opposite);
    records_.face_death[face.entry.face()] = step_;
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
    if (with_attributes) {
      attribute_sums_[kept] = kept_attributes;
      set_attribute_values(kept);
    }
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
    float const above = std::nextafter(static_cast<float>(bound), std::numeric_limits<float>::infinity());
    records_.deviation_at.push_back(bound > 0 ? std::min(above, options_.tolerance) : 0);
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

}  // namespace mirel::engine
