// The interface of the mesh SDK: the classes through which every mesh operation is reached.
//
// Two things cross this seam and nothing else: the static functions, found by the linker under their C++ names
// in the SDK's own library, and virtual calls at fixed slot numbers. So the classes have no virtual destructor,
// no data and no overloads, and slots that are never called keep their place with a placeholder. The number
// behind a declaration is its slot.
//
// Indices, counts and steps are 0-based unsigned 32-bit numbers; 0xFFFFFFFF means "none" in a table and "failed"
// from createMesh. Coordinates are 32-bit floats in model units. Arrays handed in are copied; arrays handed back
// belong to the mesh and stay valid until that mesh is next changed or moved.
#pragma once

#include <cstdint>

namespace ab {

// A material of a face set. Owned by its mesh.
class IMaterial {
 public:
  // Each component nominally 0 to 1.
  struct Color {
    float red;
    float green;
    float blue;
    float alpha;
  };

  virtual void unusedSlot0() = 0;
  virtual Color const* getColor() const = 0;  // 1
  virtual void unusedSlot2() = 0;
  virtual void unusedSlot3() = 0;
  virtual void unusedSlot4() = 0;
  virtual void unusedSlot5() = 0;
  virtual void unusedSlot6() = 0;
  virtual void unusedSlot7() = 0;
  virtual void unusedSlot8() = 0;
  virtual void unusedSlot9() = 0;
  virtual char const* getTexturePath() const = 0;  // 10
  virtual void unusedSlot11() = 0;
  virtual char const* getName() const = 0;             // 12
  virtual bool isDefault() const = 0;                  // 13
  virtual char const* getTextureBasePath() const = 0;  // 14
};

// A triangle mesh with face sets, normals, UVs and renumbering tables. Owned by its depot.
class IMesh {
 public:
  virtual std::uint32_t getNumVertices() const = 0;                                                          // 0
  virtual std::uint32_t getNumFaces() const = 0;                                                             // 1
  virtual float const* getVertices() const = 0;                                                              // 2
  virtual std::uint32_t const* getFaces() const = 0;                                                         // 3
  virtual void getVertexPosition(std::uint32_t vertex, float& x, float& y, float& z) const = 0;              // 4
  virtual void getFace(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const = 0;  // 5
  virtual void unusedSlot6() = 0;
  virtual void unusedSlot7() = 0;
  virtual std::uint32_t addVertex(float x, float y, float z) = 0;  // 8
  virtual void unusedSlot9() = 0;
  virtual std::uint32_t addFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) = 0;  // 10
  virtual void unusedSlot11() = 0;
  virtual bool hasVertexAttributes() const = 0;  // 12
  virtual void unusedSlot13() = 0;
  virtual void unusedSlot14() = 0;
  virtual float const* getNormals() const = 0;  // 15
  virtual void unusedSlot16() = 0;
  virtual void setVertexNormals(float const* normals, std::uint32_t count, std::uint32_t stride) = 0;  // 17
  virtual void unusedSlot18() = 0;
  virtual void removeVertexNormals() = 0;  // 19
  virtual void unusedSlot20() = 0;
  virtual void addNormals(float const* normals, std::uint32_t count) = 0;  // 21
  virtual void unusedSlot22() = 0;
  virtual std::uint32_t addNormal(float x, float y, float z) = 0;  // 23
  virtual std::uint32_t getNumNormals() const = 0;                 // 24
  virtual void unusedSlot25() = 0;
  virtual void setFaceNormalIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) = 0;  // 26
  virtual void unusedSlot27() = 0;
  virtual void removeIndexedNormals() = 0;        // 28
  virtual bool hasVertexUVs() const = 0;          // 29
  virtual float const* getVertexUVs() const = 0;  // 30
  virtual void unusedSlot31() = 0;
  virtual void setVertexUVs(float const* uvs, std::uint32_t count, std::uint32_t stride) = 0;  // 32
  virtual void unusedSlot33() = 0;
  virtual void removeVertexUVs() = 0;                              // 34
  virtual bool hasCornerUVs() const = 0;                           // 35
  virtual void addUVs(float const* uvs, std::uint32_t count) = 0;  // 36
  virtual void unusedSlot37() = 0;
  virtual std::uint32_t addUV(float u, float v) = 0;                                                         // 38
  virtual std::uint32_t getNumCornerUVs() const = 0;                                                         // 39
  virtual void getUV(std::uint32_t uv, float& u, float& v) const = 0;                                        // 40
  virtual void setFaceUVIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) = 0;  // 41
  virtual bool getFaceUVIndices(std::uint32_t face, std::uint32_t& a, std::uint32_t& b,
                                std::uint32_t& c) const = 0;  // 42
  virtual void removeCornerUVs() = 0;                         // 43
  virtual void unusedSlot44() = 0;
  virtual void const* getAuxiliaryAttributes() const = 0;  // 45
  virtual void unusedSlot46() = 0;
  virtual void unusedSlot47() = 0;
  virtual void unusedSlot48() = 0;
  virtual void unusedSlot49() = 0;
  virtual void unusedSlot50() = 0;
  virtual void unusedSlot51() = 0;
  virtual void unusedSlot52() = 0;
  virtual void unusedSlot53() = 0;
  virtual void unusedSlot54() = 0;
  virtual void unusedSlot55() = 0;
  virtual void unusedSlot56() = 0;
  virtual void unusedSlot57() = 0;
  virtual void unusedSlot58() = 0;
  virtual void unusedSlot59() = 0;
  virtual std::uint32_t getNumFaceSets() const = 0;                           // 60
  virtual std::uint32_t numFacesInSet(std::uint32_t set) const = 0;           // 61
  virtual std::uint32_t const* getFaceSetFaces(std::uint32_t set) const = 0;  // 62
  virtual void setNumFaceSets(std::uint32_t count) = 0;                       // 63
  virtual void unusedSlot64() = 0;
  virtual void unusedSlot65() = 0;
  virtual void setCurrentFaceSet(std::uint32_t set) = 0;                            // 66
  virtual void getFaceSetOfFace(std::uint32_t face, std::uint32_t& set) const = 0;  // 67
  virtual void unusedSlot68() = 0;
  virtual void unusedSlot69() = 0;
  virtual IMaterial* getMaterial(std::uint32_t set) const = 0;  // 70
  virtual void getFaceEdgeFlags(std::uint32_t face, unsigned char& edge0, unsigned char& edge1,
                                unsigned char& edge2) const = 0;  // 71
  virtual void unusedSlot72() = 0;
  virtual void unusedSlot73() = 0;
  virtual void unusedSlot74() = 0;
  virtual void unusedSlot75() = 0;
  virtual void unusedSlot76() = 0;
  virtual void unusedSlot77() = 0;
  virtual void unusedSlot78() = 0;
  virtual void unusedSlot79() = 0;
  virtual void unusedSlot80() = 0;
  virtual void unusedSlot81() = 0;
  virtual void unusedSlot82() = 0;
  virtual void unusedSlot83() = 0;
  virtual void unusedSlot84() = 0;
  virtual void unusedSlot85() = 0;
  virtual void unusedSlot86() = 0;
  virtual void unusedSlot87() = 0;
  virtual void unusedSlot88() = 0;
  virtual void unusedSlot89() = 0;
  virtual void unusedSlot90() = 0;
  virtual void unusedSlot91() = 0;
  virtual void unusedSlot92() = 0;
  virtual void unusedSlot93() = 0;
  virtual IMaterial* getDefaultMaterial() const = 0;  // 94
  virtual void unusedSlot95() = 0;
  virtual std::uint32_t const* getVertexRemap(std::uint32_t mode, bool splitByAttributes,
                                              std::uint32_t& count) const = 0;                         // 96
  virtual std::uint32_t const* getNormalRemap(std::uint32_t mode, std::uint32_t& count) const = 0;     // 97
  virtual std::uint32_t const* getUVRemap(std::uint32_t mode, std::uint32_t& count) const = 0;         // 98
  virtual std::uint32_t const* getAuxiliaryRemap(std::uint32_t mode, std::uint32_t& count) const = 0;  // 99
  virtual bool getBoundingBox(float& minX, float& minY, float& minZ, float& maxX, float& maxY,
                              float& maxZ) const = 0;  // 100

  // Whether an edge flag byte marks a boundary or a sharp edge.
  static bool isBoundarySharpEdge(unsigned char flags) { return (flags & 0x22) != 0; }
};

