#include "standalone/model/fill.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>

namespace mirel::model {

namespace {

// An open hash table of element numbers; the elements themselves live elsewhere.
class NumberTable {
 public:
  explicit NumberTable(std::size_t expected) { resize(std::bit_ceil(expected * 2 + 16)); }

  // The number of the element for which `is_equal` holds, or the one that `make` gives.
  template <typename IsEqual, typename Make, typename HashOf>
  std::uint32_t find_or_add(std::uint64_t hash, IsEqual is_equal, Make make, HashOf hash_of) {
    std::size_t slot = place_of(hash);
    while (slots_[slot] != kNoIndex) {
      if (is_equal(slots_[slot])) {
        return slots_[slot];
      }
      slot = (slot + 1) & mask_;
    }
    std::uint32_t const number = make();
    slots_[slot] = number;
    if (++count_ * 4 > slots_.size() * 3) {
      grow(hash_of);
    }
    return number;
  }

 private:
  std::size_t place_of(std::uint64_t hash) const {
    hash ^= hash >> 32;
    hash *= 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(hash >> 20) & mask_;
  }
  void resize(std::size_t size) {
    slots_.assign(size, kNoIndex);
    mask_ = size - 1;
  }
  template <typename HashOf>
  void grow(HashOf hash_of) {
    std::vector<std::uint32_t> const old = std::move(slots_);
    resize(old.size() * 2);
    for (std::uint32_t const number : old) {
      if (number != kNoIndex) {
        std::size_t slot = place_of(hash_of(number));
        while (slots_[slot] != kNoIndex) {
          slot = (slot + 1) & mask_;
        }
        slots_[slot] = number;
      }
    }
  }

  std::vector<std::uint32_t> slots_;
  std::size_t mask_ = 0;
  std::size_t count_ = 0;
};

std::uint32_t next_number(std::size_t size) {
  if (size >= kNoIndex) {
    throw std::length_error("too many elements");
  }
  return static_cast<std::uint32_t>(size);
}

std::uint64_t hash_position(SUPoint3D const& point) {
  std::uint64_t hash = 0;
  for (double const coordinate : {point.x, point.y, point.z}) {
    // -0 and 0 are one place.
    hash = (hash ^ std::bit_cast<std::uint64_t>(coordinate + 0.0)) * 0x9DDFEA08EB382D69U;
    hash ^= hash >> 29;
  }
  return hash;
}

std::uint64_t hash_edge(std::uint32_t low, std::uint32_t high) {
  return (std::uint64_t{low} << 32 | high) * 0xD6E8FEB86659FD93U;
}

class Filler {
 public:
  Filler(Entities& entities, GeometryInput const& input, bool weld)
      : entities_(entities),
        input_(input),
        weld_(weld),
        positions_(weld ? entities.vertices.size() + input.points.size() / 2 : 0),
        crowded_edges_(0),
        mapped_(input.points.size(), kNoIndex) {
    if (weld_) {
      for (std::uint32_t vertex = 0; vertex < entities_.vertices.size(); ++vertex) {
        find_position(entities_.vertices[vertex], vertex);
      }
    }
    next_.reserve(entities.edges.size() + input.vertices.size() / 2);
    chains_.reserve(entities.vertices.size() + input.points.size());
    for (std::uint32_t edge = 0; edge < entities_.edges.size(); ++edge) {
      Edge const& existing = entities_.edges[edge];
      find_edge(existing.vertices[0], existing.vertices[1], edge);
    }
  }

  void run() {
    for (std::size_t face = 0; face < input_.face_count(); ++face) {
      add_face(face);
    }
  }

 private:
  // The first vertex at the place; `vertex` where there is none yet, added when it is beyond the end.
  std::uint32_t find_position(SUPoint3D const& point, std::uint32_t vertex) {
    return positions_.find_or_add(
        hash_position(point),
        [&](std::uint32_t other) {
          SUPoint3D const& place = entities_.vertices[other];
          return place.x == point.x && place.y == point.y && place.z == point.z;
        },
        [&] {
          if (vertex == entities_.vertices.size()) {
            entities_.vertices.push_back(point);
          }
          return vertex;
        },
        [&](std::uint32_t other) { return hash_position(entities_.vertices[other]); });
  }

  // The edge of the two vertices; `edge` where there is none yet, added when it is beyond the end.
  std::uint32_t find_edge(std::uint32_t a, std::uint32_t b, std::uint32_t edge) {
    std::uint32_t const low = a < b ? a : b;
    std::uint32_t const high = a < b ? b : a;
    if (chains_.size() <= low) {
      chains_.resize(entities_.vertices.size());
    }
    Chain& chain = chains_[low];
    for (std::uint32_t other = chain.first; other != kNoIndex; other = next_[other]) {
      if (joins(other, low, high)) {
        return other;
      }
    }
    if (chain.length == kLongestChain) {
      return crowded_edges_.find_or_add(
          hash_edge(low, high), [&](std::uint32_t other) { return joins(other, low, high); },
          [&] { return add_edge(a, b, edge); },
          [&](std::uint32_t other) {
            std::uint32_t const* const ends = entities_.edges[other].vertices;
            return hash_edge(std::min(ends[0], ends[1]), std::max(ends[0], ends[1]));
          });
    }
    add_edge(a, b, edge);
    next_[edge] = chain.first;
    chain.first = edge;
    ++chain.length;
    return edge;
  }

