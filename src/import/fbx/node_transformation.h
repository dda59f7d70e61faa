// The transformations of an FBX node as the Ruby side takes them.
#pragma once

#include <fbxsdk.h>
#include <ruby.h>

// A Geom::Transformation: translation, rotations, pivots and scaling of the node relative to its parent, without
// animation.
VALUE getNodeLclTransformation(fbxsdk::FbxNode* node);

// The offset of the node's meshes, which its children do not share: what calc_geometric_transform makes of translation,
// rotation (degrees) and scaling.
VALUE getGeometricTransformation(fbxsdk::FbxNode* node, VALUE self);
