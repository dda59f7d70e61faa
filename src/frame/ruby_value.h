// Turns native numbers and texts into Ruby objects, and Ruby texts into native ones.
//
// Everything here makes Ruby calls: host's Ruby thread only, and Ruby exceptions pass through.
#pragma once

#include <ruby.h>

// A new Ruby object: Float, Float, Integer (never negative), Integer, String tagged UTF-8 whatever its bytes.
VALUE GetRubyInterface(double value);
VALUE GetRubyInterface(float value);
VALUE GetRubyInterface(unsigned int value);
VALUE GetRubyInterface(int value);
VALUE GetRubyInterface(char const* text);

// The NUL-terminated text of a Ruby String. `text` is replaced by a frozen copy that owns the bytes, so that no
// callback can change them: keep it alive with RB_GC_GUARD. Raises TypeError for anything but a String and
// ArgumentError for one with a NUL inside.
char const* getNativeText(VALUE& text);
