#include "standalone/fbx/scene/transform_reader.h"

#include <algorithm>
#include <cmath>

#include "standalone/fbx/array_reader.h"
#include "standalone/fbx/document.h"
#include "standalone/fbx/property_types.h"

namespace mirel::fbx {
namespace {

// What is no number leaves the value as it was: one of them would take away the place of all that hangs on the node.
void read_vector(PropertyEntry const& entry, Vector3& value) {
  double numbers[3];
  if (read_few(entry.element, entry.first_value, numbers, 3) != 3) return;
  if (std::all_of(numbers, numbers + 3, [](double number) { return std::isfinite(number); })) {
    value = {numbers[0], numbers[1], numbers[2]};
  }
}

}  // namespace

void read_transform(Element const* holder, Transform& transform) {
  for (PropertyEntry entry; Document::next_property(holder, entry);) {
    std::string_view const name = entry.name;
    double number = 0;
    if (name == "Lcl Translation") {
      read_vector(entry, transform.translation);
    } else if (name == "Lcl Rotation") {
      read_vector(entry, transform.rotation);
    } else if (name == "Lcl Scaling") {
      read_vector(entry, transform.scaling);
    } else if (name == "RotationOffset") {
      read_vector(entry, transform.rotation_offset);
    } else if (name == "RotationPivot") {
      read_vector(entry, transform.rotation_pivot);
    } else if (name == "PreRotation") {
      read_vector(entry, transform.pre_rotation);
    } else if (name == "PostRotation") {
      read_vector(entry, transform.post_rotation);
    } else if (name == "ScalingOffset") {
      read_vector(entry, transform.scaling_offset);
    } else if (name == "ScalingPivot") {
      read_vector(entry, transform.scaling_pivot);
    } else if (name == "GeometricTranslation") {
      read_vector(entry, transform.geometric_translation);
    } else if (name == "GeometricRotation") {
      read_vector(entry, transform.geometric_rotation);
    } else if (name == "GeometricScaling") {
      read_vector(entry, transform.geometric_scaling);
    } else if (name == "RotationOrder") {
      if (read_number(entry, number) && number >= 0 && number <= 6) {
        transform.order = static_cast<RotationOrder>(whole(number));
      }
    } else if (name == "RotationActive") {
      if (read_number(entry, number)) transform.rotation_active = number != 0;
    }
  }
}

}  // namespace mirel::fbx
