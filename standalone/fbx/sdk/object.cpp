// Objects, their classes and their connections.
#include <strings.h>

#include <algorithm>

#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

constexpr ClassInfo Internals::kObject = {"FbxObject", nullptr};
constexpr ClassInfo Internals::kIOSettings = {"FbxIOSettings", &kObject};
constexpr ClassInfo Internals::kIOBase = {"FbxIOBase", &kObject};
constexpr ClassInfo Internals::kImporter = {"FbxImporter", &kIOBase};
constexpr ClassInfo Internals::kGlobalSettings = {"FbxGlobalSettings", &kObject};
constexpr ClassInfo Internals::kCollection = {"FbxCollection", &kObject};
constexpr ClassInfo Internals::kDocument = {"FbxDocument", &kCollection};
constexpr ClassInfo Internals::kScene = {"FbxScene", &kDocument};
constexpr ClassInfo Internals::kNode = {"FbxNode", &kObject};
constexpr ClassInfo Internals::kNodeAttribute = {"FbxNodeAttribute", &kObject};
constexpr ClassInfo Internals::kLayerContainer = {"FbxLayerContainer", &kNodeAttribute};
constexpr ClassInfo Internals::kGeometryBase = {"FbxGeometryBase", &kLayerContainer};
constexpr ClassInfo Internals::kGeometry = {"FbxGeometry", &kGeometryBase};
constexpr ClassInfo Internals::kMesh = {"FbxMesh", &kGeometry};
constexpr ClassInfo Internals::kNurbs = {"FbxNurbs", &kGeometry};
constexpr ClassInfo Internals::kNurbsSurface = {"FbxNurbsSurface", &kGeometry};
constexpr ClassInfo Internals::kPatch = {"FbxPatch", &kGeometry};
constexpr ClassInfo Internals::kSurfaceMaterial = {"FbxSurfaceMaterial", &kObject};
constexpr ClassInfo Internals::kSurfaceLambert = {"FbxSurfaceLambert", &kSurfaceMaterial};
constexpr ClassInfo Internals::kSurfacePhong = {"FbxSurfacePhong", &kSurfaceLambert};
constexpr ClassInfo Internals::kImplementation = {"FbxImplementation", &kObject};
constexpr ClassInfo Internals::kTexture = {"FbxTexture", &kObject};
constexpr ClassInfo Internals::kFileTexture = {"FbxFileTexture", &kTexture};
constexpr ClassInfo Internals::kProceduralTexture = {"FbxProceduralTexture", &kTexture};
constexpr ClassInfo Internals::kLayeredTexture = {"FbxLayeredTexture", &kTexture};

constexpr FbxClassId FbxObject::ClassId = Internals::class_id(Internals::kObject);
constexpr FbxClassId FbxIOSettings::ClassId = Internals::class_id(Internals::kIOSettings);
constexpr FbxClassId FbxIOBase::ClassId = Internals::class_id(Internals::kIOBase);
constexpr FbxClassId FbxImporter::ClassId = Internals::class_id(Internals::kImporter);
constexpr FbxClassId FbxGlobalSettings::ClassId = Internals::class_id(Internals::kGlobalSettings);
constexpr FbxClassId FbxCollection::ClassId = Internals::class_id(Internals::kCollection);
constexpr FbxClassId FbxDocument::ClassId = Internals::class_id(Internals::kDocument);
constexpr FbxClassId FbxScene::ClassId = Internals::class_id(Internals::kScene);
constexpr FbxClassId FbxNode::ClassId = Internals::class_id(Internals::kNode);
constexpr FbxClassId FbxNodeAttribute::ClassId = Internals::class_id(Internals::kNodeAttribute);
constexpr FbxClassId FbxLayerContainer::ClassId = Internals::class_id(Internals::kLayerContainer);
constexpr FbxClassId FbxGeometryBase::ClassId = Internals::class_id(Internals::kGeometryBase);
constexpr FbxClassId FbxGeometry::ClassId = Internals::class_id(Internals::kGeometry);
constexpr FbxClassId FbxMesh::ClassId = Internals::class_id(Internals::kMesh);
constexpr FbxClassId FbxNurbs::ClassId = Internals::class_id(Internals::kNurbs);
constexpr FbxClassId FbxNurbsSurface::ClassId = Internals::class_id(Internals::kNurbsSurface);
constexpr FbxClassId FbxPatch::ClassId = Internals::class_id(Internals::kPatch);
constexpr FbxClassId FbxSurfaceMaterial::ClassId = Internals::class_id(Internals::kSurfaceMaterial);
constexpr FbxClassId FbxSurfaceLambert::ClassId = Internals::class_id(Internals::kSurfaceLambert);
constexpr FbxClassId FbxSurfacePhong::ClassId = Internals::class_id(Internals::kSurfacePhong);
constexpr FbxClassId FbxImplementation::ClassId = Internals::class_id(Internals::kImplementation);
constexpr FbxClassId FbxTexture::ClassId = Internals::class_id(Internals::kTexture);
constexpr FbxClassId FbxFileTexture::ClassId = Internals::class_id(Internals::kFileTexture);
constexpr FbxClassId FbxProceduralTexture::ClassId = Internals::class_id(Internals::kProceduralTexture);
constexpr FbxClassId FbxLayeredTexture::ClassId = Internals::class_id(Internals::kLayeredTexture);

