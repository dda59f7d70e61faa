// The symbols of libbalancer.so: the mesh SDK's static functions and the host's C functions. They are the whole of
// what the library exports; no exception leaves one of them.

#pragma GCC visibility push(default)
#include "src/balancer/balancer_sdk.h"
#include "standalone/engine/mirel_engine.h"
#pragma GCC visibility pop

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "standalone/engine/ladder/step_deviation.h"
#include "standalone/engine/obj/obj_reader.h"
#include "standalone/engine/sdk/live_objects.h"
#include "standalone/engine/sdk/mesh_depot.h"

namespace mirel::engine {

LiveObjects& live_objects() {
  static auto* const objects = new LiveObjects;
  return *objects;
}

namespace {

constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

MeshDepot* newest_depot() {
  auto const& depots = live_objects().depots;
  return depots.empty() ? nullptr : depots.back().depot;
}

Mesh* mesh_of_newest_depot(std::uint32_t mesh) {
  MeshDepot* const depot = newest_depot();
  return depot == nullptr ? nullptr : depot->mesh(mesh);
}

Ladder* current_ladder() {
  MeshDepot* const depot = newest_depot();
  return depot == nullptr ? nullptr : depot->ladder();
}

MeshDepot* enlist(std::unique_ptr<MeshDepot> depot) {
  LiveObjects& objects = live_objects();
  objects.depots.push_back({depot.get(), objects.next_serial++});
  return depot.release();
}

// Calls visit with the three positions of each face whose corners are three different, finite places.
template <typename Visit>
void visit_usable_faces(uint32_t mesh, Visit visit) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  float const* const vertices = m == nullptr ? nullptr : m->getVertices();
  uint32_t const* const faces = m == nullptr ? nullptr : m->getFaces();
  if (vertices == nullptr || faces == nullptr) {
    return;
  }
  auto const finite = [](float const* p) { return std::all_of(p, p + 3, [](float x) { return std::isfinite(x); }); };
  auto const same = [](float const* a, float const* b) { return std::equal(a, a + 3, b); };
  for (std::size_t face = 0; face < m->getNumFaces(); ++face) {
    float const* const a = vertices + std::size_t{faces[face * 3]} * 3;
    float const* const b = vertices + std::size_t{faces[face * 3 + 1]} * 3;
    float const* const c = vertices + std::size_t{faces[face * 3 + 2]} * 3;
    if (finite(a) && finite(b) && finite(c) && !same(a, b) && !same(b, c) && !same(c, a)) {
      visit(a, b, c);
    }
  }
}

}  // namespace
}  // namespace mirel::engine

namespace ab {

using mirel::engine::live_objects;
using mirel::engine::MeshDepot;

IBalancerSDK* IBalancerSDK::initialize() {
  try {
    auto sdk = std::make_unique<IBalancerSDK>();
    auto& objects = live_objects();
    objects.sdks.push_back({sdk.get(), objects.next_serial++});
    return sdk.release();
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

void IBalancerSDK::release(IBalancerSDK* sdk) {
  auto& objects = live_objects();
  auto const live =
      std::find_if(objects.sdks.begin(), objects.sdks.end(), [sdk](auto const& s) { return s.sdk == sdk; });
  if (live == objects.sdks.end()) {
    return;
  }
  std::uint64_t const serial = live->serial;
  objects.sdks.erase(live);
  delete sdk;
  while (!objects.depots.empty() && objects.depots.back().serial > serial) {
    delete objects.depots.back().depot;
    objects.depots.pop_back();
  }
}

IMeshDepot* IMeshDepot::create() {
  try {
    return mirel::engine::enlist(std::make_unique<MeshDepot>());
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

IMeshDepot* IMeshDepot::load(char const* path, char const* /*options*/) {
  auto& error = live_objects().load_error;
  try {
    error.clear();
    if (path == nullptr) {
      error = "no file was named";
      return nullptr;
    }
    mirel::engine::ObjResult result = mirel::engine::read_obj(path);
    if (!result.file) {
      error = std::move(result.error);
      return nullptr;
    }
    return mirel::engine::enlist(std::make_unique<MeshDepot>(std::move(*result.file)));
  } catch (std::bad_alloc const&) {
    error = "out of memory";
    return nullptr;
  }
}

void IMeshDepot::destroy(IMeshDepot* depot) {
  auto& depots = live_objects().depots;
  auto const live = std::find_if(depots.begin(), depots.end(), [depot](auto const& d) { return d.depot == depot; });
  if (live != depots.end()) {
    delete live->depot;
    depots.erase(live);
  }
}

}  // namespace ab

using namespace mirel::engine;

uint32_t mirel_engine_mesh_count(void) {
  MeshDepot const* const depot = newest_depot();
  return depot == nullptr ? 0 : depot->getNumMeshes();
}

char const* mirel_engine_mesh_name(uint32_t mesh) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  return m == nullptr ? "" : m->name().c_str();
}

uint32_t mirel_engine_vertex_count(uint32_t mesh) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  return m == nullptr ? 0 : m->distinct_position_count();
}

uint32_t mirel_engine_usable_face_count(uint32_t mesh) {
  uint32_t usable = 0;
  visit_usable_faces(mesh, [&](float const*, float const*, float const*) { ++usable; });
  return usable;
}

int mirel_engine_bounds(uint32_t mesh, float bounds[6]) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  float box[6];
  if (m == nullptr || bounds == nullptr || !m->getBoundingBox(box[0], box[1], box[2], box[3], box[4], box[5])) {
    return 0;
  }
  std::copy_n(box, 6, bounds);
  return 1;
}

int mirel_engine_placed_bounds(uint32_t mesh, double const transform[16], double bounds[6]) {
  if (transform == nullptr || bounds == nullptr) {
    return 0;
  }
  constexpr double kFar = std::numeric_limits<double>::infinity();
  double box[6] = {kFar, kFar, kFar, -kFar, -kFar, -kFar};
  auto const add = [&](float const* point) {
    for (int axis = 0; axis < 3; ++axis) {
      double place = transform[12 + axis];
      for (int column = 0; column < 3; ++column) {
        place += transform[column * 4 + axis] * static_cast<double>(point[column]);
      }
      box[axis] = std::min(box[axis], place);
      box[3 + axis] = std::max(box[3 + axis], place);
    }
  };
  visit_usable_faces(mesh, [&](float const* a, float const* b, float const* c) {
    add(a);
    add(b);
    add(c);
  });
  if (box[0] > box[3]) {
    return 0;
  }
  std::copy_n(box, 6, bounds);
  return 1;
}

uint32_t mirel_engine_face_count_at(uint32_t step) {
  Ladder const* const ladder = current_ladder();
  return ladder == nullptr ? 0 : ladder->face_count(std::min(step, ladder->step_count()));
}

float const* mirel_engine_positions(uint32_t mesh, uint32_t* count) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  float const* const positions = m == nullptr ? nullptr : m->getVertices();
  if (count != nullptr) {
    *count = positions == nullptr ? 0 : m->getNumVertices();
  }
  return positions;
}

