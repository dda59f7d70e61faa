// What the SDK's objects hold behind their opaque pointers, and how they are made.
#pragma once

#include <fbxsdk.h>

#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "standalone/fbx/mesh_data.h"
#include "standalone/fbx/surface_reader.h"
#include "standalone/fbx/transform.h"

namespace fbxsdk {

struct ClassInfo {
  const char* name;
  const ClassInfo* parent;
};

struct PropertyValue {
  std::string name;
  EFbxType type = eFbxUndefined;
  double numbers[4] = {0, 0, 0, 0};
  std::string text;
};

using PropertyTable = std::vector<PropertyValue>;

struct FbxObject::Data {
  struct Source {
    // Empty: connected to the object itself.
    std::string property;
    FbxObject* object;
  };
  FbxManager* manager = nullptr;
  const ClassInfo* type = nullptr;
  void (*free)(FbxObject* object) = nullptr;
  // Where the manager's list has this object.
  std::size_t position = 0;
  FbxUInt64 id = 0;
  std::string name;
  // In the order of their names.
  PropertyTable properties;
  // Values of the properties that the object leaves out.
  std::shared_ptr<const PropertyTable> defaults;
  std::vector<Source> sources;
};

struct FbxManager::Data {
  std::vector<FbxObject*> objects;
  FbxIOSettings* settings = nullptr;
  FbxUInt64 last_id = 0;
};

struct FbxLayer::Data {
  FbxLayerElementNormal* normals = nullptr;
  FbxLayerElementMaterial* materials = nullptr;
  std::vector<std::pair<FbxLayerElement::EType, FbxLayerElementUV*>> uvs;
};

struct Internals {
  using ObjectData = FbxObject::Data;

  struct SettingsData : ObjectData {
    std::map<std::string, bool> values;
  };
  struct ImporterData;
  struct GlobalSettingsData : ObjectData {
    FbxAxisSystem axes;
    double unit = 1;
  };
  struct SceneData : ObjectData {
    FbxGlobalSettings* settings = nullptr;
    FbxNode* root = nullptr;
    int node_count = 1;
  };
  struct NodeData : ObjectData {
    FbxNode* parent = nullptr;
    std::vector<FbxNode*> children;
    std::vector<FbxSurfaceMaterial*> materials;
    std::vector<FbxNodeAttribute*> attributes;
    mirel::fbx::Transform transform;
    // The transform as a matrix; for children of the root with the scene's change of axes behind it.
    FbxAMatrix local;
  };
  struct AttributeData : ObjectData {
    FbxNodeAttribute::EType kind = FbxNodeAttribute::eUnknown;
    std::vector<FbxNode*> nodes;
  };
  struct GeometryData : AttributeData {
    mirel::fbx::MeshData mesh;
    std::vector<FbxLayer*> layers;
    // Of NURBS surfaces and patches.
    mirel::fbx::Surface surface;
    // What its triangles may take; null for a mesh that has been made here.
    std::shared_ptr<mirel::fbx::MemoryBudget> budget;
    ~GeometryData();
  };
  struct TextureValues {
    double translation[2] = {0, 0};
    double rotation[3] = {0, 0, 0};
    double scaling[2] = {1, 1};
    bool swap_uv = false;
    FbxTexture::EAlphaSource alpha_source = FbxTexture::eNone;
    // Left, top, right, bottom.
    int cropping[4] = {0, 0, 0, 0};
    FbxTexture::EMappingType mapping = FbxTexture::eUV;
    FbxTexture::EPlanarMappingNormal planar_normal = FbxTexture::ePlanarNormalX;
    double alpha = 1;
    FbxTexture::ETextureUse use = FbxTexture::eStandard;
    FbxFileTexture::EMaterialUse material_use = FbxFileTexture::eModelMaterial;
    std::string file_name;
    std::string relative_name;
  };
  struct TextureData : ObjectData, TextureValues {
    std::vector<int> blend_modes;
  };
  struct ImplementationData : ObjectData {
    std::string language;
  };

  // The classes, each with the one it derives from.
  static const ClassInfo kObject, kIOSettings, kIOBase, kImporter, kGlobalSettings, kCollection, kDocument, kScene,
      kNode, kNodeAttribute, kLayerContainer, kGeometryBase, kGeometry, kMesh, kNurbs, kNurbsSurface, kPatch,
      kSurfaceMaterial, kSurfaceLambert, kSurfacePhong, kImplementation, kTexture, kFileTexture, kProceduralTexture,
      kLayeredTexture;

  static const ClassInfo* info(const FbxClassId& id) { return id.mInfo; }
  static constexpr FbxClassId class_id(const ClassInfo& info) { return FbxClassId(&info); }

  // A new object of the manager; null when memory runs out.
  template <class T, class D>
  static T* create(FbxManager* manager, const ClassInfo& type, std::string name) noexcept {
    if (manager == nullptr) return nullptr;
    try {
      std::unique_ptr<D> data = std::make_unique<D>();
      data->manager = manager;
      data->type = &type;
      data->name = std::move(name);
      data->free = [](FbxObject* object) {
        D* const freed = static_cast<D*>(object->mObject);
        delete static_cast<T*>(object);
        delete freed;
      };
      // A place that stays empty when the next line fails.
      manager->mManager->objects.push_back(nullptr);
      T* const object = new T;
      data->position = manager->mManager->objects.size() - 1;
      data->id = ++manager->mManager->last_id;
      object->mObject = data.release();
      manager->mManager->objects.back() = object;
      return object;
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
  static void destroy(FbxObject* object);

  static ObjectData& data(const FbxObject& object) { return *object.mObject; }
  static SettingsData& data(const FbxIOSettings& object) { return static_cast<SettingsData&>(*object.mObject); }
  static ImporterData& data(const FbxIOBase& object);
  static GlobalSettingsData& data(const FbxGlobalSettings& object) {
    return static_cast<GlobalSettingsData&>(*object.mObject);
  }
  static SceneData& data(const FbxScene& object) { return static_cast<SceneData&>(*object.mObject); }
  static NodeData& data(const FbxNode& object) { return static_cast<NodeData&>(*object.mObject); }
  static AttributeData& data(const FbxNodeAttribute& object) { return static_cast<AttributeData&>(*object.mObject); }
  static GeometryData& data(const FbxLayerContainer& object) { return static_cast<GeometryData&>(*object.mObject); }
  static TextureData& data(const FbxTexture& object) { return static_cast<TextureData&>(*object.mObject); }
  static ImplementationData& data(const FbxImplementation& object) {
    return static_cast<ImplementationData&>(*object.mObject);
  }

  static const PropertyValue* find_property(const ObjectData& object, const char* name, bool case_sensitive);
  static FbxProperty property(const FbxObject& object, const char* name, bool case_sensitive);
  static int count_sources(const FbxObject& object, const char* property, const FbxClassId& type);
  static FbxObject* find_source(const FbxObject& object, const char* property, const FbxClassId& type, int index);

  static void set_status(FbxStatus& status, FbxStatus::EStatusCode code, const std::string& text);

  // A mesh object around the data, with its layers.
  static FbxMesh* create_mesh(FbxManager* manager, std::string name, mirel::fbx::MeshData&& mesh);

  static FbxGeometry* create_surface(FbxManager* manager, std::string name, FbxNodeAttribute::EType type,
                                     mirel::fbx::Surface&& surface);

  static FbxAxisSystem axis_system(int right, int up, int front);
  static int axis(const FbxAxisSystem& axes, int which);
};

}  // namespace fbxsdk
