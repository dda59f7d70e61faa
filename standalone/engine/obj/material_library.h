// Reads MTL material libraries.
//
// Layer: a stage of the OBJ reader. Colours are 0 to 1 and are clamped to that; a material without `Kd`, `d` and
// `Tr` has no colour of its own. Opacity comes from `d`, or from `Tr` (1 - opacity) where there is no `d`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "standalone/engine/obj/obj_reader.h"

namespace mirel::engine {

class MaterialLibrary {
 public:
  // Adds the materials of a library's text; of a name that is there already, the first stays.
  // `path` is for warnings, `folder` is what texture paths are relative to.
  void parse(std::string_view text, std::string const& path, std::string const& folder);

  // Finds the files that an mtllib statement names, relative to `folder`, and adds them. The statement may name
  // several, and names may hold blanks: the whole text is tried first, then it is divided behind each ".mtl", then
  // at blanks. Backslashes are tried as slashes and foreign folders dropped. What is not found is a warning.
  void load(std::string const& statement, std::string const& folder);

  // Null where no library has it.
  ObjMaterial const* find(std::string const& name) const;

  std::vector<std::string>& warnings() { return warnings_; }

 private:
  bool load_file(std::string const& name, std::string const& folder, std::string& problem);
  void parse_line(std::string_view line, std::string const& folder);
  void finish_material();
  void warn(std::string text);

  std::unordered_map<std::string, ObjMaterial> materials_;
  std::vector<std::string> warnings_;
  // The material being read.
  ObjMaterial current_;
  bool is_open_ = false;
  bool has_dissolve_ = false;
  // For warnings.
  std::string const* path_ = nullptr;
  std::size_t line_ = 0;
};

}  // namespace mirel::engine
