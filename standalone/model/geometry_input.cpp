#include "standalone/model/geometry_input.h"

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

ObjectStore<LoopInput>& loop_inputs() {
  static ObjectStore<LoopInput>* const all = new ObjectStore<LoopInput>;
  return *all;
}

ObjectStore<GeometryInput>& geometry_inputs() {
  static ObjectStore<GeometryInput>* const all = new ObjectStore<GeometryInput>;
  return *all;
}

}  // namespace mirel::model
