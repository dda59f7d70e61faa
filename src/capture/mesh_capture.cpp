#include "src/capture/mesh_capture.h"

#include "src/balancer/balancer_state.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

namespace {

// Raises TypeError unless the value is of the built-in type.
void requireType(VALUE value, ruby_value_type type) {
  if (!RB_TYPE_P(value, type)) {
    rb_check_type(value, static_cast<int>(type));
  }
}

float readCoordinate(VALUE point, ID axis) {
  return static_cast<float>(rb_num2dbl(rb_funcallv(point, axis, 0, nullptr)));
}

struct FaceCorners {
  std::uint32_t vertices[3];
  std::uint32_t normals[3];
  std::uint32_t uvs[3];
};

// Copies one corner. False when a callback has cleared the state.
bool copyCorner(VALUE polygonMesh, VALUE pointIndex, bool textured, int corner, ab::IMesh* target, std::uint32_t clears,
                FaceCorners& corners) {
  static ID pointAt;
  static ID normalAt;
  static ID uvAt;
  static ID x;
  static ID y;
  float coordinates[3];
  VALUE const point = rb_funcallv(polygonMesh, internedName(pointAt, "point_at"), 1, &pointIndex);
  getCArrayFromPoint3d(point, coordinates);
  if (!guardUncleared(clears)) {
    return false;
  }
  corners.vertices[corner] = target->addVertex(coordinates[0], coordinates[1], coordinates[2]);

  VALUE const normal = rb_funcallv(polygonMesh, internedName(normalAt, "normal_at"), 1, &pointIndex);
  getCArrayFromPoint3d(normal, coordinates);
  if (!guardUncleared(clears)) {
    return false;
  }
  corners.normals[corner] = target->addNormal(coordinates[0], coordinates[1], coordinates[2]);

  if (textured) {
    VALUE const arguments[] = {pointIndex, Qtrue};  // of the front face
    VALUE const uv = rb_funcallv(polygonMesh, internedName(uvAt, "uv_at"), 2, arguments);
    float const u = readCoordinate(uv, internedName(x, "x"));
    float const v = readCoordinate(uv, internedName(y, "y"));
    if (!guardUncleared(clears)) {
      return false;
    }
    corners.uvs[corner] = target->addUV(u, v);
  }
  return true;
}

// Copies the triangles of one host mesh into the current face set. False when a callback has cleared the state.
bool copyPolygons(VALUE polygonMesh, bool textured, ab::IMesh* target, std::uint32_t clears) {
  static ID polygonsName;
  static ID countPolygons;
  VALUE const polygons = rb_funcallv(polygonMesh, internedName(polygonsName, "polygons"), 0, nullptr);
  // The count rules, not the array's length.
  std::uint32_t const count = static_cast<std::uint32_t>(
      rb_num2uint(rb_funcallv(polygonMesh, internedName(countPolygons, "count_polygons"), 0, nullptr)));
  for (std::uint32_t index = 0; index < count; ++index) {
    requireType(polygons, T_ARRAY);
    VALUE const polygon = rb_ary_entry(polygons, static_cast<long>(index));
    requireType(polygon, T_ARRAY);
    FaceCorners corners = {};
    for (int corner = 0; corner < 3; ++corner) {
      if (!copyCorner(polygonMesh, rb_ary_entry(polygon, corner), textured, corner, target, clears, corners)) {
        return false;
      }
    }
    std::uint32_t const face = target->addFace(corners.vertices[0], corners.vertices[1], corners.vertices[2]);
    target->setFaceNormalIndices(face, corners.normals[0], corners.normals[1], corners.normals[2]);
    if (textured) {
      target->setFaceUVIndices(face, corners.uvs[0], corners.uvs[1], corners.uvs[2]);
    }
  }
  return true;
}

int readLength(VALUE list) {
  static ID length;
  return NUM2INT(rb_funcallv(list, internedName(length, "length"), 0, nullptr));
}

}  // namespace

VALUE convertSkpMeshesToBalancerMesh(VALUE self, VALUE meshesByMaterial) {
  static ID keysName;
  static ID materialHasTexture;
  if (!guardMeshDepot()) {
    return Qfalse;
  }
  VALUE const keys = rb_funcallv(meshesByMaterial, internedName(keysName, "keys"), 0, nullptr);
  int const materialCount = readLength(keys);
  requireType(meshesByMaterial, T_HASH);
  requireType(keys, T_ARRAY);

  if (!guardMeshDepot()) {
    return Qfalse;
  }
  std::uint32_t const clears = getClearCount();
  std::uint32_t const meshIndex = meshDepot->createMesh();
  ab::IMesh* const target = getDepotMesh(meshIndex);
  if (target == nullptr) {
    return Qfalse;
  }
  target->setNumFaceSets(materialCount < 0 ? 0U : static_cast<std::uint32_t>(materialCount));
  for (int material = 0; material < materialCount; ++material) {
    VALUE const key = rb_ary_entry(keys, material);
    bool const textured =
        rb_funcallv(self, internedName(materialHasTexture, "material_has_texture?"), 1, &key) == Qtrue;
    if (!guardUncleared(clears)) {
      return Qfalse;
    }
    target->setCurrentFaceSet(static_cast<std::uint32_t>(material));
    VALUE const polygonMeshes = rb_hash_aref(meshesByMaterial, key);
    int const meshCount = readLength(polygonMeshes);
    requireType(polygonMeshes, T_ARRAY);
    for (int index = 0; index < meshCount; ++index) {
      if (!copyPolygons(rb_ary_entry(polygonMeshes, index), textured, target, clears)) {
        return Qfalse;
      }
    }
  }
  // Asking for lengths and counts may have cleared the state too.
  if (!guardUncleared(clears)) {
    return Qfalse;
  }
  mesh = target;
  return GetRubyInterface(meshIndex);
}

float* getCArrayFromPoint3d(VALUE point, float* buffer) {
  static ID x;
  static ID y;
  static ID z;
  buffer[0] = readCoordinate(point, internedName(x, "x"));
  buffer[1] = readCoordinate(point, internedName(y, "y"));
  buffer[2] = readCoordinate(point, internedName(z, "z"));
  return buffer;
}
