#include "standalone/engine/prepare/wedges.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <span>
#include <utility>

#include "standalone/engine/prepare/point_join.h"

namespace mirel::engine {
namespace {

template <class Value>
void release(std::vector<Value>& values) {
  std::vector<Value>().swap(values);
}

// An attribute of items (vertices or corners): the value of item i is entry `place[i]`, or i where there are none.
struct Attribute {
  std::uint32_t dimension = 0;  // 0: the mesh has no such attribute
  std::span<float const> values;
  std::span<std::uint32_t const> place;

  float const* of(std::size_t item) const {
    return values.data() + std::size_t{place.empty() ? item : place[item]} * dimension;
  }
};

// What the wedges are made of. Items are taken in `order`, or in their own order where it is empty.
struct Items {
  std::size_t count = 0;
  std::span<std::uint32_t const> vertex_of;  // of each item; empty: items are vertices
  std::span<std::uint32_t const> order;
  Attribute normals;
  Attribute uvs;

  std::size_t at(std::size_t place) const { return order.empty() ? place : order[place]; }
  std::size_t vertex(std::size_t item) const { return vertex_of.empty() ? item : vertex_of[item]; }
};

// A wedge: its position, and the items whose normal and UV it has.
struct Wedge {
  std::uint32_t position = 0;
  std::uint32_t normal = 0;
  std::uint32_t uv = 0;
};

struct Wedges {
  std::vector<std::uint32_t> of_item;
  std::vector<Wedge> wedges;  // in order of first occurrence over the items
};

// Lists the items of each position, in order.
struct Members {
  std::vector<std::uint32_t> begin;
  std::vector<std::uint32_t> items;
};

Members members_by_position(Items const& items, std::span<std::uint32_t const> position_of, std::uint32_t count) {
  Members members;
  members.begin.assign(std::size_t{count} + 2, 0);
  members.items.resize(items.count);
  for (std::size_t i = 0; i < items.count; ++i) {
    ++members.begin[position_of[items.vertex(i)] + std::size_t{2}];
  }
  for (std::size_t p = 2; p < members.begin.size(); ++p) {
    members.begin[p] += members.begin[p - 1];
  }
  // Filling moves each begin to its end, which is the next one's begin.
  for (std::size_t i = 0; i < items.count; ++i) {
    std::size_t const item = items.at(i);
    members.items[members.begin[position_of[items.vertex(item)] + std::size_t{1}]++] = static_cast<std::uint32_t>(item);
  }
  members.begin.pop_back();
  return members;
}

// Makes the wedges of one position after the other.
class WedgeMaker {
 public:
  WedgeMaker(Items const& items, AttributeTolerance const& tolerance) : items_(items), tolerance_(tolerance) {
    result_.of_item.resize(items.count);
  }

  void add_position(std::uint32_t position, std::span<std::uint32_t const> members) {
    if (members.size() <= kFew) {
      join_few(position, members);
    } else {
      join_many(position, members);
    }
  }

  // Numbers the wedges by first occurrence over the items.
  Wedges finish() {
    std::vector<std::uint32_t> new_of(result_.wedges.size(), kNone);
    std::vector<Wedge> sorted;
    sorted.reserve(result_.wedges.size());
    for (std::size_t i = 0; i < items_.count; ++i) {
      std::uint32_t& wedge = result_.of_item[items_.at(i)];
      if (new_of[wedge] == kNone) {
        new_of[wedge] = static_cast<std::uint32_t>(sorted.size());
        sorted.push_back(result_.wedges[wedge]);
      }
      wedge = new_of[wedge];
    }
    result_.wedges = std::move(sorted);
    return std::move(result_);
  }

 private:
  static constexpr std::size_t kFew = 32;  // up to here, comparing all with all is fastest

