#include "standalone/engine/ladder/wedge_attributes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

namespace {

// A texture that slides by a length weighs as much as a surface that moves by a quarter of it, a normal that turns by
// one radian on a triangle as much as a move of a seventh of the triangle's size. Higher weights buy little in the
// picture and cost mean error.
constexpr float kUvWeight = 0.06F;
constexpr float kNormalWeight = 0.02F;
// Beyond this UVs are no places on a texture, and their squares no numbers: they come along but cost nothing.
constexpr float kLargestUv = 1e15F;

// Which of a row's values are of a kind.
constexpr std::size_t kBegins[2] = {0, 2};
constexpr std::size_t kEnds[2] = {2, kMaxAttributes};

using Pair = double __attribute__((vector_size(16)));

// The squared lengths of the sides of all triangles of points of so many coordinates, summed.
template <std::size_t dimensions>
double sum_squared_sides(std::span<std::uint32_t const> faces, float const* points) {
  auto const load = [points](std::uint32_t point) {
    float const* const from = points + dimensions * point;
    if constexpr (dimensions == 2) return Lanes{from[0], from[1], 0, 0};
    return Lanes{from[0], from[1], dimensions == 2 ? 0 : from[2], 0};
  };
  Pair sum = {};
  for (std::size_t corner = 0; corner < faces.size(); corner += 3) {
    Lanes const a = load(faces[corner]), b = load(faces[corner + 1]), c = load(faces[corner + 2]);
    for (Lanes const side : {b - a, c - b, a - c}) {
      Pair const low = {double{side[0]}, double{side[1]}};
      sum += low * low;
      if constexpr (dimensions == 3) {
        Pair const high = {double{side[2]}, 0};
        sum += high * high;
      }
    }
  }
  return sum[0] + sum[1];
}

double uv_area(float const* a, float const* b, float const* c) {
  return (double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
         (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]});
}

int sign(double value) {
  return value > 0 ? 1 : value < 0 ? -1 : 0;
}

// Whether a face of which `uv` becomes the first corner's turns over in UV space.
bool turns_over(AttributeFace const& face, float const* uv) {
  float const* const next = face.corners[1]->values;
  float const* const previous = face.corners[2]->values;
  return sign(uv_area(face.corners[0]->values, next, previous)) != sign(uv_area(uv, next, previous));
}

bool same(AttributeRow const& a, AttributeRow const& b, std::size_t kind) {
  return std::equal(a.values + kBegins[kind], a.values + kEnds[kind], b.values + kBegins[kind]);
}

void copy_kind(AttributeRow const& from, std::size_t kind, AttributeRow& to) {
  std::copy(from.values + kBegins[kind], from.values + kEnds[kind], to.values + kBegins[kind]);
}

// One row out of two, four values at a time.
template <typename Row, typename Operation>
void combine(Row& row, Row const& other, Operation operation) {
  Lanes mine[2], others[2];
  std::memcpy(mine, &row, sizeof(mine));
  std::memcpy(others, &other, sizeof(others));
  for (std::size_t part = 0; part < 2; ++part) mine[part] = operation(mine[part], others[part]);
  std::memcpy(static_cast<void*>(&row), mine, sizeof(mine));
}
// What the faces of a wedge foretell for a place.
ForetoldRow foretell(SeamWedge const& wedge, float const* place) {
  Lanes row[2], along[3][2], weights[2];
  std::memcpy(row, &wedge.row, sizeof(row));
  std::memcpy(along, wedge.gradients.along, sizeof(along));
  std::memcpy(weights, wedge.gradients.weights, sizeof(weights));
  Lanes x[3];
  for (std::size_t axis = 0; axis < 3; ++axis) x[axis] = splat(place[axis] - wedge.row.position[axis]);
  for (std::size_t part = 0; part < 2; ++part) {
    row[part] += along[0][part] * x[0] + along[1][part] * x[1] + along[2][part] * x[2];
    row[part] *= weights[part];
  }
  ForetoldRow foretold;
  std::memcpy(static_cast<void*>(&foretold), row, sizeof(row));
  foretold.weights[0] = wedge.gradients.weights[0];
  foretold.weights[1] = wedge.gradients.weights[2];
  foretold.unused = 0;
  return foretold;
}

}  // namespace

void WedgeAttributes::add(ForetoldRow const& other, ForetoldRow& row) {
  combine(row, other, [](Lanes a, Lanes b) { return a + b; });
}

