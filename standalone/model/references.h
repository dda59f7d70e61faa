// Between the C API's functions and the objects: what every function of it needs.
#pragma once

#include <SketchUpAPI/sketchup.h>

#include <algorithm>
#include <new>
#include <string>

#include "standalone/model/scene.h"

namespace mirel::model {

// Runs a function's body; no C++ exception leaves it.
template <typename Body>
SUResult answer(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return SU_ERROR_UNKNOWN_EXCEPTION;
  }
}

// What is wrong with a place to create a reference into.
template <typename Reference>
SUResult check_output(Reference const* reference) {
  if (reference == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  return reference->ptr != nullptr ? SU_ERROR_OVERWRITE_VALID : SU_ERROR_NONE;
}

template <typename T, typename Reference>
SUResult create(ObjectStore<T>& store, Reference* reference) {
  return answer([&] {
    if (SUResult const wrong = check_output(reference); wrong != SU_ERROR_NONE) {
      return wrong;
    }
    reference->ptr = store.make();
    return SU_ERROR_NONE;
  });
}

template <typename T, typename Reference>
SUResult set_name(Reference reference, char const* name) {
  return answer([&] {
    T* const object = resolve<T>(reference.ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (name == nullptr) {
      return SU_ERROR_NULL_POINTER_INPUT;
    }
    object->name = name;
    return SU_ERROR_NONE;
  });
}

template <typename T, typename Reference>
SUResult get_name(Reference reference, SUStringRef* name) {
  return answer([&] {
    T const* const object = resolve<T>(reference.ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (name == nullptr) {
      return SU_ERROR_NULL_POINTER_OUTPUT;
    }
    Text* const text = resolve<Text>(name->ptr);
    if (text == nullptr) {
      return SU_ERROR_INVALID_OUTPUT;
    }
    text->text = object->name;
    return SU_ERROR_NONE;
  });
}

template <typename T, typename Reference>
SUResult set_transform(Reference reference, SUTransformation const* transform) {
  T* const object = resolve<T>(reference.ptr);
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (transform == nullptr) {
    return SU_ERROR_NULL_POINTER_INPUT;
  }
  object->transform = *transform;
  return SU_ERROR_NONE;
}

// The entities of a group or a definition, made on first use.
template <typename T, typename Reference, typename Attach>
SUResult get_entities(Reference reference, SUEntitiesRef* entities, Attach attach) {
  return answer([&] {
    T* const object = resolve<T>(reference.ptr);
    if (object == nullptr) {
      return SU_ERROR_INVALID_INPUT;
    }
    if (entities == nullptr) {
      return SU_ERROR_NULL_POINTER_OUTPUT;
    }
    if (object->entities == nullptr) {
      object->entities = stores().entities.make();
      attach(*object->entities, object);
    }
    entities->ptr = object->entities;
    return SU_ERROR_NONE;
  });
}

inline SUResult give_count(void const* object, std::size_t value, std::size_t* count) {
  if (object == nullptr) {
    return SU_ERROR_INVALID_INPUT;
  }
  if (count == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  *count = value;
  return SU_ERROR_NONE;
}

// Copies up to `length` references; `at(number)` is the address behind each of `size`.
template <typename Reference, typename At>
SUResult give_references(std::size_t size, At at, std::size_t length, Reference* references, std::size_t* count) {
  if (references == nullptr || count == nullptr) {
    return SU_ERROR_NULL_POINTER_OUTPUT;
  }
  *count = std::min(size, length);
  for (std::size_t number = 0; number < *count; ++number) {
    references[number].ptr = at(number);
  }
  return SU_ERROR_NONE;
}

}  // namespace mirel::model
