#include "src/export/model_export.h"

#include <dlfcn.h>

#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/export/export_error.h"
#include "src/export/geometry_input.h"
#include "src/export/material_export.h"
#include "src/export/sketchup_string.h"
#include "src/frame/boundary.h"
#include "src/frame/interned_name.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"
#include "src/preview/transform.h"

namespace {

VALUE read(VALUE object, ID name) {
  return rb_funcallv(object, name, 0, nullptr);
}

int readLength(VALUE list) {
  static ID length;
  return NUM2INT(read(list, internedName(length, "length")));
}

VALUE readEntry(VALUE list, int index) {
  static ID at;
  VALUE const argument = INT2FIX(index);
  return rb_funcallv(list, internedName(at, "[]"), 1, &argument);
}

// A cyclic tree must end in an exception before it ends the process.
void requireStack() {
  if (ruby_stack_check() != 0) {
    rb_raise(rb_eSysStackError, "stack level too deep");
  }
}

ab::IMesh* getExportedMesh(VALUE meshIndex) {
  std::uint32_t const index = static_cast<std::uint32_t>(rb_num2uint(meshIndex));
  if (!hasMeshDepot()) {
    raiseSketchupExportError(kMissingMesh);
  }
  meshDepot->getNumMeshes();  // not compared with the index
  ab::IMesh* const found = meshDepot->getMesh(index);
  if (found == nullptr) {
    raiseSketchupExportError(kMissingMesh);
  }
  return found;
}

// The material of that name, made and added to the model when it is not there yet; invalid for nil.
SUMaterialRef provideMaterial(VALUE self, SUModelRef model, VALUE name) {
  if (NIL_P(name)) {
    return {};
  }
  SUMaterialRef material = findMaterialByName(self, model, name);
  if (material.ptr == nullptr) {
    exportMaterial(self, material, name);
    SUModelAddMaterials(model, 1, &material);
  }
  return material;
}

void fillEntities(VALUE self, ab::IMesh* source, VALUE materialNames, int materialCount, SUModelRef model,
                  SUEntitiesRef entities, VALUE recurse) {
  static ID updateMeshExportProgress;
  static ID softenEdgesName;
  std::uint32_t const clears = getClearCount();
  SUGeometryInputRef geometryInput = {};
  requireSuccess(SUGeometryInputCreate(&geometryInput), "Failed to create GeometryInputRef");
  boundary([&]() -> VALUE {
    std::vector<SUMaterialRef> materials;
    return protect([&]() -> VALUE {
      for (int index = 0; index < materialCount; ++index) {
        materials.push_back(provideMaterial(self, model, readEntry(materialNames, index)));
      }
      if (isClearedSince(clears)) {
        raiseSketchupExportError(kMissingMesh);
      }
      exportMesh(self, source, geometryInput, materials);
      if (RTEST(recurse)) {
        read(self, internedName(updateMeshExportProgress, "update_mesh_export_progress"));
      }
      requireSuccess(SUEntitiesFill(entities, geometryInput, true), "Failed to fill Entities with GeometryInputRef");
      SUGeometryInputRelease(&geometryInput);
      if (read(self, internedName(softenEdgesName, "soften_edges?")) == Qtrue) {
        softenEdges(self, entities);
      }
      return Qnil;
    });
  });
}

constexpr char kNoChildEntities[] = "Failed to get the Entities for the child object";

SUEntitiesRef makeGroup(SUEntitiesRef parent, VALUE name, SUTransformation const& transform) {
  SUGroupRef group = {};
  requireSuccess(SUGroupCreate(&group), "Failed to Create New Group");
  requireSuccess(SUEntitiesAddGroup(parent, group), "Failed to attach child Group to parent");
  requireSuccess(SUGroupSetName(group, getNativeText(name)), "Failed to set the Name of the Group");
  RB_GC_GUARD(name);
  SUGroupSetTransform(group, &transform);
  SUEntitiesRef entities = {};
  requireSuccess(SUGroupGetEntities(group, &entities), kNoChildEntities);
  return entities;
}

SUEntitiesRef makeDefinition(SUModelRef model, VALUE name, SUComponentDefinitionRef& definition) {
  requireSuccess(SUComponentDefinitionCreate(&definition), "Failed to Create New Component Definition");
  requireSuccess(SUModelAddComponentDefinitions(model, 1, &definition),
                 "Failed to Add Component Definition to the model");
  requireSuccess(SUComponentDefinitionSetName(definition, getNativeText(name)),
                 "Failed to set the Name of the Component Definition");
  RB_GC_GUARD(name);
  SUEntitiesRef entities = {};
  requireSuccess(SUComponentDefinitionGetEntities(definition, &entities), kNoChildEntities);
  return entities;
}

void placeInstance(SUComponentDefinitionRef definition, SUEntitiesRef parent, SUTransformation const& transform) {
  SUComponentInstanceRef instance = {};
  requireSuccess(SUComponentDefinitionCreateInstance(definition, &instance), "Failed to Create new Component Instance");
  SUComponentInstanceSetTransform(instance, &transform);
  requireSuccess(SUEntitiesAddInstance(parent, instance, nullptr),
                 "Failed to attach child ComponentInstance to parent");
}

void exportChild(VALUE self, VALUE child, SUModelRef model, SUEntitiesRef& entities, VALUE recurse) {
  static ID definitionName;
  static ID transformationName;
  static ID nameName;
  static ID isGroupName;
  static ID exportedDefinition;
  VALUE const node = read(child, internedName(definitionName, "definition"));
  VALUE const transformation = read(child, internedName(transformationName, "transformation"));
  VALUE const name = read(node, internedName(nameName, "name"));
  VALUE const isGroup = read(node, internedName(isGroupName, "is_group?"));
  VALUE const isExported = rb_funcallv(self, internedName(exportedDefinition, "exported_definition?"), 1, &node);
  SUTransformation transform = {};
  setTransformFromRubyTransform(transformation, &transform);

  SUComponentDefinitionRef definition = {};
  if (isExported == Qfalse) {
    SUEntitiesRef childEntities =
        isGroup == Qtrue ? makeGroup(entities, name, transform) : makeDefinition(model, name, definition);
    exportEntities(self, node, model, childEntities, recurse);
  } else {
    definition = findDefinitionByName(self, model, name);
  }
  if (definition.ptr != nullptr) {
    placeInstance(definition, entities, transform);
  }
}

}  // namespace

