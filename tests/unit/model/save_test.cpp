// Files that are written, read back by assimp.
#include <assimp/config.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <assimp/Importer.hpp>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/unit/model/model_fixture.h"

namespace mirel::model::test {

namespace {

// A picture of one red point.
constexpr unsigned char kPng[] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48,
                                  0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x02, 0x00, 0x00,
                                  0x00, 0x90, 0x77, 0x53, 0xDE, 0x00, 0x00, 0x00, 0x0C, 0x49, 0x44, 0x41, 0x54, 0x08,
                                  0xD7, 0x63, 0xF8, 0xCF, 0xC0, 0x00, 0x00, 0x03, 0x01, 0x01, 0x00, 0x18, 0xDD, 0x8D,
                                  0xB0, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};

// While it lives no file grows beyond the size, as on a disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = size;
    EXPECT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(FileSizeLimit const&) = delete;
  FileSizeLimit& operator=(FileSizeLimit const&) = delete;

 private:
  rlimit before_ = {};
  void (*handler_)(int);
};

struct Bounds {
  aiVector3D low{1e30F, 1e30F, 1e30F};
  aiVector3D high{-1e30F, -1e30F, -1e30F};
};

// Faces and bounds of everything that the nodes show.
void collect(aiScene const& scene, aiNode const& node, aiMatrix4x4 const& above, std::size_t& faces, Bounds& bounds) {
  aiMatrix4x4 const place = above * node.mTransformation;
  for (unsigned int shown = 0; shown < node.mNumMeshes; ++shown) {
    aiMesh const& mesh = *scene.mMeshes[node.mMeshes[shown]];
    faces += mesh.mNumFaces;
    for (unsigned int vertex = 0; vertex < mesh.mNumVertices; ++vertex) {
      aiVector3D const point = place * mesh.mVertices[vertex];
      for (unsigned int axis = 0; axis < 3; ++axis) {
        bounds.low[axis] = std::min(bounds.low[axis], point[axis]);
        bounds.high[axis] = std::max(bounds.high[axis], point[axis]);
      }
    }
  }
  for (unsigned int child = 0; child < node.mNumChildren; ++child) {
    collect(scene, *node.mChildren[child], place, faces, bounds);
  }
}

aiNode const* find_node(aiNode const& node, std::string const& name) {
  if (name == node.mName.C_Str()) {
    return &node;
  }
  for (unsigned int child = 0; child < node.mNumChildren; ++child) {
    if (aiNode const* const found = find_node(*node.mChildren[child], name)) {
      return found;
    }
  }
  return nullptr;
}

class SaveTest : public ModelTest {
 protected:
  void SetUp() override {
    ModelTest::SetUp();
    char folder[] = "/tmp/mirel-save-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    folder_ = folder;
    std::ofstream(folder_ / "picture source.png", std::ios::binary)
        .write(reinterpret_cast<char const*>(kPng), sizeof kPng);
  }
  void TearDown() override {
    ModelTest::TearDown();
    std::filesystem::remove_all(folder_);
  }

