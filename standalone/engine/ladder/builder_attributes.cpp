// UVs and normals of one star, and of all stars at the start.
#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>

#include "standalone/engine/ladder/builder.h"

namespace mirel::engine {

// Marks the vertices with one wedge.
void LadderBuilder::start_attributes() {
  std::size_t seam_wedges = 0;
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    bool const single = mesh.vertex_count() == mesh.position_count;
    // One of each position's wedges, and how many there are.
    std::vector<std::uint32_t> wedges(single ? 0 : mesh.position_count);
    std::vector<std::uint8_t> several(single ? 0 : mesh.position_count, 2);
    for (std::uint32_t w = mesh.vertex_count(); !single && w-- > 0;) {
      wedges[mesh.position_of[w]] = w;
      several[mesh.position_of[w]] >>= 1;
    }
    for (std::uint32_t v = vertex_base_[m]; v < vertex_base_[m + 1]; ++v) {
      std::uint32_t const position = origins_[v].lowest;
      if (!single) origins_[v].node = records_.wedge_base[m] + wedges[position];
      if (single || several[position] != 0) {
        stars_.vertex(v).flags |= kOneWedge;
        --seam_wedges;
      }
    }
    seam_wedges += mesh.vertex_count();
  }
  seam_wedges -= 3 * loose_faces_.size();
  // A few more: those of a merged vertex are made before those that it is made of go.
  if (seam_wedges > 0) attributes_.start_seam_wedges(seam_wedges + 64, records_.parent.capacity());
  if (records_.layout.stride != 0) attribute_values_.resize(stars_.vertex_count());
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if ((stars_.vertex(v).flags & kOneWedge) != 0) {
      if (!attribute_values_.empty()) attribute_values_[v] = attribute_row(v, origins_[v].node);
    } else {
      start_seam_wedges(v);
    }
  }
}

// Puts the attributes of a vertex's wedges where they are looked for.
void LadderBuilder::start_seam_wedges(std::uint32_t v) {
  for (StarEntry const& entry : std::as_const(stars_).star(v)) {
    std::uint32_t const wedge = attributes_.wedge(entry.face(), entry.corner());
    if (!attributes_.is_seam_wedge(wedge)) attributes_.add_seam_wedge(wedge).row = attribute_row(v, wedge);
  }
}

// The most entries that the stars of a stretch of so many vertices have.
std::size_t LadderBuilder::most_entries_of(std::uint32_t stretch) const {
  std::size_t most = 0;
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    for (std::uint32_t begin = vertex_base_[m]; begin < vertex_base_[m + 1]; begin += stretch) {
      std::size_t count = 0;
      for (std::uint32_t v = begin; v < std::min(begin + stretch, vertex_base_[m + 1]); ++v) {
        count += stars_.vertex(v).star_count;
      }
      most = std::max(most, count);
    }
  }
  return most;
}

// Adds features and attributes to the first sums. The gradients of a face are worked out once for the corners that are
// in one stretch of vertices, which stays near the processor.
void LadderBuilder::sum_attributed_stars() {
  constexpr std::uint32_t kStretch = 512;
  // Places of faces count on from stretch to stretch, so that those of earlier ones are told by being lower.
  std::vector<std::uint32_t> places(attribute_values_.empty() ? 0 : records_.face_count(), 0);
  std::size_t const most_entries = attribute_values_.empty() ? 0 : most_entries_of(kStretch);
  // What no stretch comes to is never touched.
  auto const faces = std::make_unique_for_overwrite<AttributeFace[]>(most_entries);
  auto const rows = std::make_unique_for_overwrite<FaceGradients[]>(most_entries + kMaxLanes);
  auto const star_places = std::make_unique_for_overwrite<std::uint32_t[]>(most_entries);
  std::vector<std::uint32_t> summed;
  summed.reserve(kStretch);
  std::uint32_t begin_place = 1;
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    auto const mesh = static_cast<std::uint32_t>(m);
    std::uint32_t const kinds = attribute_values_.empty() ? 0 : attributes_.kinds(mesh);
    for (std::uint32_t begin = vertex_base_[m]; begin < vertex_base_[m + 1]; begin += kStretch) {
      summed.clear();
      for (std::uint32_t v = begin; v < std::min(begin + kStretch, vertex_base_[m + 1]); ++v) {
        bool const at_seam = kinds != 0 && (stars_.vertex(v).flags & kOneWedge) == 0;
        bool const summed_here = at_seam || is_regular(v);
        if (!summed_here) {
          refresh(v, true);
        } else if (kinds != 0) {
          summed.push_back(v);
        }
      }
      if (summed.empty()) continue;
      std::uint32_t count = 0;
      std::uint32_t* star_place = star_places.get();
      for (std::uint32_t const v : summed) {
        for (StarEntry const& entry : std::as_const(stars_).star(v)) {
          std::uint32_t& place = places[entry.face()];
          if (place < begin_place) {
            faces[count] = attribute_face(v, entry);
            place = begin_place + count++;
          }
          *star_place++ = place - begin_place;
        }
      }
      attribute_kernels_.face_gradients[kinds](faces.get(), count, attributes_.scale(mesh), rows.get());
      star_place = star_places.get();
      for (std::uint32_t const v : summed) {
        Vertex& vertex = stars_.vertex(v);
        std::uint32_t const star_count = vertex.star_count;
        if ((vertex.flags & kOneWedge) != 0) {
          attribute_kernels_.add_row_variation(rows.get(), star_place, star_count, vertex.quadric);
        } else {
          sum_wedge_variations(v, std::as_const(stars_).star(v), rows.get(), star_place);
          refresh(v, false);
        }
        star_place += star_count;
      }
      begin_place += count;
    }
  }
}

