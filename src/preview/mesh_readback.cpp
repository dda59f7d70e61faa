#include "src/preview/mesh_readback.h"

#include <cstddef>
#include <memory>
#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/console.h"
#include "src/frame/extension.h"
#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"
#include "src/preview/mesh_remapper.h"
#include "src/preview/transform.h"

namespace {

// The faces of one set: three vertex indices each.
struct FaceTable {
  std::uint32_t const* indices;
  std::uint32_t count;
};

void fetchMeshPoints(VALUE self) {
  static ID meshPoints;
  rPoints = rb_ivar_get(self, internedName(meshPoints, "@mesh_points"));
}

void fetchPreviewArrays(VALUE self) {
  static ID triangles;
  static ID lines;
  rTriangles = rb_ivar_get(self, internedName(triangles, "@triangles"));
  rLines = rb_ivar_get(self, internedName(lines, "@lines"));
  fetchMeshPoints(self);
}

ab::IMesh* readMesh(VALUE meshIndex) {
  return getDepotMesh(static_cast<std::uint32_t>(rb_num2uint(meshIndex)));
}

VALUE makePoint(float const* coordinates) {
  VALUE const values[] = {GetRubyInterface(coordinates[0]), GetRubyInterface(coordinates[1]),
                          GetRubyInterface(coordinates[2])};
  return rb_ary_new_from_values(3, values);
}

FaceTable getFaceTable(ab::IMesh const& source, std::uint32_t setCount, std::uint32_t set) {
  if (setCount == 0) {
    std::uint32_t const* const indices = source.getFaces();
    return {indices, source.getNumFaces()};
  }
  std::uint32_t const* const indices = source.getFaceSetFaces(set);
  return {indices, source.numFacesInSet(set)};
}

// Appends one triangle to its face set and its edges to the lines, each in one go.
void appendTriangle(VALUE set, VALUE lines, float const* positions, std::uint32_t const* face, double const* matrix) {
  VALUE coordinates[3][3];
  for (int corner = 0; corner < 3; ++corner) {
    float const* const position = positions + static_cast<std::size_t>(face[corner]) * 3;
    float point[] = {position[0], position[1], position[2]};
    matrixMultiply(point, matrix);
    for (int axis = 0; axis < 3; ++axis) {
      coordinates[corner][axis] = rb_float_new(static_cast<double>(point[axis]));
    }
  }
  VALUE corners[3];
  VALUE edges[6];
  for (int corner = 0; corner < 3; ++corner) {
    corners[corner] = rb_ary_new_from_values(3, coordinates[corner]);
    edges[2 * corner] = corners[corner];
    edges[2 * corner + 1] = rb_ary_new_from_values(3, coordinates[(corner + 1) % 3]);
  }
  rb_ary_cat(set, corners, 3);
  rb_ary_cat(lines, edges, 6);
}

// One of the SDK's renumbering tables: per mesh vertex its output entry or kNoIndex.
struct Remap {
  std::uint32_t const* entries = nullptr;
  std::uint32_t outputCount = 0;
  std::uint32_t vertexCount = 0;

