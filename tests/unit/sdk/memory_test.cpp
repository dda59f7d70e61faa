// Memory that runs out at any place, once or for good: readers get null or 0 and nothing out of bounds, no exception
// leaves the SDK, and what is given back afterwards is all.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "tests/unit/sdk/kinds.h"

namespace {

// The allocations that still succeed; negative: all do.
long allocations_left = -1;
bool fails_for_good = false;
bool has_failed = false;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  if (allocations_left == 0) {
    has_failed = true;
    allocations_left = fails_for_good ? 0 : -1;
    throw std::bad_alloc();
  }
  allocations_left -= allocations_left > 0 ? 1 : 0;
  if (void* const memory = std::malloc(std::max<std::size_t>(size, 1))) {
    return memory;
  }
  throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace mirel::engine {
namespace {

// Reads all of a mesh without allocating anything. Whether all indices are in range and all tables there; tables for
// which there was no memory need not be.
bool reads_well(ab::IMesh const& mesh) {
  std::uint32_t const vertex_count = mesh.getNumVertices();
  std::uint32_t const face_count = mesh.getNumFaces();
  std::uint32_t const* const faces = mesh.getFaces();
  bool well = (mesh.getVertices() == nullptr) == (vertex_count == 0) && (faces == nullptr) == (face_count == 0);
  double sum = 0;  // so that every number is read
  auto const read_floats = [&](float const* values, std::size_t count) {
    for (std::size_t i = 0; values != nullptr && i < count; ++i) {
      sum += double{values[i]};
    }
  };
  auto const read_indices = [&](std::uint32_t const* table, std::size_t count, std::uint32_t end) {
    for (std::size_t i = 0; table != nullptr && i < count; ++i) {
      well = well && table[i] < end;
    }
  };
  read_floats(mesh.getVertices(), std::size_t{vertex_count} * 3);
  read_floats(mesh.getNormals(), std::size_t{vertex_count} * 3);
  read_floats(mesh.getVertexUVs(), std::size_t{vertex_count} * 2);
  read_indices(faces, std::size_t{face_count} * 3, vertex_count);
  std::uint32_t count = 0;
  for (std::uint32_t i = 0; i < 4; ++i) {
    std::uint32_t const* const table = mesh.getVertexRemap(i / 2, i % 2 != 0, count);
    read_indices(table, vertex_count, count);
  }
  std::uint32_t const* const normals = mesh.getNormalRemap(1, count);
  read_indices(normals, vertex_count, count);
  std::uint32_t const* const uvs = mesh.getUVRemap(1, count);
  read_indices(uvs, vertex_count, count);
  mesh.getNumNormals();
  for (std::uint32_t s = 0; s < mesh.getNumFaceSets(); ++s) {
    std::uint32_t const* const table = mesh.getFaceSetFaces(s);
    well = well && (table != nullptr || has_failed);
    read_indices(table, std::size_t{mesh.numFacesInSet(s)} * 3, vertex_count);
    mesh.getMaterial(s);
  }
  for (std::uint32_t f = 0; f < face_count; ++f) {
    unsigned char flags[3];
    mesh.getFaceEdgeFlags(f, flags[0], flags[1], flags[2]);
    mesh.getFaceSetOfFace(f, count);
    well = well && count < std::max(mesh.getNumFaceSets(), 1U);
  }
  read_floats(mirel_engine_corner_normals(0), std::size_t{face_count} * 9);
  read_floats(mirel_engine_corner_uvs(0), std::size_t{face_count} * 6);
  mirel_engine_corner_edge_kinds(0);
  return well && !std::isnan(sum);
}

// From the empty depot to the end of the ladder and back.
bool goes_all_the_way(MeshKind const& kind, bool fails_while_filling) {
  ab::IMeshDepot* const depot = ab::IMeshDepot::create();
  ab::IMesh* const mesh = depot == nullptr ? nullptr : depot->getMesh(depot->createMesh());
  bool well = true;
  if (mesh != nullptr) {
    long const left = allocations_left;
    if (!fails_while_filling) {
      allocations_left = -1;
    }
    kind.fill(*mesh);
    if (!fails_while_filling) {
      allocations_left = left;
    }
    well = reads_well(*mesh);
    depot->prepareMeshes();
    well = well && reads_well(*mesh);
    depot->joinVertices(0, {}, 0.001F);
    well = well && reads_well(*mesh);
    depot->eliminateTJunctions(0.1F);
    well = well && reads_well(*mesh);
    ab::IHierarchy* const ladder = depot->buildHierarchy(0);
    well = well && reads_well(*mesh);
    for (std::uint32_t const eighths : {4U, 8U, 1U, 0U}) {
      if (ladder != nullptr) {
        ladder->goToStep(ladder->numSteps() * eighths / 8);
        well = well && reads_well(*mesh);
      }
    }
  }
  ab::IMeshDepot::destroy(depot);
  return well;
}

TEST(Memory, MayRunOutAnywhere) {
  MirelLiveObjects before;
  mirel_engine_live_objects(&before);
  for (MeshKind const& kind : mesh_kinds()) {
    // The others are filled with the help of lists of the test's own.
    bool const captured = kind.name.rfind("captured", 0) == 0;
    for (bool const for_good : {false, true}) {
      long place = 0;
      do {
        has_failed = false;
        fails_for_good = for_good;
        allocations_left = place;
        bool well = false;
        bool thrown = false;
        try {
          well = goes_all_the_way(kind, captured);
        } catch (std::bad_alloc const&) {
          thrown = true;
        }
        allocations_left = -1;
        ASSERT_FALSE(thrown) << kind.name << ", allocation " << place;
        ASSERT_TRUE(well) << kind.name << ", allocation " << place;
        place += 23;
      } while (has_failed);
      EXPECT_GT(place, 100);
    }
  }
  MirelLiveObjects after;
  mirel_engine_live_objects(&after);
  EXPECT_EQ(after.depots, before.depots);
  EXPECT_EQ(after.ladders, before.ladders);
}

}  // namespace
}  // namespace mirel::engine
