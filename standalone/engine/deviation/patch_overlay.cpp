#include "standalone/engine/deviation/patch_overlay.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mirel::engine {
namespace {

// Beyond these floats overflow, or lose what counts.
constexpr double kLargestExtent = 1e15;
constexpr double kLeastRadius = 1e-15;
// The part of the radius that slack may take.
constexpr double kMostSlack = 1.0 / 16;
// Triangles that are taken beside those asked for, and twice as many as these.
constexpr std::size_t kMostBeside = 64;

std::size_t whole_blocks(std::size_t count) {
  return (count + kLocalBlock - 1) / kLocalBlock * kLocalBlock;
}

}  // namespace

PatchOverlay::PatchOverlay(TriangleBvh const& original, std::span<std::uint32_t const> faces)
    : original_(original),
      topology_(original, faces),
      position_mark_(topology_.position_count(), 0),
      position_point_(topology_.position_count()),
      slot_mark_(original.size(), 0),
      slot_index_(original.size()),
      in_cover_(original.size(), 0) {}

bool PatchOverlay::start(std::span<std::uint32_t const> slots, std::span<CoverTriangle const> fresh, double radius) {
  slots_ = slots;
  fresh_ = fresh;
  around_ = {};
  radius_ = radius;
  if (slots.empty() || fresh.empty() || radius < kLeastRadius) return false;
  if (++epoch_ == 0) {
    std::fill(position_mark_.begin(), position_mark_.end(), 0);
    std::fill(slot_mark_.begin(), slot_mark_.end(), 0);
    epoch_ = 1;
  }
  origin_ = original_.corner(slots.front(), 0);
  list_points(slots);
  double extent = 0;
  for (std::size_t i = 0; i < point_count_; ++i) {
    extent = std::max<double>({extent, std::fabs(x_[i]), std::fabs(y_[i]), std::fabs(z_[i])});
  }
  for (CoverTriangle const& triangle : fresh) extent = std::max(extent, triangle.frame.extent_from(origin_));
  // Faces around are a little farther away.
  extent_ = 2 * extent;
  slack_ = kLocalSlack * extent_;
  if (!(extent_ < kLargestExtent) || slack_ > kMostSlack * radius) return false;
  within_ = static_cast<float>((radius - slack_) * (radius - slack_) * (1 - 1e-6));
  triangles_listed_ = false;
  measure_fresh();
  far_.clear();
  for (std::uint32_t i = 0; i < point_count_; ++i) {
    if (!(corners_[i].squared <= within_)) far_.push_back(i);
  }
  return true;
}

// Every corner once.
void PatchOverlay::list_points(std::span<std::uint32_t const> slots) {
  points_of_.resize(slots.size());
  std::size_t const room = whole_blocks(3 * slots.size());
  x_.resize(room);
  y_.resize(room);
  z_.resize(room);
  triangle_of_.resize(room);
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < slots.size(); ++i) {
    slot_mark_[slots[i]] = epoch_;
    slot_index_[slots[i]] = static_cast<std::uint32_t>(i);
    std::array<std::uint32_t, 3> const& positions = topology_.corners(slots[i]);
    for (std::size_t k = 0; k < 3; ++k) {
      std::uint32_t const position = positions[k];
      if (position_mark_[position] != epoch_) {
        position_mark_[position] = epoch_;
        position_point_[position] = count;
        Vec const p = corner(i, k) - origin_;
        x_[count] = static_cast<float>(p.x);
        y_[count] = static_cast<float>(p.y);
        z_[count] = static_cast<float>(p.z);
        triangle_of_[count] = static_cast<std::uint32_t>(4 * i + k);
        ++count;
      }
      points_of_[i][k] = position_point_[position];
    }
  }
  point_count_ = count;
  for (std::size_t i = count; i < whole_blocks(count); ++i) {
    x_[i] = x_[count - 1];
    y_[i] = y_[count - 1];
    z_[i] = z_[count - 1];
  }
}

