// What the API answers to references, pointers, numbers and sizes that are wrong, and which objects are alive.
#include "tests/unit/model/model_fixture.h"

namespace mirel::model::test {

namespace {

class ReferencesTest : public ModelTest {};

MirelModelObjects objects() {
  MirelModelObjects result;
  mirel_model_objects(&result);
  return result;
}

TEST_F(ReferencesTest, CreatingNeedsAPlaceThatIsInvalid) {
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelCreate(nullptr));
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUModelCreate(&model_));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUGroupCreate(nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUMaterialCreate(nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SULoopInputCreate(nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUGeometryInputCreate(nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringCreate(nullptr));
  SUStringRef text = {};
  EXPECT_EQ(SU_ERROR_NONE, SUStringCreate(&text));
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUStringCreate(&text));
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUStringCreateFromUTF8(&text, "text"));
  EXPECT_EQ(SU_ERROR_NONE, SUStringRelease(&text));
  EXPECT_EQ(nullptr, text.ptr);
}

TEST_F(ReferencesTest, InvalidReferencesAreSaidToBe) {
  std::size_t count = 0;
  SUEntitiesRef entities = {};
  SUStringRef text = {};
  SUVector3D normal = {};
  SUTransformation const transform = translation(0, 0, 0);
  SUColor const color = {};
  SUComponentInstanceRef instance = {};
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetEntities({}, &entities));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelSaveToFile({}, "out.glb"));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetNumMaterials({}, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelFixErrors({}));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesFill({}, {}, true));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesAddGroup(root_, {}));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesAddInstance(root_, {}, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesGetNumEdges({}, false, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEdgeGetNumFaces({}, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEdgeSetSoft({}, true));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEdgeSetSmooth({}, true));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUFaceGetNormal({}, &normal));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGroupSetName({}, "name"));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGroupSetTransform({}, &transform));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGroupGetEntities({}, &entities));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUComponentDefinitionGetName({}, &text));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUComponentDefinitionCreateInstance({}, &instance));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUComponentInstanceSetTransform({}, &transform));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUMaterialSetColor({}, &color));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUMaterialSetTexture({}, {}));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SULoopInputAddVertexIndex({}, 0));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputSetVertices({}, 0, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringGetUTF8Length({}, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringRelease(&text));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUModelRelease(nullptr));
}

TEST_F(ReferencesTest, AReferenceToAnotherKindIsInvalid) {
  SUEntitiesRef entities = {};
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetEntities({root_.ptr}, &entities));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGroupSetName({model_.ptr}, "name"));
  fill(root_, cube_points(), cube_faces());
  SUVector3D normal = {};
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUFaceGetNormal({edges(root_)[0].ptr}, &normal));
}

TEST_F(ReferencesTest, AReleasedObjectIsInvalid) {
  SUStringRef text = {};
  SUStringCreateFromUTF8(&text, "text");
  SUStringRef stale = text;
  SUStringRelease(&text);
  std::size_t length = 0;
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringGetUTF8Length(stale, &length));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringRelease(&stale));
  SUModelRef const gone = model_;
  SUModelRelease(&model_);
  EXPECT_EQ(nullptr, model_.ptr);
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelSaveToFile(gone, "out.glb"));
}

TEST_F(ReferencesTest, NothingIsMadeOverAValidReference) {
  void* const taken = model_.ptr;
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const definition = add_definition("Chair", inside);
  SUGroupRef group = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUGroupCreate(&group));
  SUComponentDefinitionRef other = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUComponentDefinitionCreate(&other));
  SUComponentInstanceRef instance = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUComponentDefinitionCreateInstance(definition, &instance));
  SUMaterialRef material = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUMaterialCreate(&material));
  SUTextureRef texture = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUTextureCreateFromFile(&texture, "no/such/file.png", 1, 1));
  SULoopInputRef loop = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SULoopInputCreate(&loop));
  SUGeometryInputRef input = {taken};
  EXPECT_EQ(SU_ERROR_OVERWRITE_VALID, SUGeometryInputCreate(&input));
  for (void const* const kept : {group.ptr, other.ptr, instance.ptr, material.ptr, texture.ptr, loop.ptr, input.ptr}) {
    EXPECT_EQ(taken, kept);
  }
}

