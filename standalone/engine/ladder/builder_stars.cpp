// Sums and feature edges of one star.
#include <algorithm>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

namespace {

// Lines of feature edges, in the unit of the faces. Boundaries: much less lets holes drift, much more spends triangles
// on them; borders between materials stay in place. Along seams and creases UVs and normals speak for themselves, and
// the line only settles what they leave open.
constexpr float kBoundaryWeight = 5;
constexpr float kSetBorderWeight = 3;
constexpr float kUvSeamWeight = 0.1F;
constexpr float kNormalSeamWeight = 0.02F;

}  // namespace

Vec3 LadderBuilder::triangle_normal(std::uint32_t v, StarEntry const& entry) const {
  Vec3 const origin = stars_.vertex(v).position();
  return cross(stars_.vertex(entry.next).position() - origin, stars_.vertex(entry.previous).position() - origin);
}

// Whether the star is closed fans of consistent orientation without any feature edge: the quick test before `refresh`.
bool LadderBuilder::is_regular(std::uint32_t v) const {
  constexpr std::size_t kMostFaces = 24;
  std::span<StarEntry const> const star = stars_.star(v);
  std::size_t const count = star.size();
  if (count > kMostFaces) return false;
  if (!star_kernels_.has_closed_fans(star.data(), static_cast<std::uint32_t>(count))) return false;
  if (!records_.attributed) return true;
  // Between vertices of one wedge there is no seam.
  bool one_wedge = !attributes_.has_sets() && (stars_.vertex(v).flags & kOneWedge) != 0;
  for (StarEntry const& entry : star) one_wedge = one_wedge && (stars_.vertex(entry.next).flags & kOneWedge) != 0;
  return one_wedge || shows_no_feature(star);
}

// Whether the wedges and sets of a closed fan's faces agree along all its edges, and one wedge serves all.
bool LadderBuilder::shows_no_feature(std::span<StarEntry const> star) const {
  for (StarEntry const& entry : star) {
    StarEntry const& partner =
        *std::find_if(star.begin(), star.end(), [&](StarEntry const& other) { return other.next == entry.previous; });
    std::uint32_t const face = entry.face();
    std::uint32_t const other = partner.face();
    if (attributes_.wedge(face, entry.corner()) != attributes_.wedge(star[0].face(), star[0].corner()) ||
        attributes_.set_of(face) != attributes_.set_of(other) ||
        attributes_.wedge(face, entry.corner()) != attributes_.wedge(other, partner.corner()) ||
        attributes_.wedge(face, (entry.corner() + 2) % 3) != attributes_.wedge(other, (partner.corner() + 1) % 3)) {
      return false;
    }
  }
  return true;
}

// What the edge between two faces of a star weighs, seen from its far end; 0 where it is no feature.
float LadderBuilder::feature_weight(StarEntry const& first, StarEntry const& second, std::uint32_t first_far,
                                    std::uint32_t second_far) const {
  if (!records_.attributed) return 0;
  if (attributes_.set_of(first.face()) != attributes_.set_of(second.face())) return kSetBorderWeight;
  std::uint32_t const near_a = attributes_.wedge(first.face(), first.corner());
  std::uint32_t const near_b = attributes_.wedge(second.face(), second.corner());
  std::uint32_t const far_a = attributes_.wedge(first.face(), (first.corner() + first_far) % 3);
  std::uint32_t const far_b = attributes_.wedge(second.face(), (second.corner() + second_far) % 3);
  if (near_a == near_b && far_a == far_b) return 0;
  bool const uv_seam =
      attributes_.uvs_differ(records_, near_a, near_b) || attributes_.uvs_differ(records_, far_a, far_b);
  return uv_seam ? kUvSeamWeight : kNormalSeamWeight;
}

