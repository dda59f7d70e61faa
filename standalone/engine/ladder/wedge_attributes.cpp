#include "standalone/engine/ladder/wedge_attributes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

#include "standalone/engine/ladder/attribute_updates.h"
#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

namespace {

// A texture that slides by a length weighs as much as a surface that moves by a sixth of it, a normal that turns by one
// radian on a triangle as much as a move of a tenth of the triangle's size. Higher weights buy little in the picture
// and cost mean error.
constexpr float kUvWeight = 0.03F;
constexpr float kNormalWeight = 0.01F;
// Beyond this UVs are no places on a texture, and their squares no numbers: they come along but cost nothing.
constexpr float kLargestUv = 1e15F;

double squared_distance(float const* a, float const* b, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) sum += (double{a[i]} - double{b[i]}) * (double{a[i]} - double{b[i]});
  return sum;
}

double uv_area(float const* a, float const* b, float const* c) {
  return (double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
         (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]});
}

int sign(double value) {
  return value > 0 ? 1 : value < 0 ? -1 : 0;
}

// The place of a wedge in the list, or the list's end.
std::uint32_t slot_of(WedgeMerge const& merge, std::uint32_t wedge) {
  return static_cast<std::uint32_t>(std::find(merge.wedges.begin(), merge.wedges.end(), wedge) - merge.wedges.begin());
}

float const* values_of(Records const& records, std::uint32_t node) {
  return records.attributes.data() + std::size_t{node} * records.layout.stride;
}

Vec3 linear_of(AttributeSums const& sums, std::uint32_t k) {
  return {sums.linear(k)[0], sums.linear(k)[1], sums.linear(k)[2]};
}

Vec3 product(float const* m, Vec3 p) {
  return {m[0] * p.x + m[1] * p.y + m[2] * p.z, m[1] * p.x + m[3] * p.y + m[4] * p.z,
          m[2] * p.x + m[4] * p.y + m[5] * p.z};
}

// Makes a vector a unit one; false where it has no direction.
bool normalise(float* n) {
  float const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(length > 1e-6F)) return false;
  if (std::abs(length - 1) > 1e-6F) {
    for (int i = 0; i < 3; ++i) n[i] /= length;
  }
  return true;
}

}  // namespace

std::uint32_t WedgeMerge::group_of_wedge(std::uint32_t wedge) const {
  return group_of[slot_of(*this, wedge)];
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
      if (!mesh.uvs.empty()) std::copy_n(mesh.uvs.data() + 2 * w, 2, values + layout.uv_offset);
      if (!mesh.normals.empty()) std::copy_n(mesh.normals.data() + 3 * w, 3, values + layout.normal_offset);
    }

    // Lengths in space per length in UV space: the root of the ratio of squared edge lengths, summed over all faces.
    MeshWeights weights;
    if (!mesh.uvs.empty()) {
      double space = 0;
      double texture = 0;
      for (std::size_t corner = 0; corner < mesh.faces.size(); corner += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
          std::size_t const from = mesh.faces[corner + k];
          std::size_t const to = mesh.faces[corner + (k + 1) % 3];
          space += squared_distance(mesh.vertices.data() + 3 * from, mesh.vertices.data() + 3 * to, 3);
          texture += squared_distance(mesh.uvs.data() + 2 * from, mesh.uvs.data() + 2 * to, 2);
        }
      }
      bool const sane = std::all_of(mesh.uvs.begin(), mesh.uvs.end(), [](float x) { return std::abs(x) < kLargestUv; });
      if (texture > 0 && sane) weights.uv = static_cast<float>(double{kUvWeight} * space * scale * scale / texture);
      if (!std::isfinite(weights.uv)) weights.uv = 0;
    }
    if (!mesh.normals.empty()) weights.normal = kNormalWeight;
    weights.uv_root = std::sqrt(weights.uv);
    weights.normal_root = std::sqrt(weights.normal);
    weights_.push_back(weights);
  }
}

