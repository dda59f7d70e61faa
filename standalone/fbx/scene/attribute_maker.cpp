#include "standalone/fbx/scene/attribute_maker.h"

#include <utility>

#include "standalone/fbx/mesh_reader.h"
#include "standalone/fbx/scene/object_making.h"
#include "standalone/fbx/surface_reader.h"

namespace mirel::fbx {

using namespace fbxsdk;

FbxNodeAttribute::EType attribute_type(std::string_view kind) {
  static constexpr struct {
    std::string_view kind;
    FbxNodeAttribute::EType type;
  } kTypes[] = {{"Null", FbxNodeAttribute::eNull},
                {"Marker", FbxNodeAttribute::eMarker},
                {"FKEffector", FbxNodeAttribute::eMarker},
                {"IKEffector", FbxNodeAttribute::eMarker},
                {"Limb", FbxNodeAttribute::eSkeleton},
                {"LimbNode", FbxNodeAttribute::eSkeleton},
                {"Root", FbxNodeAttribute::eSkeleton},
                {"Effector", FbxNodeAttribute::eSkeleton},
                {"Mesh", FbxNodeAttribute::eMesh},
                {"Nurb", FbxNodeAttribute::eNurbs},
                {"Nurbs", FbxNodeAttribute::eNurbs},
                {"Patch", FbxNodeAttribute::ePatch},
                {"Camera", FbxNodeAttribute::eCamera},
                {"CameraStereo", FbxNodeAttribute::eCameraStereo},
                {"CameraSwitcher", FbxNodeAttribute::eCameraSwitcher},
                {"Switcher", FbxNodeAttribute::eCameraSwitcher},
                {"Light", FbxNodeAttribute::eLight},
                {"OpticalReference", FbxNodeAttribute::eOpticalReference},
                {"OpticalMarker", FbxNodeAttribute::eOpticalMarker},
                {"NurbsCurve", FbxNodeAttribute::eNurbsCurve},
                {"TrimNurbsSurface", FbxNodeAttribute::eTrimNurbsSurface},
                {"Boundary", FbxNodeAttribute::eBoundary},
                {"NurbsSurface", FbxNodeAttribute::eNurbsSurface},
                {"Shape", FbxNodeAttribute::eShape},
                {"LodGroup", FbxNodeAttribute::eLODGroup},
                {"LODGroup", FbxNodeAttribute::eLODGroup},
                {"SubDiv", FbxNodeAttribute::eSubDiv},
                {"CachedEffect", FbxNodeAttribute::eCachedEffect},
                {"Line", FbxNodeAttribute::eLine}};
  for (auto const& entry : kTypes) {
    if (entry.kind == kind) return entry.type;
  }
  return FbxNodeAttribute::eUnknown;
}

std::string held_attribute_name(Document const& document, DocumentObject const& object) {
  Element const* const stored = object.element->child("NodeAttributeName");
  if (stored == nullptr || stored->value_count == 0) return object.name;
  std::string const full = document.text(stored->values[0]);
  std::size_t const packed = full.find(std::string_view("\0\1", 2));
  if (packed != std::string::npos) return full.substr(0, packed);
  std::size_t const divider = full.find("::");
  return divider != std::string::npos ? full.substr(divider + 2) : full;
}

FbxNodeAttribute* make_geometry(Document const& document, FbxManager* manager, DocumentObject const& object,
                                FbxNodeAttribute::EType type, std::string const& name) {
  switch (type) {
    case FbxNodeAttribute::eMesh: {
      charge(document, sizeof(Internals::GeometryData) + 64);
      MeshData mesh = read_mesh(document, *object.element);
      FbxMesh* const made_mesh = made(Internals::create_mesh(manager, name, std::move(mesh)));
      Internals::data(*made_mesh).budget = document.tree().shared_budget;
      return made_mesh;
    }
    case FbxNodeAttribute::eNurbs:
    case FbxNodeAttribute::eNurbsSurface:
    case FbxNodeAttribute::ePatch: {
      charge(document, sizeof(Internals::GeometryData) + 64);
      FbxGeometry* const surface =
          made(Internals::create_surface(manager, name, type, read_surface(document, *object.element, type)));
      Internals::data(*surface).budget = document.tree().shared_budget;
      return surface;
    }
    default:
      return make_attribute(document, manager, type, name);
  }
}

FbxNodeAttribute* make_attribute(Document const& document, FbxManager* manager, FbxNodeAttribute::EType type,
                                 std::string const& name) {
  charge(document, sizeof(Internals::AttributeData) + 64);
  FbxNodeAttribute* const attribute =
      made(Internals::create<FbxNodeAttribute, Internals::AttributeData>(manager, Internals::kNodeAttribute, name));
  Internals::data(*attribute).kind = type;
  return attribute;
}

}  // namespace mirel::fbx
