// The kernels for any width. Included by one file for each kind of processor, and by nothing else. All is each file's
// own, so that no function compiled for one processor can stand in for another's.
#pragma once

#include <bit>
#include <cstddef>

#include "standalone/engine/ladder/eight_lanes.h"
#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/metric_kernels.h"
#include "standalone/engine/ladder/plane_weight.h"
#include "standalone/engine/ladder/vector_lanes.h"

namespace mirel::engine::kernels {
namespace {

// The prior on the midpoint, in traces of the quadric. 1e-4 and more costs mean error; floats stand 1e-6.
inline constexpr float kMidpointPrior = 1e-5F;
// A place further from an end than this many edge lengths is taken for a failed solve.
inline constexpr float kReachSquared = 16;
// How much of the older end's error a merged vertex carries on: it keeps the same region from being worn down.
inline constexpr float kHistory = 0.15F;
// A face may turn by this cosine at most in one collapse.
inline constexpr float kMinTurnCosine = 0.2F;
// A sliver by this: it turns around its long side at no cost, and step by step to anywhere.
inline constexpr float kMinSliverTurnCosine = 0.8660254F;
// 1 less the cosine of a turn that may be rounding alone.
inline constexpr float kTurnNoise = 1e-6F;

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

enum class Wanted { kKeys, kPlaces };

// A symmetric positive system. By cofactors it is solved soonest, but across a plane that is not parallel to the axes
// they are small differences of large products, of which single precision leaves little: enough for a key.
template <int width, Wanted wanted>
struct Solver {
  using F = FloatLanes<width>;
  F c0, c1, c2, c3, c4, c5, inverse;
  MaskLanes<width> solvable;

  inline __attribute__((always_inline)) Solver(F q0, F q1, F q2, F q3, F q4, F q5) {
    F const zero = all<width>(0), one = all<width>(1);
    c0 = q3 * q5 - q4 * q4, c1 = q2 * q4 - q1 * q5, c2 = q1 * q4 - q2 * q3;
    c3 = q0 * q5 - q2 * q2, c4 = q1 * q2 - q0 * q4, c5 = q0 * q3 - q1 * q1;
    F const determinant = q0 * c0 + q1 * c1 + q2 * c2;
    solvable = determinant > zero;
    inverse = one / select(solvable, determinant, one);
  }
  inline __attribute__((always_inline)) VectorLanes<width> solve(F b0, F b1, F b2) const {
    return {(c0 * b0 + c1 * b1 + c2 * b2) * inverse, (c1 * b0 + c3 * b1 + c4 * b2) * inverse,
            (c2 * b0 + c4 * b1 + c5 * b2) * inverse};
  }
};

// The same by L D L^T: one division waits for the other, and what the system settles at all is right.
template <int width>
struct Solver<width, Wanted::kPlaces> {
  using F = FloatLanes<width>;
  F l1, l2, l3, inverse0, inverse1, inverse2;
  MaskLanes<width> solvable;

