// A ladder as the mesh SDK hands it out: a position on it, which the meshes follow when they are next read.
#pragma once

#include <cstdint>
#include <memory>

#include "standalone/engine/ladder/ladder.h"
#include "standalone/engine/sdk/unused_slots.h"

namespace mirel::engine {

// Hierarchies are ended, never freed: whoever still holds one finds 0 steps, and moves do nothing.
class Hierarchy final : public HierarchySlots {
 public:
  explicit Hierarchy(std::unique_ptr<Ladder> ladder) : ladder_(std::move(ladder)) {}

  std::uint32_t numSteps() const override { return ladder_ ? ladder_->step_count() : 0; }
  std::uint32_t currentStep() const override { return step_; }
  // Beyond the end is the end.
  void goToStep(std::uint32_t step) override { step_ = step < numSteps() ? step : numSteps(); }
  void goToFaceCount(std::uint32_t faces) override { step_ = ladder_ ? ladder_->step_for_face_count(faces) : 0; }

  // Null once ended.
  Ladder* ladder() const { return ladder_.get(); }
  void end() {
    ladder_.reset();
    step_ = 0;
  }

 private:
  std::unique_ptr<Ladder> ladder_;
  std::uint32_t step_ = 0;
};

}  // namespace mirel::engine
