// Inverts the SDK's renumbering tables: for each distinct vertex, normal and UV of a mesh, which mesh vertex stands
// for it.
//
// Only reads the mesh, which must outlive the remapper and stay unchanged and unmoved. All indices are 0-based;
// 0xFFFFFFFF means none. Constructing may throw std::bad_alloc and nothing else of its own.
#pragma once

#include <cstdint>

#include "src/balancer/balancer_sdk.h"

namespace ab {

class MeshRemapper {
 public:
  // Reads the tables of mode 1. With `shareAttributes` an output vertex carries one position, one normal and one UV,
  // and the attribute tables are the vertex tables themselves; without it each kind has tables of its own. Empty for
  // a null mesh and for one without a vertex array.
  MeshRemapper(IMesh* mesh, bool shareAttributes);
  ~MeshRemapper();
  MeshRemapper(MeshRemapper const&) = delete;
  MeshRemapper& operator=(MeshRemapper const&) = delete;

  // Number of output vertices.
  std::uint32_t nVertices() const;
  // The position of an output vertex below nVertices; the origin for one that no mesh vertex maps to.
  void getVertex(std::uint32_t vertex, float& x, float& y, float& z) const;
  // Writes x, y, z per output vertex: 3 x nVertices floats. False, with nothing written, when the mesh had no vertex
  // array.
  bool copyVertices(float* buffer) const;

  // The remaps and arrays belong to the mesh, the sources and vertexBase to the remapper. A remap has an entry per
  // mesh vertex, a source one per output entry.
  IMesh* mesh = nullptr;
  std::uint32_t const* vertexRemap = nullptr;
  std::uint32_t* vertexSource = nullptr;  // the lowest mesh vertex that maps to the output vertex
  std::uint32_t const* normalRemap = nullptr;
  std::uint32_t* normalSource = nullptr;  // the highest mesh vertex; undefined where there is none, unless shared
  std::uint32_t const* uvRemap = nullptr;
  std::uint32_t* uvSource = nullptr;
  std::uint32_t const* auxRemap = nullptr;
  std::uint32_t* auxSource = nullptr;
  std::uint32_t* vertexBase = nullptr;  // mode-0 number of the vertex that stands for the output vertex
  float const* positions = nullptr;     // x, y, z per mesh vertex
  std::uint32_t const* faces = nullptr;
  float const* normals = nullptr;
  float const* uvs = nullptr;
  void const* aux = nullptr;
  std::uint32_t nVertices_ = 0;  // NOLINT(readability-identifier-naming): nVertices names the operation
  std::uint32_t nFaces = 0;
  std::uint32_t nNormals = 0;
  std::uint32_t nUVs = 0;
  std::uint32_t nAux = 0;
  bool shareAttributes = false;

 private:
  // All zero. The public constructor delegates to it, so that the destructor runs when that one throws.
  MeshRemapper() = default;

  void fillVertexTables(std::uint32_t vertexCount);
  void shareVertexTables();
  void fillAttributeTables(std::uint32_t vertexCount);
};

}  // namespace ab
