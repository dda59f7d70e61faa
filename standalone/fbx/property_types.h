// Property values of the file as the SDK's.
#pragma once

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

fbxsdk::EFbxType property_type(std::string_view name);
fbxsdk::PropertyValue read_value(Document const& document, PropertyEntry const& entry);
// By name, as they are looked up; of several of one name the first counts.
void sort_properties(fbxsdk::PropertyTable& table);

// False where the property has no number.
bool read_number(PropertyEntry const& entry, double& value);
// 0 for what is far from any number that the file could mean.
int whole(double value);

}  // namespace mirel::fbx
