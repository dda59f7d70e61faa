#include "standalone/fbx/scene/material_maker.h"

#include <algorithm>

#include "standalone/fbx/property_types.h"
#include "standalone/fbx/scene/object_making.h"

namespace mirel::fbx {

using namespace fbxsdk;

namespace {

bool same_word(std::string_view a, std::string_view lower) {
  return a.size() == lower.size() && std::equal(a.begin(), a.end(), lower.begin(), [](char x, char y) {
           return (x >= 'A' && x <= 'Z' ? static_cast<char>(x + 32) : x) == y;
         });
}

// What the two shading models have by themselves, given by the file or not: textures can be connected to all of it.
struct ClassProperty {
  char const* name;
  int components;
  double value;
  bool is_phong_only;
};

constexpr ClassProperty kClassProperties[] = {{"DiffuseColor", 3, 0.8, false},
                                              {"DiffuseFactor", 1, 1, false},
                                              {"EmissiveColor", 3, 0, false},
                                              {"EmissiveFactor", 1, 1, false},
                                              {"AmbientColor", 3, 0.2, false},
                                              {"AmbientFactor", 1, 1, false},
                                              {"NormalMap", 3, 0, false},
                                              {"Bump", 3, 0, false},
                                              {"BumpFactor", 1, 1, false},
                                              {"TransparentColor", 3, 0, false},
                                              {"TransparencyFactor", 1, 0, false},
                                              {"DisplacementColor", 3, 0, false},
                                              {"DisplacementFactor", 1, 1, false},
                                              {"VectorDisplacementColor", 3, 0, false},
                                              {"VectorDisplacementFactor", 1, 1, false},
                                              {"SpecularColor", 3, 0.2, true},
                                              {"SpecularFactor", 1, 1, true},
                                              {"ShininessExponent", 1, 20, true},
                                              {"ReflectionColor", 3, 0, true},
                                              {"ReflectionFactor", 1, 1, true}};

void add_class_property(ClassProperty const& own, PropertyTable& table) {
  bool const is_given =
      std::any_of(table.begin(), table.end(), [&](PropertyValue const& value) { return value.name == own.name; });
  if (is_given) return;
  PropertyValue& value = table.emplace_back();
  value.name = own.name;
  value.type = own.components == 3 ? eFbxDouble3 : eFbxDouble;
  std::fill_n(value.numbers, own.components, own.value);
}

// Appends all properties of an element; there is room for some more then.
void read_properties(Document const& document, Element const* holder, PropertyTable& table, std::size_t more) {
  std::size_t count = 0;
  for (PropertyEntry entry; Document::next_property(holder, entry);) ++count;
  charge(document, (count + more) * sizeof(PropertyValue));
  table.reserve(table.size() + count + more);
  for (PropertyEntry entry; Document::next_property(holder, entry);) {
    table.push_back(read_value(document, entry));
    charge_text(document, table.back().name);
    charge_text(document, table.back().text);
  }
}

}  // namespace

std::shared_ptr<PropertyTable const> MaterialMaker::defaults(std::string_view class_name) {
  std::shared_ptr<PropertyTable const>& known = defaults_[std::string(class_name)];
  if (known != nullptr) return known;
  auto table = std::make_shared<PropertyTable>();
  read_properties(document_, document_.find_template("Material", class_name), *table, std::size(kClassProperties));
  for (ClassProperty const& own : kClassProperties) {
    if (class_name == "FbxSurfacePhong" || (class_name == "FbxSurfaceLambert" && !own.is_phong_only)) {
      add_class_property(own, *table);
    }
  }
  sort_properties(*table);
  known = std::move(table);
  return known;
}

FbxSurfaceMaterial* MaterialMaker::make(DocumentObject const& object) {
  std::string_view shading = raw_text(object.element->child("ShadingModel"));
  PropertyEntry entry;
  if (shading.empty() && Document::find_property(object.element, "ShadingModel", entry)) {
    shading = raw_text(entry.element, entry.first_value);
  }
  bool const phong = same_word(shading, "phong");
  bool const lambert = same_word(shading, "lambert");
  charge(document_, sizeof(Internals::ObjectData) + 128);
  FbxSurfaceMaterial* material = nullptr;
  if (phong) {
    material = made(
        Internals::create<FbxSurfacePhong, Internals::ObjectData>(manager_, Internals::kSurfacePhong, object.name));
  } else if (lambert) {
    material = made(
        Internals::create<FbxSurfaceLambert, Internals::ObjectData>(manager_, Internals::kSurfaceLambert, object.name));
  } else {
    material = made(Internals::create<FbxSurfaceMaterial, Internals::ObjectData>(manager_, Internals::kSurfaceMaterial,
                                                                                 object.name));
  }
  Internals::ObjectData& data = Internals::data(*material);
  read_properties(document_, object.element, data.properties, 1);
  // Some writers of version 6 give only the colour that the factor has been applied to.
  PropertyEntry older_diffuse;
  if (!Document::find_property(object.element, FbxSurfaceMaterial::sDiffuse, entry) &&
      Document::find_property(object.element, "Diffuse", older_diffuse) &&
      older_diffuse.element->name() == "Property") {
    data.properties.push_back(read_value(document_, older_diffuse));
    data.properties.back().name = FbxSurfaceMaterial::sDiffuse;
  }
  sort_properties(data.properties);
  data.defaults = defaults(phong ? "FbxSurfacePhong" : lambert ? "FbxSurfaceLambert" : "FbxSurfaceMaterial");
  if (FbxSurfaceLambert* const shaded = FbxCast<FbxSurfaceLambert>(material)) {
    shaded->Diffuse = FbxPropertyT<FbxDouble3>(shaded->FindProperty(FbxSurfaceMaterial::sDiffuse));
  }
  return material;
}

}  // namespace mirel::fbx
