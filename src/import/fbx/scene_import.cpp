#include "src/import/fbx/scene_import.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/method_table.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"
#include "src/import/fbx/material_conversion.h"
#include "src/import/fbx/mesh_conversion.h"
#include "src/import/fbx/node_transformation.h"
#include "src/import/fbx/object_identifier.h"

namespace {

struct ImportSetting {
  char const* name;
  bool isOn;
};

constexpr ImportSetting kImportSettings[] = {
    {"Import|AdvOptGrp|FileFormat|Fbx|Material", true},        {"Import|AdvOptGrp|FileFormat|Fbx|Texture", true},
    {"Import|AdvOptGrp|FileFormat|Fbx|Link", false},           {"Import|AdvOptGrp|FileFormat|Fbx|Shape", false},
    {"Import|AdvOptGrp|FileFormat|Fbx|Gobo", false},           {"Import|AdvOptGrp|FileFormat|Fbx|Animation", false},
    {"Import|AdvOptGrp|FileFormat|Fbx|Global_Settings", true},
};

// The SDK makes null where memory runs out.
template <typename Made>
Made* requireMade(Made* made) {
  if (made == nullptr) {
    rb_memerror();
  }
  return made;
}

// The file's scene, or null after the console lines that say why.
fbxsdk::FbxScene* readScene(fbxsdk::FbxManager* manager, char const* path) {
  manager->SetIOSettings(requireMade(fbxsdk::FbxIOSettings::Create(manager, "IOSRoot")));
  fbxsdk::FbxImporter* const importer = requireMade(fbxsdk::FbxImporter::Create(manager, ""));
  for (ImportSetting const& setting : kImportSettings) {
    manager->GetIOSettings()->SetBoolProp(setting.name, setting.isOn);
  }
  if (!importer->Initialize(path, -1, manager->GetIOSettings())) {
    rb_puts("Call to FbxImporter::Initialize() failed.\n");
    rb_puts(importer->GetStatus().GetErrorString());
    importer->Destroy(false);
    return nullptr;
  }
  fbxsdk::FbxScene* const scene = requireMade(fbxsdk::FbxScene::Create(manager, "myScene"));
  updateStatus("Reading File...");
  if (!importer->Import(scene, false)) {
    rb_puts("Failed to import the file");
    rb_puts(importer->GetStatus().GetErrorString());
    importer->Destroy(false);
    return nullptr;
  }
  int upSign = 0;
  scene->GetGlobalSettings().GetAxisSystem().GetUpVector(upSign);
  int major = 0;
  int minor = 0;
  int revision = 0;
  importer->GetFileVersion(major, minor, revision);
  importer->Destroy(false);
  return scene;
}

// 0 to 4 for the five units that the Ruby side knows, -1 for any other.
int findUnitCode(fbxsdk::FbxScene* scene) {
  fbxsdk::FbxSystemUnit const unit = scene->GetGlobalSettings().GetSystemUnit();
  fbxsdk::FbxSystemUnit const* const known[] = {&fbxsdk::FbxSystemUnit::Inch, &fbxsdk::FbxSystemUnit::Foot,
                                                &fbxsdk::FbxSystemUnit::mm, &fbxsdk::FbxSystemUnit::cm,
                                                &fbxsdk::FbxSystemUnit::m};
  int code = 0;
  for (fbxsdk::FbxSystemUnit const* candidate : known) {
    if (unit == *candidate) {
      return code;
    }
    ++code;
  }
  return -1;
}

void sendUnit(fbxsdk::FbxScene* scene, VALUE self) {
  static ID defaultUnit;
  static ID toInteger;
  static ID setUnit;
  int const known = findUnitCode(scene);
  unsigned int code = static_cast<unsigned int>(known);
  if (known < 0) {
    VALUE const unit = rb_funcall(self, internedName(defaultUnit, "default_unit"), 0);
    code = NUM2UINT(rb_funcall(unit, internedName(toInteger, "to_i"), 0));
  }
  rb_funcall(self, internedName(setUnit, "set_unit"), 1, GetRubyInterface(code));
}

// From the turn to Z up to the last node.
VALUE walkScene(VALUE self, fbxsdk::FbxScene* scene, fbxsdk::FbxGeometryConverter& converter) {
  static ID rootDefinition;
  fbxsdk::FbxAxisSystem::MayaZUp.ConvertScene(scene);
  sendUnit(scene, self);
  fbxsdk::FbxNode* const root = scene->GetRootNode();
  int const nodeCount = scene->GetNodeCount();
  setTask(self, "Mireling Model:");
  setTaskCount(static_cast<unsigned int>(nodeCount));
  rb_puts("Building Scene Graph...");
  VALUE const rootParent = rb_funcall(self, internedName(rootDefinition, "get_root_definition"), 0);
  if (root != nullptr) {
    int const childCount = root->GetChildCount(false);
    for (int child = 0; child < childCount; ++child) {
      if (!addNode(root->GetChild(child), rootParent, self, converter)) {
        return Qfalse;
      }
    }
  }
  rb_puts("Finished Traversing scene");
  return Qtrue;
}

bool isTaken(fbxsdk::FbxNodeAttribute const* attribute) {
  if (attribute == nullptr) {
    return false;
  }
  switch (attribute->GetAttributeType()) {
    case fbxsdk::FbxNodeAttribute::eMesh:
    case fbxsdk::FbxNodeAttribute::eNurbs:
    case fbxsdk::FbxNodeAttribute::ePatch:
    case fbxsdk::FbxNodeAttribute::eNurbsSurface:
      return true;
    default:
      return false;
  }
}

// The attribute as a mesh of triangles, or null when there is nothing of it to take.
fbxsdk::FbxMesh* triangulate(fbxsdk::FbxNodeAttribute* attribute, fbxsdk::FbxGeometryConverter& converter) {
  fbxsdk::FbxNodeAttribute* const triangulated = converter.Triangulate(attribute, true, false);
  fbxsdk::FbxMesh* const found = fbxsdk::FbxCast<fbxsdk::FbxMesh>(triangulated);
  return found == nullptr || found->GetPolygonCount() < 1 ? nullptr : found;
}

// What a node holds, as its steps hand it on.
struct NodeContent {
  fbxsdk::FbxSurfaceMaterial** materials;
  int materialCount;
  VALUE materialNames;
};

void addMaterials(fbxsdk::FbxNode* node, NodeContent const& content, VALUE self) {
  static ID materialName;
  for (int slot = 0; slot < content.materialCount; ++slot) {
    fbxsdk::FbxSurfaceMaterial* const material = node->GetMaterial(slot);
    content.materials[slot] = material;
    if (material == nullptr) {
      rb_ary_push(content.materialNames, Qnil);  // keeps the slots in step
      continue;
    }
    VALUE const name = GetRubyInterface(material->GetName());
    rb_ary_push(content.materialNames, rb_funcall(self, internedName(materialName, "get_material_name"), 2, name,
                                                  GetRubyInterface(getObjectIdentifier(material))));
    addMaterial(material, self);
  }
}

// The depot's index of a mesh: the one that an earlier node brought, or that of a new mesh, which Ruby is told. False
// when the depot is gone.
bool provideMesh(fbxsdk::FbxMesh* fbxMesh, VALUE key, VALUE identifier, NodeContent const& content, VALUE self,
                 VALUE& index) {
  static ID balancerMeshes;
  static ID balancerIndex;
  static ID addMeshName;
  VALUE const known = rb_ivar_get(self, internedName(balancerMeshes, "@balancer_meshes"));
  rb_check_type(known, T_HASH);
  VALUE const record = rb_hash_aref(known, key);
  if (!NIL_P(record)) {
    index = rb_funcall(record, internedName(balancerIndex, "balancer_index"), 0);
    return true;
  }
  if (!guardMeshDepot()) {
    return false;
  }
  std::uint32_t const clears = getClearCount();
  index = GetRubyInterface(addMesh(fbxMesh, content.materials, content.materialCount, self));
  if (!guardUncleared(clears)) {
    return false;
  }
  rb_funcall(self, internedName(addMeshName, "add_mesh"), 3, key, index, identifier);
  return true;
}

bool addAttribute(fbxsdk::FbxNode* node, fbxsdk::FbxMesh* fbxMesh, NodeContent const& content, VALUE nodeDefinition,
                  VALUE self) {
  static ID meshName;
  static ID addInstance;
  VALUE const identifier = GetRubyInterface(getObjectIdentifier(fbxMesh));
  VALUE const key =
      rb_funcall(self, internedName(meshName, "get_mesh_name"), 2, GetRubyInterface(fbxMesh->GetName()), identifier);
  VALUE index = Qnil;
  if (!provideMesh(fbxMesh, key, identifier, content, self, index)) {
    return false;
  }
  if (content.materialCount == 0) {
    rb_ary_push(content.materialNames, Qnil);  // once per mesh of the node, not once per node
  }
  VALUE const transformation = getGeometricTransformation(node, self);
  rb_funcall(self, internedName(addInstance, "add_instance"), 5, key, transformation, index, content.materialNames,
             nodeDefinition);
  return true;
}

// Everything of a node but its children. False when the depot is gone.
bool addNodeContent(fbxsdk::FbxNode* node, VALUE parentDefinition, VALUE self, fbxsdk::FbxGeometryConverter& converter,
                    VALUE& nodeDefinition) {
  static ID scaleOfTransformation;
  static ID addInstance;
  VALUE const name = GetRubyInterface(node->GetName());
  VALUE const transformation = getNodeLclTransformation(node);
  rb_funcall(self, internedName(scaleOfTransformation, "scale_of_trans"), 1, transformation);

  int const materialCount = node->GetMaterialCount();
  VALUE pointerStore = Qnil;  // the collector frees the pointers where a callback leaves by a jump
  NodeContent const content = {
      static_cast<fbxsdk::FbxSurfaceMaterial**>(rb_alloc_tmp_buffer(
          &pointerStore, static_cast<long>(sizeof(void*) * static_cast<std::size_t>(materialCount + 1)))),
      materialCount, rb_ary_new()};
  addMaterials(node, content, self);
  nodeDefinition = rb_funcall(self, internedName(addInstance, "add_instance"), 5, name, transformation, Qnil,
                              rb_ary_new(), parentDefinition);
  bool isThere = true;
  for (int place = 0; isThere && place < node->GetNodeAttributeCount(); ++place) {
    fbxsdk::FbxNodeAttribute* const attribute = node->GetNodeAttributeByIndex(place);
    if (!isTaken(attribute)) {
      continue;
    }
    fbxsdk::FbxMesh* const fbxMesh = triangulate(attribute, converter);
    if (fbxMesh != nullptr) {
      isThere = addAttribute(node, fbxMesh, content, nodeDefinition, self);
    }
  }
  rb_free_tmp_buffer(&pointerStore);
  RB_GC_GUARD(pointerStore);
  return isThere;
}

}  // namespace

