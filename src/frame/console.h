// Writes to the host's Ruby console, which shows what Kernel.puts and Kernel.print write.
//
// Every status and error text of the extension passes through here. Host's Ruby thread only; an exception raised
// by the console passes through.
#pragma once

#include <ruby.h>

// One Kernel.print: no newline is added.
void rb_print(VALUE value);
void rb_print(char const* text);
void rb_print(unsigned int number);

// One Kernel.puts of the text: Ruby adds a newline unless the text ends in one.
void rb_puts(char const* text);
// One Kernel.puts of what the value's `inspect` gives.
void rb_puts(VALUE value);

// Label, value and newline as three prints with nothing between them: the label carries its own blank.
void rb_puts(char const* label, unsigned int number);
void rb_puts(char const* label, char const* text);

// A modal message box in the host (UI.messagebox); returns its result.
VALUE ui_puts(char const* text);