void PatchOverlay::measure_fresh() {
  std::size_t const row = whole_blocks(point_count_);
  std::size_t const all = row * fresh_.size();
  if (squared_.size() < all) {
    place_x_.resize(all);
    place_y_.resize(all);
    place_z_.resize(all);
    squared_.resize(all);
  }
  local_.resize(fresh_.size());
  flat_.resize(fresh_.size());
  corners_.assign(point_count_, {0, std::numeric_limits<float>::infinity(), 0, 0});
  for (std::size_t j = 0; j < fresh_.size(); ++j) {
    flat_[j] = fresh_[j].frame.has_plane() ? 1 : 0;
    float* const squared = squared_.data() + j * row;
    if (flat_[j] == 0) {
      std::fill_n(squared, row, std::numeric_limits<float>::infinity());
      continue;
    }
    local_[j] = fresh_[j].frame.local(origin_, slack_);
    measure(local_[j], {x_.data(), y_.data(), z_.data(), row},
            {place_x_.data() + j * row, place_y_.data() + j * row, place_z_.data() + j * row, squared});
    for (std::size_t i = 0; i < point_count_; ++i) {
      if (squared[i] < corners_[i].squared) {
        corners_[i].squared = squared[i];
        corners_[i].fresh = static_cast<std::uint32_t>(j);
      }
    }
  }
  for (Corner& corner : corners_) {
    corner.nearest = corner.fresh;
    corner.nearest_squared = corner.squared;
  }
}

// Only points beyond the radius of the new faces need the others.
void PatchOverlay::add_others(std::span<CoverTriangle const> around) {
  around_ = around;
  std::size_t const row = whole_blocks(far_.size());
  for (std::vector<float>* const list :
       {&far_x_, &far_y_, &far_z_, &far_place_x_, &far_place_y_, &far_place_z_, &far_squared_}) {
    list->resize(row);
  }
  for (std::size_t i = 0; i < row; ++i) {
    std::uint32_t const point = far_[std::min(i, far_.size() - 1)];
    far_x_[i] = x_[point];
    far_y_[i] = y_[point];
    far_z_[i] = z_[point];
  }
  for (std::size_t j = 0; j < around_.size(); ++j) {
    if (!around_[j].frame.has_plane() || around_[j].frame.extent_from(origin_) > extent_) continue;
    measure(around_[j].frame.local(origin_, slack_), {far_x_.data(), far_y_.data(), far_z_.data(), row},
            {far_place_x_.data(), far_place_y_.data(), far_place_z_.data(), far_squared_.data()});
    for (std::size_t i = 0; i < far_.size(); ++i) {
      Corner& corner = corners_[far_[i]];
      if (far_squared_[i] < corner.nearest_squared) {
        corner.nearest_squared = far_squared_[i];
        corner.nearest = static_cast<std::uint32_t>(fresh_.size() + j);
      }
    }
  }
}

void PatchOverlay::list_triangles_of_faces() {
  triangles_listed_ = true;
  std::size_t const faces = fresh_.size();
  triangles_begin_.assign(faces + 1, 0);
  auto const each = [&](auto const& visit) {
    for (std::uint32_t i = 0; i < points_of_.size(); ++i) {
      std::uint32_t const a = corners_[points_of_[i][0]].nearest;
      std::uint32_t const b = corners_[points_of_[i][1]].nearest;
      std::uint32_t const c = corners_[points_of_[i][2]].nearest;
      if (a < faces) visit(a, i);
      if (b < faces && b != a) visit(b, i);
      if (c < faces && c != a && c != b) visit(c, i);
    }
  };
  each([&](std::uint32_t j, std::uint32_t) { ++triangles_begin_[j + 1]; });
  for (std::size_t j = 1; j <= faces; ++j) triangles_begin_[j] += triangles_begin_[j - 1];
  triangles_.resize(triangles_begin_[faces]);
  for (std::size_t j = faces; j > 0; --j) triangles_begin_[j] = triangles_begin_[j - 1];
  each([&](std::uint32_t j, std::uint32_t i) { triangles_[triangles_begin_[j + 1]++] = i; });
  triangles_begin_[0] = 0;
}

float PatchOverlay::squared_to(std::uint32_t face, std::uint32_t point) const {
  if (face < fresh_.size()) return squared_[face * whole_blocks(point_count_) + point];
  return corners_[point].nearest == face ? corners_[point].nearest_squared : std::numeric_limits<float>::infinity();
}

