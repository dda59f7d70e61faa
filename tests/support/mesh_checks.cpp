#include "tests/support/mesh_checks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <unordered_map>
#include <utility>

#include "standalone/engine/deviation/hausdorff.h"
#include "standalone/engine/deviation/triangle_bvh.h"

namespace mirel::support {
namespace {

using Point = std::array<float, 3>;
using Edge = std::pair<std::uint32_t, std::uint32_t>;

class UnionFind {
 public:
  explicit UnionFind(std::size_t count) : parent_(count) { std::iota(parent_.begin(), parent_.end(), 0U); }

  std::uint32_t root(std::uint32_t k) {
    while (parent_[k] != k) {
      parent_[k] = parent_[parent_[k]];
      k = parent_[k];
    }
    return k;
  }

  void join(std::uint32_t a, std::uint32_t b) { parent_[root(a)] = root(b); }

 private:
  std::vector<std::uint32_t> parent_;
};

Point point_at(ObjText const& mesh, std::uint32_t vertex) {
  // -0 and 0 are one position.
  return {mesh.positions[3 * vertex] + 0.0F, mesh.positions[3 * vertex + 1] + 0.0F,
          mesh.positions[3 * vertex + 2] + 0.0F};
}

// One number per distinct position.
std::vector<std::uint32_t> number_positions(ObjText const& mesh) {
  std::vector<std::uint32_t> order(mesh.positions.size() / 3);
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(),
            [&mesh](std::uint32_t a, std::uint32_t b) { return point_at(mesh, a) < point_at(mesh, b); });
  std::vector<std::uint32_t> numbers(order.size());
  std::uint32_t number = 0;
  for (std::size_t k = 0; k < order.size(); ++k) {
    if (k > 0 && point_at(mesh, order[k]) != point_at(mesh, order[k - 1])) ++number;
    numbers[order[k]] = number;
  }
  return numbers;
}

bool is_degenerate(Triple const& face) {
  return face[0] == face[1] || face[1] == face[2] || face[2] == face[0];
}

// The faces in numbers of positions, without the degenerate ones.
std::vector<Triple> sound_faces(ObjText const& mesh) {
  std::vector<std::uint32_t> const numbers = number_positions(mesh);
  std::vector<Triple> faces;
  for (Triple face : mesh.faces) {
    for (std::uint32_t& corner : face) corner = numbers[corner];
    if (!is_degenerate(face)) faces.push_back(face);
  }
  return faces;
}

// Each undirected edge once for each face that it has, sorted.
std::vector<Edge> face_edges(std::vector<Triple> const& faces) {
  std::vector<Edge> edges;
  for (Triple const& face : faces) {
    for (std::size_t k = 0; k < 3; ++k) edges.push_back(std::minmax(face[k], face[(k + 1) % 3]));
  }
  std::sort(edges.begin(), edges.end());
  return edges;
}

template <typename Visit>
void for_each_run(std::vector<Edge> const& edges, Visit visit) {
  for (std::size_t begin = 0; begin < edges.size();) {
    std::size_t end = begin + 1;
    while (end < edges.size() && edges[end] == edges[begin]) ++end;
    visit(edges[begin], end - begin);
    begin = end;
  }
}

Point six_digits(Point point) {
  for (float& value : point) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", static_cast<double>(value));
    value = std::strtof(text.data(), nullptr);
  }
  return point;
}

std::set<Point> boundary_positions(ObjText const& mesh) {
  std::vector<std::uint32_t> const numbers = number_positions(mesh);
  std::vector<std::uint32_t> vertex_of(numbers.size());
  for (std::uint32_t vertex = 0; vertex < numbers.size(); ++vertex) vertex_of[numbers[vertex]] = vertex;
  std::set<Point> positions;
  for_each_run(face_edges(sound_faces(mesh)), [&](Edge edge, std::size_t faces) {
    if (faces != 1) return;
    positions.insert(six_digits(point_at(mesh, vertex_of[edge.first])));
    positions.insert(six_digits(point_at(mesh, vertex_of[edge.second])));
  });
  return positions;
}

using UV = std::array<double, 2>;

UV uv_at(ObjText const& mesh, std::uint32_t uv) {
  return {static_cast<double>(mesh.uvs[2 * uv]), static_cast<double>(mesh.uvs[2 * uv + 1])};
}

bool has_uvs(Triple const& uvs) {
  return uvs[0] != kNone && uvs[1] != kNone && uvs[2] != kNone;
}

