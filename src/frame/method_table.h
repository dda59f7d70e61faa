// Attaches native functions to a Ruby class: one wrapper per count of Ruby arguments. The receiver comes first.
#pragma once

#include <ruby.h>

inline void defineMethod(VALUE type, char const* name, VALUE (*function)(VALUE)) {
  rb_define_method(type, name, function, 0);
}

inline void defineMethod(VALUE type, char const* name, VALUE (*function)(VALUE, VALUE)) {
  rb_define_method(type, name, function, 1);
}

inline void defineMethod(VALUE type, char const* name, VALUE (*function)(VALUE, VALUE, VALUE)) {
  rb_define_method(type, name, function, 2);
}

inline void defineMethod(VALUE type, char const* name, VALUE (*function)(VALUE, VALUE, VALUE, VALUE)) {
  rb_define_method(type, name, function, 3);
}

inline void defineMethod(VALUE type, char const* name, VALUE (*function)(VALUE, VALUE, VALUE, VALUE, VALUE)) {
  rb_define_method(type, name, function, 4);
}
