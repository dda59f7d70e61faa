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

}  // namespace

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
  records.attributes.reserve(records.parent.capacity() * layout.stride);
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
  if (is_seam_wedge(wedge_a) && is_seam_wedge(wedge_b)) {
    return (kinds_alike(seam_wedge(wedge_a).row, seam_wedge(wedge_b).row) & kUvs) == 0;
  }
  return (kinds_alike(values(records, wedge_a), values(records, wedge_b)) & kUvs) == 0;
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

void WedgeAttributes::start_seam_wedges(std::size_t count, std::size_t nodes) {
  seam_wedges_.reserve(count + 1);
  free_places_.reserve(count);
  seam_places_.reserve(nodes);
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
  // The lanes of UVs, of normals and of both, in the first and in the second half of a row.
  constexpr LaneMask kLanes[4][2] = {
      {}, {{-1, -1, 0, 0}, {}}, {{0, 0, -1, -1}, {-1, -1, -1, -1}}, {{-1, -1, -1, -1}, {-1, -1, -1, -1}}};
  auto const take_over = [&](float const* from, float* to, float factor) {
    for (std::size_t part = 0; part < 2; ++part) {
      Lanes mean, old;
      std::memcpy(&mean, from + 4 * part, sizeof(mean));
      std::memcpy(&old, to + 4 * part, sizeof(old));
      old = select(kLanes[kinds][part], mean * splat(factor), old);
      std::memcpy(to + 4 * part, &old, sizeof(old));
    }
  };
  for (std::size_t axis = 0; axis < 3; ++axis) take_over(means.along[axis], gradients.along[axis], 1);
  take_over(means.weights, gradients.weights, share);
}

}  // namespace mirel::engine
