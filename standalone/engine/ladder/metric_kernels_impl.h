// The kernels for any width. Included by one file for each width, and by nothing else; only templates of the width
// and plain data are used, so that no function compiled for a wider machine can stand in for another's.
#pragma once

#include <bit>
#include <cstddef>

#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/metric_kernels.h"

namespace mirel::engine::kernels {

// The prior on the midpoint, in traces of the quadric. 1e-4 and more costs mean error; floats stand 1e-6.
inline constexpr float kMidpointPrior = 1e-5F;
// A place further from an end than this many edge lengths is taken for a failed solve.
inline constexpr float kReachSquared = 16;
// How much of the older end's error a merged vertex carries on: it keeps the same region from being worn down.
inline constexpr float kHistory = 0.5F;
// A face may turn by this cosine at most in one collapse.
inline constexpr float kMinTurnCosine = 0.2F;
// A face may become no worse than this, unless it was: 1 is equilateral.
inline constexpr float kMinQuality = 0.02F;

// Ends of edges, one in each lane.
template <int width>
struct EndLanes {
  FloatLanes<width> x, y, z;
  FloatLanes<width> q0, q1, q2, q3, q4, q5;
  FloatLanes<width> n0, n1, n2;
  FloatLanes<width> error;
  MaskLanes<width> locked;  // ends that keep their places
};

// Where the flags of a vertex are in the last four words of its line, which are loaded like its floats.
static_assert(std::endian::native == std::endian::little);
static_assert(offsetof(Vertex, flags) == 4 * 14 + 2 && offsetof(Vertex, error) == 4 * 15);
inline constexpr std::int32_t kLockedInWord = kLocked << 16;

template <int width>
inline __attribute__((always_inline)) EndLanes<width> same_end(Vertex const& v) {
  return {all<width>(v.x),          all<width>(v.y),
          all<width>(v.z),          all<width>(v.quadric[0]),
          all<width>(v.quadric[1]), all<width>(v.quadric[2]),
          all<width>(v.quadric[3]), all<width>(v.quadric[4]),
          all<width>(v.quadric[5]), all<width>(v.normal[0]),
          all<width>(v.normal[1]),  all<width>(v.normal[2]),
          all<width>(v.error),      MaskLanes<width>{} - ((v.flags & kLocked) != 0 ? 1 : 0)};
}

template <int width>
inline __attribute__((always_inline)) EndLanes<width> load_ends(Vertex const* const* ends) {
  float const* rows[width];
  for (int k = 0; k < width; ++k) rows[k] = &ends[k]->x;
  FloatLanes<width> c[16];
  load_columns<width>(rows, 0, c);
  load_columns<width>(rows, 4, c + 4);
  load_columns<width>(rows, 8, c + 8);
  load_columns<width>(rows, 12, c + 12);
  MaskLanes<width> const words = (MaskLanes<width>)c[14];
  MaskLanes<width> const locked = (words & kLockedInWord) != 0;
  return {c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], c[10], c[11], c[15], locked};
}

// What attributes have to say about edges: nothing, a system known beforehand, or the sums of both ends.
template <int width>
struct NoTerms {
  static constexpr bool kAny = false;
};

template <int width>
struct KnownTerms {
  static constexpr bool kAny = true;
  FloatLanes<width> m0, m1, m2, m3, m4, m5;
  FloatLanes<width> r0, r1, r2;

  inline __attribute__((always_inline)) FloatLanes<width> cost(FloatLanes<width>, FloatLanes<width>, FloatLanes<width>,
                                                               FloatLanes<width>, FloatLanes<width>,
                                                               FloatLanes<width>) const {
    return all<width>(0);
  }
};

// The sums of an end, as they lie in AttributeSums.
template <int width>
struct AttributeLanes {
  FloatLanes<width> c[32];

  FloatLanes<width> const& linear(int attribute, int axis) const { return c[6 + 3 * attribute + axis]; }
  FloatLanes<width> const& weight(int attribute) const { return c[attribute < 2 ? 21 : 22]; }
  FloatLanes<width> const& value(int attribute) const { return c[24 + attribute]; }
};

template <int width>
inline __attribute__((always_inline)) void load_attributes(AttributeSums const* const* ends,
                                                           AttributeLanes<width>& lanes) {
  float const* rows[width];
  for (int k = 0; k < width; ++k) rows[k] = ends[k]->floats;
  for (std::size_t part = 0; part < 32; part += 4) load_columns<width>(rows, part, lanes.c + part);
}

template <int width>
inline __attribute__((always_inline)) void same_attributes(AttributeSums const& sums, AttributeLanes<width>& lanes) {
  for (std::size_t i = 0; i < 24; ++i) lanes.c[i] = all<width>(sums.floats[i]);
  for (std::size_t i = 0; i < kMaxAttributes; ++i) lanes.c[24 + i] = all<width>(sums.values()[i]);
}

template <int width>
struct EdgeTerms {
  using F = FloatLanes<width>;
  static constexpr bool kAny = true;
  F m0, m1, m2, m3, m4, m5;
  F r0, r1, r2;
  F constant;