  std::string path(std::string const& name) const { return (folder_ / name).string(); }
  SUResult save(std::string const& name) { return SUModelSaveToFile(model_, path(name).c_str()); }
  std::vector<std::string> names(std::filesystem::path const& folder) const {
    std::vector<std::string> result;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
      result.push_back(entry.path().filename().string());
    }
    std::sort(result.begin(), result.end());
    return result;
  }

  aiScene const* read(std::string const& name) {
    // Names of nodes, not the identifiers that COLLADA has beside them.
    importer_.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_USE_COLLADA_NAMES, true);
    aiScene const* const scene = importer_.ReadFile(path(name), 0);
    EXPECT_NE(nullptr, scene) << importer_.GetErrorString();
    return scene;
  }

  // A cube of smooth edges at the root, one in a group, and a definition that is placed twice, once mirrored.
  void make_scene() {
    red_ = add_material("Red", {255, 51, 0, 255});
    glass_ = add_material("Glass", {0, 0, 255, 102}, path("picture source.png").c_str());
    Look look;
    look.front = red_;
    look.is_smooth = true;
    fill(root_, cube_points(), cube_faces(), look);
    look.front = glass_;
    look.is_smooth = false;
    for (SUPoint3D const& point : cube_points()) {
      look.uvs.push_back({point.x / 2 + 0.5, point.y / 4 + 0.25});
    }
    SUEntitiesRef inside = {};
    SUComponentDefinitionRef const chair = add_definition("Chair", inside);
    fill(inside, cube_points(), cube_faces(), look);
    add_instance(root_, chair, translation(10, 0, 0));
    SUEntitiesRef const group = add_group(root_, "Gr\xC3\xBC\xC3\x9F/\"e\" & <co>", translation(0, 20, 0));
    SUTransformation const mirrored = {{-2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 30, 1}};
    add_instance(group, chair, mirrored);
  }

  // x from -2 to 11, y from -1 to 22, z from -1 to 32; 36 faces.
  void check_scene(std::string const& name, bool is_meters_y_up) {
    aiScene const* const scene = read(name);
    ASSERT_NE(nullptr, scene);
    std::size_t faces = 0;
    Bounds bounds;
    collect(*scene, *scene->mRootNode, aiMatrix4x4(), faces, bounds);
    EXPECT_EQ(36U, faces);
    float const unit = is_meters_y_up ? 0.0254F : 1.0F;
    float const tolerance = 1e-5F * 41 * unit;
    std::array<float, 6> expected = {-2, -1, -1, 11, 22, 32};
    if (is_meters_y_up) {
      expected = {-2, -1, -22, 11, 32, 1};
    }
    for (unsigned int axis = 0; axis < 3; ++axis) {
      EXPECT_NEAR(expected[axis] * unit, bounds.low[axis], tolerance) << axis;
      EXPECT_NEAR(expected[axis + 3] * unit, bounds.high[axis], tolerance) << axis;
    }
    check_outward(*scene, *scene->mRootNode, aiMatrix4x4());
  }

  // Every cube's triangles run counter-clockwise seen from outside, and its normals point there too.
  void check_outward(aiScene const& scene, aiNode const& node, aiMatrix4x4 const& above) {
    aiMatrix4x4 const place = above * node.mTransformation;
    bool const mirrors = aiMatrix3x3(place).Determinant() < 0;
    for (unsigned int shown = 0; shown < node.mNumMeshes; ++shown) {
      aiMesh const& mesh = *scene.mMeshes[node.mMeshes[shown]];
      if (mesh.mNumFaces != 12) {
        continue;  // several cubes in one mesh
      }
      aiVector3D center;
      for (unsigned int vertex = 0; vertex < mesh.mNumVertices; ++vertex) {
        center += place * mesh.mVertices[vertex] / static_cast<float>(mesh.mNumVertices);
      }
      for (unsigned int face = 0; face < mesh.mNumFaces; ++face) {
        unsigned int const* const corners = mesh.mFaces[face].mIndices;
        aiVector3D const a = place * mesh.mVertices[corners[0]];
        aiVector3D const normal =
            ((place * mesh.mVertices[corners[1]] - a) ^ (place * mesh.mVertices[corners[2]] - a)) *
            (mirrors ? -1.F : 1.F);
        EXPECT_GT(normal * (a - center), 0);
        if (mesh.mNormals != nullptr && !mirrors) {
          EXPECT_GT((aiMatrix3x3(place) * mesh.mNormals[corners[0]]) * (a - center), 0);
        }
      }
    }
    for (unsigned int child = 0; child < node.mNumChildren; ++child) {
      check_outward(scene, *node.mChildren[child], place);
    }
  }

  std::map<std::string, aiMaterial const*> materials(aiScene const& scene) const {
    std::map<std::string, aiMaterial const*> result;
    for (unsigned int number = 0; number < scene.mNumMaterials; ++number) {
      result[scene.mMaterials[number]->GetName().C_Str()] = scene.mMaterials[number];
    }
    return result;
  }

  void check_materials(std::string const& name) {
    aiScene const* const scene = read(name);
    ASSERT_NE(nullptr, scene);
    auto const all = materials(*scene);
    ASSERT_TRUE(all.count("Red") == 1 && all.count("Glass") == 1) << all.size();
    aiColor4D color;
    EXPECT_EQ(AI_SUCCESS, all.at("Red")->Get(AI_MATKEY_COLOR_DIFFUSE, color));
    EXPECT_NEAR(1, color.r, 1e-4);
    EXPECT_NEAR(0.2, color.g, 1e-4);
    EXPECT_NEAR(0, color.b, 1e-4);
    float opacity = 1;
    if (all.at("Glass")->Get(AI_MATKEY_OPACITY, opacity) != AI_SUCCESS || opacity == 1) {
      all.at("Glass")->Get(AI_MATKEY_COLOR_DIFFUSE, color);
      opacity = color.a;
    }
    EXPECT_NEAR(0.4, opacity, 1e-4);
    aiString texture;
    EXPECT_EQ(AI_SUCCESS, all.at("Glass")->GetTexture(aiTextureType_DIFFUSE, 0, &texture));
    if (texture.C_Str()[0] != '*') {
      EXPECT_TRUE(std::filesystem::exists(folder_ / texture.C_Str())) << texture.C_Str();
    } else {
      EXPECT_EQ(1U, scene->mNumTextures);
    }
  }

  void check_nodes(std::string const& name) {
    aiScene const* const scene = read(name);
    ASSERT_NE(nullptr, scene);
    aiNode const* const group = find_node(*scene->mRootNode, "Gr\xC3\xBC\xC3\x9F/\"e\" & <co>");
    ASSERT_NE(nullptr, group);
    ASSERT_EQ(1U, group->mNumChildren);
    aiNode const* const chair = group->mChildren[0];
    EXPECT_EQ(0, std::string(chair->mName.C_Str()).find("Chair"));
    // Both instances show one mesh.
    aiNode const* const other = find_node(*scene->mRootNode, "Chair");
    ASSERT_NE(nullptr, other);
    ASSERT_EQ(1U, chair->mNumMeshes);
    ASSERT_EQ(1U, other->mNumMeshes);
    EXPECT_EQ(other->mMeshes[0], chair->mMeshes[0]);
    EXPECT_EQ(2U, scene->mNumMeshes);
  }

  std::filesystem::path folder_;
  Assimp::Importer importer_;
  SUMaterialRef red_ = {};
  SUMaterialRef glass_ = {};
};

