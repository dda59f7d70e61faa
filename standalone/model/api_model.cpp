// Models of the C API.
#include "standalone/model/references.h"
#include "standalone/model/save.h"

using namespace mirel::model;

namespace {

// Hands objects over to the model: all of them, or none.
template <typename T, typename Reference>
SUResult add_all(SUModelRef model, std::size_t length, Reference const* references, std::vector<T*> Model::*list) {
  return answer([&] {
    Model* const owner = resolve<Model>(model.ptr);
    if (owner == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (references == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    std::vector<T*> added;
    for (std::size_t number = 0; number < length; ++number) {
      T* const object = resolve<T>(references[number].ptr);
      if (object == nullptr) {
        return SU_ERROR_INVALID_INPUT;
      }
      if (object->owner != nullptr || std::find(added.begin(), added.end(), object) != added.end()) {
        return SU_ERROR_DUPLICATE;
      }
      added.push_back(object);
    }
    (owner->*list).insert((owner->*list).end(), added.begin(), added.end());
    for (T* const object : added) {
      object->owner = owner;
    }
    return SU_ERROR_NONE;
  });
}

template <typename T, typename Reference>
SUResult get_all(SUModelRef model, std::size_t length, Reference* references, std::size_t* count,
                 std::vector<T*> Model::*list) {
  Model const* const owner = resolve<Model>(model.ptr);
  if (owner == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  std::vector<T*> const& all = owner->*list;
  return give_references(
      all.size(), [&](std::size_t number) { return all[number]; }, length, references, count);
}

}  // namespace

SUResult SUModelCreate(SUModelRef* model) {
  return answer([&] {
    if (SUResult const wrong = check_output(model); wrong != SU_ERROR_NONE) {
      return wrong;
    }
    Entities* const entities = stores().entities.make();
    Model* const made = stores().models.make();
    made->entities = entities;
    model->ptr = made;
    return SU_ERROR_NONE;
  });
}

SUResult SUModelRelease(SUModelRef* model) {
  return answer([&] {
    if (model == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    Model* const object = resolve<Model>(model->ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    release_model(object);
    model->ptr = nullptr;
    return SU_ERROR_NONE;
  });
}

SUResult SUModelGetEntities(SUModelRef model, SUEntitiesRef* entities) {
  Model const* const object = resolve<Model>(model.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (entities == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  entities->ptr = object->entities;
  return SU_ERROR_NONE;
}

SUResult SUModelAddMaterials(SUModelRef model, size_t len, const SUMaterialRef materials[]) {
  return add_all(model, len, materials, &Model::materials);
}

SUResult SUModelGetNumMaterials(SUModelRef model, size_t* count) {
  Model const* const object = resolve<Model>(model.ptr);
  return give_count(object, object == nullptr ? 0 : object->materials.size(), count);
}

SUResult SUModelGetMaterials(SUModelRef model, size_t len, SUMaterialRef materials[], size_t* count) {
  return get_all(model, len, materials, count, &Model::materials);
}

SUResult SUModelAddComponentDefinitions(SUModelRef model, size_t len, const SUComponentDefinitionRef components[]) {
  return add_all(model, len, components, &Model::definitions);
}

SUResult SUModelGetNumComponentDefinitions(SUModelRef model, size_t* count) {
  Model const* const object = resolve<Model>(model.ptr);
  return give_count(object, object == nullptr ? 0 : object->definitions.size(), count);
}

SUResult SUModelGetComponentDefinitions(SUModelRef model, size_t len, SUComponentDefinitionRef definitions[],
                                        size_t* count) {
  return get_all(model, len, definitions, count, &Model::definitions);
}

// Nothing to repair: what is wrong never gets in.
SUResult SUModelFixErrors(SUModelRef model) {
  return resolve<Model>(model.ptr) == nullptr ? SU_ERROR_INVALID_INPUT : SU_ERROR_NONE;
}

SUResult SUModelSaveToFile(SUModelRef model, const char* file_path) {
  return answer([&] {
    Model const* const object = resolve<Model>(model.ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (file_path == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    return save_model(*object, file_path) ? SU_ERROR_NONE : SU_ERROR_SERIALIZATION;
  });
}