  // `both`: lanes where both ends have one wedge; the others cost nothing. With D the difference of the ends' values,
  // the two forms are, at the place x, summed over attributes
  //   x Qa x + (x-d) Qb (x-d) + 2 D Lb (x-d) + Wb D^2 - (l x + c)^2 / W,   l = La + Lb, W = Wa + Wb, c = Wb D - Lb d,
  // the best value being put in: x M x - 2 r x + constant.
  inline __attribute__((always_inline))
  EdgeTerms(AttributeLanes<width> const& a, AttributeLanes<width> const& b, MaskLanes<width> both, F dx, F dy, F dz) {
    F const zero = all<width>(0), one = all<width>(1);
    F const uv_weight = a.c[21] + b.c[21], normal_weight = a.c[22] + b.c[22];
    F const uv_inverse = select(uv_weight > zero, one / select(uv_weight > zero, uv_weight, one), zero);
    F const normal_inverse = select(normal_weight > zero, one / select(normal_weight > zero, normal_weight, one), zero);
    m0 = a.c[0] + b.c[0], m1 = a.c[1] + b.c[1], m2 = a.c[2] + b.c[2];
    m3 = a.c[3] + b.c[3], m4 = a.c[4] + b.c[4], m5 = a.c[5] + b.c[5];
    r0 = b.c[0] * dx + b.c[1] * dy + b.c[2] * dz;
    r1 = b.c[1] * dx + b.c[3] * dy + b.c[4] * dz;
    r2 = b.c[2] * dx + b.c[4] * dy + b.c[5] * dz;
    constant = r0 * dx + r1 * dy + r2 * dz;
    for (int k = 0; k < static_cast<int>(kMaxAttributes); ++k) {
      F const inverse = k < 2 ? uv_inverse : normal_inverse;
      F const bx = b.linear(k, 0), by = b.linear(k, 1), bz = b.linear(k, 2);
      F const lx = a.linear(k, 0) + bx, ly = a.linear(k, 1) + by, lz = a.linear(k, 2) + bz;
      F const difference = b.value(k) - a.value(k);
      F const slide = bx * dx + by * dy + bz * dz;
      F const jump = b.weight(k) * difference;
      F const pull = jump - slide;
      F const share = pull * inverse;
      F const sx = lx * inverse, sy = ly * inverse, sz = lz * inverse;
      m0 -= lx * sx, m1 -= lx * sy, m2 -= lx * sz;
      m3 -= ly * sy, m4 -= ly * sz, m5 -= lz * sz;
      r0 += lx * share - bx * difference;
      r1 += ly * share - by * difference;
      r2 += lz * share - bz * difference;
      constant += difference * (pull - slide) - pull * share;
    }
    for (F* const m : {&m0, &m1, &m2, &m3, &m4, &m5, &r0, &r1, &r2, &constant}) *m = select(both, *m, zero);
  }

  inline __attribute__((always_inline)) F cost(F x, F y, F z, F, F, F) const {
    F const value = x * (m0 * x + m1 * y + m2 * z) + y * (m1 * x + m3 * y + m4 * z) + z * (m2 * x + m4 * y + m5 * z) -
                    all<width>(2) * (r0 * x + r1 * y + r2 * z) + constant;
    return larger(value, all<width>(0));
  }
};

