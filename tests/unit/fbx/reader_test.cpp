// Files in every form, and broken ones.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "tests/unit/fbx/fbx_file.h"

namespace {

using namespace fbx_test;
using namespace fbxsdk;

std::vector<double> const kSquare = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0.5};

std::vector<Node> square_scene() {
  return scene({geometry(10, kSquare, {0, 1, 2, -4},
                         {layer_element("LayerElementUV", 0, "ByPolygonVertex", "IndexToDirect",
                                        {leaf("UV", std::vector<double>{0, 0, 1, 0, 1, 1}),
                                         leaf("UVIndex", std::vector<int>{0, 1, 2, 1})}),
                          layer(0, {"LayerElementUV"})}),
                model(20, "a \"b\" & c", {property("Lcl Translation", "Lcl Translation", {1.5, -2.0, 3e-5})})},
               {connect(10, 20), connect(20, 0)}, {property("UnitScaleFactor", "double", {2.54})});
}

TEST(Reader, ReadsEveryForm) {
  for (NamedForm const& one : all_forms(false)) {
    SCOPED_TRACE(one.name);
    Loaded const file(write_file(square_scene(), one.form));
    ASSERT_TRUE(file.ok) << file.error;
    int version[3];
    file.importer->GetFileVersion(version[0], version[1], version[2]);
    EXPECT_EQ(one.form.version, version[0] * 1000 + version[1] * 100 + version[2] * 10);
    EXPECT_EQ(2, file.scene->GetNodeCount());
    EXPECT_TRUE(file.scene->GetGlobalSettings().GetSystemUnit() == FbxSystemUnit::Inch);
    EXPECT_STREQ("a \"b\" & c", file.child(0)->GetName());
    EXPECT_EQ(3e-5, file.child(0)->EvaluateLocalTransform().Get(3, 2));
    FbxMesh* const mesh = file.mesh();
    ASSERT_NE(nullptr, mesh);
    EXPECT_STREQ("shape", mesh->GetName());
    ASSERT_EQ(4, mesh->GetControlPointsCount());
    EXPECT_EQ(0.5, mesh->GetControlPoints()[3][2]);
    EXPECT_EQ(1.0, mesh->GetControlPoints()[3][3]);
    ASSERT_EQ(1, mesh->GetPolygonCount());
    EXPECT_EQ(4, mesh->GetPolygonSize(0));
    EXPECT_EQ(3, mesh->GetPolygonVertex(0, 3));
    EXPECT_EQ(1, mesh->GetTextureUVIndex(0, 3));
    EXPECT_EQ(1.0, mesh->GetLayer(0)->GetUVs()->GetDirectArray().GetAt(2)[1]);
    EXPECT_STREQ("set", mesh->GetLayer(0)->GetUVs()->GetName());
  }
}

TEST(Reader, ReadsFilesOfNamesInEveryForm) {
  for (NamedForm const& one : all_forms(true)) {
    SCOPED_TRACE(one.name);
    Node shape = {"Model", {std::string("Model::a"), std::string("Mesh")}};
    shape.children = {
        {"Properties60",
         {},
         {{"Property",
           {std::string("Lcl Translation"), std::string("Lcl Translation"), std::string("A"), 1.0, 2.0, 3.0}}}},
        leaf("Vertices", kSquare),
        leaf("PolygonVertexIndex", std::vector<int>{0, 1, 2, -4})};
    Node const child = {"Model", {std::string("Model::b"), std::string("Null")}, {leaf("Version", 232)}};
    auto const link = [](char const* source, char const* target) {
      return Node{"Connect", {std::string("OO"), std::string(source), std::string(target)}};
    };
    // The binary kind writes lists of version 6 as numbers of their own.
    Form form = one.form;
    if (!form.text) {
      for (Node& node : shape.children) {
        if (node.values.size() != 1) continue;
        std::vector<Item> numbers;
        if (auto const* const reals = std::get_if<std::vector<double>>(&node.values[0])) {
          numbers.assign(reals->begin(), reals->end());
        } else if (auto const* const whole = std::get_if<std::vector<int>>(&node.values[0])) {
          numbers.assign(whole->begin(), whole->end());
        }
        node.values = numbers;
      }
    }
    Loaded const file(
        write_file(scene({shape, child}, {link("Model::a", "Model::Scene"), link("Model::b", "Model::a")}), form));
    ASSERT_TRUE(file.ok) << file.error;
    ASSERT_EQ(1, file.scene->GetRootNode()->GetChildCount());
    EXPECT_STREQ("a", file.child(0)->GetName());
    EXPECT_EQ(2.0, file.child(0)->EvaluateLocalTransform().Get(3, 1));
    ASSERT_EQ(1, file.child(0)->GetChildCount());
    EXPECT_EQ(FbxNodeAttribute::eNull, file.child(0)->GetChild(0)->GetNodeAttribute()->GetAttributeType());
    ASSERT_NE(nullptr, file.mesh());
    EXPECT_EQ(4, file.mesh()->GetControlPointsCount());
    EXPECT_EQ(4, file.mesh()->GetPolygonSize(0));
  }
}

