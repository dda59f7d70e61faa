// Windows and OS/2 bitmaps (BITMAPCOREHEADER, BITMAPINFOHEADER and its longer successors).
#include <bit>

#include "standalone/model/picture_pixels.h"

namespace mirel::model {
namespace {

constexpr std::size_t kFileHeader = 14;
constexpr std::size_t kCoreHeader = 12;
constexpr std::size_t kInfoHeader = 40;
// With a mask for the opacity too.
constexpr std::size_t kFourMasks = 56;

enum Compression : std::uint32_t { kNone = 0, kRuns8 = 1, kRuns4 = 2, kMasks = 3, kAlphaMasks = 6 };

class Reader {
 public:
  explicit Reader(Bytes file) : file_(file) {}

  std::optional<Picture> read() {
    if (!read_header() || !read_masks() || !read_palette() || at_ > file_.size()) {
      return std::nullopt;
    }
    bool const has_runs = compression_ == kRuns8 || compression_ == kRuns4;
    row_size_ = (width_ * depth_ + 31) / 32 * 4;
    // Two bytes make a run of 255 pixels, and what a file of runs leaves out stays the palette's first colour; a
    // million pixels may come of nothing, so that small pictures with large gaps are read.
    std::size_t const rest = file_.size() - at_;
    std::size_t const most = has_runs ? rest / 2 * 255 + 1'000'000 : rest / row_size_ * width_;
    if (width_ > most / height_) {
      return std::nullopt;
    }
    picture_.width = width_;
    picture_.height = height_;
    picture_.pixels.resize(width_ * height_ * 4);
    if (!(has_runs ? read_runs() : read_rows())) {
      return std::nullopt;
    }
    make_opaque_if_all_is_clear(picture_);
    return std::move(picture_);
  }

 private:
  bool read_header() {
    if (file_.size() < kFileHeader + kCoreHeader || file_[0] != 'B' || file_[1] != 'M') {
      return false;
    }
    std::size_t const at = kFileHeader;
    header_size_ = get_u32(file_, at);
    at_ = get_u32(file_, 10);
    std::uint32_t planes = 0;
    if (header_size_ == kCoreHeader) {
      width_ = get_u16(file_, at + 4);
      height_ = get_u16(file_, at + 6);
      planes = get_u16(file_, at + 8);
      depth_ = get_u16(file_, at + 10);
      palette_entry_ = 3;
    } else {
      if (header_size_ < kInfoHeader || header_size_ > 4096 || file_.size() < kFileHeader + header_size_) {
        return false;
      }
      width_ = get_u32(file_, at + 4);
      std::uint32_t const height = get_u32(file_, at + 8);
      is_from_top_ = height > 0x7FFFFFFFU;
      height_ = is_from_top_ ? 0U - height : height;
      planes = get_u16(file_, at + 12);
      depth_ = get_u16(file_, at + 14);
      compression_ = get_u32(file_, at + 16);
      palette_size_ = get_u32(file_, at + 32);
    }
    return is_size(width_, height_) && planes == 1 && fits();
  }

  // Whether pictures of the depth are packed so.
  bool fits() const {
    switch (compression_) {
      case kNone:
        return depth_ == 1 || depth_ == 4 || depth_ == 8 || depth_ == 16 || depth_ == 24 || depth_ == 32;
      case kRuns8:
        return depth_ == 8 && !is_from_top_;
      case kRuns4:
        return depth_ == 4 && !is_from_top_;
      case kMasks:
      case kAlphaMasks:
        return depth_ == 16 || depth_ == 32;
      default:
        return false;
    }
  }

  bool read_masks() {
    if (compression_ != kMasks && compression_ != kAlphaMasks) {
      if (depth_ == 16) {
        masks_ = {0x7C00, 0x3E0, 0x1F, 0};
      } else {
        masks_ = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
      }
      return true;
    }
    std::size_t const at = kFileHeader + kInfoHeader;
    bool const has_four = compression_ == kAlphaMasks || header_size_ >= kFourMasks;
    std::size_t const end = at + (has_four ? 16 : 12);
    if (file_.size() < end) {
      return false;
    }
    for (std::size_t k = 0; k < (has_four ? 4U : 3U); ++k) {
      masks_[k] = get_u32(file_, at + 4 * k);
    }
    return true;
  }

