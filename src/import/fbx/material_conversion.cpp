#include "src/import/fbx/material_conversion.h"

#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"
#include "src/import/color_number.h"
#include "src/import/fbx/object_identifier.h"

namespace {

// The first texture of a material's diffuse channel, as far as there is one. Found before any Ruby call, because an
// FbxProperty must not be jumped over.
struct DiffuseTexture {
  bool hasChannel = false;
  fbxsdk::FbxTexture* texture = nullptr;
  fbxsdk::FbxFileTexture* file = nullptr;
};

DiffuseTexture findDiffuseTexture(fbxsdk::FbxSurfaceMaterial const* material) {
  DiffuseTexture found;
  fbxsdk::FbxProperty const property = material->FindProperty(fbxsdk::FbxSurfaceMaterial::sDiffuse, true);
  found.hasChannel = property.IsValid();
  if (found.hasChannel) {
    found.texture = property.GetSrcObject<fbxsdk::FbxTexture>(0);
  }
  if (found.texture != nullptr) {
    found.file = fbxsdk::FbxCast<fbxsdk::FbxFileTexture>(found.texture);
  }
  return found;
}

// Materials with a shader of their own have no diffuse colour to read.
bool isShaderMaterial(fbxsdk::FbxSurfaceMaterial const* material) {
  return fbxsdk::GetImplementation(material, "ImplementationHLSL") != nullptr ||
         fbxsdk::GetImplementation(material, "ImplementationCGFX") != nullptr;
}

void setColor(fbxsdk::FbxColor& color, fbxsdk::FbxDouble3 const& components) {
  color.Set(components[0], components[1], components[2], 1.0);
}

fbxsdk::FbxColor getDiffuseColor(fbxsdk::FbxSurfaceMaterial const* material) {
  fbxsdk::FbxColor color;
  if (isShaderMaterial(material)) {
    return color;
  }
  if (material->GetClassId().Is(fbxsdk::FbxSurfacePhong::ClassId)) {
    setColor(color, static_cast<fbxsdk::FbxSurfacePhong const*>(material)->Diffuse.Get());
  } else if (material->GetClassId().Is(fbxsdk::FbxSurfaceLambert::ClassId)) {
    setColor(color, static_cast<fbxsdk::FbxSurfaceLambert const*>(material)->Diffuse.Get());
  } else {
    fbxsdk::FbxProperty const property = material->FindProperty(fbxsdk::FbxSurfaceMaterial::sDiffuse, true);
    if (property.IsValid() && property.GetPropertyDataType().GetType() == fbxsdk::eFbxDouble3) {
      setColor(color, property.Get<fbxsdk::FbxDouble3>());
    }
  }
  return color;
}

}  // namespace

void addMaterial(fbxsdk::FbxSurfaceMaterial* material, VALUE self) {
  static ID getMaterialName;
  static ID addMaterialName;
  fbxsdk::FbxColor const diffuse = getDiffuseColor(material);
  VALUE const name = GetRubyInterface(material->GetName());
  VALUE const identifier = GetRubyInterface(getObjectIdentifier(material));
  VALUE const texture = getDiffuseTexture(material);
  VALUE const color = getSUColorFromFbxColor(diffuse);
  double scaleU = 1.0;
  double scaleV = 1.0;
  if (!NIL_P(texture)) {
    if (fbxsdk::FbxFileTexture const* const file = findDiffuseTexture(material).file) {
      scaleU = file->GetScaleU();
      scaleV = file->GetScaleV();
    }
  }
  VALUE const chosen = rb_funcall(self, internedName(getMaterialName, "get_material_name"), 2, name, identifier);
  rb_funcall(self, internedName(addMaterialName, "add_material"), 6, chosen, color, texture, identifier,
             GetRubyInterface(scaleU), GetRubyInterface(scaleV));
}

VALUE getDiffuseTexture(fbxsdk::FbxSurfaceMaterial const* material) {
  if (material == nullptr) {
    rb_puts("Tried to get the texture but the material is not valid");
    return Qnil;
  }
  DiffuseTexture const found = findDiffuseTexture(material);
  if (!found.hasChannel) {
    rb_puts("No DiffuseColor property found for material: ", material->GetName());
    return Qnil;
  }
  if (found.texture == nullptr) {
    return Qnil;
  }
  if (found.file == nullptr) {
    rb_puts("Unable to cast the material texture as a file texture");
    return Qnil;
  }
  return GetRubyInterface(found.file->GetFileName());
}

VALUE getSUColorFromFbxColor(fbxsdk::FbxColor const& color) {
  static ID colorName;
  static ID newName;
  double const components[] = {color.mRed, color.mGreen, color.mBlue, color.mAlpha};
  VALUE arguments[4];
  for (int place = 0; place < 4; ++place) {
    arguments[place] = GetRubyInterface(truncateToInt(components[place] * 255.0));
  }
  VALUE const type = rb_const_get(mSketchup, internedName(colorName, "Color"));
  return rb_funcallv(type, internedName(newName, "new"), 4, arguments);
}
