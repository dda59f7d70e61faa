#include "standalone/engine/sdk/mesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "standalone/engine/mirel_engine.h"
#include "standalone/engine/prepare/edge_flags.h"
#include "standalone/engine/prepare/point_join.h"
#include "standalone/engine/prepare/t_junctions.h"

namespace mirel::engine {
namespace {

// Far above any number of materials, and small enough for tables per set.
constexpr std::uint32_t kMostFaceSets = 1U << 24;

// Stands for the faces of an empty set: readers take null for "no table at all".
constexpr std::uint32_t kNoFaces[3] = {0, 0, 0};

template <class Result, class Make>
Result or_else(Result fallback, Make make) {
  try {
    return make();
  } catch (std::bad_alloc const&) {
    return fallback;
  }
}

// Appends `count` values of `dimension` floats; `stride` in bytes from one to the next.
void append(std::vector<float>& to, void const* from, std::size_t count, std::size_t dimension, std::size_t stride) {
  std::size_t const begin = to.size();
  to.resize(begin + count * dimension);
  auto const* bytes = static_cast<unsigned char const*>(from);
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(&to[begin + i * dimension], bytes + i * stride, dimension * sizeof(float));
  }
}

// Makes room for more values. A mesh that is made corner by corner grows by four: that halves the copies, and pages
// that nothing is written to take no memory.
template <class Value>
void grow(std::vector<Value>& values, std::size_t more) {
  if (values.capacity() - values.size() < more) {
    values.reserve(std::max(values.size() + more, 4 * values.capacity()));
  }
}

template <class Value, std::size_t Count>
void push(std::vector<Value>& to, std::array<Value, Count> const& values) {
  grow(to, Count);
  for (Value const value : values) {
    to.push_back(value);
  }
}

template <std::size_t Count>
std::uint32_t append_one(std::vector<float>& to, std::array<float, Count> const& value) {
  return or_else(kNone, [&] {
    push(to, value);
    return static_cast<std::uint32_t>(to.size() / Count - 1);
  });
}

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
  tables_ = Tables();
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
    view_.grouped = true;
  }
  viewed_ = true;
  viewed_step_ = step;
}

void Mesh::changed() {
  viewed_ = false;
  prepared_ = false;
}

// ---- build form ----

std::uint32_t Mesh::addVertex(float x, float y, float z) {
  if (!building() || build_.vertex_count() == kNone) {
    return kNone;
  }
  changed();
  return or_else(kNone, [&] {
    // A vertex added after the normals or UVs has none: zeros count as no normal, and as the origin of UV space.
    if (!build_.vertex_normals.empty()) {
      build_.vertex_normals.resize(build_.positions.size() + 3);
    }
    if (!build_.vertex_uvs.empty()) {
      build_.vertex_uvs.resize(build_.positions.size() / 3 * 2 + 2);
    }
    push(build_.positions, std::array{x, y, z});
    return build_.vertex_count() - 1;
  });
}

std::uint32_t Mesh::addFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  std::uint32_t const count = build_.vertex_count();
  if (!building() || a >= count || b >= count || c >= count) {
    return kNone;
  }
  changed();
  return or_else(kNone, [&] {
    grow(build_.faces, 3);  // before the set is noted: both lists grow, or neither
    build_.face_set_of.push_back(current_set_ < set_count_ ? current_set_ : 0);
    push(build_.faces, std::array{a, b, c});
    return build_.face_count() - 1;
  });
}

void Mesh::setVertexNormals(float const* normals, std::uint32_t count, std::uint32_t stride) {
  if (!building() || normals == nullptr || count != build_.vertex_count() || stride < 3 * sizeof(float)) {
    return;
  }
  or_else(false, [&] {
    std::vector<float> values;
    append(values, normals, count, 3, stride);
    build_.vertex_normals = std::move(values);
    viewed_ = false;
    return true;
  });
}

void Mesh::addNormals(float const* normals, std::uint32_t count) {
  if (building() && normals != nullptr) {
    or_else(false, [&] {
      append(build_.normals, normals, count, 3, 3 * sizeof(float));
      return true;
    });
  }
}

std::uint32_t Mesh::addNormal(float x, float y, float z) {
  return building() ? append_one(build_.normals, std::array{x, y, z}) : kNone;
}

