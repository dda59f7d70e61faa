// The number under which the Ruby side knows an FBX object.
#pragma once

#include <fbxsdk.h>

// The low 32 bits of the object's unique id.
inline unsigned int getObjectIdentifier(fbxsdk::FbxObject const* object) {
  return static_cast<unsigned int>(object->GetUniqueID() & 0xFFFFFFFFU);
}
