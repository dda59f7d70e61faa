// make_model NAME OUTPUT: one of the generated meshes. The same bytes on every run (libm's rounding aside): all
// randomness comes from fixed seeds. make_model --list prints the names.
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <random>

#include "benchmarks/peers/indexed_mesh.h"

namespace mirel::peers {
namespace {

constexpr double kPi = std::numbers::pi;

struct Point {
  double x, y, z;
};

// Smooth noise of about unit size: random values on a grid of integers, blended by cubic steps (value noise).
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : seed_(seed) {}

  double at(double x, double y, double z) const {
    double const fx = std::floor(x);
    double const fy = std::floor(y);
    double const fz = std::floor(z);
    double sum = 0;
    for (int corner = 0; corner < 8; ++corner) {
      int const i = corner & 1;
      int const j = corner >> 1 & 1;
      int const k = corner >> 2;
      sum += weight(x - fx, i) * weight(y - fy, j) * weight(z - fz, k) *
             value(static_cast<int>(fx) + i, static_cast<int>(fy) + j, static_cast<int>(fz) + k);
    }
    return sum;
  }
  // Octaves of half the size and half the strength.
  double fractal(double x, double y, double z, int octaves) const {
    double sum = 0;
    double strength = 1;
    double scale = 1;
    for (int octave = 0; octave < octaves; ++octave) {
      sum += strength * at(scale * x + 17.3 * octave, scale * y, scale * z);
      strength *= 0.5;
      scale *= 2;
    }
    return sum;
  }

 private:
  static double weight(double t, int side) {
    double const s = t * t * (3 - 2 * t);
    return side == 1 ? s : 1 - s;
  }
  double value(int x, int y, int z) const {
    std::uint32_t h = seed_;
    for (int const c : {x, y, z}) {
      h ^= static_cast<std::uint32_t>(c);
      h *= 0x9E3779B1U;
      h ^= h >> 15U;
    }
    h *= 0x85EBCA77U;
    h ^= h >> 13U;
    return static_cast<double>(h) / 2147483648.0 - 1;
  }

  std::uint32_t seed_;
};

// columns x rows squares; wraps where asked. place(u, v) with u and v from 0 to 1.
template <typename Place>
void add_grid(IndexedMesh& mesh, std::uint32_t columns, std::uint32_t rows, bool wrap_u, bool wrap_v, Place place) {
  std::uint32_t const first = mesh.vertex_count();
  std::uint32_t const width = columns + (wrap_u ? 0 : 1);
  std::uint32_t const height = rows + (wrap_v ? 0 : 1);
  for (std::uint32_t j = 0; j < height; ++j) {
    for (std::uint32_t i = 0; i < width; ++i) {
      Point const p = place(static_cast<double>(i) / columns, static_cast<double>(j) / rows);
      mesh.add_vertex(p.x, p.y, p.z);
    }
  }
  for (std::uint32_t j = 0; j < rows; ++j) {
    for (std::uint32_t i = 0; i < columns; ++i) {
      std::uint32_t const a = first + j * width + i;
      std::uint32_t const b = first + j * width + (i + 1) % width;
      std::uint32_t const c = first + (j + 1) % height * width + i;
      std::uint32_t const d = first + (j + 1) % height * width + (i + 1) % width;
      mesh.add_face(a, b, d);
      mesh.add_face(a, d, c);
    }
  }
}

// A sphere cut into sides x (sides / 2) cells, with single vertices at the poles; place() moves the unit vector.
template <typename Place>
void add_sphere(IndexedMesh& mesh, std::uint32_t sides, bool inside_out, Place place) {
  std::uint32_t const first = mesh.vertex_count();
  std::uint32_t const rings = sides / 2;
  auto const add = [&](double theta, double phi) {
    Point const p = place(Point{std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)});
    mesh.add_vertex(p.x, p.y, p.z);
  };
  auto const face = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    inside_out ? mesh.add_face(a, c, b) : mesh.add_face(a, b, c);
  };
  add(0, 0);
  for (std::uint32_t j = 1; j < rings; ++j) {
    for (std::uint32_t i = 0; i < sides; ++i) add(kPi * j / rings, 2 * kPi * i / sides);
  }
  add(kPi, 0);
  std::uint32_t const last = first + 1 + (rings - 1) * sides;
  for (std::uint32_t i = 0; i < sides; ++i) {
    std::uint32_t const next = (i + 1) % sides;
    face(first, first + 1 + i, first + 1 + next);
    face(last, last - sides + next, last - sides + i);
    for (std::uint32_t j = 0; j + 2 < rings; ++j) {
      std::uint32_t const row = first + 1 + j * sides;
      face(row + i, row + sides + i, row + sides + next);
      face(row + i, row + sides + next, row + next);
    }
  }
}