AttributeRow LadderBuilder::attribute_row(std::uint32_t v, std::uint32_t wedge) const {
  AttributeRow row = WedgeAttributes::values(records_, wedge);
  Vertex const& vertex = stars_.vertex(v);
  row.position[0] = vertex.x, row.position[1] = vertex.y, row.position[2] = vertex.z;
  return row;
}

// Makes room for the corners of so many faces.
void LadderBuilder::start_corners(std::size_t faces) {
  if (attribute_faces_.size() < faces) {
    attribute_faces_.resize(2 * faces);
    foretold_.resize(2 * faces + kMaxLanes);
  }
}

void LadderBuilder::list_attribute_faces(std::uint32_t v, std::span<StarEntry const> star) {
  start_corners(star.size());
  for (std::size_t i = 0; i < star.size(); ++i) attribute_faces_[i] = attribute_face(v, star[i]);
}

inline AttributeFace LadderBuilder::attribute_face(std::uint32_t v, StarEntry const& entry) const {
  return {{corner_values(v, entry, 0), corner_values(entry.next, entry, 1), corner_values(entry.previous, entry, 2)}};
}

// Whether all other corners of some faces are vertices with one wedge.
bool LadderBuilder::have_one_wedge(std::span<StarEntry const> faces) const {
  std::uint32_t flags = kOneWedge;
  for (StarEntry const& face : faces) {
    flags &= std::uint32_t{stars_.vertex(face.next).flags} & stars_.vertex(face.previous).flags;
  }
  return flags != 0;
}

LadderBuilder::SeamState LadderBuilder::seam_state(std::uint32_t v) const {
  SeamState state;
  static_assert(sizeof(state) == sizeof(AttributeRow));
  std::memcpy(static_cast<void*>(&state), &attribute_values_[v], sizeof(state));
  return state;
}

// Adds what attributes say to the quadric of v. `anew`: whether that is worked out again where it is known, which it is
// of vertices with several wedges.
void LadderBuilder::add_attributes(std::uint32_t v, bool anew) {
  if (attribute_values_.empty()) return;
  Vertex& vertex = stars_.vertex(v);
  std::span<StarEntry const> const star = std::as_const(stars_).star(v);
  if ((vertex.flags & kOneWedge) == 0) {
    SeamState state = seam_state(v);
    if (anew) {
      find_wedge_variations(v, star);
      state = seam_state(v);
    }
    for (std::size_t i = 0; i < 6; ++i) vertex.quadric[i] += state.variation[i];
    return;
  }
  std::uint32_t const mesh = mesh_of(v);
  std::uint32_t const kinds = attributes_.kinds(mesh);
  if (kinds == 0 || star.empty()) return;
  auto const count = static_cast<std::uint32_t>(star.size());
  AttributeScale const& scale = attributes_.scale(mesh);
  if (have_one_wedge(star)) {
    if (star_faces_.size() < count + kMaxLanes) star_faces_.resize(2 * count + kMaxLanes);
    std::copy_n(star.begin(), count, star_faces_.begin());
    std::fill_n(star_faces_.begin() + count, kMaxLanes, star.back());
    attribute_kernels_.add_star_variation[kinds](attribute_values_[v], {attribute_values_.data(), star_faces_.data()},
                                                 count, scale, vertex.quadric);
    return;
  }
  list_attribute_faces(v, star);
  attribute_kernels_.add_variation[kinds](attribute_values_[v], attribute_faces_.data(), count, scale, vertex.quadric);
}

