// A mesh SDK that only records: see recorder.h for how tests script and read it.
#include <cstdio>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "src/balancer/balancer_sdk.h"
#include "tests/conformance/recording_sdk/recorder.h"

namespace {

struct Script {
  std::string log;
  std::string taken;
  bool enabled = true;
  std::map<std::string, double> numbers;
  std::map<std::string, std::string> texts;
  std::map<std::string, std::vector<float>> floats;
  std::map<std::string, std::vector<std::uint32_t>> indices;
  std::map<std::string, std::string> exceptions;
  unsigned int sdkCount = 0;
  unsigned int depotCount = 0;
};

Script script;

std::string show(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}
std::string show(bool value) {
  return value ? "true" : "false";
}
std::string show(int value) {
  return std::to_string(value);
}
std::string show(std::uint32_t value) {
  return std::to_string(value);
}
std::string show(char const* value) {
  return value == nullptr ? "null" : value;
}
std::string show(std::string const& value) {
  return value;
}

// An array that was handed in.
struct Numbers {
  float const* values;
  std::size_t count;
};

std::string show(Numbers numbers) {
  std::string text = "[";
  for (std::size_t place = 0; place < numbers.count; ++place) {
    text += place == 0 ? "" : " ";
    text += show(numbers.values[place]);
  }
  text += ']';
  return text;
}

void addLine(std::string const& line) {
  if (script.enabled) {
    script.log += line;
    script.log += '\n';
  }
}

// The answer scripted for the object's operation, else for the operation, else null.
template <typename Value>
Value const* find(std::map<std::string, Value> const& answers, std::string const& object, char const* operation) {
  if (answers.empty()) {
    return nullptr;
  }
  auto found = answers.find(object + "." + operation);
  if (found == answers.end()) {
    found = answers.find(operation);
  }
  return found == answers.end() ? nullptr : &found->second;
}

template <typename... Arguments>
void recordCall(std::string const& object, bool isDead, char const* operation, Arguments... arguments) {
  if (script.enabled) {
    std::string line = (isDead ? "DEAD " : "") + object + "." + operation;
    ((line += " " + show(arguments)), ...);
    addLine(line);
  }
  if (std::string const* const text = find(script.exceptions, object, operation)) {
    if (text->empty()) {
      throw std::bad_alloc();
    }
    throw std::runtime_error(*text);
  }
}

double getNumber(std::string const& object, char const* operation, double otherwise) {
  double const* const number = find(script.numbers, object, operation);
  return number == nullptr ? otherwise : *number;
}

// What all recorded objects share: a name and the depot's fate.
class Recorded {
 protected:
  Recorded(std::string name, bool const& isDead) : name_(std::move(name)), isDead_(isDead) {}

  template <typename... Arguments>
  void record(char const* operation, Arguments... arguments) const {
    recordCall(name_, isDead_, operation, arguments...);
  }
  void recordUnused(unsigned int slot) const { record("unusedSlot", slot); }
  std::uint32_t number(char const* operation, std::uint32_t otherwise) const {
    return static_cast<std::uint32_t>(getNumber(name_, operation, otherwise));
  }
  bool flag(char const* operation, bool otherwise) const { return getNumber(name_, operation, otherwise) != 0; }
  float const* floats(char const* operation) const {
    auto const* const values = find(script.floats, name_, operation);
    return values == nullptr || values->empty() ? nullptr : values->data();
  }
  std::uint32_t const* indices(char const* operation) const {
    auto const* const values = find(script.indices, name_, operation);
    return values == nullptr || values->empty() ? nullptr : values->data();
  }
  // Answers for one argument of the operation alone, as OPERATION.ARGUMENT, go before those for all.
  std::uint32_t const* indicesOf(char const* operation, std::string const& argument) const {
    std::string const key = std::string(operation) + "." + argument;
    return find(script.indices, name_, key.c_str()) == nullptr ? indices(operation) : indices(key.c_str());
  }
  std::uint32_t numberOf(char const* operation, std::string const& argument, std::uint32_t otherwise) const {
    return number((std::string(operation) + "." + argument).c_str(), number(operation, otherwise));
  }
  char const* text(char const* operation, char const* otherwise) const {
    std::string const* const value = find(script.texts, name_, operation);
    return value == nullptr ? otherwise : value->c_str();
  }

