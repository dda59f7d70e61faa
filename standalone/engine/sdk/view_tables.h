// What is told of a mesh only by going through all of it: tables over its view, each made at the first request.
//
// Whoever holds them drops them when the view changes. A request may throw std::bad_alloc, and then has made nothing
// that it asked for. What is handed out lives as long as the tables.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "standalone/engine/prepare/edge_flags.h"
#include "standalone/engine/prepare/point_join.h"
#include "standalone/engine/sdk/mesh_view.h"

namespace mirel::engine {

class ViewTables {
 public:
  // Per vertex the number of what it shares with others, of `count` in all.
  struct Remap {
    std::uint32_t count = 0;
    std::vector<std::uint32_t> entries;
  };
  // Of the finite positions: lowest x, y, z, then highest; zeros where there are none.
  struct Bounds {
    bool exist = false;
    std::array<float, 6> box{};
  };

  // set_count + 1 places in set_faces; empty where the view's step could not be read for want of memory.
  std::vector<std::uint32_t> const& set_begins(MeshView const& view);
  // face_count x 3, set by set.
  std::uint32_t const* set_faces(MeshView const& view);

  // face_count x 3 edges, each from a corner to the next: of kBoundaryFlag and kSharpFlag; of kMirelEdge... bits.
  std::vector<unsigned char> const& edge_flags(MeshView const& view);
  std::vector<unsigned char> const& edge_kinds(MeshView const& view);

  // By position (0: of step 0, 1: of this step), or each vertex by itself where attributes split mode 1. The view has
  // vertices.
  Remap const& vertex_remap(MeshView const& view, std::uint32_t mode, bool split);
  // The view has vertex normals, or vertex UVs.
  Remap const& normal_remap(MeshView const& view) { return value_remap(normal_remap_, view, view.vertex_normals, 3); }
  Remap const& uv_remap(MeshView const& view) { return value_remap(uv_remap_, view, view.vertex_uvs, 2); }

  // face_count x 3 corners x 2 or 3 numbers. A corner without UV has zeros; one without normal, its face's own.
  std::vector<float> const& corner_uvs(MeshView const& view);
  std::vector<float> const& corner_normals(MeshView const& view);

  Bounds const& bounds(MeshView const& view);

 private:
  void group_faces(MeshView const& view);
  static Remap const& value_remap(Remap& remap, MeshView const& view, float const* values, std::uint32_t dimension);

  std::vector<std::uint32_t> set_begins_;  // these two only where the view is not grouped
  std::vector<std::uint32_t> set_faces_;
  std::vector<unsigned char> edge_flags_;
  std::vector<unsigned char> edge_kinds_;
  std::array<Remap, 4> vertex_remap_;  // by 2 x mode + split
  Remap normal_remap_;
  Remap uv_remap_;
  std::vector<float> corner_uvs_;
  std::vector<float> corner_normals_;
  std::optional<Bounds> bounds_;
};

}  // namespace mirel::engine
