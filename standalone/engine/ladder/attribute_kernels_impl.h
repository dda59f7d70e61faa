// The kernels for any width. Included by one file for each kind of processor, and by nothing else. All is each file's
// own, so that no function compiled for one processor can stand in for another's.
#pragma once

#include "standalone/engine/ladder/attribute_kernels.h"
#include "standalone/engine/ladder/eight_lanes.h"
#include "standalone/engine/ladder/plane_weight.h"
#include "standalone/engine/ladder/vector_lanes.h"

namespace mirel::engine::kernels {
namespace {

// Twice the area over the longest edge squared, below which a face is too thin for a gradient: it would be noise.
inline constexpr float kThin = 0.02F;

// Some faces, one in each lane, from the corner that may move.
template <int width>
struct GradientLanes {
  using F = FloatLanes<width>;
  // The gradient of a function that is f0, f1, f2 at the corners: (f1 - f0) u1 + (f2 - f0) u2.
  VectorLanes<width> u1, u2;
  F uv_weight, normal_weight;

  // `valid`: lanes that count.
  inline __attribute__((always_inline))
  GradientLanes(VectorLanes<width> const& e1, VectorLanes<width> const& e2, MaskLanes<width> valid) {
    F const zero = all<width>(0), one = all<width>(1);
    VectorLanes<width> const across = minus<width>(e2, e1);
    VectorLanes<width> const n = cross<width>(e1, e2);
    F const n2 = dot<width>(n, n);
    F const longest = larger(larger(dot<width>(e1, e1), dot<width>(e2, e2)), dot<width>(across, across));
    MaskLanes<width> const counts =
        valid & (n2 > all<width>(kThin * kThin) * longest * longest) & (n2 > all<width>(1e-36F));
    F const inverse = select(counts, one / select(counts, n2, one), zero);
    F const n2_counted = select(counts, n2, zero);
    uv_weight = n2_counted * plane_weight<width>(n2_counted);
    normal_weight = uv_weight * square_root(n2_counted);
    u1 = cross<width>(e2, n);
    u2 = cross<width>(n, e1);
    u1 = {u1.x * inverse, u1.y * inverse, u1.z * inverse};
    u2 = {u2.x * inverse, u2.y * inverse, u2.z * inverse};
  }
};

// Which attributes there are.
template <unsigned kinds>
inline constexpr std::size_t kFirstAttribute = (kinds & kUvs) != 0 ? 0 : 2;
template <unsigned kinds>
inline constexpr std::size_t kLastAttribute = (kinds & kNormals) != 0 ? kMaxAttributes : 2;

// Corners of some faces, one in each lane.
template <int width>
struct CornerLanes {
  FloatLanes<width> values[8];

  inline __attribute__((always_inline)) void load(AttributeRow const* const* corners) {
    float const* rows[width];
    for (int k = 0; k < width; ++k) rows[k] = corners[k]->values;
    load_columns<width>(rows, 0, values);
    load_columns<width>(rows, 4, values + 4);
  }
  inline __attribute__((always_inline)) VectorLanes<width> point() const { return {values[5], values[6], values[7]}; }
};

// Where corners come from: faces that name theirs, and faces whose corners have one wedge each.
template <int width>
struct NamedCorners {
  AttributeFace const* faces;
  std::uint32_t count;

  inline __attribute__((always_inline)) void load(std::uint32_t first, std::size_t corner,
                                                  CornerLanes<width>& lanes) const {
    AttributeRow const* rows[width];
    for (std::uint32_t k = 0; k < width; ++k)
      rows[k] = faces[first + k < count ? first + k : count - 1].corners[corner];
    lanes.load(rows);
  }
  inline __attribute__((always_inline)) void load(std::uint32_t first, CornerLanes<width>& corner,
                                                  CornerLanes<width>& next, CornerLanes<width>& previous) const {
    load(first, 0, corner);
    load(first, 1, next);
    load(first, 2, previous);
  }
};

template <int width>
struct OneWedgeCorners {
  OneWedgeFaces const& faces;

