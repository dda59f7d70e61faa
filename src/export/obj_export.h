// Writes the current mesh to a Wavefront OBJ text file.
#pragma once

#include <ruby.h>

// export_obj: `path` is a String. Positions, normals and UVs are written once each, in the order in which the SDK's
// remap tables number them; faces are triangles. Progress goes to the C standard output, flushed after each
// message. Returns 0 (an Integer, truthy) on success; false when there is no current mesh (after a console line, no
// file is touched), when the file cannot be opened, or when the mesh has no vertices (the file is then empty).
// Write errors after opening are not detected: the caller checks the file.
VALUE saveOBJ(VALUE self, VALUE path);
