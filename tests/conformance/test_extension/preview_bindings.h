// Binds what of the readback and the preview no Ruby method reaches, and counts the raw arrays that are alive.
#pragma once

#include <ruby.h>

// Adds the bindings to the test extension's module.
void definePreviewBindings(VALUE module);
