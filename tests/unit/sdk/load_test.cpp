// IMeshDepot::load, from the file to the mesh.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/unit/sdk/depot.h"

namespace mirel::engine {
namespace {

class Load : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "mirel-load-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string write(std::string const& name, std::string const& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
    return (folder_ / name).string();
  }

  std::filesystem::path folder_;
};

TEST_F(Load, GivesMeshesSetsAndMaterials) {
  write("m.mtl", "newmtl red\nKd 1 0 0\nmap_Kd red.png\nnewmtl blue\nKd 0 0 1\n");
  std::string const path = write("two.obj",
                                 "mtllib m.mtl\no first\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\n"
                                 "vn 0 0 1\nf 1 3 4\nusemtl red\nf 1/1/1 2/2/1 3/3/1\no second\nusemtl blue\n"
                                 "f 1//1 2//1 3//1\n");
  Depot depot(ab::IMeshDepot::load(path.c_str(), nullptr));
  ASSERT_NE(depot.get(), nullptr);
  EXPECT_STREQ(mirel_engine_load_error(), "");
  ASSERT_EQ(depot->getNumMeshes(), 2U);
  EXPECT_STREQ(mirel_engine_mesh_name(0), "first");
  EXPECT_STREQ(mirel_engine_mesh_name(1), "second");
  ab::IMesh* const mesh = depot->getMesh(0);
  EXPECT_EQ(mesh->getNumVertices(), 4U);
  ASSERT_EQ(mesh->getNumFaceSets(), 2U);
  EXPECT_TRUE(mesh->getMaterial(0)->isDefault());
  EXPECT_STREQ(mesh->getMaterial(0)->getName(), "Default");
  ab::IMaterial* const red = mesh->getMaterial(1);
  EXPECT_FALSE(red->isDefault());
  EXPECT_STREQ(red->getName(), "red");
  ASSERT_NE(red->getColor(), nullptr);
  EXPECT_EQ(red->getColor()->red, 1.0F);
  EXPECT_EQ(red->getColor()->blue, 0.0F);
  EXPECT_EQ(red->getColor()->alpha, 1.0F);
  EXPECT_STREQ(red->getTexturePath(), "red.png");
  EXPECT_EQ(depot->getMesh(1)->getMaterial(0)->getTexturePath(), nullptr);
  Reading const r = read(*mesh);
  EXPECT_EQ(r.set_of, (std::vector<std::uint32_t>{0, 1}));
  prepare_and_join(depot);
  EXPECT_EQ(mesh->getNumVertices(), 5U);  // one position is on a seam: the first face has no UVs
  EXPECT_TRUE(mesh->hasVertexUVs());
  EXPECT_STREQ(mesh->getMaterial(1)->getName(), "red");
}

TEST_F(Load, AFileWithoutFacesIsADepotWithoutMeshes) {
  std::string const path = write("points.obj", "v 0 0 0\nv 1 0 0\n");
  Depot depot(ab::IMeshDepot::load(path.c_str(), nullptr));
  ASSERT_NE(depot.get(), nullptr);
  EXPECT_EQ(depot->getNumMeshes(), 0U);
}

TEST_F(Load, FailuresGiveNullAndAReason) {
  std::string const missing = (folder_ / "none.obj").string();
  EXPECT_EQ(ab::IMeshDepot::load(missing.c_str(), nullptr), nullptr);
  EXPECT_NE(std::string(mirel_engine_load_error()).find("none.obj"), std::string::npos);
  EXPECT_EQ(ab::IMeshDepot::load(nullptr, nullptr), nullptr);
  EXPECT_STRNE(mirel_engine_load_error(), "");
  MirelLiveObjects objects;
  mirel_engine_live_objects(&objects);
  EXPECT_EQ(objects.depots, 0U);
}

class Models : public testing::TestWithParam<char const*> {};

TEST_P(Models, AreReadPreparedReducedAndReadAgain) {
  char const* const shared = std::getenv("MIREL_SHARED");
  std::filesystem::path const path =
      std::filesystem::path(shared == nullptr ? "../shared" : shared) / "models" / GetParam();
  if (!std::filesystem::exists(path)) {
    GTEST_SKIP() << path << " is not there";
  }
  Depot depot(ab::IMeshDepot::load(path.c_str(), nullptr));
  ASSERT_NE(depot.get(), nullptr) << mirel_engine_load_error();
  ASSERT_GT(depot->getNumMeshes(), 0U);
  ab::IMesh* const mesh = depot->getMesh(0);
  read(*mesh);
  prepare_and_join(depot);
  depot->eliminateTJunctions(0.1F);
  ab::IHierarchy* ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  Reading const full = read(*mesh);
  for (double const share : {0.5, 0.1, 0.01}) {
    std::uint32_t const wanted = static_cast<std::uint32_t>(share * mirel_engine_face_count_at(0));
    ladder->goToFaceCount(wanted);
    EXPECT_LE(mesh->getNumFaces(), wanted);
    read(*mesh);
  }
  prepare_and_join(depot);
  depot->eliminateTJunctions(0.1F);
  ladder = depot->buildHierarchy(0);
  EXPECT_EQ(read(*mesh), full);
}

INSTANTIATE_TEST_SUITE_P(Shared, Models, testing::Values("fandisk.obj", "rocker-arm.obj", "spot.obj"));

}  // namespace
}  // namespace mirel::engine
