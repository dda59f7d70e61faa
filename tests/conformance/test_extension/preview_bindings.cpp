#include "tests/conformance/test_extension/preview_bindings.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/ruby_value.h"
#include "src/preview/mesh_remapper.h"
#include "src/preview/preview_utilities.h"
#include "src/preview/transform.h"

namespace {

// Arrays made with new[] and not yet released, by the code of this library.
int liveArrays = 0;
// When above 0, the new[] that counts it down to 0 fails.
int arraysUntilFailure = 0;

}  // namespace

void* operator new[](std::size_t size) {
  if (arraysUntilFailure > 0 && --arraysUntilFailure == 0) {
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++liveArrays;
  return memory;
}

void operator delete[](void* memory) noexcept {
  if (memory != nullptr) {
    --liveArrays;
    std::free(memory);
  }
}

void operator delete[](void* memory, std::size_t) noexcept {
  operator delete[](memory);
}

namespace {

ab::IMesh* depotMesh(VALUE index) {
  return index == Qnil ? nullptr : meshDepot->getMesh(NUM2UINT(index));
}

void setMember(VALUE hash, char const* name, VALUE value) {
  rb_hash_aset(hash, ID2SYM(rb_intern(name)), value);
}

VALUE makeList(std::uint32_t const* values, std::uint32_t count) {
  if (values == nullptr) {
    return Qnil;
  }
  VALUE const list = rb_ary_new();
  for (std::uint32_t index = 0; index < count; ++index) {
    rb_ary_push(list, GetRubyInterface(values[index]));
  }
  return list;
}

// The entries of a source table that the remap reaches; the others are undefined and come out as nil.
VALUE makeReachedList(std::uint32_t const* source, std::uint32_t count, std::uint32_t const* remap,
                      std::uint32_t vertexCount) {
  if (source == nullptr) {
    return Qnil;
  }
  VALUE const list = rb_ary_new();
  for (std::uint32_t index = 0; index < count; ++index) {
    rb_ary_push(list, Qnil);
  }
  for (std::uint32_t vertex = 0; vertex < vertexCount; ++vertex) {
    if (remap[vertex] < count) {
      rb_ary_store(list, static_cast<long>(remap[vertex]), GetRubyInterface(source[remap[vertex]]));
    }
  }
  return list;
}

VALUE makeFloats(float const* values, std::size_t count) {
  VALUE const list = rb_ary_new();
  for (std::size_t index = 0; index < count; ++index) {
    rb_ary_push(list, GetRubyInterface(values[index]));
  }
  return list;
}

VALUE showRemapper(ab::MeshRemapper const& remapper, std::uint32_t vertexCount, float* buffer, bool copied) {
  VALUE const hash = rb_hash_new();
  setMember(hash, "nVertices", GetRubyInterface(remapper.nVertices()));
  setMember(hash, "nFaces", GetRubyInterface(remapper.nFaces));
  setMember(hash, "nNormals", GetRubyInterface(remapper.nNormals));
  setMember(hash, "nUVs", GetRubyInterface(remapper.nUVs));
  setMember(hash, "nAux", GetRubyInterface(remapper.nAux));
  setMember(hash, "shareAttributes", remapper.shareAttributes ? Qtrue : Qfalse);
  setMember(hash, "copied", copied ? Qtrue : Qfalse);
  setMember(hash, "vertices", makeFloats(buffer, static_cast<std::size_t>(remapper.nVertices()) * 3));
  setMember(hash, "vertexRemap", makeList(remapper.vertexRemap, remapper.vertexRemap == nullptr ? 0 : vertexCount));
  setMember(hash, "vertexSource", makeList(remapper.vertexSource, remapper.nVertices_));
  setMember(hash, "vertexBase", makeList(remapper.vertexBase, remapper.nVertices_));
  setMember(hash, "normalSource",
            makeReachedList(remapper.normalSource, remapper.nNormals, remapper.normalRemap, vertexCount));
  setMember(hash, "uvSource", makeReachedList(remapper.uvSource, remapper.nUVs, remapper.uvRemap, vertexCount));
  setMember(hash, "auxSource", makeReachedList(remapper.auxSource, remapper.nAux, remapper.auxRemap, vertexCount));
  bool const shared = remapper.vertexSource != nullptr && remapper.normalSource == remapper.vertexSource &&
                      remapper.uvSource == remapper.vertexSource && remapper.auxSource == remapper.vertexSource &&
                      remapper.normalRemap == remapper.vertexRemap && remapper.uvRemap == remapper.vertexRemap &&
                      remapper.auxRemap == remapper.vertexRemap;
  setMember(hash, "shared", shared ? Qtrue : Qfalse);
  return hash;
}

// Builds a remapper on the depot's mesh of that index (nil for a null mesh) and shows its members. The vertex count
// is the caller's, so that the log shows the remapper's own calls only.
VALUE remap(VALUE, VALUE index, VALUE shareAttributes, VALUE vertexCount) {
  ab::IMesh* const source = depotMesh(index);
  std::uint32_t const vertices = NUM2UINT(vertexCount);
  return boundary([&]() -> VALUE {
    ab::MeshRemapper const remapper(source, shareAttributes == Qtrue);
    std::unique_ptr<float[]> const buffer(new float[static_cast<std::size_t>(remapper.nVertices()) * 3]);
    bool const copied = remapper.copyVertices(buffer.get());
    return protect([&]() -> VALUE { return showRemapper(remapper, vertices, buffer.get(), copied); });
  });
}

VALUE getVertex(VALUE, VALUE index, VALUE vertex) {
  ab::IMesh* const source = depotMesh(index);
  std::uint32_t const output = NUM2UINT(vertex);
  return boundary([&]() -> VALUE {
    ab::MeshRemapper const remapper(source, false);
    float position[3] = {7, 7, 7};
    remapper.getVertex(output, position[0], position[1], position[2]);
    return protect([&]() -> VALUE { return makeFloats(position, 3); });
  });
}

VALUE getLiveArrays(VALUE) {
  return INT2NUM(liveArrays);
}

VALUE failArray(VALUE, VALUE count) {
  arraysUntilFailure = NUM2INT(count);
  return Qnil;
}

VALUE makeDoubles(double const* values) {
  VALUE const list = rb_ary_new();
  for (int place = 0; place < 16; ++place) {
    rb_ary_push(list, GetRubyInterface(values[place]));
  }
  return list;
}

VALUE readMatrix(VALUE, VALUE array) {
  double matrix[16] = {};
  getMatrix(array, matrix);
  return makeDoubles(matrix);
}

// The identity written over a matrix that is filled with that number.
VALUE identityOver(VALUE, VALUE filling) {
  double matrix[16];
  for (double& place : matrix) {
    place = NUM2DBL(filling);
  }
  getIdentityMatrix(matrix);
  return makeDoubles(matrix);
}

VALUE multiply(VALUE, VALUE coordinates, VALUE array) {
  double matrix[16] = {};
  getMatrix(array, matrix);
  float point[3];
  for (int axis = 0; axis < 3; ++axis) {
    point[axis] = static_cast<float>(NUM2DBL(rb_ary_entry(coordinates, axis)));
  }
  matrixMultiply(point, matrix);
  return makeFloats(point, 3);
}

VALUE meshColors(VALUE, VALUE materials) {
  return getPreviewMeshColors(materials), rMeshColors;
}
VALUE timerStart(VALUE, VALUE object) {
  return startTimer(object), Qnil;
}
VALUE timerStop(VALUE, VALUE object, VALUE label) {
  return stopTimer(object, StringValueCStr(label)), Qnil;
}
VALUE polyMesh(VALUE, VALUE index) {
  return createPolyMesh(depotMesh(index));
}

}  // namespace

void definePreviewBindings(VALUE module) {
  rb_define_singleton_method(module, "remap", remap, 3);
  rb_define_singleton_method(module, "remapped_vertex", getVertex, 2);
  rb_define_singleton_method(module, "live_arrays", getLiveArrays, 0);
  rb_define_singleton_method(module, "fail_array", failArray, 1);
  rb_define_singleton_method(module, "read_matrix", readMatrix, 1);
  rb_define_singleton_method(module, "identity_over", identityOver, 1);
  rb_define_singleton_method(module, "multiply", multiply, 2);
  rb_define_singleton_method(module, "preview_mesh_colors", meshColors, 1);
  rb_define_singleton_method(module, "start_timer", timerStart, 1);
  rb_define_singleton_method(module, "stop_timer", timerStop, 2);
  rb_define_singleton_method(module, "create_poly_mesh", polyMesh, 1);
}
