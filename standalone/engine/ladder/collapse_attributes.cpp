// What a collapse does to UVs and normals.
//
// Most vertices have one wedge: its attributes stand in `attribute_values_`. Edges with several at an end go through
// WedgeMerge.
#include <algorithm>
#include <cstring>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

constexpr AttributeRow kNoAttributes;

}  // namespace

// The attributes of a vertex with one wedge; null of others.
inline AttributeRow const* LadderBuilder::own_values(std::uint32_t v) const {
  if ((stars_.vertex(v).flags & kOneWedge) == 0) return nullptr;
  return attribute_values_.empty() ? &kNoAttributes : &attribute_values_[v];
}

// The attributes at the corners of the fan's faces. That of a face that stays at an end with several wedges is filled
// in when these are known.
void LadderBuilder::list_fan_corners() {
  AttributeRow const* const at_a = own_values(fan_.a);
  AttributeRow const* const at_b = own_values(fan_.b);
  for (std::uint32_t i = 0; i < fan_.count; ++i) {
    StarEntry const& face = fan_faces_[i];
    attribute_faces_[i] = {{i < fan_.of_a        ? at_a
                            : i < fan_.surviving ? at_b
                                                 : corner_values(fan_.a, face, 0),
                            corner_values(face.next, face, 1), corner_values(face.previous, face, 2)}};
  }
}

// What the wedges of the edge at hand become, and `attribute_cost_`. False where a face turns over in UV space.
bool LadderBuilder::merge_wedges(std::uint32_t mesh, std::uint32_t a, std::uint32_t b, Vec3 place) {
  attribute_cost_ = 0;
  single_wedges_ = (stars_.vertex(a).flags & stars_.vertex(b).flags & kOneWedge) != 0;
  bool const has_values = !attribute_values_.empty();
  if (single_wedges_ && !has_values) return true;
  std::uint32_t const kinds = has_values ? attributes_.kinds(mesh) : 0;
  start_corners(2 * std::size_t{fan_.count});
  int const kept = place == stars_.vertex(a).position() ? 0 : place == stars_.vertex(b).position() ? 1 : -1;
  all_one_wedge_ = single_wedges_ && kinds != 0 && have_one_wedge(std::span(fan_faces_).first(fan_.count));
  bool const check_uvs = options_.prevent_uv_foldovers && records_.layout.has_uvs;
  if (all_one_wedge_) {
    bool const closed = ((stars_.vertex(a).flags | stars_.vertex(b).flags) & kIrregular) == 0;
    OneWedgeFan const fan = {{attribute_values_.data(), fan_faces_.data()},
                             fan_.of_a,
                             fan_.surviving,
                             fan_.count,
                             a,
                             b,
                             {place.x, place.y, place.z},
                             kept,
                             closed};
    attribute_kernels_.merge_fan[kinds](fan, attributes_.scale(mesh), foretold_.data(), merged_wedge_);
    attribute_cost_ = merged_wedge_.cost;
    if (!check_uvs) return true;
  }
  AttributeFace* const faces = attribute_faces_.data();
  if (has_values) {
    list_fan_corners();
  } else {
    std::fill_n(faces, fan_.count, AttributeFace{{&kNoAttributes, &kNoAttributes, &kNoAttributes}});
  }
  if (single_wedges_) {
    if (!all_one_wedge_) {
      NamedFan const fan = {faces,
                            fan_.of_a,
                            fan_.surviving,
                            fan_.count,
                            &attribute_values_[a],
                            &attribute_values_[b],
                            {place.x, place.y, place.z},
                            kept};
      attribute_kernels_.merge_named_fan[kinds](fan, attributes_.scale(mesh), foretold_.data(), merged_wedge_);
      attribute_cost_ = merged_wedge_.cost;
    }
    return !check_uvs || !turns_uv_over(std::span(faces, fan_.surviving), merged_wedge_.row.values);
  }
  EdgeAttributes const edge = {std::span(fan_faces_).first(fan_.count),
                               fan_.of_a,
                               fan_.surviving,
                               b,
                               {edge_end(a, place), edge_end(b, place)},
                               {place.x, place.y, place.z},
                               faces,
                               check_uvs,
                               mesh,
                               kept};
  merge_.merge(attributes_, records_.layout, edge);
  attribute_cost_ = merge_.cost();
  return !merge_.turns_uv_over();
}

