// Pictures that are read, and written as PNG.
#include "standalone/model/picture.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace mirel::model {
namespace {

using Content = std::vector<std::uint8_t>;

// By push_back: g++ 12 warns of what insert might copy.
Content joined(Content file, Content const& more) {
  for (std::uint8_t const byte : more) file.push_back(byte);
  return file;
}

// One letter a pixel, row by row from the top.
std::string letters(std::optional<Picture> const& picture) {
  if (!picture) return "none";
  std::string result;
  for (std::size_t at = 0; at < picture->pixels.size(); at += 4) {
    if (at > 0 && at / 4 % picture->width == 0) result += '/';
    std::uint8_t const* const p = &picture->pixels[at];
    bool const strong = p[0] > 127, green = p[1] > 127, blue = p[2] > 127;
    char const letter = "kbgcrmyw"[(strong ? 4 : 0) + (green ? 2 : 0) + (blue ? 1 : 0)];
    result += p[3] < 128 ? '.' : letter;
  }
  return result;
}

Content tga(std::uint8_t kind, std::uint8_t depth, std::uint8_t descriptor, Content const& content,
            std::uint8_t palette_size = 0, std::uint8_t palette_depth = 0) {
  std::uint8_t const has_palette = palette_size > 0 ? 1 : 0;
  Content file = {3, has_palette, kind, 0, 0, palette_size, 0,          palette_depth, 0,   0,  0,
                  0, 2,           0,    2, 0, depth,        descriptor, 'i',           'd', '!'};
  return joined(file, content);
}

// An information header of 40 bytes; `before` stands between it and the rows.
Content bmp(std::uint8_t depth, std::uint8_t compression, Content const& before, Content const& rows,
            bool is_from_top = false, std::uint8_t colors = 0) {
  auto const at = static_cast<std::uint8_t>(54 + before.size());
  std::uint8_t const sign = is_from_top ? 0xFF : 0;
  auto const height = static_cast<std::uint8_t>(is_from_top ? 0xFE : 2);
  Content file = {'B', 'M', 0, 0, 0,      0,    0,    0,    0, 0, at,     0, 0,           0, 40, 0, 0, 0,
                  2,   0,   0, 0, height, sign, sign, sign, 1, 0, depth,  0, compression, 0, 0,  0, 0, 0,
                  0,   0,   0, 0, 0,      0,    0,    0,    0, 0, colors, 0, 0,           0, 0,  0, 0, 0};
  return joined(joined(file, before), rows);
}

struct Case {
  char const* name;
  Content file;
  char const* letters;
};

// Red and green above blue and white, but for what cannot show colours.
std::vector<Case> cases() {
  Content const palette3 = {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255};
  Content const palette4 = {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0};
  Content const tga_palette = joined(palette3, {2, 3, 0, 1});
  return {
      {"tga 24", tga(2, 24, 0, {255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 255, 0}), "rg/bw"},
      {"tga 24 from the top", tga(2, 24, 0x20, {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255}), "rg/bw"},
      {"tga 24 from the right", tga(2, 24, 0x30, {0, 255, 0, 0, 0, 255, 255, 255, 255, 255, 0, 0}), "rg/bw"},
      {"tga 32", tga(2, 32, 0x28, {0, 0, 255, 255, 0, 255, 0, 0, 255, 0, 0, 255, 255, 255, 255, 255}), "r./bw"},
      {"tga 32, all clear", tga(2, 32, 0x20, {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0}), "rg/bw"},
      {"tga 16", tga(2, 16, 0x20, {0, 0x7C, 0xE0, 3, 0x1F, 0, 0xFF, 0x7F}), "rg/bw"},
      {"tga 15", tga(2, 15, 0x20, {0, 0x7C, 0xE0, 3, 0x1F, 0, 0xFF, 0x7F}), "rg/bw"},
      {"tga palette", tga(1, 8, 0, tga_palette, 4, 24), "rg/bw"},
      {"tga grey", tga(3, 8, 0x20, {0, 255, 255, 0}), "kw/wk"},
      {"tga grey with opacity", tga(3, 16, 0x20, {0, 255, 255, 255, 255, 0, 0, 255}), "kw/.k"},
      {"tga runs", tga(10, 24, 0x20, {0x82, 0, 0, 255, 0, 255, 255, 255}), "rr/rw"},
      {"tga a run beyond the end", tga(11, 8, 0x20, {0x01, 0, 255, 0xFF, 255}), "kw/ww"},
      {"bmp 24", bmp(24, 0, {}, {255, 0, 0, 255, 255, 255, 9, 9, 0, 0, 255, 0, 255, 0, 9, 9}), "rg/bw"},
      {"bmp 24 from the top", bmp(24, 0, {}, {0, 0, 255, 0, 255, 0, 9, 9, 255, 0, 0, 255, 255, 255, 9, 9}, true),
       "rg/bw"},
      {"bmp 32", bmp(32, 0, {}, {255, 0, 0, 0, 255, 255, 255, 0, 0, 0, 255, 0, 0, 255, 0, 0}), "rg/bw"},
      {"bmp 32 with opacity", bmp(32, 0, {}, {255, 0, 0, 255, 255, 255, 255, 0, 0, 0, 255, 255, 0, 255, 0, 255}),
       "rg/b."},
      {"bmp 16", bmp(16, 0, {}, {0x1F, 0, 0xFF, 0x7F, 0, 0x7C, 0xE0, 3}), "rg/bw"},
      {"bmp 16 with masks",
       bmp(16, 3, {0, 0xF8, 0, 0, 0xE0, 7, 0, 0, 0x1F, 0, 0, 0}, {0x1F, 0, 0xFF, 0xFF, 0, 0xF8, 0xE0, 7}), "rg/bw"},
      {"bmp 8", bmp(8, 0, palette4, {2, 3, 9, 9, 0, 1, 9, 9}, false, 4), "rg/bw"},
      {"bmp 4", bmp(4, 0, palette4, {0x23, 9, 9, 9, 0x01, 9, 9, 9}, false, 4), "rg/bw"},
      {"bmp 1", bmp(1, 0, {0, 0, 255, 0, 0, 255, 0, 0}, {0x80, 9, 9, 9, 0x40, 9, 9, 9}), "rg/gr"},
      {"bmp runs of 8", bmp(8, 1, palette4, {1, 2, 1, 3, 0, 0, 2, 1, 0, 1}, false, 4), "gg/bw"},
      {"bmp runs of 8, gaps and pixels by themselves",
       bmp(8, 1, palette4, {0, 2, 1, 0, 1, 3, 0, 0, 0, 3, 0, 1, 2, 9, 0, 1}, false, 4), "rg/rw"},
      {"bmp runs of 4", bmp(4, 2, palette4, {0, 3, 0x23, 0x90, 0, 0, 2, 0x01, 0, 1}, false, 4), "rg/bw"},
  };
}

TEST(Picture, IsReadInEveryForm) {
  for (Case const& one : cases()) EXPECT_EQ(one.letters, letters(read_picture(one.file))) << one.name;
}

TEST(Picture, OfAnOs2BitmapHasThreeBytesPerColor) {
  Content const file = {'B', 'M', 0, 0, 0, 0, 0, 0, 0,   0, 32,  0, 0,    0, 12, 0, 0,    0, 2, 0,
                        2,   0,   1, 0, 1, 0, 0, 0, 255, 0, 255, 0, 0x80, 0, 0,  0, 0x40, 0, 0, 0};
  EXPECT_EQ("rg/gr", letters(read_picture(file)));
}

TEST(Picture, ThatBreaksOffIsNone) {
  for (Case const& one : cases()) {
    // Of runs the end mark may be missing, and the padding of a last row counts as well.
    bool const may_end_early = std::string(one.name).find("runs") != std::string::npos;
    for (std::size_t size = 0; size < one.file.size(); ++size) {
      Content const part(one.file.begin(), one.file.begin() + static_cast<std::ptrdiff_t>(size));
      std::optional<Picture> const picture = read_picture(part);
      EXPECT_TRUE(!picture || may_end_early) << one.name << ", " << size << " bytes";
    }
  }
}

TEST(Picture, WithAnyByteChangedIsReadOrRefused) {
  for (Case const& one : cases()) {
    for (std::size_t at = 0; at < one.file.size(); ++at) {
      for (int const value : {0, 1, 2, 127, 128, 255}) {
        Content file = one.file;
        file[at] = static_cast<std::uint8_t>(value);
        std::optional<Picture> const picture = read_picture(file);
        if (picture) {
          EXPECT_EQ(picture->width * picture->height * 4, picture->pixels.size());
        }
      }
    }
  }
}

TEST(Picture, OfAnotherKindIsNone) {
  using namespace std::string_literals;
  for (std::string const& start : {"GIF89a\x01\0\x01\0\x80"s, "8BPS\0\1\0\0\0\0\0\0\0\3"s, "II*\0\x08\0\0\0"s,
                                   "RIFF0000WEBPVP8 "s, "some text of a kind"s}) {
    Content file(start.begin(), start.end());
    file.resize(64);
    EXPECT_FALSE(read_picture(file)) << start;
  }
  EXPECT_FALSE(read_picture({}));
}

TEST(Picture, ThatClaimsMoreThanItHoldsTakesNoMemory) {
  Content wide = tga(10, 24, 0, {0x82, 0, 0, 255});
  wide[12] = wide[13] = wide[14] = wide[15] = 0xFF;
  EXPECT_FALSE(read_picture(wide));
  Content runs = bmp(8, 1, Content(1024), {0, 1});
  runs[18 + 2] = runs[22 + 2] = 1;  // 65538 x 65538
  EXPECT_FALSE(read_picture(runs));
}

std::uint32_t number(std::vector<char> const& file, std::size_t at) {
  std::uint32_t result = 0;
  for (std::size_t k = 0; k < 4; ++k) result = result << 8 | static_cast<std::uint8_t>(file[at + k]);
  return result;
}

// A reader of its own for what write_png makes: three chunks, 8 bits.
Picture read_png(std::vector<char> const& file) {
  Picture picture;
  EXPECT_EQ("\x89PNG\r\n\x1A\n", std::string(file.data(), 8));
  std::string types;
  for (std::size_t at = 8; at + 12 <= file.size(); at += 12 + number(file, at)) {
    std::size_t const size = number(file, at);
    types += std::string(&file[at + 4], 4);
    EXPECT_EQ(crc32(0, reinterpret_cast<Bytef const*>(&file[at + 4]), static_cast<uInt>(size + 4)),
              number(file, at + 8 + size));
  }
  EXPECT_EQ("IHDRIDATIEND", types);
  picture.width = number(file, 16);
  picture.height = number(file, 20);
  std::size_t const depth = file[25] == 6 ? 4 : 3;
  std::size_t const row_size = picture.width * depth;
  Content rows((row_size + 1) * picture.height);
  auto size = static_cast<uLongf>(rows.size());
  EXPECT_EQ(Z_OK, uncompress(rows.data(), &size, reinterpret_cast<Bytef const*>(&file[41]), number(file, 33)));
  EXPECT_EQ(rows.size(), size);
  for (std::size_t y = 0; y < picture.height; ++y) {
    std::uint8_t* const row = &rows[y * (row_size + 1) + 1];
    std::uint8_t const* const above = y == 0 ? nullptr : row - row_size - 1;
    for (std::size_t i = 0; i < row_size; ++i) {
      int const a = i < depth ? 0 : row[i - depth];
      int const b = above == nullptr ? 0 : above[i];
      int const c = above == nullptr || i < depth ? 0 : above[i - depth];
      int const da = std::abs(b - c), db = std::abs(a - c), dc = std::abs(a + b - 2 * c);
      int const paeth = da <= db && da <= dc ? a : db <= dc ? b : c;
      int const guesses[5] = {0, a, b, (a + b) / 2, paeth};
      row[i] = static_cast<std::uint8_t>(row[i] + guesses[row[-1]]);
    }
    for (std::size_t x = 0; x < picture.width; ++x) {
      picture.pixels.insert(picture.pixels.end(), row + x * depth, row + x * depth + depth);
      if (depth == 3) picture.pixels.push_back(255);
    }
  }
  return picture;
}

TEST(Picture, IsWrittenAsPng) {
  for (bool const is_opaque : {true, false}) {
    Picture picture{97, 61, {}};
    std::uint32_t noise = 1;
    for (std::size_t at = 0; at < picture.width * picture.height; ++at) {
      noise = noise * 1664525 + 1013904223;
      std::size_t const x = at % picture.width;
      bool const is_noisy = x > 60;
      for (std::size_t k = 0; k < 3; ++k) {
        picture.pixels.push_back(static_cast<std::uint8_t>(is_noisy ? noise >> (8 + 8 * k) : x * (k + 1) + at / 97));
      }
      picture.pixels.push_back(is_opaque ? std::uint8_t{255} : static_cast<std::uint8_t>(noise >> 24));
    }
    Picture const read = read_png(write_png(picture));
    EXPECT_EQ(picture.width, read.width);
    EXPECT_EQ(picture.height, read.height);
    EXPECT_EQ(picture.pixels, read.pixels);
  }
}

// Files that others have made.
TEST(Picture, OfDebiansModelsIsRead) {
  struct Row {
    char const* name;
    std::size_t width, height;
  };
  std::size_t found = 0;
  for (Row const& row :
       {Row{"Collada/duckCM.tga", 512, 512}, Row{"SMD/holygrail.tga", 256, 512}, Row{"X/top.tga", 256, 256},
        Row{"MD2/faerie2.bmp", 220, 193}, Row{"MD2/sydney.bmp", 308, 193}, Row{"LWO/LWO2/white.bmp", 1, 1}}) {
    std::ifstream file(std::string("/usr/share/assimp/models/") + row.name, std::ios::binary);
    if (!file) continue;
    ++found;
    Content const content{std::istreambuf_iterator<char>(file), {}};
    std::optional<Picture> const picture = read_picture(content);
    ASSERT_TRUE(picture) << row.name;
    EXPECT_EQ(row.width, picture->width) << row.name;
    EXPECT_EQ(row.height, picture->height) << row.name;
    EXPECT_EQ(picture->pixels, read_png(write_png(*picture)).pixels) << row.name;
  }
  if (found == 0) GTEST_SKIP() << "assimp-testmodels is not installed";
}

}  // namespace
}  // namespace mirel::model