  void join_few(std::uint32_t position, std::span<std::uint32_t const> members) {
    std::array<std::uint32_t, kFew> normals;
    std::array<std::uint32_t, kFew> uvs;
    std::size_t normal_count = 0;
    std::size_t uv_count = 0;
    std::size_t const first = result_.wedges.size();
    for (std::uint32_t const item : members) {
      Wedge wedge{position, item, item};
      if (items_.normals.dimension != 0) {
        std::size_t n = 0;
        while (n < normal_count && !tolerance_.same_normal(items_.normals.of(normals[n]), items_.normals.of(item))) {
          ++n;
        }
        if (n == normal_count) {
          normals[normal_count++] = item;
        }
        wedge.normal = normals[n];
      } else {
        wedge.normal = 0;
      }
      if (items_.uvs.dimension != 0) {
        std::size_t t = 0;
        while (t < uv_count && !tolerance_.same_uv(items_.uvs.of(uvs[t]), items_.uvs.of(item))) {
          ++t;
        }
        if (t == uv_count) {
          uvs[uv_count++] = item;
        }
        wedge.uv = uvs[t];
      } else {
        wedge.uv = 0;
      }
      std::size_t w = first;
      while (w < result_.wedges.size() &&
             (result_.wedges[w].normal != wedge.normal || result_.wedges[w].uv != wedge.uv)) {
        ++w;
      }
      if (w == result_.wedges.size()) {
        result_.wedges.push_back(wedge);
      }
      result_.of_item[item] = static_cast<std::uint32_t>(w);
    }
  }

  // A pole with many spokes: the same rule, by hashing and sorting.
  void join_many(std::uint32_t position, std::span<std::uint32_t const> members) {
    std::vector<std::uint32_t> const normals = join_attribute(items_.normals, members);
    std::vector<std::uint32_t> const uvs = join_attribute(items_.uvs, members);
    struct Entry {
      std::uint64_t key;
      std::uint32_t member;
    };
    std::vector<Entry> entries(members.size());
    for (std::size_t m = 0; m < members.size(); ++m) {
      entries[m] = {(std::uint64_t{normals[m]} << 32) | uvs[m], static_cast<std::uint32_t>(m)};
    }
    std::sort(entries.begin(), entries.end(),
              [](Entry const& a, Entry const& b) { return a.key != b.key ? a.key < b.key : a.member < b.member; });
    for (std::size_t e = 0; e < entries.size(); ++e) {
      std::uint32_t const item = members[entries[e].member];
      if (e == 0 || entries[e].key != entries[e - 1].key) {
        result_.wedges.push_back({position, normals[entries[e].member], uvs[entries[e].member]});
      }
      result_.of_item[item] = static_cast<std::uint32_t>(result_.wedges.size() - 1);
    }
  }

  // For each member, the item whose value it takes.
  std::vector<std::uint32_t> join_attribute(Attribute const& attribute, std::span<std::uint32_t const> members) const {
    std::vector<std::uint32_t> kept(members.size());
    if (attribute.dimension == 0) {
      return kept;
    }
    std::vector<float> values(members.size() * attribute.dimension);
    for (std::size_t m = 0; m < members.size(); ++m) {
      std::copy_n(attribute.of(members[m]), attribute.dimension, &values[m * attribute.dimension]);
    }
    PointJoin const join = attribute.dimension == 3 ? tolerance_.join_normals(values) : tolerance_.join_uvs(values);
    for (std::size_t m = 0; m < members.size(); ++m) {
      kept[m] = members[join.kept[join.group_of[m]]];
    }
    return kept;
  }