// The chart of each face, by a face that stands for it.
std::vector<std::uint32_t> charts_of(ObjText const& mesh) {
  std::vector<std::uint32_t> const numbers = number_positions(mesh);
  UnionFind charts(mesh.faces.size());
  using End = std::pair<std::uint32_t, UV>;
  std::map<std::pair<End, End>, std::uint32_t> first_face;
  for (std::uint32_t face = 0; face < mesh.faces.size(); ++face) {
    if (!has_uvs(mesh.face_uvs[face])) continue;
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const next = (k + 1) % 3;
      End a{numbers[mesh.faces[face][k]], uv_at(mesh, mesh.face_uvs[face][k])};
      End b{numbers[mesh.faces[face][next]], uv_at(mesh, mesh.face_uvs[face][next])};
      if (b < a) std::swap(a, b);
      auto const [found, is_new] = first_face.try_emplace({a, b}, face);
      if (!is_new) charts.join(face, found->second);
    }
  }
  std::vector<std::uint32_t> roots(mesh.faces.size());
  for (std::uint32_t face = 0; face < roots.size(); ++face) roots[face] = charts.root(face);
  return roots;
}

double squared_distance_to_segment(UV p, UV a, UV b) {
  UV const ab{b[0] - a[0], b[1] - a[1]};
  double const length = ab[0] * ab[0] + ab[1] * ab[1];
  double const along = length > 0 ? ((p[0] - a[0]) * ab[0] + (p[1] - a[1]) * ab[1]) / length : 0;
  double const t = std::clamp(along, 0.0, 1.0);
  double const dx = a[0] + t * ab[0] - p[0];
  double const dy = a[1] + t * ab[1] - p[1];
  return dx * dx + dy * dy;
}

double squared_distance_to_triangle(UV p, std::array<UV, 3> const& t) {
  auto const side = [p](UV a, UV b) { return (b[0] - a[0]) * (p[1] - a[1]) - (b[1] - a[1]) * (p[0] - a[0]); };
  std::array<double, 3> const sides{side(t[0], t[1]), side(t[1], t[2]), side(t[2], t[0])};
  bool const inside = std::all_of(sides.begin(), sides.end(), [](double s) { return s >= 0; }) ||
                      std::all_of(sides.begin(), sides.end(), [](double s) { return s <= 0; });
  bool const has_area = side(t[0], t[1]) != 0 || side(t[1], t[2]) != 0;
  if (inside && has_area) return 0;
  return std::min({squared_distance_to_segment(p, t[0], t[1]), squared_distance_to_segment(p, t[1], t[2]),
                   squared_distance_to_segment(p, t[2], t[0])});
}

// Finds the charts that a point of UV space lies in, through a grid over the charts' triangles.
class ChartFinder {
 public:
  ChartFinder(ObjText const& mesh, double tolerance) : tolerance_(tolerance) {
    std::vector<std::uint32_t> const charts = charts_of(mesh);
    for (std::uint32_t face = 0; face < mesh.faces.size(); ++face) {
      if (!has_uvs(mesh.face_uvs[face])) continue;
      Triangle triangle{charts[face], {}};
      for (std::size_t k = 0; k < 3; ++k) triangle.corners[k] = uv_at(mesh, mesh.face_uvs[face][k]);
      triangles_.push_back(triangle);
      for (UV const& corner : triangle.corners) {
        for (std::size_t axis = 0; axis < 2; ++axis) {
          low_[axis] = std::min(low_[axis], corner[axis]);
          high_[axis] = std::max(high_[axis], corner[axis]);
        }
      }
    }
    cells_.resize(kCells * kCells);
    for (std::uint32_t index = 0; index < triangles_.size(); ++index) {
      auto const& corners = triangles_[index].corners;
      auto const [u0, u1] = std::minmax({corners[0][0], corners[1][0], corners[2][0]});
      auto const [v0, v1] = std::minmax({corners[0][1], corners[1][1], corners[2][1]});
      for (std::size_t row = cell(v0 - tolerance, 1); row <= cell(v1 + tolerance, 1); ++row) {
        for (std::size_t column = cell(u0 - tolerance, 0); column <= cell(u1 + tolerance, 0); ++column) {
          cells_[row * kCells + column].push_back(index);
        }
      }
    }
  }

  std::set<std::uint32_t> charts_at(UV p) const {
    std::set<std::uint32_t> charts;
    for (std::uint32_t index : cells_[cell(p[1], 1) * kCells + cell(p[0], 0)]) {
      Triangle const& triangle = triangles_[index];
      if (charts.count(triangle.chart) == 0 &&
          squared_distance_to_triangle(p, triangle.corners) <= tolerance_ * tolerance_) {
        charts.insert(triangle.chart);
      }
    }
    return charts;
  }

 private:
  static constexpr std::size_t kCells = 256;

  struct Triangle {
    std::uint32_t chart;
    std::array<UV, 3> corners;
  };

