#pragma GCC visibility push(default)
#include "standalone/reading/mirel_read.h"
#pragma GCC visibility pop

#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/DefaultLogger.hpp>
#include <assimp/Importer.hpp>
#include <assimp/LogStream.hpp>
#include <assimp/ProgressHandler.hpp>
#include <cctype>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>

#include "standalone/reading/scene_builder.h"

struct MirelReadScene : mirel::reading::Scene {};

namespace {

class Progress : public Assimp::ProgressHandler {
 public:
  explicit Progress(MirelReadProgress report) : report_(report) {}

  bool Update(float done) override {
    if (report_ && done >= 0) report_(std::min(done, 1.0f));
    return true;
  }

 private:
  MirelReadProgress report_;
};

// Some readers only warn where a file stops in the middle or contradicts itself; what they then deliver is not the
// file.
class DamageWatch : public Assimp::LogStream {
 public:
  explicit DamageWatch(std::string& found) : found_(found) {}

  void write(char const* message) override {
    // "Warn,  T0: STL: …"
    std::string text = message;
    if (auto const end = text.find(": "); end != std::string::npos) text.erase(0, end + 2);
    for (char const* sign : {"unexpected EOF", "nexpected end of file", "nexpected end of", "is too small",
                             "ertex index is out of range", "out-of-range indices", "in the header is incorrect"}) {
      if (found_.empty() && text.find(sign) != std::string::npos) found_ = text;
    }
  }

 private:
  std::string& found_;
};

// Puts a logger in place for the time of one reading.
class LogScope {
 public:
  explicit LogScope(std::string& damage) : watch_(damage) {
    Assimp::DefaultLogger::create("", Assimp::Logger::NORMAL, 0);
    Assimp::DefaultLogger::get()->attachStream(&watch_, Assimp::Logger::Warn | Assimp::Logger::Err);
  }
  LogScope(LogScope const&) = delete;
  LogScope& operator=(LogScope const&) = delete;
  ~LogScope() {
    Assimp::DefaultLogger::get()->detachStream(&watch_, Assimp::Logger::Warn | Assimp::Logger::Err);
    Assimp::DefaultLogger::kill();
  }

 private:
  DamageWatch watch_;
};

// One line: the message's own line breaks and its padding are of no use to the reader.
void put_error(std::string text, char* error, std::size_t error_size) {
  if (!error || error_size == 0) return;
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  while (!text.empty() && text.back() == ' ') text.pop_back();
  std::size_t const length = std::min(text.size(), error_size - 1);
  std::memcpy(error, text.data(), length);
  error[length] = '\0';
}

// Coordinates as the file has them: no turning to another up axis.
void set_options(Assimp::Importer& importer) {
  importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, true);
  importer.SetPropertyBool(AI_CONFIG_IMPORT_NO_SKELETON_MESHES, true);
}

// The reader of 3DS turns its scenes from z-up to y-up by the outermost transformation and has no option against it.
mirel::reading::UpAxis up_axis_of(std::string const& path) {
  std::string suffix = path.substr(path.size() - std::min<std::size_t>(path.size(), 4));
  std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](unsigned char c) { return std::tolower(c); });
  return suffix == ".3ds" ? mirel::reading::UpAxis::kTurnedFromZToY : mirel::reading::UpAxis::kAsInFile;
}

std::string read_scene(char const* path, MirelReadProgress progress, MirelReadScene& scene) {
  std::string damage;
  LogScope const log(damage);
  Assimp::Importer importer;
  importer.SetProgressHandler(new Progress(progress));  // the importer deletes it
  set_options(importer);
  aiScene const* source = importer.ReadFile(path, 0);
  if (!source) return importer.GetErrorString();
  if (!damage.empty()) {
    while (!damage.empty() && (std::isspace(static_cast<unsigned char>(damage.back())) || damage.back() == '.')) {
      damage.pop_back();
    }
    return "the file is damaged (" + damage + ")";
  }
  if (auto problem = mirel::reading::count_source(*source, scene); !problem.empty()) return problem;
  source = importer.ApplyPostProcessing(aiProcess_Triangulate);
  if (!source) return importer.GetErrorString();
  return mirel::reading::build_scene(*source, up_axis_of(path), scene);
}

}  // namespace

MirelReadScene* mirel_read_file(char const* path, MirelReadProgress progress, char* error, std::size_t error_size) {
  put_error("", error, error_size);
  try {
    auto scene = std::make_unique<MirelReadScene>();
    std::string const problem = read_scene(path, progress, *scene);
    if (problem.empty()) return scene.release();
    put_error(problem, error, error_size);
  } catch (std::bad_alloc const&) {
    put_error("not enough memory", error, error_size);
  } catch (std::exception const& exception) {
    put_error(exception.what(), error, error_size);
  } catch (...) {
    put_error("unknown error", error, error_size);
  }
  return nullptr;
}

uint32_t mirel_read_mesh_count(MirelReadScene const* scene) {
  return static_cast<std::uint32_t>(scene->meshes.size());
}

uint32_t mirel_read_material_count(MirelReadScene const* scene) {
  return static_cast<std::uint32_t>(scene->materials.size());
}

void mirel_read_mesh(MirelReadScene const* scene, uint32_t number, MirelReadMesh* mesh) {
  *mesh = MirelReadMesh{};
  if (number >= scene->meshes.size()) return;
  auto const& source = scene->meshes[number];
  mesh->material = source.material;
  mesh->point_count = static_cast<std::uint32_t>(source.points.size() / 3);
  mesh->triangle_count = static_cast<std::uint32_t>(source.triangles.size() / 3);
  mesh->points = source.points.data();
  mesh->normals = source.normals.empty() ? nullptr : source.normals.data();
  mesh->uvs = source.uvs.empty() ? nullptr : source.uvs.data();
  mesh->triangles = source.triangles.data();
}

void mirel_read_material(MirelReadScene const* scene, uint32_t number, MirelReadMaterial* material) {
  *material = MirelReadMaterial{"", "", {1, 1, 1, 1}, 0, 0};
  if (number >= scene->materials.size()) return;
  auto const& source = scene->materials[number];
  material->name = source.name.c_str();
  material->texture = source.texture.c_str();
  std::copy(source.color.begin(), source.color.end(), material->color);
  material->has_color = source.has_color ? 1 : 0;
}

uint64_t mirel_read_source_points(MirelReadScene const* scene) {
  return scene->source_points;
}

uint64_t mirel_read_source_polygons(MirelReadScene const* scene) {
  return scene->source_polygons;
}

void mirel_read_free(MirelReadScene* scene) {
  delete scene;
}
