// The laws of the ladder on meshes drawn by seed: holes, noise, soups, hubs, and one beyond a single stretch of the
// queue.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "standalone/engine/ladder/ladder.h"
#include "standalone/engine/ladder/loose_faces.h"
#include "standalone/engine/prepare/validate.h"
#include "tests/unit/ladder/edge_counts.h"
#include "tests/unit/ladder/zoo.h"

namespace mirel::engine {
namespace {

using test::count_edges;
using test::EdgeCounts;

// The same numbers everywhere.
struct Random {
  std::uint32_t state;
  std::uint32_t below(std::uint32_t end) {
    state = state * 1664525U + 1013904223U;
    return (state >> 8) % end;
  }
  float unit() { return static_cast<float>(below(65536)) / 65536.0F; }
};

// A grid in the plane with noise of so many 65536ths on it and, where `holes` is not 0, without one face of so many. In
// whole numbers and one division each: the same bits on every machine.
WedgeMesh rough_grid(std::uint32_t cells, std::uint32_t noise, std::uint32_t holes, std::uint32_t seed) {
  Random random{seed};
  std::vector<float> positions;
  for (std::uint64_t y = 0; y <= cells; ++y) {
    for (std::uint64_t x = 0; x <= cells; ++x) {
      std::uint64_t const cubed = std::uint64_t{cells} * cells * cells;
      std::uint64_t const height = 65536 * x * y * (cells - x) / cubed + random.below(noise + 1);
      positions.push_back(static_cast<float>(x) / static_cast<float>(cells));
      positions.push_back(static_cast<float>(y) / static_cast<float>(cells));
      positions.push_back(static_cast<float>(height) / 65536.0F);
    }
  }
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t y = 0; y < cells; ++y) {
    for (std::uint32_t x = 0; x < cells; ++x) {
      std::uint32_t const a = y * (cells + 1) + x;
      std::uint32_t const c = a + cells + 1;
      if (holes == 0 || random.below(holes) != 0) triangles.insert(triangles.end(), {a, a + 1, c});
      if (holes == 0 || random.below(holes) != 0) triangles.insert(triangles.end(), {a + 1, c + 1, c});
    }
  }
  return test::from_triangles(positions, triangles);
}

WedgeMesh rough_sphere(std::uint32_t seed) {
  Random random{seed};
  WedgeMesh mesh = test::sphere(8 + random.below(12), 8 + random.below(12));
  float const noise = 0.05F * random.unit();
  for (float& x : mesh.vertices) x += noise * random.unit();
  return mesh;
}

// A rough grid with UVs and normals, and a jump of the UVs in its middle.
WedgeMesh attributed_grid(std::uint32_t cells, std::uint32_t seed) {
  WedgeMesh mesh = rough_grid(cells, 1300, 0, seed);
  Random random{seed};
  std::uint32_t const count = mesh.vertex_count();
  for (std::uint32_t v = 0; v < count; ++v) {
    float const x = mesh.vertices[3 * std::size_t{v}];
    float const y = mesh.vertices[3 * std::size_t{v} + 1];
    mesh.uvs.insert(mesh.uvs.end(), {x * (2 - x), y});
    float const nx = 0.2F * random.unit();
    float const length = std::sqrt(nx * nx + 1);
    mesh.normals.insert(mesh.normals.end(), {nx / length, 0, 1 / length});
  }
  std::vector<std::uint32_t> other(count, kNone);
  for (std::size_t f = 0; f < mesh.faces.size(); f += 3) {
    bool right = false;
    for (std::size_t k = 0; k < 3; ++k) right |= mesh.vertices[std::size_t{3} * mesh.faces[f + k]] > 0.5F;
    for (std::size_t k = 0; right && k < 3; ++k) {
      std::uint32_t& corner = mesh.faces[f + k];
      if (mesh.vertices[std::size_t{3} * corner] != 0.5F) continue;
      if (other[corner] == kNone) {
        other[corner] = mesh.vertex_count();
        for (std::size_t i = 0; i < 3; ++i) mesh.vertices.push_back(mesh.vertices[std::size_t{3} * corner + i]);
        for (std::size_t i = 0; i < 3; ++i) mesh.normals.push_back(mesh.normals[std::size_t{3} * corner + i]);
        mesh.uvs.insert(mesh.uvs.end(), {3 + mesh.uvs[std::size_t{2} * corner], mesh.uvs[std::size_t{2} * corner + 1]});
        mesh.position_of.push_back(mesh.position_of[corner]);
      }
      corner = other[corner];
    }
  }
  return mesh;
}

enum class Hub { kBipyramid, kDrum, kHalfDisc };

// Faces around one vertex whose far corners lie in and out by turns (`folds` 0), or anywhere: most are folded over
// others.
WedgeMesh folded_fan(std::uint32_t faces, std::uint32_t folds, bool closed) {
  Random random{folds};
  std::vector<float> positions = {0, 0, 0};
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t i = 0; i < faces; ++i) {
    double const angle = 6.283185307179586 * i / faces;
    double const radius = i % 2 == 0 ? 1 : 0.1;
    auto const x = static_cast<float>(radius * std::cos(angle));
    auto const y = static_cast<float>(radius * std::sin(angle));
    if (folds == 0) {
      positions.insert(positions.end(), {x, y, 0});
    } else {
      positions.insert(positions.end(), {2 * random.unit() - 1, 2 * random.unit() - 1, 0});
    }
    triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % faces});
    if (closed) triangles.insert(triangles.end(), {faces + 1, 1 + (i + 1) % faces, 1 + i});
  }
  if (closed) positions.insert(positions.end(), {0, 0, 1e-3F});
  return test::from_triangles(positions, triangles);
}

