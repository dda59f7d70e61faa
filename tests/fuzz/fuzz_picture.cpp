// Any bytes as a picture: what is read has all its pixels, and no more of them than the file can stand for.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "standalone/model/picture.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  // Runs of 255 pixels in two bytes, and the gaps that runs may leave.
  std::size_t const most_pixels = size * 128 + 1'000'000;
  std::optional<mirel::model::Picture> const picture = mirel::model::read_picture({data, size});
  if (!picture) return 0;
  if (picture->width == 0 || picture->height == 0) std::abort();
  if (picture->pixels.size() != picture->width * picture->height * 4) std::abort();
  if (picture->pixels.size() / 4 > most_pixels) std::abort();
  // Larger ones only cost time.
  if (picture->pixels.size() <= 1 << 16 && mirel::model::write_png(*picture).size() < 57) std::abort();
  return 0;
}
