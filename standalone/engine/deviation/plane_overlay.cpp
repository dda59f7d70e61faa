#include "standalone/engine/deviation/plane_overlay.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "standalone/engine/deviation/triangle_frame.h"

namespace mirel::engine {
namespace {

constexpr double kUntold = std::numeric_limits<double>::infinity();
// Parts of the extent: rounding is far below, for places by three digits, for heights, which are steep by no more than
// kLeastSlope allows, by one. So it shows in no answer, only in the proof of each.
constexpr double kDoubt = 1e-12;
// The least cosine of the angle between a face's normal and the direction: rounding of heights grows with its inverse.
constexpr double kLeastSlope = 0.02;
// Triangles are taken smaller by this part, so that faces that they only touch are not counted in.
constexpr double kShrunk = 1e-6;

double size2(double x, double y) {
  return std::sqrt(x * x + y * y);
}

}  // namespace

void PlaneOverlay::start(Vec origin, Vec direction) {
  origin_ = origin;
  normal_ = (1 / length(direction)) * direction;
  Vec const side = std::fabs(normal_.x) < 0.7 ? Vec{1, 0, 0} : Vec{0, 1, 0};
  Vec const across = cross(normal_, side);
  axis_x_ = (1 / length(across)) * across;
  axis_y_ = cross(normal_, axis_x_);
  faces_.clear();
  boxes_.clear();
  rim_.clear();
  extent_ = 0;
}

PlaneOverlay::Place PlaneOverlay::place_of(Vec p) const {
  Vec const q = p - origin_;
  return {dot(q, axis_x_), dot(q, axis_y_), dot(q, normal_)};
}

PlaneOverlay::Box PlaneOverlay::box_of(std::span<Place const> corners) {
  Box box{corners[0].x, corners[0].y, corners[0].x, corners[0].y};
  for (Place const& p : corners.subspan(1)) {
    box = {std::min(box.low_x, p.x), std::min(box.low_y, p.y), std::max(box.high_x, p.x), std::max(box.high_y, p.y)};
  }
  return box;
}

bool PlaneOverlay::add(std::array<Point, 3> const& corners, std::uint32_t number) {
  Face face{};
  for (std::size_t k = 0; k < 3; ++k) face.corners[k] = place_of(load(corners[k].data()));
  auto const& [a, b, c] = face.corners;
  Vec const u{b.x - a.x, b.y - a.y, b.z - a.z};
  Vec const v{c.x - a.x, c.y - a.y, c.z - a.z};
  Vec const n = cross(u, v);
  if (!(n.z > kLeastSlope * length(n))) return false;
  for (std::size_t k = 0; k < 3; ++k) {
    Place const& from = face.corners[k];
    Place const& to = face.corners[(k + 1) % 3];
    double const dx = to.x - from.x;
    double const dy = to.y - from.y;
    double const scale = size2(dx, dy);
    if (!(scale > 0)) return false;
    face.nx[k] = -dy / scale;
    face.ny[k] = dx / scale;
    face.offset[k] = -(face.nx[k] * from.x + face.ny[k] * from.y);
    extent_ = std::max({extent_, std::fabs(from.x), std::fabs(from.y), std::fabs(from.z)});
  }
  // From the longest edge on: at its far end a slope told by the normal alone would be off by many roundings where the
  // face is a needle.
  double longest = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    Place const& from = face.corners[k];
    Place const& to = face.corners[(k + 1) % 3];
    double const scale = size2(to.x - from.x, to.y - from.y);
    if (scale <= longest) continue;
    longest = scale;
    face.longest = k;
    face.along = (to.z - from.z) / scale;
  }
  face.aside = 0;
  std::size_t const opposite = (face.longest + 2) % 3;
  Place const& top = face.corners[opposite];
  double const aside = face.nx[face.longest] * top.x + face.ny[face.longest] * top.y + face.offset[face.longest];
  if (!(aside > 0)) return false;
  face.aside = (top.z - height_over(face, top)) / aside;
  face.face = number;
  face.points = corners;
  boxes_.push_back(box_of(face.corners));
  faces_.push_back(face);
  return true;
}

