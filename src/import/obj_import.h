// Loads a Wavefront OBJ file into the depot with the SDK's own loader and hands its meshes to the Ruby side.
#pragma once

#include <ruby.h>

// import_obj: `path` is a String. Makes a fresh Balancer state, whose depot the loaded one replaces. Returns 0 (an
// Integer, truthy) on success, or false after a console line when there is no depot or the file cannot be loaded
// (the depot is then null).
VALUE loadOBJ(VALUE self, VALUE path);
