// Any bytes as an OBJ file: an answer, and one that keeps the promises of the header.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "standalone/engine/obj/obj_reader.h"
#include "standalone/engine/wedge_mesh.h"

namespace {

void require(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

// Whole faces have an attribute or none of it, indices exist, and no element is there in vain.
void check_indices(std::vector<std::uint32_t> const& indices, std::size_t count) {
  std::vector<bool> is_used(count, false);
  for (std::size_t k = 0; k < indices.size(); k += 3) {
    bool const none = indices[k] == mirel::engine::kNone;
    for (std::size_t c = k; c < k + 3; ++c) {
      require((indices[c] == mirel::engine::kNone) == none, "a face has all corners or none");
      require(none || indices[c] < count, "indices are in range");
      if (!none) is_used[indices[c]] = true;
    }
  }
  for (bool const used : is_used) require(used, "every element is used");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  mirel::engine::ObjResult const result =
      mirel::engine::parse_obj(reinterpret_cast<char const*>(data), size, "fuzz.obj", "");
  require(result.file.has_value() == result.error.empty(), "a file or an error");
  require(result.error.find('\n') == result.error.npos, "an error is one line");
  if (!result.file.has_value()) return 0;
  for (mirel::engine::ObjMesh const& mesh : result.file->meshes) {
    std::size_t const faces = mesh.face_set_of.size();
    require(faces > 0 && mesh.faces.size() == faces * 3, "a mesh has faces");
    require(mesh.positions.size() % 3 == 0 && mesh.normals.size() % 3 == 0 && mesh.uvs.size() % 2 == 0,
            "whole elements");
    require(mesh.face_uvs.empty() || mesh.face_uvs.size() == faces * 3, "UVs per face");
    require(mesh.face_normals.empty() || mesh.face_normals.size() == faces * 3, "normals per face");
    check_indices(mesh.faces, mesh.positions.size() / 3);
    check_indices(mesh.face_uvs, mesh.uvs.size() / 2);
    check_indices(mesh.face_normals, mesh.normals.size() / 3);
    for (std::uint32_t const index : mesh.faces) require(index != mirel::engine::kNone, "every corner has a vertex");
    for (std::uint32_t const set : mesh.face_set_of) require(set < mesh.materials.size(), "face sets exist");
    require(!mesh.materials.empty() && mesh.face_set_of[0] == 0, "sets in order of first use");
  }
  return 0;
}