std::uint32_t WedgeMerge::group_of_wedge(std::uint32_t wedge) const {
  return group_of[static_cast<std::size_t>(std::find(wedges.begin(), wedges.end(), wedge) - wedges.begin())];
}

void WedgeAttributes::build(Records& records, double scale) {
  AttributeLayout& layout = records.layout;
  for (WedgeMesh const* mesh : records.meshes) {
    layout.has_uvs |= !mesh->uvs.empty();
    layout.has_normals |= !mesh->normals.empty();
  }
  layout.uv_offset = 0;
  layout.normal_offset = layout.has_uvs ? 2 : 0;
  layout.stride = (layout.has_uvs ? 2U : 0U) + (layout.has_normals ? 3U : 0U);

  corner_wedges_.resize(std::size_t{records.face_count()} * 3);
  records.attributes.reserve(std::size_t{records.leaf_count()} * layout.stride * 2);
  records.attributes.assign(std::size_t{records.leaf_count()} * layout.stride, 0.0F);
  bool several_sets = false;
  for (WedgeMesh const* mesh : records.meshes) several_sets |= mesh->set_begin.size() > 2;
  if (several_sets) face_sets_.resize(records.face_count());

  for (std::size_t m = 0; m < records.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records.meshes[m];
    std::uint32_t const first_wedge = records.wedge_base[m];
    std::uint32_t const first_face = records.face_base[m];
    for (std::size_t i = 0; i < mesh.faces.size(); ++i) {
      corner_wedges_[std::size_t{first_face} * 3 + i] = first_wedge + mesh.faces[i];
    }
    if (several_sets) {
      for (std::size_t set = 0; set + 1 < mesh.set_begin.size(); ++set) {
        std::fill(face_sets_.begin() + first_face + mesh.set_begin[set],
                  face_sets_.begin() + first_face + mesh.set_begin[set + 1], static_cast<std::uint32_t>(set));
      }
    }
    for (std::size_t w = 0; w < mesh.vertex_count(); ++w) {
      float* const values = records.attributes.data() + (first_wedge + w) * layout.stride;
      if (!mesh.uvs.empty()) std::memcpy(values + layout.uv_offset, mesh.uvs.data() + 2 * w, 2 * sizeof(float));
      if (!mesh.normals.empty()) {
        std::memcpy(values + layout.normal_offset, mesh.normals.data() + 3 * w, 3 * sizeof(float));
      }
    }

    // Lengths in space per length in UV space: the root of the ratio of squared edge lengths, summed over all faces.
    float uv_weight = 0;
    if (!mesh.uvs.empty()) {
      double const space = sum_squared_sides<3>(mesh.faces, mesh.vertices.data());
      double const texture = sum_squared_sides<2>(mesh.faces, mesh.uvs.data());
      bool const sane = std::all_of(mesh.uvs.begin(), mesh.uvs.end(), [](float x) { return std::abs(x) < kLargestUv; });
      if (texture > 0 && sane) uv_weight = static_cast<float>(double{kUvWeight} * space * scale * scale / texture);
      if (!std::isfinite(uv_weight)) uv_weight = 0;
    }
    scales_.push_back({std::sqrt(uv_weight), mesh.normals.empty() ? 0 : std::sqrt(kNormalWeight)});
    kinds_.push_back((uv_weight > 0 ? kUvs : 0U) | (mesh.normals.empty() ? 0U : kNormals));
  }
}

bool WedgeAttributes::uvs_differ(Records const& records, std::uint32_t wedge_a, std::uint32_t wedge_b) const {
  if (wedge_a == wedge_b || !records.layout.has_uvs) return false;
  return !same(values(records, wedge_a), values(records, wedge_b), 0);
}

AttributeRow WedgeAttributes::values(Records const& records, std::uint32_t wedge) {
  AttributeLayout const& layout = records.layout;
  float const* const from = records.attributes.data() + std::size_t{wedge} * layout.stride;
  AttributeRow row;
  if (layout.stride == kMaxAttributes) {
    std::memcpy(row.values, from, sizeof(row.values));
    return row;
  }
  if (layout.has_uvs) std::copy_n(from + layout.uv_offset, 2, row.values);
  if (layout.has_normals) std::copy_n(from + layout.normal_offset, 3, row.values + 2);
  return row;
}

