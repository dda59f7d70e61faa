#include "standalone/fbx/polygon_cutter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirel::fbx {
namespace {

// Tests of a corner against a triangle that a polygon may cost, per corner.
constexpr std::size_t kWorkPerCorner = 300;

}  // namespace

void PolygonCutter::cut(fbxsdk::FbxVector4 const* points, int const* corners, std::size_t count,
                        std::vector<std::uint32_t>& triangles) {
  if (count == 3) {
    triangles.insert(triangles.end(), {0, 1, 2});
    return;
  }
  if (!project(points, corners, count)) {
    fan(triangles);
    return;
  }
  if (count == 4) {
    // The first diagonal unless it lies outside; in a concave quad exactly one of them is inside.
    bool const first = area(0, 1, 2) >= 0 && area(0, 2, 3) >= 0;
    bool const second = area(1, 2, 3) >= 0 && area(1, 3, 0) >= 0;
    if (first || !second) {
      triangles.insert(triangles.end(), {0, 1, 2, 0, 2, 3});
    } else {
      triangles.insert(triangles.end(), {1, 2, 3, 1, 3, 0});
    }
    return;
  }
  if (is_convex()) {
    fan(triangles);
  } else {
    clip_ears(triangles);
  }
}

bool PolygonCutter::project(fbxsdk::FbxVector4 const* points, int const* corners, std::size_t count) {
  flat_.resize(count);
  // Newell's normal, about the first corner so that a polygon far from the origin keeps its digits.
  double normal[3] = {0, 0, 0};
  fbxsdk::FbxVector4 const& origin = points[corners[0]];
  for (std::size_t k = 1; k + 1 < count; ++k) {
    double a[3];
    double b[3];
    for (int i = 0; i < 3; ++i) {
      a[i] = points[corners[k]][i] - origin[i];
      b[i] = points[corners[k + 1]][i] - origin[i];
    }
    for (int i = 0; i < 3; ++i) normal[i] += a[(i + 1) % 3] * b[(i + 2) % 3] - a[(i + 2) % 3] * b[(i + 1) % 3];
  }
  int largest = 0;
  for (int i = 1; i < 3; ++i) {
    if (std::abs(normal[i]) > std::abs(normal[largest])) largest = i;
  }
  if (!(std::abs(normal[largest]) > 0) || !std::isfinite(normal[largest])) return false;
  int const x = normal[largest] > 0 ? (largest + 1) % 3 : (largest + 2) % 3;
  int const y = normal[largest] > 0 ? (largest + 2) % 3 : (largest + 1) % 3;
  for (std::size_t k = 0; k < count; ++k) {
    fbxsdk::FbxVector4 const& point = points[corners[k]];
    flat_[k] = {point[x] - origin[x], point[y] - origin[y]};
  }
  return true;
}