// The keys. `out`: where keys and places go, or null.
template <int width, typename Terms>
inline __attribute__((always_inline)) FloatLanes<width> evaluate_lanes(EndLanes<width> const& a,
                                                                       EndLanes<width> const& b, Terms const& terms,
                                                                       EdgeArrays const* out, std::uint32_t first) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  F const zero = all<width>(0), one = all<width>(1), half = all<width>(0.5F);
  F const dx = b.x - a.x, dy = b.y - a.y, dz = b.z - a.z;

  // The sum of both quadrics, scaled to trace 1, with the prior on its diagonal.
  F sum0 = a.q0 + b.q0, sum1 = a.q1 + b.q1, sum2 = a.q2 + b.q2;
  F sum3 = a.q3 + b.q3, sum4 = a.q4 + b.q4, sum5 = a.q5 + b.q5;
  F right0 = b.q0 * dx + b.q1 * dy + b.q2 * dz;
  F right1 = b.q1 * dx + b.q3 * dy + b.q4 * dz;
  F right2 = b.q2 * dx + b.q4 * dy + b.q5 * dz;
  if constexpr (Terms::kAny) {
    sum0 += terms.m0, sum1 += terms.m1, sum2 += terms.m2;
    sum3 += terms.m3, sum4 += terms.m4, sum5 += terms.m5;
    right0 += terms.r0, right1 += terms.r1, right2 += terms.r2;
  }
  F const trace = sum0 + sum3 + sum5;
  M const has_planes = trace > all<width>(1e-30F);
  F const scale = select(has_planes, one / select(has_planes, trace, one), zero);
  F const prior = all<width>(kMidpointPrior);
  F const s0 = sum0 * scale, q1 = sum1 * scale, q2 = sum2 * scale;
  F const s3 = sum3 * scale, q4 = sum4 * scale, s5 = sum5 * scale;
  F const q0 = s0 + prior, q3 = s3 + prior, q5 = s5 + prior;

  // Cofactors of the symmetric matrix.
  F const c0 = q3 * q5 - q4 * q4, c1 = q2 * q4 - q1 * q5, c2 = q1 * q4 - q2 * q3;
  F const c3 = q0 * q5 - q2 * q2, c4 = q1 * q2 - q0 * q4, c5 = q0 * q3 - q1 * q1;
  F const determinant = q0 * c0 + q1 * c1 + q2 * c2;
  M const solvable = determinant > zero;
  F const inverse = one / select(solvable, determinant, one);

  F const t0 = right0 * scale, t1 = right1 * scale, t2 = right2 * scale;
  F const mid = prior * half;
  F const r0 = t0 + mid * dx, r1 = t1 + mid * dy, r2 = t2 + mid * dz;
  F px = (c0 * r0 + c1 * r1 + c2 * r2) * inverse;
  F py = (c1 * r0 + c3 * r1 + c4 * r2) * inverse;
  F pz = (c2 * r0 + c4 * r1 + c5 * r2) * inverse;
  // Once more for what the planes still want, without the prior: it then only speaks where they are silent.
  F const u0 = t0 - (s0 * px + q1 * py + q2 * pz);
  F const u1 = t1 - (q1 * px + s3 * py + q4 * pz);
  F const u2 = t2 - (q2 * px + q4 * py + s5 * pz);
  px += (c0 * u0 + c1 * u1 + c2 * u2) * inverse;
  py += (c1 * u0 + c3 * u1 + c4 * u2) * inverse;
  pz += (c2 * u0 + c4 * u1 + c5 * u2) * inverse;

  // Moved onto the plane of equal volume, along the direction that the quadric resists least.
  F const n0 = a.n0 + b.n0, n1 = a.n1 + b.n1, n2 = a.n2 + b.n2;
  F const volume = b.n0 * dx + b.n1 * dy + b.n2 * dz;
  F const y0 = (c0 * n0 + c1 * n1 + c2 * n2) * inverse;
  F const y1 = (c1 * n0 + c3 * n1 + c4 * n2) * inverse;
  F const y2 = (c2 * n0 + c4 * n1 + c5 * n2) * inverse;
  F const slope = n0 * y0 + n1 * y1 + n2 * y2;
  M const constrained = slope > all<width>(1e-36F);
  F const shift = select(constrained, (n0 * px + n1 * py + n2 * pz - volume) / select(constrained, slope, one), zero);
  px -= y0 * shift;
  py -= y1 * shift;
  pz -= y2 * shift;

  F const reach = all<width>(kReachSquared) * (dx * dx + dy * dy + dz * dz);
  M const sound = solvable & (px * px + py * py + pz * pz <= reach);
  px = select(sound, px, half * dx);
  py = select(sound, py, half * dy);
  pz = select(sound, pz, half * dz);
  bool const any_locked = lane_bits(a.locked | b.locked) != 0;
  if (any_locked) {
    px = select(b.locked, dx, select(a.locked, zero, px));
    py = select(b.locked, dy, select(a.locked, zero, py));
    pz = select(b.locked, dz, select(a.locked, zero, pz));
  }

  // Two positive forms, each about its own vertex: nothing cancels.
  F const ex = px - dx, ey = py - dy, ez = pz - dz;
  F const cost_a = px * (a.q0 * px + a.q1 * py + a.q2 * pz) + py * (a.q1 * px + a.q3 * py + a.q4 * pz) +
                   pz * (a.q2 * px + a.q4 * py + a.q5 * pz);
  F const cost_b = ex * (b.q0 * ex + b.q1 * ey + b.q2 * ez) + ey * (b.q1 * ex + b.q3 * ey + b.q4 * ez) +
                   ez * (b.q2 * ex + b.q4 * ey + b.q5 * ez);
  F key = larger(cost_a + cost_b, zero) + all<width>(kHistory) * larger(a.error, b.error);
  if constexpr (Terms::kAny) key += terms.cost(px, py, pz, ex, ey, ez);
  key = larger(key, all<width>(kKeyFloor));
  if (any_locked) key = select(a.locked & b.locked, all<width>(__builtin_inff()), key);

  if (out != nullptr) {
    __builtin_memcpy(out->keys + first, &key, sizeof(key));
    __builtin_memcpy(out->x + first, &px, sizeof(px));
    __builtin_memcpy(out->y + first, &py, sizeof(py));
    __builtin_memcpy(out->z + first, &pz, sizeof(pz));
    __builtin_memcpy(out->ex + first, &ex, sizeof(ex));
    __builtin_memcpy(out->ey + first, &ey, sizeof(ey));
    __builtin_memcpy(out->ez + first, &ez, sizeof(ez));
  }
  return key;
}

