// A node's transform from its properties.
#pragma once

#include "standalone/fbx/element.h"
#include "standalone/fbx/transform.h"

namespace mirel::fbx {

// What the holder does not tell, and what is no number, stays as it is.
void read_transform(Element const* holder, Transform& transform);

}  // namespace mirel::fbx
