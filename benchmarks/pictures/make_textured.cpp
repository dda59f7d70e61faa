// make_textured NAME MESH TEXTURES: one of the generated meshes with its texture. make_textured --list prints the
// names.
//
//   mirrored  a body whose two halves show the same part of the texture, mirrored at the plane between them
//   welded    a ring whose texture goes round it: where it starts, the vertices of half of the seam are split, and
//             those of the other half are not, so that a strip of faces there shows the texture backwards
//   charts    a rough ball in six charts, cut apart at the edges of a cube
//   cylinder  a finely cut can: normals with creases at its rims, a chart for the wall and one for each lid
//   large     the ring without the weld, with noise: 1,600,000 faces
#include <cmath>
#include <functional>
#include <map>
#include <numbers>

#include "benchmarks/peers/indexed_mesh.h"
#include "benchmarks/pictures/textured_mesh.h"

namespace mirel::pictures {
namespace {

constexpr double kPi = std::numbers::pi;

struct Point {
  double x, y, z;
};

Point operator-(Point a, Point b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Point unit(Point p) {
  double const length = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
  return {p.x / length, p.y / length, p.z / length};
}
Point cross(Point a, Point b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

std::uint32_t add_vertex(TexturedMesh& mesh, Point position, Point normal, double u, double v) {
  auto const add = [](std::vector<float>& to, std::initializer_list<double> values) {
    for (double const value : values) to.push_back(static_cast<float>(value));
  };
  add(mesh.positions, {position.x, position.y, position.z});
  add(mesh.normals, {normal.x, normal.y, normal.z});
  add(mesh.uvs, {u, v});
  return mesh.vertex_count() - 1;
}

// The normal of a surface place(s, t), from two small steps.
template <typename Place>
Point normal_of(Place place, double s, double t) {
  double const step = 1e-4;
  return unit(cross(place(s + step, t) - place(s - step, t), place(s, t + step) - place(s, t - step)));
}

// columns x rows squares over s and t from 0 to 1, with UVs from uv(s, t).
template <typename Place, typename Uv>
void add_grid(TexturedMesh& mesh, std::uint32_t columns, std::uint32_t rows, Place place, Uv uv) {
  std::uint32_t const first = mesh.vertex_count();
  for (std::uint32_t j = 0; j <= rows; ++j) {
    for (std::uint32_t i = 0; i <= columns; ++i) {
      double const s = static_cast<double>(i) / columns;
      double const t = static_cast<double>(j) / rows;
      auto const [u, v] = uv(s, t);
      add_vertex(mesh, place(s, t), normal_of(place, s, t), u, v);
    }
  }
  for (std::uint32_t j = 0; j < rows; ++j) {
    for (std::uint32_t i = 0; i < columns; ++i) {
      std::uint32_t const a = first + j * (columns + 1) + i;
      std::uint32_t const c = a + columns + 1;
      mesh.faces.insert(mesh.faces.end(), {a, a + 1, c + 1, a, c + 1, c});
    }
  }
}

// Positions that close a seam are to be the same to the bit.
void snap(TexturedMesh& mesh) {
  for (float& c : mesh.positions) c = std::round(c * 65536) / 65536;
  mesh.textures.assign(mesh.faces.size() / 3, 0);
}

double ripple(double x, double y, double z) {
  return std::sin(3 * x + 1) * std::sin(4 * y + 2) * std::sin(5 * z) +
         0.35 * std::sin(11 * x + 3 * y) * std::sin(9 * z);
}

// Uses one vertex for all that are alike.
void weld(TexturedMesh& mesh) {
  std::map<std::vector<float>, std::uint32_t> found;
  std::vector<std::uint32_t> first(mesh.vertex_count());
  for (std::uint32_t v = 0; v < mesh.vertex_count(); ++v) {
    std::vector<float> key(mesh.positions.begin() + 3 * v, mesh.positions.begin() + 3 * v + 3);
    // Normals at a closed seam differ by roundings.
    for (std::size_t k = 0; k < 3; ++k) key.push_back(std::round(100 * mesh.normals[3 * std::size_t{v} + k]) + 0.0F);
    key.insert(key.end(), mesh.uvs.begin() + 2 * v, mesh.uvs.begin() + 2 * v + 2);
    first[v] = found.emplace(key, v).first->second;
  }
  for (std::uint32_t& vertex : mesh.faces) vertex = first[vertex];
}

TexturedMesh mirrored() {
  TexturedMesh mesh;
  // Around z; s runs once round, t from one end to the other, and both halves run over u from 0 to 1.
  auto const place = [](double s, double t) {
    double const angle = 2 * kPi * s;
    double const height = 2.4 * (t - 0.5);
    double const r = (0.35 + 0.5 * std::sin(kPi * (0.06 + 0.88 * t))) *
                     (1 + 0.12 * ripple(2 * std::cos(angle), 2 * std::abs(std::sin(angle)), 2 * height));
    return Point{1.3 * r * std::cos(angle), r * std::sin(angle), height};
  };
  add_grid(mesh, 200, 150, place, [](double s, double t) {
    double const u = s < 0.5 ? 2 * s : 2 - 2 * s;
    return std::pair(u, t);
  });
  snap(mesh);
  weld(mesh);
  return mesh;
}

// A ring; s once round the axis, t once round the tube.
auto ring(double roughness) {
  return [roughness](double s, double t) {
    double const a = 2 * kPi * s;
    double const b = 2 * kPi * t;
    Point const p{(1 + 0.4 * std::cos(b)) * std::cos(a), (1 + 0.4 * std::cos(b)) * std::sin(a), 0.4 * std::sin(b)};
    double const r = 0.4 + roughness * ripple(3 * p.x, 3 * p.y, 3 * p.z);
    return Point{(1 + r * std::cos(b)) * std::cos(a), (1 + r * std::cos(b)) * std::sin(a), r * std::sin(b)};
  };
}

TexturedMesh welded() {
  TexturedMesh mesh;
  constexpr std::uint32_t kColumns = 240;
  constexpr std::uint32_t kRows = 100;
  add_grid(mesh, kColumns, kRows, ring(0.05), [](double s, double t) { return std::pair(3 * s, t); });
  // Half of the start's vertices serve both sides.
  for (std::uint32_t& vertex : mesh.faces) {
    std::uint32_t const row = vertex / (kColumns + 1);
    if (vertex % (kColumns + 1) == kColumns && row < kRows / 2) vertex -= kColumns;
  }
  snap(mesh);
  weld(mesh);
  return mesh;
}

TexturedMesh charts() {
  TexturedMesh mesh;
  for (int side = 0; side < 6; ++side) {
    auto const place = [side](double s, double t) {
      double const x = std::tan((s - 0.5) * kPi / 2);
      double const y = std::tan((t - 0.5) * kPi / 2);
      double const z = side % 2 == 0 ? 1 : -1;
      Point const cube = side / 2 == 0 ? Point{z, z * x, y} : side / 2 == 1 ? Point{y, z, z * x} : Point{z * x, y, z};
      Point const p = unit(cube);
      double const r = 1 + 0.09 * ripple(2 * p.x, 2 * p.y, 2 * p.z);
      return Point{r * p.x, r * p.y, r * p.z};
    };
    add_grid(mesh, 70, 70, place, [side](double s, double t) {
      return std::pair((side % 3 + 0.02 + 0.96 * s) / 3, (side / 3 + 0.02 + 0.96 * t) / 2);
    });
  }
  snap(mesh);
  weld(mesh);
  return mesh;
}

TexturedMesh cylinder() {
  TexturedMesh mesh;
  auto const wall = [](double s, double t) { return Point{std::cos(2 * kPi * s), std::sin(2 * kPi * s), 2 * t - 1}; };
  add_grid(mesh, 200, 60, wall, [](double s, double t) { return std::pair(s, t); });
  for (double const end : {1.0, -1.0}) {
    // From the rim to a small hole.
    auto const lid = [end](double s, double t) {
      double const r = 1 - 0.95 * t;
      return Point{r * std::cos(2 * kPi * end * s), r * std::sin(2 * kPi * end * s), end};
    };
    add_grid(mesh, 200, 40, lid, [](double s, double t) {
      double const r = 0.5 * (1 - 0.95 * t);
      return std::pair(0.5 + r * std::cos(2 * kPi * s), 0.5 + r * std::sin(2 * kPi * s));
    });
  }
  snap(mesh);
  weld(mesh);
  return mesh;
}

TexturedMesh large() {
  TexturedMesh mesh;
  add_grid(mesh, 1250, 640, ring(0.06), [](double s, double t) { return std::pair(3 * s, t); });
  snap(mesh);
  weld(mesh);
  return mesh;
}

// Patches of colours with rings and hatching, so that a slide shows in any direction.
Texture pattern() {
  Texture texture;
  texture.width = 512;
  texture.height = 512;
  for (std::uint32_t y = 0; y < texture.height; ++y) {
    for (std::uint32_t x = 0; x < texture.width; ++x) {
      std::uint32_t const cell = x / 64 * 5 + y / 64 * 3;
      double const dx = x % 64 - 31.5;
      double const dy = y % 64 - 31.5;
      bool const ring = std::fmod(std::sqrt(dx * dx + dy * dy), 16) < 6;
      bool const line = (x + 2 * y) % 32 < 4;
      for (std::uint32_t k = 0; k < 3; ++k) {
        double const base = 80 + 150 * std::abs(std::sin(1.7 * cell + 2.1 * k));
        texture.rgb.push_back(static_cast<std::uint8_t>(line ? 20 : ring ? 255 - base / 2 : base));
      }
    }
  }
  return texture;
}

int run(int argc, char** argv) {
  std::map<std::string, std::function<TexturedMesh()>> const models{
      {"mirrored", mirrored}, {"welded", welded}, {"charts", charts}, {"cylinder", cylinder}, {"large", large}};
  if (argc == 2 && std::string(argv[1]) == "--list") {
    for (auto const& [name, make] : models) std::printf("%s\n", name.c_str());
    return 0;
  }
  if (argc != 4 || !models.contains(argv[1])) {
    peers::fail("usage: make_textured NAME MESH TEXTURES, or make_textured --list");
  }
  TexturedMesh mesh = models.at(argv[1])();
  drop_unused_vertices(mesh);
  write_textured_mesh(argv[2], mesh);
  write_textures(argv[3], {pattern()});
  return 0;
}

}  // namespace
}  // namespace mirel::pictures

int main(int argc, char** argv) {
  return mirel::pictures::run(argc, argv);
}
