#include "standalone/engine/deviation/piece_cover.h"

#include <algorithm>
#include <array>
#include <limits>

namespace mirel::engine {
namespace {

// A cut must leave this part of the piece's width on the inner side, or it is no progress.
constexpr double kLeastPart = 1e-3;
// Pieces smaller than this part of the radius are given up: their corners are all but beyond it.
constexpr double kLeastPieceOfRadius = 1.0 / 64;

}  // namespace

bool cut_along_edge(ConvexPiece const& piece, TriangleFrame const& triangle, Vec beyond, ConvexPiece& inside,
                    ConvexPiece& outside) {
  if (!triangle.has_plane()) return false;
  std::size_t edge = 0;
  double lowest = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    double const d = triangle.edge_distance(k, beyond);
    if (d < lowest) {
      lowest = d;
      edge = k;
    }
  }
  if (!(lowest < 0)) return false;
  std::array<double, ConvexPiece::kMaxCorners> value{};
  double highest = 0;
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    value[i] = triangle.edge_distance(edge, piece.corners[i]);
    highest = std::max(highest, value[i]);
  }
  if (!(highest > -kLeastPart * lowest)) return false;
  piece.split(value, inside, outside);
  return true;
}

double PieceCover::reach(ConvexPiece const& piece, CoverTriangle const& triangle, double limit) {
  double const far = std::numeric_limits<double>::infinity();
  double const room = limit - triangle.offset;
  if (!(room >= 0)) return far;
  double worst = 0;
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    --budget;
    worst = std::max(worst, triangle.frame.squared_distance(piece.corners[i]));
    if (!(worst <= room * room)) return far;
  }
  return std::sqrt(worst) + triangle.offset;
}

PieceCover::Split PieceCover::split(ConvexPiece const& piece, std::span<CoverTriangle const* const> triangles,
                                    double radius) {
  std::array<CoverTriangle const*, ConvexPiece::kMaxCorners> nearest{};
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    double best = std::numeric_limits<double>::infinity();
    for (CoverTriangle const* triangle : triangles) {
      double const d = std::sqrt(triangle->frame.squared_distance(piece.corners[i])) + triangle->offset;
      if (d < best) {
        best = d;
        nearest[i] = triangle;
      }
    }
    if (!(best <= radius)) return Split::kBeyondRadius;
  }
  budget -= static_cast<std::int64_t>(piece.count * triangles.size());
  if (piece.radius_around(piece.centre()) < kLeastPieceOfRadius * radius) return Split::kBeyondRadius;

  std::size_t const top = stack_.size();
  stack_.resize(top + 2);
  ConvexPiece& first = stack_[top];
  ConvexPiece& second = stack_[top + 1];
  for (std::uint32_t i = 0; i < piece.count; ++i) {
    if (i > 0 && nearest[i] == nearest[i - 1]) continue;
    std::uint32_t farthest = 0;
    double squared = -1;
    for (std::uint32_t k = 0; k < piece.count; ++k) {
      double const d = nearest[i]->frame.squared_distance(piece.corners[k]);
      if (d > squared) {
        squared = d;
        farthest = k;
      }
    }
    budget -= piece.count;
    if (cut_along_edge(piece, nearest[i]->frame, piece.corners[farthest], first, second)) return Split::kDone;
  }
  piece.bisect(first, second);
  return Split::kDone;
}

bool PieceCover::covers(ConvexPiece const& whole, std::span<CoverTriangle const* const> triangles, double radius,
                        double& reached, std::vector<std::uint32_t>& used) {
  stack_.assign(1, whole);
  double worst = 0;
  while (!stack_.empty()) {
    if (budget < 0) return false;
    ConvexPiece const piece = stack_.back();
    stack_.pop_back();
    double best = std::numeric_limits<double>::infinity();
    CoverTriangle const* cover = nullptr;
    for (CoverTriangle const* triangle : triangles) {
      double const d = reach(piece, *triangle, std::min(best, radius));
      if (d < best) {
        best = d;
        cover = triangle;
      }
    }
    if (cover != nullptr) {
      worst = std::max(worst, best);
      used.push_back(cover->face);
      continue;
    }
    if (split(piece, triangles, radius) == Split::kBeyondRadius) return false;
  }
  reached = std::max(reached, worst);
  return true;
}

}  // namespace mirel::engine
