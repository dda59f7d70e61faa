#include "standalone/engine/ladder/wedge_merge.h"

#include <algorithm>
#include <cstring>

namespace mirel::engine {

namespace {

// Which of a row's values are of a kind.
constexpr std::size_t kBegins[2] = {0, 2};
constexpr std::size_t kEnds[2] = {2, kMaxAttributes};

double uv_area(float const* a, float const* b, float const* c) {
  return (double{b[0]} - double{a[0]}) * (double{c[1]} - double{a[1]}) -
         (double{c[0]} - double{a[0]}) * (double{b[1]} - double{a[1]});
}

int sign(double value) {
  return value > 0 ? 1 : value < 0 ? -1 : 0;
}

// Whether a face of which `uv` becomes the first corner's turns over in UV space.
bool turns_over(AttributeFace const& face, float const* uv) {
  float const* const next = face.corners[1]->values;
  float const* const previous = face.corners[2]->values;
  return sign(uv_area(face.corners[0]->values, next, previous)) != sign(uv_area(uv, next, previous));
}

void copy_kind(AttributeRow const& from, std::size_t kind, AttributeRow& to) {
  std::copy(from.values + kBegins[kind], from.values + kEnds[kind], to.values + kBegins[kind]);
}

// A row of eight floats, four at a time.
struct RowLanes {
  Lanes low, high;

  template <typename Row>
  static RowLanes of(Row const& row) {
    static_assert(sizeof(Row) == sizeof(RowLanes));
    RowLanes lanes;
    std::memcpy(&lanes, &row, sizeof(lanes));
    return lanes;
  }
  template <typename Row>
  void store(Row& row) const {
    static_assert(sizeof(Row) == sizeof(RowLanes));
    std::memcpy(static_cast<void*>(&row), this, sizeof(row));
  }
  RowLanes operator+(RowLanes const& other) const { return {low + other.low, high + other.high}; }
};

Lanes first_four(AttributeRow const& row) {
  Lanes lanes;
  std::memcpy(&lanes, &row, sizeof(lanes));
  return lanes;
}

// What the faces of a wedge foretell for a place.
RowLanes foretell(SeamWedge const& wedge, float const* place) {
  RowLanes row = RowLanes::of(wedge.row);
  RowLanes const weights = RowLanes::of(wedge.gradients.weights);
  RowLanes way = {};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    RowLanes const along = RowLanes::of(wedge.gradients.along[axis]);
    Lanes const x = splat(place[axis] - wedge.row.position[axis]);
    way = way + RowLanes{along.low * x, along.high * x};
  }
  row = row + way;
  row.low *= weights.low;
  // Behind the values: the weights of UVs and of normals.
  row.high = Lanes{row.high[0] * weights.high[0], weights.low[0], weights.low[2], 0};
  return row;
}

}  // namespace

bool turns_uv_over(std::span<AttributeFace const> faces, float const* uv) {
  return std::ranges::any_of(faces, [uv](AttributeFace const& face) { return turns_over(face, uv); });
}

// The place of a wedge among those from `begin` on, which are those of one end.
inline std::uint32_t WedgeMerge::place_of(std::uint32_t begin, std::uint32_t wedge, WedgeAttributes const& attributes,
                                          EdgeAttributes const& edge, EdgeEnd const& end) {
  OldWedge* const wedges = wedges_.data();
  std::uint32_t const count = wedge_count_;
  for (std::uint32_t place = begin; place < count; ++place) {
    if (wedges[place].wedge == wedge) return place;
  }
  OldWedge& added = wedges[count];
  added.wedge = wedge;
  added.link = added.same[0] = added.same[1] = count;
  if (end.values != nullptr) {
    added.values = end.values;
    added.foretold = end.foretold;
  } else {
    SeamWedge const& seam = attributes.seam_wedge(wedge);
    added.values = &seam.row;
    foretell(seam, edge.place).store(added.foretold);
  }
  added.low = added.high = first_four(*added.values);
  wedge_count_ = count + 1;
  return count;
}