  std::string const name_;
  bool const& isDead_;
};

class RecordedMaterial final : public ab::IMaterial, Recorded {
 public:
  RecordedMaterial(std::string name, bool const& isDead) : Recorded(std::move(name), isDead) {}

  Color const* getColor() const override {
    record("getColor");
    float const* const components = floats("getColor");
    if (components == nullptr) {
      return nullptr;
    }
    color_ = {components[0], components[1], components[2], components[3]};
    return &color_;
  }
  char const* getTexturePath() const override {
    record("getTexturePath");
    return text("getTexturePath", nullptr);
  }
  char const* getName() const override {
    record("getName");
    return text("getName", "material");
  }
  bool isDefault() const override {
    record("isDefault");
    return flag("isDefault", false);
  }
  char const* getTextureBasePath() const override {
    record("getTextureBasePath");
    return text("getTextureBasePath", "base");
  }
  void unusedSlot0() override { recordUnused(0); }
  void unusedSlot2() override { recordUnused(2); }
  void unusedSlot3() override { recordUnused(3); }
  void unusedSlot4() override { recordUnused(4); }
  void unusedSlot5() override { recordUnused(5); }
  void unusedSlot6() override { recordUnused(6); }
  void unusedSlot7() override { recordUnused(7); }
  void unusedSlot8() override { recordUnused(8); }
  void unusedSlot9() override { recordUnused(9); }
  void unusedSlot11() override { recordUnused(11); }

 private:
  mutable Color color_ = {};
};

// Each kind of element is numbered from a base of its own, so that an index of the wrong kind shows.
constexpr std::uint32_t kFirstVertex = 1000;
constexpr std::uint32_t kFirstNormal = 2000;
constexpr std::uint32_t kFirstUV = 3000;
constexpr std::uint32_t kFirstFace = 4000;

class RecordedMesh final : public ab::IMesh, Recorded {
 public:
  RecordedMesh(std::string name, bool const& isDead)
      : Recorded(name, isDead), defaultMaterial_(name + ".defaultMaterial", isDead) {}

