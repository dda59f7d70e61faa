// Setting up: vertices in memory order, stars and their first sums, constraints.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numeric>

#include "standalone/engine/ladder/builder.h"
#include "standalone/engine/ladder/lanes.h"
#include "standalone/engine/ladder/loose_faces.h"

namespace mirel::engine {

namespace {

struct Box {
  float low[3], high[3];
};

// Of at least one position.
Box box_of(std::span<float const> positions) {
  // The fourth lane is the first coordinate of the next position, which the last does not have.
  std::size_t const count = positions.size() / 3;
  float const* const last = positions.data() + 3 * (count - 1);
  Lanes low = {last[0], last[1], last[2], 0};
  Lanes high = low;
  for (std::size_t i = 0; i + 1 < count; ++i) {
    Lanes point;
    std::memcpy(&point, positions.data() + 3 * i, sizeof(point));
    low = smaller(low, point);
    high = larger(high, point);
  }
  return {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
}

// Two zero bits before each of the lowest ten bits.
std::uint32_t spread_bits(std::uint32_t x) {
  x &= 0x3FF;
  x = (x | x << 16) & 0x030000FF;
  x = (x | x << 8) & 0x0300F00F;
  x = (x | x << 4) & 0x030C30C3;
  x = (x | x << 2) & 0x09249249;
  return x;
}

// Positions in the order of a space-filling curve (Morton 1966): neighbours in space become neighbours in memory.
std::vector<std::uint32_t> morton_order(std::span<float const> positions) {
  std::size_t const count = positions.size() / 3;
  if (count == 0) return {};
  auto const [low, high] = box_of(positions);
  double extent = 0;
  for (std::size_t k = 0; k < 3; ++k) extent = std::max(extent, double{high[k]} - double{low[k]});
  double const steps = extent > 0 ? 1023.0 / extent : 0;

  std::vector<std::uint32_t> codes(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t code = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      code |= spread_bits(static_cast<std::uint32_t>((double{positions[3 * i + k]} - double{low[k]}) * steps)) << k;
    }
    codes[i] = code;
  }
  std::vector<std::uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0U);
  std::vector<std::uint32_t> sorted(count);
  for (int shift = 0; shift < 30; shift += 10) {
    std::array<std::uint32_t, 1025> starts{};
    for (std::uint32_t const code : codes) ++starts[(code >> shift & 1023U) + 1];
    for (std::size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
    for (std::uint32_t const i : order) sorted[starts[codes[i] >> shift & 1023U]++] = i;
    order.swap(sorted);
  }
  return order;
}

}  // namespace

void LadderBuilder::scale_to_unit() {
  double extent = 0;
  double largest = 0;
  for (WedgeMesh const* mesh : records_.meshes) {
    std::array<double, 3> centre{};
    if (!mesh->vertices.empty()) {
      auto const [low, high] = box_of(mesh->vertices);
      for (std::size_t k = 0; k < 3; ++k) {
        centre[k] = (double{low[k]} + double{high[k]}) / 2;
        extent = std::max(extent, double{high[k]} - double{low[k]});
        largest = std::max({largest, std::abs(double{low[k]}), std::abs(double{high[k]})});
      }
    }
    centres_.push_back(centre);
  }
  // A power of two, so that scaling rounds nothing.
  if (extent > 0) scale_ = std::ldexp(1.0, -std::ilogb(extent));
  inverse_scale_ = 1 / scale_;
  rounding_ = static_cast<float>(largest * scale_ * 0x1p-21);
}

// Gives every position a vertex, in space-filling order within each mesh, and lists the triangles of all meshes. Loose
// faces are left out; where there are any, `faces` says which the triangles are.
void LadderBuilder::number_vertices(std::vector<std::uint32_t>& triangles, std::vector<std::uint32_t>& faces) {
  std::vector<LooseFaces> loose(records_.meshes.size());
  vertex_base_.push_back(0);
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    // With a tolerance others have to answer for what goes.
    if (!(options_.tolerance > 0)) loose[m] = find_loose_faces(mesh);
    for (std::uint32_t const face : loose[m].faces) loose_faces_.push_back(records_.face_base[m] + face);
    std::size_t const positions = loose[m].faces.empty() ? mesh.position_count : loose[m].positions.size();
    vertex_base_.push_back(vertex_base_.back() + static_cast<std::uint32_t>(positions));
  }
  live_loose_faces_ = static_cast<std::uint32_t>(loose_faces_.size());
  origins_.resize(vertex_base_.back());
  std::size_t const connected = records_.face_count() - loose_faces_.size();
  triangles.resize(3 * connected);
  if (!loose_faces_.empty()) faces.resize(connected);

