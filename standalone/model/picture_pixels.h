// What the readers of pictures share.
#pragma once

#include <algorithm>
#include <array>

#include "standalone/model/picture.h"

namespace mirel::model {

using Pixel = std::array<std::uint8_t, 4>;

// A gigabyte of pixels, which is more than anything draws.
inline bool is_size(std::size_t width, std::size_t height) {
  constexpr std::size_t kMostPixels = std::size_t{1} << 28;
  return width > 0 && height > 0 && width <= kMostPixels / height;
}

// Little-endian numbers; the caller has seen to the length.
inline std::uint32_t get_u16(Bytes file, std::size_t at) {
  return static_cast<std::uint32_t>(file[at] | (file[at + 1] << 8));
}
inline std::uint32_t get_u32(Bytes file, std::size_t at) {
  return get_u16(file, at) | (get_u16(file, at + 2) << 16);
}

// A value of so many bits, stretched to 8.
inline std::uint8_t stretched(std::uint32_t value, std::uint32_t most) {
  return most == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>((std::uint64_t{value} * 255 + most / 2) / most);
}

// Many programs leave the fourth byte at 0 and mean an opaque picture.
inline void make_opaque_if_all_is_clear(Picture& picture) {
  std::size_t const size = picture.pixels.size();
  for (std::size_t at = 3; at < size; at += 4) {
    if (picture.pixels[at] != 0) {
      return;
    }
  }
  for (std::size_t at = 3; at < size; at += 4) {
    picture.pixels[at] = 255;
  }
}

}  // namespace mirel::model
