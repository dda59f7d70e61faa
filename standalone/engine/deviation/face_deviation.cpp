#include "standalone/engine/deviation/face_deviation.h"

#include <algorithm>
#include <cmath>

namespace mirel::engine {
namespace {

// Parts of a face smaller than this part of the radius are given up: they are all but beyond it.
constexpr double kLeastPieceOfRadius = 1.0 / 64;
// How much farther than the old faces a new one may be, as part of the radius, to be taken by comparison with them
// alone, and what that comparison may cost for each old face. Beyond it the tree is quicker, and its answer leaves more
// room for later changes.
constexpr double kStepOfRadius = 1.0 / 16;
constexpr std::int64_t kStepBudget = 32;
constexpr std::int64_t kStepBudgetPerFace = 8;
constexpr std::int64_t kCostOfTreeQuery = 32;

}  // namespace

double FaceDeviation::measure(std::size_t j, double r) {
  std::array<Vec, 3> const face = loaded(question_.changed()[j].corners);
  double const stepped = from_before(face, r);
  return stepped < kBeyond ? stepped : from_original(face, r);
}

double FaceDeviation::from_before(std::array<Vec, 3> const& face, double r) {
  if (!before_ready_) {
    before_.clear();
    for (std::uint32_t const old : question_.touched()) {
      before_.push_back(cover_triangle(surface_.corners[old], old, surface_.distance[old]));
    }
    before_ready_ = true;
  }
  choice_.clear();
  double farthest_before = 0;
  for (CoverTriangle const& triangle : before_) {
    if (triangle.offset + kStepOfRadius * r > r) continue;
    farthest_before = std::max(farthest_before, triangle.offset);
    choice_.push_back(&triangle);
  }
  if (choice_.empty()) return kBeyond;
  used_.clear();
  double worst = 0;
  std::int64_t const rest = cover_.budget;
  auto const count = static_cast<std::int64_t>(choice_.size());
  std::int64_t const spend = std::min(rest, count * (kStepBudget + kStepBudgetPerFace * count));
  cover_.budget = spend;
  bool const near_enough = cover_.covers(face, choice_, farthest_before + kStepOfRadius * r, worst, used_);
  cover_.budget += rest - spend;
  return near_enough ? worst : kBeyond;
}

// Cuts the face against the original until each part is within r of it. The distance to the original changes by no
// more than the way one goes, so a part is within reach when its centre is, with its radius to spare.
double FaceDeviation::from_original(std::array<Vec, 3> const& face, double r) {
  TriangleBvh const& original = surface_.original;
  double worst = 0;
  stack_.clear();
  stack_.push_back({ConvexPiece::triangle(face[0], face[1], face[2]), TriangleBvh::kNoSlot});
  while (!stack_.empty()) {
    if ((cover_.budget -= kCostOfTreeQuery) < 0) return kBeyond;
    ConvexPiece const piece = stack_.back().piece;
    std::uint32_t const hint = stack_.back().hint;
    stack_.pop_back();
    Vec const centre = piece.centre();
    double const size = piece.radius_around(centre);
    TriangleBvh::Nearest const nearest = original.nearest(centre, r, r - size, hint);
    if (nearest.slot == TriangleBvh::kNoSlot) return kBeyond;
    double accepted = nearest.distance + size;
    double farthest = -1;
    Vec beyond;
    for (std::uint32_t i = 0; i < piece.count; ++i) {
      double const d = original.squared_distance(nearest.slot, piece.corners[i]);
      if (d > farthest) {
        farthest = d;
        beyond = piece.corners[i];
      }
    }
    accepted = std::min(accepted, std::sqrt(farthest));
    if (accepted <= r) {
      worst = std::max(worst, accepted);
      continue;
    }
    if (size < kLeastPieceOfRadius * r) return kBeyond;
    std::size_t const top = stack_.size();
    stack_.resize(top + 2);
    TriangleFrame const frame(original.corner(nearest.slot, 0), original.corner(nearest.slot, 1),
                              original.corner(nearest.slot, 2));
    stack_[top].hint = nearest.slot;
    stack_[top + 1].hint = nearest.slot;
    if (!cut_along_edge(piece, frame, beyond, stack_[top].piece, stack_[top + 1].piece)) {
      piece.bisect(stack_[top].piece, stack_[top + 1].piece);
    }
  }
  return worst;
}

}  // namespace mirel::engine
