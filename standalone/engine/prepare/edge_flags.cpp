#include "standalone/engine/prepare/edge_flags.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "standalone/engine/prepare/edges.h"

namespace mirel::engine {
namespace {

constexpr double kCosineOf30Degrees = 0.86602540378443864676;

// visit(group, alike): of each edge, its half-edges; alike: the first two run the same way.
template <class Visit>
void for_each_edge(EdgeFlagInput const& mesh, Visit visit) {
  Edges const edges = find_edges(mesh.faces, mesh.position_of, mesh.position_count);
  edges.for_each([&](std::uint32_t low, std::span<Edges::HalfEdge const> group) {
    auto const rises = [&](std::size_t place) { return mesh.position_of[mesh.faces[group[place].half]] == low; };
    visit(group, group.size() > 1 && rises(0) == rises(1));
  });
}

// differ(a, b): of two corners. What comes back tells of two half-edges whether they differ at either end.
template <class Differ>
auto either_end_differs(Differ differ) {
  return [differ](std::size_t h, std::size_t g, bool alike) {
    std::size_t const g_start = alike ? g : next_corner(g);
    std::size_t const g_end = alike ? next_corner(g) : g;
    return differ(h, g_start) || differ(next_corner(h), g_end);
  };
}

// is_sharp(h, g, alike): of an edge with the half-edges h and g.
template <class IsSharp>
std::vector<unsigned char> make_flags(EdgeFlagInput const& mesh, IsSharp is_sharp) {
  std::vector<unsigned char> flags(mesh.faces.size());
  for_each_edge(mesh, [&](std::span<Edges::HalfEdge const> group, bool alike) {
    unsigned char flag = 0;
    if (group.size() == 1) {
      flag = kBoundaryFlag;
    } else if (group.size() > 2) {
      flag = kSharpFlag;
    } else {
      flag = is_sharp(group[0].half, group[1].half, alike) ? kSharpFlag : 0;
    }
    for (Edges::HalfEdge const& half_edge : group) {
      flags[half_edge.half] = flag;
    }
  });
  return flags;
}

}  // namespace

std::vector<unsigned char> edge_flags_by_normals(EdgeFlagInput const& mesh, float const* normals,
                                                 std::span<std::uint32_t const> places) {
  auto const differ = [normals, places](std::size_t a, std::size_t b) {
    float const* m = normals + std::size_t{places[a]} * 3;
    float const* n = normals + std::size_t{places[b]} * 3;
    return m != n && !std::equal(m, m + 3, n);
  };
  return make_flags(mesh, either_end_differs(differ));
}

std::vector<unsigned char> uv_seams(EdgeFlagInput const& mesh, float const* corner_uvs) {
  auto const differ = [corner_uvs](std::size_t a, std::size_t b) {
    return !std::equal(corner_uvs + a * 2, corner_uvs + a * 2 + 2, corner_uvs + b * 2);
  };
  auto const is_seam = either_end_differs(differ);
  std::vector<unsigned char> seams(mesh.faces.size());
  for_each_edge(mesh, [&](std::span<Edges::HalfEdge const> group, bool alike) {
    if (group.size() == 2 && is_seam(group[0].half, group[1].half, alike)) {
      seams[group[0].half] = seams[group[1].half] = 1;
    }
  });
  return seams;
}

std::vector<unsigned char> edge_flags_by_angle(EdgeFlagInput const& mesh) {
  auto const normal_of = [&mesh](std::size_t half) {
    std::array<std::array<double, 3>, 3> p{};
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const vertex = mesh.faces[half / 3 * 3 + k];
      for (std::size_t i = 0; i < 3; ++i) {
        p[k][i] = mesh.vertices[vertex * 3 + i];
      }
    }
    std::array<double, 3> u{};
    std::array<double, 3> v{};
    for (std::size_t i = 0; i < 3; ++i) {
      u[i] = p[1][i] - p[0][i];
      v[i] = p[2][i] - p[0][i];
    }
    return std::array<double, 3>{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
  };
  auto const dot = [](std::array<double, 3> const& a, std::array<double, 3> const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  return make_flags(mesh, [&](std::size_t h, std::size_t g, bool alike) {
    std::array<double, 3> const m = normal_of(h);
    std::array<double, 3> const n = normal_of(g);
    double const cosine = alike ? -dot(m, n) : dot(m, n);
    return cosine < kCosineOf30Degrees * std::sqrt(dot(m, m)) * std::sqrt(dot(n, n));
  });
}

}  // namespace mirel::engine
