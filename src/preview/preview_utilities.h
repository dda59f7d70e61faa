// Helpers around the preview that the method table does not reach.
//
// Host's Ruby thread only; Ruby exceptions pass through.
#pragma once

#include <ruby.h>

#include "src/balancer/balancer_sdk.h"

// Points rMeshColors at a new Array: the `color` of each material, or the String "white" where there is none.
// `materials` answers to length and [].
void getPreviewMeshColors(VALUE materials);

// object.timer_start
void startTimer(VALUE object);
// Asks object.time_since, then writes the label and the result as one line; the label carries its own blank.
void stopTimer(VALUE object, char const* label);

// A new Geom::PolygonMesh with room for the mesh's vertices and faces, without points or polygons.
VALUE createPolyMesh(ab::IMesh const* source);
