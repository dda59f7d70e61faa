#include "standalone/engine/ladder/step_deviation.h"

#include <algorithm>
#include <utility>

#include "standalone/engine/deviation/hausdorff.h"

namespace mirel::engine {

namespace {

constexpr double kAccuracy = 0.05;
// Of the diagonal: about as fine as the coordinates are. Flat regions would be cut without end otherwise.
constexpr double kFinest = 1e-7;
// Of the largest coordinate: more than the rounding of a distance.
constexpr double kRounding = 1e-13;
// For each mesh and direction. A million faces and their tenth take four million.
constexpr std::uint64_t kMostQueries = 30'000'000;

}  // namespace

StepDeviation::StepDeviation(Ladder& ladder, std::uint32_t step) {
  if (step == 0) return;
  std::vector<WedgeMesh> left;
  bool vanished = false;
  for (std::uint32_t mesh = 0; mesh < ladder.mesh_count(); ++mesh) {
    WedgeMesh before;
    WedgeMesh after;
    ladder.read(mesh, 0, before);
    ladder.read(mesh, step, after);
    // A step takes faces from every mesh that it changes.
    if (after.face_count() < before.face_count()) {
      changes_.push_back({{std::move(before.vertices), std::move(before.faces)}, {after.vertices, after.faces}});
      vanished |= after.faces.empty();
    }
    left.push_back(std::move(after));
  }
  if (!vanished) return;
  for (WedgeMesh const& mesh : left) {
    auto const first = static_cast<std::uint32_t>(rest_.positions.size() / 3);
    rest_.positions.insert(rest_.positions.end(), mesh.vertices.begin(), mesh.vertices.end());
    for (std::uint32_t const corner : mesh.faces) rest_.faces.push_back(first + corner);
  }
}

double StepDeviation::bound() const {
  DistanceOptions options;
  options.relative_accuracy = kAccuracy;
  options.max_queries = kMostQueries;
  options.only_larger = true;
  TriangleBvh const rest(rest_.positions, rest_.faces);
  double upper = 0;
  for (auto const& [before, after] : changes_) {
    TriangleBvh const original(before.positions, before.faces);
    options.absolute_accuracy = kFinest * original.diagonal();
    double const rounding = kRounding * original.largest_coordinate();
    if (after.faces.empty()) {
      DistanceBounds const bounds = one_sided_distance(original, rest, options);
      options.least = std::max(options.least, bounds.lower);
      upper = std::max(upper, bounds.upper + rounding);
      continue;
    }
    HausdorffBounds const bounds = hausdorff_distance(original, TriangleBvh(after.positions, after.faces), options);
    options.least = std::max(options.least, bounds.lower());
    upper = std::max(upper, bounds.upper() + rounding);
  }
  return upper;
}

}  // namespace mirel::engine
