// PNG after its specification (W3C Recommendation, second edition, 2003), packed by zlib.
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "standalone/model/picture.h"

namespace mirel::model {
namespace {

void put_u32(std::vector<char>& to, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    to.push_back(static_cast<char>(value >> shift));
  }
}

void put_chunk(std::vector<char>& to, char const* type, std::vector<char> const& content) {
  put_u32(to, static_cast<std::uint32_t>(content.size()));
  std::size_t const begin = to.size();
  to.insert(to.end(), type, type + 4);
  to.insert(to.end(), content.begin(), content.end());
  uLong const sum = crc32_z(0, reinterpret_cast<Bytef const*>(&to[begin]), to.size() - begin);
  put_u32(to, static_cast<std::uint32_t>(sum));
}

int paeth(int left, int above, int corner) {
  int const guess = left + above - corner;
  int const to_left = std::abs(guess - left);
  int const to_above = std::abs(guess - above);
  int const to_corner = std::abs(guess - corner);
  if (to_left <= to_above && to_left <= to_corner) {
    return left;
  }
  return to_above <= to_corner ? above : corner;
}

// A row under the filter that leaves the least behind, with the filter's number before it.
void append_filtered(std::vector<std::uint8_t>& to, std::vector<std::uint8_t> const& row,
                     std::vector<std::uint8_t> const& above, std::size_t pixel_size) {
  std::vector<std::uint8_t> best;
  long least = -1;
  std::vector<std::uint8_t> tried(row.size() + 1);
  for (std::uint8_t filter = 0; filter < 5; ++filter) {
    tried[0] = filter;
    long sum = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      int const a = i < pixel_size ? 0 : row[i - pixel_size];
      int const b = above[i];
      int const c = i < pixel_size ? 0 : above[i - pixel_size];
      int const guesses[5] = {0, a, b, (a + b) / 2, paeth(a, b, c)};
      auto const rest = static_cast<std::uint8_t>(row[i] - guesses[filter]);
      tried[i + 1] = rest;
      sum += rest < 128 ? rest : 256 - rest;
    }
    if (least < 0 || sum < least) {
      least = sum;
      best = tried;
    }
  }
  to.insert(to.end(), best.begin(), best.end());
}

std::vector<char> packed(std::vector<std::uint8_t> const& content) {
  uLongf size = compressBound(static_cast<uLong>(content.size()));
  std::vector<char> result(size);
  if (compress2(reinterpret_cast<Bytef*>(result.data()), &size, content.data(), static_cast<uLong>(content.size()),
                Z_DEFAULT_COMPRESSION) != Z_OK) {
    throw std::bad_alloc();  // the only way for it to fail
  }
  result.resize(size);
  return result;
}

bool is_opaque(Picture const& picture) {
  for (std::size_t at = 3; at < picture.pixels.size(); at += 4) {
    if (picture.pixels[at] != 255) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::vector<char> write_png(Picture const& picture) {
  std::size_t const pixel_size = is_opaque(picture) ? 3 : 4;
  std::vector<std::uint8_t> row(picture.width * pixel_size);
  std::vector<std::uint8_t> above(row.size());
  std::vector<std::uint8_t> filtered;
  filtered.reserve((row.size() + 1) * picture.height);
  for (std::size_t y = 0; y < picture.height; ++y) {
    for (std::size_t x = 0; x < picture.width; ++x) {
      std::memcpy(&row[x * pixel_size], &picture.pixels[(y * picture.width + x) * 4], pixel_size);
    }
    append_filtered(filtered, row, above, pixel_size);
    row.swap(above);
  }
  std::vector<char> header;
  put_u32(header, static_cast<std::uint32_t>(picture.width));
  put_u32(header, static_cast<std::uint32_t>(picture.height));
  // 8 bits, colours with or without opacity, deflated, the five filters, rows in order.
  for (int const value : {8, pixel_size == 4 ? 6 : 2, 0, 0, 0}) {
    header.push_back(static_cast<char>(value));
  }
  static constexpr char kMark[] = "\x89PNG\r\n\x1A\n";
  std::vector<char> file(kMark, kMark + 8);
  put_chunk(file, "IHDR", header);
  put_chunk(file, "IDAT", packed(filtered));
  put_chunk(file, "IEND", {});
  return file;
}

}  // namespace mirel::model