// Vertices with `spokes` faces each.
WedgeMesh hub_mesh(Hub kind, std::uint32_t spokes) {
  std::vector<float> positions = {0, 0, 1, 0, 0, -1};
  std::vector<std::uint32_t> triangles;
  auto const ring = [&](float z) {
    auto const first = static_cast<std::uint32_t>(positions.size() / 3);
    for (std::uint32_t i = 0; i < spokes; ++i) {
      double const turn = kind == Hub::kHalfDisc ? 3.0 : 6.283185307179586;
      double const angle = turn * i / spokes;
      for (double const k : {std::cos(angle), std::sin(angle), double{z}}) positions.push_back(static_cast<float>(k));
    }
    return first;
  };
  std::uint32_t const a = ring(kind == Hub::kDrum ? 1.0F : 0.0F);
  std::uint32_t const b = kind == Hub::kDrum ? ring(-1) : a;
  for (std::uint32_t i = 0; i < spokes; ++i) {
    std::uint32_t const j = (i + 1) % spokes;
    if (kind == Hub::kHalfDisc) {
      if (j != 0) triangles.insert(triangles.end(), {0, a + i, a + j});
      continue;
    }
    triangles.insert(triangles.end(), {0, a + i, a + j, 1, b + j, b + i});
    if (kind == Hub::kDrum) triangles.insert(triangles.end(), {a + i, b + i, a + j, a + j, b + i, b + j});
  }
  return test::from_triangles(positions, triangles);
}

std::unique_ptr<Ladder> build(WedgeMesh const& mesh) {
  WedgeMesh const* const meshes[] = {&mesh};
  return Ladder::build(meshes, {});
}

bool same(WedgeMesh const& a, WedgeMesh const& b) {
  return a.vertices == b.vertices && a.position_of == b.position_of && a.faces == b.faces &&
         a.set_begin == b.set_begin && a.lowest_position == b.lowest_position;
}

// Every law, at `looks` steps drawn by the seed and both ends.
void expect_laws(WedgeMesh const& mesh, std::uint32_t seed, std::uint32_t looks) {
  ASSERT_EQ(validate(mesh), "");
  auto const ladder = build(mesh);
  auto const again = build(mesh);
  ASSERT_EQ(ladder->step_count(), again->step_count());
  for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
    ASSERT_LT(ladder->face_count(step), ladder->face_count(step - 1));
  }
  Random random{seed};
  std::vector<std::uint32_t> steps = {0, ladder->step_count()};
  for (std::uint32_t i = 0; i < looks; ++i) steps.push_back(random.below(ladder->step_count() + 1));
  std::map<std::uint32_t, WedgeMesh> seen;
  for (std::uint32_t const step : steps) ladder->read(0, step, seen[step]);
  EdgeCounts before = count_edges(mesh);
  bool const closed = before.boundary == 0;
  for (auto const& [step, at_step] : seen) {
    SCOPED_TRACE("step " + std::to_string(step));
    ASSERT_EQ(validate(at_step), "");
    ASSERT_EQ(at_step.face_count(), ladder->face_count(step));
    EdgeCounts const now = count_edges(at_step);
    ASSERT_LE(now.non_manifold, before.non_manifold);
    if (closed) {
      ASSERT_EQ(now.boundary, 0U);
    }
    before = now;
  }
  // From anywhere to anywhere.
  WedgeMesh out;
  for (std::uint32_t i = 0; i < looks; ++i) {
    std::uint32_t const step = steps[random.below(static_cast<std::uint32_t>(steps.size()))];
    (random.below(2) == 0 ? ladder : again)->read(0, step, out);
    ASSERT_TRUE(same(out, seen[step])) << "step " << step;
  }
}

