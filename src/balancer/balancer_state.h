// The one process-wide Balancer state: SDK object, mesh depot, current mesh, simplification hierarchy, and the
// references to the Ruby side's preview arrays.
//
// Touched on the host's Ruby thread only. The depot owns its meshes and the hierarchy; the handles keep their
// values when the state is cleared, so ask guardMeshDepot or guardMesh before reading through them.
#pragma once

#include <ruby.h>

#include <cstdint>

#include "src/balancer/balancer_sdk.h"

extern ab::IBalancerSDK* bSDK;
extern ab::IMeshDepot* meshDepot;
extern ab::IMesh* mesh;  // captured last, or mesh 0 of the last import
extern ab::IHierarchy* hierarchy;

// Preview arrays. The first three name instance variables of the Importer, which owns them; they are registered
// with the garbage collector all the same, because the Importer may go while the extension stays.
extern VALUE rTriangles;
extern VALUE rLines;
extern VALUE rPoints;
extern VALUE rBoundingBox;
extern VALUE rMeshColors;

constexpr std::uint32_t kNoIndex = 0xFFFFFFFF;

// Run once at load.
void registerPreviewReferences();

// Whether there is a live depot.
bool hasMeshDepot();
// True when there is a live depot (or current mesh); otherwise prints the line that says it is missing.
bool guardMeshDepot();
bool guardMesh();
// Print the line that says that the depot, or that a mesh or one of its tables, is missing.
void reportMissingDepot();
void reportMissingMesh();
// The mesh of that index in the live depot, or null after printing which is missing.
ab::IMesh* getDepotMesh(std::uint32_t index);

// Any callback may clear the state. Code that holds a pointer taken from the depot across a Ruby call notes the
// count of clears before and asks after: guardUncleared also prints the line that the depot is missing.
extern std::uint32_t clearCount;
inline std::uint32_t getClearCount() {
  return clearCount;
}
inline bool isClearedSince(std::uint32_t clears) {
  return clears != clearCount;
}
inline bool guardUncleared(std::uint32_t clears) {
  if (isClearedSince(clears)) {
    reportMissingDepot();
    return false;
  }
  return true;
}

// init_mesh_depot: a fresh SDK object and an empty depot; frees nothing. Returns true, or false after a console
// line when the SDK cannot start, which leaves the depot as it was.
VALUE initMeshDepot(VALUE self);

// clear_balancer: drops the preview references and frees depot and SDK object. Returns true. Until the next depot
// is made a second call only drops the references.
VALUE freeBalancer(VALUE self);

// Makes a new mesh in the depot the current one; false after a console line when the depot cannot make one.
bool initMesh();
