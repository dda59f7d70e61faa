// Making and recording a collapse.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "standalone/engine/ladder/builder.h"
#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

namespace {

// What takes the time of a whole star is done some eight times until half of its faces are gone.
std::uint32_t pause_of(std::uint32_t faces) {
  return std::max(std::bit_floor(faces) / 8, 1U);
}

}  // namespace

// Whether it is time to look at the vertex again after a collapse beside it.
bool LadderBuilder::is_due(std::uint32_t v) const {
  std::uint32_t const faces = stars_.vertex(v).star_count;
  return faces < kLargeStar || faces % pause_of(faces) < 2;
}

std::uint32_t LadderBuilder::new_node(std::uint32_t lowest) {
  std::uint32_t const node = records_.node_count();
  records_.parent.push_back(kNone);
  records_.created.push_back({place_point_, lowest});
  return node;
}

// The ring of the edge at hand, each vertex once: neighbours of a, then those of b that are not a's.
void LadderBuilder::list_ring() {
  list_both_neighbours();
  ring_.clear();
  for (std::uint32_t const v : own_neighbours_.span()) {
    if (v != fan_.b) ring_.push_back(v);
  }
  for (std::uint32_t const v : other_neighbours_.span()) {
    if (v != fan_.a && !is_opposite(v)) ring_.push_back(v);
  }
}

