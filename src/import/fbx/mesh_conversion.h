// Converts a triangulated FBX mesh into a mesh of the depot: positions, triangles in one face set per material slot of
// the node, and UVs and normals of layer 0 where the Ruby side wants them.
//
// Polygon p of the FBX mesh and face p of the depot's mesh are taken for the same throughout. They drift apart where a
// polygon that is no triangle was passed over. Positions stay in the mesh's own frame.
#pragma once

#include <fbxsdk.h>
#include <ruby.h>

#include <cstdint>
#include <span>

#include "src/balancer/balancer_sdk.h"

// The index of the new mesh in the depot, or 0 after a console line when the depot cannot make one. Modes that are not
// supported print a line and leave the mesh without that attribute. A callback that clears the Balancer state ends the
// conversion: ask guardUncleared afterwards.
std::uint32_t addMesh(fbxsdk::FbxMesh* fbxMesh, fbxsdk::FbxSurfaceMaterial* const* materials, int materialCount,
                      VALUE self);

// The steps of addMesh. They end early when a callback clears the Balancer state.
void loadFbxControlPoints(fbxsdk::FbxMesh* fbxMesh, ab::IMesh* target);
void loadFbxPolygons(fbxsdk::FbxMesh* fbxMesh, ab::IMesh* target, fbxsdk::FbxSurfaceMaterial* const* materials,
                     int materialCount);
// One flag per material: whether it has a diffuse texture file.
void getMaterialsWithUVs(fbxsdk::FbxSurfaceMaterial* const* materials, bool* flags, int materialCount);
void loadFbxUVs(fbxsdk::FbxMesh* fbxMesh, ab::IMesh* target, std::span<bool const> flags, VALUE self);
void loadFbxNormals(fbxsdk::FbxMesh* fbxMesh, ab::IMesh* target, VALUE self);