bool same_all(WedgeMesh const& a, WedgeMesh const& b) {
  return same(a, b) && a.normals == b.normals && a.uvs == b.uvs && a.position_count == b.position_count;
}

// Names every position by the lowest one of step 0 that went into it, each of those once.
void expect_consistent_remaps(WedgeMesh const& original, WedgeMesh const& now) {
  ASSERT_EQ(now.position_of.size(), now.vertex_count());
  if (now.lowest_position.empty()) {
    ASSERT_EQ(now.position_count, now.faces.empty() ? 0U : original.position_count);
    return;
  }
  ASSERT_EQ(now.lowest_position.size(), now.position_count);
  std::vector<std::uint32_t> lowest = now.lowest_position;
  std::sort(lowest.begin(), lowest.end());
  ASSERT_TRUE(std::adjacent_find(lowest.begin(), lowest.end()) == lowest.end());
  ASSERT_TRUE(lowest.empty() || lowest.back() < original.position_count);
}

// The laws over several meshes at once, with attributes and constraints.
void expect_laws_together(std::vector<WedgeMesh> const& meshes, LadderOptions const& options, std::uint32_t seed) {
  std::vector<WedgeMesh const*> pointers;
  for (WedgeMesh const& mesh : meshes) pointers.push_back(&mesh);
  auto const ladder = Ladder::build(pointers, options);
  auto const again = Ladder::build(pointers, options);
  std::uint32_t const last = ladder->step_count();
  ASSERT_EQ(again->step_count(), last);
  for (std::uint32_t step = 1; step <= last; ++step) {
    ASSERT_LE(ladder->face_count(step), ladder->face_count(step - 1));
    ASSERT_EQ(ladder->face_count(step), again->face_count(step));
  }
  Random random{seed};
  std::vector<std::uint32_t> steps = {0, last};
  for (std::uint32_t i = 0; i < 8; ++i) steps.push_back(random.below(last + 1));
  std::map<std::uint32_t, std::vector<WedgeMesh>> seen;
  for (std::uint32_t const step : steps) {
    seen[step].resize(meshes.size());
    for (std::uint32_t m = 0; m < meshes.size(); ++m) ladder->read(m, step, seen[step][m]);
  }
  std::vector<EdgeCounts> first;
  for (WedgeMesh const& mesh : meshes) first.push_back(count_edges(mesh));
  for (auto const& [step, at_step] : seen) {
    SCOPED_TRACE("step " + std::to_string(step));
    std::uint32_t faces = 0;
    for (std::size_t m = 0; m < meshes.size(); ++m) {
      ASSERT_EQ(validate(at_step[m]), "");
      ASSERT_EQ(at_step[m].set_begin.size(), meshes[m].set_begin.size());
      ASSERT_EQ(at_step[m].uvs.size() / 2, meshes[m].uvs.empty() ? 0 : at_step[m].vertex_count());
      ASSERT_EQ(at_step[m].normals.size() / 3, meshes[m].normals.empty() ? 0 : at_step[m].vertex_count());
      expect_consistent_remaps(meshes[m], at_step[m]);
      EdgeCounts const now = count_edges(at_step[m]);
      ASSERT_LE(now.non_manifold, first[m].non_manifold);
      if (first[m].boundary == 0) {
        ASSERT_EQ(now.boundary, 0U);
      }
      if (options.lock_boundaries) {
        ASSERT_EQ(now.boundary, first[m].boundary);
      }
      faces += at_step[m].face_count();
    }
    ASSERT_EQ(faces, ladder->face_count(step));
  }
  WedgeMesh out;
  for (std::uint32_t i = 0; i < 20; ++i) {
    std::uint32_t const step = steps[random.below(static_cast<std::uint32_t>(steps.size()))];
    std::uint32_t const mesh = random.below(static_cast<std::uint32_t>(meshes.size()));
    (random.below(2) == 0 ? ladder : again)->read(mesh, step, out);
    ASSERT_TRUE(same_all(out, seen[step][mesh])) << "step " << step << " mesh " << mesh;
  }
}