  std::uint32_t at(std::uint32_t vertex) const { return vertex < vertexCount ? entries[vertex] : kNoIndex; }
};

// Sets the instance variable to an Array of `width` Floats per output entry, from the first mesh vertex of each.
void setFirstEntries(VALUE self, ID variable, float const* values, std::size_t width, Remap const& remap) {
  std::vector<bool> seen(remap.outputCount, false);
  protect([&]() -> VALUE {
    VALUE const list = rb_ary_new();
    for (std::uint32_t vertex = 0; vertex < remap.vertexCount; ++vertex) {
      std::uint32_t const output = remap.entries[vertex];
      if (output >= remap.outputCount || seen[output]) {
        continue;
      }
      seen[output] = true;
      VALUE entry[3];
      for (std::size_t place = 0; place < width; ++place) {
        entry[place] = GetRubyInterface(values[vertex * width + place]);
      }
      rb_ary_push(list, rb_ary_new_from_values(static_cast<long>(width), entry));
    }
    return rb_ivar_set(self, variable, list);
  });
}

void setEmptyEntries(VALUE self, ID variable) {
  rb_ivar_set(self, variable, rb_ary_new());
}

bool setRemappedPoints(VALUE self, Remap& remap) {
  static ID name;
  ID const variable = internedName(name, "@remapped_points");
  float const* const positions = mesh->getVertices();
  if (positions == nullptr) {
    setEmptyEntries(self, variable);
    return true;
  }
  remap.entries = mesh->getVertexRemap(1, false, remap.outputCount);
  if (remap.entries == nullptr) {
    return false;
  }
  boundary([&]() -> VALUE {
    setFirstEntries(self, variable, positions, 3, remap);
    return Qnil;
  });
  return true;
}

bool setRemappedUVs(VALUE self, std::uint32_t vertexCount) {
  static ID name;
  ID const variable = internedName(name, "@remapped_uvs");
  float const* const uvs = mesh->getVertexUVs();
  if (uvs == nullptr) {
    setEmptyEntries(self, variable);
    return true;
  }
  Remap remap{nullptr, 0, vertexCount};
  remap.entries = mesh->getUVRemap(1, remap.outputCount);
  if (remap.entries == nullptr) {
    return false;
  }
  boundary([&]() -> VALUE {
    setFirstEntries(self, variable, uvs, 2, remap);
    return Qnil;
  });
  return true;
}

bool setRemappedFaceSets(VALUE self, Remap const& vertices) {
  static ID name;
  VALUE const list = rb_ary_new();
  bool const hasFaces = mesh->getFaces() != nullptr;
  std::uint32_t const setCount = hasFaces ? mesh->getNumFaceSets() : 0;
  for (std::uint32_t set = 0; set < setCount; ++set) {
    std::uint32_t const* const faces = mesh->getFaceSetFaces(set);
    std::uint32_t const faceCount = mesh->numFacesInSet(set);
    if (faceCount != 0 && (faces == nullptr || vertices.entries == nullptr)) {
      return false;
    }
    VALUE const triangles = rb_ary_new_capa(static_cast<long>(faceCount));
    for (std::size_t face = 0; face < faceCount; ++face) {
      VALUE corners[3];
      for (std::size_t corner = 0; corner < 3; ++corner) {
        corners[corner] = GetRubyInterface(vertices.at(faces[face * 3 + corner]));
      }
      rb_ary_push(triangles, rb_ary_new_from_values(3, corners));
    }
    rb_ary_push(list, triangles);
  }
  rb_ivar_set(self, internedName(name, "@remapped_face_sets"), list);
  return true;
}

}  // namespace

VALUE getTriangles(VALUE self, VALUE meshIndex, VALUE transform) {
  fetchPreviewArrays(self);
  double matrix[16] = {};
  getMatrix(transform, matrix);
  ab::IMesh const* const source = readMesh(meshIndex);
  if (source == nullptr) {
    return Qfalse;
  }
  float const* const positions = source->getVertices();
  std::uint32_t const setCount = source->getNumFaceSets();
  VALUE const triangles = rTriangles;
  VALUE const lines = rLines;
  for (std::uint32_t set = 0; set < (setCount == 0 ? 1 : setCount); ++set) {
    FaceTable const faces = getFaceTable(*source, setCount, set);
    if (faces.indices == nullptr) {
      continue;
    }
    if (faces.count != 0 && positions == nullptr) {
      reportMissingMesh();
      return Qfalse;
    }
    rb_check_type(triangles, T_ARRAY);
    rb_check_type(lines, T_ARRAY);
    VALUE const corners = rb_ary_new_capa(static_cast<long>(faces.count));
    for (std::size_t face = 0; face < faces.count; ++face) {
      appendTriangle(corners, lines, positions, faces.indices + face * 3, matrix);
    }
    rb_ary_push(triangles, corners);
  }
  return Qnil;
}

