// The container of the meshes that are reduced together, as the mesh SDK hands it out.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "standalone/engine/sdk/hierarchy.h"
#include "standalone/engine/sdk/mesh.h"

namespace mirel::engine {

class MeshDepot final : public MeshDepotSlots {
 public:
  MeshDepot() = default;
  explicit MeshDepot(ObjFile&& file);
  ~MeshDepot();
  MeshDepot(MeshDepot const&) = delete;
  MeshDepot& operator=(MeshDepot const&) = delete;

  std::uint32_t createMesh() override;
  std::uint32_t getNumMeshes() const override { return static_cast<std::uint32_t>(meshes_.size()); }
  ab::IMesh* getMesh(std::uint32_t index) const override { return mesh(index); }
  void clear() override;
  ab::IHierarchy* buildHierarchy(float errorTolerance) override;
  void setLockSurfaceBoundaries(bool on) override { options_.lock_boundaries = on; }
  void setPreventUVFoldovers(bool on) override { options_.prevent_uv_foldovers = on; }
  void setPreventXYFoldovers(bool on) override { options_.prevent_xy_foldovers = on; }
  std::uint32_t joinVertices(int reserved, AttributeJoiningTolerances const& tolerances,
                             float positionThreshold) override;
  std::uint32_t eliminateTJunctions(float tolerance) override;
  void prepareMeshes() override;

  // Null for an unknown index.
  Mesh* mesh(std::uint32_t index) const { return index < meshes_.size() ? meshes_[index].get() : nullptr; }
  // The ladder of the last build, null where there is none or it has ended.
  Ladder* ladder() const { return hierarchy_ == nullptr ? nullptr : hierarchy_->ladder(); }
  // A bound on the deviation of a step of that ladder: recorded, measured before, or NaN. NaN without a ladder.
  double known_deviation_bound(std::uint32_t step) const;
  // Measured now where it is not known; NaN only without a ladder. Throws std::bad_alloc.
  double deviation_bound(std::uint32_t step);

 private:
  void end_ladder();

  std::vector<std::unique_ptr<Mesh>> meshes_;  // addresses handed out stay
  LadderOptions options_;
  Hierarchy* hierarchy_ = nullptr;
  std::map<std::uint32_t, double> measured_bounds_;  // by step
};

}  // namespace mirel::engine