class FormatTest : public SaveTest, public ::testing::WithParamInterface<char const*> {
 protected:
  std::string name() const { return std::string("scene.") + GetParam(); }
};

TEST_P(FormatTest, FacesAndBounds) {
  make_scene();
  ASSERT_EQ(SU_ERROR_NONE, save(name())) << mirel_model_message();
  std::string const extension = GetParam();
  // Of COLLADA, which says what its unit and its axes are, the reader makes meters and y up.
  check_scene(name(), extension == "glb" || extension == "gltf" || extension == "dae");
  EXPECT_STREQ("", mirel_model_message());
}

TEST_P(FormatTest, AnEmptyModelIsWrittenOrRefusedWhole) {
  SUResult const result = save(name());
  if (result == SU_ERROR_NONE) {
    EXPECT_TRUE(std::filesystem::exists(path(name())));
  } else {
    EXPECT_EQ(SU_ERROR_SERIALIZATION, result);
    EXPECT_STRNE("", mirel_model_message());
    EXPECT_EQ(std::vector<std::string>{"picture source.png"}, names(folder_));
  }
}

TEST_P(FormatTest, NoFolderIsLeftBehind) {
  make_scene();
  save(name());
  for (std::string const& left : names(folder_)) {
    EXPECT_NE('.', left[0]);
  }
}

TEST_P(FormatTest, WritingTwiceGivesTheSame) {
  make_scene();
  ASSERT_EQ(SU_ERROR_NONE, save(name()));
  std::vector<std::string> const before = names(folder_);
  ASSERT_EQ(SU_ERROR_NONE, save(name()));
  EXPECT_EQ(before, names(folder_));
}

TEST_P(FormatTest, AFolderThatIsNotThere) {
  make_scene();
  EXPECT_EQ(SU_ERROR_SERIALIZATION, SUModelSaveToFile(model_, path("missing/" + name()).c_str()));
  EXPECT_NE(nullptr, std::strstr(mirel_model_message(), "missing"));
}

