// Prepares the depot's meshes for the hierarchy build as the receiver's settings ask, and reports on them after.
#pragma once

#include <ruby.h>

// Drops attributes, joins vertices, removes T-junctions and sets the constraints, printing what it does. Settings
// are read from `self`, the flags being on only when they return true itself. False after a console line when there
// is no depot. Ruby exceptions pass through and leave the steps already done in effect.
bool processBalancerMeshes(VALUE self);

// Sets @total_original_faces of `self` to the faces of all meshes with vertices (32-bit, wrapping); prints the
// counts of each such mesh when verbose. False after a console line when there is no depot.
bool reportBalancerMeshes(VALUE self, bool verbose);
