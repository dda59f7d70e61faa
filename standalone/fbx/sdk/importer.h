// What an importer holds between opening a file and reading it.
#pragma once

#include "standalone/fbx/sdk/internals.h"

namespace fbxsdk {

struct Internals::ImporterData : ObjectData {
  FbxStatus status;
  std::string path;
  // 7400 for 7.4; 0 before a file is open.
  int version = 0;
};

inline Internals::ImporterData& Internals::data(const FbxIOBase& object) {
  return static_cast<ImporterData&>(*object.mObject);
}

}  // namespace fbxsdk
