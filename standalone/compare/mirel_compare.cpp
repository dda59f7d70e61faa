#pragma GCC visibility push(default)
#include "standalone/compare/mirel_compare.h"
#pragma GCC visibility pop

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "standalone/compare/chunks.h"
#include "standalone/compare/comparison.h"
#include "standalone/compare/heat_map.h"
#include "standalone/compare/surface.h"

using mirel::compare::Surface;

struct MirelCompareMesh {
  Surface surface;
};

namespace {

constexpr std::uint32_t kMostThreads = 64;
constexpr std::uint64_t kMostSamples = 10'000'000'000U;
constexpr std::uint64_t kPointsPerChunk = 1024;

// Runs the body with what it may throw turned into a status.
template <typename Body>
int guarded(Body const& body) {
  try {
    return body();
  } catch (std::bad_alloc const&) {
    return kMirelCompareOutOfMemory;
  } catch (std::length_error const&) {
    return kMirelCompareOutOfMemory;
  }
}

bool valid(MirelCompareOptions const& options) {
  return options.samples >= 1 && options.samples <= kMostSamples && options.threads <= kMostThreads &&
         options.exact_accuracy >= 0 && std::isfinite(options.exact_accuracy) && options.reserved == 0;
}

int check_faces(std::span<float const> positions, std::span<std::uint32_t const> faces, std::uint32_t& place) {
  for (std::size_t i = 0; i < faces.size(); ++i) {
    place = static_cast<std::uint32_t>(i / 3);
    std::size_t const p = 3 * std::size_t{faces[i]};
    if (p >= positions.size()) return kMirelCompareBadIndex;
    if (!std::isfinite(positions[p]) || !std::isfinite(positions[p + 1]) || !std::isfinite(positions[p + 2])) {
      return kMirelCompareNotFinite;
    }
  }
  return kMirelCompareOk;
}

}  // namespace

char const* mirel_compare_status_text(int status) {
  switch (status) {
    case kMirelCompareOk:
      return "done";
    case kMirelCompareBadArgument:
      return "an argument is missing or out of range";
    case kMirelCompareEmpty:
      return "it has no faces";
    case kMirelCompareBadIndex:
      return "a face names a vertex that does not exist";
    case kMirelCompareNotFinite:
      return "a face has a corner that is not finite";
    case kMirelCompareNoArea:
      return "none of its faces has an area";
    case kMirelCompareOutOfMemory:
      return "not enough memory";
    case kMirelCompareNotWritten:
      return "the file could not be written";
    default:
      return "unknown status";
  }
}

int mirel_compare_mesh_create(float const* positions, uint32_t position_count, uint32_t const* faces,
                              uint32_t face_count, MirelCompareMesh** mesh, uint32_t* place) {
  if (mesh == nullptr || (positions == nullptr && position_count > 0) || (faces == nullptr && face_count > 0)) {
    return kMirelCompareBadArgument;
  }
  if (face_count == 0) return kMirelCompareEmpty;
  std::span const all_positions(positions, 3 * std::size_t{position_count});
  std::span const all_faces(faces, 3 * std::size_t{face_count});
  std::uint32_t at = 0;
  int const status = check_faces(all_positions, all_faces, at);
  if (status != kMirelCompareOk) {
    if (place != nullptr) *place = at;
    return status;
  }
  return guarded([&] {
    *mesh = new MirelCompareMesh{Surface(all_positions, all_faces)};
    return kMirelCompareOk;
  });
}

void mirel_compare_mesh_free(MirelCompareMesh* mesh) {
  delete mesh;
}

int mirel_compare_place(float const* positions, uint32_t position_count, double const transform[16], float* placed) {
  if (position_count > 0 && (positions == nullptr || placed == nullptr)) return kMirelCompareBadArgument;
  if (transform == nullptr) return kMirelCompareBadArgument;
  for (std::size_t i = 0; i < position_count; ++i) {
    mirel::engine::Vec const p = mirel::engine::load(positions + 3 * i);
    for (std::size_t k = 0; k < 3; ++k) {
      double const sum = transform[k] * p.x + transform[4 + k] * p.y + transform[8 + k] * p.z + transform[12 + k];
      placed[3 * i + k] = static_cast<float>(sum);
    }
  }
  return kMirelCompareOk;
}