// `attributed`: whether `sums` are there to be used.
template <int width, bool attributed>
inline __attribute__((always_inline)) void evaluate_star_lanes(Vertex const* vertices, AttributeSums const* sums,
                                                               std::uint32_t v, std::uint32_t const* neighbours,
                                                               std::uint32_t count, EdgeArrays const& out) {
  EndLanes<width> const a = same_end<width>(vertices[v]);
  AttributeLanes<width> attributes_a, attributes_b;
  if constexpr (attributed) same_attributes<width>(sums[v], attributes_a);
  for (std::uint32_t first = 0; first < count; first += width) {
    Vertex const* ends[width];
    for (std::uint32_t k = 0; k < width; ++k) ends[k] = vertices + neighbours[first + k];
    EndLanes<width> const b = load_ends<width>(ends);
    if constexpr (attributed) {
      AttributeSums const* rows[width];
      MaskLanes<width> both;
      for (std::uint32_t k = 0; k < width; ++k) {
        rows[k] = sums + neighbours[first + k];
        both[k] = (vertices[v].flags & ends[k]->flags & kOneWedge) != 0 ? -1 : 0;
      }
      load_attributes<width>(rows, attributes_b);
      EdgeTerms<width> const terms(attributes_a, attributes_b, both, b.x - a.x, b.y - a.y, b.z - a.z);
      evaluate_lanes<width>(a, b, terms, &out, first);
    } else {
      evaluate_lanes<width>(a, b, NoTerms<width>{}, &out, first);
    }
  }
}

template <int width>
void evaluate_star(Vertex const* vertices, std::uint32_t v, std::uint32_t const* neighbours, std::uint32_t count,
                   EdgeArrays const& out) {
  evaluate_star_lanes<width, false>(vertices, nullptr, v, neighbours, count, out);
}

template <int width>
void evaluate_star_attributed(Vertex const* vertices, AttributeSums const* sums, std::uint32_t v,
                              std::uint32_t const* neighbours, std::uint32_t count, EdgeArrays const& out) {
  evaluate_star_lanes<width, true>(vertices, sums, v, neighbours, count, out);
}

// The least lane, and by `bits` the lanes that have it.
template <int width>
inline __attribute__((always_inline)) float least(FloatLanes<width> values, unsigned& bits) {
  FloatLanes<width> low = values;
  if constexpr (width == 8) {
    low = smaller(low, __builtin_shufflevector(low, low, 4, 5, 6, 7, 0, 1, 2, 3));
    low = smaller(low, __builtin_shufflevector(low, low, 2, 3, 0, 1, 6, 7, 4, 5));
    low = smaller(low, __builtin_shufflevector(low, low, 1, 0, 3, 2, 5, 4, 7, 6));
  } else {
    low = smaller(low, __builtin_shufflevector(low, low, 2, 3, 0, 1));
    low = smaller(low, __builtin_shufflevector(low, low, 1, 0, 3, 2));
  }
  bits = lane_bits(values == low);
  return low[0];
}

template <int width, bool attributed>
inline __attribute__((always_inline)) void cheapest_edge_lanes(Vertex const* vertices, AttributeSums const* sums,
                                                               StarEntry const* entries, std::uint32_t const* items,
                                                               std::uint32_t count, CheapestEdge* out) {
  static_assert(width <= Stars::kOverrun);
  for (std::uint32_t i = 0; i < count; ++i) {
    Vertex const& v = vertices[items[i]];
    EndLanes<width> const a = same_end<width>(v);
    AttributeLanes<width> attributes_a, attributes_b;
    if constexpr (attributed) same_attributes<width>(sums[items[i]], attributes_a);
    StarEntry const* const star = entries + v.star_begin;
    std::uint32_t const last = star[v.star_count - 1].next;
    out[i] = {__builtin_inff(), last};
    for (std::uint32_t first = 0; first < v.star_count; first += width) {
      Vertex const* ends[width];
      AttributeSums const* rows[width];
      for (std::uint32_t k = 0; k < width; ++k) {
        // Read whatever it is: how many there are cannot be foreseen.
        std::uint32_t const next = star[first + k].next;
        std::uint32_t const end = first + k < v.star_count ? next : last;
        ends[k] = vertices + end;
        if constexpr (attributed) rows[k] = sums + end;
      }
      EndLanes<width> const b = load_ends<width>(ends);
      unsigned bits = 0;
      float low = 0;
      if constexpr (attributed) {
        load_attributes<width>(rows, attributes_b);
        MaskLanes<width> both;
        for (std::uint32_t k = 0; k < width; ++k) both[k] = (v.flags & ends[k]->flags & kOneWedge) != 0 ? -1 : 0;
        EdgeTerms<width> const terms(attributes_a, attributes_b, both, b.x - a.x, b.y - a.y, b.z - a.z);
        low = least<width>(evaluate_lanes<width>(a, b, terms, nullptr, 0), bits);
      } else {
        low = least<width>(evaluate_lanes<width>(a, b, NoTerms<width>{}, nullptr, 0), bits);
      }
      if (low < out[i].key) out[i] = {low, star[first + static_cast<std::uint32_t>(__builtin_ctz(bits))].next};
    }
  }
}

template <int width>
void cheapest_edges(Vertex const* vertices, StarEntry const* entries, std::uint32_t const* items, std::uint32_t count,
                    CheapestEdge* out) {
  cheapest_edge_lanes<width, false>(vertices, nullptr, entries, items, count, out);
}

