// Builds the simplification hierarchy and moves along it: the Importer's methods.
//
// Steps and counts come as Ruby Integers and are read as unsigned 32-bit; step 0 is full resolution. Without a
// hierarchy each method but count_faces and init_simplify prints a line of its own and returns false. They raise
// only what the conversion of an argument or a callback raises.
#pragma once

#include <ruby.h>

// init_simplify: prepares the meshes, builds the hierarchy over them and moves it to the receiver's face_limit.
// Returns true, or false after a console line when there is no depot or the build fails.
VALUE initSimplify(VALUE self);

// go_to_step: true if it moved, false if it was there. The step is not clamped.
VALUE simplify(VALUE self, VALUE step);
// make_decimation_step: coarser by `steps`, at most to the last; false when already there.
VALUE doDecimationStep(VALUE self, VALUE steps);
// make_refinement_step: finer by `steps`, at most to step 0; false when already there.
VALUE doRefinementStep(VALUE self, VALUE steps);
// make_highest_resolution, make_lowest_resolution: step 0, the last step. Both return true.
VALUE makeHighestResolution(VALUE self);
VALUE makeLowestResolution(VALUE self);
// go_to_faces: the step that the SDK finds for that total count of faces. Returns true.
VALUE goToFaces(VALUE self, VALUE faceCount);
// get_current_step, get_hierachy_steps: Integers.
VALUE getCurrentStep(VALUE self);
VALUE getHierarchySteps(VALUE self);
// count_faces: faces over all meshes at the current step, as a signed 32-bit number; 0 without a depot.
VALUE getFaceCount(VALUE self);
