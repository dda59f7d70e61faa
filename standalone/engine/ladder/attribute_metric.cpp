#include "standalone/engine/ladder/attribute_metric.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

namespace {

// Twice the area over the longest edge squared, below which a face is too thin for a gradient: those would swamp the
// sums that they are later taken out of.
constexpr float kThin = 0.02F;

}  // namespace

void AttributeSums::add(AttributeSums const& other, float sign) {
  for (int i = 0; i < 6; ++i) quadratic[i] += sign * other.quadratic[i];
  for (std::uint32_t k = 0; k < kMaxAttributes; ++k) {
    for (int i = 0; i < 3; ++i) linear[k][i] += sign * other.linear[k][i];
  }
  uv_weight += sign * other.uv_weight;
  normal_weight += sign * other.normal_weight;
}

AttributeSums face_terms(Vec3 const corners[3], float const* const values[3]) {
  AttributeSums terms;
  Vec3 const e1 = corners[1] - corners[0];
  Vec3 const e2 = corners[2] - corners[0];
  Vec3 const n = cross(e1, e2);
  float const n2 = squared_length(n);
  float const longest2 = std::max({squared_length(e1), squared_length(e2), squared_length(e2 - e1)});
  if (!(n2 > kThin * kThin * longest2 * longest2) || !(n2 > 1e-36F)) return terms;
  float const area = std::sqrt(n2);
  float const weight = std::sqrt(area);
  // The gradient of a function that is f0, f1, f2 at the corners: (f1 - f0) u1 + (f2 - f0) u2.
  Vec3 const u1 = cross(e2, n) * (1 / n2);
  Vec3 const u2 = cross(n, e1) * (1 / n2);
  for (std::uint32_t k = 0; k < kMaxAttributes; ++k) {
    float const w = k < 2 ? weight : weight * area;
    Vec3 const g = u1 * (values[1][k] - values[0][k]) + u2 * (values[2][k] - values[0][k]);
    terms.quadratic[0] += w * g.x * g.x;
    terms.quadratic[1] += w * g.x * g.y;
    terms.quadratic[2] += w * g.x * g.z;
    terms.quadratic[3] += w * g.y * g.y;
    terms.quadratic[4] += w * g.y * g.z;
    terms.quadratic[5] += w * g.z * g.z;
    terms.linear[k][0] = w * g.x;
    terms.linear[k][1] = w * g.y;
    terms.linear[k][2] = w * g.z;
  }
  terms.uv_weight = weight;
  terms.normal_weight = weight * area;
  return terms;
}

void add_attribute_costs(Stars const& stars, std::span<AttributeSums const> sums, std::uint32_t v,
                         Candidates& candidates, std::vector<std::uint8_t>& done) {
  AttributeSums const& a = sums[v];
  Lanes const zero = splat(0);
  for (std::uint32_t first = 0; first < candidates.count; first += 4) {
    std::uint32_t neighbours[4];
    bool any = false;
    for (std::uint32_t k = 0; k < 4; ++k) {
      neighbours[k] = candidates.neighbours[std::min(first + k, candidates.count - 1)];
      any |= (stars.vertex(neighbours[k]).flags & kOneWedge) != 0;
    }
    if (!any) continue;
    Lanes b[28];
    for (std::uint32_t k = 0; k < 4; ++k) {
      float const* const floats = sums[neighbours[k]].quadratic;
      for (std::uint32_t part = 0; part < 7; ++part) std::memcpy(&b[4 * part + k], floats + 4 * part, sizeof(Lanes));
    }
    for (std::uint32_t part = 0; part < 28; part += 4) transpose(b[part], b[part + 1], b[part + 2], b[part + 3]);

    Lanes x, y, z, ex, ey, ez, key;
    std::memcpy(&x, candidates.x.data() + first, sizeof(x));
    std::memcpy(&y, candidates.y.data() + first, sizeof(y));
    std::memcpy(&z, candidates.z.data() + first, sizeof(z));
    std::memcpy(&ex, candidates.ex.data() + first, sizeof(ex));
    std::memcpy(&ey, candidates.ey.data() + first, sizeof(ey));
    std::memcpy(&ez, candidates.ez.data() + first, sizeof(ez));
    std::memcpy(&key, candidates.keys.data() + first, sizeof(key));
    auto const form = [](Lanes q0, Lanes q1, Lanes q2, Lanes q3, Lanes q4, Lanes q5, Lanes px, Lanes py, Lanes pz) {
      return px * (q0 * px + q1 * py + q2 * pz) + py * (q1 * px + q3 * py + q4 * pz) +
             pz * (q2 * px + q4 * py + q5 * pz);
    };
    Lanes cost = form(splat(a.quadratic[0]), splat(a.quadratic[1]), splat(a.quadratic[2]), splat(a.quadratic[3]),
                      splat(a.quadratic[4]), splat(a.quadratic[5]), x, y, z) +
                 form(b[0], b[1], b[2], b[3], b[4], b[5], ex, ey, ez);
    // Minimised over the merged value: with D the difference of the ends' values,
    // 2 D (Hb e) + Wb D^2 - (Ha x + Hb e + Wb D)^2 / (Wa + Wb) for each attribute.
    for (std::uint32_t k = 0; k < kMaxAttributes; ++k) {
      Lanes const a_weight = splat(k < 2 ? a.uv_weight : a.normal_weight);
      Lanes const b_weight = k < 2 ? b[21] : b[22];
      Lanes const difference = b[23 + k] - splat(a.values[k]);
      Lanes const at_a = splat(a.linear[k][0]) * x + splat(a.linear[k][1]) * y + splat(a.linear[k][2]) * z;
      Lanes const at_b = b[6 + 3 * k] * ex + b[7 + 3 * k] * ey + b[8 + 3 * k] * ez;
      Lanes const weights = a_weight + b_weight;
      LaneMask const weighed = weights > zero;
      Lanes const pull = at_a + at_b + b_weight * difference;
      cost += difference * (at_b + at_b + b_weight * difference) -
              select(weighed, pull * pull / select(weighed, weights, splat(1)), zero);
    }
    LaneMask one_wedge;
    for (std::uint32_t k = 0; k < 4; ++k) one_wedge[k] = (stars.vertex(neighbours[k]).flags & kOneWedge) != 0 ? -1 : 0;
    key += select(one_wedge, larger(cost, zero), zero);
    std::memcpy(candidates.keys.data() + first, &key, sizeof(key));
    for (std::uint32_t k = 0; k < 4 && first + k < candidates.count; ++k) done[first + k] = one_wedge[k] != 0 ? 1 : 0;
  }
}

}  // namespace mirel::engine
