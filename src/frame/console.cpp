#include "src/frame/console.h"

#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

void rb_print(VALUE value) {
  static ID print;
  rb_funcall(rb_mKernel, internedName(print, "print"), 1, value);
}

void rb_print(char const* text) {
  rb_print(GetRubyInterface(text));
}

void rb_print(unsigned int number) {
  rb_print(GetRubyInterface(number));
}

void rb_puts(char const* text) {
  static ID puts;
  rb_funcall(rb_mKernel, internedName(puts, "puts"), 1, GetRubyInterface(text));
}

void rb_puts(VALUE value) {
  static ID inspect;
  static ID puts;
  VALUE const text = rb_funcall(value, internedName(inspect, "inspect"), 0);
  rb_funcall(rb_mKernel, internedName(puts, "puts"), 1, text);
}

void rb_puts(char const* label, unsigned int number) {
  rb_print(label);
  rb_print(number);
  rb_print("\n");
}

void rb_puts(char const* label, char const* text) {
  rb_print(label);
  rb_print(text);
  rb_print("\n");
}

VALUE ui_puts(char const* text) {
  static ID messagebox;
  return rb_funcall(mUI, internedName(messagebox, "messagebox"), 1, GetRubyInterface(text));
}
