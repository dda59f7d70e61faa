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

// Makes the sums of v anew from its star, with the lines of its feature edges, and sets its flags.
void LadderBuilder::refresh(std::uint32_t v) {
  std::vector<Side>& sides = refresh_sides_;
  Vertex& vertex = stars_.vertex(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  StarSums sums;
  sides.clear();
  for (StarEntry const& entry : star) {
    sums.add_triangle(triangle_normal(v, entry), 1);
    sides.push_back({entry.next, &entry, false});
    sides.push_back({entry.previous, &entry, true});
  }
  std::sort(sides.begin(), sides.end(), [](Side const& l, Side const& r) {
    return l.neighbour != r.neighbour ? l.neighbour < r.neighbour : l.entry < r.entry;
  });
  bool boundary = false;
  bool irregular = false;
  for (std::size_t i = 0; i < sides.size();) {
    std::size_t end = i + 1;
    while (end < sides.size() && sides[end].neighbour == sides[i].neighbour) ++end;
    float weight = 0;
    if (end - i == 1) {
      boundary = true;
      weight = kBoundaryWeight;
    } else if (end - i > 2) {
      weight = kBoundaryWeight;
    } else {
      StarEntry const& first = *sides[i].entry;
      StarEntry const& second = *sides[i + 1].entry;
      irregular |= sides[i].incoming == sides[i + 1].incoming;
      if (records_.attributed) {
        auto const far_corner = [](Side const& side) { return (side.entry->corner() + (side.incoming ? 2U : 1U)) % 3; };
        std::uint32_t const near_a = attributes_.wedge(first.face(), first.corner());
        std::uint32_t const near_b = attributes_.wedge(second.face(), second.corner());
        std::uint32_t const far_a = attributes_.wedge(first.face(), far_corner(sides[i]));
        std::uint32_t const far_b = attributes_.wedge(second.face(), far_corner(sides[i + 1]));
        if (attributes_.set_of(first.face()) != attributes_.set_of(second.face())) {
          weight = kSetBorderWeight;
        } else if (near_a != near_b || far_a != far_b) {
          bool const uv_seam =
              attributes_.uvs_differ(records_, near_a, near_b) || attributes_.uvs_differ(records_, far_a, far_b);
          weight = uv_seam ? kUvSeamWeight : kNormalSeamWeight;
        }
      }
    }
    if (weight > 0) {
      irregular = true;
      sums.add_line(stars_.vertex(sides[i].neighbour).position() - vertex.position(), weight);
    }
    i = end;
  }
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
    if (!attribute_sums_.empty()) sum_attributes(v);
  }
}

}  // namespace mirel::engine
