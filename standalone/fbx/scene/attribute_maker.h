// The attributes of nodes: meshes, NURBS surfaces and patches with their geometry, everything else by its kind alone.
#pragma once

#include <fbxsdk/geometry.h>

#include <string>
#include <string_view>

#include "standalone/fbx/document.h"

namespace mirel::fbx {

// What the file's word for a kind of object stands for.
fbxsdk::FbxNodeAttribute::EType attribute_type(std::string_view kind);
// The name of the attribute that an object of version 6 holds itself.
std::string held_attribute_name(Document const& document, DocumentObject const& object);

// Both throw ReadError. The object holds the geometry; one without gives an empty attribute.
fbxsdk::FbxNodeAttribute* make_geometry(Document const& document, fbxsdk::FbxManager* manager,
                                        DocumentObject const& object, fbxsdk::FbxNodeAttribute::EType type,
                                        std::string const& name);
fbxsdk::FbxNodeAttribute* make_attribute(Document const& document, fbxsdk::FbxManager* manager,
                                         fbxsdk::FbxNodeAttribute::EType type, std::string const& name);

}  // namespace mirel::fbx
