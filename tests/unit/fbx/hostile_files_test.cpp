// Files that no program writes: each is refused with a word of reason, or what is wrong in it is left out; none takes
// more memory than 20 times its size and a constant, whatever it announces and however well it is deflated.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/fbx/generator/binary_writer.h"
#include "standalone/fbx/mirel_fbx.h"
#include "tests/unit/fbx/fbx_file.h"

#if defined(__SANITIZE_ADDRESS__)
#define MIREL_MEASURES_MEMORY 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MIREL_MEASURES_MEMORY 0
#endif
#endif
#if !defined(MIREL_MEASURES_MEMORY) && defined(__linux__)
#define MIREL_MEASURES_MEMORY 1
#endif

namespace {

using namespace fbx_test;
using mirel::fbx_generator::BinaryWriter;
using namespace std::string_view_literals;

constexpr char const* kTooMuch = "The file asks for more memory than its size can account for";

// Bytes of this process that are in memory: the present number, or the largest since the last reset.
double memory(char const* which) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, std::string_view(which).size(), which) == 0) {
      return 1024 * std::strtod(line.c_str() + std::string_view(which).size() + 1, nullptr);
    }
  }
  return std::nan("");
}

struct Walk {
  int nodes = 0;
  int attributes = 0;
  int triangles = 0;
  int textures = 0;
};

// As the importer does.
void walk(fbxsdk::FbxNode* node, fbxsdk::FbxGeometryConverter& converter, Walk& found) {
  ++found.nodes;
  node->EvaluateLocalTransform();
  for (int k = 0; k < node->GetMaterialCount(); ++k) {
    fbxsdk::FbxProperty const diffuse = node->GetMaterial(k)->FindProperty(fbxsdk::FbxSurfaceMaterial::sDiffuse);
    found.textures += diffuse.GetSrcObjectCount<fbxsdk::FbxTexture>();
  }
  for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
    ++found.attributes;
    auto* const mesh =
        fbxsdk::FbxCast<fbxsdk::FbxMesh>(converter.Triangulate(node->GetNodeAttributeByIndex(k), true, false));
    for (int p = 0; mesh != nullptr && p < mesh->GetPolygonCount(); ++p) {
      ASSERT_EQ(3, mesh->GetPolygonSize(p));
      for (int corner = 0; corner < 3; ++corner) {
        ASSERT_GE(mesh->GetPolygonVertex(p, corner), 0);
        ASSERT_LT(mesh->GetPolygonVertex(p, corner), mesh->GetControlPointsCount());
      }
      ++found.triangles;
    }
  }
  for (int k = 0; k < node->GetChildCount(); ++k) walk(node->GetChild(k), converter, found);
}

struct Outcome {
  std::string error;
  Walk found;
};

Outcome read_within_bounds(std::string const& bytes) {
  Outcome outcome;
#if MIREL_MEASURES_MEMORY
  std::ofstream("/proc/self/clear_refs") << "5";
  double const before = memory("VmRSS:");
  EXPECT_LT(memory("VmHWM:"), before + 8e6) << "the peak was not reset";
#endif
  {
    Loaded const file(bytes);
    outcome.error = file.error;
    if (file.ok) {
      fbxsdk::FbxAxisSystem::MayaZUp.ConvertScene(file.scene);
      fbxsdk::FbxGeometryConverter converter(file.manager);
      walk(file.scene->GetRootNode(), converter, outcome.found);
    }
  }
#if MIREL_MEASURES_MEMORY
  double const taken = memory("VmHWM:") - before;
  EXPECT_LT(taken, 20 * static_cast<double>(bytes.size()) + (64 << 20) + 8e6);
#endif
  return outcome;
}

BinaryWriter begin_objects(int version = 7500) {
  BinaryWriter writer({version, false, true});
  writer.begin("Objects");
  return writer;
}

void add_model(BinaryWriter& writer, std::int64_t id) {
  writer.begin("Model").id(id).text("m\0\1Model"sv).text("Mesh").end();
}

// Ends the objects and connects each pair.
std::string finish(BinaryWriter& writer, std::vector<std::array<std::int64_t, 2>> const& connections) {
  writer.end().begin("Connections");
  for (auto const& [source, target] : connections) writer.begin("C").text("OO").id(source).id(target).end();
  return writer.end().finish();
}