  Items const& items_;
  AttributeTolerance const& tolerance_;
  Wedges result_;
};

Wedges make_wedges(Items const& items, std::span<std::uint32_t const> position_of, std::uint32_t position_count,
                   AttributeTolerance const& tolerance) {
  WedgeMaker maker(items, tolerance);
  Members const members = members_by_position(items, position_of, position_count);
  for (std::uint32_t p = 0; p < position_count; ++p) {
    maker.add_position(p, std::span(members.items).subspan(members.begin[p], members.begin[p + 1] - members.begin[p]));
  }
  return maker.finish();
}

// Positions that further joining makes of exact ones. Both number by first occurrence over the vertices.
struct Positions {
  std::vector<std::uint32_t> of_vertex;
  std::vector<float> coordinates;  // of each: those of its lowest vertex
  std::uint32_t count = 0;
};

Positions join_positions(std::vector<float>&& vertices, std::vector<std::uint32_t>&& position_of, std::uint32_t count,
                         float distance) {
  Positions result;
  if (count < position_of.size()) {
    std::uint32_t next = 0;
    for (std::size_t v = 0; v < position_of.size(); ++v) {
      if (position_of[v] == next) {
        std::copy_n(&vertices[v * 3], 3, &vertices[std::size_t{next} * 3]);
        ++next;
      }
    }
    vertices.resize(std::size_t{count} * 3);
    vertices.shrink_to_fit();
  }
  result.coordinates = std::move(vertices);
  result.of_vertex = std::move(position_of);
  result.count = count;
  if (distance > 0) {
    PointJoin const join = join_points_within(result.coordinates, distance);
    if (join.kept.size() < count) {
      result.count = static_cast<std::uint32_t>(join.kept.size());
      for (std::uint32_t& position : result.of_vertex) {
        position = join.group_of[position];
      }
      for (std::size_t p = 0; p < join.kept.size(); ++p) {
        std::copy_n(&result.coordinates[std::size_t{join.kept[p]} * 3], 3, &result.coordinates[p * 3]);
      }
      result.coordinates.resize(join.kept.size() * 3);
    }
  }
  return result;
}

// Whether the normal is a direction; if so and it is not of unit length, it is made so.
bool make_unit(float* n) {
  double const square = double{n[0]} * n[0] + double{n[1]} * n[1] + double{n[2]} * n[2];
  if (!(square > 0) || !std::isfinite(square)) {
    return false;
  }
  // Normals written with three decimals pass unchanged.
  if (std::fabs(square - 1) > 4e-3) {
    double const length = std::sqrt(square);
    for (int k = 0; k < 3; ++k) {
      n[k] = static_cast<float>(n[k] / length);
    }
  }
  return true;
}

// Gives every corner a valid place in the list of values. Where the mesh has values per vertex only and all are valid,
// the corner table stays empty. `fallback(corner)` appends a value and returns its place.
template <class Fallback>
void complete(std::span<std::uint32_t const> faces, std::uint32_t dimension, std::vector<float>& per_vertex,
              std::vector<float>& values, std::vector<std::uint32_t>& corners, std::vector<bool> const& valid,
              std::vector<bool> const& valid_vertex, Fallback fallback) {
  bool const indexed = !corners.empty();
  if (!indexed &&
      (per_vertex.empty() || std::find(valid_vertex.begin(), valid_vertex.end(), false) == valid_vertex.end())) {
    return;
  }
  std::uint32_t const offset = static_cast<std::uint32_t>(values.size() / dimension);
  values.insert(values.end(), per_vertex.begin(), per_vertex.end());
  corners.resize(faces.size(), kNone);
  for (std::size_t c = 0; c < faces.size(); ++c) {
    if (corners[c] != kNone && valid[corners[c]]) {
      continue;
    }
    corners[c] = !per_vertex.empty() && valid_vertex[faces[c]] ? offset + faces[c] : fallback(c);
  }
  release(per_vertex);
}

void complete_normals(BuildMesh& mesh) {
  std::vector<bool> valid(mesh.normals.size() / 3);
  for (std::size_t n = 0; n < valid.size(); ++n) {
    valid[n] = make_unit(&mesh.normals[n * 3]);
  }
  std::vector<bool> valid_vertex(mesh.vertex_normals.size() / 3);
  for (std::size_t v = 0; v < valid_vertex.size(); ++v) {
    valid_vertex[v] = make_unit(&mesh.vertex_normals[v * 3]);
  }
  std::size_t last_face = SIZE_MAX;
  complete(mesh.faces, 3, mesh.vertex_normals, mesh.normals, mesh.face_normals, valid, valid_vertex,
           [&mesh, &last_face](std::size_t corner) {
             if (corner / 3 != last_face) {
               last_face = corner / 3;
               std::array<float, 3> const normal = unit_normal(mesh.positions.data(), &mesh.faces[last_face * 3]);
               mesh.normals.insert(mesh.normals.end(), normal.begin(), normal.end());
             }
             return static_cast<std::uint32_t>(mesh.normals.size() / 3 - 1);
           });
}

std::vector<bool> finite_uvs(std::span<float const> uvs) {
  std::vector<bool> finite(uvs.size() / 2);
  for (std::size_t t = 0; t < finite.size(); ++t) {
    finite[t] = std::isfinite(uvs[t * 2]) && std::isfinite(uvs[t * 2 + 1]);
  }
  return finite;
}

void complete_uvs(BuildMesh& mesh) {
  std::uint32_t origin = kNone;
  complete(mesh.faces, 2, mesh.vertex_uvs, mesh.uvs, mesh.face_uvs, finite_uvs(mesh.uvs), finite_uvs(mesh.vertex_uvs),
           [&mesh, &origin](std::size_t) {
             if (origin == kNone) {
               origin = static_cast<std::uint32_t>(mesh.uvs.size() / 2);
               mesh.uvs.insert(mesh.uvs.end(), {0, 0});
             }
             return origin;
           });
}

// The corners by vertex, each vertex's in face order; empty where that is their own order.
std::vector<std::uint32_t> corners_by_vertex(std::span<std::uint32_t const> faces, std::size_t vertex_count) {
  if (std::is_sorted(faces.begin(), faces.end())) {
    return {};
  }
  std::vector<std::uint32_t> next(vertex_count + 1);
  for (std::uint32_t const vertex : faces) {
    ++next[vertex + std::size_t{1}];
  }
  for (std::size_t v = 1; v < next.size(); ++v) {
    next[v] += next[v - 1];
  }
  std::vector<std::uint32_t> order(faces.size());
  for (std::size_t c = 0; c < faces.size(); ++c) {
    order[next[faces[c]]++] = static_cast<std::uint32_t>(c);
  }
  return order;
}

std::vector<std::uint32_t> set_begins(BuildMesh const& mesh) {
  std::vector<std::uint32_t> begin(std::size_t{std::max(mesh.set_count, 1U)} + 1);
  for (std::size_t f = 0; f < mesh.face_count(); ++f) {
    ++begin[mesh.set_of(f) + std::size_t{1}];
  }
  for (std::size_t s = 1; s < begin.size(); ++s) {
    begin[s] += begin[s - 1];
  }
  return begin;
}

// Fills the vertex arrays of a wedge form.
void write_vertices(std::vector<Wedge> const& wedges, Items const& items, Positions const& positions, WedgeMesh& mesh) {
  std::vector<float> vertices(wedges.size() * 3);
  std::vector<float> normals(items.normals.dimension != 0 ? wedges.size() * 3 : 0);
  std::vector<float> uvs(items.uvs.dimension != 0 ? wedges.size() * 2 : 0);
  std::vector<std::uint32_t> position_of(wedges.size());
  for (std::size_t w = 0; w < wedges.size(); ++w) {
    std::copy_n(&positions.coordinates[std::size_t{wedges[w].position} * 3], 3, &vertices[w * 3]);
    position_of[w] = wedges[w].position;
    if (!normals.empty()) {
      std::copy_n(items.normals.of(wedges[w].normal), 3, &normals[w * 3]);
    }
    if (!uvs.empty()) {
      std::copy_n(items.uvs.of(wedges[w].uv), 2, &uvs[w * 2]);
    }
  }
  mesh.vertices = std::move(vertices);
  mesh.normals = std::move(normals);
  mesh.uvs = std::move(uvs);
  mesh.position_of = std::move(position_of);
  mesh.position_count = positions.count;
}

// Without normals and UVs the positions are the wedges: both are numbered by first occurrence over the vertices.
void take_bare_positions(Positions&& positions, std::vector<std::uint32_t>&& faces, WedgeMesh& mesh) {
  mesh.position_count = positions.count;
  mesh.position_of.resize(positions.count);
  std::iota(mesh.position_of.begin(), mesh.position_of.end(), 0U);
  // Each vertex on its own keeps its number.
  if (positions.count < positions.of_vertex.size()) {
    for (std::uint32_t& vertex : faces) {
      vertex = positions.of_vertex[vertex];
    }
  }
  mesh.vertices = std::move(positions.coordinates);
  mesh.faces = std::move(faces);
}

}  // namespace

std::array<float, 3> unit_normal(float const* vertices, std::uint32_t const* face) {
  float const* a = vertices + std::size_t{face[0]} * 3;
  float const* b = vertices + std::size_t{face[1]} * 3;
  float const* c = vertices + std::size_t{face[2]} * 3;
  std::array<double, 3> u{};
  std::array<double, 3> v{};
  for (std::size_t k = 0; k < 3; ++k) {
    u[k] = double{b[k]} - a[k];
    v[k] = double{c[k]} - a[k];
  }
  std::array<double, 3> const n = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
  double const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(length > 0) || !std::isfinite(length)) {
    return {0, 0, 1};  // a sliver has no normal; any direction will do
  }
  return {static_cast<float>(n[0] / length), static_cast<float>(n[1] / length), static_cast<float>(n[2] / length)};
}

