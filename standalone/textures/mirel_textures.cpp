// Prints the textures of an FBX file's materials to Ruby's standard output: the native half's own dump, made reachable.
//
//   MirelTextures.each(path) { |material_name| ... }
//
// yields the name of each material, in the order of the nodes and their slots, then prints its textures. Raises IOError
// with the library's reason for a file that cannot be read.
#include <fbxsdk.h>
#include <ruby.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "src/frame/boundary.h"
#include "src/frame/ruby_value.h"
#include "src/import/fbx/texture_dump.h"

// NOLINTNEXTLINE(readability-identifier-naming): the interpreter looks for this name.
extern "C" __attribute__((visibility("default"))) void Init_mirel_textures();

namespace {

using Materials = std::vector<fbxsdk::FbxSurfaceMaterial*>;

// Every material once, nodes depth first.
Materials collect_materials(fbxsdk::FbxNode* root) {
  Materials found;
  std::vector<fbxsdk::FbxNode*> left{root};
  while (!left.empty()) {
    fbxsdk::FbxNode* const node = left.back();
    left.pop_back();
    for (int slot = 0; slot < node->GetMaterialCount(); ++slot) {
      fbxsdk::FbxSurfaceMaterial* const material = node->GetMaterial(slot);
      if (material != nullptr && std::find(found.begin(), found.end(), material) == found.end()) {
        found.push_back(material);
      }
    }
    for (int child = node->GetChildCount(); child-- > 0;) {
      left.push_back(node->GetChild(child));
    }
  }
  return found;
}

// Empty, or why the file cannot be read. Makes no Ruby call.
template <std::size_t Size>
void read_scene(fbxsdk::FbxManager* manager, char const* path, fbxsdk::FbxScene*& scene, char (&reason)[Size]) {
  reason[0] = '\0';
  manager->SetIOSettings(fbxsdk::FbxIOSettings::Create(manager, "IOSRoot"));
  fbxsdk::FbxImporter* const importer = fbxsdk::FbxImporter::Create(manager, "");
  scene = fbxsdk::FbxScene::Create(manager, "scene");
  if (importer == nullptr || scene == nullptr) {
    std::snprintf(reason, Size, "not enough memory");
  } else if (!importer->Initialize(path, -1, manager->GetIOSettings()) || !importer->Import(scene, false)) {
    std::snprintf(reason, Size, "%s", importer->GetStatus().GetErrorString());
  }
}

VALUE each(VALUE, VALUE path) {
  char const* const text = getNativeText(path);
  char reason[512];
  fbxsdk::FbxScene* scene = nullptr;
  fbxsdk::FbxManager* const manager = fbxsdk::FbxManager::Create();
  if (manager == nullptr) {
    rb_memerror();
  }
  boundary([&]() -> VALUE { return read_scene(manager, text, scene, reason), Qnil; });
  RB_GC_GUARD(path);
  if (reason[0] != '\0') {
    manager->Destroy();
    rb_raise(rb_eIOError, "%s", reason);
  }
  boundary([&]() -> VALUE {
    Materials const materials = collect_materials(scene->GetRootNode());
    return protect([&]() -> VALUE {
      for (fbxsdk::FbxSurfaceMaterial const* material : materials) {
        rb_yield(GetRubyInterface(material->GetName()));
        DisplayTexture(material);
      }
      return Qnil;
    });
  });
  manager->Destroy();
  return Qnil;
}

}  // namespace

void Init_mirel_textures() {
  rb_define_module_function(rb_define_module("MirelTextures"), "each", each, 1);
}
