#include "tests/unit/ladder/zoo.h"

#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <set>

namespace mirel::test {

namespace {

using Triangles = std::vector<std::uint32_t>;

// The same numbers on every machine.
struct Random {
  std::uint32_t state;
  std::uint32_t next() {
    state = state * 1664525U + 1013904223U;
    return state >> 8;
  }
  float unit() { return static_cast<float>(next() % 65536) / 65536.0F; }
};

struct Builder {
  std::vector<float> positions;
  Triangles triangles;
  std::uint32_t vertex(double x, double y, double z) {
    for (double const k : {x, y, z}) positions.push_back(static_cast<float>(k));
    return static_cast<std::uint32_t>(positions.size() / 3 - 1);
  }
  void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) { triangles.insert(triangles.end(), {a, b, c}); }
  void quad(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    triangle(a, b, c);
    triangle(a, c, d);
  }
  WedgeMesh mesh() const { return from_triangles(positions, triangles); }
};

void add_sphere(Builder& builder, std::uint32_t rings, std::uint32_t segments, double cx, double cy, double cz,
                double radius) {
  double const pi = std::numbers::pi;
  std::uint32_t const north = builder.vertex(cx, cy, cz + radius);
  std::vector<std::uint32_t> previous(segments, north);
  for (std::uint32_t r = 1; r <= rings; ++r) {
    std::vector<std::uint32_t> ring(segments);
    double const polar = pi * r / (rings + 1);
    for (std::uint32_t s = 0; s < segments; ++s) {
      double const angle = 2 * pi * s / segments;
      ring[s] = builder.vertex(cx + radius * std::sin(polar) * std::cos(angle),
                               cy + radius * std::sin(polar) * std::sin(angle), cz + radius * std::cos(polar));
    }
    for (std::uint32_t s = 0; s < segments; ++s) {
      std::uint32_t const t = (s + 1) % segments;
      if (r == 1) {
        builder.triangle(north, ring[s], ring[t]);
      } else {
        builder.quad(previous[s], ring[s], ring[t], previous[t]);
      }
    }
    previous = ring;
  }
  std::uint32_t const south = builder.vertex(cx, cy, cz - radius);
  for (std::uint32_t s = 0; s < segments; ++s) builder.triangle(previous[s], south, previous[(s + 1) % segments]);
}

WedgeMesh grid(std::uint32_t cells, auto&& height) {
  Builder builder;
  for (std::uint32_t y = 0; y <= cells; ++y) {
    for (std::uint32_t x = 0; x <= cells; ++x) builder.vertex(double(x) / cells, double(y) / cells, height(x, y));
  }
  for (std::uint32_t y = 0; y < cells; ++y) {
    for (std::uint32_t x = 0; x < cells; ++x) {
      std::uint32_t const a = y * (cells + 1) + x;
      builder.quad(a, a + 1, a + cells + 2, a + cells + 1);
    }
  }
  return builder.mesh();
}

}  // namespace

WedgeMesh from_triangles(std::vector<float> const& positions, Triangles const& triangles) {
  WedgeMesh mesh;
  std::map<std::array<float, 3>, std::uint32_t> numbers;
  std::set<std::array<std::uint32_t, 3>> seen;
  for (std::size_t t = 0; t < triangles.size(); t += 3) {
    std::array<std::array<float, 3>, 3> corners;
    for (std::size_t k = 0; k < 3; ++k) {
      float const* const p = positions.data() + std::size_t{3} * triangles[t + k];
      corners[k] = {p[0], p[1], p[2]};
    }
    if (corners[0] == corners[1] || corners[1] == corners[2] || corners[2] == corners[0]) continue;
    std::array<std::uint32_t, 3> face;
    for (std::size_t k = 0; k < 3; ++k) {
      face[k] = numbers.emplace(corners[k], static_cast<std::uint32_t>(numbers.size())).first->second;
    }
    auto rotated = face;
    while (rotated[0] > rotated[1] || rotated[0] > rotated[2]) rotated = {rotated[1], rotated[2], rotated[0]};
    if (!seen.insert(rotated).second) continue;
    mesh.faces.insert(mesh.faces.end(), face.begin(), face.end());
  }
  // A repeated face may have numbered positions that nothing else uses.
  std::vector<std::uint32_t> renumbered(numbers.size(), engine::kNone);
  std::uint32_t count = 0;
  for (std::uint32_t& corner : mesh.faces) {
    if (renumbered[corner] == engine::kNone) renumbered[corner] = count++;
    corner = renumbered[corner];
  }
  mesh.vertices.resize(std::size_t{3} * count);
  for (auto const& [point, number] : numbers) {
    if (renumbered[number] == engine::kNone) continue;
    for (std::size_t k = 0; k < 3; ++k) mesh.vertices[std::size_t{3} * renumbered[number] + k] = point[k];
  }
  mesh.position_count = count;
  for (std::uint32_t i = 0; i < count; ++i) mesh.position_of.push_back(i);
  mesh.set_begin = {0, mesh.face_count()};
  return mesh;
}

