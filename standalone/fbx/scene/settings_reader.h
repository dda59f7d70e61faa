// The axes and the unit of a scene.
#pragma once

#include "standalone/fbx/document.h"
#include "standalone/fbx/sdk/internals.h"

namespace mirel::fbx {

// Y up and centimetres where the document tells nothing that could be.
void read_settings(Document const& document, fbxsdk::Internals::GlobalSettingsData& settings);

}  // namespace mirel::fbx