// Cuts the triangle between faces a and b; every corner must be within the radius of one of them.
bool PatchOverlay::cut(std::size_t i, std::uint32_t a, std::uint32_t b, double& worst) const {
  TriangleFrame const& first = face(a).frame;
  TriangleFrame const& second = face(b).frame;
  std::array<bool, 3> at_first{};
  for (std::size_t k = 0; k < 3; ++k) {
    float const to_first = squared_to(a, points_of_[i][k]);
    float const to_second = squared_to(b, points_of_[i][k]);
    at_first[k] = to_first <= to_second;
    float const squared = at_first[k] ? to_first : to_second;
    if (!(squared <= within_)) return false;
    worst = std::max(worst, static_cast<double>(squared));
  }
  for (std::size_t k = 0; k < 3; ++k) {
    std::size_t const next = (k + 1) % 3;
    if (at_first[k] == at_first[next]) continue;
    Vec const from = corner(i, at_first[k] ? k : next);
    Vec const to = corner(i, at_first[k] ? next : k);
    std::size_t edge = 0;
    double lowest = 0;
    for (std::size_t side = 0; side < 3; ++side) {
      double const d = first.edge_distance(side, to);
      if (d < lowest) {
        lowest = d;
        edge = side;
      }
    }
    double const inside = lowest < 0 ? first.edge_distance(edge, from) : 0;
    Vec const middle = inside > 0 ? from + (inside / (inside - lowest)) * (to - from) : from;
    double const distance = std::max(first.squared_distance(middle), second.squared_distance(middle));
    if (!(distance <= within_)) return false;
    worst = std::max(worst, distance);
  }
  return true;
}

PatchOverlay::Cover PatchOverlay::cover(std::size_t i) {
  std::array<std::uint32_t, 3> const& points = points_of_[i];
  std::array<std::uint32_t, 3> const nearest{corners_[points[0]].nearest, corners_[points[1]].nearest,
                                             corners_[points[2]].nearest};
  Cover best;
  float least = std::numeric_limits<float>::infinity();
  for (std::size_t k = 0; k < 3; ++k) {
    if (k > 0 && (nearest[k] == nearest[0] || (k > 1 && nearest[k] == nearest[1]))) continue;
    float farthest = 0;
    for (std::uint32_t const point : points) farthest = std::max(farthest, squared_to(nearest[k], point));
    if (farthest <= within_ && farthest < least) {
      least = farthest;
      best.faces[0] = face(nearest[k]).face;
      best.count = 1;
    }
  }
  if (best.count == 1) {
    best.distance = std::sqrt(static_cast<double>(least)) + slack_;
    return best;
  }
  for (std::size_t k = 0; k < 3; ++k) {
    std::uint32_t const a = std::min(nearest[k], nearest[(k + 1) % 3]);
    std::uint32_t const b = std::max(nearest[k], nearest[(k + 1) % 3]);
    if (a == b || a >= fresh_.size()) continue;  // two faces around: the general test knows more of them
    if (flat_[a] == 0) continue;
    double worst = 0;
    if (!cut(i, a, b, worst)) continue;
    best.faces = {face(a).face, face(b).face};
    best.count = 2;
    best.distance = std::sqrt(worst) + slack_;
    return best;
  }
  return best;
}

void PatchOverlay::bounds_of_far(Vec& low, Vec& high) const {
  double const far = std::numeric_limits<double>::infinity();
  low = {far, far, far};
  high = {-far, -far, -far};
  for (std::uint32_t const i : far_) {
    low = {std::min<double>(low.x, x_[i]), std::min<double>(low.y, y_[i]), std::min<double>(low.z, z_[i])};
    high = {std::max<double>(high.x, x_[i]), std::max<double>(high.y, y_[i]), std::max<double>(high.z, z_[i])};
  }
  Vec const slack{slack_, slack_, slack_};
  low = low + origin_ - slack;
  high = high + origin_ + slack;
}

bool PatchOverlay::find_beyond(std::size_t& i, std::size_t& k) const {
  auto const beyond = static_cast<float>((radius_ + slack_) * (radius_ + slack_) * (1 + 1e-6));
  float worst = beyond;
  for (std::uint32_t const point : far_) {
    if (!(corners_[point].nearest_squared > worst)) continue;
    worst = corners_[point].nearest_squared;
    i = triangle_of_[point] / 4;
    k = triangle_of_[point] % 4;
  }
  return worst > beyond;
}