TEST(Reader, ReadsOddText) {
  std::string const text =
      "\xEF\xBB\xBF; FBX 7.4.0 project file\r\n"
      "Objects: { ; comment with { and \"\r\n"
      "Geometry: 1, \"Geometry::\", \"Mesh\" {\n"
      "Vertices: *9 {a: 0,0,0, ; not the end\n"
      "1.#QNAN,nan,-1.#IND,inf,+2,.5E+1}\n"
      "PolygonVertexIndex: *3 { a: 0,1\n,-3 } }\n"
      "Model: 2, \"Model::x&lf;y&cr;z&amp;&quot\", \"Mesh\" { Shading: T Culling: \"Off\" }\n"
      "Video: 3, \"Video::\", \"Clip\" { Content: , \"QUJD\" } }\n"
      "Connections: { C: \"OO\",1,2\nC: \"OO\",2,0 }";
  Loaded const file(text);
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_STREQ("x\ny\rz&amp;&quot", file.child(0)->GetName());
  FbxVector4 const* const points = file.mesh()->GetControlPoints();
  ASSERT_EQ(3, file.mesh()->GetControlPointsCount());
  EXPECT_TRUE(std::isnan(points[1][0]));
  EXPECT_TRUE(std::isnan(points[1][2]));
  EXPECT_TRUE(std::isinf(points[2][0]));
  EXPECT_EQ(2.0, points[2][1]);
  EXPECT_EQ(5.0, points[2][2]);
}

TEST(Reader, RefusesWhatIsNoFbxFile) {
  for (std::string const& bytes : {std::string(), std::string("solid x"), std::string("; a comment\n"),
                                   std::string(64, '\0'), std::string("Kaydara FBX Bin"),
                                   std::string("\x7F"
                                               "ELF")}) {
    Loaded const file(bytes);
    EXPECT_FALSE(file.ok);
    EXPECT_EQ("Not an FBX file", file.error);
  }
}

TEST(Reader, RefusesVersionsItDoesNotKnow) {
  Form form;
  form.text = false;
  form.version = 5800;
  EXPECT_EQ("Files of version 5.8 are not supported", Loaded(write_file(square_scene(), form)).error);
  form.version = 9000;
  EXPECT_EQ("Files of version 9.0 are not supported", Loaded(write_file(square_scene(), form)).error);
}

TEST(Manager, ForgetsSettingsThatAreDestroyed) {
  FbxManager* const manager = FbxManager::Create();
  FbxIOSettings* const settings = FbxIOSettings::Create(manager, "IOSRoot");
  manager->SetIOSettings(settings);
  EXPECT_EQ(settings, manager->GetIOSettings());
  settings->SetBoolProp("Import|A", true);
  EXPECT_TRUE(settings->GetBoolProp("Import|A", false));
  EXPECT_TRUE(settings->GetBoolProp("Import|B", true));
  settings->Destroy();
  EXPECT_EQ(nullptr, manager->GetIOSettings());
  manager->Destroy();
}

TEST(Reader, ReadsTextThatTellsNoVersion) {
  std::string const text = write_file(square_scene(), Form());
  std::size_t const objects = text.find("Objects:");
  ASSERT_NE(std::string::npos, objects);
  Loaded const file(text.substr(objects));
  ASSERT_TRUE(file.ok) << file.error;
  ASSERT_NE(nullptr, file.mesh());
  EXPECT_EQ(4, file.mesh()->GetControlPointsCount());
}

// The element has the last word.
TEST(Reader, TakesTheVersionOfTheElement) {
  Loaded const file("; FBX 7.4.0 project file\nFBXHeaderExtension: {\nFBXVersion: 7300\n}\n");
  ASSERT_TRUE(file.ok) << file.error;
  int version[3];
  file.importer->GetFileVersion(version[0], version[1], version[2]);
  EXPECT_EQ(7300, version[0] * 1000 + version[1] * 100 + version[2] * 10);
}

TEST(Reader, TellsAMissingFileFromABrokenOne) {
  FbxManager* const manager = FbxManager::Create();
  FbxImporter* const importer = FbxImporter::Create(manager, "");
  EXPECT_FALSE(importer->Initialize("/nowhere/x.fbx", -1, nullptr));
  EXPECT_STREQ("Cannot open the file: No such file or directory", importer->GetStatus().GetErrorString());
  EXPECT_FALSE(importer->Initialize("/tmp", -1, nullptr));
  EXPECT_TRUE(importer->GetStatus().Error());
  EXPECT_FALSE(importer->Import(FbxScene::Create(manager, ""), false));
  EXPECT_STREQ("No file is open", importer->GetStatus().GetErrorString());
  manager->Destroy();
}

