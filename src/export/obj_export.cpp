#include "src/export/obj_export.h"

#include <cstdio>
#include <fstream>
#include <locale>
#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/frame/boundary.h"
#include "src/frame/ruby_value.h"

namespace {

// One of the SDK's renumbering tables: per mesh vertex its unique entry or kNoIndex.
struct Remap {
  std::uint32_t const* entries = nullptr;
  std::uint32_t uniqueCount = 0;
  std::uint32_t vertexCount = 0;

  std::uint32_t at(std::uint32_t vertex) const { return vertex < vertexCount ? entries[vertex] : kNoIndex; }
};

void reportFile(char const* path) {
  std::printf("Writing to '%s':\n", path);
  std::fflush(stdout);
}

void reportStart(std::uint32_t count, char const* what) {
  std::printf("  writing %u %s... ", count, what);
  std::fflush(stdout);
}

void reportDone() {
  std::printf("done\n");
  std::fflush(stdout);
}

// Writes `width` floats per unique entry, each at the first vertex that maps to it.
void writeUnique(std::ofstream& file, char const* keyword, float const* values, int width, Remap const& remap) {
  std::vector<unsigned char> written(remap.uniqueCount, 0);
  for (std::uint32_t vertex = 0; vertex < remap.vertexCount; ++vertex) {
    std::uint32_t const unique = remap.entries[vertex];
    if (unique >= remap.uniqueCount || written[unique] != 0) {
      continue;
    }
    written[unique] = 1;
    file << keyword;
    for (int place = 0; place < width; ++place) {
      file << ' '
           << values[static_cast<std::size_t>(vertex) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(place)];
    }
    file << '\n';
  }
}

void writeFaces(std::ofstream& file, std::uint32_t const* faces, std::uint32_t faceCount, Remap const& positions,
                Remap const& normals, Remap const& uvs) {
  bool const hasAttributes = normals.entries != nullptr || uvs.entries != nullptr;
  for (std::uint32_t face = 0; face < faceCount; ++face) {
    file << 'f';
    for (std::size_t corner = 0; corner < 3; ++corner) {
      std::uint32_t const vertex = faces[static_cast<std::size_t>(face) * 3 + corner];
      file << ' ' << positions.at(vertex) + 1;
      if (!hasAttributes) {
        continue;
      }
      file << '/';
      if (uvs.entries != nullptr) {
        file << uvs.at(vertex) + 1;
      }
      file << '/';
      if (normals.entries != nullptr) {
        file << normals.at(vertex) + 1;
      }
    }
    file << '\n';
  }
}

enum class Outcome { kWritten, kFailed, kNoTable };

Outcome writeMesh(ab::IMesh const& source, char const* path) {
  std::ofstream file(path, std::ios::out | std::ios::trunc);
  if (!file) {
    return Outcome::kFailed;
  }
  file.imbue(std::locale::classic());
  std::uint32_t const vertexCount = source.getNumVertices();
  float const* const positions = source.getVertices();
  if (positions == nullptr) {
    return Outcome::kFailed;
  }
  Remap vertexRemap{nullptr, 0, vertexCount};
  vertexRemap.entries = source.getVertexRemap(1, false, vertexRemap.uniqueCount);
  if (vertexRemap.entries == nullptr) {
    return Outcome::kNoTable;
  }
  reportFile(path);
  file << "mtllib export.mtl\n";
  reportStart(vertexRemap.uniqueCount, "vertices");
  writeUnique(file, "v", positions, 3, vertexRemap);
  reportDone();

  Remap normalRemap{nullptr, 0, vertexCount};
  if (float const* const normals = source.getNormals()) {
    normalRemap.entries = source.getNormalRemap(1, normalRemap.uniqueCount);
    if (normalRemap.entries == nullptr) {
      return Outcome::kNoTable;
    }
    reportStart(normalRemap.uniqueCount, "normals");
    writeUnique(file, "vn", normals, 3, normalRemap);
    reportDone();
  }

  Remap uvRemap{nullptr, 0, vertexCount};
  if (float const* const uvs = source.getVertexUVs()) {
    uvRemap.entries = source.getUVRemap(1, uvRemap.uniqueCount);
    if (uvRemap.entries == nullptr) {
      return Outcome::kNoTable;
    }
    reportStart(uvRemap.uniqueCount, "texture coordinates");
    writeUnique(file, "vt", uvs, 2, uvRemap);
    reportDone();
  }

  std::uint32_t const* const faces = source.getFaces();
  if (faces == nullptr) {
    return Outcome::kWritten;
  }
  std::uint32_t const faceCount = source.getNumFaces();
  reportStart(faceCount, "faces");
  file << "usemtl checker\n";
  writeFaces(file, faces, faceCount, vertexRemap, normalRemap, uvRemap);
  reportDone();
  return Outcome::kWritten;
}

}  // namespace

VALUE saveOBJ(VALUE, VALUE path) {
  char const* const text = getNativeText(path);
  if (!guardMesh()) {
    return Qfalse;
  }
  Outcome outcome = Outcome::kFailed;
  boundary([&]() -> VALUE {
    outcome = writeMesh(*mesh, text);
    return Qnil;
  });
  RB_GC_GUARD(path);
  if (outcome == Outcome::kNoTable) {
    reportMissingMesh();
  }
  return outcome == Outcome::kWritten ? INT2FIX(0) : Qfalse;
}