TEST_P(FormatTest, AFileThatCannotBeWrittenWhole) {
  std::vector<SUPoint3D> points;
  Triangles faces;
  for (std::size_t number = 0; number < 30000; ++number) {
    auto const x = static_cast<double>(number);
    points.insert(points.end(), {{x, 0, 0}, {x, 1, 0}, {x, 0, std::sin(x)}});
    faces.push_back({number * 3, number * 3 + 1, number * 3 + 2});
  }
  fill(root_, points, faces);
  std::ofstream(folder_ / name()) << "earlier";
  {
    FileSizeLimit const limit(100'000);
    EXPECT_EQ(SU_ERROR_SERIALIZATION, save(name()));
  }
  EXPECT_NE(nullptr, std::strstr(mirel_model_message(), "File too large")) << mirel_model_message();
  std::string content;
  std::ifstream(folder_ / name()) >> content;
  EXPECT_EQ("earlier", content);
  EXPECT_EQ((std::vector<std::string>{"picture source.png", name()}), names(folder_));
}

INSTANTIATE_TEST_SUITE_P(Formats, FormatTest, ::testing::Values("glb", "gltf", "dae", "obj", "ply", "stl"),
                         [](auto const& information) { return std::string(information.param); });

TEST_F(SaveTest, Materials) {
  make_scene();
  for (char const* const name : {"scene.glb", "scene.gltf", "scene.dae", "scene.obj"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name)) << mirel_model_message();
    check_materials(name);
  }
}

TEST_F(SaveTest, NodesAndInstances) {
  make_scene();
  for (char const* const name : {"scene.glb", "scene.gltf", "scene.dae"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name));
    check_nodes(name);
  }
}

TEST_F(SaveTest, UVsStayAtTheirVertices) {
  make_scene();
  for (char const* const name : {"scene.glb", "scene.gltf", "scene.dae", "scene.obj"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name));
    aiScene const* const scene = read(name);
    bool has_uvs = false;
    for (unsigned int number = 0; number < scene->mNumMeshes; ++number) {
      aiMesh const& mesh = *scene->mMeshes[number];
      // The last cube is mirrored where transformations are not kept, so look at the one that is not.
      for (unsigned int vertex = 0; mesh.HasTextureCoords(0) && vertex < mesh.mNumVertices; ++vertex) {
        aiVector3D const& point = mesh.mVertices[vertex];
        if (std::abs(point.x) <= 1.001F && point.z < 2) {
          has_uvs = true;
          EXPECT_NEAR(point.x / 2 + 0.5, mesh.mTextureCoords[0][vertex].x, 1e-5);
          EXPECT_NEAR(point.y / 4 + 0.25, mesh.mTextureCoords[0][vertex].y, 1e-5);
        }
      }
    }
    EXPECT_TRUE(has_uvs || std::string(name) == "scene.obj");
  }
}

TEST_F(SaveTest, SmoothEdgesShareNormalsAndHardOnesDoNot) {
  Look look;
  look.is_smooth = true;
  fill(root_, cube_points(), cube_faces(), look);
  ASSERT_EQ(SU_ERROR_NONE, save("smooth.glb"));
  EXPECT_EQ(8U, read("smooth.glb")->mMeshes[0]->mNumVertices);
  for (unsigned int vertex = 0; vertex < 8; ++vertex) {
    aiMesh const& mesh = *importer_.GetScene()->mMeshes[0];
    aiVector3D const outward = aiVector3D(mesh.mVertices[vertex]).Normalize();
    EXPECT_NEAR(1, outward * mesh.mNormals[vertex], 1e-5);
  }
  for (SUEdgeRef const edge : edges(root_)) {
    SUEdgeSetSmooth(edge, false);
  }
  ASSERT_EQ(SU_ERROR_NONE, save("hard.glb"));
  // Three corners of each triangle, which its neighbour in the plane does share after the exporter's joining.
  EXPECT_EQ(24U, read("hard.glb")->mMeshes[0]->mNumVertices);
}

