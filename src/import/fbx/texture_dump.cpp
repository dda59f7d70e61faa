#include "src/import/fbx/texture_dump.h"

#include <cstddef>
#include <cstdint>

#include "src/frame/boundary.h"
#include "src/frame/console.h"

namespace {

constexpr int kTextureChannelCount = 17;

// Indexed by the SDK's enumerations.
constexpr char const* kAlphaSources[] = {"None", "RGB Intensity", "Black"};
constexpr char const* kMappingTypes[] = {"Null", "Planar", "Spherical", "Cylindrical",
                                         "Box",  "Face",   "UV",        "Environment"};
constexpr char const* kPlanarNormals[] = {"X", "Y", "Z"};
constexpr char const* kBlendModes[] = {
    "Translucent", "Additive",   "Modulate",    "Modulate2",   "Over",     "Normal",     "Dissolve",    "Darken",
    "ColorBurn",   "LinearBurn", "DarkerColor", "Lighten",     "Screen",   "ColorDodge", "LinearDodge", "LighterColor",
    "SoftLight",   "HardLight",  "VividLight",  "LinearLight", "PinLight", "HardMix",    "Difference",  "Exclusion",
    "Substract",   "Divide",     "Hue",         "Saturation",  "Color",    "Luminosity", "Overlay"};
constexpr char const* kMaterialUses[] = {"Model Material", "Default Material"};
constexpr char const* kTextureUses[] = {
    "Standard", "Shadow Map", "Light Map", "Spherical Reflexion Map", "Sphere Reflexion Map", "Bump Normal Map"};

// An enumeration read from a file may lie beyond its table.
template <std::size_t Count>
void printName(char const* label, char const* const (&names)[Count], int index) {
  bool const isKnown = index >= 0 && static_cast<std::size_t>(index) < Count;
  rb_puts(label, isKnown ? names[index] : "");
}

// Truncated toward zero, then taken modulo 2^32; what no 64-bit integer can hold (NaN too) prints as 0.
void printNumber(char const* label, double value) {
  bool const fits = value >= -9223372036854775808.0 && value < 9223372036854775808.0;
  rb_puts(label, fits ? static_cast<unsigned int>(static_cast<std::int64_t>(value)) : 0U);
}

void printCount(char const* label, int value) {
  rb_puts(label, static_cast<unsigned int>(value));
}

void displayLayers(fbxsdk::FbxLayeredTexture* layered, int place, char const* propertyName) {
  printCount("    Layered Texture: ", place);
  int const layerCount = layered->GetSrcObjectCount<fbxsdk::FbxTexture>();
  for (int layer = 0; layer < layerCount; ++layer) {
    fbxsdk::FbxTexture* const texture = layered->GetSrcObject<fbxsdk::FbxTexture>(layer);
    if (texture == nullptr) {
      continue;
    }
    fbxsdk::FbxLayeredTexture::EBlendMode blendMode = fbxsdk::FbxLayeredTexture::eTranslucent;
    layered->GetTextureBlendMode(layer, blendMode);
    rb_puts("    Textures for ", propertyName);
    printCount("        Texture ", layer);
    DisplayTextureInfo(texture, static_cast<int>(blendMode));
  }
}

void displayConnected(fbxsdk::FbxProperty const& property, char const* propertyName) {
  int const textureCount = property.GetSrcObjectCount<fbxsdk::FbxTexture>();
  int layeredCount = 0;  // the SDK counts layered textures apart from the others
  for (int place = 0; place < textureCount; ++place) {
    fbxsdk::FbxTexture* const texture = property.GetSrcObject<fbxsdk::FbxTexture>(place);
    fbxsdk::FbxLayeredTexture* const layered = property.GetSrcObject<fbxsdk::FbxLayeredTexture>(layeredCount);
    if (layered != nullptr && layered == texture) {
      ++layeredCount;
      displayLayers(layered, place, propertyName);
    } else if (texture != nullptr) {
      rb_puts("    Textures for ", propertyName);
      printCount("        Texture ", place);
      DisplayTextureInfo(texture, -1);
    }
  }
}

}  // namespace

void DisplayTexture(fbxsdk::FbxSurfaceMaterial const* material) {
  if (material == nullptr) {
    return;
  }
  boundary([&]() -> VALUE {
    for (int channel = 0; channel < kTextureChannelCount; ++channel) {
      fbxsdk::FbxProperty const property =
          material->FindProperty(fbxsdk::FbxLayerElement::sTextureChannelNames[channel], true);
      protect([&]() -> VALUE {
        FindAndDisplayTextureInfoByProperty(property);
        return Qnil;
      });
    }
    return Qnil;
  });
}

void FindAndDisplayTextureInfoByProperty(fbxsdk::FbxProperty const& property) {
  if (!property.IsValid()) {
    return;
  }
  boundary([&]() -> VALUE {
    fbxsdk::FbxString const name = property.GetName();
    return protect([&]() -> VALUE {
      displayConnected(property, name.Buffer());
      return Qnil;
    });
  });
}

void DisplayTextureInfo(fbxsdk::FbxTexture* texture, int blendMode) {
  fbxsdk::FbxFileTexture const* const file = fbxsdk::FbxCast<fbxsdk::FbxFileTexture>(texture);
  rb_puts("            Name: ", texture->GetName());
  if (file != nullptr) {
    rb_puts("            Type: File Texture");
    rb_puts("            File Name: ", file->GetFileName());
  } else if (fbxsdk::FbxCast<fbxsdk::FbxProceduralTexture>(texture) != nullptr) {
    rb_puts("            Type: Procedural Texture");
  }
  printNumber("            Scale U: ", texture->GetScaleU());
  printNumber("            Scale V: ", texture->GetScaleV());
  printNumber("            Translation U: ", texture->GetTranslationU());
  printNumber("            Translation V: ", texture->GetTranslationV());
  printCount("            Swap UV: ", texture->GetSwapUV() ? 1 : 0);
  printNumber("            Rotation U: ", texture->GetRotationU());
  printNumber("            Rotation V: ", texture->GetRotationV());
  printNumber("            Rotation W: ", texture->GetRotationW());
  printName("            Alpha Source: ", kAlphaSources, texture->GetAlphaSource());
  printCount("            Cropping Left: ", texture->GetCroppingLeft());
  printCount("            Cropping Top: ", texture->GetCroppingTop());
  printCount("            Cropping Right: ", texture->GetCroppingRight());
  printCount("            Cropping Bottom: ", texture->GetCroppingBottom());
  printName("            Mapping Type: ", kMappingTypes, texture->GetMappingType());
  if (texture->GetMappingType() == fbxsdk::FbxTexture::ePlanar) {
    printName("            Planar Mapping Normal: ", kPlanarNormals, texture->GetPlanarMappingNormal());
  }
  if (blendMode >= 0) {
    printName("            Blend Mode: ", kBlendModes, blendMode);
  }
  printNumber("            Alpha: ", texture->GetDefaultAlpha());
  if (file != nullptr) {
    printName("            Material Use: ", kMaterialUses, file->GetMaterialUse());
  }
  printName("            Texture Use: ", kTextureUses, texture->GetTextureUse());
}
