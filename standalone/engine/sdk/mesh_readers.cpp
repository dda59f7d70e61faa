// The readers of Mesh.
#include <algorithm>

#include "standalone/engine/sdk/mesh.h"
#include "standalone/engine/sdk/or_else.h"

namespace mirel::engine {
namespace {

// Stands for the faces of an empty set: readers take null for "no table at all".
constexpr std::uint32_t kNoFaces[3] = {0, 0, 0};

template <class Make>
std::uint32_t const* hand_out(std::uint32_t& count, Make make) {
  return or_else<std::uint32_t const*>(nullptr, [&] {
    ViewTables::Remap const& remap = make();
    count = remap.count;
    return remap.entries.data();
  });
}

}  // namespace

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

std::uint32_t Mesh::numFacesInSet(std::uint32_t set) const {
  if (set >= set_count_) {
    return 0;
  }
  MeshView const& v = view();
  return or_else(0U, [&] {
    std::vector<std::uint32_t> const& begin = tables_.set_begins(v);
    return begin.empty() ? 0 : begin[set + std::size_t{1}] - begin[set];
  });
}

std::uint32_t const* Mesh::getFaceSetFaces(std::uint32_t set) const {
  if (set >= set_count_) {
    return nullptr;
  }
  MeshView const& v = view();
  // Null where there is no memory: the table of an empty set would be too short for whoever asks for the count next.
  return or_else<std::uint32_t const*>(nullptr, [&] {
    std::vector<std::uint32_t> const& begin = tables_.set_begins(v);
    if (begin.empty() || begin[set] == begin[set + std::size_t{1}]) {
      return kNoFaces;
    }
    return tables_.set_faces(v) + std::size_t{begin[set]} * 3;
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

void Mesh::getFaceEdgeFlags(std::uint32_t face, unsigned char& edge0, unsigned char& edge1,
                            unsigned char& edge2) const {
  edge0 = edge1 = edge2 = 0;
  if (face >= view().face_count) {
    return;
  }
  or_else(false, [&] {
    unsigned char const* flags = &tables_.edge_flags(view_)[std::size_t{face} * 3];
    edge0 = flags[0];
    edge1 = flags[1];
    edge2 = flags[2];
    return true;
  });
}

std::uint32_t const* Mesh::getVertexRemap(std::uint32_t mode, bool splitByAttributes, std::uint32_t& count) const {
  count = 0;
  MeshView const& v = view();
  if (mode > 1 || v.vertex_count == 0) {
    return nullptr;
  }
  return hand_out(
      count, [&]() -> auto const& { return tables_.vertex_remap(v, mode, splitByAttributes); });
}

std::uint32_t const* Mesh::getNormalRemap(std::uint32_t mode, std::uint32_t& count) const {
  count = 0;
  MeshView const& v = view();
  if (mode > 1 || v.vertex_normals == nullptr) {
    return nullptr;
  }
  return hand_out(
      count, [&]() -> auto const& { return tables_.normal_remap(v); });
}

std::uint32_t const* Mesh::getUVRemap(std::uint32_t mode, std::uint32_t& count) const {
  count = 0;
  MeshView const& v = view();
  if (mode > 1 || v.vertex_uvs == nullptr) {
    return nullptr;
  }
  return hand_out(
      count, [&]() -> auto const& { return tables_.uv_remap(v); });
}

std::uint32_t const* Mesh::getAuxiliaryRemap(std::uint32_t, std::uint32_t& count) const {
  count = 0;
  return nullptr;
}

bool Mesh::getBoundingBox(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ) const {
  ViewTables::Bounds const& bounds = tables_.bounds(view());
  auto const& box = bounds.box;
  minX = box[0];
  minY = box[1];
  minZ = box[2];
  maxX = box[3];
  maxY = box[4];
  maxZ = box[5];
  return bounds.exist;
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
  return or_else<float const*>(nullptr, [&] { return tables_.corner_uvs(v).data(); });
}

float const* Mesh::corner_normals() const {
  MeshView const& v = view();
  if (!v.has_normals() || v.face_count == 0) {
    return nullptr;
  }
  return or_else<float const*>(nullptr, [&] { return tables_.corner_normals(v).data(); });
}

unsigned char const* Mesh::corner_edge_kinds() const {
  MeshView const& v = view();
  if (v.face_count == 0) {
    return nullptr;
  }
  return or_else<unsigned char const*>(nullptr, [&] { return tables_.edge_kinds(v).data(); });
}

}  // namespace mirel::engine