  inline __attribute__((always_inline)) void load(std::uint32_t first, std::size_t corner,
                                                  CornerLanes<width>& lanes) const {
    AttributeRow const* rows[width];
    StarEntry const* const entries = faces.entries + first;
    for (std::uint32_t k = 0; k < width; ++k) {
      rows[k] = faces.rows + (corner == 1 ? entries[k].next : entries[k].previous);
    }
    lanes.load(rows);
  }
};

// The first two of `high` are the last two of the quadric.
inline __attribute__((always_inline)) void add_to_quadric(Lanes low, Lanes high, float* quadric) {
  Lanes first_four;
  __builtin_memcpy(&first_four, quadric, sizeof(first_four));
  first_four += low;
  __builtin_memcpy(quadric, &first_four, sizeof(first_four));
  quadric[4] += high[0];
  quadric[5] += high[1];
}

template <int width, unsigned kinds, typename Corners>
inline __attribute__((always_inline)) void add_variation_of(AttributeRow const& corner, Corners const& corners,
                                                            std::uint32_t count, AttributeScale const& scale,
                                                            float* quadric) {
  using F = FloatLanes<width>;
  using Eight = EightLanes<width>;
  constexpr std::size_t kParts = kSumLanes / width;
  constexpr std::size_t kBegin = kFirstAttribute<kinds>;
  constexpr std::size_t kEnd = kLastAttribute<kinds>;
  VectorLanes<width> const origin = {all<width>(corner.position[0]), all<width>(corner.position[1]),
                                     all<width>(corner.position[2])};
  MaskLanes<width> numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  // Sums of w g^T g (xx xy xz yy, yz zz), and per attribute of w g, the weight behind it; the gradients less those of
  // the first face, so that nothing is lost where they are all but the same.
  Lanes low = {}, high = {};
  Lanes linear[kMaxAttributes] = {};
  F reference[kMaxAttributes][3];
  for (std::uint32_t first = 0; first < count; first += kSumLanes) {
    Eight xx, xy, xz, yy, yz, zz;
    Eight wx[kMaxAttributes], wy[kMaxAttributes], wz[kMaxAttributes];
    Eight uv_weight, normal_weight;
    for (std::size_t part = 0; part < kParts; ++part) {
      std::uint32_t const start = first + static_cast<std::uint32_t>(part) * width;
      CornerLanes<width> next, previous;
      corners.load(start, 1, next);
      corners.load(start, 2, previous);
      GradientLanes<width> const face(minus<width>(next.point(), origin), minus<width>(previous.point(), origin),
                                      numbers < static_cast<std::int32_t>(count) - static_cast<std::int32_t>(start));
      uv_weight.parts[part] = face.uv_weight;
      normal_weight.parts[part] = face.normal_weight;
      F s[6];
      for (F& sum : s) sum = all<width>(0);
      VectorLanes<width> u1, u2;
      for (std::size_t k = kBegin; k < kEnd; ++k) {
        if (k == kBegin || k == 2) {
          F const unit = all<width>(k < 2 ? scale.uv : scale.normal);
          u1 = {face.u1.x * unit, face.u1.y * unit, face.u1.z * unit};
          u2 = {face.u2.x * unit, face.u2.y * unit, face.u2.z * unit};
        }
        F const w = k < 2 ? face.uv_weight : face.normal_weight;
        F const f0 = all<width>(corner.values[k]);
        F const f1 = next.values[k] - f0, f2 = previous.values[k] - f0;
        F gx = u1.x * f1 + u2.x * f2, gy = u1.y * f1 + u2.y * f2, gz = u1.z * f1 + u2.z * f2;
        if (start == 0) {
          reference[k][0] = all<width>(gx[0]), reference[k][1] = all<width>(gy[0]);
          reference[k][2] = all<width>(gz[0]);
        }
        gx -= reference[k][0], gy -= reference[k][1], gz -= reference[k][2];
        F const x = w * gx, y = w * gy, z = w * gz;
        s[0] += x * gx, s[1] += x * gy, s[2] += x * gz;
        s[3] += y * gy, s[4] += y * gz, s[5] += z * gz;
        wx[k].parts[part] = x, wy[k].parts[part] = y, wz[k].parts[part] = z;
      }
      xx.parts[part] = s[0], xy.parts[part] = s[1], xz.parts[part] = s[2];
      yy.parts[part] = s[3], yz.parts[part] = s[4], zz.parts[part] = s[5];
    }
    low += sum_each<width>(xx, xy, xz, yy);
    high += sum_each<width>(yz, zz, yz, zz);
    for (std::size_t k = kBegin; k < kEnd; ++k) {
      linear[k] += sum_each<width>(wx[k], wy[k], wz[k], k < 2 ? uv_weight : normal_weight);
    }
  }
  Lanes inverse = {};
  for (std::size_t k = kBegin; k < kEnd; ++k) {
    Lanes const sum = linear[k];
    // The weight is the same for all of a kind.
    if (k == kBegin || k == 2) inverse = splat(sum[3] > 0 ? 1 / sum[3] : 0);
    Lanes const mean = sum * inverse;
    low -= __builtin_shufflevector(sum, sum, 0, 0, 0, 1) * __builtin_shufflevector(mean, mean, 0, 1, 2, 1);
    high -= __builtin_shufflevector(sum, sum, 1, 2, 1, 2) * __builtin_shufflevector(mean, mean, 2, 2, 2, 2);
  }
  add_to_quadric(low, high, quadric);
}

template <int width, unsigned kinds>
void add_variation(AttributeRow const& corner, AttributeFace const* faces, std::uint32_t count,
                   AttributeScale const& scale, float* quadric) {
  add_variation_of<width, kinds>(corner, NamedCorners<width>{faces, count}, count, scale, quadric);
}
template <int width, unsigned kinds>
void add_star_variation(AttributeRow const& corner, OneWedgeFaces const& faces, std::uint32_t count,
                        AttributeScale const& scale, float* quadric) {
  add_variation_of<width, kinds>(corner, OneWedgeCorners<width>{faces}, count, scale, quadric);
}

template <int width, unsigned kinds>
void face_gradients(AttributeFace const* faces, std::uint32_t count, AttributeScale const& scale, FaceGradients* rows) {
  using F = FloatLanes<width>;
  NamedCorners<width> const corners = {faces, count};
  for (std::uint32_t first = 0; first < count; first += width) {
    CornerLanes<width> corner, next, previous;
    corners.load(first, corner, next, previous);
    GradientLanes<width> const face(minus<width>(next.point(), corner.point()),
                                    minus<width>(previous.point(), corner.point()), MaskLanes<width>{} == 0);
    F columns[4 * kMaxAttributes];
    for (F& column : columns) column = all<width>(0);
    for (std::size_t k = kFirstAttribute<kinds>; k < kLastAttribute<kinds>; ++k) {
      F const unit = all<width>(k < 2 ? scale.uv : scale.normal);
      F const f1 = (next.values[k] - corner.values[k]) * unit, f2 = (previous.values[k] - corner.values[k]) * unit;
      columns[k] = face.u1.x * f1 + face.u2.x * f2;
      columns[kMaxAttributes + k] = face.u1.y * f1 + face.u2.y * f2;
      columns[2 * kMaxAttributes + k] = face.u1.z * f1 + face.u2.z * f2;
      columns[3 * kMaxAttributes + k] = k < 2 ? face.uv_weight : face.normal_weight;
    }
    for (std::size_t k = 0; k < 4 * kMaxAttributes; k += 4) {
      store_columns<width>(columns[k], columns[k + 1], columns[k + 2], columns[k + 3], rows[first].values + k,
                           4 * kMaxAttributes);
    }
  }
}

// A value for each attribute, with others behind them that stand for nothing.
template <int width>
struct AttributeLanes {
  FloatLanes<width> parts[8 / width];