WedgeMesh sphere(std::uint32_t rings, std::uint32_t segments) {
  Builder builder;
  add_sphere(builder, rings, segments, 0, 0, 0, 1);
  return builder.mesh();
}

WedgeMesh plane(std::uint32_t cells) {
  return grid(cells, [](std::uint32_t, std::uint32_t) { return 0.0; });
}

WedgeMesh terrain(std::uint32_t cells, std::uint32_t seed) {
  Random random{seed};
  return grid(cells, [&random](std::uint32_t x, std::uint32_t y) {
    return 0.1 * std::sin(0.5 * x) * std::cos(0.4 * y) + 0.02 * double{random.unit()};
  });
}

WedgeMesh torus(std::uint32_t rings, std::uint32_t segments) {
  Builder builder;
  double const pi = std::numbers::pi;
  for (std::uint32_t r = 0; r < rings; ++r) {
    for (std::uint32_t s = 0; s < segments; ++s) {
      double const u = 2 * pi * r / rings;
      double const v = 2 * pi * s / segments;
      builder.vertex((2 + std::cos(v)) * std::cos(u), (2 + std::cos(v)) * std::sin(u), std::sin(v));
    }
  }
  for (std::uint32_t r = 0; r < rings; ++r) {
    for (std::uint32_t s = 0; s < segments; ++s) {
      auto const at = [&](std::uint32_t i, std::uint32_t k) { return i % rings * segments + k % segments; };
      builder.quad(at(r, s), at(r + 1, s), at(r + 1, s + 1), at(r, s + 1));
    }
  }
  return builder.mesh();
}

WedgeMesh cube(std::uint32_t cells) {
  Builder builder;
  for (int axis = 0; axis < 3; ++axis) {
    for (int side = 0; side < 2; ++side) {
      auto const point = [&](std::uint32_t x, std::uint32_t y) {
        double p[3];
        p[axis] = side;
        p[(axis + 1) % 3] = double(x) / cells;
        p[(axis + 2) % 3] = double(y) / cells;
        return builder.vertex(p[0], p[1], p[2]);
      };
      for (std::uint32_t y = 0; y < cells; ++y) {
        for (std::uint32_t x = 0; x < cells; ++x) {
          std::uint32_t const a = point(x, y), b = point(x + 1, y), c = point(x + 1, y + 1), d = point(x, y + 1);
          side == 1 ? builder.quad(a, b, c, d) : builder.quad(a, d, c, b);
        }
      }
    }
  }
  return builder.mesh();
}

WedgeMesh open_cylinder(std::uint32_t rings, std::uint32_t segments) {
  Builder builder;
  for (std::uint32_t r = 0; r <= rings; ++r) {
    for (std::uint32_t s = 0; s < segments; ++s) {
      double const angle = 2 * std::numbers::pi * s / segments;
      builder.vertex(std::cos(angle), std::sin(angle), 2.0 * r / rings);
    }
  }
  for (std::uint32_t r = 0; r < rings; ++r) {
    for (std::uint32_t s = 0; s < segments; ++s) {
      std::uint32_t const t = (s + 1) % segments;
      builder.quad(r * segments + s, r * segments + t, (r + 1) * segments + t, (r + 1) * segments + s);
    }
  }
  return builder.mesh();
}

WedgeMesh many_components(std::uint32_t count) {
  Builder builder;
  for (std::uint32_t i = 0; i < count; ++i) {
    add_sphere(builder, 4, 6, 3.0 * (i % 8), 3.0 * (i / 8 % 8), 3.0 * (i / 64), 0.5 + 0.1 * (i % 5));
  }
  return builder.mesh();
}