WedgeMesh make_wedge_mesh(BuildMesh&& mesh, ExactPositions&& exact, JoinTolerances const& tolerances) {
  WedgeMesh result;
  result.set_begin = set_begins(mesh);
  release(mesh.face_set_of);
  complete_normals(mesh);
  complete_uvs(mesh);
  std::uint32_t const exact_count = exact.count;
  Positions positions =
      join_positions(std::move(mesh.positions), std::move(exact.position_of), exact_count, tolerances.position);

  bool const bare = mesh.normals.empty() && mesh.vertex_normals.empty() && mesh.uvs.empty() && mesh.vertex_uvs.empty();
  if (bare) {
    take_bare_positions(std::move(positions), std::move(mesh.faces), result);
    mesh = BuildMesh();
    if (result.position_count < exact_count) {
      clean_wedge_mesh(result);
    }
    return result;
  }

  Items items;
  bool const by_corner = !mesh.face_normals.empty() || !mesh.face_uvs.empty();
  std::vector<std::uint32_t> order;
  items.count = by_corner ? mesh.faces.size() : positions.of_vertex.size();
  if (by_corner) {
    order = corners_by_vertex(mesh.faces, positions.of_vertex.size());
    items.vertex_of = mesh.faces;
    items.order = order;
  }
  // Beside a corner table, values per vertex are found through the corner's vertex.
  if (!mesh.face_normals.empty()) {
    items.normals = {3, mesh.normals, mesh.face_normals};
  } else if (!mesh.vertex_normals.empty()) {
    items.normals = {3, mesh.vertex_normals, items.vertex_of};
  }
  if (!mesh.face_uvs.empty()) {
    items.uvs = {2, mesh.uvs, mesh.face_uvs};
  } else if (!mesh.vertex_uvs.empty()) {
    items.uvs = {2, mesh.vertex_uvs, items.vertex_of};
  }

  Wedges wedges =
      make_wedges(items, positions.of_vertex, positions.count, AttributeTolerance(tolerances.normal, tolerances.uv));
  release(order);
  write_vertices(wedges.wedges, items, positions, result);
  if (by_corner) {
    result.faces = std::move(wedges.of_item);
  } else {
    result.faces = std::move(mesh.faces);
    for (std::uint32_t& vertex : result.faces) {
      vertex = wedges.of_item[vertex];
    }
  }
  mesh = BuildMesh();
  // Joining only equal positions leaves the faces as they were prepared.
  if (positions.count < exact_count) {
    clean_wedge_mesh(result);
  }
  return result;
}

bool join_wedge_mesh(WedgeMesh& mesh, JoinTolerances const& tolerances) {
  std::uint32_t const vertices_before = mesh.vertex_count();
  std::uint32_t const positions_before = mesh.position_count;
  Positions const positions =
      join_positions(std::vector<float>(mesh.vertices), std::vector<std::uint32_t>(mesh.position_of),
                     mesh.position_count, tolerances.position);
  Items items;
  items.count = vertices_before;
  if (!mesh.normals.empty()) {
    items.normals = {3, mesh.normals, {}};
  }
  if (!mesh.uvs.empty()) {
    items.uvs = {2, mesh.uvs, {}};
  }
  Wedges const wedges =
      make_wedges(items, positions.of_vertex, positions.count, AttributeTolerance(tolerances.normal, tolerances.uv));
  if (wedges.wedges.size() == vertices_before && positions.count == positions_before) {
    return false;
  }
  write_vertices(wedges.wedges, items, positions, mesh);
  for (std::uint32_t& vertex : mesh.faces) {
    vertex = wedges.of_item[vertex];
  }
  if (positions.count < positions_before) {
    clean_wedge_mesh(mesh);
  }
  return true;
}

}  // namespace mirel::engine