  AttributeLanes() = default;
  inline __attribute__((always_inline)) explicit AttributeLanes(float const* from) {
    __builtin_memcpy(parts, from, sizeof(parts));
  }
  template <typename Operation>
  inline __attribute__((always_inline)) AttributeLanes with(AttributeLanes const& other, Operation operation) const {
    AttributeLanes result;
    for (std::size_t k = 0; k < 8 / width; ++k) result.parts[k] = operation(parts[k], other.parts[k]);
    return result;
  }
  inline __attribute__((always_inline)) AttributeLanes operator+(AttributeLanes const& other) const {
    return with(other, [](auto a, auto b) { return a + b; });
  }
  inline __attribute__((always_inline)) AttributeLanes operator-(AttributeLanes const& other) const {
    return with(other, [](auto a, auto b) { return a - b; });
  }
  inline __attribute__((always_inline)) AttributeLanes operator*(AttributeLanes const& other) const {
    return with(other, [](auto a, auto b) { return a * b; });
  }
  inline __attribute__((always_inline)) void store(float* to) const { __builtin_memcpy(to, parts, sizeof(parts)); }
  inline __attribute__((always_inline)) Lanes low() const {
    Lanes lanes;
    __builtin_memcpy(&lanes, parts, sizeof(lanes));
    return lanes;
  }
  inline __attribute__((always_inline)) float last() const { return parts[width == 8 ? 0 : 1][width == 8 ? 4 : 0]; }
};

// Some of the lanes of a row.
enum class RowPart { kUv, kNormal, kValues, kX, kY, kZ };
template <int width, RowPart part>
struct RowMask {
  static constexpr std::int32_t kFirst = part == RowPart::kNormal ? 2
                                         : part == RowPart::kX    ? 5
                                         : part == RowPart::kY    ? 6
                                         : part == RowPart::kZ    ? 7
                                                                  : 0;
  static constexpr std::int32_t kEnd = part == RowPart::kUv  ? 2
                                       : part == RowPart::kX ? 6
                                       : part == RowPart::kY ? 7
                                       : part == RowPart::kZ ? 8
                                                             : 5;
  // Constants: put together at run time they would be stored word by word and loaded at once, which waits for that.
  static inline __attribute__((always_inline)) MaskLanes<width> lanes(std::size_t k) {
    MaskLanes<width> numbers;
    for (int i = 0; i < width; ++i) numbers[i] = i;
    numbers += static_cast<std::int32_t>(k) * width;
    return (numbers >= kFirst) & (numbers < kEnd);
  }
};
// The first where the mask is set, else the second.
template <int width, RowPart part>
inline __attribute__((always_inline)) AttributeLanes<width> choose(AttributeLanes<width> const& in_part,
                                                                   AttributeLanes<width> const& elsewhere) {
  AttributeLanes<width> result;
  for (std::size_t k = 0; k < 8 / width; ++k) {
    result.parts[k] = select(RowMask<width, part>::lanes(k), in_part.parts[k], elsewhere.parts[k]);
  }
  return result;
}
template <int width>
inline __attribute__((always_inline)) AttributeLanes<width> all_attributes(float value) {
  AttributeLanes<width> result;
  for (std::size_t k = 0; k < 8 / width; ++k) result.parts[k] = all<width>(value);
  return result;
}
// 1 / weight, 0 where there is none.
template <int width>
inline __attribute__((always_inline)) AttributeLanes<width> inverse_of(AttributeLanes<width> const& weight) {
  AttributeLanes<width> result;
  for (std::size_t k = 0; k < 8 / width; ++k) {
    FloatLanes<width> const zero = all<width>(0), one = all<width>(1);
    auto const counts = weight.parts[k] > zero;
    result.parts[k] = select(counts, one / select(counts, weight.parts[k], one), zero);
  }
  return result;
}

// The sums over all attributes of each of four.
template <int width>
inline __attribute__((always_inline)) Lanes sum_attributes(AttributeLanes<width> x, AttributeLanes<width> y,
                                                           AttributeLanes<width> z, AttributeLanes<width> w) {
  static_assert(kMaxAttributes == 5);
  Lanes r0 = x.low(), r1 = y.low(), r2 = z.low(), r3 = w.low();
  transpose(r0, r1, r2, r3);
  return ((r0 + r1) + (r2 + r3)) + Lanes{x.last(), y.last(), z.last(), w.last()};
}

// The gradients of some faces summed, less those of the first, so that nothing is lost where they are all but the same.
template <int width>
struct GradientSums {
  using A = AttributeLanes<width>;
  A first_x, first_y, first_z;
  A mean_x, mean_y, mean_z;  // beyond the first
  A weights;
  A xx, xy, xz, yy, yz, zz;  // the variation

