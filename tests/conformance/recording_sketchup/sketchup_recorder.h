// The control side of a SketchUp C API that only records: tests script it, and read its lines in the mesh SDK's log.
//
// One line per call: FUNCTION ARGUMENTS. Objects are named model1, group1, loop1 and so on by order of creation since
// the last reset, collections by their owner (model1.entities), strings by their text in quotes. " fails" at the end
// of a line marks a call that failed as scripted, " OVERWRITES" one that was handed a reference not set to invalid.
//
// Materials and definitions that have been added to a model are found there again; every collection has the edges
// that are scripted.
#ifndef MIREL_SKETCHUP_RECORDER_H
#define MIREL_SKETCHUP_RECORDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Forgets failures, edges and numbering. Objects handed out before stay usable.
void sketchup_recorder_reset(void);
// Makes call number `place` since the reset (0-based; SUInitialize and SUTerminate do not count) fail.
void sketchup_recorder_fail_call(int64_t place);
// Makes every call of the function fail.
void sketchup_recorder_fail_function(char const* name);
// How many calls there were since the reset.
int64_t sketchup_recorder_calls(void);
// Adds an edge of so many faces; `normals` has three numbers for each of the first two.
void sketchup_recorder_add_edge(uint32_t face_count, double const* normals);
// Puts a material of that name into every model made from now on.
void sketchup_recorder_add_material(char const* name);
// How many strings are alive: made and not released.
int64_t sketchup_recorder_strings(void);

#ifdef __cplusplus
}
#endif

#endif
