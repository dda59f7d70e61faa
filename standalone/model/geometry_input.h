// Geometry as it is gathered before it is poured into entities.
#pragma once

#include <SketchUpAPI/sketchup.h>

#include <memory>
#include <vector>

#include "standalone/model/scene.h"

namespace mirel::model {

inline constexpr std::uint8_t kSoftFlag = 1;
inline constexpr std::uint8_t kSmoothFlag = 2;

// A loop of vertices; triangles and quads, which are nearly all, need no memory of their own.
struct LoopInput : Object {
  static constexpr Kind kKind = Kind::kLoopInput;
  static constexpr std::uint32_t kInlineCount = 4;
  struct More {
    std::vector<std::uint32_t> vertices;
    std::vector<std::uint8_t> flags;
  };
  std::uint32_t count = 0;
  std::uint32_t inline_vertices[kInlineCount] = {};
  std::uint8_t inline_flags[kInlineCount] = {};
  std::unique_ptr<More> more;  // of the vertices beyond the inline ones

  void add(std::uint32_t vertex);
  std::uint32_t vertex(std::uint32_t place) const {
    return place < kInlineCount ? inline_vertices[place] : more->vertices[place - kInlineCount];
  }
  std::uint8_t& flags(std::uint32_t place) {
    return place < kInlineCount ? inline_flags[place] : more->flags[place - kInlineCount];
  }
};

// A UV at one of the input's vertices.
struct GivenUV {
  std::uint32_t vertex;
  SUPoint2D uv;
};

// One side of one face, with its UVs in GeometryInput::uvs.
struct SideMaterial {
  Material* material = nullptr;
  std::uint32_t first_uv = 0;
  std::uint32_t uv_count = 0;
};

struct GeometryInput : Object {
  static constexpr Kind kKind = Kind::kGeometryInput;
  std::vector<SUPoint3D> points;
  std::vector<std::uint32_t> face_ends;  // per face, where its corners end in `vertices`
  std::vector<std::uint32_t> vertices;
  std::vector<std::uint8_t> flags;  // of the edge from that corner to the next
  StableArray<SideMaterial> materials;
  StableArray<GivenUV> uvs;
  std::vector<std::uint32_t> front;  // per face, its entry in `materials`; kNoIndex, or beyond the end, for none
  std::vector<std::uint32_t> back;

  std::size_t face_count() const { return face_ends.size(); }
  std::uint32_t first_corner(std::size_t face) const { return face == 0 ? 0 : face_ends[face - 1]; }
  GivenUV const& given(SideMaterial const& side, std::uint32_t number) const { return uvs[side.first_uv + number]; }
};

ObjectStore<LoopInput>& loop_inputs();
ObjectStore<GeometryInput>& geometry_inputs();

}  // namespace mirel::model