  inline __attribute__((always_inline)) Solver(F q0, F q1, F q2, F q3, F q4, F q5) {
    F const zero = all<width>(0), one = all<width>(1);
    inverse0 = one / select(q0 > zero, q0, one);
    l1 = q1 * inverse0, l2 = q2 * inverse0;
    F const pivot1 = q3 - l1 * q1, rest = q4 - l1 * q2;
    inverse1 = one / select(pivot1 > zero, pivot1, one);
    l3 = rest * inverse1;
    F const pivot2 = q5 - l2 * q2 - l3 * rest;
    inverse2 = one / select(pivot2 > zero, pivot2, one);
    solvable = (q0 > zero) & (pivot1 > zero) & (pivot2 > zero);
  }
  inline __attribute__((always_inline)) VectorLanes<width> solve(F b0, F b1, F b2) const {
    F const f1 = b1 - l1 * b0;
    F const f2 = b2 - l2 * b0 - l3 * f1;
    F const z = f2 * inverse2;
    F const y = f1 * inverse1 - l3 * z;
    return {b0 * inverse0 - l1 * y - l2 * z, y, z};
  }
};

// What it costs to collapse edges to places, given from either end: two positive forms, each about its own vertex, so
// nothing cancels.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> key_at(EndLanes<width> const& a, EndLanes<width> const& b,
                                                               FloatLanes<width> px, FloatLanes<width> py,
                                                               FloatLanes<width> pz, FloatLanes<width> ex,
                                                               FloatLanes<width> ey, FloatLanes<width> ez) {
  using F = FloatLanes<width>;
  F const cost_a = px * (a.q0 * px + a.q1 * py + a.q2 * pz) + py * (a.q1 * px + a.q3 * py + a.q4 * pz) +
                   pz * (a.q2 * px + a.q4 * py + a.q5 * pz);
  F const cost_b = ex * (b.q0 * ex + b.q1 * ey + b.q2 * ez) + ey * (b.q1 * ex + b.q3 * ey + b.q4 * ez) +
                   ez * (b.q2 * ex + b.q4 * ey + b.q5 * ez);
  F const key = larger(cost_a + cost_b, all<width>(0)) + all<width>(kHistory) * larger(a.error, b.error);
  return larger(key, all<width>(kKeyFloor));
}

// The keys of edges `d` that collapse to `p`, from their first ends, or to the middle where that is no solution; a
// locked end keeps its place. `e`: the places from their second ends.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> settle(EndLanes<width> const& a, EndLanes<width> const& b,
                                                               VectorLanes<width> const& d, MaskLanes<width> solvable,
                                                               VectorLanes<width>& p, VectorLanes<width>& e) {
  using F = FloatLanes<width>;
  F const zero = all<width>(0), half = all<width>(0.5F);
  F const reach = all<width>(kReachSquared) * dot<width>(d, d);
  MaskLanes<width> const sound = solvable & (dot<width>(p, p) <= reach);
  p = {select(sound, p.x, half * d.x), select(sound, p.y, half * d.y), select(sound, p.z, half * d.z)};
  bool const any_locked = lane_bits(a.locked | b.locked) != 0;
  if (any_locked) {
    p = {select(b.locked, d.x, select(a.locked, zero, p.x)), select(b.locked, d.y, select(a.locked, zero, p.y)),
         select(b.locked, d.z, select(a.locked, zero, p.z))};
  }
  e = minus<width>(p, d);
  F const key = key_at<width>(a, b, p.x, p.y, p.z, e.x, e.y, e.z);
  return any_locked ? select(a.locked & b.locked, all<width>(__builtin_inff()), key) : key;
}

// The keys. `out`: where keys and places go, if these are wanted.
template <int width, Wanted wanted>
inline __attribute__((always_inline)) FloatLanes<width> evaluate_lanes(EndLanes<width> const& a,
                                                                       EndLanes<width> const& b, EdgeArrays const* out,
                                                                       std::uint32_t first) {
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
  F const trace = sum0 + sum3 + sum5;
  M const has_planes = trace > all<width>(1e-30F);
  F const scale = select(has_planes, one / select(has_planes, trace, one), zero);
  F const prior = all<width>(kMidpointPrior);
  F const s0 = sum0 * scale, q1 = sum1 * scale, q2 = sum2 * scale;
  F const s3 = sum3 * scale, q4 = sum4 * scale, s5 = sum5 * scale;
  F const q0 = s0 + prior, q3 = s3 + prior, q5 = s5 + prior;

  Solver<width, wanted> const solver(q0, q1, q2, q3, q4, q5);

  F const t0 = right0 * scale, t1 = right1 * scale, t2 = right2 * scale;
  F const mid = prior * half;
  auto [px, py, pz] = solver.solve(t0 + mid * dx, t1 + mid * dy, t2 + mid * dz);
  // Once more for what the planes still want, without the prior: it then only speaks where they are silent.
  if constexpr (wanted == Wanted::kPlaces) {
    auto const more = solver.solve(t0 - (s0 * px + q1 * py + q2 * pz), t1 - (q1 * px + s3 * py + q4 * pz),
                                   t2 - (q2 * px + q4 * py + s5 * pz));
    px += more.x;
    py += more.y;
    pz += more.z;
  }

  // Moved onto the plane of equal volume, along the direction that the quadric resists least.
  F const n0 = a.n0 + b.n0, n1 = a.n1 + b.n1, n2 = a.n2 + b.n2;
  F const volume = b.n0 * dx + b.n1 * dy + b.n2 * dz;
  auto const [y0, y1, y2] = solver.solve(n0, n1, n2);
  F const slope = n0 * y0 + n1 * y1 + n2 * y2;
  M const constrained = slope > all<width>(1e-36F);
  F const shift = select(constrained, (n0 * px + n1 * py + n2 * pz - volume) / select(constrained, slope, one), zero);
  px -= y0 * shift;
  py -= y1 * shift;
  pz -= y2 * shift;

  VectorLanes<width> p = {px, py, pz}, e;
  F const key = settle<width>(a, b, {dx, dy, dz}, solver.solvable, p, e);

  if constexpr (wanted == Wanted::kPlaces) {
    __builtin_memcpy(out->keys + first, &key, sizeof(key));
    __builtin_memcpy(out->x + first, &p.x, sizeof(p.x));
    __builtin_memcpy(out->y + first, &p.y, sizeof(p.y));
    __builtin_memcpy(out->z + first, &p.z, sizeof(p.z));
    __builtin_memcpy(out->ex + first, &e.x, sizeof(e.x));
    __builtin_memcpy(out->ey + first, &e.y, sizeof(e.y));
    __builtin_memcpy(out->ez + first, &e.z, sizeof(e.z));
  }
  return key;
}

