// Materials: their shading model, their properties, and what they have where the file gives nothing.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

class MaterialMaker {
 public:
  MaterialMaker(Document const& document, fbxsdk::FbxManager* manager) : document_(document), manager_(manager) {}

  // Throws ReadError.
  fbxsdk::FbxSurfaceMaterial* make(DocumentObject const& object);

 private:
  // Values that materials of that shading model have where the file gives none.
  std::shared_ptr<fbxsdk::PropertyTable const> defaults(std::string_view class_name);

  Document const& document_;
  fbxsdk::FbxManager* manager_;
  std::map<std::string, std::shared_ptr<fbxsdk::PropertyTable const>> defaults_;
};

}  // namespace mirel::fbx
