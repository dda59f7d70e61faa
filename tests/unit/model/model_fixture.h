// A model and short ways to put things into it, through the C API alone.
#pragma once

#include <SketchUpAPI/sketchup.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "standalone/model/mirel_model.h"

namespace mirel::model::test {

using Triangles = std::vector<std::vector<std::size_t>>;

inline SUTransformation translation(double x, double y, double z) {
  return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1}};
}

// How all faces of a filling look.
struct Look {
  SUMaterialRef front = {};
  SUMaterialRef back = {};
  std::vector<SUPoint2D> uvs = {};  // per vertex; none for no UVs
  bool is_smooth = false;
};

class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(SU_ERROR_NONE, SUModelCreate(&model_));
    ASSERT_EQ(SU_ERROR_NONE, SUModelGetEntities(model_, &root_));
  }
  void TearDown() override {
    if (model_.ptr != nullptr) {
      EXPECT_EQ(SU_ERROR_NONE, SUModelRelease(&model_));
    }
  }

  static SULoopInputRef make_loop(std::vector<std::size_t> const& vertices, bool is_smooth) {
    SULoopInputRef loop = {};
    EXPECT_EQ(SU_ERROR_NONE, SULoopInputCreate(&loop));
    for (std::size_t const vertex : vertices) {
      EXPECT_EQ(SU_ERROR_NONE, SULoopInputAddVertexIndex(loop, vertex));
    }
    for (std::size_t edge = 0; edge < vertices.size(); ++edge) {
      EXPECT_EQ(SU_ERROR_NONE, SULoopInputEdgeSetSoft(loop, edge, is_smooth));
      EXPECT_EQ(SU_ERROR_NONE, SULoopInputEdgeSetSmooth(loop, edge, is_smooth));
    }
    return loop;
  }

  static SUGeometryInputRef make_input(std::vector<SUPoint3D> const& points, Triangles const& faces, Look const& look) {
    SUGeometryInputRef input = {};
    EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputCreate(&input));
    EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputSetVertices(input, points.size(), points.data()));
    for (auto const& face : faces) {
      SULoopInputRef loop = make_loop(face, look.is_smooth);
      std::size_t number = 0;
      EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputAddFace(input, &loop, &number));
      EXPECT_EQ(nullptr, loop.ptr);
      SUMaterialInput side = {};
      for (std::size_t corner = 0; corner < face.size() && corner < 4; ++corner) {
        side.vertex_indices[corner] = face[corner];
        if (!look.uvs.empty()) {
          side.uv_coords[side.num_uv_coords++] = look.uvs[face[corner]];
        }
      }
      if (look.front.ptr != nullptr) {
        side.material = look.front;
        EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputFaceSetFrontMaterial(input, number, &side));
      }
      if (look.back.ptr != nullptr) {
        side.material = look.back;
        EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputFaceSetBackMaterial(input, number, &side));
      }
    }
    return input;
  }

  static void fill(SUEntitiesRef entities, std::vector<SUPoint3D> const& points, Triangles const& faces,
                   Look const& look = {}, bool weld = true) {
    SUGeometryInputRef input = make_input(points, faces, look);
    EXPECT_EQ(SU_ERROR_NONE, SUEntitiesFill(entities, input, weld));
    EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputRelease(&input));
  }

  // A cube of edge length 2 around the origin, eight vertices, twelve triangles.
  static std::vector<SUPoint3D> cube_points() {
    std::vector<SUPoint3D> points;
    for (int number = 0; number < 8; ++number) {
      points.push_back(
          {(number & 1) != 0 ? 1.0 : -1.0, (number & 2) != 0 ? 1.0 : -1.0, (number & 4) != 0 ? 1.0 : -1.0});
    }
    return points;
  }
  static Triangles cube_faces() {
    return {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
            {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
  }

  SUMaterialRef add_material(char const* name, SUColor color, char const* texture = nullptr) {
    SUMaterialRef material = {};
    EXPECT_EQ(SU_ERROR_NONE, SUMaterialCreate(&material));
    EXPECT_EQ(SU_ERROR_NONE, SUMaterialSetName(material, name));
    EXPECT_EQ(SU_ERROR_NONE, SUMaterialSetColor(material, &color));
    if (texture != nullptr) {
      SUTextureRef image = {};
      EXPECT_EQ(SU_ERROR_NONE, SUTextureCreateFromFile(&image, texture, 2, 4));
      EXPECT_EQ(SU_ERROR_NONE, SUMaterialSetTexture(material, image));
    }
    EXPECT_EQ(SU_ERROR_NONE, SUModelAddMaterials(model_, 1, &material));
    return material;
  }

  SUComponentDefinitionRef add_definition(char const* name, SUEntitiesRef& entities) {
    SUComponentDefinitionRef definition = {};
    EXPECT_EQ(SU_ERROR_NONE, SUComponentDefinitionCreate(&definition));
    EXPECT_EQ(SU_ERROR_NONE, SUModelAddComponentDefinitions(model_, 1, &definition));
    EXPECT_EQ(SU_ERROR_NONE, SUComponentDefinitionSetName(definition, name));
    EXPECT_EQ(SU_ERROR_NONE, SUComponentDefinitionGetEntities(definition, &entities));
    return definition;
  }

  static void add_instance(SUEntitiesRef place, SUComponentDefinitionRef definition,
                           SUTransformation const& transform) {
    SUComponentInstanceRef instance = {};
    EXPECT_EQ(SU_ERROR_NONE, SUComponentDefinitionCreateInstance(definition, &instance));
    EXPECT_EQ(SU_ERROR_NONE, SUComponentInstanceSetTransform(instance, &transform));
    EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddInstance(place, instance, nullptr));
  }

  static SUEntitiesRef add_group(SUEntitiesRef place, char const* name, SUTransformation const& transform) {
    SUGroupRef group = {};
    EXPECT_EQ(SU_ERROR_NONE, SUGroupCreate(&group));
    EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddGroup(place, group));
    EXPECT_EQ(SU_ERROR_NONE, SUGroupSetName(group, name));
    EXPECT_EQ(SU_ERROR_NONE, SUGroupSetTransform(group, &transform));
    SUEntitiesRef entities = {};
    EXPECT_EQ(SU_ERROR_NONE, SUGroupGetEntities(group, &entities));
    return entities;
  }

  static MirelModelContents contents(SUEntitiesRef entities) {
    MirelModelContents result;
    mirel_model_contents(entities.ptr, &result);
    return result;
  }

  static std::vector<SUEdgeRef> edges(SUEntitiesRef entities) {
    std::size_t count = 0;
    EXPECT_EQ(SU_ERROR_NONE, SUEntitiesGetNumEdges(entities, false, &count));
    std::vector<SUEdgeRef> result(count + 1);
    EXPECT_EQ(SU_ERROR_NONE, SUEntitiesGetEdges(entities, false, count, result.data(), &count));
    result.resize(count);
    return result;
  }

  SUModelRef model_ = {};
  SUEntitiesRef root_ = {};
};

}  // namespace mirel::model::test
