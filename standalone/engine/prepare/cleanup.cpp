#include "standalone/engine/prepare/cleanup.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <span>
#include <utility>

#include "standalone/engine/prepare/point_join.h"

namespace mirel::engine {
namespace {

using Triple = std::array<std::uint32_t, 3>;

// The positions of a face, turned so that the least comes first: equal for equal orientations.
[[gnu::always_inline]] inline Triple triple_of(std::span<std::uint32_t const> faces,
                                               std::span<std::uint32_t const> position_of, std::size_t face) {
  std::uint32_t const a = position_of[faces[face * 3]];
  std::uint32_t const b = position_of[faces[face * 3 + 1]];
  std::uint32_t const c = position_of[faces[face * 3 + 2]];
  // Which one it is cannot be foreseen: no branch.
  bool const b_least = b < a && b <= c;
  bool const c_least = c < a && c < b;
  return {std::min({a, b, c}), c_least ? a : b_least ? c : b, c_least ? b : b_least ? a : c};
}

bool is_degenerate(Triple const& t) {
  return t[0] == t[1] || t[1] == t[2] || t[2] == t[0] || std::max({t[0], t[1], t[2]}) == kNone;
}

// Flags of the faces that have to go; none where none has to.
class BadFaces {
 public:
  explicit BadFaces(std::size_t face_count) : face_count_(face_count) {}
  void add(std::size_t face) {
    flags_.resize(face_count_);
    flags_[face] = true;
  }
  std::vector<bool> take() { return std::move(flags_); }