  bool joins(std::uint32_t edge, std::uint32_t a, std::uint32_t b) const {
    std::uint32_t const* const ends = entities_.edges[edge].vertices;
    return (ends[0] == a && ends[1] == b) || (ends[0] == b && ends[1] == a);
  }

  std::uint32_t add_edge(std::uint32_t a, std::uint32_t b, std::uint32_t edge) {
    next_.push_back(kNoIndex);
    if (edge == entities_.edges.size()) {
      Edge added;
      added.kind = Kind::kEdge;
      added.owner = &entities_;
      added.vertices[0] = a;
      added.vertices[1] = b;
      entities_.edges.push_back(added);
    }
    return edge;
  }

  std::uint32_t map_vertex(std::uint32_t number) {
    if (mapped_[number] == kNoIndex) {
      std::uint32_t const next = next_number(entities_.vertices.size());
      if (weld_) {
        mapped_[number] = find_position(input_.points[number], next);
      } else {
        entities_.vertices.push_back(input_.points[number]);
        mapped_[number] = next;
      }
    }
    return mapped_[number];
  }

  // Fills `loop_` with the face's vertices; false for a face that is left out.
  bool map_loop(std::size_t face) {
    loop_.clear();
    std::uint32_t const end = input_.face_ends[face];
    for (std::uint32_t corner = input_.first_corner(face); corner < end; ++corner) {
      SUPoint3D const& point = input_.points[input_.vertices[corner]];
      if (!std::isfinite(point.x) || !std::isfinite(point.y) || !std::isfinite(point.z)) {
        return false;
      }
    }
    for (std::uint32_t corner = input_.first_corner(face); corner < end; ++corner) {
      std::uint32_t const vertex = map_vertex(input_.vertices[corner]);
      if (!loop_.empty() && loop_.back() == vertex) {
        return false;
      }
      loop_.push_back(vertex);
    }
    return loop_.front() != loop_.back();
  }

  void add_face(std::size_t number) {
    if (!map_loop(number)) {
      return;
    }
    std::uint32_t const face_number = next_number(entities_.faces.size());
    next_number(entities_.corners.size() + loop_.size());
    Face face;
    face.kind = Kind::kFace;
    face.owner = &entities_;
    face.first_corner = static_cast<std::uint32_t>(entities_.corners.size());
    face.corner_count = static_cast<std::uint32_t>(loop_.size());
    std::uint32_t const first = input_.first_corner(number);
    for (std::uint32_t corner = 0; corner < face.corner_count; ++corner) {
      std::uint32_t const a = loop_[corner];
      std::uint32_t const b = loop_[corner + 1 == face.corner_count ? 0 : corner + 1];
      std::uint32_t const edge = find_edge(a, b, next_number(entities_.edges.size()));
      join_edge(edge, face_number, input_.flags[first + corner]);
      entities_.corners.push_back({a, edge});
    }
    SideMaterial const* const front = side(input_.front, number);
    SideMaterial const* const back = side(input_.back, number);
    if (front != nullptr) {
      face.front = front->material;
      face.front_uvs = add_uvs(number, face, *front);
    }
    if (back != nullptr) {
      face.back = back->material;
      // Sides that were set alike are one entry.
      face.back_uvs = front == back ? face.front_uvs : add_uvs(number, face, *back);
    }
    entities_.faces.push_back(face);
  }

  void join_edge(std::uint32_t number, std::uint32_t face, std::uint8_t flags) {
    Edge& edge = entities_.edges[number];
    bool const is_first = edge.face_count == 0;
    if (edge.face_count < 2) {
      edge.faces[edge.face_count] = face;
    } else {
      entities_.further_faces[number].push_back(face);
    }
    edge.face_count = (edge.face_count + 1) & 0x3FFFFFFFU;
    edge.is_soft = (is_first || edge.is_soft != 0) && (flags & kSoftFlag) != 0;
    edge.is_smooth = (is_first || edge.is_smooth != 0) && (flags & kSmoothFlag) != 0;
  }

  SideMaterial const* side(std::vector<std::uint32_t> const& table, std::size_t face) const {
    return face < table.size() && table[face] != kNoIndex ? &input_.materials[table[face]] : nullptr;
  }

  // The UVs of the face's corners, one after another; the place of the first, or kNoIndex where there are none.
  std::uint32_t add_uvs(std::size_t number, Face const& face, SideMaterial const& side) {
    if (side.uv_count < 3 && side.material->texture == nullptr) {
      return kNoIndex;
    }
    std::uint32_t const place = next_number(entities_.uvs.size() + face.corner_count) - face.corner_count;
    std::uint32_t const first = input_.first_corner(number);
    bool all_given = side.uv_count >= 3;
    for (std::uint32_t corner = 0; corner < face.corner_count; ++corner) {
      SUPoint2D uv = {0, 0};
      all_given = all_given && given_uv(side, input_.vertices[first + corner], uv);
      entities_.uvs.push_back(uv);
    }
    if (!all_given) {
      project_uvs(face, side, first, place);
    }
    return place;
  }

