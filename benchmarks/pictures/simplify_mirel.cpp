#include <algorithm>

#include "benchmarks/peers/driver.h"
#include "benchmarks/pictures/simplifiers.h"
#include "src/balancer/balancer_sdk.h"

namespace mirel::pictures {

TexturedMesh reduce_with_mirel(TexturedMesh const& input, std::uint32_t faces, double* seconds) {
  ab::IBalancerSDK* const sdk = ab::IBalancerSDK::initialize();
  ab::IMeshDepot* const depot = ab::IMeshDepot::create();
  if (sdk == nullptr || depot == nullptr) peers::fail("the engine does not start");
  ab::IMesh* const mesh = depot->getMesh(depot->createMesh());
  for (std::size_t v = 0; v < input.positions.size(); v += 3) {
    mesh->addVertex(input.positions[v], input.positions[v + 1], input.positions[v + 2]);
  }
  mesh->setNumFaceSets(1 + *std::max_element(input.textures.begin(), input.textures.end()));
  for (std::size_t f = 0; f < input.textures.size(); ++f) {
    mesh->setCurrentFaceSet(input.textures[f]);
    mesh->addFace(input.faces[3 * f], input.faces[3 * f + 1], input.faces[3 * f + 2]);
  }
  if (!input.normals.empty()) mesh->setVertexNormals(input.normals.data(), input.vertex_count(), 3 * sizeof(float));
  if (!input.uvs.empty()) mesh->setVertexUVs(input.uvs.data(), input.vertex_count(), 2 * sizeof(float));
  depot->joinVertices(0, {0, 0}, 0);
  depot->prepareMeshes();
  double const begin = peers::seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  if (seconds != nullptr) *seconds = peers::seconds_on(CLOCK_PROCESS_CPUTIME_ID) - begin;
  if (ladder == nullptr) peers::fail("the engine builds no ladder");
  ladder->goToFaceCount(faces);
  TexturedMesh result;
  std::size_t const vertices = mesh->getNumVertices();
  result.positions.assign(mesh->getVertices(), mesh->getVertices() + 3 * vertices);
  if (!input.normals.empty()) result.normals.assign(mesh->getNormals(), mesh->getNormals() + 3 * vertices);
  if (!input.uvs.empty()) result.uvs.assign(mesh->getVertexUVs(), mesh->getVertexUVs() + 2 * vertices);
  result.faces.assign(mesh->getFaces(), mesh->getFaces() + 3 * std::size_t{mesh->getNumFaces()});
  for (std::uint32_t f = 0; f < mesh->getNumFaces(); ++f) {
    std::uint32_t set = 0;
    mesh->getFaceSetOfFace(f, set);
    result.textures.push_back(set);
  }
  ab::IMeshDepot::destroy(depot);
  ab::IBalancerSDK::release(sdk);
  return result;
}

}  // namespace mirel::pictures
