// Ear clipping (Meisters 1975), tried in the order of the corners with every second corner left out of a round, so
// that ears stay small. Only corners that are not convex can lie in an ear (Held 2001); a uniform grid finds them in
// polygons of many corners.
#include "standalone/engine/obj/polygon.h"

#include <algorithm>
#include <cmath>

namespace mirel::engine {
namespace {

#ifdef MIREL_SMALL_THRESHOLDS
constexpr std::size_t kGridFromCorners = 8;
#else
constexpr std::size_t kGridFromCorners = 64;
#endif
// Ears in a real outline meet a handful of corners each; an outline made to be slow is given up after this many.
constexpr std::uint64_t kWorkPerCorner = 400;
constexpr std::uint64_t kWorkAtLeast = 1'000'000;

}  // namespace

bool PolygonTriangulator::cut(float const* positions, std::span<std::uint32_t const> vertices) {
  triangles_.clear();
  std::size_t const count = vertices.size();
  if (count < 3) return true;
  triangles_.reserve((count - 2) * 3);
  if (count == 3 || !project(positions, vertices) || is_convex()) {
    for (std::uint32_t k = 2; k < count; ++k) triangles_.insert(triangles_.end(), {0, k - 1, k});
    return true;
  }
  return clip_ears();
}

// Drops the axis in which the normal is longest, so that coordinates stay exact and the sign of a turn, a
// difference of two products of float differences, is exact for all but extreme ranges. Counter-clockwise
// afterwards. False where there is no plane.
bool PolygonTriangulator::project(float const* positions, std::span<std::uint32_t const> vertices) {
  std::size_t const count = vertices.size();
  auto const at = [&](std::size_t k, int axis) {
    return static_cast<double>(positions[std::size_t{vertices[k]} * 3 + static_cast<std::size_t>(axis)]);
  };
  double normal[3] = {0, 0, 0};
  for (std::size_t k = 0; k < count; ++k) {
    std::size_t const next = k + 1 == count ? 0 : k + 1;
    for (int axis = 0; axis < 3; ++axis) {
      int const u = (axis + 1) % 3;
      int const v = (axis + 2) % 3;
      normal[axis] +=
          (at(k, u) - at(0, u)) * (at(next, v) - at(0, v)) - (at(next, u) - at(0, u)) * (at(k, v) - at(0, v));
    }
  }
  if (!std::isfinite(normal[0]) || !std::isfinite(normal[1]) || !std::isfinite(normal[2])) return false;
  int drop = 0;
  for (int axis = 1; axis < 3; ++axis) {
    if (std::abs(normal[axis]) > std::abs(normal[drop])) drop = axis;
  }
  if (normal[drop] == 0) return false;
  int u = (drop + 1) % 3;
  int v = (drop + 2) % 3;
  if (normal[drop] < 0) std::swap(u, v);
  nodes_.resize(count);
  for (std::size_t k = 0; k < count; ++k) {
    Node& node = nodes_[k];
    node.x = at(k, u);
    node.y = at(k, v);
    node.previous = static_cast<std::uint32_t>(k == 0 ? count - 1 : k - 1);
    node.next = static_cast<std::uint32_t>(k + 1 == count ? 0 : k + 1);
    node.alive = true;
  }
  for (std::uint32_t k = 0; k < count; ++k) update_convexity(k);
  remaining_ = static_cast<std::uint32_t>(count);
  return true;
}

double PolygonTriangulator::turn(std::uint32_t a, std::uint32_t b, std::uint32_t c) const {
  Node const& p = nodes_[a];
  Node const& q = nodes_[b];
  Node const& r = nodes_[c];
  return (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
}

void PolygonTriangulator::update_convexity(std::uint32_t node) {
  nodes_[node].convex = turn(nodes_[node].previous, node, nodes_[node].next) > 0;
}

// Left turns alone also describe outlines that go round more than once; those turn back in x more than twice.
bool PolygonTriangulator::is_convex() const {
  int reversals = 0;
  int direction = 0;
  int first_direction = 0;
  for (std::size_t k = 0; k < nodes_.size(); ++k) {
    if (!nodes_[k].convex) return false;
    double const along = nodes_[nodes_[k].next].x - nodes_[k].x;
    if (along == 0) continue;
    int const now = along > 0 ? 1 : -1;
    if (first_direction == 0) first_direction = now;
    if (direction != 0 && now != direction) ++reversals;
    direction = now;
  }
  if (direction != first_direction) ++reversals;
  return reversals == 2;
}

void PolygonTriangulator::build_grid() {
  columns_ = rows_ = 0;
  if (nodes_.size() < kGridFromCorners) return;
  double high_x = nodes_[0].x;
  double high_y = nodes_[0].y;
  low_x_ = high_x;
  low_y_ = high_y;
  for (Node const& node : nodes_) {
    low_x_ = std::min(low_x_, node.x);
    low_y_ = std::min(low_y_, node.y);
    high_x = std::max(high_x, node.x);
    high_y = std::max(high_y, node.y);
  }
  double const width = high_x - low_x_;
  double const height = high_y - low_y_;
  if (!(width > 0) || !(height > 0)) return;
  double const cells = static_cast<double>(nodes_.size());
  double const columns = std::clamp(std::sqrt(cells * width / height), 1.0, cells);
  columns_ = static_cast<std::size_t>(columns);
  rows_ = static_cast<std::size_t>(std::clamp(cells / columns, 1.0, cells));
  cells_per_x_ = static_cast<double>(columns_) / width;
  cells_per_y_ = static_cast<double>(rows_) / height;
  cell_begin_.assign(columns_ * rows_ + 1, 0);
  for (Node const& node : nodes_) ++cell_begin_[row_of(node.y) * columns_ + column_of(node.x)];
  std::uint32_t total = 0;
  for (std::uint32_t& begin : cell_begin_) {
    total += begin;
    begin = total;
  }
  cell_nodes_.resize(nodes_.size());
  for (std::uint32_t k = 0; k < nodes_.size(); ++k) {
    cell_nodes_[--cell_begin_[row_of(nodes_[k].y) * columns_ + column_of(nodes_[k].x)]] = k;
  }
}

std::size_t PolygonTriangulator::column_of(double x) const {
  return std::min(columns_ - 1, static_cast<std::size_t>(std::max(0.0, (x - low_x_) * cells_per_x_)));
}

std::size_t PolygonTriangulator::row_of(double y) const {
  return std::min(rows_ - 1, static_cast<std::size_t>(std::max(0.0, (y - low_y_) * cells_per_y_)));
}

bool PolygonTriangulator::blocks(std::uint32_t candidate, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 bool strictly) const {
  Node const& node = nodes_[candidate];
  if (node.convex || !node.alive || candidate == a || candidate == b || candidate == c) return false;
  double const ab = turn(a, b, candidate);
  double const bc = turn(b, c, candidate);
  double const ca = turn(c, a, candidate);
  if (strictly) return ab > 0 && bc > 0 && ca > 0;
  if (ab < 0 || bc < 0 || ca < 0) return false;
  // A corner that coincides with one of the ear's (a keyhole) is in the way only if its own outline enters the ear.
  std::uint32_t const around[3][3] = {{a, b, c}, {b, c, a}, {c, a, b}};
  for (auto const& [corner, ahead, behind] : around) {
    if (nodes_[corner].x != node.x || nodes_[corner].y != node.y) continue;
    for (std::uint32_t const neighbour : {node.previous, node.next}) {
      if (turn(corner, ahead, neighbour) > 0 && turn(corner, neighbour, behind) > 0) return true;
    }
    return false;
  }
  return true;
}

bool PolygonTriangulator::is_blocked(std::uint32_t ear, bool strictly) {
  std::uint32_t const a = nodes_[ear].previous;
  std::uint32_t const c = nodes_[ear].next;
  if (columns_ == 0) {
    for (std::uint32_t node = nodes_[c].next; node != a; node = nodes_[node].next) {
      ++work_;
      if (blocks(node, a, ear, c, strictly)) return true;
    }
    return false;
  }
  auto const [low_x, high_x] = std::minmax({nodes_[a].x, nodes_[ear].x, nodes_[c].x});
  auto const [low_y, high_y] = std::minmax({nodes_[a].y, nodes_[ear].y, nodes_[c].y});
  std::size_t const first_column = column_of(low_x);
  std::size_t const last_column = column_of(high_x);
  std::size_t const last_row = row_of(high_y);
  for (std::size_t row = row_of(low_y); row <= last_row; ++row) {
    std::size_t const begin = cell_begin_[row * columns_ + first_column];
    std::size_t const end = cell_begin_[row * columns_ + last_column + 1];
    work_ += 1 + (end - begin);
    for (std::size_t k = begin; k < end; ++k) {
      if (blocks(cell_nodes_[k], a, ear, c, strictly)) return true;
    }
  }
  return false;
}

bool PolygonTriangulator::may_clip(std::uint32_t ear, Rule rule) {
  ++work_;
  switch (rule) {
    case Rule::kNothingInside:
      return nodes_[ear].convex && !is_blocked(ear, false);
    case Rule::kNothingStrictlyInside:
      return nodes_[ear].convex && !is_blocked(ear, true);
    case Rule::kStraight:
      return turn(nodes_[ear].previous, ear, nodes_[ear].next) == 0;
    case Rule::kConvex:
      return nodes_[ear].convex;
    case Rule::kAny:
      return true;
  }
  return true;
}

void PolygonTriangulator::fan(std::uint32_t first, std::size_t count) {
  std::uint32_t b = nodes_[first].next;
  for (std::size_t k = 2; k < count; ++k) {
    std::uint32_t const c = nodes_[b].next;
    triangles_.insert(triangles_.end(), {first, b, c});
    b = c;
  }
}

bool PolygonTriangulator::clip_ears() {
  build_grid();
  work_ = 0;
  std::uint64_t const allowed = std::max(kWorkAtLeast, kWorkPerCorner * nodes_.size());
  Rule rule = Rule::kNothingInside;
  std::uint32_t ear = 0;
  std::uint32_t refused = 0;
  while (remaining_ > 3) {
    if (work_ > allowed) {
      fan(ear, remaining_);
      return false;
    }
    std::uint32_t const previous = nodes_[ear].previous;
    std::uint32_t const next = nodes_[ear].next;
    if (may_clip(ear, rule)) {
      triangles_.insert(triangles_.end(), {previous, ear, next});
      nodes_[ear].alive = false;
      nodes_[previous].next = next;
      nodes_[next].previous = previous;
      update_convexity(previous);
      update_convexity(next);
      --remaining_;
      refused = 0;
      rule = Rule::kNothingInside;
      ear = nodes_[next].next;
    } else {
      ear = next;
      if (++refused >= remaining_) {
        rule = static_cast<Rule>(static_cast<std::uint8_t>(rule) + 1);
        refused = 0;
      }
    }
  }
  fan(ear, 3);
  return true;
}

}  // namespace mirel::engine
