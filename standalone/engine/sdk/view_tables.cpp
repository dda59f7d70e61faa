#include "standalone/engine/sdk/view_tables.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "standalone/engine/mirel_engine.h"
#include "standalone/engine/prepare/wedges.h"

namespace mirel::engine {
namespace {

std::vector<std::uint32_t> each_by_itself(std::size_t count) {
  std::vector<std::uint32_t> entries(count);
  std::iota(entries.begin(), entries.end(), 0U);
  return entries;
}

// `exact` keeps the positions where the mesh has no joined ones.
EdgeFlagInput edge_flag_input(MeshView const& view, PointJoin& exact) {
  EdgeFlagInput input;
  input.vertices = {view.vertices, std::size_t{view.vertex_count} * 3};
  input.faces = {view.faces, std::size_t{view.face_count} * 3};
  if (view.wedges != nullptr) {
    input.position_of = view.wedges->position_of;
    input.position_count = view.wedges->position_count;
  } else {
    exact = join_equal_points(input.vertices, 3);
    input.position_of = exact.group_of;
    input.position_count = static_cast<std::uint32_t>(exact.kept.size());
  }
  return input;
}

}  // namespace

void ViewTables::group_faces(MeshView const& view) {
  BuildMesh const& mesh = *view.build;
  std::vector<std::uint32_t> begins(std::size_t{view.set_count} + 2);
  for (std::size_t f = 0; f < mesh.face_count(); ++f) {
    ++begins[mesh.set_of(f) + std::size_t{2}];
  }
  for (std::size_t s = 2; s < begins.size(); ++s) {
    begins[s] += begins[s - 1];
  }
  std::vector<std::uint32_t> faces(mesh.faces.size());
  for (std::size_t f = 0; f < mesh.face_count(); ++f) {
    std::copy_n(&mesh.faces[f * 3], 3, &faces[std::size_t{begins[mesh.set_of(f) + std::size_t{1}]++} * 3]);
  }
  begins.pop_back();
  set_begins_ = std::move(begins);
  set_faces_ = std::move(faces);
}

std::vector<std::uint32_t> const& ViewTables::set_begins(MeshView const& view) {
  if (view.grouped) {
    return view.wedges->set_begin;
  }
  if (set_begins_.empty()) {
    group_faces(view);
  }
  return set_begins_;
}

std::uint32_t const* ViewTables::set_faces(MeshView const& view) {
  if (view.grouped) {
    return view.faces;
  }
  if (set_begins_.empty()) {
    group_faces(view);
  }
  return set_faces_.data();
}

std::vector<unsigned char> const& ViewTables::edge_flags(MeshView const& view) {
  if (edge_flags_.empty()) {
    PointJoin exact;
    EdgeFlagInput const input = edge_flag_input(view, exact);
    if (!view.has_normals()) {
      edge_flags_ = edge_flags_by_angle(input);
    } else if (view.build == nullptr || view.build->face_normals.empty()) {
      edge_flags_ = edge_flags_by_normals(input, view.vertex_normals, input.faces);
    } else {
      edge_flags_ =
          edge_flags_by_normals(input, corner_normals(view).data(), each_by_itself(std::size_t{view.face_count} * 3));
    }
  }
  return edge_flags_;
}

std::vector<unsigned char> const& ViewTables::edge_kinds(MeshView const& view) {
  if (edge_kinds_.empty()) {
    std::vector<unsigned char> const& flags = edge_flags(view);
    std::vector<unsigned char> kinds(flags.size());
    std::vector<unsigned char> seams(flags.size());
    if (view.has_uvs()) {
      std::vector<float> const& uvs = corner_uvs(view);
      PointJoin exact;
      seams = uv_seams(edge_flag_input(view, exact), uvs.data());
    }
    for (std::size_t edge = 0; edge < kinds.size(); ++edge) {
      bool const boundary = (flags[edge] & kBoundaryFlag) != 0;
      bool const sharp = (flags[edge] & kSharpFlag) != 0;
      kinds[edge] = static_cast<unsigned char>((boundary ? kMirelEdgeBoundary : 0) | (sharp ? kMirelEdgeSharp : 0) |
                                               (seams[edge] != 0 ? kMirelEdgeUvSeam : 0));
    }
    edge_kinds_ = std::move(kinds);
  }
  return edge_kinds_;
}

ViewTables::Remap const& ViewTables::vertex_remap(MeshView const& view, std::uint32_t mode, bool split) {
  Remap& remap = vertex_remap_[mode * 2 + (split ? 1 : 0)];
  if (!remap.entries.empty()) {
    return remap;
  }
  WedgeMesh const* const wedges = view.wedges;
  if (wedges != nullptr && mode == 1 && !split) {
    remap.entries = wedges->position_of;
    remap.count = wedges->position_count;
  } else if (wedges != nullptr && mode == 0) {
    std::vector<std::uint32_t> entries = wedges->position_of;
    if (!wedges->lowest_position.empty()) {
      for (std::uint32_t& entry : entries) {
        entry = wedges->lowest_position[entry];
      }
    }
    remap.entries = std::move(entries);
    remap.count = view.first_position_count;
  } else {
    remap.entries = each_by_itself(view.vertex_count);
    remap.count = view.vertex_count;
  }
  return remap;
}

ViewTables::Remap const& ViewTables::value_remap(Remap& remap, MeshView const& view, float const* values,
                                                 std::uint32_t dimension) {
  if (!remap.entries.empty()) {
    return remap;
  }
  if (view.build != nullptr) {
    remap.entries = each_by_itself(view.vertex_count);
    remap.count = view.vertex_count;
  } else {
    PointJoin join = join_equal_points({values, std::size_t{view.vertex_count} * dimension}, dimension);
    remap.count = static_cast<std::uint32_t>(join.kept.size());
    remap.entries = std::move(join.group_of);
  }
  return remap;
}

std::vector<float> const& ViewTables::corner_uvs(MeshView const& view) {
  if (corner_uvs_.empty()) {
    std::vector<float> values(std::size_t{view.face_count} * 6);
    for (std::size_t c = 0; c < values.size() / 2; ++c) {
      if (float const* uv = view.corner_uv(c)) {
        std::copy_n(uv, 2, &values[c * 2]);
      }
    }
    corner_uvs_ = std::move(values);
  }
  return corner_uvs_;
}

std::vector<float> const& ViewTables::corner_normals(MeshView const& view) {
  if (corner_normals_.empty()) {
    std::vector<float> values(std::size_t{view.face_count} * 9);
    for (std::size_t c = 0; c < values.size() / 3; ++c) {
      if (float const* normal = view.corner_normal(c)) {
        std::copy_n(normal, 3, &values[c * 3]);
      } else {
        auto const own = unit_normal(view.vertices, view.faces + c / 3 * 3);
        std::copy_n(own.begin(), 3, &values[c * 3]);
      }
    }
    corner_normals_ = std::move(values);
  }
  return corner_normals_;
}

ViewTables::Bounds const& ViewTables::bounds(MeshView const& view) {
  if (!bounds_) {
    Bounds bounds;
    auto& box = bounds.box;
    for (std::size_t i = 0; i < view.vertex_count; ++i) {
      float const* p = view.vertices + i * 3;
      if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
        continue;
      }
      for (std::size_t k = 0; k < 3; ++k) {
        box[k] = bounds.exist ? std::min(box[k], p[k]) : p[k];
        box[k + 3] = bounds.exist ? std::max(box[k + 3], p[k]) : p[k];
      }
      bounds.exist = true;
    }
    bounds_ = bounds;
  }
  return *bounds_;
}

}  // namespace mirel::engine
