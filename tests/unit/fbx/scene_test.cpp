// What connections, properties and layers make of a file.
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

#include "tests/unit/fbx/fbx_file.h"

namespace {

using namespace fbx_test;
using namespace fbxsdk;

std::vector<double> const kTriangle = {0, 0, 0, 1, 0, 0, 0, 1, 0};
Item text(char const* value) {
  return std::string(value);
}

Loaded load(std::vector<Node> const& nodes) {
  return Loaded(write_file(nodes, Form()));
}

TEST(Scene, KeepsChildrenMaterialsAndAttributesInTheOrderOfTheConnections) {
  auto const material = [](std::int64_t id, std::string const& name) {
    return Node{"Material", {id, "Material::" + name, std::string()}, {leaf("ShadingModel", std::string("lambert"))}};
  };
  Loaded const file = load(scene({model(1, "a"),
                                  model(2, "b"),
                                  model(3, "c"),
                                  geometry(10, kTriangle, {0, 1, -3}),
                                  {"NodeAttribute", {std::int64_t{11}, text("NodeAttribute::l"), text("Light")}},
                                  material(20, "x"),
                                  material(21, "y")},
                                 {connect(3, 0), connect(1, 3), connect(2, 3), connect(21, 1), connect(20, 1),
                                  connect(11, 1), connect(10, 1), connect(10, 2)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxNode* const c = file.child(0);
  ASSERT_EQ(2, c->GetChildCount());
  EXPECT_EQ(4, file.scene->GetNodeCount());
  EXPECT_EQ(3, file.scene->GetRootNode()->GetChildCount(true));
  FbxNode* const a = c->GetChild(0);
  EXPECT_STREQ("a", a->GetName());
  EXPECT_EQ(c, a->GetParent());
  ASSERT_EQ(2, a->GetMaterialCount());
  EXPECT_STREQ("y", a->GetMaterial(0)->GetName());
  EXPECT_EQ(nullptr, a->GetMaterial(2));
  ASSERT_EQ(2, a->GetNodeAttributeCount());
  EXPECT_EQ(FbxNodeAttribute::eLight, a->GetNodeAttributeByIndex(0)->GetAttributeType());
  // One geometry at two nodes.
  EXPECT_EQ(a->GetNodeAttributeByIndex(1), c->GetChild(1)->GetNodeAttribute());
  EXPECT_EQ(2, a->GetNodeAttributeByIndex(1)->GetNodeCount());
}

TEST(Scene, GivesEveryObjectALowNumberOfItsOwn) {
  // Numbers of the file that differ only above 32 bits.
  std::int64_t const high = std::int64_t{1} << 32;
  std::string const bytes =
      write_file(scene({model(7, "a"), model(high + 7, "b"), geometry(2 * high + 7, kTriangle, {0, 1, -3})},
                       {connect(7, 0), connect(high + 7, 7), connect(2 * high + 7, high + 7)}),
                 Form());
  std::set<std::uint32_t> low;
  std::vector<FbxUInt64> first;
  for (int round = 0; round < 2; ++round) {
    Loaded const file(bytes);
    ASSERT_TRUE(file.ok);
    FbxNode* const b = file.child(0)->GetChild(0);
    std::vector<FbxUInt64> const ids = {file.child(0)->GetUniqueID(), b->GetUniqueID(),
                                        b->GetNodeAttribute()->GetUniqueID()};
    for (FbxUInt64 const id : ids) low.insert(static_cast<std::uint32_t>(id));
    EXPECT_EQ(3u, low.size());
    if (round == 1) {
      EXPECT_EQ(first, ids);
    }
    first = ids;
  }
}

TEST(Scene, RefusesCyclesAndHierarchiesTooDeep) {
  EXPECT_EQ("The hierarchy of nodes is cyclic",
            load(scene({model(1, "a"), model(2, "b")}, {connect(1, 2), connect(2, 1)})).error);
  EXPECT_EQ("The hierarchy of nodes is cyclic", load(scene({model(1, "a")}, {connect(1, 1)})).error);
  std::vector<Node> nodes;
  std::vector<Node> connections;
  for (std::int64_t k = 1; k <= 1200; ++k) {
    nodes.push_back(model(k, "n"));
    connections.push_back(connect(k, k - 1));
  }
  EXPECT_EQ("The hierarchy of nodes is too deep", load(scene(nodes, connections)).error);
}

TEST(Scene, TakesTheFirstOfSeveralParentsAndObjectsOfOneNumber) {
  Loaded const file = load(scene({model(1, "a"), model(2, "b"), model(2, "other")},
                                 {connect(1, 0), connect(2, 1), connect(2, 0), connect(99, 0), connect(1, 98)}));
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_EQ(1, file.scene->GetRootNode()->GetChildCount());
  EXPECT_STREQ("b", file.child(0)->GetChild(0)->GetName());
}

TEST(Scene, KnowsTheRootByTheNumberOfTheDocument) {
  std::vector<Node> nodes = scene({model(1, "a")}, {connect(1, 500)});
  nodes.insert(
      nodes.begin(),
      {"Documents",
       {},
       {leaf("Count", 1),
        {"Document", {std::int64_t{600}, text("Scene"), text("Scene")}, {leaf("RootNode", std::int64_t{500})}}}});
  Loaded const file = load(nodes);
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_EQ(2, file.scene->GetNodeCount());
}

TEST(Scene, KeepsTheVisibility) {
  Loaded const file = load(scene({model(1, "a", {property("Visibility", "Visibility", {0.0})})}, {connect(1, 0)}));
  ASSERT_TRUE(file.ok);
  FbxProperty const visibility = file.child(0)->FindProperty("Visibility");
  ASSERT_TRUE(visibility.IsValid());
  EXPECT_FALSE(visibility.Get<FbxBool>());
}

TEST(Scene, LeavesOutNodesWithoutAWayToTheRoot) {
  Loaded const file = load(scene({model(1, "a"), model(2, "b"), model(3, "c")}, {connect(1, 0), connect(3, 2)}));
  ASSERT_TRUE(file.ok);
  EXPECT_EQ(2, file.scene->GetNodeCount());
}

TEST(Scene, TakesNoPlaceThatIsNoNumber) {
  double const infinity = std::numeric_limits<double>::infinity();
  double const none = std::numeric_limits<double>::quiet_NaN();
  Loaded const file = load(scene({model(1, "a",
                                        {property("Lcl Translation", "Lcl Translation", {1.0, none, 3.0}),
                                         property("Lcl Rotation", "Lcl Rotation", {infinity, 0.0, 0.0}),
                                         property("Lcl Scaling", "Lcl Scaling", {2.0, 2.0, 2.0}),
                                         property("GeometricTranslation", "Vector3D", {0.0, 0.0, -infinity})})},
                                 {connect(1, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxAMatrix const& local = file.child(0)->EvaluateLocalTransform();
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      EXPECT_EQ(row != column ? 0.0 : row == 3 ? 1.0 : 2.0, local.Get(row, column)) << row << ' ' << column;
    }
  }
  EXPECT_EQ(0.0, file.child(0)->GetGeometricTranslation(FbxNode::eSourcePivot)[2]);
}

TEST(Scene, TakesDefaultsFromTheTemplates) {
  std::vector<Node> nodes =
      scene({model(1, "a"),
             {"Material", {std::int64_t{2}, text("Material::m"), text("")}, {leaf("ShadingModel", text("Phong"))}}},
            {connect(1, 0), connect(2, 1)});
  auto const definition = [](char const* type, char const* class_name, std::vector<Node> list) {
    return Node{"ObjectType", {text(type)}, {{"PropertyTemplate", {text(class_name)}, {properties(std::move(list))}}}};
  };
  nodes.insert(nodes.begin(),
               {"Definitions",
                {},
                {definition("Model", "FbxNode",
                            {property("Lcl Scaling", "Lcl Scaling", {2.0, 2.0, 2.0}),
                             property("GeometricTranslation", "Vector3D", {0.0, 0.0, 7.0})}),
                 definition("Material", "FbxSurfacePhong", {property("DiffuseColor", "Color", {0.25, 0.5, 0.75})})}});
  Loaded const file = load(nodes);
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_EQ(2.0, file.child(0)->EvaluateLocalTransform().Get(0, 0));
  EXPECT_EQ(7.0, file.child(0)->GetGeometricTranslation(FbxNode::eSourcePivot)[2]);
  FbxSurfacePhong* const phong = FbxCast<FbxSurfacePhong>(file.child(0)->GetMaterial(0));
  ASSERT_NE(nullptr, phong);
  EXPECT_TRUE(phong->GetClassId().Is(FbxSurfaceLambert::ClassId));
  EXPECT_EQ(0.5, phong->Diffuse.Get()[1]);
}

Node material(std::int64_t id, char const* shading, std::vector<Node> list) {
  return {"Material",
          {id, text("Material::m"), text("")},
          {leaf("ShadingModel", text(shading)), properties(std::move(list))}};
}

TEST(Materials, HaveTheClassOfTheirShadingModel) {
  Loaded const file = load(scene({model(1, "a"), material(2, "lambert", {}),
                                  material(3, "unknown", {property("DiffuseColor", "Vector3D", {0.1, 0.2, 0.3})}),
                                  material(4, "stingray", {property("diffusecolor", "Color", {1.0, 1.0, 1.0})})},
                                 {connect(1, 0), connect(2, 1), connect(3, 1), connect(4, 1)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxNode* const node = file.child(0);
  FbxSurfaceLambert* const lambert = FbxCast<FbxSurfaceLambert>(node->GetMaterial(0));
  ASSERT_NE(nullptr, lambert);
  EXPECT_EQ(nullptr, FbxCast<FbxSurfacePhong>(node->GetMaterial(0)));
  EXPECT_EQ(0.8, lambert->Diffuse.Get()[0]);
  EXPECT_EQ(nullptr, FbxCast<FbxSurfaceLambert>(node->GetMaterial(1)));
  FbxProperty const diffuse = node->GetMaterial(1)->FindProperty("DiffuseColor", true);
  EXPECT_EQ(eFbxDouble3, diffuse.GetPropertyDataType().GetType());
  EXPECT_EQ(0.3, diffuse.Get<FbxDouble3>()[2]);
  EXPECT_STREQ("DiffuseColor", diffuse.GetName());
  EXPECT_FALSE(node->GetMaterial(2)->FindProperty("DiffuseColor", true).IsValid());
  EXPECT_TRUE(node->GetMaterial(2)->FindProperty("DiffuseColor", false).IsValid());
}

TEST(Materials, KnowTheirShaders) {
  auto const implementation = [](std::int64_t id, char const* language) {
    return Node{"Implementation",
                {id, text("Implementation::i"), text("")},
                {properties({property("ShaderLanguage", "KString", {text(language)})})}};
  };
  Loaded const file =
      load(scene({model(1, "a"), material(2, "unknown", {}), material(3, "unknown", {}), material(4, "phong", {}),
                  implementation(5, "HLSL"), implementation(6, "CGFX")},
                 {connect(1, 0), connect(2, 1), connect(3, 1), connect(4, 1), connect(2, 5), connect(6, 3)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxNode* const node = file.child(0);
  EXPECT_NE(nullptr, GetImplementation(node->GetMaterial(0), FBXSDK_IMPLEMENTATION_HLSL));
  EXPECT_EQ(nullptr, GetImplementation(node->GetMaterial(0), FBXSDK_IMPLEMENTATION_CGFX));
  EXPECT_NE(nullptr, GetImplementation(node->GetMaterial(1), FBXSDK_IMPLEMENTATION_CGFX));
  EXPECT_EQ(nullptr, GetImplementation(node->GetMaterial(2), FBXSDK_IMPLEMENTATION_HLSL));
  EXPECT_EQ(nullptr, GetImplementation(nullptr, FBXSDK_IMPLEMENTATION_HLSL));
}

TEST(Textures, HaveAllTheirFields) {
  Node const texture = {
      "Texture",
      {std::int64_t{3}, text("Texture::t"), text("")},
      {properties({property("TextureTypeUse", "enum", {2}), property("Texture alpha", "Number", {0.5}),
                   property("CurrentMappingType", "enum", {3}), property("UVSwap", "bool", {1}),
                   property("Translation", "Vector", {0.25, 0.5, 0.0}),
                   property("Rotation", "Vector", {10.0, 20.0, 30.0}), property("Scaling", "Vector", {2.0, 3.0, 1.0}),
                   property("UseMaterial", "bool", {0})}),
       leaf("FileName", text("C:\\x\\y.png")),
       leaf("RelativeFilename", text("y.png")),
       {"Cropping", {1, 2, 3, 4}},
       leaf("Texture_Alpha_Source", text("Alpha_Black"))}};
  Node const layered = {"LayeredTexture",
                        {std::int64_t{4}, text("LayeredTexture::l"), text("")},
                        {leaf("BlendModes", std::vector<int>{4, 77})}};
  Node const procedural = {"ProceduralTexture", {std::int64_t{5}, text("ProceduralTexture::p"), text("")}};
  Node const plain = {
      "Texture", {std::int64_t{6}, text("Texture::u"), text("")}, {leaf("ModelUVScaling", std::vector<int>{4, 5})}};
  Node const video = {"Video", {std::int64_t{7}, text("Video::v"), text("Clip")}, {leaf("FileName", text("v.jpg"))}};
  Loaded const file =
      load(scene({model(1, "a"), material(2, "phong", {property("Bump", "Vector3D", {0.0, 0.0, 0.0})}), texture,
                  layered, procedural, plain, video},
                 {connect(1, 0), connect(2, 1), connect(4, 2, "DiffuseColor"), connect(3, 2, "DiffuseColor"),
                  connect(3, 4), connect(6, 4), connect(5, 2, "Bump"), connect(7, 6)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxProperty const diffuse = file.child(0)->GetMaterial(0)->FindProperty(FbxSurfaceMaterial::sDiffuse);
  ASSERT_EQ(2, diffuse.GetSrcObjectCount<FbxTexture>());
  EXPECT_EQ(1, diffuse.GetSrcObjectCount<FbxLayeredTexture>());
  FbxLayeredTexture* const layers = diffuse.GetSrcObject<FbxLayeredTexture>(0);
  ASSERT_NE(nullptr, layers);
  EXPECT_EQ(layers, diffuse.GetSrcObject<FbxTexture>(0));
  EXPECT_EQ(nullptr, FbxCast<FbxFileTexture>(diffuse.GetSrcObject<FbxTexture>(0)));
  EXPECT_EQ(2, layers->GetSrcObjectCount<FbxTexture>());
  FbxLayeredTexture::EBlendMode mode = FbxLayeredTexture::eHue;
  EXPECT_TRUE(layers->GetTextureBlendMode(0, mode));
  EXPECT_EQ(FbxLayeredTexture::eOver, mode);
  EXPECT_TRUE(layers->GetTextureBlendMode(1, mode));
  EXPECT_EQ(FbxLayeredTexture::eNormal, mode);
  EXPECT_FALSE(layers->GetTextureBlendMode(2, mode));
  FbxFileTexture* const t = FbxCast<FbxFileTexture>(diffuse.GetSrcObject<FbxTexture>(1));
  ASSERT_NE(nullptr, t);
  EXPECT_STREQ("t", t->GetName());
  EXPECT_STREQ("C:\\x\\y.png", t->GetFileName());
  EXPECT_STREQ("y.png", t->GetRelativeFileName());
  EXPECT_EQ(FbxFileTexture::eDefaultMaterial, t->GetMaterialUse());
  EXPECT_EQ(2.0, t->GetScaleU());
  EXPECT_EQ(3.0, t->GetScaleV());
  EXPECT_EQ(0.25, t->GetTranslationU());
  EXPECT_EQ(0.5, t->GetTranslationV());
  EXPECT_EQ(10.0, t->GetRotationU());
  EXPECT_EQ(20.0, t->GetRotationV());
  EXPECT_EQ(30.0, t->GetRotationW());
  EXPECT_TRUE(t->GetSwapUV());
  EXPECT_EQ(FbxTexture::eBlack, t->GetAlphaSource());
  EXPECT_EQ(1, t->GetCroppingLeft());
  EXPECT_EQ(2, t->GetCroppingTop());
  EXPECT_EQ(3, t->GetCroppingRight());
  EXPECT_EQ(4, t->GetCroppingBottom());
  EXPECT_EQ(FbxTexture::ePlanar, t->GetMappingType());
  EXPECT_EQ(FbxTexture::ePlanarNormalY, t->GetPlanarMappingNormal());
  EXPECT_EQ(0.5, t->GetDefaultAlpha());
  EXPECT_EQ(FbxTexture::eLightMap, t->GetTextureUse());
  FbxFileTexture* const u = FbxCast<FbxFileTexture>(layers->GetSrcObject<FbxTexture>(1));
  ASSERT_NE(nullptr, u);
  EXPECT_EQ(5.0, u->GetScaleV());
  EXPECT_EQ(FbxTexture::eUV, u->GetMappingType());
  EXPECT_STREQ("v.jpg", u->GetFileName());
  FbxProperty const bump = file.child(0)->GetMaterial(0)->FindProperty("Bump");
  EXPECT_NE(nullptr, FbxCast<FbxProceduralTexture>(bump.GetSrcObject<FbxTexture>(0)));
}

TEST(Textures, TakeTheRelativeNameWhereThereIsNoOther) {
  Node const texture = {"Texture",
                        {std::int64_t{3}, text("Texture::t"), text("")},
                        {leaf("FileName", text("")), leaf("RelativeFilename", text("maps\\y.png"))}};
  Loaded const file = load(scene({model(1, "a"), material(2, "phong", {}), texture},
                                 {connect(1, 0), connect(2, 1), connect(3, 2, "DiffuseColor")}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxProperty const diffuse = file.child(0)->GetMaterial(0)->FindProperty("DiffuseColor");
  FbxFileTexture* const found = FbxCast<FbxFileTexture>(diffuse.GetSrcObject<FbxTexture>(0));
  ASSERT_NE(nullptr, found);
  EXPECT_STREQ("maps\\y.png", found->GetFileName());
}

// Version 6 tells by polygon which of the node's textures is meant.
TEST(Textures, OfVersionSixGoToTheMaterialsOfTheirPolygons) {
  Node shape = {"Model", {text("Model::a"), text("Mesh")}};
  shape.children = {leaf("Vertices", std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0}),
                    leaf("PolygonVertexIndex", std::vector<int>{0, 1, -3, 0, 2, -2, 1, 2, -1}),
                    layer_element("LayerElementMaterial", 0, "ByPolygon", "IndexToDirect",
                                  {leaf("Materials", std::vector<int>{0, 1, 0})}),
                    layer_element("LayerElementTexture", 0, "ByPolygon", "IndexToDirect",
                                  {leaf("TextureId", std::vector<int>{1, 0, -1})}),
                    layer(0, {"LayerElementMaterial", "LayerElementTexture"})};
  auto const named = [](char const* type, char const* name) {
    return Node{type, {std::string(type) + "::" + name, text("")}, {leaf("ShadingModel", text("phong"))}};
  };
  auto const link = [](char const* source, char const* target) {
    return Node{"Connect", {text("OO"), text(source), text(target)}};
  };
  Form form;
  form.version = 6100;
  Loaded const file(write_file(
      scene({shape, named("Material", "m"), named("Material", "n"), named("Texture", "s"), named("Texture", "t")},
            {link("Model::a", "Model::Scene"), link("Material::m", "Model::a"), link("Material::n", "Model::a"),
             link("Texture::s", "Model::a"), link("Texture::t", "Model::a")}),
      form));
  ASSERT_TRUE(file.ok) << file.error;
  for (int k = 0; k < 2; ++k) {
    FbxProperty const diffuse = file.child(0)->GetMaterial(k)->FindProperty("DiffuseColor");
    ASSERT_EQ(1, diffuse.GetSrcObjectCount<FbxTexture>());
    EXPECT_STREQ(k == 0 ? "t" : "s", diffuse.GetSrcObject<FbxTexture>(0)->GetName());
  }
}

TEST(Layers, ResolveEveryMappingAndReference) {
  struct Case {
    char const* mapping;
    char const* reference;
    std::vector<int> indices;
    // X of the normal at the corners of the two triangles.
    std::vector<double> wanted;
  };
  // Normals are (0, 0, 0), (1, 0, 0), ... (5, 0, 0).
  Case const cases[] = {{"ByVertice", "Direct", {}, {0, 1, 2, 0, 2, 3}},
                        {"ByVertex", "IndexToDirect", {5, 4, 3, 2}, {5, 4, 3, 5, 3, 2}},
                        {"ByPolygonVertex", "Direct", {}, {0, 1, 2, 3, 4, 5}},
                        {"ByPolygonVertex", "IndexToDirect", {5, 5, 4, 4, 3, 9}, {5, 5, 4, 4, 3, -1}},
                        {"ByPolygonVertex", "Index", {1, 1, 1, 2, 2, 2}, {1, 1, 1, 2, 2, 2}},
                        {"ByPolygon", "Direct", {}, {0, 0, 0, 1, 1, 1}},
                        {"ByPolygon", "IndexToDirect", {3, 4}, {3, 3, 3, 4, 4, 4}},
                        {"AllSame", "Direct", {}, {0, 0, 0, 0, 0, 0}},
                        {"AllSame", "IndexToDirect", {5}, {5, 5, 5, 5, 5, 5}},
                        {"ByEdge", "Direct", {}, {-1, -1, -1, -1, -1, -1}}};
  for (Case const& one : cases) {
    SCOPED_TRACE(std::string(one.mapping) + " " + one.reference);
    std::vector<double> normals;
    for (int k = 0; k < 6; ++k) normals.insert(normals.end(), {static_cast<double>(k), 0, 0});
    Loaded const file =
        load(scene({geometry(10, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, -3, 0, 2, -4},
                             {layer_element("LayerElementNormal", 0, one.mapping, one.reference,
                                            {leaf("Normals", normals), leaf("NormalsIndex", one.indices)}),
                              layer(0, {"LayerElementNormal"})}),
                    model(1, "a")},
                   {connect(10, 1), connect(1, 0)}));
    ASSERT_TRUE(file.ok) << file.error;
    for (int k = 0; k < 6; ++k) {
      FbxVector4 normal(-1, -1, -1);
      file.mesh()->GetPolygonVertexNormal(k / 3, k % 3, normal);
      EXPECT_EQ(one.wanted[static_cast<std::size_t>(k)], normal[0]) << k;
    }
  }
}

TEST(Layers, StandInTheOrderOfTheirNumbers) {
  auto const uvs = [](int number, double u) {
    return layer_element("LayerElementUV", number, "AllSame", "Direct", {leaf("UV", std::vector<double>{u, 0})});
  };
  Loaded const file = load(
      scene({geometry(10, kTriangle, {0, 1, -3},
                      {uvs(0, 0.5), uvs(1, 0.75), layer(1, {"LayerElementUV"}, 1), layer(0, {"LayerElementUV"}, 0)}),
             model(1, "a")},
            {connect(10, 1), connect(1, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  ASSERT_EQ(2, file.mesh()->GetLayerCount());
  EXPECT_EQ(0.5, file.mesh()->GetLayer(0)->GetUVs()->GetDirectArray().GetAt(0)[0]);
}

TEST(Layers, BeyondTheFirstAreKept) {
  auto const uvs = [](int number, double u) {
    return layer_element("LayerElementUV", number, "ByPolygonVertex", "Direct",
                         {leaf("UV", std::vector<double>{u, 0, u, 0, u, 0})});
  };
  Loaded const file =
      load(scene({geometry(10, kTriangle, {0, 1, -3},
                           {uvs(0, 0.5), uvs(1, 0.75), layer(0, {"LayerElementUV"}), layer(1, {"LayerElementUV"}, 1)}),
                  model(1, "a")},
                 {connect(10, 1), connect(1, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  ASSERT_EQ(2, file.mesh()->GetLayerCount());
  EXPECT_EQ(0.5, file.mesh()->GetLayer(0)->GetUVs()->GetDirectArray().GetAt(1)[0]);
  EXPECT_EQ(0.75, file.mesh()->GetLayer(1)->GetUVs()->GetDirectArray().GetAt(1)[0]);
  EXPECT_EQ(nullptr, file.mesh()->GetLayer(0)->GetUVs(FbxLayerElement::eTextureBump));
  EXPECT_EQ(nullptr, file.mesh()->GetLayer(2));
  EXPECT_EQ(FbxVector2()[0], file.mesh()->GetLayer(0)->GetUVs()->GetDirectArray().GetAt(3)[0]);
}

TEST(Converter, PutsTrianglesInThePlaceOfThePolygonsAtEveryNode) {
  Loaded const file = load(scene(
      {geometry(10, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {0, 1, 2, -4, 0, 1, 9, -3}), model(1, "a"), model(2, "b")},
      {connect(10, 1), connect(10, 2), connect(1, 0), connect(2, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxGeometryConverter converter(file.manager);
  FbxMesh* const copy = FbxCast<FbxMesh>(converter.Triangulate(file.mesh(0), false));
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(2, copy->GetPolygonCount());
  EXPECT_EQ(2, file.mesh(0)->GetPolygonCount());
  EXPECT_EQ(4, file.mesh(0)->GetPolygonSize(0));
  FbxMesh* const mesh = file.triangles(0);
  ASSERT_NE(nullptr, mesh);
  EXPECT_EQ(2, mesh->GetPolygonCount());
  EXPECT_EQ(3, mesh->GetPolygonSize(1));
  EXPECT_STREQ("shape", mesh->GetName());
  EXPECT_EQ(mesh, file.mesh(1));
  EXPECT_EQ(mesh, file.triangles(1));
  EXPECT_EQ(nullptr, converter.Triangulate(nullptr, true));
}

TEST(Converter, MakesMeshesOfSurfaces) {
  // A quarter of a cylinder: a rational arc of three points, twice.
  double const w = 0.70710678118654752;
  Node const surface = {
      "Geometry",
      {std::int64_t{10}, text("Geometry::s"), text("NurbsSurface")},
      {leaf("NurbsSurfaceOrder", std::vector<int>{3, 2}),
       leaf("Dimensions", std::vector<int>{3, 2}),
       leaf("Step", std::vector<int>{8, 1}),
       {"Form", {text("Open"), text("Open")}},
       leaf("Points", std::vector<double>{1, 0, 0, 1, 1, 1, 0, w, 0, 1, 0, 1, 1, 0, 2, 1, 1, 1, 2, w, 0, 1, 2, 1}),
       leaf("KnotVectorU", std::vector<double>{0, 0, 0, 1, 1, 1}),
       leaf("KnotVectorV", std::vector<double>{0, 0, 1, 1})}};
  Loaded const file = load(scene({surface, model(1, "a")}, {connect(10, 1), connect(1, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_EQ(FbxNodeAttribute::eNurbsSurface, file.child(0)->GetNodeAttribute()->GetAttributeType());
  FbxMesh* const mesh = file.triangles();
  ASSERT_NE(nullptr, mesh);
  EXPECT_EQ(18, mesh->GetControlPointsCount());
  EXPECT_EQ(16, mesh->GetPolygonCount());
  for (int k = 0; k < 18; ++k) {
    FbxVector4 const& point = mesh->GetControlPoints()[k];
    EXPECT_NEAR(1, point[0] * point[0] + point[1] * point[1], 1e-12);
    FbxVector4 const normal = mesh->GetLayer(0)->GetNormals()->GetDirectArray().GetAt(k);
    EXPECT_GT(normal[0] * point[0] + normal[1] * point[1], 0.98);
  }
}

// Sixty-four pieces in each of 99 x 99 spans would be 40 million points from a file of 400 kB.
TEST(Converter, CoarsensSurfacesTooFineForTheirFile) {
  std::vector<double> points;
  std::vector<double> knots = {0};
  for (int k = 0; k < 100; ++k) knots.push_back(k);
  knots.push_back(99);
  for (int k = 0; k < 10000; ++k) points.insert(points.end(), {k % 100 + 0.5, k / 100 + 0.5, 0, 1});
  Node const surface = {"Geometry",
                        {std::int64_t{10}, text("Geometry::s"), text("NurbsSurface")},
                        {leaf("NurbsSurfaceOrder", std::vector<int>{2, 2}),
                         leaf("Dimensions", std::vector<int>{100, 100}),
                         leaf("Step", std::vector<int>{64, 64}),
                         {"Form", {text("Open"), text("Open")}},
                         leaf("Points", points),
                         leaf("KnotVectorU", knots),
                         leaf("KnotVectorV", knots)}};
  Loaded const file = load(scene({surface, model(1, "a")}, {connect(10, 1), connect(1, 0)}));
  ASSERT_TRUE(file.ok) << file.error;
  FbxMesh* const mesh = file.triangles();
  ASSERT_NE(nullptr, mesh);
  EXPECT_GT(mesh->GetPolygonCount(), 2 * 99 * 99);
  EXPECT_LT(mesh->GetControlPointsCount(), 500000);
}

TEST(Converter, RefusesSurfacesThatDoNotFit) {
  auto const surface = [](std::vector<int> orders, std::vector<int> dimensions, std::vector<double> knots) {
    return Node{"Geometry",
                {std::int64_t{10}, text("Geometry::s"), text("NurbsSurface")},
                {leaf("NurbsSurfaceOrder", orders),
                 leaf("Dimensions", dimensions),
                 leaf("Step", std::vector<int>{2, 2}),
                 {"Form", {text("Open"), text("Open")}},
                 leaf("Points", std::vector<double>(16, 1.0)),
                 leaf("KnotVectorU", knots),
                 leaf("KnotVectorV", std::vector<double>{0, 0, 1, 1})}};
  };
  for (Node const& node : {surface({2, 2}, {200, 200}, {0, 0, 1, 1}), surface({5, 2}, {2, 2}, {0, 0, 1, 1}),
                           surface({2, 2}, {2, 2}, {0, 1, 0, 1}), surface({2, 2}, {2, 2}, {0, 0}),
                           surface({-3, 1000000}, {2, 2}, {0, 0, 1, 1}), surface({2, 2}, {2, 2}, {0, 0, 0, 0})}) {
    Loaded const file = load(scene({node, model(1, "a")}, {connect(10, 1), connect(1, 0)}));
    ASSERT_TRUE(file.ok) << file.error;
    EXPECT_EQ(nullptr, file.triangles());
  }
}

TEST(Axes, AreTurnedToZUpByTheRootsChildrenAlone) {
  Loaded const file = load(scene({model(1, "a", {property("Lcl Translation", "Vector3D", {1.0, 2.0, 3.0})}),
                                  model(2, "b", {property("Lcl Translation", "Vector3D", {4.0, 5.0, 6.0})})},
                                 {connect(1, 0), connect(2, 1)}));
  ASSERT_TRUE(file.ok);
  int sign = 0;
  EXPECT_EQ(FbxAxisSystem::eYAxis, file.scene->GetGlobalSettings().GetAxisSystem().GetUpVector(sign));
  EXPECT_EQ(1, sign);
  FbxAxisSystem::MayaZUp.ConvertScene(file.scene);
  EXPECT_EQ(FbxAxisSystem::eZAxis, file.scene->GetGlobalSettings().GetAxisSystem().GetUpVector(sign));
  FbxAMatrix const& a = file.child(0)->EvaluateLocalTransform();
  EXPECT_EQ(1.0, a.Get(3, 0));
  EXPECT_EQ(-3.0, a.Get(3, 1));
  EXPECT_EQ(2.0, a.Get(3, 2));
  EXPECT_EQ(1.0, a.Get(1, 2));
  FbxAMatrix const& b = file.child(0)->GetChild(0)->EvaluateLocalTransform();
  EXPECT_EQ(5.0, b.Get(3, 1));
  // A second time changes nothing.
  FbxAxisSystem::MayaZUp.ConvertScene(file.scene);
  EXPECT_EQ(2.0, file.child(0)->EvaluateLocalTransform().Get(3, 2));
}

// Every system that settings can name: the up axis ends up as Z, the front as -Y, the right as X.
TEST(Axes, AreTurnedFromEverySystem) {
  int systems = 0;
  for (int up = 0; up < 3; ++up) {
    for (int front = 0; front < 3; ++front) {
      if (front == up) continue;
      int const right = 3 - up - front;
      for (int signs = 0; signs < 8; ++signs) {
        int const sign[3] = {(signs & 1) != 0 ? -1 : 1, (signs & 2) != 0 ? -1 : 1, (signs & 4) != 0 ? -1 : 1};
        Loaded const file =
            load(scene({model(1, "a")}, {connect(1, 0)},
                       {property("UpAxis", "int", {up}), property("UpAxisSign", "int", {sign[0]}),
                        property("FrontAxis", "int", {front}), property("FrontAxisSign", "int", {sign[1]}),
                        property("CoordAxis", "int", {right}), property("CoordAxisSign", "int", {sign[2]})}));
        ASSERT_TRUE(file.ok);
        FbxAxisSystem::MayaZUp.ConvertScene(file.scene);
        FbxAMatrix const& turned = file.child(0)->EvaluateLocalTransform();
        EXPECT_EQ(sign[0], turned.Get(up, 2));
        EXPECT_EQ(-sign[1], turned.Get(front, 1));
        EXPECT_EQ(sign[2], turned.Get(right, 0));
        ++systems;
      }
    }
  }
  EXPECT_EQ(48, systems);
}

TEST(Axes, AreToldBySignParityAndHand) {
  int sign = 0;
  FbxAxisSystem const z_up = FbxAxisSystem::MayaZUp;
  EXPECT_EQ(FbxAxisSystem::eParityOdd, z_up.GetFrontVector(sign));
  EXPECT_EQ(-1, sign);
  EXPECT_EQ(FbxAxisSystem::eRightHanded, z_up.GetCoorSystem());
  EXPECT_TRUE(z_up != FbxAxisSystem::MayaYUp);
  FbxAxisSystem const left(FbxAxisSystem::eYAxis, FbxAxisSystem::eParityOdd, FbxAxisSystem::eLeftHanded);
  EXPECT_TRUE(left != FbxAxisSystem::MayaYUp);
}

TEST(Units, AreEqualAcrossThePrecisionOfAFloat) {
  EXPECT_TRUE(FbxSystemUnit(static_cast<double>(2.54F)) == FbxSystemUnit::Inch);
  EXPECT_TRUE(FbxSystemUnit(30.48) == FbxSystemUnit::Foot);
  EXPECT_TRUE(FbxSystemUnit(2.55) != FbxSystemUnit::Inch);
  EXPECT_TRUE(FbxSystemUnit(10) == FbxSystemUnit::dm);
}

}  // namespace