// Nearer to each other than the exporters' own joining would leave apart, in formats that number their vertices.
TEST_F(SaveTest, TheSmallestModelsKeepTheirVertices) {
  std::vector<SUPoint3D> points = cube_points();
  for (SUPoint3D& point : points) {
    point = {point.x * 1e-6, point.y * 1e-6, point.z * 1e-6};
  }
  fill(root_, points, cube_faces());
  for (SUEdgeRef const edge : edges(root_)) {
    SUEdgeSetSmooth(edge, true);
  }
  for (char const* const name : {"tiny.glb", "tiny.gltf", "tiny.ply"}) {
    ASSERT_EQ(SU_ERROR_NONE, save(name));
    aiScene const* const scene = read(name);
    ASSERT_NE(nullptr, scene) << name;
    EXPECT_EQ(8U, scene->mMeshes[0]->mNumVertices) << name;
    EXPECT_EQ(12U, scene->mMeshes[0]->mNumFaces) << name;
  }
}

TEST_F(SaveTest, WhatTheNumbersMeanIsSaid) {
  fill(root_, cube_points(), cube_faces());
  mirel_model_set_scene("Garage", 0.01, 1, 0, nullptr);
  ASSERT_EQ(SU_ERROR_NONE, save("said.glb"));
  aiScene const* const scene = read("said.glb");
  ASSERT_NE(nullptr, scene);
  EXPECT_FALSE(scene->mMeshes[0]->HasNormals());
  EXPECT_NEAR(0.01, scene->mRootNode->mTransformation.a1, 1e-8);
  EXPECT_NEAR(0.01, scene->mRootNode->mTransformation.b2, 1e-8);
  EXPECT_NEAR(0.01, scene->mRootNode->mTransformation.c3, 1e-8);
  ASSERT_EQ(SU_ERROR_NONE, save("said.dae"));
  std::ifstream file(path("said.dae"));
  std::string const text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_NE(std::string::npos, text.find("<up_axis>Y_UP"));
  std::size_t const unit = text.find("meter=\"");
  ASSERT_NE(std::string::npos, unit);
  EXPECT_NEAR(0.01, std::stod(text.substr(unit + 7)), 1e-8);
  EXPECT_STREQ("Garage", read("said.glb")->mRootNode->mName.C_Str());
  mirel_model_set_scene(nullptr, 0, 0, 1, nullptr);
  ASSERT_EQ(SU_ERROR_NONE, save("inches.glb"));
  EXPECT_STREQ("Model", read("inches.glb")->mRootNode->mName.C_Str());
  EXPECT_TRUE(importer_.GetScene()->mMeshes[0]->HasNormals());
}

// Side files get the names that they need where the file is going to be.
TEST_F(SaveTest, NamesAreForTheFolderInTheEnd) {
  std::filesystem::create_directory(path("end"));
  std::ofstream(path("end/brick.png")) << "another picture";
  std::ofstream(path("brick.png")) << "\x89PNG\r\n\x1A\n";
  Look look;
  look.front = add_material("brick", {255, 255, 255, 255}, path("brick.png").c_str());
  fill(root_, cube_points(), cube_faces(), look);
  std::filesystem::create_directory(path("first"));
  mirel_model_set_scene(nullptr, 0, 0, 1, path("end").c_str());
  EXPECT_EQ(SU_ERROR_NONE, save("first/wall.gltf"));
  mirel_model_set_scene(nullptr, 0, 0, 1, nullptr);
  EXPECT_TRUE(std::filesystem::exists(path("first/brick_2.png")));
  EXPECT_FALSE(std::filesystem::exists(path("first/brick.png")));
}

constexpr SUTransformation kNowhere = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

// A group around one instance is one node, of the group's name, with the definition's mesh.
TEST_F(SaveTest, AGroupAroundOneInstanceIsOneNode) {
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const wheel = add_definition("Wheel", inside);
  fill(inside, cube_points(), cube_faces());
  for (char const* const name : {"left", "right"}) {
    SUEntitiesRef const group = add_group(root_, name, kNowhere);
    add_instance(group, wheel, kNowhere);
  }
  SUEntitiesRef const moved = add_group(root_, "axle", kNowhere);
  SUTransformation away = kNowhere;
  away.values[12] = 5;
  add_instance(moved, wheel, away);
  ASSERT_EQ(SU_ERROR_NONE, save("wheels.glb"));
  aiNode const& root = *read("wheels.glb")->mRootNode;
  ASSERT_EQ(3U, root.mNumChildren);
  for (unsigned int number = 0; number < 2; ++number) {
    EXPECT_STREQ(number == 0 ? "left" : "right", root.mChildren[number]->mName.C_Str());
    EXPECT_EQ(1U, root.mChildren[number]->mNumMeshes);
    EXPECT_EQ(0U, root.mChildren[number]->mNumChildren);
  }
  EXPECT_EQ(0U, root.mChildren[2]->mNumMeshes);
  EXPECT_EQ(1U, root.mChildren[2]->mNumChildren);
}

