#include "src/preview/mesh_remapper.h"

#include <algorithm>
#include <cstddef>

namespace ab {

namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// The table that names, for each output entry, the last mesh vertex that maps to it; null without a remap. Entries
// that nothing maps to stay undefined.
std::uint32_t* makeLastSource(std::uint32_t const* remap, std::uint32_t vertexCount, std::uint32_t& entryCount) {
  if (remap == nullptr) {
    entryCount = 0;
    return nullptr;
  }
  std::uint32_t* const source = new std::uint32_t[entryCount];
  for (std::uint32_t vertex = 0; vertex < vertexCount; ++vertex) {
    if (remap[vertex] < entryCount) {
      source[remap[vertex]] = vertex;
    }
  }
  return source;
}

}  // namespace

MeshRemapper::MeshRemapper(IMesh* mesh, bool shareAttributes) : MeshRemapper() {
  this->mesh = mesh;
  this->shareAttributes = shareAttributes;
  if (mesh == nullptr || mesh->getVertices() == nullptr) {
    return;
  }
  positions = mesh->getVertices();
  faces = mesh->getFaces();
  normals = mesh->getNormals();
  uvs = mesh->getVertexUVs();
  aux = mesh->getAuxiliaryAttributes();
  nFaces = mesh->getNumFaces();
  vertexRemap = mesh->getVertexRemap(1, shareAttributes, nVertices_);
  if (vertexRemap == nullptr) {
    nVertices_ = 0;
    return;
  }
  std::uint32_t const vertexCount = mesh->getNumVertices();
  fillVertexTables(vertexCount);
  if (shareAttributes) {
    shareVertexTables();
  } else {
    fillAttributeTables(vertexCount);
  }
}

MeshRemapper::~MeshRemapper() {
  delete[] vertexSource;
  delete[] vertexBase;
  if (!shareAttributes) {
    delete[] normalSource;
    delete[] uvSource;
    delete[] auxSource;
  }
}

void MeshRemapper::fillVertexTables(std::uint32_t vertexCount) {
  vertexSource = new std::uint32_t[nVertices_];
  std::fill_n(vertexSource, nVertices_, kNone);
  for (std::uint32_t vertex = 0; vertex < vertexCount; ++vertex) {
    std::uint32_t const output = vertexRemap[vertex];
    if (output < nVertices_ && (vertexSource[output] == kNone || vertexSource[output] > vertex)) {
      vertexSource[output] = vertex;
    }
  }

  vertexBase = new std::uint32_t[nVertices_];
  std::uint32_t discarded = 0;
  vertexRemap = mesh->getVertexRemap(0, false, discarded);
  for (std::uint32_t output = 0; output < nVertices_; ++output) {
    bool const hasBase = vertexRemap != nullptr && vertexSource[output] != kNone;
    vertexBase[output] = hasBase ? vertexRemap[vertexSource[output]] : kNone;
  }
  vertexRemap = mesh->getVertexRemap(1, shareAttributes, discarded);
}

void MeshRemapper::shareVertexTables() {
  nNormals = normals == nullptr ? 0 : nVertices_;
  nUVs = uvs == nullptr ? 0 : nVertices_;
  nAux = aux == nullptr ? 0 : nVertices_;
  normalRemap = uvRemap = auxRemap = vertexRemap;
  normalSource = uvSource = auxSource = vertexSource;
}

void MeshRemapper::fillAttributeTables(std::uint32_t vertexCount) {
  if (normals != nullptr) {
    normalRemap = mesh->getNormalRemap(1, nNormals);
    normalSource = makeLastSource(normalRemap, vertexCount, nNormals);
  }
  if (uvs != nullptr) {
    uvRemap = mesh->getUVRemap(1, nUVs);
    uvSource = makeLastSource(uvRemap, vertexCount, nUVs);
  }
  if (aux != nullptr) {
    auxRemap = mesh->getAuxiliaryRemap(1, nAux);
    auxSource = makeLastSource(auxRemap, vertexCount, nAux);
  }
}

std::uint32_t MeshRemapper::nVertices() const {
  return nVertices_;
}

void MeshRemapper::getVertex(std::uint32_t vertex, float& x, float& y, float& z) const {
  x = y = z = 0;
  std::uint32_t const source = vertexSource[vertex];
  if (source != kNone) {
    float const* const position = positions + static_cast<std::size_t>(source) * 3;
    x = position[0];
    y = position[1];
    z = position[2];
  }
}

bool MeshRemapper::copyVertices(float* buffer) const {
  if (positions == nullptr) {
    return false;
  }
  for (std::uint32_t vertex = 0; vertex < nVertices_; ++vertex) {
    float* const place = buffer + static_cast<std::size_t>(vertex) * 3;
    getVertex(vertex, place[0], place[1], place[2]);
  }
  return true;
}

}  // namespace ab
