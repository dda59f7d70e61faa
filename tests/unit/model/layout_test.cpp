// Layouts and numbers that object code shares with the host: they are fixed, whatever the library behind them.
#include <SketchUpAPI/sketchup.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace mirel::model::test {

namespace {

// A reference goes by value in one register: one pointer, and nothing that a compiler would pass by address.
template <typename Reference>
constexpr bool is_one_pointer() {
  return sizeof(Reference) == sizeof(void*) && std::is_trivially_copyable_v<Reference> &&
         std::is_standard_layout_v<Reference>;
}

TEST(Layout, ReferencesAreOnePointer) {
  EXPECT_TRUE((is_one_pointer<SUModelRef>() && is_one_pointer<SUEntitiesRef>() && is_one_pointer<SUFaceRef>() &&
               is_one_pointer<SUEdgeRef>()));
  EXPECT_TRUE((is_one_pointer<SUGroupRef>() && is_one_pointer<SUComponentDefinitionRef>() &&
               is_one_pointer<SUComponentInstanceRef>() && is_one_pointer<SUMaterialRef>()));
  EXPECT_TRUE((is_one_pointer<SUTextureRef>() && is_one_pointer<SUGeometryInputRef>() &&
               is_one_pointer<SULoopInputRef>() && is_one_pointer<SUStringRef>()));
}

TEST(Layout, Records) {
  EXPECT_EQ(4U, sizeof(SUColor));
  EXPECT_EQ(0U, offsetof(SUColor, red));
  EXPECT_EQ(1U, offsetof(SUColor, green));
  EXPECT_EQ(2U, offsetof(SUColor, blue));
  EXPECT_EQ(3U, offsetof(SUColor, alpha));
  EXPECT_EQ(2 * sizeof(double), sizeof(SUPoint2D));
  EXPECT_EQ(3 * sizeof(double), sizeof(SUPoint3D));
  EXPECT_EQ(3 * sizeof(double), sizeof(SUVector3D));
  EXPECT_EQ(16 * sizeof(double), sizeof(SUTransformation));
  std::size_t const words = sizeof(std::size_t);
  EXPECT_EQ(0U, offsetof(SUMaterialInput, num_uv_coords));
  EXPECT_EQ(8U, offsetof(SUMaterialInput, uv_coords));
  EXPECT_EQ(8 + 8 * sizeof(double), offsetof(SUMaterialInput, vertex_indices));
  EXPECT_EQ(8 + 8 * sizeof(double) + 4 * words, offsetof(SUMaterialInput, material));
}

TEST(Layout, ResultsAreNumbered) {
  EXPECT_EQ(sizeof(int), sizeof(SUResult));
  int expected = 0;
  for (SUResult const result : {SU_ERROR_NONE,
                                SU_ERROR_NULL_POINTER_INPUT,
                                SU_ERROR_INVALID_INPUT,
                                SU_ERROR_NULL_POINTER_OUTPUT,
                                SU_ERROR_INVALID_OUTPUT,
                                SU_ERROR_OVERWRITE_VALID,
                                SU_ERROR_GENERIC,
                                SU_ERROR_SERIALIZATION,
                                SU_ERROR_OUT_OF_RANGE,
                                SU_ERROR_NO_DATA,
                                SU_ERROR_INSUFFICIENT_SIZE,
                                SU_ERROR_UNKNOWN_EXCEPTION,
                                SU_ERROR_MODEL_INVALID,
                                SU_ERROR_MODEL_VERSION,
                                SU_ERROR_LAYER_LOCKED,
                                SU_ERROR_DUPLICATE,
                                SU_ERROR_PARTIAL_SUCCESS,
                                SU_ERROR_UNSUPPORTED,
                                SU_ERROR_INVALID_ARGUMENT,
                                SU_ERROR_ENTITY_LOCKED,
                                SU_ERROR_INVALID_OPERATION}) {
    EXPECT_EQ(expected++, static_cast<int>(result));
  }
}

// The signatures themselves: a function of another one would not fit its pointer.
TEST(Layout, Signatures) {
  SUResult (*const add_face)(SUGeometryInputRef, SULoopInputRef*, std::size_t*) = SUGeometryInputAddFace;
  SUResult (*const front)(SUGeometryInputRef, std::size_t, SUMaterialInput const*) =
      SUGeometryInputFaceSetFrontMaterial;
  SUResult (*const vertices)(SUGeometryInputRef, std::size_t, SUPoint3D const*) = SUGeometryInputSetVertices;
  SUResult (*const fill)(SUEntitiesRef, SUGeometryInputRef, bool) = SUEntitiesFill;
  SUResult (*const get_edges)(SUEntitiesRef, bool, std::size_t, SUEdgeRef*, std::size_t*) = SUEntitiesGetEdges;
  SUResult (*const add_instance)(SUEntitiesRef, SUComponentInstanceRef, SUStringRef*) = SUEntitiesAddInstance;
  SUResult (*const texture)(SUTextureRef*, char const*, double, double) = SUTextureCreateFromFile;
  SUResult (*const color)(SUMaterialRef, SUColor const*) = SUMaterialSetColor;
  SUResult (*const text)(SUStringRef, std::size_t, char*, std::size_t*) = SUStringGetUTF8;
  SUResult (*const compare)(SUStringRef, SUStringRef, int*) = SUStringCompare;
  EXPECT_TRUE(add_face && front && vertices && fill && get_edges && add_instance && texture && color && text &&
              compare);
}

}  // namespace

}  // namespace mirel::model::test