// The ladder of simplification steps over all meshes of a depot: step 0 is full resolution. Owned by the depot.
class IHierarchy {
 public:
  virtual void unusedSlot0() = 0;
  virtual void unusedSlot1() = 0;
  virtual void unusedSlot2() = 0;
  virtual void unusedSlot3() = 0;
  virtual std::uint32_t numSteps() const = 0;               // 4
  virtual std::uint32_t currentStep() const = 0;            // 5
  virtual void goToStep(std::uint32_t step) = 0;            // 6
  virtual void goToFaceCount(std::uint32_t faceCount) = 0;  // 7
};

// The container of all meshes that are simplified together.
class IMeshDepot {
 public:
  struct AttributeJoiningTolerances {
    float normalTolerance = 5.0F;  // degrees
    float uvTolerance = 0.0001F;   // per coordinate
  };

  virtual std::uint32_t createMesh() = 0;          // 0
  virtual std::uint32_t getNumMeshes() const = 0;  // 1
  virtual void unusedSlot2() = 0;
  virtual IMesh* getMesh(std::uint32_t index) const = 0;         // 3
  virtual void clear() = 0;                                      // 4
  virtual IHierarchy* buildHierarchy(float errorTolerance) = 0;  // 5
  virtual void setLockSurfaceBoundaries(bool on) = 0;            // 6
  virtual void unusedSlot7() = 0;
  virtual void setPreventUVFoldovers(bool on) = 0;  // 8
  virtual void unusedSlot9() = 0;
  virtual void setPreventXYFoldovers(bool on) = 0;  // 10
  virtual void unusedSlot11() = 0;
  virtual std::uint32_t joinVertices(int reserved, AttributeJoiningTolerances const& tolerances,
                                     float positionThreshold) = 0;  // 12
  virtual void unusedSlot13() = 0;
  virtual void unusedSlot14() = 0;
  virtual void unusedSlot15() = 0;
  virtual void unusedSlot16() = 0;
  virtual std::uint32_t eliminateTJunctions(float tolerance) = 0;  // 17
  virtual void unusedSlot18() = 0;
  virtual void unusedSlot19() = 0;
  virtual void unusedSlot20() = 0;
  virtual void unusedSlot21() = 0;
  virtual void prepareMeshes() = 0;  // 22

  static IMeshDepot* create();
  // A new depot filled from a mesh file, or null. The second argument is always null.
  static IMeshDepot* load(char const* path, char const* options);
  static void destroy(IMeshDepot* depot);
};

// The SDK itself: held while any depot is in use.
class IBalancerSDK {
 public:
  // A ready SDK object, or null when the SDK cannot start.
  static IBalancerSDK* initialize();
  static void release(IBalancerSDK* sdk);
};

}  // namespace ab
