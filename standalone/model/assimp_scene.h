// From the model to the scene that assimp's exporters take.
#pragma once

#include <assimp/scene.h>

#include <memory>
#include <string>
#include <vector>

#include "standalone/model/save.h"
#include "standalone/model/scene.h"

namespace mirel::model {

// A texture to be copied beside the file, and the name it gets there.
struct TextureCopy {
  std::string source;
  std::string name;
};

struct BuiltScene {
  std::unique_ptr<aiScene> scene;
  std::vector<TextureCopy> copies;
  std::vector<std::string> remarks;  // what had to be left out
};

// Meshes are per entities and material, with vertices split where normals or UVs differ; instances share them. Throws
// std::length_error when instances of instances add up to more nodes than a file can hold.
BuiltScene build_assimp_scene(Model const& model, Format const& format, SceneNotes const& notes);

}  // namespace mirel::model