bool FbxClassId::Is(const FbxClassId& pId) const {
  if (pId.mInfo == nullptr) return false;
  for (const ClassInfo* info = mInfo; info != nullptr; info = info->parent) {
    if (info == pId.mInfo) return true;
  }
  return false;
}

const char* FbxClassId::GetName() const {
  return mInfo == nullptr ? "" : mInfo->name;
}

FbxObject::FbxObject() : mObject(nullptr) {}
FbxObject::~FbxObject() {}

FbxClassId FbxObject::GetClassId() const {
  return Internals::class_id(*mObject->type);
}
const char* FbxObject::GetName() const {
  return mObject->name.c_str();
}
FbxUInt64 FbxObject::GetUniqueID() const {
  return mObject->id;
}
void FbxObject::Destroy(bool) {
  Internals::destroy(this);
}

int FbxObject::CountSources(const FbxClassId& pClass) const {
  return Internals::count_sources(*this, "", pClass);
}
FbxObject* FbxObject::FindSource(const FbxClassId& pClass, int pIndex) const {
  return Internals::find_source(*this, "", pClass, pIndex);
}

FbxProperty FbxObject::FindProperty(const char* pName, bool pCaseSensitive) const {
  return Internals::property(*this, pName == nullptr ? "" : pName, pCaseSensitive);
}

FbxProperty Internals::property(const FbxObject& object, const char* name, bool case_sensitive) {
  FbxProperty property;
  property.mOwner = &object;
  property.mValue = find_property(data(object), name, case_sensitive);
  return property;
}

const PropertyValue* Internals::find_property(const ObjectData& object, const char* name, bool case_sensitive) {
  auto const find_in = [&](const PropertyTable& table) -> const PropertyValue* {
    if (case_sensitive) {
      auto const found = std::lower_bound(table.begin(), table.end(), name,
                                          [](const PropertyValue& value, const char* key) { return value.name < key; });
      return found != table.end() && found->name == name ? &*found : nullptr;
    }
    for (const PropertyValue& value : table) {
      if (strcasecmp(value.name.c_str(), name) == 0) return &value;
    }
    return nullptr;
  };
  const PropertyValue* const own = find_in(object.properties);
  return own != nullptr || object.defaults == nullptr ? own : find_in(*object.defaults);
}

int Internals::count_sources(const FbxObject& object, const char* property, const FbxClassId& type) {
  int count = 0;
  for (const ObjectData::Source& source : data(object).sources) {
    if (source.property == property && source.object->Is(type)) ++count;
  }
  return count;
}

FbxObject* Internals::find_source(const FbxObject& object, const char* property, const FbxClassId& type, int index) {
  for (const ObjectData::Source& source : data(object).sources) {
    if (source.property == property && source.object->Is(type) && index-- == 0) return source.object;
  }
  return nullptr;
}

void Internals::destroy(FbxObject* object) {
  ObjectData& freed = *object->mObject;
  FbxManager::Data& manager = *freed.manager->mManager;
  manager.objects[freed.position] = nullptr;
  if (manager.settings == object) manager.settings = nullptr;
  freed.free(object);
}

}  // namespace fbxsdk
