// Pictures of formats that the web knows nothing of, as PNG: Truevision TGA and Windows bitmaps, as model files of
// every age name them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace mirel::model {

using Bytes = std::span<std::uint8_t const>;

// Rows from the top, each pixel red, green, blue and opacity.
struct Picture {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> pixels;
};

// All three give nothing for a file that is damaged, or of a kind that is not read. What a file may claim to hold is
// held against its length before any memory is taken.
//
// Windows and OS/2 bitmaps of 1, 4, 8, 16, 24 and 32 bits, with masks or runs.
std::optional<Picture> read_bmp(Bytes file);
// Colours, grey and palettes of 8 to 32 bits, with or without runs, from any corner.
std::optional<Picture> read_tga(Bytes file);
// Either. TGA has no mark to be known by: whatever has the shape of one counts.
std::optional<Picture> read_picture(Bytes file);

// A PNG file: without opacity where every pixel is opaque. Throws std::bad_alloc.
std::vector<char> write_png(Picture const& picture);

}  // namespace mirel::model
