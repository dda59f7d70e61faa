// The objects that the mesh SDK has handed out and that are alive.
//
// Handles come back from callers that may hold them too long, so nothing is taken for alive that is not listed here.
// Used from one thread only, as the SDK is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standalone/engine/sdk/mesh_depot.h"

namespace mirel::engine {

struct LiveSdk {
  ab::IBalancerSDK* sdk = nullptr;
  std::uint64_t serial = 0;  // of the making: depots made later have a higher one
};

struct LiveDepot {
  MeshDepot* depot = nullptr;
  std::uint64_t serial = 0;
};

struct LiveObjects {
  std::vector<LiveSdk> sdks;
  std::vector<LiveDepot> depots;
  std::vector<Hierarchy*> hierarchies;  // ended ones too: they are never freed
  std::uint64_t next_serial = 0;
  std::string load_error;  // of the last load
};

// Outlives every static of the process that could still hold a handle.
LiveObjects& live_objects();

}  // namespace mirel::engine