  bool read_palette() {
    if (depth_ > 8) {
      return true;
    }
    std::size_t const most = std::size_t{1} << depth_;
    std::size_t const size = palette_size_ == 0 || palette_size_ > most ? most : palette_size_;
    std::size_t const begin = kFileHeader + header_size_;
    palette_.assign(most, Pixel{0, 0, 0, 255});
    for (std::size_t i = 0; i < size; ++i) {
      std::size_t const at = begin + i * palette_entry_;
      if (at + palette_entry_ > file_.size()) {
        return false;
      }
      palette_[i] = {file_[at + 2], file_[at + 1], file_[at], 255};
    }
    return true;
  }

  void put(std::size_t x, std::size_t row, Pixel const& pixel) {
    std::size_t const y = is_from_top_ ? row : height_ - 1 - row;
    std::copy(pixel.begin(), pixel.end(), &picture_.pixels[(y * width_ + x) * 4]);
  }

  Pixel masked(std::uint32_t value) const {
    Pixel pixel = {0, 0, 0, 255};
    for (std::size_t k = 0; k < 4; ++k) {
      if (std::uint32_t const mask = masks_[k]; mask != 0) {
        int const shift = std::countr_zero(mask);
        pixel[k] = stretched((value & mask) >> shift, mask >> shift);
      }
    }
    return pixel;
  }

  bool read_rows() {
    for (std::size_t row = 0; row < height_; ++row) {
      std::size_t const begin = at_ + row * row_size_;
      for (std::size_t x = 0; x < width_; ++x) {
        if (depth_ <= 8) {
          std::size_t const bit = x * depth_;
          unsigned const shift = 8 - static_cast<unsigned>(bit % 8) - depth_;
          put(x, row, palette_[(file_[begin + bit / 8] >> shift) & ((1U << depth_) - 1)]);
        } else if (depth_ == 16) {
          put(x, row, masked(get_u16(file_, begin + 2 * x)));
        } else if (depth_ == 24) {
          std::size_t const at = begin + 3 * x;
          put(x, row, {file_[at + 2], file_[at + 1], file_[at], 255});
        } else {
          put(x, row, masked(get_u32(file_, begin + 4 * x)));
        }
      }
    }
    return true;
  }

  bool read_runs() {
    for (std::size_t row = 0; row < height_; ++row) {
      for (std::size_t x = 0; x < width_; ++x) {
        put(x, row, palette_[0]);
      }
    }
    std::size_t x = 0;
    std::size_t row = 0;
    auto const add = [&](std::uint32_t index) {
      if (x < width_ && row < height_) {
        put(x, row, palette_[index]);
      }
      ++x;
    };
    auto const half = [](std::uint32_t byte, std::size_t i) { return i % 2 == 0 ? byte >> 4 : byte & 15; };
    while (at_ + 2 <= file_.size()) {
      std::uint32_t const count = file_[at_];
      std::uint32_t const value = file_[at_ + 1];
      at_ += 2;
      if (count > 0) {
        for (std::size_t i = 0; i < count; ++i) {
          add(depth_ == 8 ? value : half(value, i));
        }
      } else if (value == 0) {
        x = 0;
        ++row;
      } else if (value == 1) {
        return true;
      } else if (value == 2) {
        if (at_ + 2 > file_.size()) {
          return false;
        }
        x += file_[at_];
        row += file_[at_ + 1];
        at_ += 2;
      } else {
        std::size_t const bytes = depth_ == 8 ? value : (value + 1) / 2;
        if (file_.size() - at_ < bytes) {
          return false;
        }
        for (std::size_t i = 0; i < value; ++i) {
          add(depth_ == 8 ? file_[at_ + i] : half(file_[at_ + i / 2], i));
        }
        at_ += bytes + bytes % 2;
      }
    }
    // Without its end mark, but with every row.
    return row + 1 >= height_;
  }

  Bytes file_;
  std::size_t header_size_ = 0;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  bool is_from_top_ = false;
  std::uint32_t depth_ = 0;
  std::uint32_t compression_ = kNone;
  std::size_t palette_size_ = 0;
  std::size_t palette_entry_ = 4;
  std::array<std::uint32_t, 4> masks_ = {};
  std::vector<Pixel> palette_;
  std::size_t row_size_ = 0;
  std::size_t at_ = 0;
  Picture picture_;
};

}  // namespace

std::optional<Picture> read_bmp(Bytes file) {
  return Reader(file).read();
}

}  // namespace mirel::model