void WedgeAttributes::append(AttributeRow const& row, Records& records) {
  float const* const from = row.values + (records.layout.has_uvs ? 0 : 2);
  std::size_t const size = records.attributes.size();
  if (records.layout.stride == kMaxAttributes && size + kMaxAttributes <= records.attributes.capacity()) {
    records.attributes.resize(size + kMaxAttributes);
    std::memcpy(records.attributes.data() + size, from, sizeof(row.values));
    return;
  }
  records.attributes.insert(records.attributes.end(), from, from + records.layout.stride);
}

bool WedgeAttributes::normalise(AttributeRow& row) {
  float* const n = row.values + 2;
  float const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(length > 1e-6F)) return false;
  if (std::abs(length - 1) > 1e-6F) {
    for (int i = 0; i < 3; ++i) n[i] /= length;
  }
  return true;
}

bool WedgeAttributes::turns_uv_over(std::span<AttributeFace const> faces, float const* uv) {
  return std::ranges::any_of(faces, [uv](AttributeFace const& face) { return turns_over(face, uv); });
}

bool WedgeAttributes::agree(AttributeRow const& a, AttributeRow const& b, std::uint32_t kinds) {
  return ((kinds & kUvs) == 0 || same(a, b, 0)) && ((kinds & kNormals) == 0 || same(a, b, 1));
}

SeamWedge& WedgeAttributes::add_seam_wedge(std::uint32_t wedge) {
  if (seam_places_.size() <= wedge) seam_places_.resize(std::size_t{wedge} + 1, 0);
  if (free_places_.empty()) {
    seam_places_[wedge] = static_cast<std::uint32_t>(seam_wedges_.size());
    return seam_wedges_.emplace_back();
  }
  seam_places_[wedge] = free_places_.back();
  free_places_.pop_back();
  return seam_wedges_[seam_places_[wedge]] = {};
}

void WedgeAttributes::drop_seam_wedge(std::uint32_t wedge) {
  if (!is_seam_wedge(wedge)) return;
  free_places_.push_back(seam_places_[wedge]);
  seam_places_[wedge] = 0;
}

void WedgeAttributes::set_gradients(MeanGradients const& means, std::uint32_t kinds, float share,
                                    MeanGradients& gradients) {
  for (std::size_t k = (kinds & kUvs) != 0 ? 0 : 2; k < ((kinds & kNormals) != 0 ? kMaxAttributes : 2); ++k) {
    for (std::size_t axis = 0; axis < 3; ++axis) gradients.along[axis][k] = means.along[axis][k];
    gradients.weights[k] = means.weights[k] * share;
  }
}

// The place of a wedge among those from `begin` on, which are those of one end.
std::uint32_t WedgeAttributes::add_slot(std::uint32_t begin, std::uint32_t wedge, EdgeAttributes const& edge,
                                        EdgeEnd const& end, WedgeMerge& result) {
  auto slot = begin;
  while (slot < slots_.size() && result.wedges[slot] != wedge) ++slot;
  if (slot < slots_.size()) return slot;
  result.wedges.push_back(wedge);
  link_.push_back(slot);
  if (end.values != nullptr) {
    slots_.push_back({end.values, end.foretold, {}, {}, {slot, slot}});
    return slot;
  }
  SeamWedge const& seam = seam_wedge(wedge);
  slots_.push_back({&seam.row, foretell(seam, edge.place), {}, {}, {slot, slot}});
  return slot;
}

// The wedges of both ends with what their faces foretell.
void WedgeAttributes::gather(EdgeAttributes const& edge, WedgeMerge& result) {
  result.wedges.clear();
  slots_.clear();
  link_.clear();
  auto const count = static_cast<std::uint32_t>(edge.faces.size());
  slot_of_face_.resize(count);
  other_slot_.resize(count - edge.surviving);
  auto const add_face = [&](std::uint32_t i, std::uint32_t begin, EdgeEnd const& end) {
    StarEntry const& entry = edge.faces[i];
    slot_of_face_[i] = add_slot(begin, wedge(entry.face(), entry.corner()), edge, end, result);
  };
  for (std::uint32_t i = 0; i < edge.of_a; ++i) add_face(i, 0, edge.ends[0]);
  for (std::uint32_t i = edge.surviving; i < count; ++i) add_face(i, 0, edge.ends[0]);
  slots_of_a_ = slots_.size();
  auto const begin = static_cast<std::uint32_t>(slots_of_a_);
  for (std::uint32_t i = edge.of_a; i < edge.surviving; ++i) add_face(i, begin, edge.ends[1]);
  for (std::uint32_t i = edge.surviving; i < count; ++i) {
    StarEntry const& entry = edge.faces[i];
    std::uint32_t const corner = entry.next == edge.b ? 1 : 2;
    std::uint32_t const node = wedge(entry.face(), (entry.corner() + corner) % 3);
    other_slot_[i - edge.surviving] = add_slot(begin, node, edge, edge.ends[1], result);
  }
}

