// An indexed mesh in the engine, through the mesh SDK's interface.
#pragma once

#include "benchmarks/peers/indexed_mesh.h"
#include "src/balancer/balancer_sdk.h"

namespace mirel::peers {

// Ends the program where the engine does not start. Whoever makes it destroys the depot and releases the SDK.
struct EngineMesh {
  ab::IBalancerSDK* sdk = ab::IBalancerSDK::initialize();
  ab::IMeshDepot* depot = ab::IMeshDepot::create();
  ab::IMesh* mesh = nullptr;

  explicit EngineMesh(IndexedMesh const& input) {
    if (sdk == nullptr || depot == nullptr) fail("the engine does not start");
    mesh = depot->getMesh(depot->createMesh());
    for (std::size_t v = 0; v < input.positions.size(); v += 3) {
      mesh->addVertex(input.positions[v], input.positions[v + 1], input.positions[v + 2]);
    }
    for (std::size_t f = 0; f < input.faces.size(); f += 3) {
      mesh->addFace(input.faces[f], input.faces[f + 1], input.faces[f + 2]);
    }
  }
};

}  // namespace mirel::peers
