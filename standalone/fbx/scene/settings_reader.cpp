#include "standalone/fbx/scene/settings_reader.h"

#include <cmath>

#include "standalone/fbx/property_types.h"

namespace mirel::fbx {

using namespace fbxsdk;

void read_settings(Document const& document, Internals::GlobalSettingsData& settings) {
  // Y up, Z to the front, X to the right, in centimetres.
  double axis[3] = {0, 1, 2};
  double sign[3] = {1, 1, 1};
  static constexpr std::string_view kNames[3] = {"CoordAxis", "UpAxis", "FrontAxis"};
  static constexpr std::string_view kSignNames[3] = {"CoordAxisSign", "UpAxisSign", "FrontAxisSign"};
  PropertyEntry entry;
  for (std::size_t k = 0; k < 3; ++k) {
    if (Document::find_property(document.global_settings(), kNames[k], entry)) read_number(entry, axis[k]);
    if (Document::find_property(document.global_settings(), kSignNames[k], entry)) read_number(entry, sign[k]);
  }
  int axes[3];
  int found = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    int const one = whole(axis[k]);
    if (one < 0 || one > 2) break;
    found |= 1 << one;
    axes[k] = (one + 1) * (sign[k] < 0 ? -1 : 1);
  }
  // Axes that are no system stay Y up.
  settings.axes = found == 7 ? Internals::axis_system(axes[0], axes[1], axes[2]) : FbxAxisSystem::MayaYUp;
  double unit = 1;
  if (Document::find_property(document.global_settings(), "UnitScaleFactor", entry) && read_number(entry, unit) &&
      std::isfinite(unit) && unit > 0) {
    settings.unit = unit;
  }
}

}  // namespace mirel::fbx
