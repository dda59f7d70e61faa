// Binds what of the FBX import no Ruby method reaches: the texture dump, single steps on meshes as a file has them.
#pragma once

#include <ruby.h>

// Adds the bindings to the test extension's module.
void defineFbxBindings(VALUE module);
