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
}

// Two solids of one triangle each, with normals.
TEST_F(ReadTest, MergesMeshesOfOneMaterial) {
  std::string text;
  for (char const* name : {"a", "b"}) {
    text += std::string("solid ") + name +
            "\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid " +
            name + "\n";
  }
  Scene const scene = read(write("two.stl", text));
  ASSERT_TRUE(scene) << error;
  ASSERT_EQ(mirel_read_mesh_count(scene.get()), 1U);
  MirelReadMesh mesh;
  mirel_read_mesh(scene.get(), 0, &mesh);
  EXPECT_EQ(mesh.triangle_count, 2U);
  ASSERT_EQ(mesh.point_count, 6U);
  ASSERT_NE(mesh.normals, nullptr);
  for (std::uint32_t i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(mesh.normals[i * 3 + 2], 1);
  // Those of the second come after those of the first.
  EXPECT_EQ(std::vector<std::uint32_t>(mesh.triangles, mesh.triangles + 6),
            (std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5}));
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