  // There must be a face.
  inline __attribute__((always_inline))
  GradientSums(FaceGradients const* rows, std::uint32_t const* places, std::uint32_t count) {
    constexpr std::size_t kAxis = kMaxAttributes;
    float const* const first = rows[places[0]].values;
    first_x = A(first), first_y = A(first + kAxis), first_z = A(first + 2 * kAxis);
    weights = A(first + 3 * kAxis);
    xx = {}, xy = {}, xz = {}, yy = {}, yz = {}, zz = {};
    A sum_x = {}, sum_y = {}, sum_z = {};
    for (std::uint32_t i = 1; i < count; ++i) {
      float const* const row = rows[places[i]].values;
      A const x = A(row) - first_x, y = A(row + kAxis) - first_y, z = A(row + 2 * kAxis) - first_z;
      A const weight(row + 3 * kAxis);
      A const wx = weight * x, wy = weight * y, wz = weight * z;
      xx = xx + wx * x, xy = xy + wx * y, xz = xz + wx * z;
      yy = yy + wy * y, yz = yz + wy * z, zz = zz + wz * z;
      sum_x = sum_x + wx, sum_y = sum_y + wy, sum_z = sum_z + wz;
      weights = weights + weight;
    }
    A const inverse = inverse_of<width>(weights);
    mean_x = sum_x * inverse, mean_y = sum_y * inverse, mean_z = sum_z * inverse;
    xx = xx - sum_x * mean_x, xy = xy - sum_x * mean_y, xz = xz - sum_x * mean_z;
    yy = yy - sum_y * mean_y, yz = yz - sum_y * mean_z, zz = zz - sum_z * mean_z;
  }
  inline __attribute__((always_inline)) void add_to(float* quadric) const {
    Lanes const low = sum_attributes<width>(xx, xy, xz, yy);
    Lanes const high = sum_attributes<width>(yz, zz, zz, zz);
    add_to_quadric(low, high, quadric);
  }
};

template <int width>
void add_row_variation(FaceGradients const* rows, std::uint32_t const* places, std::uint32_t count, float* quadric) {
  if (count == 0) return;
  GradientSums<width>(rows, places, count).add_to(quadric);
}

template <int width>
void add_group_variation(FaceGradients const* rows, std::uint32_t const* places, std::uint32_t count,
                         std::uint32_t kinds, AttributeScale const& scale, float* quadric, MeanGradients& means) {
  using A = AttributeLanes<width>;
  if (count == 0) return;
  GradientSums<width> sums(rows, places, count);
  for (A* const sum : {&sums.xx, &sums.xy, &sums.xz, &sums.yy, &sums.yz, &sums.zz}) {
    if ((kinds & kUvs) == 0) *sum = choose<width, RowPart::kUv>({}, *sum);
    if ((kinds & kNormals) == 0) *sum = choose<width, RowPart::kNormal>({}, *sum);
  }
  sums.add_to(quadric);
  A const unit = choose<width, RowPart::kUv>(all_attributes<width>(scale.uv), all_attributes<width>(scale.normal));
  auto const divide = [](auto a, auto b) { return a / b; };
  A const along[3] = {(sums.first_x + sums.mean_x).with(unit, divide), (sums.first_y + sums.mean_y).with(unit, divide),
                      (sums.first_z + sums.mean_z).with(unit, divide)};
  for (std::size_t axis = 0; axis < 3; ++axis) along[axis].store(means.along[axis]);
  sums.weights.store(means.weights);
}

// What some faces foretell for `goal`, to rows from `rows` on.
template <int width, unsigned kinds>
inline __attribute__((always_inline)) void foretell_lanes(VectorLanes<width> const& goal,
                                                          CornerLanes<width> const& corner,
                                                          CornerLanes<width> const& next,
                                                          CornerLanes<width> const& previous, ForetoldRow* rows) {
  using F = FloatLanes<width>;
  GradientLanes<width> const face(minus<width>(next.point(), corner.point()),
                                  minus<width>(previous.point(), corner.point()), MaskLanes<width>{} == 0);
  VectorLanes<width> const x = minus<width>(goal, corner.point());
  F const along1 = dot<width>(face.u1, x), along2 = dot<width>(face.u2, x);
  F row[8];
  for (F& value : row) value = all<width>(0);
  for (std::size_t k = kFirstAttribute<kinds>; k < kLastAttribute<kinds>; ++k) {
    F const own = corner.values[k];
    F const foretold = own + (next.values[k] - own) * along1 + (previous.values[k] - own) * along2;
    row[k] = (k < 2 ? face.uv_weight : face.normal_weight) * foretold;
  }
  if constexpr ((kinds & kUvs) != 0) row[5] = face.uv_weight;
  if constexpr ((kinds & kNormals) != 0) row[6] = face.normal_weight;
  store_columns<width>(row[0], row[1], row[2], row[3], rows->values, 8);
  store_columns<width>(row[4], row[5], row[6], row[7], rows->values + 4, 8);
}

template <int width, unsigned kinds>
void foretell(float const* place, AttributeFace const* faces, std::uint32_t count, ForetoldRow* rows) {
  VectorLanes<width> const goal = {all<width>(place[0]), all<width>(place[1]), all<width>(place[2])};
  NamedCorners<width> const corners = {faces, count};
  for (std::uint32_t first = 0; first < count; first += width) {
    CornerLanes<width> corner, next, previous;
    corners.load(first, corner, next, previous);
    foretell_lanes<width, kinds>(goal, corner, next, previous, rows + first);
  }
}

// What faces foretell for both ends of a fan, and between which values.
template <int width>
struct FanSums {
  AttributeLanes<width> of_a, of_b, low, high;