 private:
  std::size_t face_count_;
  std::vector<bool> flags_;
};

// Repeats found through a hash table of the faces: for meshes with very many faces around one position.
template <class SameSet>
std::vector<bool> find_bad_faces_by_hash(std::span<std::uint32_t const> faces,
                                         std::span<std::uint32_t const> position_of, SameSet same_set) {
  struct Slot {
    std::uint32_t face = kNone;
    std::uint32_t tag = 0;
  };
  constexpr std::size_t kBlock = 32;
  std::size_t const count = faces.size() / 3;
  std::vector<Slot> slots(std::bit_ceil(count + count / 2 + 16));
  std::size_t const mask = slots.size() - 1;
  BadFaces bad(count);
  Triple triples[kBlock];
  std::uint64_t hashes[kBlock];
  for (std::size_t begin = 0; begin < count; begin += kBlock) {
    std::size_t const end = std::min(begin + kBlock, count);
    for (std::size_t f = begin; f < end; ++f) {
      Triple const t = triple_of(faces, position_of, f);
      std::uint64_t hash = (t[0] | (std::uint64_t{t[1]} << 32)) * 0x9E3779B97F4A7C15U;
      hash = ((hash ^ (hash >> 32)) + t[2]) * 0xC2B2AE3D27D4EB4FU;
      hashes[f - begin] = hash ^ (hash >> 29);
      triples[f - begin] = t;
      __builtin_prefetch(&slots[hashes[f - begin] & mask]);
    }
    for (std::size_t f = begin; f < end; ++f) {
      Triple const t = triples[f - begin];
      if (is_degenerate(t)) {
        bad.add(f);
        continue;
      }
      std::uint32_t const tag = static_cast<std::uint32_t>(hashes[f - begin] >> 32);
      std::size_t slot = hashes[f - begin] & mask;
      bool repeats = false;
      for (; slots[slot].face != kNone; slot = (slot + 1) & mask) {
        if (slots[slot].tag == tag && triple_of(faces, position_of, slots[slot].face) == t &&
            same_set(slots[slot].face, f)) {
          repeats = true;
          break;
        }
      }
      if (repeats) {
        bad.add(f);
      } else {
        slots[slot] = {static_cast<std::uint32_t>(f), tag};
      }
    }
  }
  return bad.take();
}

// Repeats among some faces, which are in order and not degenerate. They hang in a chain at their least position; where
// one grows too long, all faces are hashed. `last`: kNone at their least positions.
template <class SameSet>
bool add_repeats_by_chains(std::span<std::uint32_t const> faces, std::span<std::uint32_t const> position_of,
                           std::span<std::uint32_t const> suspects, SameSet same_set, std::vector<std::uint32_t>& last,
                           BadFaces& bad) {
  struct Link {
    std::uint32_t before;  // the place of the suspect before in the chain
    Triple positions;
  };
  constexpr std::size_t kLongest = 64;
  std::vector<Link> links(suspects.size());
  for (std::uint32_t i = 0; i < suspects.size(); ++i) {
    Triple const t = triple_of(faces, position_of, suspects[i]);
    std::size_t length = 0;
    std::uint32_t other = last[t[0]];
    for (; other != kNone; other = links[other].before) {
      if (links[other].positions == t && same_set(suspects[other], suspects[i])) break;
      if (++length == kLongest) return false;
    }
    if (other != kNone) {
      bad.add(suspects[i]);
      continue;
    }
    links[i] = {last[t[0]], t};
    last[t[0]] = i;
  }
  return true;
}

// Which faces have to go: one flag per face, or nothing where none has to. A position of kNone is not finite. At its
// least position a face marks the position after that, as one bit of 32; where two faces meet in one, all faces of that
// position are looked at again: few, where there are no repeats.
template <class SameSet>
std::vector<bool> find_bad_faces(std::span<std::uint32_t const> faces, std::span<std::uint32_t const> position_of,
                                 std::uint32_t position_count, SameSet same_set) {
  constexpr std::uint32_t kMet = ~std::uint32_t{0};
  static_assert(kMet == kNone);
  std::size_t const count = faces.size() / 3;
  std::vector<std::uint32_t> marks(position_count, 0);
  BadFaces bad(count);
  for (std::size_t f = 0; f < count; ++f) {
    Triple const t = triple_of(faces, position_of, f);
    if (is_degenerate(t)) {
      bad.add(f);
      continue;
    }
    std::uint32_t& mark = marks[t[0]];
    std::uint32_t const bit = 1U << (t[1] * 0x9E3779B1U >> 27);
    mark = (mark & bit) != 0 ? kMet : mark | bit;
  }
  std::vector<std::uint32_t> suspects;
  for (std::size_t f = 0; f < count; ++f) {
    Triple const t = triple_of(faces, position_of, f);
    if (!is_degenerate(t) && marks[t[0]] == kMet) suspects.push_back(static_cast<std::uint32_t>(f));
  }
  if (!add_repeats_by_chains(faces, position_of, suspects, same_set, marks, bad)) {
    return find_bad_faces_by_hash(faces, position_of, same_set);
  }
  return bad.take();
}

bool sets_in_order(BuildMesh const& mesh) {
  for (std::size_t f = 1; f < mesh.face_count(); ++f) {
    if (mesh.set_of(f) < mesh.set_of(f - 1)) {
      return false;
    }
  }
  return true;
}

// The faces that stay, grouped by set.
std::vector<std::uint32_t> faces_in_order(BuildMesh const& mesh, std::vector<bool> const& bad) {
  std::vector<std::uint32_t> begin(std::size_t{std::max(mesh.set_count, 1U)} + 1);
  auto const stays = [&bad](std::size_t face) { return bad.empty() || !bad[face]; };
  for (std::size_t f = 0; f < mesh.face_count(); ++f) {
    begin[mesh.set_of(f) + std::size_t{1}] += stays(f) ? 1 : 0;
  }
  for (std::size_t s = 1; s < begin.size(); ++s) {
    begin[s] += begin[s - 1];
  }
  std::vector<std::uint32_t> order(begin.back());
  for (std::size_t f = 0; f < mesh.face_count(); ++f) {
    if (stays(f)) {
      order[begin[mesh.set_of(f)]++] = static_cast<std::uint32_t>(f);
    }
  }
  return order;
}

void pick(std::vector<std::uint32_t>& values, std::size_t width, std::vector<std::uint32_t> const& order) {
  if (values.empty()) {
    return;
  }
  std::vector<std::uint32_t> picked(order.size() * width);
  for (std::size_t i = 0; i < order.size(); ++i) {
    std::copy_n(&values[order[i] * width], width, &picked[i * width]);
  }
  values = std::move(picked);
}

// New numbers of the vertices that faces use, in their order; empty where all are used.
std::vector<std::uint32_t> used_vertices(std::span<std::uint32_t const> faces, std::size_t vertex_count,
                                         std::uint32_t& used_count) {
  std::vector<std::uint32_t> new_of(vertex_count, kNone);
  for (std::uint32_t const vertex : faces) {
    new_of[vertex] = 0;
  }
  used_count = 0;
  for (std::uint32_t& vertex : new_of) {
    vertex = vertex == kNone ? kNone : used_count++;
  }
  if (used_count == vertex_count) {
    new_of.clear();
  }
  return new_of;
}

template <class Value>
void keep_used(std::vector<Value>& values, std::size_t width, std::vector<std::uint32_t> const& new_of,
               std::uint32_t used_count) {
  if (values.empty()) {
    return;
  }
  for (std::size_t v = 0; v < new_of.size(); ++v) {
    if (new_of[v] != kNone && new_of[v] != v) {
      std::copy_n(&values[v * width], width, &values[new_of[v] * width]);
    }
  }
  values.resize(used_count * width);
  values.shrink_to_fit();
}

// Numbers again by first occurrence what lost some of its numbers. Returns the new count.
std::uint32_t renumber(std::vector<std::uint32_t>& position_of, std::uint32_t count) {
  std::vector<std::uint32_t> new_of(count, kNone);
  std::uint32_t next = 0;
  for (std::uint32_t& position : position_of) {
    if (new_of[position] == kNone) {
      new_of[position] = next++;
    }
    position = new_of[position];
  }
  return next;
}

// The arrays of a mesh that go by vertex.
struct VertexArrays {
  std::vector<float>& positions;
  std::vector<float>& normals;
  std::vector<float>& uvs;
  std::vector<std::uint32_t>& position_of;
  std::uint32_t& position_count;
};

// Drops the vertices that no face uses. False where all are used.
bool drop_unused_vertices(std::vector<std::uint32_t>& faces, VertexArrays const& arrays) {
  std::uint32_t used_count = 0;
  std::vector<std::uint32_t> const new_of = used_vertices(faces, arrays.positions.size() / 3, used_count);
  if (new_of.empty()) {
    return false;
  }
  keep_used(arrays.positions, 3, new_of, used_count);
  keep_used(arrays.normals, 3, new_of, used_count);
  keep_used(arrays.uvs, 2, new_of, used_count);
  keep_used(arrays.position_of, 1, new_of, used_count);
  arrays.position_count = renumber(arrays.position_of, arrays.position_count);
  for (std::uint32_t& vertex : faces) {
    vertex = new_of[vertex];
  }
  return true;
}

}  // namespace

ExactPositions prepare_build_mesh(BuildMesh& mesh) {
  ExactPositions result;
  PointJoin join = join_equal_points(mesh.positions, 3);
  result.position_of = std::move(join.group_of);
  result.count = static_cast<std::uint32_t>(join.kept.size());
  for (std::size_t v = 0; v < mesh.vertex_count(); ++v) {
    float const* p = &mesh.positions[v * 3];
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
      result.position_of[v] = kNone;
    }
  }
  for (std::vector<std::uint32_t>* table : {&mesh.face_normals, &mesh.face_uvs}) {
    if (!table->empty()) {
      table->resize(mesh.faces.size(), kNone);
    }
  }
  std::vector<bool> const bad =
      find_bad_faces(mesh.faces, result.position_of, result.count,
                     [&mesh](std::size_t a, std::size_t b) { return mesh.set_of(a) == mesh.set_of(b); });
  if (!bad.empty() || !sets_in_order(mesh)) {
    std::vector<std::uint32_t> const order = faces_in_order(mesh, bad);
    pick(mesh.faces, 3, order);
    pick(mesh.face_normals, 3, order);
    pick(mesh.face_uvs, 3, order);
    pick(mesh.face_set_of, 1, order);
  }
  drop_unused_vertices(mesh.faces,
                       {mesh.positions, mesh.vertex_normals, mesh.vertex_uvs, result.position_of, result.count});
  return result;
}

