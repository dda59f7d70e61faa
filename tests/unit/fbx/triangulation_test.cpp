#include "standalone/fbx/triangulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "standalone/fbx/polygon_cutter.h"

namespace {

using fbxsdk::FbxLayerElement;
using fbxsdk::FbxVector2;
using fbxsdk::FbxVector4;
using mirel::fbx::Array;
using mirel::fbx::MeshData;

struct Flat {
  double x;
  double y;
};

double area(Flat a, Flat b, Flat c) {
  return ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x)) / 2;
}

struct Cut {
  std::vector<std::uint32_t> triangles;
  // Sum of the triangles' areas; equal to the polygon's where none overlaps and none turns over.
  double sum = 0;
  double smallest = 1e300;
  double polygon = 0;
};

Cut cut(std::vector<Flat> const& outline) {
  std::vector<FbxVector4> points;
  std::vector<int> corners;
  Cut result;
  for (std::size_t k = 0; k < outline.size(); ++k) {
    points.emplace_back(outline[k].x, outline[k].y, 0.0);
    corners.push_back(static_cast<int>(k));
    result.polygon += area({0, 0}, outline[k], outline[(k + 1) % outline.size()]);
  }
  mirel::fbx::PolygonCutter cutter;
  cutter.cut(points.data(), corners.data(), corners.size(), result.triangles);
  for (std::size_t k = 0; k + 3 <= result.triangles.size(); k += 3) {
    double const one =
        area(outline[result.triangles[k]], outline[result.triangles[k + 1]], outline[result.triangles[k + 2]]);
    result.sum += std::abs(one);
    result.smallest = std::min(result.smallest, one);
  }
  return result;
}

void expect_clean(std::vector<Flat> const& outline) {
  Cut const result = cut(outline);
  EXPECT_EQ((outline.size() - 2) * 3, result.triangles.size());
  EXPECT_NEAR(result.polygon, result.sum, 1e-9 * (1 + result.polygon));
  EXPECT_GE(result.smallest, -1e-12);
  std::vector<char> used(outline.size(), 0);
  for (std::uint32_t const corner : result.triangles) used[corner] = 1;
  EXPECT_EQ(static_cast<std::ptrdiff_t>(outline.size()), std::count(used.begin(), used.end(), 1));
}

TEST(PolygonCutter, CutsAConvexQuadFromItsFirstCorner) {
  EXPECT_EQ((std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3}), cut({{0, 0}, {1, 0}, {1, 1}, {0, 1}}).triangles);
}

// An arrowhead has one diagonal inside, wherever it begins.
TEST(PolygonCutter, CutsAConcaveQuadInside) {
  std::vector<Flat> outline = {{0, 0}, {4, 0}, {1, 1}, {0, 4}};
  for (int turn = 0; turn < 4; ++turn) {
    expect_clean(outline);
    std::rotate(outline.begin(), outline.begin() + 1, outline.end());
  }
}

TEST(PolygonCutter, KeepsClockwisePolygonsClockwise) {
  std::vector<FbxVector4> const points = {{0, 0, 0}, {0, 3, 0}, {1, 1, 0}, {3, 1, 0}, {3, 0, 0}};
  int const corners[] = {0, 1, 2, 3, 4};
  std::vector<std::uint32_t> triangles;
  mirel::fbx::PolygonCutter().cut(points.data(), corners, 5, triangles);
  ASSERT_EQ(9u, triangles.size());
  for (std::size_t k = 0; k < 9; k += 3) {
    auto const flat = [&](std::size_t i) { return Flat{points[triangles[i]][0], points[triangles[i]][1]}; };
    EXPECT_LT(area(flat(k), flat(k + 1), flat(k + 2)), 0);
  }
}

TEST(PolygonCutter, CutsConcavePolygons) {
  expect_clean({{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}});                  // L
  expect_clean({{0, 0}, {5, 0}, {5, 3}, {4, 3}, {4, 1}, {1, 1}, {1, 3}, {0, 3}});  // U
  expect_clean({{0, 0}, {7, 0}, {7, 4}, {6, 4}, {6, 1}, {4, 1}, {4, 4}, {3, 4}, {3, 1}, {1, 1}, {1, 4}, {0, 4}});
}

TEST(PolygonCutter, KeepsCornersOnALine) {
  expect_clean({{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}});
  expect_clean({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 2}, {1, 3}, {0, 3}});
}

// A hole is joined to the outline by a bridge that is gone along twice.
TEST(PolygonCutter, CutsAroundAHole) {
  expect_clean({{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}, {1, 1}, {1, 3}, {3, 3}, {3, 1}, {1, 1}});
}

TEST(PolygonCutter, CutsASpiralOfManyCorners) {
  std::vector<Flat> outline;
  int const count = 2000;
  auto const place = [](double turn, double radius) {
    return Flat{radius * std::cos(turn * 2 * std::numbers::pi), radius * std::sin(turn * 2 * std::numbers::pi)};
  };
  for (int k = 0; k < count; ++k) outline.push_back(place(k * 8.0 / count, 1 + k * 8.0 / count));
  for (int k = count; k-- > 0;) outline.push_back(place(k * 8.0 / count, 0.5 + k * 8.0 / count));
  double polygon = 0;
  for (std::size_t k = 0; k < outline.size(); ++k) {
    polygon += area({0, 0}, outline[k], outline[(k + 1) % outline.size()]);
  }
  if (polygon < 0) std::reverse(outline.begin(), outline.end());
  expect_clean(outline);
}