// Cut anywhere, a file loads in part or fails with a reason.
TEST(Reader, SurvivesEveryTruncation) {
  for (NamedForm const& one : all_forms(false)) {
    SCOPED_TRACE(one.name);
    std::string const bytes = write_file(square_scene(), one.form);
    std::size_t const step = one.form.text ? 7 : 3;
    int failures = 0;
    for (std::size_t size = 0; size < bytes.size() - 30; size += step) {
      Loaded const file(bytes.substr(0, size));
      if (file.ok) continue;
      ++failures;
      ASSERT_FALSE(file.error.empty()) << size;
    }
    EXPECT_GT(failures, static_cast<int>(bytes.size() / step / 2));
  }
}

TEST(Reader, RefusesUnclosedTextAndBraces) {
  std::string const head = "; FBX 7.4.0 project file\n";
  EXPECT_EQ("Line 2: a text is not closed", Loaded(head + "A: \"abc\n").error);
  EXPECT_EQ("Line 3: the file ends inside an element", Loaded(head + "A: {\n").error);
  EXPECT_EQ("Line 2: a brace closes nothing", Loaded(head + "}").error);
  EXPECT_EQ("Line 2: expected the name of an element", Loaded(head + "A: 1 2\n").error);
}

TEST(Reader, RefusesElementsNestedTooDeeply) {
  std::string text = "; FBX 7.4.0 project file\n";
  for (int k = 0; k < 100000; ++k) text += "A: {\n";
  EXPECT_NE(std::string::npos, Loaded(text).error.find("nested too deeply"));
  Node nested = {"A", {1}};
  for (int k = 0; k < 300; ++k) nested = {"A", {1}, {nested}};
  Form form;
  form.text = false;
  EXPECT_NE(std::string::npos, Loaded(write_file({nested}, form)).error.find("nested too deeply"));
}

// The head of the first array of the file: its length, encoding and packed size.
std::size_t find_array(std::string const& bytes, char code) {
  std::size_t const name = bytes.find("Vertices");
  return bytes.find(code, name + 8) + 1;
}

TEST(Reader, RefusesBrokenArrays) {
  Form form;
  form.text = false;
  form.deflate = true;
  std::string const bytes = write_file(square_scene(), form);
  std::size_t const array = find_array(bytes, 'd');
  auto const with = [&](std::size_t offset, std::uint32_t value) {
    std::string broken = bytes;
    std::memcpy(&broken[array + offset], &value, 4);
    return Loaded(broken).error;
  };
  EXPECT_EQ("", with(0, 12));
  EXPECT_EQ("The file is damaged: a compressed array is cut short or broken", with(0, 13));
  EXPECT_EQ("The file is damaged: an array is cut short", with(0, 0xFFFFFFFF));
  EXPECT_EQ("The file is damaged: an array has an unknown encoding", with(4, 2));
  EXPECT_EQ("The file is damaged: a value is cut short", with(8, 0xFFFFFFFF));
  std::string broken = bytes;
  for (std::size_t k = 2; k < 10; ++k) broken[array + 12 + k] = '\x55';
  EXPECT_EQ("The file is damaged: a compressed array is cut short or broken", Loaded(broken).error);
}

// 128 MB of zeros deflate to 128 kB.
TEST(Reader, RefusesToInflateWithoutBounds) {
  Form form;
  form.text = false;
  form.deflate = true;
  std::vector<Node> const nodes =
      scene({geometry(10, std::vector<double>(std::size_t{16} << 20, 0.0), {0, 1, -3})}, {});
  EXPECT_EQ("The file asks for more memory than its size can account for", Loaded(write_file(nodes, form)).error);
}

TEST(Reader, TakesTheNumbersThereAre) {
  // Announced are more and fewer than there are; the last point is not whole.
  std::string const text =
      "; FBX 7.4.0 project file\nObjects: {\nGeometry: 1, \"Geometry::\", \"Mesh\" {\n"
      "Vertices: *999 {\na: 0,0,0,1,0,0,1,1,0,5\n}\nPolygonVertexIndex: *1 {\na: 0,1,-3\n}\n}\n"
      "Model: 2, \"Model::\", \"Mesh\" {\n}\n}\nConnections: {\nC: \"OO\",1,2\nC: \"OO\",2,0\n}\n";
  Loaded const file(text);
  ASSERT_TRUE(file.ok) << file.error;
  EXPECT_EQ(3, file.mesh()->GetControlPointsCount());
  EXPECT_EQ(1, file.mesh()->GetPolygonCount());
}

}  // namespace
