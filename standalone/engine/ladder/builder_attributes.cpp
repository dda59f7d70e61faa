// What a collapse does to UVs and normals.
//
// Most vertices have one wedge: their sums and scaled values stand in `attribute_sums_`, are loaded in lanes and
// brought up to date face by face. Whatever touches a vertex with several goes through WedgeAttributes.
#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "standalone/engine/ladder/attribute_updates.h"
#include "standalone/engine/ladder/builder.h"
#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

// Marks the vertices with one wedge and sums what the faces around them say.
void LadderBuilder::start_attributes(std::span<std::uint32_t const> triangles) {
  for (Origin& origin : origins_) origin.node = kNone;
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) stars_.vertex(v).flags |= kOneWedge;
  for (std::uint32_t i = 0; i < triangles.size(); ++i) {
    std::uint32_t& node = origins_[triangles[i]].node;
    std::uint32_t const wedge = attributes_.wedge(i / 3, i % 3);
    if (node == kNone) node = wedge;
    if (node != wedge) {
      Vertex& vertex = stars_.vertex(triangles[i]);
      vertex.flags = static_cast<std::uint8_t>(vertex.flags & ~kOneWedge);
    }
  }
  if (records_.layout.stride == 0) return;
  attribute_sums_.resize(stars_.vertex_count());
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if ((stars_.vertex(v).flags & kOneWedge) != 0) set_attribute_values(v);
  }
  constexpr std::size_t kBlock = 32;
  AttributeFace faces[kBlock];
  AttributeRow rows[kBlock];
  for (std::size_t first = 0; first < triangles.size() / 3; first += kBlock) {
    std::size_t const count = std::min(kBlock, triangles.size() / 3 - first);
    corner_values_.clear();
    corner_values_.reserve(3 * kBlock);
    for (std::size_t i = 0; i < count; ++i) {
      for (std::uint32_t k = 0; k < 3; ++k) {
        auto const face = static_cast<std::uint32_t>(first + i);
        std::uint32_t const v = triangles[3 * (first + i) + k];
        faces[i].points[k] = &stars_.vertex(v).x;
        faces[i].values[k] = corner_values(v, {0, 0, face << 2}, k);
      }
    }
    kernels_.attribute_terms(faces, static_cast<std::uint32_t>(count), rows);
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t k = 0; k < 3; ++k) add(rows[i], attribute_sums_[triangles[3 * (first + i) + k]]);
    }
  }
}

void LadderBuilder::set_attribute_values(std::uint32_t v) {
  AttributeValues const values = attributes_.scaled_values(records_, mesh_of(v), origins_[v].node);
  std::copy(values.begin(), values.end(), attribute_sums_[v].values());
}