WedgeMesh fan_of_sheets(std::uint32_t sheets, std::uint32_t cells) {
  Builder builder;
  for (std::uint32_t i = 0; i < sheets; ++i) {
    double const angle = std::numbers::pi * i / sheets;
    auto const point = [&](std::uint32_t x, std::uint32_t y) {
      double const r = double(x) / cells;
      return builder.vertex(r * std::cos(angle), r * std::sin(angle), double(y) / cells);
    };
    for (std::uint32_t y = 0; y < cells; ++y) {
      for (std::uint32_t x = 0; x < cells; ++x) {
        builder.quad(point(x, y), point(x + 1, y), point(x + 1, y + 1), point(x, y + 1));
      }
    }
  }
  return builder.mesh();
}

WedgeMesh touching_spheres() {
  Builder builder;
  add_sphere(builder, 6, 8, 0, 0, 1, 1);
  add_sphere(builder, 6, 8, 0, 0, -1, 1);
  return builder.mesh();
}

WedgeMesh back_to_back() {
  Builder builder;
  add_sphere(builder, 6, 8, 0, 0, 0, 1);
  Triangles const outside = builder.triangles;
  for (std::size_t t = 0; t < outside.size(); t += 3) builder.triangle(outside[t], outside[t + 2], outside[t + 1]);
  return builder.mesh();
}

WedgeMesh soup(std::uint32_t vertices, std::uint32_t triangles, std::uint32_t seed) {
  Random random{seed};
  Builder builder;
  for (std::uint32_t i = 0; i < vertices; ++i) {
    float const x = random.unit(), y = random.unit(), z = random.unit();
    builder.vertex(x, y, z);
  }
  for (std::uint32_t i = 0; i < triangles; ++i) {
    std::uint32_t const a = random.next() % vertices, b = random.next() % vertices, c = random.next() % vertices;
    builder.triangle(a, b, c);
  }
  return builder.mesh();
}

WedgeMesh with_flat_face() {
  Builder builder;
  std::uint32_t const a = builder.vertex(0, 0, 0), b = builder.vertex(2, 0, 0), c = builder.vertex(2, 2, 0);
  std::uint32_t const d = builder.vertex(0, 2, 0), m = builder.vertex(1, 0, 0), e = builder.vertex(1, -2, 0.5);
  builder.triangle(a, b, c);
  builder.triangle(a, c, d);
  builder.triangle(a, m, b);  // collinear
  builder.triangle(a, e, m);
  builder.triangle(m, e, b);
  return builder.mesh();
}

WedgeMesh textured_sphere(std::uint32_t rings, std::uint32_t segments) {
  WedgeMesh mesh;
  std::map<std::array<float, 3>, std::uint32_t> positions;
  double const pi = std::numbers::pi;
  auto const vertex = [&](std::uint32_t r, std::uint32_t s, double u) {
    double const polar = pi * r / rings;
    double const angle = 2 * pi * (s % segments) / segments;
    bool const pole = r == 0 || r == rings;
    std::array<float, 3> const p = {pole ? 0.0F : static_cast<float>(std::sin(polar) * std::cos(angle)),
                                    pole ? 0.0F : static_cast<float>(std::sin(polar) * std::sin(angle)),
                                    static_cast<float>(std::cos(polar))};
    float const v = static_cast<float>(r) / static_cast<float>(rings);
    for (std::uint32_t w = 0; w < mesh.vertex_count(); ++w) {
      if (mesh.vertices[3 * w] == p[0] && mesh.vertices[3 * w + 1] == p[1] && mesh.vertices[3 * w + 2] == p[2] &&
          mesh.uvs[2 * w] == static_cast<float>(u) && mesh.uvs[2 * w + 1] == v) {
        return w;
      }
    }
    mesh.vertices.insert(mesh.vertices.end(), p.begin(), p.end());
    mesh.normals.insert(mesh.normals.end(), p.begin(), p.end());
    mesh.uvs.insert(mesh.uvs.end(), {static_cast<float>(u), v});
    mesh.position_of.push_back(positions.emplace(p, static_cast<std::uint32_t>(positions.size())).first->second);
    return mesh.vertex_count() - 1;
  };
  mesh.set_begin = {0};
  for (std::uint32_t r = 0; r < rings; ++r) {
    if (r == rings / 2) mesh.set_begin.push_back(mesh.face_count());
    for (std::uint32_t s = 0; s < segments; ++s) {
      double const u0 = double(s) / segments;
      double const u1 = double(s + 1) / segments;
      double const middle = (u0 + u1) / 2;
      std::uint32_t const a = vertex(r, s, r == 0 ? middle : u0);
      std::uint32_t const b = vertex(r + 1, s, r + 1 == rings ? middle : u0);
      if (r + 1 < rings) {
        std::uint32_t const c = vertex(r + 1, s + 1, u1);
        mesh.faces.insert(mesh.faces.end(), {a, b, c});
        if (r > 0) {
          std::uint32_t const d = vertex(r, s + 1, u1);
          mesh.faces.insert(mesh.faces.end(), {a, c, d});
        }
      } else {
        std::uint32_t const d = vertex(r, s + 1, u1);
        mesh.faces.insert(mesh.faces.end(), {a, b, d});
      }
    }
  }
  mesh.set_begin.push_back(mesh.face_count());
  mesh.position_count = static_cast<std::uint32_t>(positions.size());
  return mesh;
}

