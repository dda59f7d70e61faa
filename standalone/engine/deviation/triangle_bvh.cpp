#include "standalone/engine/deviation/triangle_bvh.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {
namespace {

constexpr std::uint32_t kBins = 16;
constexpr std::uint32_t kLeafSize = 4;
// From this depth on ranges are halved by count, so that no input makes the tree deeper than kMaxDepth.
constexpr std::uint32_t kDepthOfHalving = 40;
constexpr std::uint32_t kMaxDepth = kDepthOfHalving + 33;
// A triangle is an oblique sliver when half the surface of its box is more than this many times its area.
constexpr double kOblique = 64;
// Oriented boxes are made when one triangle of so many is one.
constexpr std::uint32_t kFewSlivers = 8;

struct Box {
  std::array<float, 3> low{std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::infinity()};
  std::array<float, 3> high{-std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()};

  void add(float const* p) {
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], p[k]);
      high[k] = std::max(high[k], p[k]);
    }
  }
  void add(Box const& other) {
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], other.low[k]);
      high[k] = std::max(high[k], other.high[k]);
    }
  }
  // Half the surface, in double: extents near the limits of float would overflow.
  double half_area() const {
    double const x = static_cast<double>(high[0]) - low[0];
    double const y = static_cast<double>(high[1]) - low[1];
    double const z = static_cast<double>(high[2]) - low[2];
    return x >= 0 ? x * y + y * z + z * x : 0;
  }
};

struct Reference {
  Box box;
  std::uint32_t face;

  double centre(std::size_t axis) const { return 0.5 * (static_cast<double>(box.low[axis]) + box.high[axis]); }
};

}  // namespace

double squared_distance_to_triangle(Vec p, Vec a, Vec b, Vec c) {
  Vec const ab = b - a;
  Vec const ac = c - a;
  Vec const n = cross(ab, ac);
  double const nn = dot(n, n);
  Vec const ap = p - a;
  Vec const bc = c - b;
  double const longest = std::max({dot(ab, ab), dot(ac, ac), dot(bc, bc)});
  // Slivers, whose normal is noise, count as their edges.
  if (nn > 1e-14 * longest * longest) {
    // Barycentric coordinates times nn. A point within their rounding of an edge is measured to the edges: never too
    // small a distance, however acute the corner.
    double const v = dot(cross(ap, ac), n);
    double const w = dot(cross(ab, ap), n);
    double const u = nn - v - w;
    // The factor within the root keeps the eighth power of the largest floats in range.
    double const doubt = 1e-11 * std::sqrt(1e-6 * nn * longest * (dot(ap, ap) + longest));
    if (v >= doubt && w >= doubt && u >= doubt) {
      double const h = dot(ap, n);
      return h * h / nn;
    }
    double best = std::numeric_limits<double>::infinity();
    if (w < doubt) best = squared_distance_to_segment(p, a, b);
    if (v < doubt) best = std::min(best, squared_distance_to_segment(p, a, c));
    if (u < doubt) best = std::min(best, squared_distance_to_segment(p, b, c));
    return best;
  }
  return std::min({squared_distance_to_segment(p, a, b), squared_distance_to_segment(p, b, c),
                   squared_distance_to_segment(p, c, a)});
}

struct TriangleBvh::Builder {
  std::vector<Reference> references;
  std::vector<Node>& nodes;

  struct Task {
    std::uint32_t node, begin, end, depth;
  };

  // Sorts [begin, end) into two parts and returns where the second begins.
  std::uint32_t partition(Task const& task) {
    Box centres;
    for (std::uint32_t i = task.begin; i < task.end; ++i) {
      Reference const& r = references[i];
      std::array<float, 3> const c{static_cast<float>(r.centre(0)), static_cast<float>(r.centre(1)),
                                   static_cast<float>(r.centre(2))};
      centres.add(c.data());
    }
    std::size_t axis = 0;
    double extent = -1;
    for (std::size_t k = 0; k < 3; ++k) {
      double const e = static_cast<double>(centres.high[k]) - centres.low[k];
      if (e > extent) {
        extent = e;
        axis = k;
      }
    }
    std::uint32_t const middle = task.begin + (task.end - task.begin) / 2;
    auto const halve = [&] {
      std::nth_element(references.begin() + task.begin, references.begin() + middle, references.begin() + task.end,
                       [axis](Reference const& a, Reference const& b) {
                         double const x = a.centre(axis);
                         double const y = b.centre(axis);
                         return x < y || (x == y && a.face < b.face);
                       });
      return middle;
    };
    if (!(extent > 0)) return middle;
    if (task.depth >= kDepthOfHalving || task.end - task.begin <= 2 * kLeafSize) return halve();

    double const low = centres.low[axis];
    double const scale = kBins / extent;
    auto const bin_of = [&](Reference const& r) {
      double const bin = (r.centre(axis) - low) * scale;
      return static_cast<std::uint32_t>(std::clamp(bin, 0.0, kBins - 1.0));
    };
    std::array<Box, kBins> boxes;
    std::array<std::uint32_t, kBins> counts{};
    for (std::uint32_t i = task.begin; i < task.end; ++i) {
      std::uint32_t const bin = bin_of(references[i]);
      boxes[bin].add(references[i].box);
      ++counts[bin];
    }
    std::array<double, kBins> cost_right{};
    Box box;
    std::uint32_t count = 0;
    for (std::uint32_t bin = kBins - 1; bin > 0; --bin) {
      box.add(boxes[bin]);
      count += counts[bin];
      cost_right[bin] = box.half_area() * count;
    }
    box = Box{};
    count = 0;
    std::uint32_t best_bin = 0;
    double best_cost = std::numeric_limits<double>::infinity();
    for (std::uint32_t bin = 1; bin < kBins; ++bin) {
      box.add(boxes[bin - 1]);
      count += counts[bin - 1];
      double const cost = box.half_area() * count + cost_right[bin];
      if (count > 0 && count < task.end - task.begin && cost < best_cost) {
        best_cost = cost;
        best_bin = bin;
      }
    }
    if (best_bin == 0) return halve();
    auto const split = std::partition(references.begin() + task.begin, references.begin() + task.end,
                                      [&](Reference const& r) { return bin_of(r) < best_bin; });
    return static_cast<std::uint32_t>(split - references.begin());
  }