TEST(LadderPropertyTest, DepotsWithAttributesAndConstraintsKeepTheLaws) {
  std::vector<test::Animal> const animals = test::zoo();
  for (std::uint32_t seed = 1; seed <= 24; ++seed) {
    Random random{seed * 7919};
    std::vector<WedgeMesh> meshes;
    std::string names;
    for (std::uint32_t i = 0; i < 1 + seed % 4; ++i) {
      test::Animal const& animal = animals[random.below(static_cast<std::uint32_t>(animals.size()))];
      meshes.push_back(animal.mesh);
      names += animal.name + ", ";
    }
    // Of those with UVs and normals there is always one.
    meshes.push_back(seed % 2 == 0 ? test::charted_cube(2 + random.below(5))
                                   : test::textured_sphere(4 + random.below(8), 5 + random.below(8)));
    for (std::uint32_t choice = 0; choice < 5; ++choice) {
      SCOPED_TRACE(names + "seed " + std::to_string(seed) + ", choice " + std::to_string(choice));
      LadderOptions options;
      options.lock_boundaries = choice == 1 || choice == 4;
      if (choice == 2 || choice == 4) options.tolerance = 0.005F + 0.05F * random.unit();
      options.prevent_uv_foldovers = choice == 3;
      options.prevent_xy_foldovers = choice == 3;
      expect_laws_together(meshes, options, seed);
    }
  }
}

TEST(LadderPropertyTest, MeshesDrawnBySeedKeepTheLaws) {
  for (std::uint32_t seed = 1; seed <= 24; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random{seed};
    expect_laws(rough_grid(6 + random.below(20), random.below(13000), 0, seed), seed, 20);
    expect_laws(rough_grid(6 + random.below(20), random.below(3300), 3 + random.below(12), seed), seed, 20);
    expect_laws(rough_sphere(seed), seed, 20);
    expect_laws(test::soup(20 + random.below(60), 40 + random.below(300), seed), seed, 20);
  }
}

// Edges with many faces, and faces back to back: what goes on one edge must not leave another with one face.
TEST(LadderPropertyTest, DenseSoupsKeepTheirBoundaries) {
  std::uint32_t closed = 0;
  for (std::uint32_t seed = 1; seed <= 4000; ++seed) {
    Random random{seed * 7919};
    std::uint32_t const vertices = 4 + random.below(seed % 4 == 0 ? 30 : 3);
    WedgeMesh const mesh = test::soup(vertices, 4 + random.below(seed % 4 == 0 ? 120 : 40), seed);
    if (mesh.faces.empty()) continue;
    WedgeMesh const* const meshes[] = {&mesh};
    LadderOptions options;
    EdgeCounts const before = count_edges(mesh);
    closed += before.boundary == 0 ? 1U : 0U;
    for (bool const lock : {false, true}) {
      options.lock_boundaries = lock;
      if (!lock && before.boundary > 0) continue;
      auto const ladder = Ladder::build(meshes, options);
      WedgeMesh now;
      for (std::uint32_t step = 1; step <= ladder->step_count(); ++step) {
        ladder->read(0, step, now);
        ASSERT_EQ(count_edges(now).boundary, before.boundary) << "seed " << seed << ", step " << step;
      }
    }
  }
  EXPECT_GT(closed, 100U);
}

// Each collapse there changes all the faces of a large star, whose other edges are refused again and again.
TEST(LadderPropertyTest, FoldedFansKeepTheLaws) {
  for (std::uint32_t const faces : {60U, 64U, 130U, 300U}) {
    for (std::uint32_t folds = 0; folds < 3; ++folds) {
      for (bool const closed : {false, true}) {
        SCOPED_TRACE(std::to_string(faces) + " faces, folds " + std::to_string(folds));
        WedgeMesh const mesh = folded_fan(faces, folds, closed);
        expect_laws(mesh, faces, 10);
        auto const ladder = build(mesh);
        EXPECT_LE(ladder->face_count(ladder->step_count()), folds == 0 ? 4U : faces);
      }
    }
  }
}

TEST(LadderPropertyTest, HubsKeepTheLawsAndGo) {
  for (std::uint32_t const spokes : {500U, 513U, 2000U}) {
    for (Hub const kind : {Hub::kBipyramid, Hub::kDrum, Hub::kHalfDisc}) {
      SCOPED_TRACE(std::to_string(spokes) + " spokes, kind " + std::to_string(static_cast<int>(kind)));
      WedgeMesh const mesh = hub_mesh(kind, spokes);
      expect_laws(mesh, spokes, 30);
      auto const ladder = build(mesh);
      EXPECT_EQ(ladder->face_count(ladder->step_count()), kind == Hub::kHalfDisc ? 1U : 4U);
    }
  }
}

TEST(LadderPropertyTest, MeshesOfManyStretchesKeepTheLaws) {
  expect_laws(rough_grid(300, 650, 0, 5), 5, 4);
  expect_laws(rough_grid(300, 650, 40, 6), 6, 2);
}