// The wedges of both ends with what their faces foretell.
void WedgeMerge::gather(WedgeAttributes const& attributes, EdgeAttributes const& edge) {
  auto const count = static_cast<std::uint32_t>(edge.faces.size());
  if (wedge_of_face_.size() < count) {
    // Each face has one wedge at the end that it is around, and those that go one more.
    wedges_.resize(std::size_t{4} * count);
    groups_.resize(std::size_t{4} * count);
    wedge_of_face_.resize(std::size_t{2} * count);
    other_wedge_.resize(std::size_t{2} * count);
  }
  wedge_count_ = 0;
  std::uint32_t* const of_face = wedge_of_face_.data();
  auto const add_face = [&](std::uint32_t i, std::uint32_t begin, EdgeEnd const& end) {
    StarEntry const& entry = edge.faces[i];
    of_face[i] = place_of(begin, attributes.wedge(entry.face(), entry.corner()), attributes, edge, end);
    edge.corners[i].corners[0] = wedges_[of_face[i]].values;
  };
  for (std::uint32_t i = 0; i < edge.of_a; ++i) add_face(i, 0, edge.ends[0]);
  for (std::uint32_t i = edge.surviving; i < count; ++i) add_face(i, 0, edge.ends[0]);
  wedges_of_a_ = wedge_count_;
  for (std::uint32_t i = edge.of_a; i < edge.surviving; ++i) add_face(i, wedges_of_a_, edge.ends[1]);
  for (std::uint32_t i = edge.surviving; i < count; ++i) {
    StarEntry const& entry = edge.faces[i];
    std::uint32_t const corner = entry.next == edge.b ? 1 : 2;
    std::uint32_t const wedge = attributes.wedge(entry.face(), (entry.corner() + corner) % 3);
    other_wedge_[i - edge.surviving] = place_of(wedges_of_a_, wedge, attributes, edge, edge.ends[1]);
  }
}

// The wedges that faces on the edge join become one group each, all others a group of their own.
void WedgeMerge::link(EdgeAttributes const& edge) {
  OldWedge* const wedges = wedges_.data();
  auto const root = [wedges](std::uint32_t i) {
    while (wedges[i].link != i) i = wedges[i].link;
    return i;
  };
  for (std::size_t i = edge.surviving; i < edge.faces.size(); ++i) {
    std::uint32_t const ra = root(wedge_of_face_[i]);
    std::uint32_t const rb = root(other_wedge_[i - edge.surviving]);
    wedges[std::max(ra, rb)].link = std::min(ra, rb);
  }
  std::uint32_t count = 0;
  for (std::uint32_t i = 0; i < wedge_count_; ++i) {
    if (wedges[i].link == i) {
      groups_[count] = {{}, false, {count, count}};
      wedges[i].group = count++;
    } else {
      wedges[i].group = wedges[root(i)].group;  // a root stands before all that is linked to it
    }
  }
  group_count_ = count;
}

// Finds the wedges of an end that have one value, for UVs and for normals. A seam of the texture need not be a crease
// of the shading, nor the other way around: `shares`: groups of which two wedges had one value at either end have one
// too.
void WedgeMerge::find_shared(bool shares) {
  OldWedge* const wedges = wedges_.data();
  Group* const groups = groups_.data();
  auto const root = [groups](std::uint32_t group, std::size_t kind) {
    while (groups[group].shared[kind] != group) group = groups[group].shared[kind];
    return group;
  };
  for (std::uint32_t i = 1; i < wedge_count_; ++i) {
    std::uint32_t sought = kUvs | kNormals;
    for (std::uint32_t k = i < wedges_of_a_ ? 0 : wedges_of_a_; k < i && sought != 0; ++k) {
      std::uint32_t const found = sought & kinds_alike(*wedges[i].values, *wedges[k].values);
      sought &= ~found;
      for (std::size_t kind = 0; kind < 2; ++kind) {
        if ((found >> kind & 1U) == 0) continue;
        wedges[i].same[kind] = k;
        if (!shares) continue;
        std::uint32_t const ri = root(wedges[i].group, kind);
        std::uint32_t const rk = root(wedges[k].group, kind);
        groups[std::max(ri, rk)].shared[kind] = std::min(ri, rk);
      }
    }
  }
  for (std::size_t kind = 0; kind < 2; ++kind) {
    // A root stands before all that shares with it.
    for (Group& group : this->groups()) group.shared[kind] = groups[group.shared[kind]].shared[kind];
    for (OldWedge& wedge : old_wedges()) wedge.shared[kind] = groups[wedge.group].shared[kind];
  }
}

// Between which values the UVs of the faces lie that use a wedge.
void WedgeMerge::find_uv_bounds(EdgeAttributes const& edge) {
  OldWedge* const wedges = wedges_.data();
  for (std::size_t i = 0; i < edge.faces.size(); ++i) {
    OldWedge& wedge = wedges[wedge_of_face_[i]];
    for (std::size_t corner = 1; corner < 3; ++corner) {
      Lanes const row = first_four(*edge.corners[i].corners[corner]);
      wedge.low = smaller(row, wedge.low);
      wedge.high = larger(row, wedge.high);
    }
  }
}

