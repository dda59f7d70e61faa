// Binds what of the model export no Ruby method reaches.
#pragma once

#include <ruby.h>

// Adds the bindings to the test extension's module.
void defineExportBindings(VALUE module);
