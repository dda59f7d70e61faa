#include "standalone/engine/obj/obj_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "standalone/engine/obj/statement_parser.h"
#include "standalone/engine/wedge_mesh.h"

namespace mirel::engine {
namespace {

using Indices = std::vector<std::uint32_t>;
using Floats = std::vector<float>;

// Four corners of the unit square, and of the square above it.
std::string const kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

ObjResult parse_text(std::string const& text) {
  return parse_obj(text.data(), text.size(), "model.obj", "");
}

ObjFile parsed(std::string const& text) {
  ObjResult result = parse_text(text);
  EXPECT_TRUE(result.file.has_value()) << result.error;
  EXPECT_EQ(result.error, "");
  return result.file.value_or(ObjFile());
}

ObjMesh only_mesh(std::string const& text) {
  ObjFile file = parsed(text);
  EXPECT_EQ(file.meshes.size(), 1U) << text;
  return file.meshes.empty() ? ObjMesh() : file.meshes[0];
}

class Folder {
 public:
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "obj_test_XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string write(std::string const& name, std::string const& text) const {
    std::string const path = path_ + "/" + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::string const& path() const { return path_; }

 private:
  std::string path_;
};

TEST(ObjReader, ReadsTrianglesWithoutAttributes) {
  ObjMesh const mesh = only_mesh(kSquare + "f 1 2 3\nf 1 3 4\n");
  EXPECT_EQ(mesh.name, "");
  EXPECT_EQ(mesh.positions, (Floats{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2, 0, 2, 3}));
  EXPECT_EQ(mesh.face_set_of, (Indices{0, 0}));
  EXPECT_TRUE(mesh.normals.empty() && mesh.uvs.empty() && mesh.face_normals.empty() && mesh.face_uvs.empty());
  ASSERT_EQ(mesh.materials.size(), 1U);
  EXPECT_TRUE(mesh.materials[0].is_default);
  EXPECT_EQ(mesh.materials[0].name, "Default");
}

TEST(ObjReader, ReadsEveryFormOfCorner) {
  std::string const attributes = "vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 1\n";
  struct Row {
    char const* face;
    bool uvs, normals;
  };
  for (Row const& row :
       {Row{"f 1 2 3", false, false}, Row{"f 1/1 2/2 3/3", true, false}, Row{"f 1/1/ 2/2/ 3/3/", true, false},
        Row{"f 1//1 2//1 3//1", false, true}, Row{"f 1/1/1 2/2/1 3/3/1", true, true}, Row{"f 1/ 2/ 3/", false, false},
        Row{"f -4/-3/-1 -3/-2/-1 -2/-1/-1", true, true}, Row{"f +1 +2 +3", false, false}, Row{"fo 1 2 3", false, false},
        Row{"f 1/1 2/2 3", false, false}, Row{"f 1//1 2/2/1 3", false, false}}) {
    ObjMesh const mesh = only_mesh(kSquare + attributes + row.face + "\n");
    EXPECT_EQ(mesh.faces, (Indices{0, 1, 2})) << row.face;
    EXPECT_EQ(mesh.face_uvs, row.uvs ? (Indices{0, 1, 2}) : Indices()) << row.face;
    EXPECT_EQ(mesh.uvs, row.uvs ? (Floats{0, 0, 1, 0, 1, 1}) : Floats()) << row.face;
    EXPECT_EQ(mesh.face_normals, row.normals ? (Indices{0, 0, 0}) : Indices()) << row.face;
    EXPECT_EQ(mesh.normals, row.normals ? (Floats{0, 0, 1}) : Floats()) << row.face;
  }
}

TEST(ObjReader, MixesCornersInOneMesh) {
  ObjMesh const mesh =
      only_mesh(kSquare + "vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 1\nf 1 2 3\nf 1/1 2/2 3/3\nf 1//1 2//1 3//1\nf 1/1 2/2 3\n");
  EXPECT_EQ(mesh.faces.size(), 12U);
  EXPECT_EQ(mesh.face_uvs, (Indices{kNone, kNone, kNone, 0, 1, 2, kNone, kNone, kNone, kNone, kNone, kNone}));
  EXPECT_EQ(mesh.face_normals, (Indices{kNone, kNone, kNone, kNone, kNone, kNone, 0, 0, 0, kNone, kNone, kNone}));
}

TEST(ObjReader, UnderstandsEveryKindOfLine) {
  ObjMesh const expected = only_mesh(kSquare + "f 1 2 3 4\n");
  for (std::string const& text :
       {std::string("\xEF\xBB\xBF# comment\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4"),
        std::string("v 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\nv 0 1 0\r\n\r\nf 1 2 3 4\r\n"),
        std::string("v 0 0 0\rv 1 0 0\rv 1 1 0\rv 0 1 0\rf 1 2 3 4"),
        std::string("\tv\t0\t0 0 \nv  1   0 0\t\n  v 1 1 0\nv 0 1 0\n\n \nf 1 2 3 4 # the end\n"),
        std::string("v 0 0 \\\n0\nv 1\\\r\n 0 0\nv \\\r 1 1 0\nv 0 1 0 \\\n1 1 1\nf 1 2\\\n\\\n 3 4\\\n"),
        std::string("# a path that ends in a backslash: C:\\\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\\"),
        std::string("v 0 0 0 1.0\nv 1 0 0 0.5 0.5 0.5\nv 1 1 0 # corner\nv 0 1 0 1 1 1 1\nf 1 2 3 4\n\x1A"),
        std::string("v +0 0e5 -0\nv 1.000 .0 0.\nv 1e0 100E-2 0\nv 0 0.1e+1 0\nf 1 2 3 4\nunknown thing\nl 1 2\np 1\n"),
        std::string("g a\ns 1\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\ns off\ng b\nf 1 2 3 4\ng\n"),
        std::string("f 1 2 3 4\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n")}) {
    ObjMesh const mesh = only_mesh(text);
    EXPECT_EQ(mesh.positions, expected.positions) << text;
    EXPECT_EQ(mesh.faces, expected.faces) << text;
  }
}

TEST(ObjReader, KeepsVerticesThatAreNotFinite) {
  ObjMesh const mesh = only_mesh("v nan 0 0\nv inf -inf 0\nv 1e400 0 0\nf 1 2 3\n");
  ASSERT_EQ(mesh.positions.size(), 9U);
  EXPECT_TRUE(std::isnan(mesh.positions[0]));
  EXPECT_EQ(mesh.positions[3], INFINITY);
  EXPECT_EQ(mesh.positions[4], -INFINITY);
  EXPECT_EQ(mesh.positions[6], INFINITY);
  EXPECT_EQ(mesh.faces, (Indices{0, 1, 2}));
}

//  3---2        3
//  |   |       / \                (a quad is cut along 0-2 unless that would fold)
//  0---1      / 1 \  with 1 inside
TEST(ObjReader, CutsQuadsWithoutOverlaps) {
  EXPECT_EQ(only_mesh(kSquare + "f 1 2 3 4\n").faces, (Indices{0, 1, 2, 0, 2, 3}));
  std::string const arrow = "v 0 0 0\nv 1 1 0\nv 2 0 0\nv 1 3 0\n";
  EXPECT_EQ(only_mesh(arrow + "f 1 2 3 4\n").faces, (Indices{1, 2, 3, 1, 3, 0}));
  EXPECT_EQ(only_mesh(arrow + "f 2 3 4 1\n").faces, (Indices{1, 2, 3, 1, 3, 0}));
  EXPECT_EQ(only_mesh(arrow + "f 4 3 2 1\n").faces, (Indices{3, 2, 1, 3, 1, 0}));
  // A corner on the line between its neighbours.
  std::string const straight = "v 0 0 0\nv 1 0 0\nv 2 0 0\nv 1 1 0\n";
  EXPECT_EQ(only_mesh(straight + "f 1 2 3 4\n").faces, (Indices{1, 2, 3, 1, 3, 0}));
}

TEST(ObjReader, CutsConcavePolygonsWithTheirAttributes) {
  std::string const text =
      "v 0 0 0\nv 3 0 0\nv 3 1 0\nv 1 1 0\nv 1 3 0\nv 0 3 0\nvt 0 0\nvt 3 0\nvt 3 1\nvt 1 1\nvt 1 3\nvt 0 3\n";
  for (std::string const& face : {text + "f 1/1 2/2 3/3 4/4 5/5 6/6\n", "f 1/1 2/2 3/3 4/4 5/5 6/6\n" + text}) {
    ObjMesh const mesh = only_mesh(face);
    ASSERT_EQ(mesh.faces.size(), 12U);
    EXPECT_EQ(mesh.face_uvs, mesh.faces);
    double area = 0;
    for (std::size_t k = 0; k < 12; k += 3) {
      float const* const a = &mesh.positions[mesh.faces[k] * 3];
      float const* const b = &mesh.positions[mesh.faces[k + 1] * 3];
      float const* const c = &mesh.positions[mesh.faces[k + 2] * 3];
      float const part = (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
      EXPECT_GT(part, 0);
      area += part / 2;
    }
    EXPECT_EQ(area, 5);
  }
}

TEST(ObjReader, MakesOneMeshPerObjectWithItsOwnVertices) {
  ObjFile const file = parsed(
      "v 9 9 9\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 0.5 0.5\nf 2 3 4\n"
      "o empty\nv 7 7 7\n"
      "o second one \nv 0 0 1\nv 1 0 1\nv 0 1 1\nvn 0 0 1\nf 6/2/1 7/2/1 8/2/1\nf 2/2/1 7/2/1 8/2/1\n"
      "o third\nf -1 -2 -3\n");
  ASSERT_EQ(file.meshes.size(), 3U);
  EXPECT_EQ(file.meshes[0].name, "");
  EXPECT_EQ(file.meshes[0].positions, (Floats{0, 0, 0, 1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(file.meshes[0].faces, (Indices{0, 1, 2}));
  EXPECT_TRUE(file.meshes[0].uvs.empty());
  EXPECT_EQ(file.meshes[1].name, "second one");
  EXPECT_EQ(file.meshes[1].positions, (Floats{0, 0, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1}));
  EXPECT_EQ(file.meshes[1].faces, (Indices{1, 2, 3, 0, 2, 3}));
  EXPECT_EQ(file.meshes[1].uvs, (Floats{0.5F, 0.5F}));
  EXPECT_EQ(file.meshes[1].face_uvs, (Indices{0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(file.meshes[2].name, "third");
  EXPECT_EQ(file.meshes[2].positions, (Floats{0, 0, 1, 1, 0, 1, 0, 1, 1}));
  EXPECT_EQ(file.meshes[2].faces, (Indices{2, 1, 0}));
}

TEST(ObjReader, KeepsThousandsOfObjectsCheap) {
  std::string text;
  for (int k = 0; k < 300000; ++k) text += "v " + std::to_string(k) + " 0 0\n";
  // Every object reaches over the whole file.
  for (int k = 0; k < 20000; ++k) text += "o m\nusemtl a\nf 1 " + std::to_string(k + 2) + " 300000\n";
  ObjFile const file = parsed(text);
  ASSERT_EQ(file.meshes.size(), 20000U);
  EXPECT_EQ(file.meshes[19999].positions, (Floats{0, 0, 0, 20000, 0, 0, 299999, 0, 0}));
  EXPECT_EQ(file.meshes[19999].faces, (Indices{0, 1, 2}));
}

TEST(ObjReader, MakesOneFaceSetPerMaterialInOrderOfFirstUse) {
  ObjFile const file = parsed(kSquare +
                              "f 1 2 3\nusemtl red \nf 1 2 3\nusemtl unused\nusemtl two words\nf 1 2 3\nusemtl red\n"
                              "f 1 2 3\nusemtl\nf 1 2 3\no next\nf 1 2 3\nusemtl red\nf 1 2 3\n");
  ASSERT_EQ(file.meshes.size(), 2U);
  ObjMesh const& first = file.meshes[0];
  EXPECT_EQ(first.face_set_of, (Indices{0, 1, 2, 1, 0}));
  ASSERT_EQ(first.materials.size(), 3U);
  EXPECT_TRUE(first.materials[0].is_default);
  EXPECT_EQ(first.materials[1].name, "red");
  EXPECT_FALSE(first.materials[1].is_default);
  EXPECT_FALSE(first.materials[1].has_color);
  EXPECT_EQ(first.materials[2].name, "two words");
  EXPECT_EQ(file.meshes[1].face_set_of, (Indices{0, 1}));
  EXPECT_TRUE(file.meshes[1].materials[0].is_default);
  EXPECT_EQ(file.meshes[1].materials[1].name, "red");
}

TEST(ObjReader, CountsElementsUpToALimit) {
  StatementParser parser(3);
  std::string const behind(1 + text::kReadAhead, '\n');
  std::string const text = kSquare + behind;
  EXPECT_FALSE(parser.parse(text.data(), text.data() + kSquare.size(), 0));
  EXPECT_EQ(parser.error_line(), 4U);
  EXPECT_NE(parser.error().find("more than 3 elements"), std::string::npos) << parser.error();
  StatementParser faces(4);
  std::string const many = kSquare + "f 1 2 3 4\nf 1 2 3 4\nf 1 2 3\n" + behind;
  EXPECT_FALSE(faces.parse(many.data(), many.data() + many.size() - behind.size(), 0));
  EXPECT_EQ(faces.error_line(), 7U);
}

TEST(ObjReader, SaysWhatIsWrongAndWhere) {
  struct Row {
    std::string text;
    std::string error;
  };
  for (Row const& row : {
           Row{"v 1 2 x\n", "model.obj:1: malformed number \"x\""},
           Row{"v 1 2\n", "model.obj:1: missing number"},
           Row{"v\n", "model.obj:1: missing number"},
           Row{"v 1,5 2 3\n", "model.obj:1: malformed number \"1,5\""},
           Row{"v 0x10 2 3\n", "model.obj:1: malformed number \"0x10\""},
           Row{"v 1 2 3\r\nv 1 2 3e\r\n", "model.obj:2: malformed number \"3e\""},
           Row{"#\r#\rvt\r", "model.obj:3: missing number"},
           Row{"vn 1 2 a\n", "model.obj:1: malformed number \"a\""},
           Row{"v 1 2 \\\n\\\n z", "model.obj:3: malformed number \"z\""},
           Row{kSquare + "f 1 2 5\n", "model.obj:5: vertex index 5 is out of range: the file has 4"},
           Row{kSquare + "f 1 2 5\nf 1 2 7\nf 1 2 6\n", "model.obj:6: vertex index 7 is out of range: the file has 4"},
           Row{kSquare + "f 1 2 0\n", "model.obj:5: vertex index 0: indices start at 1"},
           Row{kSquare + "f 1 2 -5\n", "model.obj:5: vertex index \"-5\" is out of range: 4 so far"},
           Row{kSquare + "f 1/1 2/1 3/1\n", "model.obj:5: UV index 1 is out of range: the file has 0"},
           Row{kSquare + "f 1//9 2//9 3//9\n", "model.obj:5: normal index 9 is out of range: the file has 0"},
           Row{kSquare + "f 1/0/1 2 3\n", "model.obj:5: UV index 0: indices start at 1"},
           Row{kSquare + "f 1 2 99999999999999999999999\n",
               "model.obj:5: vertex index 18446744073709551615 is out of range"},
           Row{kSquare + "f 1 2 4294967296\n", "model.obj:5: vertex index 4294967296 is out of range"},
           Row{kSquare + "f 1 2\n", "model.obj:5: a face with 2 corners"},
           Row{kSquare + "f 1\n", "model.obj:5: a face with 1 corner"},
           Row{kSquare + "f\n", "model.obj:5: a face with 0 corners"},
           Row{kSquare + "f 1 2 3x\n", "model.obj:5: malformed face corner \"3x\""},
           Row{kSquare + "f 1 2 3/1/1/1\n", "model.obj:5: malformed face corner \"3/1/1/1\""},
           Row{kSquare + "f 1 2 3\\4\n", "model.obj:5: missing face corner"},
           Row{kSquare + "f 1 2 a\n", "model.obj:5: malformed face corner \"a\""},
           Row{std::string("\x7F"
                           "ELF\x02\x01\x00",
                           7),
               "model.obj:1: not OBJ text"},
           Row{"\x89PNG\r\n\x1A\n" + std::string(64, '\0'), "model.obj:3: not OBJ text"},
           Row{kSquare + std::string(3, '\0'), "model.obj:5: not OBJ text"},
           Row{std::string("\xFF\xFEv\0 \0", 6), "model.obj: not OBJ text but UTF-16; it has to be saved as UTF-8"},
           Row{"solid cube\n facet normal 0 0 1\nendsolid\n",
               "model.obj: not OBJ text: none of its lines is a statement of the format"},
           Row{std::string(400000, '\0'), "model.obj: not OBJ text: a line without end"},
       }) {
    ObjResult const result = parse_text(row.text);
    EXPECT_FALSE(result.file.has_value()) << row.text;
    if (row.text.starts_with("\x89PNG")) {
      EXPECT_NE(result.error.find("not OBJ text"), std::string::npos) << result.error;
    } else {
      EXPECT_EQ(result.error, row.error);
    }
  }
}

TEST(ObjReader, TakesAFileWithoutFacesAsNoMeshes) {
  for (char const* text :
       {"", "\n", "# nothing here", "\xEF\xBB\xBF", "v 1 2 3\n", "o a\ng b\nv 1 2 3\no c\n", "\\", "\x1A"}) {
    EXPECT_TRUE(parsed(text).meshes.empty()) << text;
  }
  EXPECT_TRUE(parse_obj(nullptr, 0, "model.obj", "").file.has_value());
}

// Statements, line ends and continuations at every place of a block's border.
TEST(ObjReader, ReadsOverBlockBorders) {
  for (std::string const line_end : {"\n", "\r\n", "\r"}) {
    for (std::size_t shift = 0; shift < 24; ++shift) {
      std::string text = std::string(262144 - 40 + shift, '#') + line_end;
      std::string const shapes[] = {"v 0 0 0", "v 1 0 \\" + line_end + "0", "v 1 1 0", "v 0 1 0", "f 1 2 3 4"};
      for (std::string const& shape : shapes) text += shape + line_end;
      ObjMesh const mesh = only_mesh(text);
      EXPECT_EQ(mesh.positions, (Floats{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
      EXPECT_EQ(mesh.faces, (Indices{0, 1, 2, 0, 2, 3}));
      ObjResult const broken = parse_text(text + "v x" + line_end);
      EXPECT_EQ(broken.error, "model.obj:8: malformed number \"x\"");
    }
  }
}

TEST(ObjReader, ReadsALineLongerThanABlock) {
  std::string text;
  std::string face = "f";
  int const corners = 60000;
  for (int k = 0; k < corners; ++k) {
    double const angle = 6.283185307179586 * k / corners;
    text += "v " + std::to_string(1000 * std::cos(angle)) + " " + std::to_string(1000 * std::sin(angle)) + " 0\n";
    face.append(" ").append(std::to_string(k + 1));
  }
  ObjMesh const mesh = only_mesh(text + face + "\nf 1 2 3\n");
  EXPECT_EQ(mesh.faces.size(), (corners - 2 + 1) * 3U);
}

TEST(ObjReader, ReadsFilesPipesAndNothingElse) {
  Folder const folder;
  std::string const text = kSquare + "f 1 2 3 4\n";
  std::string const path = folder.write("square.obj", text);
  ASSERT_TRUE(read_obj(path.c_str()).file.has_value());
  EXPECT_EQ(read_obj(path.c_str()).file->meshes.size(), 1U);

  EXPECT_EQ(read_obj(nullptr).error, "no file name");
  EXPECT_EQ(read_obj((folder.path() + "/absent.obj").c_str()).error,
            folder.path() + "/absent.obj: No such file or directory");
  EXPECT_EQ(read_obj(folder.path().c_str()).error, folder.path() + ": Is a directory");
  EXPECT_EQ(read_obj((path + "/x").c_str()).error, path + "/x: Not a directory");
  EXPECT_TRUE(read_obj("/dev/null").file.has_value());
  EXPECT_EQ(read_obj("/dev/zero").error, "/dev/zero: not OBJ text: a line without end");

  std::string const pipe = folder.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] {
    std::ofstream out(pipe, std::ios::binary);
    for (char const c : text) out << c << std::flush;
  });
  ObjResult const result = read_obj(pipe.c_str());
  writer.join();
  ASSERT_TRUE(result.file.has_value()) << result.error;
  EXPECT_EQ(result.file->meshes[0].faces, (Indices{0, 1, 2, 0, 2, 3}));
}

TEST(ObjReader, SaysThatAFileMayNotBeRead) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads every file";
  Folder const folder;
  std::string const path = folder.write("locked.obj", kSquare);
  chmod(path.c_str(), 0);
  EXPECT_EQ(read_obj(path.c_str()).error, path + ": Permission denied");
}

TEST(ObjReader, GivesMaterialsTheirColoursAndTextures) {
  Folder const folder;
  folder.write(
      "lib/a.mtl",
      "# library\nKd 9 9 9\nnewmtl red\nKd 1 0.25 0\nd 0.5\nTr 1\nmap_Kd -s 1 1 1 -o 0.5 -clamp on my texture.png\n"
      "newmtl twice\nKd 0.5\nnewmtl twice\nKd 1 1 1\nnewmtl bad\nKd x y z\nd\nmap_Kd -clamp on\n");
  folder.write("b c.mtl", "newmtl two words\r\nkd 2 -1 0.5\r\nTr 0.25\r\nmap_kd C:\\images\\a b.png\r\n");
  std::string const path =
      folder.write("model.obj", kSquare +
                                    "mtllib lib\\a.mtl b c.mtl\nmtllib absent.mtl\nmtllib lib\\a.mtl b c.mtl\nusemtl "
                                    "red\nf 1 2 3\nusemtl two words\nf 1 2 3\n"
                                    "usemtl twice\nf 1 2 3\nusemtl unknown\nf 1 2 3\nusemtl bad\nf 1 2 3\n");
  ObjResult const result = read_obj(path.c_str());
  ASSERT_TRUE(result.file.has_value()) << result.error;
  std::vector<ObjMaterial> const& materials = result.file->meshes[0].materials;
  ASSERT_EQ(materials.size(), 5U);
  EXPECT_EQ(std::vector<float>(materials[0].color, materials[0].color + 4), (Floats{1, 0.25F, 0, 0.5F}));
  EXPECT_TRUE(materials[0].has_color);
  EXPECT_EQ(materials[0].texture_path, "my texture.png");
  EXPECT_EQ(materials[0].texture_base_path, folder.path() + "/lib");
  EXPECT_EQ(std::vector<float>(materials[1].color, materials[1].color + 4), (Floats{1, 0, 0.5F, 0.75F}));
  EXPECT_EQ(materials[1].texture_path, "C:\\images\\a b.png");
  EXPECT_EQ(materials[1].texture_base_path, folder.path());
  EXPECT_EQ(std::vector<float>(materials[2].color, materials[2].color + 4), (Floats{0.5F, 0.5F, 0.5F, 1}));
  EXPECT_EQ(materials[2].texture_path, "");
  EXPECT_EQ(materials[3].name, "unknown");
  EXPECT_FALSE(materials[3].has_color);
  EXPECT_FALSE(materials[3].is_default);
  EXPECT_FALSE(materials[4].has_color);
  EXPECT_EQ(materials[4].texture_path, "");
  EXPECT_EQ(result.warnings,
            (std::vector<std::string>{folder.path() + "/lib/a.mtl:13: malformed Kd, passed over",
                                      folder.path() + "/lib/a.mtl:14: malformed d, passed over",
                                      folder.path() + "/lib/a.mtl:15: malformed map_Kd, passed over",
                                      "material library " + folder.path() + "/absent.mtl: No such file or directory",
                                      "no material library has the material unknown"}));
}

TEST(ObjReader, FindsMaterialLibraries) {
  Folder const folder;
  folder.write("one.mtl", "newmtl one\nKd 1 1 1\n");
  folder.write("with blanks.MTL", "newmtl blanks\nKd 1 1 1\n");
  folder.write("plain", "newmtl plain\nKd 1 1 1\n");
  struct Row {
    char const* statement;
    std::vector<std::string> found;
  };
  for (Row const& row :
       {Row{"one.mtl", {"one"}}, Row{"one.mtl with blanks.MTL", {"one", "blanks"}},
        Row{"with blanks.MTL one.mtl", {"one", "blanks"}}, Row{"\"with blanks.MTL\"", {"blanks"}},
        Row{"plain one.mtl", {"one", "plain"}}, Row{"plain plain", {"plain"}}, Row{"C:\\work\\one.mtl", {"one"}},
        Row{"/nowhere/one.mtl", {"one"}}, Row{"./one.mtl", {"one"}}, Row{".", {}}, Row{"/dev/zero", {}}, Row{"", {}}}) {
    std::string text = kSquare + "mtllib " + row.statement + "\n";
    for (char const* name : {"one", "blanks", "plain"}) text += std::string("usemtl ") + name + "\nf 1 2 3\n";
    ObjResult const result = parse_obj(text.data(), text.size(), "model.obj", folder.path());
    ASSERT_TRUE(result.file.has_value()) << result.error;
    std::vector<std::string> found;
    for (ObjMaterial const& material : result.file->meshes[0].materials) {
      if (material.has_color) found.push_back(material.name);
    }
    EXPECT_EQ(found, row.found) << row.statement;
  }
}

TEST(ObjReader, ReadsTextureOptions) {
  struct Row {
    char const* text;
    char const* name;
  };
  for (Row const& row :
       {Row{"wood.png", "wood.png"}, Row{"  wood grain.png  ", "wood grain.png"}, Row{"\"wood.png\"", "wood.png"},
        Row{"-s 2 wood.png", "wood.png"}, Row{"-s 2 2 2 4.png", "4.png"}, Row{"-o 1 2 3", "3"},
        Row{"-mm 0 1 -t 1 1 1 -texres 512 -bm 1 -boost 2 wood.png", "wood.png"},
        Row{"-blendu on -blendv off -clamp on -cc off -imfchan r -type sphere -colorspace sRGB wood.png", "wood.png"},
        Row{"-unknown.png", "-unknown.png"}, Row{"D:\\a\\b.png", "D:\\a\\b.png"}}) {
    Folder const folder;
    folder.write("a.mtl", std::string("newmtl a\nmap_Kd ") + row.text + "\n");
    std::string const text = kSquare + "mtllib a.mtl\nusemtl a\nf 1 2 3\n";
    ObjResult const result = parse_obj(text.data(), text.size(), "model.obj", folder.path());
    ASSERT_TRUE(result.file.has_value());
    EXPECT_EQ(result.file->meshes[0].materials[0].texture_path, row.name);
    EXPECT_FALSE(result.file->meshes[0].materials[0].has_color);
  }
}

TEST(ObjReader, ReadsSharedModels) {
  char const* const variable = std::getenv("MIREL_SHARED");
  std::filesystem::path const models = std::filesystem::path(variable != nullptr ? variable : "../shared") / "models";
  if (!std::filesystem::exists(models)) GTEST_SKIP() << "no models in " << models;
  struct Row {
    char const* file;
    std::size_t faces, uvs;
  };
  for (Row const& row :
       {Row{"stanford-bunny.obj", 69451, 0}, Row{"rocker-arm.obj", 20088, 0}, Row{"fandisk.obj", 12946, 0},
        Row{"cheburashka.obj", 13334, 0}, Row{"spot.obj", 5856, 3225}, Row{"spot_quads.obj", 5856, 3225}}) {
    ObjResult const result = read_obj((models / row.file).c_str());
    ASSERT_TRUE(result.file.has_value()) << result.error;
    ASSERT_EQ(result.file->meshes.size(), 1U);
    EXPECT_EQ(result.file->meshes[0].faces.size(), row.faces * 3) << row.file;
    EXPECT_EQ(result.file->meshes[0].uvs.size(), row.uvs * 2) << row.file;
  }
}

// Common lines are read by a short road. A comment behind them leads the long way round.
TEST(ObjReader, CommonFacesAreReadAsOddOnesAre) {
  std::uint32_t state = 1;
  auto const below = [&state](std::uint32_t end) {
    state = state * 1664525U + 1013904223U;
    return (state >> 8) % end;
  };
  for (int round = 0; round < 200; ++round) {
    std::string common;
    std::string odd;
    std::uint32_t counts[3] = {0, 0, 0};
    bool const wrong = round % 10 == 9;
    // The short road is for meshes whose faces have all the same form.
    bool const one_form = round % 3 != 0;
    std::uint32_t const form_of_all = below(4);
    auto const line = [&](std::string const& text, bool is_face) {
      char const* const ends[] = {"\n", "\n", " \n", "\r\n", " \r\n"};
      common += text + ends[is_face ? below(5) : 0];
      odd += is_face ? text + " #\r\n" : text + "\n";
    };
    for (int k = 0; k < 40; ++k) {
      std::uint32_t const choice = below(12);
      if (choice < 2 || counts[0] < 3) {
        std::string vertex = "v";
        for (int axis = 0; axis < 3; ++axis) vertex.append(" ").append(std::to_string(below(9)));
        line(vertex, false);
        ++counts[0];
      } else if (choice == 2) {
        line(std::string("vt 0.").append(std::to_string(below(9))).append(" 1"), false);
        ++counts[1];
      } else if (choice == 3) {
        line("vn 0 0 1", false);
        ++counts[2];
      } else if (choice == 4) {
        line(below(3) == 0 ? "o part" : std::string("usemtl m").append(std::to_string(below(3))), false);
      } else {
        std::uint32_t const form = one_form ? form_of_all : below(4);
        std::string face = "f";
        for (std::uint32_t c = 0; c < 3 + below(2) * below(2); ++c) {
          auto const index = [&](std::size_t kind) {
            // Elements may follow their use; in some rounds they do not.
            return std::to_string(1 + below(counts[kind] + (wrong && below(40) == 0 ? 30 : 0) + (counts[kind] == 0)));
          };
          face.append(" ").append(index(0));
          if (form == 1 && counts[1] > 0) face.append("/").append(index(1));
          if (form == 2 && counts[2] > 0) face.append("//").append(index(2));
          if (form == 3 && counts[1] > 0 && counts[2] > 0) {
            face.append("/").append(index(1));
            face.append("/").append(index(2));
          }
        }
        line(face, true);
      }
    }
    ObjResult const a = parse_obj(common.data(), common.size(), "a.obj", "");
    ObjResult const b = parse_obj(odd.data(), odd.size(), "a.obj", "");
    ASSERT_EQ(a.error, b.error) << common;
    ASSERT_EQ(a.warnings, b.warnings);
    ASSERT_EQ(a.file.has_value(), b.file.has_value());
    if (!a.file) continue;
    ASSERT_EQ(a.file->meshes.size(), b.file->meshes.size());
    for (std::size_t m = 0; m < a.file->meshes.size(); ++m) {
      ObjMesh const& x = a.file->meshes[m];
      ObjMesh const& y = b.file->meshes[m];
      ASSERT_EQ(x.positions, y.positions) << common;
      ASSERT_EQ(x.uvs, y.uvs);
      ASSERT_EQ(x.normals, y.normals);
      ASSERT_EQ(x.faces, y.faces) << common;
      ASSERT_EQ(x.face_uvs, y.face_uvs);
      ASSERT_EQ(x.face_normals, y.face_normals);
      ASSERT_EQ(x.face_set_of, y.face_set_of);
    }
  }
}

}  // namespace
}  // namespace mirel::engine
