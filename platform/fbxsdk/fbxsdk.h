// The FBX SDK's classes, as far as the importer calls them: declarations of our own after the SDK's public
// documentation, so that the same source compiles against the maker's headers.
//
// Ownership: objects belong to their FbxManager and live until it, or they, are destroyed; nothing is deleted by the
// caller. Pointers to names, control points and layer elements live as long as their object. Errors are an FbxStatus;
// nothing throws. Angles are degrees, matrices act on row vectors (the translation is row 3), indices start at 0.
#pragma once

#include <fbxsdk/axis_system.h>
#include <fbxsdk/foundation.h>
#include <fbxsdk/geometry.h>
#include <fbxsdk/geometry_converter.h>
#include <fbxsdk/layer.h>
#include <fbxsdk/manager.h>
#include <fbxsdk/math.h>
#include <fbxsdk/node.h>
#include <fbxsdk/object.h>
#include <fbxsdk/property.h>
#include <fbxsdk/scene.h>
#include <fbxsdk/shading.h>
#include <fbxsdk/system_unit.h>
