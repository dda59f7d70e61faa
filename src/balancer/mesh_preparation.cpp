#include "src/balancer/mesh_preparation.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/console.h"
#include "src/frame/interned_name.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"

namespace {

constexpr float kTJunctionTolerance = 0.1F;  // model units

bool isTrue(VALUE self, ID setting) {
  return rb_funcallv(self, setting, 0, nullptr) == Qtrue;
}

float readFloat(VALUE self, ID setting) {
  return static_cast<float>(rb_num2dbl(rb_funcallv(self, setting, 0, nullptr)));
}

bool removeAttributes(bool keepUVs, bool keepNormals) {
  std::uint32_t const clears = getClearCount();
  std::uint32_t const count = meshDepot->getNumMeshes();
  for (std::uint32_t index = 0; index < count; ++index) {
    ab::IMesh* const current = getDepotMesh(index);
    if (current == nullptr) {
      return false;
    }
    if (!keepUVs) {
      rb_puts("Maintain UVs set to False.  Removing UVs..");
      if (!guardUncleared(clears)) {
        return false;
      }
      current->removeCornerUVs();
      current->removeVertexUVs();
    }
    if (!keepNormals) {
      rb_puts("Maintain Normals set to False.  Removing Normals..");
      if (!guardUncleared(clears)) {
        return false;
      }
      current->removeIndexedNormals();
      current->removeVertexNormals();
    }
  }
  return true;
}

void printMesh(std::uint32_t index, ab::IMesh const* current, std::uint32_t clears) {
  rb_puts("---Balancer Mesh Data---");
  rb_puts("Mesh Index: ", index);
  struct Row {
    char const* label;
    std::uint32_t (ab::IMesh::*count)() const;
  };
  static constexpr Row kRows[] = {
      {"Num vertices:", &ab::IMesh::getNumVertices},      {"Num Face Sets / Materials: ", &ab::IMesh::getNumFaceSets},
      {"Num Faces: ", &ab::IMesh::getNumFaces},           {"Num Normals: ", &ab::IMesh::getNumNormals},
      {"Num Indexed UVs :", &ab::IMesh::getNumCornerUVs},
  };
  for (Row const& row : kRows) {
    if (isClearedSince(clears)) {
      return;
    }
    rb_puts(row.label, (current->*row.count)());
  }
  if (!isClearedSince(clears)) {
    rb_puts("Has Vertex Attributes: ", current->hasVertexAttributes() ? 1U : 0U);
  }
}

}  // namespace

bool processBalancerMeshes(VALUE self) {
  static ID maintainUVs;
  static ID maintainNormals;
  static ID joinVerticesThreshold;
  static ID joinNormalsThreshold;
  static ID joinUVsThreshold;
  static ID lockSurfaceBoundaries;
  static ID preventXYFoldovers;
  static ID preventUVFoldovers;
  bool const keepUVs = isTrue(self, internedName(maintainUVs, "maintain_uvs?"));
  bool const keepNormals = isTrue(self, internedName(maintainNormals, "maintain_normals?"));
  if (!guardMeshDepot()) {
    return false;
  }
  meshDepot->prepareMeshes();
  if (!removeAttributes(keepUVs, keepNormals)) {
    return false;
  }

  float const positionThreshold = readFloat(self, internedName(joinVerticesThreshold, "join_vertices_threshold"));
  float const normalThreshold = readFloat(self, internedName(joinNormalsThreshold, "join_normals_threshold"));
  float const uvThreshold = readFloat(self, internedName(joinUVsThreshold, "join_uvs_threshold"));
  bool const lockBoundaries = isTrue(self, internedName(lockSurfaceBoundaries, "lock_surface_boundaries?"));
  bool const keepXYOrientation = isTrue(self, internedName(preventXYFoldovers, "prevent_xy_foldovers?"));
  bool const keepUVOrientation = isTrue(self, internedName(preventUVFoldovers, "prevent_uv_foldovers?"));
  ab::IMeshDepot::AttributeJoiningTolerances tolerances;
  tolerances.normalTolerance = normalThreshold;
  tolerances.uvTolerance = uvThreshold;

  updateStatus("Joining Vertices...");
  if (!guardMeshDepot()) {
    return false;
  }
  rb_puts("Joined Vertices: ", meshDepot->joinVertices(0, tolerances, positionThreshold));

  updateStatus("Eliminating T-Junctions...");
  if (!guardMeshDepot()) {
    return false;
  }
  rb_puts("Eliminated T-Junctions: ", meshDepot->eliminateTJunctions(kTJunctionTolerance));

  rb_puts(lockBoundaries ? "Lock Surface Boundaries is TRUE" : "Lock Surface Boundaries is FALSE");
  if (!guardMeshDepot()) {
    return false;
  }
  meshDepot->setLockSurfaceBoundaries(lockBoundaries);
  meshDepot->setPreventXYFoldovers(keepXYOrientation);
  meshDepot->setPreventUVFoldovers(keepUVOrientation);
  return true;
}

bool reportBalancerMeshes(VALUE self, bool verbose) {
  static ID totalOriginalFaces;
  if (!guardMeshDepot()) {
    return false;
  }
  std::uint32_t const clears = getClearCount();
  std::uint32_t total = 0;
  for (std::uint32_t index = 0; index != meshDepot->getNumMeshes(); ++index) {
    ab::IMesh* const current = getDepotMesh(index);
    if (current == nullptr) {
      return false;
    }
    if (current->getNumVertices() == 0) {
      continue;
    }
    if (verbose) {
      printMesh(index, current, clears);
      if (!guardUncleared(clears)) {
        return false;
      }
    }
    total += current->getNumFaces();
  }
  rb_ivar_set(self, internedName(totalOriginalFaces, "@total_original_faces"), GetRubyInterface(total));
  return true;
}