VALUE exportSKP(VALUE self, VALUE path, VALUE, VALUE root, VALUE recurse) {
  char const* const nativePath = getNativeText(path);
  if (dlsym(RTLD_DEFAULT, "SUInitialize") == nullptr) {
    // The loader ends a process that calls a function which is not there.
    raiseSketchupExportError("The SketchUp C API is not available");
  }
  SUInitialize();
  SUModelRef model = {};
  requireSuccess(SUModelCreate(&model), "Failed to Create Model");
  SUEntitiesRef entities = {};
  requireSuccess(SUModelGetEntities(model, &entities), "Failed to get the Model Entities");
  exportEntities(self, root, model, entities, recurse);
  if (RTEST(recurse)) {
    setProgress(self, 40);
  }
  fixModelErrors(model);
  addPrefixToAllMaterials(self, model);
  SUModelSaveToFile(model, nativePath);
  RB_GC_GUARD(path);
  SUModelRelease(&model);
  SUTerminate();
  return Qtrue;
}

int exportEntities(VALUE self, VALUE node, SUModelRef model, SUEntitiesRef& entities, VALUE recurse) {
  static ID entitiesName;
  static ID balancerMeshIndex;
  static ID materialNamesName;
  static ID nameName;
  static ID definitionExported;
  requireStack();
  VALUE const children = read(node, internedName(entitiesName, "entities"));
  VALUE const meshIndex = read(node, internedName(balancerMeshIndex, "balancer_mesh_index"));
  VALUE const materialNames = read(node, internedName(materialNamesName, "material_names"));
  VALUE const name = read(node, internedName(nameName, "name"));
  VALUE text = name;
  StringValueCStr(text);
  int const childCount = readLength(children);
  int const materialCount = readLength(materialNames);

  if (!NIL_P(meshIndex)) {
    ab::IMesh* const source = getExportedMesh(meshIndex);
    if (source->getNumFaces() != 0) {
      fillEntities(self, source, materialNames, materialCount, model, entities, recurse);
    }
  }
  if (recurse == Qtrue) {
    for (int index = 0; index < childCount; ++index) {
      exportChild(self, readEntry(children, index), model, entities, recurse);
    }
    VALUE const arguments[] = {node, name};
    rb_funcallv(self, internedName(definitionExported, "definition_exported"), 2, arguments);
  }
  return 0;
}

SUComponentDefinitionRef findDefinitionByName(VALUE self, SUModelRef model, VALUE name) {
  static ID exportedDefinitions;
  static ID at;
  std::size_t count = 0;
  requireSuccess(SUModelGetNumComponentDefinitions(model, &count),
                 "Failed to get the Number of Component Definitions in the Model");
  VALUE const definitions = rb_ivar_get(self, internedName(exportedDefinitions, "@exported_definitions"));
  VALUE target = rb_funcallv(definitions, internedName(at, "[]"), 1, &name);
  char const* const text = getNativeText(target);
  SUComponentDefinitionRef found = {};
  boundary([&]() -> VALUE {
    auto const references = getReferences<SUComponentDefinitionRef>(
        count, [&](std::size_t length, SUComponentDefinitionRef* array, std::size_t* copied) {
          SUModelGetComponentDefinitions(model, length, array, copied);
        });
    found = findByName(references, text, [](SUComponentDefinitionRef definition, SUStringRef* definitionName) {
      SUComponentDefinitionGetName(definition, definitionName);
    });
    return Qnil;
  });
  RB_GC_GUARD(target);
  return found;
}

void setTransformFromRubyTransform(VALUE transformation, SUTransformation* result) {
  static ID toA;
  double matrix[16] = {};
  getMatrix(read(transformation, internedName(toA, "to_a")), matrix);
  for (int place = 0; place < 16; ++place) {
    result->values[place] = matrix[place];
  }
}

bool fixModelErrors(SUModelRef model) {
  using FixErrors = SUResult (*)(SUModelRef);
  auto const fix = reinterpret_cast<FixErrors>(dlsym(RTLD_DEFAULT, "SUModelFixErrors"));
  if (fix == nullptr) {
    return false;
  }
  fix(model);
  return true;
}