  std::uint32_t getNumVertices() const override { return count("getNumVertices"); }
  std::uint32_t getNumFaces() const override { return count("getNumFaces"); }
  float const* getVertices() const override { return floatArray("getVertices"); }
  std::uint32_t const* getFaces() const override { return indexArray("getFaces"); }
  void getVertexPosition(std::uint32_t vertex, float& x, float& y, float& z) const override {
    record("getVertexPosition", vertex);
    float const* const positions = floats("getVertices");
    x = positions == nullptr ? 0 : positions[vertex * 3];
    y = positions == nullptr ? 0 : positions[vertex * 3 + 1];
    z = positions == nullptr ? 0 : positions[vertex * 3 + 2];
  }
  void getFace(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const override {
    record("getFace", face);
    readThree("getFaces", face, 0, a, b, c);
  }
  std::uint32_t addVertex(float x, float y, float z) override {
    record("addVertex", x, y, z);
    return number("addVertex", kFirstVertex + vertices_++);
  }
  std::uint32_t addFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
    record("addFace", a, b, c);
    return number("addFace", kFirstFace + faces_++);
  }
  bool hasVertexAttributes() const override { return boolean("hasVertexAttributes"); }
  float const* getNormals() const override { return floatArray("getNormals"); }
  void setVertexNormals(float const* normals, std::uint32_t count, std::uint32_t stride) override {
    record("setVertexNormals", count, stride, Numbers{normals, count * stride / sizeof(float)});
  }
  void removeVertexNormals() override { record("removeVertexNormals"); }
  void addNormals(float const* normals, std::uint32_t count) override {
    record("addNormals", count, Numbers{normals, count * 3});
  }
  std::uint32_t addNormal(float x, float y, float z) override {
    record("addNormal", x, y, z);
    return number("addNormal", kFirstNormal + normals_++);
  }
  std::uint32_t getNumNormals() const override { return count("getNumNormals"); }
  void setFaceNormalIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
    record("setFaceNormalIndices", face, a, b, c);
  }
  void removeIndexedNormals() override { record("removeIndexedNormals"); }
  bool hasVertexUVs() const override { return boolean("hasVertexUVs"); }
  float const* getVertexUVs() const override { return floatArray("getVertexUVs"); }
  void setVertexUVs(float const* uvs, std::uint32_t count, std::uint32_t stride) override {
    record("setVertexUVs", count, stride, Numbers{uvs, count * stride / sizeof(float)});
  }
  void removeVertexUVs() override { record("removeVertexUVs"); }
  bool hasCornerUVs() const override { return boolean("hasCornerUVs"); }
  void addUVs(float const* uvs, std::uint32_t count) override { record("addUVs", count, Numbers{uvs, count * 2}); }
  std::uint32_t addUV(float u, float v) override {
    record("addUV", u, v);
    return number("addUV", kFirstUV + uvs_++);
  }
  std::uint32_t getNumCornerUVs() const override { return count("getNumCornerUVs"); }
  void getUV(std::uint32_t uv, float& u, float& v) const override {
    record("getUV", uv);
    float const* const uvs = floats("getUV");
    u = uvs == nullptr ? 0 : uvs[uv * 2];
    v = uvs == nullptr ? 0 : uvs[uv * 2 + 1];
  }
  void setFaceUVIndices(std::uint32_t face, std::uint32_t a, std::uint32_t b, std::uint32_t c) override {
    record("setFaceUVIndices", face, a, b, c);
  }
  bool getFaceUVIndices(std::uint32_t face, std::uint32_t& a, std::uint32_t& b, std::uint32_t& c) const override {
    record("getFaceUVIndices", face);
    readThree("getFaceUVIndices", face, 0xFFFFFFFF, a, b, c);
    return flag("getFaceUVIndices", false);
  }
  void removeCornerUVs() override { record("removeCornerUVs"); }
  void const* getAuxiliaryAttributes() const override { return floatArray("getAuxiliaryAttributes"); }
  std::uint32_t getNumFaceSets() const override { return count("getNumFaceSets"); }
  std::uint32_t numFacesInSet(std::uint32_t set) const override {
    record("numFacesInSet", set);
    return numberOf("numFacesInSet", show(set), 0);
  }
  std::uint32_t const* getFaceSetFaces(std::uint32_t set) const override {
    record("getFaceSetFaces", set);
    return indicesOf("getFaceSetFaces", show(set));
  }
  void setNumFaceSets(std::uint32_t count) override { record("setNumFaceSets", count); }
  void setCurrentFaceSet(std::uint32_t set) override { record("setCurrentFaceSet", set); }
  void getFaceSetOfFace(std::uint32_t face, std::uint32_t& set) const override {
    record("getFaceSetOfFace", face);
    std::uint32_t const* const sets = indices("getFaceSetOfFace");
    set = sets == nullptr ? number("getFaceSetOfFace", 0) : sets[face];
  }
  ab::IMaterial* getMaterial(std::uint32_t set) const override {
    record("getMaterial", set);
    if (!flag("getMaterial", true)) {
      return nullptr;
    }
    while (materials_.size() <= set) {
      std::string const name = name_ + ".material" + std::to_string(materials_.size());
      materials_.push_back(std::make_unique<RecordedMaterial>(name, isDead_));
    }
    return materials_[set].get();
  }
  void getFaceEdgeFlags(std::uint32_t face, unsigned char& edge0, unsigned char& edge1,
                        unsigned char& edge2) const override {
    record("getFaceEdgeFlags", face);
    std::uint32_t flags[3];
    readThree("getFaceEdgeFlags", face, 0, flags[0], flags[1], flags[2]);
    edge0 = static_cast<unsigned char>(flags[0]);
    edge1 = static_cast<unsigned char>(flags[1]);
    edge2 = static_cast<unsigned char>(flags[2]);
  }
  ab::IMaterial* getDefaultMaterial() const override {
    record("getDefaultMaterial");
    return flag("getDefaultMaterial", true) ? &defaultMaterial_ : nullptr;
  }
  std::uint32_t const* getVertexRemap(std::uint32_t mode, bool splitByAttributes, std::uint32_t& count) const override {
    record("getVertexRemap", mode, splitByAttributes);
    count = number("getVertexRemap.count", 0);
    return indicesOf("getVertexRemap", show(mode));
  }
  std::uint32_t const* getNormalRemap(std::uint32_t mode, std::uint32_t& count) const override {
    record("getNormalRemap", mode);
    count = number("getNormalRemap.count", 0);
    return indices("getNormalRemap");
  }
  std::uint32_t const* getUVRemap(std::uint32_t mode, std::uint32_t& count) const override {
    record("getUVRemap", mode);
    count = number("getUVRemap.count", 0);
    return indices("getUVRemap");
  }
  std::uint32_t const* getAuxiliaryRemap(std::uint32_t mode, std::uint32_t& count) const override {
    record("getAuxiliaryRemap", mode);
    count = number("getAuxiliaryRemap.count", 0);
    return indices("getAuxiliaryRemap");
  }
  bool getBoundingBox(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ) const override {
    record("getBoundingBox");
    float const* const bounds = floats("getBoundingBox");
    float* const places[] = {&minX, &minY, &minZ, &maxX, &maxY, &maxZ};
    for (int place = 0; place < 6; ++place) {
      *places[place] = bounds == nullptr ? 0 : bounds[place];
    }
    return flag("getBoundingBox", bounds != nullptr);
  }
  void unusedSlot6() override { recordUnused(6); }
  void unusedSlot7() override { recordUnused(7); }
  void unusedSlot9() override { recordUnused(9); }
  void unusedSlot11() override { recordUnused(11); }
  void unusedSlot13() override { recordUnused(13); }
  void unusedSlot14() override { recordUnused(14); }
  void unusedSlot16() override { recordUnused(16); }
  void unusedSlot18() override { recordUnused(18); }
  void unusedSlot20() override { recordUnused(20); }
  void unusedSlot22() override { recordUnused(22); }
  void unusedSlot25() override { recordUnused(25); }
  void unusedSlot27() override { recordUnused(27); }
  void unusedSlot31() override { recordUnused(31); }
  void unusedSlot33() override { recordUnused(33); }
  void unusedSlot37() override { recordUnused(37); }
  void unusedSlot44() override { recordUnused(44); }
  void unusedSlot46() override { recordUnused(46); }
  void unusedSlot47() override { recordUnused(47); }
  void unusedSlot48() override { recordUnused(48); }
  void unusedSlot49() override { recordUnused(49); }
  void unusedSlot50() override { recordUnused(50); }
  void unusedSlot51() override { recordUnused(51); }
  void unusedSlot52() override { recordUnused(52); }
  void unusedSlot53() override { recordUnused(53); }
  void unusedSlot54() override { recordUnused(54); }
  void unusedSlot55() override { recordUnused(55); }
  void unusedSlot56() override { recordUnused(56); }
  void unusedSlot57() override { recordUnused(57); }
  void unusedSlot58() override { recordUnused(58); }
  void unusedSlot59() override { recordUnused(59); }
  void unusedSlot64() override { recordUnused(64); }
  void unusedSlot65() override { recordUnused(65); }
  void unusedSlot68() override { recordUnused(68); }
  void unusedSlot69() override { recordUnused(69); }
  void unusedSlot72() override { recordUnused(72); }
  void unusedSlot73() override { recordUnused(73); }
  void unusedSlot74() override { recordUnused(74); }
  void unusedSlot75() override { recordUnused(75); }
  void unusedSlot76() override { recordUnused(76); }
  void unusedSlot77() override { recordUnused(77); }
  void unusedSlot78() override { recordUnused(78); }
  void unusedSlot79() override { recordUnused(79); }
  void unusedSlot80() override { recordUnused(80); }
  void unusedSlot81() override { recordUnused(81); }
  void unusedSlot82() override { recordUnused(82); }
  void unusedSlot83() override { recordUnused(83); }
  void unusedSlot84() override { recordUnused(84); }
  void unusedSlot85() override { recordUnused(85); }
  void unusedSlot86() override { recordUnused(86); }
  void unusedSlot87() override { recordUnused(87); }
  void unusedSlot88() override { recordUnused(88); }
  void unusedSlot89() override { recordUnused(89); }
  void unusedSlot90() override { recordUnused(90); }
  void unusedSlot91() override { recordUnused(91); }
  void unusedSlot92() override { recordUnused(92); }
  void unusedSlot93() override { recordUnused(93); }
  void unusedSlot95() override { recordUnused(95); }

