// Meshes of every kind, read in every way in which previews and exports read them: before and after the preparation,
// at step 0, in the middle and at the end. All ways give the same triangles.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/unit/sdk/kinds.h"

namespace mirel::engine {
namespace {

using Corner = std::vector<float>;  // x, y, z
using Triangle = std::array<Corner, 3>;
using Sets = std::vector<std::vector<Triangle>>;

Corner corner_at(float const* vertices, std::uint32_t vertex) {
  float const* const p = vertices + std::size_t{3} * vertex;
  return {p[0], p[1], p[2]};
}

// The preview: set by set from the sets' own tables, or all faces where there are no sets.
Sets read_for_preview(ab::IMesh const& mesh) {
  Sets sets;
  float const* const vertices = mesh.getVertices();
  std::uint32_t const set_count = mesh.getNumFaceSets();
  for (std::uint32_t s = 0; s < std::max(set_count, 1U); ++s) {
    std::uint32_t const* const faces = set_count == 0 ? mesh.getFaces() : mesh.getFaceSetFaces(s);
    std::uint32_t const count = set_count == 0 ? mesh.getNumFaces() : mesh.numFacesInSet(s);
    if (faces == nullptr) {
      continue;
    }
    sets.emplace_back();
    for (std::size_t f = 0; f < count; ++f) {
      sets.back().push_back({corner_at(vertices, faces[f * 3]), corner_at(vertices, faces[f * 3 + 1]),
                             corner_at(vertices, faces[f * 3 + 2])});
    }
  }
  return sets;
}

// The values of a list as an exporter writes them: each at the first vertex that maps to it, so that the places in the
// list are the table's numbers only if these are in order of first occurrence.
std::vector<Corner> written_once(std::uint32_t const* remap, std::uint32_t count, float const* values,
                                 std::size_t dimension, std::uint32_t vertex_count) {
  std::vector<Corner> written;
  std::vector<bool> seen(count);
  for (std::size_t v = 0; v < vertex_count; ++v) {
    if (remap[v] == kNoIndex) {
      continue;
    }
    EXPECT_LT(remap[v], count);
    if (!seen[remap[v]]) {
      seen[remap[v]] = true;
      written.emplace_back(values + v * dimension, values + (v + 1) * dimension);
    }
  }
  EXPECT_EQ(written.size(), count);
  return written;
}

// The remapped form: distinct points, and sets of faces that address them.
Sets read_remapped(ab::IMesh const& mesh) {
  std::uint32_t count = 0;
  std::uint32_t const* const remap = mesh.getVertexRemap(1, false, count);
  std::vector<Corner> const points = written_once(remap, count, mesh.getVertices(), 3, mesh.getNumVertices());
  Sets sets;
  for (std::uint32_t s = 0; s < mesh.getNumFaceSets(); ++s) {
    std::uint32_t const* const faces = mesh.getFaceSetFaces(s);
    sets.emplace_back();
    for (std::size_t f = 0; f < mesh.numFacesInSet(s); ++f) {
      sets.back().push_back(
          {points.at(remap[faces[f * 3]]), points.at(remap[faces[f * 3 + 1]]), points.at(remap[faces[f * 3 + 2]])});
    }
  }
  return sets;
}

struct ObjText {
  std::vector<Triangle> triangles;
  std::vector<Triangle> normals;  // per face its corners' normals, empty where there are none
  std::vector<Triangle> uvs;
};

// The OBJ export: distinct positions, normals and UVs by their own tables, faces in the order of getFaces.
ObjText read_for_obj(ab::IMesh const& mesh) {
  struct List {
    std::uint32_t const* remap = nullptr;
    std::vector<Corner> values;
  };
  std::uint32_t const vertex_count = mesh.getNumVertices();
  std::uint32_t count = 0;
  List lists[3];
  lists[0].remap = mesh.getVertexRemap(1, false, count);
  lists[0].values = written_once(lists[0].remap, count, mesh.getVertices(), 3, vertex_count);
  if (mesh.getNormals() != nullptr) {
    lists[1].remap = mesh.getNormalRemap(1, count);
    lists[1].values = written_once(lists[1].remap, count, mesh.getNormals(), 3, vertex_count);
  }
  if (mesh.getVertexUVs() != nullptr) {
    lists[2].remap = mesh.getUVRemap(1, count);
    lists[2].values = written_once(lists[2].remap, count, mesh.getVertexUVs(), 2, vertex_count);
  }
  ObjText text;
  for (std::size_t f = 0; f < mesh.getNumFaces(); ++f) {
    std::uint32_t const* const face = mesh.getFaces() + f * 3;
    std::vector<Triangle>* const into[3] = {&text.triangles, &text.normals, &text.uvs};
    for (std::size_t i = 0; i < 3; ++i) {
      if (lists[i].remap != nullptr) {
        auto const& [remap, values] = lists[i];
        into[i]->push_back({values.at(remap[face[0]]), values.at(remap[face[1]]), values.at(remap[face[2]])});
      }
    }
  }
  return text;
}

struct ModelText {
  std::vector<Triangle> triangles;
  std::vector<std::uint32_t> set_of;
  std::vector<Triangle> uvs;
};

// The model export: vertex by vertex and face by face, UVs per corner or per vertex, edges by their flags.
ModelText read_for_model(ab::IMesh const& mesh) {
  ModelText text;
  for (std::uint32_t f = 0; f < mesh.getNumFaces(); ++f) {
    Three v{};
    mesh.getFace(f, v[0], v[1], v[2]);
    Triangle triangle;
    for (std::size_t k = 0; k < 3; ++k) {
      Corner p(3);
      mesh.getVertexPosition(v[k], p[0], p[1], p[2]);
      triangle[k] = p;
    }
    text.triangles.push_back(triangle);
    std::uint32_t set = kNoIndex;
    mesh.getFaceSetOfFace(f, set);
    text.set_of.push_back(set);
    if (mesh.hasCornerUVs()) {
      Three t{};
      mesh.getFaceUVIndices(f, t[0], t[1], t[2]);
      Triangle uvs;
      for (std::size_t k = 0; k < 3; ++k) {
        uvs[k].resize(2);
        mesh.getUV(t[k], uvs[k][0], uvs[k][1]);
      }
      text.uvs.push_back(uvs);
    } else if (float const* const uvs = mesh.getVertexUVs()) {
      Triangle corners;
      for (std::size_t k = 0; k < 3; ++k) {
        corners[k].assign(uvs + std::size_t{2} * v[k], uvs + std::size_t{2} * v[k] + 2);
      }
      text.uvs.push_back(corners);
    }
    unsigned char flags[3] = {0xFF, 0xFF, 0xFF};
    mesh.getFaceEdgeFlags(f, flags[0], flags[1], flags[2]);
    for (unsigned char const flag : flags) {
      EXPECT_TRUE(flag == 0 || flag == 0x02 || flag == 0x20);
    }
  }
  return text;
}

// Which mesh vertices stand for an output vertex, normal or UV when its points alone are listed.
void read_distinct(ab::IMesh const& mesh) {
  std::uint32_t const vertex_count = mesh.getNumVertices();
  std::uint32_t counts[3] = {};
  std::uint32_t const* const now = mesh.getVertexRemap(1, false, counts[0]);
  std::uint32_t const* const base = mesh.getVertexRemap(0, false, counts[1]);
  std::uint32_t const* const split = mesh.getVertexRemap(1, true, counts[2]);
  ASSERT_NE(now, base);
  ASSERT_NE(now, split);
  EXPECT_EQ(counts[2], vertex_count);
  std::vector<std::uint32_t> base_of(counts[0], kNoIndex);
  std::vector<std::uint32_t> source_of(counts[0], kNoIndex);
  for (std::uint32_t v = 0; v < vertex_count; ++v) {
    EXPECT_EQ(split[v], v);
    ASSERT_LT(now[v], counts[0]);
    ASSERT_LT(base[v], counts[1]);
    if (source_of[now[v]] == kNoIndex) {
      source_of[now[v]] = v;
      base_of[now[v]] = base[v];
    }
    // All that maps to one output vertex lies where its first does.
    EXPECT_EQ(base[v], base_of[now[v]]);
    EXPECT_EQ(corner_at(mesh.getVertices(), v), corner_at(mesh.getVertices(), source_of[now[v]]));
  }
  EXPECT_EQ(std::count(source_of.begin(), source_of.end(), kNoIndex), 0);
}

std::vector<Triangle> flat(Sets const& sets) {
  std::vector<Triangle> triangles;
  for (auto const& set : sets) {
    triangles.insert(triangles.end(), set.begin(), set.end());
  }
  return triangles;
}

void read_every_way(ab::IMesh const& mesh, bool prepared) {
  ASSERT_GT(mesh.getNumFaces(), 0U);
  ASSERT_NE(mesh.getVertices(), nullptr);
  Sets const preview = read_for_preview(mesh);
  Sets const remapped = read_remapped(mesh);
  ObjText const obj = read_for_obj(mesh);
  ModelText const model = read_for_model(mesh);
  read_distinct(mesh);

  EXPECT_EQ(obj.triangles, model.triangles);
  EXPECT_EQ(preview.size(), std::max(mesh.getNumFaceSets(), 1U));
  if (mesh.getNumFaceSets() > 0) {
    EXPECT_EQ(remapped, preview);
    Sets by_face(mesh.getNumFaceSets());
    for (std::size_t f = 0; f < model.triangles.size(); ++f) {
      by_face.at(model.set_of[f]).push_back(model.triangles[f]);
    }
    EXPECT_EQ(by_face, preview);
  } else {
    EXPECT_EQ(flat(preview), model.triangles);
    EXPECT_EQ(std::count(model.set_of.begin(), model.set_of.end(), 0U), mesh.getNumFaces());
  }
  if (prepared) {
    // The UV readers walk the sets along getFaces: they lie there one after another.
    EXPECT_EQ(flat(preview), model.triangles);
    EXPECT_FALSE(mesh.hasCornerUVs());
    EXPECT_EQ(obj.uvs, model.uvs);
  }
}

void read_at_every_stage(Depot const& depot) {
  ab::IMesh* const mesh = depot->getMesh(0);
  bool const with_uvs = mesh->hasVertexUVs() || mesh->hasCornerUVs();
  bool const with_normals = mesh->getNormals() != nullptr || mesh->getNumNormals() > 0;
  read_every_way(*mesh, false);
  depot->prepareMeshes();
  read_every_way(*mesh, false);
  depot->joinVertices(0, {}, 0.001F);
  depot->eliminateTJunctions(0.1F);
  read_every_way(*mesh, true);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  ASSERT_NE(ladder, nullptr);
  std::uint32_t const last = ladder->numSteps();
  ASSERT_GT(last, 0U);
  for (std::uint32_t const step : {0U, 1U, last / 2, last - 1, last, last / 3, 0U}) {
    SCOPED_TRACE(step);
    ladder->goToStep(step);
    read_every_way(*mesh, true);
    EXPECT_EQ(mesh->hasVertexUVs(), with_uvs);
    EXPECT_EQ(mesh->getNormals() != nullptr, with_normals);
  }
}

TEST(Readers, AgreeOnEveryKindOfMeshAtEveryStage) {
  for (MeshKind const& kind : mesh_kinds()) {
    SCOPED_TRACE(kind.name);
    Depot depot;
    kind.fill(*depot.add_mesh());
    read_at_every_stage(depot);
  }
}

// The ball as a file: corners with and without UVs and normals, materials in turn, the first ones without.
TEST(Readers, AgreeOnALoadedFile) {
  Ball const ball;
  std::string const path =
      (std::filesystem::temp_directory_path() / ("mirel-readers-" + std::to_string(getpid()) + ".obj")).string();
  {
    std::ofstream file(path);
    for (std::uint32_t r = 0; r <= ball.rings; ++r) {
      for (std::uint32_t s = 0; s <= ball.segments; ++s) {
        auto const p = ball.point(r, s);
        auto const n = ball.direction(r, s);
        auto const uv = ball.uv(r, s);
        file << "v " << p[0] << ' ' << p[1] << ' ' << p[2] << "\nvn " << n[0] << ' ' << n[1] << ' ' << n[2] << "\nvt "
             << uv[0] << ' ' << uv[1] << '\n';
      }
    }
    char const* const forms[] = {"//", "/", ""};
    std::uint32_t turn = 0;
    ball.each_triangle([&](Three const& r, Three const& s) {
      char const* const form = forms[turn / 40 % 3];
      if (turn > 20 && turn % 30 == 0) {
        file << "usemtl m" << turn / 30 % 3 << '\n';
      }
      ++turn;
      file << 'f';
      for (std::size_t k = 0; k < 3; ++k) {
        std::uint32_t const at = r[k] * (ball.segments + 1) + s[k] + 1;
        file << ' ' << at;
        if (form[0] == '/') {
          file << form << at;
        }
      }
      file << '\n';
    });
  }
  Depot depot(ab::IMeshDepot::load(path.c_str(), nullptr));
  std::filesystem::remove(path);
  ASSERT_NE(depot.get(), nullptr) << mirel_engine_load_error();
  ASSERT_EQ(depot->getNumMeshes(), 1U);
  EXPECT_EQ(depot->getMesh(0)->getNumFaceSets(), 4U);
  EXPECT_TRUE(depot->getMesh(0)->hasCornerUVs());
  read_at_every_stage(depot);
}

// A shading that is smooth across a seam of the texture stays so: what is soft on screen before the reduction has no
// hard edges after it.
TEST(Readers, ASeamOfTheTextureAloneMakesNoHardEdgeAtAnyStep) {
  Depot depot;
  ab::IMesh* const mesh = depot.add_mesh();
  import_ball(*mesh, 'i', 'i', 1);
  prepare_and_join(depot);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  std::uint32_t const last = ladder->numSteps();
  for (std::uint32_t step = 0; step <= last; step += 7) {
    ladder->goToStep(step);
    std::uint32_t seams = 0;
    std::uint32_t hard = 0;
    std::uint32_t count = 0;
    seams = mesh->getNumVertices();
    mesh->getVertexRemap(1, false, count);
    seams -= count;
    for (std::uint32_t f = 0; f < mesh->getNumFaces(); ++f) {
      unsigned char flags[3];
      mesh->getFaceEdgeFlags(f, flags[0], flags[1], flags[2]);
      hard += static_cast<std::uint32_t>(std::count(flags, flags + 3, 0x20));
    }
    EXPECT_EQ(hard, 0U) << "at step " << step << " with " << seams << " more wedges than positions";
  }
}

}  // namespace
}  // namespace mirel::engine
