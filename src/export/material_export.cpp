#include "src/export/material_export.h"

#include "src/export/export_error.h"
#include "src/export/sketchup_string.h"
#include "src/frame/boundary.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

namespace {

constexpr double kDefaultTextureSize = 12.0;

VALUE read(VALUE object, ID name) {
  return rb_funcallv(object, name, 0, nullptr);
}

// Truncated to the low 8 bits.
SUByte readComponent(VALUE color, ID name) {
  return static_cast<SUByte>(static_cast<unsigned int>(NUM2INT(read(color, name))) & 0xFFU);
}

struct Description {
  SUColor color;
  VALUE texture;
  VALUE width;
  VALUE height;
};

Description readDescription(VALUE description) {
  static ID colorName;
  static ID red;
  static ID green;
  static ID blue;
  static ID alpha;
  static ID texture;
  static ID width;
  static ID height;
  VALUE const color = read(description, internedName(colorName, "color"));
  Description result = {};
  result.color.red = readComponent(color, internedName(red, "red"));
  result.color.green = readComponent(color, internedName(green, "green"));
  result.color.blue = readComponent(color, internedName(blue, "blue"));
  result.color.alpha = readComponent(color, internedName(alpha, "alpha"));
  result.texture = read(description, internedName(texture, "texture"));
  result.width = read(description, internedName(width, "width"));
  result.height = read(description, internedName(height, "height"));
  return result;
}

void setTexture(SUMaterialRef material, VALUE path, double width, double height) {
  char const* const text = getNativeText(path);
  SUTextureRef texture = {};
  SUResult const created = SUTextureCreateFromFile(&texture, text, width, height);
  RB_GC_GUARD(path);
  requireSuccess(created, "Failed to Create Texture from File");
  SUMaterialSetTexture(material, texture);
  // The creation's status once more: a material that refuses its texture does without.
  requireSuccess(created, "Failed to Set Texture for Material");
}

std::size_t countMaterials(SUModelRef model) {
  std::size_t count = 0;
  requireSuccess(SUModelGetNumMaterials(model, &count), "Failed to get the Number of Materials in the Model");
  return count;
}

std::vector<SUMaterialRef> getMaterials(SUModelRef model, std::size_t count) {
  return getReferences<SUMaterialRef>(count, [&](std::size_t length, SUMaterialRef* materials, std::size_t* copied) {
    SUModelGetMaterials(model, length, materials, copied);
  });
}

VALUE getOfReceiver(VALUE self, ID variable, VALUE key) {
  static ID at;
  return rb_funcallv(rb_ivar_get(self, variable), internedName(at, "[]"), 1, &key);
}

bool isImportingExternalFile(VALUE self) {
  static ID importingExternalFile;
  return read(self, internedName(importingExternalFile, "importing_external_file?")) == Qtrue;
}

}  // namespace

void exportMaterial(VALUE self, SUMaterialRef& material, VALUE name) {
  static ID importedMaterials;
  static ID applyUVTexture;
  static ID uvTexturePath;
  static ID materialExported;
  VALUE text = name;
  char const* const nativeName = getNativeText(text);
  VALUE const description = getOfReceiver(self, internedName(importedMaterials, "@imported_materials"), name);
  Description const look = readDescription(description);
  bool const appliesUVTexture = read(self, internedName(applyUVTexture, "apply_uv_texture?")) == Qtrue;
  bool const importsExternalFile = isImportingExternalFile(self);

  SUMaterialRef created = {};
  requireSuccess(SUMaterialCreate(&created), "Failed to Create Material");
  requireSuccess(SUMaterialSetName(created, nativeName), "Failed to Set Name of Material");
  RB_GC_GUARD(text);
  requireSuccess(SUMaterialSetColor(created, &look.color), "Failed to Set Color of Material");
  if (!NIL_P(look.texture)) {
    double const width = rb_num2dbl(look.width);
    double const height = rb_num2dbl(look.height);
    setTexture(created, look.texture, width, height);
  } else if (importsExternalFile && appliesUVTexture) {
    VALUE const path = read(self, internedName(uvTexturePath, "uv_texture_path"));
    bool const hasSize = !NIL_P(look.width) && !NIL_P(look.height);
    double const width = hasSize ? rb_num2dbl(look.width) : kDefaultTextureSize;
    double const height = hasSize ? rb_num2dbl(look.height) : kDefaultTextureSize;
    setTexture(created, path, width, height);
    // A texture may bring a colour of its own.
    SUMaterialSetColor(created, &look.color);
  }
  material = created;
  VALUE const arguments[] = {description, name};
  rb_funcallv(self, internedName(materialExported, "material_exported"), 2, arguments);
}

SUMaterialRef findMaterialByName(VALUE self, SUModelRef model, VALUE name) {
  static ID exportedMaterials;
  std::size_t const count = countMaterials(model);
  VALUE exported = getOfReceiver(self, internedName(exportedMaterials, "@exported_materials"), name);
  if (NIL_P(exported)) {
    return {};
  }
  char const* const text = getNativeText(exported);
  SUMaterialRef found = {};
  boundary([&]() -> VALUE {
    found = findByName(getMaterials(model, count), text, [](SUMaterialRef material, SUStringRef* materialName) {
      SUMaterialGetName(material, materialName);
    });
    return Qnil;
  });
  RB_GC_GUARD(exported);
  return found;
}

void addPrefixToAllMaterials(VALUE self, SUModelRef model) {
  static ID importedMaterialPrefix;
  if (isImportingExternalFile(self)) {
    return;
  }
  std::size_t const count = countMaterials(model);
  bool failed = false;
  boundary([&]() -> VALUE {
    std::vector<SUMaterialRef> const materials = getMaterials(model, count);
    std::string prefix;
    protect([&]() -> VALUE {
      VALUE text = rb_const_get(rb_obj_class(self), internedName(importedMaterialPrefix, "IMPORTED_MATERIAL_PREFIX"));
      prefix = getNativeText(text);
      RB_GC_GUARD(text);
      return Qnil;
    });
    SketchupString name;
    for (SUMaterialRef const material : materials) {
      if (SUMaterialGetName(material, name.out()) != SU_ERROR_NONE) {
        failed = true;
        return Qnil;
      }
      SUMaterialSetName(material, (prefix + name.toUTF8()).c_str());
    }
    return Qnil;
  });
  if (failed) {
    raiseSketchupExportError("Failed to get name of material");
  }
}