bool PatchOverlay::find_farthest(std::size_t j, std::size_t& i, std::size_t& k) const {
  float farthest = -1;
  for (std::size_t point = 0; point < point_count_; ++point) {
    if (corners_[point].nearest != j || !(corners_[point].squared > farthest)) continue;
    farthest = corners_[point].squared;
    i = triangle_of_[point] / 4;
    k = triangle_of_[point] % 4;
  }
  return farthest >= 0;
}

float PatchOverlay::worst_corner(std::size_t i) const {
  float worst = 0;
  for (std::uint32_t const point : points_of_[i]) worst = std::max(worst, corners_[point].nearest_squared);
  return worst;
}

// False where the triangle reaches too far away.
bool PatchOverlay::places_of(std::size_t j, std::uint32_t slot, std::array<Place, 3>& places) const {
  if (slot_mark_[slot] == epoch_) {
    std::size_t const row = j * whole_blocks(point_count_);
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const at = row + points_of_[slot_index_[slot]][k];
      places[k] = {place_x_[at], place_y_[at], place_z_[at]};
    }
    return true;
  }
  for (std::uint32_t k = 0; k < 3; ++k) {
    Vec const p = original_.corner(slot, k) - origin_;
    if (!(std::max({std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)}) <= extent_)) return false;
    // As `measure` does it, to the bit: a corner has one place, whoever asks for it.
    LocalFace const& f = local_[j];
    float const qx = static_cast<float>(p.x) - f.origin[0];
    float const qy = static_cast<float>(p.y) - f.origin[1];
    float const qz = static_cast<float>(p.z) - f.origin[2];
    places[k] = {qx * f.axis_x[0] + qy * f.axis_x[1] + qz * f.axis_x[2],
                 qx * f.axis_y[0] + qy * f.axis_y[1] + qz * f.axis_y[2],
                 qx * f.normal[0] + qy * f.normal[1] + qz * f.normal[2]};
  }
  return true;
}

