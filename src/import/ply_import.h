// Loads the positions and triangles of a PLY file into a new mesh of the depot.
#pragma once

#include <ruby.h>

// import_ply: `path` is a String. Reads files of any PLY encoding whose vertices have x, y, z as 32-bit floats and
// whose faces have lists vertex_indices of exactly three 32-bit integers below the vertex count; normals and UVs are
// passed over. Progress advances once per vertex and once per face. Returns true; false when the file cannot be
// opened, or after a console line when there is no depot or the file cannot be read. Raises the plugin's
// NoFacesError for a file without faces. The new mesh stays in the depot after a failure.
VALUE loadPLY(VALUE self, VALUE path);
