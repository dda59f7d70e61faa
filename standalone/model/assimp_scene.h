// From the model to the scene that assimp's exporters take.
#pragma once

#include <assimp/scene.h>

#include <memory>
#include <string>
#include <vector>

#include "standalone/model/save.h"
#include "standalone/model/scene.h"
#include "standalone/model/texture_files.h"

namespace mirel::model {

struct BuiltScene {
  std::unique_ptr<aiScene> scene;
  std::vector<TextureFile> texture_files;
  std::vector<std::string> remarks;  // what had to be left out
};

// Meshes are per entities and material, with vertices split where normals or UVs differ; instances share them. Throws
// std::length_error when instances of instances add up to more nodes than a file can hold.
BuiltScene build_assimp_scene(Model const& model, Format const& format, SceneNotes const& notes);

}  // namespace mirel::model
