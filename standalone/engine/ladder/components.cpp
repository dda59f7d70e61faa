// Components that can be reduced no further go whole.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

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
    component.live = static_cast<std::uint32_t>(component_vertices_.size());
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

// Puts a stuck component into the queue, at the cost of moving all of it to its middle, and at no less than a deviation
// by its diameter: what answered for it is further away than that. Under a tolerance it comes
// last: whether others are near enough to answer for it is asked once, when nothing else can change.
void LadderBuilder::offer_component(std::uint32_t component) {
  if (components_[component].locked) return;
  if (options_.tolerance > 0) {
    if (!components_[component].offered) queue_.push({kComponentMark | component, 0}, BucketQueue::kBucketCount - 1);
    components_[component].offered = true;
    return;
  }
  gather_component(components_[component].member);
  if (component_vertices_.size() < components_[component].live) {
    split_component(component);
    return;
  }
  Vec3 middle;
  for (std::uint32_t const v : component_vertices_) middle = middle + stars_.vertex(v).position();
  middle = middle * (1.0F / static_cast<float>(component_vertices_.size()));
  float radius2 = 0;
  float weight = 0;
  for (std::uint32_t const v : component_vertices_) {
    radius2 = std::max(radius2, squared_length(stars_.vertex(v).position() - middle));
    for (StarEntry const& entry : std::as_const(stars_).star(v)) weight += face_weight(triangle_normal(v, entry)) / 3;
  }
  queue_.push({kComponentMark | component, 0}, removal_bucket(weight, radius2));
}

// Where a component stands whose faces weigh so much and are no further than that from its middle.
BucketQueue::Bucket LadderBuilder::removal_bucket(float weight, float radius2) const {
  return BucketQueue::bucket_of(std::max({weight * radius2, deviation_key(4 * radius2), kKeyFloor}));
}

// Collapses beside pinched vertices cut a component into parts: each is now one of its own.
void LadderBuilder::split_component(std::uint32_t component) {
  auto const first = static_cast<std::uint32_t>(components_.size());
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if (component_of_[v] != component || (stars_.vertex(v).flags & kDead) != 0) continue;
    gather_component(v);
    for (std::uint32_t const member : component_vertices_) {
      component_of_[member] = static_cast<std::uint32_t>(components_.size());
    }
    Component part;
    part.member = v;
    part.live = static_cast<std::uint32_t>(component_vertices_.size());
    components_.push_back(part);
    ++live_components_;
  }
  components_[component].gone = true;
  --live_components_;
  auto const end = static_cast<std::uint32_t>(components_.size());
  for (std::uint32_t id = first; id < end; ++id) offer_component(id);
}

// Whether what the component at hand answers for is near enough to others.
bool LadderBuilder::may_go() {
  std::uint32_t const mesh = mesh_of(component_vertices_.front());
  removed_faces_.clear();
  for (std::uint32_t const face : component_faces_) removed_faces_.push_back(face - records_.face_base[mesh]);
  if (!guards_[mesh]->permits_removal(removed_faces_)) return false;
  guards_[mesh]->commit();
  return true;
}

void LadderBuilder::remove_component(std::uint32_t component) {
  components_[component].offered = false;
  // The last one stays: a mesh that was there is still there.
  if (live_components_ + live_loose_faces_ <= 1 || components_[component].gone || components_[component].active != 0)
    return;
  gather_component(components_[component].member);
  if (options_.tolerance > 0) {
    if (component_vertices_.size() < components_[component].live) {
      split_component(component);
      return;
    }
    if (only_steps_ || !may_go()) return;
  }
  ++step_;
  for (std::uint32_t const v : component_vertices_) {
    stars_.clear(v);
    stars_.vertex(v).flags |= kDead;
  }
  live_vertices_ -= static_cast<std::uint32_t>(component_vertices_.size());
  for (std::uint32_t const face : component_faces_) records_.face_death[face] = step_;
  live_faces_ -= static_cast<std::uint32_t>(component_faces_.size());
  finish_step();
  components_[component].gone = true;
  --live_components_;
}

std::array<Vec3, 3> LadderBuilder::loose_corners(std::uint32_t face) const {
  auto const& bases = records_.face_base;
  auto const mesh = static_cast<std::size_t>(std::upper_bound(bases.begin(), bases.end(), face) - bases.begin()) - 1;
  WedgeMesh const& of = *records_.meshes[mesh];
  std::uint32_t const* const corners = of.faces.data() + std::size_t{3} * (face - records_.face_base[mesh]);
  auto const corner = [&](std::size_t k) {
    return ladder_point(mesh, of.vertices.data() + std::size_t{3} * corners[k]);
  };
  return {corner(0), corner(1), corner(2)};
}

void LadderBuilder::add_loose_areas() {
  for (std::uint32_t const face : loose_faces_) {
    auto const [a, b, c] = loose_corners(face);
    area_ += 0.5 * double{std::sqrt(squared_length(cross(b - a, c - a)))};
  }
}

// Puts loose faces into the queue, as stuck components of one face each. What is in one bucket goes in the order in
// which it is put there: every eighth face at a time, so that faces of one size thin out everywhere at once.
void LadderBuilder::offer_loose_faces() {
  if (options_.lock_boundaries) return;
  std::vector<BucketQueue::Bucket> buckets;
  buckets.reserve(loose_faces_.size());
  for (std::uint32_t const face : loose_faces_) {
    auto const [a, b, c] = loose_corners(face);
    Vec3 const middle = (a + b + c) * (1.0F / 3);
    float const radius2 =
        std::max({squared_length(a - middle), squared_length(b - middle), squared_length(c - middle)});
    buckets.push_back(removal_bucket(face_weight(cross(b - a, c - a)), radius2));
  }
  for (std::size_t const first : {0U, 4U, 2U, 6U, 1U, 5U, 3U, 7U}) {
    for (std::size_t i = first; i < buckets.size(); i += 8) {
      queue_.push({kComponentMark | kLooseMark | loose_faces_[i], 0}, buckets[i]);
    }
  }
}

void LadderBuilder::remove_loose_face(std::uint32_t face) {
  // The last component stays.
  if (live_faces_ <= 1) return;
  ++step_;
  records_.face_death[face] = step_;
  --live_faces_;
  --live_loose_faces_;
  finish_step();
}

}  // namespace mirel::engine