TEST_F(SaveTest, SmoothWithoutSoftIsSmoothToo) {
  fill(root_, cube_points(), cube_faces());
  for (SUEdgeRef const edge : edges(root_)) {
    SUEdgeSetSmooth(edge, true);
  }
  ASSERT_EQ(SU_ERROR_NONE, save("smooth.glb"));
  EXPECT_EQ(8U, read("smooth.glb")->mMeshes[0]->mNumVertices);
}

TEST_F(SaveTest, ShearedInstancesStandWhereTheyBelong) {
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const chair = add_definition("Chair", inside);
  fill(inside, cube_points(), cube_faces());
  // x takes half of y along: from -1.5 to 1.5, moved by 10.
  add_instance(root_, chair, {{1, 0, 0, 0, 0.5, 1, 0, 0, 0, 0, 1, 0, 10, 0, 0, 1}});
  for (char const* const name : {"shear.glb", "shear.dae", "shear.obj", "shear.stl"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name));
    aiScene const* const scene = read(name);
    std::size_t faces = 0;
    Bounds bounds;
    collect(*scene, *scene->mRootNode, aiMatrix4x4(), faces, bounds);
    float const unit =
        std::string(name).find(".glb") != std::string::npos || std::string(name).find(".dae") != std::string::npos
            ? 0.0254F
            : 1.0F;
    EXPECT_NEAR(8.5F * unit, bounds.low.x, 1e-5F);
    EXPECT_NEAR(11.5F * unit, bounds.high.x, 1e-5F);
    EXPECT_EQ(12U, faces);
  }
}

// Places that differ from none at all by less than readers commonly call nothing.
TEST_F(SaveTest, SmallMovesAreKept) {
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef const chair = add_definition("Chair", inside);
  fill(inside, cube_points(), cube_faces());
  SUEntitiesRef const group = add_group(root_, "Outer", {{1, 0, 0, 0, 0, 1.004, 0, 0, 0, 0, 1, 0, 0, 0, 0.008, 1}});
  add_instance(group, chair, translation(0.005, 0, 0));
  add_instance(group, chair, translation(0, -0.009, 0));
  for (char const* const name : {"moved.glb", "moved.gltf", "moved.dae"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name));
    aiScene const* const scene = read(name);
    std::size_t faces = 0;
    Bounds bounds;
    collect(*scene, *scene->mRootNode, aiMatrix4x4(), faces, bounds);
    // From -1 to 1.005 along x, from -1.013036 to 1.004 along y, from -0.992 to 1.008 along z; turned to y up.
    EXPECT_NEAR(1.005F * 0.0254F, bounds.high.x, 1e-7F);
    EXPECT_NEAR(-1.013036F * 0.0254F, -bounds.high.z, 1e-7F);
    EXPECT_NEAR(1.008F * 0.0254F, bounds.high.y, 1e-7F);
    EXPECT_EQ(24U, faces);
    check_outward(*scene, *scene->mRootNode, aiMatrix4x4());
    EXPECT_EQ(1U, scene->mNumMeshes);
  }
}

