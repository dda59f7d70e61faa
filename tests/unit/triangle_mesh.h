// A plain triangle mesh and shapes with known distances, for the tests that measure.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

namespace mirel::test {

struct Mesh {
  std::vector<float> positions;
  std::vector<std::uint32_t> faces;

  std::uint32_t point_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
  std::array<float, 3> point(std::uint32_t v) const {
    return {positions[3 * std::size_t{v}], positions[3 * std::size_t{v} + 1], positions[3 * std::size_t{v} + 2]};
  }
  void add_point(double x, double y, double z) {
    for (double const c : {x, y, z}) positions.push_back(static_cast<float>(c));
  }
  void add_face(std::uint32_t a, std::uint32_t b, std::uint32_t c) { faces.insert(faces.end(), {a, b, c}); }
  double diagonal() const {
    double squared = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      double low = positions[k];
      double high = low;
      for (std::size_t i = k; i < positions.size(); i += 3) {
        low = std::min<double>(low, positions[i]);
        high = std::max<double>(high, positions[i]);
      }
      squared += (high - low) * (high - low);
    }
    return std::sqrt(squared);
  }
};

// size x size squares over the unit square, two triangles each; z = height(x, y).
template <typename Height>
Mesh grid(std::uint32_t size, Height height) {
  Mesh mesh;
  for (std::uint32_t j = 0; j <= size; ++j) {
    for (std::uint32_t i = 0; i <= size; ++i) {
      double const x = static_cast<double>(i) / size;
      double const y = static_cast<double>(j) / size;
      mesh.add_point(x, y, height(x, y));
    }
  }
  for (std::uint32_t j = 0; j < size; ++j) {
    for (std::uint32_t i = 0; i < size; ++i) {
      std::uint32_t const v = j * (size + 1) + i;
      mesh.add_face(v, v + 1, v + size + 2);
      mesh.add_face(v, v + size + 2, v + size + 1);
    }
  }
  return mesh;
}

inline Mesh plane(std::uint32_t size, double z) {
  return grid(size, [z](double, double) { return z; });
}

// A square of side 2 from the origin, of two triangles.
inline Mesh square() {
  Mesh mesh;
  for (double const y : {0.0, 2.0}) {
    mesh.add_point(0, y, 0);
    mesh.add_point(2, y, 0);
  }
  mesh.add_face(0, 1, 3);
  mesh.add_face(0, 3, 2);
  return mesh;
}

// Rings of latitude, each with so many sides.
inline Mesh sphere(double radius, std::uint32_t rings, std::uint32_t sides) {
  Mesh mesh;
  mesh.add_point(0, 0, radius);
  for (std::uint32_t j = 1; j < rings; ++j) {
    for (std::uint32_t i = 0; i < sides; ++i) {
      double const theta = std::numbers::pi * j / rings;
      double const phi = 2 * std::numbers::pi * i / sides;
      mesh.add_point(radius * std::sin(theta) * std::cos(phi), radius * std::sin(theta) * std::sin(phi),
                     radius * std::cos(theta));
    }
  }
  mesh.add_point(0, 0, -radius);
  std::uint32_t const last = 1 + (rings - 1) * sides;
  for (std::uint32_t i = 0; i < sides; ++i) {
    std::uint32_t const next = (i + 1) % sides;
    mesh.add_face(0, 1 + i, 1 + next);
    mesh.add_face(last, last - sides + next, last - sides + i);
    for (std::uint32_t j = 0; j + 2 < rings; ++j) {
      std::uint32_t const row = 1 + j * sides;
      mesh.add_face(row + i, row + sides + i, row + sides + next);
      mesh.add_face(row + i, row + sides + next, row + next);
    }
  }
  return mesh;
}

}  // namespace mirel::test