// What an end of the edge at hand with one wedge foretells for `place`; nothing of others.
EdgeEnd LadderBuilder::edge_end(std::uint32_t v, Vec3 place) {
  EdgeEnd end;
  end.values = own_values(v);
  if (end.values == nullptr) return end;
  std::uint32_t const kinds = attribute_values_.empty() ? 0 : attributes_.kinds(mesh_of(v));
  if (kinds == 0) return end;
  // Its faces in one piece: behind those of the fan where they are in two.
  AttributeFace* faces = attribute_faces_.data() + fan_.of_a;
  std::uint32_t count = fan_.count - fan_.of_a;
  if (v == fan_.a) {
    faces = attribute_faces_.data() + fan_.count;
    std::copy_n(attribute_faces_.data(), fan_.of_a, faces);
    std::copy_n(attribute_faces_.data() + fan_.surviving, fan_.count - fan_.surviving, faces + fan_.of_a);
    count = fan_.of_a + fan_.count - fan_.surviving;
  }
  float const goal[3] = {place.x, place.y, place.z};
  attribute_kernels_.foretell[kinds](goal, faces, count, foretold_.data());
  Lanes sums[2] = {};
  for (std::uint32_t i = 0; i < count; ++i) {
    Lanes row[2];
    std::memcpy(row, &foretold_[i], sizeof(row));
    sums[0] += row[0];
    sums[1] += row[1];
  }
  std::memcpy(static_cast<void*>(&end.foretold), sums, sizeof(sums));
  return end;
}

// As add_attributes, for the vertex that the edge at hand has become, which has one wedge.
void LadderBuilder::add_merged_attributes(std::uint32_t v) {
  std::uint32_t const mesh = mesh_of(v);
  std::uint32_t const kinds = attributes_.kinds(mesh);
  if (kinds == 0) return;
  Vertex& vertex = stars_.vertex(v);
  AttributeScale const& scale = attributes_.scale(mesh);
  if (all_one_wedge_) {
    attribute_kernels_.add_star_variation[kinds](attribute_values_[v], {attribute_values_.data(), fan_faces_.data()},
                                                 fan_.surviving, scale, vertex.quadric);
  } else {
    attribute_kernels_.add_variation[kinds](attribute_values_[v], attribute_faces_.data(), fan_.surviving, scale,
                                            vertex.quadric);
  }
}

// Makes the node of a merged vertex that has one wedge.
void LadderBuilder::record_single_wedge(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const node = new_node(std::min(origins_[a].lowest, origins_[b].lowest));
  records_.created_position_id.push_back(next_position_id_++);
  WedgeAttributes::append(merged_wedge_.row, records_);
  records_.parent[origins_[a].node] = node;
  records_.parent[origins_[b].node] = node;
  for (StarEntry const& face : survivors()) attributes_.set_wedge(face.face(), face.corner(), node);
}

// Makes the nodes of the merged vertex's wedges and puts them into the corners of the faces that stay.
void LadderBuilder::record_wedges(std::uint32_t a, std::uint32_t b) {
  std::uint32_t const lowest = std::min(origins_[a].lowest, origins_[b].lowest);
  std::span<WedgeMerge::Group> const groups = merge_.groups();
  group_nodes_.assign(groups.size(), kNone);
  for (std::size_t g = 0; g < groups.size(); ++g) {
    if (!groups[g].alive) continue;
    AttributeRow& values = groups[g].values;
    group_nodes_[g] = new_node(lowest);
    records_.created_position_id.push_back(next_position_id_);
    WedgeAttributes::append(values, records_);
    std::copy_n(fan_.place, 3, values.position);
    attributes_.add_seam_wedge(group_nodes_[g]).row = values;
  }
  ++next_position_id_;
  for (WedgeMerge::OldWedge const& old : merge_.wedges()) {
    records_.parent[old.wedge] = group_nodes_[old.group];
    attributes_.drop_seam_wedge(old.wedge);
  }
  for (StarEntry const& face : survivors()) {
    std::uint32_t const old = attributes_.wedge(face.face(), face.corner());
    attributes_.set_wedge(face.face(), face.corner(), records_.parent[old]);
  }
}

}  // namespace mirel::engine
