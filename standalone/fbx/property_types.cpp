#include "standalone/fbx/property_types.h"

#include <algorithm>
#include <cmath>

#include "standalone/fbx/array_reader.h"

namespace mirel::fbx {

using namespace fbxsdk;

EFbxType property_type(std::string_view name) {
  static constexpr struct {
    std::string_view name;
    EFbxType type;
  } kTypes[] = {{"Color", eFbxDouble3},
                {"ColorRGB", eFbxDouble3},
                {"Vector", eFbxDouble3},
                {"Vector3D", eFbxDouble3},
                {"Lcl Translation", eFbxDouble3},
                {"Lcl Rotation", eFbxDouble3},
                {"Lcl Scaling", eFbxDouble3},
                {"Translation", eFbxDouble3},
                {"Rotation", eFbxDouble3},
                {"Scaling", eFbxDouble3},
                {"double3", eFbxDouble3},
                {"Vector2D", eFbxDouble2},
                {"Vector2", eFbxDouble2},
                {"ColorAndAlpha", eFbxDouble4},
                {"ColorRGBA", eFbxDouble4},
                {"Vector4D", eFbxDouble4},
                {"Vector4", eFbxDouble4},
                {"Number", eFbxDouble},
                {"double", eFbxDouble},
                {"Real", eFbxDouble},
                {"Intensity", eFbxDouble},
                {"Visibility", eFbxDouble},
                {"FieldOfView", eFbxDouble},
                {"Float", eFbxFloat},
                {"float", eFbxFloat},
                {"bool", eFbxBool},
                {"Bool", eFbxBool},
                {"Action", eFbxBool},
                {"int", eFbxInt},
                {"Integer", eFbxInt},
                {"Short", eFbxShort},
                {"UShort", eFbxUShort},
                {"UInteger", eFbxUInt},
                {"LongLong", eFbxLongLong},
                {"ULongLong", eFbxULongLong},
                {"Char", eFbxChar},
                {"Byte", eFbxUChar},
                {"enum", eFbxEnum},
                {"Enum", eFbxEnum},
                {"Visibility Inheritance", eFbxBool},
                {"KString", eFbxString},
                {"charptr", eFbxString},
                {"Url", eFbxString},
                {"XRefUrl", eFbxString},
                {"KTime", eFbxTime},
                {"Time", eFbxTime},
                {"DateTime", eFbxDateTime},
                {"matrix4x4", eFbxDouble4x4},
                {"Matrix Transformation", eFbxDouble4x4},
                {"Matrix", eFbxDouble4x4},
                {"Blob", eFbxBlob},
                {"Distance", eFbxDistance},
                {"object", eFbxReference},
                {"Reference", eFbxReference}};
  for (auto const& entry : kTypes) {
    if (entry.name == name) return entry.type;
  }
  return eFbxUndefined;
}

PropertyValue read_value(Document const& document, PropertyEntry const& entry) {
  PropertyValue value;
  value.name = entry.name;
  value.type = property_type(entry.type);
  read_few(entry.element, entry.first_value, value.numbers, std::size(value.numbers));
  if (entry.first_value < entry.element->value_count &&
      entry.element->values[entry.first_value].kind == Value::Kind::kText) {
    value.text = document.text(entry.element->values[entry.first_value]);
  }
  return value;
}

void sort_properties(PropertyTable& table) {
  auto const by_name = [](PropertyValue const& a, PropertyValue const& b) { return a.name < b.name; };
  if (std::is_sorted(table.begin(), table.end(), by_name)) return;
  std::stable_sort(table.begin(), table.end(), by_name);
}

bool read_number(PropertyEntry const& entry, double& value) {
  return read_few(entry.element, entry.first_value, &value, 1) == 1;
}

int whole(double value) {
  return std::abs(value) < 2e9 ? static_cast<int>(value) : 0;
}

}  // namespace mirel::fbx
