// The one way in which the model export fails: a Ruby RuntimeError with a fixed text, at once.
//
// Nothing is rolled back: what has been built is neither saved nor released.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <ruby.h>

// Never returns. The caller's frames must own no C++ objects.
[[noreturn]] void raiseSketchupExportError(char const* message);

// Raises with the message unless the call has succeeded.
inline void requireSuccess(SUResult result, char const* message) {
  if (result != SU_ERROR_NONE) {
    raiseSketchupExportError(message);
  }
}

// Raised where the depot or a mesh that the scene names is missing.
inline constexpr char kMissingMesh[] = "Mesh has not been created";
