// Property values of the file as the SDK's.
#pragma once

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

fbxsdk::EFbxType property_type(std::string_view name);
fbxsdk::PropertyValue read_value(Document const& document, PropertyEntry const& entry);

}  // namespace mirel::fbx
