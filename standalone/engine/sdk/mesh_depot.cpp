#include "standalone/engine/sdk/mesh_depot.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <new>
#include <utility>

#include "standalone/engine/ladder/step_deviation.h"
#include "standalone/engine/sdk/live_objects.h"

namespace mirel::engine {

MeshDepot::MeshDepot(ObjFile&& file) {
  meshes_.reserve(file.meshes.size());
  for (ObjMesh& mesh : file.meshes) {
    meshes_.push_back(std::make_unique<Mesh>(std::move(mesh)));
  }
}

MeshDepot::~MeshDepot() {
  end_ladder();
}

std::uint32_t MeshDepot::createMesh() {
  try {
    meshes_.push_back(std::make_unique<Mesh>());
    return getNumMeshes() - 1;
  } catch (std::bad_alloc const&) {
    return kNone;
  }
}

void MeshDepot::clear() {
  end_ladder();
  meshes_.clear();
}

void MeshDepot::end_ladder() {
  measured_bounds_.clear();
  if (hierarchy_ != nullptr) {
    hierarchy_->end();
    hierarchy_ = nullptr;
  }
}

double MeshDepot::known_deviation_bound(std::uint32_t step) const {
  Ladder const* const steps = ladder();
  if (steps == nullptr) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  auto const measured = measured_bounds_.find(std::min(step, steps->step_count()));
  return measured != measured_bounds_.end() ? measured->second : steps->deviation_bound(step);
}

double MeshDepot::deviation_bound(std::uint32_t step) {
  double const known = known_deviation_bound(step);
  Ladder* const steps = ladder();
  if (steps == nullptr || !std::isnan(known)) {
    return known;
  }
  step = std::min(step, steps->step_count());
  return measured_bounds_[step] = StepDeviation(*steps, step).bound();
}

void MeshDepot::prepareMeshes() {
  end_ladder();
  for (auto const& mesh : meshes_) {
    try {
      mesh->prepare();
    } catch (std::bad_alloc const&) {
      // The mesh stays as it was; building the hierarchy tries again and reports it.
    }
  }
}

std::uint32_t MeshDepot::joinVertices(int /*reserved*/, AttributeJoiningTolerances const& tolerances,
                                      float positionThreshold) {
  end_ladder();
  std::uint32_t joined = 0;
  for (auto const& mesh : meshes_) {
    try {
      joined += mesh->join({positionThreshold, tolerances.normalTolerance, tolerances.uvTolerance});
    } catch (std::bad_alloc const&) {
      // The mesh is empty or as it was; the others are still worth joining.
    }
  }
  return joined;
}

std::uint32_t MeshDepot::eliminateTJunctions(float tolerance) {
  end_ladder();
  std::uint32_t removed = 0;
  for (auto const& mesh : meshes_) {
    try {
      removed += mesh->eliminate_t_junctions(tolerance);
    } catch (std::bad_alloc const&) {
      // As above.
    }
  }
  return removed;
}

ab::IHierarchy* MeshDepot::buildHierarchy(float errorTolerance) {
  end_ladder();
  try {
    std::vector<WedgeMesh const*> wedges;
    wedges.reserve(meshes_.size());
    for (auto const& mesh : meshes_) {
      wedges.push_back(&mesh->ready_for_ladder());
    }
    LadderOptions options = options_;
    options.tolerance = errorTolerance;
    auto hierarchy = std::make_unique<Hierarchy>(Ladder::build(wedges, options));
    live_objects().hierarchies.push_back(hierarchy.get());
    hierarchy_ = hierarchy.release();
  } catch (std::exception const&) {
    return nullptr;
  }
  for (std::uint32_t i = 0; i < getNumMeshes(); ++i) {
    meshes_[i]->attach(hierarchy_, i);
  }
  return hierarchy_;
}

}  // namespace mirel::engine
