// What an OBJ file says, before it is divided into meshes that stand alone.
//
// Layer: between the statement parser, which fills it, and the division into meshes. All indices are 0-based into
// the file's own vertices, normals and UVs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/engine/obj/obj_reader.h"

namespace mirel::engine {

struct ObjSoup {
  std::vector<float> positions;  // vertex_count x 3
  std::vector<float> normals;    // normal_count x 3
  std::vector<float> uvs;        // uv_count x 2
  std::vector<ObjMesh> meshes;   // with faces only; their own coordinate arrays are empty, materials unset
  std::vector<std::vector<std::uint32_t>> materials_of_mesh;  // per mesh and face set: place in material_names
  std::vector<std::string> material_names;                    // "" for the material of faces before any usemtl
  std::vector<std::string> libraries;                         // the text behind each distinct mtllib
  std::vector<std::string> warnings;
};

// Gives each mesh the coordinates that its faces use, in file order, and renumbers its faces. Empties the soup.
std::vector<ObjMesh> divide_soup(ObjSoup& soup);

}  // namespace mirel::engine
