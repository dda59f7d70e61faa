// What the model costs between a mesh and its file, beside handing the same scene to the same exporter directly.
//
//   export_bench FACES REPEATS FOLDER
//
// A torus with UVs goes through the C API as the extension drives it (loops, faces, materials, filling, the angle rule
// over all edges, saving as GLB), and, in the same run and in turn, straight into the exporter's own structures, with
// and without the steps that the exporter takes first. Prints the processor seconds of each repeat and the bytes per
// face that the filled model takes.
#include <SketchUpAPI/sketchup.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace {

struct Torus {
  std::vector<SUPoint3D> points;
  std::vector<SUPoint2D> uvs;
  std::vector<std::uint32_t> faces;
};

Torus make_torus(std::size_t face_count) {
  auto const side = static_cast<std::size_t>(std::sqrt(static_cast<double>(face_count) / 2));
  Torus torus;
  for (std::size_t row = 0; row <= side; ++row) {
    for (std::size_t column = 0; column <= side; ++column) {
      double const u = static_cast<double>(column) / static_cast<double>(side);
      double const v = static_cast<double>(row) / static_cast<double>(side);
      double const a = 2 * std::numbers::pi * (column == side ? 0 : u);
      double const b = 2 * std::numbers::pi * (row == side ? 0 : v);
      torus.points.push_back(
          {(30 + 10 * std::cos(b)) * std::cos(a), (30 + 10 * std::cos(b)) * std::sin(a), 10 * std::sin(b)});
      torus.uvs.push_back({u, v});
    }
  }
  for (std::size_t row = 0; row < side; ++row) {
    for (std::size_t column = 0; column < side; ++column) {
      auto const at = static_cast<std::uint32_t>(row * (side + 1) + column);
      auto const above = static_cast<std::uint32_t>(at + side + 1);
      torus.faces.insert(torus.faces.end(), {at, at + 1, above + 1, at, above + 1, above});
    }
  }
  return torus;
}

std::size_t allocated() {
#if defined(__GLIBC__)
  struct mallinfo2 const info = mallinfo2();
  return info.uordblks + info.hblkhd;
#else
  return 0;
#endif
}

void soften(SUEntitiesRef entities, double threshold) {
  std::size_t count = 0;
  SUEntitiesGetNumEdges(entities, false, &count);
  std::vector<SUEdgeRef> edges(count);
  SUEntitiesGetEdges(entities, false, count, edges.data(), &count);
  for (SUEdgeRef const edge : edges) {
    std::size_t face_count = 0;
    SUEdgeGetNumFaces(edge, &face_count);
    if (face_count == 2) {
      SUFaceRef faces[2] = {};
      SUEdgeGetFaces(edge, 2, faces, &face_count);
      SUVector3D a = {};
      SUVector3D b = {};
      SUFaceGetNormal(faces[0], &a);
      SUFaceGetNormal(faces[1], &b);
      bool const is_smooth = !(std::acos(a.x * b.x + a.y * b.y + a.z * b.z) > threshold);
      SUEdgeSetSmooth(edge, is_smooth);
      SUEdgeSetSoft(edge, is_smooth);
    }
  }
}

// Returns the bytes per face of the filled model.
double export_through_model(Torus const& torus, std::string const& path) {
  SUModelRef model = {};
  SUModelCreate(&model);
  SUEntitiesRef entities = {};
  SUModelGetEntities(model, &entities);
  SUMaterialRef material = {};
  SUMaterialCreate(&material);
  SUMaterialSetName(material, "Paint");
  SUModelAddMaterials(model, 1, &material);
  std::size_t const before = allocated();
  SUGeometryInputRef input = {};
  SUGeometryInputCreate(&input);
  SUGeometryInputSetVertices(input, torus.points.size(), torus.points.data());
  std::size_t const face_count = torus.faces.size() / 3;
  std::vector<SULoopInputRef> loops(face_count);
  for (std::size_t face = 0; face < face_count; ++face) {
    SULoopInputCreate(&loops[face]);
    for (std::size_t corner = 0; corner < 3; ++corner) {
      SULoopInputAddVertexIndex(loops[face], torus.faces[face * 3 + corner]);
    }
    for (std::size_t edge = 0; edge < 3; ++edge) {
      SULoopInputEdgeSetSoft(loops[face], edge, true);
      SULoopInputEdgeSetSmooth(loops[face], edge, true);
    }
  }
  for (std::size_t face = 0; face < face_count; ++face) {
    SUMaterialInput side = {};
    side.num_uv_coords = 3;
    side.material = material;
    for (std::size_t corner = 0; corner < 3; ++corner) {
      side.vertex_indices[corner] = torus.faces[face * 3 + corner];
      side.uv_coords[corner] = torus.uvs[side.vertex_indices[corner]];
    }
    std::size_t number = 0;
    SUGeometryInputAddFace(input, &loops[face], &number);
    SUGeometryInputFaceSetFrontMaterial(input, number, &side);
  }
  loops = {};
  SUEntitiesFill(entities, input, true);
  SUGeometryInputRelease(&input);
  double const bytes = static_cast<double>(allocated() - before) / static_cast<double>(face_count);
  soften(entities, 0.5);
  if (SUModelSaveToFile(model, path.c_str()) != SU_ERROR_NONE) {
    std::fprintf(stderr, "%s could not be written\n", path.c_str());
    std::exit(1);
  }
  SUModelRelease(&model);
  return bytes;
}

