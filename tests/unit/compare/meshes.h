// Meshes with known distances, and handles that free themselves.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <vector>

#include "standalone/compare/mirel_compare.h"

namespace mirel::compare::test {

struct Mesh {
  std::vector<float> positions;
  std::vector<std::uint32_t> faces;

  void add_point(double x, double y, double z) {
    for (double const c : {x, y, z}) positions.push_back(static_cast<float>(c));
  }
  void add_face(std::uint32_t a, std::uint32_t b, std::uint32_t c) { faces.insert(faces.end(), {a, b, c}); }
  std::uint32_t point_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
  std::uint32_t face_count() const { return static_cast<std::uint32_t>(faces.size() / 3); }
};

struct Free {
  void operator()(MirelCompareMesh* mesh) const { mirel_compare_mesh_free(mesh); }
};
using Handle = std::unique_ptr<MirelCompareMesh, Free>;

inline Handle handle(Mesh const& mesh) {
  MirelCompareMesh* made = nullptr;
  EXPECT_EQ(mirel_compare_mesh_create(mesh.positions.data(), mesh.point_count(), mesh.faces.data(), mesh.face_count(),
                                      &made, nullptr),
            kMirelCompareOk);
  return Handle(made);
}

inline MirelCompareOptions options(std::uint64_t samples, double exact_accuracy = 0, std::uint32_t threads = 1) {
  MirelCompareOptions result;
  mirel_compare_default_options(&result);
  result.samples = samples;
  result.exact_accuracy = exact_accuracy;
  result.threads = threads;
  return result;
}

inline MirelCompareResult compared(Mesh const& a, Mesh const& b, MirelCompareOptions const& options) {
  MirelCompareResult result{};
  EXPECT_EQ(mirel_compare_meshes(handle(a).get(), handle(b).get(), &options, &result), kMirelCompareOk);
  return result;
}

// size x size squares over the unit square at a height.
inline Mesh plane(std::uint32_t size, double z) {
  Mesh mesh;
  for (std::uint32_t j = 0; j <= size; ++j) {
    for (std::uint32_t i = 0; i <= size; ++i) {
      mesh.add_point(static_cast<double>(i) / size, static_cast<double>(j) / size, z);
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

// A cube of side 1 with one corner at (x, y, z).
inline Mesh cube(double x = 0, double y = 0, double z = 0) {
  Mesh mesh;
  for (int i = 0; i < 8; ++i) mesh.add_point(x + (i & 1), y + ((i >> 1) & 1), z + ((i >> 2) & 1));
  for (auto const& [a, b, c, d] :
       {std::array{0U, 2U, 3U, 1U}, std::array{4U, 5U, 7U, 6U}, std::array{0U, 1U, 5U, 4U}, std::array{2U, 6U, 7U, 3U},
        std::array{0U, 4U, 6U, 2U}, std::array{1U, 3U, 7U, 5U}}) {
    mesh.add_face(a, b, c);
    mesh.add_face(a, c, d);
  }
  return mesh;
}

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

}  // namespace mirel::compare::test
