// Copies the host's polygon meshes, gathered per material, into one new mesh of the depot.
//
// A pure copy: every triangle corner becomes a vertex, a normal and (textured materials) a UV of its own; joining
// is the business of mesh preparation. Point indices go to the host exactly as the host gave them: 1-based, and
// negative for hidden edges.
#pragma once

#include <ruby.h>

// get_balancer_mesh: `meshesByMaterial` is a Hash of material key to Array of Geom::PolygonMesh; face set k of the
// new mesh holds the triangles of the k-th key. Makes the new mesh the current one and returns its index, or false
// after a console line when there is no depot or no mesh. Ruby exceptions pass through and leave a partly filled
// mesh in the depot; TypeError where a Hash or an Array is due and something else comes.
VALUE convertSkpMeshesToBalancerMesh(VALUE self, VALUE meshesByMaterial);

// Reads x, y and z of a host point into `buffer` (3 floats) and returns it.
float* getCArrayFromPoint3d(VALUE point, float* buffer);