// Vertices are renumbered on the way where there are many.
TEST(LadderPropertyTest, DepotsOfManyStretchesKeepTheLaws) {
  std::vector<WedgeMesh> const meshes = {rough_grid(90, 650, 30, 8), test::many_components(200), attributed_grid(90, 9),
                                         hub_mesh(Hub::kDrum, 1000)};
  std::uint32_t positions = 0;
  for (WedgeMesh const& mesh : meshes) positions += mesh.position_count;
  ASSERT_GT(positions, 20000U);
  expect_laws_together(meshes, {}, 1);
  LadderOptions locked;
  locked.lock_boundaries = true;
  expect_laws_together(meshes, locked, 2);
}

// What is stuck from the start has waited since before the vertices got new numbers.
TEST(LadderPropertyTest, ThoseThatWaitAreFoundAgainAfterRenumbering) {
  constexpr std::uint32_t kPillows = 40;
  WedgeMesh const ground = rough_grid(150, 650, 0, 12);
  std::vector<float> positions = ground.vertices;
  std::vector<std::uint32_t> triangles = ground.faces;
  for (std::uint32_t i = 0; i < kPillows; ++i) {
    auto const first = static_cast<std::uint32_t>(positions.size() / 3);
    auto const x = static_cast<float>(20 * i + 20);
    positions.insert(positions.end(), {x, 0, 0, x + 10, 0, 0, x, 10, 0});
    triangles.insert(triangles.end(), {first, first + 1, first + 2, first, first + 2, first + 1});
  }
  WedgeMesh const mesh = test::from_triangles(positions, triangles);
  auto const ladder = build(mesh);
  WedgeMesh out;
  ladder->read(0, ladder->step_for_face_count(2 * kPillows + 10), out);
  ASSERT_EQ(validate(out), "");
  std::uint32_t pillow_faces = 0;
  for (std::uint32_t const v : out.faces) pillow_faces += out.vertices[std::size_t{3} * v] >= 20 ? 1U : 0U;
  EXPECT_EQ(pillow_faces / 3, 2 * kPillows);
  EXPECT_EQ(ladder->face_count(ladder->step_count()), 2U);
}

TEST(LadderPropertyTest, ObstaclesAreCountedAfterRenumbering) {
  constexpr std::uint32_t kSquares = 50;
  WedgeMesh const ball = test::sphere(150, 150);
  std::vector<float> positions;
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t i = 0; i <= kSquares; ++i) {
    auto const x = static_cast<float>(i);
    positions.insert(positions.end(), {x, 0, 0, x, 1, 0});
    if (i < kSquares) triangles.insert(triangles.end(), {2 * i, 2 * i + 2, 2 * i + 3, 2 * i, 2 * i + 3, 2 * i + 1});
  }
  WedgeMesh const strip = test::from_triangles(positions, triangles);
  WedgeMesh const* const meshes[] = {&ball, &strip};
  LadderOptions options;
  options.lock_boundaries = true;
  auto const ladder = Ladder::build(meshes, options);
  EXPECT_EQ(ladder->face_count(ladder->step_count()), 2 * kSquares);
  EXPECT_EQ(ladder->end().locked_boundary, 4 * kSquares + 1) << "all edges of the strip";
  EXPECT_EQ(ladder->end().topology, 0U);
}

TEST(LadderPropertyTest, MeshesStayInTheirPlacesWhenVerticesAreRenumbered) {
  std::vector<WedgeMesh> const meshes = {rough_grid(60, 300, 0, 14), rough_grid(120, 300, 0, 15),
                                         rough_grid(60, 300, 0, 16)};
  std::vector<WedgeMesh> moved = meshes;
  std::vector<WedgeMesh const*> pointers;
  for (std::size_t m = 0; m < moved.size(); ++m) {
    for (std::size_t i = 0; i < moved[m].vertices.size(); i += 3) moved[m].vertices[i] += static_cast<float>(8 * m);
    pointers.push_back(&moved[m]);
  }
  auto const ladder = Ladder::build(pointers, {});
  for (std::uint32_t const faces : {8000U, 800U, 80U}) {
    for (std::uint32_t m = 0; m < moved.size(); ++m) {
      WedgeMesh out;
      ladder->read(m, ladder->step_for_face_count(faces), out);
      ASSERT_GT(out.vertex_count(), 0U);
      for (std::size_t i = 0; i < out.vertices.size(); i += 3) {
        ASSERT_NEAR(out.vertices[i], static_cast<float>(8 * m) + 0.5F, 0.7F) << "mesh " << m << ", " << faces;
      }
    }
  }
}

