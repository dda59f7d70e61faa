// Loops and geometry inputs of the C API.
#include <limits>
#include <stdexcept>

#include "standalone/model/geometry_input.h"
#include "standalone/model/references.h"

using namespace mirel::model;

namespace {

SUResult set_loop_flag(SULoopInputRef loop_input, std::size_t edge, std::uint8_t flag, bool on) {
  LoopInput* const loop = resolve<LoopInput>(loop_input.ptr);
  if (loop == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (edge >= loop->count) {
    return SU_ERROR_OUT_OF_RANGE;
  }
  std::uint8_t& flags = loop->flags(static_cast<std::uint32_t>(edge));
  flags = static_cast<std::uint8_t>(on ? flags | flag : flags & ~flag);
  return SU_ERROR_NONE;
}

SUResult append_face(GeometryInput& input, LoopInput& loop) {
  if (loop.count < 3) {
    return SU_ERROR_INVALID_INPUT;
  }
  for (std::uint32_t place = 0; place < loop.count; ++place) {
    if (loop.vertex(place) >= input.points.size()) {
      return SU_ERROR_OUT_OF_RANGE;
    }
  }
  if (input.vertices.size() + loop.count >= kNoIndex) {
    throw std::length_error("too many corners");
  }
  for (std::uint32_t place = 0; place < loop.count; ++place) {
    input.vertices.push_back(loop.vertex(place));
    input.flags.push_back(loop.flags(place));
  }
  input.face_ends.push_back(static_cast<std::uint32_t>(input.vertices.size()));
  return SU_ERROR_NONE;
}

bool is_same_as_last(GeometryInput const& input, Material const& material, SUMaterialInput const& side) {
  if (input.materials.empty()) {
    return false;
  }
  SideMaterial const& last = input.materials[input.materials.size() - 1];
  if (last.material != &material || last.uv_count != side.num_uv_coords) {
    return false;
  }
  for (std::uint32_t place = 0; place < last.uv_count; ++place) {
    GivenUV const& given = input.given(last, place);
    if (given.vertex != side.vertex_indices[place] || given.uv.x != side.uv_coords[place].x ||
        given.uv.y != side.uv_coords[place].y) {
      return false;
    }
  }
  return true;
}

void add_side(GeometryInput& input, Material& material, SUMaterialInput const& side) {
  if (input.uvs.size() + side.num_uv_coords >= kNoIndex || input.materials.size() + 1 >= kNoIndex) {
    throw std::length_error("too many materials");
  }
  auto const first = static_cast<std::uint32_t>(input.uvs.size());
  for (std::size_t place = 0; place < side.num_uv_coords; ++place) {
    input.uvs.push_back({static_cast<std::uint32_t>(side.vertex_indices[place]), side.uv_coords[place]});
  }
  input.materials.push_back({&material, first, static_cast<std::uint32_t>(side.num_uv_coords)});
}

SUResult set_side(SUGeometryInputRef geom_input, std::size_t face, SUMaterialInput const* material_input,
                  bool is_front) {
  return answer([&] {
    GeometryInput* const input = resolve<GeometryInput>(geom_input.ptr);
    if (input == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (material_input == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    Material* const material = resolve<Material>(material_input->material.ptr);
    if (material == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    std::size_t const uv_count = material_input->num_uv_coords;
    if (face >= input->face_count() || uv_count > 4) {
      return SU_ERROR_OUT_OF_RANGE;
    }
    for (std::size_t place = 0; place < uv_count; ++place) {
      if (material_input->vertex_indices[place] >= input->points.size()) {
        return SU_ERROR_OUT_OF_RANGE;
      }
    }
    std::vector<std::uint32_t>& table = is_front ? input->front : input->back;
    if (table.size() <= face) {
      table.resize(input->face_count(), kNoIndex);
    }
    // The two sides of a face are often set alike, one after the other.
    if (!is_same_as_last(*input, *material, *material_input)) {
      add_side(*input, *material, *material_input);
    }
    table[face] = static_cast<std::uint32_t>(input->materials.size() - 1);
    return SU_ERROR_NONE;
  });
}

}  // namespace

SUResult SULoopInputCreate(SULoopInputRef* loop_input) {
  return create(loop_inputs(), loop_input);
}

SUResult SULoopInputAddVertexIndex(SULoopInputRef loop_input, size_t vertex_index) {
  return answer([&] {
    LoopInput* const loop = resolve<LoopInput>(loop_input.ptr);
    if (loop == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (vertex_index >= kNoIndex) {
      return SU_ERROR_OUT_OF_RANGE;
    }
    loop->add(static_cast<std::uint32_t>(vertex_index));
    return SU_ERROR_NONE;
  });
}

SUResult SULoopInputEdgeSetSoft(SULoopInputRef loop_input, size_t edge_index, bool soft) {
  return set_loop_flag(loop_input, edge_index, kSoftFlag, soft);
}

SUResult SULoopInputEdgeSetSmooth(SULoopInputRef loop_input, size_t edge_index, bool smooth) {
  return set_loop_flag(loop_input, edge_index, kSmoothFlag, smooth);
}

SUResult SUGeometryInputCreate(SUGeometryInputRef* geom_input) {
  return create(geometry_inputs(), geom_input);
}

SUResult SUGeometryInputRelease(SUGeometryInputRef* geom_input) {
  if (geom_input == nullptr) {
    return SU_ERROR_NULL_POINTER_INPUT;
  }
  GeometryInput* const input = resolve<GeometryInput>(geom_input->ptr);
  if (input == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  geometry_inputs().release(input);
  geom_input->ptr = nullptr;
  return SU_ERROR_NONE;
}

SUResult SUGeometryInputSetVertices(SUGeometryInputRef geom_input, size_t num_vertices, const SUPoint3D points[]) {
  return answer([&] {
    GeometryInput* const input = resolve<GeometryInput>(geom_input.ptr);
    if (input == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (points == nullptr && num_vertices != 0) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    if (num_vertices >= kNoIndex) {
      return SU_ERROR_OUT_OF_RANGE;
    }
    // Faces that are there already name vertices of the old ones.
    for (std::uint32_t const vertex : input->vertices) {
      if (vertex >= num_vertices) {
        return SU_ERROR_OUT_OF_RANGE;
      }
    }
    for (std::size_t number = 0; number < input->uvs.size(); ++number) {
      if (input->uvs[number].vertex >= num_vertices) {
        return SU_ERROR_OUT_OF_RANGE;
      }
    }
    input->points.assign(points, points + num_vertices);
    return SU_ERROR_NONE;
  });
}

SUResult SUGeometryInputAddFace(SUGeometryInputRef geom_input, SULoopInputRef* outer_loop, size_t* added_face_index) {
  return answer([&] {
    GeometryInput* const input = resolve<GeometryInput>(geom_input.ptr);
    if (input == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (outer_loop == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    LoopInput* const loop = resolve<LoopInput>(outer_loop->ptr);
    if (loop == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (SUResult const wrong = append_face(*input, *loop); wrong != SU_ERROR_NONE) {
      return wrong;
    }
    loop_inputs().release(loop);
    outer_loop->ptr = nullptr;
    if (added_face_index != nullptr) {
      *added_face_index = input->face_count() - 1;
    }
    return SU_ERROR_NONE;
  });
}

SUResult SUGeometryInputFaceSetFrontMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                             const SUMaterialInput* material_input) {
  return set_side(geom_input, face_index, material_input, true);
}

SUResult SUGeometryInputFaceSetBackMaterial(SUGeometryInputRef geom_input, size_t face_index,
                                            const SUMaterialInput* material_input) {
  return set_side(geom_input, face_index, material_input, false);
}
