/* Text that the API owns. A Get function writes a name only into a string that has been created. */
#pragma once

#include <SketchUpAPI/common.h>

#ifdef __cplusplus
extern "C" {
#endif

enum SUResult SUStringCreate(SUStringRef* out_string_ref);
enum SUResult SUStringCreateFromUTF8(SUStringRef* out_string_ref, const char* char_array);
enum SUResult SUStringRelease(SUStringRef* string_ref);
/* In bytes, without the NUL. */
enum SUResult SUStringGetUTF8Length(SUStringRef string_ref, size_t* out_length);
enum SUResult SUStringGetUTF8(SUStringRef string_ref, size_t char_array_length, char* out_char_array,
                              size_t* out_number_of_chars_copied);
/* Below 0, 0 or above 0, as a sorts before, like or after b. */
enum SUResult SUStringCompare(SUStringRef a, SUStringRef b, int* result);

#ifdef __cplusplus
}
#endif
