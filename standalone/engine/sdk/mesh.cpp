#include "standalone/engine/sdk/mesh.h"

#include <algorithm>
#include <new>
#include <utility>

#include "standalone/engine/prepare/t_junctions.h"

namespace mirel::engine {
namespace {

template <class Value>
Value const* pointer(std::vector<Value> const& values) {
  return values.empty() ? nullptr : values.data();
}

}  // namespace

Mesh::Mesh(ObjMesh&& source) : name_(std::move(source.name)) {
  set_count_ = static_cast<std::uint32_t>(source.materials.size());
  for (ObjMaterial& material : source.materials) {
    materials_.push_back(std::make_unique<Material>(std::move(material)));
  }
  build_.positions = std::move(source.positions);
  build_.normals = std::move(source.normals);
  build_.uvs = std::move(source.uvs);
  build_.faces = std::move(source.faces);
  build_.face_normals = std::move(source.face_normals);
  build_.face_uvs = std::move(source.face_uvs);
  build_.face_set_of = std::move(source.face_set_of);
  build_.face_set_of.resize(build_.face_count());
  build_.set_count = set_count_;
}

void Mesh::look(std::uint32_t step) const {
  tables_ = ViewTables();
  view_ = MeshView();
  WedgeMesh const* wedges = wedges_.get();
  if (step != 0) {
    try {
      hierarchy_->ladder()->read(place_, step, at_step_);
    } catch (std::bad_alloc const&) {
      at_step_ = WedgeMesh();  // without even the begins of its sets
    }
    wedges = &at_step_;
  }
  view_.set_count = set_count_;
  if (wedges == nullptr) {
    view_.build = &build_;
    view_.vertex_count = build_.vertex_count();
    view_.face_count = build_.face_count();
    view_.vertices = pointer(build_.positions);
    view_.faces = pointer(build_.faces);
    view_.vertex_normals = pointer(build_.vertex_normals);
    view_.vertex_uvs = pointer(build_.vertex_uvs);
    view_.grouped = false;
  } else {
    view_.wedges = wedges;
    view_.vertex_count = wedges->vertex_count();
    view_.face_count = wedges->face_count();
    view_.vertices = pointer(wedges->vertices);
    view_.faces = pointer(wedges->faces);
    view_.vertex_normals = pointer(wedges->normals);
    view_.vertex_uvs = pointer(wedges->uvs);
    view_.first_position_count = wedges_->position_count;
    view_.grouped = true;
  }
  viewed_ = true;
  viewed_step_ = step;
}

void Mesh::changed() {
  viewed_ = false;
  prepared_ = false;
}

void Mesh::leave_ladder() {
  // One mesh that no longer fits its ladder ends it for all: a ladder is one over all meshes.
  if (hierarchy_ != nullptr) {
    hierarchy_->end();
    hierarchy_ = nullptr;
  }
  viewed_ = false;
}

void Mesh::prepare() {
  hierarchy_ = nullptr;
  at_step_ = WedgeMesh();
  viewed_ = false;
  if (building() && !prepared_) {
    try {
      exact_ = prepare_build_mesh(build_);
    } catch (std::bad_alloc const&) {
      build_ = BuildMesh();
      build_.set_count = set_count_;
      throw;
    }
    prepared_ = true;
  }
}

template <class Stage>
auto Mesh::change_wedges(Stage stage) {
  try {
    return stage(*wedges_);
  } catch (std::bad_alloc const&) {
    empty_wedges();
    throw;
  }
}

void Mesh::empty_wedges() {
  // The one array that an empty mesh needs; where not even that is left, the old one serves once it is cleared.
  std::vector<std::uint32_t> begin = std::move(wedges_->set_begin);
  std::fill(begin.begin(), begin.end(), 0);
  *wedges_ = WedgeMesh();
  wedges_->set_begin = std::move(begin);
}

void Mesh::make_wedges(JoinTolerances const& tolerances) {
  prepare();
  auto wedges = std::make_unique<WedgeMesh>();
  wedges->set_begin.assign(std::size_t{std::max(set_count_, 1U)} + 1, 0);
  wedges_ = std::move(wedges);  // stays empty, should memory run out below
  *wedges_ = make_wedge_mesh(std::exchange(build_, BuildMesh()), std::exchange(exact_, ExactPositions()), tolerances);
  joined_ = true;
}

std::uint32_t Mesh::join(JoinTolerances const& tolerances) {
  prepare();
  last_join_ = tolerances;
  std::uint32_t before = 0;
  bool joined = true;
  if (building()) {
    before = build_.vertex_count();
    make_wedges(tolerances);
  } else {
    before = wedges_->position_count;
    joined = change_wedges([&](WedgeMesh& wedges) { return join_wedge_mesh(wedges, tolerances); });
  }
  joined_ = true;
  if (joined) {
    t_junctions_gone_ = -1;
  }
  return before - wedges_->position_count;
}

std::uint32_t Mesh::eliminate_t_junctions(float tolerance) {
  prepare();
  if (building()) {
    make_wedges(last_join_ = {});
  }
  float const reach = tolerance > 0 ? tolerance : 0;
  if (reach <= t_junctions_gone_) {
    return 0;
  }
  AttributeTolerance const attributes(last_join_.normal, last_join_.uv);
  std::uint32_t const removed =
      change_wedges([&](WedgeMesh& wedges) { return mirel::engine::eliminate_t_junctions(wedges, reach, attributes); });
  t_junctions_gone_ = reach;
  return removed;
}

WedgeMesh const& Mesh::ready_for_ladder() {
  prepare();
  if (building()) {
    make_wedges({});
  } else if (!joined_) {
    change_wedges([](WedgeMesh& wedges) { return join_wedge_mesh(wedges, {}); });
    joined_ = true;
  }
  return *wedges_;
}

void Mesh::attach(Hierarchy* hierarchy, std::uint32_t place) {
  hierarchy_ = hierarchy;
  place_ = place;
  viewed_ = false;
}

}  // namespace mirel::engine
