// Groups, component definitions and instances of the C API.
#include "standalone/model/references.h"

using namespace mirel::model;

SUResult SUGroupCreate(SUGroupRef* group) {
  return create(stores().groups, group);
}

SUResult SUGroupSetName(SUGroupRef group, const char* name) {
  return set_name<Group>(group, name);
}

SUResult SUGroupSetTransform(SUGroupRef group, const SUTransformation* transform) {
  return set_transform<Group>(group, transform);
}

SUResult SUGroupGetEntities(SUGroupRef group, SUEntitiesRef* entities) {
  return get_entities<Group>(group, entities, [](Entities& made, Group* owner) { made.group = owner; });
}

SUResult SUComponentDefinitionCreate(SUComponentDefinitionRef* comp_def) {
  return create(stores().definitions, comp_def);
}

SUResult SUComponentDefinitionSetName(SUComponentDefinitionRef comp_def, const char* name) {
  return set_name<Definition>(comp_def, name);
}

SUResult SUComponentDefinitionGetName(SUComponentDefinitionRef comp_def, SUStringRef* name) {
  return get_name<Definition>(comp_def, name);
}

SUResult SUComponentDefinitionGetEntities(SUComponentDefinitionRef comp_def, SUEntitiesRef* entities) {
  return get_entities<Definition>(comp_def, entities,
                                  [](Entities& made, Definition* owner) { made.definition = owner; });
}

SUResult SUComponentDefinitionCreateInstance(SUComponentDefinitionRef comp_def, SUComponentInstanceRef* instance) {
  Definition* const definition = resolve<Definition>(comp_def.ptr);
  if (definition == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  SUResult const result = create(stores().instances, instance);
  if (result == SU_ERROR_NONE) {
    resolve<Instance>(instance->ptr)->definition = definition;
  }
  return result;
}

SUResult SUComponentInstanceSetTransform(SUComponentInstanceRef instance, const SUTransformation* transform) {
  return set_transform<Instance>(instance, transform);
}
