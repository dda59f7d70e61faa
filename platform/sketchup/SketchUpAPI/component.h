/* Groups, component definitions and instances of definitions. */
#pragma once

#include <SketchUpAPI/common.h>
#include <SketchUpAPI/geometry.h>

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SUGroupCreate(SUGroupRef* group);
enum SUResult SUGroupSetName(SUGroupRef group, const char* name);
enum SUResult SUGroupSetTransform(SUGroupRef group, const struct SUTransformation* transform);
enum SUResult SUGroupGetEntities(SUGroupRef group, SUEntitiesRef* entities);

enum SUResult SUComponentDefinitionCreate(SUComponentDefinitionRef* comp_def);
enum SUResult SUComponentDefinitionSetName(SUComponentDefinitionRef comp_def, const char* name);
enum SUResult SUComponentDefinitionGetName(SUComponentDefinitionRef comp_def, SUStringRef* name);
enum SUResult SUComponentDefinitionGetEntities(SUComponentDefinitionRef comp_def, SUEntitiesRef* entities);
enum SUResult SUComponentDefinitionCreateInstance(SUComponentDefinitionRef comp_def, SUComponentInstanceRef* instance);

enum SUResult SUComponentInstanceSetTransform(SUComponentInstanceRef instance,
                                              const struct SUTransformation* transform);

#ifdef __cplusplus
}
#endif
