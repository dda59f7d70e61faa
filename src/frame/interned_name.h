// The convention for Ruby names: each call site keeps the identifier in a zero-initialised function-local static
// and interns the name on its first use only.
#pragma once

#include <ruby.h>

#include <cstddef>

// The identifier of a string literal. `cache` belongs to the call site.
template <std::size_t Size>
inline ID internedName(ID& cache, char const (&name)[Size]) {
  if (cache == 0) {
    cache = rb_intern2(name, static_cast<long>(Size - 1));
  }
  return cache;
}