// The wedges that faces on the edge join become one group each, all others a group of their own.
void WedgeAttributes::link(EdgeAttributes const& edge, WedgeMerge& result) {
  auto const root = [this](std::uint32_t i) {
    while (link_[i] != i) i = link_[i];
    return i;
  };
  for (std::size_t i = edge.surviving; i < edge.faces.size(); ++i) {
    std::uint32_t const ra = root(slot_of_face_[i]);
    std::uint32_t const rb = root(other_slot_[i - edge.surviving]);
    link_[std::max(ra, rb)] = std::min(ra, rb);
  }
  result.groups.clear();
  result.group_of.resize(slots_.size());
  for (std::uint32_t i = 0; i < slots_.size(); ++i) {
    if (link_[i] == i) {
      result.group_of[i] = static_cast<std::uint32_t>(result.groups.size());
      result.groups.emplace_back();
    } else {
      result.group_of[i] = result.group_of[root(i)];  // a root stands before all that is linked to it
    }
  }
}

// A seam of the texture need not be a crease of the shading, nor the other way around: finds for UVs and for normals
// which groups have one value, because two of their wedges had at either end.
void WedgeAttributes::find_shared(Records const& records, WedgeMerge const& merge) {
  bool const shares = records.layout.has_uvs && records.layout.has_normals && merge.groups.size() > 1;
  for (std::size_t kind = 0; kind < 2; ++kind) {
    std::vector<std::uint32_t>& with = shared_[kind];
    with.resize(merge.groups.size());
    std::iota(with.begin(), with.end(), 0U);
    auto const root = [&with](std::uint32_t g) {
      while (with[g] != g) g = with[g];
      return g;
    };
    for (std::uint32_t i = 1; i < slots_.size(); ++i) {
      for (auto k = static_cast<std::uint32_t>(i < slots_of_a_ ? 0 : slots_of_a_); k < i; ++k) {
        if (slots_[k].same[kind] != k || !same(*slots_[i].values, *slots_[k].values, kind)) continue;
        slots_[i].same[kind] = k;
        if (shares) {
          std::uint32_t const ri = root(merge.group_of[i]);
          std::uint32_t const rk = root(merge.group_of[k]);
          with[std::max(ri, rk)] = std::min(ri, rk);
        }
        break;
      }
    }
    for (std::uint32_t& g : with) g = with[g];  // a root stands before all that shares with it
  }
}

// Between which values the UVs of the faces lie that use a wedge.
void WedgeAttributes::find_uv_bounds(EdgeAttributes const& edge) {
  for (Slot& slot : slots_) {
    std::copy_n(slot.values->values, 2, slot.low);
    std::copy_n(slot.values->values, 2, slot.high);
  }
  for (std::size_t i = 0; i < edge.faces.size(); ++i) {
    Slot& slot = slots_[slot_of_face_[i]];
    for (std::size_t corner = 1; corner < 3; ++corner) {
      float const* const uv = edge.corners[i].corners[corner]->values;
      for (std::size_t k = 0; k < 2; ++k) {
        slot.low[k] = std::min(slot.low[k], uv[k]);
        slot.high[k] = std::max(slot.high[k], uv[k]);
      }
    }
  }
}

// Keeps the UV of a group between those of the faces around it.
void WedgeAttributes::keep_inside(WedgeMerge const& result, std::size_t group, float* uv) const {
  Slot const* first = nullptr;
  float low[2] = {}, high[2] = {};
  for (std::size_t w = 0; w < slots_.size(); ++w) {
    if (shared_[0][result.group_of[w]] != group) continue;
    Slot const& slot = slots_[w];
    for (std::size_t k = 0; k < 2; ++k) {
      low[k] = first == nullptr ? slot.low[k] : std::min(low[k], slot.low[k]);
      high[k] = first == nullptr ? slot.high[k] : std::max(high[k], slot.high[k]);
    }
    first = &slot;
  }
  for (std::size_t k = 0; k < 2; ++k) uv[k] = std::min(std::max(low[k], uv[k]), high[k]);
}

