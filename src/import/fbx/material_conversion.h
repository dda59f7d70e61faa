// FBX materials as the Ruby side takes them: name, diffuse colour, texture file and its scale.
#pragma once

#include <fbxsdk.h>
#include <ruby.h>

// Hands a material over: get_material_name, then add_material.
void addMaterial(fbxsdk::FbxSurfaceMaterial* material, VALUE self);

// The file name, as stored, of the first texture on the diffuse channel; nil when there is none, after a console line
// when the material is null, has no diffuse channel, or has a texture that is no file.
VALUE getDiffuseTexture(fbxsdk::FbxSurfaceMaterial const* material);

// Sketchup::Color of the components: each times 255, truncated, not clamped.
VALUE getSUColorFromFbxColor(fbxsdk::FbxColor const& color);