  bool given_uv(SideMaterial const& side, std::uint32_t vertex, SUPoint2D& uv) const {
    for (std::uint32_t number = 0; number < side.uv_count; ++number) {
      GivenUV const& given = input_.given(side, number);
      if (given.vertex == vertex) {
        uv = given.uv;
        return true;
      }
    }
    return false;
  }

  // Three given UVs lay the texture out over the face's plane; fewer leave it in its own size.
  void project_uvs(Face const& face, SideMaterial const& side, std::uint32_t first, std::uint32_t place) {
    SUVector3D const normal = face_normal(entities_, face);
    // Level where the face is not.
    double const length = std::hypot(normal.x, normal.y);
    SUVector3D const u_axis =
        length < 0.01 ? SUVector3D{1, 0, 0} : SUVector3D{-normal.y / length, normal.x / length, 0};
    SUVector3D const v_axis = {normal.y * u_axis.z - normal.z * u_axis.y, normal.z * u_axis.x - normal.x * u_axis.z,
                               normal.x * u_axis.y - normal.y * u_axis.x};
    auto const in_plane = [&](SUPoint3D const& point) {
      return SUPoint2D{point.x * u_axis.x + point.y * u_axis.y + point.z * u_axis.z,
                       point.x * v_axis.x + point.y * v_axis.y + point.z * v_axis.z};
    };
    Layout const layout = find_layout(side, in_plane);
    for (std::uint32_t corner = 0; corner < face.corner_count; ++corner) {
      SUPoint2D const p = in_plane(input_.points[input_.vertices[first + corner]]);
      SUPoint2D const d = {p.x - layout.origin.x, p.y - layout.origin.y};
      entities_.uvs[place + corner] = {layout.uv.x + layout.u_of[0] * d.x + layout.u_of[1] * d.y,
                                       layout.uv.y + layout.v_of[0] * d.x + layout.v_of[1] * d.y};
    }
  }

  // UV = uv + (u_of, v_of) * (place in the plane - origin).
  struct Layout {
    SUPoint2D origin = {0, 0};
    SUPoint2D uv = {0, 0};
    double u_of[2] = {1, 0};
    double v_of[2] = {0, 1};
  };

  template <typename InPlane>
  Layout find_layout(SideMaterial const& side, InPlane in_plane) const {
    Layout layout;
    if (side.uv_count > 0) {
      layout.origin = in_plane(input_.points[input_.given(side, 0).vertex]);
      layout.uv = input_.given(side, 0).uv;
    }
    if (side.uv_count >= 3) {
      SUPoint2D const p1 = in_plane(input_.points[input_.given(side, 1).vertex]);
      SUPoint2D const p2 = in_plane(input_.points[input_.given(side, 2).vertex]);
      double const a = p1.x - layout.origin.x;
      double const b = p1.y - layout.origin.y;
      double const c = p2.x - layout.origin.x;
      double const d = p2.y - layout.origin.y;
      double const determinant = a * d - b * c;
      if (determinant != 0 && std::isfinite(1 / determinant)) {
        SUPoint2D const uv1 = input_.given(side, 1).uv;
        SUPoint2D const uv2 = input_.given(side, 2).uv;
        SUPoint2D const e1 = {uv1.x - layout.uv.x, uv1.y - layout.uv.y};
        SUPoint2D const e2 = {uv2.x - layout.uv.x, uv2.y - layout.uv.y};
        layout.u_of[0] = (e1.x * d - e2.x * b) / determinant;
        layout.u_of[1] = (e2.x * a - e1.x * c) / determinant;
        layout.v_of[0] = (e1.y * d - e2.y * b) / determinant;
        layout.v_of[1] = (e2.y * a - e1.y * c) / determinant;
        return layout;
      }
    }
    if (side.material->texture != nullptr) {
      layout.u_of[0] = 1 / side.material->texture->width;
      layout.v_of[1] = 1 / side.material->texture->height;
    }
    return layout;
  }

  Entities& entities_;
  GeometryInput const& input_;
  bool weld_;
  NumberTable positions_;

  // Edges by their lower vertex: near each other in memory, as neighbouring faces are. Where a vertex has too many for
  // a list, the others go into a table, so that finding one never takes longer.
  struct Chain {
    std::uint32_t first = kNoIndex;
    std::uint32_t length = 0;
  };
  static constexpr std::uint32_t kLongestChain = 16;
  std::vector<Chain> chains_;
  std::vector<std::uint32_t> next_;  // per edge
  NumberTable crowded_edges_;

  std::vector<std::uint32_t> mapped_;
  std::vector<std::uint32_t> loop_;
};

}  // namespace

void fill(Entities& entities, GeometryInput const& input, bool weld) {
  Filler(entities, input, weld).run();
}

}  // namespace mirel::model
