#include "src/import/obj_import.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/console.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"
#include "src/import/scene_handoff.h"

VALUE loadOBJ(VALUE self, VALUE path) {
  char const* const text = getNativeText(path);
  initMeshDepot(self);
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  updateStatus("Mireling Model...");
  // The callback may have cleared the state, whose SDK object the loader needs.
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  meshDepot = ab::IMeshDepot::load(text, nullptr);
  RB_GC_GUARD(path);
  if (meshDepot == nullptr) {
    rb_puts("Error: MeshDepot file loading failed");
    return Qfalse;
  }
  updateStatus("Building Scene Graph...");
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  std::uint32_t const count = meshDepot->getNumMeshes();
  for (std::uint32_t index = 0; index < count; ++index) {
    if (!sendMeshToRuby(index, self)) {
      return Qfalse;
    }
  }
  return INT2FIX(0);
}
