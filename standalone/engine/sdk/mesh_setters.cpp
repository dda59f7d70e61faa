// The setters of Mesh.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "standalone/engine/sdk/mesh.h"
#include "standalone/engine/sdk/or_else.h"

namespace mirel::engine {
namespace {

// Far above any number of materials, and small enough for tables per set.
constexpr std::uint32_t kMostFaceSets = 1U << 24;

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
inline void grow(std::vector<Value>& values, std::size_t more) {
  if (values.capacity() - values.size() < more) [[unlikely]] {
    values.reserve(std::max(values.size() + more, 4 * values.capacity()));
  }
}

template <class Value, std::size_t Count>
inline void push(std::vector<Value>& to, std::array<Value, Count> const& values) {
  grow(to, Count);
  for (Value const& value : values) {
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
    joined_ = false;
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
    joined_ = false;
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

}  // namespace mirel::engine
