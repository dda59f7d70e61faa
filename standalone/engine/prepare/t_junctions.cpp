#include "standalone/engine/prepare/t_junctions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <unordered_map>
#include <utility>
#include <vector>

#include "standalone/engine/prepare/cleanup.h"
#include "standalone/engine/prepare/edges.h"
#include "standalone/engine/prepare/point_tree.h"

namespace mirel::engine {
namespace {

// The share of an edge's length that a vertex may lie off it: an absolute tolerance alone would swallow small models.
constexpr double kShareOfLength = 0.01;
// The edges that may take up one vertex. Keeps nests of collinear edges from growing quadratically.
constexpr std::uint8_t kMostEdgesPerVertex = 8;
// A split bends an edge by up to the tolerance, which may bring further vertices within it. Two passes find nearly all.
constexpr int kMostPasses = 3;

using Vector = std::array<double, 3>;

Vector difference(float const* a, float const* b) {
  return {double{a[0]} - b[0], double{a[1]} - b[1], double{a[2]} - b[2]};
}

double dot(Vector const& a, Vector const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector cross(Vector const& a, Vector const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// A vertex to be put into a half-edge.
struct Insertion {
  double along;  // 0 to 1
  std::uint32_t half;
  std::uint32_t position;
};

class TJunctions {
 public:
  TJunctions(WedgeMesh& mesh, AttributeTolerance const& attributes)
      : mesh_(mesh), attributes_(attributes), edges_(find_edges(mesh.faces, mesh.position_of, mesh.position_count)) {}

  std::uint32_t run(double tolerance) {
    std::vector<Insertion> const insertions = find(tolerance);
    if (insertions.empty()) {
      return 0;
    }
    list_wedges();
    split(insertions);
    return inserted_;
  }

 private:
  using Face = std::array<std::uint32_t, 3>;  // vertices

  std::uint32_t position(std::size_t corner) const { return mesh_.position_of[mesh_.faces[corner]]; }
  float const* point(std::uint32_t vertex) const { return &mesh_.vertices[std::size_t{vertex} * 3]; }

  // The boundary: its half-edges in order, and a corner at each of its positions.
  struct Boundary {
    std::vector<std::uint32_t> halves;
    std::vector<std::uint32_t> corners;
    std::vector<std::uint32_t> place_of;  // per position: its place in corners
  };

  Boundary find_boundary() const {
    Boundary boundary;
    boundary.place_of.assign(mesh_.position_count, kNone);
    edges_.for_each([&](std::uint32_t, std::span<Edges::HalfEdge const> group) {
      if (group.size() != 1) {
        return;
      }
      boundary.halves.push_back(group[0].half);
      for (std::size_t const corner : {std::size_t{group[0].half}, next_corner(group[0].half)}) {
        if (boundary.place_of[position(corner)] == kNone) {
          boundary.place_of[position(corner)] = static_cast<std::uint32_t>(boundary.corners.size());
          boundary.corners.push_back(static_cast<std::uint32_t>(corner));
        }
      }
    });
    std::sort(boundary.halves.begin(), boundary.halves.end());
    return boundary;
  }

  // By half-edge, those of each in order along it.
  std::vector<Insertion> find(double tolerance) const {
    Boundary const boundary = find_boundary();
    if (boundary.halves.empty()) {
      return {};
    }
    std::vector<float> points(boundary.corners.size() * 3);
    for (std::size_t i = 0; i < boundary.corners.size(); ++i) {
      std::copy_n(point(mesh_.faces[boundary.corners[i]]), 3, &points[i * 3]);
    }
    PointTree tree(points);
    std::vector<Insertion> candidates;
    if (find_candidates(boundary, tolerance, tree, candidates)) {
      return select(boundary, candidates);
    }
    return find_in_order(boundary, tolerance, tree);
  }

  // Everything that lies on a boundary edge, by half-edge and along it. Neighbours are asked for together. False where
  // there is more than one per vertex: nests of edges, which have to be searched in order.
  bool find_candidates(Boundary const& boundary, double tolerance, PointTree const& tree,
                       std::vector<Insertion>& candidates) const {
    constexpr std::size_t kTogether = 8;
    std::size_t const most = boundary.corners.size() + 64;
    std::vector<std::uint32_t> const halves = neighbours_together(boundary, tree);
    std::vector<PointTree::Segment> segments;
    for (std::size_t begin = 0; begin < halves.size(); begin += kTogether) {
      std::size_t const end = std::min(begin + kTogether, halves.size());
      segments.clear();
      for (std::size_t i = begin; i < end; ++i) {
        segments.push_back(around(halves[i], tolerance));
      }
      tree.near_segments(segments, [&](std::size_t i, std::uint32_t place) {
        add_if_on(halves[begin + i], boundary.corners[place], tolerance, candidates);
      });
      if (candidates.size() > most) {
        return false;
      }
    }
    std::sort(candidates.begin(), candidates.end(), before);
    return true;
  }

  // The half-edges by their length's power of two, those of like length along the tree's curve: a long one among short
  // ones would make the box around them large.
  std::vector<std::uint32_t> neighbours_together(Boundary const& boundary, PointTree const& tree) const {
    std::vector<std::uint32_t> by_rank(boundary.halves.size());
    std::vector<std::uint32_t> begin(boundary.corners.size() + 1);
    auto const rank = [&](std::uint32_t half) { return tree.rank(boundary.place_of[position(half)]); };
    for (std::uint32_t const half : boundary.halves) {
      ++begin[rank(half) + std::size_t{1}];
    }
    std::partial_sum(begin.begin(), begin.end(), begin.begin());
    for (std::uint32_t const half : boundary.halves) {
      by_rank[begin[rank(half)]++] = half;
    }
    std::vector<std::uint16_t> size(by_rank.size());
    std::array<std::size_t, 1025> size_begin{};
    for (std::size_t i = 0; i < by_rank.size(); ++i) {
      Vector const edge = difference(point(mesh_.faces[next_corner(by_rank[i])]), point(mesh_.faces[by_rank[i]]));
      size[i] = static_cast<std::uint16_t>(std::bit_cast<std::uint64_t>(dot(edge, edge)) >> 53);
      ++size_begin[size[i] + std::size_t{1}];
    }
    std::partial_sum(size_begin.begin(), size_begin.end(), size_begin.begin());
    std::vector<std::uint32_t> by_size(by_rank.size());
    for (std::size_t i = 0; i < by_rank.size(); ++i) {
      by_size[size_begin[size[i]]++] = by_rank[i];
    }
    return by_size;
  }

  // What stays of the candidates when each vertex is taken up by the first edges alone.
  std::vector<Insertion> select(Boundary const& boundary, std::vector<Insertion> const& candidates) const {
    std::vector<std::uint8_t> uses(boundary.corners.size());
    std::vector<Insertion> insertions;
    std::vector<Insertion> found;
    for (std::size_t i = 0; i < candidates.size();) {
      std::uint32_t const half = candidates[i].half;
      found.clear();
      for (; i < candidates.size() && candidates[i].half == half; ++i) {
        if (uses[boundary.place_of[candidates[i].position]] < kMostEdgesPerVertex) {
          found.push_back(candidates[i]);
        }
      }
      take_up(found, insertions, [&](std::uint32_t position) { ++uses[boundary.place_of[position]]; });
    }
    return insertions;
  }

  // The same where vertices that enough edges have taken up must not be met again.
  std::vector<Insertion> find_in_order(Boundary const& boundary, double tolerance, PointTree& tree) const {
    std::vector<std::uint8_t> uses(boundary.corners.size());
    std::vector<Insertion> insertions;
    std::vector<Insertion> found;
    for (std::uint32_t const half : boundary.halves) {
      found.clear();
      tree.near_segment(around(half, tolerance),
                        [&](std::uint32_t place) { add_if_on(half, boundary.corners[place], tolerance, found); });
      std::sort(found.begin(), found.end(), before);
      take_up(found, insertions, [&](std::uint32_t position) {
        std::uint32_t const place = boundary.place_of[position];
        if (++uses[place] == kMostEdgesPerVertex) {
          tree.take_out(place);
        }
      });
    }
    return insertions;
  }

  // found: what lies on one half-edge, in order along it.
  template <class Use>
  static void take_up(std::vector<Insertion> const& found, std::vector<Insertion>& insertions, Use use) {
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (i > 0 && !(found[i].along > found[i - 1].along)) {
        continue;  // side by side across the edge: no order along it
      }
      insertions.push_back(found[i]);
      use(found[i].position);
    }
  }

  static bool before(Insertion const& x, Insertion const& y) {
    if (x.half != y.half) {
      return x.half < y.half;
    }
    return x.along != y.along ? x.along < y.along : x.position < y.position;
  }

  static double reach_of(double square, double tolerance) {
    return std::min(tolerance, kShareOfLength * std::sqrt(square));
  }

  PointTree::Segment around(std::uint32_t half, double tolerance) const {
    float const* const a = point(mesh_.faces[half]);
    float const* const b = point(mesh_.faces[next_corner(half)]);
    Vector const edge = difference(b, a);
    return {a, b, reach_of(dot(edge, edge), tolerance)};
  }

  void add_if_on(std::uint32_t half, std::uint32_t corner, double tolerance, std::vector<Insertion>& found) const {
    float const* const a = point(mesh_.faces[half]);
    Vector const edge = difference(point(mesh_.faces[next_corner(half)]), a);
    double const square = dot(edge, edge);
    double const reach = reach_of(square, tolerance);
    std::size_t const face = half / 3 * std::size_t{3};
    std::uint32_t const p = position(corner);
    if (p == position(face) || p == position(face + 1) || p == position(face + 2)) {
      return;
    }
    Vector const to = difference(point(mesh_.faces[corner]), a);
    double const along = dot(to, edge) / square;
    if (!(along > 0 && along < 1)) {
      return;
    }
    Vector const off = {to[0] - along * edge[0], to[1] - along * edge[1], to[2] - along * edge[2]};
    if (dot(off, off) <= reach * reach) {
      found.push_back({along, half, p});
    }
  }

  // Chains the vertices of each position, in order.
  void list_wedges() {
    first_vertex_.assign(mesh_.position_count, kNone);
    next_vertex_.assign(mesh_.vertex_count(), kNone);
    for (std::uint32_t v = mesh_.vertex_count(); v-- > 0;) {
      next_vertex_[v] = std::exchange(first_vertex_[mesh_.position_of[v]], v);
    }
  }

  void split(std::vector<Insertion> const& insertions) {
    std::vector<std::uint32_t> faces;
    faces.reserve(mesh_.faces.size() + insertions.size() * 3);
    std::vector<Face> pieces;
    std::size_t next = 0;
    std::uint32_t face = 0;
    for (std::size_t set = 0; set + 1 < mesh_.set_begin.size(); ++set) {
      std::uint32_t const end = mesh_.set_begin[set + 1];
      mesh_.set_begin[set] = static_cast<std::uint32_t>(faces.size() / 3);
      for (; face < end; ++face) {
        Face const whole = {mesh_.faces[std::size_t{face} * 3], mesh_.faces[std::size_t{face} * 3 + 1],
                            mesh_.faces[std::size_t{face} * 3 + 2]};
        pieces.assign(1, whole);
        while (next < insertions.size() && insertions[next].half / 3 == face) {
          std::size_t const begin = next;
          while (next < insertions.size() && insertions[next].half == insertions[begin].half) {
            ++next;
          }
          split_edge(whole, std::span(insertions).subspan(begin, next - begin), pieces);
        }
        for (Face const& piece : pieces) {
          faces.insert(faces.end(), piece.begin(), piece.end());
        }
      }
    }
    mesh_.set_begin.back() = static_cast<std::uint32_t>(faces.size() / 3);
    mesh_.faces = std::move(faces);
  }

  //        apex
  //       / | \      puts p, q, ... into the edge from `from` to `to`: the piece that has it becomes a fan around
  //      /  |  \     its third corner
  // from -p-q- to
  void split_edge(Face const& whole, std::span<Insertion const> insertions, std::vector<Face>& pieces) {
    std::size_t const k = insertions[0].half % 3;
    std::uint32_t const from = whole[k];
    std::uint32_t const to = whole[(k + 1) % 3];
    std::size_t at = 0;
    std::size_t corner = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      for (std::size_t c = 0; c < 3; ++c) {
        if (pieces[i][c] == from && pieces[i][(c + 1) % 3] == to) {
          at = i;
          corner = c;
        }
      }
    }
    Face const piece = pieces[at];
    std::uint32_t const apex = piece[(corner + 2) % 3];
    Vector const normal = cross(difference(point(to), point(from)), difference(point(apex), point(from)));
    bool const has_area = dot(normal, normal) > 0;
    auto const keeps_side = [&](std::uint32_t u, std::uint32_t v) {
      Vector const n = cross(difference(point(v), point(u)), difference(point(apex), point(u)));
      return !has_area || dot(n, normal) > 0;
    };
    std::uint32_t last = from;
    for (Insertion const& insertion : insertions) {
      std::uint32_t const any = first_vertex_[insertion.position];
      std::uint32_t const apex_position = mesh_.position_of[apex];
      if (insertion.position == apex_position || !keeps_side(last, any) || !keeps_side(any, to) ||
          face_count(insertion.position, apex_position) != 0 ||
          face_count(insertion.position, mesh_.position_of[last]) > 1 ||
          face_count(insertion.position, mesh_.position_of[to]) > 1) {
        continue;
      }
      new_faces_[edge_key(insertion.position, apex_position)] += 2;
      ++new_faces_[edge_key(insertion.position, mesh_.position_of[last])];
      ++new_faces_[edge_key(insertion.position, mesh_.position_of[to])];
      --new_faces_[edge_key(mesh_.position_of[last], mesh_.position_of[to])];
      std::uint32_t const middle = wedge_at(insertion.position, from, to, insertion.along);
      pieces[at] = {last, middle, apex};
      pieces.push_back({middle, to, apex});
      at = pieces.size() - 1;
      last = middle;
      ++inserted_;
    }
  }

  static std::uint64_t edge_key(std::uint32_t p, std::uint32_t q) {
    return (std::uint64_t{std::min(p, q)} << 32) | std::max(p, q);
  }

  // Of an edge between two positions, as the splits of this pass have left it.
  std::int64_t face_count(std::uint32_t p, std::uint32_t q) const {
    auto const changed = new_faces_.find(edge_key(p, q));
    return std::int64_t{edges_.face_count(p, q)} + (changed == new_faces_.end() ? 0 : changed->second);
  }

  // The wedge at a position with the attributes found between two vertices; made where there is none.
  std::uint32_t wedge_at(std::uint32_t position, std::uint32_t from, std::uint32_t to, double along) {
    std::array<float, 3> normal{};
    std::array<float, 2> uv{};
    bool const has_normals = !mesh_.normals.empty();
    bool const has_uvs = !mesh_.uvs.empty();
    if (has_normals) {
      normal = snapped_normal(position, interpolated_normal(from, to, along));
    }
    if (has_uvs) {
      uv = snapped_uv(position, interpolated_uv(from, to, along));
    }
    std::uint32_t last = kNone;
    for (std::uint32_t v = first_vertex_[position]; v != kNone; v = next_vertex_[v]) {
      if ((!has_normals || std::equal(normal.begin(), normal.end(), &mesh_.normals[std::size_t{v} * 3])) &&
          (!has_uvs || std::equal(uv.begin(), uv.end(), &mesh_.uvs[std::size_t{v} * 2]))) {
        return v;
      }
      last = v;
    }
    std::uint32_t const made = mesh_.vertex_count();
    std::array<float, 3> const p = {point(last)[0], point(last)[1], point(last)[2]};
    mesh_.vertices.insert(mesh_.vertices.end(), p.begin(), p.end());
    mesh_.position_of.push_back(position);
    if (has_normals) {
      mesh_.normals.insert(mesh_.normals.end(), normal.begin(), normal.end());
    }
    if (has_uvs) {
      mesh_.uvs.insert(mesh_.uvs.end(), uv.begin(), uv.end());
    }
    next_vertex_[last] = made;
    next_vertex_.push_back(kNone);
    return made;
  }

  std::array<float, 3> interpolated_normal(std::uint32_t from, std::uint32_t to, double along) const {
    Vector n{};
    for (std::size_t k = 0; k < 3; ++k) {
      n[k] = (1 - along) * mesh_.normals[std::size_t{from} * 3 + k] + along * mesh_.normals[std::size_t{to} * 3 + k];
    }
    double const length = std::sqrt(dot(n, n));
    std::array<float, 3> normal{};
    for (std::size_t k = 0; k < 3; ++k) {
      // Opposite normals have no middle: either will do.
      normal[k] = length > 1e-6 ? static_cast<float>(n[k] / length) : mesh_.normals[std::size_t{from} * 3 + k];
    }
    return normal;
  }

  std::array<float, 2> interpolated_uv(std::uint32_t from, std::uint32_t to, double along) const {
    std::array<float, 2> uv{};
    for (std::size_t k = 0; k < 2; ++k) {
      uv[k] = static_cast<float>((1 - along) * mesh_.uvs[std::size_t{from} * 2 + k] +
                                 along * mesh_.uvs[std::size_t{to} * 2 + k]);
    }
    return uv;
  }

  // The normals and UVs at one position stay further apart than the tolerance, as joining leaves them.
  std::array<float, 3> snapped_normal(std::uint32_t position, std::array<float, 3> const& normal) const {
    for (std::uint32_t v = first_vertex_[position]; v != kNone; v = next_vertex_[v]) {
      float const* n = &mesh_.normals[std::size_t{v} * 3];
      if (attributes_.same_normal(n, normal.data())) {
        return {n[0], n[1], n[2]};
      }
    }
    return normal;
  }

  std::array<float, 2> snapped_uv(std::uint32_t position, std::array<float, 2> const& uv) const {
    for (std::uint32_t v = first_vertex_[position]; v != kNone; v = next_vertex_[v]) {
      float const* t = &mesh_.uvs[std::size_t{v} * 2];
      if (attributes_.same_uv(t, uv.data())) {
        return {t[0], t[1]};
      }
    }
    return uv;
  }

  WedgeMesh& mesh_;
  AttributeTolerance const& attributes_;
  Edges edges_;
  std::vector<std::uint32_t> first_vertex_;                    // per position
  std::vector<std::uint32_t> next_vertex_;                     // per vertex
  std::unordered_map<std::uint64_t, std::int32_t> new_faces_;  // by edge: faces more than in edges_
  std::uint32_t inserted_ = 0;
};

}  // namespace

std::uint32_t eliminate_t_junctions(WedgeMesh& mesh, float tolerance, AttributeTolerance const& attributes) {
  double const reach = tolerance > 0 ? double{tolerance} : 0;
  std::uint32_t total = 0;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    std::uint32_t const inserted = TJunctions(mesh, attributes).run(reach);
    if (inserted == 0) {
      break;
    }
    total += inserted;
    clean_wedge_mesh(mesh);
  }
  return total;
}

}  // namespace mirel::engine
