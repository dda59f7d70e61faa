// Ear clipping (Meisters 1975) from a queue. The corner behind a clipped one waits for a round, so that ears stay
// small; an ear that is blocked waits until the corner that blocks it is out of the way. Only corners that are not
// convex can lie in an ear (Held 2001); a k-d tree (Bentley 1975) finds them in polygons of many corners.
#include "standalone/engine/obj/polygon.h"

#include <algorithm>
#include <cmath>

namespace mirel::engine {
namespace {

#ifdef MIREL_SMALL_THRESHOLDS
constexpr std::size_t kTreeFromCorners = 8;
#else
constexpr std::size_t kTreeFromCorners = 64;
#endif
constexpr std::uint32_t kLeafCorners = 8;
// Ears in a real outline meet a handful of corners each. What needs more draws on a common stock, so that a file full
// of outlines that are made to be slow comes to an end too.
constexpr std::uint64_t kWorkPerCorner = 200;

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
    node.queued = false;
    node.postponed = false;
    node.first_waiting = 0;
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

void PolygonTriangulator::build_tree() {
  tree_.clear();
  if (nodes_.size() < kTreeFromCorners) return;
  std::uint32_t const count = static_cast<std::uint32_t>(nodes_.size());
  tree_nodes_.resize(count);
  leaf_of_.resize(count);
  for (std::uint32_t k = 0; k < count; ++k) tree_nodes_[k] = k;
  build_subtree(0, count, 0);
}

std::uint32_t PolygonTriangulator::build_subtree(std::uint32_t begin, std::uint32_t end, std::uint32_t parent) {
  std::uint32_t const index = static_cast<std::uint32_t>(tree_.size());
  Node const& first = nodes_[tree_nodes_[begin]];
  Branch branch = {first.x, first.y, first.x, first.y, parent, 0, begin, end, 0};
  for (std::uint32_t k = begin; k < end; ++k) {
    Node const& node = nodes_[tree_nodes_[k]];
    branch.low_x = std::min(branch.low_x, node.x);
    branch.low_y = std::min(branch.low_y, node.y);
    branch.high_x = std::max(branch.high_x, node.x);
    branch.high_y = std::max(branch.high_y, node.y);
    branch.in_the_way += node.convex ? 0 : 1;
  }
  tree_.push_back(branch);
  if (end - begin <= kLeafCorners) {
    for (std::uint32_t k = begin; k < end; ++k) leaf_of_[tree_nodes_[k]] = index;
    return index;
  }
  bool const is_wide = branch.high_x - branch.low_x > branch.high_y - branch.low_y;
  std::uint32_t const middle = begin + (end - begin) / 2;
  auto const at = [&](std::uint32_t k) { return tree_nodes_.begin() + static_cast<std::ptrdiff_t>(k); };
  std::nth_element(at(begin), at(middle), at(end), [&](std::uint32_t a, std::uint32_t b) {
    return is_wide ? nodes_[a].x < nodes_[b].x : nodes_[a].y < nodes_[b].y;
  });
  build_subtree(begin, middle, index);
  tree_[index].right = build_subtree(middle, end, index);
  return index;
}

void PolygonTriangulator::set_in_the_way(std::uint32_t node, bool in_the_way) {
  if (tree_.empty()) return;
  for (std::uint32_t branch = leaf_of_[node];; branch = tree_[branch].parent) {
    if (in_the_way) {
      ++tree_[branch].in_the_way;
    } else {
      --tree_[branch].in_the_way;
    }
    if (branch == 0) return;
  }
}

// False where the branch lies outside one of the triangle's sides altogether.
bool PolygonTriangulator::may_touch(std::uint32_t branch, std::uint32_t a, std::uint32_t b, std::uint32_t c) const {
  Branch const& box = tree_[branch];
  if (box.in_the_way == 0) return false;
  Node const* const corners[3] = {&nodes_[a], &nodes_[b], &nodes_[c]};
  auto const [low_x, high_x] = std::minmax({corners[0]->x, corners[1]->x, corners[2]->x});
  auto const [low_y, high_y] = std::minmax({corners[0]->y, corners[1]->y, corners[2]->y});
  if (box.low_x > high_x || box.high_x < low_x || box.low_y > high_y || box.high_y < low_y) return false;
  for (int side = 0; side < 3; ++side) {
    Node const& from = *corners[side];
    Node const& to = *corners[(side + 1) % 3];
    double const dx = to.x - from.x;
    double const dy = to.y - from.y;
    double const x = dy > 0 ? box.low_x : box.high_x;
    double const y = dx > 0 ? box.high_y : box.low_y;
    if (dx * (y - from.y) - dy * (x - from.x) < 0) return false;
  }
  return true;
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

bool PolygonTriangulator::is_blocked(std::uint32_t ear, bool strictly, std::uint32_t& blocker) {
  std::uint32_t const a = nodes_[ear].previous;
  std::uint32_t const c = nodes_[ear].next;
  if (tree_.empty()) {
    for (std::uint32_t node = nodes_[c].next; node != a; node = nodes_[node].next) {
      ++work_;
      blocker = node;
      if (blocks(node, a, ear, c, strictly)) return true;
    }
    return false;
  }
  pending_.assign(1, 0);
  while (!pending_.empty()) {
    std::uint32_t const branch = pending_.back();
    pending_.pop_back();
    ++work_;
    if (!may_touch(branch, a, ear, c)) continue;
    if (tree_[branch].right != 0) {
      pending_.push_back(tree_[branch].right);
      pending_.push_back(branch + 1);
      continue;
    }
    for (std::uint32_t k = tree_[branch].begin; k < tree_[branch].end; ++k) {
      blocker = tree_nodes_[k];
      if (blocks(blocker, a, ear, c, strictly)) return true;
    }
  }
  return false;
}

bool PolygonTriangulator::may_clip(std::uint32_t ear, Rule rule) {
  ++work_;
  std::uint32_t blocker = 0;
  switch (rule) {
    case Rule::kNothingInside:
      if (!nodes_[ear].convex) return false;
      if (!is_blocked(ear, false, blocker)) return true;
      waiting_.push_back({ear, nodes_[blocker].first_waiting});
      nodes_[blocker].first_waiting = static_cast<std::uint32_t>(waiting_.size() - 1);
      return false;
    case Rule::kNothingStrictlyInside:
      return nodes_[ear].convex && !is_blocked(ear, true, blocker);
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

void PolygonTriangulator::enqueue(std::uint32_t node) {
  if (nodes_[node].queued || !nodes_[node].alive || !nodes_[node].convex) return;
  nodes_[node].queued = true;
  queue_.push_back(node);
}

void PolygonTriangulator::clip(std::uint32_t ear) {
  std::uint32_t const previous = nodes_[ear].previous;
  std::uint32_t const next = nodes_[ear].next;
  triangles_.insert(triangles_.end(), {previous, ear, next});
  bool const was_convex[3] = {nodes_[previous].convex, nodes_[ear].convex, nodes_[next].convex};
  nodes_[previous].next = next;
  nodes_[next].previous = previous;
  nodes_[ear].alive = false;
  update_convexity(previous);
  update_convexity(next);
  bool const is_convex[3] = {nodes_[previous].convex, true, nodes_[next].convex};
  std::uint32_t const corners[3] = {previous, ear, next};
  for (int k = 0; k < 3; ++k) {
    if (is_convex[k] == was_convex[k]) continue;
    set_in_the_way(corners[k], was_convex[k]);
    if (was_convex[k]) continue;
    std::uint32_t entry = nodes_[corners[k]].first_waiting;
    nodes_[corners[k]].first_waiting = 0;
    for (; entry != 0; entry = waiting_[entry].next) {
      ++work_;
      enqueue(waiting_[entry].ear);
    }
  }
  enqueue(previous);
  enqueue(next);
  nodes_[next].postponed = true;
  somewhere_ = next;
  --remaining_;
}

// For what is left of outlines that touch or cross themselves, or lie on a line: once around with the strongest
// rule that lets a corner go.
void PolygonTriangulator::clip_by_weaker_rules() {
  for (Rule const rule :
       {Rule::kNothingInside, Rule::kNothingStrictlyInside, Rule::kStraight, Rule::kConvex, Rule::kAny}) {
    bool has_clipped = false;
    std::uint32_t corner = somewhere_;
    for (std::uint32_t left = remaining_; left > 0 && remaining_ > 3; --left) {
      std::uint32_t const next = nodes_[corner].next;
      if (may_clip(corner, rule)) {
        clip(corner);
        has_clipped = true;
        if (queue_head_ < queue_.size()) return;
      }
      corner = next;
    }
    if (has_clipped) return;
  }
}

bool PolygonTriangulator::clip_ears() {
  build_tree();
  work_ = 0;
  waiting_.assign(1, {0, 0});
  queue_.clear();
  queue_head_ = 0;
  somewhere_ = 0;
  for (std::uint32_t k = 0; k < nodes_.size(); ++k) enqueue(k);
  std::uint64_t const own = kWorkPerCorner * nodes_.size();
  while (remaining_ > 3) {
    if (work_ > own + common_work_) {
      common_work_ = 0;
      fan(somewhere_, remaining_);
      return false;
    }
    if (queue_head_ == queue_.size()) {
      queue_.clear();
      queue_head_ = 0;
      clip_by_weaker_rules();
      continue;
    }
    std::uint32_t const ear = queue_[queue_head_++];
    nodes_[ear].queued = false;
    if (!nodes_[ear].alive) continue;
    if (nodes_[ear].postponed) {
      nodes_[ear].postponed = false;
      enqueue(ear);
    } else if (may_clip(ear, Rule::kNothingInside)) {
      clip(ear);
    }
  }
  common_work_ -= std::max(work_, own) - own;
  fan(somewhere_, 3);
  return true;
}

}  // namespace mirel::engine
