#include <cmath>
#include <limits>

#include "standalone/model/scene.h"
#include "tests/unit/model/model_fixture.h"

namespace mirel::model::test {

namespace {

class FillTest : public ModelTest {
 protected:
  Entities const& inside() const { return *resolve<Entities>(root_.ptr); }
};

// 3---2
// | / |
// 0---1
std::vector<SUPoint3D> const kSquare = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
Triangles const kTwoTriangles = {{0, 1, 2}, {0, 2, 3}};

TEST_F(FillTest, CubeHasEighteenEdgesOfTwoFaces) {
  fill(root_, cube_points(), cube_faces());
  EXPECT_EQ(8U, contents(root_).vertices);
  EXPECT_EQ(18U, contents(root_).edges);
  EXPECT_EQ(12U, contents(root_).faces);
  for (SUEdgeRef const edge : edges(root_)) {
    std::size_t count = 0;
    EXPECT_EQ(SU_ERROR_NONE, SUEdgeGetNumFaces(edge, &count));
    EXPECT_EQ(2U, count);
  }
}

TEST_F(FillTest, WeldsVerticesAtExactlyOnePlace) {
  std::vector<SUPoint3D> const soup = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-0.0, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  fill(root_, soup, {{0, 1, 2}, {3, 4, 5}});
  EXPECT_EQ(4U, contents(root_).vertices);
  EXPECT_EQ(5U, contents(root_).edges);
}

TEST_F(FillTest, LeavesNeighbouringPlacesApart) {
  double const next = std::nextafter(1.0, 2.0);
  fill(root_, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 0}, {next, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {3, 4, 5}});
  EXPECT_EQ(5U, contents(root_).vertices);
}

TEST_F(FillTest, WithoutWeldingEveryVertexStays) {
  fill(root_, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {3, 4, 5}}, {}, false);
  EXPECT_EQ(6U, contents(root_).vertices);
  EXPECT_EQ(6U, contents(root_).edges);
}

TEST_F(FillTest, WeldsWithWhatIsThere) {
  fill(root_, kSquare, {{0, 1, 2}});
  std::vector<SUEdgeRef> const before = edges(root_);
  fill(root_, kSquare, {{0, 2, 3}});
  EXPECT_EQ(4U, contents(root_).vertices);
  EXPECT_EQ(5U, contents(root_).edges);
  // References to edges outlive the next filling.
  std::vector<SUEdgeRef> const after = edges(root_);
  for (std::size_t number = 0; number < before.size(); ++number) {
    EXPECT_EQ(before[number].ptr, after[number].ptr);
  }
}

TEST_F(FillTest, LeavesOutDegenerateAndBoundlessFaces) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  double const infinity = std::numeric_limits<double>::infinity();
  std::vector<SUPoint3D> points = kSquare;
  points.insert(points.end(), {{0, 0, 0}, {nan, 0, 0}, {0, infinity, 0}});
  fill(root_, points, {{0, 1, 2}, {0, 4, 1}, {1, 1, 2}, {0, 1, 5}, {0, 6, 1}});
  EXPECT_EQ(1U, contents(root_).faces);
  EXPECT_EQ(3U, contents(root_).edges);
}

TEST_F(FillTest, AnEdgeIsSmoothWhenAllItsFacesSaySo) {
  SUGeometryInputRef input = {};
  SUGeometryInputCreate(&input);
  SUGeometryInputSetVertices(input, 4, kSquare.data());
  for (auto const& [face, is_smooth] : {std::pair(kTwoTriangles[0], true), std::pair(kTwoTriangles[1], false)}) {
    SULoopInputRef loop = make_loop(face, is_smooth);
    SUGeometryInputAddFace(input, &loop, nullptr);
  }
  SUEntitiesFill(root_, input, true);
  SUGeometryInputRelease(&input);
  EXPECT_EQ(2U, contents(root_).soft_edges);
  EXPECT_EQ(2U, contents(root_).smooth_edges);
}

TEST_F(FillTest, EdgeFlagsCanBeSet) {
  fill(root_, cube_points(), cube_faces());
  EXPECT_EQ(0U, contents(root_).soft_edges);
  for (SUEdgeRef const edge : edges(root_)) {
    EXPECT_EQ(SU_ERROR_NONE, SUEdgeSetSoft(edge, true));
  }
  EXPECT_EQ(SU_ERROR_NONE, SUEdgeSetSmooth(edges(root_)[3], true));
  EXPECT_EQ(18U, contents(root_).soft_edges);
  EXPECT_EQ(1U, contents(root_).smooth_edges);
  EXPECT_EQ(SU_ERROR_NONE, SUEdgeSetSoft(edges(root_)[0], false));
  EXPECT_EQ(17U, contents(root_).soft_edges);
}