// Keeps the UV of a group between those of the faces around it.
void WedgeMerge::keep_inside(std::size_t group, float* uv) const {
  OldWedge const* first = nullptr;
  Lanes low = {}, high = {};
  for (OldWedge const& wedge : wedges()) {
    if (wedge.shared[0] != group) continue;
    low = first == nullptr ? wedge.low : smaller(wedge.low, low);
    high = first == nullptr ? wedge.high : larger(wedge.high, high);
    first = &wedge;
  }
  for (std::size_t k = 0; k < 2; ++k) uv[k] = std::min(std::max(low[k], uv[k]), high[k]);
}

// Keeps the UV of a group at a seam close to those that it has at the ends of the edge: beyond the outline of its chart
// the texture shows something else.
void WedgeMerge::keep_on_outline(std::size_t group, float* uv) const {
  constexpr float kMargin = 0.375F;
  float const* ends[2] = {nullptr, nullptr};
  float low[2], high[2];
  bool several = false;
  for (OldWedge const& wedge : wedges()) {
    if (wedge.shared[0] != group) continue;
    float const* const own = wedge.values->values;
    if (ends[0] == nullptr) {
      ends[0] = ends[1] = own;
      std::copy_n(own, 2, low);
      std::copy_n(own, 2, high);
    }
    if (std::equal(own, own + 2, ends[0]) || std::equal(own, own + 2, ends[1])) continue;
    several |= ends[1] != ends[0];
    ends[1] = own;
    for (std::size_t k = 0; k < 2; ++k) low[k] = std::min(low[k], own[k]), high[k] = std::max(high[k], own[k]);
  }
  if (several) {
    float const margin = kMargin * std::max(high[0] - low[0], high[1] - low[1]);
    for (std::size_t k = 0; k < 2; ++k) uv[k] = std::min(std::max(low[k] - margin, uv[k]), high[k] + margin);
    return;
  }
  float const along[2] = {ends[1][0] - ends[0][0], ends[1][1] - ends[0][1]};
  float const length2 = along[0] * along[0] + along[1] * along[1];
  float const offset[2] = {uv[0] - ends[0][0], uv[1] - ends[0][1]};
  float share = 0;
  float aside = 0;
  if (length2 > 0) {
    share = (offset[0] * along[0] + offset[1] * along[1]) / length2;
    aside = (offset[1] * along[0] - offset[0] * along[1]) / length2;
    share = std::min(std::max(-kMargin, share), 1 + kMargin);
    aside = std::min(std::max(-kMargin, aside), kMargin);
  }
  uv[0] = ends[0][0] + share * along[0] - aside * along[1];
  uv[1] = ends[0][1] + share * along[1] + aside * along[0];
}

// The mean of the values that a group has at the ends of the edge.
void WedgeMerge::choose_mean(std::size_t kind, std::size_t group, AttributeRow& values) const {
  float members = 0;
  for (OldWedge const& wedge : wedges()) {
    if (wedge.shared[kind] != group) continue;
    ++members;
    // Step by step, as the sum may be no number.
    for (std::size_t k = kBegins[kind]; k < kEnds[kind]; ++k) {
      values.values[k] += wedge.values->values[k] / members - values.values[k] / members;
    }
  }
}

// The values of one kind for all groups. `counts`: whether faces foretell any.
void WedgeMerge::choose_values(std::size_t kind, bool counts) {
  for (std::uint32_t g = 0; g < group_count_; ++g) {
    Group& group = groups_[g];
    if (group.shared[kind] != g) {
      copy_kind(groups_[group.shared[kind]].values, kind, group.values);
      continue;
    }
    RowLanes foretold = {};
    for (OldWedge const& wedge : wedges()) {
      if (wedge.shared[kind] == g) foretold = foretold + RowLanes::of(wedge.foretold);
    }
    float const weight = foretold.high[kind == 0 ? 1 : 2];
    if (!counts || !(weight > 0)) {
      choose_mean(kind, g, group.values);
      continue;
    }
    float* const values = group.values.values;
    Lanes const best = foretold.low / splat(weight);
    if (kind == 0) {
      values[0] = best[0], values[1] = best[1];
      keep_inside(g, values);
      if (group_count_ > 1) keep_on_outline(g, values);
    } else {
      values[2] = best[2], values[3] = best[3], values[4] = foretold.high[0] / weight;
    }
  }
}

