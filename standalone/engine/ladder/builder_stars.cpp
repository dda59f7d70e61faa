// Sums and feature edges of one star.
#include <algorithm>
#include <cstring>
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

// Lists the feature edges of a star that is closed fans of one orientation. `partners`: as from pair_faces.
void LadderBuilder::list_fan_features(std::span<StarEntry const> star, std::uint32_t const* partners) {
  if (!records_.attributed) return;
  constexpr std::uint8_t kNext[3] = {1, 2, 0}, kPrevious[3] = {2, 0, 1};
  bool const has_sets = attributes_.has_sets();
  for (std::size_t i = 0; i < star.size(); ++i) {
    StarEntry const& entry = star[i];
    StarEntry const& partner = star[partners[i]];
    std::uint32_t const* const wedges = attributes_.wedges(entry.face());
    std::uint32_t const* const others = attributes_.wedges(partner.face());
    bool const joined = wedges[entry.corner()] == others[partner.corner()] &&
                        wedges[kNext[entry.corner()]] == others[kPrevious[partner.corner()]];
    if (joined && !has_sets) continue;
    float const weight = feature_weight(entry, partner, 1, 2);
    if (weight > 0) features_.push_back({entry.next, weight, false, false});
  }
  std::sort(features_.begin(), features_.end(),
            [](Feature const& l, Feature const& r) { return l.neighbour < r.neighbour; });
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

// Lists the feature edges of a star. Whether it is closed fans.
bool LadderBuilder::list_all_features(std::span<StarEntry const> star) {
  features_.clear();
  std::uint32_t partners[kMostPaired];
  bool const closed_fans = star.size() <= kMostPaired &&
                           star_kernels_.pair_faces(star.data(), static_cast<std::uint32_t>(star.size()), partners);
  if (closed_fans) {
    list_fan_features(star, partners);
  } else {
    list_features(star);
  }
  return closed_fans;
}

// Adds the lines of the feature edges listed, which are those of v, to the sums of their other ends where these are
// kept up to date; or takes them away, by `sign`.
void LadderBuilder::move_feature_lines(std::uint32_t v, std::uint32_t except, float sign) {
  Vec3 const position = stars_.vertex(v).position();
  for (Feature const& feature : features_) {
    Vertex& other = stars_.vertex(feature.neighbour);
    if (feature.neighbour == except || !(feature.weight > 0) || is_to_be_refreshed(feature.neighbour)) continue;
    StarSums line;
    line.add_line(position - other.position(), sign * feature.weight);
    for (std::size_t i = 0; i < 6; ++i) other.quadric[i] += line.quadric[i];
  }
}

// Whether the sums of a vertex are made anew when something around it changes. Where seams and creases run through
// closed fans only their lines move.
bool LadderBuilder::is_to_be_refreshed(std::uint32_t v) const {
  return (stars_.vertex(v).flags & (kIrregular | kDead)) == kIrregular && !has_closed_fans(v);
}

// Whether no face of v uses a wedge any more that one has used.
bool LadderBuilder::has_lost_wedge(std::uint32_t v, std::uint32_t wedge) const {
  return std::ranges::none_of(
      stars_.star(v), [&](StarEntry const& entry) { return attributes_.wedge(entry.face(), entry.corner()) == wedge; });
}

// Makes the sums of v anew from its star, with the lines of its feature edges, and sets its flags. `attributes_anew`:
// whether what attributes add is made anew as well where it is known. `face_sums`: the sums of the star's faces, where
// they are known, laid out like a vertex.
void LadderBuilder::refresh(std::uint32_t v, bool attributes_anew, float const* face_sums) {
  Vertex& vertex = stars_.vertex(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  StarSums sums;
  if (face_sums != nullptr) {
    std::copy_n(face_sums + 3, 6, sums.quadric);
    sums.normal = {face_sums[9], face_sums[10], face_sums[11]};
  } else {
    for (StarEntry const& entry : star) sums.add_triangle(triangle_normal(v, entry), 1);
  }
  bool const closed_fans = list_all_features(star);
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
    attributes_.drop_seam_wedge(origins_[v].node);
  }
  add_attributes(v, attributes_anew);
  if (!one_wedge && !attribute_values_.empty()) {
    SeamState state = seam_state(v);
    state.closed_fans = closed_fans ? 1 : 0;
    std::memcpy(static_cast<void*>(&attribute_values_[v]), &state, sizeof(state));
  }
}

}  // namespace mirel::engine
