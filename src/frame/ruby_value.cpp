#include "src/frame/ruby_value.h"

#include <ruby/encoding.h>

VALUE GetRubyInterface(double value) {
  return rb_float_new(value);
}

VALUE GetRubyInterface(float value) {
  return rb_float_new(static_cast<double>(value));
}

VALUE GetRubyInterface(unsigned int value) {
  return rb_uint2inum(value);
}

VALUE GetRubyInterface(int value) {
  return rb_int2inum(value);
}

VALUE GetRubyInterface(char const* text) {
  static int const utf8Index = rb_enc_find_index("UTF-8");
  VALUE const string = rb_str_new_cstr(text);
  rb_enc_associate_index(string, utf8Index);
  return string;
}

char const* getNativeText(VALUE& text) {
  StringValueCStr(text);
  text = rb_str_new_frozen(text);
  return StringValueCStr(text);
}