template <int width>
void cheapest_edges_attributed(Vertex const* vertices, AttributeSums const* sums, StarEntry const* entries,
                               std::uint32_t const* items, std::uint32_t count, CheapestEdge* out) {
  cheapest_edge_lanes<width, true>(vertices, sums, entries, items, count, out);
}

template <int width, bool attributed>
inline __attribute__((always_inline)) void evaluate_edge_lanes(Vertex const* vertices, AttributeSums const* sums,
                                                               std::uint32_t const* from, std::uint32_t const* to,
                                                               std::uint32_t count, EdgeArrays const& out) {
  for (std::uint32_t first = 0; first < count; first += width) {
    Vertex const* ends_a[width];
    Vertex const* ends_b[width];
    AttributeSums const* rows_a[width];
    AttributeSums const* rows_b[width];
    for (std::uint32_t k = 0; k < width; ++k) {
      std::uint32_t const i = first + k < count ? first + k : count - 1;
      ends_a[k] = vertices + from[i];
      ends_b[k] = vertices + to[i];
      if constexpr (attributed) {
        rows_a[k] = sums + from[i];
        rows_b[k] = sums + to[i];
      }
    }
    EndLanes<width> const a = load_ends<width>(ends_a);
    EndLanes<width> const b = load_ends<width>(ends_b);
    if constexpr (attributed) {
      AttributeLanes<width> attributes_a, attributes_b;
      load_attributes<width>(rows_a, attributes_a);
      load_attributes<width>(rows_b, attributes_b);
      MaskLanes<width> both;
      for (int k = 0; k < width; ++k) both[k] = (ends_a[k]->flags & ends_b[k]->flags & kOneWedge) != 0 ? -1 : 0;
      EdgeTerms<width> const terms(attributes_a, attributes_b, both, b.x - a.x, b.y - a.y, b.z - a.z);
      evaluate_lanes<width>(a, b, terms, &out, first);
    } else {
      evaluate_lanes<width>(a, b, NoTerms<width>{}, &out, first);
    }
  }
}

template <int width>
void evaluate_edges(Vertex const* vertices, std::uint32_t const* from, std::uint32_t const* to, std::uint32_t count,
                    EdgeArrays const& out) {
  evaluate_edge_lanes<width, false>(vertices, nullptr, from, to, count, out);
}

template <int width>
void evaluate_edges_attributed(Vertex const* vertices, AttributeSums const* sums, std::uint32_t const* from,
                               std::uint32_t const* to, std::uint32_t count, EdgeArrays const& out) {
  evaluate_edge_lanes<width, true>(vertices, sums, from, to, count, out);
}

template <int width>
void evaluate_edge_with(Vertex const* vertices, AttributeForm const& form, std::uint32_t from, std::uint32_t to,
                        EdgeArrays const& out) {
  Vertex const& a = vertices[from];
  Vertex const& b = vertices[to];
  KnownTerms<width> const terms = {all<width>(form.matrix[0]), all<width>(form.matrix[1]), all<width>(form.matrix[2]),
                                   all<width>(form.matrix[3]), all<width>(form.matrix[4]), all<width>(form.matrix[5]),
                                   all<width>(form.right[0]),  all<width>(form.right[1]),  all<width>(form.right[2])};
  evaluate_lanes<width>(same_end<width>(a), same_end<width>(b), terms, &out, 0);
}

template <int width>
struct VectorLanes {
  FloatLanes<width> x, y, z;
};