TEST_F(ReferencesTest, NullPointers) {
  SUMaterialRef const material = add_material("Red", {});
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUMaterialSetName(material, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUMaterialSetColor(material, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUMaterialGetName(material, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUModelSaveToFile(model_, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetEntities(model_, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetNumMaterials(model_, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetNumComponentDefinitions(model_, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUModelAddMaterials(model_, 1, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUModelAddComponentDefinitions(model_, 1, nullptr));
  std::size_t count = 0;
  SUMaterialRef materials[1] = {};
  SUComponentDefinitionRef definitions[1] = {};
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetMaterials(model_, 1, nullptr, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetMaterials(model_, 1, materials, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetComponentDefinitions(model_, 1, nullptr, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUModelGetComponentDefinitions(model_, 1, definitions, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUTextureCreateFromFile(nullptr, nullptr, 1, 1));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUTextureCreateFromFile(nullptr, "no/such/file.png", 1, 1));
}

TEST_F(ReferencesTest, NullPointersToStrings) {
  SUStringRef text = {};
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUStringCreateFromUTF8(&text, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringCreateFromUTF8(nullptr, "text"));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUStringRelease(nullptr));
  ASSERT_EQ(SU_ERROR_NONE, SUStringCreateFromUTF8(&text, "text"));
  std::size_t count = 0;
  char buffer[8] = {};
  int order = 7;
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringGetUTF8Length(text, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringGetUTF8(text, 8, nullptr, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringGetUTF8(text, 8, buffer, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringGetUTF8({}, 8, buffer, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUStringCompare(text, text, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringCompare(text, {}, &order));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUStringCompare({}, text, &order));
  EXPECT_EQ(7, order);
  EXPECT_EQ(SU_ERROR_NONE, SUStringRelease(&text));
}

TEST_F(ReferencesTest, NullPointersToGroupsAndComponents) {
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const definition = add_definition("Chair", inside);
  SUGroupRef group = {};
  SUComponentInstanceRef instance = {};
  ASSERT_EQ(SU_ERROR_NONE, SUGroupCreate(&group));
  ASSERT_EQ(SU_ERROR_NONE, SUEntitiesAddGroup(root_, group));
  ASSERT_EQ(SU_ERROR_NONE, SUComponentDefinitionCreateInstance(definition, &instance));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGroupSetName(group, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGroupSetTransform(group, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUGroupGetEntities(group, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUComponentDefinitionCreate(nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUComponentDefinitionSetName(definition, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUComponentDefinitionGetName(definition, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUComponentDefinitionGetEntities(definition, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUComponentDefinitionCreateInstance(definition, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUComponentInstanceSetTransform(instance, nullptr));
  // The name that an instance got has to go into a string.
  SUStringRef name = {};
  EXPECT_EQ(SU_ERROR_INVALID_OUTPUT, SUEntitiesAddInstance(root_, instance, &name));
  ASSERT_EQ(SU_ERROR_NONE, SUStringCreate(&name));
  EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddInstance(root_, instance, &name));
  EXPECT_EQ(SU_ERROR_NONE, SUStringRelease(&name));
}

TEST_F(ReferencesTest, NullPointersToGeometry) {
  SUGeometryInputRef input = make_input(cube_points(), {{0, 1, 2}}, {});
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGeometryInputSetVertices(input, 3, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGeometryInputFaceSetBackMaterial(input, 0, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGeometryInputRelease(nullptr));
  // The number of the new face is told only to who asks.
  SULoopInputRef loop = make_loop({0, 2, 3}, false);
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputAddFace(input, &loop, nullptr));
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputRelease(&input));
  EXPECT_EQ(nullptr, input.ptr);
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputRelease(&input));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesFill(root_, input, true));

  fill(root_, cube_points(), cube_faces());
  std::size_t count = 0;
  SUEdgeRef edge = {};
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEntitiesGetNumEdges(root_, false, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEntitiesGetEdges(root_, false, 1, nullptr, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEntitiesGetEdges(root_, false, 1, &edge, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesGetEdges({}, false, 1, &edge, &count));
  ASSERT_EQ(SU_ERROR_NONE, SUEntitiesGetEdges(root_, false, 1, &edge, &count));
  SUFaceRef face = {};
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEdgeGetNumFaces(edge, nullptr));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEdgeGetFaces(edge, 1, nullptr, &count));
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUEdgeGetFaces(edge, 1, &face, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEdgeGetFaces({}, 1, &face, &count));
  ASSERT_EQ(SU_ERROR_NONE, SUEdgeGetFaces(edge, 1, &face, &count));
  EXPECT_EQ(1U, count);
  EXPECT_EQ(SU_ERROR_NULL_POINTER_OUTPUT, SUFaceGetNormal(face, nullptr));
}

// Every function that takes a reference, given an invalid one where InvalidReferencesAreSaidToBe gives none.
TEST_F(ReferencesTest, MoreInvalidReferences) {
  std::size_t count = 0;
  SUEntitiesRef entities = {};
  SUStringRef text = {};
  SUModelRef none = {};
  SUMaterialRef material = {};
  SUComponentDefinitionRef definition = {};
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelRelease(&none));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelAddMaterials({}, 1, &material));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelAddMaterials(model_, 1, &material));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelAddComponentDefinitions({}, 1, &definition));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelAddComponentDefinitions(model_, 1, &definition));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetMaterials({}, 1, &material, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetNumComponentDefinitions({}, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUModelGetComponentDefinitions({}, 1, &definition, &count));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUComponentDefinitionSetName({}, "name"));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUComponentDefinitionGetEntities({}, &entities));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUMaterialSetName({}, "name"));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUMaterialGetName({}, &text));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUMaterialSetTexture(add_material("Red", {}), {}));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SULoopInputEdgeSetSoft({}, 0, true));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SULoopInputEdgeSetSmooth({}, 0, true));
  SULoopInputRef loop = make_loop({0, 1, 2}, false);
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputAddFace({}, &loop, &count));
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SULoopInputEdgeSetSmooth(loop, 3, true));
  SUGeometryInputRef input = make_input(cube_points(), {}, {});
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputAddFace(input, &loop, &count));
  SUMaterialInput const side = {};
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputFaceSetFrontMaterial({}, 0, &side));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputFaceSetBackMaterial({}, 0, &side));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUEntitiesFill({}, input, true));
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputRelease(&input));
}