// The keys alone, by a shorter way: the one that most edges are asked for. What follows from each other takes longer
// here than what there is to do, so the quadric is not scaled, and how far the place is off the plane of equal volume
// is told from the cofactors before it is known.
template <int width>
inline __attribute__((always_inline)) FloatLanes<width> keys_of(EndLanes<width> const& a, EndLanes<width> const& b) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  F const zero = all<width>(0), one = all<width>(1), half = all<width>(0.5F);
  F const dx = b.x - a.x, dy = b.y - a.y, dz = b.z - a.z;
  F const n0 = a.n0 + b.n0, n1 = a.n1 + b.n1, n2 = a.n2 + b.n2;
  F const sum0 = a.q0 + b.q0, sum3 = a.q3 + b.q3, sum5 = a.q5 + b.q5;
  F const prior = all<width>(kMidpointPrior) * (sum0 + sum3 + sum5);
  F const q0 = sum0 + prior, q3 = sum3 + prior, q5 = sum5 + prior;
  F const q1 = a.q1 + b.q1, q2 = a.q2 + b.q2, q4 = a.q4 + b.q4;
  F const mid = half * prior;
  F const r0 = b.q0 * dx + b.q1 * dy + b.q2 * dz + mid * dx;
  F const r1 = b.q1 * dx + b.q3 * dy + b.q4 * dz + mid * dy;
  F const r2 = b.q2 * dx + b.q4 * dy + b.q5 * dz + mid * dz;
  F const volume = b.n0 * dx + b.n1 * dy + b.n2 * dz;

  F const c0 = q3 * q5 - q4 * q4, c1 = q2 * q4 - q1 * q5, c2 = q1 * q4 - q2 * q3;
  F const c3 = q0 * q5 - q2 * q2, c4 = q1 * q2 - q0 * q4, c5 = q0 * q3 - q1 * q1;
  F const determinant = q0 * c0 + q1 * c1 + q2 * c2;
  M const solvable = determinant > all<width>(1e-36F);
  // Not 1, which would leave a place whose square is too small for a float: such sums take a hundred times as long.
  F const inverse = one / select(solvable, determinant, all<width>(__builtin_inff()));
  F const y0 = c0 * n0 + c1 * n1 + c2 * n2;
  F const y1 = c1 * n0 + c3 * n1 + c4 * n2;
  F const y2 = c2 * n0 + c4 * n1 + c5 * n2;
  F const slope = n0 * y0 + n1 * y1 + n2 * y2;
  M const constrained = slope > all<width>(1e-36F);
  F const rise = select(constrained, one / select(constrained, slope, one), zero);
  F const shift = ((r0 * y0 + r1 * y1 + r2 * y2) * inverse - volume) * rise;
  F px = (c0 * r0 + c1 * r1 + c2 * r2) * inverse - y0 * shift;
  F py = (c1 * r0 + c3 * r1 + c4 * r2) * inverse - y1 * shift;
  F pz = (c2 * r0 + c4 * r1 + c5 * r2) * inverse - y2 * shift;
  VectorLanes<width> p = {px, py, pz}, e;
  return settle<width>(a, b, {dx, dy, dz}, solvable, p, e);
}

