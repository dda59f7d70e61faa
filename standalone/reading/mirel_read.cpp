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
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <new>
#include <string>

#include "standalone/reading/off_header.h"
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

bool has_suffix(std::string const& path, std::string const& suffix) {
  return path.size() >= suffix.size() &&
         std::equal(suffix.rbegin(), suffix.rend(), path.rbegin(),
                    [](unsigned char a, unsigned char b) { return a == std::tolower(b); });
}

// What the head of a COLLADA file says of its numbers.
struct ColladaFrame {
  double meters_per_unit = 1;
  bool is_z_up = false;
  bool is_x_up = false;
};

ColladaFrame read_collada_frame(std::string const& path) {
  ColladaFrame frame;
  std::string head(1 << 16, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(file.gcount()));
  frame.is_z_up = head.find("<up_axis>Z_UP") != std::string::npos;
  frame.is_x_up = head.find("<up_axis>X_UP") != std::string::npos;
  auto const unit = head.find("<unit ");
  auto const value = unit == std::string::npos ? unit : head.find("meter=\"", unit);
  if (value != std::string::npos && value < head.find('>', unit)) {
    double const meters = std::strtod(head.c_str() + value + 7, nullptr);
    // Others have written it from single precision.
    if (meters > 0 && std::isfinite(meters)) {
      double const digits = std::exp2(std::round(std::log2(meters)) - 24);
      frame.meters_per_unit = meters;
      for (double const known : {0.0254, 0.3048, 0.001, 0.01, 1.0}) {
        if (std::abs(meters - known) <= digits) frame.meters_per_unit = known;
      }
    }
  }
  return frame;
}

// What is left of a number once rounding is taken off.
float snap(float value) {
  float const whole = std::round(value);
  return std::abs(value - whole) < 1e-6F ? whole : value;
}

// The outermost transformation without what the reader has put into it: coordinates are as the file has them.
aiMatrix4x4 outermost(aiScene const& source, std::string const& path, ColladaFrame const& collada,
                      MirelReadScene& scene) {
  aiMatrix4x4 root = source.mRootNode == nullptr ? aiMatrix4x4() : source.mRootNode->mTransformation;
  if (has_suffix(path, ".3ds")) {
    // Files are z up, and the reader has turned (x, y, z) to (x, z, -y).
    scene.up_axis = mirel::reading::UpAxis::kZ;
    return aiMatrix4x4(1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1) * root;
  }
  if (has_suffix(path, ".gltf") || has_suffix(path, ".glb")) scene.meters_per_unit = 1;
  if (has_suffix(path, ".zae")) scene.meters_per_unit = 1;  // the reader has turned and scaled it
  if (!has_suffix(path, ".dae")) return root;

  scene.up_axis = collada.is_z_up ? mirel::reading::UpAxis::kZ : mirel::reading::UpAxis::kY;
  scene.meters_per_unit = collada.meters_per_unit;
  // The reader has scaled it to meters.
  aiMatrix4x4 scale;
  aiMatrix4x4::Scaling(aiVector3D(static_cast<float>(1 / collada.meters_per_unit)), scale);
  root = scale * root;
  for (unsigned int row = 0; row < 3; ++row) {
    for (unsigned int column = 0; column < 3; ++column) root[row][column] = snap(root[row][column]);
  }
  return root;
}

std::string read_scene(char const* path, MirelReadProgress progress, MirelReadScene& scene) {
  if (has_suffix(path, ".off")) {
    if (auto problem = mirel::reading::check_off_header(path); !problem.empty()) return problem;
  }
  std::string damage;
  LogScope const log(damage);
  Assimp::Importer importer;
  importer.SetProgressHandler(new Progress(progress));  // the importer deletes it
  importer.SetPropertyBool(AI_CONFIG_IMPORT_NO_SKELETON_MESHES, true);
  importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_USE_COLLADA_NAMES, true);
  ColladaFrame const collada = has_suffix(path, ".dae") ? read_collada_frame(path) : ColladaFrame();
  importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, has_suffix(path, ".dae") && !collada.is_x_up);
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
  bool const has_materials = !has_suffix(path, ".ply") && !has_suffix(path, ".stl") && !has_suffix(path, ".off");
  std::string problem =
      mirel::reading::build_scene(*source, outermost(*source, path, collada, scene), has_materials, scene);
  if (has_suffix(path, ".dae") || has_suffix(path, ".zae")) {
    // Many writers of COLLADA mean opaque by it.
    for (auto& material : scene.materials) {
      if (material.color[3] == 0) material.color[3] = 1;
    }
  }
  return problem;
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
  mesh->shape = source.shape;
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
  material->is_one_sided = source.is_one_sided ? 1 : 0;
}

uint32_t mirel_read_shape_count(MirelReadScene const* scene) {
  return static_cast<std::uint32_t>(scene->shapes.size());
}

void mirel_read_shape(MirelReadScene const* scene, uint32_t number, MirelReadShape* shape) {
  *shape = MirelReadShape{"", 1};
  if (number >= scene->shapes.size()) return;
  *shape = MirelReadShape{scene->shapes[number].name.c_str(), scene->shapes[number].scale};
}

uint32_t mirel_read_node_count(MirelReadScene const* scene) {
  return static_cast<std::uint32_t>(scene->nodes.size());
}

void mirel_read_node(MirelReadScene const* scene, uint32_t number, MirelReadNode* node) {
  *node = MirelReadNode{"", mirel::reading::kNone, mirel::reading::kNone, {}};
  if (number >= scene->nodes.size()) return;
  auto const& source = scene->nodes[number];
  node->name = source.name.c_str();
  node->parent = source.parent;
  node->shape = source.shape;
  std::copy(source.transform.begin(), source.transform.end(), node->transform);
}

uint32_t mirel_read_texture_count(MirelReadScene const* scene) {
  return static_cast<std::uint32_t>(scene->textures.size());
}

void mirel_read_texture(MirelReadScene const* scene, uint32_t number, MirelReadTexture* texture) {
  *texture = MirelReadTexture{"", "", nullptr, 0};
  if (number >= scene->textures.size()) return;
  auto const& source = scene->textures[number];
  *texture =
      MirelReadTexture{source.name.c_str(), source.extension.c_str(), source.content.data(), source.content.size()};
}

double mirel_read_meters_per_unit(MirelReadScene const* scene) {
  return scene->meters_per_unit;
}

int mirel_read_is_z_up(MirelReadScene const* scene) {
  return scene->up_axis == mirel::reading::UpAxis::kZ ? 1 : 0;
}

uint64_t mirel_read_source_points(MirelReadScene const* scene) {
  return scene->source_points;
}

uint64_t mirel_read_source_polygons(MirelReadScene const* scene) {
  return scene->source_polygons;
}

uint64_t mirel_read_survey(MirelReadScene const* scene, double bounds[6]) {
  return mirel::reading::survey(*scene, bounds);
}

void mirel_read_free(MirelReadScene* scene) {
  delete scene;
}