  std::size_t listed = 0;
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    // With one wedge for each position both have one number.
    bool const single = mesh.vertex_count() == mesh.position_count;
    bool const whole = loose[m].faces.empty();
    std::vector<float> positions(single ? 0 : std::size_t{mesh.position_count} * 3);
    for (std::size_t w = 0; !single && w < mesh.vertex_count(); ++w) {
      std::copy_n(mesh.vertices.data() + 3 * w, 3, positions.data() + std::size_t{3} * mesh.position_of[w]);
    }
    std::vector<float> const& all = single ? mesh.vertices : positions;
    std::vector<float> connected_positions;
    for (std::uint32_t const p : loose[m].positions) {
      auto const at = all.begin() + std::ptrdiff_t{3} * p;
      connected_positions.insert(connected_positions.end(), at, at + 3);
    }
    std::vector<std::uint32_t> const order = morton_order(whole ? all : connected_positions);
    std::vector<std::uint32_t> slot_of(mesh.vertex_count());
    std::uint32_t const base = vertex_base_[m];
    for (std::uint32_t i = 0; i < order.size(); ++i) {
      std::uint32_t const position = whole ? order[i] : loose[m].positions[order[i]];
      slot_of[position] = base + i;
      origins_[base + i] = {position, records_.wedge_base[m] + position};
    }
    if (!single) {
      std::vector<std::uint32_t> slot_of_wedge(mesh.vertex_count());
      for (std::size_t w = 0; w < slot_of_wedge.size(); ++w) slot_of_wedge[w] = slot_of[mesh.position_of[w]];
      slot_of.swap(slot_of_wedge);
    }
    if (loose_faces_.empty()) {
      std::uint32_t* const to = triangles.data() + std::size_t{3} * records_.face_base[m];
      for (std::size_t i = 0; i < mesh.faces.size(); ++i) to[i] = slot_of[mesh.faces[i]];
      continue;
    }
    auto next_loose = loose[m].faces.begin();
    for (std::uint32_t face = 0; face < mesh.face_count(); ++face) {
      if (next_loose != loose[m].faces.end() && *next_loose == face) {
        ++next_loose;
        continue;
      }
      for (std::size_t k = 0; k < 3; ++k) triangles[3 * listed + k] = slot_of[mesh.faces[std::size_t{3} * face + k]];
      faces[listed++] = records_.face_base[m] + face;
    }
  }
}

void LadderBuilder::sum_stars(std::span<std::uint32_t const> triangles) {
  for (std::size_t m = 0; m < records_.meshes.size(); ++m) {
    WedgeMesh const& mesh = *records_.meshes[m];
    bool const single = mesh.vertex_count() == mesh.position_count;
    std::vector<std::uint32_t> first_wedge(single ? 0 : mesh.position_count, kNone);
    for (std::uint32_t w = mesh.vertex_count(); !single && w-- > 0;) first_wedge[mesh.position_of[w]] = w;
    for (std::uint32_t v = vertex_base_[m]; v < vertex_base_[m + 1]; ++v) {
      std::uint32_t const position = origins_[v].lowest;
      float const* const p = mesh.vertices.data() + std::size_t{3} * (single ? position : first_wedge[position]);
      stars_.vertex(v).set_position(ladder_point(m, p));
    }
  }
  add_face_terms(triangles);
  add_loose_areas();
  if (records_.attributed) start_attributes();
  if (records_.attributed) {
    sum_attributed_stars();
    return;
  }
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    if (!is_regular(v)) refresh(v, true);
  }
}

void LadderBuilder::lock_boundaries() {
  for (std::uint32_t v = 0; v < stars_.vertex_count(); ++v) {
    Vertex& vertex = stars_.vertex(v);
    if ((vertex.flags & kBoundary) != 0) vertex.flags |= kLocked;
  }
}

// Adds every face to the sums of its corners. Those of faces without area come first in the queue: no cost is needed to
// see that they can go.
void LadderBuilder::add_face_terms(std::span<std::uint32_t const> triangles) {
  // Faces come in the order of the caller, vertices lie in that of the curve.
  constexpr std::size_t kAhead = std::size_t{4} * 3 * kFaceBlock;
  FaceRow terms[kFaceBlock];
  std::uint32_t last[3 * kFaceBlock];
  for (std::size_t corner = 0; corner < triangles.size(); corner += std::size_t{3} * kFaceBlock) {
    std::size_t const rest = (triangles.size() - corner) / 3;
    std::uint32_t const* block = triangles.data() + corner;
    if (corner + kAhead + std::size_t{3} * kFaceBlock <= triangles.size()) {
      for (std::size_t k = 0; k < std::size_t{3} * kFaceBlock; ++k)
        __builtin_prefetch(&stars_.vertex(block[kAhead + k]));
    }
    if (rest < kFaceBlock) {
      for (std::size_t k = 0; k < 3 * kFaceBlock; ++k) last[k] = block[k % (3 * rest)];
      block = last;
    }
    std::uint32_t const flat_faces = kernels_.face_terms(stars_.vertices(), block, terms);
    for (std::size_t face = 0; face < std::min<std::size_t>(rest, kFaceBlock); ++face) {
      for (std::size_t k = 0; k < 3; ++k) {
        Vertex& vertex = stars_.vertex(block[3 * face + k]);
        add(terms[face], vertex);
        if ((flat_faces >> face & 1U) != 0) vertex.flags |= kUrgent;
      }
      float const* const n = terms[face].values + 9;
      area_ += 0.5 * double{std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2])};
    }
  }
}

void LadderBuilder::start_guards() {
  refused_edges_.start(stars_.vertex_count());
  for (WedgeMesh const* mesh : records_.meshes) {
    std::vector<float> positions(std::size_t{mesh->position_count} * 3);
    std::vector<std::uint32_t> faces(mesh->faces.size());
    for (std::size_t w = 0; w < mesh->vertex_count(); ++w) {
      std::copy_n(mesh->vertices.data() + 3 * w, 3, positions.data() + std::size_t{3} * mesh->position_of[w]);
    }
    for (std::size_t i = 0; i < faces.size(); ++i) faces[i] = mesh->position_of[mesh->faces[i]];
    guards_.push_back(std::make_unique<DeviationGuard>(positions, faces, options_.tolerance));
  }
}

}  // namespace mirel::engine