TEST_F(FillTest, EdgesOfManyFaces) {
  // A book with five pages around the edge 0 1.
  std::vector<SUPoint3D> points = {{0, 0, 0}, {0, 0, 1}};
  Triangles faces;
  for (std::size_t page = 0; page < 5; ++page) {
    points.push_back({std::cos(static_cast<double>(page)), std::sin(static_cast<double>(page)), 0});
    faces.push_back({0, 1, page + 2});
  }
  fill(root_, points, faces);
  std::size_t count = 0;
  std::size_t spine = 0;
  for (SUEdgeRef const edge : edges(root_)) {
    SUEdgeGetNumFaces(edge, &count);
    if (count == 5) {
      ++spine;
      SUFaceRef found[8] = {};
      EXPECT_EQ(SU_ERROR_NONE, SUEdgeGetFaces(edge, 8, found, &count));
      EXPECT_EQ(5U, count);
      for (std::size_t face = 0; face < 5; ++face) {
        EXPECT_NE(nullptr, found[face].ptr);
        for (std::size_t other = 0; other < face; ++other) {
          EXPECT_NE(found[other].ptr, found[face].ptr);
        }
      }
      SUFaceRef two[2] = {};
      EXPECT_EQ(SU_ERROR_NONE, SUEdgeGetFaces(edge, 2, two, &count));
      EXPECT_EQ(2U, count);
      EXPECT_EQ(found[1].ptr, two[1].ptr);
    }
  }
  EXPECT_EQ(1U, spine);
}

TEST_F(FillTest, NormalsAreOfUnitLengthAndPointOutwards) {
  fill(root_, cube_points(), cube_faces());
  SUFaceRef faces[2] = {};
  std::size_t count = 0;
  for (SUEdgeRef const edge : edges(root_)) {
    SUEdgeGetFaces(edge, 2, faces, &count);
    for (SUFaceRef const face : faces) {
      SUVector3D normal = {};
      ASSERT_EQ(SU_ERROR_NONE, SUFaceGetNormal(face, &normal));
      EXPECT_DOUBLE_EQ(1, std::abs(normal.x) + std::abs(normal.y) + std::abs(normal.z));
    }
  }
  SUVector3D normal = {};
  SUFaceGetNormal({const_cast<Face*>(&inside().faces[2])}, &normal);
  EXPECT_EQ(1, normal.z);
}

TEST_F(FillTest, KeepsUVsPerCornerAndBothSides) {
  SUMaterialRef const red = add_material("Red", {255, 0, 0, 255});
  Look look;
  look.front = red;
  look.back = red;
  look.uvs = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  fill(root_, kSquare, kTwoTriangles, look);
  Face const& second = inside().faces[1];
  EXPECT_EQ(red.ptr, second.front);
  EXPECT_EQ(red.ptr, second.back);
  EXPECT_EQ(second.front_uvs, second.back_uvs);  // equal sides share theirs
  EXPECT_EQ(1, inside().uvs[second.front_uvs + 1].x);
  EXPECT_EQ(1, inside().uvs[second.front_uvs + 1].y);
  EXPECT_EQ(0, inside().uvs[second.front_uvs + 2].x);
}

TEST_F(FillTest, UVsBelongToVerticesWhateverTheirOrder) {
  SUMaterialRef const red = add_material("Red", {255, 0, 0, 255});
  SUGeometryInputRef input = make_input(kSquare, {{0, 1, 2}}, {});
  SUMaterialInput side = {};
  side.material = red;
  side.num_uv_coords = 3;
  for (std::size_t place = 0; place < 3; ++place) {
    side.vertex_indices[place] = 2 - place;
    side.uv_coords[place] = {static_cast<double>(place), 7};
  }
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputFaceSetFrontMaterial(input, 0, &side));
  SUEntitiesFill(root_, input, true);
  SUGeometryInputRelease(&input);
  EXPECT_EQ(2, inside().uvs[0].x);
  EXPECT_EQ(0, inside().uvs[2].x);
}

TEST_F(FillTest, ThreeUVsLayOutAPolygon) {
  SUMaterialRef const red = add_material("Red", {255, 0, 0, 255});
  SUGeometryInputRef input = make_input(kSquare, {{0, 1, 2, 3}}, {});
  SUMaterialInput side = {};
  side.material = red;
  side.num_uv_coords = 3;
  SUPoint2D const given[3] = {{0, 0}, {2, 0}, {2, 3}};
  for (std::size_t place = 0; place < 3; ++place) {
    side.vertex_indices[place] = place;
    side.uv_coords[place] = given[place];
  }
  SUGeometryInputFaceSetFrontMaterial(input, 0, &side);
  SUEntitiesFill(root_, input, true);
  SUGeometryInputRelease(&input);
  EXPECT_NEAR(0, inside().uvs[3].x, 1e-12);
  EXPECT_NEAR(3, inside().uvs[3].y, 1e-12);
}

TEST_F(FillTest, ManyFacesAreFoundAgain) {
  // A grid of 300 x 300 squares: v = 301², f = 180000, e = v + f - 1 by Euler.
  constexpr std::size_t kSide = 300;
  std::vector<SUPoint3D> points;
  Triangles faces;
  for (std::size_t y = 0; y <= kSide; ++y) {
    for (std::size_t x = 0; x <= kSide; ++x) {
      points.push_back({static_cast<double>(x), static_cast<double>(y), 0});
    }
  }
  for (std::size_t y = 0; y < kSide; ++y) {
    for (std::size_t x = 0; x < kSide; ++x) {
      std::size_t const at = y * (kSide + 1) + x;
      faces.push_back({at, at + 1, at + kSide + 2});
      faces.push_back({at, at + kSide + 2, at + kSide + 1});
    }
  }
  fill(root_, points, faces);
  EXPECT_EQ(points.size(), contents(root_).vertices);
  EXPECT_EQ(faces.size(), contents(root_).faces);
  EXPECT_EQ(points.size() + faces.size() - 1, contents(root_).edges);
}

}  // namespace

}  // namespace mirel::model::test
