// Making the SDK's objects from a document: what they cost is taken from the file's budget first.
#pragma once

#include <new>
#include <string>

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

// Throws ReadError when the budget does not allow it.
inline void charge(Document const& document, std::size_t bytes) {
  document.tree().budget.take(bytes);
}
// Short texts are kept in the string itself.
inline void charge_text(Document const& document, std::string const& text) {
  if (text.capacity() > std::string().capacity()) charge(document, text.capacity() + 16);
}

template <class T>
T* made(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

}  // namespace mirel::fbx