std::vector<std::int32_t> one_polygon(std::int32_t count) {
  std::vector<std::int32_t> corners(static_cast<std::size_t>(count));
  for (std::int32_t k = 0; k < count; ++k) corners[static_cast<std::size_t>(k)] = k;
  corners.back() = ~corners.back();
  return corners;
}

TEST(HostileFiles, APolygonOfAMillionCornersIsCut) {
  // A wheel with teeth, so that half of the corners are reflex.
  constexpr std::int32_t kCorners = 1'000'000;
  std::vector<double> points;
  for (std::int32_t k = 0; k < kCorners; ++k) {
    double const angle = 2 * std::numbers::pi * k / kCorners;
    double const radius = k % 2 == 0 ? 1000 : 999.999;
    points.insert(points.end(), {radius * std::cos(angle), radius * std::sin(angle), 0});
  }
  BinaryWriter writer = begin_objects();
  writer.begin("Geometry").id(1).text("g\0\1Geometry"sv).text("Mesh");
  writer.begin("Vertices").array(std::span<double const>(points)).end();
  std::vector<std::int32_t> const corners = one_polygon(kCorners);
  writer.begin("PolygonVertexIndex").array(std::span<std::int32_t const>(corners)).end().end();
  add_model(writer, 2);
  Outcome const outcome = read_within_bounds(finish(writer, {{1, 2}, {2, 0}}));
  EXPECT_EQ("", outcome.error);
  EXPECT_EQ(kCorners - 2, outcome.found.triangles);
  EXPECT_EQ(0, mirel_fbx_shapes_left_out());
}

TEST(HostileFiles, APolygonIsNotCutWhenItsAttributesWouldNotFit) {
  // One polygon of a million corners that all are the same point, and values by polygon for fifteen channels: some
  // kilobytes, that would have to become one value per triangle in each of 100 layers.
  BinaryWriter writer = begin_objects();
  writer.begin("Geometry").id(1).text("g\0\1Geometry"sv).text("Mesh");
  std::vector<double> const points(9, 0.0);
  writer.begin("Vertices").array(std::span<double const>(points)).end();
  std::vector<std::int32_t> corners(1'000'000, 1);
  corners.back() = ~2;
  writer.begin("PolygonVertexIndex").array(std::span<std::int32_t const>(corners)).end();
  writer.begin("LayerElementUV").integer(0);
  writer.begin("MappingInformationType").text("ByPolygon").end();
  writer.begin("ReferenceInformationType").text("Direct").end();
  writer.begin("UV").array(std::span<double const>(points).first(2)).end().end();
  for (int k = 0; k < 100; ++k) {
    writer.begin("Layer").integer(k).begin("LayerElement");
    writer.begin("Type").text("LayerElementUV").end().begin("TypedIndex").integer(0).end().end().end();
  }
  writer.end();
  add_model(writer, 2);
  Outcome const outcome = read_within_bounds(finish(writer, {{1, 2}, {2, 0}}));
  EXPECT_EQ("", outcome.error);
  EXPECT_EQ(1, outcome.found.attributes);
  EXPECT_EQ(0, outcome.found.triangles);
  EXPECT_EQ(1, mirel_fbx_shapes_left_out());
}

