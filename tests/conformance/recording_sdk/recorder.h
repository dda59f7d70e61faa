// The control side of a mesh SDK that only records: tests script its answers and read its log.
//
// The log has one line per call, in order: OBJECT.OPERATION ARGUMENTS. Objects are named sdk1, depot1, depot1.mesh0,
// depot1.mesh0.material0, depot1.hierarchy1 by order of creation since the last reset; a call on an object whose
// depot has been destroyed is logged with "DEAD " before it. Floats are written with nine digits,
// arrays handed in with all their entries in brackets.
//
// An answer is looked up under OBJECT.OPERATION first, then under OPERATION alone. The tables and counts of a face
// set, and the vertex remaps of a mode, are looked up under OPERATION.NUMBER before that.
#ifndef MIREL_RECORDER_H
#define MIREL_RECORDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Forgets log, answers and numbering. Objects handed out before stay usable.
void recorder_reset(void);
// Whether calls are logged (they are after a reset).
void recorder_enable(int on);
// Adds a line of the caller's own.
void recorder_note(char const* line);
// The lines since the last call, each ended by a newline; valid until the next call.
char const* recorder_take_log(void);

// A number, text or array that an operation answers. A null text or array makes the operation answer null.
void recorder_answer(char const* key, double value);
void recorder_text(char const* key, char const* text);
void recorder_floats(char const* key, float const* values, uint32_t count);
void recorder_indices(char const* key, uint32_t const* values, uint32_t count);
// Makes the operation throw a std::runtime_error with the text, or std::bad_alloc for a null text.
void recorder_throw(char const* key, char const* text);

#ifdef __cplusplus
}
#endif

#endif