void Mesh::setVertexUVs(float const* uvs, std::uint32_t count, std::uint32_t stride) {
  if (!building() || uvs == nullptr || count != build_.vertex_count() || stride < 2 * sizeof(float)) {
    return;
  }
  or_else(false, [&] {
    std::vector<float> values;
    append(values, uvs, count, 2, stride);
    build_.vertex_uvs = std::move(values);
    viewed_ = false;
    return true;
  });
}

void Mesh::addUVs(float const* uvs, std::uint32_t count) {
  if (building() && uvs != nullptr) {
    or_else(false, [&] {
      append(build_.uvs, uvs, count, 2, 2 * sizeof(float));
      return true;
    });
  }
}

std::uint32_t Mesh::addUV(float u, float v) {
  return building() ? append_one(build_.uvs, std::array{u, v}) : kNone;
}

namespace {

void set_corner_places(BuildMesh const& mesh, std::vector<std::uint32_t>& places, std::size_t place_count,
                       std::uint32_t face, std::array<std::uint32_t, 3> const& abc) {
  bool const exist = std::all_of(abc.begin(), abc.end(), [&](std::uint32_t place) { return place < place_count; });
  if (face >= mesh.face_count() || !exist) {
    return;
  }
  or_else(false, [&] {
    std::size_t const end = std::size_t{face} * 3 + 3;
    if (places.size() < end) {
      grow(places, end - places.size());
      places.resize(end, kNone);
    }
    std::copy(abc.begin(), abc.end(), &places[end - 3]);
    return true;
  });
}

}  // namespace

void Mesh::setFaceNormalIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  if (building()) {
    set_corner_places(build_, build_.face_normals, build_.normals.size() / 3, face, {a, b, c});
    viewed_ = false;
  }
}

void Mesh::setFaceUVIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  if (building()) {
    set_corner_places(build_, build_.face_uvs, build_.uvs.size() / 2, face, {a, b, c});
    viewed_ = false;
  }
}

void Mesh::removeVertexNormals() {
  if (building()) {
    build_.vertex_normals = {};
  } else if (!wedges_->normals.empty()) {
    leave_ladder();
    wedges_->normals = {};
  }
  viewed_ = false;
}

void Mesh::removeIndexedNormals() {
  build_.normals = {};
  build_.face_normals = {};
  viewed_ = viewed_ && !building();
}

void Mesh::removeVertexUVs() {
  if (building()) {
    build_.vertex_uvs = {};
  } else if (!wedges_->uvs.empty()) {
    leave_ladder();
    wedges_->uvs = {};
  }
  viewed_ = false;
}

void Mesh::removeCornerUVs() {
  build_.uvs = {};
  build_.face_uvs = {};
  viewed_ = viewed_ && !building();
}

void Mesh::setNumFaceSets(std::uint32_t count) {
  if (building() && count <= kMostFaceSets) {
    set_count_ = count;
    build_.set_count = count;
    changed();
  }
}

// ---- readers ----

void Mesh::getVertexPosition(std::uint32_t vertex, float& x, float& y, float& z) const {
  MeshView const& v = view();
  bool const exists = vertex < v.vertex_count;
  float const* p = v.vertices + (exists ? std::size_t{vertex} * 3 : 0);
  x = exists ? p[0] : 0;
  y = exists ? p[1] : 0;
  z = exists ? p[2] : 0;
}

