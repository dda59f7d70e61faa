#include "src/import/scene_handoff.h"

#include <cstdio>

#include "src/balancer/balancer_state.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"
#include "src/import/color_number.h"

VALUE getSUColorFromBalancerColor(ab::IMaterial::Color const* color) {
  static ID colorName;
  static ID newName;
  float const components[] = {color->red, color->green, color->blue, color->alpha};
  VALUE const type = rb_const_get(mSketchup, internedName(colorName, "Color"));
  VALUE arguments[4];
  for (int place = 0; place < 4; ++place) {
    arguments[place] = GetRubyInterface(truncateToInt(components[place] * 255.0F));
  }
  return rb_funcallv(type, internedName(newName, "new"), 4, arguments);
}

VALUE addOBJMaterial(ab::IMaterial const* material, VALUE self, unsigned int meshIndex, unsigned int materialIndex) {
  static ID textureRelativePath;
  static ID addMaterial;
  VALUE name = Qnil;
  VALUE color = Qnil;
  VALUE texture = Qnil;
  if (material != nullptr) {
    std::uint32_t const clears = getClearCount();
    name = GetRubyInterface(material->getName());
    if (!material->isDefault()) {
      if (ab::IMaterial::Color const* const record = material->getColor()) {
        color = getSUColorFromBalancerColor(record);
      }
      char const* const texturePath = isClearedSince(clears) ? nullptr : material->getTexturePath();
      if (texturePath != nullptr) {
        VALUE const basePath = GetRubyInterface(material->getTextureBasePath());
        texture = rb_funcall(self, internedName(textureRelativePath, "get_texture_relative_path"), 2, basePath,
                             GetRubyInterface(texturePath));
      }
    }
  } else {
    char generated[64];
    std::snprintf(generated, sizeof generated, "Mesh-%u-Material-%u", meshIndex, materialIndex);
    name = GetRubyInterface(generated);
  }
  return rb_funcall(self, internedName(addMaterial, "add_material"), 3, name, color, texture);
}

bool sendMeshToRuby(unsigned int meshIndex, VALUE self) {
  static ID rootDefinition;
  static ID meshName;
  static ID identityName;
  static ID addInstance;
  VALUE const root = rb_funcall(self, internedName(rootDefinition, "get_root_definition"), 0);
  VALUE const name = rb_funcall(self, internedName(meshName, "get_mesh_name"), 2, Qnil, GetRubyInterface(meshIndex));
  VALUE const materials = rb_ary_new();
  VALUE const identity = rb_const_get(rb_cObject, internedName(identityName, "IDENTITY"));

  ab::IMesh* const announced = getDepotMesh(meshIndex);
  if (announced == nullptr) {
    return false;
  }
  if (meshIndex == 0) {
    mesh = announced;
  }
  std::uint32_t const clears = getClearCount();
  std::uint32_t const setCount = announced->getNumFaceSets();
  for (std::uint32_t set = 0; set < setCount; ++set) {
    rb_ary_push(materials, addOBJMaterial(announced->getMaterial(set), self, meshIndex, set));
    if (!guardUncleared(clears)) {
      return false;
    }
  }
  if (setCount == 0) {
    rb_ary_push(materials, addOBJMaterial(announced->getDefaultMaterial(), self, meshIndex, 0));
  }
  rb_funcall(self, internedName(addInstance, "add_instance"), 5, name, identity, GetRubyInterface(meshIndex), materials,
             root);
  return true;
}
