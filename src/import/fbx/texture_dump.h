// Prints every texture channel of a material to the host's console. A diagnostic: no import calls it.
#pragma once

#include <fbxsdk.h>

// The textures of the 17 channels that can have one, in the SDK's order.
void DisplayTexture(fbxsdk::FbxSurfaceMaterial const* material);

// The textures connected to a property, those inside layered textures too. Nothing for an invalid property.
void FindAndDisplayTextureInfoByProperty(fbxsdk::FbxProperty const& property);

// The fields of a texture, a line each. Numbers lose their fraction. A blend mode below 0 is none.
void DisplayTextureInfo(fbxsdk::FbxTexture* texture, int blendMode);
