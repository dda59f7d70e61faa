// Random calls in random order, with arguments good and bad: nothing crashes, and what is promised of meshes and
// ladders holds after each call. MIREL_RANDOM_SEEDS=FIRST:COUNT takes other seeds, or more of them.
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <random>

#include "standalone/engine/prepare/validate.h"
#include "tests/unit/sdk/kinds.h"

namespace mirel::engine {
namespace {

class RandomCalls {
 public:
  explicit RandomCalls(std::uint32_t seed) : random_(seed), depot_(ab::IMeshDepot::create()) {}
  ~RandomCalls() {
    ab::IMeshDepot::destroy(depot_);
    for (ab::IHierarchy* const ladder : ladders_) {
      expect_ended(*ladder);
    }
  }
  RandomCalls(RandomCalls const&) = delete;
  RandomCalls& operator=(RandomCalls const&) = delete;

  void run(std::uint32_t calls) {
    scale_ = pick({1.0F, 1.0F, 1.0F, 1e-30F, 1e30F, 1e-38F, 1e37F, 3.4e38F});
    offset_ = pick({0.0F, 0.0F, 0.0F, 1e6F, -1e9F});
    for (std::uint32_t i = 0; i < 1 + below(3); ++i) {
      add_mesh();
    }
    for (std::uint32_t i = 0; i < calls; ++i) {
      call();
      check();
      if (testing::Test::HasFailure()) {
        return;
      }
    }
  }

 private:
  std::uint32_t below(std::uint32_t count) { return static_cast<std::uint32_t>(random_()) % count; }
  float pick(std::vector<float> const& values) { return values[below(static_cast<std::uint32_t>(values.size()))]; }

  float coordinate() {
    if (below(200) == 0) {
      float const inf = std::numeric_limits<float>::infinity();
      return pick({std::numeric_limits<float>::quiet_NaN(), inf, -inf, -0.0F, 3.4028235e38F, -3.4028235e38F, 1e-45F});
    }
    // On a coarse grid, so that many points coincide or lie on a line.
    float const x = static_cast<float>(static_cast<int>(below(9)) - 4) / 4;
    return (x + (below(3) == 0 ? static_cast<float>(below(1000)) * 1e-6F : 0)) * scale_ + offset_;
  }
  float tolerance() {
    return pick({0, 0, -1, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 1e-6F,
                 0.01F, 0.1F, 5, 200}) *
           (below(2) == 0 ? scale_ : 1);
  }
  // Mostly below `count`.
  std::uint32_t index(std::uint32_t count) { return below(20) == 0 ? pick_number() : count == 0 ? 0 : below(count); }
  std::uint32_t pick_number() { return std::array{0U, 1U, 7U, 1000000U, 0x7FFFFFFFU, 0xFFFFFFFEU, kNoIndex}[below(7)]; }

  ab::IMesh* some_mesh() { return depot_->getMesh(below(std::max(depot_->getNumMeshes(), 1U))); }

  void add_mesh() {
    std::uint32_t const place = depot_->createMesh();
    ASSERT_EQ(place, depot_->getNumMeshes() - 1);
    ab::IMesh* const mesh = depot_->getMesh(place);
    addresses_.push_back(mesh);
    std::vector<MeshKind> const kinds = mesh_kinds();
    std::uint32_t const kind = below(static_cast<std::uint32_t>(kinds.size()) + 6);
    if (kind < kinds.size()) {
      kinds[kind].fill(*mesh);
    } else if (kind < kinds.size() + 5) {
      add_soup(*mesh, below(60), below(120));
    }
  }

  void add_soup(ab::IMesh& mesh, std::uint32_t vertices, std::uint32_t faces) {
    mesh.setNumFaceSets(below(4));
    for (std::uint32_t i = 0; i < vertices; ++i) {
      mesh.addVertex(coordinate(), coordinate(), below(2) == 0 ? offset_ : coordinate());
    }
    for (std::uint32_t i = 0; i < faces; ++i) {
      change_build_form(mesh, 2);
      std::uint32_t const count = mesh.getNumVertices();
      if (count > 0) {
        mesh.addFace(below(count), below(count), below(count));
      }
    }
    if (below(2) == 0) {
      change_build_form(mesh, 5);
      change_build_form(mesh, 6);
    }
  }