bool WedgeAttributes::uvs_differ(Records const& records, std::uint32_t wedge_a, std::uint32_t wedge_b) const {
  if (wedge_a == wedge_b || !records.layout.has_uvs) return false;
  float const* const a = values_of(records, wedge_a) + records.layout.uv_offset;
  float const* const b = values_of(records, wedge_b) + records.layout.uv_offset;
  return a[0] != b[0] || a[1] != b[1];
}

AttributeValues WedgeAttributes::scaled(Records const& records, std::uint32_t mesh, float const* values) const {
  AttributeValues scaled{};
  if (records.layout.has_uvs) {
    for (std::uint32_t i = 0; i < 2; ++i) scaled[i] = weights_[mesh].uv_root * values[records.layout.uv_offset + i];
  }
  if (records.layout.has_normals) {
    for (std::uint32_t i = 0; i < 3; ++i)
      scaled[2 + i] = weights_[mesh].normal_root * values[records.layout.normal_offset + i];
  }
  return scaled;
}

bool WedgeAttributes::unscale(Records const& records, std::uint32_t mesh, float const* scaled,
                              AttributeValues& values) const {
  AttributeLayout const& layout = records.layout;
  MeshWeights const& weights = weights_[mesh];
  AttributeValues result{};
  if (layout.has_uvs) {
    for (std::uint32_t i = 0; i < 2; ++i) result[layout.uv_offset + i] = scaled[i] / weights.uv_root;
  }
  if (layout.has_normals) {
    for (std::uint32_t i = 0; i < 3; ++i) {
      result[layout.normal_offset + i] = weights.normal_root > 0 ? scaled[2 + i] / weights.normal_root : 0;
    }
    // A mesh without normals has none here either.
    if (weights.normal_root > 0 && !normalise(result.data() + layout.normal_offset)) return false;
  }
  values = result;
  return true;
}

void WedgeAttributes::Range::add(Range const& other) {
  for (std::size_t part = 0; part < 8; part += 4) {
    Lanes a, b;
    std::memcpy(&a, low.data() + part, sizeof(a));
    std::memcpy(&b, other.low.data() + part, sizeof(b));
    a = b < a ? b : a;
    std::memcpy(low.data() + part, &a, sizeof(a));
    std::memcpy(&a, high.data() + part, sizeof(a));
    std::memcpy(&b, other.high.data() + part, sizeof(b));
    a = b > a ? b : a;
    std::memcpy(high.data() + part, &a, sizeof(a));
  }
}

// The wedges around `from` with what their faces say, and between which values they lie.
void WedgeAttributes::add_star(Records const& records, Stars const& stars, std::span<AttributeSums const> vertex_sums,
                               std::uint32_t mesh, std::uint32_t from, WedgeMerge& result) {
  std::span<StarEntry const> const star = stars.star(from);
  // Nothing that is pointed at may move.
  sums_.reserve(sums_.size() + star.size());
  far_rows_.clear();
  far_rows_.reserve(2 * star.size());
  slots_.resize(star.size());
  faces_.resize(star.size());
  if (rows_.size() < star.size() + kMaxLanes) rows_.resize(star.size() + kMaxLanes);
  std::uint32_t slot = 0;
  for (std::size_t i = 0; i < star.size(); ++i) {
    StarEntry const& entry = star[i];
    std::uint32_t const own = wedge(entry.face(), entry.corner());
    if (slot >= result.wedges.size() || result.wedges[slot] != own) slot = slot_of(result, own);
    if (slot == result.wedges.size()) {
      result.wedges.push_back(own);
      link_.push_back(slot);
      AttributeValues const scaled = scaled_values(records, mesh, own);
      sums_.emplace_back();
      std::copy(scaled.begin(), scaled.end(), sums_.back().values());
      Range& range = ranges_.emplace_back();
      std::copy_n(sums_.back().values(), 8, range.low.begin());
      range.high = range.low;
    }
    slots_[i] = slot;
    if (vertex_sums.empty()) continue;
    AttributeFace& face = faces_[i];
    face.points[0] = &stars.vertex(from).x;
    face.values[0] = sums_[slot].values();
    std::uint32_t corner = 1;
    for (std::uint32_t const far : {entry.next, entry.previous}) {
      face.points[corner] = &stars.vertex(far).x;
      if ((stars.vertex(far).flags & kOneWedge) != 0) {
        face.values[corner] = vertex_sums[far].values();
      } else {
        AttributeValues const scaled = scaled_values(records, mesh, wedge(entry.face(), (entry.corner() + corner) % 3));
        std::array<float, 8>& row = far_rows_.emplace_back();
        std::copy(scaled.begin(), scaled.end(), row.begin());
        face.values[corner] = row.data();
      }
      Range range;
      std::copy_n(face.values[corner], 8, range.low.begin());
      range.high = range.low;
      ranges_[slot].add(range);
      ++corner;
    }
  }
  if (vertex_sums.empty()) return;
  kernels_.attribute_terms(faces_.data(), static_cast<std::uint32_t>(star.size()), rows_.data());
  for (std::size_t i = 0; i < star.size(); ++i) add(rows_[i], sums_[slots_[i]]);
}

