#include "standalone/engine/ladder/star_metric.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "standalone/engine/ladder/lanes.h"

namespace mirel::engine {

namespace {

// The prior on the midpoint, in traces of the quadric. 1e-4 and more costs mean error; floats stand 1e-6.
constexpr float kMidpointPrior = 1e-5F;
// A place further from an end than this many edge lengths is taken for a failed solve.
constexpr float kReachSquared = 16;
// How much of the older end's error a merged vertex carries on: it keeps the same region from being worn down.
constexpr float kHistory = 0.5F;

}  // namespace

float face_weight(Vec3 n) {
  return std::sqrt(std::sqrt(squared_length(n)));
}

void StarSums::add_triangle(Vec3 n, float sign) {
  float const n2 = squared_length(n);
  if (!(n2 > 1e-36F)) return;
  float const length = std::sqrt(n2);
  float const weight = sign / (length * std::sqrt(length));
  quadric[0] += weight * n.x * n.x;
  quadric[1] += weight * n.x * n.y;
  quadric[2] += weight * n.x * n.z;
  quadric[3] += weight * n.y * n.y;
  quadric[4] += weight * n.y * n.z;
  quadric[5] += weight * n.z * n.z;
  normal = normal + n * sign;
}

void StarSums::add_line(Vec3 edge, float weight) {
  float const length2 = squared_length(edge);
  if (!(length2 > 1e-36F)) return;
  float const length = std::sqrt(length2);
  float const w = weight * length;
  Vec3 const e = edge * (1 / length);
  quadric[0] += w * (1 - e.x * e.x);
  quadric[1] -= w * e.x * e.y;
  quadric[2] -= w * e.x * e.z;
  quadric[3] += w * (1 - e.y * e.y);
  quadric[4] -= w * e.y * e.z;
  quadric[5] += w * (1 - e.z * e.z);
}

void store(StarSums const& sums, Vertex& vertex) {
  std::copy_n(sums.quadric, 6, vertex.quadric);
  vertex.normal[0] = sums.normal.x;
  vertex.normal[1] = sums.normal.y;
  vertex.normal[2] = sums.normal.z;
}

void add(StarSums const& sums, Vertex& vertex) {
  for (int i = 0; i < 6; ++i) vertex.quadric[i] += sums.quadric[i];
  vertex.normal[0] += sums.normal.x;
  vertex.normal[1] += sums.normal.y;
  vertex.normal[2] += sums.normal.z;
}

void list_neighbours(Stars const& stars, std::uint32_t v, std::vector<std::uint32_t>& neighbours) {
  std::span<StarEntry const> const star = stars.star(v);
  neighbours.clear();
  if ((stars.vertex(v).flags & kIrregular) == 0) {
    // A closed fan: every neighbour is some triangle's next corner exactly once.
    neighbours.resize(star.size());
    for (std::size_t i = 0; i < star.size(); ++i) neighbours[i] = star[i].next;
    return;
  }
  for (StarEntry const& entry : star) {
    neighbours.push_back(entry.next);
    neighbours.push_back(entry.previous);
  }
  if (neighbours.size() <= 64) {
    // Short lists keep the order of the star.
    std::size_t kept = 0;
    for (std::uint32_t const neighbour : neighbours) {
      bool seen = false;
      for (std::size_t i = 0; i < kept; ++i) seen |= neighbours[i] == neighbour;
      if (!seen) neighbours[kept++] = neighbour;
    }
    neighbours.resize(kept);
  } else {
    std::sort(neighbours.begin(), neighbours.end());
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
  }
}

void evaluate(Stars const& stars, std::uint32_t v, Candidates& candidates) {
  list_neighbours(stars, v, candidates.neighbours);
  auto const count = static_cast<std::uint32_t>(candidates.neighbours.size());
  candidates.count = count;
  std::size_t const padded = (count + 3U) & ~std::size_t{3};
  if (candidates.keys.size() < padded) {
    for (auto* lane : {&candidates.keys, &candidates.x, &candidates.y, &candidates.z, &candidates.ex, &candidates.ey,
                       &candidates.ez}) {
      lane->resize(padded);
    }
  }

  Vertex const& a = stars.vertex(v);
  Lanes const ax = splat(a.x), ay = splat(a.y), az = splat(a.z);
  Lanes const aq0 = splat(a.quadric[0]), aq1 = splat(a.quadric[1]), aq2 = splat(a.quadric[2]);
  Lanes const aq3 = splat(a.quadric[3]), aq4 = splat(a.quadric[4]), aq5 = splat(a.quadric[5]);
  Lanes const an0 = splat(a.normal[0]), an1 = splat(a.normal[1]), an2 = splat(a.normal[2]);
  Lanes const zero = splat(0), one = splat(1), half = splat(0.5F);

  for (std::uint32_t first = 0; first < count; first += 4) {
    Vertex const* b[4];
    for (std::uint32_t k = 0; k < 4; ++k) b[k] = &stars.vertex(candidates.neighbours[std::min(first + k, count - 1)]);
    Lanes rows[3][4];
    for (int k = 0; k < 4; ++k) {
      float const* const floats = &b[k]->x;
      for (int part = 0; part < 3; ++part) std::memcpy(&rows[part][k], floats + 4 * part, sizeof(Lanes));
    }
    for (auto& part : rows) transpose(part[0], part[1], part[2], part[3]);
    Lanes const dx = rows[0][0] - ax, dy = rows[0][1] - ay, dz = rows[0][2] - az;
    Lanes const bq0 = rows[0][3], bq1 = rows[1][0], bq2 = rows[1][1], bq3 = rows[1][2], bq4 = rows[1][3];
    Lanes const bq5 = rows[2][0], bn0 = rows[2][1], bn1 = rows[2][2], bn2 = rows[2][3];
    Lanes const errors = {b[0]->error, b[1]->error, b[2]->error, b[3]->error};

    // The sum of both quadrics, scaled to trace 1, with the prior on its diagonal.
    Lanes const trace = (aq0 + bq0) + (aq3 + bq3) + (aq5 + bq5);
    LaneMask const has_planes = trace > splat(1e-30F);
    Lanes const scale = select(has_planes, one / select(has_planes, trace, one), zero);
    Lanes const prior = splat(kMidpointPrior);
    Lanes const s0 = (aq0 + bq0) * scale, q1 = (aq1 + bq1) * scale, q2 = (aq2 + bq2) * scale;
    Lanes const s3 = (aq3 + bq3) * scale, q4 = (aq4 + bq4) * scale, s5 = (aq5 + bq5) * scale;
    Lanes const q0 = s0 + prior, q3 = s3 + prior, q5 = s5 + prior;

    // Cofactors of the symmetric matrix.
    Lanes const c0 = q3 * q5 - q4 * q4, c1 = q2 * q4 - q1 * q5, c2 = q1 * q4 - q2 * q3;
    Lanes const c3 = q0 * q5 - q2 * q2, c4 = q1 * q2 - q0 * q4, c5 = q0 * q3 - q1 * q1;
    Lanes const determinant = q0 * c0 + q1 * c1 + q2 * c2;
    LaneMask const solvable = determinant > zero;
    Lanes const inverse = one / select(solvable, determinant, one);

    Lanes const t0 = (bq0 * dx + bq1 * dy + bq2 * dz) * scale;
    Lanes const t1 = (bq1 * dx + bq3 * dy + bq4 * dz) * scale;
    Lanes const t2 = (bq2 * dx + bq4 * dy + bq5 * dz) * scale;
    Lanes const mid = prior * half;
    Lanes const r0 = t0 + mid * dx, r1 = t1 + mid * dy, r2 = t2 + mid * dz;
    Lanes px = (c0 * r0 + c1 * r1 + c2 * r2) * inverse;
    Lanes py = (c1 * r0 + c3 * r1 + c4 * r2) * inverse;
    Lanes pz = (c2 * r0 + c4 * r1 + c5 * r2) * inverse;
    // Once more for what the planes still want, without the prior: it then only speaks where they are silent.
    Lanes const u0 = t0 - (s0 * px + q1 * py + q2 * pz);
    Lanes const u1 = t1 - (q1 * px + s3 * py + q4 * pz);
    Lanes const u2 = t2 - (q2 * px + q4 * py + s5 * pz);
    px += (c0 * u0 + c1 * u1 + c2 * u2) * inverse;
    py += (c1 * u0 + c3 * u1 + c4 * u2) * inverse;
    pz += (c2 * u0 + c4 * u1 + c5 * u2) * inverse;

    // Moved onto the plane of equal volume, along the direction that the quadric resists least.
    Lanes const n0 = an0 + bn0, n1 = an1 + bn1, n2 = an2 + bn2;
    Lanes const volume = bn0 * dx + bn1 * dy + bn2 * dz;
    Lanes const y0 = (c0 * n0 + c1 * n1 + c2 * n2) * inverse;
    Lanes const y1 = (c1 * n0 + c3 * n1 + c4 * n2) * inverse;
    Lanes const y2 = (c2 * n0 + c4 * n1 + c5 * n2) * inverse;
    Lanes const slope = n0 * y0 + n1 * y1 + n2 * y2;
    LaneMask const constrained = slope > splat(1e-36F);
    Lanes const shift =
        select(constrained, (n0 * px + n1 * py + n2 * pz - volume) / select(constrained, slope, one), zero);
    px -= y0 * shift;
    py -= y1 * shift;
    pz -= y2 * shift;

    Lanes const reach = splat(kReachSquared) * (dx * dx + dy * dy + dz * dz);
    LaneMask const sound = solvable & (px * px + py * py + pz * pz <= reach);
    px = select(sound, px, half * dx);
    py = select(sound, py, half * dy);
    pz = select(sound, pz, half * dz);

    LaneMask both_locked = {0, 0, 0, 0};
    if (((a.flags | b[0]->flags | b[1]->flags | b[2]->flags | b[3]->flags) & kLocked) != 0) {
      int const a_locked = (a.flags & kLocked) != 0 ? -1 : 0;
      LaneMask locked;
      for (int k = 0; k < 4; ++k) locked[k] = (b[k]->flags & kLocked) != 0 ? -1 : 0;
      LaneMask const stay = {a_locked, a_locked, a_locked, a_locked};
      px = select(locked, dx, select(stay, zero, px));
      py = select(locked, dy, select(stay, zero, py));
      pz = select(locked, dz, select(stay, zero, pz));
      both_locked = locked & stay;
    }

    // Two positive forms, each about its own vertex: nothing cancels.
    Lanes const ex = px - dx, ey = py - dy, ez = pz - dz;
    Lanes const cost_a = px * (aq0 * px + aq1 * py + aq2 * pz) + py * (aq1 * px + aq3 * py + aq4 * pz) +
                         pz * (aq2 * px + aq4 * py + aq5 * pz);
    Lanes const cost_b = ex * (bq0 * ex + bq1 * ey + bq2 * ez) + ey * (bq1 * ex + bq3 * ey + bq4 * ez) +
                         ez * (bq2 * ex + bq4 * ey + bq5 * ez);
    Lanes key = larger(cost_a + cost_b, zero) + splat(kHistory) * larger(splat(a.error), errors);
    key = larger(key, splat(kKeyFloor));
    key = select(both_locked, splat(std::numeric_limits<float>::infinity()), key);

    std::memcpy(candidates.keys.data() + first, &key, sizeof(key));
    std::memcpy(candidates.x.data() + first, &px, sizeof(px));
    std::memcpy(candidates.y.data() + first, &py, sizeof(py));
    std::memcpy(candidates.z.data() + first, &pz, sizeof(pz));
    std::memcpy(candidates.ex.data() + first, &ex, sizeof(ex));
    std::memcpy(candidates.ey.data() + first, &ey, sizeof(ey));
    std::memcpy(candidates.ez.data() + first, &ez, sizeof(ez));
  }
}

}  // namespace mirel::engine