void Mesh::getFace(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const {
  MeshView const& v = view();
  if (face >= v.face_count) {
    a = b = c = kNone;
    return;
  }
  std::uint32_t const* f = v.faces + std::size_t{face} * 3;
  a = f[0];
  b = f[1];
  c = f[2];
}

std::uint32_t Mesh::getNumNormals() const {
  if (view().build != nullptr) {
    return static_cast<std::uint32_t>(build_.normals.size() / 3);
  }
  std::uint32_t count = 0;
  getNormalRemap(1, count);
  return count;
}

bool Mesh::hasCornerUVs() const {
  return building() && !build_.face_uvs.empty();
}

std::uint32_t Mesh::getNumCornerUVs() const {
  return static_cast<std::uint32_t>(build_.uvs.size() / 2);
}

void Mesh::getUV(std::uint32_t uv, float& u, float& v) const {
  bool const exists = uv < build_.uvs.size() / 2;
  u = exists ? build_.uvs[std::size_t{uv} * 2] : 0;
  v = exists ? build_.uvs[std::size_t{uv} * 2 + 1] : 0;
}

bool Mesh::getFaceUVIndices(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const {
  MeshView const& v = view();
  std::size_t const corner = std::size_t{face} * 3;
  a = v.uv_place(corner);
  b = v.uv_place(corner + 1);
  c = v.uv_place(corner + 2);
  return a != kNone && b != kNone && c != kNone;
}

void Mesh::make_set_tables() const {
  if (tables_.set_begin.made) {
    return;
  }
  std::vector<std::uint32_t> begin(std::size_t{set_count_} + 2);
  for (std::size_t f = 0; f < build_.face_count(); ++f) {
    ++begin[build_.set_of(f) + std::size_t{2}];
  }
  for (std::size_t s = 2; s < begin.size(); ++s) {
    begin[s] += begin[s - 1];
  }
  std::vector<std::uint32_t> faces(build_.faces.size());
  for (std::size_t f = 0; f < build_.face_count(); ++f) {
    std::copy_n(&build_.faces[f * 3], 3, &faces[std::size_t{begin[build_.set_of(f) + std::size_t{1}]++} * 3]);
  }
  begin.pop_back();
  tables_.set_begin = {true, set_count_, std::move(begin)};
  tables_.set_faces = std::move(faces);
}

std::vector<std::uint32_t> const& Mesh::set_begins() const {
  MeshView const& v = view();
  if (v.grouped) {
    return v.wedges->set_begin;
  }
  make_set_tables();
  return tables_.set_begin.entries;
}

std::uint32_t Mesh::numFacesInSet(std::uint32_t set) const {
  if (set >= set_count_) {
    return 0;
  }
  return or_else(0U, [&] {
    std::vector<std::uint32_t> const& begin = set_begins();
    return begin.empty() ? 0 : begin[set + std::size_t{1}] - begin[set];
  });
}

std::uint32_t const* Mesh::getFaceSetFaces(std::uint32_t set) const {
  if (set >= set_count_) {
    return nullptr;
  }
  // Null where there is no memory: the table of an empty set would be too short for whoever asks for the count next.
  return or_else<std::uint32_t const*>(nullptr, [&] {
    std::vector<std::uint32_t> const& begin = set_begins();
    if (begin.empty() || begin[set] == begin[set + std::size_t{1}]) {
      return kNoFaces;
    }
    std::uint32_t const* const faces = view_.grouped ? view_.faces : tables_.set_faces.data();
    return faces + std::size_t{begin[set]} * 3;
  });
}

void Mesh::getFaceSetOfFace(std::uint32_t face, std::uint32_t& set) const {
  MeshView const& v = view();
  if (face >= v.face_count || v.set_count == 0) {
    set = 0;
  } else if (!v.grouped) {
    set = build_.set_of(face);
  } else {
    auto const& begin = v.wedges->set_begin;
    set = static_cast<std::uint32_t>(std::upper_bound(begin.begin(), begin.end(), face) - begin.begin() - 1);
  }
}

ab::IMaterial* Mesh::getMaterial(std::uint32_t set) const {
  if (set >= set_count_) {
    return nullptr;
  }
  return or_else<ab::IMaterial*>(nullptr, [&] {
    if (materials_.size() <= set) {
      materials_.resize(set_count_);
    }
    if (materials_[set] == nullptr) {
      materials_[set] = std::make_unique<Material>();
    }
    return materials_[set].get();
  });
}

// `exact` keeps the positions where the mesh has no joined ones.
EdgeFlagInput Mesh::edge_flag_input(PointJoin& exact) const {
  MeshView const& v = view();
  EdgeFlagInput input;
  input.vertices = {v.vertices, std::size_t{v.vertex_count} * 3};
  input.faces = {v.faces, std::size_t{v.face_count} * 3};
  if (v.wedges != nullptr) {
    input.position_of = v.wedges->position_of;
    input.position_count = v.wedges->position_count;
  } else {
    exact = join_equal_points(input.vertices, 3);
    input.position_of = exact.group_of;
    input.position_count = static_cast<std::uint32_t>(exact.kept.size());
  }
  return input;
}

// False where a table that it needs has found no memory; may throw std::bad_alloc for its own.
bool Mesh::make_edge_flags() const {
  if (!tables_.edge_flags.empty()) {
    return true;
  }
  MeshView const& v = view();
  PointJoin exact;
  EdgeFlagInput const input = edge_flag_input(exact);
  if (!v.has_normals()) {
    tables_.edge_flags = edge_flags_by_angle(input);
  } else if (v.build == nullptr || v.build->face_normals.empty()) {
    tables_.edge_flags = edge_flags_by_normals(input, v.vertex_normals, input.faces);
  } else {
    float const* const normals = corner_normals();
    if (normals == nullptr) {
      return false;
    }
    std::vector<std::uint32_t> places(input.faces.size());
    for (std::size_t c = 0; c < places.size(); ++c) {
      places[c] = static_cast<std::uint32_t>(c);
    }
    tables_.edge_flags = edge_flags_by_normals(input, normals, places);
  }
  return true;
}

void Mesh::getFaceEdgeFlags(std::uint32_t face, unsigned char& edge0, unsigned char& edge1,
                            unsigned char& edge2) const {
  edge0 = edge1 = edge2 = 0;
  if (face >= view().face_count) {
    return;
  }
  or_else(false, [&] {
    if (!make_edge_flags()) {
      return false;
    }
    unsigned char const* flags = &tables_.edge_flags[std::size_t{face} * 3];
    edge0 = flags[0];
    edge1 = flags[1];
    edge2 = flags[2];
    return true;
  });
}

Mesh::Table const& Mesh::vertex_remap(std::uint32_t mode, bool split) const {
  MeshView const& v = view();
  Table& table = tables_.vertex_remap[mode * 2 + (split ? 1 : 0)];
  if (table.made) {
    return table;
  }
  std::vector<std::uint32_t> entries(v.vertex_count);
  std::uint32_t count = v.vertex_count;
  for (std::uint32_t i = 0; i < v.vertex_count; ++i) {
    entries[i] = i;
  }
  if (v.wedges != nullptr && mode == 1 && !split) {
    entries = v.wedges->position_of;
    count = v.wedges->position_count;
  } else if (v.wedges != nullptr && mode == 0) {
    auto const& lowest = v.wedges->lowest_position;
    for (std::uint32_t i = 0; i < v.vertex_count; ++i) {
      entries[i] = lowest.empty() ? v.wedges->position_of[i] : lowest[v.wedges->position_of[i]];
    }
    count = wedges_->position_count;
  }
  table = {true, count, std::move(entries)};
  return table;
}

std::uint32_t const* Mesh::getVertexRemap(std::uint32_t mode, bool splitByAttributes, std::uint32_t& count) const {
  count = 0;
  if (mode > 1 || view().vertex_count == 0) {
    return nullptr;
  }
  return or_else<std::uint32_t const*>(nullptr, [&] {
    Table const& table = vertex_remap(mode, splitByAttributes);
    count = table.count;
    return table.entries.data();
  });
}

Mesh::Table const& Mesh::value_remap(Table& table, float const* values, std::uint32_t dimension) const {
  if (!table.made) {
    std::size_t const vertex_count = view_.vertex_count;
    if (view_.build != nullptr) {
      table.entries.resize(vertex_count);
      for (std::uint32_t i = 0; i < vertex_count; ++i) {
        table.entries[i] = i;
      }
      table.count = view_.vertex_count;
    } else {
      PointJoin join = join_equal_points({values, vertex_count * dimension}, dimension);
      table.count = static_cast<std::uint32_t>(join.kept.size());
      table.entries = std::move(join.group_of);
    }
    table.made = true;
  }
  return table;
}

std::uint32_t const* Mesh::getNormalRemap(std::uint32_t mode, std::uint32_t& count) const {
  count = 0;
  float const* const normals = getNormals();
  if (mode > 1 || normals == nullptr) {
    return nullptr;
  }
  return or_else<std::uint32_t const*>(nullptr, [&] {
    Table const& table = value_remap(tables_.normal_remap, normals, 3);
    count = table.count;
    return table.entries.data();
  });
}

std::uint32_t const* Mesh::getUVRemap(std::uint32_t mode, std::uint32_t& count) const {
  count = 0;
  float const* const uvs = getVertexUVs();
  if (mode > 1 || uvs == nullptr) {
    return nullptr;
  }
  return or_else<std::uint32_t const*>(nullptr, [&] {
    Table const& table = value_remap(tables_.uv_remap, uvs, 2);
    count = table.count;
    return table.entries.data();
  });
}

std::uint32_t const* Mesh::getAuxiliaryRemap(std::uint32_t, std::uint32_t& count) const {
  count = 0;
  return nullptr;
}

bool Mesh::getBoundingBox(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ) const {
  MeshView const& v = view();
  if (!tables_.bounds_made) {
    tables_.bounds_made = true;
    auto& box = tables_.bounds;
    for (std::size_t i = 0; i < v.vertex_count; ++i) {
      float const* p = v.vertices + i * 3;
      if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
        continue;
      }
      for (std::size_t k = 0; k < 3; ++k) {
        box[k] = tables_.has_bounds ? std::min(box[k], p[k]) : p[k];
        box[k + 3] = tables_.has_bounds ? std::max(box[k + 3], p[k]) : p[k];
      }
      tables_.has_bounds = true;
    }
  }
  auto const& box = tables_.bounds;
  minX = box[0];
  minY = box[1];
  minZ = box[2];
  maxX = box[3];
  maxY = box[4];
  maxZ = box[5];
  return tables_.has_bounds;
}

std::uint32_t Mesh::distinct_position_count() const {
  MeshView const& v = view();
  return v.wedges != nullptr ? v.wedges->position_count : v.vertex_count;
}

float const* Mesh::corner_uvs() const {
  MeshView const& v = view();
  if (!v.has_uvs() || v.face_count == 0) {
    return nullptr;
  }
  return or_else<float const*>(nullptr, [&] {
    if (tables_.corner_uvs.empty()) {
      std::vector<float> values(std::size_t{v.face_count} * 6);
      for (std::size_t c = 0; c < values.size() / 2; ++c) {
        if (float const* uv = v.corner_uv(c)) {
          std::copy_n(uv, 2, &values[c * 2]);
        }
      }
      tables_.corner_uvs = std::move(values);
    }
    return tables_.corner_uvs.data();
  });
}

float const* Mesh::corner_normals() const {
  MeshView const& v = view();
  if (!v.has_normals() || v.face_count == 0) {
    return nullptr;
  }
  return or_else<float const*>(nullptr, [&] {
    if (tables_.corner_normals.empty()) {
      std::vector<float> values(std::size_t{v.face_count} * 9);
      for (std::size_t c = 0; c < values.size() / 3; ++c) {
        if (float const* normal = v.corner_normal(c)) {
          std::copy_n(normal, 3, &values[c * 3]);
        } else {
          auto const own = unit_normal(v.vertices, v.faces + c / 3 * 3);
          std::copy_n(own.begin(), 3, &values[c * 3]);
        }
      }
      tables_.corner_normals = std::move(values);
    }
    return tables_.corner_normals.data();
  });
}

unsigned char const* Mesh::corner_edge_kinds() const {
  if (view().face_count == 0) {
    return nullptr;
  }
  return or_else<unsigned char const*>(nullptr, [&]() -> unsigned char const* {
    if (tables_.edge_kinds.empty()) {
      if (!make_edge_flags()) {
        return nullptr;
      }
      std::vector<unsigned char> kinds(tables_.edge_flags.size());
      std::vector<unsigned char> seams(kinds.size());
      if (float const* const uvs = corner_uvs()) {
        PointJoin exact;
        seams = uv_seams(edge_flag_input(exact), uvs);
      }
      for (std::size_t edge = 0; edge < kinds.size(); ++edge) {
        bool const boundary = (tables_.edge_flags[edge] & kBoundaryFlag) != 0;
        bool const sharp = (tables_.edge_flags[edge] & kSharpFlag) != 0;
        kinds[edge] = static_cast<unsigned char>((boundary ? kMirelEdgeBoundary : 0) | (sharp ? kMirelEdgeSharp : 0) |
                                                 (seams[edge] != 0 ? kMirelEdgeUvSeam : 0));
      }
      tables_.edge_kinds = std::move(kinds);
    }
    return tables_.edge_kinds.data();
  });
}

// ---- stages ----

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
  } else {
    change_wedges([](WedgeMesh& wedges) { return join_wedge_mesh(wedges, {}); });
  }
  return *wedges_;
}

void Mesh::attach(Hierarchy* hierarchy, std::uint32_t place) {
  hierarchy_ = hierarchy;
  place_ = place;
  viewed_ = false;
}

}  // namespace mirel::engine