 private:
  std::uint32_t count(char const* operation) const {
    record(operation);
    return number(operation, 0);
  }
  bool boolean(char const* operation) const {
    record(operation);
    return flag(operation, false);
  }
  float const* floatArray(char const* operation) const {
    record(operation);
    return floats(operation);
  }
  std::uint32_t const* indexArray(char const* operation) const {
    record(operation);
    return indices(operation);
  }
  // Three entries per face of a scripted table.
  void readThree(char const* table, std::uint32_t face, std::uint32_t otherwise, std::uint32_t& a, std::uint32_t& b,
                 std::uint32_t& c) const {
    std::uint32_t const* const entries = indices(table);
    a = entries == nullptr ? otherwise : entries[face * 3];
    b = entries == nullptr ? otherwise : entries[face * 3 + 1];
    c = entries == nullptr ? otherwise : entries[face * 3 + 2];
  }

  std::uint32_t vertices_ = 0;
  std::uint32_t normals_ = 0;
  std::uint32_t uvs_ = 0;
  std::uint32_t faces_ = 0;
  mutable std::vector<std::unique_ptr<RecordedMaterial>> materials_;
  mutable RecordedMaterial defaultMaterial_;
};

constexpr std::uint32_t kDefaultSteps = 10;

class RecordedHierarchy final : public ab::IHierarchy, Recorded {
 public:
  // Not marked dead with its depot: the SDK only ends a ladder.
  explicit RecordedHierarchy(std::string name) : Recorded(std::move(name), kAlive) {}

