/* Result codes and references: what every function of the API speaks in. */
#pragma once

#include <stdbool.h>
#include <stddef.h>

enum SUResult {
  SU_ERROR_NONE = 0,
  SU_ERROR_NULL_POINTER_INPUT,  /* a pointer to read from is null */
  SU_ERROR_INVALID_INPUT,       /* a reference is invalid */
  SU_ERROR_NULL_POINTER_OUTPUT, /* a pointer to write to is null */
  SU_ERROR_INVALID_OUTPUT,      /* a reference to write through is invalid */
  SU_ERROR_OVERWRITE_VALID,     /* a reference to create into is not set to invalid */
  SU_ERROR_GENERIC,
  SU_ERROR_SERIALIZATION, /* a file could not be read or written */
  SU_ERROR_OUT_OF_RANGE,
  SU_ERROR_NO_DATA,
  SU_ERROR_INSUFFICIENT_SIZE,
  SU_ERROR_UNKNOWN_EXCEPTION,
  SU_ERROR_MODEL_INVALID,
  SU_ERROR_MODEL_VERSION,
  SU_ERROR_LAYER_LOCKED,
  SU_ERROR_DUPLICATE,
  SU_ERROR_PARTIAL_SUCCESS,
  SU_ERROR_UNSUPPORTED,
  SU_ERROR_INVALID_ARGUMENT,
  SU_ERROR_ENTITY_LOCKED,
  SU_ERROR_INVALID_OPERATION
};
#ifndef __cplusplus
typedef enum SUResult SUResult;
#endif

/* References are passed by value and are invalid when their pointer is null. */
typedef struct {
  void* ptr;
} SUModelRef;
typedef struct {
  void* ptr;
} SUEntitiesRef;
typedef struct {
  void* ptr;
} SUFaceRef;
typedef struct {
  void* ptr;
} SUEdgeRef;
typedef struct {
  void* ptr;
} SUGroupRef;
typedef struct {
  void* ptr;
} SUComponentDefinitionRef;
typedef struct {
  void* ptr;
} SUComponentInstanceRef;
typedef struct {
  void* ptr;
} SUMaterialRef;
typedef struct {
  void* ptr;
} SUTextureRef;
typedef struct {
  void* ptr;
} SUGeometryInputRef;
typedef struct {
  void* ptr;
} SULoopInputRef;
typedef struct {
  void* ptr;
} SUStringRef;