TEST_F(ReferencesTest, ANameNeedsAStringToGoTo) {
  SUMaterialRef const material = add_material("Grüße", {});
  SUStringRef text = {};
  EXPECT_EQ(SU_ERROR_INVALID_OUTPUT, SUMaterialGetName(material, &text));
  SUStringCreate(&text);
  EXPECT_EQ(SU_ERROR_NONE, SUMaterialGetName(material, &text));
  std::size_t length = 0;
  EXPECT_EQ(SU_ERROR_NONE, SUStringGetUTF8Length(text, &length));
  EXPECT_EQ(7U, length);
  char buffer[8] = "zzzzzzz";
  EXPECT_EQ(SU_ERROR_NONE, SUStringGetUTF8(text, 8, buffer, &length));
  EXPECT_STREQ("Grüße", buffer);
  EXPECT_EQ(SU_ERROR_INSUFFICIENT_SIZE, SUStringGetUTF8(text, 2, buffer, &length));
  EXPECT_EQ(2U, length);
  SUStringRef same = {};
  SUStringCreateFromUTF8(&same, "Grüße");
  int order = 1;
  EXPECT_EQ(SU_ERROR_NONE, SUStringCompare(text, same, &order));
  EXPECT_EQ(0, order);
  SUStringRelease(&same);
  SUStringCreateFromUTF8(&same, "H");
  SUStringCompare(text, same, &order);
  EXPECT_LT(order, 0);
  SUStringRelease(&same);
  SUStringRelease(&text);
}

TEST_F(ReferencesTest, NumbersOutOfRange) {
  SULoopInputRef loop = make_loop({0, 1, 2, 3, 4, 5}, false);
  EXPECT_EQ(SU_ERROR_NONE, SULoopInputEdgeSetSoft(loop, 5, true));
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SULoopInputEdgeSetSoft(loop, 6, true));
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SULoopInputAddVertexIndex(loop, SIZE_MAX));
  SUGeometryInputRef input = make_input(cube_points(), {{0, 1, 2}}, {});
  SULoopInputRef beyond = make_loop({0, 1, 8}, false);
  std::size_t number = 77;
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUGeometryInputAddFace(input, &beyond, &number));
  EXPECT_NE(nullptr, beyond.ptr);
  SULoopInputRef two = make_loop({0, 1}, false);
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputAddFace(input, &two, &number));
  EXPECT_EQ(77U, number);
  EXPECT_EQ(SU_ERROR_NONE, SUGeometryInputAddFace(input, &loop, &number));
  EXPECT_EQ(1U, number);
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGeometryInputAddFace(input, nullptr, &number));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputAddFace(input, &loop, &number));

  SUMaterialInput side = {};
  EXPECT_EQ(SU_ERROR_NULL_POINTER_INPUT, SUGeometryInputFaceSetFrontMaterial(input, 0, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_INPUT, SUGeometryInputFaceSetFrontMaterial(input, 0, &side));
  side.material = add_material("Red", {});
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUGeometryInputFaceSetFrontMaterial(input, 2, &side));
  side.num_uv_coords = 5;
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUGeometryInputFaceSetBackMaterial(input, 0, &side));
  side.num_uv_coords = 1;
  side.vertex_indices[0] = 8;
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUGeometryInputFaceSetBackMaterial(input, 0, &side));
  // Fewer vertices than the faces that are there name.
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUGeometryInputSetVertices(input, 3, cube_points().data()));
  SUGeometryInputRelease(&input);
}