template <int width>
inline __attribute__((always_inline)) VectorLanes<width> minus(VectorLanes<width> const& a,
                                                               VectorLanes<width> const& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> dot(VectorLanes<width> const& a, VectorLanes<width> const& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <int width>
inline __attribute__((always_inline)) VectorLanes<width> cross(VectorLanes<width> const& a,
                                                               VectorLanes<width> const& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
template <int width>
inline __attribute__((always_inline)) VectorLanes<width> load_points(Vertex const* const* points) {
  float const* rows[width];
  for (int k = 0; k < width; ++k) rows[k] = &points[k]->x;
  FloatLanes<width> c[4];
  load_columns<width>(rows, 0, c);
  return {c[0], c[1], c[2]};
}
// |n|^-1.5, or 0 where n is none; n2 is |n|^2.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> plane_weight(FloatLanes<width> n2, MaskLanes<width> counts) {
  FloatLanes<width> const one = all<width>(1), zero = all<width>(0);
  FloatLanes<width> const length = square_root(select(counts, n2, one));
  return select(counts, one / (length * square_root(length)), zero);
}

// Below this quality a face has no area to speak of.
inline constexpr float kFlatQuality = 1e-6F;

template <int width>
std::uint32_t face_terms(Vertex const* vertices, std::uint32_t const* triangles, FaceRow* terms) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  F const zero = all<width>(0);
  std::uint32_t flat_faces = 0;
  for (std::uint32_t first = 0; first < kFaceBlock; first += width) {
    VectorLanes<width> corners[3];
    for (std::uint32_t corner = 0; corner < 3; ++corner) {
      Vertex const* points[width];
      for (std::uint32_t k = 0; k < width; ++k) points[k] = vertices + triangles[3 * (first + k) + corner];
      corners[corner] = load_points<width>(points);
    }
    VectorLanes<width> const e1 = minus<width>(corners[1], corners[0]);
    VectorLanes<width> const e2 = minus<width>(corners[2], corners[0]);
    VectorLanes<width> const across = minus<width>(e2, e1);
    VectorLanes<width> const n = cross<width>(e1, e2);
    F const n2 = dot<width>(n, n);
    F const size = dot<width>(e1, e1) + dot<width>(e2, e2) + dot<width>(across, across);
    F const limit = all<width>(kFlatQuality / 3.4641016F) * size;
    M const flat = ~(n2 > limit * limit);
    for (int k = 0; k < width; ++k) flat_faces |= flat[k] != 0 ? 1U << (first + static_cast<std::uint32_t>(k)) : 0U;
    M const counts = n2 > all<width>(1e-36F);
    F const weight = plane_weight<width>(n2, counts);
    F const x = weight * n.x, y = weight * n.y, z = weight * n.z;
    float* const row = terms[first].values;
    store_columns<width>(zero, zero, zero, x * n.x, row, 12);
    store_columns<width>(x * n.y, x * n.z, y * n.y, y * n.z, row + 4, 12);
    store_columns<width>(z * n.z, select(counts, n.x, zero), select(counts, n.y, zero), select(counts, n.z, zero),
                         row + 8, 12);
  }
  return flat_faces;
}

// Twice the area over the longest edge squared, below which a face is too thin for a gradient: those would swamp the
// sums that they are later taken out of.
inline constexpr float kThin = 0.02F;

template <int width>
void attribute_terms(AttributeFace const* faces, std::uint32_t count, AttributeRow* rows) {
  using F = FloatLanes<width>;
  F const zero = all<width>(0), one = all<width>(1);
  for (std::uint32_t first = 0; first < count; first += width) {
    VectorLanes<width> points[3];
    F values[3][8];
    for (std::uint32_t corner = 0; corner < 3; ++corner) {
      float const* places[width];
      float const* attributes[width];
      for (std::uint32_t k = 0; k < width; ++k) {
        AttributeFace const& face = faces[first + k < count ? first + k : count - 1];
        places[k] = face.points[corner];
        attributes[k] = face.values[corner];
      }
      F c[4];
      load_columns<width>(places, 0, c);
      points[corner] = {c[0], c[1], c[2]};
      load_columns<width>(attributes, 0, values[corner]);
      load_columns<width>(attributes, 4, values[corner] + 4);
    }
    VectorLanes<width> const e1 = minus<width>(points[1], points[0]);
    VectorLanes<width> const e2 = minus<width>(points[2], points[0]);
    VectorLanes<width> const across = minus<width>(e2, e1);
    VectorLanes<width> const n = cross<width>(e1, e2);
    F const n2 = dot<width>(n, n);
    F const longest = larger(larger(dot<width>(e1, e1), dot<width>(e2, e2)), dot<width>(across, across));
    MaskLanes<width> const counts = (n2 > all<width>(kThin * kThin) * longest * longest) & (n2 > all<width>(1e-36F));
    F const inverse = one / select(counts, n2, one);
    F const area = square_root(select(counts, n2, zero));
    F const uv_weight = square_root(area);
    F const normal_weight = uv_weight * area;
    // The gradient of a function that is f0, f1, f2 at the corners: (f1 - f0) u1 + (f2 - f0) u2.
    VectorLanes<width> u1 = cross<width>(e2, n);
    VectorLanes<width> u2 = cross<width>(n, e1);
    F const used = select(counts, inverse, zero);
    u1 = {u1.x * used, u1.y * used, u1.z * used};
    u2 = {u2.x * used, u2.y * used, u2.z * used};
    F sums[24];
    for (F& sum : sums) sum = zero;
    for (std::size_t k = 0; k < kMaxAttributes; ++k) {
      F const w = k < 2 ? uv_weight : normal_weight;
      F const f1 = values[1][k] - values[0][k], f2 = values[2][k] - values[0][k];
      F const gx = u1.x * f1 + u2.x * f2, gy = u1.y * f1 + u2.y * f2, gz = u1.z * f1 + u2.z * f2;
      F const wx = w * gx, wy = w * gy, wz = w * gz;
      sums[0] += wx * gx, sums[1] += wx * gy, sums[2] += wx * gz;
      sums[3] += wy * gy, sums[4] += wy * gz, sums[5] += wz * gz;
      sums[6 + 3 * k] = wx, sums[7 + 3 * k] = wy, sums[8 + 3 * k] = wz;
    }
    sums[21] = uv_weight;
    sums[22] = normal_weight;
    for (std::size_t part = 0; part < 24; part += 4) {
      store_columns<width>(sums[part], sums[part + 1], sums[part + 2], sums[part + 3], rows[first].values + part, 24);
    }
  }
}

template <int width>
std::uint32_t test_fan(Vertex const* vertices, Fan const& fan, FaceRow* change, FaceRow* after) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  F const zero = all<width>(0);
  VectorLanes<width> const place = {all<width>(fan.place[0]), all<width>(fan.place[1]), all<width>(fan.place[2])};
  Vertex const& a = vertices[fan.a];
  Vertex const& b = vertices[fan.b];
  M numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  std::uint32_t verdict = kFanSound;
  for (std::uint32_t first = 0; first < fan.count; first += width) {
    Vertex const* next_ends[width];
    Vertex const* previous_ends[width];
    for (std::uint32_t k = 0; k < width; ++k) {
      StarEntry const& entry = fan.faces[first + k];
      next_ends[k] = vertices + entry.next;
      previous_ends[k] = vertices + entry.previous;
    }
    VectorLanes<width> const next = load_points<width>(next_ends);
    VectorLanes<width> const previous = load_points<width>(previous_ends);
    // Which faces have b as their corner, and which go.
    M const index = numbers + static_cast<std::int32_t>(first);
    M const goes = index >= static_cast<std::int32_t>(fan.surviving);
    M const of_b = (index >= static_cast<std::int32_t>(fan.of_a)) & ~goes;
    VectorLanes<width> const corner = {select(of_b, all<width>(b.x), all<width>(a.x)),
                                       select(of_b, all<width>(b.y), all<width>(a.y)),
                                       select(of_b, all<width>(b.z), all<width>(a.z))};
    VectorLanes<width> const b1 = minus<width>(next, corner);
    VectorLanes<width> const b2 = minus<width>(previous, corner);
    VectorLanes<width> const before = cross<width>(b1, b2);
    VectorLanes<width> const e1 = minus<width>(next, place);
    VectorLanes<width> const e2 = minus<width>(previous, place);
    VectorLanes<width> const now = cross<width>(e1, e2);
    VectorLanes<width> const across_edge = minus<width>(previous, next);

    F const before2 = dot<width>(before, before);
    F const after2 = dot<width>(now, now);
    F const across = dot<width>(across_edge, across_edge);
    F const size = dot<width>(e1, e1) + dot<width>(e2, e2) + across;
    M const had_area = before2 > all<width>(1e-12F) * across * across;
    M const thin = after2 < all<width>((kMinQuality / 3.4641016F) * (kMinQuality / 3.4641016F)) * size * size;
    // A sliver may stay one, not become one; its direction is then noise only if it has no area to speak of.
    F const size_before = dot<width>(b1, b1) + dot<width>(b2, b2) + across;
    M const bad_sliver = ~(after2 > all<width>(1e-12F) * size * size) |
                         ((after2 * size_before * size_before < before2 * size * size) & (after2 < before2));
    M const bad_thin = thin & ((had_area & bad_sliver) | (~had_area & ~(after2 > zero)));
    F const cosine = dot<width>(before, now);
    M const bad_turn = had_area & (~(cosine > zero) |
                                   (cosine * cosine < all<width>(kMinTurnCosine * kMinTurnCosine) * before2 * after2));
    if (any((bad_thin | bad_turn) & ~goes)) return kFanTurns;

    F const limit = all<width>(fan.closeness);
    F const next_away = larger(larger(magnitude(e1.x), magnitude(e1.y)), magnitude(e1.z));
    F const previous_away = larger(larger(magnitude(e2.x), magnitude(e2.y)), magnitude(e2.z));
    if (any((~(next_away > limit) | ~(previous_away > limit)) & ~goes)) verdict = kFanTouches;

    M const was = before2 > all<width>(1e-36F);
    M const is = (after2 > all<width>(1e-36F)) & ~goes;
    F const wb = plane_weight<width>(before2, was);
    F const wa = plane_weight<width>(after2, is);
    F const bx = wb * before.x, by = wb * before.y, bz = wb * before.z;
    F const ax = wa * now.x, ay = wa * now.y, az = wa * now.z;
    F const a0 = ax * now.x, a1 = ax * now.y, a2 = ax * now.z, a3 = ay * now.y, a4 = ay * now.z, a5 = az * now.z;
    F const n0 = select(is, now.x, zero), n1 = select(is, now.y, zero), n2 = select(is, now.z, zero);
    float* const after_row = after[first].values;
    store_columns<width>(zero, zero, zero, a0, after_row, 12);
    store_columns<width>(a1, a2, a3, a4, after_row + 4, 12);
    store_columns<width>(a5, n0, n1, n2, after_row + 8, 12);
    float* const change_row = change[first].values;
    store_columns<width>(zero, zero, zero, a0 - bx * before.x, change_row, 12);
    store_columns<width>(a1 - bx * before.y, a2 - bx * before.z, a3 - by * before.y, a4 - by * before.z, change_row + 4,
                         12);
    store_columns<width>(a5 - bz * before.z, n0 - select(was, before.x, zero), n1 - select(was, before.y, zero),
                         n2 - select(was, before.z, zero), change_row + 8, 12);
  }
  return verdict;
}