  void change_build_form(ab::IMesh& mesh, std::uint32_t what) {
    std::uint32_t const vertices = mesh.getNumVertices();
    std::uint32_t const faces = mesh.getNumFaces();
    switch (what) {
      case 0:
        mesh.addVertex(coordinate(), coordinate(), coordinate());
        break;
      case 1:
        mesh.addFace(index(vertices), index(vertices), index(vertices));
        break;
      case 2:
        mesh.setCurrentFaceSet(index(4));
        break;
      case 3:
        mesh.addNormal(coordinate(), coordinate(), coordinate());
        mesh.setFaceNormalIndices(index(faces), index(mesh.getNumNormals()), index(mesh.getNumNormals()), 0);
        break;
      case 4:
        mesh.addUV(coordinate(), coordinate());
        mesh.setFaceUVIndices(index(faces), index(mesh.getNumCornerUVs()), index(mesh.getNumCornerUVs()), 0);
        break;
      case 5:
      case 6: {
        std::uint32_t const count = below(10) == 0 ? below(50) : vertices;
        std::vector<float> values(std::size_t{count} * 3 + 3);
        for (float& value : values) {
          value = coordinate();
        }
        if (what == 5) {
          mesh.setVertexNormals(values.data(), count, below(10) == 0 ? 8 : 12);
          mesh.addNormals(values.data(), below(count + 1));
        } else {
          mesh.setVertexUVs(values.data(), count, below(10) == 0 ? 4 : 8);
          mesh.addUVs(values.data(), below(count + 1));
        }
        break;
      }
      case 7:
        mesh.setNumFaceSets(below(30) == 0 ? pick_number() : below(5));
        break;
      default:
        mesh.setVertexNormals(nullptr, vertices, 12);
        mesh.setVertexUVs(nullptr, vertices, 8);
        mesh.addNormals(nullptr, 3);
        mesh.addUVs(nullptr, 3);
    }
  }

  void remove_attributes(ab::IMesh& mesh) {
    switch (below(4)) {
      case 0:
        return mesh.removeVertexNormals();
      case 1:
        return mesh.removeIndexedNormals();
      case 2:
        return mesh.removeVertexUVs();
      default:
        return mesh.removeCornerUVs();
    }
  }

  void call() {
    ab::IMesh* const mesh = some_mesh();
    switch (below(24)) {
      case 0:
        return below(3) == 0 ? add_mesh() : void();
      case 1:
      case 2:
      case 3:
      case 4:
        return mesh == nullptr ? void() : change_build_form(*mesh, below(9));
      case 5:
        return mesh == nullptr ? void() : remove_attributes(*mesh);
      case 6:
      case 7:
        depot_->prepareMeshes();
        return expect_same_after([this] { depot_->prepareMeshes(); });
      case 8:
      case 9: {
        ab::IMeshDepot::AttributeJoiningTolerances tolerances;
        tolerances.normalTolerance = tolerance();
        tolerances.uvTolerance = tolerance();
        float const threshold = tolerance();
        depot_->joinVertices(0, tolerances, threshold);
        return expect_same_after([&] { EXPECT_EQ(depot_->joinVertices(0, tolerances, threshold), 0U); });
      }
      case 10:
        depot_->eliminateTJunctions(tolerance());
        return;
      case 11:
        depot_->setLockSurfaceBoundaries(below(2) == 0);
        depot_->setPreventUVFoldovers(below(4) == 0);
        depot_->setPreventXYFoldovers(below(4) == 0);
        return;
      case 12:
      case 13:
      case 14:
        return build();
      case 15:
        return below(10) == 0 ? clear() : void();
      case 16:
        for (ab::IHierarchy* const ladder : ladders_) {
          ladder->goToStep(pick_number());
          ladder->goToFaceCount(pick_number());
        }
        return;
      default:
        return move();
    }
  }

