// What a function of the interface answers when there is no memory for it: nothing of the mesh SDK throws.
#pragma once

#include <new>

namespace mirel::engine {

template <class Result, class Make>
Result or_else(Result fallback, Make make) {
  try {
    return make();
  } catch (std::bad_alloc const&) {
    return fallback;
  }
}

}  // namespace mirel::engine
