#include "standalone/fbx/scene/texture_maker.h"

#include <algorithm>

#include "standalone/fbx/array_reader.h"
#include "standalone/fbx/property_types.h"
#include "standalone/fbx/scene/object_making.h"

namespace mirel::fbx {

using namespace fbxsdk;

namespace {

// How a texture is put on a surface: one list in the file where the SDK has a type and, for planes, a normal.
void set_mapping(int unified, Internals::TextureValues& data) {
  static constexpr struct {
    FbxTexture::EMappingType type;
    FbxTexture::EPlanarMappingNormal normal;
  } kMappings[] = {
      {FbxTexture::eUV, FbxTexture::ePlanarNormalX},          {FbxTexture::ePlanar, FbxTexture::ePlanarNormalZ},
      {FbxTexture::ePlanar, FbxTexture::ePlanarNormalX},      {FbxTexture::ePlanar, FbxTexture::ePlanarNormalY},
      {FbxTexture::eSpherical, FbxTexture::ePlanarNormalX},   {FbxTexture::eCylindrical, FbxTexture::ePlanarNormalX},
      {FbxTexture::eEnvironment, FbxTexture::ePlanarNormalX}, {FbxTexture::eNull, FbxTexture::ePlanarNormalX},
      {FbxTexture::eBox, FbxTexture::ePlanarNormalX},         {FbxTexture::eFace, FbxTexture::ePlanarNormalX},
      {FbxTexture::eNull, FbxTexture::ePlanarNormalX}};
  if (unified < 0 || unified >= static_cast<int>(std::size(kMappings))) return;
  data.mapping = kMappings[unified].type;
  data.planar_normal = kMappings[unified].normal;
}

void read_texture(Document const& document, Element const* holder, Internals::TextureValues& data, bool is_object) {
  if (holder == nullptr) return;
  double numbers[4];
  // The older elements first: a property of the same meaning is the newer word.
  if (read_few(holder->child("ModelUVTranslation"), 0, numbers, 2) == 2) std::copy_n(numbers, 2, data.translation);
  if (read_few(holder->child("ModelUVScaling"), 0, numbers, 2) == 2) std::copy_n(numbers, 2, data.scaling);
  if (read_few(holder->child("Cropping"), 0, numbers, 4) == 4) {
    std::transform(numbers, numbers + 4, data.cropping, whole);
  }
  std::string_view const alpha = raw_text(holder->child("Texture_Alpha_Source"));
  if (alpha == "Alpha_Luminosity" || alpha == "RGB_Intensity" || alpha == "Alpha_Luminance") {
    data.alpha_source = FbxTexture::eRGBIntensity;
  } else if (alpha == "Alpha_Black" || alpha == "Black") {
    data.alpha_source = FbxTexture::eBlack;
  }
  for (PropertyEntry entry; Document::next_property(holder, entry);) {
    std::string_view const name = entry.name;
    std::size_t const count = read_few(entry.element, entry.first_value, numbers, 3);
    if (count == 0) continue;
    if (name == "Translation" && count >= 2) {
      std::copy_n(numbers, 2, data.translation);
    } else if (name == "Rotation" && count == 3) {
      std::copy_n(numbers, 3, data.rotation);
    } else if (name == "Scaling" && count >= 2) {
      std::copy_n(numbers, 2, data.scaling);
    } else if (name == "UVSwap") {
      data.swap_uv = numbers[0] != 0;
    } else if (name == "Texture alpha") {
      data.alpha = numbers[0];
    } else if (name == "CurrentMappingType") {
      set_mapping(whole(numbers[0]), data);
    } else if (name == "TextureTypeUse" && numbers[0] >= 0 && numbers[0] <= 5) {
      data.use = static_cast<FbxTexture::ETextureUse>(whole(numbers[0]));
    } else if (name == "AlphaSource" && numbers[0] >= 0 && numbers[0] <= 2) {
      data.alpha_source = static_cast<FbxTexture::EAlphaSource>(whole(numbers[0]));
    } else if (name == "UseMaterial" && is_object) {
      data.material_use = numbers[0] != 0 ? FbxFileTexture::eModelMaterial : FbxFileTexture::eDefaultMaterial;
    }
  }
  auto const read_name = [&](std::string_view first, std::string_view second, std::string& result) {
    Element const* name = holder->child(first);
    if (name == nullptr) name = holder->child(second);
    if (name != nullptr && name->value_count > 0) result = document.text(name->values[0]);
  };
  read_name("FileName", "Filename", data.file_name);
  read_name("RelativeFilename", "RelativeFileName", data.relative_name);
  charge_text(document, data.file_name);
  charge_text(document, data.relative_name);
}

}  // namespace

TextureMaker::TextureMaker(Document const& document, FbxManager* manager) : document_(document), manager_(manager) {
  read_texture(document, document.find_template("Texture", "FbxFileTexture"), defaults_, false);
}

FbxTexture* TextureMaker::make(DocumentObject const& object) {
  charge(document_, sizeof(Internals::TextureData) + 256);
  FbxTexture* texture = nullptr;
  if (object.type == "LayeredTexture") {
    texture = made(Internals::create<FbxLayeredTexture, Internals::TextureData>(manager_, Internals::kLayeredTexture,
                                                                                object.name));
    Array<int> modes;
    read_array(document_.tree(), object.element->child("BlendModes"), modes);
    charge(document_, modes.size() * sizeof(int));
    Internals::data(*texture).blend_modes.reserve(modes.size());
    for (int const mode : modes) {
      bool const known = mode >= 0 && mode < FbxLayeredTexture::eBlendModeCount;
      Internals::data(*texture).blend_modes.push_back(known ? mode : static_cast<int>(FbxLayeredTexture::eNormal));
    }
  } else if (object.type == "ProceduralTexture") {
    texture = made(Internals::create<FbxProceduralTexture, Internals::TextureData>(
        manager_, Internals::kProceduralTexture, object.name));
  } else {
    texture =
        made(Internals::create<FbxFileTexture, Internals::TextureData>(manager_, Internals::kFileTexture, object.name));
  }
  Internals::TextureData& data = Internals::data(*texture);
  static_cast<Internals::TextureValues&>(data) = defaults_;
  read_texture(document_, object.element, data, true);
  return texture;
}

}  // namespace mirel::fbx
