// Distances as colours, and as a PLY file.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace mirel::compare {

// `share` is a distance over the highest shown: 0 dark blue, over cyan, green and yellow to 1 and above, red; NaN grey.
std::array<std::uint8_t, 3> heat_color(float share);

struct HeatMap {
  std::span<float const> positions;  // count x 3
  std::span<float const> distances;  // count
  std::span<std::uint32_t const> faces;
  float high;
};

// Returns whether the complete file is on the disk; errno says why not. Throws std::bad_alloc.
bool write_ply(char const* path, HeatMap const& map);

}  // namespace mirel::compare
