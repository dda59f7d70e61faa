// The C interface of libmirelread, on files written here.
#include "standalone/reading/mirel_read.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

// assimp loses the mesh that it is making when a file turns out to be broken; what this project allocates is still
// watched.
// NOLINTBEGIN(readability-identifier-naming): the sanitizer looks it up by this name.
extern "C" __attribute__((visibility("default"))) char const* __lsan_default_suppressions();
extern "C" char const* __lsan_default_suppressions() {
  return "leak:libassimp";
}
// NOLINTEND(readability-identifier-naming)

namespace {

struct FreeScene {
  void operator()(MirelReadScene* scene) const { mirel_read_free(scene); }
};
using Scene = std::unique_ptr<MirelReadScene, FreeScene>;

class ReadTest : public testing::Test {
 protected:
  ReadTest() { std::filesystem::create_directory(folder); }
  ~ReadTest() override { std::filesystem::remove_all(folder); }

  std::string write(std::string const& name, std::string const& content) const {
    std::string const path = folder + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  Scene read(std::string const& path) {
    char message[256];
    Scene scene(mirel_read_file(path.c_str(), nullptr, message, sizeof message));
    error = message;
    return scene;
  }

  std::string const folder = std::filesystem::temp_directory_path() / ("mirel-read-" + std::to_string(getpid()));
  std::string error;
};

constexpr char kQuadAndTriangle[] = "OFF\n5 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n0 0 1\n4 0 1 2 3\n3 0 1 4\n";

TEST_F(ReadTest, CutsPolygonsAndCountsTheSource) {
  Scene const scene = read(write("two.off", kQuadAndTriangle));
  ASSERT_TRUE(scene) << error;
  EXPECT_EQ(error, "");
  EXPECT_EQ(mirel_read_source_polygons(scene.get()), 2U);
  EXPECT_EQ(mirel_read_source_points(scene.get()), 5U);
  ASSERT_EQ(mirel_read_mesh_count(scene.get()), 1U);
  MirelReadMesh mesh;
  mirel_read_mesh(scene.get(), 0, &mesh);
  EXPECT_EQ(mesh.triangle_count, 3U);
  EXPECT_EQ(mesh.normals, nullptr);
  EXPECT_EQ(mesh.uvs, nullptr);
  for (std::uint32_t k = 0; k < mesh.triangle_count * 3; ++k) EXPECT_LT(mesh.triangles[k], mesh.point_count);
}

// Not by trying: the parser would make room for them first.
TEST_F(ReadTest, RefusesAnOffHeadThatAnnouncesMoreThanTheFileHolds) {
  for (std::string const counts : {"353535235358 6 0", "6 353535235358 0", "99999999999999999999999 6 0", "9 9"}) {
    for (std::string const start : {"OFF\n", "# made for a test\nCOFF ", "nOFF\n3\n", ""}) {
      EXPECT_FALSE(read(write("many.off", start + counts + "\n0 0 0\n")));
      EXPECT_NE(error.find("announces " + counts.substr(0, counts.find(' '))), std::string::npos)
          << start << counts << ": " << error;
    }
  }
  EXPECT_TRUE(read(write("commented.off", "OFF # 99999 9999\n# 99999 99999\n" + std::string(kQuadAndTriangle + 4))))
      << error;
}

TEST_F(ReadTest, NumbersThatDoNotExistGiveNothing) {
  Scene const scene = read(write("two.off", kQuadAndTriangle));
  ASSERT_TRUE(scene) << error;
  MirelReadMesh mesh;
  std::memset(&mesh, 0xFF, sizeof mesh);
  mirel_read_mesh(scene.get(), 1, &mesh);
  EXPECT_EQ(mesh.point_count, 0U);
  EXPECT_EQ(mesh.points, nullptr);
  MirelReadMaterial material;
  mirel_read_material(scene.get(), 99, &material);
  EXPECT_STREQ(material.name, "");
  EXPECT_EQ(material.has_color, 0U);
  MirelReadShape shape;
  mirel_read_shape(scene.get(), 99, &shape);
  EXPECT_STREQ(shape.name, "");
  MirelReadNode node;
  mirel_read_node(scene.get(), 99, &node);
  EXPECT_EQ(node.parent, MIREL_READ_NONE);
  MirelReadTexture texture;
  mirel_read_texture(scene.get(), 0, &texture);
  EXPECT_EQ(texture.bytes, nullptr);
}

// Two solids of one triangle each, with normals.
TEST_F(ReadTest, KeepsNodesAndShapesApart) {
  std::string text;
  for (char const* name : {"a", "b"}) {
    text += std::string("solid ") + name +
            "\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid " +
            name + "\n";
  }
  Scene const scene = read(write("two.stl", text));
  ASSERT_TRUE(scene) << error;
  ASSERT_EQ(mirel_read_mesh_count(scene.get()), 2U);
  ASSERT_EQ(mirel_read_shape_count(scene.get()), 2U);
  ASSERT_EQ(mirel_read_node_count(scene.get()), 3U);
  for (std::uint32_t number = 0; number < 2; ++number) {
    MirelReadMesh mesh;
    mirel_read_mesh(scene.get(), number, &mesh);
    EXPECT_EQ(mesh.shape, number);
    EXPECT_EQ(mesh.triangle_count, 1U);
    ASSERT_EQ(mesh.point_count, 3U);
    ASSERT_NE(mesh.normals, nullptr);
    for (std::uint32_t i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(mesh.normals[i * 3 + 2], 1);
    MirelReadShape shape;
    mirel_read_shape(scene.get(), number, &shape);
    EXPECT_STREQ(shape.name, number == 0 ? "a" : "b");
    EXPECT_EQ(shape.scale, 1);
    MirelReadNode node;
    mirel_read_node(scene.get(), number + 1, &node);
    EXPECT_EQ(node.parent, 0U);
    EXPECT_EQ(node.shape, number);
  }
  MirelReadNode root;
  mirel_read_node(scene.get(), 0, &root);
  EXPECT_EQ(root.parent, MIREL_READ_NONE);
  EXPECT_EQ(root.shape, MIREL_READ_NONE);
  double bounds[6];
  EXPECT_EQ(mirel_read_survey(scene.get(), bounds), 2U);
  EXPECT_EQ(std::vector<double>(bounds, bounds + 6), (std::vector<double>{0, 0, 0, 1, 1, 0}));
}

// One triangle under a node that makes it 1/100 and one inside that moves it; and again in full size.
constexpr char kScaledCollada[] = R"(<?xml version="1.0"?>
<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
<asset><unit name="inch" meter="0.0254"/><up_axis>Z_UP</up_axis></asset>
<library_geometries><geometry id="tile" name="tile"><mesh>
<source id="p"><float_array id="pa" count="9">0 0 0 100 0 0 0 200 0</float_array><technique_common>
<accessor source="#pa" count="3" stride="3"><param name="X" type="float"/><param name="Y" type="float"/>
<param name="Z" type="float"/></accessor></technique_common></source>
<vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
<triangles count="1"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles></mesh></geometry>
</library_geometries>
<library_visual_scenes><visual_scene id="scene" name="scene">
<node id="small" name="small"><scale>0.01 0.01 0.01</scale>
<node id="moved" name="moved"><translate>0 0 500</translate><instance_geometry url="#tile"/></node></node>
<node id="second" name="second"><scale>0.002 0.002 0.002</scale><instance_geometry url="#tile"/></node>
</visual_scene></library_visual_scenes><scene><instance_visual_scene url="#scene"/></scene></COLLADA>)";

TEST_F(ReadTest, GivesPointsInTheSizeTheyHaveInTheScene) {
  Scene const scene = read(write("scaled.dae", kScaledCollada));
  ASSERT_TRUE(scene) << error;
  EXPECT_DOUBLE_EQ(mirel_read_meters_per_unit(scene.get()), 0.0254);
  EXPECT_EQ(mirel_read_is_z_up(scene.get()), 1);
  ASSERT_EQ(mirel_read_shape_count(scene.get()), 1U);
  MirelReadShape shape;
  mirel_read_shape(scene.get(), 0, &shape);
  EXPECT_STREQ(shape.name, "tile");
  EXPECT_EQ(shape.scale, 64);  // 1/64 is the power of two above 1/100
  MirelReadMesh mesh;
  mirel_read_mesh(scene.get(), 0, &mesh);
  ASSERT_EQ(mesh.point_count, 3U);
  EXPECT_EQ(mesh.points[3], 100.0F / 64);
  ASSERT_EQ(mirel_read_node_count(scene.get()), 4U);
  MirelReadNode root;
  mirel_read_node(scene.get(), 0, &root);
  for (int place = 0; place < 16; ++place) EXPECT_EQ(root.transform[place], place % 5 == 0 ? 1 : 0) << place;
  MirelReadNode moved;
  mirel_read_node(scene.get(), 2, &moved);
  EXPECT_STREQ(moved.name, "moved");
  EXPECT_EQ(moved.parent, 1U);
  EXPECT_EQ(moved.shape, 0U);
  EXPECT_EQ(moved.transform[14], 500);
  double bounds[6];
  EXPECT_EQ(mirel_read_survey(scene.get(), bounds), 2U);
  double const expected[6] = {0, 0, 0, 1, 2, 5};
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(bounds[k], expected[k], 1e-5) << k;
}

TEST_F(ReadTest, FilesThatCannotBeReadGiveOneLine) {
  for (auto const& [name, content] : std::vector<std::pair<std::string, std::string>>{
           {"rubbish.stl", "\1\2\3"},
           {"rubbish.glb", std::string(200, '\7')},
           {"unknown.xyz", "hello"},
           {"cut.off", "OFF\n3 1 0\n0 0 0\n"},
           {"index.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n"},
           {"cut.stl", "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1"}}) {
    EXPECT_FALSE(read(write(name, content))) << name;
    EXPECT_NE(error, "") << name;
    EXPECT_EQ(error.find('\n'), std::string::npos) << name;
  }
  EXPECT_FALSE(read(folder + "/missing.stl"));
  EXPECT_NE(error, "");
}

TEST_F(ReadTest, ErrorsAreCutToFit) {
  std::string const path = write("rubbish.stl", "\1");
  char error[8];
  std::memset(error, 'x', sizeof error);
  EXPECT_EQ(mirel_read_file(path.c_str(), nullptr, error, 4), nullptr);
  EXPECT_EQ(std::strlen(error), 3U);
  EXPECT_EQ(error[4], 'x');
  EXPECT_EQ(mirel_read_file(path.c_str(), nullptr, nullptr, 0), nullptr);
}

TEST_F(ReadTest, ReportsProgress) {
  static float last;
  last = -1;
  std::string const path = write("two.off", kQuadAndTriangle);
  Scene const scene(mirel_read_file(
      path.c_str(), [](float done) { last = done; }, nullptr, 0));
  ASSERT_TRUE(scene);
  EXPECT_GE(last, 0);
  EXPECT_LE(last, 1);
}

TEST_F(ReadTest, NullIsFreedWithoutHarm) {
  mirel_read_free(nullptr);
}

}  // namespace