// Lists the feature edges of a star that is one fan or several, open or closed. False where it is something else.
bool LadderBuilder::list_fan_features(std::span<StarEntry const> star) {
  for (std::size_t i = 0; i < star.size(); ++i) {
    StarEntry const* partner = nullptr;
    std::uint32_t partners = 0;
    std::uint32_t others = 0;
    std::uint32_t doubles = 0;
    for (StarEntry const& other : star) {
      bool const meets = other.previous == star[i].next;
      partner = meets ? &other : partner;
      partners += meets ? 1U : 0U;
      others += other.next == star[i].previous ? 1U : 0U;
      doubles += (other.next == star[i].next ? 1U : 0U) + (other.previous == star[i].previous ? 1U : 0U);
    }
    if (partners > 1 || others > 1 || doubles > 2) return false;
    if (partners == 0) {
      features_.push_back({star[i].next, kBoundaryWeight, true, false});
    } else {
      // In the order of the star, as the general way has it.
      bool const first = partner > &star[i];
      float const weight = first ? feature_weight(star[i], *partner, 1, 2) : feature_weight(*partner, star[i], 2, 1);
      if (weight > 0) features_.push_back({star[i].next, weight, false, false});
    }
    if (others == 0) features_.push_back({star[i].previous, kBoundaryWeight, true, false});
  }
  return true;
}

// The same of any star.
void LadderBuilder::list_features(std::span<StarEntry const> star) {
  std::vector<Side>& sides = refresh_sides_;
  sides.clear();
  for (StarEntry const& entry : star) {
    sides.push_back({entry.next, &entry, false});
    sides.push_back({entry.previous, &entry, true});
  }
  std::sort(sides.begin(), sides.end(), [](Side const& l, Side const& r) {
    return l.neighbour != r.neighbour ? l.neighbour < r.neighbour : l.entry < r.entry;
  });
  for (std::size_t i = 0; i < sides.size();) {
    std::size_t end = i + 1;
    while (end < sides.size() && sides[end].neighbour == sides[i].neighbour) ++end;
    Feature feature = {sides[i].neighbour, kBoundaryWeight, end - i == 1, false};
    if (end - i == 2) {
      feature.weight = feature_weight(*sides[i].entry, *sides[i + 1].entry, sides[i].incoming ? 2 : 1,
                                      sides[i + 1].incoming ? 2 : 1);
      feature.turned = sides[i].incoming == sides[i + 1].incoming;
    }
    if (feature.weight > 0 || feature.turned) features_.push_back(feature);
    i = end;
  }
}

// Makes the sums of v anew from its star, with the lines of its feature edges, and sets its flags. `attributes_anew`:
// whether what attributes add is made anew as well where it is known.
void LadderBuilder::refresh(std::uint32_t v, bool attributes_anew) {
  constexpr std::size_t kMostFaces = 24;
  Vertex& vertex = stars_.vertex(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  StarSums sums;
  for (StarEntry const& entry : star) sums.add_triangle(triangle_normal(v, entry), 1);
  features_.clear();
  if (star.size() > kMostFaces || !list_fan_features(star)) {
    features_.clear();
    list_features(star);
  } else {
    std::sort(features_.begin(), features_.end(),
              [](Feature const& l, Feature const& r) { return l.neighbour < r.neighbour; });
  }
  bool boundary = false;
  for (Feature const& feature : features_) {
    boundary |= feature.boundary;
    if (feature.weight > 0) {
      sums.add_line(stars_.vertex(feature.neighbour).position() - vertex.position(), feature.weight);
    }
  }
  bool const irregular = !features_.empty();
  store(sums, vertex);
  bool const had_one_wedge = (vertex.flags & kOneWedge) != 0;
  bool one_wedge = records_.attributed;
  for (StarEntry const& entry : star) {
    one_wedge = one_wedge &&
                attributes_.wedge(entry.face(), entry.corner()) == attributes_.wedge(star[0].face(), star[0].corner());
  }
  vertex.flags =
      static_cast<std::uint8_t>((vertex.flags & ~(kIrregular | kBoundary | kOneWedge)) | (irregular ? kIrregular : 0) |
                                (boundary ? kBoundary : 0) | (one_wedge ? kOneWedge : 0));
  if (one_wedge && !had_one_wedge) {
    origins_[v].node = attributes_.wedge(star[0].face(), star[0].corner());
    if (!attribute_values_.empty()) attribute_values_[v] = attribute_row(v, origins_[v].node);
  }
  add_attributes(v, attributes_anew);
}

}  // namespace mirel::engine