// A closed sphere with rough noise: 99,224 faces.
IndexedMesh noise_sphere() {
  IndexedMesh mesh;
  Noise const noise(11);
  add_sphere(mesh, 316, false, [&](Point p) {
    double const r = 1 + 0.12 * noise.fractal(3 * p.x + 9, 3 * p.y + 9, 3 * p.z + 9, 6);
    return Point{r * p.x, r * p.y, r * p.z};
  });
  return mesh;
}

// An open height field: 125,000 faces.
IndexedMesh terrain() {
  IndexedMesh mesh;
  Noise const noise(23);
  add_grid(mesh, 250, 250, false, false, [&](double u, double v) {
    double const ridges = 1 - std::fabs(noise.fractal(5 * u, 5 * v, 0.5, 7));
    return Point{10 * u, 10 * v, 1.2 * ridges * ridges};
  });
  return mesh;
}

// The border of a gear, drawn in polar coordinates: flat tooth tops and bottoms, slopes between them.
double gear_radius(double turn) {
  double const tooth = 12 * turn - std::floor(12 * turn);
  double const slope = 0.08;
  double const rise = std::clamp((tooth - 0.25 + slope / 2) / slope, 0.0, 1.0);
  double const fall = std::clamp((tooth - 0.75 + slope / 2) / slope, 0.0, 1.0);
  return 1 + 0.2 * (rise - fall);
}

// A gear wheel with a bore, its flat sides joined to its border by fillets, and a box with rounded edges and corners:
// 99,648 faces, most of them on planes.
IndexedMesh cad() {
  IndexedMesh mesh;
  // Across the border: up the inner wall, over the flat top, round the fillet, down the outer wall, and back below.
  double const fillet = 0.06;
  double const half = 0.3;
  std::vector<Point> profile;  // x: place between the bore (0) and the border (1), y: height, z: inset of the fillet
  int const walls = 6;
  int const tops = 14;
  int const arcs = 8;
  for (int i = 0; i < walls; ++i) profile.push_back({0, -half + 2 * half * i / walls, 0});
  for (int i = 0; i < tops; ++i) profile.push_back({static_cast<double>(i) / tops, half, fillet * i / tops});
  for (int i = 0; i < arcs; ++i) {
    double const a = kPi / 2 * i / arcs;
    profile.push_back({1, half - fillet * (1 - std::cos(a)), fillet * (1 - std::sin(a))});
  }
  for (int i = 0; i < walls; ++i) profile.push_back({1, (half - fillet) * (1 - 2.0 * i / walls), 0});
  for (int i = 0; i < arcs; ++i) {
    double const a = kPi / 2 * i / arcs;
    profile.push_back({1, -half + fillet * (1 - std::sin(a)), fillet * (1 - std::cos(a))});
  }
  for (int i = 0; i < tops; ++i) {
    profile.push_back({1 - static_cast<double>(i) / tops, -half, fillet * (1 - static_cast<double>(i) / tops)});
  }
  auto const count = static_cast<std::uint32_t>(profile.size());
  add_grid(mesh, 600, count, true, true, [&](double u, double v) {
    Point const& at = profile[static_cast<std::size_t>(std::lround(v * count)) % count];
    double const r = 0.35 + at.x * (gear_radius(u) - 0.35) - at.z;
    return Point{r * std::cos(2 * kPi * u), -r * std::sin(2 * kPi * u), at.y};
  });
  // A cube's surface in cells, each point pushed out of an inner box: planes, quarter cylinders, eighths of spheres.
  std::uint32_t const cells = 52;
  double const radius = 0.1;
  Point const inner{0.5, 0.35, 0.2};
  std::map<std::array<std::uint32_t, 3>, std::uint32_t> numbers;
  auto const vertex = [&](std::array<std::uint32_t, 3> const& cell) {
    auto const [entry, is_new] = numbers.try_emplace(cell, mesh.vertex_count());
    if (is_new) {
      std::array<double, 3> core{};
      std::array<double, 3> out{};
      std::array<double, 3> const extents{inner.x, inner.y, inner.z};
      double length = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        // The outer fifth of the cells on each side is bent.
        double const t = 2.0 * cell[k] / cells - 1;
        double const flat = 0.6;
        core[k] = extents[k] * std::clamp(t / flat, -1.0, 1.0);
        double const bend = std::clamp((std::fabs(t) - flat) / (1 - flat), 0.0, 1.0);
        out[k] = std::copysign(std::tan(kPi / 4 * bend), t);
        length += out[k] * out[k];
      }
      length = std::sqrt(length);
      mesh.add_vertex(2.2 + core[0] + radius * out[0] / length, core[1] + radius * out[1] / length,
                      core[2] + radius * out[2] / length);
    }
    return entry->second;
  };
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (std::uint32_t side = 0; side < 2; ++side) {
      for (std::uint32_t j = 0; j < cells; ++j) {
        for (std::uint32_t i = 0; i < cells; ++i) {
          auto const at = [&](std::uint32_t u, std::uint32_t v) {
            std::array<std::uint32_t, 3> cell{};
            cell[axis] = side * cells;
            cell[(axis + 1) % 3] = u;
            cell[(axis + 2) % 3] = v;
            return vertex(cell);
          };
          std::array<std::uint32_t, 4> q{at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)};
          if (side == 0) std::swap(q[1], q[3]);
          mesh.add_face(q[0], q[1], q[2]);
          mesh.add_face(q[0], q[2], q[3]);
        }
      }
    }
  }
  return mesh;
}

