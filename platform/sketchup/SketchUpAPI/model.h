/* The model: the root of everything that is written to one file. */
#pragma once

#include <SketchUpAPI/common.h>

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SUModelCreate(SUModelRef* model);
/* Frees the model with everything in it and sets the reference to invalid. */
enum SUResult SUModelRelease(SUModelRef* model);
enum SUResult SUModelGetEntities(SUModelRef model, SUEntitiesRef* entities);
/* The model takes the materials (definitions) over. */
enum SUResult SUModelAddMaterials(SUModelRef model, size_t len, const SUMaterialRef materials[]);
enum SUResult SUModelGetNumMaterials(SUModelRef model, size_t* count);
enum SUResult SUModelGetMaterials(SUModelRef model, size_t len, SUMaterialRef materials[], size_t* count);
enum SUResult SUModelAddComponentDefinitions(SUModelRef model, size_t len, const SUComponentDefinitionRef components[]);
enum SUResult SUModelGetNumComponentDefinitions(SUModelRef model, size_t* count);
enum SUResult SUModelGetComponentDefinitions(SUModelRef model, size_t len, SUComponentDefinitionRef definitions[],
                                             size_t* count);
/* Not every host has it: look it up by name. */
enum SUResult SUModelFixErrors(SUModelRef model);
enum SUResult SUModelSaveToFile(SUModelRef model, const char* file_path);

#ifdef __cplusplus
}
#endif
