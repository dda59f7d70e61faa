#include "src/export/export_error.h"

void raiseSketchupExportError(char const* message) {
  rb_raise(rb_eRuntimeError, "%s", message);
}
