#include "src/balancer/balancer_state.h"

#include "src/frame/console.h"
#include "src/frame/interned_name.h"

ab::IBalancerSDK* bSDK;
ab::IMeshDepot* meshDepot;
ab::IMesh* mesh;
ab::IHierarchy* hierarchy;

VALUE rTriangles;
VALUE rLines;
VALUE rPoints;
VALUE rBoundingBox;
VALUE rMeshColors;

namespace {

// From clear_balancer until the next depot the handles hold freed objects.
bool isCleared;

}  // namespace

std::uint32_t clearCount;

void registerPreviewReferences() {
  rb_global_variable(&rTriangles);
  rb_global_variable(&rLines);
  rb_global_variable(&rPoints);
  rb_global_variable(&rBoundingBox);
  rb_global_variable(&rMeshColors);
}

void reportMissingDepot() {
  rb_puts("Error: MeshDepot has not been created.");
}

void reportMissingMesh() {
  rb_puts("Error: Mesh has not been created.");
}

bool hasMeshDepot() {
  return meshDepot != nullptr && !isCleared;
}

bool guardMeshDepot() {
  if (hasMeshDepot()) {
    return true;
  }
  reportMissingDepot();
  return false;
}

bool guardMesh() {
  if (mesh != nullptr && !isCleared) {
    return true;
  }
  reportMissingMesh();
  return false;
}

ab::IMesh* getDepotMesh(std::uint32_t index) {
  if (!guardMeshDepot()) {
    return nullptr;
  }
  ab::IMesh* const found = meshDepot->getMesh(index);
  if (found == nullptr) {
    reportMissingMesh();
  }
  return found;
}

VALUE initMeshDepot(VALUE self) {
  static ID meshDepotInMemory;
  bSDK = ab::IBalancerSDK::initialize();
  if (bSDK == nullptr) {
    rb_puts("Error: BalancerSDK failed to initialize.\n");
    return Qfalse;
  }
  meshDepot = ab::IMeshDepot::create();
  mesh = nullptr;
  isCleared = false;
  rb_ivar_set(self, internedName(meshDepotInMemory, "@mesh_depot_in_memory"), Qtrue);
  return Qtrue;
}

VALUE freeBalancer(VALUE) {
  rTriangles = Qnil;
  rLines = Qnil;
  rPoints = Qnil;
  rBoundingBox = Qnil;
  rMeshColors = Qnil;
  if (isCleared) {
    return Qtrue;
  }
  isCleared = true;
  ++clearCount;
  if (meshDepot != nullptr) {
    meshDepot->clear();
    ab::IMeshDepot::destroy(meshDepot);
  }
  if (bSDK != nullptr) {
    ab::IBalancerSDK::release(bSDK);
  }
  return Qtrue;
}

bool initMesh() {
  if (!guardMeshDepot()) {
    return false;
  }
  std::uint32_t const index = meshDepot->createMesh();
  if (index == kNoIndex) {
    rb_puts("Error: Mesh has not been created.\n");
    return false;
  }
  mesh = meshDepot->getMesh(index);
  return true;
}