// What attributes add to the quadric of v, which has several wedges, from its faces.
void LadderBuilder::find_wedge_variations(std::uint32_t v, std::span<StarEntry const> star) {
  std::uint32_t const mesh = mesh_of(v);
  std::uint32_t const kinds = attributes_.kinds(mesh);
  auto const count = static_cast<std::uint32_t>(star.size());
  if (kinds != 0) {
    list_attribute_faces(v, star);
    if (gradient_rows_.size() < count + kMaxLanes) {
      gradient_rows_.resize(2 * std::size_t{count} + kMaxLanes);
      gradient_places_.resize(2 * std::size_t{count});
      std::iota(gradient_places_.begin(), gradient_places_.end(), 0U);
    }
    attribute_kernels_.face_gradients[kinds](attribute_faces_.data(), count, attributes_.scale(mesh),
                                             gradient_rows_.data());
  }
  sum_wedge_variations(v, star, gradient_rows_.data(), gradient_places_.data());
}

// The same from the gradients of the faces, which stand at `places` among `rows`. Faces that have one value at the
// vertex speak together, whatever wedges they use. Notes their mean gradients with these wedges.
void LadderBuilder::sum_wedge_variations(std::uint32_t v, std::span<StarEntry const> star, FaceGradients const* rows,
                                         std::uint32_t const* places) {
  std::uint32_t const mesh = mesh_of(v);
  std::uint32_t const kinds = attributes_.kinds(mesh);
  SeamState state = seam_state(v);
  std::fill_n(state.variation, 6, 0.0F);
  if (kinds != 0 && !star.empty()) {
    bool const alike = list_star_wedges(star);
    if (kinds == (kUvs | kNormals) && alike) {
      add_group_variations(0, kinds, mesh, rows, places, state.variation);
    } else {
      for (std::uint32_t kind = 0; kind < 2; ++kind) {
        if ((kinds >> kind & 1U) != 0) add_group_variations(kind, 1U << kind, mesh, rows, places, state.variation);
      }
    }
  }
  std::memcpy(static_cast<void*>(&attribute_values_[v]), &state, sizeof(state));
}

// Lists the wedges of a star, and of each by kind the first that has the same value. Whether UVs and normals part them
// alike.
bool LadderBuilder::list_star_wedges(std::span<StarEntry const> star) {
  std::size_t const count = star.size();
  if (own_of_face_.size() < count) {
    own_of_face_.resize(2 * count);
    star_wedges_.resize(2 * count);
    group_places_.resize(2 * count);
  }
  StarWedge* const wedges = star_wedges_.data();
  std::uint32_t found = 0;
  bool alike = true;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t const wedge = attributes_.wedge(star[i].face(), star[i].corner());
    std::uint32_t own = 0;
    while (own < found && wedges[own].wedge != wedge) ++own;
    own_of_face_[i] = own;
    if (own < found) continue;
    wedges[own] = {wedge, {own, own}};
    AttributeRow const& row = attributes_.seam_wedge(wedge).row;
    std::uint32_t sought = kUvs | kNormals;
    for (std::uint32_t other = 0; other < own && sought != 0; ++other) {
      std::uint32_t const same = sought & kinds_alike(row, attributes_.seam_wedge(wedges[other].wedge).row);
      sought &= ~same;
      if ((same & kUvs) != 0) wedges[own].groups[0] = other;
      if ((same & kNormals) != 0) wedges[own].groups[1] = other;
    }
    alike = alike && wedges[own].groups[0] == wedges[own].groups[1];
    ++found;
  }
  star_wedge_count_ = found;
  star_face_count_ = static_cast<std::uint32_t>(count);
  return alike;
}

// Adds the variation over the star listed of some kinds, its wedges in groups as those of the first kind are.
void LadderBuilder::add_group_variations(std::uint32_t kind, std::uint32_t kinds, std::uint32_t mesh,
                                         FaceGradients const* rows, std::uint32_t const* places, float* variation) {
  std::span<StarWedge const> const wedges = std::span(star_wedges_).first(star_wedge_count_);
  for (std::uint32_t group = 0; group < wedges.size(); ++group) {
    if (wedges[group].groups[kind] != group) continue;
    std::uint32_t members = 0;
    for (StarWedge const& wedge : wedges) members += wedge.groups[kind] == group ? 1U : 0U;
    std::uint32_t const* group_places = places;
    std::uint32_t count = star_face_count_;
    if (members < wedges.size()) {
      count = 0;
      for (std::uint32_t i = 0; i < star_face_count_; ++i) {
        group_places_[count] = places[i];
        count += wedges[own_of_face_[i]].groups[kind] == group ? 1U : 0U;
      }
      group_places = group_places_.data();
    }
    MeanGradients means;
    attribute_kernels_.add_group_variation(rows, group_places, count, kinds, attributes_.scale(mesh), variation, means);
    // Each wedge answers for its share.
    float const share = 1.0F / static_cast<float>(members);
    for (StarWedge const& wedge : wedges) {
      if (wedge.groups[kind] != group) continue;
      WedgeAttributes::set_gradients(means, kinds, share, attributes_.seam_wedge(wedge.wedge).gradients);
    }
  }
}

}  // namespace mirel::engine