TEST(HostileFiles, LayersThatShareAnElementAreCountedEach) {
  BinaryWriter writer = begin_objects();
  writer.begin("Geometry").id(1).text("g\0\1Geometry"sv).text("Mesh");
  writer.begin("LayerElementNormal").integer(0);
  writer.begin("MappingInformationType").text("ByPolygonVertex").end();
  writer.begin("ReferenceInformationType").text("Direct").end();
  std::vector<double> const normals(300'000, 1.0);
  writer.begin("Normals").array(std::span<double const>(normals)).end().end();
  for (int k = 0; k < 5000; ++k) {
    writer.begin("Layer").integer(k).begin("LayerElement");
    writer.begin("Type").text("LayerElementNormal").end().begin("TypedIndex").integer(0).end().end().end();
  }
  writer.end();
  EXPECT_EQ(kTooMuch, read_within_bounds(finish(writer, {})).error);
}

void begin_surface(BinaryWriter& writer, std::int64_t id, std::string_view kind, std::int32_t columns,
                   std::int32_t rows, std::vector<double> const& points) {
  writer.begin("Geometry").id(id).text("s\0\1Geometry"sv).text(kind);
  writer.begin("NurbsSurfaceOrder").integer(4).integer(4).end();
  writer.begin("Dimensions").integer(columns).integer(rows).end();
  writer.begin("Step").integer(1 << 30).integer(1 << 30).end();
  writer.begin("Points").array(std::span<double const>(points)).end();
}

TEST(HostileFiles, SurfacesAreTessellatedOnlyAsFarAsMemoryGoes) {
  BinaryWriter writer = begin_objects();
  std::vector<double> const points(4 * 32 * 32, 0.0);
  std::vector<std::array<std::int64_t, 2>> connections;
  add_model(writer, 1);
  connections.push_back({1, 0});
  for (std::int64_t k = 0; k < 200; ++k) {
    begin_surface(writer, 10 + k, k % 2 == 0 ? "NurbsSurface" : "Patch", 32, 32, points);
    writer.end();
    connections.push_back({10 + k, 1});
  }
  Outcome const outcome = read_within_bounds(finish(writer, connections));
  EXPECT_EQ("", outcome.error);
  EXPECT_EQ(200, outcome.found.attributes);
}

TEST(HostileFiles, SurfacesOfHugeCountsAreLeftOut) {
  std::vector<double> const points(16, 0.0);
  for (std::string_view const kind : {"NurbsSurface", "Nurb", "Patch"}) {
    for (std::int32_t const count : {0, -1, 5, 1 << 16, 0x7FFFFFFF}) {
      BinaryWriter writer = begin_objects();
      std::vector<std::array<std::int64_t, 2>> connections = {{1, 0}};
      add_model(writer, 1);
      for (std::int64_t k = 0; k < 300; ++k) {
        begin_surface(writer, 10 + k, kind, count, k % 2 == 0 ? count : 1, points);
        writer.end();
        connections.push_back({10 + k, 1});
      }
      Outcome const outcome = read_within_bounds(finish(writer, connections));
      EXPECT_EQ("", outcome.error) << kind << ' ' << count;
      EXPECT_EQ(0, outcome.found.triangles) << kind << ' ' << count;
    }
  }
}

TEST(HostileFiles, ArraysMayAnnounceAnything) {
  // Element type, count, encoding, stored size, bytes, and what is said to it.
  struct Case {
    char type;
    std::uint32_t count;
    std::uint32_t encoding;
    std::uint32_t stored_size;
    std::string_view bytes;
    char const* error;
  };
  Case const cases[] = {
      {'d', 0xFFFFFFFF, 0, 8, "12345678"sv, "The file is damaged: an array is cut short"},
      {'d', 0xFFFFFFFF, 1, 8, "\x78\x9c\x03\0\0\0\0\1"sv, "The file is damaged: an array is cut short"},
      // As many as 8 bytes might just hold if they were deflated as well as can be.
      {'c', 8000, 1, 8, "\x78\x9c\x03\0\0\0\0\1"sv, "The file is damaged: a compressed array is cut short or broken"},
      {'i', 1, 7, 4, "1234"sv, "The file is damaged: an array has an unknown encoding"},
      {'i', 1, 0, 400, "1234"sv, "The file is damaged: a value is cut short"},
      {'d', 3, 0, 23, "12345678123456781234567"sv, "The file is damaged: an array is cut short"},
      {'q', 1, 0, 4, "1234"sv, "The file is damaged: a value has an unknown type"},
      {'l', 0, 0, 0, ""sv, ""},
  };
  for (Case const& one : cases) {
    BinaryWriter writer = begin_objects();
    writer.begin("Geometry").id(1).text("g\0\1Geometry"sv).text("Mesh");
    writer.begin("Vertices").array_as_said(one.type, one.count, one.encoding, one.stored_size, one.bytes).end();
    EXPECT_EQ(one.error, read_within_bounds(finish(writer, {})).error) << one.type << ' ' << one.count;
  }
}

TEST(HostileFiles, PointsKeepTheirPlacesWhenTheLastIsNotWhole) {
  for (std::size_t const left_over : {0u, 1u, 2u}) {
    for (bool const deflates : {false, true}) {
      BinaryWriter writer({7400, false, deflates});
      writer.begin("Objects").begin("Geometry").id(1).text("g\0\1Geometry"sv).text("Mesh");
      std::vector<double> points;
      for (std::size_t k = 0; k < 15 + left_over; ++k) points.push_back(static_cast<double>(k) + 0.5);
      writer.begin("Vertices").array(std::span<double const>(points)).end();
      writer.begin("PolygonVertexIndex").array(std::span<std::int32_t const>(one_polygon(3))).end().end();
      add_model(writer, 2);
      Loaded const file(finish(writer, {{1, 2}, {2, 0}}));
      ASSERT_TRUE(file.ok) << file.error;
      ASSERT_EQ(5, file.mesh()->GetControlPointsCount());
      for (int k = 0; k < 15; ++k) EXPECT_EQ(k + 0.5, file.mesh()->GetControlPoints()[k / 3][k % 3]) << left_over;
    }
  }
}

TEST(HostileFiles, ListsOfTinyElementsAreCounted) {
  constexpr std::size_t kCount = 3'000'000;
  std::string const head = "; FBX 7.4.0 project file\n";
  std::string names = head;
  for (std::size_t k = 0; k < kCount; ++k) names += "a:";
  EXPECT_EQ("", read_within_bounds(names).error);
  std::string words = head + "a:b";
  for (std::size_t k = 0; k < kCount; ++k) words += ",b";
  read_within_bounds(words);
  std::string properties = head + "Objects: {\nMaterial: 1, \"Material::m\", \"\" {\nProperties70: {\n";
  for (std::size_t k = 0; k < kCount; ++k) properties += "P:a,b P:c,d ";
  EXPECT_EQ(kTooMuch, read_within_bounds(properties + "}\n}\n}\n").error);
  std::string objects = head + "Objects: {\n";
  for (std::size_t k = 0; k < kCount / 4; ++k) objects += "Model:" + std::to_string(k) + "\n";
  EXPECT_EQ(kTooMuch, read_within_bounds(objects + "}\n").error);
  BinaryWriter writer({7400, false, false});
  writer.begin("a");
  for (std::size_t k = 0; k < kCount; ++k) writer.boolean(true);
  EXPECT_EQ("", read_within_bounds(writer.finish()).error);
}

TEST(HostileFiles, TemplatesAreReadOnceHoweverManyObjectsUseThem) {
  constexpr int kCount = 30'000;
  std::string text = "; FBX 7.4.0 project file\nDefinitions: {\n";
  for (char const* const type : {"Texture\" {\nPropertyTemplate: \"FbxFileTexture\" {\n",
                                 "Material\" {\nPropertyTemplate: \"FbxSurfacePhong\" {\n"}) {
    text += std::string("ObjectType: \"") + type + "Properties70: {\n";
    for (int k = 0; k < kCount; ++k) text += "P: \"p" + std::to_string(k) + "\", \"double\", \"\", \"\",1\n";
    text += "P: \"Scaling\", \"Vector\", \"\", \"\",3,4,1\n}\n}\n}\n";
  }
  text += "}\nObjects: {\n";
  for (int k = 1; k <= kCount; ++k) {
    std::string const id = std::to_string(k);
    text += (k % 2 == 0 ? "Texture: " + id + ", \"Texture::t\", \"\" {\n}\n"
                        : "Material: " + id + ", \"Material::m\", \"\" {\nShadingModel: \"phong\"\n}\n");
  }
  text +=
      "Model: 100000, \"Model::n\", \"Null\" {\n}\n}\nConnections: {\nC: \"OO\",100000,0\nC: \"OO\",1,100000\n"
      "C: \"OP\",2,1,\"DiffuseColor\"\n}\n";
  Outcome const outcome = read_within_bounds(text);
  EXPECT_EQ("", outcome.error);
  EXPECT_EQ(1, outcome.found.textures);
  Loaded const file(text);
  fbxsdk::FbxProperty const diffuse = file.child(0)->GetMaterial(0)->FindProperty(fbxsdk::FbxSurfaceMaterial::sDiffuse);
  EXPECT_EQ(3, diffuse.GetSrcObject<fbxsdk::FbxTexture>()->GetScaleU());
}

TEST(HostileFiles, ConnectionsMayGoRoundAndRepeat) {
  // A layered texture within itself, two within each other, a material behind a material, a geometry behind a
  // geometry, and one attribute connected to its node fifty thousand times.
  BinaryWriter writer = begin_objects();
  add_model(writer, 1);
  writer.begin("Geometry").id(2).text("g\0\1Geometry"sv).text("Mesh");
  std::vector<double> const points = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  writer.begin("Vertices").array(std::span<double const>(points)).end();
  writer.begin("PolygonVertexIndex").array(std::span<std::int32_t const>(one_polygon(3))).end().end();
  writer.begin("Material").id(3).text("m\0\1Material"sv).text("").end();
  for (std::int64_t const id : {4, 5})
    writer.begin("LayeredTexture").id(id).text("l\0\1LayeredTexture"sv).text("").end();
  writer.begin("Implementation").id(6).text("i\0\1Implementation"sv).text("").end();
  std::vector<std::array<std::int64_t, 2>> connections = {{1, 0}, {1, 0}, {4, 4}, {4, 5}, {5, 4}, {3, 3},
                                                          {2, 2}, {3, 6}, {6, 3}, {6, 6}, {0, 1}, {3, 1},
                                                          {4, 3}, {1, 2}, {1, 3}, {9, 1}};
  for (int k = 0; k < 50'000; ++k) connections.push_back({2, 1});
  Outcome const outcome = read_within_bounds(finish(writer, connections));
  EXPECT_EQ("", outcome.error);
  EXPECT_EQ(2, outcome.found.nodes);
  EXPECT_EQ(1, outcome.found.attributes);
  EXPECT_EQ(1, outcome.found.triangles);
}

TEST(HostileFiles, ElementsMayAnnounceAnything) {
  // Positions in the first record of the wide form: its end, the number of its values, their size.
  BinaryWriter writer = begin_objects();
  add_model(writer, 1);
  std::string const good = finish(writer, {{1, 0}});
  for (std::size_t const field : {27u, 35u, 43u}) {
    for (int const high : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      std::string broken = good;
      broken[field + 7] = static_cast<char>(high);
      broken[field + 1] = static_cast<char>(0x7F);
      Outcome const outcome = read_within_bounds(broken);
      EXPECT_NE("", outcome.error) << field << ' ' << high;
    }
  }
}

TEST(HostileFiles, TextArraysMayAnnounceAnything) {
  auto const text = [](std::string const& points, std::string const& corners) {
    return "; FBX 7.4.0 project file\nObjects: {\nGeometry: 1, \"Geometry::\", \"Mesh\" {\nVertices: " + points +
           "\nPolygonVertexIndex: " + corners +
           "\n}\nModel: 2, \"Model::\", \"Mesh\" {\n}\n}\nConnections: {\nC: \"OO\",1,2\nC: \"OO\",2,0\n}\n";
  };
  std::string const three = "0,0,0,1,0,0,0,1,0";
  EXPECT_EQ(1, read_within_bounds(text("*9 {\na: " + three + "\n}", "*3 {\na: 0,1,-3\n}")).found.triangles);
  EXPECT_EQ(1, read_within_bounds(text("*4000000000 {\na: " + three + "\n}", "*0 {\na: 0,1,-3\n}")).found.triangles);
  EXPECT_EQ(0, read_within_bounds(text("*9 {\n}", "*3 {\na: 0,1,-3\n}")).found.triangles);
  EXPECT_EQ(0, read_within_bounds(text("*9 {\na: " + three + "\n}", "*3 {\na: 0,1,-4\n}")).found.triangles);
  EXPECT_EQ(0,
            read_within_bounds(text("*9 {\na: nan,inf,-inf,1e999,0,0,0,1,0\n}", "*2 {\na: 0,-2\n}")).found.triangles);
  EXPECT_EQ(
      2, read_within_bounds(text("*9 {\na: nan,inf,-inf,1e999,0,0,0,1,0\n}", "*4 {\na: 0,1,2,-1\n}")).found.triangles);
  EXPECT_NE("", read_within_bounds(text("*-9 {\na: 0\n}", "*0 {\n}")).error);
  EXPECT_NE("", read_within_bounds(text("*99999999999999999999 {\na: 0\n}", "*0 {\n}")).error);
}

}  // namespace