template <int width>
void evaluate_star(Vertex const* vertices, std::uint32_t v, std::uint32_t const* neighbours, std::uint32_t count,
                   EdgeArrays const& out) {
  EndLanes<width> const a = same_end<width>(vertices[v]);
  for (std::uint32_t first = 0; first < count; first += width) {
    Vertex const* ends[width];
    for (std::uint32_t k = 0; k < width; ++k) ends[k] = vertices + neighbours[first + k];
    evaluate_lanes<width, Wanted::kPlaces>(a, load_ends<width>(ends), &out, first);
  }
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

template <int width>
void cheapest_edges(Vertex const* vertices, StarEntry const* entries, std::uint32_t const* items, std::uint32_t count,
                    CheapestEdge* out) {
  using M = MaskLanes<width>;
  static_assert(Stars::kRow % width == 0);
  M numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  for (std::uint32_t i = 0; i < count; ++i) {
    Vertex const& v = vertices[items[i]];
    EndLanes<width> const a = same_end<width>(v);
    StarEntry const* const star = entries + v.star_begin;
    out[i] = {__builtin_inff(), star[0].next};
    for (std::uint32_t first = 0; first < v.star_count; first += width) {
      // Up to the end of the row, whatever vertices stand there: how many there are cannot be foreseen.
      Vertex const* ends[width];
      for (std::uint32_t k = 0; k < width; ++k) ends[k] = vertices + star[first + k].next;
      M const counts = numbers < static_cast<std::int32_t>(v.star_count - first);
      FloatLanes<width> const keys =
          select(counts, keys_of<width>(a, load_ends<width>(ends)), all<width>(__builtin_inff()));
      unsigned bits = 0;
      float const low = least<width>(keys, bits);
      if (low < out[i].key) out[i] = {low, star[first + static_cast<std::uint32_t>(__builtin_ctz(bits))].next};
    }
  }
}

template <int width>
void evaluate_edges(Vertex const* vertices, std::uint32_t const* from, std::uint32_t const* to, std::uint32_t count,
                    EdgeArrays const& out) {
  for (std::uint32_t first = 0; first < count; first += width) {
    Vertex const* ends_a[width];
    Vertex const* ends_b[width];
    for (std::uint32_t k = 0; k < width; ++k) {
      std::uint32_t const i = first + k < count ? first + k : count - 1;
      ends_a[k] = vertices + from[i];
      ends_b[k] = vertices + to[i];
    }
    evaluate_lanes<width, Wanted::kPlaces>(load_ends<width>(ends_a), load_ends<width>(ends_b), &out, first);
  }
}

template <int width>
inline __attribute__((always_inline)) VectorLanes<width> load_points(Vertex const* const* points) {
  float const* rows[width];
  for (int k = 0; k < width; ++k) rows[k] = &points[k]->x;
  FloatLanes<width> c[4];
  load_columns<width>(rows, 0, c);
  return {c[0], c[1], c[2]};
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
    F const weight = select(counts, plane_weight<width>(n2), zero);
    F const x = weight * n.x, y = weight * n.y, z = weight * n.z;
    float* const row = terms[first].values;
    store_columns<width>(zero, zero, zero, x * n.x, row, 12);
    store_columns<width>(x * n.y, x * n.z, y * n.y, y * n.z, row + 4, 12);
    store_columns<width>(z * n.z, select(counts, n.x, zero), select(counts, n.y, zero), select(counts, n.z, zero),
                         row + 8, 12);
  }
  return flat_faces;
}

// What becomes of faces that are thin already.
enum class Slivers { kStayAsThey, kMayWorsen };

