// The driver of this project's engine, through the mesh SDK's interface: the whole ladder down to the coarsest mesh,
// then the step at the target. Adds the milliseconds of each stage of the first run.
#include "benchmarks/peers/driver.h"
#include "benchmarks/peers/engine_mesh.h"

namespace mirel::peers {
namespace {

class Stages {
 public:
  void end(char const* name) {
    double const now = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
    text_ += (text_.empty() ? "\"" : ", \"") + std::string(name) + "\": " + std::to_string(1e3 * (now - begin_));
    begin_ = now;
  }
  std::string text() const { return ", \"stages_ms\": {" + text_ + "}"; }

 private:
  double begin_ = seconds_on(CLOCK_PROCESS_CPUTIME_ID);
  std::string text_;
};

Output simplify(IndexedMesh const& input, std::uint32_t faces) {
  Stages stages;
  auto const [sdk, depot, mesh] = EngineMesh(input);
  stages.end("fill");
  depot->joinVertices(0, {}, 0);
  depot->prepareMeshes();
  stages.end("prepare");
  ab::IHierarchy* const ladder = depot->buildHierarchy(0);
  if (ladder == nullptr) fail("the engine builds no ladder");
  stages.end("ladder");
  ladder->goToFaceCount(faces);
  Output output;
  float const* const positions = mesh->getVertices();
  std::uint32_t const* const corners = mesh->getFaces();
  output.mesh.positions.assign(positions, positions + 3 * std::size_t{mesh->getNumVertices()});
  output.mesh.faces.assign(corners, corners + 3 * std::size_t{mesh->getNumFaces()});
  stages.end("move");
  output.notes = stages.text();
  ab::IMeshDepot::destroy(depot);
  ab::IBalancerSDK::release(sdk);
  return output;
}

}  // namespace
}  // namespace mirel::peers

int main(int argc, char** argv) {
  return mirel::peers::run_driver(argc, argv, MIREL_VERSION, mirel::peers::simplify);
}