// Two wavy surfaces close to each other: a hollow ball 0.01 thick, and an open double sheet 0.004 apart. 71,296 faces.
IndexedMesh thin_shells() {
  IndexedMesh mesh;
  Noise const noise(37);
  for (double const r : {1.0, 0.99}) {
    add_sphere(mesh, 160, r < 1, [&](Point p) {
      double const wave = r + 0.05 * noise.fractal(2 * p.x + 5, 2 * p.y + 5, 2 * p.z + 5, 3);
      return Point{wave * p.x, wave * p.y, wave * p.z};
    });
  }
  for (double const z : {0.0, 0.004}) {
    add_grid(mesh, 72, 72, false, false, [&](double u, double v) {
      double const wave = 0.15 * noise.fractal(3 * u, 3 * v, 7, 3);
      return Point{1.3 + 2 * u, 2 * v - 1, z + wave};
    });
  }
  return mesh;
}

// 120 small closed bodies of different sizes, strewn in a cube: 97,920 faces.
IndexedMesh components() {
  IndexedMesh mesh;
  std::mt19937 random(5);
  auto const uniform = [&] { return static_cast<double>(random()) / 4294967296.0; };
  Noise const noise(41);
  for (std::uint32_t i = 0; i < 120; ++i) {
    Point const centre{10 * uniform(), 10 * uniform(), 10 * uniform()};
    double const size = 0.2 + 0.5 * uniform();
    double const shift = 50 * uniform();
    Point const stretch{0.6 + 0.8 * uniform(), 0.6 + 0.8 * uniform(), 0.6 + 0.8 * uniform()};
    add_sphere(mesh, 20 + 2 * (i % 10), false, [&](Point p) {
      double const r = size * (1 + 0.25 * noise.fractal(2 * p.x + shift, 2 * p.y + 3, 2 * p.z + 3, 3));
      return Point{centre.x + r * stretch.x * p.x, centre.y + r * stretch.y * p.y, centre.z + r * stretch.z * p.z};
    });
  }
  return mesh;
}

// A closed torus with noise of many sizes: 1,600,000 faces.
IndexedMesh large() {
  IndexedMesh mesh;
  Noise const noise(59);
  add_grid(mesh, 1250, 640, true, true, [&](double u, double v) {
    double const a = 2 * kPi * u;
    double const b = 2 * kPi * v;
    Point const p{(1 + 0.4 * std::cos(b)) * std::cos(a), (1 + 0.4 * std::cos(b)) * std::sin(a), 0.4 * std::sin(b)};
    double const r = 0.4 + 0.06 * noise.fractal(4 * p.x + 8, 4 * p.y + 8, 4 * p.z + 8, 7);
    return Point{(1 + r * std::cos(b)) * std::cos(a), (1 + r * std::cos(b)) * std::sin(a), r * std::sin(b)};
  });
  return mesh;
}

int run(int argc, char** argv) {
  std::map<std::string, std::function<IndexedMesh()>> const models{
      {"noise-sphere", noise_sphere}, {"terrain", terrain},       {"cad", cad},
      {"thin-shells", thin_shells},   {"components", components}, {"large", large}};
  if (argc == 2 && std::string(argv[1]) == "--list") {
    for (auto const& [name, make] : models) std::printf("%s\n", name.c_str());
    return 0;
  }
  if (argc != 3 || !models.contains(argv[1])) fail("usage: make_model NAME OUTPUT, or make_model --list");
  write_mesh(argv[2], models.at(argv[1])());
  return 0;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run(argc, argv);
}