bool clean_wedge_mesh(WedgeMesh& mesh) {
  auto const set_of = [&mesh](std::size_t face) {
    return std::upper_bound(mesh.set_begin.begin(), mesh.set_begin.end(), static_cast<std::uint32_t>(face));
  };
  std::vector<bool> const bad =
      find_bad_faces(mesh.faces, mesh.position_of, mesh.position_count,
                     [&set_of](std::size_t a, std::size_t b) { return set_of(a) == set_of(b); });
  if (!bad.empty()) {
    std::uint32_t kept = 0;
    for (std::size_t set = 0; set + 1 < mesh.set_begin.size(); ++set) {
      std::uint32_t const begin = mesh.set_begin[set];
      mesh.set_begin[set] = kept;
      // The next set's begin still has its old value: it is rewritten when that set is reached.
      for (std::size_t f = begin; f < mesh.set_begin[set + 1]; ++f) {
        if (!bad[f]) {
          std::copy_n(&mesh.faces[f * 3], 3, &mesh.faces[std::size_t{kept} * 3]);
          ++kept;
        }
      }
    }
    mesh.set_begin.back() = kept;
    mesh.faces.resize(std::size_t{kept} * 3);
  }
  bool const dropped =
      drop_unused_vertices(mesh.faces, {mesh.vertices, mesh.normals, mesh.uvs, mesh.position_of, mesh.position_count});
  return !bad.empty() || dropped;
}

}  // namespace mirel::engine
