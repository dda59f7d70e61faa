#include <algorithm>
#include <string>

#include "standalone/model/geometry_input.h"
#include "standalone/model/mirel_model.h"
#include "standalone/model/save.h"
#include "standalone/model/scene.h"

using namespace mirel::model;

namespace {

template <typename T>
T const* look_at(void const* pointer) {
  return resolve<T>(const_cast<void*>(pointer));
}

}  // namespace

void mirel_model_set_scene(char const* name, double meters_per_unit, int y_up, int normals, char const* folder) {
  SceneNotes notes;
  if (name != nullptr && *name != '\0') {
    notes.name = name;
  }
  if (meters_per_unit > 0) {
    notes.meters_per_unit = meters_per_unit;
  }
  notes.is_y_up = y_up != 0;
  notes.has_normals = normals != 0;
  notes.folder = folder == nullptr ? "" : folder;
  scene_notes() = std::move(notes);
}

int mirel_model_can_write(char const* path) {
  return path != nullptr && find_format(path) != nullptr ? 1 : 0;
}

char const* mirel_model_formats() {
  return "glb gltf dae obj ply stl";
}

char const* mirel_model_message() {
  return save_message().c_str();
}

void mirel_model_objects(MirelModelObjects* objects) {
  Stores const& all = stores();
  *objects = {all.models.live_count(),      all.entities.live_count(),      all.groups.live_count(),
              all.definitions.live_count(), all.instances.live_count(),     all.materials.live_count(),
              all.textures.live_count(),    geometry_inputs().live_count(), loop_inputs().live_count(),
              all.texts.live_count()};
}

void mirel_model_contents(void const* entities, MirelModelContents* contents) {
  *contents = {};
  Entities const* const place = look_at<Entities>(entities);
  if (place == nullptr) {
    return;
  }
  contents->vertices = place->vertices.size();
  contents->edges = place->edges.size();
  contents->faces = place->faces.size();
  contents->groups = place->groups.size();
  contents->instances = place->instances.size();
  for (std::size_t number = 0; number < place->edges.size(); ++number) {
    contents->soft_edges += place->edges[number].is_soft;
    contents->smooth_edges += place->edges[number].is_smooth;
  }
}

void* mirel_model_group(void const* entities, uint64_t number) {
  Entities const* const place = look_at<Entities>(entities);
  return place != nullptr && number < place->groups.size() ? place->groups[number] : nullptr;
}

void* mirel_model_instance(void const* entities, uint64_t number) {
  Entities const* const place = look_at<Entities>(entities);
  return place != nullptr && number < place->instances.size() ? place->instances[number] : nullptr;
}

char const* mirel_model_group_name(void const* group) {
  Group const* const object = look_at<Group>(group);
  return object == nullptr ? "" : object->name.c_str();
}

void* mirel_model_instance_definition(void const* instance) {
  Instance const* const object = look_at<Instance>(instance);
  return object == nullptr ? nullptr : object->definition;
}

void mirel_model_transform(void const* group_or_instance, double* transform) {
  std::fill_n(transform, 16, 0.0);
  Group const* const group = look_at<Group>(group_or_instance);
  Instance const* const instance = look_at<Instance>(group_or_instance);
  if (group != nullptr) {
    std::copy_n(group->transform.values, 16, transform);
  } else if (instance != nullptr) {
    std::copy_n(instance->transform.values, 16, transform);
  }
}
