#include "tests/conformance/test_extension/fbx_bindings.h"

#include <fbxsdk.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/ruby_value.h"
#include "src/import/fbx/material_conversion.h"
#include "src/import/fbx/mesh_conversion.h"
#include "src/import/fbx/texture_dump.h"

namespace {

fbxsdk::FbxManager* manager;
fbxsdk::FbxScene* scene;

// Reads a file for the other bindings; true when that worked.
VALUE openFbx(VALUE, VALUE path) {
  if (manager != nullptr) {
    manager->Destroy();
  }
  manager = fbxsdk::FbxManager::Create();
  manager->SetIOSettings(fbxsdk::FbxIOSettings::Create(manager, "IOSRoot"));
  fbxsdk::FbxImporter* const importer = fbxsdk::FbxImporter::Create(manager, "");
  scene = fbxsdk::FbxScene::Create(manager, "scene");
  bool const isRead =
      importer->Initialize(StringValueCStr(path), -1, manager->GetIOSettings()) && importer->Import(scene, false);
  return isRead ? Qtrue : Qfalse;
}

fbxsdk::FbxNode* findNode(fbxsdk::FbxNode* node, char const* name) {
  if (std::strcmp(node->GetName(), name) == 0) {
    return node;
  }
  for (int child = 0; child < node->GetChildCount(); ++child) {
    if (fbxsdk::FbxNode* const found = findNode(node->GetChild(child), name)) {
      return found;
    }
  }
  return nullptr;
}

fbxsdk::FbxNode* getNode(VALUE name) {
  fbxsdk::FbxNode* const found = findNode(scene->GetRootNode(), StringValueCStr(name));
  if (found == nullptr) {
    rb_raise(rb_eArgError, "no such node");
  }
  return found;
}

// The first material of the node of that name; null for nil.
fbxsdk::FbxSurfaceMaterial* getMaterial(VALUE node) {
  return NIL_P(node) ? nullptr : getNode(node)->GetMaterial(0);
}

// What addMesh makes of the node's first attribute as the file has it, its polygons uncut.
VALUE addMeshOf(VALUE, VALUE name, VALUE self) {
  fbxsdk::FbxNode* const node = getNode(name);
  fbxsdk::FbxMesh* const fbxMesh = fbxsdk::FbxCast<fbxsdk::FbxMesh>(node->GetNodeAttributeByIndex(0));
  fbxsdk::FbxSurfaceMaterial* materials[8] = {};
  int const count = node->GetMaterialCount();
  for (int slot = 0; slot < count && slot < 8; ++slot) {
    materials[slot] = node->GetMaterial(slot);
  }
  return GetRubyInterface(addMesh(fbxMesh, materials, count, self));
}

VALUE diffuseTexture(VALUE, VALUE node) {
  return getDiffuseTexture(getMaterial(node));
}

VALUE colorFromFbx(VALUE, VALUE components) {
  fbxsdk::FbxColor color;
  color.Set(NUM2DBL(rb_ary_entry(components, 0)), NUM2DBL(rb_ary_entry(components, 1)),
            NUM2DBL(rb_ary_entry(components, 2)), NUM2DBL(rb_ary_entry(components, 3)));
  return getSUColorFromFbxColor(color);
}

VALUE displayTexture(VALUE, VALUE node) {
  return DisplayTexture(getMaterial(node)), Qnil;
}

// The textures of one property; of an invalid one where the material has none of that name.
VALUE displayProperty(VALUE, VALUE node, VALUE name) {
  fbxsdk::FbxSurfaceMaterial* const material = getMaterial(node);
  char const* const text = StringValueCStr(name);
  return boundary([&]() -> VALUE {
    fbxsdk::FbxProperty const property = material->FindProperty(text, true);
    return protect([&]() -> VALUE { return FindAndDisplayTextureInfoByProperty(property), Qnil; });
  });
}

VALUE displayTextureInfo(VALUE, VALUE node, VALUE blendMode) {
  fbxsdk::FbxProperty const property = getMaterial(node)->FindProperty(fbxsdk::FbxSurfaceMaterial::sDiffuse, true);
  return DisplayTextureInfo(property.GetSrcObject<fbxsdk::FbxTexture>(0), NUM2INT(blendMode)), Qnil;
}

VALUE packed(std::vector<float> const& values) {
  return rb_str_new(reinterpret_cast<char const*>(values.data()), static_cast<long>(values.size() * sizeof(float)));
}

VALUE packed(std::vector<std::uint32_t> const& values) {
  return rb_str_new(reinterpret_cast<char const*>(values.data()), static_cast<long>(values.size() * sizeof values[0]));
}

// Two floats per corner, NaN for the corners of a face without UVs.
std::vector<float> readCornerUVs(ab::IMesh const* from) {
  std::vector<float> uvs;
  float const* const perVertex = from->hasVertexUVs() ? from->getVertexUVs() : nullptr;
  for (std::uint32_t face = 0; face < from->getNumFaces(); ++face) {
    std::uint32_t indices[3] = {};
    bool const isIndexed = from->getFaceUVIndices(face, indices[0], indices[1], indices[2]);
    if (perVertex != nullptr) {
      from->getFace(face, indices[0], indices[1], indices[2]);
    }
    for (std::uint32_t const index : indices) {
      float u = std::numeric_limits<float>::quiet_NaN();
      float v = u;
      if (perVertex != nullptr) {
        u = perVertex[index * 2];
        v = perVertex[index * 2 + 1];
      } else if (isIndexed) {
        from->getUV(index, u, v);
      }
      uvs.insert(uvs.end(), {u, v});
    }
  }
  return uvs;
}

// What a mesh of the depot holds, as packed arrays: positions, three vertices per face, the face's set, corner UVs.
VALUE depotMesh(VALUE, VALUE index) {
  ab::IMesh const* const from = meshDepot->getMesh(NUM2UINT(index));
  return boundary([&]() -> VALUE {
    std::vector<float> positions;
    if (from->getNumVertices() > 0) {
      positions.assign(from->getVertices(), from->getVertices() + from->getNumVertices() * 3);
    }
    std::vector<std::uint32_t> faces;
    std::vector<std::uint32_t> sets;
    for (std::uint32_t face = 0; face < from->getNumFaces(); ++face) {
      std::uint32_t corners[3] = {};
      from->getFace(face, corners[0], corners[1], corners[2]);
      faces.insert(faces.end(), {corners[0], corners[1], corners[2]});
      from->getFaceSetOfFace(face, sets.emplace_back());
    }
    std::vector<float> const uvs = readCornerUVs(from);
    return protect([&]() -> VALUE {
      VALUE const parts[] = {packed(positions), packed(faces), packed(sets), packed(uvs)};
      return rb_ary_new_from_values(4, parts);
    });
  });
}

}  // namespace

void defineFbxBindings(VALUE module) {
  rb_define_singleton_method(module, "open_fbx", openFbx, 1);
  rb_define_singleton_method(module, "add_mesh_of", addMeshOf, 2);
  rb_define_singleton_method(module, "depot_mesh", depotMesh, 1);
  rb_define_singleton_method(module, "diffuse_texture", diffuseTexture, 1);
  rb_define_singleton_method(module, "color_from_fbx", colorFromFbx, 1);
  rb_define_singleton_method(module, "display_texture", displayTexture, 1);
  rb_define_singleton_method(module, "display_property", displayProperty, 2);
  rb_define_singleton_method(module, "display_texture_info", displayTextureInfo, 2);
}