  std::size_t cell(double value, std::size_t axis) const {
    double const span = high_[axis] - low_[axis];
    double const place = span > 0 ? (value - low_[axis]) / span * static_cast<double>(kCells) : 0;
    return static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(kCells - 1)));
  }

  double tolerance_;
  std::vector<Triangle> triangles_;
  UV low_{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
  UV high_{-std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  std::vector<std::vector<std::uint32_t>> cells_;
};

engine::TriangleBvh bvh_of(ObjText const& mesh) {
  std::vector<std::uint32_t> corners;
  for (Triple const& face : mesh.faces) corners.insert(corners.end(), face.begin(), face.end());
  return {mesh.positions, corners};
}

// Points on a triangular grid over each face: the corners among them.
double largest_distance(engine::TriangleBvh const& from, engine::TriangleBvh const& to) {
  constexpr int kParts = 4;
  double largest = 0;
  std::uint32_t hint = engine::TriangleBvh::kNoSlot;
  for (std::uint32_t slot = 0; slot < from.size(); ++slot) {
    engine::Vec const a = from.corner(slot, 0);
    engine::Vec const b = from.corner(slot, 1);
    engine::Vec const c = from.corner(slot, 2);
    for (int i = 0; i <= kParts; ++i) {
      for (int j = 0; i + j <= kParts; ++j) {
        double const s = static_cast<double>(i) / kParts;
        double const t = static_cast<double>(j) / kParts;
        auto const mix = [s, t](double p, double q, double r) { return p + s * (q - p) + t * (r - p); };
        auto const nearest = to.nearest({mix(a.x, b.x, c.x), mix(a.y, b.y, c.y), mix(a.z, b.z, c.z)},
                                        std::numeric_limits<double>::infinity(), 0, hint);
        hint = nearest.slot;
        largest = std::max(largest, nearest.distance);
      }
    }
  }
  return largest;
}

}  // namespace

Topology topology_of(ObjText const& mesh) {
  Topology topology;
  std::vector<Triple> faces = sound_faces(mesh);
  topology.degenerate_faces = mesh.faces.size() - faces.size();

  for_each_run(face_edges(faces), [&topology](Edge, std::size_t count) {
    if (count == 1) ++topology.boundary_edges;
    if (count >= 3) ++topology.non_manifold_edges;
  });

  std::vector<std::uint32_t> used;
  UnionFind components(mesh.positions.size() / 3);
  for (Triple const& face : faces) {
    components.join(face[0], face[1]);
    components.join(face[1], face[2]);
  }
  for (Triple const& face : faces) used.push_back(components.root(face[0]));
  std::sort(used.begin(), used.end());
  topology.components = static_cast<std::size_t>(std::unique(used.begin(), used.end()) - used.begin());

  for (Triple& face : faces) std::rotate(face.begin(), std::min_element(face.begin(), face.end()), face.end());
  std::sort(faces.begin(), faces.end());
  topology.duplicate_faces = static_cast<std::size_t>(faces.end() - std::unique(faces.begin(), faces.end()));
  return topology;
}

std::size_t strange_boundary_positions(ObjText const& mesh, ObjText const& original) {
  std::set<Point> const known = boundary_positions(original);
  std::set<Point> const found = boundary_positions(mesh);
  return static_cast<std::size_t>(
      std::count_if(found.begin(), found.end(), [&known](Point const& point) { return known.count(point) == 0; }));
}

std::size_t chart_count(ObjText const& mesh) {
  std::vector<std::uint32_t> const charts = charts_of(mesh);
  std::set<std::uint32_t> distinct;
  for (std::uint32_t face = 0; face < charts.size(); ++face) {
    if (has_uvs(mesh.face_uvs[face])) distinct.insert(charts[face]);
  }
  return distinct.size();
}

std::size_t faces_across_charts(ObjText const& mesh, ObjText const& original, double tolerance) {
  ChartFinder const finder(original, tolerance);
  std::size_t across = 0;
  for (Triple const& uvs : mesh.face_uvs) {
    if (!has_uvs(uvs)) continue;
    std::set<std::uint32_t> common = finder.charts_at(uv_at(mesh, uvs[0]));
    for (std::size_t k = 1; k < 3; ++k) {
      std::set<std::uint32_t> const here = finder.charts_at(uv_at(mesh, uvs[k]));
      std::erase_if(common, [&here](std::uint32_t chart) { return here.count(chart) == 0; });
    }
    if (common.empty()) ++across;
  }
  return across;
}

double sampled_distance(ObjText const& a, ObjText const& b) {
  engine::TriangleBvh const tree_a = bvh_of(a);
  engine::TriangleBvh const tree_b = bvh_of(b);
  if (tree_a.size() == 0 || tree_b.size() == 0) return std::numeric_limits<double>::infinity();
  return std::max(largest_distance(tree_a, tree_b), largest_distance(tree_b, tree_a));
}

double distance_upper_bound(ObjText const& a, ObjText const& b) {
  engine::TriangleBvh const tree_a = bvh_of(a);
  engine::TriangleBvh const tree_b = bvh_of(b);
  if (tree_a.size() == 0 || tree_b.size() == 0) return std::numeric_limits<double>::infinity();
  return engine::hausdorff_distance(tree_a, tree_b, {.relative_accuracy = 0.02, .max_queries = 20'000'000}).upper();
}

}  // namespace mirel::support