WedgeMesh charted_cube(std::uint32_t cells) {
  WedgeMesh mesh;
  std::map<std::array<float, 3>, std::uint32_t> positions;
  mesh.set_begin = {0};
  for (int axis = 0; axis < 3; ++axis) {
    for (int side = 0; side < 2; ++side) {
      std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> local;
      auto const vertex = [&](std::uint32_t x, std::uint32_t y) {
        auto const [found, added] = local.emplace(std::pair{x, y}, mesh.vertex_count());
        if (added) {
          std::array<float, 3> p{};
          auto const at = [](int k) { return static_cast<std::size_t>(k % 3); };
          p[at(axis)] = static_cast<float>(side);
          p[at(axis + 1)] = static_cast<float>(x) / static_cast<float>(cells);
          p[at(axis + 2)] = static_cast<float>(y) / static_cast<float>(cells);
          mesh.vertices.insert(mesh.vertices.end(), p.begin(), p.end());
          std::array<float, 3> n{};
          n[at(axis)] = side == 1 ? 1.0F : -1.0F;
          mesh.normals.insert(mesh.normals.end(), n.begin(), n.end());
          // A chart to the cell of a three by two atlas.
          mesh.uvs.push_back((static_cast<float>(axis) + 0.1F + 0.8F * p[at(axis + 1)]) / 3);
          mesh.uvs.push_back((static_cast<float>(side) + 0.1F + 0.8F * p[at(axis + 2)]) / 2);
          mesh.position_of.push_back(positions.emplace(p, static_cast<std::uint32_t>(positions.size())).first->second);
        }
        return found->second;
      };
      for (std::uint32_t y = 0; y < cells; ++y) {
        for (std::uint32_t x = 0; x < cells; ++x) {
          std::uint32_t const a = vertex(x, y), b = vertex(x + 1, y), c = vertex(x + 1, y + 1), d = vertex(x, y + 1);
          if (side == 1) {
            mesh.faces.insert(mesh.faces.end(), {a, b, c, a, c, d});
          } else {
            mesh.faces.insert(mesh.faces.end(), {a, c, b, a, d, c});
          }
        }
      }
    }
  }
  mesh.set_begin.push_back(mesh.face_count());
  mesh.position_count = static_cast<std::uint32_t>(positions.size());
  return mesh;
}

std::vector<Animal> zoo() {
  return {
      {"sphere", sphere(12, 16)},
      {"plane", plane(12)},
      {"terrain", terrain(16, 7)},
      {"torus", torus(16, 12)},
      {"cube", cube(6)},
      {"open cylinder", open_cylinder(8, 12)},
      {"many components", many_components(20)},
      {"fan of sheets", fan_of_sheets(5, 6)},
      {"touching spheres", touching_spheres()},
      {"back to back", back_to_back()},
      {"soup", soup(30, 120, 1)},
      {"dense soup", soup(12, 200, 2)},
      {"thin soup", soup(200, 150, 3)},
      {"flat face", with_flat_face()},
      {"textured sphere", textured_sphere(12, 16)},
      {"charted cube", charted_cube(6)},
  };
}

}  // namespace mirel::test
