// After Truevision's TGA file format specification, version 2.0 (1991).
#include <initializer_list>

#include "standalone/model/picture_pixels.h"

namespace mirel::model {
namespace {

constexpr std::size_t kHeader = 18;

enum Kind : std::uint8_t { kPalette = 1, kColors = 2, kGrey = 3 };

Pixel pixel_at(std::uint8_t const* bytes, std::uint32_t depth, bool is_grey) {
  switch (depth) {
    case 8:
      return {bytes[0], bytes[0], bytes[0], 255};
    case 15:
    case 16: {
      if (is_grey) {
        return {bytes[0], bytes[0], bytes[0], bytes[1]};
      }
      std::uint32_t const value = bytes[0] | (std::uint32_t{bytes[1]} << 8);
      return {stretched((value >> 10) & 31, 31), stretched((value >> 5) & 31, 31), stretched(value & 31, 31), 255};
    }
    case 24:
      return {bytes[2], bytes[1], bytes[0], 255};
    default:
      return {bytes[2], bytes[1], bytes[0], bytes[3]};
  }
}

bool is_one_of(std::uint32_t depth, std::initializer_list<std::uint32_t> depths) {
  return std::find(depths.begin(), depths.end(), depth) != depths.end();
}

// The numbers of the header.
struct Header {
  explicit Header(Bytes file)
      : palette_kind(file[1]),
        kind(file[2] & 7),
        has_runs((file[2] & 8) != 0),
        palette_begin(get_u16(file, 3)),
        palette_size(get_u16(file, 5)),
        palette_depth(file[7]),
        width(get_u16(file, 12)),
        height(get_u16(file, 14)),
        depth(file[16]),
        is_from_right((file[17] & 0x10) != 0),
        is_from_top((file[17] & 0x20) != 0),
        is_well_formed((file[2] & ~11) == 0 && (file[17] & 0xC0) == 0) {}

  bool is_readable() const {
    if (!is_well_formed || palette_kind > 1 || !is_size(width, height)) {
      return false;
    }
    if (palette_kind == 1 && !is_one_of(palette_depth, {15, 16, 24, 32})) {
      return false;
    }
    switch (kind) {
      case kPalette:
        return palette_kind == 1 && palette_size > 0 && is_one_of(depth, {8, 16});
      case kColors:
        return is_one_of(depth, {15, 16, 24, 32});
      case kGrey:
        return is_one_of(depth, {8, 16});
      default:
        return false;
    }
  }

  std::uint32_t palette_kind;
  std::uint32_t kind;
  bool has_runs;
  std::uint32_t palette_begin;
  std::uint32_t palette_size;
  std::uint32_t palette_depth;
  std::size_t width;
  std::size_t height;
  std::uint32_t depth;
  bool is_from_right;
  bool is_from_top;
  bool is_well_formed;
};

class Reader {
 public:
  Reader(Bytes file, Header const& header)
      : file_(file), header_(header), pixel_size_((header.depth + 7) / 8), at_(kHeader + file[0]) {}

  std::optional<Picture> read() {
    if (!read_palette() || at_ > file_.size()) {
      return std::nullopt;
    }
    std::size_t const count = header_.width * header_.height;
    // A run of 128 pixels takes one byte and a pixel.
    std::size_t const rest = file_.size() - at_;
    if (header_.has_runs ? count / 128 > rest / (1 + pixel_size_) : count > rest / pixel_size_) {
      return std::nullopt;
    }
    picture_.width = header_.width;
    picture_.height = header_.height;
    picture_.pixels.resize(count * 4);
    for (std::size_t place = 0; place < count;) {
      std::size_t length = count;
      bool repeats = false;
      if (header_.has_runs) {
        if (at_ == file_.size()) {
          return std::nullopt;
        }
        repeats = (file_[at_] & 0x80) != 0;
        length = std::min<std::size_t>((file_[at_] & 0x7FU) + 1, count - place);
        ++at_;
      }
      if (file_.size() - at_ < (repeats ? 1 : length) * pixel_size_) {
        return std::nullopt;
      }
      for (std::size_t i = 0; i < length; ++i) {
        if (!put(place++)) {
          return std::nullopt;
        }
        at_ += repeats && i + 1 < length ? 0 : pixel_size_;
      }
    }
    make_opaque_if_all_is_clear(picture_);
    return std::move(picture_);
  }

 private:
  bool read_palette() {
    if (header_.palette_kind == 0) {
      return true;
    }
    std::size_t const size = (header_.palette_depth + 7) / 8;
    if (at_ > file_.size() || file_.size() - at_ < header_.palette_size * size) {
      return false;
    }
    for (std::uint32_t i = 0; i < header_.palette_size; ++i, at_ += size) {
      palette_.push_back(pixel_at(&file_[at_], header_.palette_depth, false));
    }
    return true;
  }

  bool put(std::size_t place) {
    Pixel pixel = {};
    if (header_.kind == kPalette) {
      std::uint32_t const index = (header_.depth == 8 ? file_[at_] : get_u16(file_, at_)) - header_.palette_begin;
      if (index >= palette_.size()) {
        return false;
      }
      pixel = palette_[index];
    } else {
      pixel = pixel_at(&file_[at_], header_.depth, header_.kind == kGrey);
    }
    std::size_t const row = place / header_.width;
    std::size_t const column = place % header_.width;
    std::size_t const y = header_.is_from_top ? row : header_.height - 1 - row;
    std::size_t const x = header_.is_from_right ? header_.width - 1 - column : column;
    std::copy(pixel.begin(), pixel.end(), &picture_.pixels[(y * header_.width + x) * 4]);
    return true;
  }

  Bytes file_;
  Header const& header_;
  std::size_t pixel_size_;
  std::size_t at_;
  std::vector<Pixel> palette_;
  Picture picture_;
};

}  // namespace

std::optional<Picture> read_tga(Bytes file) {
  if (file.size() < kHeader) {
    return std::nullopt;
  }
  Header const header(file);
  return header.is_readable() ? Reader(file, header).read() : std::nullopt;
}

}  // namespace mirel::model
