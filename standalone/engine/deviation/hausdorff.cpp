#include "standalone/engine/deviation/hausdorff.h"

#include <cmath>
#include <limits>
#include <vector>

#include "standalone/engine/deviation/convex_piece.h"
#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {
namespace {

constexpr double kRounding = 1e-12;
constexpr std::uint32_t kCutsAlongEdges = 8;
// Triangles that are sampled before any is cut.
constexpr std::uint32_t kFirstSamples = 16384;

class OneSided {
 public:
  OneSided(TriangleBvh const& from, TriangleBvh const& to, DistanceOptions const& options)
      : from_(from),
        to_(to),
        options_(options),
        slack_(std::max(options.absolute_accuracy, 0.0) +
               kRounding * std::max(from.largest_coordinate(), to.largest_coordinate())) {}

  DistanceBounds run() {
    // Some corners and centres first: the better the lower bound, the less is left to cut.
    std::uint32_t hint = TriangleBvh::kNoSlot;
    std::uint32_t const stride = 1 + from_.size() / kFirstSamples;
    for (std::uint32_t slot = 0; slot < from_.size(); slot += stride) {
      Vec centre;
      for (std::uint32_t k = 0; k < 3; ++k) {
        Vec const corner = from_.corner(slot, k);
        centre = centre + (1.0 / 3) * corner;
        sample(corner, hint);
      }
      sample(centre, hint);
    }
    for (std::uint32_t slot = 0; slot < from_.size(); ++slot) bound_triangle(slot);
    result_.upper = std::max(result_.upper, result_.lower);
    return result_;
  }

 private:
  struct Task {
    ConvexPiece piece;
    double upper;  // inherited: no part is farther than the whole
    std::uint32_t hint;
    std::uint32_t cuts;  // that made it
  };

  // What a piece may reach without mattering any more.
  double goal() const {
    return std::max(result_.lower, options_.least) * (1 + std::max(options_.relative_accuracy, 0.0)) + slack_;
  }

  bool out_of_work() const { return options_.max_queries != 0 && queries_ >= options_.max_queries; }

  TriangleBvh::Nearest sample(Vec p, std::uint32_t& hint) {
    ++queries_;
    // Nearer than the lower bound is near enough: such a point cannot raise it.
    TriangleBvh::Nearest const nearest =
        to_.nearest(p, std::numeric_limits<double>::infinity(), std::max(result_.lower, options_.least), hint);
    hint = nearest.slot;
    raise(p, nearest.distance);
    return nearest;
  }

  void raise(Vec p, double distance) {
    if (!(distance > result_.lower)) return;
    result_.lower = distance;
    result_.farthest = {p.x, p.y, p.z};
  }

  void bound_triangle(std::uint32_t slot) {
    stack_.assign(1, {ConvexPiece::triangle(from_.corner(slot, 0), from_.corner(slot, 1), from_.corner(slot, 2)),
                      std::numeric_limits<double>::infinity(), hint_, 0});
    while (!stack_.empty()) {
      Task const task = stack_.back();
      stack_.pop_back();
      if (task.upper <= goal()) {
        result_.upper = std::max(result_.upper, task.upper);
        continue;
      }
      // Near one triangle at every corner is near it everywhere. Neighbours are mostly near the same one.
      if (task.hint != TriangleBvh::kNoSlot) {
        double const reach = goal();
        double squared = 0;
        for (std::uint32_t i = 0; i < task.piece.count && squared <= reach * reach; ++i) {
          squared = std::max(squared, to_.squared_distance(task.hint, task.piece.corners[i]));
        }
        if (squared <= reach * reach) {
          result_.upper = std::max(result_.upper, std::sqrt(squared));
          continue;
        }
      }
      Vec const centre = task.piece.centre();
      double const size = task.piece.radius_around(centre);
      ++queries_;
      // Near enough that the whole piece is within the goal is as good as nearest.
      TriangleBvh::Nearest const nearest =
          to_.nearest(centre, std::numeric_limits<double>::infinity(), std::max(goal() - size, 0.0), task.hint);
      hint_ = nearest.slot;
      if (nearest.distance > goal() - size) raise(centre, nearest.distance);
      double squared = -1;
      Vec beyond;
      for (std::uint32_t i = 0; i < task.piece.count; ++i) {
        double const d = to_.squared_distance(nearest.slot, task.piece.corners[i]);
        if (d > squared) {
          squared = d;
          beyond = task.piece.corners[i];
        }
      }
      double const upper = std::min({task.upper, nearest.distance + size, std::sqrt(squared)});
      if (upper <= goal() || out_of_work() || size <= slack_) {
        result_.upper = std::max(result_.upper, upper);
        continue;
      }
      Task first{{}, upper, nearest.slot, task.cuts + 1};
      Task second{{}, upper, nearest.slot, task.cuts + 1};
      TriangleFrame const frame(to_.corner(nearest.slot, 0), to_.corner(nearest.slot, 1), to_.corner(nearest.slot, 2));
      // Cuts along edges alone may take slice after slice and leave a piece as long as it was.
      bool const halve = task.cuts >= kCutsAlongEdges && task.cuts % 2 == 0;
      if (halve || !cut_along_edge(task.piece, frame, beyond, first.piece, second.piece)) {
        task.piece.bisect(first.piece, second.piece);
      }
      stack_.push_back(first);
      stack_.push_back(second);
    }
  }

  TriangleBvh const& from_;
  TriangleBvh const& to_;
  DistanceOptions const& options_;
  double slack_;
  DistanceBounds result_;
  std::uint64_t queries_ = 0;
  std::uint32_t hint_ = TriangleBvh::kNoSlot;
  std::vector<Task> stack_;
};

}  // namespace

DistanceBounds one_sided_distance(TriangleBvh const& from, TriangleBvh const& to, DistanceOptions const& options) {
  if (from.size() == 0) return {};
  if (to.size() == 0) {
    double const far = std::numeric_limits<double>::infinity();
    Vec const corner = from.corner(0, 0);
    return {far, far, {corner.x, corner.y, corner.z}};
  }
  return OneSided(from, to, options).run();
}

HausdorffBounds hausdorff_distance(TriangleBvh const& first, TriangleBvh const& second,
                                   DistanceOptions const& options) {
  DistanceOptions back = options;
  DistanceBounds const there = one_sided_distance(first, second, options);
  if (options.only_larger) back.least = std::max(back.least, there.lower);
  return {there, one_sided_distance(second, first, back)};
}

}  // namespace mirel::engine