// A vertex that stays where it is keeps its values to the bit.
void WedgeMerge::keep_values(EdgeAttributes const& edge, bool shares) {
  std::uint32_t const begin = edge.kept == 0 ? 0 : wedges_of_a_;
  std::uint32_t const end = edge.kept == 0 ? wedges_of_a_ : wedge_count_;
  for (std::uint32_t w = begin; w < end; ++w) groups_[wedges_[w].group].values = *wedges_[w].values;
  if (shares) copy_shared(begin, end);
}

// Groups without a wedge of the end that stays, whose wedges are those of places `begin` to `end`, take the value of
// the first one with such a wedge that they share it with.
void WedgeMerge::copy_shared(std::size_t begin, std::size_t end) {
  auto const kept = wedges().subspan(begin, end - begin);
  for (std::size_t kind = 0; kind < 2; ++kind) {
    source_.assign(group_count_, kNone);
    for (OldWedge const& wedge : kept) {
      std::uint32_t& source = source_[wedge.shared[kind]];
      source = std::min(source, wedge.group);
    }
    for (std::size_t w = 0; w < wedge_count_; ++w) {
      if (w >= begin && w < end) continue;
      std::uint32_t const group = wedges_[w].group;
      std::uint32_t const source = source_[wedges_[w].shared[kind]];
      if (source != kNone && std::ranges::find(kept, group, &OldWedge::group) == kept.end()) {
        copy_kind(groups_[source].values, kind, groups_[group].values);
      }
    }
  }
}

// What the values chosen cost beyond those that would be best for each end by itself.
void WedgeMerge::add_cost(std::size_t kind, float scale) {
  float sum = 0;
  for (std::uint32_t w = 0; w < wedge_count_; ++w) {
    OldWedge const& wedge = wedges_[w];
    if (wedge.same[kind] != w) continue;
    // A part of its own, with all that have the same value at this end.
    RowLanes foretold = RowLanes::of(wedge.foretold);
    for (std::uint32_t other = w + 1; other < wedge_count_; ++other) {
      if (wedges_[other].same[kind] == w) foretold = foretold + RowLanes::of(wedges_[other].foretold);
    }
    float const weight = foretold.high[kind == 0 ? 1 : 2];
    if (!(weight > 0)) continue;
    RowLanes const values = RowLanes::of(groups_[wedge.group].values);
    Lanes const off = splat(scale) * (foretold.low / splat(weight) - values.low);
    Lanes const costs = splat(weight) * off * off;
    if (kind == 0) {
      sum += costs[0];
      sum += costs[1];
    } else {
      float const last = scale * (foretold.high[0] / weight - values.high[0]);
      sum += costs[2];
      sum += costs[3];
      sum += weight * last * last;
    }
  }
  cost_ += sum;
}

void WedgeMerge::normalise() {
  for (std::uint32_t g = 0; g < group_count_; ++g) {
    if (WedgeAttributes::normalise(groups_[g].values)) continue;
    // Normals that cancel leave no direction: the first wedge's stands.
    OldWedge const& first = *std::ranges::find(wedges(), groups_[g].shared[1], &OldWedge::group);
    copy_kind(*first.values, 1, groups_[g].values);
  }
}

void WedgeMerge::merge(WedgeAttributes const& attributes, AttributeLayout const& layout, EdgeAttributes const& edge) {
  cost_ = 0;
  turns_uv_over_ = false;
  gather(attributes, edge);
  link(edge);
  bool const shares = layout.has_uvs && layout.has_normals && group_count_ > 1;
  find_shared(shares);
  std::uint32_t const kinds = attributes.kinds(edge.mesh);
  if ((kinds & kUvs) != 0) find_uv_bounds(edge);
  if (layout.has_uvs) choose_values(0, (kinds & kUvs) != 0);
  if (layout.has_normals) choose_values(1, (kinds & kNormals) != 0);
  if (edge.kept >= 0) keep_values(edge, shares);
  AttributeScale const& scale = attributes.scale(edge.mesh);
  if ((kinds & kUvs) != 0) add_cost(0, scale.uv);
  if ((kinds & kNormals) != 0) {
    add_cost(1, scale.normal);
    normalise();
  }
  mark_alive(edge);
}

// Groups that faces which stay use; and whether one of these faces turns over in UV space.
void WedgeMerge::mark_alive(EdgeAttributes const& edge) {
  for (std::uint32_t i = 0; i < edge.surviving; ++i) {
    Group& group = groups_[wedges_[wedge_of_face_[i]].group];
    group.alive = true;
    if (edge.check_uv_area) turns_uv_over_ |= turns_over(edge.corners[i], group.values.values);
  }
}

}  // namespace mirel::engine
