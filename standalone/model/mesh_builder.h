// From entities to assimp's meshes.
#pragma once

#include <assimp/mesh.h>

#include <memory>
#include <vector>

#include "standalone/model/scene.h"

namespace mirel::model {

// What the faces of one mesh look like. Without a material they have the model's default one.
struct Look {
  Material* material = nullptr;
  bool is_two_sided = false;
  bool operator==(Look const&) const = default;
};

struct BuiltMesh {
  std::unique_ptr<aiMesh> mesh;
  Look look;
};

// One mesh per look, in order of first use. With `with_backs`, faces whose back differs from their front come a second
// time, turned around; without it only fronts count, and nothing is marked as two-sided. Without normals, vertices are
// split by UVs alone.
std::vector<BuiltMesh> build_meshes(Entities const& entities, bool with_backs, bool with_normals);

// The mesh as it stands after the transformation: turned over where that mirrors.
std::unique_ptr<aiMesh> transform_mesh(aiMesh const& mesh, double const matrix[16]);

}  // namespace mirel::model