TEST(LadderPropertyTest, AttributesStayWithTheirVerticesWhenTheseAreRenumbered) {
  WedgeMesh mesh = rough_grid(150, 300, 0, 13);
  for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
    mesh.uvs.insert(mesh.uvs.end(), {mesh.vertices[i], mesh.vertices[i + 1]});
  }
  auto const ladder = build(mesh);
  for (std::uint32_t const faces : {6000U, 600U, 60U}) {
    WedgeMesh out;
    ladder->read(0, ladder->step_for_face_count(faces), out);
    double worst = 0;
    for (std::size_t v = 0; v < out.vertex_count(); ++v) {
      for (std::size_t k = 0; k < 2; ++k) {
        worst = std::max(worst, std::abs(double{out.uvs[2 * v + k]} - double{out.vertices[3 * v + k]}));
      }
    }
    EXPECT_LT(worst, 0.02) << faces << " faces";
  }
}

TEST(LadderPropertyTest, ATolerantDepotOfManyStretchesKeepsTheLaws) {
  LadderOptions options;
  options.tolerance = 0.02F;
  expect_laws_together({rough_grid(130, 0, 0, 11), test::plane(20)}, options, 3);
}

// The planes along a spire say little about its height, and those of its tip are small.
TEST(LadderPropertyTest, ASpireKeepsItsHeight) {
  constexpr std::uint32_t kSides = 4, kRings = 6;
  WedgeMesh const ground = rough_grid(60, 13000, 0, 9);
  std::vector<float> positions = ground.vertices;
  std::vector<std::uint32_t> triangles = ground.faces;
  auto const first = static_cast<std::uint32_t>(positions.size() / 3);
  for (std::uint32_t i = 0; i <= kRings; ++i) {
    double const radius = 0.00001 + 0.0005 * (kRings - i) / kRings;
    for (std::uint32_t k = 0; k < kSides; ++k) {
      double const angle = 6.283185307179586 * k / kSides;
      positions.push_back(static_cast<float>(0.5 + radius * std::cos(angle)));
      positions.push_back(static_cast<float>(0.5 + radius * std::sin(angle)));
      positions.push_back(static_cast<float>(1 + 0.1 * i));
    }
  }
  auto const at = [first](std::uint32_t ring, std::uint32_t side) { return first + ring * kSides + side % kSides; };
  for (std::uint32_t i = 0; i < kRings; ++i) {
    for (std::uint32_t k = 0; k < kSides; ++k) {
      triangles.insert(triangles.end(),
                       {at(i, k), at(i, k + 1), at(i + 1, k), at(i, k + 1), at(i + 1, k + 1), at(i + 1, k)});
    }
  }
  for (std::uint32_t k = 1; k + 1 < kSides; ++k) {
    triangles.insert(triangles.end(), {at(0, 0), at(0, k + 1), at(0, k)});
    triangles.insert(triangles.end(), {at(kRings, 0), at(kRings, k), at(kRings, k + 1)});
  }
  WedgeMesh const mesh = test::from_triangles(positions, triangles);
  auto const ladder = build(mesh);
  for (std::uint32_t const part : {3U, 10U, 100U}) {
    WedgeMesh out;
    ladder->read(0, ladder->step_for_face_count(mesh.face_count() / part), out);
    float low = 2, high = 0;
    for (std::size_t i = 0; i < out.vertices.size(); i += 3) {
      if (out.vertices[i + 2] > 0.9F) low = std::min(low, out.vertices[i + 2]);
      high = std::max(high, out.vertices[i + 2]);
    }
    EXPECT_NEAR(low, 1, 0.002) << "a part of " << part;
    EXPECT_NEAR(high, 1.6, 0.002) << "a part of " << part;
  }
}

// Bodies of all sizes: the smallest are still there where each can have no more than some six faces.
TEST(LadderPropertyTest, SmallBodiesOutlastDetailOfLargeOnes) {
  constexpr std::uint32_t kBodies = 30;
  std::vector<float> positions;
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t body = 0; body < kBodies; ++body) {
    WedgeMesh const sphere = rough_sphere(body + 1);
    auto const first = static_cast<std::uint32_t>(positions.size() / 3);
    float const size = 0.2F + 0.8F * static_cast<float>(body % 8) / 8;
    for (std::size_t i = 0; i < sphere.vertices.size(); ++i) {
      positions.push_back(size * sphere.vertices[i] + (i % 3 == 0 ? 3 * static_cast<float>(body) : 0));
    }
    for (std::uint32_t const v : sphere.faces) triangles.push_back(first + v);
  }
  WedgeMesh const mesh = test::from_triangles(positions, triangles);
  auto const ladder = build(mesh);
  WedgeMesh out;
  ladder->read(0, ladder->step_for_face_count(6 * kBodies), out);
  std::vector<bool> seen(kBodies);
  for (std::size_t i = 0; i < out.vertices.size(); i += 3) {
    seen[std::min<std::size_t>(static_cast<std::size_t>((out.vertices[i] + 1.5F) / 3), kBodies - 1)] = true;
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), kBodies);
}

