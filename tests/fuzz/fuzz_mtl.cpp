// Any bytes as a material library; the first line names the material that is looked up.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "standalone/engine/obj/material_library.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  std::string const name(text.substr(0, text.find('\n')));
  mirel::engine::MaterialLibrary library;
  library.parse(text, "fuzz.mtl", "folder");
  library.parse(text.substr(text.size() / 2), "fuzz.mtl", "folder");
  // A folder that does not exist: the statement is divided, nothing is opened that a fuzzer should not open.
  if (name.find_first_of("/\\") == name.npos) library.load(name, "/nonexistent");
  if (mirel::engine::ObjMaterial const* const material = library.find(name)) {
    for (float const component : material->color) {
      if (!(component >= 0 && component <= 1)) std::abort();
    }
    if (material->is_default || (material->texture_path.empty() != material->texture_base_path.empty())) std::abort();
  }
  return 0;
}
