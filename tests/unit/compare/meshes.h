// Meshes with known distances, and handles that free themselves.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>

#include "standalone/compare/mirel_compare.h"
#include "tests/unit/triangle_mesh.h"

namespace mirel::compare::test {

using mirel::test::Mesh;
using mirel::test::plane;
using mirel::test::sphere;

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

}  // namespace mirel::compare::test