template <int width>
inline __attribute__((always_inline)) FloatLanes<width> smaller(FloatLanes<width> a, FloatLanes<width> b) {
  return a < b ? a : b;
}

// Triangles from a common corner, one in each lane: their sides from there, and what distances to them need.
template <int width>
struct TriangleLanes {
  VectorLanes<width> e1, e2, n;
  FloatLanes<width> d11, d12, d22, n2;
};

template <int width>
inline __attribute__((always_inline)) TriangleLanes<width> triangles_between(VectorLanes<width> const& e1,
                                                                             VectorLanes<width> const& e2) {
  VectorLanes<width> const n = cross<width>(e1, e2);
  return {e1, e2, n, dot<width>(e1, e1), dot<width>(e1, e2), dot<width>(e2, e2), dot<width>(n, n)};
}

// Squared distance from w to the segment from the origin to e; `inner` is w.e, `length2` e.e.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> distance2_to_side(VectorLanes<width> const& w,
                                                                          VectorLanes<width> const& e,
                                                                          FloatLanes<width> inner,
                                                                          FloatLanes<width> length2) {
  FloatLanes<width> const zero = all<width>(0), one = all<width>(1);
  MaskLanes<width> const has_length = length2 > zero;
  FloatLanes<width> const along = select(has_length, inner / select(has_length, length2, one), zero);
  FloatLanes<width> const k = smaller<width>(larger(along, zero), one);
  VectorLanes<width> const rest = {w.x - k * e.x, w.y - k * e.y, w.z - k * e.z};
  return dot<width>(rest, rest);
}

