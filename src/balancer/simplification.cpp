#include "src/balancer/simplification.h"

#include "src/balancer/balancer_state.h"
#include "src/balancer/mesh_preparation.h"
#include "src/frame/console.h"
#include "src/frame/interned_name.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"

namespace {

std::uint32_t readUnsigned(VALUE number) {
  return static_cast<std::uint32_t>(rb_num2uint(number));
}

// The hierarchy, or null after printing what is missing. The SDK never frees a ladder, it only ends it, so the
// pointer outlives whatever the conversion of an argument or a callback does to the state.
ab::IHierarchy* getHierarchy(char const* missing) {
  if (hierarchy == nullptr) {
    rb_puts(missing);
  }
  return hierarchy;
}

float readTolerance(VALUE self) {
  static ID useTolerance;
  static ID scaledErrorTolerance;
  if (rb_funcall(self, internedName(useTolerance, "use_tolerance?"), 0) != Qtrue) {
    return 0.0F;
  }
  rb_puts("Using Error Tolerance for Simplification");
  VALUE const setting = rb_funcall(self, internedName(scaledErrorTolerance, "get_scaled_error_tolerance"), 0);
  float const tolerance = static_cast<float>(rb_num2dbl(setting));
  rb_puts(setting);
  return tolerance;
}

}  // namespace

VALUE initSimplify(VALUE self) {
  static ID faceLimit;
  if (!guardMeshDepot() || !processBalancerMeshes(self)) {
    return Qfalse;
  }
  float const tolerance = readTolerance(self);
  updateStatus("Building Simplification Hierarchy...");
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  ab::IHierarchy* const ladder = meshDepot->buildHierarchy(tolerance);
  hierarchy = ladder;
  if (ladder == nullptr) {
    rb_puts("Error: Failed to build simplification hierarchy.");
    return Qfalse;
  }
  if (!reportBalancerMeshes(self, false)) {
    return Qfalse;
  }
  std::uint32_t const limit = readUnsigned(rb_funcall(self, internedName(faceLimit, "face_limit"), 0));
  if (limit != 0) {
    ladder->goToFaceCount(limit);
  }
  return Qtrue;
}

VALUE simplify(VALUE, VALUE step) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot Simplify. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  std::uint32_t const target = readUnsigned(step);
  if (ladder->currentStep() == target) {
    return Qfalse;
  }
  ladder->goToStep(target);
  return Qtrue;
}

VALUE doDecimationStep(VALUE, VALUE steps) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot Perform Decimation Step. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  std::uint32_t const current = ladder->currentStep();
  std::uint32_t const last = ladder->numSteps();
  std::uint32_t const target = current + readUnsigned(steps);
  if (current == last) {
    return Qfalse;
  }
  ladder->goToStep(target > last ? last : target);
  return Qtrue;
}

VALUE doRefinementStep(VALUE, VALUE steps) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot Refinement Step. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  std::uint32_t const current = ladder->currentStep();
  // Signed on purpose: what the 32 bits hold decides between clamping and moving, wrapped values included.
  std::int32_t const target = static_cast<std::int32_t>(current - readUnsigned(steps));
  if (current == 0) {
    return Qfalse;
  }
  ladder->goToStep(target < 0 ? 0U : static_cast<std::uint32_t>(target));
  return Qtrue;
}

VALUE makeHighestResolution(VALUE) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot make highest resolution. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  ladder->goToStep(0);
  return Qtrue;
}

VALUE makeLowestResolution(VALUE) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot make lowest resolution. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  ladder->goToStep(ladder->numSteps());
  return Qtrue;
}

VALUE goToFaces(VALUE, VALUE faceCount) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot Simplify. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  ladder->goToFaceCount(readUnsigned(faceCount));
  return Qtrue;
}

VALUE getCurrentStep(VALUE) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot Simplify. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  return GetRubyInterface(ladder->currentStep());
}

VALUE getHierarchySteps(VALUE) {
  ab::IHierarchy* const ladder = getHierarchy("Error: Cannot simplification steps. Hierarchy has not been created.");
  if (ladder == nullptr) {
    return Qfalse;
  }
  ladder->numSteps();
  return GetRubyInterface(ladder->numSteps());
}

VALUE getFaceCount(VALUE) {
  std::uint32_t total = 0;
  if (guardMeshDepot()) {
    std::uint32_t const count = meshDepot->getNumMeshes();
    for (std::uint32_t index = 0; index < count; ++index) {
      ab::IMesh const* const current = meshDepot->getMesh(index);
      total += current == nullptr ? 0 : current->getNumFaces();
    }
  }
  return GetRubyInterface(static_cast<int>(total));
}
