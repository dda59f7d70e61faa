// Where the textures of a scene go: into the file, beside it, or, for those already there, nowhere.
#pragma once

#include <assimp/texture.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "standalone/model/names.h"
#include "standalone/model/save.h"

namespace mirel::model {

// A texture to be written beside the file, and the name it gets there.
struct TextureFile {
  std::string name;
  std::string source;         // to be copied
  std::vector<char> content;  // where there is no source
};

class TextureFiles {
 public:
  TextureFiles(Format const& format, SceneNotes const& notes) : format_(format), notes_(notes) {}

  // The name by which materials call the texture; empty where it has to be left out. Formats that take only PNG and
  // JPEG get other pictures as PNG, as far as those can be read.
  std::string name_of(std::string const& path);

  // What the scene and its folder get, to be taken away at the end.
  std::vector<std::unique_ptr<aiTexture>> embedded;
  std::vector<TextureFile> files;
  std::vector<std::string> remarks;  // what had to be left out

 private:
  std::string place(std::string const& path);
  std::string embed(std::string const& name, std::string const& kind, std::vector<char> const& content);
  std::string put_beside(TextureFile file);

  Format const& format_;
  SceneNotes const& notes_;
  std::unordered_map<std::string, std::string> known_;  // by path
  UniqueNames file_names_;
};

}  // namespace mirel::model