template <int width, Slivers slivers>
std::uint32_t test_fan(Vertex const* vertices, Fan const& fan, FaceRow* change, FaceRow& merged) {
  using F = FloatLanes<width>;
  using M = MaskLanes<width>;
  F const zero = all<width>(0);
  VectorLanes<width> const place = {all<width>(fan.place[0]), all<width>(fan.place[1]), all<width>(fan.place[2])};
  Vertex const& a = vertices[fan.a];
  Vertex const& b = vertices[fan.b];
  M numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  EightLanes<width> sums[9] = {}, turns = {};
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
    F const thin_limit = all<width>((kSliverQuality / 3.4641016F) * (kSliverQuality / 3.4641016F));
    M const thin = after2 < thin_limit * size * size;
    // A sliver may stay one, not become one; its direction is then noise only if it has no area to speak of.
    [[maybe_unused]] F const size_before = dot<width>(b1, b1) + dot<width>(b2, b2) + across;
    F turn_limit = all<width>(kMinTurnCosine * kMinTurnCosine);
    M bad_sliver = ~(after2 > all<width>(1e-12F) * size * size);
    if constexpr (slivers == Slivers::kStayAsThey) {
      bad_sliver |= (after2 * size_before * size_before < before2 * size * size) & (after2 < before2);
      M const was_thin = before2 < thin_limit * size_before * size_before;
      turn_limit = select(was_thin, all<width>(kMinSliverTurnCosine * kMinSliverTurnCosine), turn_limit);
    }
    M const bad_thin = thin & ((had_area & bad_sliver) | (~had_area & ~(after2 > zero)));
    F const cosine = dot<width>(before, now);
    M const bad_turn = had_area & (~(cosine > zero) | (cosine * cosine < turn_limit * before2 * after2));
    if (any((bad_thin | bad_turn) & ~goes)) return kFanTurns;

    F const limit = all<width>(fan.closeness);
    F const next_away = larger(larger(magnitude(e1.x), magnitude(e1.y)), magnitude(e1.z));
    F const previous_away = larger(larger(magnitude(e2.x), magnitude(e2.y)), magnitude(e2.z));
    if (any((~(next_away > limit) | ~(previous_away > limit)) & ~goes)) verdict = kFanTouches;

    M const was = before2 > all<width>(1e-36F);
    M const is = (after2 > all<width>(1e-36F)) & ~goes;
    F const wb = select(was, plane_weight<width>(before2), zero), wa = select(is, plane_weight<width>(after2), zero);
    // |now| (1 - cosine), less what rounding alone may come to.
    F const turn =
        all<width>(1 - kTurnNoise) * square_root(after2) - cosine / square_root(select(was, before2, all<width>(1)));
    turns.add(select(is & was, larger(turn, zero), zero), first);
    F const bx = wb * before.x, by = wb * before.y, bz = wb * before.z;
    F const ax = wa * now.x, ay = wa * now.y, az = wa * now.z;
    F const a0 = ax * now.x, a1 = ax * now.y, a2 = ax * now.z, a3 = ay * now.y, a4 = ay * now.z, a5 = az * now.z;
    F const n0 = select(is, now.x, zero), n1 = select(is, now.y, zero), n2 = select(is, now.z, zero);
    F const terms[9] = {a0, a1, a2, a3, a4, a5, n0, n1, n2};
    for (std::size_t k = 0; k < 9; ++k) sums[k].add(terms[k], first);
    float* const change_row = change[first].values;
    store_columns<width>(zero, zero, zero, a0 - bx * before.x, change_row, 12);
    store_columns<width>(a1 - bx * before.y, a2 - bx * before.z, a3 - by * before.y, a4 - by * before.z, change_row + 4,
                         12);
    store_columns<width>(a5 - bz * before.z, n0 - select(was, before.x, zero), n1 - select(was, before.y, zero),
                         n2 - select(was, before.z, zero), change_row + 8, 12);
  }
  static_assert(kTurns == 0);
  EightLanes<width> const none = {};
  Lanes const totals[3] = {sum_each<width>(turns, none, none, sums[0]),
                           sum_each<width>(sums[1], sums[2], sums[3], sums[4]),
                           sum_each<width>(sums[5], sums[6], sums[7], sums[8])};
  __builtin_memcpy(merged.values, totals, sizeof(totals));
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

template <int width>
constexpr MetricKernels all_metric_kernels() {
  return {face_terms<width>,
          evaluate_star<width>,
          cheapest_edges<width>,
          evaluate_edges<width>,
          test_fan<width, Slivers::kStayAsThey>,
          test_fan<width, Slivers::kMayWorsen>,
          fan_distances<width>};
}

}  // namespace
}  // namespace mirel::engine::kernels
