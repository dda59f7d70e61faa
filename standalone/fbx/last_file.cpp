#include "standalone/fbx/last_file.h"

#include <string>

#include "standalone/fbx/mirel_fbx.h"
#include "standalone/fbx/sdk/internals.h"

namespace {

struct LastFile {
  int version = 0;
  bool is_ascii = false;
  std::string creator;
  std::string application;
  int axes[3] = {0, 0, 0};
  double unit_centimeters = 0;
  int shapes_left_out = 0;
};

LastFile& last_file() {
  static LastFile file;
  return file;
}

// The first text of an element, "" where there is none.
std::string text_of(mirel::fbx::Document const& document, mirel::fbx::Element const* element) {
  return element != nullptr && element->value_count > 0 ? document.text(element->values[0]) : std::string();
}

std::string find_creator(mirel::fbx::Document const& document) {
  mirel::fbx::Element const& root = document.tree().root;
  std::string const creator = text_of(document, root.child("Creator"));
  mirel::fbx::Element const* const header = root.child("FBXHeaderExtension");
  return creator.empty() && header != nullptr ? text_of(document, header->child("Creator")) : creator;
}

// In the header since version 7, before among the objects.
std::string find_application(mirel::fbx::Document const& document) {
  mirel::fbx::PropertyEntry entry;
  for (char const* section : {"FBXHeaderExtension", "Objects"}) {
    mirel::fbx::Element const* const holder = document.tree().root.child(section);
    mirel::fbx::Element const* const info = holder == nullptr ? nullptr : holder->child("SceneInfo");
    if (mirel::fbx::Document::find_property(info, "Original|ApplicationName", entry) &&
        entry.first_value < entry.element->value_count) {
      return document.text(entry.element->values[entry.first_value]);
    }
  }
  return {};
}

}  // namespace

namespace mirel::fbx {

void note_last_file(Document const& document, fbxsdk::FbxScene& scene) {
  LastFile file;
  file.version = document.tree().version;
  file.is_ascii = document.tree().is_text;
  file.creator = find_creator(document);
  file.application = find_application(document);
  fbxsdk::FbxAxisSystem const axes = scene.GetGlobalSettings().GetAxisSystem();
  for (int direction = 0; direction < 3; ++direction) {
    file.axes[direction] = fbxsdk::Internals::axis(axes, direction);
  }
  file.unit_centimeters = scene.GetGlobalSettings().GetSystemUnit().GetScaleFactor();
  last_file() = std::move(file);
}

void note_shape_left_out() {
  ++last_file().shapes_left_out;
}

}  // namespace mirel::fbx

extern "C" {

FBXSDK_DLL int mirel_fbx_version() {
  return last_file().version;
}

FBXSDK_DLL int mirel_fbx_is_ascii() {
  return last_file().is_ascii ? 1 : 0;
}

FBXSDK_DLL char const* mirel_fbx_creator() {
  return last_file().creator.c_str();
}

FBXSDK_DLL char const* mirel_fbx_application() {
  return last_file().application.c_str();
}

FBXSDK_DLL int mirel_fbx_axis(int direction) {
  return direction >= 0 && direction < 3 ? last_file().axes[direction] : 0;
}

FBXSDK_DLL double mirel_fbx_unit() {
  return last_file().unit_centimeters;
}

FBXSDK_DLL int mirel_fbx_shapes_left_out() {
  return last_file().shapes_left_out;
}
}