// Triangles of one size in rows and columns, none of which touches another, and a rough grid beside them if
// `with_grid`.
WedgeMesh confetti(std::uint32_t rows, bool with_grid) {
  std::vector<float> positions;
  std::vector<std::uint32_t> triangles;
  for (std::uint32_t i = 0; i < rows * rows; ++i) {
    auto const x = static_cast<float>(2 * (i % rows)), y = static_cast<float>(2 * (i / rows));
    triangles.insert(triangles.end(), {3 * i, 3 * i + 1, 3 * i + 2});
    positions.insert(positions.end(), {x, y, 0, x + 1, y, 0, x, y + 1, 1});
  }
  if (!with_grid) return test::from_triangles(positions, triangles);
  WedgeMesh const grid = rough_grid(12, 650, 4, 3);
  auto const first = static_cast<std::uint32_t>(positions.size() / 3);
  for (std::size_t i = 0; i < grid.vertices.size(); ++i) positions.push_back(grid.vertices[i] - (i % 3 == 0 ? 2 : 0));
  for (std::uint32_t const v : grid.faces) triangles.push_back(first + v);
  return test::from_triangles(positions, triangles);
}

TEST(LadderPropertyTest, LooseFacesAreFound) {
  WedgeMesh mesh = confetti(20, true);
  LooseFaces const loose = find_loose_faces(mesh);
  // The holes of the grid may have left some of its own.
  ASSERT_GE(loose.faces.size(), 400U);
  EXPECT_LT(loose.faces.size(), 410U);
  EXPECT_EQ(loose.positions.size(), mesh.position_count - 3 * loose.faces.size());
  std::vector<std::uint32_t> corners(mesh.position_count, 0);
  for (std::uint32_t const v : mesh.faces) ++corners[v];
  for (std::uint32_t f = 0; f < mesh.face_count(); ++f) {
    std::uint32_t const* const v = &mesh.faces[std::size_t{3} * f];
    bool const is_loose = corners[v[0]] + corners[v[1]] + corners[v[2]] == 3;
    EXPECT_EQ(std::binary_search(loose.faces.begin(), loose.faces.end(), f), is_loose);
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_EQ(std::binary_search(loose.positions.begin(), loose.positions.end(), v[k]), !is_loose);
    }
  }
  EXPECT_TRUE(find_loose_faces(test::sphere(8, 8)).faces.empty());
  EXPECT_TRUE(find_loose_faces(confetti(20, false)).positions.empty());
}

TEST(LadderPropertyTest, LooseFacesKeepTheLawsAndGo) {
  for (bool const with_grid : {false, true}) {
    SCOPED_TRACE(with_grid);
    WedgeMesh const mesh = confetti(20, with_grid);
    expect_laws(mesh, 1, 20);
    auto const ladder = build(mesh);
    EXPECT_EQ(ladder->face_count(ladder->step_count()), 1U);
    EXPECT_EQ(ladder->end().topology, 3U);
    EXPECT_EQ(ladder->end().locked_boundary, 0U);
  }
  std::vector<WedgeMesh> const meshes = {attributed_grid(8, 2), confetti(9, true), test::sphere(9, 9),
                                         confetti(12, false)};
  LadderOptions options;
  expect_laws_together(meshes, options, 3);
  options.lock_boundaries = true;
  expect_laws_together(meshes, options, 4);
  options.tolerance = 0.05F;
  expect_laws_together(meshes, options, 5);
}

TEST(LadderPropertyTest, LooseFacesStayWhereTheirBoundariesAreLocked) {
  WedgeMesh const mesh = confetti(10, false);
  WedgeMesh const* const meshes[] = {&mesh};
  LadderOptions options;
  options.lock_boundaries = true;
  auto const ladder = Ladder::build(meshes, options);
  EXPECT_EQ(ladder->step_count(), 0U);
  EXPECT_EQ(ladder->end().locked_boundary, 300U);
  EXPECT_EQ(ladder->end().topology, 0U);
}