// Keeps the UV of a group at a seam close to those that it has at the ends of the edge: beyond the outline of its chart
// the texture shows something else.
void WedgeAttributes::keep_on_outline(WedgeMerge const& result, std::size_t group, float* uv) const {
  constexpr float kMargin = 0.375F;
  float const* ends[2] = {nullptr, nullptr};
  float low[2], high[2];
  bool several = false;
  for (std::size_t w = 0; w < slots_.size(); ++w) {
    if (shared_[0][result.group_of[w]] != group) continue;
    float const* const own = slots_[w].values->values;
    if (ends[0] == nullptr) {
      ends[0] = ends[1] = own;
      std::copy_n(own, 2, low);
      std::copy_n(own, 2, high);
    }
    if (std::equal(own, own + 2, ends[0]) || std::equal(own, own + 2, ends[1])) continue;
    several |= ends[1] != ends[0];
    ends[1] = own;
    for (std::size_t k = 0; k < 2; ++k) low[k] = std::min(low[k], own[k]), high[k] = std::max(high[k], own[k]);
  }
  if (several) {
    float const margin = kMargin * std::max(high[0] - low[0], high[1] - low[1]);
    for (std::size_t k = 0; k < 2; ++k) uv[k] = std::min(std::max(low[k] - margin, uv[k]), high[k] + margin);
    return;
  }
  float const along[2] = {ends[1][0] - ends[0][0], ends[1][1] - ends[0][1]};
  float const length2 = along[0] * along[0] + along[1] * along[1];
  float const offset[2] = {uv[0] - ends[0][0], uv[1] - ends[0][1]};
  float share = 0;
  float aside = 0;
  if (length2 > 0) {
    share = (offset[0] * along[0] + offset[1] * along[1]) / length2;
    aside = (offset[1] * along[0] - offset[0] * along[1]) / length2;
    share = std::min(std::max(-kMargin, share), 1 + kMargin);
    aside = std::min(std::max(-kMargin, aside), kMargin);
  }
  uv[0] = ends[0][0] + share * along[0] - aside * along[1];
  uv[1] = ends[0][1] + share * along[1] + aside * along[0];
}

// The mean of the values that a group has at the ends of the edge.
void WedgeAttributes::choose_mean(WedgeMerge const& result, std::size_t kind, std::size_t group,
                                  AttributeRow& values) const {
  float members = 0;
  for (std::size_t w = 0; w < slots_.size(); ++w) {
    if (shared_[kind][result.group_of[w]] != group) continue;
    ++members;
    // Step by step, as the sum may be no number.
    for (std::size_t k = kBegins[kind]; k < kEnds[kind]; ++k) {
      values.values[k] += slots_[w].values->values[k] / members - values.values[k] / members;
    }
  }
}

// The values of one kind for all groups. `counts`: whether faces foretell any.
void WedgeAttributes::choose_values(std::size_t kind, bool counts, WedgeMerge& result) {
  std::vector<std::uint32_t> const& with = shared_[kind];
  for (std::size_t g = 0; g < result.groups.size(); ++g) {
    AttributeRow& values = result.groups[g].values;
    if (with[g] != g) {
      copy_kind(result.groups[with[g]].values, kind, values);
      continue;
    }
    ForetoldRow foretold;
    for (std::size_t w = 0; w < slots_.size(); ++w) {
      if (with[result.group_of[w]] == g) add(slots_[w].foretold, foretold);
    }
    float const weight = foretold.weight(static_cast<std::uint32_t>(kBegins[kind]));
    if (!counts || !(weight > 0)) {
      choose_mean(result, kind, g, values);
      continue;
    }
    for (std::size_t k = kBegins[kind]; k < kEnds[kind]; ++k) values.values[k] = foretold.values[k] / weight;
    if (kind == 0) keep_inside(result, g, values.values);
    if (kind == 0 && result.groups.size() > 1) {
      keep_on_outline(result, g, values.values);
    }
  }
}

