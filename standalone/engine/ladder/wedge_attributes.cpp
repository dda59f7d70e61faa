#include "standalone/engine/ladder/wedge_attributes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "standalone/engine/ladder/star_metric.h"

namespace mirel::engine {

namespace {

// A texture that slides by a length weighs a quarter of a surface that moves by it (squared), a normal that turns by
// one radian on a triangle as much as a move of a seventh of the triangle's size.
constexpr float kUvWeight = 0.25F;
constexpr float kNormalWeight = 0.02F;
// Faces are extrapolated over this many of their own edges at most: slivers say little about places beside them.
constexpr float kReach = 2;
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

AttributeValues WedgeAttributes::scaled_values(Records const& records, std::uint32_t mesh, std::uint32_t wedge) const {
  AttributeValues scaled{};
  float const* const values = values_of(records, wedge);
  if (records.layout.has_uvs) {
    for (std::uint32_t i = 0; i < 2; ++i) scaled[i] = weights_[mesh].uv_root * values[records.layout.uv_offset + i];
  }
  if (records.layout.has_normals) {
    for (std::uint32_t i = 0; i < 3; ++i)
      scaled[2 + i] = weights_[mesh].normal_root * values[records.layout.normal_offset + i];
  }
  return scaled;
}

// What every face around `from` says at `place`. Samples and ranges are kept per place in `result.wedges`.
void WedgeAttributes::add_star(Records const& records, Stars const& stars, std::uint32_t from, Vec3 place,
                               WedgeMerge& result) {
  std::uint32_t const stride = records.layout.stride;
  Vec3 const origin = stars.vertex(from).position();
  Vec3 const offset = place - origin;
  for (StarEntry const& entry : stars.star(from)) {
    std::uint32_t const face = entry.face();
    std::uint32_t const corner = entry.corner();
    float const* const v0 = values_of(records, wedge(face, corner));
    float const* const v1 = values_of(records, wedge(face, (corner + 1) % 3));
    float const* const v2 = values_of(records, wedge(face, (corner + 2) % 3));

    std::uint32_t const slot = slot_of(result, wedge(face, corner));
    if (slot == result.wedges.size()) {
      result.wedges.push_back(wedge(face, corner));
      link_.push_back(slot);
      Range range{};
      std::copy_n(v0, stride, range.low.begin());
      std::copy_n(v0, stride, range.high.begin());
      ranges_.push_back(range);
    }

    Vec3 const e1 = stars.vertex(entry.next).position() - origin;
    Vec3 const e2 = stars.vertex(entry.previous).position() - origin;
    float const g11 = dot(e1, e1);
    float const g12 = dot(e1, e2);
    float const g22 = dot(e2, e2);
    float const determinant = g11 * g22 - g12 * g12;
    float s = 0;
    float t = 0;
    if (determinant > 1e-12F * g11 * g22) {
      float const r1 = dot(e1, offset);
      float const r2 = dot(e2, offset);
      s = std::clamp((g22 * r1 - g12 * r2) / determinant, -kReach, kReach);
      t = std::clamp((g11 * r2 - g12 * r1) / determinant, -kReach, kReach);
    }
    Vec3 const n = cross(e1, e2);
    Sample sample{slot, face_weight(n) + 1e-12F, std::sqrt(squared_length(n)), {}};
    Range& range = ranges_[slot];
    for (std::uint32_t i = 0; i < stride; ++i) {
      sample.values[i] = v0[i] + s * (v1[i] - v0[i]) + t * (v2[i] - v0[i]);
      range.low[i] = std::min({range.low[i], v1[i], v2[i]});
      range.high[i] = std::max({range.high[i], v1[i], v2[i]});
    }
    samples_.push_back(sample);
  }
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
      result.groups.push_back({{}, 0, false});
      group_ranges_.push_back(ranges_[i]);
    } else {
      result.group_of[i] = result.group_of[root(i)];  // a root stands before all that is linked to it
      Range& range = group_ranges_[result.group_of[i]];
      for (std::size_t k = 0; k < kMaxAttributes; ++k) {
        range.low[k] = std::min(range.low[k], ranges_[i].low[k]);
        range.high[k] = std::max(range.high[k], ranges_[i].high[k]);
      }
    }
  }
}

// The mean of a group's values, from their sums. Kept between the values around it: a mean beyond them, or that of
// values too far apart to be computed with, would be no value of the mesh.
void WedgeAttributes::average(std::size_t group, float weight, std::uint32_t begin, std::uint32_t end,
                              WedgeMerge& result) const {
  AttributeValues& values = result.groups[group].values;
  Range const& range = group_ranges_[group];
  for (std::uint32_t i = begin; i < end; ++i) {
    values[i] = std::min(std::max(range.low[i], values[i] / weight), range.high[i]);
  }
}