// The wedges that faces on the edge (a, b) join become one group each, all others a group of their own.
void WedgeAttributes::link_across(Stars const& stars, std::uint32_t a, std::uint32_t b, WedgeMerge& result) {
  auto const root = [this](std::uint32_t i) {
    while (link_[i] != i) i = link_[i];
    return i;
  };
  for (StarEntry const& entry : stars.star(a)) {
    if (entry.next != b && entry.previous != b) continue;
    std::uint32_t const corner_b = (entry.corner() + (entry.next == b ? 1 : 2)) % 3;
    std::uint32_t const ra = root(slot_of(result, wedge(entry.face(), entry.corner())));
    std::uint32_t const rb = root(slot_of(result, wedge(entry.face(), corner_b)));
    link_[std::max(ra, rb)] = std::min(ra, rb);
  }
  result.group_of.resize(result.wedges.size());
  for (std::uint32_t i = 0; i < result.wedges.size(); ++i) {
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
  AttributeLayout const& layout = records.layout;
  bool const shares = layout.has_uvs && layout.has_normals && merge.groups.size() > 1;
  for (Shared& shared : shared_) {
    bool const of_uvs = &shared == &shared_[0];
    shared.begin = of_uvs ? records.layout.uv_offset : records.layout.normal_offset;
    shared.end = shared.begin + (of_uvs ? 2U : 3U);
    std::vector<std::uint32_t>& with = shared.with;
    with.resize(merge.groups.size());
    std::iota(with.begin(), with.end(), 0U);
    if (!shares) continue;
    auto const root = [&with](std::uint32_t g) {
      while (with[g] != g) g = with[g];
      return g;
    };
    for (std::size_t i = 1; i < merge.wedges.size(); ++i) {
      float const* const mine = values_of(records, merge.wedges[i]);
      for (std::size_t k = i < wedges_of_a_ ? 0 : wedges_of_a_; k < i; ++k) {
        float const* const other = values_of(records, merge.wedges[k]);
        if (!std::equal(mine + shared.begin, mine + shared.end, other + shared.begin)) continue;
        std::uint32_t const ri = root(merge.group_of[i]);
        std::uint32_t const rk = root(merge.group_of[k]);
        with[std::max(ri, rk)] = std::min(ri, rk);
      }
    }
    for (std::uint32_t& g : with) g = with[g];  // a root stands before all that shares with it
  }
}

void WedgeAttributes::copy_values(Shared const& shared, std::size_t from, std::size_t to, WedgeMerge& result) {
  AttributeValues const& values = result.groups[from].values;
  std::copy(values.begin() + shared.begin, values.begin() + shared.end,
            result.groups[to].values.begin() + shared.begin);
}

// Groups without a wedge of the end that stays, whose wedges are those of places `begin` to `end`, take the value of
// the first one with such a wedge that they share it with.
void WedgeAttributes::copy_shared(std::size_t begin, std::size_t end, WedgeMerge& result) {
  for (Shared const& shared : shared_) {
    source_.assign(result.groups.size(), kNone);
    for (std::size_t w = begin; w < end; ++w) {
      std::uint32_t& source = source_[shared.with[result.group_of[w]]];
      source = std::min(source, result.group_of[w]);
    }
    for (std::size_t w = 0; w < result.wedges.size(); ++w) {
      if (w >= begin && w < end) continue;
      std::uint32_t const group = result.group_of[w];
      std::uint32_t const source = source_[shared.with[group]];
      bool const has_kept = std::find(result.group_of.begin() + static_cast<std::ptrdiff_t>(begin),
                                      result.group_of.begin() + static_cast<std::ptrdiff_t>(end),
                                      group) != result.group_of.begin() + static_cast<std::ptrdiff_t>(end);
      if (source != kNone && !has_kept) copy_values(shared, source, group, result);
    }
  }
}

void WedgeAttributes::gather(Records const& records, Stars const& stars, std::span<AttributeSums const> vertex_sums,
                             std::uint32_t mesh, std::uint32_t a, std::uint32_t b, WedgeMerge& result) {
  result.wedges.clear();
  result.groups.clear();
  link_.clear();
  sums_.clear();
  ranges_.clear();
  edge_ = stars.vertex(b).position() - stars.vertex(a).position();
  add_star(records, stars, vertex_sums, mesh, a, result);
  wedges_of_a_ = result.wedges.size();
  add_star(records, stars, vertex_sums, mesh, b, result);
  link_across(stars, a, b, result);
  find_shared(records, result);
  sum_channels(records, result);
}

void WedgeAttributes::sum_channels(Records const& records, WedgeMerge const& merge) {
  channels_.resize(merge.groups.size());
  for (std::array<Channel, 2>& group : channels_) {
    group[0] = {};
    group[0].begin = 0;
    group[0].end = records.layout.has_uvs ? 2 : 0;
    group[1] = {};
    group[1].begin = 2;
    group[1].end = records.layout.has_normals ? kMaxAttributes : 2;
    for (Channel& channel : group) channel.weight = -1;  // none of its wedges has been met
  }
  for (std::size_t i = 0; i < merge.wedges.size(); ++i) {
    AttributeSums const& sums = sums_[i];
    Vec3 const origin = i < wedges_of_a_ ? Vec3{} : edge_;
    for (std::size_t c = 0; c < 2; ++c) {
      Channel& channel = channels_[shared_[c].with[merge.group_of[i]]][c];
      if (channel.weight < 0) {
        channel.weight = 0;
        std::copy_n(sums.values(), kMaxAttributes, channel.values.begin());
        channel.range = ranges_[i];
      }
      float const weight = sums.weight(channel.begin);
      channel.weight += weight;
      for (std::uint32_t k = channel.begin; k < channel.end; ++k) {
        Vec3 const linear = linear_of(sums, k);
        channel.linear[k] = channel.linear[k] + linear;
        channel.constant[k] += weight * (sums.values()[k] - channel.values[k]) - dot(linear, origin);
      }
      channel.range.add(ranges_[i]);
    }
  }
}

AttributeForm WedgeAttributes::form(WedgeMerge const& result) const {
  AttributeForm form;
  Vec3 right;
  for (std::size_t i = 0; i < result.wedges.size(); ++i) {
    AttributeSums const& sums = sums_[i];
    for (std::size_t m = 0; m < 6; ++m) form.matrix[m] += sums.quadratic()[m];
    if (i >= wedges_of_a_) right = right + product(sums.quadratic(), edge_);
    for (std::size_t c = 0; c < 2; ++c) {
      Channel const& channel = channels_[shared_[c].with[result.group_of[i]]][c];
      for (std::uint32_t k = channel.begin; k < channel.end; ++k) {
        right = right - linear_of(sums, k) * (sums.values()[k] - channel.values[k]);
      }
    }
  }
  for (std::size_t g = 0; g < channels_.size(); ++g) {
    for (std::size_t c = 0; c < 2; ++c) {
      Channel const& channel = channels_[g][c];
      if (shared_[c].with[g] != g || !(channel.weight > 0)) continue;
      float const inverse = 1 / channel.weight;
      for (std::uint32_t k = channel.begin; k < channel.end; ++k) {
        Vec3 const l = channel.linear[k];
        form.matrix[0] -= l.x * l.x * inverse;
        form.matrix[1] -= l.x * l.y * inverse;
        form.matrix[2] -= l.x * l.z * inverse;
        form.matrix[3] -= l.y * l.y * inverse;
        form.matrix[4] -= l.y * l.z * inverse;
        form.matrix[5] -= l.z * l.z * inverse;
        right = right + l * (channel.constant[k] * inverse);
      }
    }
  }
  form.right[0] = right.x;
  form.right[1] = right.y;
  form.right[2] = right.z;
  return form;
}

// Where the UVs of a group at a seam may go: hardly beyond those that it has at the ends of the edge. Beyond the
// outline of its chart the texture shows something else.
WedgeAttributes::UvBox WedgeAttributes::box_on_outline(Records const& records, WedgeMerge const& result,
                                                       std::size_t group) const {
  constexpr float kMargin = 0.125F;
  UvBox box;
  box.low.fill(std::numeric_limits<float>::infinity());
  box.high.fill(-std::numeric_limits<float>::infinity());
  for (std::size_t w = 0; w < result.wedges.size(); ++w) {
    if (shared_[0].with[result.group_of[w]] != group) continue;
    float const* const uv = values_of(records, result.wedges[w]) + records.layout.uv_offset;
    for (std::size_t k = 0; k < 2; ++k) {
      box.low[k] = std::min(box.low[k], uv[k]);
      box.high[k] = std::max(box.high[k], uv[k]);
    }
  }
  float const margin = kMargin * std::max(box.high[0] - box.low[0], box.high[1] - box.low[1]);
  for (std::size_t k = 0; k < 2; ++k) {
    box.low[k] -= margin;
    box.high[k] += margin;
  }
  return box;
}

void WedgeAttributes::merge(Records const& records, Stars const& stars, std::uint32_t mesh, std::uint32_t a,
                            std::uint32_t b, Vec3 place, bool check_uv_area, WedgeMerge& result) {
  AttributeLayout const& layout = records.layout;
  std::uint32_t const stride = layout.stride;
  result.cost = 0;
  result.turns_uv_over = false;
  for (WedgeMerge::Group& group : result.groups) group.alive = false;
  MeshWeights const weights = weights_[mesh];
  Vec3 const offset = place - stars.vertex(a).position();

  for (std::size_t g = 0; g < result.groups.size(); ++g) {
    for (std::size_t c = 0; c < 2; ++c) {
      std::size_t const root = shared_[c].with[g];
      Channel const& channel = channels_[root][c];
      if (channel.begin == channel.end) continue;
      if (root != g) {
        copy_values(shared_[c], root, g, result);
        continue;
      }
      float const scale = c == 0 ? weights.uv_root : weights.normal_root;
      std::uint32_t const target = c == 0 ? layout.uv_offset : layout.normal_offset;
      bool const on_outline = c == 0 && result.groups.size() > 1;
      UvBox const outline = on_outline ? box_on_outline(records, result, g) : UvBox{};
      for (std::uint32_t k = channel.begin; k < channel.end; ++k) {
        std::uint32_t const i = target + k - channel.begin;
        float& value = result.groups[g].values[i];
        if (channel.weight > 0 && scale > 0) {
          // Kept between the values around it: beyond them it would be no value of the mesh.
          float const best =
              channel.values[k] + (dot(channel.linear[k], offset) + channel.constant[k]) / channel.weight;
          value = std::min(std::max(channel.range.low[k], best), channel.range.high[k]) / scale;
          if (on_outline) value = std::min(std::max(outline.low[k], value), outline.high[k]);
          continue;
        }
        // Its faces tell nothing: the mean of its wedges, step by step, as their sum may be no number.
        float mean = 0;
        float count = 0;
        for (std::size_t w = 0; w < result.wedges.size(); ++w) {
          if (shared_[c].with[result.group_of[w]] != g) continue;
          float const own = values_of(records, result.wedges[w])[i];
          ++count;
          mean += own / count - mean / count;
        }
        value = mean;
      }
    }
  }
  // A vertex that stays where it is keeps its values to the bit.
  std::uint32_t const kept = place == stars.vertex(a).position() ? a : place == stars.vertex(b).position() ? b : kNone;
  if (kept != kNone) {
    for (StarEntry const& entry : stars.star(kept)) {
      std::uint32_t const own = wedge(entry.face(), entry.corner());
      std::copy_n(values_of(records, own), stride, result.groups[result.group_of_wedge(own)].values.begin());
    }
    if (layout.has_uvs && layout.has_normals && result.groups.size() > 1) {
      copy_shared(kept == a ? 0 : wedges_of_a_, kept == a ? wedges_of_a_ : result.wedges.size(), result);
    }
  }

  for (std::size_t i = 0; i < result.wedges.size(); ++i) {
    AttributeSums const& sums = sums_[i];
    AttributeValues const& values = result.groups[result.group_of[i]].values;
    Vec3 const p = i < wedges_of_a_ ? offset : offset - edge_;
    float cost = dot(p, product(sums.quadratic(), p));
    auto const add_cost = [&](std::uint32_t k, float value) {
      float const d = value - sums.values()[k];
      cost += d * (sums.weight(k) * d - 2 * dot(linear_of(sums, k), p));
    };
    if (layout.has_uvs) {
      for (std::uint32_t k = 0; k < 2; ++k) add_cost(k, weights.uv_root * values[layout.uv_offset + k]);
    }
    if (layout.has_normals) {
      for (std::uint32_t k = 0; k < 3; ++k) add_cost(2 + k, weights.normal_root * values[layout.normal_offset + k]);
    }
    result.cost += std::max(0.0F, cost);
  }

  if (layout.has_normals) {
    for (std::size_t g = 0; g < result.groups.size(); ++g) {
      float* const n = result.groups[g].values.data() + layout.normal_offset;
      if (normalise(n)) continue;
      // Normals that cancel leave no direction: the first wedge's stands.
      std::size_t const owner = shared_[1].with[g];
      std::size_t first = 0;
      while (result.group_of[first] != owner) ++first;
      std::copy_n(values_of(records, result.wedges[first]) + layout.normal_offset, 3, n);
    }
  }

  mark_alive(records, stars, a, b, check_uv_area && layout.has_uvs, result);
  mark_alive(records, stars, b, a, check_uv_area && layout.has_uvs, result);
}

bool WedgeAttributes::turns_uv_over(Records const& records, std::span<StarEntry const> faces, float const* uv) const {
  std::uint32_t const offset = records.layout.uv_offset;
  for (StarEntry const& entry : faces) {
    float const* const own = values_of(records, wedge(entry.face(), entry.corner())) + offset;
    float const* const next = values_of(records, wedge(entry.face(), (entry.corner() + 1) % 3)) + offset;
    float const* const previous = values_of(records, wedge(entry.face(), (entry.corner() + 2) % 3)) + offset;
    if (sign(uv_area(own, next, previous)) != sign(uv_area(uv, next, previous))) return true;
  }
  return false;
}

// Groups that faces which stay use; and whether one of these faces turns over in UV space.
void WedgeAttributes::mark_alive(Records const& records, Stars const& stars, std::uint32_t from, std::uint32_t to,
                                 bool check_uv_area, WedgeMerge& result) {
  std::uint32_t const uv = records.layout.uv_offset;
  for (StarEntry const& entry : stars.star(from)) {
    if (entry.next == to || entry.previous == to) continue;
    std::uint32_t const own = wedge(entry.face(), entry.corner());
    WedgeMerge::Group& group = result.groups[result.group_of_wedge(own)];
    group.alive = true;
    if (!check_uv_area) continue;
    float const* const next = values_of(records, wedge(entry.face(), (entry.corner() + 1) % 3)) + uv;
    float const* const previous = values_of(records, wedge(entry.face(), (entry.corner() + 2) % 3)) + uv;
    int const before = sign(uv_area(values_of(records, own) + uv, next, previous));
    int const after = sign(uv_area(group.values.data() + uv, next, previous));
    result.turns_uv_over |= before != after;
  }
}

}  // namespace mirel::engine