  std::uint32_t numSteps() const override {
    record("numSteps");
    return number("numSteps", kDefaultSteps);
  }
  std::uint32_t currentStep() const override {
    record("currentStep");
    return number("currentStep", step_);
  }
  void goToStep(std::uint32_t step) override {
    record("goToStep", step);
    step_ = step;
  }
  void goToFaceCount(std::uint32_t faceCount) override { record("goToFaceCount", faceCount); }
  void unusedSlot0() override { recordUnused(0); }
  void unusedSlot1() override { recordUnused(1); }
  void unusedSlot2() override { recordUnused(2); }
  void unusedSlot3() override { recordUnused(3); }

 private:
  static constexpr bool kAlive = false;
  std::uint32_t step_ = 0;
};

class RecordedDepot final : public ab::IMeshDepot, Recorded {
 public:
  RecordedDepot(std::string name, std::uint32_t meshCount) : Recorded(std::move(name), isDestroyed) {
    while (meshes_.size() < meshCount) {
      addMesh();
    }
  }

  std::uint32_t createMesh() override {
    record("createMesh");
    if (number("createMesh", 0) == 0xFFFFFFFF) {
      return 0xFFFFFFFF;
    }
    addMesh();
    return static_cast<std::uint32_t>(meshes_.size() - 1);
  }
  std::uint32_t getNumMeshes() const override {
    record("getNumMeshes");
    return number("getNumMeshes", static_cast<std::uint32_t>(meshes_.size()));
  }
  ab::IMesh* getMesh(std::uint32_t index) const override {
    record("getMesh", index);
    return index < meshes_.size() && flag("getMesh", true) ? meshes_[index].get() : nullptr;
  }
  void clear() override { record("clear"); }
  ab::IHierarchy* buildHierarchy(float errorTolerance) override {
    record("buildHierarchy", errorTolerance);
    if (!flag("buildHierarchy", true)) {
      return nullptr;
    }
    std::string const name = name_ + ".hierarchy" + std::to_string(hierarchies_.size() + 1);
    hierarchies_.push_back(std::make_unique<RecordedHierarchy>(name));
    return hierarchies_.back().get();
  }
  void setLockSurfaceBoundaries(bool on) override { record("setLockSurfaceBoundaries", on); }
  void setPreventUVFoldovers(bool on) override { record("setPreventUVFoldovers", on); }
  void setPreventXYFoldovers(bool on) override { record("setPreventXYFoldovers", on); }
  std::uint32_t joinVertices(int reserved, AttributeJoiningTolerances const& tolerances,
                             float positionThreshold) override {
    record("joinVertices", reserved, tolerances.normalTolerance, tolerances.uvTolerance, positionThreshold);
    return number("joinVertices", 0);
  }
  std::uint32_t eliminateTJunctions(float tolerance) override {
    record("eliminateTJunctions", tolerance);
    return number("eliminateTJunctions", 0);
  }
  void prepareMeshes() override { record("prepareMeshes"); }
  void unusedSlot2() override { recordUnused(2); }
  void unusedSlot7() override { recordUnused(7); }
  void unusedSlot9() override { recordUnused(9); }
  void unusedSlot11() override { recordUnused(11); }
  void unusedSlot13() override { recordUnused(13); }
  void unusedSlot14() override { recordUnused(14); }
  void unusedSlot15() override { recordUnused(15); }
  void unusedSlot16() override { recordUnused(16); }
  void unusedSlot18() override { recordUnused(18); }
  void unusedSlot19() override { recordUnused(19); }
  void unusedSlot20() override { recordUnused(20); }
  void unusedSlot21() override { recordUnused(21); }