// A vertex that stays where it is keeps its values to the bit.
void WedgeAttributes::keep_values(EdgeAttributes const& edge, Records const& records, WedgeMerge& result) {
  std::size_t const begin = edge.kept == 0 ? 0 : slots_of_a_;
  std::size_t const end = edge.kept == 0 ? slots_of_a_ : slots_.size();
  for (std::size_t w = begin; w < end; ++w) result.groups[result.group_of[w]].values = *slots_[w].values;
  if (records.layout.has_uvs && records.layout.has_normals && result.groups.size() > 1) copy_shared(begin, end, result);
}

// Groups without a wedge of the end that stays, whose wedges are those of places `begin` to `end`, take the value of
// the first one with such a wedge that they share it with.
void WedgeAttributes::copy_shared(std::size_t begin, std::size_t end, WedgeMerge& result) {
  for (std::size_t kind = 0; kind < 2; ++kind) {
    source_.assign(result.groups.size(), kNone);
    for (std::size_t w = begin; w < end; ++w) {
      std::uint32_t& source = source_[shared_[kind][result.group_of[w]]];
      source = std::min(source, result.group_of[w]);
    }
    for (std::size_t w = 0; w < slots_.size(); ++w) {
      if (w >= begin && w < end) continue;
      std::uint32_t const group = result.group_of[w];
      std::uint32_t const source = source_[shared_[kind][group]];
      auto const kept = std::span(result.group_of).subspan(begin, end - begin);
      if (source != kNone && std::ranges::find(kept, group) == kept.end()) {
        copy_kind(result.groups[source].values, kind, result.groups[group].values);
      }
    }
  }
}

// What the values chosen cost beyond those that would be best for each end by itself.
float WedgeAttributes::cost(std::size_t kind, float scale, WedgeMerge const& result) {
  float sum = 0;
  for (std::size_t w = 0; w < slots_.size(); ++w) {
    if (slots_[w].same[kind] != w) continue;
    // A part of its own, with all that have the same value at this end.
    ForetoldRow foretold = slots_[w].foretold;
    for (std::size_t other = w + 1; other < slots_.size(); ++other) {
      if (slots_[other].same[kind] == w) add(slots_[other].foretold, foretold);
    }
    float const weight = foretold.weight(static_cast<std::uint32_t>(kBegins[kind]));
    if (!(weight > 0)) continue;
    AttributeRow const& values = result.groups[result.group_of[w]].values;
    for (std::size_t k = kBegins[kind]; k < kEnds[kind]; ++k) {
      float const off = scale * (foretold.values[k] / weight - values.values[k]);
      sum += weight * off * off;
    }
  }
  return sum;
}

void WedgeAttributes::merge(Records const& records, EdgeAttributes const& edge, WedgeMerge& result) {
  AttributeLayout const& layout = records.layout;
  result.cost = 0;
  result.turns_uv_over = false;
  gather(edge, result);
  link(edge, result);
  find_shared(records, result);
  std::uint32_t const kinds = kinds_[edge.mesh];
  if ((kinds & kUvs) != 0) find_uv_bounds(edge);
  if (layout.has_uvs) choose_values(0, (kinds & kUvs) != 0, result);
  if (layout.has_normals) choose_values(1, (kinds & kNormals) != 0, result);
  if (edge.kept >= 0) keep_values(edge, records, result);
  if ((kinds & kUvs) != 0) result.cost += cost(0, scales_[edge.mesh].uv, result);
  if ((kinds & kNormals) != 0) {
    result.cost += cost(1, scales_[edge.mesh].normal, result);
    for (std::size_t g = 0; g < result.groups.size(); ++g) {
      if (normalise(result.groups[g].values)) continue;
      // Normals that cancel leave no direction: the first wedge's stands.
      std::size_t first = 0;
      while (result.group_of[first] != shared_[1][g]) ++first;
      copy_kind(*slots_[first].values, 1, result.groups[g].values);
    }
  }
  mark_alive(edge, result);
}

// Groups that faces which stay use; and whether one of these faces turns over in UV space.
void WedgeAttributes::mark_alive(EdgeAttributes const& edge, WedgeMerge& result) const {
  for (std::size_t i = 0; i < edge.surviving; ++i) {
    WedgeMerge::Group& group = result.groups[result.group_of[slot_of_face_[i]]];
    group.alive = true;
    if (edge.check_uv_area) result.turns_uv_over |= turns_over(edge.corners[i], group.values.values);
  }
}

}  // namespace mirel::engine