// Finds the edges that have no mate: each edge is passed as often one way as the other elsewhere.
void PlaneOverlay::close() {
  doubt_ = kDoubt * extent_;
  std::size_t const room = std::bit_ceil(8 * faces_.size() + 8);
  if (edges_.size() < room) {
    edges_.assign(room, HashedEdge{});
    stamp_ = 0;
  }
  if (++stamp_ == 0) {
    std::fill(edges_.begin(), edges_.end(), HashedEdge{});
    stamp_ = 1;
  }
  std::size_t const mask = edges_.size() - 1;
  listed_.clear();
  for (std::uint32_t i = 0; i < faces_.size(); ++i) {
    for (std::uint32_t k = 0; k < 3; ++k) {
      Point const& from = faces_[i].points[k];
      Point const& to = faces_[i].points[(k + 1) % 3];
      bool const forward = from < to;
      Point const& low = forward ? from : to;
      Point const& high = forward ? to : from;
      std::uint64_t hash = 0;
      for (Point const* const p : {&low, &high}) {
        // Zeros of either sign are equal.
        for (float const c : *p) hash = (hash ^ std::bit_cast<std::uint32_t>(c + 0.0F)) * 0x9E3779B97F4A7C15U;
      }
      std::size_t at = (hash >> 32U) & mask;
      while (true) {
        HashedEdge& edge = edges_[at];
        if (edge.stamp != stamp_) {
          edge = {stamp_, i, k, 0};
          listed_.push_back(static_cast<std::uint32_t>(at));
          break;
        }
        Point const& first = faces_[edge.face].points[edge.edge];
        Point const& second = faces_[edge.face].points[(edge.edge + 1) % 3];
        if ((first == low && second == high) || (first == high && second == low)) break;
        at = (at + 1) & mask;
      }
      edges_[at].balance += forward ? 1 : -1;
    }
  }
  for (std::uint32_t const at : listed_) {
    HashedEdge const& edge = edges_[at];
    if (edge.balance == 0) continue;
    std::array<Place, 2> const ends{faces_[edge.face].corners[edge.edge],
                                    faces_[edge.face].corners[(edge.edge + 1) % 3]};
    rim_.push_back({ends[0], ends[1], box_of(ends), edge.face, edge.edge});
  }
}

double PlaneOverlay::height_over(Face const& face, Place const& p) {
  std::size_t const k = face.longest;
  Place const& from = face.corners[k];
  double const x = p.x - from.x;
  double const y = p.y - from.y;
  double const along = face.ny[k] * x - face.nx[k] * y;
  double const aside = face.nx[k] * x + face.ny[k] * y;
  return from.z + along * face.along + aside * face.aside;
}

// Lists the edges without mate that may have a point in common with the triangle; false where they are too many.
bool PlaneOverlay::find_rim(std::array<Place, 3> const& triangle, Box const& box, double area) {
  met_.clear();
  for (Edge const& edge : rim_) {
    if (edge.box.low_x > box.high_x + doubt_ || edge.box.high_x < box.low_x - doubt_ ||
        edge.box.low_y > box.high_y + doubt_ || edge.box.high_y < box.low_y - doubt_) {
      continue;
    }
    double const dx = edge.to.x - edge.from.x;
    double const dy = edge.to.y - edge.from.y;
    double const doubt = doubt_ * size2(dx, dy);
    double least = kUntold;
    double most = -kUntold;
    for (Place const& p : triangle) {
      double const side = dx * (p.y - edge.from.y) - dy * (p.x - edge.from.x);
      least = std::min(least, side);
      most = std::max(most, side);
    }
    if (least > doubt || most < -doubt) continue;
    bool apart = false;
    double const sign = area > 0 ? 1 : -1;
    for (std::size_t k = 0; k < 3 && !apart; ++k) {
      Place const& a = triangle[k];
      Place const& b = triangle[(k + 1) % 3];
      double const ex = sign * (b.x - a.x);
      double const ey = sign * (b.y - a.y);
      double const from = ex * (edge.from.y - a.y) - ey * (edge.from.x - a.x);
      double const to = ex * (edge.to.y - a.y) - ey * (edge.to.x - a.x);
      apart = std::max(from, to) < -doubt_ * size2(ex, ey);
    }
    if (apart) continue;
    if (met_.size() == kMostRim) return false;
    met_.push_back(&edge);
  }
  return true;
}

// What lies inside of the edge of the face, `least` from its line; `least` below 0: what lies outside, -least within
// the line. All of the polygon, or put into `part`.
PlaneOverlay::Polygon const* PlaneOverlay::clip(Polygon const& polygon, Face const& face, std::size_t edge,
                                                double least, Polygon& part) {
  std::array<double, kMostCorners> side;
  bool all = true;
  double const sign = std::signbit(least) ? -1 : 1;
  for (std::size_t i = 0; i < polygon.count; ++i) {
    Place const& p = polygon.corners[i];
    side[i] = sign * (face.nx[edge] * p.x + face.ny[edge] * p.y + face.offset[edge]) - least;
    all &= side[i] >= 0;
  }
  if (all) return &polygon;
  part.count = 0;
  for (std::size_t i = 0; i < polygon.count; ++i) {
    std::size_t const j = i + 1 == polygon.count ? 0 : i + 1;
    Place const& a = polygon.corners[i];
    if (side[i] >= 0) part.corners[part.count++] = a;
    if ((side[i] >= 0) != (side[j] >= 0)) {
      Place const& b = polygon.corners[j];
      double const t = side[i] / (side[i] - side[j]);
      part.corners[part.count++] = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
    }
  }
  return &part;
}

