// Attaches native functions to a Ruby class under their count of Ruby arguments. The receiver comes first.
//
// No C++ exception gets from such a function into the interpreter, whose frames cannot be unwound: what the mesh SDK
// or an allocation throws is raised in Ruby.
#pragma once

#include <ruby.h>

#include "src/frame/boundary.h"

template <auto Function>
struct NativeMethod;

template <typename... Values, VALUE (*Function)(VALUE, Values...)>
struct NativeMethod<Function> {
  static constexpr int kArity = sizeof...(Values);

  static VALUE call(VALUE self, Values... arguments) {
    return boundary([&]() -> VALUE { return Function(self, arguments...); });
  }
};

template <auto Function>
void defineMethod(VALUE type, char const* name) {
  rb_define_method(type, name, NativeMethod<Function>::call, NativeMethod<Function>::kArity);
}
