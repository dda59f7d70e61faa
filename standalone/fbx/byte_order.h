// Numbers at any address, in either byte order.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace mirel::fbx {

inline constexpr bool kHostIsBigEndian = std::endian::native == std::endian::big;

template <class T>
T load(char const* bytes, bool swap) {
  char copy[sizeof(T)];
  std::memcpy(copy, bytes, sizeof(T));
  if (swap) std::reverse(copy, copy + sizeof(T));
  T value;
  std::memcpy(&value, copy, sizeof(T));
  return value;
}

// The version in the head of a binary file.
int find_binary_version(std::string_view bytes, bool& big_endian);

}  // namespace mirel::fbx