// The greatest distance of a corner of the polygon from the face.
double PlaneOverlay::farthest_from(Face const& face, std::span<Place const> polygon) const {
  TriangleFrame const frame(load(face.points[0].data()), load(face.points[1].data()), load(face.points[2].data()));
  double squared = 0;
  for (Place const& p : polygon) {
    squared = std::max(squared, frame.squared_distance(origin_ + p.x * axis_x_ + p.y * axis_y_ + p.z * normal_));
  }
  return std::sqrt(squared);
}

double PlaneOverlay::cover(std::array<Vec, 3> const& triangle, double radius, std::vector<std::uint32_t>& used) {
  std::array<Place, 3> corners;
  for (std::size_t k = 0; k < 3; ++k) corners[k] = place_of(triangle[k]);
  Place const middle{(corners[0].x + corners[1].x + corners[2].x) / 3, (corners[0].y + corners[1].y + corners[2].y) / 3,
                     (corners[0].z + corners[1].z + corners[2].z) / 3};
  double moved = 0;
  for (Place& p : corners) {
    Place const way{kShrunk * (middle.x - p.x), kShrunk * (middle.y - p.y), kShrunk * (middle.z - p.z)};
    p = {p.x + way.x, p.y + way.y, p.z + way.z};
    moved = std::max(moved, std::fabs(way.x) + std::fabs(way.y) + std::fabs(way.z));
  }
  double const allowance = moved + 16 * doubt_;
  double const limit = radius - allowance;
  double const area = (corners[1].x - corners[0].x) * (corners[2].y - corners[0].y) -
                      (corners[2].x - corners[0].x) * (corners[1].y - corners[0].y);
  Box const box = box_of(corners);
  if (!(std::fabs(area) > 0) || !find_rim(corners, box, area)) return kUntold;
  std::size_t const before = used.size();
  double highest = 0;
  Polygon whole;
  std::copy(corners.begin(), corners.end(), whole.corners.begin());
  whole.count = 3;
  std::array<Polygon, 3> parts;
  Polygon const* inside = &whole;
  // A strip within the rim is counted as beyond, so that no face is counted that what is left only touches.
  double const strip = kShrunk * std::max(box.high_x - box.low_x, box.high_y - box.low_y) + doubt_;
  for (Edge const* const edge : met_) {
    Face const& face = faces_[edge->face];
    Polygon const* const beyond = clip(whole, face, edge->edge, -strip, parts[2]);
    inside = clip(*inside, face, edge->edge, strip, parts[inside == parts.data() ? 1 : 0]);
    if (beyond->count == 0) continue;
    double const distance = farthest_from(face, beyond->span());
    if (!(distance <= limit)) {
      used.resize(before);
      return kUntold;
    }
    highest = std::max(highest, distance);
    if (std::find(used.begin() + static_cast<std::ptrdiff_t>(before), used.end(), face.face) == used.end()) {
      used.push_back(face.face);
    }
  }
  if (inside->count == 0) return highest + allowance;
  Box const left = met_.empty() ? box : box_of(inside->span());
  Polygon& first = parts[inside == parts.data() ? 1 : 0];
  bool any = false;
  for (std::size_t i = 0; i < boxes_.size(); ++i) {
    Box const& of_face = boxes_[i];
    if (of_face.low_x > left.high_x || of_face.high_x < left.low_x || of_face.low_y > left.high_y ||
        of_face.high_y < left.low_y) {
      continue;
    }
    Face const& face = faces_[i];
    Polygon const* part = inside;
    for (std::size_t k = 0; k < 3 && part->count > 0; ++k)
      part = clip(*part, face, k, 0, part == &first ? parts[2] : first);
    if (part->count == 0) continue;
    double height = 0;
    for (Place const& p : part->span()) height = std::max(height, std::fabs(p.z - height_over(face, p)));
    if (!(height <= limit)) height = farthest_from(face, part->span());
    if (!(height <= limit)) {
      used.resize(before);
      return kUntold;
    }
    any = true;
    highest = std::max(highest, height);
    if (met_.empty() ||
        std::find(used.begin() + static_cast<std::ptrdiff_t>(before), used.end(), face.face) == used.end()) {
      used.push_back(face.face);
    }
  }
  if (any) return highest + allowance;
  used.resize(before);
  return kUntold;
}

}  // namespace mirel::engine