// The greatest height over the face that the triangle has within the face's prism.
float PatchOverlay::highest_over(std::size_t j, std::array<Place, 3> const& places) const {
  std::array<Place, 9> polygon{};
  std::array<Place, 9> clipped{};
  std::size_t count = 3;
  std::copy(places.begin(), places.end(), polygon.begin());
  for (std::size_t edge = 0; edge < 3 && count > 0; ++edge) {
    std::size_t kept = 0;
    for (std::size_t k = 0; k < count; ++k) {
      Place const& a = polygon[k];
      Place const& b = polygon[k + 1 == count ? 0 : k + 1];
      // A little more than the prism, for what floats may hide.
      float const at_a = local_[j].side(edge, a.x, a.y) + static_cast<float>(slack_);
      float const at_b = local_[j].side(edge, b.x, b.y) + static_cast<float>(slack_);
      if (at_a >= 0) clipped[kept++] = a;
      if ((at_a >= 0) != (at_b >= 0)) {
        float const t = at_a / (at_a - at_b);
        clipped[kept++] = {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
      }
    }
    polygon = clipped;
    count = kept;
  }
  float highest = 0;
  for (std::size_t k = 0; k < count; ++k) highest = std::max(highest, std::fabs(polygon[k].z));
  return highest;
}

namespace {

// 1 or -1 where the triangle goes around the point, 0 where it does not. Doubtful where the point lies on an edge.
template <typename Place>
int turns_around(std::array<Place, 3> const& places, double x, double y, bool& doubtful) {
  int left = 0;
  int right = 0;
  for (std::size_t k = 0; k < 3; ++k) {
    Place const& a = places[k];
    Place const& b = places[(k + 1) % 3];
    double const first = (double{a.x} - x) * (double{b.y} - y);
    double const second = (double{a.y} - y) * (double{b.x} - x);
    double const doubt = 1e-14 * (std::fabs(first) + std::fabs(second));
    left += first - second > doubt ? 1 : 0;
    right += first - second < -doubt ? 1 : 0;
  }
  if (left == 3) return 1;
  if (right == 3) return -1;
  doubtful |= left + right < 3 && (left == 0 || right == 0);
  return 0;
}

}  // namespace

double PatchOverlay::distance_of_face(std::size_t j) {
  constexpr double kUnsettled = std::numeric_limits<double>::infinity();
  if (!triangles_listed_) list_triangles_of_faces();
  if (flat_[j] == 0) return kUnsettled;
  LocalFace const& face = local_[j];
  double const middle_x = (double{face.bx} + double{face.cx}) / 3;
  double const middle_y = double{face.cy} / 3;
  // Edges on the rim of the face, as those of an open border are, count as outside: they leave out a rim of twice the
  // slack, whose points are no farther from the rest than the face's size over its incircle tells.
  double const perimeter = double{face.bx} + std::hypot(double{face.cx} - double{face.bx}, double{face.cy}) +
                           std::hypot(double{face.cx}, double{face.cy});
  double rim = 2 * slack_ * perimeter / double{face.cy};
  bool const open = rim <= kMostSlack * radius_ && double{face.cy} > 12 * slack_;
  if (!open) rim = 0;
  auto const limit = static_cast<float>((radius_ - slack_ - rim) * (1 - 1e-6));
  auto const margin = static_cast<float>(open ? slack_ : -slack_);
  if (++cover_stamp_ == 0) {
    std::fill(in_cover_.begin(), in_cover_.end(), 0);
    cover_stamp_ = 1;
  }
  float highest = 0;
  int degree = 0;
  bool doubtful = false;
  std::array<Place, 3> places;
  auto const height_of = [&] {
    float const height = std::max({std::fabs(places[0].z), std::fabs(places[1].z), std::fabs(places[2].z)});
    return height <= limit ? height : highest_over(j, places);
  };
  // Triangles with a corner that is nearest to the face, and where there is none, those over its middle. Others of a
  // surface that turns away count where the surface leads to them.
  stack_.clear();
  auto const seed = [&](std::uint32_t slot) {
    if (!(height_of() <= limit)) return;
    stack_.push_back(slot);
    in_cover_[slot] = cover_stamp_;
  };
  for (std::uint32_t t = triangles_begin_[j]; t < triangles_begin_[j + 1]; ++t) {
    std::uint32_t const slot = slots_[triangles_[t]];
    places_of(j, slot, places);
    seed(slot);
  }
  for (std::size_t i = 0; i < slots_.size() && triangles_begin_[j] == triangles_begin_[j + 1]; ++i) {
    places_of(j, slots_[i], places);
    bool on_edge = false;
    if (turns_around(places, middle_x, middle_y, on_edge) != 0) seed(slots_[i]);
  }
  // Those beside the listed ones are few, unless something is odd.
  std::size_t room = kMostBeside + 2 * stack_.size();
  while (!stack_.empty()) {
    std::uint32_t const slot = stack_.back();
    stack_.pop_back();
    if (!places_of(j, slot, places)) return kUnsettled;
    std::array<std::array<float, 3>, 3> side;
    for (std::size_t k = 0; k < 3; ++k) {
      for (std::size_t edge = 0; edge < 3; ++edge) side[k][edge] = face.side(edge, places[k].x, places[k].y);
    }
    float const height = height_of();
    if (!(height <= limit)) return kUnsettled;
    highest = std::max(highest, height);
    degree += turns_around(places, middle_x, middle_y, doubtful);
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const next = (k + 1) % 3;
      std::uint32_t const mate = topology_.mate(slot, k);
      if (mate != OriginalTopology::kNoMate && in_cover_[mate] == cover_stamp_) continue;
      bool outside = false;
      for (std::size_t edge = 0; edge < 3; ++edge) outside |= std::max(side[k][edge], side[next][edge]) < margin;
      if (outside) continue;
      if (mate == OriginalTopology::kNoMate || room-- == 0) return kUnsettled;
      in_cover_[mate] = cover_stamp_;
      stack_.push_back(mate);
    }
  }
  if (doubtful || degree == 0) return kUnsettled;
  return static_cast<double>(highest) + slack_ + rim;
}

}  // namespace mirel::engine
