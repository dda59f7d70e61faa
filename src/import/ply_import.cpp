#include "src/import/ply_import.h"

#include <tinyply.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/progress.h"
#include "src/frame/ruby_value.h"
#include "src/import/scene_handoff.h"

namespace {

struct Position {
  float x;
  float y;
  float z;
};

struct Triangle {
  std::uint32_t a;
  std::uint32_t b;
  std::uint32_t c;
};

using Requested = std::shared_ptr<tinyply::PlyData>;

// Everything that owns memory during an import. It lives outside the frames that Ruby may jump over.
struct PlyInput {
  std::ifstream stream;
  tinyply::PlyFile file;
  Requested positions;
  Requested normals;
  Requested uvs;
  Requested triangles;
  std::vector<Position> positionRecords;
  std::vector<Triangle> triangleRecords;
  char failure[512] = "";  // why the last request failed
};

bool request(PlyInput& input, Requested& data, char const* element, std::vector<std::string> const& properties,
             std::uint32_t listSizeHint) {
  try {
    data = input.file.request_properties_from_element(element, properties, listSizeHint);
    return true;
  } catch (std::exception const& exception) {
    std::snprintf(input.failure, sizeof input.failure, "%s", exception.what());
    return false;
  }
}

// The buffer byte for byte, if its size proves one record of three 32-bit values per element.
template <typename Record>
std::vector<Record> copyRecords(Requested const& data) {
  if (data == nullptr || data->buffer.size_bytes() != data->count * sizeof(Record)) {
    throw std::runtime_error("not three 32-bit values per element");
  }
  std::vector<Record> records(data->count);
  if (!records.empty()) {
    std::memcpy(records.data(), data->buffer.get(), data->count * sizeof(Record));
  }
  return records;
}

void readRecords(PlyInput& input) {
  input.file.read(input.stream);
  if (input.stream.fail()) {
    throw std::runtime_error("the file ends early");
  }
  input.positionRecords = copyRecords<Position>(input.positions);
  input.triangleRecords = copyRecords<Triangle>(input.triangles);
  // 32 bits are not enough: an integer position has them too.
  if (input.positions->t != tinyply::Type::FLOAT32 ||
      (input.triangles->t != tinyply::Type::INT32 && input.triangles->t != tinyply::Type::UINT32)) {
    throw std::runtime_error("not float positions and integer indices");
  }
  std::size_t const count = input.positionRecords.size();
  for (Triangle const& triangle : input.triangleRecords) {
    if (triangle.a >= count || triangle.b >= count || triangle.c >= count) {
      throw std::runtime_error("a face names a vertex that does not exist");
    }
  }
}

void raiseNoFaces() {
  static ID noFacesError;
  rb_raise(rb_const_get(mPlugin, internedName(noFacesError, "NoFacesError")), "No faces found in PLY file");
}

void openTask(VALUE self, char const* name, std::size_t count) {
  setTask(self, name);
  setTaskCount(static_cast<unsigned int>(count));
}

bool copyToMesh(VALUE self, PlyInput const& input, ab::IMesh* target, std::uint32_t clears) {
  openTask(self, "Mireling Vertices:", input.positionRecords.size());
  for (Position const& position : input.positionRecords) {
    if (!guardUncleared(clears)) {
      return false;
    }
    target->addVertex(position.x, position.y, position.z);
    update(self);
  }
  openTask(self, "Mireling Faces:", input.triangleRecords.size());
  for (Triangle const& triangle : input.triangleRecords) {
    if (!guardUncleared(clears)) {
      return false;
    }
    target->addFace(triangle.a, triangle.b, triangle.c);
    update(self);
  }
  return true;
}

// The whole run of Ruby calls: owns nothing, so that a jump out of it loses nothing.
VALUE importFile(VALUE self, char const* path, PlyInput& input) {
  ab::IMesh* const target = getDepotMesh(meshDepot->createMesh());
  if (target == nullptr) {
    return Qfalse;
  }
  std::uint32_t const clears = getClearCount();
  input.stream.open(path, std::ios::in | std::ios::binary);
  if (!input.stream.is_open()) {
    return Qfalse;
  }
  input.file.parse_header(input.stream);
  if (!request(input, input.positions, "vertex", {"x", "y", "z"}, 0)) {
    rb_puts("Failed to get vertex properties");
    rb_puts(input.failure);
  }
  if (!request(input, input.normals, "vertex", {"nx", "ny", "nz"}, 0)) {
    rb_puts("Failed to get Normal properties");
    rb_puts(input.failure);
  }
  if (!request(input, input.uvs, "vertex", {"u", "v"}, 0)) {
    rb_puts("Failed to get UV properties");
    rb_puts(input.failure);
  }
  if (!request(input, input.triangles, "face", {"vertex_indices"}, 3)) {
    rb_puts("Failed to get faces properties");
    raiseNoFaces();
  }
  updateStatus("Reading File...");
  readRecords(input);
  if (!copyToMesh(self, input, target, clears)) {
    return Qfalse;
  }
  updateStatus("Building Scene Graph...");
  // Always mesh 0, whatever index the depot gave the new mesh: the Ruby side expects it so.
  return sendMeshToRuby(0, self) ? Qtrue : Qfalse;
}

}  // namespace

VALUE loadPLY(VALUE self, VALUE path) {
  char const* const text = getNativeText(path);
  initMeshDepot(self);
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  bool isUnreadable = false;
  VALUE const result = boundary([&]() -> VALUE {
    PlyInput input;
    try {
      return protect([&]() -> VALUE { return importFile(self, text, input); });
    } catch (std::exception const&) {
      isUnreadable = true;
      return Qfalse;
    }
  });
  RB_GC_GUARD(path);
  if (isUnreadable) {
    rb_puts("Error reading PLY file");
  }
  return result;
}
