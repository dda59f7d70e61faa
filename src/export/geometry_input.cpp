#include "src/export/geometry_input.h"

#include <cmath>
#include <vector>

#include "src/balancer/balancer_state.h"
#include "src/export/export_error.h"
#include "src/frame/boundary.h"
#include "src/frame/interned_name.h"

namespace {

enum class UVMode { kNone, kPerCorner, kPerVertex };

// Where the corners of a mesh get their UVs.
class UVSource {
 public:
  UVSource(ab::IMesh const* source, std::uint32_t vertexCount) : source_(source) {
    if (source->hasCornerUVs()) {
      mode_ = source->getNumCornerUVs() != 0 ? UVMode::kPerCorner : UVMode::kNone;
    } else if (float const* const uvs = source->getVertexUVs()) {
      mode_ = UVMode::kPerVertex;
      vertexUVs_.reserve(vertexCount);
      for (std::size_t vertex = 0; vertex < vertexCount; ++vertex) {
        vertexUVs_.push_back({static_cast<double>(uvs[vertex * 2]), static_cast<double>(uvs[vertex * 2 + 1])});
      }
    }
  }

  // Fills in the face's UVs; false when a corner is beyond the table.
  bool fill(std::uint32_t face, std::uint32_t const corners[3], SUMaterialInput& input) const {
    switch (mode_) {
      case UVMode::kNone:
        // One UV at the origin pins the texture.
        input.num_uv_coords = 1;
        input.uv_coords[0] = {0.0, 0.0};
        return true;
      case UVMode::kPerCorner:
        input.num_uv_coords = 3;
        fillCornerUVs(face, input);
        return true;
      case UVMode::kPerVertex:
        input.num_uv_coords = 3;
        for (std::size_t corner = 0; corner < 3; ++corner) {
          if (corners[corner] >= vertexUVs_.size()) {
            return false;
          }
          input.uv_coords[corner] = vertexUVs_[corners[corner]];
        }
        return true;
    }
    return false;
  }

 private:
  void fillCornerUVs(std::uint32_t face, SUMaterialInput& input) const {
    std::uint32_t indices[3] = {kNoIndex, kNoIndex, kNoIndex};
    source_->getFaceUVIndices(face, indices[0], indices[1], indices[2]);
    for (std::size_t corner = 0; corner < 3; ++corner) {
      float u = 0;
      float v = 0;
      source_->getUV(indices[corner], u, v);
      input.uv_coords[corner] = {static_cast<double>(u), static_cast<double>(v)};
    }
  }

  ab::IMesh const* source_;
  UVMode mode_ = UVMode::kNone;
  std::vector<SUPoint2D> vertexUVs_;
};

// Returns null, or the text of the failure that ended it.
char const* setFaceMaterial(SUGeometryInputRef geometryInput, std::size_t face, SUMaterialInput const& input,
                            bool bothSides) {
  static constexpr char kFailed[] = "Failed to set the material of the Face";
  if (SUGeometryInputFaceSetFrontMaterial(geometryInput, face, &input) != SU_ERROR_NONE) {
    return kFailed;
  }
  if (bothSides && SUGeometryInputFaceSetBackMaterial(geometryInput, face, &input) != SU_ERROR_NONE) {
    return kFailed;
  }
  return nullptr;
}

char const* addFaces(ab::IMesh const* source, SUGeometryInputRef geometryInput,
                     std::span<SUMaterialRef const> materials, UVSource const& uvs, bool bothSides) {
  bool const hasFaceSets = source->getNumFaceSets() > 0;
  std::uint32_t const faceCount = source->getNumFaces();
  std::vector<SULoopInputRef> loops(faceCount);
  if (char const* const failure = getSULoopInputsFromFaces(source, loops.data())) {
    return failure;
  }
  for (std::uint32_t face = 0; face < faceCount; ++face) {
    std::uint32_t corners[3] = {0, 0, 0};
    source->getFace(face, corners[0], corners[1], corners[2]);
    std::uint32_t set = 0;
    if (hasFaceSets) {
      source->getFaceSetOfFace(face, set);
    }
    SUMaterialInput input = {};
    bool const hasMaterial = set < materials.size() && materials[set].ptr != nullptr;
    if (hasMaterial) {
      if (!uvs.fill(face, corners, input)) {
        return kMissingMesh;
      }
      for (std::size_t corner = 0; corner < 3; ++corner) {
        input.vertex_indices[corner] = corners[corner];
      }
      input.material = materials[set];
    }
    std::size_t addedFace = 0;
    if (SUGeometryInputAddFace(geometryInput, &loops[face], &addedFace) != SU_ERROR_NONE) {
      return "Failed to set Face to Geometry Input";
    }
    if (hasMaterial) {
      if (char const* const failure = setFaceMaterial(geometryInput, addedFace, input, bothSides)) {
        return failure;
      }
    }
  }
  return nullptr;
}

// Everything of exportMesh that needs no Ruby. Returns null, or the text of the failure that ended it.
char const* buildGeometryInput(ab::IMesh const* source, SUGeometryInputRef geometryInput,
                               std::span<SUMaterialRef const> materials, bool bothSides) {
  std::uint32_t const vertexCount = source->getNumVertices();
  // Never empty, so that there is an array to hand over.
  std::vector<SUPoint3D> points(static_cast<std::size_t>(vertexCount) + 1);
  if (char const* const failure = getSUPointsFromMeshVertices(source, points.data())) {
    return failure;
  }
  if (SUGeometryInputSetVertices(geometryInput, vertexCount, points.data()) != SU_ERROR_NONE) {
    return "Failed to set the input vertices";
  }
  UVSource const uvs(source, vertexCount);
  return addFaces(source, geometryInput, materials, uvs, bothSides);
}

std::vector<SUEdgeRef> getAllEdges(SUEntitiesRef entities) {
  std::size_t count = 0;
  SUEntitiesGetNumEdges(entities, false, &count);
  std::vector<SUEdgeRef> edges(count + 1);
  std::size_t copied = 0;
  SUEntitiesGetEdges(entities, false, count, edges.data(), &copied);
  edges.resize(copied < count ? copied : count);
  return edges;
}

void applyAngleRule(SUEdgeRef edge, double threshold) {
  std::size_t faceCount = 0;
  SUEdgeGetNumFaces(edge, &faceCount);
  if (faceCount != 2) {
    return;
  }
  SUFaceRef faces[2] = {};
  SUEdgeGetFaces(edge, 2, faces, &faceCount);
  SUVector3D normals[2] = {};
  SUFaceGetNormal(faces[0], &normals[0]);
  SUFaceGetNormal(faces[1], &normals[1]);
  double const angle = angleBetweenVectors(normals[0], normals[1]);
  // NaN comes from parallel normals.
  bool const isSmooth = std::isnan(angle) || angle <= threshold;
  SUEdgeSetSmooth(edge, isSmooth);
  SUEdgeSetSoft(edge, isSmooth);
}

}  // namespace

