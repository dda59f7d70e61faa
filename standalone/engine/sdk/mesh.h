// A mesh of a depot, as the mesh SDK hands it out.
//
// It is filled in build form, and from the first joining on it is in wedge form: a prepared step 0 of its own, and
// while a hierarchy stands at a later step what the ladder makes of it there, read at the first look after a move.
// Until then a move costs nothing. Tables that only some readers want are made at their first request and kept until
// the mesh is next changed or moved. Setters are for the build form; afterwards they do nothing (what would be a new
// index is 0xFFFFFFFF), except that whole attributes can be removed.
//
// Nothing here throws: a reader for whose table there is no memory gets null or 0, and a mesh that cannot be joined
// for want of memory is empty afterwards.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "standalone/engine/obj/obj_reader.h"
#include "standalone/engine/prepare/build_mesh.h"
#include "standalone/engine/prepare/cleanup.h"
#include "standalone/engine/prepare/wedges.h"
#include "standalone/engine/sdk/hierarchy.h"
#include "standalone/engine/sdk/material.h"
#include "standalone/engine/sdk/mesh_view.h"
#include "standalone/engine/sdk/view_tables.h"

namespace mirel::engine {

class Mesh final : public MeshSlots {
 public:
  Mesh() = default;
  // Takes over the arrays of a mesh that was read from a file. One face set per material.
  explicit Mesh(ObjMesh&& source);

  std::uint32_t getNumVertices() const override { return view().vertex_count; }
  std::uint32_t getNumFaces() const override { return view().face_count; }
  float const* getVertices() const override { return view().vertices; }
  std::uint32_t const* getFaces() const override { return view().faces; }
  void getVertexPosition(std::uint32_t vertex, float& x, float& y, float& z) const override;
  void getFace(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const override;
  std::uint32_t addVertex(float x, float y, float z) override;
  std::uint32_t addFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) override;
  bool hasVertexAttributes() const override { return getNormals() != nullptr || getVertexUVs() != nullptr; }
  float const* getNormals() const override { return view().vertex_normals; }
  void setVertexNormals(float const* normals, std::uint32_t count, std::uint32_t stride) override;
  void removeVertexNormals() override;
  void addNormals(float const* normals, std::uint32_t count) override;
  std::uint32_t addNormal(float x, float y, float z) override;
  std::uint32_t getNumNormals() const override;
  void setFaceNormalIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) override;
  void removeIndexedNormals() override;
  bool hasVertexUVs() const override { return view().vertex_uvs != nullptr; }
  float const* getVertexUVs() const override { return view().vertex_uvs; }
  void setVertexUVs(float const* uvs, std::uint32_t count, std::uint32_t stride) override;
  void removeVertexUVs() override;
  bool hasCornerUVs() const override;
  void addUVs(float const* uvs, std::uint32_t count) override;
  std::uint32_t addUV(float u, float v) override;
  std::uint32_t getNumCornerUVs() const override;
  void getUV(std::uint32_t uv, float& u, float& v) const override;
  void setFaceUVIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) override;
  bool getFaceUVIndices(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const override;
  void removeCornerUVs() override;
  void const* getAuxiliaryAttributes() const override { return nullptr; }
  std::uint32_t getNumFaceSets() const override { return set_count_; }
  std::uint32_t numFacesInSet(std::uint32_t set) const override;
  std::uint32_t const* getFaceSetFaces(std::uint32_t set) const override;
  void setNumFaceSets(std::uint32_t count) override;
  void setCurrentFaceSet(std::uint32_t set) override { current_set_ = set; }
  void getFaceSetOfFace(std::uint32_t face, std::uint32_t& set) const override;
  ab::IMaterial* getMaterial(std::uint32_t set) const override;
  void getFaceEdgeFlags(std::uint32_t face, unsigned char& edge0, unsigned char& edge1,
                        unsigned char& edge2) const override;
  ab::IMaterial* getDefaultMaterial() const override { return &default_material_; }
  std::uint32_t const* getVertexRemap(std::uint32_t mode, bool splitByAttributes, std::uint32_t& count) const override;
  std::uint32_t const* getNormalRemap(std::uint32_t mode, std::uint32_t& count) const override;
  std::uint32_t const* getUVRemap(std::uint32_t mode, std::uint32_t& count) const override;
  std::uint32_t const* getAuxiliaryRemap(std::uint32_t, std::uint32_t& count) const override;
  bool getBoundingBox(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ) const override;

  std::string const& name() const { return name_; }
  // Distinct positions at the current step; the vertices before the mesh is in wedge form.
  std::uint32_t distinct_position_count() const;
  // face_count x 3 corners x 2 or 3 numbers at the current step, or null where the mesh has none.
  float const* corner_uvs() const;
  float const* corner_normals() const;
  // face_count x 3 edges, each from a corner to the next, of kMirelEdge... bits; null where there is no face.
  unsigned char const* corner_edge_kinds() const;

  // The depot's stages. Each may throw std::bad_alloc and then leaves an empty mesh or the mesh as it was; the mesh
  // must not stand on a ladder.
  void prepare();
  std::uint32_t join(JoinTolerances const& tolerances);
  std::uint32_t eliminate_t_junctions(float tolerance);
  // The wedge form that ladders are built on, made first where it is missing.
  WedgeMesh const& ready_for_ladder();
  // From here on the mesh reads back at the hierarchy's current step. `place` is its place on the ladder.
  void attach(Hierarchy* hierarchy, std::uint32_t place);

 private:
  MeshView const& view() const {
    std::uint32_t const step = hierarchy_ == nullptr ? 0 : hierarchy_->currentStep();
    if (!viewed_ || step != viewed_step_) {
      look(step);
    }
    return view_;
  }
  void look(std::uint32_t step) const;
  void changed();
  bool building() const { return wedges_ == nullptr; }
  void make_wedges(JoinTolerances const& tolerances);
  template <class Stage>
  auto change_wedges(Stage stage);
  void empty_wedges();
  void leave_ladder();

  std::string name_;
  std::uint32_t set_count_ = 0;
  std::uint32_t current_set_ = 0;
  mutable std::vector<std::unique_ptr<Material>> materials_;  // per face set, made when asked for
  mutable Material default_material_;

  BuildMesh build_;
  bool prepared_ = false;
  ExactPositions exact_;               // of a prepared build form
  std::unique_ptr<WedgeMesh> wedges_;  // the prepared step 0
  JoinTolerances last_join_;
  bool joined_ = false;          // wedges that agree in all that they have are one
  float t_junctions_gone_ = -1;  // the tolerance up to which none is left; negative: not known

  Hierarchy* hierarchy_ = nullptr;  // never freed, so a mesh may outlive its standing there
  std::uint32_t place_ = 0;
  mutable WedgeMesh at_step_;  // what the ladder made of the mesh at viewed_step_, if that is not 0

  mutable bool viewed_ = false;
  mutable std::uint32_t viewed_step_ = 0;
  mutable MeshView view_;
  mutable ViewTables tables_;
};

}  // namespace mirel::engine
