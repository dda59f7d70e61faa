// Reads an FBX file and hands its scene to the Ruby side: per node its local transformation, materials and meshes.
//
// The scene is turned to Z up before any node is read; lengths stay in the file's unit, which Ruby is told. The native
// side keeps nothing of the scene. All FBX objects of a call hang on one manager, which the call destroys; an
// exception of a callback ends the import and leaves them behind.
#pragma once

#include <fbxsdk.h>
#include <ruby.h>

// Defines import_fbx on the plugin's class Importer.
void Init_Import_fbx();

// import_fbx: `path` is a String. Makes a fresh Balancer state and fills its depot. Returns true when the scene was
// walked, or false after console lines when there is no depot or the file cannot be read.
VALUE fbx_import(VALUE self, VALUE path);

// Hands over a node, what it holds, and everything below it. False after a console line when a callback took away the
// depot that a mesh needs.
bool addNode(fbxsdk::FbxNode* node, VALUE parentDefinition, VALUE self, fbxsdk::FbxGeometryConverter& converter);