void exportMesh(VALUE self, ab::IMesh* source, SUGeometryInputRef geometryInput,
                std::span<SUMaterialRef const> materials) {
  static ID applyMaterialsBothSides;
  std::uint32_t const clears = getClearCount();
  bool const bothSides =
      rb_funcallv(self, internedName(applyMaterialsBothSides, "apply_materials_both_sides?"), 0, nullptr) == Qtrue;
  if (isClearedSince(clears)) {
    raiseSketchupExportError(kMissingMesh);
  }
  char const* failure = nullptr;
  boundary([&]() -> VALUE {
    failure = buildGeometryInput(source, geometryInput, materials, bothSides);
    return Qnil;
  });
  if (failure != nullptr) {
    raiseSketchupExportError(failure);
  }
}

void softenEdges(VALUE self, SUEntitiesRef entities) {
  static ID smoothAngle;
  VALUE const argument = Qtrue;
  double const threshold = rb_num2dbl(rb_funcallv(self, internedName(smoothAngle, "smooth_angle"), 1, &argument));
  boundary([&]() -> VALUE {
    for (SUEdgeRef const edge : getAllEdges(entities)) {
      applyAngleRule(edge, threshold);
    }
    return Qnil;
  });
}

char const* getSUPointsFromMeshVertices(ab::IMesh const* source, SUPoint3D* points) {
  float const* const positions = source->getVertices();
  if (source->getFaces() == nullptr) {
    return nullptr;
  }
  std::uint32_t const vertexCount = source->getNumVertices();
  if (vertexCount != 0 && positions == nullptr) {
    return kMissingMesh;
  }
  for (std::size_t vertex = 0; vertex < vertexCount; ++vertex) {
    float const* const position = positions + vertex * 3;
    points[vertex] = {static_cast<double>(position[0]), static_cast<double>(position[1]),
                      static_cast<double>(position[2])};
  }
  return nullptr;
}

char const* getSULoopInputsFromFaces(ab::IMesh const* source, SULoopInputRef* loops) {
  std::uint32_t const* const faces = source->getFaces();
  if (faces == nullptr) {
    return nullptr;
  }
  std::uint32_t const faceCount = source->getNumFaces();
  for (std::uint32_t face = 0; face < faceCount; ++face) {
    SULoopInputRef loop = {};
    if (SULoopInputCreate(&loop) != SU_ERROR_NONE) {
      return "Failed to create Input loop";
    }
    for (std::size_t corner = 0; corner < 3; ++corner) {
      SULoopInputAddVertexIndex(loop, faces[static_cast<std::size_t>(face) * 3 + corner]);
    }
    unsigned char flags[3] = {0, 0, 0};
    source->getFaceEdgeFlags(face, flags[0], flags[1], flags[2]);
    for (std::size_t edge = 0; edge < 3; ++edge) {
      bool const isSmooth = !ab::IMesh::isBoundarySharpEdge(flags[edge]);
      SULoopInputEdgeSetSoft(loop, edge, isSmooth);
      SULoopInputEdgeSetSmooth(loop, edge, isSmooth);
    }
    loops[face] = loop;
  }
  return nullptr;
}

double angleBetweenVectors(SUVector3D a, SUVector3D b) {
  double const dot = a.x * b.x + a.y * b.y + a.z * b.z;
  double const squaredLengths = (a.x * a.x + a.y * a.y + a.z * a.z) * (b.x * b.x + b.y * b.y + b.z * b.z);
  return std::acos(dot / std::sqrt(squaredLengths));
}
