// What the ladder remembers of its collapses, laid out so that any step can be read without the ones before it.
//
// A node is one wedge in the form it has between two steps: the leaves are the wedges of step 0, and every collapse
// makes new nodes, numbered on, for the wedges of the merged vertex. So the nodes that exist at a step are those
// below a number, and the wedge that a face's corner shows at that step is the last node on its way up the parents
// that lies below it (a vertex hierarchy: Hoppe 1997, Luebke and Erikson 1997).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/ladder/ladder.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {

// The attributes of a node: UV, then normal, each where any mesh of the ladder has it.
struct AttributeLayout {
  std::uint32_t uv_offset = 0;
  std::uint32_t normal_offset = 0;
  std::uint32_t stride = 0;
  bool has_uvs = false;
  bool has_normals = false;
};

// A node beyond the leaves.
struct CreatedNode {
  std::array<float, 3> position;  // model units
  std::uint32_t lowest;           // lowest step-0 position of its mesh in it
};

struct Records {
  std::vector<WedgeMesh const*> meshes;
  std::vector<std::uint32_t> face_base;   // mesh_count + 1
  std::vector<std::uint32_t> wedge_base;  // mesh_count + 1; the last is the number of leaves

  // Whether corners carry more than a position. Without it nodes and positions are the same.
  bool attributed = false;
  AttributeLayout layout;

  std::vector<std::uint32_t> parent;  // per node: the node that replaced it, or kNone
  std::vector<float> attributes;      // per node: layout.stride floats
  std::vector<CreatedNode> created;   // per node beyond the leaves
  std::vector<std::uint32_t>
      created_position_id;  // per node beyond the leaves, attributed only: equal for one position

  std::vector<std::uint32_t> face_death;     // per face: the first step without it, or kNone
  std::vector<std::uint32_t> face_count_at;  // per step
  std::vector<std::uint32_t> node_count_at;  // per step
  std::vector<float> deviation_at;           // per step, with a tolerance only
  LadderEnd end;

  std::uint32_t leaf_count() const { return wedge_base.back(); }
  std::uint32_t face_count() const { return face_base.back(); }
  std::uint32_t node_count() const { return static_cast<std::uint32_t>(parent.size()); }
  std::uint32_t last_step() const { return static_cast<std::uint32_t>(face_count_at.size() - 1); }
};

}  // namespace mirel::engine