uint32_t const* mirel_engine_faces(uint32_t mesh, uint32_t* count) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  uint32_t const* const faces = m == nullptr ? nullptr : m->getFaces();
  if (count != nullptr) {
    *count = faces == nullptr ? 0 : m->getNumFaces();
  }
  return faces;
}

float const* mirel_engine_corner_uvs(uint32_t mesh) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  return m == nullptr ? nullptr : m->corner_uvs();
}

float const* mirel_engine_corner_normals(uint32_t mesh) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  return m == nullptr ? nullptr : m->corner_normals();
}

unsigned char const* mirel_engine_corner_edge_kinds(uint32_t mesh) {
  Mesh const* const m = mesh_of_newest_depot(mesh);
  return m == nullptr ? nullptr : m->corner_edge_kinds();
}

double mirel_engine_deviation_bound(uint32_t step) {
  MeshDepot* const depot = newest_depot();
  try {
    return depot == nullptr ? kNotKnown : depot->deviation_bound(step);
  } catch (std::bad_alloc const&) {
    return kNotKnown;
  }
}

double mirel_engine_known_deviation_bound(uint32_t step) {
  MeshDepot const* const depot = newest_depot();
  return depot == nullptr ? kNotKnown : depot->known_deviation_bound(step);
}

struct MirelMeasurement {
  StepDeviation deviation;
};

MirelMeasurement* mirel_engine_measurement_begin(uint32_t step) {
  Ladder* const ladder = current_ladder();
  try {
    return ladder == nullptr ? nullptr : new MirelMeasurement{StepDeviation(*ladder, step)};
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

double mirel_engine_measurement_run(MirelMeasurement const* measurement) {
  try {
    return measurement == nullptr ? kNotKnown : measurement->deviation.bound();
  } catch (std::bad_alloc const&) {
    return kNotKnown;
  }
}

void mirel_engine_measurement_end(MirelMeasurement* measurement) {
  delete measurement;
}

void mirel_engine_ladder_end(MirelLadderEnd* result) {
  if (result == nullptr) {
    return;
  }
  Ladder const* const ladder = current_ladder();
  LadderEnd const end = ladder == nullptr ? LadderEnd() : ladder->end();
  *result = {end.tolerance, end.locked_boundary, end.foldover, end.topology};
}

void mirel_engine_live_objects(MirelLiveObjects* result) {
  if (result == nullptr) {
    return;
  }
  LiveObjects const& objects = live_objects();
  *result = {};
  result->sdks = static_cast<uint32_t>(objects.sdks.size());
  result->depots = static_cast<uint32_t>(objects.depots.size());
  for (LiveDepot const& depot : objects.depots) {
    result->meshes += depot.depot->getNumMeshes();
  }
  result->ladders = static_cast<uint32_t>(std::count_if(objects.hierarchies.begin(), objects.hierarchies.end(),
                                                        [](Hierarchy const* h) { return h->ladder() != nullptr; }));
}

char const* mirel_engine_load_error(void) {
  return live_objects().load_error.c_str();
}
