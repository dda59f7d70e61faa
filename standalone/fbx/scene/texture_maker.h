// Textures: what pictures they stand for, and how those are put on a surface.
#pragma once

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

class TextureMaker {
 public:
  TextureMaker(Document const& document, fbxsdk::FbxManager* manager);

  // Whether objects of that type are textures.
  static bool makes(std::string_view type) {
    return type == "Texture" || type == "LayeredTexture" || type == "ProceduralTexture";
  }
  // Throws ReadError.
  fbxsdk::FbxTexture* make(DocumentObject const& object);

 private:
  Document const& document_;
  fbxsdk::FbxManager* manager_;
  fbxsdk::Internals::TextureValues defaults_;
};

}  // namespace mirel::fbx