double mirel_compare_mesh_diagonal(MirelCompareMesh const* mesh) {
  return mesh == nullptr ? 0 : mesh->surface.tree().diagonal();
}

int mirel_compare_distances(MirelCompareMesh const* mesh, float const* points, uint32_t point_count, uint32_t threads,
                            float* distances) {
  if (mesh == nullptr || threads > kMostThreads) return kMirelCompareBadArgument;
  if (point_count > 0 && (points == nullptr || distances == nullptr)) return kMirelCompareBadArgument;
  return guarded([&] {
    using mirel::engine::TriangleBvh;
    TriangleBvh const& tree = mesh->surface.tree();
    std::uint64_t const chunks = (std::uint64_t{point_count} + kPointsPerChunk - 1) / kPointsPerChunk;
    mirel::compare::for_each_chunk(chunks, threads, [&](std::uint64_t chunk) {
      std::uint32_t hint = TriangleBvh::kNoSlot;
      std::uint64_t const end = std::min<std::uint64_t>((chunk + 1) * kPointsPerChunk, point_count);
      for (std::uint64_t i = chunk * kPointsPerChunk; i < end; ++i) {
        float const* p = points + 3 * i;
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
          distances[i] = std::numeric_limits<float>::quiet_NaN();
          continue;
        }
        TriangleBvh::Nearest const nearest =
            tree.nearest(mirel::engine::load(p), std::numeric_limits<double>::infinity(), 0, hint);
        hint = nearest.slot;
        distances[i] = static_cast<float>(nearest.distance);
      }
    });
    return kMirelCompareOk;
  });
}

void mirel_compare_default_options(MirelCompareOptions* options) {
  if (options != nullptr) *options = {500'000, 0, 0, 0};
}

int mirel_compare_meshes(MirelCompareMesh const* first, MirelCompareMesh const* second,
                         MirelCompareOptions const* options, MirelCompareResult* result) {
  if (first == nullptr || second == nullptr || options == nullptr || result == nullptr || !valid(*options)) {
    return kMirelCompareBadArgument;
  }
  if (!(first->surface.area() > 0) || !(second->surface.area() > 0)) return kMirelCompareNoArea;
  return guarded([&] {
    *result = mirel::compare::compare(first->surface, second->surface, *options);
    return kMirelCompareOk;
  });
}

int mirel_compare_colors(float const* distances, uint32_t count, float high, uint8_t* colors) {
  if (count > 0 && (distances == nullptr || colors == nullptr)) return kMirelCompareBadArgument;
  if (!(high > 0)) return kMirelCompareBadArgument;
  for (std::size_t i = 0; i < count; ++i) {
    auto const color = mirel::compare::heat_color(distances[i] / high);
    std::copy(color.begin(), color.end(), colors + 3 * i);
  }
  return kMirelCompareOk;
}

int mirel_compare_write_ply(char const* path, float const* positions, float const* distances, uint32_t position_count,
                            uint32_t const* faces, uint32_t face_count, float high) {
  if (path == nullptr || !(high > 0)) return kMirelCompareBadArgument;
  if (position_count > 0 && (positions == nullptr || distances == nullptr)) return kMirelCompareBadArgument;
  if (face_count > 0 && faces == nullptr) return kMirelCompareBadArgument;
  return guarded([&] {
    mirel::compare::HeatMap const map{{positions, 3 * std::size_t{position_count}},
                                      {distances, position_count},
                                      {faces, 3 * std::size_t{face_count}},
                                      high};
    return mirel::compare::write_ply(path, map) ? kMirelCompareOk : kMirelCompareNotWritten;
  });
}