  void build() {
    std::vector<Task> tasks{{0, 0, static_cast<std::uint32_t>(references.size()), 0}};
    nodes.resize(2);
    while (!tasks.empty()) {
      Task const task = tasks.back();
      tasks.pop_back();
      Box box;
      for (std::uint32_t i = task.begin; i < task.end; ++i) box.add(references[i].box);
      Node node{box.low, task.begin, box.high, task.end - task.begin};
      if (node.count > kLeafSize) {
        std::uint32_t const middle = partition(task);
        node.first = static_cast<std::uint32_t>(nodes.size());
        node.count = 0;
        nodes.resize(nodes.size() + 2);
        tasks.push_back({node.first + 1, middle, task.end, task.depth + 1});
        tasks.push_back({node.first, task.begin, middle, task.depth + 1});
      }
      nodes[task.node] = node;
    }
  }
};

TriangleBvh::TriangleBvh(std::span<float const> positions, std::span<std::uint32_t const> faces) {
  std::size_t const position_count = positions.size() / 3;
  std::size_t const face_count = faces.size() / 3;
  Builder builder{{}, nodes_};
  builder.references.reserve(face_count);
  for (std::size_t f = 0; f < face_count; ++f) {
    Box box;
    bool valid = true;
    for (std::size_t k = 0; k < 3 && valid; ++k) {
      std::size_t const p = faces[3 * f + k];
      valid = p < position_count && std::isfinite(positions[3 * p]) && std::isfinite(positions[3 * p + 1]) &&
              std::isfinite(positions[3 * p + 2]);
      if (valid) box.add(&positions[3 * p]);
    }
    if (valid) builder.references.push_back({box, static_cast<std::uint32_t>(f)});
  }
  if (builder.references.empty()) return;
  nodes_.reserve(builder.references.size());
  builder.build();
  faces_.reserve(builder.references.size());
  corners_.reserve(9 * builder.references.size());
  for (Reference const& r : builder.references) {
    faces_.push_back(r.face);
    for (std::size_t k = 0; k < 3; ++k) {
      float const* p = &positions[3 * std::size_t{faces[3 * std::size_t{r.face} + k]}];
      corners_.insert(corners_.end(), p, p + 3);
    }
  }
  if (has_many_oblique_slivers()) orient_nodes();
  for (float const c : corners_) largest_coordinate_ = std::max(largest_coordinate_, std::fabs(static_cast<double>(c)));
}

bool TriangleBvh::has_many_oblique_slivers() const {
  std::size_t count = 0;
  for (std::uint32_t slot = 0; slot < size(); ++slot) {
    Box box;
    for (std::uint32_t k = 0; k < 3; ++k) box.add(&corners_[9 * std::size_t{slot} + 3 * k]);
    Vec const n = cross(corner(slot, 1) - corner(slot, 0), corner(slot, 2) - corner(slot, 0));
    double const limit = box.half_area() * (2 / kOblique);
    count += dot(n, n) < limit * limit ? 1U : 0U;
  }
  return count * kFewSlivers >= size();
}

// Gives a box along its triangles to each node where that is much smaller.
void TriangleBvh::orient_nodes() {
  constexpr double kSmaller = 0.25;
  oriented_of_.assign(nodes_.size(), kNoSlot);
  // Slots of a node: from its first leaf's on, to where the next subtree begins.
  struct Task {
    std::uint32_t node, end;
  };
  std::vector<Task> tasks{{0, size()}};
  auto const first_slot = [this](std::uint32_t node) {
    while (nodes_[node].count == 0) node = nodes_[node].first;
    return nodes_[node].first;
  };
  while (!tasks.empty()) {
    Task const task = tasks.back();
    tasks.pop_back();
    Node const& node = nodes_[task.node];
    std::size_t const begin = first_slot(task.node);
    OrientedBox const box(std::span<float const>(corners_).subspan(9 * begin, 9 * (task.end - begin)));
    if (box.half_area() < kSmaller * Box{node.low, node.high}.half_area()) {
      oriented_of_[task.node] = static_cast<std::uint32_t>(oriented_.size());
      oriented_.push_back(box);
    }
    if (node.count == 0) {
      tasks.push_back({node.first, first_slot(node.first + 1)});
      tasks.push_back({node.first + 1, task.end});
    }
  }
}

