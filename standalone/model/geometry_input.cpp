#include "standalone/model/geometry_input.h"

#include <algorithm>

namespace mirel::model {

void LoopInput::add(std::uint32_t vertex) {
  if (count < kInlineCount) {
    inline_vertices[count] = vertex;
  } else {
    if (!more) {
      more = std::make_unique<More>();
    }
    more->vertices.push_back(vertex);
    more->flags.push_back(0);
  }
  ++count;
}

bool SideMaterial::operator==(SideMaterial const& other) const {
  if (material != other.material || uv_count != other.uv_count) {
    return false;
  }
  for (std::uint32_t place = 0; place < uv_count; ++place) {
    if (vertices[place] != other.vertices[place] || uvs[place].x != other.uvs[place].x ||
        uvs[place].y != other.uvs[place].y) {
      return false;
    }
  }
  return true;
}

ObjectStore<LoopInput>& loop_inputs() {
  static ObjectStore<LoopInput>* const all = new ObjectStore<LoopInput>;
  return *all;
}

ObjectStore<GeometryInput>& geometry_inputs() {
  static ObjectStore<GeometryInput>* const all = new ObjectStore<GeometryInput>;
  return *all;
}

}  // namespace mirel::model
