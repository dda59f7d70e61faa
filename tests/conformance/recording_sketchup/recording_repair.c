/* The one function that not every host has, in a library of its own. */
#include <SketchUpAPI/sketchup.h>

#include "tests/conformance/recording_sdk/recorder.h"

enum SUResult SUModelFixErrors(SUModelRef model) {
  recorder_note(model.ptr == 0 ? "SUModelFixErrors invalid" : "SUModelFixErrors");
  return SU_ERROR_GENERIC;
}
