// What the standalone SketchUp C API tells beyond that API: which files it writes, why a file was not written, which
// objects are alive, and what is in a collection of entities. For the standalone host and for tests, as C.
//
// Nothing here changes a model. References are the pointers inside the API's reference structs; a pointer to nothing
// alive counts as empty. Texts belong to the library.
#ifndef MIREL_MODEL_H
#define MIREL_MODEL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What the models saved from now on mean, until the next call:
//   name             of the outermost node; null or "" for "Model"
//   meters_per_unit  0 or less for the API's own inches
//   y_up             1 where y points up in them, 0 for the API's own z
//   normals          1 for corner normals from the soft and smooth edges, 0 for none
//   folder           where the files are going to be, when they are written somewhere else first: side files get names
//                    that take no other file's place there, and textures that lie in it are named, not copied. Null or
//                    "" for the folder they are written to.
void mirel_model_set_scene(char const* name, double meters_per_unit, int y_up, int normals, char const* folder);

// Whether SUModelSaveToFile can write a file of this path's extension: 1 or 0.
int mirel_model_can_write(char const* path);
// The extensions that it can write, separated by blanks, without dots.
char const* mirel_model_formats(void);
// One line: why the last SUModelSaveToFile failed, or what it had to leave out; empty otherwise. Valid until the next.
char const* mirel_model_message(void);

// Objects made and not released; those of a model go with it.
typedef struct MirelModelObjects {
  uint64_t models;
  uint64_t entities;
  uint64_t groups;
  uint64_t definitions;
  uint64_t instances;
  uint64_t materials;
  uint64_t textures;
  uint64_t geometry_inputs;
  uint64_t loop_inputs;
  uint64_t strings;
} MirelModelObjects;
void mirel_model_objects(MirelModelObjects* objects);

// What a collection of entities holds itself, without what is in its groups and instances.
typedef struct MirelModelContents {
  uint64_t vertices;
  uint64_t edges;
  uint64_t soft_edges;
  uint64_t smooth_edges;
  uint64_t faces;
  uint64_t groups;
  uint64_t instances;
} MirelModelContents;
void mirel_model_contents(void const* entities, MirelModelContents* contents);

// The address behind group or instance number `number` of the entities, null beyond the end; and what is known of it.
void* mirel_model_group(void const* entities, uint64_t number);
void* mirel_model_instance(void const* entities, uint64_t number);
char const* mirel_model_group_name(void const* group);
void* mirel_model_instance_definition(void const* instance);
// 16 numbers; zeroes for what is neither a group nor an instance.
void mirel_model_transform(void const* group_or_instance, double* transform);

#ifdef __cplusplus
}
#endif

#endif