TEST(LadderPropertyTest, LooseFacesOfOneSizeThinOutEverywhere) {
  constexpr std::uint32_t kRows = 40;
  WedgeMesh const mesh = confetti(kRows, false);
  auto const ladder = build(mesh);
  WedgeMesh half;
  ladder->read(0, ladder->step_for_face_count(kRows * kRows / 2), half);
  std::map<std::pair<bool, bool>, std::uint32_t> quarters;
  for (std::size_t f = 0; f < half.faces.size(); f += 3) {
    float const* const p = &half.vertices[std::size_t{3} * half.faces[f]];
    ++quarters[{p[0] > kRows, p[1] > kRows}];
  }
  ASSERT_EQ(quarters.size(), 4U);
  for (auto const& [place, faces] : quarters) EXPECT_NEAR(faces, kRows * kRows / 8, kRows);
  // Near by too: of two neighbours in a row one is left.
  std::map<std::pair<float, float>, std::uint32_t> pairs;
  for (std::size_t f = 0; f < half.faces.size(); f += 3) {
    float const* const p = &half.vertices[std::size_t{3} * half.faces[f]];
    ++pairs[{std::floor(p[0] / 4), p[1]}];
  }
  EXPECT_EQ(pairs.size(), kRows * kRows / 2);
}

// FNV-1a over the arrays of some steps.
std::uint64_t fingerprint(WedgeMesh const& mesh) {
  auto const ladder = build(mesh);
  std::uint64_t hash = 14695981039346656037U;
  auto const add = [&hash](auto const& values) {
    auto const* bytes = reinterpret_cast<unsigned char const*>(values.data());
    for (std::size_t i = 0; i < values.size() * sizeof(values[0]); ++i) hash = (hash ^ bytes[i]) * 1099511628211U;
  };
  WedgeMesh out;
  for (std::uint32_t const part : {1U, 2U, 10U, 100U}) {
    ladder->read(0, ladder->step_for_face_count(mesh.face_count() / part), out);
    add(out.vertices);
    add(out.faces);
    add(out.uvs);
    add(out.normals);
  }
  return hash;
}

// A square, or the roof over it, turned away from the axes by two angles of whole sides: nothing but the division
// rounds. Its cells are `stretch` times as long as wide.
WedgeMesh turned_roof(std::int64_t cells, std::int64_t rise, std::int64_t stretch) {
  std::vector<float> positions;
  for (std::int64_t j = 0; j <= cells; ++j) {
    for (std::int64_t i = 0; i <= cells; ++i) {
      std::int64_t const along = stretch * i, height = 5 * rise * std::min(i, cells - i);
      std::int64_t const aside = 4 * along + 3 * j;
      for (std::int64_t const c : {5 * (3 * along - 4 * j), 3 * aside - 4 * height, 4 * aside + 3 * height}) {
        positions.push_back(static_cast<float>(c) / static_cast<float>(25 * stretch * cells));
      }
    }
  }
  return test::from_triangles(positions, rough_grid(static_cast<std::uint32_t>(cells), 0, 0, 0).faces);
}

// Pinned, so that a compiler or a processor that gives other bits is seen. They change with the metric and the order.
TEST(LadderPropertyTest, TheBitsAreThoseOfEveryMachine) {
  EXPECT_EQ(fingerprint(rough_grid(40, 3300, 0, 1)), 2298754942247108025U);
  EXPECT_EQ(fingerprint(rough_grid(40, 1300, 15, 2)), 13094908894684093773U);
  EXPECT_EQ(fingerprint(rough_grid(280, 1300, 0, 3)), 2847914262438878445U);
  EXPECT_EQ(fingerprint(test::soup(60, 300, 4)), 11505606042302706893U);
  // Slivers that wait until they are free to become worse: a power of two squeezes without rounding.
  WedgeMesh slivers = rough_grid(24, 660, 0, 5);
  for (std::size_t v = 0; v < slivers.vertices.size(); v += 3) slivers.vertices[v] /= 1024;
  EXPECT_EQ(fingerprint(slivers), 4498974545209528109U);
  EXPECT_EQ(fingerprint(attributed_grid(40, 7)), 11688284398860910092U);
  // Keys that are rounding: on a plane, beside an edge, and of slivers.
  EXPECT_EQ(fingerprint(turned_roof(60, 0, 1)), 7795480799061863457U);
  EXPECT_EQ(fingerprint(turned_roof(60, 1, 1)), 17977572959400233578U);
  EXPECT_EQ(fingerprint(turned_roof(40, 0, 64)), 18324527356997236265U);
  EXPECT_EQ(fingerprint(turned_roof(40, 1, 64)), 15371386122824605330U);
}

}  // namespace
}  // namespace mirel::engine