// Squared distance from w to the triangles, all relative to their common corner. The side across from it is left to
// the other faces around: beyond it the distance is one to the two other sides, and so rather too large.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> distance2_to(TriangleLanes<width> const& t,
                                                                     VectorLanes<width> const& w) {
  FloatLanes<width> const zero = all<width>(0);
  FloatLanes<width> const w1 = dot<width>(t.e1, w), w2 = dot<width>(t.e2, w);
  FloatLanes<width> const u = t.d22 * w1 - t.d12 * w2, v = t.d11 * w2 - t.d12 * w1;
  FloatLanes<width> const height = dot<width>(t.n, w);
  MaskLanes<width> const above = (t.n2 > all<width>(1e-36F)) & (u >= zero) & (v >= zero) & (u + v <= t.n2);
  FloatLanes<width> const plane = height * height / select(above, t.n2, all<width>(1));
  FloatLanes<width> const sides =
      smaller<width>(distance2_to_side<width>(w, t.e1, w1, t.d11), distance2_to_side<width>(w, t.e2, w2, t.d22));
  return select(above, plane, sides);
}

template <int width>
inline __attribute__((always_inline)) float least(FloatLanes<width> values) {
  float result = values[0];
  for (int k = 1; k < width; ++k) result = values[k] < result ? values[k] : result;
  return result;
}

template <int width>
FanDistances fan_distances(Vertex const* vertices, Fan const& fan) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  VectorLanes<width> const place = {all<width>(fan.place[0]), all<width>(fan.place[1]), all<width>(fan.place[2])};
  Vertex const& a = vertices[fan.a];
  Vertex const& b = vertices[fan.b];
  VectorLanes<width> const at_a = {all<width>(a.x), all<width>(a.y), all<width>(a.z)};
  VectorLanes<width> const at_b = {all<width>(b.x), all<width>(b.y), all<width>(b.z)};
  F const far = all<width>(1e30F);
  F least_a = far, least_b = far, least_place = far;
  M numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  for (std::uint32_t first = 0; first < fan.count; first += width) {
    Vertex const* next_ends[width];
    Vertex const* previous_ends[width];
    for (std::uint32_t k = 0; k < width; ++k) {
      next_ends[k] = vertices + fan.faces[first + k].next;
      previous_ends[k] = vertices + fan.faces[first + k].previous;
    }
    VectorLanes<width> const next = load_points<width>(next_ends);
    VectorLanes<width> const previous = load_points<width>(previous_ends);
    M const index = numbers + static_cast<std::int32_t>(first);
    M const goes = index >= static_cast<std::int32_t>(fan.surviving);
    M const of_b = (index >= static_cast<std::int32_t>(fan.of_a)) & ~goes;
    VectorLanes<width> const corner = {select(of_b, at_b.x, at_a.x), select(of_b, at_b.y, at_a.y),
                                       select(of_b, at_b.z, at_a.z)};
    TriangleLanes<width> const after =
        triangles_between<width>(minus<width>(next, place), minus<width>(previous, place));
    least_a = smaller<width>(least_a, select(goes, far, distance2_to<width>(after, minus<width>(at_a, place))));
    least_b = smaller<width>(least_b, select(goes, far, distance2_to<width>(after, minus<width>(at_b, place))));
    TriangleLanes<width> const before =
        triangles_between<width>(minus<width>(next, corner), minus<width>(previous, corner));
    least_place = smaller<width>(least_place, distance2_to<width>(before, minus<width>(place, corner)));
  }
  return {least<width>(least_a), least<width>(least_b), least<width>(least_place)};
}

}  // namespace mirel::engine::kernels