double PolygonCutter::area(Index a, Index b, Index c) const {
  Point const& p = flat_[a];
  Point const& q = flat_[b];
  Point const& r = flat_[c];
  return (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
}

bool PolygonCutter::is_convex() const {
  // Turning left only is not enough: a star does that too, and goes round more than once.
  Index const count = static_cast<Index>(flat_.size());
  int changes = 0;
  for (Index k = 0; k < count; ++k) {
    Index const next = k + 1 == count ? 0 : k + 1;
    Index const after = next + 1 == count ? 0 : next + 1;
    if (!(area(k, next, after) >= 0)) return false;
    double const edge = flat_[next].x - flat_[k].x;
    double const following = flat_[after].x - flat_[next].x;
    // Upright and empty edges count as going right, which adds no turn.
    if ((edge < 0) != (following < 0)) ++changes;
  }
  return changes <= 2;
}

void PolygonCutter::fan(std::vector<Index>& triangles) const {
  Index const count = static_cast<Index>(flat_.size());
  for (Index k = 1; k + 1 < count; ++k) triangles.insert(triangles.end(), {0, k, k + 1});
}

void PolygonCutter::clip_ears(std::vector<Index>& triangles) {
  Index const count = static_cast<Index>(flat_.size());
  previous_.resize(count);
  next_.resize(count);
  is_gone_.assign(count, 0);
  for (Index k = 0; k < count; ++k) {
    previous_[k] = k == 0 ? count - 1 : k - 1;
    next_[k] = k + 1 == count ? 0 : k + 1;
  }
  sort_into_grid();
  work_left_ = kWorkPerCorner * flat_.size();
  // Corners to look at, first in first out: what a cut changes is looked at next, and everything again when nothing
  // else is left.
  queue_.resize(count);
  is_queued_.assign(count, 1);
  for (Index k = 0; k < count; ++k) queue_[k] = k;
  std::size_t head = 0;
  Index left = count;
  Index left_at_refill = count;
  enum class Mode { kEars, kFlat, kAny } mode = Mode::kEars;
  Index at = 0;
  while (left > 3) {
    if (head == queue_.size()) {
      // No ear in all of a round: the polygon crosses or touches itself, or is flat.
      if (left == left_at_refill) mode = mode == Mode::kEars ? Mode::kFlat : Mode::kAny;
      left_at_refill = left;
      queue_.clear();
      head = 0;
      Index k = at;
      do {
        queue_.push_back(k);
        is_queued_[k] = 1;
        k = next_[k];
      } while (k != at);
    }
    Index const corner = queue_[head++];
    is_queued_[corner] = 0;
    if (is_gone_[corner] != 0) continue;
    Index const before = previous_[corner];
    Index const after = next_[corner];
    double const size = area(before, corner, after);
    bool ear = mode == Mode::kAny || (mode == Mode::kFlat && size == 0) || work_left_ == 0;
    if (!ear && size > 0) ear = !holds_corner(before, corner, after);
    if (work_left_ > 0) --work_left_;
    if (!ear) continue;
    triangles.insert(triangles.end(), {before, corner, after});
    next_[before] = after;
    previous_[after] = before;
    is_gone_[corner] = 1;
    --left;
    at = after;
    mode = Mode::kEars;
    for (Index const changed : {before, after}) {
      if (is_queued_[changed] != 0) continue;
      is_queued_[changed] = 1;
      queue_.push_back(changed);
    }
  }
  triangles.insert(triangles.end(), {previous_[at], at, next_[at]});
}

std::size_t PolygonCutter::column(double x) const {
  return std::min(side_ - 1, static_cast<std::size_t>(std::max(0.0, (x - low_.x) * columns_per_unit_)));
}
std::size_t PolygonCutter::row(double y) const {
  return std::min(side_ - 1, static_cast<std::size_t>(std::max(0.0, (y - low_.y) * rows_per_unit_)));
}

void PolygonCutter::sort_into_grid() {
  Index const count = static_cast<Index>(flat_.size());
  side_ = 1;
  Point high = flat_[0];
  low_ = flat_[0];
  for (Point const& point : flat_) {
    low_ = {std::min(low_.x, point.x), std::min(low_.y, point.y)};
    high = {std::max(high.x, point.x), std::max(high.y, point.y)};
  }
  double const width = high.x - low_.x;
  double const height = high.y - low_.y;
  if (count > 32 && std::isfinite(width) && std::isfinite(height) && width > 0 && height > 0) {
    side_ = static_cast<std::size_t>(std::sqrt(static_cast<double>(count)));
  }
  double const side = static_cast<double>(side_);
  columns_per_unit_ = side_ > 1 && std::isfinite(side / width) ? side / width : 0;
  rows_per_unit_ = side_ > 1 && std::isfinite(side / height) ? side / height : 0;
  // Only corners that turn right can lie in an ear; those that turn left never begin to turn right when ears go.
  auto const is_reflex = [&](Index k) { return !(area(previous_[k], k, next_[k]) > 0); };
  cell_starts_.assign(side_ * side_ + 1, 0);
  auto const cell_of = [&](Index k) { return row(flat_[k].y) * side_ + column(flat_[k].x); };
  for (Index k = 0; k < count; ++k) {
    if (is_reflex(k)) ++cell_starts_[cell_of(k) + 1];
  }
  for (std::size_t k = 1; k < cell_starts_.size(); ++k) cell_starts_[k] += cell_starts_[k - 1];
  cell_corners_.resize(cell_starts_.back());
  for (Index k = count; k-- > 0;) {
    if (!is_reflex(k)) continue;
    // The ends of the cells are taken back to their starts.
    cell_corners_[--cell_starts_[cell_of(k) + 1]] = k;
  }
  // Each entry now holds the start of the cell before it.
  for (std::size_t k = 0; k + 1 < cell_starts_.size(); ++k) cell_starts_[k] = cell_starts_[k + 1];
  cell_starts_.back() = static_cast<Index>(cell_corners_.size());
}

bool PolygonCutter::is_inside(Index corner, Index a, Index b, Index c) const {
  Point const& point = flat_[corner];
  auto const same = [&](Index other) { return flat_[other].x == point.x && flat_[other].y == point.y; };
  // Bridges to holes run through their corners twice.
  if (same(a) || same(b) || same(c)) return false;
  return area(a, b, corner) >= 0 && area(b, c, corner) >= 0 && area(c, a, corner) >= 0;
}

bool PolygonCutter::holds_corner(Index a, Index b, Index c) {
  auto const [left, right] = std::minmax({flat_[a].x, flat_[b].x, flat_[c].x});
  auto const [bottom, top] = std::minmax({flat_[a].y, flat_[b].y, flat_[c].y});
  std::size_t const last_column = column(right);
  std::size_t const last_row = row(top);
  for (std::size_t y = row(bottom); y <= last_row; ++y) {
    for (std::size_t x = column(left); x <= last_column; ++x) {
      std::size_t const cell = y * side_ + x;
      if (work_left_ > 0) --work_left_;
      for (Index k = cell_starts_[cell]; k < cell_starts_[cell + 1]; ++k) {
        Index const corner = cell_corners_[k];
        if (is_gone_[corner] != 0) continue;
        if (work_left_ > 0) --work_left_;
        if (is_inside(corner, a, b, c)) return true;
      }
      if (work_left_ == 0) return false;
    }
  }
  return false;
}

}  // namespace mirel::fbx