// Either as the exporter takes scenes, which it first brings into a form of its own (vertices of one face each, joined
// again), or as one that has been through that, as the model hands its own over.
std::unique_ptr<aiScene> make_scene(bool is_finished) {
  if (!is_finished) {
    auto scene = std::make_unique<aiScene>();
    scene->mFlags = AI_SCENE_FLAGS_NON_VERBOSE_FORMAT;
    return scene;
  }
  static constexpr char kTriangle[] = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  Assimp::Importer importer;
  importer.ReadFileFromMemory(kTriangle, sizeof kTriangle - 1,
                              aiProcess_JoinIdenticalVertices | aiProcess_Triangulate | aiProcess_SortByPType, "off");
  std::unique_ptr<aiScene> scene(importer.GetOrphanedScene());
  delete scene->mMeshes[0];
  delete[] scene->mMeshes;
  delete scene->mMaterials[0];
  delete[] scene->mMaterials;
  delete scene->mRootNode;
  scene->mFlags = 0;
  return scene;
}

void export_directly(Torus const& torus, std::string const& path, bool is_finished) {
  std::unique_ptr<aiScene> const owner = make_scene(is_finished);
  aiScene& scene = *owner;
  scene.mRootNode = new aiNode("Model");
  scene.mRootNode->mNumMeshes = 1;
  scene.mRootNode->mMeshes = new unsigned int[1]{0};
  scene.mMaterials = new aiMaterial* [1] { new aiMaterial };
  scene.mNumMaterials = 1;
  auto* const mesh = new aiMesh;
  scene.mMeshes = new aiMesh* [1] { mesh };
  scene.mNumMeshes = 1;
  mesh->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
  mesh->mNumVertices = static_cast<unsigned int>(torus.points.size());
  mesh->mVertices = new aiVector3D[torus.points.size()];
  mesh->mNormals = new aiVector3D[torus.points.size()];
  mesh->mTextureCoords[0] = new aiVector3D[torus.points.size()];
  mesh->mNumUVComponents[0] = 2;
  for (std::size_t vertex = 0; vertex < torus.points.size(); ++vertex) {
    SUPoint3D const& point = torus.points[vertex];
    mesh->mVertices[vertex] = {static_cast<float>(point.x), static_cast<float>(point.y), static_cast<float>(point.z)};
    mesh->mTextureCoords[0][vertex] = {static_cast<float>(torus.uvs[vertex].x), static_cast<float>(torus.uvs[vertex].y),
                                       0};
  }
  mesh->mNumFaces = static_cast<unsigned int>(torus.faces.size() / 3);
  mesh->mFaces = new aiFace[mesh->mNumFaces];
  for (unsigned int face = 0; face < mesh->mNumFaces; ++face) {
    mesh->mFaces[face].mNumIndices = 3;
    unsigned int const* const corners = &torus.faces[std::size_t{face} * 3];
    mesh->mFaces[face].mIndices = new unsigned int[3]{corners[0], corners[1], corners[2]};
    aiVector3D const normal = (mesh->mVertices[corners[1]] - mesh->mVertices[corners[0]]) ^
                              (mesh->mVertices[corners[2]] - mesh->mVertices[corners[0]]);
    for (int corner = 0; corner < 3; ++corner) {
      mesh->mNormals[corners[corner]] += normal;
    }
  }
  for (unsigned int vertex = 0; vertex < mesh->mNumVertices; ++vertex) {
    mesh->mNormals[vertex].Normalize();
  }
  Assimp::Exporter exporter;
  if (exporter.Export(&scene, "glb2", path) != aiReturn_SUCCESS) {
    std::fprintf(stderr, "%s\n", exporter.GetErrorString());
    std::exit(1);
  }
}

// Runs the work in a child process and brings the numbers that it sets back.
template <typename Work, typename... Numbers>
void run_apart(Work work, Numbers&... numbers) {
  int pipe_ends[2] = {};
  if (pipe(pipe_ends) != 0) {
    std::exit(1);
  }
  pid_t const child = fork();
  if (child == 0) {
    work();
    bool const sent = (... && (write(pipe_ends[1], &numbers, sizeof numbers) == sizeof numbers));
    _exit(sent ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  bool const received = status == 0 && (... && (read(pipe_ends[0], &numbers, sizeof numbers) == sizeof numbers));
  close(pipe_ends[0]);
  close(pipe_ends[1]);
  if (!received) {
    std::exit(1);
  }
}

template <typename Work>
double time_of(Work work) {
  // Of the processor, so that what else the machine does counts as little as it can.
  std::clock_t const start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(stderr, "usage: export_bench FACES REPEATS FOLDER\n");
    return 2;
  }
  Torus const torus = make_torus(std::strtoul(arguments[1], nullptr, 10));
  std::string const folder = arguments[3];
  std::printf("%zu faces\n", torus.faces.size() / 3);
  for (int repeat = 0; repeat < std::atoi(arguments[2]); ++repeat) {
    double bytes = 0;
    double through = 0;
    double direct = 0;
    double finished = 0;
    // Each in a process of its own: neither finds memory that the other has warmed.
    run_apart([&] { direct = time_of([&] { export_directly(torus, folder + "/direct.glb", false); }); }, direct);
    run_apart([&] { finished = time_of([&] { export_directly(torus, folder + "/finished.glb", true); }); }, finished);
    run_apart([&] { through = time_of([&] { bytes = export_through_model(torus, folder + "/model.glb"); }); }, through,
              bytes);
    std::printf(
        "model %.3f s, direct %.3f s, ratio %.2f, directly as finished %.3f s, ratio %.2f; model %.0f bytes a face\n",
        through, direct, through / direct, finished, through / finished, bytes);
  }
}