  void build() {
    ab::IHierarchy* const ladder = depot_->buildHierarchy(below(3) == 0 ? tolerance() : 0);
    ASSERT_NE(ladder, nullptr);
    EXPECT_EQ(ladder->currentStep(), 0U);
    EXPECT_EQ(std::count(ladders_.begin(), ladders_.end(), ladder), 0);
    ladders_.push_back(ladder);
    std::vector<Reading> const full = read_all();
    std::uint32_t last_faces = face_count();
    for (std::uint32_t step = 0; step <= ladder->numSteps(); ++step) {
      EXPECT_LE(mirel_engine_face_count_at(step), last_faces) << "at step " << step;
      last_faces = mirel_engine_face_count_at(step);
    }
    std::uint32_t const some = below(ladder->numSteps() + 1);
    ladder->goToStep(some);
    std::vector<Reading> const coarse = read_all();
    ladder->goToStep(below(ladder->numSteps() + 1));
    if (below(2) == 0) {
      read_all();
    }
    if (below(3) == 0) {  // built again from a coarse step, it is the same
      depot_->prepareMeshes();
      EXPECT_EQ(read_all(), full);
    } else {
      ladder->goToStep(0);
      EXPECT_EQ(read_all(), full);
      ladder->goToStep(some);
      EXPECT_EQ(read_all(), coarse);
    }
  }

  void clear() {
    depot_->clear();
    addresses_.clear();
    EXPECT_EQ(depot_->getNumMeshes(), 0U);
    for (ab::IHierarchy* const ladder : ladders_) {
      expect_ended(*ladder);
    }
  }

  void move() {
    if (ladders_.empty()) {
      return;
    }
    ab::IHierarchy& ladder = *ladders_.back();
    std::uint32_t const last = ladder.numSteps();
    if (below(2) == 0) {
      std::uint32_t const step = below(20) == 0 ? pick_number() : below(last + 1);
      ladder.goToStep(step);
      EXPECT_EQ(ladder.currentStep(), std::min(step, last));
      return;
    }
    std::uint32_t const faces = index(mirel_engine_face_count_at(0) + 2);
    ladder.goToFaceCount(faces);
    if (last == 0) {
      EXPECT_EQ(ladder.currentStep(), 0U);
    } else {
      std::uint32_t const step = ladder.currentStep();
      EXPECT_TRUE(mirel_engine_face_count_at(step) <= faces || step == last);
      EXPECT_TRUE(step == 0 || mirel_engine_face_count_at(step - 1) > faces);
    }
  }

  std::vector<Reading> read_all() {
    std::vector<Reading> readings;
    for (std::uint32_t m = 0; m < depot_->getNumMeshes(); ++m) {
      readings.push_back(read(*depot_->getMesh(m)));
      // NaN is never equal to itself.
      for (auto* list : {&readings.back().vertices, &readings.back().normals, &readings.back().uvs}) {
        for (float& value : *list) {
          value = std::isnan(value) ? 12345.0F : value;
        }
      }
    }
    return readings;
  }

  std::uint32_t face_count() {
    std::uint32_t faces = 0;
    for (std::uint32_t m = 0; m < depot_->getNumMeshes(); ++m) {
      faces += depot_->getMesh(m)->getNumFaces();
    }
    return faces;
  }

  template <class Call>
  void expect_same_after(Call call) {
    std::vector<Reading> const before = read_all();
    call();
    EXPECT_EQ(read_all(), before);
  }

  static void expect_ended(ab::IHierarchy& ladder) {
    ladder.goToStep(1);
    ladder.goToFaceCount(1);
    EXPECT_EQ(ladder.numSteps(), 0U);
    EXPECT_EQ(ladder.currentStep(), 0U);
  }