TEST_F(SaveTest, SidesOfAFace) {
  SUMaterialRef const red = add_material("Red", {255, 0, 0, 255});
  SUMaterialRef const blue = add_material("Blue", {0, 0, 255, 255});
  std::vector<SUPoint3D> const points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  Look look;
  look.front = red;
  look.back = red;
  fill(root_, points, {{0, 1, 2}}, look);
  look.back = blue;
  SUEntitiesRef const group = add_group(root_, "Other", translation(0, 0, 1));
  fill(group, points, {{0, 1, 2}}, look);
  look.back = {};
  SUEntitiesRef const third = add_group(root_, "Third", translation(0, 0, 2));
  fill(third, points, {{0, 1, 2}}, look);
  ASSERT_EQ(SU_ERROR_NONE, save("sides.glb"));
  aiScene const* scene = read("sides.glb");
  // One triangle for both sides, one for each side, one for the front alone.
  EXPECT_EQ(4U, scene->mNumMeshes);
  int two_sided = 0;
  for (unsigned int number = 0; number < scene->mNumMaterials; ++number) {
    bool flag = false;
    scene->mMaterials[number]->Get(AI_MATKEY_TWOSIDED, flag);
    two_sided += flag ? 1 : 0;
  }
  EXPECT_EQ(1, two_sided);
  ASSERT_EQ(SU_ERROR_NONE, save("sides.obj"));
  scene = read("sides.obj");
  EXPECT_EQ(3U, scene->mNumMeshes);
}

TEST_F(SaveTest, MaterialsOfOneNameStayApart) {
  Look look;
  look.front = add_material("Same", {255, 0, 0, 255});
  fill(root_, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}, look);
  look.front = add_material("Same", {0, 255, 0, 255});
  fill(root_, {{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}, {{0, 1, 2}}, look);
  ASSERT_EQ(SU_ERROR_NONE, save("same.obj"));
  aiScene const* const scene = read("same.obj");
  auto const all = materials(*scene);
  aiColor4D color;
  ASSERT_EQ(1U, all.count("Same"));
  ASSERT_EQ(1U, all.count("Same_2"));
  all.at("Same_2")->Get(AI_MATKEY_COLOR_DIFFUSE, color);
  EXPECT_EQ(1, color.g);
}

TEST_F(SaveTest, OddNames) {
  std::string const odd = "a\nb\tc\"d\\e<f>&g \xFF \xF0\x9F\xAA\x91";
  Look look;
  look.front = add_material(odd.c_str(), {255, 0, 0, 255});
  SUEntitiesRef const group = add_group(root_, odd.c_str(), translation(0, 0, 0));
  fill(group, cube_points(), cube_faces(), look);
  add_group(root_, "", translation(0, 0, 0));
  SUEntitiesRef const longest = add_group(root_, std::string(5000, 'x').c_str(), translation(0, 0, 0));
  fill(longest, cube_points(), cube_faces(), look);
  for (char const* const name : {"odd.glb", "odd.gltf", "odd.dae", "odd.obj", "odd.ply", "odd.stl"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SU_ERROR_NONE, save(name)) << mirel_model_message();
    aiScene const* const scene = read(name);
    ASSERT_NE(nullptr, scene);
    std::size_t faces = 0;
    Bounds bounds;
    collect(*scene, *scene->mRootNode, aiMatrix4x4(), faces, bounds);
    EXPECT_EQ(24U, faces);
  }
}

TEST_F(SaveTest, ExtensionsThatAreNone) {
  make_scene();
  for (char const* const name : {"scene.skp", "scene", "scene.", "scene.glb.bak", ".glb/scene", "scene.step"}) {
    EXPECT_EQ(SU_ERROR_SERIALIZATION, save(name)) << name;
    EXPECT_STRNE("", mirel_model_message());
    EXPECT_EQ(0, mirel_model_can_write(name)) << name;
  }
  EXPECT_EQ(std::vector<std::string>{"picture source.png"}, names(folder_));
  EXPECT_EQ(1, mirel_model_can_write("SCENE.GLB"));
  EXPECT_EQ(SU_ERROR_NONE, save("SCENE.GLB"));
  EXPECT_STREQ("glb gltf dae obj ply stl", mirel_model_formats());
}

TEST_F(SaveTest, AFolderInTheWay) {
  make_scene();
  std::filesystem::create_directory(path("scene.glb"));
  EXPECT_EQ(SU_ERROR_SERIALIZATION, save("scene.glb"));
  EXPECT_TRUE(std::filesystem::is_directory(path("scene.glb")));
}