double TriangleBvh::diagonal() const {
  if (nodes_.empty()) return 0;
  return length(load(nodes_[0].high.data()) - load(nodes_[0].low.data()));
}

double TriangleBvh::squared_distance(std::uint32_t slot, Vec p) const {
  float const* c = &corners_[9 * std::size_t{slot}];
  return squared_distance_to_triangle(p, load(c), load(c + 3), load(c + 6));
}

bool TriangleBvh::collect(Vec low, Vec high, std::size_t most, std::vector<std::uint32_t>& slots) const {
  if (nodes_.empty()) return true;
  auto const meets = [&](Node const& node) {
    return low.x <= node.high[0] && node.low[0] <= high.x && low.y <= node.high[1] && node.low[1] <= high.y &&
           low.z <= node.high[2] && node.low[2] <= high.z;
  };
  std::array<std::uint32_t, kMaxDepth + 2> stack;
  std::size_t depth = 0;
  stack[depth++] = 0;
  while (depth > 0) {
    Node const& node = nodes_[stack[--depth]];
    if (!meets(node)) continue;
    if (node.count == 0) {
      stack[depth++] = node.first;
      stack[depth++] = node.first + 1;
      continue;
    }
    for (std::uint32_t i = 0; i < node.count; ++i) slots.push_back(node.first + i);
    if (slots.size() > most) return false;
  }
  return true;
}

TriangleBvh::Nearest TriangleBvh::nearest(Vec p, double cutoff, double enough, std::uint32_t hint) const {
  return oriented_.empty() ? search<false>(p, cutoff, enough, hint) : search<true>(p, cutoff, enough, hint);
}

template <bool oriented>
TriangleBvh::Nearest TriangleBvh::search(Vec p, double cutoff, double enough, std::uint32_t hint) const {
  Nearest result;
  if (nodes_.empty() || !(cutoff >= 0)) return result;
  double best = cutoff * cutoff;
  double const enough_squared = enough > 0 ? enough * enough : -1;
  if (hint < size()) {
    double const d = squared_distance(hint, p);
    if (d <= best) {
      best = d;
      result.slot = hint;
    }
  }
  auto const box_distance = [&](std::uint32_t index) {
    Node const& node = nodes_[index];
    double const x = std::max({static_cast<double>(node.low[0]) - p.x, p.x - static_cast<double>(node.high[0]), 0.0});
    double const y = std::max({static_cast<double>(node.low[1]) - p.y, p.y - static_cast<double>(node.high[1]), 0.0});
    double const z = std::max({static_cast<double>(node.low[2]) - p.z, p.z - static_cast<double>(node.high[2]), 0.0});
    double squared = x * x + y * y + z * z;
    if constexpr (oriented) {
      std::uint32_t const box = oriented_of_[index];
      if (box != kNoSlot) squared = std::max(squared, oriented_[box].squared_distance(p));
    }
    return squared;
  };

  struct Entry {
    std::uint32_t node;
    double squared;
  };
  std::array<Entry, kMaxDepth + 2> stack;
  std::size_t depth = 0;
  if (!(result.slot != kNoSlot && best <= enough_squared)) {
    double const root = box_distance(0);
    if (root <= best) stack[depth++] = {0, root};
  }
  while (depth > 0) {
    Entry const entry = stack[--depth];
    if (entry.squared > best || (entry.squared == best && result.slot != kNoSlot)) continue;
    Node const* node = &nodes_[entry.node];
    bool pruned = false;
    while (node->count == 0) {
      std::uint32_t near = node->first;
      std::uint32_t far = near + 1;
      double near_squared = box_distance(near);
      double far_squared = box_distance(far);
      if (far_squared < near_squared) {
        std::swap(near, far);
        std::swap(near_squared, far_squared);
      }
      if (far_squared <= best) stack[depth++] = {far, far_squared};
      if (near_squared > best) {
        pruned = true;
        break;
      }
      node = &nodes_[near];
    }
    if (pruned) continue;
    for (std::uint32_t slot = node->first; slot < node->first + node->count; ++slot) {
      double const d = squared_distance(slot, p);
      if (d < best || (d == best && result.slot == kNoSlot)) {
        best = d;
        result.slot = slot;
        if (best <= enough_squared) {
          depth = 0;
          break;
        }
      }
    }
  }
  if (result.slot != kNoSlot) result.distance = std::sqrt(best);
  return result;
}

}  // namespace mirel::engine