  // `visit_corners`: shows a visitor the rows around the face of a number.
  template <typename Fan, typename Corners>
  inline __attribute__((always_inline))
  FanSums(Fan const& fan, ForetoldRow const* rows, AttributeLanes<width> const& end, Corners const& visit_corners) {
    of_a = of_b = {};
    for (std::uint32_t i = 0; i < fan.of_a; ++i) of_a = of_a + AttributeLanes<width>(rows[i].values);
    for (std::uint32_t i = fan.of_a; i < fan.surviving; ++i) of_b = of_b + AttributeLanes<width>(rows[i].values);
    // Faces on the edge belong to both ends.
    for (std::uint32_t i = fan.surviving; i < fan.count; ++i) {
      AttributeLanes<width> const row(rows[i].values);
      of_a = of_a + row;
      of_b = of_b + row;
    }
    low = high = end;
    for (std::uint32_t i = 0; i < fan.count; ++i) {
      visit_corners(i, [&](AttributeRow const& row) {
        AttributeLanes<width> const values(row.values);
        low = low.with(values, [](auto a, auto b) { return smaller(a, b); });
        high = high.with(values, [](auto a, auto b) { return larger(a, b); });
      });
    }
  }
};

// The weights of a row of sums, one for each attribute.
template <int width>
inline __attribute__((always_inline)) AttributeLanes<width> weights_of(AttributeLanes<width> const& row) {
  static_assert(offsetof(ForetoldRow, weights) == 5 * sizeof(float));
  AttributeLanes<width> weights;
  if constexpr (width == 8) {
    weights.parts[0] = __builtin_shufflevector(row.parts[0], row.parts[0], 5, 5, 6, 6, 6, 6, 6, 6);
  } else {
    weights.parts[0] = __builtin_shufflevector(row.parts[1], row.parts[1], 1, 1, 2, 2);
    weights.parts[1] = __builtin_shufflevector(row.parts[1], row.parts[1], 2, 2, 2, 2);
  }
  return weights;
}

// The wedge of values `value`, and what these cost, given what faces foretell for both ends.
template <int width, unsigned kinds>
inline __attribute__((always_inline)) void settle_wedge(FanSums<width> const& sums, AttributeLanes<width> const& at_a,
                                                        AttributeLanes<width> const& at_b, float const* place, int kept,
                                                        AttributeScale const& scale, MergedWedge& merged) {
  using A = AttributeLanes<width>;
  A const weight_a = weights_of<width>(sums.of_a), weight_b = weights_of<width>(sums.of_b);
  A const weight = weight_a + weight_b;
  A value = kept == 0 ? at_a : at_b;
  if (kept < 0) {
    A const half = all_attributes<width>(0.5F);
    A const best = ((sums.of_a + sums.of_b) * inverse_of<width>(weight))
                       .with(sums.low, [](auto a, auto b) { return larger(a, b); })
                       .with(sums.high, [](auto a, auto b) { return smaller(a, b); });
    A const mean = at_a * half + at_b * half;
    for (std::size_t k = 0; k < 8 / width; ++k) {
      value.parts[k] = select(weight.parts[k] > all<width>(0), best.parts[k], mean.parts[k]);
    }
  }
  A const off_a = sums.of_a * inverse_of<width>(weight_a) - value;
  A const off_b = sums.of_b * inverse_of<width>(weight_b) - value;
  A const square = choose<width, RowPart::kUv>(all_attributes<width>(scale.uv * scale.uv),
                                               all_attributes<width>(scale.normal * scale.normal));
  A cost = (weight_a * off_a * off_a + weight_b * off_b * off_b) * square;
  // Values that do not count may be of any size.
  for (std::size_t k = 0; k < 8 / width; ++k) {
    cost.parts[k] = select(weight.parts[k] > all<width>(0), cost.parts[k], all<width>(0));
  }
  Lanes const low = cost.low();
  merged.cost = ((low[0] + low[1]) + (low[2] + low[3])) + cost.last();
  if constexpr ((kinds & kNormals) != 0) {
    if (kept < 0) {
      // Normals that cancel leave no direction: that of the first end stands.
      Lanes const squares = (value * value).low();
      float const length = __builtin_sqrtf(squares[2] + squares[3] + value.last() * value.last());
      if (!(length > 1e-6F)) {
        value = choose<width, RowPart::kNormal>(at_a, value);
      } else if (!(length - 1 <= 1e-6F && 1 - length <= 1e-6F)) {
        A const unit = value.with(all_attributes<width>(length), [](auto a, auto b) { return a / b; });
        value = choose<width, RowPart::kNormal>(unit, value);
      }
    }
  }
  value = choose<width, RowPart::kX>(all_attributes<width>(place[0]), value);
  value = choose<width, RowPart::kY>(all_attributes<width>(place[1]), value);
  value = choose<width, RowPart::kZ>(all_attributes<width>(place[2]), value);
  value.store(merged.row.values);
}

template <int width, unsigned kinds>
void merge_fan(OneWedgeFan const& fan, AttributeScale const& scale, ForetoldRow* rows, MergedWedge& merged) {
  using A = AttributeLanes<width>;
  using M = MaskLanes<width>;
  VectorLanes<width> const goal = {all<width>(fan.place[0]), all<width>(fan.place[1]), all<width>(fan.place[2])};
  AttributeRow const& at_a = fan.faces.rows[fan.a];
  AttributeRow const& at_b = fan.faces.rows[fan.b];
  OneWedgeCorners<width> const corners = {fan.faces};
  M numbers;
  for (int k = 0; k < width; ++k) numbers[k] = k;
  for (std::uint32_t first = 0; first < fan.count; first += width) {
    M const index = numbers + static_cast<std::int32_t>(first);
    M const of_b = (index >= static_cast<std::int32_t>(fan.of_a)) & (index < static_cast<std::int32_t>(fan.surviving));
    CornerLanes<width> corner, next, previous;
    for (std::size_t k = 0; k < kMaxAttributes; ++k) {
      corner.values[k] = select(of_b, all<width>(at_b.values[k]), all<width>(at_a.values[k]));
    }
    for (std::size_t k = 0; k < 3; ++k) {
      corner.values[kMaxAttributes + k] = select(of_b, all<width>(at_b.position[k]), all<width>(at_a.position[k]));
    }
    corners.load(first, 1, next);
    corners.load(first, 2, previous);
    foretell_lanes<width, kinds>(goal, corner, next, previous, rows + first);
  }
  A const own_a(at_a.values), own_b(at_b.values);
  if (fan.closed) {
    FanSums<width> const sums(fan, rows, own_a, [&](std::uint32_t i, auto const& visit) {
      visit(fan.faces.rows[fan.faces.entries[i].next]);
    });
    settle_wedge<width, kinds>(sums, own_a, own_b, fan.place, fan.kept, scale, merged);
  } else {
    FanSums<width> const sums(fan, rows, own_a, [&](std::uint32_t i, auto const& visit) {
      visit(fan.faces.rows[fan.faces.entries[i].next]);
      visit(fan.faces.rows[fan.faces.entries[i].previous]);
    });
    settle_wedge<width, kinds>(sums, own_a, own_b, fan.place, fan.kept, scale, merged);
  }
}

template <int width, unsigned kinds>
void merge_named_fan(NamedFan const& fan, AttributeScale const& scale, ForetoldRow* rows, MergedWedge& merged) {
  using A = AttributeLanes<width>;
  A const own_a(fan.a->values), own_b(fan.b->values);
  if constexpr (kinds == 0) {
    NamedFan const none = {fan.faces, 0, 0, 0, fan.a, fan.b, {}, fan.kept};
    FanSums<width> const sums(none, rows, own_a, [](std::uint32_t, auto const&) {});
    settle_wedge<width, kinds>(sums, own_a, own_b, fan.place, fan.kept, scale, merged);
  } else {
    foretell<width, kinds>(fan.place, fan.faces, fan.count, rows);
    FanSums<width> const sums(fan, rows, own_a, [&](std::uint32_t i, auto const& visit) {
      visit(*fan.faces[i].corners[1]);
      visit(*fan.faces[i].corners[2]);
    });
    settle_wedge<width, kinds>(sums, own_a, own_b, fan.place, fan.kept, scale, merged);
  }
}

template <int width>
constexpr AttributeKernels all_attribute_kernels() {
  constexpr unsigned kBoth = kUvs | kNormals;
  return {
      {nullptr, add_variation<width, kUvs>, add_variation<width, kNormals>, add_variation<width, kBoth>},
      {nullptr, add_star_variation<width, kUvs>, add_star_variation<width, kNormals>, add_star_variation<width, kBoth>},
      {nullptr, face_gradients<width, kUvs>, face_gradients<width, kNormals>, face_gradients<width, kBoth>},
      add_row_variation<width>,
      add_group_variation<width>,
      {nullptr, foretell<width, kUvs>, foretell<width, kNormals>, foretell<width, kBoth>},
      {nullptr, merge_fan<width, kUvs>, merge_fan<width, kNormals>, merge_fan<width, kBoth>},
      {merge_named_fan<width, 0>, merge_named_fan<width, kUvs>, merge_named_fan<width, kNormals>,
       merge_named_fan<width, kBoth>}};
}

}  // namespace
}  // namespace mirel::engine::kernels