TEST_F(SaveTest, AFolderThatCannotBeWritten) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "every folder can be written by root";
  }
  make_scene();
  std::filesystem::create_directory(path("locked"));
  chmod(path("locked").c_str(), 0500);
  EXPECT_EQ(SU_ERROR_SERIALIZATION, save("locked/scene.glb"));
  chmod(path("locked").c_str(), 0700);
}

TEST_F(SaveTest, TexturesAreCopiedUnderPlainNames) {
  make_scene();
  ASSERT_EQ(SU_ERROR_NONE, save("scene.obj"));
  std::vector<std::string> const expected = {"picture source.png", "picture_source.png", "scene.mtl", "scene.obj"};
  EXPECT_EQ(expected, names(folder_));
  EXPECT_EQ(sizeof kPng, std::filesystem::file_size(folder_ / "picture_source.png"));
}

TEST_F(SaveTest, AnotherFileOfATexturesNameStays) {
  make_scene();
  std::ofstream(folder_ / "picture_source.png") << "other";
  ASSERT_EQ(SU_ERROR_NONE, save("scene.obj"));
  EXPECT_EQ(5U, std::filesystem::file_size(folder_ / "picture_source.png"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "picture_source_2.png"));
  check_materials("scene.obj");
}

TEST_F(SaveTest, ATextureThatIsGoneFailsTheFile) {
  make_scene();
  std::filesystem::remove(path("picture source.png"));
  EXPECT_EQ(SU_ERROR_SERIALIZATION, save("scene.obj"));
  EXPECT_NE(nullptr, std::strstr(mirel_model_message(), "picture source.png"));
  EXPECT_TRUE(names(folder_).empty());
}

TEST_F(SaveTest, ATextureThatGltfCannotTakeIsLeftOutAndSaid) {
  std::ofstream(folder_ / "picture source.png", std::ios::trunc) << "BM no picture of these kinds";
  make_scene();
  ASSERT_EQ(SU_ERROR_NONE, save("scene.glb"));
  EXPECT_NE(nullptr, std::strstr(mirel_model_message(), "picture source.png"));
  check_scene("scene.glb", true);
}

// A bitmap of one red point.
constexpr char kBmp[] =
    "BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\1\0\0\0\1\0\0\0\1\0\x18\0\0\0\0\0\4\0\0\0\0\0\0\0\0\0\0\0"
    "\0\0\0\0\0\0\0\0\0\0\xFF";

TEST_F(SaveTest, ATextureThatGltfCannotTakeBecomesPng) {
  std::ofstream(folder_ / "picture source.png", std::ios::trunc | std::ios::binary).write(kBmp, sizeof kBmp);
  make_scene();
  ASSERT_EQ(SU_ERROR_NONE, save("scene.glb"));
  EXPECT_STREQ("", mirel_model_message());
  check_materials("scene.glb");
  ASSERT_EQ(SU_ERROR_NONE, save("scene.gltf"));
  EXPECT_STREQ("", mirel_model_message());
  check_materials("scene.gltf");
  std::ifstream file(folder_ / "picture_source.png", std::ios::binary);
  char mark[4] = {};
  file.read(mark, sizeof mark);
  EXPECT_EQ("\x89PNG", std::string(mark, sizeof mark));
  // A second time it is there already.
  ASSERT_EQ(SU_ERROR_NONE, save("scene.gltf"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "picture_source_2.png"));
}

TEST_F(SaveTest, InstancesOfInstances) {
  SUEntitiesRef inside = {};
  SUComponentDefinitionRef definition = add_definition("level 0", inside);
  fill(inside, cube_points(), cube_faces());
  for (int level = 1; level < 40; ++level) {
    SUEntitiesRef outer = {};
    SUComponentDefinitionRef const next = add_definition(("level " + std::to_string(level)).c_str(), outer);
    add_instance(outer, definition, translation(0, 0, 1));
    add_instance(outer, definition, translation(0, 1, 0));
    definition = next;
  }
  add_instance(root_, definition, translation(0, 0, 0));
  // 2^40 cubes.
  EXPECT_NE(SU_ERROR_NONE, save("endless.glb"));
  EXPECT_EQ(std::vector<std::string>{"picture source.png"}, names(folder_));
}

}  // namespace

}  // namespace mirel::model::test