VALUE getPoints(VALUE self, VALUE meshIndex, VALUE transform) {
  fetchMeshPoints(self);
  double matrix[16] = {};
  getMatrix(transform, matrix);
  ab::IMesh* const source = readMesh(meshIndex);
  if (source == nullptr) {
    return Qfalse;
  }
  VALUE const points = rPoints;
  return boundary([&]() -> VALUE {
    ab::MeshRemapper const remapper(source, false);
    std::size_t const count = remapper.nVertices();
    std::unique_ptr<float[]> const buffer(new float[count * 3]);
    remapper.copyVertices(buffer.get());
    return protect([&]() -> VALUE {
      if (count != 0) {
        rb_check_type(points, T_ARRAY);
      }
      for (std::size_t vertex = 0; vertex < count; ++vertex) {
        float* const point = buffer.get() + vertex * 3;
        matrixMultiply(point, matrix);
        rb_ary_push(points, makePoint(point));
      }
      return Qnil;
    });
  });
}

VALUE getMeshBounds(VALUE, VALUE meshIndex) {
  static ID boundingBox;
  static ID point3d;
  static ID newName;
  static ID add;
  VALUE const box = rb_funcallv(rb_const_get(mGeom, internedName(boundingBox, "BoundingBox")),
                                internedName(newName, "new"), 0, nullptr);
  ab::IMesh const* const source = readMesh(meshIndex);
  if (source == nullptr) {
    return Qfalse;
  }
  float lowest[3] = {};
  float highest[3] = {};
  if (!source->getBoundingBox(lowest[0], lowest[1], lowest[2], highest[0], highest[1], highest[2])) {
    return box;
  }
  VALUE const type = rb_const_get(mGeom, internedName(point3d, "Point3d"));
  VALUE corners[2];
  for (int corner = 0; corner < 2; ++corner) {
    float const* const place = corner == 0 ? lowest : highest;
    VALUE const coordinates[] = {GetRubyInterface(place[0]), GetRubyInterface(place[1]), GetRubyInterface(place[2])};
    corners[corner] = rb_funcallv(type, internedName(newName, "new"), 3, coordinates);
  }
  for (VALUE const& corner : corners) {
    rb_funcallv(box, internedName(add, "add"), 1, &corner);
  }
  return box;
}

VALUE getUVs(VALUE) {
  if (!guardMesh()) {
    return Qfalse;
  }
  VALUE const result = rb_ary_new();
  VALUE const list = rb_ary_new();
  std::uint32_t discarded = 0;
  mesh->getUVRemap(1, discarded);
  if (!mesh->hasVertexUVs()) {
    rb_puts("Mesh has no vertex UVs!");
    return result;
  }
  float const* const uvs = mesh->getVertexUVs();
  std::uint32_t const* corner = mesh->getFaces();
  if (corner == nullptr) {
    return result;
  }
  std::uint32_t const setCount = mesh->getNumFaceSets();
  for (std::uint32_t set = 0; set < setCount; ++set) {
    std::size_t const cornerCount = static_cast<std::size_t>(mesh->numFacesInSet(set)) * 3;
    if (cornerCount != 0 && uvs == nullptr) {
      reportMissingMesh();
      return Qfalse;
    }
    for (std::uint32_t const* const end = corner + cornerCount; corner != end; ++corner) {
      float const* const uv = uvs + static_cast<std::size_t>(*corner) * 2;
      VALUE const entry[] = {GetRubyInterface(uv[0]), GetRubyInterface(uv[1]), GetRubyInterface(1.0)};
      rb_ary_push(list, rb_ary_new_from_values(3, entry));
    }
    rb_ary_push(result, list);
  }
  return result;
}

VALUE getRemappedMesh(VALUE self) {
  if (!guardMesh()) {
    return Qfalse;
  }
  Remap vertices{nullptr, 0, mesh->getNumVertices()};
  if (!setRemappedPoints(self, vertices) || !setRemappedUVs(self, vertices.vertexCount) ||
      !setRemappedFaceSets(self, vertices)) {
    reportMissingMesh();
    return Qfalse;
  }
  return Qtrue;
}