void Init_Import_fbx() {
  static ID importer;
  VALUE const type = rb_const_get(mPlugin, internedName(importer, "Importer"));
  defineMethod<fbx_import>(type, "import_fbx");
}

VALUE fbx_import(VALUE self, VALUE path) {
  char const* const text = getNativeText(path);
  initMeshDepot(self);
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  fbxsdk::FbxManager* const manager = requireMade(fbxsdk::FbxManager::Create());
  fbxsdk::FbxScene* const scene = readScene(manager, text);
  RB_GC_GUARD(path);
  if (scene == nullptr) {
    manager->Destroy();
    return Qfalse;
  }
  VALUE const result = boundary([&]() -> VALUE {
    fbxsdk::FbxGeometryConverter converter(manager);
    return protect([&]() -> VALUE { return walkScene(self, scene, converter); });
  });
  manager->Destroy();
  return result;
}

bool addNode(fbxsdk::FbxNode* node, VALUE parentDefinition, VALUE self, fbxsdk::FbxGeometryConverter& converter) {
  // A scene that is nested too deep must end in an exception before it ends the process.
  if (ruby_stack_check() != 0) {
    rb_raise(rb_eSysStackError, "stack level too deep");
  }
  VALUE nodeDefinition = Qnil;
  if (!addNodeContent(node, parentDefinition, self, converter, nodeDefinition)) {
    return false;
  }
  int const childCount = node->GetChildCount(false);
  for (int child = 0; child < childCount; ++child) {
    if (!addNode(node->GetChild(child), nodeDefinition, self, converter)) {
      return false;
    }
  }
  update(self);
  return true;
}