// A seam of the texture need not be a crease of the shading, nor the other way around: finds for UVs and for normals
// which groups have one value, because two of their wedges had at either end.
void WedgeAttributes::find_shared(Records const& records, std::size_t wedges_of_a, WedgeMerge const& merge) {
  for (Shared& shared : shared_) {
    bool const of_uvs = &shared == &shared_[0];
    shared.begin = of_uvs ? records.layout.uv_offset : records.layout.normal_offset;
    shared.end = shared.begin + (of_uvs ? 2U : 3U);
    std::vector<std::uint32_t>& with = shared.with;
    with.resize(merge.groups.size());
    std::iota(with.begin(), with.end(), 0U);
    auto const root = [&with](std::uint32_t g) {
      while (with[g] != g) g = with[g];
      return g;
    };
    for (std::size_t i = 1; i < merge.wedges.size(); ++i) {
      float const* const mine = values_of(records, merge.wedges[i]);
      for (std::size_t k = i < wedges_of_a ? 0 : wedges_of_a; k < i; ++k) {
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

// Groups that share a value get the mean over all of them.
void WedgeAttributes::average_shared(WedgeMerge& result) {
  for (Shared const& shared : shared_) {
    shared_weights_.clear();
    for (WedgeMerge::Group const& group : result.groups) shared_weights_.push_back(group.weight);
    for (std::size_t g = 0; g < result.groups.size(); ++g) {
      std::uint32_t const root = shared.with[g];
      if (root == g) continue;
      shared_weights_[root] += shared_weights_[g];
      for (std::uint32_t i = shared.begin; i < shared.end; ++i) {
        result.groups[root].values[i] += result.groups[g].values[i];
        group_ranges_[root].low[i] = std::min(group_ranges_[root].low[i], group_ranges_[g].low[i]);
        group_ranges_[root].high[i] = std::max(group_ranges_[root].high[i], group_ranges_[g].high[i]);
      }
    }
    for (std::size_t g = 0; g < result.groups.size(); ++g) {
      if (shared.with[g] == g) {
        average(g, shared_weights_[g], shared.begin, shared.end, result);
      } else {
        copy_values(shared, shared.with[g], g, result);
      }
    }
  }
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

void WedgeAttributes::merge(Records const& records, Stars const& stars, std::uint32_t mesh, std::uint32_t a,
                            std::uint32_t b, Vec3 place, bool check_uv_area, WedgeMerge& result) {
  AttributeLayout const& layout = records.layout;
  std::uint32_t const stride = layout.stride;
  result.wedges.clear();
  result.groups.clear();
  result.cost = 0;
  result.turns_uv_over = false;
  link_.clear();
  samples_.clear();
  ranges_.clear();
  group_ranges_.clear();

  add_star(records, stars, a, place, result);
  std::size_t const wedges_of_a = result.wedges.size();
  add_star(records, stars, b, place, result);
  link_across(stars, a, b, result);

  for (Sample& sample : samples_) {
    sample.wedge = result.group_of[sample.wedge];
    WedgeMerge::Group& group = result.groups[sample.wedge];
    group.weight += sample.weight;
    for (std::uint32_t i = 0; i < stride; ++i) group.values[i] += sample.weight * sample.values[i];
  }
  bool const shares = layout.has_uvs && layout.has_normals && result.groups.size() > 1;
  if (shares) {
    find_shared(records, wedges_of_a, result);
    average_shared(result);
  } else {
    for (std::size_t g = 0; g < result.groups.size(); ++g) average(g, result.groups[g].weight, 0, stride, result);
  }
  // A vertex that stays where it is keeps its values to the bit.
  std::uint32_t const kept = place == stars.vertex(a).position() ? a : place == stars.vertex(b).position() ? b : kNone;
  if (kept != kNone) {
    for (StarEntry const& entry : stars.star(kept)) {
      std::uint32_t const own = wedge(entry.face(), entry.corner());
      std::copy_n(values_of(records, own), stride, result.groups[result.group_of_wedge(own)].values.begin());
    }
    if (shares) copy_shared(kept == a ? 0 : wedges_of_a, kept == a ? wedges_of_a : result.wedges.size(), result);
  }

  MeshWeights const weights = weights_[mesh];
  for (Sample const& sample : samples_) {
    AttributeValues const& values = result.groups[sample.wedge].values;
    float error = 0;
    if (layout.has_uvs && weights.uv > 0) {
      for (std::uint32_t i = 0; i < 2; ++i) {
        float const d = sample.values[layout.uv_offset + i] - values[layout.uv_offset + i];
        error += weights.uv * d * d;
      }
    }
    if (layout.has_normals) {
      for (std::uint32_t i = 0; i < 3; ++i) {
        float const d = sample.values[layout.normal_offset + i] - values[layout.normal_offset + i];
        error += weights.normal * sample.area * d * d;
      }
    }
    result.cost += sample.weight * error;
  }

  if (layout.has_normals) {
    for (std::size_t g = 0; g < result.groups.size(); ++g) {
      float* const n = result.groups[g].values.data() + layout.normal_offset;
      float const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
      if (!(length > 1e-6F)) {
        // Normals that cancel leave no direction: the first wedge's stands.
        std::size_t const owner = shares ? shared_[1].with[g] : g;
        std::size_t first = 0;
        while (result.group_of[first] != owner) ++first;
        std::copy_n(values_of(records, result.wedges[first]) + layout.normal_offset, 3, n);
      } else if (std::abs(length - 1) > 1e-6F) {
        for (int i = 0; i < 3; ++i) n[i] /= length;
      }
    }
  }

  mark_alive(records, stars, a, b, check_uv_area && layout.has_uvs, result);
  mark_alive(records, stars, b, a, check_uv_area && layout.has_uvs, result);
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