  std::string const& name() const { return name_; }

  bool isDestroyed = false;

 private:
  void addMesh() {
    std::string const name = name_ + ".mesh" + std::to_string(meshes_.size());
    meshes_.push_back(std::make_unique<RecordedMesh>(name, isDestroyed));
  }

  std::vector<std::unique_ptr<RecordedMesh>> meshes_;
  std::vector<std::unique_ptr<RecordedHierarchy>> hierarchies_;
};

struct RecordedSDK : ab::IBalancerSDK {
  explicit RecordedSDK(std::string name) : name(std::move(name)) {}
  std::string name;
  bool isReleased = false;
};

// Objects are kept for ever, so that a call on a destroyed one is seen and not a crash.
std::vector<std::unique_ptr<RecordedDepot>> depots;
std::vector<std::unique_ptr<RecordedSDK>> sdks;

ab::IMeshDepot* makeDepot(std::uint32_t meshCount) {
  depots.push_back(std::make_unique<RecordedDepot>("depot" + std::to_string(++script.depotCount), meshCount));
  return depots.back().get();
}

}  // namespace

namespace ab {

__attribute__((visibility("default"))) IMeshDepot* IMeshDepot::create() {
  recordCall("IMeshDepot", false, "create");
  return getNumber("IMeshDepot", "create", 1) == 0 ? nullptr : makeDepot(0);
}

__attribute__((visibility("default"))) IMeshDepot* IMeshDepot::load(char const* path, char const* options) {
  recordCall("IMeshDepot", false, "load", path, options);
  double const meshCount = getNumber("IMeshDepot", "load", 1);
  return meshCount < 0 ? nullptr : makeDepot(static_cast<std::uint32_t>(meshCount));
}

__attribute__((visibility("default"))) void IMeshDepot::destroy(IMeshDepot* depot) {
  RecordedDepot* const recorded = static_cast<RecordedDepot*>(depot);
  recordCall("IMeshDepot", recorded == nullptr || recorded->isDestroyed, "destroy",
             recorded == nullptr ? std::string("null") : recorded->name());
  if (recorded != nullptr) {
    recorded->isDestroyed = true;
  }
}

__attribute__((visibility("default"))) IBalancerSDK* IBalancerSDK::initialize() {
  recordCall("IBalancerSDK", false, "initialize");
  if (getNumber("IBalancerSDK", "initialize", 1) == 0) {
    return nullptr;
  }
  sdks.push_back(std::make_unique<RecordedSDK>("sdk" + std::to_string(++script.sdkCount)));
  return sdks.back().get();
}

__attribute__((visibility("default"))) void IBalancerSDK::release(IBalancerSDK* sdk) {
  RecordedSDK* const recorded = static_cast<RecordedSDK*>(sdk);
  recordCall("IBalancerSDK", recorded == nullptr || recorded->isReleased, "release",
             recorded == nullptr ? std::string("null") : recorded->name);
  if (recorded != nullptr) {
    recorded->isReleased = true;
  }
}

}  // namespace ab

#pragma GCC visibility push(default)

void recorder_reset() {
  script = Script();
}

void recorder_enable(int on) {
  script.enabled = on != 0;
}

void recorder_note(char const* line) {
  addLine(line);
}

char const* recorder_take_log() {
  script.taken = std::move(script.log);
  script.log.clear();
  return script.taken.c_str();
}

void recorder_answer(char const* key, double value) {
  script.numbers[key] = value;
}

void recorder_text(char const* key, char const* text) {
  script.texts.erase(key);
  if (text != nullptr) {
    script.texts[key] = text;
  }
}

void recorder_floats(char const* key, float const* values, std::uint32_t count) {
  script.floats[key] = values == nullptr ? std::vector<float>() : std::vector<float>(values, values + count);
}

void recorder_indices(char const* key, std::uint32_t const* values, std::uint32_t count) {
  script.indices[key] =
      values == nullptr ? std::vector<std::uint32_t>() : std::vector<std::uint32_t>(values, values + count);
}

void recorder_throw(char const* key, char const* text) {
  script.exceptions[key] = text == nullptr ? "" : text;
}

#pragma GCC visibility pop