TEST_F(ReferencesTest, TexturesNeedAFileAndASize) {
  SUTextureRef texture = {};
  EXPECT_EQ(SU_ERROR_SERIALIZATION, SUTextureCreateFromFile(&texture, "no/such/file.png", 1, 1));
  EXPECT_EQ(SU_ERROR_SERIALIZATION, SUTextureCreateFromFile(&texture, "/", 1, 1));
  EXPECT_EQ(SU_ERROR_SERIALIZATION, SUTextureCreateFromFile(&texture, "/dev/null", 1, 1));
  EXPECT_EQ(SU_ERROR_OUT_OF_RANGE, SUTextureCreateFromFile(&texture, "no/such/file.png", 0, 1));
  EXPECT_EQ(nullptr, texture.ptr);
}

TEST_F(ReferencesTest, NothingHasTwoOwners) {
  SUGroupRef group = {};
  SUGroupCreate(&group);
  EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddGroup(root_, group));
  EXPECT_EQ(SU_ERROR_DUPLICATE, SUEntitiesAddGroup(root_, group));
  SUMaterialRef const material = add_material("Red", {});
  EXPECT_EQ(SU_ERROR_DUPLICATE, SUModelAddMaterials(model_, 1, &material));
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const definition = add_definition("Chair", inside);
  EXPECT_EQ(SU_ERROR_DUPLICATE, SUModelAddComponentDefinitions(model_, 1, &definition));
  SUComponentInstanceRef instance = {};
  SUComponentDefinitionCreateInstance(definition, &instance);
  EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddInstance(root_, instance, nullptr));
  EXPECT_EQ(SU_ERROR_DUPLICATE, SUEntitiesAddInstance(root_, instance, nullptr));
}

TEST_F(ReferencesTest, NothingContainsItself) {
  SUEntitiesRef outer_entities = {};
  SUEntitiesRef inner_entities = {};
  SUComponentDefinitionRef const outer = add_definition("Outer", outer_entities);
  SUComponentDefinitionRef const inner = add_definition("Inner", inner_entities);
  SUEntitiesRef const group = add_group(outer_entities, "Group", translation(0, 0, 0));
  add_instance(group, inner, translation(0, 0, 0));
  SUComponentInstanceRef instance = {};
  SUComponentDefinitionCreateInstance(outer, &instance);
  EXPECT_EQ(SU_ERROR_INVALID_OPERATION, SUEntitiesAddInstance(group, instance, nullptr));
  EXPECT_EQ(SU_ERROR_INVALID_OPERATION, SUEntitiesAddInstance(inner_entities, instance, nullptr));
  EXPECT_EQ(SU_ERROR_NONE, SUEntitiesAddInstance(root_, instance, nullptr));

  SUGroupRef loop = {};
  SUGroupCreate(&loop);
  SUEntitiesRef inside = {};
  SUGroupGetEntities(loop, &inside);
  EXPECT_EQ(SU_ERROR_INVALID_OPERATION, SUEntitiesAddGroup(inside, loop));
  SUEntitiesAddGroup(root_, loop);
}

TEST_F(ReferencesTest, AModelTakesEverythingWithIt) {
  MirelModelObjects const before = objects();
  SUModelRef model = {};
  SUModelCreate(&model);
  std::swap(model, model_);
  SUEntitiesRef root = {};
  SUModelGetEntities(model_, &root);
  std::swap(root, root_);
  add_material("Red", {});
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const definition = add_definition("Chair", inside);
  fill(inside, cube_points(), cube_faces());
  add_instance(root_, definition, translation(1, 2, 3));
  SUEntitiesRef const group = add_group(root_, "Legs", translation(4, 5, 6));
  add_instance(group, definition, translation(0, 0, 0));
  MirelModelObjects const during = objects();
  EXPECT_EQ(before.definitions + 1, during.definitions);
  EXPECT_EQ(before.instances + 2, during.instances);
  EXPECT_EQ(before.groups + 1, during.groups);
  EXPECT_EQ(before.entities + 3, during.entities);

  double transform[16];
  mirel_model_transform(mirel_model_instance(root_.ptr, 0), transform);
  EXPECT_EQ(3, transform[14]);
  EXPECT_EQ(definition.ptr, mirel_model_instance_definition(mirel_model_instance(root_.ptr, 0)));
  EXPECT_STREQ("Legs", mirel_model_group_name(mirel_model_group(root_.ptr, 0)));
  EXPECT_EQ(nullptr, mirel_model_group(root_.ptr, 1));

  SUModelRelease(&model_);
  std::swap(model, model_);
  std::swap(root, root_);
  MirelModelObjects const after = objects();
  EXPECT_EQ(before.models, after.models);
  EXPECT_EQ(before.entities, after.entities);
  EXPECT_EQ(before.groups, after.groups);
  EXPECT_EQ(before.definitions, after.definitions);
  EXPECT_EQ(before.instances, after.instances);
  EXPECT_EQ(before.materials, after.materials);
  EXPECT_EQ(before.loop_inputs, after.loop_inputs);
  EXPECT_EQ(before.geometry_inputs, after.geometry_inputs);
}

}  // namespace

}  // namespace mirel::model::test