  void check() {
    ASSERT_EQ(depot_->getNumMeshes(), addresses_.size());
    EXPECT_EQ(depot_->getMesh(depot_->getNumMeshes()), nullptr);
    for (std::size_t i = 0; i + 1 < ladders_.size(); ++i) {
      EXPECT_EQ(ladders_[i]->numSteps(), 0U);
    }
    for (std::uint32_t m = 0; m < depot_->getNumMeshes(); ++m) {
      ab::IMesh const& mesh = *depot_->getMesh(m);
      ASSERT_EQ(&mesh, addresses_[m]);
      float const* const vertices = mesh.getVertices();
      std::uint32_t const* const faces = mesh.getFaces();
      Reading const r = read(mesh);
      EXPECT_EQ(mesh.getVertices(), vertices);
      EXPECT_EQ(mesh.getFaces(), faces);
      read_beyond(mesh);
      std::string const fault = joined(mesh) ? validate(wedges_of(mesh, r)) : "";
      EXPECT_EQ(fault, "");
    }
  }

  // Only a mesh that is no longer in build form refuses UVs.
  static bool joined(ab::IMesh const& mesh) {
    ab::IMesh& changeable = const_cast<ab::IMesh&>(mesh);
    return changeable.addUV(0, 0) == kNoIndex;
  }

  static WedgeMesh wedges_of(ab::IMesh const& mesh, Reading const& r) {
    WedgeMesh wedges;
    wedges.vertices = r.vertices;
    wedges.normals = r.normals;
    wedges.uvs = r.uvs;
    wedges.position_of = r.remaps[2];
    wedges.position_count = r.remap_counts[2];
    wedges.faces = r.faces;
    wedges.set_begin = {0};
    for (std::uint32_t s = 0; s < std::max(mesh.getNumFaceSets(), 1U); ++s) {
      std::uint32_t const faces = mesh.getNumFaceSets() == 0 ? mesh.getNumFaces() : mesh.numFacesInSet(s);
      wedges.set_begin.push_back(wedges.set_begin.back() + faces);
    }
    return wedges;
  }

  void read_beyond(ab::IMesh const& mesh) {
    std::uint32_t const number = pick_number();
    Three abc{};
    float xyz[3];
    unsigned char flags[3];
    std::uint32_t count = 0;
    mesh.getVertexPosition(number, xyz[0], xyz[1], xyz[2]);
    mesh.getFace(number, abc[0], abc[1], abc[2]);
    mesh.getUV(number, xyz[0], xyz[1]);
    mesh.getFaceUVIndices(number, abc[0], abc[1], abc[2]);
    mesh.getFaceEdgeFlags(number, flags[0], flags[1], flags[2]);
    mesh.getFaceSetOfFace(number, count);
    mesh.numFacesInSet(number);
    mesh.getFaceSetFaces(number);
    EXPECT_EQ(mesh.getMaterial(number) == nullptr, number >= mesh.getNumFaceSets());
    EXPECT_EQ(mesh.getVertexRemap(2, false, count), nullptr);
    EXPECT_EQ(mesh.getAuxiliaryRemap(1, count), nullptr);
    EXPECT_EQ(mesh.getAuxiliaryAttributes(), nullptr);
    EXPECT_EQ(mesh.hasVertexAttributes(), mesh.getNormals() != nullptr || mesh.hasVertexUVs());
    for (std::uint32_t const place : {0U, number}) {
      mirel_engine_corner_uvs(place);
      mirel_engine_corner_edge_kinds(place);
      mirel_engine_corner_normals(place);
      mirel_engine_vertex_count(place);
      mirel_engine_usable_face_count(place);
      mirel_engine_deviation_bound(place);
    }
  }

  std::mt19937 random_;
  ab::IMeshDepot* depot_;
  std::vector<ab::IMesh*> addresses_;
  std::vector<ab::IHierarchy*> ladders_;
  float scale_ = 1;
  float offset_ = 0;
};

TEST(RandomCallsTest, BreakNoPromise) {
  std::uint32_t first = 0;
  std::uint32_t count = 60;
  if (char const* const seeds = std::getenv("MIREL_RANDOM_SEEDS")) {
    char* end = nullptr;
    first = static_cast<std::uint32_t>(std::strtoul(seeds, &end, 10));
    count = *end == ':' ? static_cast<std::uint32_t>(std::strtoul(end + 1, nullptr, 10)) : 1;
  }
  for (std::uint32_t seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomCalls(seed).run(40);
    if (HasFailure()) {
      return;
    }
  }
}

}  // namespace
}  // namespace mirel::engine