TEST(PolygonCutter, GivesEveryPolygonItsTriangles) {
  // Crossing itself, all in one point, on a line, not finite: only the number is certain.
  double const nan = std::nan("");
  for (std::vector<Flat> const& outline : {std::vector<Flat>{{0, 0}, {2, 2}, {2, 0}, {0, 2}, {1, 3}},
                                           {{1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}},
                                           {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {1, 0}},
                                           {{0, 0}, {nan, 0}, {1, 1}, {nan, nan}, {0, 1}},
                                           {{0, 0}, {1e308, 0}, {1e308, 1e308}, {-1e308, 1e308}, {0, 5}}}) {
    EXPECT_EQ(9u, cut(outline).triangles.size());
  }
}

TEST(PolygonCutter, EndsOnAStarOfManyCrossings) {
  std::vector<Flat> outline;
  std::size_t const count = 100001;
  for (std::size_t k = 0; k < count; ++k) {
    double const turn =
        static_cast<double>(k * (count / 2) % count) / static_cast<double>(count) * 2 * std::numbers::pi;
    outline.push_back({std::cos(turn), std::sin(turn)});
  }
  EXPECT_EQ((count - 2) * 3, cut(outline).triangles.size());
}

template <class T>
void fill(Array<T>& array, std::vector<T> const& values) {
  ASSERT_TRUE(array.allocate(values.size()));
  std::copy(values.begin(), values.end(), array.begin());
}

// Polygons over five points in a row of a strip; sizes 4, 2 (dropped), 3, and one with a missing point (dropped).
MeshData strip() {
  MeshData mesh;
  fill(mesh.points, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0, 0}});
  fill(mesh.corners, {0, 1, 2, 3, 0, 1, 1, 4, 2, 0, -1, 2});
  fill(mesh.starts, {0, 4, 6, 9, 12});
  mesh.is_damaged = true;
  mesh.layers.resize(1);
  return mesh;
}

TEST(Triangulate, KeepsPolygonOrderAndDropsWhatIsNoPolygon) {
  MeshData result;
  ASSERT_TRUE(triangulate(strip(), result));
  EXPECT_EQ((std::vector<int>{0, 1, 2, 0, 2, 3, 1, 4, 2}),
            std::vector<int>(result.corners.begin(), result.corners.end()));
  EXPECT_EQ(3u, result.polygon_count());
  EXPECT_TRUE(is_triangulated(result));
  EXPECT_EQ(5u, result.points.size());
}

TEST(Triangulate, KeepsEveryElementWithItsCornerOrPolygon) {
  MeshData mesh = strip();
  mirel::fbx::MeshLayer& layer = mesh.layers.front();
  layer.normals = std::make_unique<mirel::fbx::NormalAttribute>();
  layer.normals->mapping = FbxLayerElement::eByPolygonVertex;
  std::vector<FbxVector4> normals;
  for (int k = 0; k < 12; ++k) normals.emplace_back(k, 0, 0);
  fill(layer.normals->values, normals);
  layer.materials = std::make_unique<mirel::fbx::MaterialAttribute>();
  layer.materials->mapping = FbxLayerElement::eByPolygon;
  layer.materials->reference = FbxLayerElement::eIndexToDirect;
  fill(layer.materials->indices, {7, 8, 9, 10});
  for (int k = 0; k < 2; ++k) {
    mirel::fbx::UvAttribute& uvs = layer.uvs.emplace_back();
    uvs.channel = k == 0 ? FbxLayerElement::eTextureDiffuse : FbxLayerElement::eTextureBump;
    uvs.mapping = k == 0 ? FbxLayerElement::eByPolygonVertex : FbxLayerElement::eByControlPoint;
    uvs.reference = FbxLayerElement::eIndexToDirect;
    fill(uvs.values, {FbxVector2(0, 0), FbxVector2(1, 0)});
    // One index too few by corner.
    fill(uvs.indices, {0, 1, 0, 1, 0, 1, 1, 0});
  }
  MeshData result;
  ASSERT_TRUE(triangulate(std::move(mesh), result));
  mirel::fbx::MeshLayer const& cut_layer = result.layers.front();
  std::vector<int> sources;
  for (FbxVector4 const& normal : cut_layer.normals->values) sources.push_back(static_cast<int>(normal[0]));
  EXPECT_EQ((std::vector<int>{0, 1, 2, 0, 2, 3, 6, 7, 8}), sources);
  auto const list = [](Array<int> const& array) { return std::vector<int>(array.begin(), array.end()); };
  EXPECT_EQ((std::vector<int>{7, 7, 9}), list(cut_layer.materials->indices));
  EXPECT_EQ((std::vector<int>{0, 1, 0, 0, 0, 1, 1, 0, -1}), list(cut_layer.uvs[0].indices));
  EXPECT_EQ(2u, cut_layer.uvs[0].values.size());
  EXPECT_EQ(8u, cut_layer.uvs[1].indices.size());
}

TEST(Triangulate, CopiesAMesh) {
  MeshData const mesh = strip();
  MeshData copy;
  ASSERT_TRUE(copy_mesh(mesh, copy));
  MeshData first;
  MeshData second;
  ASSERT_TRUE(triangulate(std::move(copy), first));
  ASSERT_TRUE(triangulate(strip(), second));
  EXPECT_TRUE(std::equal(first.corners.begin(), first.corners.end(), second.corners.begin(), second.corners.end()));
  EXPECT_EQ(5u, mesh.points.size());
}

}  // namespace