// Makes the collapse that `check` has just allowed. The vertex with the larger star keeps its number, so that fewer
// stars have to be rewritten.
void LadderBuilder::commit(std::uint32_t a, std::uint32_t b, Vec3 place, float key) {
  if (!guards_.empty()) {
    guards_[mesh_of(a)]->commit();
    for (Neighbours const* const ring : {&own_neighbours_, &other_neighbours_}) {
      for (std::uint32_t const v : ring->span()) {
        if (v == a || v == b || is_due(v)) refused_edges_.change(v);
      }
    }
  }
  bool const swapped = stars_.vertex(b).star_count > stars_.vertex(a).star_count;
  std::uint32_t const kept = swapped ? b : a;
  std::uint32_t const gone = swapped ? a : b;

  bool const with_attributes = !attribute_values_.empty();
  bool const regular = ((stars_.vertex(a).flags | stars_.vertex(b).flags) & kIrregular) == 0;
  // Lines go with the vertices that they lead to.
  if (!regular && with_attributes) {
    for (std::uint32_t const end : {a, b}) {
      if ((stars_.vertex(end).flags & kIrregular) == 0) continue;
      list_all_features(std::as_const(stars_).star(end));
      move_feature_lines(end, end == a ? b : a, -1);
    }
  }
  bool const single_wedges = records_.attributed && single_wedges_;
  if (single_wedges) {
    record_single_wedge(a, b);
    origins_[kept].node = records_.node_count() - 1;
  } else if (records_.attributed) {
    record_wedges(a, b);
  } else {
    std::uint32_t const node = new_node(std::min(origins_[a].lowest, origins_[b].lowest));
    records_.parent[origins_[a].node] = node;
    records_.parent[origins_[b].node] = node;
    origins_[kept].node = node;
  }
  origins_[kept].lowest = std::min(origins_[a].lowest, origins_[b].lowest);

  ++step_;
  // Before the stars around are renamed in whole vectors: what follows such a store too closely waits for it.
  changed_wedges_.clear();
  for (StarEntry const& face : dying()) {
    std::uint32_t const v = opposite(face);
    stars_.remove(v, face.face());
    if (!regular && with_attributes && (stars_.vertex(v).flags & kOneWedge) == 0) {
      std::uint32_t const corner = face.corner() + (face.next == b ? 2 : 1);
      if (has_lost_wedge(v, attributes_.wedge(face.face(), corner % 3))) changed_wedges_.push_back(v);
    }
    if (stars_.vertex(v).star_count == 0) retire(v);
    records_.face_death[face.face()] = step_;
    --live_faces_;
  }
  // No feature edge of a vertex on the ring ends in a regular one.
  bool const keeps_features = regular && records_.attributed;
  RingState const ring_state = star_kernels_.change_ring(stars_.vertices(), fan_, fan_changes_.data(), kSetAside,
                                                         records_.attributed ? 0U : std::uint32_t{kIrregular});
  bool ring_irregular = !keeps_features && (ring_state.flags & kIrregular) != 0;
  if (ring_irregular && with_attributes) {
    ring_irregular = std::ranges::any_of(survivors(), [this](StarEntry const& face) {
      return is_to_be_refreshed(face.next) || is_to_be_refreshed(face.previous);
    });
  }
  // The star of the vertex that is kept is renamed too, and then written anew.
  if (ring_state.any_set_aside || ring_state.any_hub || ring_irregular || !has_closed_fans(gone)) {
    list_ring();
    for (std::uint32_t const v : (swapped ? own_neighbours_ : other_neighbours_).span()) {
      if (stars_.is_hub(v)) {
        for (StarEntry const& face : std::as_const(stars_).star(gone)) {
          if (face.next == v || face.previous == v) stars_.rename(v, face.face(), gone, kept);
        }
      } else {
        stars_.rename(v, gone, kept);
      }
    }
  } else {
    star_kernels_.rename_in_ring(stars_.vertices(), stars_.entries(), stars_.star(gone).data(),
                                 stars_.vertex(gone).star_count, gone, kept);
  }
  std::uint8_t const locked =
      static_cast<std::uint8_t>((stars_.vertex(gone).flags | stars_.vertex(kept).flags) & kLocked);
  retire(gone);
  stars_.assign(kept, survivors());
  Vertex& vertex = stars_.vertex(kept);
  bool const kept_was_active = vertex.bucket != kSetAside;
  vertex.bucket = kNotQueued;
  vertex.set_position(place);
  vertex.error = key;
  vertex.flags = static_cast<std::uint8_t>((vertex.flags & ~(kUrgent | kFresh)) | locked);
  if (single_wedges) {
    vertex.flags |= kOneWedge;
    if (with_attributes) attribute_values_[kept] = merged_wedge_.row;
  } else {
    vertex.flags = static_cast<std::uint8_t>(vertex.flags & ~kOneWedge);
  }
  if (regular) {
    std::memcpy(static_cast<void*>(&vertex), merged_sums_.values, sizeof(merged_sums_.values));
    vertex.set_position(place);
    if (with_attributes && single_wedges) add_merged_attributes(kept);
  } else {
    refresh(kept, true, merged_sums_.values);
    if (with_attributes) move_feature_lines(kept, kNone, 1);
  }
  if (ring_irregular) {
    for (std::uint32_t const v : ring_) {
      Vertex const& neighbour = stars_.vertex(v);
      // The sums of hubs are changed like those of others, and made anew only now and then.
      std::uint32_t const pause = std::max(Stars::kHub, pause_of(neighbour.star_count));
      bool const due = !stars_.is_hub(v) || neighbour.star_count % pause < 2;
      if (is_to_be_refreshed(v) && due) refresh(v, false);
    }
  }
  for (std::uint32_t const v : changed_wedges_) {
    if ((stars_.vertex(v).flags & kDead) == 0) refresh(v, false);
  }
  if (live_components_ > 0) {
    Component& component = components_[component_of_[kept]];
    component.active += kept_was_active ? 0U : 1U;
    component.member = kept;
  }
  finish_step();

  if (!ring_state.any_set_aside) {
    file_later(kept);
    return;
  }
  // `process` overwrites the scratch of this collapse; the ring is not part of what it uses.
  std::vector<std::uint32_t> ring;
  ring.swap(ring_);
  file_later(kept);
  for (std::uint32_t const v : ring) {
    if (stars_.vertex(v).bucket == kSetAside && is_due(v)) wake(v);
  }
  ring_.swap(ring);
}

void LadderBuilder::finish_step() {
  own_listed_ = kNone;
  records_.face_count_at.push_back(live_faces_);
  records_.node_count_at.push_back(records_.node_count());
  if (options_.tolerance > 0) {
    double bound = 0;
    for (auto const& guard : guards_) bound = std::max(bound, guard->bound());
    float const above = std::nextafter(static_cast<float>(bound), std::numeric_limits<float>::infinity());
    records_.deviation_at.push_back(bound > 0 ? std::min(above, options_.tolerance) : 0);
  }
}

}  // namespace mirel::engine