// Makes the sums of v, which has one wedge, anew.
void LadderBuilder::sum_attributes(std::uint32_t v) {
  attribute_sums_[v] = {};
  set_attribute_values(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  attribute_faces_.resize(star.size());
  attribute_terms_.resize(star.size() + kMaxLanes);
  corner_values_.clear();
  corner_values_.reserve(2 * star.size());
  for (std::size_t i = 0; i < star.size(); ++i) {
    StarEntry const& entry = star[i];
    attribute_faces_[i] = {
        {&stars_.vertex(v).x, &stars_.vertex(entry.next).x, &stars_.vertex(entry.previous).x},
        {attribute_sums_[v].values(), corner_values(entry.next, entry, 1), corner_values(entry.previous, entry, 2)}};
  }
  kernels_.attribute_terms(attribute_faces_.data(), static_cast<std::uint32_t>(star.size()), attribute_terms_.data());
  for (std::size_t i = 0; i < star.size(); ++i) add(attribute_terms_[i], attribute_sums_[v]);
}

// The scaled attributes of v in a face of which it is the corner `corner` places after that of `entry`. There must be
// room for it in `corner_values_`.
float const* LadderBuilder::corner_values(std::uint32_t v, StarEntry const& entry, std::uint32_t corner) {
  if ((stars_.vertex(v).flags & kOneWedge) != 0) return attribute_sums_[v].values();
  AttributeValues const values =
      attributes_.scaled_values(records_, mesh_of(v), attributes_.wedge(entry.face(), (entry.corner() + corner) % 3));
  std::array<float, 8>& row = corner_values_.emplace_back();
  std::copy(values.begin(), values.end(), row.begin());
  return row.data();
}

// Whether the candidate of this edge needs no refinement.
bool LadderBuilder::is_exact(std::uint32_t v, std::uint32_t other) const {
  return attribute_sums_.empty() || (stars_.vertex(v).flags & stars_.vertex(other).flags & kOneWedge) != 0;
}

void LadderBuilder::evaluate_edges(std::uint32_t const* from, std::uint32_t const* to, std::uint32_t count,
                                   EdgeArrays const& out) {
  if (attribute_sums_.empty()) {
    kernels_.evaluate_edges(stars_.vertices(), from, to, count, out);
  } else {
    kernels_.evaluate_edges_attributed(stars_.vertices(), attribute_sums_.data(), from, to, count, out);
  }
}

// Works out place and key of a candidate at a seam; false if that has been done, or need not be.
bool LadderBuilder::refine(std::uint32_t v, std::uint32_t candidate) {
  if (refined_[candidate] != 0) return false;
  refined_[candidate] = 1;
  std::uint32_t const other = candidates_.neighbours[candidate];
  if (is_exact(v, other)) return false;
  Vec3 place;
  candidates_.keys[candidate] = evaluate_seam_edge(v, other, place);
  Vec3 const offset = place - stars_.vertex(v).position();
  candidates_.x[candidate] = offset.x;
  candidates_.y[candidate] = offset.y;
  candidates_.z[candidate] = offset.z;
  return true;
}

void LadderBuilder::gather_wedges(std::uint32_t a, std::uint32_t b) {
  if (gathered_ == std::array<std::uint32_t, 2>{a, b}) return;
  attributes_.gather(records_, stars_, attribute_sums_, mesh_of(a), a, b, merge_);
  gathered_ = {a, b};
}

// The key and the place of an edge with several wedges at an end.
float LadderBuilder::evaluate_seam_edge(std::uint32_t a, std::uint32_t b, Vec3& place) {
  gather_wedges(a, b);
  float lanes[7][kMaxLanes];
  kernels_.evaluate_edge_with(stars_.vertices(), attributes_.form(merge_), a, b,
                              {lanes[0], lanes[1], lanes[2], lanes[3], lanes[4], lanes[5], lanes[6]});
  Vertex const& other = stars_.vertex(b);
  place = (other.flags & kLocked) != 0 ? other.position()
                                       : stars_.vertex(a).position() + Vec3{lanes[1][0], lanes[2][0], lanes[3][0]};
  if (!(lanes[0][0] < std::numeric_limits<float>::infinity())) return lanes[0][0];
  attributes_.merge(records_, stars_, mesh_of(a), a, b, place, false, merge_);
  return lanes[0][0] + merge_.cost;
}

void LadderBuilder::list_far_values() {
  far_values_.clear();
  corner_values_.clear();
  // Two far corners, and what the corner itself has before and after.
  corner_values_.reserve(4 * std::size_t{fan_.count});
  for (std::uint32_t i = 0; i < fan_.count; ++i) {
    StarEntry const& entry = fan_faces_[i];
    far_values_.push_back(corner_values(entry.next, entry, 1));
    far_values_.push_back(corner_values(entry.previous, entry, 2));
  }
}

// What the wedges of the edge at hand become. False where a face turns over in UV space.
bool LadderBuilder::merge_wedges(std::uint32_t mesh, std::uint32_t a, std::uint32_t b, Vec3 place) {
  if (!attribute_sums_.empty()) list_far_values();
  single_wedges_ =
      (stars_.vertex(a).flags & stars_.vertex(b).flags & kOneWedge) != 0 && attributes_.can_unscale(records_, mesh);
  if (!single_wedges_) {
    gather_wedges(a, b);
    attributes_.merge(records_, stars_, mesh, a, b, place, options_.prevent_uv_foldovers, merge_);
    return !merge_.turns_uv_over;
  }
  if (records_.layout.stride == 0) return true;
  merge_single_wedges(mesh, a, b, place);
  return !options_.prevent_uv_foldovers || !records_.layout.has_uvs ||
         !attributes_.turns_uv_over(records_, survivors(), merged_values_.data() + records_.layout.uv_offset);
}

void LadderBuilder::merge_single_wedges(std::uint32_t mesh, std::uint32_t a, std::uint32_t b, Vec3 place) {
  Vec3 const at_a = stars_.vertex(a).position();
  Vec3 const at_b = stars_.vertex(b).position();
  auto const take = [&](std::uint32_t v) {
    std::size_t const stride = records_.layout.stride;
    std::copy_n(records_.attributes.data() + origins_[v].node * stride, stride, merged_values_.begin());
  };
  // A vertex that stays where it is keeps its values to the bit.
  if (place == at_a || place == at_b) {
    take(place == at_a ? a : b);
    return;
  }
  AttributeSums const& sums_a = attribute_sums_[a];
  AttributeSums const& sums_b = attribute_sums_[b];
  Vec3 const x = place - at_a;
  Vec3 const e = place - at_b;
  // Kept between the values around it: beyond them it would be no value of the mesh.
  Lanes low[2];
  Lanes high[2];
  std::memcpy(low, sums_a.values(), sizeof(low));
  std::memcpy(high, sums_a.values(), sizeof(high));
  for (float const* const row : far_values_) {
    Lanes values[2];
    std::memcpy(values, row, sizeof(values));
    for (std::size_t part = 0; part < 2; ++part) {
      low[part] = values[part] < low[part] ? values[part] : low[part];
      high[part] = values[part] > high[part] ? values[part] : high[part];
    }
  }
  float scaled[8] = {};
  for (std::uint32_t k = 0; k < kMaxAttributes; ++k) {
    float const difference = sums_b.values()[k] - sums_a.values()[k];
    float const weight = sums_a.weight(k) + sums_b.weight(k);
    float const pull = dot({sums_a.linear(k)[0], sums_a.linear(k)[1], sums_a.linear(k)[2]}, x) +
                       dot({sums_b.linear(k)[0], sums_b.linear(k)[1], sums_b.linear(k)[2]}, e) +
                       sums_b.weight(k) * difference;
    float const value = sums_a.values()[k] + (weight > 0 ? pull / weight : difference / 2);
    scaled[k] = std::min(std::max(low[k / 4][k % 4], value), high[k / 4][k % 4]);
  }
  // Normals that cancel leave no direction: those of the first end stand.
  if (!attributes_.unscale(records_, mesh, scaled, merged_values_)) take(a);
}

// Works out what the collapse at hand changes in the attribute sums around it, and the sums of a merged vertex that has
// one wedge; then brings those around it up to date.
void LadderBuilder::change_attributes(std::uint32_t a, std::uint32_t b, Vec3 place) {
  std::uint32_t const mesh = mesh_of(a);
  // The faces that stay as they will be, then all as they are.
  std::uint32_t const surviving = fan_.surviving;
  std::uint32_t const count = surviving + fan_.count;
  if (attribute_faces_.size() < count) attribute_faces_.resize(count);
  if (attribute_terms_.size() < count + kMaxLanes) attribute_terms_.resize(count + kMaxLanes);
  alignas(16) float const place_row[4] = {place.x, place.y, place.z, 0};
  float merged[8] = {};
  if (single_wedges_) {
    AttributeValues const values = attributes_.scaled(records_, mesh, merged_values_.data());
    std::copy(values.begin(), values.end(), merged);
  }
  for (std::uint32_t i = 0; i < fan_.count; ++i) {
    StarEntry const& entry = fan_faces_[i];
    std::uint32_t const corner = i < fan_.of_a || i >= surviving ? a : b;
    AttributeFace& before = attribute_faces_[surviving + i];
    before = {{&stars_.vertex(corner).x, &stars_.vertex(entry.next).x, &stars_.vertex(entry.previous).x},
              {corner_values(corner, entry, 0), far_values_[2 * i], far_values_[2 * i + 1]}};
    if (i >= surviving) continue;
    AttributeFace& after = attribute_faces_[i];
    after = {{place_row, before.points[1], before.points[2]}, {merged, before.values[1], before.values[2]}};
    if (single_wedges_) continue;
    std::uint32_t const old = attributes_.wedge(entry.face(), entry.corner());
    AttributeValues const values =
        attributes_.scaled(records_, mesh, merge_.groups[merge_.group_of_wedge(old)].values.data());
    std::array<float, 8>& row = corner_values_.emplace_back();
    std::copy(values.begin(), values.end(), row.begin());
    after.values[0] = row.data();
  }
  kernels_.attribute_terms(attribute_faces_.data(), count, attribute_terms_.data());

  merged_attributes_ = {};
  for (std::uint32_t i = 0; i < fan_.count; ++i) {
    AttributeSums& next = attribute_sums_[fan_faces_[i].next];
    AttributeSums& previous = attribute_sums_[fan_faces_[i].previous];
    // Where there are several wedges the sums are not used.
    if (i < surviving) {
      if (single_wedges_) add(attribute_terms_[i], merged_attributes_);
      add_change(attribute_terms_[surviving + i], attribute_terms_[i], next, previous);
    } else {
      subtract(attribute_terms_[surviving + i], next);
      subtract(attribute_terms_[surviving + i], previous);
    }
  }
}

// Makes the node of a merged vertex that has one wedge.
void LadderBuilder::record_single_wedge(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const node = new_node(std::min(origins_[a].lowest, origins_[b].lowest));
  records_.created_position_id.push_back(next_position_id_++);
  records_.attributes.insert(records_.attributes.end(), merged_values_.begin(),
                             merged_values_.begin() + records_.layout.stride);
  records_.parent[origins_[a].node] = node;
  records_.parent[origins_[b].node] = node;
  for (StarEntry const& face : survivors()) attributes_.set_wedge(face.face(), face.corner(), node);
}

// Makes the nodes of the merged vertex's wedges and puts them into the corners of the faces that stay.
void LadderBuilder::record_wedges(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const lowest = std::min(origins_[a].lowest, origins_[b].lowest);
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
  for (StarEntry const& face : survivors()) {
    std::uint32_t const old = attributes_.wedge(face.face(), face.corner());
    attributes_.set_wedge(face.face(), face.corner(), records_.parent[old]);
  }
}

}  // namespace mirel::engine
